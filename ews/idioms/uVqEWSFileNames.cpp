#include "ews/idioms/uVqEWSFileNames.h"

#include <array>

#include "ews/model/uVqEWSFolderInterfaces.h"
#include "platform/os/uVqSafeFileName.h"

namespace velmore {
namespace {

constexpr std::size_t kDigits = 16;
// Bytes of UTF-8 that a safe name has at most, of which the text takes what handle, blank and extension leave.
constexpr std::size_t kLongest = 200;

/// A text that is one name, whatever it looks like.
string AsOneName(const string& text) {
  return text.Replace(u"/", u"_").Replace(u"\\", u"_");
}

/// As much of the front as fits into so many bytes of UTF-8.
string Fitting(const string& text, std::size_t bytes) {
  std::string utf8 = text.utf8();
  if (utf8.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(utf8[bytes]) & 0xC0u) == 0x80u) --bytes;  // inside of a character
  utf8.resize(bytes);
  return utf8;
}

}  // namespace

string VqItemHandle(const TItemId& AId) {
  std::uint64_t number = 0xcbf29ce484222325u;  // FNV-1a: it keeps nothing secret, and is the same everywhere
  for (const unsigned char c : AId.Id.utf8()) number = (number ^ c) * 0x100000001b3u;
  std::array<char, kDigits> digits{};
  for (std::size_t i = kDigits; i-- > 0; number >>= 4u) digits[i] = "0123456789abcdef"[number & 0xFu];
  return std::string_view(digits.data(), digits.size());
}

string VqItemFileName(const TItemId& AId, const string& AText, const string& AExtension) {
  const string end = VqItemHandle(AId) + AExtension;
  const string text = Fitting(AsOneName(AText).Trim(), kLongest - std::min(kLongest, end.utf8().size() + 1)).Trim();
  return VqSafeFileName(text.empty() ? end : text + " " + end);
}

string VqFolderFilePath(const string& APath) {
  string path;
  if (APath.empty()) return path;
  for (const string& name : VqFolderPathParts(APath)) {
    if (!path.empty()) path += u"/";
    path += VqSafeFileName(AsOneName(name));
  }
  return path;
}

}  // namespace velmore
