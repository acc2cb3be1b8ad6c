// Answers of servers that are not at hand: each is fed to the call that it answers, and every value that the object
// model reads from it is compared with what libxml2 reads. VELMORE_EWS_RECORDED names a folder with them: envelopes as
// *.xml, or *.response.txt as the simulator's --record writes them. The answers beside the tests are always there.

#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "ews/values/uVqEWSProperties.h"
#include "platform/common/uVqNetEncoding.h"
#include "tests/wire/SessionTestSupport.h"

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;

struct TAnswer {
  std::string Name, Envelope;
};

/// The envelope of a file, without the head that a recording has.
std::string EnvelopeOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(stream)), {});
  if (file.extension() != ".txt") return text;
  while (text.starts_with("#")) text.erase(0, text.find('\n') + 1);
  const std::size_t head = std::min(std::min(text.find("\r\n\r\n"), text.find("\n\n")), text.size());
  text.erase(0, std::min(text.find_first_not_of("\r\n", head), text.size()));
  return text;
}

std::vector<TAnswer> AnswersOf(const fs::path& folder) {
  std::vector<TAnswer> answers;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_regular_file() || !(name.ends_with(".response.txt") || name.ends_with(".xml"))) continue;
    answers.push_back({fs::relative(entry.path(), folder).string(), EnvelopeOf(entry.path())});
  }
  std::ranges::sort(answers, {}, &TAnswer::Name);
  return answers;
}

// ---- What libxml2 reads

using TNode = xmlNode*;

std::string Str(xmlChar* text) {
  const std::string copy = text ? reinterpret_cast<const char*>(text) : "";
  xmlFree(text);
  return copy;
}
std::string LocalName(TNode node) {
  return node ? reinterpret_cast<const char*>(node->name) : "";
}
std::string TextOf(TNode node) {
  return node ? Str(xmlNodeGetContent(node)) : "";
}
std::string AttributeOf(TNode node, const std::string& name) {
  return node ? Str(xmlGetNoNsProp(node, reinterpret_cast<const xmlChar*>(name.c_str()))) : "";
}
std::vector<TNode> ChildrenOf(TNode node, const std::string& name = {}) {
  std::vector<TNode> children;
  for (TNode child = node ? xmlFirstElementChild(node) : nullptr; child; child = xmlNextElementSibling(child)) {
    if (name.empty() || LocalName(child) == name) children.push_back(child);
  }
  return children;
}
TNode ChildOf(TNode node, const std::string& name) {
  const auto children = ChildrenOf(node, name);
  return children.empty() ? nullptr : children.front();
}
std::vector<TNode> Below(TNode node, const std::string& name) {
  std::vector<TNode> found;
  for (const TNode child : ChildrenOf(node)) {
    if (LocalName(child) == name) found.push_back(child);
    for (const TNode deeper : Below(child, name)) found.push_back(deeper);
  }
  return found;
}

/// Days since 1899-12-30, by another calendar than the library's.
double DaysOf(const std::string& text) {
  int year = 0, month = 1, day = 1, hour = 0, minute = 0;
  double second = 0;
  char rest[16] = "";
  std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%lf%15s", &year, &month, &day, &hour, &minute, &second, rest);
  int offset = 0, offsetHours = 0, offsetMinutes = 0;
  if (std::sscanf(rest, "%d:%d", &offsetHours, &offsetMinutes) == 2)
    offset = offsetHours * 60 + (rest[0] == '-' ? -offsetMinutes : offsetMinutes);
  using namespace std::chrono;
  const auto days = sys_days(std::chrono::year(year) / month / day) - sys_days(std::chrono::year(1899) / 12 / 30);
  return static_cast<double>(days.count()) + (hour * 60 + minute - offset) / 1440.0 + second / 86400.0;
}

// ---- The calls

class RecordedAnswers : public SessionTest {
 protected:
  /// Feeds an answer to its call, if there is one that reads; gives whether there was.
  bool Feed(const TAnswer& answer) {
    SCOPED_TRACE(answer.Name);
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(answer.Envelope.data(), static_cast<int>(answer.Envelope.size()), "answer.xml", nullptr,
                      XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
        &xmlFreeDoc);
    if (!document) return false;  // libxml2 is stricter than servers are
    const TNode envelope = xmlDocGetRootElement(document.get());
    const TNode response = xmlFirstElementChild(ChildOf(envelope, "Body"));
    const auto messages = ChildrenOf(ChildOf(response, "ResponseMessages"));
    if (messages.size() != 1 || AttributeOf(messages[0], "ResponseClass") != "Success") return false;

    static constexpr struct {
      const char* Response;
      void (RecordedAnswers::*Read)(TNode message);
    } kCalls[] = {
        {"GetItemResponse", &RecordedAnswers::ReadItem},          {"FindItemResponse", &RecordedAnswers::ReadItems},
        {"GetFolderResponse", &RecordedAnswers::ReadFolder},      {"FindFolderResponse", &RecordedAnswers::ReadFolders},
        {"ResolveNamesResponse", &RecordedAnswers::ReadNames},    {"ConvertIdResponse", &RecordedAnswers::ReadIds},
        {"GetAttachmentResponse", &RecordedAnswers::ReadContent},
    };
    for (const auto& [name, read] : kCalls) {
      if (LocalName(response) != name) continue;
      LogOnTo(envelope, LocalName(response), answer.Envelope);
      (this->*read)(messages[0]);
      Session.SetActive(false);
      return true;
    }
    return false;
  }

  /// The session, at the version that the answer tells; the operation is answered with it from then on, and any other
  /// by hand.
  void LogOnTo(TNode envelope, const std::string& response, const std::string& bytes) {
    const TNode info = ChildOf(ChildOf(envelope, "Header"), "ServerVersionInfo");
    Version version;
    if (const std::string name = AttributeOf(info, "Version"); !name.empty()) version.Name = name;
    bool probed = false;
    const std::string operation = "<m:" + response.substr(0, response.size() - 8) + " ";
    Server.Always([=, this](const ScriptedServer::Request& request) mutable {
      if (!probed) {
        probed = true;
        return ProbeAnswer(version);
      }
      const bool asked = request.Body.find(operation) != std::string::npos ||
                         request.Body.find(operation.substr(0, operation.size() - 1) + ">") != std::string::npos;
      return asked ? Http("200 OK", bytes) : StoreAnswer(request, "ann@example.com");
    });
    Session.SetActive(true);
  }

  void Same(const string& read, const std::string& expected, const std::string& what) {
    ++FValues;
    EXPECT_EQ(read.utf8(), expected) << what;
  }
  void SameId(const TItemId& read, TNode id, const std::string& what) {
    Same(read.Id, AttributeOf(id, "Id"), what + "/@Id");
    Same(read.ChangeKey, AttributeOf(id, "ChangeKey"), what + "/@ChangeKey");
  }

  /// A record and all that it holds, member by member.
  void SameRecord(TVqXMLSchemaElement& record, TNode node, const std::string& path) {
    const TVqXMLSchemaClass& members = record.GetSchemaClass();
    for (std::int32_t i = 0; i < members.GetMemberCount(); ++i) {
      const TVqXMLSchemaMember& member = members.GetMember(i);
      const std::string name(member.Name.substr(member.Name.find(':') + 1));  // npos + 1 is the beginning
      const std::string what = path + "/" + name;
      const IVqDOMNode found = record.FindNode(member.Name);
      if (member.NodeType == TVqDOMNodeType::ntAttribute) {
        if (found) Same(record.GetStringValue(i), AttributeOf(node, name), what);
        continue;
      }
      const auto expected = ChildrenOf(node, name);
      EXPECT_EQ(static_cast<bool>(found), !expected.empty()) << what;
      if (!found || expected.empty()) continue;
      if (!member.Class) {
        SameMember(record, i, member.Type.Kind, TextOf(expected.front()), what);
        continue;
      }
      const TVqDOMElementList all = record.AsElement().CreateElementList(name, kSelectQuiet);
      EXPECT_EQ(static_cast<std::size_t>(all.Count()), expected.size()) << what;
      for (std::int32_t at = 0; at < all.Count() && static_cast<std::size_t>(at) < expected.size(); ++at) {
        const auto entry = member.Class->CreateRecord(all.GetItem(at));
        SameRecord(*entry, expected[static_cast<std::size_t>(at)], what);
      }
    }
    if (ChildrenOf(node).empty()) Same(record.AsElement().GetText(), TextOf(node), path);
  }
  void SameMember(TVqXMLSchemaElement& record, std::int32_t index, TVqTypeKind kind, const std::string& text,
                  const std::string& what) {
    Same(record.GetStringValue(index), text, what);
    if (text.empty()) return;
    if (kind == tkInteger) {
      EXPECT_EQ(record.GetLongValue(index), std::strtoll(text.c_str(), nullptr, 10)) << what;
    } else if (kind == tkFloat) {
      EXPECT_EQ(record.GetDoubleValue(index), std::strtod(text.c_str(), nullptr)) << what;
    } else if (kind == tkBoolean) {
      EXPECT_EQ(record.GetBooleanValue(index), text == "true" || text == "1") << what;
    } else if (kind == tkDateTime && text.size() > 18) {  // days alone and times of day have getters of their own
      EXPECT_NEAR(static_cast<double>(record.GetDatetimeValue(index)), DaysOf(text), 2e-8) << what;
    }
  }

  /// What the properties of an object read, by their paths.
  void SameProperties(TVqEWSProperties& properties, TNode node) {
    for (std::int32_t i = 0; i < properties.Count(); ++i) {
      TVqEWSProperty& property = properties.GetItem(i);
      const std::string path = property.GetPath().utf8();
      if (property.GetURIType() == fdtExtendedField || path.find('[') != std::string::npos) continue;  // in the record
      TNode at = node;
      for (std::size_t from = 0; at && from < path.size();) {
        const std::size_t to = std::min(path.find('/', from), path.size());
        at = ChildOf(at, path.substr(from, to - from));
        from = to + 1;
      }
      EXPECT_TRUE(at) << path;
      if (!at || !ChildrenOf(at).empty()) continue;
      const std::string text = TextOf(at);
      switch (property.GetTypeInfo().Kind) {
        case tkString:
        case tkEnumeration:
          Same(property.GetAsString(), text, path);
          break;
        case tkBoolean:
          EXPECT_EQ(property.GetAsBoolean(), text == "true" || text == "1") << path;
          break;
        case tkInteger:
          EXPECT_EQ(property.GetAsInteger(), std::atoi(text.c_str())) << path;
          break;
        case tkDateTime:
          EXPECT_NEAR(static_cast<double>(property.GetAsDateTime()), DaysOf(text), 2e-8) << path;
          break;
        default:
          continue;
      }
      ++FValues;
    }
  }

  TVqRef<TVqEWSMsgStore> Store() { return MakeRef<TVqEWSMsgStore>(&Session, "ann@example.com"); }

  void ReadItem(TNode message) {
    const TNode node = xmlFirstElementChild(ChildOf(message, "Items"));
    if (!node) return;
    const auto item = Store()->GetItem({"id", "key"});
    const IVqDOMElement element = item->AsElement();
    Same(element.GetLocalName(), LocalName(node), "the item");
    SameId(item->GetID(), ChildOf(node, "ItemId"), "ItemId");
    const TVqXMLSchemaClass* members = EwsFindItemClass(element.GetLocalName());
    ASSERT_TRUE(members);
    SameRecord(*members->CreateRecord(element), node, LocalName(node));
    SameProperties(item->GetProperties(), node);
  }

  void ReadItems(TNode message) {
    const auto rows = ChildrenOf(ChildOf(ChildOf(message, "RootFolder"), "Items"));
    static const struct {
      const TVqEWSFieldDef& Field;
      const char* Name;
    } kFields[] = {
        {FLD_ITEM_SUBJECT, "Subject"},
        {FLD_ITEM_ITEMCLASS, "ItemClass"},
        {FLD_ITEM_SIZE, "Size"},
        {FLD_ITEM_DATETIMERECEIVED, "DateTimeReceived"},
        {FLD_ITEM_IMPORTANCE, "Importance"},
        {FLD_ITEM_HASATTACHMENTS, "HasAttachments"},
        {FLD_ITEM_DISPLAYTO, "DisplayTo"},
        {FLD_MESSAGE_ISREAD, "IsRead"},
    };
    const auto items = Store()->GetFolder(TItemId{"inbox", "1"})->GetItems();
    for (const auto& [field, name] : kFields) items->GetFields().Add(field);
    items->Open();
    ++FValues;
    ASSERT_EQ(static_cast<std::size_t>(dynamic_cast<TVqEWSTable&>(*items).RowCount()), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (i > 0) items->Next();
      SameId(items->GetItemId(), ChildOf(rows[i], "ItemId"), "ItemId");
      for (const auto& [field, name] : kFields) {
        if (const TNode cell = ChildOf(rows[i], name))
          Same(items->FieldByName(field).GetAsString(), TextOf(cell), name);
      }
    }
  }

  void ReadFolder(TNode message) {
    const TNode node = xmlFirstElementChild(ChildOf(message, "Folders"));
    if (!node) return;
    const auto folder = MakeRef<TVqEWSFolder>(Store().get(), TItemId{"id", "key"});
    SameProperties(folder->GetProperties(), node);  // first: getters leave empty members behind
    SameId(folder->GetID(), ChildOf(node, "FolderId"), "FolderId");
    SameId(folder->GetParentFolderId(), ChildOf(node, "ParentFolderId"), "ParentFolderId");
    Same(folder->GetDisplayName(), TextOf(ChildOf(node, "DisplayName")), "DisplayName");
    Same(VqEnumToText(folder->GetFolderFieldType()), LocalName(node), "the folder");
    EXPECT_EQ(folder->GetTotalCount(), std::atoi(TextOf(ChildOf(node, "TotalCount")).c_str()));
    EXPECT_EQ(folder->GetUnreadCount(), std::atoi(TextOf(ChildOf(node, "UnreadCount")).c_str()));
    EXPECT_EQ(folder->GetChildFolderCount(), std::atoi(TextOf(ChildOf(node, "ChildFolderCount")).c_str()));
  }

  void ReadFolders(TNode message) {
    const auto rows = ChildrenOf(ChildOf(ChildOf(message, "RootFolder"), "Folders"));
    const auto folders = Store()->GetFolder(TItemId{"inbox", "1"})->GetSubFolders();
    folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
    folders->GetFields().Add(FLD_FOLDER_FOLDERID);
    folders->Open();
    ++FValues;
    ASSERT_EQ(static_cast<std::size_t>(dynamic_cast<TVqEWSTable&>(*folders).RowCount()), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (i > 0) folders->Next();
      Same(folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString(), TextOf(ChildOf(rows[i], "DisplayName")), "name");
      SameId(folders->FieldByName(FLD_FOLDER_FOLDERID).GetValue<TItemId>(), ChildOf(rows[i], "FolderId"), "FolderId");
    }
  }

  void ReadNames(TNode message) {
    const auto found = Below(ChildOf(message, "ResolutionSet"), "Resolution");
    const auto set = Session.ResolveName("a", scContacts);
    ++FValues;
    ASSERT_EQ(static_cast<std::size_t>(set->Count()), found.size());
    for (std::int32_t i = 0; i < set->Count(); ++i) {
      const TNode mailbox = ChildOf(found[static_cast<std::size_t>(i)], "Mailbox");
      SameRecord(set->GetItem(i)->GetRecipient(), mailbox, "Mailbox");
    }
  }

  void ReadIds(TNode message) {
    const TNode id = ChildOf(message, "AlternateId");
    if (!id) return;
    const auto ids = Session.ConvertId(ifEwsId, "a", "ann@example.com", ifHexEntryId);
    const IVqDOMElement read =
        ids->GetAlternateIds().AsElement().SelectSingleElement("ConvertIdResponseMessage/AlternateId", kSelectRequired);
    for (const char* name : {"Format", "Id", "Mailbox"}) Same(read.GetAttribute(name), AttributeOf(id, name), name);
  }

  void ReadContent(TNode message) {
    const auto contents = Below(message, "Content");
    if (contents.empty()) return;
    const auto store = Store();
    const TVqDOMDocument document(
        "<t:Attachments><t:FileAttachment><t:AttachmentId Id=\"a\"/></t:FileAttachment></t:Attachments>");
    TEwsNonEmptyArrayOfAttachments record(document.GetDocumentElement());
    TVqEWSAttachments attachments(MakeRef<TVqEWSObjectSession>(*store), record);
    TVqMemoryStream content;
    Supports<IVqEWSFileAttachment>(attachments.GetAttachment(0))->SaveToStream(content);
    std::string expected = TextOf(contents.front());
    std::erase_if(expected, [](char c) { return c == ' ' || c == '\r' || c == '\n' || c == '\t'; });
    Same(VqBase64Encode(content.TakeBytes()), expected, "Content");
  }

  std::size_t FValues = 0;
};

TEST_F(RecordedAnswers, BesideTheTestsAreReadAsLibxml2ReadsThem) {
  std::size_t fed = 0;
  for (const TAnswer& answer : AnswersOf(fs::path(VELMORE_SOURCE_DIR) / "tests" / "wire" / "transcripts"))
    fed += Feed(answer) ? 1 : 0;
  EXPECT_GE(fed, 8u);
  EXPECT_GE(FValues, 100u);
}

TEST_F(RecordedAnswers, OfServersAreReadAsLibxml2ReadsThem) {
  const char* folder = std::getenv("VELMORE_EWS_RECORDED");
  if (!folder || !*folder) GTEST_SKIP() << "VELMORE_EWS_RECORDED names no folder with answers of servers";
  const std::vector<TAnswer> answers = AnswersOf(folder);
  ASSERT_FALSE(answers.empty()) << "no *.xml and no *.response.txt in " << folder;
  std::size_t fed = 0;
  for (const TAnswer& answer : answers) fed += Feed(answer) ? 1 : 0;
  std::cout << "[  NOTE    ] " << answers.size() << " answers, " << fed << " of operations that read; " << FValues
            << " values compared\n";
  EXPECT_GT(FValues, 0u);
}

}  // namespace
}  // namespace velmore::testing
