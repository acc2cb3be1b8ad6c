#include "platform/xml/internal/uVqXMLDOMAccess.h"

#include <cstring>

#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore::detail {

TVqRawElement::TVqRawElement(const IVqDOMElement& element) noexcept
    : FData(TVqDOMFactory::Data(element)), FNode(TVqDOMFactory::Pointer(element)) {}

std::string_view TVqRawElement::Name() const noexcept {
  return RawNode(FNode).name();
}

std::string_view TVqRawElement::LocalName() const noexcept {
  return LocalPart(Name());
}

TVqRawElement TVqRawElement::FirstChild() const noexcept {
  return TVqRawElement(FData, FirstElement(RawNode(FNode)).internal_object());
}

TVqRawElement TVqRawElement::LastChild() const noexcept {
  pugi::xml_node node = RawNode(FNode).last_child();
  while (node && !IsElement(node)) node = node.previous_sibling();
  return TVqRawElement(FData, node.internal_object());
}

TVqRawElement TVqRawElement::Next() const noexcept {
  return TVqRawElement(FData, NextElement(RawNode(FNode)).internal_object());
}

TVqRawElement TVqRawElement::Previous() const noexcept {
  pugi::xml_node node = RawNode(FNode);
  do {
    node = node.previous_sibling();
  } while (node && (!IsElement(node) || node.name()[0] == '\0'));
  return TVqRawElement(FData, node.internal_object());
}

TVqRawElement TVqRawElement::Parent() const noexcept {
  const pugi::xml_node parent = RawNode(FNode).parent();
  return TVqRawElement(FData, IsElement(parent) && parent.name()[0] != '\0' ? parent.internal_object() : nullptr);
}

namespace {

// Most names differ in their third byte, behind "t:": a call of the C library costs more than that.
bool IsNamed(const char* name, std::string_view qualifiedName) noexcept {
  for (const char c : qualifiedName)
    if (*name++ != c) return false;
  return *name == '\0';
}

}  // namespace

TVqRawElement TVqRawElement::Child(std::string_view qualifiedName) const noexcept {
  for (pugi::xml_node child = RawNode(FNode).first_child(); RawPointer(child); child = child.next_sibling()) {
    if (IsNamed(child.name(), qualifiedName) && IsElement(child)) return TVqRawElement(FData, child.internal_object());
  }
  return {};
}

bool TVqRawElement::HasChildren() const noexcept {
  const pugi::xml_node node = RawNode(FNode);
  return FNode && (HasOwnText(*FData, node) || node.first_child());
}

std::string_view TVqRawElement::Text(std::string& scratch) const {
  return FNode ? TextOf(*FData, RawNode(FNode), scratch) : std::string_view();
}

std::optional<std::string_view> TVqRawElement::Attribute(std::string_view name) const noexcept {
  for (pugi::xml_attribute attribute = RawNode(FNode).first_attribute(); attribute;
       attribute = attribute.next_attribute()) {
    if (name == attribute.name()) return attribute.value();
  }
  return std::nullopt;
}

IVqDOMElement MakeElement(const IVqDOMNode& anchor, TVqRawElement element) noexcept {
  return TVqDOMFactory::Element(TVqDOMFactory::Data(anchor), RawNode(element.Node()));
}

namespace {
IVqDOMElement Insert(const IVqDOMElement& parent, std::string_view name, pugi::xml_node before) {
  TVqDOMData& data = *TVqDOMFactory::Data(parent);
  const pugi::xml_node made =
      InsertNamed(TVqDOMFactory::Node(parent), pugi::node_element, std::string(name).c_str(), before);
  data.StructureChanged();
  return TVqDOMFactory::Element(&data, made);
}
void CheckPlace(const IVqDOMElement& parent, std::string_view name, TVqRawElement sibling) {
  WritableElement(parent);
  CheckName(name);
  if (sibling && RawNode(sibling.Node()).parent() != TVqDOMFactory::Node(parent)) {
    throw EListError("The element to insert at is no child of this one.");
  }
}
}  // namespace

IVqDOMElement InsertChildBefore(const IVqDOMElement& parent, std::string_view name, TVqRawElement sibling) {
  CheckPlace(parent, name, sibling);
  return Insert(parent, name, RawNode(sibling.Node()));
}

IVqDOMElement InsertChildAfter(const IVqDOMElement& parent, std::string_view name, TVqRawElement sibling) {
  CheckPlace(parent, name, sibling);
  if (sibling) return Insert(parent, name, RawNode(sibling.Node()).next_sibling());
  const pugi::xml_node element = TVqDOMFactory::Node(parent);
  Unfold(*TVqDOMFactory::Data(parent), element);
  return Insert(parent, name, element.first_child());
}

bool SameText(TVqRawElement a, TVqRawElement b) {
  std::string first, second;
  return a.Text(first) == b.Text(second);
}

namespace {

bool SameAttributes(pugi::xml_node a, pugi::xml_node b) {
  // Most elements have none, which costs less to see than to ask the parser's handles.
  static_assert(sizeof(pugi::xml_attribute) == sizeof(void*) && std::is_trivially_copyable_v<pugi::xml_attribute>);
  if (!std::bit_cast<void*>(a.first_attribute()) && !std::bit_cast<void*>(b.first_attribute())) return true;
  pugi::xml_attribute first = Live(a.first_attribute()), second = Live(b.first_attribute());
  for (; first && second; first = Live(first.next_attribute()), second = Live(second.next_attribute())) {
    if (std::strcmp(first.name(), second.name()) != 0 || std::strcmp(first.value(), second.value()) != 0) return false;
  }
  return !first && !second;
}

/// One side of a comparison.
struct TVqSide {
  TVqDOMData& Data;
  pugi::xml_node Node;
};

bool SameValue(const TVqSide& a, const TVqSide& b) {
  return std::strcmp(ValueOf(a.Data, a.Node), ValueOf(b.Data, b.Node)) == 0;
}

bool SameNode(const TVqSide& a, const TVqSide& b) {
  return a.Node.type() == b.Node.type() && std::strcmp(a.Node.name(), b.Node.name()) == 0 && SameValue(a, b) &&
         SameAttributes(a.Node, b.Node);
}

/// Embedded text on one side only: both get a form in which they can be compared node by node.
void Align(const TVqSide& a, const TVqSide& b) {
  if (HasOwnText(a.Data, a.Node) == HasOwnText(b.Data, b.Node)) return;
  Unfold(a.Data, a.Node);
  Unfold(b.Data, b.Node);
}

}  // namespace

bool SameInnerXML(TVqRawElement a, TVqRawElement b) {
  const pugi::xml_node top = RawNode(a.Node()), otherTop = RawNode(b.Node());
  if (!a || !b) return !a.HasChildren() && !b.HasChildren();
  TVqSide left{*a.Data(), top}, right{*b.Data(), otherTop};
  pugi::xml_node &one = left.Node, &other = right.Node;
  for (;;) {
    pugi::xml_node child = one.first_child(), otherChild = other.first_child();
    // Only beside children a text can stand in one of two forms.
    if ((RawPointer(child) || RawPointer(otherChild)) && IsElement(one) && IsElement(other)) {
      Align(left, right);
      child = one.first_child();
      otherChild = other.first_child();
    }
    if (!(RawPointer(one) == a.Node() ? SameValue(left, right) : SameNode(left, right))) return false;
    if (!RawPointer(child) != !RawPointer(otherChild)) return false;
    if (RawPointer(child)) {
      one = child;
      other = otherChild;
      continue;
    }
    for (;;) {
      if (RawPointer(one) == a.Node()) return true;
      const pugi::xml_node next = one.next_sibling(), otherNext = other.next_sibling();
      if (!RawPointer(next) != !RawPointer(otherNext)) return false;
      if (RawPointer(next)) {
        one = next;
        other = otherNext;
        break;
      }
      one = one.parent();
      other = other.parent();
    }
  }
}

string TextFromUtf8(std::string_view utf8) {
  return string(utf8);
}

void AssignContent(const IVqDOMElement& target, const IVqDOMElement& source) {
  WritableElement(target);
  if (target == source) return;
  // The two may lie inside of one another, so that a copy is made before anything is taken out.
  const IVqDOMNode copy = source.CloneNode(true);
  TVqDOMData& data = *TVqDOMFactory::Data(target);
  const pugi::xml_node element = TVqDOMFactory::Node(target);
  target.RemoveAllAttributes();
  RemoveInside(data, element);
  if (copy) CopyInside(data, element, *TVqDOMFactory::Data(copy), TVqDOMFactory::Node(copy));
  data.StructureChanged();
}

void AssignKnownText(const IVqDOMElement& target, const std::string& text) {
  PutText(WritableElement(target), TVqDOMFactory::Node(target), text.c_str());
}

void AssignTextOf(const IVqDOMElement& target, const IVqDOMElement& source) {
  std::string scratch;
  // Text of the parser's ends in a zero wherever it stands.
  const std::string_view text = TVqRawElement(source).Text(scratch);
  PutText(WritableElement(target), TVqDOMFactory::Node(target), text.data() ? text.data() : "");
}

void LoadOwnedBytes(const IVqDOMDocument& document, std::string bytes) {
  LoadDocument(Writable(document), std::move(bytes));
}

void SetBeforeChange(const IVqDOMNode& node, const void* owner, std::function<void()> callback) {
  ForgetBeforeChange(node, owner);
  if (TVqDOMData* data = TVqDOMFactory::Data(node)) data->BeforeChange.push_back({owner, std::move(callback)});
}

void ForgetBeforeChange(const IVqDOMNode& node, const void* owner) noexcept {
  if (TVqDOMData* data = TVqDOMFactory::Data(node)) {
    std::erase_if(data->BeforeChange, [owner](const TVqDOMData::TBeforeChange& entry) { return entry.Owner == owner; });
  }
}

}  // namespace velmore::detail
