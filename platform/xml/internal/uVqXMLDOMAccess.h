#pragma once

/// What the typed records reach past the handles: names and texts as UTF-8 where they stand, without a count and
/// without a conversion. Everything here is valid only while the document is alive and, for texts, until that text
/// changes.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// An element of a document that someone else keeps alive. Copies are free.
class TVqRawElement {
 public:
  TVqRawElement() = default;
  /// A node of the parser, which the caller knows to be an element of this document, or null.
  TVqRawElement(TVqDOMData* data, void* node) noexcept : FData(node ? data : nullptr), FNode(node) {}
  explicit TVqRawElement(const IVqDOMElement& element) noexcept;

  explicit operator bool() const noexcept { return FNode != nullptr; }
  friend bool operator==(TVqRawElement, TVqRawElement) = default;

  TVqDOMData* Data() const noexcept { return FData; }
  void* Node() const noexcept { return FNode; }
  /// Name with prefix.
  std::string_view Name() const noexcept;
  std::string_view LocalName() const noexcept;
  /// Elements only: text, comments and the like are stepped over.
  TVqRawElement FirstChild() const noexcept;
  TVqRawElement LastChild() const noexcept;
  TVqRawElement Next() const noexcept;
  TVqRawElement Previous() const noexcept;
  TVqRawElement Parent() const noexcept;
  /// The first child element with exactly this qualified name.
  TVqRawElement Child(std::string_view qualifiedName) const noexcept;
  /// Children of any kind, text included.
  bool HasChildren() const noexcept;

  /// All text inside, in place if it is one piece (the normal case), else put together in `scratch`.
  std::string_view Text(std::string& scratch) const;
  /// Value of the attribute with exactly this name.
  std::optional<std::string_view> Attribute(std::string_view name) const noexcept;

 private:
  TVqDOMData* FData = nullptr;
  void* FNode = nullptr;
};

/// A counted handle for an element of the same document as `anchor`.
IVqDOMElement MakeElement(const IVqDOMNode& anchor, TVqRawElement element) noexcept;

/// Text of the first child element with this qualified name; nothing when there is no such child.
inline std::optional<std::string_view> ChildText(const IVqDOMElement& parent, std::string_view qualifiedName,
                                                 std::string& scratch) {
  const TVqRawElement child = TVqRawElement(parent).Child(qualifiedName);
  if (!child) return std::nullopt;
  return child.Text(scratch);
}

/// New child elements at a place. Without `sibling` the first one appends, the second one puts it in front of all other
/// children. The name must be a name (checked).
IVqDOMElement InsertChildBefore(const IVqDOMElement& parent, std::string_view name, TVqRawElement sibling);
IVqDOMElement InsertChildAfter(const IVqDOMElement& parent, std::string_view name, TVqRawElement sibling);

/// Equal texts, and equal markup inside (element names, attributes in their order, text, comments), without conversion.
bool SameText(TVqRawElement a, TVqRawElement b);
bool SameInnerXML(TVqRawElement a, TVqRawElement b);

/// UTF-8 to 16-bit text where it may be assumed to be well-formed, as all text of a document is.
string TextFromUtf8(std::string_view utf8);

/// Copies what is inside `source`, and its attributes, onto `target` in place of what it had. The two may belong to one
/// document, even one inside the other.
void AssignContent(const IVqDOMElement& target, const IVqDOMElement& source);

/// Replaces what is inside `target` by a text that is known to be one that XML can carry: no check, and no copy but the
/// one in the document.
void AssignKnownText(const IVqDOMElement& target, const std::string& text);
/// The same with the text of an element of another document.
void AssignTextOf(const IVqDOMElement& target, const IVqDOMElement& source);

/// As LoadFromBytes, but takes the bytes over: large documents are parsed where they lie.
void LoadOwnedBytes(const IVqDOMDocument& document, std::string bytes);

/// Calls `callback` once, right before anything in the document of `node` changes for the first time from now on.
/// `owner` names the entry for ForgetBeforeChange and has one at most. An exception of the callback keeps the change
/// from happening.
void SetBeforeChange(const IVqDOMNode& node, const void* owner, std::function<void()> callback);
void ForgetBeforeChange(const IVqDOMNode& node, const void* owner) noexcept;

/// Raises EVqXMLError, with the place, for characters that XML cannot carry; gives the text with a zero behind it.
std::string CheckText(const TVqUtf8View& text);

}  // namespace velmore::detail

#pragma GCC visibility pop
