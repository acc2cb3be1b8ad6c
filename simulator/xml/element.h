#pragma once

// A small XML tree with value semantics: what a request is read into, what mailboxes keep, what replies are written
// from.

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmore::simulator {

enum class Space : unsigned char { kNone, kTypes, kMessages, kSoap, kErrors, kOther };

extern const char* const kTypesNamespace;
extern const char* const kMessagesNamespace;
extern const char* const kSoapNamespace;
extern const char* const kErrorsNamespace;

/// URI of a namespace; empty for kNone and kOther.
std::string_view SpaceUri(Space space);

struct Element {
  Space space = Space::kTypes;
  std::string name;  // local name
  std::string text;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<Element> children;
  std::shared_ptr<const std::string> base64;  // written in base64 as text; keeps large contents out of copies
  unsigned line = 0;                          // where the start tag stood, from 1
  unsigned column = 0;

  const Element* Child(std::string_view child_name) const;
  Element* Child(std::string_view child_name);
  /// Text of a child, empty when absent.
  const std::string& ChildText(std::string_view child_name) const;
  const std::string* Attribute(std::string_view attribute_name) const;
  /// Value of an attribute, empty when absent.
  const std::string& AttributeText(std::string_view attribute_name) const;
  Element& Set(std::string attribute_name, std::string value);        // returns *this
  Element& Add(Element child);                                        // returns the child
  Element& Add(std::string child_name, std::string child_text = {});  // in the types namespace; returns the child
  bool Remove(std::string_view child_name);
};

/// An element of the types namespace.
Element Types(std::string name, std::string text = {});
/// An element of the messages namespace.
Element Messages(std::string name, std::string text = {});

class XmlError : public std::runtime_error {
 public:
  XmlError(const std::string& text, unsigned line, unsigned column)
      : std::runtime_error(text), line(line), column(column) {}
  unsigned line;
  unsigned column;
};

/// Reads a document. Refuses document type declarations. Throws XmlError.
Element ParseXml(std::string_view bytes);

/// Writes an element with the prefixes t, m, s and e, without declaring them.
void WriteXml(const Element& element, std::string& out);
void EscapeXml(std::string_view text, bool attribute, std::string& out);

std::string EncodeBase64(std::string_view bytes);
void EncodeBase64(std::string_view bytes, std::string& out);  // appends
/// Decodes, skipping white space; throws std::invalid_argument.
std::string DecodeBase64(std::string_view text);

}  // namespace velmore::simulator
