// The file behind the registry, from foreign hands: it is refused, or what is written of it reads as the same tree.

#include <cstdlib>

#include "platform/os/uVqRegistryTree_p.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using velmore::TVqRegistryTree;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string written;
  try {
    TVqRegistryTree tree(text, "fuzz");
    for (const auto& key : tree.Find({})->Keys) {
      for (const velmore::TVqRegistryValue& value : key->Values) {
        velmore::string read;
        std::uint32_t number = 0;
        if (TVqRegistryTree::TryText(value, read) == TVqRegistryTree::TryNumber(value, number)) std::abort();
        if (!TVqRegistryTree::FindValue(*key, TVqRegistryTree::NameOf(value))) std::abort();
      }
    }
    written = tree.Text();
  } catch (const velmore::EVqRegistryError& failure) {
    if (failure.GetNumber() != velmore::kVqRegistryDamaged) std::abort();
    return 0;
  }
  if (TVqRegistryTree(written, "fuzz").Text() != written) std::abort();
  return 0;
}
