#include "platform/os/uVqEnvironment.h"

#include <windows.h>
// After windows.h, which it needs.
#include <lmcons.h>

#include "platform/os/uVqEnvironment_p.h"

namespace velmore {

std::optional<string> VqSubstituteVariable(const string&, const TVqEnvironmentLookup&) {
  return {};  // they are set
}

std::optional<string> VqGetEnvironment(const string& AName) {
  if (AName.empty() || AName.Contains("=") || AName.Contains(string(std::u16string(1, u'\0')))) return {};
  const auto* name = reinterpret_cast<const wchar_t*>(AName.utf16().c_str());
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (value.empty()) return {};
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return string(std::u16string(value.begin(), value.end()));
}

string VqExpandEnvironment(const string& AText) {
  const auto* text = reinterpret_cast<const wchar_t*>(AText.utf16().c_str());
  if (AText.empty() || AText.Contains(string(std::u16string(1, u'\0')))) return AText;
  std::wstring expanded(ExpandEnvironmentStringsW(text, nullptr, 0), L'\0');
  const DWORD length = ExpandEnvironmentStringsW(text, expanded.data(), static_cast<DWORD>(expanded.size()));
  if (length == 0 || length > expanded.size()) return AText;
  return std::u16string(expanded.begin(), expanded.begin() + (length - 1));
}

string VqNativePath(const string& APath) {
  return APath.Replace("/", "\\");
}

string VqGetUserName() {
  wchar_t name[UNLEN + 1];
  DWORD size = UNLEN + 1;
  if (!GetUserNameW(name, &size)) return {};
  return std::u16string(name, name + size - 1);
}

string VqGetHostName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!GetComputerNameW(name, &size)) return {};
  return std::u16string(name, name + size);
}

}  // namespace velmore
