#include "platform/crypt/uVqCNG.h"

#include <mutex>

#include "platform/crypt/uVqCNG_p.h"

namespace velmore {
namespace {

std::mutex FoldersLock;  // protects Folders

TVqKeyFolders& Folders() {
  static TVqKeyFolders folders;
  return folders;
}

}  // namespace

TVqKeyFolders VqGetKeyFolders() {
  const std::lock_guard guard(FoldersLock);
  return Folders();
}

void VqSetKeyFolders(const TVqKeyFolders& AFolders) {
  const std::lock_guard guard(FoldersLock);
  Folders() = AFolders;
}

// The bytes belong to a value that is not constant; its class only shows them as constants.
void VqWipe(TVqBytes& ABytes) noexcept {
  auto& bytes = const_cast<TBytes&>(ABytes.Bytes());
  VqWipe(bytes.data(), bytes.size());
  bytes.clear();
}

}  // namespace velmore
