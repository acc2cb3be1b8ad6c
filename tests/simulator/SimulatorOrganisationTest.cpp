// Search folders, archives, public folders, permissions, lists, settings: more than one mailbox with messages.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

using ::testing::HasSubstr;

class SimulatorOrganisation : public WriteTest {
 protected:
  std::string Subjects(Client& who, const std::string& folder_id) {
    std::string all;
    const Reply reply = who.Call(FindItemXml(folder_id, "<t:FieldURI FieldURI=\"item:Subject\"/>", 100, 0,
                                             "<m:SortOrder><t:FieldOrder Order=\"Ascending\"><t:FieldURI "
                                             "FieldURI=\"item:Subject\"/></t:FieldOrder></m:SortOrder>"));
    if (reply.Code() != "NoError") return reply.Code();
    for (const Element* subject : reply.All("Subject")) all += subject->text + " ";
    return all;
  }
  static std::string Contains(const std::string& word) {
    return "<t:Restriction><t:Contains ContainmentMode=\"Substring\" ContainmentComparison=\"IgnoreCase\"><t:FieldURI "
           "FieldURI=\"item:Subject\"/><t:Constant Value=\"" +
           word + "\"/></t:Contains></t:Restriction>";
  }
  static std::string SearchXml(const std::string& name, const std::string& parameters) {
    return "<m:CreateFolder><m:ParentFolderId>" + Distinguished("searchfolders") +
           "</m:ParentFolderId><m:Folders><t:SearchFolder><t:DisplayName>" + name + "</t:DisplayName>" + parameters +
           "</t:SearchFolder></m:Folders></m:CreateFolder>";
  }
  static std::string Parameters(const std::string& word, const std::string& bases,
                                const std::string& traversal = "Deep") {
    return "<t:SearchParameters Traversal=\"" + traversal + "\">" + Contains(word) + "<t:BaseFolderIds>" + bases +
           "</t:BaseFolderIds></t:SearchParameters>";
  }
  std::string SetField(const Element& id, const std::string& field, const std::string& xml,
                       const std::string& kind = "Folder") {
    return client
        .Call("<m:UpdateFolder><m:FolderChanges><t:FolderChange>" + Fid(id) +
              "<t:Updates><t:SetFolderField><t:FieldURI FieldURI=\"folder:" + field + "\"/><t:" + kind + ">" + xml +
              "</t:" + kind + "></t:SetFolderField></t:Updates></t:FolderChange></m:FolderChanges></m:UpdateFolder>")
        .Code();
  }
  static std::string Permissions(const std::string& who, const std::string& level) {
    return "<t:PermissionSet><t:Permissions><t:Permission><t:UserId>" + who + "</t:UserId><t:PermissionLevel>" + level +
           "</t:PermissionLevel></t:Permission></t:Permissions></t:PermissionSet>";
  }
};

TEST_F(SimulatorOrganisation, ASearchFolderShowsWhatItsParametersFindNow) {
  const Element papers = NewFolder("Papers", "inbox");
  server.AddMessage("alice@example.com", "inbox", "Subject: red one\r\n\r\n");
  server.AddMessage("alice@example.com", "inbox/Papers", "Subject: red two\r\n\r\n");
  server.AddMessage("alice@example.com", "drafts", "Subject: red elsewhere\r\n\r\n");
  const Reply made = client.Call(SearchXml("red", Parameters("red", Distinguished("inbox"))));
  ASSERT_EQ(made.Code(), "NoError") << made.body;
  const std::string search = Fid(made.Find("FolderId"));
  EXPECT_EQ(Subjects(client, search), "red one red two ");
  server.AddMessage("alice@example.com", "inbox", "Subject: a Red three\r\n\r\n");
  server.AddMessage("alice@example.com", "inbox", "Subject: blue\r\n\r\n");
  EXPECT_EQ(Subjects(client, search), "a Red three red one red two ");
  const Reply folder = client.Call(GetFolderXml(search));
  EXPECT_EQ(folder.Find("TotalCount").text, "3");
  EXPECT_EQ(folder.Find("UnreadCount").text, "3") << "that of what it finds";
  EXPECT_EQ(folder.Find("SearchParameters").AttributeText("Traversal"), "Deep");
  EXPECT_TRUE(folder.Find("BaseFolderIds").Child("FolderId") != nullptr) << "by id";

  EXPECT_EQ(SetField(made.Find("FolderId"), "SearchParameters", Parameters("blue", Distinguished("inbox"), "Shallow"),
                     "SearchFolder"),
            "NoError");
  EXPECT_EQ(Subjects(client, search), "blue ");
  EXPECT_EQ(SetField(made.Find("FolderId"), "SearchParameters", Parameters("red", Distinguished("inbox"), "Shallow"),
                     "SearchFolder"),
            "NoError");
  EXPECT_EQ(Subjects(client, search), "a Red three red one ") << "not what is below";
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("x", "b@example.com"), "SaveOnly", search)).Code(),
            "ErrorInvalidFolderTypeForOperation");
  client.Call("<m:DeleteFolder DeleteType=\"HardDelete\"><m:FolderIds>" + Fid(papers) +
              "</m:FolderIds></m:DeleteFolder>");
  EXPECT_EQ(Subjects(client, search), "a Red three red one ");
}

TEST_F(SimulatorOrganisation, ASearchThatCannotBeMakesNoFolder) {
  for (const auto& [parameters, code] :
       {std::pair<std::string, const char*>{Parameters("x", "<t:FolderId Id=\"nonsense\"/>"),
                                            "ErrorInvalidIdMalformed"},
        {"<t:SearchParameters><t:Restriction><t:IsEqualTo><t:FieldURI "
         "FieldURI=\"item:Size\"/><t:FieldURIOrConstant><t:Constant "
         "Value=\"big\"/></t:FieldURIOrConstant></t:IsEqualTo></t:Restriction><t:BaseFolderIds>" +
             Distinguished("inbox") + "</t:BaseFolderIds></t:SearchParameters>",
         "ErrorInvalidValueForProperty"}}) {
    EXPECT_EQ(client.Call(SearchXml("bad", parameters)).Code(), code);
    EXPECT_EQ(client.Call(SearchXml("bad", Parameters("x", Distinguished("inbox")))).Code(), "NoError")
        << "the name is free";
    const Reply found = client.Call(
        "<m:FindFolder "
        "Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape><m:ParentFolderIds>" +
        Distinguished("searchfolders") + "</m:ParentFolderIds></m:FindFolder>");
    client.Call("<m:DeleteFolder DeleteType=\"HardDelete\"><m:FolderIds>" + Fid(found.Find("FolderId")) +
                "</m:FolderIds></m:DeleteFolder>");
  }
}

TEST_F(SimulatorOrganisation, ASearchOutlivesARestart) {
  const Folder folder;
  Options options = TestOptions();
  options.state_file = folder.Path() + "/state";
  std::string id;
  {
    Started first(options);
    client.url = first.HttpUrl();
    first.AddMessage("alice@example.com", "inbox", "Subject: red\r\n\r\n");
    id = Fid(client.Call(SearchXml("red", Parameters("red", Distinguished("inbox")))).Find("FolderId"));
  }
  Started second(options);
  client.url = second.HttpUrl();
  EXPECT_EQ(Subjects(client, id), "red ");
  second.AddMessage("alice@example.com", "inbox", "Subject: red too\r\n\r\n");
  EXPECT_EQ(Subjects(client, id), "red red too ");
}

TEST_F(SimulatorOrganisation, PermissionsAreSetAndEnforced) {
  Client bob(server, "bob", "builder");
  Client carol(server, "carol", "cembalo");
  const Element id = NewFolder("Shared");
  server.AddMessage("alice@example.com", "Shared", "Subject: s\r\n\r\n");
  const std::string item = client.Call(FindItemXml(Fid(id))).Find("ItemId").AttributeText("Id");
  const std::string bob_id = "<t:PrimarySmtpAddress>bob@example.com</t:PrimarySmtpAddress>";
  const auto create = [&](Client& who) {
    return who.Call(CreateItemXml(MessageXml("made", "b@example.com"), "SaveOnly", Fid(id))).Code();
  };
  const auto edit = [&](Client& who) {
    return who
        .Call(
            "<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" "
            "MessageDisposition=\"SaveOnly\"><m:ItemChanges><t:ItemChange><t:ItemId Id=\"" +
            item + "\"/><t:Updates>" + SetSubject("s") + "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>")
        .Code();
  };
  EXPECT_EQ(Subjects(bob, Fid(id)), "ErrorAccessDenied");
  struct Case {
    const char* level;
    const char* read;
    const char* create;
    const char* edit;
  };
  const Case kCases[] = {{"None", "ErrorAccessDenied", "ErrorAccessDenied", "ErrorItemNotFound"},
                         {"Reviewer", "s ", "ErrorAccessDenied", "ErrorAccessDenied"},
                         {"Author", "s ", "NoError", "ErrorAccessDenied"},
                         {"Editor", "made s ", "NoError", "NoError"}};
  for (const Case& each : kCases) {
    EXPECT_EQ(SetField(id, "PermissionSet", Permissions(bob_id, each.level)), "NoError") << each.level;
    EXPECT_EQ(Subjects(bob, Fid(id)), each.read) << each.level;
    EXPECT_EQ(create(bob), each.create) << each.level;
    EXPECT_EQ(edit(bob), each.edit) << each.level;
    EXPECT_EQ(Subjects(carol, Fid(id)), "ErrorAccessDenied");
  }
  EXPECT_EQ(
      SetField(id, "PermissionSet", Permissions("<t:DistinguishedUser>Default</t:DistinguishedUser>", "Reviewer")),
      "NoError");
  EXPECT_EQ(edit(carol), "ErrorAccessDenied") << "sees it";
  EXPECT_EQ(edit(bob), "ErrorAccessDenied") << "is no longer named";
  const Reply read = client.Call(
      "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
      "FieldURI=\"folder:PermissionSet\"/></t:AdditionalProperties></m:FolderShape><m:FolderIds>" +
      Fid(id) + "</m:FolderIds></m:GetFolder>");
  EXPECT_EQ(read.Find("PermissionLevel").text, "Reviewer");
  EXPECT_EQ(SetField(id, "PermissionSet",
                     Permissions("<t:PrimarySmtpAddress>nobody@example.com</t:PrimarySmtpAddress>", "Editor")),
            "ErrorInvalidUserInfo");
}

TEST_F(SimulatorOrganisation, ArchivesAndPublicFoldersAreFilled) {
  Options options = TestOptions();
  options.users[0].archive = true;
  options.users[1].grants = {{"public", "", Access::kOwner}};
  Started other(options);
  client.url = other.HttpUrl();
  other.AddMessage("alice@example.com/archive", "Old", "Subject: archived\r\n\r\n");
  other.AddMessage("public", "News", "Subject: for all\r\n\r\n");
  const Reply top = client.Call(GetFolderXml(Distinguished("archivemsgfolderroot")));
  EXPECT_EQ(top.Code(), "NoError");
  EXPECT_EQ(top.Find("DistinguishedFolderId").text, "archivemsgfolderroot");
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("archivedeleteditems"))).Code(), "NoError");
  const auto below = [&](Client& who, const char* name) {
    return who.Call(
        "<m:FindFolder "
        "Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape><m:ParentFolderIds>" +
        Distinguished(name) + "</m:ParentFolderIds></m:FindFolder>");
  };
  const Reply archived = below(client, "archivemsgfolderroot");
  const auto named = [](const Reply& reply, const char* name) {
    for (const Element* folder : reply.All("Folder"))
      if (folder->ChildText("DisplayName") == name) return *folder->Child("FolderId");
    return Element();
  };
  EXPECT_EQ(Subjects(client, Fid(named(archived, "Old"))), "archived ");
  Client bob(other, "bob", "builder");
  EXPECT_EQ(bob.Call(GetFolderXml(Distinguished("archiveroot"))).Code(), "ErrorFolderNotFound") << "has none";
  EXPECT_EQ(bob.Call(GetFolderXml(Fid(named(archived, "Old")))).Code(), "ErrorAccessDenied");
  const Element news = named(below(bob, "publicfoldersroot"), "News");
  EXPECT_EQ(Subjects(bob, Fid(news)), "for all ");
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("mine", "b@example.com"), "SaveOnly", Fid(news))).Code(), "NoError");
  EXPECT_EQ(client.Call(CreateFolderXml("Mine", Distinguished("publicfoldersroot"))).Code(), "ErrorAccessDenied");
  EXPECT_EQ(bob.Call(CreateFolderXml("His", Distinguished("publicfoldersroot"))).Code(), "NoError");

  const Element item = Make(MessageXml("to keep", "b@example.com"), "inbox");
  const Reply moved = client.Call("<m:ArchiveItem><m:ArchiveSourceFolderId>" + Distinguished("inbox") +
                                  "</m:ArchiveSourceFolderId><m:ItemIds>" + Ids(item) + "</m:ItemIds></m:ArchiveItem>");
  EXPECT_EQ(moved.Code(), "NoError");
  EXPECT_EQ(Subjects(client, Fid(named(below(client, "archivemsgfolderroot"), "Inbox"))), "to keep ");
  EXPECT_EQ(other.CountItems("alice@example.com", "inbox"), 0u);
  EXPECT_EQ(bob.Call("<m:ArchiveItem><m:ArchiveSourceFolderId>" + Distinguished("inbox") +
                     "</m:ArchiveSourceFolderId><m:ItemIds>" + Ids(item) + "</m:ItemIds></m:ArchiveItem>")
                .Code(),
            "ErrorItemNotFound");
}

TEST_F(SimulatorOrganisation, ListsAreExpandedAndDeliver) {
  Options options = TestOptions();
  options.lists = {{"keepers@example.com", "The Keepers", {"bob@example.com", "inner@example.com"}},
                   {"inner@example.com", "Inner", {"carol@example.com", "keepers@example.com"}}};
  Started other(options);
  client.url = other.HttpUrl();
  const Reply expanded = client.Call(
      "<m:ExpandDL><m:Mailbox><t:EmailAddress>keepers@example.com</t:EmailAddress></m:Mailbox></m:ExpandDL>");
  ASSERT_EQ(expanded.Code(), "NoError") << expanded.body;
  EXPECT_EQ(expanded.Find("DLExpansion").AttributeText("TotalItemsInView"), "2");
  EXPECT_EQ(expanded.All("Name")[0]->text, "Bob Birch");
  EXPECT_EQ(
      client.Call("<m:ExpandDL><m:Mailbox><t:EmailAddress>none@example.com</t:EmailAddress></m:Mailbox></m:ExpandDL>")
          .Code(),
      "ErrorNameResolutionNoResults");
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("s", "keepers@example.com"), "SendOnly")).Code(), "NoError");
  EXPECT_EQ(other.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(other.CountItems("carol@example.com", "inbox"), 1u) << "lists in lists, and no end of them";
  EXPECT_EQ(client
                .Call("<m:ResolveNames "
                      "ReturnFullContactData=\"false\"><m:UnresolvedEntry>Keepers</m:UnresolvedEntry></m:ResolveNames>")
                .Find("MailboxType")
                .text,
            "PublicDL");
  const Element list = Make(
      "<t:DistributionList><t:DisplayName>Mine</t:DisplayName><t:Members><t:Member><t:Mailbox><t:Name>X</"
      "t:Name><t:EmailAddress>x@example.org</t:EmailAddress></t:Mailbox></t:Member></t:Members></t:DistributionList>",
      "contacts");
  EXPECT_EQ(
      client.Call("<m:ExpandDL><m:Mailbox><t:ItemId Id=\"" + list.AttributeText("Id") + "\"/></m:Mailbox></m:ExpandDL>")
          .Find("EmailAddress")
          .text,
      "x@example.org");
}

TEST_F(SimulatorOrganisation, DelegatesAreThoseWithRights) {
  Options options = TestOptions();
  options.users[1].grants = {{"alice@example.com", "calendar", Access::kEditor}};
  Started other(options);
  client.url = other.HttpUrl();
  const auto get = [&](const char* whose) {
    return client.Call("<m:GetDelegate IncludePermissions=\"true\"><m:Mailbox><t:EmailAddress>" + std::string(whose) +
                       "</t:EmailAddress></m:Mailbox></m:GetDelegate>");
  };
  const Reply reply = get("alice@example.com");
  EXPECT_EQ(reply.Find("GetDelegateResponse").AttributeText("ResponseClass"), "Success") << reply.body;
  EXPECT_EQ(reply.Count("DelegateUser"), 1u);
  EXPECT_EQ(reply.Find("PrimarySmtpAddress").text, "bob@example.com");
  EXPECT_EQ(reply.Find("CalendarFolderPermissionLevel").text, "Editor");
  EXPECT_EQ(reply.Find("InboxFolderPermissionLevel").text, "None");
  EXPECT_EQ(get("bob@example.com").Code(), "ErrorAccessDenied");
}

TEST_F(SimulatorOrganisation, UserConfigurationsAreKept) {
  const auto named = [](const std::string& element, const std::string& which) {
    return "<" + element + " Name=\"" + which + "\">" + Distinguished("inbox") + "</" + element + ">";
  };
  const auto entry = [](const std::string& value) {
    return "<t:Dictionary><t:DictionaryEntry><t:DictionaryKey><t:Type>String</t:Type><t:Value>colour</t:Value></"
           "t:DictionaryKey><t:DictionaryValue><t:Type>String</t:Type><t:Value>" +
           value + "</t:Value></t:DictionaryValue></t:DictionaryEntry></t:Dictionary>";
  };
  const auto write = [&](const std::string& operation, const std::string& parts) {
    return client
        .Call("<m:" + operation + "UserConfiguration><m:UserConfiguration>" + named("t:UserConfigurationName", "S") +
              parts + "</m:UserConfiguration></m:" + operation + "UserConfiguration>")
        .Code();
  };
  const auto get = [&](const std::string& what) {
    return client.Call("<m:GetUserConfiguration>" + named("m:UserConfigurationName", "S") +
                       "<m:UserConfigurationProperties>" + what +
                       "</m:UserConfigurationProperties></m:GetUserConfiguration>");
  };
  EXPECT_EQ(get("All").Code(), "ErrorItemNotFound");
  EXPECT_EQ(write("Update", entry("red")), "ErrorItemNotFound");
  EXPECT_EQ(write("Create", entry("red") + "<t:XmlData>PHgvPg==</t:XmlData>"), "NoError");
  EXPECT_EQ(write("Create", entry("red")), "ErrorItemSave");
  Reply reply = get("All");
  EXPECT_EQ(reply.Find("DictionaryValue").ChildText("Value"), "red");
  EXPECT_EQ(reply.Find("XmlData").text, "PHgvPg==");
  EXPECT_FALSE(reply.Has("BinaryData"));
  EXPECT_EQ(reply.Find("UserConfigurationName").AttributeText("Name"), "S");
  EXPECT_TRUE(reply.Has("ItemId"));
  EXPECT_EQ(write("Update", entry("blue") + "<t:BinaryData>AAE=</t:BinaryData>"), "NoError");
  reply = get("Dictionary BinaryData");
  EXPECT_EQ(reply.Find("DictionaryValue").ChildText("Value"), "blue");
  EXPECT_EQ(reply.Find("BinaryData").text, "AAE=");
  EXPECT_FALSE(reply.Has("XmlData"));
  EXPECT_EQ(get("XmlData").Find("XmlData").text, "PHgvPg==") << "what an update does not name stays";
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 1u);
  EXPECT_EQ(client.Call(FindItemXml("inbox")).Count("ItemId"), 0u) << "associated, so no message of the folder";
  EXPECT_EQ(
      client
          .Call("<m:DeleteUserConfiguration>" + named("m:UserConfigurationName", "S") + "</m:DeleteUserConfiguration>")
          .Code(),
      "NoError");
  EXPECT_EQ(get("All").Code(), "ErrorItemNotFound");
}

TEST_F(SimulatorOrganisation, ItemsGoOutAndComeBackWhole) {
  const Element id = Make(
      "<t:Message><t:Subject>s</t:Subject><t:Body "
      "BodyType=\"HTML\">&lt;p&gt;x</t:Body><t:Attachments><t:FileAttachment><t:Name>a</t:Name><t:Content>QUJD</"
      "t:Content></t:FileAttachment></t:Attachments></t:Message>");
  const Reply exported =
      client.Call("<m:ExportItems><m:ItemIds>" + Ids(id) + "<t:ItemId Id=\"x\"/></m:ItemIds></m:ExportItems>");
  ASSERT_EQ(exported.Count("ExportItemsResponseMessage"), 2u);
  EXPECT_EQ(exported.Find("ItemId").AttributeText("Id"), id.AttributeText("Id"));
  const std::string data = exported.Find("Data").text;
  const auto upload = [&](const std::string& action, const std::string& item, const std::string& bytes) {
    return client.Call("<m:UploadItems><m:Items><t:Item CreateAction=\"" + action + "\">" + "<t:ParentFolderId Id=\"" +
                       FolderId("inbox").AttributeText("Id") + "\"/>" + item + "<t:Data>" + bytes +
                       "</t:Data></t:Item></m:Items></m:UploadItems>");
  };
  const Reply made = upload("CreateNew", "", data);
  ASSERT_EQ(made.Code(), "NoError") << made.body;
  EXPECT_NE(made.Find("ItemId").AttributeText("Id"), id.AttributeText("Id"));
  const Element copy = Item(made.Find("ItemId"));
  EXPECT_EQ(copy.ChildText("Subject"), "s");
  EXPECT_EQ(copy.Child("Attachments")->children.size(), 1u);
  Update(id, SetSubject("changed"));
  EXPECT_EQ(upload("Update", Ids(id), data).Code(), "NoError");
  EXPECT_EQ(Item(id).ChildText("Subject"), "s");
  EXPECT_EQ(upload("Update", "", data).Code(), "ErrorInvalidIdEmpty");
  client.Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds>" + Ids(id) + "</m:ItemIds></m:DeleteItem>");
  EXPECT_EQ(upload("Update", Ids(id), data).Code(), "ErrorItemNotFound");
  EXPECT_EQ(upload("UpdateOrCreate", Ids(id), data).Code(), "NoError");
  EXPECT_EQ(upload("CreateNew", "", "QUJD").Code(), "ErrorCorruptData");
}

// One file for all of it

const char* const kSettings = R"({
  "note": "an organisation",
  "version": "Exchange2013",
  "domains": ["example.org"],
  "users": [
    {"name": "ada", "smtp": "ada@example.com", "password": "a", "archive": true, "quota": 20000, "fill": {"inbox": 20, "tasks": 3, "Projects/One": 2}},
    {"name": "ben", "smtp": "ben@example.com", "password": "b", "access": [{"mailbox": "ada@example.com", "folder": "inbox", "rights": "editor"}]}
  ],
  "rooms": [{"smtp": "tower@example.com", "displayName": "The Tower"}],
  "lists": [{"smtp": "all@example.com", "displayName": "All", "members": ["ada@example.com", "ben@example.com"]}],
  "directory": [{"smtp": "dora@example.net", "displayName": "Dora"}],
  "fill": [{"mailbox": "public", "folder": "News", "count": 5}, {"mailbox": "ada@example.com/archive", "folder": "Old", "count": 1}],
  "fillSeed": 7
})";

TEST_F(SimulatorOrganisation, OneFileTellsAllOfIt) {
  const Folder folder;
  Options options;
  options.settings_file = folder.Write("settings.json", kSettings);
  Started other(options);
  Client ada(other, "ada", "a");
  Client ben(other, "ben", "b");
  ada.version = ben.version = "Exchange2013";
  EXPECT_EQ(ada.Call(GetFolderXml(Distinguished("inbox"))).Find("ServerVersionInfo").AttributeText("Version"),
            "Exchange2013");
  EXPECT_EQ(other.CountItems("ada@example.com", "inbox"), 20u);
  EXPECT_EQ(other.CountItems("ada@example.com", "tasks"), 3u);
  EXPECT_EQ(other.CountItems("ada@example.com", "Projects/One"), 2u);
  EXPECT_EQ(other.CountItems("public", "News"), 5u);
  EXPECT_EQ(other.CountItems("ada@example.com/archive", "Old"), 1u);
  EXPECT_EQ(ben.Call(FindItemXml("<t:DistinguishedFolderId "
                                 "Id=\"inbox\"><t:Mailbox><t:EmailAddress>ada@example.com</t:EmailAddress></"
                                 "t:Mailbox></t:DistinguishedFolderId>"))
                .Count("ItemId"),
            20u);
  EXPECT_EQ(ada.Call("<m:ResolveNames "
                     "ReturnFullContactData=\"false\"><m:UnresolvedEntry>Tower</m:UnresolvedEntry></m:ResolveNames>")
                .Find("EmailAddress")
                .text,
            "tower@example.com");
  EXPECT_EQ(ada.Call(CreateItemXml("<t:Message><t:Body BodyType=\"Text\">" + std::string(30000, 'x') +
                                   "</t:Body></t:Message>"))
                .Code(),
            "ErrorQuotaExceeded");
  ben.Call(CreateItemXml(MessageXml("s", "nobody@example.org"), "SendOnly"));
  EXPECT_EQ(other.CountItems("ben@example.com", "inbox"), 1u) << "a bounce, as the domain is ours";
  ben.Call(CreateItemXml(MessageXml("s", "all@example.com"), "SendOnly"));
  EXPECT_EQ(other.CountItems("ben@example.com", "inbox"), 2u);
}

TEST_F(SimulatorOrganisation, MadeUpItemsAreTheSameForTheSameNumber) {
  const auto subjects = [&](std::uint64_t seed) {
    Options options = TestOptions();
    options.fills = {
        {"alice@example.com", "inbox", 30}, {"alice@example.com", "calendar", 2}, {"alice@example.com", "contacts", 2}};
    options.fill_seed = seed;
    Started other(options);
    client.url = other.HttpUrl();
    return Subjects(client, Distinguished("inbox")) + Subjects(client, Distinguished("calendar")) +
           Subjects(client, Distinguished("contacts"));
  };
  const std::string once = subjects(1);
  EXPECT_EQ(subjects(1), once);
  EXPECT_NE(subjects(2), once);
  EXPECT_EQ(std::count(once.begin(), once.end(), ' '), 34 * 3);
}

TEST_F(SimulatorOrganisation, AHundredThousandItemsTakeSeconds) {
  Options options = TestOptions();
  options.fills = {{"alice@example.com", "inbox", 100000}};
  const std::clock_t begin = std::clock();  // of the processor, as the machine may do other things, too
  Started other(options);
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  EXPECT_EQ(other.CountItems("alice@example.com", "inbox"), 100000u);
  EXPECT_LT(seconds, 30) << "without optimization";
}

TEST_F(SimulatorOrganisation, MistakesInASettingsFileAreTold) {
  const Folder folder;
  for (const auto& [text, what] :
       {std::pair{"{\"user\": []}", ":1: user is unknown here; known are note, version"},
        {"{\"users\": [\n{\"name\": \"a\", \"smtp\": \"a@x\",\n\"pasword\": \"p\"}]}",
         ":3: users[0].pasword is unknown here; known are name, smtp"},
        {"{\"users\": [\n{\"name\": \"a\"}]}", ":2: users[0] needs \"smtp\"."},
        {"{\"users\": [{\"name\": \"a\",\n\"smtp\": \"nonsense\"}]}",
         ":2: users[0].smtp must be an SMTP address such as \"ada@example.com\"."},
        {"{\"users\": [{\"name\": \"a\", \"smtp\": \"a@x\"},\n{\"name\": \"b\", \"smtp\": \"A@x\"}]}",
         ":2: users[1].smtp is the address of another mailbox, too: A@x."},
        {"{\"users\": [{\"name\": 7, \"smtp\": \"a@x\"}]}", ":1: users[0].name must be a text in quotes."},
        {"{\"users\": [{\"name\": \"a\", \"smtp\": \"a@x\", \"quota\": -1}]}",
         ":1: users[0].quota must be a whole number."},
        {"{\"users\": [{\"name\": \"a\", \"smtp\": \"a@x\", \"archive\": \"yes\"}]}",
         ":1: users[0].archive must be true or false."},
        {"{\"users\": [{\"name\": \"a\", \"smtp\": \"a@x\", \"access\": [{\"mailbox\": \"b@x\",\n\"rights\": "
         "\"all\"}]}]}",
         ":2: users[0].access[0].rights knows no right \"all\"; known are reviewer, author, editor and owner."},
        {"{\"users\": {}}", ":1: users must be a list in brackets."},
        {"{\"rooms\": [1]}", ":1: rooms[0] must be an object in braces."},
        {"{\"version\":\n\"Exchange1\"}", ":2: version knows no server version \"Exchange1\"."},
        {"{\"note\": \"\",\n\"note\": \"\"}", ":1: note stands twice."},
        {"{\"redirects\": [{\"from\": \"a@x\"}]}", ":1: redirects[0] needs one of location, toAddress and toUrl."},
        {"{\"fill\": [{\"mailbox\": \"nobody@x\", \"count\": 1}]}", "nobody@x"},
        {"[]", ":1: the file must be an object in braces."},
        {"{\n{", ":2: the file is no valid JSON: "}}) {
    Options options;
    options.settings_file = folder.Write("settings.json", text);
    try {
      Simulator wrong(options);
      FAIL() << text;
    } catch (const SimulatorError& error) {
      EXPECT_THAT(error.what(), HasSubstr(what)) << text;
    }
  }
}

TEST_F(SimulatorOrganisation, SettingsTellHowToLogOnAndWhereTo) {
  const Folder folder;
  folder.Write("ntlm.users", "CONTOSO:a:p\n");
  Options options;
  options.settings_file = folder.Write(
      "settings.json", R"({"users": [{"name": "a", "smtp": "a@x.example", "password": "p", "site": "North"}],
    "authentication": ["Bearer", "Basic"], "ntlmUsers": "nowhere.users"})");
  EXPECT_THROW(Simulator{options}, OptionError) << "named from where the settings are, and not there";
  options.settings_file = folder.Write(
      "settings.json", R"({"users": [{"name": "a", "smtp": "a@x.example", "password": "p", "site": "North"}],
    "authentication": ["Bearer", "Basic"], "externalUrl": "https://mail.x.example/ews",
    "redirects": [{"from": "@y.example", "toAddress": "a@x.example"}]})");
  options.https = false;
  Started server(options);
  Client client(server, "a", "p");
  const auto ask = [&](const std::string& address) {
    client.url = server.HttpUrl().substr(0, server.HttpUrl().find("/EWS")) + "/autodiscover/autodiscover.xml";
    return client.Post("<Autodiscover><Request><EMailAddress>" + address +
                       "</EMailAddress><AcceptableResponseSchema>http://schemas.microsoft.com/exchange/autodiscover/"
                       "outlook/responseschema/2006a</AcceptableResponseSchema></Request></Autodiscover>");
  };
  EXPECT_EQ(ask("a@x.example").Find("EwsUrl").text, "https://mail.x.example/ews");
  EXPECT_EQ(ask("a@x.example").Find("GroupingInformation").text, "North");
  EXPECT_EQ(ask("b@y.example").Find("RedirectAddr").text, "a@x.example");
  EXPECT_EQ(client.Post("<Autodiscover/>").Find("ErrorCode").text, "600");
  EXPECT_EQ(client.Post("no XML").Find("Message").text, "Invalid Request");
  EXPECT_EQ(client.Post("<Autodiscover><Request><EMailAddress>a@x.example</EMailAddress></Request></Autodiscover>")
                .Find("Message")
                .text,
            "Provider is not available.");
  EXPECT_EQ(client.Get("/autodiscover/autodiscover.json?Email=a%40x.example&Protocol=EWS").body,
            "{\"Protocol\":\"Ews\",\"Url\":\"https://mail.x.example/ews\"}");
  EXPECT_EQ(client.Get("/autodiscover/autodiscover.json/v1.0/a@x.example").status, 400);
  EXPECT_EQ(client.Get("/autodiscover/autodiscover.json/v1.0/nobody@x.example?Protocol=Ews").status, 404);
}

// Who asks in JSON is sent to the same service elsewhere, whatever the rule tells who asks in XML.
TEST_F(SimulatorOrganisation, TheServiceInJsonIsRedirectedByTheSameRules) {
  using Kind = AutodiscoverRedirect::Kind;
  Options options = TestOptions();
  options.autodiscover_redirects = {
      {Kind::kAddress, "old@example.com", "alice@example.com"},
      {Kind::kUrl, "@other.example", "https://mail.other.example:4433/autodiscover/autodiscover.xml"},
      {Kind::kLocation, "moved.example", "https://new.example/autodiscover/autodiscover.xml"}};
  Started server(options);
  Client client(server, "alice", "wonder");
  const std::string path = "/autodiscover/autodiscover.json";
  const auto location = [&](const std::string& question) {
    Reply reply = client.Get(path + question);
    return std::to_string(reply.status) + " " + reply.headers["location"];
  };
  const std::string here = client.url.substr(0, client.url.find('/', 8));
  EXPECT_EQ(location("/v1.0/OLD@example.com?Protocol=Ews"),
            "302 " + here + path + "/v1.0/alice@example.com?Protocol=Ews&RedirectCount=1");
  EXPECT_EQ(
      location("?Email=bob@other.example&Protocol=AutodiscoverV1&RedirectCount=4"),
      "302 https://mail.other.example:4433" + path + "/v1.0/bob@other.example?Protocol=AutodiscoverV1&RedirectCount=5");
  EXPECT_EQ(location("/v1.0/alice@example.com?Protocol=Ews"), "200 ");
  EXPECT_EQ(location("/v1.0/bob@other.example?Protocol=Telegraph"), "400 ") << "refused where it is asked";
}

}  // namespace
}  // namespace velmore::simulator::testing
