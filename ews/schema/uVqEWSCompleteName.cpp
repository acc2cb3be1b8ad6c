// The setters of a complete name. On the wire its parts are read-only; what can be written are members of the contact
// around it, so that is where the setters write.

#include "ews/schema/uVqEWSTypes.h"

namespace velmore {
namespace {

IVqDOMElement ContactOf(const TEwsCompleteName& name) {
  const IVqDOMElement contact = name.AsElement().GetParentElement();
  if (!contact) throw EVqException("The complete name stands in no contact that its parts could be written to.");
  return contact;
}

// The version that the request around the record asks for; the first one when there is no such header.
TServerVersion RequestVersion(const TEwsCompleteName& name) {
  const IVqDOMElement version =
      name.AsElement().GetOwnerDocument().SelectSingleElement("/Envelope/Header/RequestServerVersion", kSelectQuiet);
  return version ? VqTextToEnum<TServerVersion>(version.GetAttribute("Version")) : TServerVersion{};
}

void WritePart(const TEwsCompleteName& name, std::string_view member, const string& value) {
  TEwsContactItem::SchemaClass().ChildOf(ContactOf(name), member).SetText(value);
}

}  // namespace

void TEwsCompleteName::SetFirstName(const string& AValue) {
  if (AValue == GetFirstName()) return;
  // The first name alone looks at the version: servers up to Exchange2013 derive t:GivenName themselves.
  if (RequestVersion(*this) > Exchange2013) WritePart(*this, "t:GivenName", AValue);
}

void TEwsCompleteName::SetMiddleName(const string& AValue) {
  if (AValue != GetMiddleName()) WritePart(*this, "t:MiddleName", AValue);
}

void TEwsCompleteName::SetLastName(const string& AValue) {
  if (AValue != GetLastName()) WritePart(*this, "t:Surname", AValue);
}

void TEwsCompleteName::SetSuffix(const string& AValue) {
  if (AValue != GetSuffix()) WritePart(*this, "t:Generation", AValue);
}

void TEwsCompleteName::SetInitials(const string& AValue) {
  if (AValue != GetInitials()) WritePart(*this, "t:Initials", AValue);
}

void TEwsCompleteName::SetTitle(const string& AValue) {
  if (AValue == GetTitle()) return;
  const IVqDOMElement contact = ContactOf(*this);
  // Meant as it stands: a second write finds the URI element and puts the text there, not into t:Value.
  IVqDOMElement target =
      contact.SelectSingleElement("ExtendedProperty/ExtendedFieldURI[@PropertyTag=\"0x3A45\"]", kSelectQuiet);
  if (!target) {
    const IVqDOMElement property = TEwsContactItem::SchemaClass().InsertInto(contact, "t:ExtendedProperty");
    const IVqDOMElement uri = property.AddElement("t:ExtendedFieldURI");
    uri.SetAttribute("PropertyTag", "0x3A45");
    uri.SetAttribute("PropertyType", "String");
    target = property.AddElement("t:Value");
  }
  target.SetText(AValue);
}

}  // namespace velmore
