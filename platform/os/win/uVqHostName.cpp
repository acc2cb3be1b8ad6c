#include <windows.h>

#include <algorithm>

#include "platform/os/uVqDns_p.h"

namespace velmore {

std::string VqAsciiHostName(const string& name) {
  const std::u16string_view text = name.view();
  if (std::any_of(text.begin(), text.end(), [](char16_t c) { return c <= 0x20 || c == 0x7F; })) return {};
  if (std::all_of(text.begin(), text.end(), [](char16_t c) { return c < 0x80; })) return name.utf8();
  wchar_t ascii[256];
  const int length = IdnToAscii(IDN_USE_STD3_ASCII_RULES, reinterpret_cast<const wchar_t*>(text.data()),
                                static_cast<int>(std::min<std::size_t>(text.size(), 256)), ascii, 256);
  std::string result;
  for (int i = 0; i < length; ++i) result += static_cast<char>(ascii[i]);
  return result;
}

}  // namespace velmore
