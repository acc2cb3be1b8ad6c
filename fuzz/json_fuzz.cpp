// JSON from foreign hands: what is accepted can be walked, reads as well-formed text, and means the same when it is
// written and read again.

#include <cstdlib>

#include "platform/common/uVqJSON.h"
#include "platform/common/uVqSysUtils.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void Walk(const velmore::TVqJSONValue& value) {
  value.AsString();
  value.AsInteger();
  value.AsDouble();
  value.AsBoolean();
  for (std::int32_t i = 0; i < value.Count(); ++i) {
    if (value.Kind() == velmore::TVqJSONKind::jkObject) Require(bool(value.Member(value.Name(i))));
    Walk(value.Item(i));
  }
  Require(!value.Item(value.Count()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  try {
    const velmore::TVqJSONValue value = velmore::VqParseJSON(input);
    Walk(value);
    value.Find(velmore::string(input));
    const velmore::string text = value.Text();
    Require(velmore::VqParseJSON(text.utf8()).Text() == text);
  } catch (const velmore::EConvertError&) {
  }
  const velmore::string text(input);
  Require(velmore::VqParseJSON(velmore::VqJSONQuote(text).utf8()).AsString() == text);
  return 0;
}
