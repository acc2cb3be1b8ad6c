#include "platform/os/uVqEnvironment.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "platform/os/uVqEnvironment_p.h"

namespace velmore {
namespace {

/// An own folder, or the one below the home folder that stands for it. A relative value of an XDG variable is to be
/// ignored, as its standard says.
std::optional<string> Folder(const TVqEnvironmentLookup& lookup, const string& name, const string& belowHome) {
  if (const std::optional<string> own = lookup(name); own && own->StartsWith("/")) return own;
  const std::optional<string> home = lookup("HOME");
  if (!home || home->empty()) return {};
  return *home + belowHome;
}

}  // namespace

std::optional<string> VqSubstituteVariable(const string& name, const TVqEnvironmentLookup& lookup) {
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

std::optional<string> VqGetEnvironment(const string& AName) {
  if (AName.empty() || AName.Contains("=") || AName.Contains(string(std::u16string(1, u'\0')))) return {};
  const char* value = std::getenv(AName.utf8().c_str());
  if (!value) return {};
  return string(value);
}

string VqExpandEnvironment(const string& AText) {
  return VqExpandEnvironment(AText, VqGetEnvironment);
}

string VqNativePath(const string& APath) {
  return APath.Replace("\\", "/");
}

string VqGetUserName() {
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
}

string VqGetHostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return {};
  const string host(name);
  return host.Copy(0, host.Pos("."));
}

}  // namespace velmore
