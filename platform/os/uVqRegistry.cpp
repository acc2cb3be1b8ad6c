#include "platform/os/uVqRegistry.h"

#include <algorithm>

namespace velmore {

string VqRegistryRootText(TVqRegistryRoot ARoot) {
  return ARoot == TVqRegistryRoot::currentUser ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE";
}

std::vector<string> VqRegistryNames(const string& APath) {
  std::vector<string> names;
  for (std::size_t start = 0; start <= APath.Length();) {
    const std::size_t end = std::min(APath.Pos("\\", start), APath.Length());
    if (end > start) names.push_back(APath.Copy(start, end - start));
    start = end + 1;
  }
  return names;
}

}  // namespace velmore
