#include "platform/common/uVqTypes.h"

#include <cstring>
#include <ostream>
#include <type_traits>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Units of one width, taken a machine word at a time: `High` are the bits that no character of ASCII has.
template <typename TUnit, std::uint64_t High>
std::size_t AsciiRun(const TUnit* data, std::size_t size) noexcept {
  constexpr std::size_t kBlock = sizeof(std::uint64_t) / sizeof(TUnit);
  const auto isAscii = [&](std::size_t at) {
    std::uint64_t block;
    std::memcpy(&block, data + at, sizeof block);
    return (block & High) == 0;
  };
  std::size_t i = 0;
  while (i + kBlock <= size && isAscii(i)) i += kBlock;
  // The last block may begin within the one before it: what is less than a block is no loop of its own.
  if (i + kBlock > size && size >= kBlock && isAscii(size - kBlock)) return size;
  while (i < size && static_cast<std::make_unsigned_t<TUnit>>(data[i]) < 0x80) ++i;
  return i;
}

/// Length of the leading run of ASCII.
std::size_t AsciiRun(std::string_view text) noexcept {
  return AsciiRun<char, 0x8080808080808080u>(text.data(), text.size());
}
std::size_t AsciiRun(std::u16string_view text) noexcept {
  return AsciiRun<char16_t, 0xFF80FF80FF80FF80u>(text.data(), text.size());
}

/// Appends ASCII in units of another width.
template <typename TTarget, typename TUnit>
void AppendAscii(TTarget& out, const TUnit* data, std::size_t size) {
  const std::size_t old = out.size();
  out.resize(old + size);
  auto* const to = out.data() + old;  // a unit written through the text itself could be the text's own size
  for (std::size_t k = 0; k < size; ++k) to[k] = static_cast<typename TTarget::value_type>(data[k]);
}

/// Reads one character at `i` and moves behind it. What is malformed gives `kReplacement` and moves behind the longest
/// prefix that could have started a character, so that each piece of garbage becomes one replacement; `valid` says
/// which it was.
char32_t NextUtf8(std::string_view text, std::size_t& i, bool& valid) noexcept {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(i++);
  valid = true;
  if (lead < 0x80) return lead;
  int more;
  char32_t value;
  unsigned char low = 0x80, high = 0xBF;  // what the second byte may be
  if (lead >= 0xC2 && lead <= 0xDF) {
    more = 1;
    value = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    more = 2;
    value = lead & 0x0Fu;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    more = 3;
    value = lead & 0x07u;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    valid = false;
    return kReplacement;
  }
  for (; more > 0; --more) {
    if (i >= text.size() || byte(i) < low || byte(i) > high) {
      valid = false;
      return kReplacement;
    }
    value = value << 6 | (byte(i++) & 0x3Fu);
    low = 0x80;
    high = 0xBF;
  }
  return value;
}

void AppendUtf16(std::u16string& out, char32_t value) {
  if (value < 0x10000) {
    out += static_cast<char16_t>(value);
  } else {
    value -= 0x10000;
    out += static_cast<char16_t>(0xD800 + (value >> 10));
    out += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
  }
}

void AppendUtf8(std::string& out, char32_t value) {
  const auto put = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (value < 0x80) {
    put(value);
  } else if (value < 0x800) {
    put(0xC0 | value >> 6);
    put(0x80 | (value & 0x3F));
  } else if (value < 0x10000) {
    put(0xE0 | value >> 12);
    put(0x80 | (value >> 6 & 0x3F));
    put(0x80 | (value & 0x3F));
  } else {
    put(0xF0 | value >> 18);
    put(0x80 | (value >> 12 & 0x3F));
    put(0x80 | (value >> 6 & 0x3F));
    put(0x80 | (value & 0x3F));
  }
}

}  // namespace

bool VqIsUtf8(std::string_view bytes) noexcept {
  for (std::size_t i = 0;;) {
    i += AsciiRun(bytes.substr(i));
    if (i >= bytes.size()) return true;
    bool valid;
    NextUtf8(bytes, i, valid);
    if (!valid) return false;
  }
}

std::string VqToUtf8(std::u16string_view text) {
  std::size_t run = AsciiRun(text);
  if (run == text.size()) return {text.begin(), text.end()};  // which fills nothing with zeros first
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i, run = AsciiRun(text.substr(i))) {
    if (run > 0) {
      AppendAscii(out, text.data() + i, run);
      i += run;
      if (i == text.size()) break;
    }
    const char16_t unit = text[i];
    if (unit < 0xD800 || unit > 0xDFFF) {
      AppendUtf8(out, unit);
    } else if (unit < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      AppendUtf8(out, 0x10000 + ((unit - 0xD800u) << 10) + (text[i + 1] - 0xDC00u));
      ++i;
    } else {
      AppendUtf8(out, kReplacement);
    }
  }
  return out;
}

std::u16string VqToUtf16(std::string_view utf8) {
  return string(utf8).utf16();
}

TVqString::TVqString(const char8_t* utf8) {
  if (utf8) AppendUtf8(reinterpret_cast<const char*>(utf8));
}

TVqString::TVqString(std::u8string_view utf8) {
  AppendUtf8({reinterpret_cast<const char*>(utf8.data()), utf8.size()});
}

TVqString TVqString::OfFileName(const std::u8string& name) {
  const std::string_view bytes(reinterpret_cast<const char*>(name.data()), name.size());
  if (!VqIsUtf8(bytes)) throw EConvertError("The file name \"" + TVqString(bytes) + "\" is not well-formed UTF-8.");
  return bytes;
}

TVqString::operator std::u8string() const {
  const std::string bytes = utf8();
  return {bytes.begin(), bytes.end()};
}

TVqString& TVqString::AppendUtf8(std::string_view utf8) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(utf8.data());
  for (std::size_t i = 0;;) {
    const std::size_t run = AsciiRun(utf8.substr(i));
    if (run == utf8.size() && FText.empty()) {
      FText = std::u16string(bytes, bytes + run);  // which fills nothing with zeros first
      return *this;
    }
    AppendAscii(FText, bytes + i, run);
    i += run;
    if (i >= utf8.size()) return *this;
    bool valid;
    AppendUtf16(FText, NextUtf8(utf8, i, valid));
  }
}

std::string TVqString::utf8() const {
  return VqToUtf8(FText);
}

TVqString TVqString::Copy(size_type start, size_type count) const {
  return start >= FText.size() ? TVqString() : TVqString(view().substr(start, count));
}

TVqString TVqString::Replace(const TVqString& what, const TVqString& by) const {
  if (what.empty()) return *this;
  std::u16string out;
  size_type from = 0;
  for (size_type at; (at = FText.find(what.FText, from)) != npos; from = at + what.FText.size()) {
    out.append(FText, from, at - from);
    out += by.FText;
  }
  if (from == 0) return *this;
  return out.append(FText, from, npos);
}

TVqString TVqString::Trim() const {
  std::u16string_view text = FText;
  while (!text.empty() && text.front() <= u' ') text.remove_prefix(1);
  while (!text.empty() && text.back() <= u' ') text.remove_suffix(1);
  return text;
}

void TVqString::RaiseNoUnit(size_type index) const {
  throw EListError("There is no unit at position " + IntToStr(static_cast<std::int64_t>(index)) + " of a text of " +
                   IntToStr(static_cast<std::int64_t>(FText.size())) + ".");
}

bool TVqString::EqualsUtf8(std::string_view utf8) const noexcept {
  std::size_t at = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    bool valid;
    const char32_t value = NextUtf8(utf8, i, valid);
    if (value < 0x10000) {
      if (at >= FText.size() || FText[at++] != value) return false;
    } else {
      if (at + 2 > FText.size() || FText[at] != 0xD800 + ((value - 0x10000) >> 10) ||
          FText[at + 1] != 0xDC00 + ((value - 0x10000) & 0x3FF)) {
        return false;
      }
      at += 2;
    }
  }
  return at == FText.size();
}

std::ostream& operator<<(std::ostream& out, const TVqString& text) {
  return out << text.utf8();
}

string VqGuidToString(const TGUID& guid) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string text = u"{";
  const auto put = [&](std::uint32_t value, int digits) {
    while (digits-- > 0) text += kDigits[value >> (4 * digits) & 15];
  };
  put(guid.D1, 8);
  text += u'-';
  put(guid.D2, 4);
  text += u'-';
  put(guid.D3, 4);
  text += u'-';
  put(guid.D4[0], 2);
  put(guid.D4[1], 2);
  text += u'-';
  for (int i = 2; i < 8; ++i) put(guid.D4[i], 2);
  return text += u'}';
}

bool VqTryParseGuid(const string& text, TGUID& guid) {
  return guid.Parse(text.utf8());
}

}  // namespace velmore

std::size_t std::hash<velmore::TGUID>::operator()(const velmore::TGUID& guid) const noexcept {
  static_assert(std::has_unique_object_representations_v<velmore::TGUID>);
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(&guid), sizeof guid});
}
