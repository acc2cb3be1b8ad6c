// The list of categories that a server gives, as the bytes inside its base64: it is read, or raises what the store
// expects of it; whatever is read can be written.

#include <cstdlib>

#include "ews/stores/uVqEWSMailboxServices.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqCodePages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  velmore::TVqMemoryStream stream(bytes);
  velmore::VqGetCodePage(stream);
  if (stream.GetPosition() != 0) std::abort();
  const velmore::TVqDOMDocument document("<t:XmlData/>");
  const velmore::IVqDOMElement element = document.GetDocumentElement();
  element.SetText(velmore::VqBase64Encode(bytes));
  try {
    const auto list = velmore::MakeRef<velmore::TVqEWSCategories>(element);
    list->GetDefaultCategory();
    for (std::int32_t i = 0; i < list->Count(); ++i) {
      const velmore::TVqEWSCategory& category = list->GetCategory(i);
      if (category.GetColor() > 0xFFFFFF) std::abort();
      category.AsXML();
      category.AsJSON();
    }
  } catch (const velmore::EVqXMLError&) {
  } catch (const velmore::EConvertError&) {
  }
  return 0;
}
