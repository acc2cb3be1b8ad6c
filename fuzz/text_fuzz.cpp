// Text from foreign bytes: what was converted is well-formed, and what was well-formed comes back as it was.

#include <cstdlib>
#include <cstring>

#include "platform/common/uVqSysUtils.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const velmore::string text(input);
  const std::string back = text.utf8();
  Require(velmore::VqIsUtf8(back));
  Require(text == input);
  Require(text == back);
  Require(velmore::VqIsUtf8(input) == (back == input));

  std::u16string units(size / 2, u'\0');
  if (size >= 2) std::memcpy(units.data(), data, size / 2 * 2);
  const velmore::string wide(units);
  const velmore::string again(wide.utf8());
  Require(velmore::VqIsUtf8(wide.utf8()));
  Require(again.Length() == wide.Length());
  Require(velmore::SameText(wide, velmore::string(wide)));
  velmore::UpperCase(wide);
  velmore::LowerCase(wide);
  wide.Trim();
  velmore::VqStripLiterals(wide);
  std::size_t length = 0;
  for (const velmore::string& piece : velmore::VqTokenize(wide, u';')) length += piece.Length() + 1;
  Require(wide.empty() ? length == 0 : length == wide.Length() + 1);
  try {
    velmore::Format(wide, {wide, 7});
  } catch (const velmore::EConvertError&) {
  }
  velmore::TGUID guid;
  if (velmore::VqTryParseGuid(text, guid))
    Require(velmore::SameText(velmore::VqGuidToString(guid).Copy(1, 36), text.Replace("{", "").Replace("}", "")));
  return 0;
}
