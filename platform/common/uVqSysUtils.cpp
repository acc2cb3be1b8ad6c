#include "platform/common/uVqSysUtils.h"

namespace velmore {
const string& EVqException::ResponseCode() const noexcept {
  static const string none;
  return none;
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
