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

template <typename T>
void WipeContent(T& content) noexcept {
  VqWipeMemory(content.data(), content.size() * sizeof *content.data());
  content.clear();
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

void VqWipe(std::string& AText) noexcept {
  WipeContent(AText);
}

// The units and bytes below belong to a value that is not constant; its class only shows them as constants.
void VqWipe(string& AText) noexcept {
  WipeContent(const_cast<std::u16string&>(AText.utf16()));
}

void VqWipe(TVqBytes& ABytes) noexcept {
  WipeContent(const_cast<TBytes&>(ABytes.Bytes()));
}

}  // namespace velmore
