#include "platform/os/uVqSafeFileName.h"

#include <algorithm>

namespace velmore {
namespace {

using std::u16string;
using std::u16string_view;

// Bytes of UTF-8. A system that takes 255 has room for what a program puts before or behind the name.
constexpr std::size_t kLongest = 200;
// Of an extension with its dot; what is longer is part of the name.
constexpr std::size_t kLongestExtension = 20;
constexpr u16string_view kNameless = u"file";

constexpr bool IsLead(char16_t c) noexcept {
  return c >= 0xD800 && c <= 0xDBFF;
}
constexpr bool IsTrail(char16_t c) noexcept {
  return c >= 0xDC00 && c <= 0xDFFF;
}

// What some system refuses in a name, and what is not seen: "txt.exe" with a mark that turns the writing shows as
// "exe.txt".
bool IsForbidden(char16_t c) noexcept {
  if (c < 0x20 || (c >= 0x7F && c <= 0x9F) || c >= 0xFFFE) return true;
  if (u16string_view(u"<>:\"|?*/\\").find(c) != u16string_view::npos) return true;
  return c == 0x00AD || c == 0x061C || (c >= 0x200B && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) ||
         (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF;
}

u16string_view LastComponent(u16string_view name) noexcept {
  const std::size_t slash = name.find_last_of(u"/\\");
  return slash == u16string_view::npos ? name : name.substr(slash + 1);
}

u16string WithoutForbidden(u16string_view name) {
  u16string safe;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t c = name[i];
    if (IsLead(c) && i + 1 < name.size() && IsTrail(name[i + 1])) {
      safe += {c, name[++i]};
    } else {
      safe += IsForbidden(c) || IsLead(c) || IsTrail(c) ? u'_' : c;
    }
  }
  return safe;
}

// Dots and blanks at the end are lost on Windows; a dot at the beginning hides a file, or means a folder.
u16string Trimmed(const u16string& name) {
  const std::size_t first = name.find_first_not_of(u". ");
  if (first == u16string::npos) return {};
  return name.substr(first, name.find_last_not_of(u". ") - first + 1);
}

bool IsDevice(u16string_view name) {
  u16string stem(name.substr(0, name.find(u'.')));
  while (!stem.empty() && stem.back() == u' ') stem.pop_back();
  std::ranges::transform(stem, stem.begin(), [](char16_t c) { return c >= u'a' && c <= u'z' ? char16_t(c - 32) : c; });
  for (const u16string_view device : {u"CON", u"PRN", u"AUX", u"NUL", u"CLOCK$", u"CONIN$", u"CONOUT$"}) {
    if (stem == device) return true;
  }
  return stem.size() == 4 && (stem.starts_with(u"COM") || stem.starts_with(u"LPT")) &&
         u16string_view(u"0123456789\u00B9\u00B2\u00B3").find(stem[3]) != u16string_view::npos;
}

std::size_t Utf8Length(u16string_view text) noexcept {
  std::size_t bytes = 0;
  for (const char16_t c : text) bytes += c < 0x80 ? 1 : c < 0x800 || IsLead(c) || IsTrail(c) ? 2 : 3;
  return bytes;
}

u16string Bounded(u16string name) {
  if (Utf8Length(name) <= kLongest) return name;
  const std::size_t dot = name.rfind(u'.');
  u16string extension = dot == u16string::npos ? u16string() : name.substr(dot);
  if (Utf8Length(extension) > kLongestExtension) extension.clear();
  u16string stem = name.substr(0, name.size() - extension.size());
  while (Utf8Length(stem) + Utf8Length(extension) > kLongest) {
    if (IsTrail(stem.back())) stem.pop_back();
    stem.pop_back();
  }
  return Trimmed(stem + extension);
}

}  // namespace

string VqSafeFileName(const string& AName) {
  u16string name = Bounded(Trimmed(WithoutForbidden(LastComponent(AName.view()))));
  if (name.empty()) return kNameless;
  if (name.front() == u'-') name.front() = u'_';  // a command would take it for an option
  if (IsDevice(name)) name.insert(name.begin(), u'_');
  return name;
}

}  // namespace velmore
