// Texts that are to be values: each conversion gives a value that is written and read again as the same, or
// EConvertError.

#include <cstdlib>

#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

using namespace velmore;

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

template <typename Read, typename Write>
void RoundTrip(std::string_view text, Read read, Write write) {
  try {
    const string first = write(read(text));
    Require(write(read(first)) == first);
  } catch (const EConvertError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToInt(t); }, VqIntToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToInt64(t); }, VqInt64ToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToDouble(t); }, VqDoubleToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToBool(t); }, VqBoolToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToDateTime(t); },
      [](TDateTime value) { return VqDateTimeToXML(value); });
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToDate(t); }, VqDateToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToTime(t); }, [](TDateTime value) { return VqTimeToXML(value); });
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToDuration(t); }, VqDurationToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToBytes(t); }, VqBytesToXML);
  RoundTrip(
      text, [](const TVqUtf8View& t) { return VqXMLToGuid(t); }, VqGuidToXML);
  for (const std::int32_t codePage : {kVqCodePageUtf8, kVqCodePageUtf16LE, kVqCodePageUtf16BE, kVqCodePage1252,
                                      kVqCodePageLatin1, kVqCodePageAscii}) {
    const std::string decoded = VqDecodeText(text, codePage);
    Require(VqIsUtf8(decoded));
    Require(VqDecodeText(VqEncodeText(decoded, kVqCodePageUtf16BE), kVqCodePageUtf16BE) == decoded);
  }
  return 0;
}
