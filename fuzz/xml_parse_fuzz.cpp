// Documents from foreign hands: the quick look and the strict reading must judge alike, and what was accepted must be
// written and read again without change.

#include <cstdlib>

#include "platform/xml/uVqXMLDOM.h"
#include "platform/xml/uVqXMLQuickScan_p.h"
#include "platform/xml/uVqXMLScan_p.h"

using namespace velmore;

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void Whole(std::string_view bytes, std::int32_t codePage) {
  TVqDOMDocument document;
  try {
    document.LoadFromBytes(bytes, codePage);
  } catch (const EVqXMLError& error) {
    Require(error.GetLine() > 0 && error.GetColumn() > 0);
    return;
  }
  const std::string written = document.GetXMLAsUtf8();
  TVqDOMDocument again;
  again.LoadXML(written);
  Require(again.GetXMLAsUtf8() == written);
  document.GetDocumentElement().GetText();
  document.GetDocumentElement().GetFormattedInnerXML();
  document.RenamePrefixes({{"urn:m", "m"}, {"urn:t", "t"}});
  document.GetDocumentElement().RefreshNamespaces();
  TVqMemoryStream json;
  document.SaveToJSONStream(json, kVqCodePageUtf8, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Whole(bytes, kVqCodePageDefault);
  Whole(bytes, kVqCodePageLatin1);
  Whole(bytes, kVqCodePageUtf16LE);

  // What the quick look finds clean has nothing for the strict reading but what the parser finds, too.
  const std::string wrapped = "<a>" + std::string(bytes) + "</a>";
  const TVqXMLLimits limits;
  const bool clean = detail::QuickScan(wrapped, limits).Clean;
  for (const auto& kernel : detail::ScanKernels()) {
    Require(detail::QuickScan(wrapped, limits, &kernel).Clean == clean);
  }
  bool accepted = true, strict = true;
  std::string rewritten;
  try {
    TVqDOMDocument document;
    document.LoadFromBytes(wrapped);
  } catch (const EVqXMLError&) {
    accepted = false;
  }
  try {
    strict = !detail::CheckMarkup(wrapped, detail::TVqXMLRules::rReply, limits, rewritten) || !clean;
  } catch (const EVqXMLError&) {
    strict = false;
  }
  Require(accepted == strict);

  // Inner XML is held to the letter.
  TVqDOMDocument document("<r>old</r>");
  try {
    document.GetDocumentElement().SetInnerXML(bytes);
    const string inner = document.GetDocumentElement().GetInnerXML();
    document.GetDocumentElement().SetInnerXML(inner);
    Require(document.GetDocumentElement().GetInnerXML() == inner);
  } catch (const EVqXMLError&) {
    Require(document.GetXML() == "<r>old</r>");
  }
  return 0;
}
