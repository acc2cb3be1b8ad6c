#include "simulator/types/temporary_file.h"

#include <stdlib.h>
#include <unistd.h>

#include "simulator/types/options.h"

namespace velmore::simulator {

TemporaryFile::TemporaryFile(const std::string& content) {
  const char* folder = ::getenv("TMPDIR");
  std::string pattern =
      std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/velmore-simulator-XXXXXX";
  const int handle = ::mkstemp(pattern.data());
  if (handle < 0) throw SimulatorError("A temporary file cannot be made.");
  const auto written = ::write(handle, content.data(), content.size());
  ::close(handle);
  if (written != static_cast<ssize_t>(content.size())) {
    ::unlink(pattern.c_str());
    throw SimulatorError("A temporary file cannot be written.");
  }
  path_ = pattern;
}

TemporaryFile::~TemporaryFile() {
  ::unlink(path_.c_str());
}

}  // namespace velmore::simulator
