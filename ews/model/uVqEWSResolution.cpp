#include "ews/model/uVqEWSResolution.h"

#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

TVqEWSResolution::TVqEWSResolution(const IVqDOMElement& AResolution)
    : FResolution(AResolution),
      FRecipient(std::make_unique<TEwsEmailAddressType>(AResolution.SelectSingleElement("Mailbox", kSelectCreate))),
      FContact(std::make_unique<TEwsContactItem>(AResolution.SelectSingleElement("Contact", kSelectCreate))) {}

TVqEWSResolution::~TVqEWSResolution() = default;

TVqRef<IVqEWSResolution> TVqEWSResolutionSet::GetItem(std::int32_t AIndex) {
  return MakeRef<TVqEWSResolution>(FResolutions.GetChildElements().GetItem(AIndex));
}

bool TVqEWSResolutionSet::IncludesLastItemInRange() {
  const string text = FResolutions.GetAttribute("IncludesLastItemInRange");
  return !text.empty() && VqXMLToBool(text);
}

}  // namespace velmore
