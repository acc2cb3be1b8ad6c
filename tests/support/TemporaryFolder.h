#pragma once

// A folder for one test, gone with its object. In memory where the system has room for files there, since what is
// written safely waits for a disk.

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() {
    FPath = "/dev/shm/velmore-test-XXXXXX";
    if (::mkdtemp(FPath.data())) return;
    FPath = (std::filesystem::temp_directory_path() / "velmore-test-XXXXXX").string();
    if (!::mkdtemp(FPath.data())) throw std::runtime_error("no folder for a test: " + FPath);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(FPath, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string Path(const std::string& name = {}) const { return name.empty() ? FPath : FPath + "/" + name; }

  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Write(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    if (!file) throw std::runtime_error("not written: " + path);
  }
  /// Permission bits.
  static unsigned Mode(const std::string& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) throw std::runtime_error("no such file: " + path);
    return status.st_mode & 07777;
  }

 private:
  std::string FPath;
};
