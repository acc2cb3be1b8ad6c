#pragma once

// The state file: a line that tells the format, and records, each of which is whole or does not count. Changes are
// added at its end, so that a server that is killed has lost nothing that was added; now and then it is written anew
// without what no longer counts.

#include <cstdint>
#include <string>

#include "simulator/mailbox/state.h"

namespace velmore::simulator {

class StateFile {
 public:
  /// Opens the file for this simulator alone, and makes it when it is not there. Waits a moment for another one that is
  /// about to end. Throws OptionError when there is another one, when the place cannot be written to, and for what is
  /// no state file.
  explicit StateFile(std::string path);
  ~StateFile();
  StateFile(const StateFile&) = delete;
  StateFile& operator=(const StateFile&) = delete;

  /// All that the file holds; nothing when it is new. Throws OptionError when it is damaged; then it is left alone.
  StateEntries Read();
  /// Adds entries. They count once a record with `commit` has followed. Throws SimulatorError; then the file holds what
  /// it held.
  void Append(const StateEntries& entries, bool commit);
  /// Writes the file anew, with these entries. Throws SimulatorError; the old file stays then.
  void Replace(const StateEntries& entries);
  /// Writes the file anew, with what counts, when that makes it much smaller, or `always`. Throws SimulatorError.
  void Compact(bool always);
  const std::string& Path() const { return path_; }

 private:
  [[noreturn]] void Refuse(const std::string& what) const;
  [[noreturn]] void Fail() const;
  void Open();

  const std::string path_;
  int handle_ = -1;
  std::uint64_t end_ = 0;   // behind the last record that counts
  std::uint64_t live_ = 0;  // bytes of the file when it was last written anew
};

/// Throws OptionError when a file of this name could not be written.
void CheckStatePlace(const std::string& file);

}  // namespace velmore::simulator
