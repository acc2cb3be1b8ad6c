#include "tests/wire/WireFormsTestSupport.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <set>
#include <string_view>

namespace velmore::testing {
namespace {

void Collect(void* problems, const xmlError* error) {
  *static_cast<std::string*>(problems) += error->message ? error->message : "?";
}
// The type of the handler differs from version to version of the validator.
void CollectAny(void* problems, xmlError* error) {
  Collect(problems, error);
}

xmlSchemaPtr PublishedSchema() {
  static const xmlSchemaPtr schema = []() -> xmlSchemaPtr {
    const char* folder = std::getenv("VELMORE_EWS_SCHEMA");
    if (!folder || !*folder) {
      std::cout
          << "[  NOTE    ] VELMORE_EWS_SCHEMA is not set: requests are not validated against the published schema.\n";
      return nullptr;
    }
    const xmlSchemaParserCtxtPtr parser = xmlSchemaNewParserCtxt((std::string(folder) + "/soap-envelope.xsd").c_str());
    const xmlSchemaPtr parsed = xmlSchemaParse(parser);
    xmlSchemaFreeParserCtxt(parser);
    EXPECT_NE(parsed, nullptr) << "no schema in " << folder;
    return parsed;
  }();
  return schema;
}

using TDocument = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

TDocument Parse(const std::string& envelope) {
  return {xmlReadMemory(envelope.data(), static_cast<int>(envelope.size()), "request.xml", nullptr,
                        XML_PARSE_NONET | XML_PARSE_HUGE),
          &xmlFreeDoc};
}

}  // namespace

simulator::Options Refusing(const std::string& version) {
  simulator::Options options = TwoUsers(version);
  options.accept_departures = false;
  options.keep_exchanges = 100000;
  return options;
}

bool HasPublishedSchema() {
  return PublishedSchema() != nullptr;
}

std::string SchemaProblemsOf(const std::string& envelope) {
  const TDocument document = Parse(envelope);
  if (!document) return "not well-formed";
  std::string problems;
  const xmlSchemaValidCtxtPtr context = xmlSchemaNewValidCtxt(PublishedSchema());
  xmlSchemaSetValidStructuredErrors(context, &CollectAny, &problems);
  if (xmlSchemaValidateDoc(context, document.get()) != 0 && problems.empty()) problems = "invalid";
  xmlSchemaFreeValidCtxt(context);
  return problems;
}

// ---- The normal form

namespace {

using TNode = xmlNode*;

std::string Str(const xmlChar* text) {
  return text ? reinterpret_cast<const char*>(text) : "";
}
const xmlChar* Xml(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}
bool Is(TNode node, std::string_view name) {
  return node && node->type == XML_ELEMENT_NODE && Str(node->name) == name;
}
std::vector<TNode> Children(TNode node) {
  std::vector<TNode> children;
  for (TNode child = xmlFirstElementChild(node); child; child = xmlNextElementSibling(child)) children.push_back(child);
  return children;
}
std::string Attribute(TNode node, const std::string& name) {
  xmlChar* value = xmlGetNoNsProp(node, Xml(name));
  const std::string text = Str(value);
  xmlFree(value);
  return text;
}
std::string TextOf(TNode node) {
  xmlChar* value = xmlNodeGetContent(node);
  const std::string text = Str(value);
  xmlFree(value);
  return text;
}
void Remove(TNode node) {
  xmlUnlinkNode(node);
  xmlFreeNode(node);
}
bool IsEmpty(TNode node) {
  return !node->children && !node->properties;
}

/// Undoes the departures of one request, from its outside in.
class TUndo {
 public:
  TUndo(bool lateAttachments, std::map<std::string, std::size_t>& departures)
      : FLateAttachments(lateAttachments), FDepartures(departures) {}

  void Node(TNode node) {
    const std::string name = Str(node->name);
    if (name == "ItemIds" || name == "FolderIds") ChangeKeys(node);
    if (name == "FieldURI" && !Attribute(node, "FieldIndex").empty()) {
      ++FDepartures["IndexedField"];
      xmlNodeSetName(node, Xml("IndexedFieldURI"));
    }
    if (name == "Mailbox") Mailbox(node);
    if (name == "RoomList") EmptyAddress(node);
    if (name == "GetUserAvailabilityRequest") MachineZone(node);
    if (name == "SizeRequested") PhotoSize(node);
    if (name == "FileAttachment" || name == "ItemAttachment") Attachment(node);
    if (Is(node->parent, "Items") || Is(node->parent, "ItemAttachment")) EmptyMembers(node);
    for (const TNode child : Children(node)) Node(child);
  }

 private:
  /// A key in an element of its own behind the id.
  void ChangeKeys(TNode ids) {
    for (const TNode key : Children(ids)) {
      if (!Is(key, "ChangeKey")) continue;
      ++FDepartures["ChangeKeyElement"];
      const std::string value = Attribute(key, "Id");
      if (!value.empty()) xmlSetProp(xmlPreviousElementSibling(key), Xml("ChangeKey"), Xml(value));
      Remove(key);
    }
  }
  /// A recipient's id in elements, and empty elements of one that is a name alone.
  void Mailbox(TNode mailbox) {
    for (const TNode member : Children(mailbox)) {
      if (Is(member, "ItemId")) {
        for (const TNode part : Children(member)) {
          ++FDepartures["RecipientId"];
          xmlSetProp(member, part->name, Xml(TextOf(part)));
          Remove(part);
        }
      } else if ((Is(member, "EmailAddress") || Is(member, "RoutingType")) && IsEmpty(member)) {
        ++FDepartures["EmptyAddress"];
        Remove(member);
      }
    }
  }
  void EmptyAddress(TNode list) {
    const TNode address = xmlFirstElementChild(list);
    if (!address || !IsEmpty(address)) return;
    ++FDepartures["EmptyAddress"];
    Remove(address);
  }
  /// The machine's zone, which is UTC in the other form.
  void MachineZone(TNode request) {
    const TNode zone = xmlFirstElementChild(request);
    const std::vector<TNode> standard = Children(Children(zone).at(1));
    if (standard.size() != 5 || TextOf(standard[2]) != "0") ++FDepartures["MachineZone"];
    Remove(zone);
  }
  void PhotoSize(TNode size) {
    std::string text = TextOf(size);
    const std::size_t cross = text.find('X');
    if (cross == std::string::npos) return;
    ++FDepartures["PhotoSize"];
    text[cross] = 'x';
    xmlNodeSetContent(size, Xml(text));
  }
  /// What old servers do not know.
  void Attachment(TNode attachment) {
    if (FLateAttachments || !Is(attachment->parent, "Attachments")) return;
    static const std::set<std::string> late = {"Size", "LastModifiedTime", "IsInline", "IsContactPhoto"};
    for (const TNode member : Children(attachment)) {
      if (!late.contains(Str(member->name))) continue;
      ++FDepartures["LateAttachmentMember"];
      Remove(member);
    }
  }
  void EmptyMembers(TNode item) {
    for (const TNode member : Children(item)) {
      if (!IsEmpty(member)) continue;
      ++FDepartures["EmptyMember"];
      Remove(member);
    }
  }

  bool FLateAttachments;
  std::map<std::string, std::size_t>& FDepartures;
};

/// Writes a tree. Ids stand as the number of their first appearance and keys as such, as they differ from run to run,
/// and so does what the server says of an item that is attached to another one.
class TWriter {
 public:
  std::string Write(TNode node) {
    const std::string name = Str(node->name);
    std::string text = "<" + std::string(node->ns ? Str(node->ns->prefix) + ":" : "") + name;
    for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
      const std::string key = Str(attribute->name);
      std::string value = Attribute(node, key);
      if (key.ends_with("ChangeKey"))
        value = "key";
      else if (value.size() > 40 && key.ends_with("Id"))
        value = Number(value);
      text += " " + key + "=[" + value + "]";
    }
    text += ">";
    const std::vector<TNode> children = Children(node);
    if (children.empty())
      return text + (name == "SyncState" || (FAttached > 0 && OfTheServer(name)) ? "..." : TextOf(node)) + "</>";
    const bool attached = name.ends_with("Attachment");
    if (attached) ++FAttached;
    std::vector<std::pair<std::string, std::string>> parts;
    for (const TNode child : children) parts.emplace_back(Str(child->name), Write(child));
    if (attached) --FAttached;
    if (!IsList(name)) std::ranges::stable_sort(parts, {}, &std::pair<std::string, std::string>::first);
    for (const auto& [key, part] : parts) text += part;
    return text + "</>";
  }

 private:
  std::string Number(const std::string& id) {
    return "#" + std::to_string(FIds.emplace(id, FIds.size()).first->second);
  }
  /// Where order is meaning.
  static bool IsList(const std::string& name) {
    static const std::set<std::string> lists = {"Updates", "AdditionalProperties", "ItemIds", "And", "Or"};
    return lists.contains(name);
  }
  static bool OfTheServer(const std::string& name) {
    static const std::set<std::string> names = {"DateTimeCreated",
                                                "DateTimeReceived",
                                                "DateTimeSent",
                                                "LastModifiedTime",
                                                "Size",
                                                "InstanceKey",
                                                "StoreEntryId",
                                                "ConversationIndex",
                                                "InternetMessageId",
                                                "MimeContent",
                                                "WebClientReadFormQueryString",
                                                "WebClientEditFormQueryString"};
    return names.contains(name);
  }

  std::map<std::string, std::size_t> FIds;
  int FAttached = 0;
};

}  // namespace

TNormalForm::TNormalForm(const std::string& version)
    : FLateAttachments(!version.starts_with("Exchange2007") && version != "Exchange2009") {}

namespace {

bool AsksForTheKey(const std::string& text) {
  return text.find("<m:GetItem>") != std::string::npos &&
         text.find("<m:ItemShape><t:BaseShape>IdOnly</></></>") != std::string::npos;
}

}  // namespace

std::vector<std::string> TNormalForm::Of(const std::vector<std::string>& envelopes) {
  std::vector<std::string> texts;
  TWriter writer;
  for (const std::string& envelope : envelopes) {
    const TDocument document = Parse(envelope);
    if (!document) {
      texts.push_back("not well-formed: " + envelope);
      continue;
    }
    const TNode root = xmlDocGetRootElement(document.get());
    TUndo(FLateAttachments, FDepartures).Node(root);
    const std::string text = writer.Write(root);
    if (text.find("<t:Updates></>") != std::string::npos) {
      ++FDepartures["EmptyUpdates"];
      continue;
    }
    // In place of an update that was left out attachments ask for the key that it would have given.
    const bool ofAttachments = text.find("<m:CreateAttachment>") != std::string::npos ||
                               text.find("<m:DeleteAttachment>") != std::string::npos;
    if (ofAttachments && !texts.empty() && AsksForTheKey(texts.back())) texts.pop_back();
    texts.push_back(text);
  }
  return texts;
}

}  // namespace velmore::testing
