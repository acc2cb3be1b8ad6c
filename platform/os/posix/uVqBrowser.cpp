#include "platform/os/uVqBrowser.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <exception>

#include "platform/os/uVqEnvironment.h"

// The environment has no declaration of its own in the system's headers.
extern char** environ;

namespace velmore {
namespace {

#ifdef __APPLE__
constexpr const char* kOpener = "open";
bool HasDesktop() {
  return true;
}
#else
constexpr const char* kOpener = "xdg-open";
bool HasDesktop() {
  for (const char* variable : {"WAYLAND_DISPLAY", "DISPLAY"}) {
    if (!VqGetEnvironment(variable).value_or(string()).empty()) return true;
  }
  return false;
}
#endif

// The shell ends at once and leaves the opener to the system, so that nobody has to wait for it. The address is an
// argument and never part of the script.
constexpr const char* kScript = "command -v \"$1\" >/dev/null || exit 1; \"$1\" \"$2\" >/dev/null 2>&1 </dev/null &";

bool Run(std::string url) {
  std::string shell = "/bin/sh", option = "-c", script = kScript, name = "sh", opener = kOpener;
  char* const arguments[] = {shell.data(),  option.data(), script.data(), name.data(),
                             opener.data(), url.data(),    nullptr};
  pid_t process = 0;
  if (::posix_spawn(&process, shell.c_str(), nullptr, nullptr, arguments, environ) != 0) return false;
  int status = 0;
  while (::waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return false;  // an application that reaps all children itself: nobody knows then
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool VqOpenInBrowser(const string& AURL) noexcept {
  try {
    if (!AURL.StartsWith("https://") && !AURL.StartsWith("http://")) return false;
    return HasDesktop() && Run(AURL.utf8());
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace velmore
