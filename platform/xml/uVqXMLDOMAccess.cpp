#include "platform/xml/internal/uVqXMLDOMAccess.h"

#include <cstring>

#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore::detail {

TVqRawElement::TVqRawElement(const IVqDOMElement& element) noexcept : FNode(TVqDOMFactory::Pointer(element)) {}

std::string_view TVqRawElement::Name() const noexcept {
  return RawNode(FNode).name();
}

std::string_view TVqRawElement::LocalName() const noexcept {
  return LocalPart(Name());
}

TVqRawElement TVqRawElement::FirstChild() const noexcept {
  return TVqRawElement(FirstElement(RawNode(FNode)).internal_object());
}

TVqRawElement TVqRawElement::LastChild() const noexcept {
  pugi::xml_node node = RawNode(FNode).last_child();
  while (node && !IsElement(node)) node = node.previous_sibling();
  return TVqRawElement(node.internal_object());
}

TVqRawElement TVqRawElement::Next() const noexcept {
  return TVqRawElement(NextElement(RawNode(FNode)).internal_object());
}

TVqRawElement TVqRawElement::Previous() const noexcept {
  pugi::xml_node node = RawNode(FNode);
  do {
    node = node.previous_sibling();
  } while (node && (!IsElement(node) || node.name()[0] == '\0'));
  return TVqRawElement(node.internal_object());
}

TVqRawElement TVqRawElement::Parent() const noexcept {
  const pugi::xml_node parent = RawNode(FNode).parent();
  return TVqRawElement(IsElement(parent) && parent.name()[0] != '\0' ? parent.internal_object() : nullptr);
}

TVqRawElement TVqRawElement::Child(std::string_view qualifiedName) const noexcept {
  for (pugi::xml_node child = RawNode(FNode).first_child(); RawPointer(child); child = child.next_sibling()) {
    const char* name = child.name();
    if (std::strncmp(name, qualifiedName.data(), qualifiedName.size()) == 0 && name[qualifiedName.size()] == '\0' &&
        IsElement(child)) {
      return TVqRawElement(child.internal_object());
    }
  }
  return {};
}

bool TVqRawElement::HasChildren() const noexcept {
  const pugi::xml_node node = RawNode(FNode);
  return node.value()[0] != '\0' || node.first_child();
}

std::string_view TVqRawElement::Text(std::string& scratch) const {
  return TextOf(RawNode(FNode), scratch);
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
  Unfold(element);
  return Insert(parent, name, element.first_child());
}

bool SameText(TVqRawElement a, TVqRawElement b) {
  std::string first, second;
  return a.Text(first) == b.Text(second);
}

namespace {

bool SameAttributes(pugi::xml_node a, pugi::xml_node b) {
  pugi::xml_attribute first = Live(a.first_attribute()), second = Live(b.first_attribute());
  for (; first && second; first = Live(first.next_attribute()), second = Live(second.next_attribute())) {
    if (std::strcmp(first.name(), second.name()) != 0 || std::strcmp(first.value(), second.value()) != 0) return false;
  }
  return !first && !second;
}

bool SameNode(pugi::xml_node a, pugi::xml_node b) {
  return a.type() == b.type() && std::strcmp(a.name(), b.name()) == 0 && std::strcmp(ValueOf(a), ValueOf(b)) == 0 &&
         SameAttributes(a, b);
}

/// Embedded text on one side only: both get a form in which they can be compared node by node.
void Align(pugi::xml_node a, pugi::xml_node b) {
  if ((a.value()[0] != '\0') == (b.value()[0] != '\0')) return;
  Unfold(a);
  Unfold(b);
}

}  // namespace

bool SameInnerXML(TVqRawElement a, TVqRawElement b) {
  const pugi::xml_node top = RawNode(a.Node()), otherTop = RawNode(b.Node());
  if (!top || !otherTop) return !a.HasChildren() && !b.HasChildren();
  pugi::xml_node one = top, other = otherTop;
  for (;;) {
    if (IsElement(one) && IsElement(other)) Align(one, other);
    const bool same = one == top ? std::strcmp(ValueOf(one), ValueOf(other)) == 0 : SameNode(one, other);
    if (!same) return false;
    const pugi::xml_node child = one.first_child(), otherChild = other.first_child();
    if (static_cast<bool>(child) != static_cast<bool>(otherChild)) return false;
    if (child) {
      one = child;
      other = otherChild;
      continue;
    }
    for (;;) {
      if (one == top) return true;
      const pugi::xml_node next = one.next_sibling(), otherNext = other.next_sibling();
      if (static_cast<bool>(next) != static_cast<bool>(otherNext)) return false;
      if (next) {
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
  if (copy) CopyInside(element, TVqDOMFactory::Node(copy));
  data.StructureChanged();
}

void AssignKnownText(const IVqDOMElement& target, const std::string& text) {
  PutText(WritableElement(target), TVqDOMFactory::Node(target), text.c_str());
}

void AssignTextOf(const IVqDOMElement& target, const IVqDOMElement& source) {
  std::string scratch;
  // Text of the parser's ends in a zero wherever it stands.
  const std::string_view text = TextOf(TVqDOMFactory::Node(source), scratch);
  PutText(WritableElement(target), TVqDOMFactory::Node(target), text.data() ? text.data() : "");
}

void BorrowText(const IVqDOMElement& target, const IVqDOMElement& source) {
  std::string scratch;
  const std::string_view text = TextOf(TVqDOMFactory::Node(source), scratch);
  TVqDOMData& data = WritableElement(target);
  // Nothing to borrow, or nothing in one piece.
  if (text.empty() || text.data() == scratch.data()) return AssignTextOf(target, source);
  static constexpr char kMark[] = {kBorrowedMark, '\0'};
  const pugi::xml_node element = TVqDOMFactory::Node(target);
  PutText(data, element, kMark);
  data.Borrow(element.value()[0] == kBorrowedMark ? element : element.first_child(), text.data(), source);
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
