// Nodes of any kind: names, texts, neighbours, surgery.

#include "platform/xml/uVqXMLDOM.h"

#include <algorithm>

#include "platform/xml/internal/uVqXMLWriter.h"
#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore {

using namespace detail;

namespace {

/// Makes an adopted name of a node or attribute known to the parser.
void Rename(TVqDOMData& data, const IVqDOMNode& handle, const std::string& name) {
  const bool done = TVqDOMFactory::IsAttribute(handle) ? TVqDOMFactory::Attribute(handle).set_name(name.c_str())
                                                       : TVqDOMFactory::Node(handle).set_name(name.c_str());
  if (!done) throw EVqException("This node has no name that could be changed.");
  data.StructureChanged();
}

/// Parses markup that was found good as the content of an empty element.
void AppendMarkup(pugi::xml_node element, std::string_view markup) {
  const pugi::xml_parse_result result =
      element.append_buffer(markup.data(), markup.size(), kParseOptions | pugi::parse_fragment, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!result) FailAt(markup, static_cast<std::size_t>(result.offset), string(result.description()));
}

}  // namespace

TVqUtf8View::TVqUtf8View(std::u16string_view text) {
  FOwned = VqToUtf8(text);
  FView = FOwned;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((text[i] & 0xF800) != 0xD800) continue;
    if (text[i] >= 0xDC00 || i + 1 >= text.size() || (text[i + 1] & 0xFC00) != 0xDC00) {
      FValid = false;
      return;
    }
    ++i;
  }
}

TVqDOMNodeType IVqDOMNode::GetNodeType() const noexcept {
  if (!FData) return TVqDOMNodeType::ntNone;
  if (FAttribute) return TVqDOMNodeType::ntAttribute;
  if (!FNode) return TVqDOMNodeType::ntDocument;
  switch (RawNode(FNode).type()) {
    case pugi::node_element:
      return TVqDOMNodeType::ntElement;
    case pugi::node_pcdata:
      return TVqDOMNodeType::ntText;
    case pugi::node_cdata:
      return TVqDOMNodeType::ntCDATA;
    case pugi::node_comment:
      return TVqDOMNodeType::ntComment;
    default:
      return TVqDOMNodeType::ntProcessingInstruction;
  }
}

IVqDOMElement IVqDOMNode::AsElement() const {
  return IVqDOMElement(*this);
}

IVqDOMAttribute IVqDOMNode::AsAttribute() const {
  return IVqDOMAttribute(*this);
}

IVqDOMElement::IVqDOMElement(const IVqDOMNode& ANode)
    : IVqDOMNode(ANode.GetNodeType() == TVqDOMNodeType::ntElement ? ANode : IVqDOMNode()) {}

IVqDOMAttribute::IVqDOMAttribute(const IVqDOMNode& ANode)
    : IVqDOMNode(TVqDOMFactory::IsAttribute(ANode) ? ANode : IVqDOMNode()) {}

// ---- Names

namespace {
std::string_view HandleName(const IVqDOMNode& handle) {
  if (TVqDOMFactory::IsAttribute(handle)) return NameOf(TVqDOMFactory::Attribute(handle));
  return TVqDOMFactory::Node(handle).name();
}
}  // namespace

string IVqDOMNode::GetLocalName() const {
  return TextFromUtf8(LocalPart(HandleName(*this)));
}

string IVqDOMNode::GetQualifiedName() const {
  return TextFromUtf8(HandleName(*this));
}

string IVqDOMNode::GetPrefix() const {
  return TextFromUtf8(PrefixPart(HandleName(*this)));
}

void IVqDOMNode::SetQualifiedName(const TVqUtf8View& AName) const {
  TVqDOMData& data = Writable(*this);
  CheckName(AName);
  std::string name(AName.View());
  if (FAttribute) {
    if (IsRemoved(RawAttribute(FAttribute))) {
      name.insert(name.begin(), kRemovedMark);
    } else if (const pugi::xml_attribute other = RawNode(FNode).attribute(name.c_str());
               other && other != RawAttribute(FAttribute)) {
      throw EVqXMLError("The attribute \"" + string(name) + "\" occurs twice.", 0, 0);
    }
  }
  Rename(data, *this, name);
}

void IVqDOMNode::SetPrefix(const TVqUtf8View& APrefix) const {
  Writable(*this);
  std::string name(APrefix.View());
  if (!name.empty()) {
    CheckName(APrefix);
    name += ':';
  }
  name += LocalPart(HandleName(*this));
  SetQualifiedName(name);
}

string IVqDOMNode::GetNamespaceURI() const {
  if (!FNode) return {};
  const std::string_view name = HandleName(*this), prefix = PrefixPart(name);
  // A default namespace does not reach attributes.
  if (FAttribute && prefix.empty()) return name == "xmlns" ? string("http://www.w3.org/2000/xmlns/") : string();
  const pugi::xml_node node = RawNode(FNode);
  return IsElement(node) ? TextFromUtf8(NamespaceAt(node, prefix)) : string();
}

// ---- Text

namespace {
std::string_view HandleText(const IVqDOMNode& handle, std::string& scratch) {
  if (TVqDOMFactory::IsAttribute(handle)) return TVqDOMFactory::Attribute(handle).value();
  if (!handle) return {};
  const TVqDOMData& data = *TVqDOMFactory::Data(handle);
  return TextOf(data, TVqDOMFactory::IsDocument(handle) ? data.Tree().Root() : TVqDOMFactory::Node(handle), scratch);
}
}  // namespace

string IVqDOMNode::GetText() const {
  std::string scratch;
  return TextFromUtf8(HandleText(*this, scratch));
}

std::string IVqDOMNode::GetTextAsUtf8() const {
  std::string scratch;
  return std::string(HandleText(*this, scratch));
}

void IVqDOMNode::SetText(const TVqUtf8View& AText) const {
  TVqDOMData& data = Writable(*this);
  const std::string text = CheckText(AText);
  if (FAttribute) {
    if (!RawAttribute(FAttribute).set_value(text.c_str())) throw std::bad_alloc();
    data.TextChanged();
    return;
  }
  if (!FNode) throw EVqException("A document has no text of its own.");
  const pugi::xml_node node = RawNode(FNode);
  if (node.type() == pugi::node_comment && (text.find("--") != std::string::npos || text.ends_with('-'))) {
    throw EVqXMLError("\"--\" in a comment.", 0, 0);
  }
  if (node.type() == pugi::node_pi && text.find("?>") != std::string::npos) {
    throw EVqXMLError("\"?>\" in a processing instruction.", 0, 0);
  }
  PutText(data, node, text.c_str());
}

string IVqDOMNode::GetNodeValue() const {
  return GetText();
}

void IVqDOMNode::SetNodeValue(const TVqUtf8View& AValue) const {
  SetText(AValue);
}

std::string IVqDOMNode::GetXMLAsUtf8() const {
  std::string out;
  if (FData) WriteNode(out, *this, {});
  return out;
}

string IVqDOMNode::GetXML() const {
  return TextFromUtf8(GetXMLAsUtf8());
}

string IVqDOMNode::GetInnerXML() const {
  std::string out;
  if (FData && !FAttribute) WriteInside(out, *this, {});
  return TextFromUtf8(out);
}

string IVqDOMNode::GetFormattedInnerXML() const {
  std::string out;
  if (FData && !FAttribute) WriteInside(out, *this, {.Indent = true});
  return TextFromUtf8(out);
}

void IVqDOMNode::SetInnerXML(const TVqUtf8View& AMarkup) const {
  TVqDOMData& data = WritableElement(*this);
  if (!AMarkup.Valid()) CheckText(AMarkup);
  std::string unused;
  CheckMarkup(AMarkup.View(), TVqXMLRules::rContent, data.Limits, unused);
  // The markup may be this very element's own text.
  std::string markup = NeedsLines(AMarkup.View()) ? WithLines(AMarkup.View()) : std::string(AMarkup.View());
  // At its start the parser would skip U+FEFF as a byte order mark; here it is a character of the text.
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (markup.starts_with(kMark)) markup.insert(0, kMark);
  const pugi::xml_node element = RawNode(FNode);
  RemoveInside(data, element);
  if (!markup.empty()) AppendMarkup(element, markup);
  data.StructureChanged();
}

// ---- Around the node

IVqDOMElement IVqDOMNode::GetParentElement() const {
  if (!FNode) return {};
  TVqDOMData* data = TVqDOMFactory::Data(*this);
  if (FAttribute) {
    if (IsRemoved(RawAttribute(FAttribute))) return {};
    return TVqDOMFactory::Element(data, RawNode(FNode));
  }
  const pugi::xml_node parent = RawNode(FNode).parent();
  // What was removed hangs below a nameless element.
  if (!IsElement(parent) || parent.name()[0] == '\0') return {};
  return TVqDOMFactory::Element(data, parent);
}

IVqDOMDocument IVqDOMNode::GetOwnerDocument() const {
  IVqDOMDocument document;
  if (FData) TVqDOMFactory::FillDocument(document, TVqDOMFactory::Data(*this));
  return document;
}

IVqDOMNode IVqDOMNode::GetFirstChild() const {
  if (!FData || FAttribute) return {};
  TVqDOMData* data = TVqDOMFactory::Data(*this);
  if (!FNode) return TVqDOMFactory::Make<IVqDOMNode>(data, data->Tree().First());
  Unfold(*data, RawNode(FNode));
  return TVqDOMFactory::Make<IVqDOMNode>(data, RawNode(FNode).first_child());
}

IVqDOMNode IVqDOMNode::GetNextSibling() const {
  if (!FNode || FAttribute) return {};
  TVqDOMData* data = TVqDOMFactory::Data(*this);
  const pugi::xml_node node = RawNode(FNode);
  const TVqDOMTree& tree = data->TreeOf(node);
  if (tree.Parked && node.parent() == tree.Parked) return {};
  return TVqDOMFactory::Make<IVqDOMNode>(data, tree.Skip(node.next_sibling()));
}

IVqDOMNode IVqDOMNode::GetPreviousSibling() const {
  if (!FNode || FAttribute) return {};
  TVqDOMData* data = TVqDOMFactory::Data(*this);
  const pugi::xml_node node = RawNode(FNode), parent = node.parent();
  const TVqDOMTree& tree = data->TreeOf(node);
  if (tree.Parked && parent == tree.Parked) return {};
  if (IsElement(parent)) Unfold(*data, parent);
  pugi::xml_node previous = node.previous_sibling();
  if (previous && previous == tree.Parked) previous = previous.previous_sibling();
  return TVqDOMFactory::Make<IVqDOMNode>(data, previous);
}

bool IVqDOMNode::HasChildren() const {
  if (!FData || FAttribute) return false;
  if (!FNode) return static_cast<bool>(TVqDOMFactory::Data(*this)->Tree().First());
  const pugi::xml_node node = RawNode(FNode);
  return IsElement(node) && (HasOwnText(*TVqDOMFactory::Data(*this), node) || node.first_child());
}

std::int32_t IVqDOMNode::GetChildCount() const {
  std::int32_t count = 0;
  if (!HasChildren()) return count;
  const TVqDOMData& data = *TVqDOMFactory::Data(*this);
  if (FNode && HasOwnText(data, RawNode(FNode))) ++count;
  const TVqDOMTree& tree = data.Tree();
  for (pugi::xml_node child = tree.Skip(TVqDOMFactory::Node(*this).first_child()); child;
       child = tree.Skip(child.next_sibling())) {
    ++count;
  }
  return count;
}

TVqDOMNodeList IVqDOMNode::GetChildren() const {
  TVqDOMNodeList list;
  for (IVqDOMNode child = GetFirstChild(); child; child = child.GetNextSibling()) {
    TVqDOMFactory::Items(list).push_back(child);
  }
  return list;
}

// ---- Tree surgery

IVqDOMNode IVqDOMNode::AddChild(const IVqDOMNode& ANode) const {
  TVqDOMData& data = Writable(*this);
  if (!ANode) throw EVqException("A node that does not exist cannot be added.");
  const TVqDOMNodeType type = ANode.GetNodeType();
  if (type == TVqDOMNodeType::ntDocument || type == TVqDOMNodeType::ntAttribute) {
    throw EVqException("Only elements, text, comments and processing instructions are added as children.");
  }
  if (FAttribute || (FNode && !IsElement(RawNode(FNode)))) throw EVqException("This node cannot have children.");
  const pugi::xml_node node = RawNode(ANode.FNode);
  TVqDOMTree& tree = FNode ? data.TreeOf(RawNode(FNode)) : data.Tree();
  const pugi::xml_node target = TVqDOMFactory::Node(*this);
  pugi::xml_node before;
  if (!FNode) {
    if (IsText(node)) throw EVqException("A document has no text of its own.");
    if (const pugi::xml_node root = tree.Root(); IsElement(node) && root && root != node) {
      throw EVqException("The document has a root element already.");
    }
    before = tree.Parked;
  }
  const bool here = FData == ANode.FData && node.root() == tree.Document;
  if (here) {
    for (pugi::xml_node up = target; up; up = up.parent()) {
      if (up == node) throw EVqException("A node cannot be put into itself.");
    }
    if (before) {
      Made(pugi::xml_node(target).insert_move_before(node, before));
    } else {
      Made(pugi::xml_node(target).append_move(node));
    }
    data.StructureChanged();
    return ANode;
  }
  const pugi::xml_node copy = CopyNode(data, target, before, *TVqDOMFactory::Data(ANode), node);
  data.StructureChanged();
  return TVqDOMFactory::Make<IVqDOMNode>(&data, copy);
}

void IVqDOMNode::RemoveChild(const IVqDOMNode& ANode) const {
  TVqDOMData& data = Writable(*this);
  if (FData != ANode.FData || FAttribute || ANode.FAttribute || !ANode.FNode ||
      RawNode(ANode.FNode).parent() != TVqDOMFactory::Node(*this)) {
    throw EListError("The node to be removed is no child of this one.");
  }
  const pugi::xml_node node = RawNode(ANode.FNode);
  data.Park(node);
  if (IsElement(node)) {
    data.StructureChanged();
  } else {
    data.TextChanged();
  }
}

void IVqDOMNode::RemoveAllChildren() const {
  TVqDOMData& data = Writable(*this);
  if (!FNode) {
    data.Replace(std::make_unique<TVqDOMTree>());
  } else {
    WritableElement(*this);
    RemoveInside(data, RawNode(FNode));
  }
}

IVqDOMNode IVqDOMNode::CloneNode(bool ADeep) const {
  if (!FData) return {};
  TVqDOMDocument document;
  TVqDOMData& copy = *TVqDOMFactory::Data(document);
  const TVqDOMData& data = *TVqDOMFactory::Data(*this);
  copy.Limits = data.Limits;
  copy.CodePage = data.CodePage;
  pugi::xml_node target = copy.Tree().Document;
  if (!FNode) {
    const TVqDOMTree& tree = data.Tree();
    for (pugi::xml_node node = ADeep ? tree.First() : pugi::xml_node(); node; node = tree.Skip(node.next_sibling())) {
      CopyNode(copy, target, {}, data, node);
    }
    return document;
  }
  const pugi::xml_node source = RawNode(FNode);
  if (FAttribute) {
    // An attribute needs an element to stand on.
    const pugi::xml_node carrier = InsertNamed(target, pugi::node_element, "attribute", {});
    const std::string name(NameOf(RawAttribute(FAttribute)));
    pugi::xml_attribute attribute = Made(pugi::xml_node(carrier).append_attribute(name.c_str()));
    if (!attribute.set_value(RawAttribute(FAttribute).value())) throw std::bad_alloc();
    return TVqDOMFactory::Attribute(&copy, carrier, attribute);
  }
  if (IsText(source)) {
    // The parser's documents hold no text outside of elements.
    const pugi::xml_node carrier = InsertNamed(target, pugi::node_element, "text", {});
    return TVqDOMFactory::Make<IVqDOMNode>(&copy, CopyNode(copy, carrier, {}, data, source));
  }
  if (ADeep || !IsElement(source))
    return TVqDOMFactory::Make<IVqDOMNode>(&copy, CopyNode(copy, target, {}, data, source));
  pugi::xml_node element = InsertNamed(target, pugi::node_element, source.name(), {});
  for (pugi::xml_attribute attribute = Live(source.first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    Made(element.append_copy(attribute));
  }
  return TVqDOMFactory::Make<IVqDOMNode>(&copy, element);
}

void IVqDOMNode::NormalizeTextNodes() const {
  if (!FData || FAttribute) return;
  TVqDOMData& data = Writable(*this);
  const pugi::xml_node top = FNode ? RawNode(FNode) : data.Tree().Root();
  for (pugi::xml_node node = top; node; node = NextInside(node, top)) {
    if (!IsElement(node)) continue;
    if (HasOwnText(data, node) && node.first_child().type() == pugi::node_pcdata) Unfold(data, node);
    for (pugi::xml_node child = node.first_child(); child;) {
      const pugi::xml_node next = child.next_sibling();
      if (child.type() == pugi::node_pcdata && ValueOf(data, child)[0] == '\0') {
        data.Park(child);
        data.TextChanged();
      } else if (child.type() == pugi::node_pcdata && next.type() == pugi::node_pcdata) {
        const std::string joined = std::string(ValueOf(data, child)) + ValueOf(data, next);
        PutText(data, child, joined.c_str());
        data.Park(next);
        continue;
      }
      child = next;
    }
  }
}

// ---- Streams

void IVqDOMNode::SaveToStream(TVqStream& AStream, std::int32_t ACodePage, bool AIndent) const {
  const std::int32_t codePage = ACodePage == kVqCodePageDefault ? kVqCodePageUtf8 : ACodePage;
  CheckCodePage(codePage);
  std::string out;
  if (FData) WriteNode(out, *this, {.Indent = AIndent, .CodePage = codePage});
  AStream.Write(out);
}

void IVqDOMNode::LoadFromStream(TVqStream& AStream, std::int32_t ACodePage) const {
  TVqDOMData& data = Writable(*this);
  if (!FNode) {
    LoadDocumentFromStream(data, AStream, ACodePage);
    return;
  }
  WritableElement(*this);
  TVqDOMDocument document;
  document.SetLimits(data.Limits);
  document.LoadFromStream(AStream, ACodePage);
  AssignContent(TVqDOMFactory::Element(&data, RawNode(FNode)), document.GetDocumentElement());
}

}  // namespace velmore
