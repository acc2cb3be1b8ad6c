// The document behind the handles: trees, removed nodes, texts.

#include "platform/xml/uVqXMLDOMData_p.h"

#include <cstring>
#include <new>

#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {

void FreeDOMData(TVqDOMOwner* owner) noexcept {
  delete static_cast<TVqDOMData*>(owner);
}

pugi::xml_node TVqDOMTree::Root() const {
  for (pugi::xml_node node = First(); node; node = Skip(node.next_sibling())) {
    if (IsElement(node)) return node;
  }
  return {};
}

void TVqDOMData::Replace(std::unique_ptr<TVqDOMTree> tree) {
  // The one reference is the caller's own: no handle points into what is replaced.
  if (References.load(std::memory_order_acquire) > 1) {
    if (FTree->Document.first_child()) FReplaced.push_back(std::move(FTree));
  } else {
    FReplaced.clear();
    Apart.clear();
  }
  FTree = std::move(tree);
  List = nullptr;
  ListOf = nullptr;
  DeclarationsKnown = false;
  StructureChanged();
}

TVqSharedText TVqDOMData::TakeApart(pugi::xml_node node) {
  const auto found = Apart.find(RawPointer(node));
  if (found == Apart.end()) return nullptr;
  TVqSharedText text = std::move(found->second);
  Apart.erase(found);
  return text;
}

TVqDOMTree& TVqDOMData::TreeOf(pugi::xml_node node) const noexcept {
  const pugi::xml_node root = node.root();
  if (root != FTree->Document) {
    for (const auto& tree : FReplaced) {
      if (root == tree->Document) return *tree;
    }
  }
  return *FTree;
}

void TVqDOMData::Park(pugi::xml_node node) {
  TVqDOMTree& tree = TreeOf(node);
  if (!tree.Parked) tree.Parked = Made(tree.Document.append_child(pugi::node_element));
  Made(tree.Parked.append_move(node));
}

void TVqDOMData::FireBeforeChange() {
  // One at a time, each gone before it runs: a callback may let others go.
  while (!BeforeChange.empty()) {
    TBeforeChange next = std::move(BeforeChange.back());
    BeforeChange.pop_back();
    try {
      next.Callback();
    } catch (...) {
      BeforeChange.push_back(std::move(next));  // the change does not happen, so that it is still to come
      throw;
    }
  }
}

TVqDOMData& Writable(const IVqDOMNode& handle) {
  if (!handle) throw EVqException("A node that does not exist cannot be changed.");
  TVqDOMData& data = *TVqDOMFactory::Data(handle);
  data.Changing();
  return data;
}

TVqDOMData& WritableElement(const IVqDOMNode& handle) {
  TVqDOMData& data = Writable(handle);
  if (handle.GetNodeType() != TVqDOMNodeType::ntElement) throw EVqException("This node is no element.");
  return data;
}

pugi::xml_node FirstElement(pugi::xml_node parent) noexcept {
  pugi::xml_node node = parent.first_child();
  while (RawPointer(node) && (!IsElement(node) || node.name()[0] == '\0')) node = node.next_sibling();
  return node;
}

pugi::xml_node NextElement(pugi::xml_node node) noexcept {
  do {
    node = node.next_sibling();
  } while (RawPointer(node) && (!IsElement(node) || node.name()[0] == '\0'));
  return node;
}

pugi::xml_node NextInside(pugi::xml_node node, pugi::xml_node top, bool children) noexcept {
  if (children) {
    if (const pugi::xml_node child = node.first_child()) return child;
  }
  while (node && node != top) {
    if (const pugi::xml_node next = node.next_sibling()) return next;
    node = node.parent();
  }
  return {};
}

std::string_view TextOf(const TVqDOMData& data, pugi::xml_node node, std::string& scratch) {
  const std::string* apart = data.FindApart(node);
  const std::string_view embedded = apart ? std::string_view(*apart) : std::string_view(node.value());
  if (!IsElement(node)) {
    if (node.type() != pugi::node_document) return embedded;
    scratch.clear();
    return {};
  }
  const pugi::xml_node first = node.first_child();
  if (!first) return embedded;
  if (embedded.empty() && !first.next_sibling() && IsText(first)) return ValueOf(data, first);
  scratch = embedded;
  for (pugi::xml_node inside = first; inside; inside = NextInside(inside, node)) {
    if (IsText(inside) || IsElement(inside)) scratch += ValueOf(data, inside);
  }
  return scratch;
}

void PutText(TVqDOMData& data, pugi::xml_node node, const char* text) {
  const TVqSharedText before = data.TakeApart(node);  // the text may be this very one
  if (!IsElement(node)) {
    if (!node.set_value(text)) throw EVqException("This node has no text that could be changed.");
    data.TextChanged();
    return;
  }
  const pugi::xml_node first = node.first_child();
  if (first && (before || first.next_sibling() || !IsText(first) || text[0] == '\0' || node.value()[0] != '\0' ||
                data.FindApart(first))) {
    RemoveInside(data, node);
  }
  if (text[0] == '\0') {
    if (node.value()[0] != '\0') node.text().set("");
  } else if (!node.text().set(text)) {
    throw std::bad_alloc();
  }
  data.TextChanged();
}

void Unfold(TVqDOMData& data, pugi::xml_node element) {
  if (!IsElement(element) || !HasOwnText(data, element)) return;
  const pugi::xml_node text = Made(element.prepend_child(pugi::node_pcdata));
  if (TVqSharedText apart = data.TakeApart(element)) {
    data.Apart[RawPointer(text)] = std::move(apart);
    return;
  }
  if (!pugi::xml_node(text).set_value(element.value())) throw std::bad_alloc();
  element.text().set("");
}

void RemoveInside(TVqDOMData& data, pugi::xml_node element) {
  data.TakeApart(element);
  if (element.value()[0] != '\0') element.text().set("");
  bool elements = false;
  while (const pugi::xml_node child = element.first_child()) {
    elements = elements || IsElement(child);
    data.Park(child);
  }
  if (elements) {
    data.StructureChanged();
  } else {
    data.TextChanged();
  }
}

pugi::xml_node CopyNode(TVqDOMData& target, pugi::xml_node parent, pugi::xml_node before, const TVqDOMData& source,
                        pugi::xml_node node) {
  const pugi::xml_node copy = Made(before ? parent.insert_copy_before(node, before) : parent.append_copy(node));
  // The copy has the shape of the node: what lies at the same turns of a walk belongs together.
  std::vector<std::pair<pugi::xml_node, const TVqSharedText*>> apart;
  for (const auto& [shows, text] : source.Apart) {
    pugi::xml_node up = RawNode(shows);
    while (up && up != node) up = up.parent();
    if (up) apart.emplace_back(RawNode(shows), &text);
  }
  for (const auto& [shows, text] : apart) {
    pugi::xml_node from = node, to = copy;
    while (from != shows) {
      from = NextInside(from, node);
      to = NextInside(to, copy);
    }
    const TVqSharedText shared = *text;  // the two documents may be one, whose map grows
    target.Apart[RawPointer(to)] = shared;
  }
  return copy;
}

void CopyInside(TVqDOMData& target, pugi::xml_node to, const TVqDOMData& source, pugi::xml_node from) {
  for (pugi::xml_attribute attribute = Live(from.first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    Made(to.append_copy(attribute));
  }
  if (const auto apart = source.Apart.find(RawPointer(from)); apart != source.Apart.end()) {
    const TVqSharedText shared = apart->second;
    target.Apart[RawPointer(to)] = shared;
  } else if (from.value()[0] != '\0' && !Made(to.append_child(pugi::node_pcdata)).set_value(from.value())) {
    throw std::bad_alloc();
  }
  for (pugi::xml_node child = from.first_child(); child; child = child.next_sibling()) {
    CopyNode(target, to, {}, source, child);
  }
}

void CheckName(const TVqUtf8View& name) {
  if (!name.Valid() || !IsName(name.View())) throw EVqXMLError("\"" + string(name.View()) + "\" is no name.", 0, 0);
}

std::string CheckText(const TVqUtf8View& text) {
  const std::string_view view = text.View();
  if (!text.Valid()) {
    // What was half a character stands as U+FFFD now; the first one is near enough as the place.
    FailAt(view, std::min(view.find("\xEF\xBF\xBD"), view.size()),
           "Half a character (a surrogate without its partner).");
  }
  if (const std::size_t at = FindForbidden(view); at != std::string_view::npos) {
    std::size_t length;
    const char32_t c = DecodeUtf8(view, at, length);
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string code = "U+";
    for (int shift = 12; shift >= 0; shift -= 4) code += kDigits[c >> shift & 0xF];
    FailAt(view, at,
           length == 0 ? string("Bytes that are no UTF-8.") : "XML cannot carry the character " + string(code) + ".");
  }
  return std::string(view);
}

pugi::xml_node Made(pugi::xml_node node) {
  if (!node) throw std::bad_alloc();
  return node;
}

pugi::xml_attribute Made(pugi::xml_attribute attribute) {
  if (!attribute) throw std::bad_alloc();
  return attribute;
}

pugi::xml_node InsertNamed(pugi::xml_node parent, pugi::xml_node_type type, const char* name, pugi::xml_node before) {
  pugi::xml_node node = Made(before ? parent.insert_child_before(type, before) : parent.append_child(type));
  if (name && !node.set_name(name)) throw std::bad_alloc();
  return node;
}

}  // namespace velmore::detail
