// Elements: children by name, attributes, typed text, selection.

#include <algorithm>

#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLSelect_p.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

using namespace detail;

namespace {

/// Every node's own tree; null for an empty handle and an attribute, in which nothing can be found.
const TVqDOMTree* TreeFor(const IVqDOMNode& handle) {
  if (!handle || TVqDOMFactory::IsAttribute(handle)) return nullptr;
  TVqDOMData* data = TVqDOMFactory::Data(handle);
  return TVqDOMFactory::IsDocument(handle) ? &data->Tree() : &data->TreeOf(TVqDOMFactory::Node(handle));
}

[[noreturn]] void Absent(const IVqDOMNode& context, std::string_view what) {
  const string name = context.GetQualifiedName();
  throw EVqXMLError("There is no \"" + string(what) + "\" in " +
                        (!context                                              ? string("a node that does not exist")
                         : context.GetNodeType() == TVqDOMNodeType::ntDocument ? string("the document")
                                                                               : "\"" + name + "\"") +
                        ".",
                    0, 0);
}

pugi::xml_node Find(const IVqDOMNode& context, const TVqDOMPath& path, TVqDOMSelectOptions options) {
  // A child needs no tree around the node that it is looked for in.
  if (path.Direct && TVqDOMFactory::Pointer(context) && !TVqDOMFactory::IsAttribute(context)) {
    return SelectChild(path.Steps[0].Name, ModeOf(options), TVqDOMFactory::Node(context));
  }
  const TVqDOMTree* tree = TreeFor(context);
  return tree ? SelectFirst(path, options, {*TVqDOMFactory::Data(context), *tree, TVqDOMFactory::Node(context)})
              : RawNode(nullptr);
}

IVqDOMElement SelectSingle(const IVqDOMNode& context, const TVqDOMPath& path, TVqDOMSelectOptions options) {
  TVqDOMData* data = TVqDOMFactory::Data(context);
  if (const pugi::xml_node found = Find(context, path, options); RawPointer(found)) {
    return TVqDOMFactory::Element(data, found);
  }
  if (options.Has(TVqDOMSelectOption::soCreate)) {
    Writable(context);
    if (const TVqDOMTree* tree = TreeFor(context)) {
      return TVqDOMFactory::Element(data,
                                    SelectOrCreate(*data, path, options, {*data, *tree, TVqDOMFactory::Node(context)}));
    }
  }
  if (options.Has(TVqDOMSelectOption::soRaise)) Absent(context, path.Text);
  return {};
}

TVqDOMElementList SelectList(const IVqDOMNode& context, const TVqDOMPath& path, TVqDOMSelectOptions options) {
  auto nodes = std::make_shared<std::vector<void*>>();
  if (const TVqDOMTree* tree = TreeFor(context)) {
    *nodes = SelectAll(path, options, {*TVqDOMFactory::Data(context), *tree, TVqDOMFactory::Node(context)});
  }
  if (nodes->empty()) {
    const IVqDOMElement made = SelectSingle(context, path, options);  // makes or raises, if it is to
    if (made) nodes->push_back(TVqDOMFactory::Pointer(made));
  }
  return TVqDOMFactory::List(context, std::move(nodes));
}

}  // namespace

IVqDOMElement IVqDOMNode::SelectSingleElement(const TVqUtf8View& AExpression, TVqDOMSelectOptions AOptions) const {
  return SelectSingle(*this, CachedPath(AExpression.View()), AOptions);
}

IVqDOMElement IVqDOMNode::SelectSingleElement(const TVqDOMSelection& ASelection, TVqDOMSelectOptions AOptions) const {
  return SelectSingle(*this, *TVqDOMFactory::Path(ASelection), AOptions);
}

TVqDOMElementList IVqDOMNode::CreateElementList(const TVqUtf8View& AExpression, TVqDOMSelectOptions AOptions) const {
  return SelectList(*this, CachedPath(AExpression.View()), AOptions);
}

TVqDOMElementList IVqDOMNode::CreateElementList(const TVqDOMSelection& ASelection, TVqDOMSelectOptions AOptions) const {
  return SelectList(*this, *TVqDOMFactory::Path(ASelection), AOptions);
}

// ---- Child elements

IVqDOMElement IVqDOMElement::AddElement(const TVqUtf8View& AName) const {
  TVqDOMData& data = WritableElement(*this);
  const std::string_view name = AName.View();
  const pugi::xml_node parent = RawNode(FNode);
  if (name.find_first_of("/[@") == std::string_view::npos) {
    CheckName(AName);
    const pugi::xml_node element = InsertNamed(parent, pugi::node_element, std::string(name).c_str(), {});
    data.StructureChanged();
    return TVqDOMFactory::Element(&data, element);
  }
  const TVqDOMPath& path = CachedPath(name);
  if (path.FromRoot) throw EVqXMLError("\"" + string(name) + "\" does not lie below the element.", 0, 0);
  const std::string prefix(PrefixPart(path.Steps[0].Name.Qualified));
  return TVqDOMFactory::Element(&data, SelectOrCreate(data, path, TVqDOMSelectOption::soIgnorePrefix,
                                                      {data, data.TreeOf(parent), parent}, &prefix));
}

IVqDOMElement IVqDOMElement::InsertElement(const TVqUtf8View& AName, TVqDOMPosition APosition,
                                           const IVqDOMElement& AReference) const {
  TVqDOMData& data = WritableElement(*this);
  CheckName(AName);
  const pugi::xml_node parent = RawNode(FNode);
  pugi::xml_node before;
  if (APosition == TVqDOMPosition::dpFirst) {
    Unfold(data, parent);
    before = parent.first_child();
  } else if (APosition != TVqDOMPosition::dpLast) {
    const pugi::xml_node reference = TVqDOMFactory::Node(AReference);
    if (TVqDOMFactory::Data(AReference) != &data || reference.parent() != parent) {
      throw EListError("The element to insert at is no child of this one.");
    }
    before = APosition == TVqDOMPosition::dpBefore ? reference : reference.next_sibling();
  }
  const pugi::xml_node element = InsertNamed(parent, pugi::node_element, std::string(AName.View()).c_str(), before);
  data.StructureChanged();
  return TVqDOMFactory::Element(&data, element);
}

TVqDOMElementList IVqDOMElement::GetChildElements() const {
  if (!FData) return {};
  TVqDOMData& data = *TVqDOMFactory::Data(*this);
  if (data.ListOf != FNode || data.ListAt != data.Structure || !data.List) {
    auto nodes = std::make_shared<std::vector<void*>>();
    for (pugi::xml_node child = FirstElement(RawNode(FNode)); child; child = NextElement(child)) {
      nodes->push_back(child.internal_object());
    }
    data.List = std::move(nodes);
    data.ListOf = FNode;
    data.ListAt = data.Structure;
  }
  return TVqDOMFactory::List(*this, data.List);
}

std::int32_t IVqDOMElement::ElementCount() const {
  return GetChildElements().Count();
}

bool IVqDOMElement::HasChildElement(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions) const {
  if (!FData) return false;
  const TVqNameTest name = NameTest(AName.View());
  const TVqNameMode mode = ModeOf(AOptions);
  for (pugi::xml_node child = FirstElement(RawNode(FNode)); child; child = NextElement(child)) {
    if (Matches(name, child.name(), mode)) return true;
  }
  return false;
}

bool IVqDOMElement::HasChildElements() const {
  return FData && FirstElement(RawNode(FNode));
}

IVqDOMElement IVqDOMElement::GetFirstChildElement() const {
  if (!FData) return {};
  return TVqDOMFactory::Element(TVqDOMFactory::Data(*this), FirstElement(RawNode(FNode)));
}

IVqDOMElement IVqDOMElement::GetNextSiblingElement() const {
  if (!GetParentElement()) return {};
  return TVqDOMFactory::Element(TVqDOMFactory::Data(*this), NextElement(RawNode(FNode)));
}

IVqDOMElement IVqDOMElement::GetPreviousSiblingElement() const {
  if (!GetParentElement()) return {};
  return MakeElement(*this, TVqRawElement(*this).Previous());
}

IVqDOMElement IVqDOMElement::ElementByName(const TVqUtf8View& ALocalName, const TVqUtf8View& ANamespaceURI,
                                           bool ADeep) const {
  if (!FData) return {};
  const pugi::xml_node top = RawNode(FNode);
  for (pugi::xml_node node = top.first_child(); node; node = ADeep ? NextInside(node, top) : node.next_sibling()) {
    if (!IsElement(node) || LocalPart(node.name()) != ALocalName.View()) continue;
    if (ANamespaceURI.View().empty() || NamespaceAt(node, PrefixPart(node.name())) == ANamespaceURI.View()) {
      return TVqDOMFactory::Element(TVqDOMFactory::Data(*this), node);
    }
  }
  return {};
}

// ---- Attributes

string IVqDOMElement::GetAttribute(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions) const {
  const pugi::xml_attribute attribute = FindAttribute(RawNode(FNode), NameTest(AName.View()), ModeOf(AOptions));
  if (!attribute && AOptions.Has(TVqDOMSelectOption::soRaise)) Absent(*this, "@" + std::string(AName.View()));
  return TextFromUtf8(attribute.value());
}

std::int32_t IVqDOMElement::GetAttributeAsInteger(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions) const {
  const IVqDOMAttribute attribute = GetAttributeNode(AName, AOptions);
  return attribute ? VqXMLToInt(attribute.GetTextAsUtf8()) : 0;
}

IVqDOMAttribute IVqDOMElement::GetAttributeNode(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions) const {
  const pugi::xml_attribute attribute = FindAttribute(RawNode(FNode), NameTest(AName.View()), ModeOf(AOptions));
  if (attribute) return TVqDOMFactory::Attribute(TVqDOMFactory::Data(*this), RawNode(FNode), attribute);
  if (AOptions.Has(TVqDOMSelectOption::soCreate)) return AddAttribute(AName);
  if (AOptions.Has(TVqDOMSelectOption::soRaise)) Absent(*this, "@" + std::string(AName.View()));
  return {};
}

void IVqDOMElement::SetAttribute(const TVqUtf8View& AName, const TVqUtf8View& AValue) const {
  WritableElement(*this);
  const std::string value = CheckText(AValue);
  IVqDOMAttribute attribute = AddAttribute(AName);
  if (!TVqDOMFactory::Attribute(attribute).set_value(value.c_str())) throw std::bad_alloc();
}

IVqDOMAttribute IVqDOMElement::AddAttribute(const TVqUtf8View& AName) const {
  TVqDOMData& data = WritableElement(*this);
  const std::string name(AName.View());
  pugi::xml_node element = RawNode(FNode);
  pugi::xml_attribute attribute;
  if (!name.starts_with(kRemovedMark)) attribute = element.attribute(name.c_str());
  if (!attribute) {
    CheckName(AName);
    attribute = Made(element.append_attribute(name.c_str()));
  }
  data.TextChanged();
  return TVqDOMFactory::Attribute(&data, element, attribute);
}

namespace {
void RemoveOne(TVqDOMData& data, pugi::xml_attribute attribute) {
  if (!attribute.set_name((kRemovedMark + std::string(attribute.name())).c_str())) throw std::bad_alloc();
  data.TextChanged();
}
}  // namespace

void IVqDOMElement::RemoveAttribute(const TVqUtf8View& AName) const {
  TVqDOMData& data = WritableElement(*this);
  if (AName.View().starts_with(kRemovedMark)) return;
  const pugi::xml_attribute attribute = RawNode(FNode).attribute(std::string(AName.View()).c_str());
  if (attribute) RemoveOne(data, attribute);
}

void IVqDOMElement::RemoveAllAttributes() const {
  TVqDOMData& data = WritableElement(*this);
  for (pugi::xml_attribute attribute = Live(RawNode(FNode).first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    RemoveOne(data, attribute);
  }
}

bool IVqDOMElement::HasAttribute(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions) const {
  return static_cast<bool>(FindAttribute(RawNode(FNode), NameTest(AName.View()), ModeOf(AOptions)));
}

std::int32_t IVqDOMElement::AttributeCount() const {
  std::int32_t count = 0;
  for (pugi::xml_attribute attribute = Live(RawNode(FNode).first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    ++count;
  }
  return count;
}

TVqDOMAttrList IVqDOMElement::GetAttributes() const {
  TVqDOMAttrList list;
  for (pugi::xml_attribute attribute = Live(RawNode(FNode).first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    TVqDOMFactory::Items(list).push_back(
        TVqDOMFactory::Attribute(TVqDOMFactory::Data(*this), RawNode(FNode), attribute));
  }
  return list;
}

// ---- Typed text

namespace {
/// The text that is to be converted, null when there is none and the empty value is meant.
template <typename Result, typename Convert>
Result Typed(const IVqDOMElement& element, Convert convert) {
  std::string scratch;
  const std::string_view text = TVqRawElement(element).Text(scratch);
  return text.empty() ? Result() : convert(text);
}
}  // namespace

std::int32_t IVqDOMElement::GetAsInteger() const {
  return Typed<std::int32_t>(*this, [](std::string_view text) { return VqXMLToInt(text); });
}

bool IVqDOMElement::GetAsBoolean() const {
  return Typed<bool>(*this, [](std::string_view text) { return VqXMLToBool(text); });
}

TDateTime IVqDOMElement::GetAsDateTime() const {
  return Typed<TDateTime>(*this, [](std::string_view text) { return VqXMLToDateTime(text); });
}

std::string IVqDOMElement::GetAsAnsiString(std::int32_t ACodePage) const {
  std::string scratch;
  return VqEncodeText(TVqRawElement(*this).Text(scratch), ACodePage);
}

void IVqDOMElement::SetAsInteger(std::int32_t AValue) const {
  SetText(VqIntToXML(AValue));
}

void IVqDOMElement::SetAsBoolean(bool AValue) const {
  SetText(VqBoolToXML(AValue));
}

void IVqDOMElement::SetAsDateTime(TDateTime AValue) const {
  SetText(VqDateTimeToXML(AValue));
}

// ---- Lists

namespace {
[[noreturn]] void Outside(std::int32_t index, std::int64_t count) {
  throw EListError(Format("Position %d is outside of a list of %d.", {index, count}));
}
bool Inside(std::int32_t index, std::size_t count) {
  return index >= 0 && static_cast<std::size_t>(index) < count;
}
}  // namespace

TVqDOMElementList detail::TVqDOMFactory::List(const IVqDOMNode& anchor,
                                              std::shared_ptr<const std::vector<void*>> nodes) {
  TVqDOMElementList list;
  list.FDocument = anchor;
  list.FNodes = std::move(nodes);
  return list;
}

std::int32_t TVqDOMElementList::Count() const noexcept {
  return FNodes ? static_cast<std::int32_t>(FNodes->size()) : 0;
}

IVqDOMElement TVqDOMElementList::GetItem(std::int32_t AIndex) const {
  if (!FNodes || !Inside(AIndex, FNodes->size())) Outside(AIndex, Count());
  return TVqDOMFactory::Element(TVqDOMFactory::Data(FDocument), RawNode((*FNodes)[static_cast<std::size_t>(AIndex)]));
}

IVqDOMElement TVqDOMElementList::GetItem(const TVqUtf8View& AName) const {
  if (!FNodes) return {};
  const TVqNameTest name = NameTest(AName.View());
  for (const TVqNameMode mode : {TVqNameMode::nmQualified, TVqNameMode::nmLocal}) {
    for (void* node : *FNodes) {
      if (Matches(name, RawNode(node).name(), mode)) {
        return TVqDOMFactory::Element(TVqDOMFactory::Data(FDocument), RawNode(node));
      }
    }
  }
  return {};
}

const IVqDOMNode& TVqDOMNodeList::GetItem(std::int32_t AIndex) const {
  if (!Inside(AIndex, FNodes.size())) Outside(AIndex, Count());
  return FNodes[static_cast<std::size_t>(AIndex)];
}

const IVqDOMAttribute& TVqDOMAttrList::GetItem(std::int32_t AIndex) const {
  if (!Inside(AIndex, FAttributes.size())) Outside(AIndex, Count());
  return FAttributes[static_cast<std::size_t>(AIndex)];
}

}  // namespace velmore
