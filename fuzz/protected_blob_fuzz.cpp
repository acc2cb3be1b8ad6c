// Protected bytes from foreign hands: whatever they are, they are refused with an error of their own or are what was
// protected.

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/crypt/uVqCNG.h"

namespace {

using velmore::TBytes;
using velmore::TVqBytes;

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A key that is the same in every run, so that seeds stay readable.
velmore::TVqDataProtection WithKnownKey() {
  std::string folder = (std::filesystem::temp_directory_path() / "velmore-fuzz-XXXXXX").string();
  Require(::mkdtemp(folder.data()) != nullptr);
  const std::string key = folder + "/user.key";
  std::ofstream(key, std::ios::binary) << "0123456789abcdef0123456789ABCDEF";
  ::chmod(key.c_str(), 0600);
  static std::string made;
  made = folder;
  std::atexit([] { std::filesystem::remove_all(made); });
  return velmore::TVqDataProtection({folder, folder});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const velmore::TVqDataProtection protection = WithKnownKey();
  const TBytes input(data, data + size);
  try {
    (void)protection.Decrypt(TVqBytes(input));
  } catch (const velmore::EVqDataProtection& failure) {
    Require(!failure.Message().empty());
  }

  const TVqBytes blob = protection.Encrypt(TVqBytes(input), false);
  Require(protection.Decrypt(blob).Bytes() == input);
  if (size == 0) return 0;
  TBytes changed = blob.Bytes();
  changed[data[0] % changed.size()] ^= static_cast<std::uint8_t>(data[size - 1] | 1);
  try {
    (void)protection.Decrypt(TVqBytes(changed));
    std::abort();
  } catch (const velmore::EVqDataProtection&) {
  }
  return 0;
}
