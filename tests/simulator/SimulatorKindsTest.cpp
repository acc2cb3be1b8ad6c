// The kind of every field is that of the published schema. Needs a folder with it (VELMORE_EWS_SCHEMA).

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/schema/schema.h"

namespace velmore::simulator::testing {
namespace {

/// types.xsd, as far as it says what kind of value an element holds.
class Published {
 public:
  explicit Published(const std::string& file)
      : document_(xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET), &xmlFreeDoc) {
    for (xmlNode* node : Children(xmlDocGetRootElement(document_.get())))
      named_[Name(node) + " " + Attribute(node, "name")] = node;
  }

  /// Kind of each element of a complex type: "string", "boolean", "integer", "time", "real", "binary", "complex", or
  /// "A|B|C".
  std::map<std::string, std::string> Kinds(const std::string& type) const {
    std::map<std::string, std::string> kinds;
    if (xmlNode* node = Find("complexType " + type)) Collect(node, kinds);
    return kinds;
  }

 private:
  static std::string Name(const xmlNode* node) { return reinterpret_cast<const char*>(node->name); }
  static std::string Attribute(xmlNode* node, const char* name) {
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    const std::string text = value != nullptr ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return text.starts_with("t:") ? text.substr(2) : text;
  }
  static std::vector<xmlNode*> Children(xmlNode* node) {
    std::vector<xmlNode*> children;
    for (xmlNode* child = node->children; child != nullptr; child = child->next)
      if (child->type == XML_ELEMENT_NODE) children.push_back(child);
    return children;
  }
  xmlNode* Find(const std::string& name) const {
    const auto found = named_.find(name);
    return found != named_.end() ? found->second : nullptr;
  }

  void Collect(xmlNode* node, std::map<std::string, std::string>& kinds) const {
    for (xmlNode* child : Children(node)) {
      const std::string what = Name(child);
      if (what == "extension") kinds.merge(Kinds(Attribute(child, "base")));
      if (what == "group") {
        if (xmlNode* group = Find("group " + Attribute(child, "ref"))) Collect(group, kinds);
      } else if (what == "element") {
        const std::string ref = Attribute(child, "ref");
        xmlNode* element = ref.empty() ? child : Find("element " + ref);
        kinds[Attribute(element, "name")] = KindOf(Attribute(element, "type"), element);
      } else {
        Collect(child, kinds);
      }
    }
  }

  std::string KindOf(const std::string& type, xmlNode* inside = nullptr) const {
    if (type.empty()) return Simple(inside);
    static const std::map<std::string, std::string> kBuiltIn = {
        {"xs:boolean", "boolean"},     {"xs:int", "integer"},   {"xs:long", "integer"},
        {"xs:short", "integer"},       {"xs:dateTime", "time"}, {"xs:date", "time"},
        {"xs:double", "real"},         {"xs:float", "real"},    {"xs:decimal", "real"},
        {"xs:base64Binary", "binary"}, {"xs:string", "string"}, {"xs:language", "string"},
        {"xs:duration", "string"},     {"xs:anyURI", "string"}, {"xs:unsignedShort", "integer"}};
    if (const auto found = kBuiltIn.find(type); found != kBuiltIn.end()) return found->second;
    if (xmlNode* simple = Find("simpleType " + type)) return Simple(simple);
    xmlNode* complex = Find("complexType " + type);
    for (xmlNode* child : complex != nullptr ? Children(complex) : std::vector<xmlNode*>()) {
      // A text with attributes is more than its text.
      xmlNode* content = Name(child) == "simpleContent" ? Children(child).front() : nullptr;
      if (content != nullptr && Children(content).empty()) return KindOf(Attribute(content, "base"));
    }
    return "complex";
  }

  std::string Simple(xmlNode* node) const {
    for (xmlNode* child : Children(node)) {
      if (Name(child) == "simpleType" || Name(child) == "union") return Simple(child);
      if (Name(child) == "restriction") {
        std::string texts;
        for (xmlNode* facet : Children(child))
          if (Name(facet) == "enumeration") texts += (texts.empty() ? "" : "|") + Attribute(facet, "value");
        return texts.empty() ? KindOf(Attribute(child, "base")) : texts;
      }
    }
    return Children(node).empty() ? "string" : "complex";
  }

  std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document_;
  std::map<std::string, xmlNode*> named_;
};

std::string KindOf(const Member& member) {
  switch (member.kind) {
    case ValueKind::kString:
      return "string";
    case ValueKind::kBoolean:
      return "boolean";
    case ValueKind::kInteger:
      return "integer";
    case ValueKind::kDateTime:
      return "time";
    case ValueKind::kDouble:
      return "real";
    case ValueKind::kBinary:
      return "binary";
    case ValueKind::kComplex:
      return "complex";
    case ValueKind::kEnumeration:
      break;
  }
  std::string texts;
  for (const std::string& text : member.enumeration) texts += (texts.empty() ? "" : "|") + text;
  return texts;
}

TEST(SimulatorKinds, OfAllFieldsAreThoseOfThePublishedSchema) {
  const char* folder = std::getenv("VELMORE_EWS_SCHEMA");
  if (folder == nullptr) GTEST_SKIP() << "VELMORE_EWS_SCHEMA names no folder";
  const Published published((std::filesystem::path(folder) / "types.xsd").string());
  const std::pair<const char*, const char*> kTypes[] = {{"Item", "ItemType"},
                                                        {"Message", "MessageType"},
                                                        {"CalendarItem", "CalendarItemType"},
                                                        {"Contact", "ContactItemType"},
                                                        {"DistributionList", "DistributionListType"},
                                                        {"Task", "TaskType"},
                                                        {"PostItem", "PostItemType"},
                                                        {"MeetingMessage", "MeetingMessageType"},
                                                        {"MeetingRequest", "MeetingRequestMessageType"},
                                                        {"MeetingResponse", "MeetingResponseMessageType"},
                                                        {"MeetingCancellation", "MeetingCancellationMessageType"},
                                                        {"Folder", "FolderType"},
                                                        {"CalendarFolder", "CalendarFolderType"},
                                                        {"ContactsFolder", "ContactsFolderType"},
                                                        {"SearchFolder", "SearchFolderType"},
                                                        {"TasksFolder", "TasksFolderType"},
                                                        {"EmailAddress", "EmailAddressType"},
                                                        {"Attendee", "AttendeeType"},
                                                        {"Flag", "FlagType"},
                                                        {"FileAttachment", "FileAttachmentType"}};
  std::size_t fields = 0;
  for (const auto& [row, type] : kTypes) {
    const std::map<std::string, std::string> kinds = published.Kinds(type);
    EXPECT_GT(kinds.size(), 3u) << type;
    for (const Member& member : Schema::Instance().Type(row)->members) {
      const auto found = kinds.find(member.name);
      ASSERT_NE(found, kinds.end()) << row << " has no " << member.name;
      EXPECT_EQ(KindOf(member), found->second) << row << "/" << member.name;
      ++fields;
    }
  }
  EXPECT_GT(fields, 700u);
}

}  // namespace
}  // namespace velmore::simulator::testing
