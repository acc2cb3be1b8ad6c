#include <unicode/uidna.h>

#include <algorithm>
#include <memory>

#include "platform/os/uVqDns_p.h"

namespace velmore {

std::string VqAsciiHostName(const string& name) {
  const std::string utf8 = name.utf8();
  const auto byte = [](char c) { return static_cast<unsigned char>(c); };
  if (std::any_of(utf8.begin(), utf8.end(), [&](char c) { return byte(c) <= 0x20 || byte(c) == 0x7F; })) return {};
  if (std::all_of(utf8.begin(), utf8.end(), [&](char c) { return byte(c) < 0x80; })) return utf8;
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UIDNA, decltype(&uidna_close)> idna(uidna_openUTS46(UIDNA_NONTRANSITIONAL_TO_ASCII, &error),
                                                            uidna_close);
  if (U_FAILURE(error)) return {};
  char ascii[256];
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  const std::int32_t length = uidna_nameToASCII_UTF8(idna.get(), utf8.data(), static_cast<std::int32_t>(utf8.size()),
                                                     ascii, sizeof ascii, &info, &error);
  if (U_FAILURE(error) || info.errors != 0 || length > static_cast<std::int32_t>(sizeof ascii)) return {};
  return std::string(ascii, static_cast<std::size_t>(length));
}

}  // namespace velmore
