#include "simulator/schema/validator.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/uri.h>
#include <libxml/xmlschemas.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <vector>

#include "simulator/types/options.h"

namespace velmore::simulator {

namespace {

namespace fs = std::filesystem;

struct Complaint {
  int code = 0;
  std::string text;
  const xmlNode* node = nullptr;
};

// The signature of the callback changed between versions of libxml2.
#if LIBXML_VERSION >= 21200
using XmlErrorArgument = const xmlError*;
#else
using XmlErrorArgument = xmlErrorPtr;
#endif

void Collect(void* user, XmlErrorArgument error) {
  std::string text = error->message != nullptr ? error->message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  if (error->level == XML_ERR_WARNING) return;
  static_cast<std::vector<Complaint>*>(user)->push_back({error->code, text, static_cast<const xmlNode*>(error->node)});
}

/// While the schema is loaded there are complaints about several files.
void CollectWithPlace(void* user, XmlErrorArgument error) {
  if (error->level == XML_ERR_WARNING) return;
  Collect(user, error);
  if (error->file != nullptr)
    static_cast<std::vector<Complaint>*>(user)->back().text.insert(
        0, std::string(error->file) + ":" + std::to_string(error->line) + ": ");
}

std::string Url(const fs::path& path) {
  xmlChar* canonic = xmlCanonicPath(reinterpret_cast<const xmlChar*>(path.c_str()));
  std::string out;
  EscapeXml(reinterpret_cast<const char*>(canonic), true, out);
  xmlFree(canonic);
  return out;
}

/// What the attributes of the XML namespace look like. Schemas import it, often without telling from where.
constexpr const char* kXmlNamespaceSchema =
    R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" targetNamespace="http://www.w3.org/XML/1998/namespace">
<xs:attribute name="lang" type="xs:string"/><xs:attribute name="space" type="xs:NCName"/><xs:attribute name="base" type="xs:anyURI"/>
</xs:schema>)";

/// The envelope around what the schema of the service tells.
std::string EnvelopeSchema(const fs::path& directory, const fs::path& xml_namespace) {
  return R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:s="http://schemas.xmlsoap.org/soap/envelope/")"
         R"( targetNamespace="http://schemas.xmlsoap.org/soap/envelope/" elementFormDefault="qualified">)"
         R"(<xs:import namespace="http://www.w3.org/XML/1998/namespace" schemaLocation=")" +
         Url(xml_namespace) + R"("/><xs:import namespace=")" + kTypesNamespace + R"(" schemaLocation=")" +
         Url(directory / "types.xsd") + R"("/><xs:import namespace=")" + kMessagesNamespace + R"(" schemaLocation=")" +
         Url(directory / "messages.xsd") +
         R"("/><xs:element name="Envelope"><xs:complexType><xs:sequence>)"
         R"(<xs:element name="Header" minOccurs="0"><xs:complexType><xs:sequence>)"
         R"(<xs:any namespace="##other" processContents="strict" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>)"
         R"(<xs:anyAttribute processContents="lax"/></xs:complexType></xs:element>)"
         R"(<xs:element name="Body"><xs:complexType><xs:sequence>)"
         R"(<xs:any namespace="##other" processContents="strict"/></xs:sequence>)"
         R"(<xs:anyAttribute processContents="lax"/></xs:complexType></xs:element>)"
         R"(</xs:sequence><xs:anyAttribute processContents="lax"/></xs:complexType></xs:element></xs:schema>)";
}

/// "{namespace}Name" as "'Name' in namespace 'namespace'".
std::string Spell(const std::string& names, const std::string& space) {
  return "'" + names + "'" + (space.empty() ? std::string() : " in namespace '" + space + "'");
}

std::string Spell(const xmlNode* node) {
  return Spell(reinterpret_cast<const char*>(node->name),
               node->ns != nullptr ? reinterpret_cast<const char*>(node->ns->href) : "");
}

/// The names behind "Expected is" in the text of libxml2, as servers list them.
std::string Expected(const std::string& text) {
  std::size_t at = text.find("Expected is");
  if (at == std::string::npos) return {};
  std::vector<std::pair<std::string, std::string>> groups;  // namespace, names
  while ((at = text.find('{', at)) != std::string::npos) {
    const std::size_t end = text.find('}', at);
    if (end == std::string::npos) break;
    const std::string space = text.substr(at + 1, end - at - 1);
    const std::size_t stop = std::min(text.find_first_of(", )", end), text.size());
    const std::string name = text.substr(end + 1, stop - end - 1);
    if (groups.empty() || groups.back().first != space)
      groups.emplace_back(space, name);
    else
      groups.back().second += ", " + name;
    at = stop;
  }
  std::string out;
  for (const auto& [space, names] : groups)
    out += (out.empty() ? " List of possible elements expected: " : " as well as ") + Spell(names, space);
  return out.empty() ? out : out + ".";
}

std::string Quoted(const std::string& text, std::size_t from) {
  const std::size_t begin = text.find('\'', from);
  const std::size_t end = begin == std::string::npos ? begin : text.find('\'', begin + 1);
  return end == std::string::npos ? std::string() : text.substr(begin + 1, end - begin - 1);
}

/// The name of a type in "'Sideways' is not a valid value of the atomic type '{namespace}Name'".
std::string TypeIn(const std::string& text) {
  const std::size_t at = text.rfind(" type '");
  if (at == std::string::npos) return {};
  std::string name = Quoted(text, at + 5);
  if (name.starts_with("{")) {
    name.erase(0, 1);
    name.replace(std::min(name.find('}'), name.size() - 1), 1, ":");
  }
  return name;
}

std::string FacetName(int code) {
  switch (code) {
    case XML_SCHEMAV_CVC_ENUMERATION_VALID:
      return "Enumeration";
    case XML_SCHEMAV_CVC_PATTERN_VALID:
      return "Pattern";
    case XML_SCHEMAV_CVC_LENGTH_VALID:
      return "Length";
    case XML_SCHEMAV_CVC_MINLENGTH_VALID:
      return "MinLength";
    case XML_SCHEMAV_CVC_MAXLENGTH_VALID:
      return "MaxLength";
    case XML_SCHEMAV_CVC_MININCLUSIVE_VALID:
      return "MinInclusive";
    case XML_SCHEMAV_CVC_MAXINCLUSIVE_VALID:
      return "MaxInclusive";
    case XML_SCHEMAV_CVC_MINEXCLUSIVE_VALID:
      return "MinExclusive";
    case XML_SCHEMAV_CVC_MAXEXCLUSIVE_VALID:
      return "MaxExclusive";
    default:
      return {};
  }
}

/// Servers word their complaints differently from libxml2; clients that read the text get what they would get there.
std::string Wording(const std::vector<Complaint>& complaints) {
  const Complaint& first = complaints.front();
  const xmlNode* node = first.node;
  const xmlNode* element = node != nullptr && node->type == XML_ATTRIBUTE_NODE ? node->parent : node;
  if (element != nullptr && first.code == XML_SCHEMAV_ELEMENT_CONTENT) {
    if (first.text.find("Missing child element") != std::string::npos)
      return "The element " + Spell(element) + " has incomplete content." + Expected(first.text);
    if (element->parent != nullptr && element->parent->type == XML_ELEMENT_NODE)
      return "The element " + Spell(element->parent) + " has invalid child element " + Spell(element) + "." +
             Expected(first.text);
  }
  if (element != nullptr && first.text.find("No matching global element declaration") != std::string::npos)
    return "Could not find schema information for the element '" +
           std::string(element->ns != nullptr ? reinterpret_cast<const char*>(element->ns->href) : "") + ":" +
           reinterpret_cast<const char*>(element->name) + "'.";
  if (first.code == XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_1 || first.text.find("' is not allowed.") != std::string::npos)
    return "The '" + Quoted(first.text, first.text.find(", attribute ")) + "' attribute is not declared.";
  if (first.code == XML_SCHEMAV_CVC_COMPLEX_TYPE_4)
    return "The required attribute '" + Quoted(first.text, first.text.find("The attribute ")) + "' is missing.";
  const std::size_t attribute = first.text.find(", attribute ");
  const std::string facet = FacetName(first.code);
  if (element != nullptr && (!facet.empty() || first.text.find("is not a valid value") != std::string::npos)) {
    std::string type;
    for (const Complaint& complaint : complaints)
      if (type.empty() && complaint.node == node) type = TypeIn(complaint.text);
    // "Element '...': [facet '...'] The value '...' is not ..." or "Element '...': '...' is not a valid value of ..."
    const std::string value = Quoted(first.text, facet.empty() ? first.text.find(": ") : first.text.find("The value "));
    return (attribute != std::string::npos ? "The '" + Quoted(first.text, attribute) + "' attribute is invalid"
                                           : "The " + Spell(element) + " element is invalid") +
           " - The value '" + value + "' is invalid" +
           (type.empty() ? std::string() : " according to its datatype '" + type + "'") + " - " +
           (facet.empty() ? "The string '" + value + "' is not a valid value."
                          : "The " + facet + " constraint failed.");
  }
  return first.text;
}

/// The same element in the tree that knows lines and columns.
const Element& SameElement(const Element& root, const xmlNode* node) {
  std::vector<std::size_t> path;
  for (; node != nullptr && node->parent != nullptr && node->parent->type == XML_ELEMENT_NODE; node = node->parent) {
    std::size_t index = 0;
    for (const xmlNode* before = node->prev; before != nullptr; before = before->prev)
      if (before->type == XML_ELEMENT_NODE) ++index;
    path.push_back(index);
  }
  const Element* found = &root;
  for (auto step = path.rbegin(); step != path.rend() && *step < found->children.size(); ++step)
    found = &found->children[*step];
  return *found;
}

/// The XML namespace as a file, since an import takes nothing else.
class XmlNamespaceFile {
 public:
  XmlNamespaceFile() {
    std::string pattern = (fs::temp_directory_path() / "velmore-schema-XXXXXX").string();
    const int handle = ::mkstemp(pattern.data());
    if (handle < 0) throw SimulatorError("A temporary file cannot be made.");
    path_ = pattern;
    std::ofstream(path_) << kXmlNamespaceSchema;
    ::close(handle);
  }
  ~XmlNamespaceFile() { ::unlink(path_.c_str()); }
  XmlNamespaceFile(const XmlNamespaceFile&) = delete;
  XmlNamespaceFile& operator=(const XmlNamespaceFile&) = delete;
  const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

}  // namespace

struct Validator::Parts {
  xmlSchemaPtr schema = nullptr;
  mutable std::mutex mutex;  // libxml2 does not promise that one schema serves several threads
  ~Parts() { xmlSchemaFree(schema); }
};

Validator::Validator(const std::string& directory) : parts_(std::make_unique<Parts>()) {
  const fs::path folder = fs::absolute(directory);
  for (const char* name : {"messages.xsd", "types.xsd"})
    if (!fs::exists(folder / name)) throw OptionError("The schema folder " + directory + " has no file " + name + ".");
  const XmlNamespaceFile xml_namespace;
  const std::string text = EnvelopeSchema(folder, xml_namespace.Path());
  std::vector<Complaint> complaints;
  // A schema that names another one by its place on the net must not make the simulator go there.
  static std::mutex loading;
  const std::lock_guard lock(loading);
  const xmlExternalEntityLoader before = xmlGetExternalEntityLoader();
  xmlSetExternalEntityLoader(xmlNoNetExternalEntityLoader);
  xmlSchemaParserCtxtPtr parser = xmlSchemaNewMemParserCtxt(text.data(), static_cast<int>(text.size()));
  xmlSchemaSetParserStructuredErrors(parser, CollectWithPlace, &complaints);
  // What is wrong with the files themselves goes another way.
  const xmlStructuredErrorFunc report = xmlStructuredError;
  void* const report_to = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(&complaints, CollectWithPlace);
  parts_->schema = xmlSchemaParse(parser);
  xmlSchemaFreeParserCtxt(parser);
  xmlSetStructuredErrorFunc(report_to, report);
  xmlSetExternalEntityLoader(before);
  if (parts_->schema == nullptr || !complaints.empty())
    throw OptionError("The schema in " + directory +
                      " cannot be used: " + (complaints.empty() ? "unknown reason" : complaints.front().text));
}

Validator::~Validator() = default;

std::optional<SchemaViolation> Validator::Check(std::string_view envelope) const {
  std::vector<Complaint> complaints;
  xmlDocPtr document =
      xmlReadMemory(envelope.data(), static_cast<int>(envelope.size()), nullptr, nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE | XML_PARSE_BIG_LINES);
  if (document == nullptr) return SchemaViolation("The request is not well-formed.", 1, 1);
  std::optional<SchemaViolation> violation;
  {
    const std::lock_guard lock(parts_->mutex);
    xmlSchemaValidCtxtPtr context = xmlSchemaNewValidCtxt(parts_->schema);
    xmlSchemaSetValidStructuredErrors(context, Collect, &complaints);
    const int result = xmlSchemaValidateDoc(context, document);
    xmlSchemaFreeValidCtxt(context);
    if (result != 0 && complaints.empty()) complaints.push_back({result, "The request cannot be validated.", nullptr});
  }
  if (!complaints.empty()) {
    const xmlNode* node = complaints.front().node;
    if (node != nullptr && node->type == XML_ATTRIBUTE_NODE) node = node->parent;
    const Element root = ParseXml(envelope);
    const Element& place = SameElement(root, node);
    violation.emplace(Wording(complaints), place.line, place.column);
  }
  xmlFreeDoc(document);
  return violation;
}

}  // namespace velmore::simulator
