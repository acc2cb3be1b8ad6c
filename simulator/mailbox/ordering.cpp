#include "simulator/mailbox/ordering.h"

#include <glib.h>
#include <unicode/coll.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>

namespace velmore::simulator {

namespace {

const icu::Collator& TextOrder() {
  static const std::unique_ptr<icu::Collator> collator = [] {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(icu::Locale::getRoot(), error));
    if (U_FAILURE(error)) throw SimulatorError("The order of texts is not there: ICU has no data.");
    // Width is a difference of the third level.
    made->setStrength(icu::Collator::SECONDARY);
    made->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, error);
    return made;
  }();
  return *collator;
}

std::int64_t Number(const std::string& text) {
  std::int64_t value = 0;
  const std::size_t begin = text.find_first_not_of(" \t\r\n+");
  if (begin == std::string::npos) return 0;
  const auto result = std::from_chars(text.data() + begin, text.data() + text.size(), value);
  // "1.5" and "1e3" are numbers, too, and what is too large for an integer is still large.
  if (result.ec == std::errc() && result.ptr == text.data() + text.size()) return value;
  const double number = std::strtod(text.c_str(), nullptr);
  if (number >= 9.2e18) return INT64_MAX;
  return number <= -9.2e18 ? INT64_MIN : static_cast<std::int64_t>(number);
}

}  // namespace

std::string TextKey(const std::string& text) {
  const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text).foldCase();
  std::string key(static_cast<std::size_t>(std::max(16, 3 * unicode.length() + 16)), '\0');
  const auto buffer = [&] { return reinterpret_cast<std::uint8_t*>(key.data()); };
  std::int32_t size = TextOrder().getSortKey(unicode, buffer(), static_cast<std::int32_t>(key.size()));
  if (static_cast<std::size_t>(size) > key.size()) {
    key.resize(static_cast<std::size_t>(size));
    size = TextOrder().getSortKey(unicode, buffer(), size);
  }
  key.resize(static_cast<std::size_t>(size));
  return key;
}

Key KeyOf(const std::string& value, const Path& path) {
  switch (path.Kind()) {
    case ValueKind::kBoolean:
      return IsTrue(value) ? 1 : 0;
    case ValueKind::kInteger:
      return Number(value);
    case ValueKind::kDouble:
      return std::strtod(value.c_str(), nullptr);
    case ValueKind::kDateTime:
      return ParseTicks(value).value_or(0);
    case ValueKind::kEnumeration: {
      const auto& texts = path.field->member->enumeration;
      return std::find(texts.begin(), texts.end(), value) - texts.begin();
    }
    case ValueKind::kBinary:
      return value;
    default:
      return TextKey(value);
  }
}

std::string Fold(const std::string& text, bool ignore_case, bool ignore_marks) {
  if (!ignore_case && !ignore_marks) return text;
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii) return ignore_case ? Lower(text) : text;
  std::string out = text;
  if (ignore_marks) {
    char* decomposed = g_utf8_normalize(out.c_str(), static_cast<gssize>(out.size()), G_NORMALIZE_NFD);
    if (decomposed != nullptr) {
      out.clear();
      for (const char* at = decomposed; *at != '\0'; at = g_utf8_next_char(at))
        if (g_unichar_ismark(g_utf8_get_char(at)) == 0)
          out.append(at, static_cast<std::size_t>(g_utf8_next_char(at) - at));
      g_free(decomposed);
    }
  }
  if (ignore_case) {
    char* folded = g_utf8_casefold(out.c_str(), static_cast<gssize>(out.size()));
    out = folded;
    g_free(folded);
  }
  return out;
}

}  // namespace velmore::simulator
