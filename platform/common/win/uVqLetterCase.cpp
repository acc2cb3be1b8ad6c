// The case of letters by Windows: one letter for one, as its registry, its file names and its mail programs have it.

#include <windows.h>

#include <limits>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

int Length32(const string& text) {
  if (text.Length() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw EConvertError("The text is too long.");
  }
  return static_cast<int>(text.Length());
}

const wchar_t* Wide(const string& text) {
  return reinterpret_cast<const wchar_t*>(text.utf16().data());
}

string Mapped(const string& text, DWORD mapping) {
  if (text.empty()) return {};
  const int length = Length32(text);
  std::u16string out(text.Length(), u'\0');
  const int mapped = LCMapStringEx(LOCALE_NAME_INVARIANT, mapping, Wide(text), length,
                                   reinterpret_cast<wchar_t*>(out.data()), length, nullptr, nullptr, 0);
  if (mapped <= 0) {
    throw EConvertError(string("The case of the text cannot be changed: ") + IntToStr(GetLastError()) + ".");
  }
  out.resize(static_cast<std::size_t>(mapped));
  return out;
}

}  // namespace

string UpperCase(const string& text) {
  return Mapped(text, LCMAP_UPPERCASE | LCMAP_LINGUISTIC_CASING);
}

string LowerCase(const string& text) {
  return Mapped(text, LCMAP_LOWERCASE | LCMAP_LINGUISTIC_CASING);
}

bool SameText(const string& a, const string& b) {
  return a == b || CompareStringOrdinal(Wide(a), Length32(a), Wide(b), Length32(b), TRUE) == CSTR_EQUAL;
}

}  // namespace velmore
