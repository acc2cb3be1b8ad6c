#include "platform/xml/uVqXMLSerializer.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLSchema_p.h"

namespace velmore {
namespace detail {
namespace {

[[noreturn]] void RaiseNoFormat(TVqDataSerializationFormatType format) {
  throw EVqException(Format("%d is no serialization format.", {static_cast<std::int32_t>(format)}));
}

string JSONOf(const IVqDOMElement& element) {
  TVqMemoryStream stream;
  element.SaveToJSONStream(stream, kVqCodePageUtf8, false);
  return stream.Bytes();
}

// The root of a document made from text; the document lives as long as the handle.
IVqDOMElement RootOf(const string& text, TVqDataSerializationFormatType format) {
  if (format == dsfXML) return VqCreateDOM(text).GetDocumentElement();
  if (format != dsfJSON) RaiseNoFormat(format);
  const IVqDOMElement root = TVqDOMDocument().CreateRootNode("Data");
  TVqMemoryStream stream(text.utf8());
  root.LoadFromJSONStream(stream, kVqCodePageUtf8);
  return root;
}

string TextOf(const IVqDOMElement& element, TVqDataSerializationFormatType format) {
  if (format == dsfXML) return element.GetXML();
  if (format != dsfJSON) RaiseNoFormat(format);
  return JSONOf(element);
}

bool IsDeclaration(const string& name) {
  return name == "xmlns" || name.StartsWith("xmlns:");
}

// Of a whole document, by a list of its elements: a tree that was built may be deeper than any stack.
void DropNamespaces(const IVqDOMElement& root) {
  for (const IVqDOMElement element : root.CreateElementList("//*")) {
    for (const IVqDOMAttribute& attribute : element.GetAttributes()) {
      const string name = attribute.GetName();
      if (IsDeclaration(name)) {
        element.RemoveAttribute(name);
      } else if (!name.StartsWith("xml:") && !element.HasAttribute(attribute.GetLocalName())) {
        attribute.SetPrefix("");
      }
    }
    element.SetPrefix("");
  }
}

// What was written without prefixes gets back the prefix of the element that it goes into.
void GivePrefix(const IVqDOMElement& element, const string& prefix) {
  if (element.GetPrefix().empty()) element.SetPrefix(prefix);
  for (const IVqDOMElement child : element.GetChildElements()) GivePrefix(child, prefix);
}

string MarkupOf(const IVqDOMElement& element, const string& targetNamespace, bool excludeNamespaces) {
  if (targetNamespace.empty() && !excludeNamespaces) return element.GetXML();
  const IVqDOMElement copy = element.CloneNode(true).AsElement();
  if (excludeNamespaces) DropNamespaces(copy);
  if (!targetNamespace.empty()) {
    const string prefix = copy.GetPrefix();
    copy.SetAttribute(prefix.empty() ? string("xmlns") : "xmlns:" + prefix, targetNamespace);
  }
  return copy.GetXML();
}

IVqDOMElement Described(const TVqUtf8View& rootName, DescribeFunction describe, void* value) {
  const IVqDOMElement root = TVqDOMDocument().CreateRootNode(rootName);
  TVqRecordVisitor visitor(root, false);
  describe(visitor, value);
  return root;
}

}  // namespace

string SerializeElement(const TVqUtf8View& rootName, TVqDataSerializationFormatType format, DescribeFunction describe,
                        void* value) {
  return TextOf(Described(rootName, describe, value), format);
}

void DeserializeElement(const string& text, TVqDataSerializationFormatType format, DescribeFunction describe,
                        void* value) {
  TVqRecordVisitor visitor(RootOf(text, format), true);
  describe(visitor, value);
}

}  // namespace detail

using namespace detail;

IVqDOMElement TVqRecordVisitor::ChildNamed(const TVqUtf8View& AName) const {
  const TVqRawElement child = FElement ? TVqRawElement(FElement).Child(AName.View()) : TVqRawElement();
  return child ? MakeElement(FElement, child) : IVqDOMElement();
}

// ---- Records

string TVqXMLSchemaElement::Serialize(TVqDataSerializationFormatType AFormat) const {
  return TextOf(Element(), AFormat);
}

void TVqXMLSchemaElement::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  const IVqDOMElement element = Element();
  const IVqDOMElement root = RootOf(AText, AFormat);
  const string prefix = element.GetPrefix();
  if (!prefix.empty() && root.GetPrefix().empty() && AFormat == dsfXML) GivePrefix(root, prefix);
  DiscardChildren();
  AssignContent(element, root);
}

string TVqXMLSchemaElement::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) const {
  return MarkupOf(Element(), ATargetNamespace, AExcludeNamespaces);
}

string TVqXMLSchemaElement::AsJSON() const {
  return JSONOf(Element());
}

void TVqXMLSchemaElement::ReadRecord(std::int32_t index, void* value, DescribeFunction describe) const {
  const IVqDOMElement element = NodeOrDemand(index).AsElement();
  if (!element) return;
  TVqRecordVisitor visitor(element, true);
  describe(visitor, value);
}

void TVqXMLSchemaElement::WriteRecord(std::int32_t index, void* value, DescribeFunction describe) {
  const IVqDOMElement root = Described("Data", describe, value);
  const IVqDOMNode node = GetNodeByIndex(index, true);
  const IVqDOMElement target = node.AsElement();
  if (!target) throw EVqException("A record cannot be written to an attribute.");
  target.SetInnerXML(root.GetInnerXML());
  for (const IVqDOMAttribute& attribute : root.GetAttributes()) {
    target.SetAttribute(attribute.GetName(), attribute.GetValue());
  }
}

// ---- Objects

string TVqSerializable::Serialize(TVqDataSerializationFormatType AFormat) const {
  return TextOf(Tree(), AFormat);
}

void TVqSerializable::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  TVqRecordVisitor visitor(RootOf(AText, AFormat), true);
  DescribeMembers(visitor);
}

string TVqSerializable::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) const {
  return MarkupOf(Tree(), ATargetNamespace, AExcludeNamespaces);
}

string TVqSerializable::AsJSON() const {
  return JSONOf(Tree());
}

IVqDOMElement TVqSerializable::Tree() const {
  const IVqDOMElement root = TVqDOMDocument().CreateRootNode(SerializedName());
  TVqRecordVisitor visitor(root, false);
  const_cast<TVqSerializable*>(this)->DescribeMembers(visitor);
  return root;
}

}  // namespace velmore
