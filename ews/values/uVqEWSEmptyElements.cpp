#include "ews/values/internal/uVqEWSEmptyElements.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

using detail::TVqRawElement;

IVqDOMElement SkipEmpty(IVqDOMElement element) {
  while (element && EwsIsEmpty(element)) element = element.GetNextSiblingElement();
  return element;
}

// Asking a dictionary for an entry makes it. What such an entry has from the start is no content: its key, and what is
// told of the kind of an address.

/// An entry of a dictionary that has its key as an attribute.
bool IsEntry(const IVqDOMElement& element) {
  return element.HasAttribute("Key") && element.GetLocalName() == "Entry";
}

/// The key of an entry that has it as an element, with nothing beside it.
bool IsKeyAlone(const IVqDOMElement& part) {
  if (part.GetLocalName() != "Type" || SkipEmpty(part.GetNextSiblingElement())) return false;
  const string dictionary = part.GetParentElement().GetParentElement().GetLocalName();
  return dictionary == "Urls" || dictionary == "AbchEmailAddresses";
}

}  // namespace

bool EwsIsEmpty(const IVqDOMElement& AElement) {
  if (AElement.AttributeCount() > 0 && !IsEntry(AElement)) return false;
  if (!AElement.HasChildElements()) return !TVqRawElement(AElement).HasChildren();
  const IVqDOMElement part = EwsFirstPart(AElement);
  return !part || IsKeyAlone(part);
}

IVqDOMElement EwsFirstPart(const IVqDOMElement& AElement) {
  return SkipEmpty(AElement.GetFirstChildElement());
}

bool EwsSameAttributes(const IVqDOMElement& A, const IVqDOMElement& B) {
  if (A.AttributeCount() != B.AttributeCount()) return false;
  for (const IVqDOMAttribute& attribute : A.GetAttributes()) {
    if (!B.HasAttribute(attribute.GetName()) || B.GetAttribute(attribute.GetName()) != attribute.GetValue())
      return false;
  }
  return true;
}

bool EwsSameParts(const IVqDOMElement& A, const IVqDOMElement& B) {
  if (detail::SameInnerXML(TVqRawElement(A), TVqRawElement(B))) return true;  // the usual case
  IVqDOMElement a = EwsFirstPart(A), b = EwsFirstPart(B);
  if (!a && !b) return detail::SameText(TVqRawElement(A), TVqRawElement(B));
  for (; a && b; a = SkipEmpty(a.GetNextSiblingElement()), b = SkipEmpty(b.GetNextSiblingElement())) {
    if (a.GetQualifiedName() != b.GetQualifiedName() || !EwsSameAttributes(a, b) || !EwsSameParts(a, b)) return false;
  }
  return !a && !b;
}

bool EwsSameValue(const IVqDOMElement& A, const IVqDOMElement& B) {
  if (!A || !B) return (!A || EwsIsEmpty(A)) && (!B || EwsIsEmpty(B));
  return EwsSameAttributes(A, B) && EwsSameParts(A, B);
}

}  // namespace velmore
