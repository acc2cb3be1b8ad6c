// Expressions from foreign hands (names of profiles and keys end up in them): the first one found must be the first of
// all found, and what was created must be found from then on.

#include <cstdlib>

#include "platform/xml/uVqXMLDOM.h"

using namespace velmore;

namespace {
void Require(bool condition) {
  if (!condition) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::string_view expression(reinterpret_cast<const char*>(data + 1), size - 1);
  const TVqDOMSelectOptions options(data[0] & 0x1C);
  TVqDOMDocument document(
      "<t:a><t:b k=\"1\"><c>x</c><t:c k=\"2\">y</t:c></t:b><B PropertyTag=\"0x0E07\"><t:a><b/></t:a></B>text</t:a>");
  const std::string before = document.GetXMLAsUtf8();
  try {
    const TVqDOMElementList all = document.CreateElementList(expression, options);
    const IVqDOMElement first = document.SelectSingleElement(expression, options);
    Require(first == (all.Count() > 0 ? all.GetItem(0) : IVqDOMElement()));
    Require(document.GetXMLAsUtf8() == before);
    for (const IVqDOMElement& element : all) element.SelectSingleElement(expression, options);
    const IVqDOMElement made = document.GetDocumentElement().SelectSingleElement(expression, options | 2u);
    if (first) Require(static_cast<bool>(made));
    TVqDOMDocument(document.GetXMLAsUtf8());
  } catch (const EVqXMLError&) {
  }
  return 0;
}
