#pragma once

/// The XML document in memory: what every request is built in and every reply is read from.
///
///     TVqDOMDocument document("<t:Message><t:Subject>Hello</t:Subject></t:Message>");
///     IVqDOMElement message = document.GetDocumentElement();
///     std::cout << message.SelectSingleElement("Subject", kSelectQuiet).GetText() << '\n';
///     message.AddElement("t:Importance").SetText("High");
///
/// Nodes, elements, attributes and documents are value handles: a pointer to the node and a counted reference to its
/// document. They are copied and passed freely and always by value or const reference; "const" says nothing about the
/// node behind the handle. A handle that refers to nothing is a good citizen: reading it gives empty values, and only
/// writing raises.
///
/// What every class of this header has in common:
/// - Owns: a share of the document. The last handle that goes takes the document with it, so nothing dangles.
/// - Copy: one atomic increment. Two handles to one node compare equal.
/// - Threads: a document and all handles into it belong to one thread at a time; different documents to any threads.
/// - Raises: EVqXMLError for XML that is not well-formed and text that XML cannot carry, a plain exception for writing
///   to a handle that refers to nothing. Nothing here talks to a server.
///
/// A node that was removed stays valid for whoever still holds it: it is out of the tree, has no parent and can be read
/// and put back. Its memory goes with the document.
///
/// Prefixes need not be declared: "<t:Subject/>" is a document. A document type declaration is refused.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/common/uVqClasses.h"

namespace velmore {

class IVqDOMElement;
class IVqDOMAttribute;
class IVqDOMDocument;
class TVqDOMElementList;
class TVqDOMNodeList;
class TVqDOMAttrList;
class TVqDOMSelection;

namespace detail {
class TVqDOMData;     // the document behind the handles
class TVqDOMFactory;  // makes handles
struct TVqDOMPath;    // a compiled selection

struct TVqDOMOwner {
  std::atomic<std::int32_t> References{0};
  std::uint32_t Modifications = 0;
  std::uint32_t Structure = 0;
};
void FreeDOMData(TVqDOMOwner* owner) noexcept;
}  // namespace detail

/// XML that is not well-formed, text that XML cannot carry, or a required node that is absent.
///
/// `Line` and `Column` are counted from 1, the column in characters; both are 0 when the failure has no place, as with
/// an absent node.
class EVqXMLError : public EVqException {
 public:
  /// The place is put behind the text, unless the line is 0.
  EVqXMLError(const string& AMessage, std::int32_t ALine, std::int32_t AColumn);

  /// Where it is: from 1, or 0 when the failure has no place.
  std::int32_t GetLine() const noexcept { return FLine; }
  std::int32_t GetColumn() const noexcept { return FColumn; }

 private:
  std::int32_t FLine;
  std::int32_t FColumn;
};

/// Where a parser stands. Handed to the handler of parse errors.
class IVqSAXLocator {
 public:
  /// Both from 1; the column counts characters.
  virtual std::int32_t GetLineNumber() const = 0;
  virtual std::int32_t GetColumnNumber() const = 0;

 protected:
  ~IVqSAXLocator() = default;
};

/// What kind of node a handle refers to; `ntNone` for a handle that refers to nothing.
enum class TVqDOMNodeType : std::uint8_t {
  ntNone = 0,
  ntElement = 1,
  ntAttribute = 2,
  ntText = 3,
  ntCDATA = 4,
  ntProcessingInstruction = 7,
  ntComment = 8,
  ntDocument = 9
};

/// Where `InsertElement` puts the new child: before or behind the reference, or at either end of the child list.
enum class TVqDOMPosition : std::uint8_t { dpBefore, dpAfter, dpFirst, dpLast };

/// How a selection compares names and what it does when it finds nothing. The values are bits and are combined.
enum class TVqDOMSelectOption : std::uint8_t {
  soRaise = 1,         ///< nothing found raises EVqXMLError
  soCreate = 2,        ///< missing steps are made, attribute conditions included
  soKeepCase = 4,      ///< case of names counts; the default, and stronger than soIgnoreCase
  soIgnoreCase = 8,    ///< case of names (ASCII letters) does not count
  soIgnorePrefix = 16  ///< names are compared without prefix, on both sides
};

/// A set of `TVqDOMSelectOption`; built from the options or from the sum of their values.
class TVqDOMSelectOptions {
 public:
  /// The sum of the options' values, one option, or none.
  constexpr TVqDOMSelectOptions(std::uint32_t bits = 0) noexcept : FBits(static_cast<std::uint8_t>(bits)) {}
  constexpr TVqDOMSelectOptions(TVqDOMSelectOption option) noexcept : FBits(static_cast<std::uint8_t>(option)) {}
  /// True when the option is in the set.
  constexpr bool Has(TVqDOMSelectOption option) const noexcept {
    return (FBits & static_cast<std::uint8_t>(option)) != 0;
  }
  /// The sum of the options' values.
  constexpr std::uint8_t Bits() const noexcept { return FBits; }
  /// What is in either set.
  friend constexpr TVqDOMSelectOptions operator|(TVqDOMSelectOptions a, TVqDOMSelectOptions b) noexcept {
    return TVqDOMSelectOptions(static_cast<std::uint32_t>(a.FBits | b.FBits));
  }
  friend constexpr bool operator==(TVqDOMSelectOptions, TVqDOMSelectOptions) = default;

 private:
  std::uint8_t FBits;
};

/// The sets in everyday use: local names without regard to case; finding nothing gives an empty handle, raises, or
/// creates.
inline constexpr TVqDOMSelectOptions kSelectQuiet{24};
inline constexpr TVqDOMSelectOptions kSelectRequired{25};
inline constexpr TVqDOMSelectOptions kSelectCreate{26};

/// Code pages that documents and text streams read and write.
inline constexpr std::int32_t kVqCodePageDefault = 0;  ///< by byte order mark and declaration; UTF-8 when writing
inline constexpr std::int32_t kVqCodePageUtf16LE = 1200;
inline constexpr std::int32_t kVqCodePageUtf16BE = 1201;
inline constexpr std::int32_t kVqCodePage1252 = 1252;
inline constexpr std::int32_t kVqCodePageAscii = 20127;
inline constexpr std::int32_t kVqCodePageLatin1 = 28591;
inline constexpr std::int32_t kVqCodePageUtf8 = 65001;

/// Bounds that stop a hostile document before memory runs out. Exceeding one raises EVqXMLError with the place.
struct TVqXMLLimits {
  std::size_t MaxBytes = std::size_t{1} << 30;  ///< size of the document, as UTF-8
  std::uint32_t MaxDepth = 256;                 ///< nested elements, the root is 1
  std::uint32_t MaxAttributes = 256;            ///< per element
  std::uint32_t MaxNameLength = 1024;           ///< bytes of an element's or attribute's name
  /// Elements, attributes and pieces of text together. Each takes up to 64 bytes, so that this is 256 MB.
  std::uint32_t MaxNodes = 4'000'000;
};

/// A text argument: literals and UTF-8 are passed as they are, 16-bit text is converted once. Only for arguments: it
/// refers to the caller's text and lives no longer than the call.
class TVqUtf8View {
 public:
  /// Narrow text is UTF-8. A null pointer is the empty text.
  TVqUtf8View(const char* utf8) : FView(utf8 ? std::string_view(utf8) : std::string_view()) {}
  TVqUtf8View(std::string_view utf8) noexcept : FView(utf8) {}
  TVqUtf8View(const std::string& utf8) noexcept : FView(utf8) {}
  TVqUtf8View(const TVqString& text) : TVqUtf8View(text.view()) {}
  TVqUtf8View(std::u16string_view text);
  TVqUtf8View(const std::u16string& text) : TVqUtf8View(std::u16string_view(text)) {}
  TVqUtf8View(const char16_t* text) : TVqUtf8View(text ? std::u16string_view(text) : std::u16string_view()) {}
  TVqUtf8View(const TVqUtf8View&) = delete;
  TVqUtf8View& operator=(const TVqUtf8View&) = delete;

  /// The text as UTF-8; empty when it was not valid.
  std::string_view View() const noexcept { return FView; }
  /// False when the 16-bit text had a surrogate without its partner, which no form of Unicode text can carry.
  bool Valid() const noexcept { return FValid; }

 private:
  std::string FOwned;
  std::string_view FView;
  bool FValid = true;
};

/// A new prefix for a namespace; see `IVqDOMDocument::RenamePrefixes`.
struct TVqNamespacePrefix {
  /// The namespace, and the prefix that it is to have. Both refer to the caller's text.
  std::string_view URI;
  std::string_view Prefix;
};

/// A handle to any node. See the head of this file for what it owns, costs, and raises.
class IVqDOMNode {
 public:
  IVqDOMNode() noexcept = default;
  /// Refers to nothing, or to what the other handle refers to.
  IVqDOMNode(std::nullptr_t) noexcept {}
  IVqDOMNode(const IVqDOMNode& other) noexcept : FData(other.FData), FNode(other.FNode), FAttribute(other.FAttribute) {
    if (FData) FData->References.fetch_add(1, std::memory_order_relaxed);
  }
  IVqDOMNode(IVqDOMNode&& other) noexcept
      : FData(std::exchange(other.FData, nullptr)),
        FNode(std::exchange(other.FNode, nullptr)),
        FAttribute(std::exchange(other.FAttribute, nullptr)) {}
  IVqDOMNode& operator=(IVqDOMNode other) noexcept {
    std::swap(FData, other.FData);
    std::swap(FNode, other.FNode);
    std::swap(FAttribute, other.FAttribute);
    return *this;
  }
  ~IVqDOMNode() {
    if (FData && FData->References.fetch_sub(1, std::memory_order_acq_rel) == 1) detail::FreeDOMData(FData);
  }

  /// True when the handle refers to a node.
  explicit operator bool() const noexcept { return FData != nullptr; }
  /// The same node, not equal content.
  friend bool operator==(const IVqDOMNode& a, const IVqDOMNode& b) noexcept {
    return a.FData == b.FData && a.FNode == b.FNode && a.FAttribute == b.FAttribute;
  }
  friend bool operator==(const IVqDOMNode& a, std::nullptr_t) noexcept { return !a.FData; }

  /// `ntNone` when the handle refers to nothing.
  TVqDOMNodeType GetNodeType() const noexcept;
  /// This node as an element or attribute; empty when it is none.
  IVqDOMElement AsElement() const;
  IVqDOMAttribute AsAttribute() const;

  // ---- Names

  /// Name without prefix, with prefix, and the prefix alone. Empty for text.
  string GetLocalName() const;
  string GetQualifiedName() const;
  string GetPrefix() const;
  /// Gives an element or attribute another name, prefix included. Raises EVqXMLError for what is no name.
  void SetQualifiedName(const TVqUtf8View& AName) const;
  /// Changes the prefix alone; an empty one takes it away.
  void SetPrefix(const TVqUtf8View& APrefix) const;
  /// The namespace that the declarations in scope bind to this node's prefix; empty when none does.
  string GetNamespaceURI() const;

  // ---- Text

  /// The text of an element is all text inside it, that of child elements included; the text of an attribute is its
  /// value. Setting replaces everything inside an element, child elements included. Raises EVqXMLError, with the place
  /// in the text, for characters that XML cannot carry (controls except TAB, LF and CR; U+FFFE, U+FFFF; half
  /// surrogates).
  string GetText() const;
  std::string GetTextAsUtf8() const;
  void SetText(const TVqUtf8View& AText) const;
  /// The value of an attribute, text, comment or processing instruction; for an element the same as its text.
  string GetNodeValue() const;
  void SetNodeValue(const TVqUtf8View& AValue) const;

  /// The node's own markup, tag included. Declarations of namespaces stand where they stand in the tree; a document
  /// built from the text has a copy of this node as its root. For a document: its root, comments around it included,
  /// without declaration.
  string GetXML() const;
  std::string GetXMLAsUtf8() const;
  /// The markup of the children.
  string GetInnerXML() const;
  /// The same, indented by two blanks a level; text is never moved.
  string GetFormattedInnerXML() const;
  /// Replaces everything inside the element. The markup must be well-formed to the letter; raises EVqXMLError with
  /// the place otherwise and leaves the element as it was.
  void SetInnerXML(const TVqUtf8View& AMarkup) const;

  // ---- Around the node

  /// The element around this node (the owner of an attribute); empty for the root, for a removed node and a document.
  IVqDOMElement GetParentElement() const;
  /// The document of this node, also when it was removed from the tree.
  IVqDOMDocument GetOwnerDocument() const;
  /// Number of children of every kind: elements, text, comments; not attributes.
  std::int32_t GetChildCount() const;
  /// Whether there are children, and the children themselves, of every kind. The list does not follow later changes.
  bool HasChildren() const;
  TVqDOMNodeList GetChildren() const;
  /// The first child, and the neighbours below the same parent; empty when there is none.
  IVqDOMNode GetFirstChild() const;
  IVqDOMNode GetNextSibling() const;
  IVqDOMNode GetPreviousSibling() const;

  // ---- Selection

  /// The first element, in document order, that the expression finds from here. The forms:
  /// - a child path "Attachments/ItemAttachment", or a path from the document's root
  ///   "/Envelope/Body/m:CreateItemResponse";
  /// - "*" for any element, ".//Name" for any depth below this node, "//Name" for any depth in the document;
  /// - conditions on attributes, children, own text and position: [@Key="HomePhone"],
  ///   [(@PropertySetId="...") and (@PropertyId="1")], [./MailboxType="Contact"], [Type="EXPR"], [0];
  /// - ".." for the parent and "." for the node itself.
  ///
  /// Positions count from zero. Values are compared exactly, except those of @PropertyTag, which are compared as
  /// numbers ("0x0E07" finds "0xe07"). A surplus "]" behind a condition is ignored. Names are compared as the options
  /// say; without soIgnorePrefix a name without prefix finds only elements without prefix.
  ///
  /// Nothing found gives an empty handle, raises EVqXMLError (soRaise), or makes what is missing (soCreate): the path
  /// is followed as far as it exists, and the rest is appended, attribute conditions as attributes and child conditions
  /// as children. A new element takes the prefix that is written, else, with soIgnorePrefix, that of its parent. What
  /// cannot be made ("*", "//", a position) raises EVqXMLError. A handle that refers to nothing finds nothing.
  IVqDOMElement SelectSingleElement(const TVqUtf8View& AExpression, TVqDOMSelectOptions AOptions = {}) const;
  IVqDOMElement SelectSingleElement(const TVqDOMSelection& ASelection, TVqDOMSelectOptions AOptions = {}) const;
  /// All elements that the expression finds, in document order and each once. The list does not follow later changes.
  TVqDOMElementList CreateElementList(const TVqUtf8View& AExpression, TVqDOMSelectOptions AOptions = {}) const;
  TVqDOMElementList CreateElementList(const TVqDOMSelection& ASelection, TVqDOMSelectOptions AOptions = {}) const;

  // ---- Tree surgery

  /// Appends a node. A node of this document moves here (out of its old place, or from outside the tree if it was
  /// removed before); one of another document is copied. Gives the node in its new place. Raises a plain exception when
  /// a node would become its own descendant, or the document would have two roots.
  IVqDOMNode AddChild(const IVqDOMNode& ANode) const;
  /// Takes a child out of the tree; it stays valid. Raises EListError when it is no child of this node.
  void RemoveChild(const IVqDOMNode& ANode) const;
  /// Takes out everything inside; nodes that are still held stay valid. Attributes stay.
  void RemoveAllChildren() const;
  /// A copy in a document of its own, with or without what is inside (attributes always).
  IVqDOMNode CloneNode(bool ADeep) const;
  /// Joins adjacent pieces of text below this node and drops empty ones.
  void NormalizeTextNodes() const;
  /// Drops namespace declarations below this element that only repeat what already holds there.
  void RefreshNamespaces() const;

  // ---- Streams

  /// Writes the node's markup in a code page (see `kVqCodePage...`), without declaration. Characters that the code page
  /// lacks are written as references. Raises EStreamError when the stream fails, EConvertError for an unknown code
  /// page.
  void SaveToStream(TVqStream& AStream, std::int32_t ACodePage, bool AIndent) const;
  /// Writes the node as JSON: an object with the element's qualified name. Attributes are members "@name"; an element
  /// with nothing but text is a string; text beside attributes or children is "#text"; repeated children are an array.
  /// Characters that the code page lacks are escaped. Raises a plain exception for elements nested deeper than the
  /// document's limit.
  void SaveToJSONStream(TVqStream& AStream, std::int32_t ACodePage, bool AIndent) const;
  /// Replaces everything inside the element by the children of the root in the stream, and its attributes likewise.
  void LoadFromStream(TVqStream& AStream, std::int32_t ACodePage = kVqCodePageDefault) const;
  /// The converse of SaveToJSONStream, into this element. Raises EVqXMLError for what is no such JSON.
  void LoadFromJSONStream(TVqStream& AStream, std::int32_t ACodePage = kVqCodePageDefault) const;

 protected:
  friend class detail::TVqDOMFactory;

  /// What the handle refers to; none of an application's business.
  detail::TVqDOMOwner* FData = nullptr;
  void* FNode = nullptr;       // of a document: none
  void* FAttribute = nullptr;  // of an attribute; FNode is then its element
};

/// A handle to an attribute. Made by `IVqDOMElement::GetAttributes` and `GetAttributeNode`.
class IVqDOMAttribute : public IVqDOMNode {
 public:
  IVqDOMAttribute() noexcept = default;
  /// Refers to nothing.
  IVqDOMAttribute(std::nullptr_t) noexcept {}
  /// Empty when the node is no attribute.
  explicit IVqDOMAttribute(const IVqDOMNode& ANode);

  /// The name with its prefix, and the value. Setting raises as SetText does.
  string GetName() const { return GetQualifiedName(); }
  string GetValue() const { return GetText(); }
  void SetValue(const TVqUtf8View& AValue) const { SetText(AValue); }
};

/// A handle to an element.
class IVqDOMElement : public IVqDOMNode {
 public:
  IVqDOMElement() noexcept = default;
  /// Refers to nothing.
  IVqDOMElement(std::nullptr_t) noexcept {}
  /// Empty when the node is no element.
  explicit IVqDOMElement(const IVqDOMNode& ANode);

  // ---- Child elements

  /// Appends a new child element and gives it. The name has its prefix. A path with conditions
  /// (`t:PhoneNumbers/Entry[@Key="HomePhone"]`) makes the missing steps below this element and gives the last one;
  /// steps without a prefix take the first step's. Raises EVqXMLError for what is no name or cannot be made.
  IVqDOMElement AddElement(const TVqUtf8View& AName) const;
  /// Inserts a new child element. `AReference` is a child of this element and is needed for dpBefore and dpAfter:
  /// raises EListError without it.
  IVqDOMElement InsertElement(const TVqUtf8View& AName, TVqDOMPosition APosition,
                              const IVqDOMElement& AReference = {}) const;
  /// Number of child elements.
  std::int32_t ElementCount() const;
  /// The child elements. Asking again costs nothing until the document changes.
  TVqDOMElementList GetChildElements() const;
  /// Whether there is a child element, of this name or at all. Of the options only those on names count.
  bool HasChildElement(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions = {}) const;
  bool HasChildElements() const;
  /// The first child element, and the neighbours below the same parent; empty when there is none.
  IVqDOMElement GetFirstChildElement() const;
  IVqDOMElement GetNextSiblingElement() const;
  IVqDOMElement GetPreviousSiblingElement() const;
  /// The first element with this local name and namespace among the children or, with ADeep, at any depth below. An
  /// empty namespace matches any.
  IVqDOMElement ElementByName(const TVqUtf8View& ALocalName, const TVqUtf8View& ANamespaceURI,
                              bool ADeep = false) const;

  // ---- Attributes

  /// Value of an attribute, empty when absent; with soRaise an absent one raises EVqXMLError.
  string GetAttribute(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions = {}) const;
  /// Value as an integer (decimal or "0x" hexadecimal); 0 when absent. Raises EConvertError for other text.
  std::int32_t GetAttributeAsInteger(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions = {}) const;
  /// The attribute itself, empty when absent; with soCreate it is made, with soRaise it raises.
  IVqDOMAttribute GetAttributeNode(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions = {}) const;
  /// Sets the value of the attribute with exactly this name, made if missing. Raises EVqXMLError as SetText does.
  void SetAttribute(const TVqUtf8View& AName, const TVqUtf8View& AValue) const;
  /// The attribute with this name, made with an empty value if missing.
  IVqDOMAttribute AddAttribute(const TVqUtf8View& AName) const;
  /// Removes the attribute with exactly this name; an absent one is no error. A handle to it stays valid.
  void RemoveAttribute(const TVqUtf8View& AName) const;
  /// Removes every attribute, namespace declarations too.
  void RemoveAllAttributes() const;
  /// Whether there is such an attribute. Of the options only those on names count.
  bool HasAttribute(const TVqUtf8View& AName, TVqDOMSelectOptions AOptions = {}) const;
  /// The attributes in document order, namespace declarations among them. The list does not follow later changes.
  std::int32_t AttributeCount() const;
  TVqDOMAttrList GetAttributes() const;

  // ---- Typed text

  /// The text converted as `uVqXMLUtils` does it. No element and empty text give the empty value; other text that does
  /// not convert raises EConvertError.
  string GetAsString() const { return GetText(); }
  std::int32_t GetAsInteger() const;
  bool GetAsBoolean() const;
  TDateTime GetAsDateTime() const;
  /// The text in a narrow code page; characters that it lacks become "?".
  std::string GetAsAnsiString(std::int32_t ACodePage = kVqCodePageUtf8) const;
  /// Write the value in the form of XML schema, a time as UTC. Raise as SetText does.
  void SetAsString(const TVqUtf8View& AValue) const { SetText(AValue); }
  void SetAsInteger(std::int32_t AValue) const;
  void SetAsBoolean(bool AValue) const;
  void SetAsDateTime(TDateTime AValue) const;
};

/// The classes behind the interfaces have the same name in code that makes nodes.
using TVqDOMElement = IVqDOMElement;
using TVqDOMAttribute = IVqDOMAttribute;
using TVqDOMNode = IVqDOMNode;

/// A handle to a document. Empty when made without arguments; `TVqDOMDocument` makes documents.
class IVqDOMDocument : public IVqDOMNode {
 public:
  /// Told of a parse error before EVqXMLError is raised; may raise an exception of its own instead.
  using TParseErrorEvent = std::function<void(const IVqSAXLocator& ALocator, const string& AMessage)>;

  IVqDOMDocument() noexcept = default;
  /// Refers to nothing.
  IVqDOMDocument(std::nullptr_t) noexcept {}

  // ---- Content

  /// Replace the content. A reply's characters that XML forbids (raw or as references) are read as U+FFFD; anything
  /// else that is not well-formed raises EVqXMLError with the place, and the document is then empty. `ACodePage` 0
  /// takes the byte order mark, else the declaration, else UTF-8; any other value overrules the declaration, but not a
  /// byte order mark. Text that comes as 16-bit units or UTF-8 ignores the encoding in its declaration.
  void LoadXML(const TVqUtf8View& AText) const;
  void SetXml(const TVqUtf8View& AText) const { LoadXML(AText); }
  /// Reads the stream from its position to its end, or the file.
  void LoadFromStream(TVqStream& AStream) const;
  void LoadFromStream(TVqStream& AStream, std::int32_t ACodePage) const;
  /// Raises EStreamError, too, when the file cannot be read.
  void LoadFromFile(const string& AFileName) const;
  /// Bytes in memory, as they came from the wire.
  void LoadFromBytes(std::string_view ABytes, std::int32_t ACodePage = kVqCodePageDefault) const;
  /// Takes out everything. Nodes that are still held stay valid, outside the document.
  void Clear() const;
  /// Limits for what is loaded from now on.
  void SetLimits(const TVqXMLLimits& ALimits) const;
  TVqXMLLimits GetLimits() const;
  /// An empty one takes the handler away.
  void SetOnParseError(TParseErrorEvent AHandler) const;

  /// Write the document, in the code page that it was made or read with when none is given. The first flag writes an
  /// XML declaration, the second one indents.
  void SaveToStream(TVqStream& AStream, bool ADeclaration, bool AIndent) const;
  void SaveToStream(TVqStream& AStream, std::int32_t ACodePage, bool ADeclaration, bool AIndent) const;
  using IVqDOMNode::SaveToStream;
  /// UTF-8. The file is written under a temporary name and then put in place, so that a failure keeps the old one.
  void SaveToFile(const string& AFileName, bool ADeclaration, bool AIndent) const;

  // ---- Nodes

  /// The root element; empty in an empty document.
  IVqDOMElement GetDocumentElement() const;
  /// Makes the root element. A root that is there already raises a plain exception.
  IVqDOMElement CreateRootNode(const TVqUtf8View& AName) const;
  /// The same with a declaration that binds the name's prefix (or the default namespace) to `ANamespaceURI`.
  IVqDOMElement CreateRootNode(const TVqUtf8View& AName, const TVqUtf8View& ANamespaceURI) const;
  /// A copy of the whole document.
  IVqDOMDocument CreateClone() const;
  /// As AddChild.
  IVqDOMNode AppendChild(const IVqDOMNode& ANode) const { return AddChild(ANode); }

  /// Gives namespaces the prefixes of our choice, whatever the server chose, in one walk over the elements; a document
  /// that uses these prefixes already is not walked. A default namespace gets its prefix; a foreign namespace that
  /// occupies one of the prefixes moves to another one.
  void RenamePrefixes(std::initializer_list<TVqNamespacePrefix> APrefixes) const;

  /// Changes whenever anything in the document changes. What was found in the document holds until then.
  std::uint32_t GetModificationCount() const noexcept { return FData ? FData->Modifications : 0; }
  /// Changes only when elements come, go, move or get another name; texts and attributes leave it alone. A list of
  /// elements that was found by names alone holds until then.
  std::uint32_t GetStructureCount() const noexcept { return FData ? FData->Structure : 0; }

 private:
  friend class detail::TVqDOMFactory;
};

/// A new document, empty or parsed; converts to `IVqDOMDocument` freely. Parsing raises as `LoadXML` does.
class TVqDOMDocument : public IVqDOMDocument {
 public:
  /// Empty.
  TVqDOMDocument();
  /// Parsed from text.
  explicit TVqDOMDocument(const TVqUtf8View& AText);
  /// `ACodePage` is what the document is written in when nothing else is said.
  TVqDOMDocument(const TVqUtf8View& AText, std::int32_t ACodePage);
  /// Parsed from the stream, whose bytes are in this code page; 0 finds out which it is.
  TVqDOMDocument(TVqStream& AStream, std::int32_t ACodePage);
};

/// Parses text into a document. Raises EVqXMLError.
IVqDOMDocument VqCreateDOM(const TVqUtf8View& AText);

/// Elements that were found together. Keeps the document alive; a copy costs two increments; `GetItem` takes constant
/// time.
class TVqDOMElementList {
 public:
  TVqDOMElementList() = default;

  /// How many there are.
  std::int32_t Count() const noexcept;
  /// By position from 0. Raises EListError for a position outside.
  IVqDOMElement GetItem(std::int32_t AIndex) const;
  /// The first one with this qualified name, else with this local name; empty when there is none.
  IVqDOMElement GetItem(const TVqUtf8View& AName) const;

  /// What a loop over the list runs on; the list must outlive it.
  class TIterator {
   public:
    /// The element at this place; the next place; whether two places differ.
    IVqDOMElement operator*() const { return FList->GetItem(FIndex); }
    TIterator& operator++() {
      ++FIndex;
      return *this;
    }
    bool operator!=(const TIterator& other) const noexcept { return FIndex != other.FIndex; }

   private:
    friend class TVqDOMElementList;
    TIterator(const TVqDOMElementList* list, std::int32_t index) : FList(list), FIndex(index) {}
    const TVqDOMElementList* FList;
    std::int32_t FIndex;
  };
  /// Over the elements, in document order.
  TIterator begin() const noexcept { return {this, 0}; }
  TIterator end() const noexcept { return {this, Count()}; }

 private:
  friend class detail::TVqDOMFactory;
  IVqDOMNode FDocument;
  std::shared_ptr<const std::vector<void*>> FNodes;
};

/// Children of every kind, as `GetChildren` found them.
class TVqDOMNodeList {
 public:
  /// How many there are.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FNodes.size()); }
  /// Raises EListError outside.
  const IVqDOMNode& GetItem(std::int32_t AIndex) const;
  /// Over the nodes, in document order.
  auto begin() const noexcept { return FNodes.begin(); }
  auto end() const noexcept { return FNodes.end(); }

 private:
  friend class detail::TVqDOMFactory;
  std::vector<IVqDOMNode> FNodes;
};

/// Attributes of an element, in document order, as `GetAttributes` found them.
class TVqDOMAttrList {
 public:
  /// How many there are.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(FAttributes.size()); }
  /// Raises EListError outside.
  const IVqDOMAttribute& GetItem(std::int32_t AIndex) const;
  /// Over the attributes, in document order.
  auto begin() const noexcept { return FAttributes.begin(); }
  auto end() const noexcept { return FAttributes.end(); }

 private:
  friend class detail::TVqDOMFactory;
  std::vector<IVqDOMAttribute> FAttributes;
};

/// A selection compiled once, for use in loops; the forms that take text keep compiled ones, too, but must look them
/// up. Immutable, so any number of threads may share one. Raises EVqXMLError, with the place, for text that is none of
/// the forms of `IVqDOMNode::SelectSingleElement`.
class TVqDOMSelection {
 public:
  /// Compiles the expression.
  explicit TVqDOMSelection(const TVqUtf8View& AExpression);

 private:
  friend class detail::TVqDOMFactory;
  std::shared_ptr<const detail::TVqDOMPath> FPath;
};

}  // namespace velmore
