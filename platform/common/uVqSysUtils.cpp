#include "platform/common/uVqSysUtils.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <limits>

namespace velmore {
namespace {

std::int32_t Length32(const string& text) {
  if (text.Length() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw EConvertError("The text is too long.");
  }
  return static_cast<std::int32_t>(text.Length());
}

template <typename Convert>
string Mapped(const string& text, Convert convert) {
  std::u16string out(text.Length(), u'\0');
  for (int attempt = 0; attempt < 2; ++attempt) {  // the second one has the size that the first one found
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length =
        convert(out.data(), static_cast<std::int32_t>(out.size()), text.utf16().data(), Length32(text), &error);
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) {
      throw EConvertError(string("The case of the text cannot be changed: ") + u_errorName(error) + ".");
    }
    const bool fits = static_cast<std::size_t>(length) <= out.size();
    out.resize(static_cast<std::size_t>(length));
    if (fits) break;
  }
  return out;
}

}  // namespace

const string& EVqException::ResponseCode() const noexcept {
  static const string none;
  return none;
}

string UpperCase(const string& text) {
  return Mapped(text, [](char16_t* out, std::int32_t capacity, const char16_t* in, std::int32_t length,
                         UErrorCode* error) { return u_strToUpper(out, capacity, in, length, "", error); });
}

string LowerCase(const string& text) {
  return Mapped(text, [](char16_t* out, std::int32_t capacity, const char16_t* in, std::int32_t length,
                         UErrorCode* error) { return u_strToLower(out, capacity, in, length, "", error); });
}

bool SameText(const string& a, const string& b) {
  if (a == b) return true;
  UErrorCode error = U_ZERO_ERROR;
  return u_strCaseCompare(a.utf16().data(), Length32(a), b.utf16().data(), Length32(b), U_FOLD_CASE_DEFAULT, &error) ==
         0;
}

string IntToStr(std::int64_t value) {
  return std::to_string(value);
}

string Format(const string& format, const std::vector<TVqFormatArg>& args) {
  const std::u16string_view text = format.view();
  const auto unitAt = [&](std::size_t at) { return at < text.size() ? text[at] : u'\0'; };
  std::u16string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::size_t at = i + 1;
    std::size_t digits = 0;
    if (text[i] == u'%' && unitAt(at) == u'.' && unitAt(at + 1) >= u'0' && unitAt(at + 1) <= u'9') {
      digits = static_cast<std::size_t>(unitAt(at + 1) - u'0');
      at += 2;
    }
    const char16_t kind = unitAt(at);
    const bool plain = at == i + 1;
    if (text[i] != u'%' || (kind != u'd' && !(plain && (kind == u's' || kind == u'%')))) {
      out += text[i];
      continue;
    }
    i = at;
    if (kind == u'%') {
      out += u'%';
      continue;
    }
    if (next >= args.size()) throw EConvertError("The format \"" + format + "\" has more placeholders than arguments.");
    std::u16string_view value = args[next++].Text().view();
    if (digits > 0 && value.starts_with(u'-')) {
      out += u'-';
      value.remove_prefix(1);
    }
    if (value.size() < digits) out.append(digits - value.size(), u'0');
    out += value;
  }
  return out;
}

std::vector<string> VqTokenize(const string& text, char16_t separator) {
  std::vector<string> pieces;
  if (text.empty()) return pieces;
  bool quoted = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.Length(); ++i) {
    if (i < text.Length()) {
      if (text[i] == u'"') quoted = !quoted;
      if (quoted || text[i] != separator) continue;
    }
    pieces.push_back(text.Copy(start, i - start));
    start = i + 1;
  }
  return pieces;
}

namespace {
template <typename TGoes>
std::string_view TrimWhile(std::string_view text, TGoes goes) noexcept {
  while (!text.empty() && goes(text.front())) text.remove_prefix(1);
  while (!text.empty() && goes(text.back())) text.remove_suffix(1);
  return text;
}
}  // namespace

std::string_view VqTrimBlanks(std::string_view text) noexcept {
  return TrimWhile(text, [](char c) { return c == ' ' || c == '\t'; });
}

std::string_view VqTrimSpace(std::string_view text) noexcept {
  return TrimWhile(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

std::string_view VqTrimControls(std::string_view text) noexcept {
  return TrimWhile(text, [](char c) { return static_cast<unsigned char>(c) <= ' '; });
}

string VqStripLiterals(const string& text) {
  string left = text.Trim();
  while (left.Length() >= 2 && (left[0] == u'"' || left[0] == u'\'') && left[left.Length() - 1] == left[0]) {
    left = left.Copy(1, left.Length() - 2).Trim();
  }
  return left;
}

}  // namespace velmore
