#include "simulator/xml/element.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace velmore::simulator {

const char* const kTypesNamespace = "http://schemas.microsoft.com/exchange/services/2006/types";
const char* const kMessagesNamespace = "http://schemas.microsoft.com/exchange/services/2006/messages";
const char* const kSoapNamespace = "http://schemas.xmlsoap.org/soap/envelope/";
const char* const kErrorsNamespace = "http://schemas.microsoft.com/exchange/services/2006/errors";

namespace {

const std::string kEmpty;

// No real request nests deeper; a hostile one must not exhaust the stack of the recursive walks behind the parser.
constexpr std::size_t kMaxDepth = 200;

Space SpaceOf(const xmlChar* uri) {
  if (uri == nullptr) return Space::kNone;
  const char* text = reinterpret_cast<const char*>(uri);
  if (std::strcmp(text, kTypesNamespace) == 0) return Space::kTypes;
  if (std::strcmp(text, kMessagesNamespace) == 0) return Space::kMessages;
  if (std::strcmp(text, kSoapNamespace) == 0) return Space::kSoap;
  if (std::strcmp(text, kErrorsNamespace) == 0) return Space::kErrors;
  return Space::kOther;
}

struct Reader {
  xmlParserCtxtPtr context = nullptr;
  Element root;
  bool has_root = false;
  std::vector<Element*> open;
  std::string error;
  unsigned line = 0;
  unsigned column = 0;

  void Fail(const char* text, int at_line, int at_column) {
    if (!error.empty()) return;
    error = text;
    while (!error.empty() && error.back() == '\n') error.pop_back();
    line = static_cast<unsigned>(at_line);
    column = static_cast<unsigned>(at_column);
    xmlStopParser(context);
  }
};

void OnStart(void* user, const xmlChar* name, const xmlChar*, const xmlChar* uri, int, const xmlChar**, int count, int,
             const xmlChar** attributes) {
  auto& reader = *static_cast<Reader*>(user);
  const int line = xmlSAX2GetLineNumber(reader.context);
  const int column = xmlSAX2GetColumnNumber(reader.context);
  if (reader.open.size() >= kMaxDepth) return reader.Fail("The elements are nested too deeply.", line, column);
  Element* element = nullptr;
  if (reader.open.empty()) {
    element = &reader.root;
    reader.has_root = true;
  } else {
    // A vector of children may move: only the last child of each open element is ever referred to, and no sibling is
    // added to an element while one of its children is open.
    element = &reader.open.back()->children.emplace_back();
  }
  element->space = SpaceOf(uri);
  element->name = reinterpret_cast<const char*>(name);
  element->line = static_cast<unsigned>(line);
  element->column = static_cast<unsigned>(column);
  for (int i = 0; i < count; ++i) {
    const xmlChar** entry = attributes + i * 5;
    std::string attribute_name = reinterpret_cast<const char*>(entry[0]);
    if (entry[1] != nullptr)
      attribute_name = std::string(reinterpret_cast<const char*>(entry[1])) + ":" + attribute_name;
    element->attributes.emplace_back(std::move(attribute_name), std::string(reinterpret_cast<const char*>(entry[3]),
                                                                            reinterpret_cast<const char*>(entry[4])));
  }
  reader.open.push_back(element);
}

void OnEnd(void* user, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto& reader = *static_cast<Reader*>(user);
  if (reader.open.empty()) return;
  Element& element = *reader.open.back();
  // Blanks between child elements are layout, not content.
  if (!element.children.empty() && element.text.find_first_not_of(" \t\r\n") == std::string::npos) element.text.clear();
  reader.open.pop_back();
}

void OnText(void* user, const xmlChar* text, int length) {
  auto& reader = *static_cast<Reader*>(user);
  if (!reader.open.empty())
    reader.open.back()->text.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
}

void OnDocumentType(void* user, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto& reader = *static_cast<Reader*>(user);
  reader.Fail("For security reasons DTD is prohibited in this XML document.", xmlSAX2GetLineNumber(reader.context),
              xmlSAX2GetColumnNumber(reader.context));
}

void OnError(void* user, xmlErrorPtr error) {
  auto& reader = *static_cast<Reader*>(user);
  if (error->level < XML_ERR_ERROR) return;
  reader.Fail(error->message != nullptr ? error->message : "malformed XML", error->line, error->int2);
}

}  // namespace

std::string_view SpaceUri(Space space) {
  switch (space) {
    case Space::kTypes:
      return kTypesNamespace;
    case Space::kMessages:
      return kMessagesNamespace;
    case Space::kSoap:
      return kSoapNamespace;
    case Space::kErrors:
      return kErrorsNamespace;
    case Space::kNone:
    case Space::kOther:
      break;
  }
  return {};
}

const Element* Element::Child(std::string_view child_name) const {
  for (const Element& child : children)
    if (child.name == child_name) return &child;
  return nullptr;
}

Element* Element::Child(std::string_view child_name) {
  return const_cast<Element*>(static_cast<const Element*>(this)->Child(child_name));
}

const std::string& Element::ChildText(std::string_view child_name) const {
  const Element* child = Child(child_name);
  return child != nullptr ? child->text : kEmpty;
}

const std::string* Element::Attribute(std::string_view attribute_name) const {
  for (const auto& [key, value] : attributes)
    if (key == attribute_name) return &value;
  return nullptr;
}

const std::string& Element::AttributeText(std::string_view attribute_name) const {
  const std::string* value = Attribute(attribute_name);
  return value != nullptr ? *value : kEmpty;
}

Element& Element::Set(std::string attribute_name, std::string value) {
  for (auto& [key, present] : attributes) {
    if (key == attribute_name) {
      present = std::move(value);
      return *this;
    }
  }
  attributes.emplace_back(std::move(attribute_name), std::move(value));
  return *this;
}

Element& Element::Add(Element child) {
  return children.emplace_back(std::move(child));
}

Element& Element::Add(std::string child_name, std::string child_text) {
  return Add(Types(std::move(child_name), std::move(child_text)));
}

bool Element::Remove(std::string_view child_name) {
  const auto end =
      std::remove_if(children.begin(), children.end(), [&](const Element& c) { return c.name == child_name; });
  if (end == children.end()) return false;
  children.erase(end, children.end());
  return true;
}

Element Types(std::string name, std::string text) {
  Element element;
  element.name = std::move(name);
  element.text = std::move(text);
  return element;
}

Element Messages(std::string name, std::string text) {
  Element element = Types(std::move(name), std::move(text));
  element.space = Space::kMessages;
  return element;
}

Element ParseXml(std::string_view bytes) {
  if (bytes.empty()) throw XmlError("Root element is missing.", 0, 0);
  if (bytes.size() > 0x7fffffffu) throw XmlError("The document is too large.", 0, 0);
  static const bool initialized = (xmlInitParser(), true);
  static_cast<void>(initialized);
  xmlSAXHandler handler{};
  handler.initialized = XML_SAX2_MAGIC;
  handler.startElementNs = OnStart;
  handler.endElementNs = OnEnd;
  handler.characters = OnText;
  handler.ignorableWhitespace = OnText;
  handler.cdataBlock = OnText;
  handler.internalSubset = OnDocumentType;
  handler.serror = OnError;
  Reader reader;
  const std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxtPtr)> context(
      xmlCreateMemoryParserCtxt(bytes.data(), static_cast<int>(bytes.size())), xmlFreeParserCtxt);
  if (context == nullptr) throw XmlError("The document cannot be read.", 0, 0);
  reader.context = context.get();
  // The SAX block of the context is its own; ours is copied over it.
  *context->sax = handler;
  context->userData = &reader;
  // NOENT: otherwise an "&amp;" in an attribute's value comes as "&#38;".
  xmlCtxtUseOptions(context.get(), XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOENT);
  xmlParseDocument(context.get());
  if (context->myDoc != nullptr) {
    xmlFreeDoc(context->myDoc);
    context->myDoc = nullptr;
  }
  if (!reader.error.empty()) throw XmlError(reader.error, reader.line, reader.column);
  if (context->wellFormed == 0 || !reader.has_root) throw XmlError("The document is not well-formed.", 0, 0);
  return std::move(reader.root);
}

void EscapeXml(std::string_view text, bool attribute, std::string& out) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += attribute ? "&quot;" : "\"";
        break;
      case '\r':
        out += "&#xD;";
        break;
      case '\n':
        out += attribute ? "&#xA;" : "\n";
        break;
      case '\t':
        out += attribute ? "&#x9;" : "\t";
        break;
      default:
        // Exchange writes the characters that XML forbids as references, and clients have to live with that.
        if (static_cast<unsigned char>(c) < 0x20) {
          static constexpr char kDigits[] = "0123456789ABCDEF";
          out += "&#x";
          if (c >= 0x10) out += '1';
          out += kDigits[static_cast<unsigned char>(c) & 15u];
          out += ';';
        } else {
          out += c;
        }
    }
  }
}

void WriteXml(const Element& element, std::string& out) {
  const char* prefix = "";
  switch (element.space) {
    case Space::kTypes:
      prefix = "t:";
      break;
    case Space::kMessages:
      prefix = "m:";
      break;
    case Space::kSoap:
      prefix = "s:";
      break;
    case Space::kErrors:
      prefix = "e:";
      break;
    case Space::kNone:
    case Space::kOther:
      break;
  }
  out += '<';
  out += prefix;
  out += element.name;
  for (const auto& [key, value] : element.attributes) {
    out += ' ';
    out += key;
    out += "=\"";
    EscapeXml(value, true, out);
    out += '"';
  }
  if (element.text.empty() && element.children.empty() && (element.base64 == nullptr || element.base64->empty())) {
    out += "/>";
    return;
  }
  out += '>';
  EscapeXml(element.text, false, out);
  if (element.base64 != nullptr) EncodeBase64(*element.base64, out);
  for (const Element& child : element.children) WriteXml(child, out);
  out += "</";
  out += prefix;
  out += element.name;
  out += '>';
}

void EncodeBase64(std::string_view bytes, std::string& out) {
  const std::size_t start = out.size();
  // EVP_EncodeBlock writes a closing NUL and takes an int: go in pieces that are a multiple of three.
  constexpr std::size_t kPiece = 3u << 20;
  const std::size_t length = (bytes.size() + 2) / 3 * 4;
  out.resize(start + length + 1);
  auto* to = reinterpret_cast<unsigned char*>(out.data() + start);
  for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
    const std::string_view piece = bytes.substr(at, kPiece);
    to += EVP_EncodeBlock(to, reinterpret_cast<const unsigned char*>(piece.data()), static_cast<int>(piece.size()));
  }
  out.resize(start + length);
}

std::string EncodeBase64(std::string_view bytes) {
  std::string out;
  EncodeBase64(bytes, out);
  return out;
}

std::string DecodeBase64(std::string_view text) {
  static const auto table = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < alphabet.size(); ++i)
      values[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return values;
  }();
  std::string out;
  out.reserve(text.size() / 4 * 3);
  unsigned bits = 0;
  int count = 0;
  int padding = 0;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const int value = table[static_cast<unsigned char>(c)];
    if (value < 0 || padding > 0) throw std::invalid_argument("not base64");
    bits = (bits << 6) | static_cast<unsigned>(value);
    if (++count == 4) {
      out += static_cast<char>(bits >> 16 & 0xff);
      out += static_cast<char>(bits >> 8 & 0xff);
      out += static_cast<char>(bits & 0xff);
      bits = 0;
      count = 0;
    }
  }
  if (count == 1 || (count != 0 && count + padding != 4) || (count == 0 && padding != 0))
    throw std::invalid_argument("not base64");
  if (count >= 2) out += static_cast<char>((count == 2 ? bits >> 4 : bits >> 10) & 0xff);
  if (count == 3) out += static_cast<char>(bits >> 2 & 0xff);
  return out;
}

}  // namespace velmore::simulator
