// Replies from foreign hands whose large text is cut out before they are parsed: what is left must be as good or bad as
// the whole, and the two together must read like it.

#include <cstdlib>

#include "platform/xml/internal/uVqXMLLargeText.h"

using namespace velmore;

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

bool Load(const TVqDOMDocument& document, std::string_view bytes) {
  try {
    document.LoadFromBytes(bytes);
    return true;
  } catch (const EVqXMLError&) {
    return false;
  }
}

IVqDOMElement Content(const TVqDOMDocument& document) {
  return document.SelectSingleElement("//Content", TVqDOMSelectOption::soIgnorePrefix);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string rest(bytes);
  const detail::TVqSharedText text = detail::CutText(rest, "Content");
  if (!text) {
    Require(rest == bytes);
    return 0;
  }
  Require(text->size() <= bytes.size() && !text->empty());
  // Other encodings than those that have ASCII's bytes are for the parser; a reply has none of them.
  if (bytes.find('\0') != std::string_view::npos) return 0;
  TVqDOMDocument whole, cut;
  const bool good = Load(whole, bytes);
  Require(Load(cut, rest) == good);
  if (!good || bytes.find("<!") != std::string_view::npos || bytes.find("<?", 1) != std::string_view::npos) return 0;
  Require(Content(whole).GetTextAsUtf8().starts_with(*text));
  const string before = whole.GetXML();
  // Where it stood first, followed by whatever else the element has.
  const IVqDOMElement element = Content(cut);
  if (element.HasChildren()) return 0;
  detail::ShareText(element, text);
  Require(cut.GetXML() == before);
  const IVqDOMDocument copy = cut.CreateClone();
  element.SetText("");
  Require(copy.GetXML() == before);
  return 0;
}
