#include "ews/values/internal/uVqEWSEmptyElements.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

using detail::TVqRawElement;

IVqDOMElement SkipEmpty(IVqDOMElement element) {
  while (element && EwsIsEmpty(element)) element = element.GetNextSiblingElement();
  return element;
}

bool SameAttributes(const IVqDOMElement& a, const IVqDOMElement& b) {
  if (a.AttributeCount() != b.AttributeCount()) return false;
  for (const IVqDOMAttribute& attribute : a.GetAttributes()) {
    if (!b.HasAttribute(attribute.GetName()) || b.GetAttribute(attribute.GetName()) != attribute.GetValue())
      return false;
  }
  return true;
}

}  // namespace

bool EwsIsEmpty(const IVqDOMElement& AElement) {
  if (AElement.AttributeCount() > 0) return false;
  return AElement.HasChildElements() ? !EwsFirstPart(AElement) : !TVqRawElement(AElement).HasChildren();
}

IVqDOMElement EwsFirstPart(const IVqDOMElement& AElement) {
  return SkipEmpty(AElement.GetFirstChildElement());
}

bool EwsSameParts(const IVqDOMElement& A, const IVqDOMElement& B) {
  if (detail::SameInnerXML(TVqRawElement(A), TVqRawElement(B))) return true;  // the usual case
  IVqDOMElement a = EwsFirstPart(A), b = EwsFirstPart(B);
  if (!a && !b) return detail::SameText(TVqRawElement(A), TVqRawElement(B));
  for (; a && b; a = SkipEmpty(a.GetNextSiblingElement()), b = SkipEmpty(b.GetNextSiblingElement())) {
    if (a.GetQualifiedName() != b.GetQualifiedName() || !SameAttributes(a, b) || !EwsSameParts(a, b)) return false;
  }
  return !a && !b;
}

bool EwsSameValue(const IVqDOMElement& A, const IVqDOMElement& B) {
  if (!A || !B) return (!A || EwsIsEmpty(A)) && (!B || EwsIsEmpty(B));
  return SameAttributes(A, B) && EwsSameParts(A, B);
}

}  // namespace velmore
