#pragma once

/// The document behind the handles, for the sources of this folder only: the one header that knows the parser's types.

#include <bit>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"
#include "platform/xml/uVqXMLDOM.h"
#include "platform/xml/uVqXMLScan_p.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

class [[gnu::visibility("hidden")]] TVqDOMData;     // named by a public header
class [[gnu::visibility("hidden")]] TVqDOMFactory;  // named by a public header

/// Options of every parse. Leaf text is embedded in its element, which saves a node per leaf and pays for the checks
/// that the parser leaves to us.
inline constexpr unsigned kParseOptions = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute |
                                          pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata |
                                          pugi::parse_comments | pugi::parse_pi;

/// In front of the name of an attribute that was removed. The parser cannot move attributes, and whoever holds a handle
/// to a removed one must find it; no name starts with it, so that look-ups by name never meet it.
inline constexpr char kRemovedMark = '\x01';

/// One loaded content. The parser's nodes point into `Buffer`.
struct TVqDOMTree {
  std::string Buffer;
  pugi::xml_document Document;
  pugi::xml_node Parked;  // what was removed: a nameless element behind the root that nothing here ever shows

  /// First node of the document that is to be seen.
  pugi::xml_node First() const { return Skip(Document.first_child()); }
  pugi::xml_node Skip(pugi::xml_node node) const { return node && node == Parked ? node.next_sibling() : node; }
  pugi::xml_node Root() const;
};

/// Owns the tree, and the trees that were replaced while handles into them may exist.
class TVqDOMData final : public TVqDOMOwner, private TVqLiveObject {
 public:
  TVqDOMData() : FTree(std::make_unique<TVqDOMTree>()) {}

  TVqDOMTree& Tree() const noexcept { return *FTree; }
  /// Puts another tree in place; the old one stays as long as handles may point into it.
  void Replace(std::unique_ptr<TVqDOMTree> tree);
  /// The tree that a node is in: the present one or one that was replaced.
  TVqDOMTree& TreeOf(pugi::xml_node node) const noexcept;

  void TextChanged() noexcept { ++Modifications; }
  void StructureChanged() noexcept {
    ++Modifications;
    ++Structure;
  }
  /// To be called before anything changes.
  void Changing() {
    if (!BeforeChange.empty()) FireBeforeChange();
  }
  /// Takes a node out of its tree without freeing it.
  void Park(pugi::xml_node node);

  TVqXMLLimits Limits;
  std::int32_t CodePage = kVqCodePageUtf8;
  IVqDOMDocument::TParseErrorEvent OnParseError;

  /// Declarations that the load met, good while `Modifications` is `DeclarationsAt`; see RenamePrefixes.
  std::vector<TVqScan::TDeclaration> Declarations;
  std::uint32_t DeclarationsAt = 0;
  bool DeclarationsKnown = false;

  /// Who wants to look at the document once more before it changes; see SetBeforeChange.
  struct TBeforeChange {
    const void* Owner;
    std::function<void()> Callback;
  };
  std::vector<TBeforeChange> BeforeChange;

  /// Texts that stand apart from the tree, by the element or text node that shows them and has none of its own. Whoever
  /// reads a text has to pass the document (ValueOf, TextOf), so that none of them is forgotten.
  std::unordered_map<void*, TVqSharedText> Apart;
  /// The text that stands apart for a node, or none.
  const std::string* FindApart(pugi::xml_node node) const noexcept {
    if (Apart.empty()) return nullptr;
    const auto found = Apart.find(std::bit_cast<void*>(node));
    return found == Apart.end() ? nullptr : found->second.get();
  }
  /// Takes it away; none when there was none.
  TVqSharedText TakeApart(pugi::xml_node node);

  /// The last list of child elements, good while `Structure` is `ListAt`.
  void* ListOf = nullptr;
  std::uint32_t ListAt = 0;
  std::shared_ptr<const std::vector<void*>> List;

  /// The last elements that records inserted, empty, by `Structure` after the insertion: arrays of other names need
  /// not search again for them. Only in documents where a record inserted any.
  struct TInsertion {
    std::uint32_t Structure = 0;
    std::uint32_t NameHash = 0;
  };
  static constexpr std::uint32_t kInsertions = 64;
  std::unique_ptr<TInsertion[]> Insertions;

 private:
  void FireBeforeChange();

  std::unique_ptr<TVqDOMTree> FTree;
  std::vector<std::unique_ptr<TVqDOMTree>> FReplaced;
};

// The parser's handle is a pointer and nothing else, but making, testing and opening one are calls into its library:
// three of them for each child that a loop steps over.
static_assert(sizeof(pugi::xml_node) == sizeof(void*) && std::is_trivially_copyable_v<pugi::xml_node>);
inline pugi::xml_node RawNode(void* node) noexcept {
  return std::bit_cast<pugi::xml_node>(node);
}
inline void* RawPointer(pugi::xml_node node) noexcept {
  return std::bit_cast<void*>(node);
}
inline pugi::xml_attribute RawAttribute(void* attribute) noexcept {
  return pugi::xml_attribute(static_cast<pugi::xml_attribute_struct*>(attribute));
}

/// Makes handles and looks into them.
class TVqDOMFactory {
 public:
  static TVqDOMData* Data(const IVqDOMNode& handle) noexcept { return static_cast<TVqDOMData*>(handle.FData); }
  /// The node behind; of a document the parser's own root, of an attribute its element, of an empty handle none.
  static pugi::xml_node Node(const IVqDOMNode& handle) noexcept {
    if (handle.FNode) return RawNode(handle.FNode);
    return handle.FData ? Data(handle)->Tree().Document : pugi::xml_node();
  }
  static void* Pointer(const IVqDOMNode& handle) noexcept { return handle.FNode; }
  static bool IsDocument(const IVqDOMNode& handle) noexcept { return handle.FData && !handle.FNode; }
  static bool IsAttribute(const IVqDOMNode& handle) noexcept { return handle.FAttribute != nullptr; }
  static pugi::xml_attribute Attribute(const IVqDOMNode& handle) noexcept { return RawAttribute(handle.FAttribute); }

  template <typename T>
  static T Make(TVqDOMData* data, pugi::xml_node node) noexcept {
    T handle;
    if (RawPointer(node)) Fill(handle, data, RawPointer(node), nullptr);
    return handle;
  }
  static IVqDOMElement Element(TVqDOMData* data, pugi::xml_node node) noexcept {
    return Make<IVqDOMElement>(data, node);
  }
  static IVqDOMAttribute Attribute(TVqDOMData* data, pugi::xml_node node, pugi::xml_attribute attribute) noexcept {
    IVqDOMAttribute handle;
    if (attribute) Fill(handle, data, node.internal_object(), attribute.internal_object());
    return handle;
  }
  static void FillDocument(IVqDOMDocument& handle, TVqDOMData* data) noexcept { Fill(handle, data, nullptr, nullptr); }
  /// The handle as a more special one; the caller knows that it is.
  static void Assign(IVqDOMNode& target, const IVqDOMNode& source) { target = source; }

  static TVqDOMElementList List(const IVqDOMNode& anchor, std::shared_ptr<const std::vector<void*>> nodes);
  static std::vector<IVqDOMNode>& Items(TVqDOMNodeList& list) noexcept { return list.FNodes; }
  static std::vector<IVqDOMAttribute>& Items(TVqDOMAttrList& list) noexcept { return list.FAttributes; }
  static const std::shared_ptr<const TVqDOMPath>& Path(const TVqDOMSelection& selection) noexcept {
    return selection.FPath;
  }

 private:
  static void Fill(IVqDOMNode& handle, TVqDOMData* data, void* node, void* attribute) noexcept {
    data->References.fetch_add(1, std::memory_order_relaxed);
    handle.FData = data;
    handle.FNode = node;
    handle.FAttribute = attribute;
  }
};

/// The data behind a handle that is about to be written to. Raises a plain exception for an empty handle.
TVqDOMData& Writable(const IVqDOMNode& handle);
/// The same for an element.
TVqDOMData& WritableElement(const IVqDOMNode& handle);

// ---- Nodes of the parser

inline bool IsElement(pugi::xml_node node) {
  return node.type() == pugi::node_element;
}
inline bool IsText(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}
inline bool IsRemoved(pugi::xml_attribute attribute) {
  return attribute.name()[0] == kRemovedMark;
}
/// The first attribute at or behind this one that was not removed.
inline pugi::xml_attribute Live(pugi::xml_attribute attribute) {
  while (attribute && IsRemoved(attribute)) attribute = attribute.next_attribute();
  return attribute;
}
inline std::string_view NameOf(pugi::xml_attribute attribute) {
  const char* name = attribute.name();
  return name[0] == kRemovedMark ? name + 1 : name;
}
pugi::xml_node FirstElement(pugi::xml_node parent) noexcept;
pugi::xml_node NextElement(pugi::xml_node node) noexcept;
inline std::string_view LocalPart(std::string_view name) noexcept {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}
inline std::string_view PrefixPart(std::string_view name) noexcept {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}
/// The next node of a walk in document order over what is inside `top`.
pugi::xml_node NextInside(pugi::xml_node node, pugi::xml_node top, bool children = true) noexcept;

/// The text that the parser keeps for a node, or the one that stands apart for it.
inline const char* ValueOf(const TVqDOMData& data, pugi::xml_node node) noexcept {
  const std::string* apart = data.FindApart(node);
  return apart ? apart->c_str() : node.value();
}
/// Has an element a text in front of its children?
inline bool HasOwnText(const TVqDOMData& data, pugi::xml_node element) noexcept {
  return ValueOf(data, element)[0] != '\0';
}
/// All text inside, in place or in `scratch`.
std::string_view TextOf(const TVqDOMData& data, pugi::xml_node node, std::string& scratch);
/// Replaces what is inside an element or the value of another node; no check.
void PutText(TVqDOMData& data, pugi::xml_node node, const char* text);
/// Turns text that is embedded in an element into a child of its own, so that a handle can refer to it.
void Unfold(TVqDOMData& data, pugi::xml_node element);
/// Parks all children and clears the embedded text.
void RemoveInside(TVqDOMData& data, pugi::xml_node element);
/// Copies a node with all that is inside it, to the end of `parent` or in front of one of its children. Texts that
/// stand apart are shared. `parent` must not be inside `node`.
pugi::xml_node CopyNode(TVqDOMData& target, pugi::xml_node parent, pugi::xml_node before, const TVqDOMData& source,
                        pugi::xml_node node);
/// Copies attributes (removed ones aside) and children; `to` must not be inside `from`.
void CopyInside(TVqDOMData& target, pugi::xml_node to, const TVqDOMData& source, pugi::xml_node from);

/// Raises EVqXMLError unless it is a name (prefix and all).
void CheckName(const TVqUtf8View& name);
/// Appends a text as it stands between double quotes.
void AppendEscapedValue(std::string& out, const char* text);

/// Memory ran out inside the parser, which it tells by an empty node.
pugi::xml_node Made(pugi::xml_node node);
pugi::xml_attribute Made(pugi::xml_attribute attribute);
pugi::xml_node InsertNamed(pugi::xml_node parent, pugi::xml_node_type type, const char* name, pugi::xml_node before);

/// The namespace that a prefix has at an element.
std::string_view NamespaceAt(pugi::xml_node element, std::string_view prefix);

// ---- Parsing

/// Parses a reply or a file into a new tree and puts it into `data`. Raises EVqXMLError.
void LoadDocument(TVqDOMData& data, std::string_view bytes, std::int32_t codePage);
/// The same, taking the bytes over.
void LoadDocument(TVqDOMData& data, std::string&& bytes);
void LoadDocumentFromStream(TVqDOMData& data, TVqStream& stream, std::int32_t codePage);
/// The same for text whose encoding declaration means nothing.
void LoadDocumentFromText(TVqDOMData& data, std::string_view utf8);

}  // namespace velmore::detail

#pragma GCC visibility pop
