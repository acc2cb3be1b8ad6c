#include "platform/os/uVqEnvironment.h"

#include <cstdlib>

#include "platform/common/uVqSysUtils.h"

#ifdef _WIN32
#include <windows.h>
// after windows.h
#include <lmcons.h>
#else
#include <pwd.h>
#include <unistd.h>
#endif

namespace velmore {
namespace {

#ifndef _WIN32

/// An own folder, or the one below the home folder that stands for it. A relative value of an XDG variable is to be
/// ignored, as its standard says.
std::optional<string> Folder(const TVqEnvironmentLookup& lookup, const string& name, const string& belowHome) {
  if (const std::optional<string> own = lookup(name); own && own->StartsWith("/")) return own;
  const std::optional<string> home = lookup("HOME");
  if (!home || home->empty()) return {};
  return *home + belowHome;
}

std::optional<string> Substitute(const string& name, const TVqEnvironmentLookup& lookup) {
  if (name == "LOCALAPPDATA") return Folder(lookup, "XDG_DATA_HOME", "/.local/share");
  if (name == "APPDATA") return Folder(lookup, "XDG_CONFIG_HOME", "/.config");
  if (name == "USERPROFILE") return lookup("HOME");
  if (name == "TEMP" || name == "TMP") {
    const std::optional<string> own = lookup("TMPDIR");
    return own && !own->empty() ? own : string("/tmp");
  }
  if (name == "USERNAME") return VqGetUserName();
  if (name == "COMPUTERNAME") return VqGetHostName();
  if (name == "PROGRAMDATA") return string("/var/lib");
  return {};
}

#endif

}  // namespace

std::optional<string> VqGetEnvironment(const string& AName) {
  if (AName.empty() || AName.Contains("=") || AName.Contains(string(std::u16string(1, u'\0')))) return {};
#ifdef _WIN32
  const auto* name = reinterpret_cast<const wchar_t*>(AName.utf16().c_str());
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (value.empty()) return {};
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return string(std::u16string(value.begin(), value.end()));
#else
  const char* value = std::getenv(AName.utf8().c_str());
  if (!value) return {};
  return string(value);
#endif
}

string VqExpandEnvironment(const string& AText) {
  return VqExpandEnvironment(AText, VqGetEnvironment);
}

string VqExpandEnvironment(const string& AText, const TVqEnvironmentLookup& ALookup) {
  string out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t open = AText.Pos("%", start);
    const std::size_t close = open == string::npos ? string::npos : AText.Pos("%", open + 1);
    if (close == string::npos) return out += AText.Copy(start);
    const string name = AText.Copy(open + 1, close - open - 1);
    std::optional<string> value = name.empty() ? std::nullopt : ALookup(name);
#ifndef _WIN32
    if (!value) value = Substitute(name, ALookup);
#endif
    out += AText.Copy(start, open - start);
    if (value) {
      out += *value;
      start = close + 1;
    } else {
      out += AText.Copy(open, close - open);  // the second sign may open another name
      start = close;
    }
  }
}

string VqNativePath(const string& APath) {
#ifdef _WIN32
  return APath.Replace("/", "\\");
#else
  return APath.Replace("\\", "/");
#endif
}

std::optional<string> VqTryExpandPath(const string& APath) {
  const string expanded = VqExpandEnvironment(APath);
  if (expanded.empty()) return {};
  for (std::size_t open = APath.Pos("%"); open != string::npos;) {
    const std::size_t close = APath.Pos("%", open + 1);
    if (close == string::npos) break;
    if (close > open + 1 && expanded.Contains(APath.Copy(open, close - open + 1))) return {};
    open = close;
  }
  return VqNativePath(expanded);
}

string VqGetUserName() {
#ifdef _WIN32
  wchar_t name[UNLEN + 1];
  DWORD size = UNLEN + 1;
  if (!GetUserNameW(name, &size)) return {};
  return std::u16string(name, name + size - 1);
#else
  // The password file knows who runs this; the variables are what somebody wrote into them.
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found) return found->pw_name;
  for (const char* variable : {"LOGNAME", "USER"}) {
    if (const char* name = std::getenv(variable)) return name;
  }
  return {};
#endif
}

string VqGetHostName() {
#ifdef _WIN32
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!GetComputerNameW(name, &size)) return {};
  return std::u16string(name, name + size);
#else
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return {};
  const string host(name);
  return host.Copy(0, host.Pos("."));
#endif
}

}  // namespace velmore
