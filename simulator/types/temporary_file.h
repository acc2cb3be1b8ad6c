#pragma once

#include <string>

namespace velmore::simulator {

/// A file in the folder for temporary files that goes away with this object. Only its owner may read it.
class TemporaryFile {
 public:
  /// Throws SimulatorError.
  explicit TemporaryFile(const std::string& content);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace velmore::simulator
