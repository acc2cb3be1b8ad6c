#include <gtest/gtest.h>

#include <algorithm>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorRead : public ::testing::Test {
 protected:
  /// Puts `count` messages into the inbox, a minute apart, the last one the newest.
  void Fill(int count) {
    for (int i = 0; i < count; ++i)
      server.AddMessage("alice@example.com", "inbox",
                        "From: Bob <bob@example.com>\r\nTo: alice@example.com\r\nSubject: Number " + std::to_string(i) +
                            "\r\nReceived: by a; Mon, 02 Feb 2026 10:" + (i < 10 ? "0" : "") + std::to_string(i) +
                            ":00 +0000\r\n\r\nBody " + std::to_string(i));
  }
  std::string IdOfFirst() { return client.Call(FindItemXml("inbox")).Find("ItemId").AttributeText("Id"); }
  Element Item(const std::string& id, const std::string& shape = "<t:BaseShape>AllProperties</t:BaseShape>") {
    const Reply reply = client.Call(GetItemXml(id, shape));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    const Element items = reply.Find("Items");
    return items.children.empty() ? Element() : items.children.front();
  }

  Started server;
  Client client{server};
};

const std::string kSubject = "<t:FieldURI FieldURI=\"item:Subject\"/>";

// Folders

TEST_F(SimulatorRead, DistinguishedFolderByNameAndByIdIsTheSame) {
  const Element folder = client.Call(GetFolderXml(Distinguished("inbox"))).Find("Folder");
  EXPECT_EQ(folder.ChildText("DisplayName"), "Inbox");
  EXPECT_EQ(folder.ChildText("FolderClass"), "IPF.Note");
  EXPECT_EQ(folder.ChildText("TotalCount"), "0");
  const std::string& id = folder.Child("FolderId")->AttributeText("Id");
  const Element again = client.Call(GetFolderXml("<t:FolderId Id=\"" + id + "\"/>")).Find("Folder");
  EXPECT_EQ(again.Child("FolderId")->AttributeText("ChangeKey"), folder.Child("FolderId")->AttributeText("ChangeKey"));
}

TEST_F(SimulatorRead, FoldersOfEachKindHaveTheirElement) {
  const std::pair<const char*, const char*> kinds[] = {{"calendar", "CalendarFolder"},
                                                       {"contacts", "ContactsFolder"},
                                                       {"tasks", "TasksFolder"},
                                                       {"todosearch", "SearchFolder"},
                                                       {"drafts", "Folder"}};
  for (const auto& [name, element] : kinds)
    EXPECT_TRUE(client.Call(GetFolderXml(Distinguished(name))).Has(element)) << name;
}

TEST_F(SimulatorRead, IdOnlyShapeOfAFolderHasTheIdAlone) {
  const Element folder = client.Call(GetFolderXml(Distinguished("inbox"), "IdOnly")).Find("Folder");
  ASSERT_EQ(folder.children.size(), 1u);
  EXPECT_EQ(folder.children[0].name, "FolderId");
}

TEST_F(SimulatorRead, ChildFoldersAreFoundShallowAndDeep) {
  server.AddMessage("alice@example.com", "Projects/2026", "Subject: x\r\n\r\n");
  const auto find = [&](const std::string& traversal) {
    const Reply reply = client.Call("<m:FindFolder Traversal=\"" + traversal +
                                    "\"><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></m:FolderShape>"
                                    "<m:ParentFolderIds>" +
                                    Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>");
    std::vector<std::string> names;
    for (const Element* name : reply.All("DisplayName")) names.push_back(name->text);
    return names;
  };
  const auto shallow = find("Shallow");
  EXPECT_NE(std::find(shallow.begin(), shallow.end(), "Projects"), shallow.end());
  EXPECT_EQ(std::find(shallow.begin(), shallow.end(), "2026"), shallow.end());
  const auto deep = find("Deep");
  EXPECT_NE(std::find(deep.begin(), deep.end(), "2026"), deep.end());
}

TEST_F(SimulatorRead, FoldersThatAreMissingOrUnknownHaveTheirCodes) {
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("archiveinbox"))).Code(), "ErrorFolderNotFound");
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("nonsense"))).Code(), "ErrorSchemaValidation");
  EXPECT_EQ(client.Call(GetFolderXml("<t:FolderId Id=\"\"/>")).Code(), "ErrorInvalidIdEmpty");
  EXPECT_EQ(client.Call(GetFolderXml("<t:FolderId Id=\"nonsense\"/>")).Code(), "ErrorInvalidIdMalformed");
  server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  const Reply reply = client.Call(GetFolderXml("<t:FolderId Id=\"" + IdOfFirst() + "\"/>"));
  EXPECT_EQ(reply.Code(), "ErrorCannotUseItemIdForFolderId");
  EXPECT_EQ(reply.Find("GetFolderResponseMessage").AttributeText("ResponseClass"), "Error");
}

TEST_F(SimulatorRead, OneBadIdDoesNotSpoilTheOthers) {
  const Reply reply =
      client.Call(GetFolderXml(Distinguished("inbox") + "<t:FolderId Id=\"nonsense\"/>" + Distinguished("drafts")));
  const auto codes = reply.All("ResponseCode");
  ASSERT_EQ(codes.size(), 3u);
  EXPECT_EQ(codes[0]->text, "NoError");
  EXPECT_EQ(codes[1]->text, "ErrorInvalidIdMalformed");
  EXPECT_EQ(codes[2]->text, "NoError");
}

// Other mailboxes

TEST_F(SimulatorRead, OtherMailboxesOpenAsFarAsRightsGo) {
  const std::string inbox =
      "<t:DistinguishedFolderId "
      "Id=\"inbox\"><t:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></t:Mailbox></"
      "t:DistinguishedFolderId>";
  server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  EXPECT_EQ(Client(server, "bob", "builder").Call(GetFolderXml(inbox)).Code(), "ErrorAccessDenied");
  server.AddUser(
      {"dave", "dave@example.com", "Dave Dogwood", "delta", {{"alice@example.com", "inbox", Access::kReviewer}}});
  Client dave(server, "dave", "delta");
  const Reply reply = dave.Call(GetFolderXml(inbox));
  EXPECT_EQ(reply.Code(), "NoError");
  EXPECT_EQ(reply.Find("Read").text, "true");
  EXPECT_EQ(reply.Find("Modify").text, "false");
  EXPECT_EQ(dave.Call(FindItemXml(inbox)).Find("RootFolder").AttributeText("TotalItemsInView"), "1");
  EXPECT_EQ(dave.Call(CreateItemXml(MessageXml("x", "a@b.c"), "SaveOnly", inbox)).Code(), "ErrorAccessDenied");
  const std::string calendar =
      "<t:DistinguishedFolderId "
      "Id=\"calendar\"><t:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></t:Mailbox></"
      "t:DistinguishedFolderId>";
  EXPECT_EQ(dave.Call(GetFolderXml(calendar)).Code(), "ErrorAccessDenied");
  const std::string nobody =
      "<t:DistinguishedFolderId "
      "Id=\"inbox\"><t:Mailbox><t:EmailAddress>nobody@example.com</t:EmailAddress></t:Mailbox></"
      "t:DistinguishedFolderId>";
  EXPECT_EQ(dave.Call(GetFolderXml(nobody)).Code(), "ErrorNonExistentMailbox");
}

TEST_F(SimulatorRead, ImpersonationNeedsTheRight) {
  const std::string as_alice =
      "<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>alice@example.com</t:PrimarySmtpAddress></"
      "t:ConnectingSID></t:ExchangeImpersonation>";
  const std::string id = client.Call(GetFolderXml(Distinguished("inbox"))).Find("FolderId").AttributeText("Id");
  Client carol(server, "carol", "cembalo");
  carol.soap_headers = as_alice;
  EXPECT_EQ(carol.Call(GetFolderXml(Distinguished("inbox"))).Find("FolderId").AttributeText("Id"), id);
  Client bob(server, "bob", "builder");
  bob.soap_headers = as_alice;
  const Reply refused = bob.Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_EQ(refused.status, 500);
  EXPECT_EQ(refused.Code(), "ErrorImpersonateUserDenied");
  carol.soap_headers =
      "<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>x@example.com</t:PrimarySmtpAddress></"
      "t:ConnectingSID></t:ExchangeImpersonation>";
  EXPECT_EQ(carol.Call(GetFolderXml(Distinguished("inbox"))).Code(), "ErrorNonExistentMailbox");
}

// FindItem

TEST_F(SimulatorRead, PagesFollowTheOffsetThatTheServerTells) {
  Fill(12);
  std::vector<std::string> subjects;
  int offset = 0;
  for (int pages = 0; pages < 10; ++pages) {
    const Reply reply = client.Call(FindItemXml("inbox", kSubject, 5, offset));
    for (const Element* subject : reply.All("Subject")) subjects.push_back(subject->text);
    const Element root = reply.Find("RootFolder");
    EXPECT_EQ(root.AttributeText("TotalItemsInView"), "12");
    offset = std::stoi(root.AttributeText("IndexedPagingOffset"));
    if (root.AttributeText("IncludesLastItemInRange") == "true") break;
  }
  ASSERT_EQ(subjects.size(), 12u);
  EXPECT_EQ(subjects.front(), "Number 11");
  EXPECT_EQ(subjects.back(), "Number 0");
}

TEST_F(SimulatorRead, PagesFromTheEndAndBeyondIt) {
  Fill(5);
  const Reply end = client.Call(
      "<m:FindItem "
      "Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>Default</t:BaseShape></m:ItemShape><m:IndexedPageItemView "
      "MaxEntriesReturned=\"2\" Offset=\"0\" BasePoint=\"End\"/>"
      "<m:ParentFolderIds>" +
      Distinguished("inbox") + "</m:ParentFolderIds></m:FindItem>");
  const auto subjects = end.All("Subject");
  ASSERT_EQ(subjects.size(), 2u);
  EXPECT_EQ(subjects[1]->text, "Number 0");
  EXPECT_EQ(end.Find("RootFolder").AttributeText("IncludesLastItemInRange"), "false");
  const Element beyond = client.Call(FindItemXml("inbox", {}, 5, 99)).Find("RootFolder");
  EXPECT_TRUE(beyond.Child("Items")->children.empty());
  EXPECT_EQ(beyond.AttributeText("IncludesLastItemInRange"), "true");
}

TEST_F(SimulatorRead, PageSizeMustBePositive) {
  EXPECT_EQ(client.Call(FindItemXml("inbox", {}, 0)).Code(), "ErrorInvalidPagingMaxRows");
  EXPECT_EQ(client.Call(FindItemXml("inbox", {}, 5, -1)).Code(), "ErrorInvalidIndexedPagingParameters");
}

TEST_F(SimulatorRead, PagesComeShortAtTheServersLimits) {
  Options options = TestOptions();
  options.find_count_limit = 7;
  options.restricted_find_limit = 3;
  Simulator limited(options);
  limited.Start();
  for (int i = 0; i < 10; ++i) limited.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  Client c(limited);
  const Element all = c.Call(FindItemXml("inbox", {}, 50)).Find("RootFolder");
  EXPECT_EQ(all.Child("Items")->children.size(), 7u);
  EXPECT_EQ(all.AttributeText("IndexedPagingOffset"), "7");
  EXPECT_EQ(all.AttributeText("IncludesLastItemInRange"), "false");
  const std::string restriction =
      "<m:Restriction><t:Exists><t:FieldURI FieldURI=\"item:Subject\"/></t:Exists></m:Restriction>";
  EXPECT_EQ(c.Call(FindItemXml("inbox", {}, 50, 0, restriction)).Find("Items").children.size(), 3u);
}

TEST_F(SimulatorRead, FoundRowsHaveWhatWasAskedForInOrderOfTheSchema) {
  Fill(1);
  const Element row =
      client
          .Call(FindItemXml(
              "inbox", "<t:FieldURI FieldURI=\"message:IsRead\"/><t:FieldURI FieldURI=\"item:DateTimeReceived\"/>" +
                           kSubject + "<t:ExtendedFieldURI PropertyTag=\"0x0E07\" PropertyType=\"Integer\"/>"))
          .Find("Message");
  std::vector<std::string> names;
  for (const Element& child : row.children) names.push_back(child.name);
  EXPECT_EQ(names, (std::vector<std::string>{"ItemId", "Subject", "DateTimeReceived", "ExtendedProperty", "IsRead"}));
  EXPECT_EQ(row.ChildText("DateTimeReceived"), "2026-02-02T10:00:00Z");
  EXPECT_EQ(row.ChildText("IsRead"), "false");
  EXPECT_EQ(row.Child("ExtendedProperty")->Child("ExtendedFieldURI")->AttributeText("PropertyTag"), "0xe07");
}

TEST_F(SimulatorRead, FoundRowsHaveNoRecipients) {
  Fill(1);
  for (const char* uri : {"message:ToRecipients", "message:CcRecipients", "message:BccRecipients", "message:ReplyTo"}) {
    const Reply reply = client.Call(FindItemXml("inbox", "<t:FieldURI FieldURI=\"" + std::string(uri) + "\"/>"));
    EXPECT_EQ(reply.Code(), "NoError");
    EXPECT_FALSE(reply.Has("Mailbox")) << uri;
  }
}

TEST_F(SimulatorRead, SearchesRefuseWhatIsStreamed) {
  Fill(1);
  for (const char* name : {"MimeContent", "Body", "UniqueBody", "NormalizedBody", "TextBody"}) {
    const Reply reply = client.Call(FindItemXml("inbox", "<t:FieldURI FieldURI=\"item:" + std::string(name) + "\"/>"));
    EXPECT_EQ(reply.Code(), "ErrorInvalidPropertyForOperation") << name;
    EXPECT_EQ(reply.Find("FieldURI").AttributeText("FieldURI"), "item:" + std::string(name));
  }
}

TEST_F(SimulatorRead, TextsAndBytesOfFoundRowsAreCut) {
  const std::string named =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"a\" PropertyType=\"";
  const auto item = [&](const std::string& subject, const std::string& bytes) {
    return "<t:Message><t:Subject>" + subject + "</t:Subject><t:ExtendedProperty>" + named + "Binary\"/><t:Value>" +
           EncodeBase64(bytes) + "</t:Value></t:ExtendedProperty><t:ExtendedProperty>" + named + "String\"/><t:Value>" +
           subject + "</t:Value></t:ExtendedProperty></t:Message>";
  };
  const std::string asked = "<t:FieldURI FieldURI=\"item:Subject\"/>" + named + "Binary\"/>" + named + "String\"/>";
  std::string emoji;
  for (int i = 0; i < 128; ++i) emoji += "\xF0\x9F\x90\x88";
  const std::tuple<std::string, std::string, std::size_t, std::size_t> kCases[] = {
      {std::string(255, 'x'), std::string(255, 'x'), 512, 512},
      {std::string(256, 'x'), std::string(255, 'x'), 513, 512},
      {emoji, emoji.substr(0, 127 * 4), 100000, 512}};  // two units each: the last would be half
  for (const auto& [subject, cut, bytes, left] : kCases) {
    const Reply made = client.Call(CreateItemXml(item(subject, std::string(bytes, '\xfe')), "SaveOnly", "tasks"));
    ASSERT_EQ(made.Code(), "NoError") << made.body;
    const Reply found = client.Call(FindItemXml("tasks", asked));
    EXPECT_EQ(found.Find("Subject").text, cut);
    ASSERT_EQ(found.All("Value").size(), 2u);
    EXPECT_EQ(DecodeBase64(found.All("Value")[0]->text).size(), left);
    EXPECT_EQ(found.All("Value")[1]->text, cut);
    const std::string id = found.Find("ItemId").AttributeText("Id");
    EXPECT_EQ(Item(id).ChildText("Subject"), subject) << "GetItem tells all of it";
    client.Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds><t:ItemId Id=\"" + id +
                "\"/></m:ItemIds></m:DeleteItem>");
  }
}

TEST_F(SimulatorRead, OrganizerOfFoundRowsIsANameAlone) {
  server.AddItem("alice@example.com", "calendar", "<t:CalendarItem><t:Subject>s</t:Subject></t:CalendarItem>");
  const Reply reply = client.Call(FindItemXml("calendar", "<t:FieldURI FieldURI=\"calendar:Organizer\"/>"));
  EXPECT_EQ(reply.Find("Organizer").Child("Mailbox")->ChildText("Name"), "Alice Arden");
  EXPECT_EQ(reply.Find("Organizer").Child("Mailbox")->Child("EmailAddress"), nullptr);
  EXPECT_EQ(
      Item(reply.Find("ItemId").AttributeText("Id")).Child("Organizer")->Child("Mailbox")->ChildText("EmailAddress"),
      "alice@example.com");
}

TEST_F(SimulatorRead, SenderOfFoundRowsIsANameAloneBeforeExchange2013) {
  Fill(1);
  client.version = "Exchange2010_SP2";
  const Element mailbox = client.Call(FindItemXml("inbox", "<t:FieldURI FieldURI=\"message:From\"/>")).Find("Mailbox");
  EXPECT_EQ(mailbox.ChildText("Name"), "Bob");
  EXPECT_EQ(mailbox.children.size(), 1u);
}

TEST_F(SimulatorRead, SortOrderIsByValueOfItsField) {
  for (const char* subject : {"banana", "Apple", "cherry"})
    server.AddMessage("alice@example.com", "inbox", std::string("Subject: ") + subject + "\r\n\r\n");
  const auto order = [&](const std::string& direction) {
    const Reply reply =
        client.Call(FindItemXml("inbox", kSubject, 50, 0,
                                "<m:SortOrder><t:FieldOrder Order=\"" + direction +
                                    "\"><t:FieldURI FieldURI=\"item:Subject\"/></t:FieldOrder></m:SortOrder>"));
    std::string all;
    for (const Element* subject : reply.All("Subject")) all += subject->text + " ";
    return all;
  };
  EXPECT_EQ(order("Ascending"), "Apple banana cherry ");
  EXPECT_EQ(order("Descending"), "cherry banana Apple ");
}

// GetItem

TEST_F(SimulatorRead, AllPropertiesLeavesOutWhatExchangeLeavesOut) {
  server.AddMessage("alice@example.com", "inbox",
                    "From: Bob <bob@example.com>\r\nTo: Alice <alice@example.com>\r\nBcc: "
                    "carol@example.com\r\nSubject: S\r\nMessage-ID: <1@x>\r\nImportance: high\r\n\r\nHello");
  const Element item = Item(IdOfFirst());
  for (const char* missing : {"MimeContent", "UniqueBody", "NormalizedBody", "TextBody", "BccRecipients",
                              "ExtendedProperty", "StoreEntryId", "Preview", "RetentionDate"})
    EXPECT_EQ(item.Child(missing), nullptr) << missing;
  for (const char* present : {"ItemId",
                              "ParentFolderId",
                              "ItemClass",
                              "Subject",
                              "Sensitivity",
                              "Body",
                              "DateTimeReceived",
                              "Size",
                              "Importance",
                              "IsSubmitted",
                              "IsDraft",
                              "InternetMessageHeaders",
                              "DateTimeSent",
                              "DateTimeCreated",
                              "ResponseObjects",
                              "DisplayTo",
                              "HasAttachments",
                              "EffectiveRights",
                              "ToRecipients",
                              "From",
                              "Sender",
                              "InternetMessageId",
                              "IsRead",
                              "ConversationId",
                              "Flag"})
    EXPECT_NE(item.Child(present), nullptr) << present;
  EXPECT_EQ(item.ChildText("Importance"), "High");
  EXPECT_EQ(item.ChildText("InternetMessageId"), "<1@x>");
  EXPECT_EQ(item.Child("ToRecipients")->Child("Mailbox")->ChildText("Name"), "Alice");
}

TEST_F(SimulatorRead, PropertiesStandInTheOrderOfTheSchema) {
  Fill(1);
  const Element item = Item(IdOfFirst());
  // Written down here by hand, so that the server's own table is not its own witness.
  const std::vector<std::string> order = {"ItemId",
                                          "ParentFolderId",
                                          "ItemClass",
                                          "Subject",
                                          "Sensitivity",
                                          "Body",
                                          "DateTimeReceived",
                                          "Size",
                                          "Importance",
                                          "IsSubmitted",
                                          "IsDraft",
                                          "IsFromMe",
                                          "IsResend",
                                          "IsUnmodified",
                                          "InternetMessageHeaders",
                                          "DateTimeSent",
                                          "DateTimeCreated",
                                          "ResponseObjects",
                                          "ReminderIsSet",
                                          "DisplayCc",
                                          "DisplayTo",
                                          "HasAttachments",
                                          "Culture",
                                          "EffectiveRights",
                                          "LastModifiedName",
                                          "LastModifiedTime",
                                          "IsAssociated",
                                          "WebClientReadFormQueryString",
                                          "ConversationId",
                                          "Flag",
                                          "InstanceKey",
                                          "Sender",
                                          "ToRecipients",
                                          "IsReadReceiptRequested",
                                          "IsDeliveryReceiptRequested",
                                          "ConversationIndex",
                                          "ConversationTopic",
                                          "From",
                                          "IsRead",
                                          "IsResponseRequested",
                                          "ReceivedBy",
                                          "ReceivedRepresenting"};
  std::vector<std::string> names;
  for (const Element& child : item.children) names.push_back(child.name);
  EXPECT_EQ(names, order);
}

TEST_F(SimulatorRead, AdditionalPropertiesComeOnTopOfTheShape) {
  Fill(1);
  const Element item = Item(IdOfFirst(),
                            "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
                            "FieldURI=\"item:MimeContent\"/><t:FieldURI FieldURI=\"item:TextBody\"/>"
                            "<t:ExtendedFieldURI PropertyTag=\"0x1000\" PropertyType=\"String\"/><t:ExtendedFieldURI "
                            "PropertyTag=\"0x0036\" PropertyType=\"Integer\"/>"
                            "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-C000-000000000046\" "
                            "PropertyId=\"34057\" PropertyType=\"Boolean\"/></t:AdditionalProperties>");
  EXPECT_EQ(item.Child("Subject"), nullptr);
  EXPECT_NE(DecodeBase64(item.ChildText("MimeContent")).find("Subject: Number 0"), std::string::npos);
  EXPECT_EQ(item.Child("MimeContent")->AttributeText("CharacterSet"), "UTF-8");
  EXPECT_EQ(item.ChildText("TextBody"), "Body 0");
  const auto values = [&] {
    std::vector<std::string> out;
    for (const Element& child : item.children)
      if (child.name == "ExtendedProperty")
        out.push_back(child.Child("ExtendedFieldURI")->AttributeText("PropertyTag") + "=" + child.ChildText("Value"));
    return out;
  }();
  // The named property is not set on the item and so not in the answer.
  EXPECT_EQ(values, (std::vector<std::string>{"0x1000=Body 0", "0x36=0"}));
}

TEST_F(SimulatorRead, BodyComesInTheKindAskedFor) {
  server.AddMessage("alice@example.com", "inbox",
                    "Subject: h\r\nContent-Type: text/html; charset=utf-8\r\n\r\n<html><body><p>Hello &amp; "
                    "<b>you</b></p></body></html>");
  const std::string id = IdOfFirst();
  const auto body = [&](const std::string& kind) {
    return *Item(id, "<t:BaseShape>AllProperties</t:BaseShape>" +
                         (kind.empty() ? std::string() : "<t:BodyType>" + kind + "</t:BodyType>"))
                .Child("Body");
  };
  EXPECT_EQ(body("").AttributeText("BodyType"), "HTML");
  EXPECT_NE(body("HTML").text.find("<b>you</b>"), std::string::npos);
  EXPECT_EQ(body("Text").AttributeText("BodyType"), "Text");
  EXPECT_EQ(body("Text").text, "Hello & you\r\n");
  Fill(1);
  const Element plain = *Item(client.Call(FindItemXml("inbox", kSubject, 1, 1)).Find("ItemId").AttributeText("Id"),
                              "<t:BaseShape>AllProperties</t:BaseShape><t:BodyType>HTML</t:BodyType>")
                             .Child("Body");
  EXPECT_EQ(plain.AttributeText("BodyType"), "HTML");
  EXPECT_NE(plain.text.find("<html>"), std::string::npos);
}

TEST_F(SimulatorRead, ItemIdsThatLeadNowhereHaveTheirCodes) {
  Fill(1);
  std::string id = IdOfFirst();
  EXPECT_EQ(client.Call(GetItemXml("")).Code(), "ErrorInvalidIdEmpty");
  EXPECT_EQ(client.Call(GetItemXml("AAA")).Code(), "ErrorInvalidIdMalformed");
  EXPECT_EQ(client.Call(GetItemXml(id.substr(0, id.size() - 8))).Code(), "ErrorInvalidIdMalformed");
  std::string unknown = id;
  unknown[unknown.size() - 6] = unknown[unknown.size() - 6] == 'z' ? 'y' : 'z';
  const Reply reply = client.Call(GetItemXml(unknown));
  EXPECT_EQ(reply.Code(), "ErrorItemNotFound");
  EXPECT_EQ(reply.Find("MessageText").text, "The specified object was not found in the store.");
  const std::string folder = client.Call(GetFolderXml(Distinguished("inbox"))).Find("FolderId").AttributeText("Id");
  EXPECT_EQ(client.Call(GetItemXml(folder)).Code(), "ErrorCannotUseFolderIdForItemId");
  EXPECT_EQ(Client(server, "bob", "builder").Call(GetItemXml(id)).Code(), "ErrorItemNotFound");
}

TEST_F(SimulatorRead, PropertiesOfNewerVersionsAreUnknownToOlderRequests) {
  Fill(1);
  const std::string id = IdOfFirst();
  const std::string text_body =
      "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
      "FieldURI=\"item:TextBody\"/></t:AdditionalProperties>";
  EXPECT_EQ(client.Call(GetItemXml(id, text_body)).Code(), "NoError");
  client.version = "Exchange2010_SP2";
  const Reply refused = client.Call(GetItemXml(id, text_body));
  EXPECT_EQ(refused.status, 500);
  EXPECT_EQ(refused.Code(), "ErrorSchemaValidation");
  EXPECT_NE(refused.Find("Violation").text.find("The value 'item:TextBody' is invalid"), std::string::npos);
  EXPECT_EQ(Item(id).Child("Flag"), nullptr);
}

TEST(SimulatorVersions, RequestOfANewerVersionIsRefused) {
  Options options = TestOptions();
  options.version = "Exchange2010_SP1";
  Simulator server(options);
  server.Start();
  Client client(server);
  const Reply reply = client.Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(reply.Code(), "ErrorInvalidServerVersion");
  EXPECT_EQ(reply.Find("faultstring").text, "The specified server version is invalid.");
  client.version = "Exchange2010_SP1";
  const Reply good = client.Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_EQ(good.Find("ServerVersionInfo").AttributeText("MajorVersion"), "14");
  EXPECT_EQ(good.Find("ServerVersionInfo").AttributeText("Version"), "Exchange2010_SP1");
}

TEST(SimulatorVersions, EachVersionAnswersWithItsName) {
  for (const std::string& version : VersionNames()) {
    Options options = TestOptions();
    options.version = version;
    options.https = false;
    Simulator server(options);
    server.Start();
    Client client(server);
    client.version = version;
    const Reply reply = client.Call(GetFolderXml(Distinguished("inbox")));
    EXPECT_EQ(reply.Code(), "NoError") << version;
    EXPECT_EQ(reply.Find("ServerVersionInfo").AttributeText("Version"), version == "Exchange2007" ? "" : version);
  }
}

// Messages as they come by mail

TEST_F(SimulatorRead, MimeWithAttachmentsBecomesAnItemWithAttachments) {
  server.AddMessage("alice@example.com", "inbox",
                    "From: bob@example.com\r\nSubject: =?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\r\nMIME-Version: "
                    "1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
                    "--b\r\nContent-Type: multipart/related; boundary=r\r\n\r\n--r\r\nContent-Type: "
                    "multipart/alternative; boundary=a\r\n\r\n"
                    "--a\r\nContent-Type: text/plain; charset=windows-1252\r\nContent-Transfer-Encoding: "
                    "quoted-printable\r\n\r\nGr=FC=DFe =80\r\n"
                    "--a\r\nContent-Type: text/html; charset=utf-8\r\n\r\n<p>Hi <img src=\"cid:pic\"></p>\r\n--a--\r\n"
                    "--r\r\nContent-Type: image/png; name=p.png\r\nContent-ID: <pic>\r\nContent-Disposition: inline; "
                    "filename=p.png\r\nContent-Transfer-Encoding: base64\r\n\r\nAAEC\r\n--r--\r\n"
                    "--b\r\nContent-Type: application/pdf; name=\"a.pdf\"\r\nContent-Disposition: attachment; "
                    "filename=\"a.pdf\"\r\nContent-Transfer-Encoding: base64\r\n\r\nSGVsbG8=\r\n"
                    "--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\ninner body\r\n--b--\r\n");
  const Element item = Item(IdOfFirst(), "<t:BaseShape>AllProperties</t:BaseShape><t:BodyType>Text</t:BodyType>");
  EXPECT_EQ(item.ChildText("Subject"), "日本");
  EXPECT_EQ(item.Child("Body")->text.substr(0, 11), "Grüße €");
  EXPECT_EQ(item.ChildText("HasAttachments"), "true");
  const Element& attachments = *item.Child("Attachments");
  ASSERT_EQ(attachments.children.size(), 3u);
  EXPECT_EQ(attachments.children[0].ChildText("ContentId"), "pic");
  EXPECT_EQ(attachments.children[0].ChildText("IsInline"), "true");
  EXPECT_EQ(attachments.children[1].ChildText("Name"), "a.pdf");
  EXPECT_EQ(attachments.children[1].ChildText("ContentType"), "application/pdf");
  EXPECT_EQ(attachments.children[1].ChildText("Size"), "5");
  EXPECT_EQ(attachments.children[2].name, "ItemAttachment");
  EXPECT_EQ(attachments.children[2].ChildText("Name"), "inner");
}

TEST_F(SimulatorRead, HeadersAreGivenUnfoldedAndOneByOne) {
  server.AddMessage("alice@example.com", "inbox",
                    "Subject: x\r\nX-Long: one\r\n two\r\nReceived: by b; Mon, 02 Feb 2026 10:00:00 +0000\r\nReceived: "
                    "by a; Mon, 02 Feb 2026 09:00:00 +0000\r\n\r\n");
  const std::string id = IdOfFirst();
  const Element item = Item(id,
                            "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:IndexedFieldURI "
                            "FieldURI=\"item:InternetMessageHeader\" FieldIndex=\"x-long\"/></t:AdditionalProperties>");
  ASSERT_NE(item.Child("InternetMessageHeaders"), nullptr);
  ASSERT_EQ(item.Child("InternetMessageHeaders")->children.size(), 1u);
  EXPECT_EQ(item.Child("InternetMessageHeaders")->children[0].text, "one two");
  EXPECT_EQ(Item(id).Child("InternetMessageHeaders")->children.size(), 4u);
}

TEST_F(SimulatorRead, CharactersThatXmlForbidsAreWrittenAsReferences) {
  server.AddMessage("alice@example.com", "inbox",
                    "Subject: a\x1f"
                    "b\r\n\r\n");
  const Reply reply = client.Call(FindItemXml("inbox", kSubject));
  EXPECT_NE(reply.body.find("<t:Subject>a&#x1F;b</t:Subject>"), std::string::npos) << reply.body;
}

// ConvertId, ResolveNames, GetServerTimeZones

std::string ConvertIdXml(const std::string& id, const std::string& from, const std::string& to,
                         const std::string& mailbox = "somebody@example.net") {
  return "<m:ConvertId DestinationFormat=\"" + to + "\"><m:SourceIds><t:AlternateId Format=\"" + from + "\" Id=\"" +
         id + "\" Mailbox=\"" + mailbox + "\"/></m:SourceIds></m:ConvertId>";
}

TEST_F(SimulatorRead, WorthlessIdIsAnErrorInAReplyWithHeader) {
  const Reply reply = client.Call(ConvertIdXml("00", "HexEntryId", "HexEntryId"));
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.Find("ConvertIdResponseMessage").AttributeText("ResponseClass"), "Error");
  EXPECT_EQ(reply.Code(), "ErrorInvalidIdMalformed");
  EXPECT_TRUE(reply.Has("ServerVersionInfo"));
}

TEST_F(SimulatorRead, IdsConvertIntoEveryFormAndBack) {
  Fill(1);
  const std::string id = IdOfFirst();
  for (const char* format : {"EwsId", "EwsLegacyId", "EntryId", "HexEntryId", "StoreId", "OwaId"}) {
    const Element there = client.Call(ConvertIdXml(id, "EwsId", format)).Find("AlternateId");
    EXPECT_EQ(there.AttributeText("Format"), format);
    EXPECT_EQ(there.AttributeText("Mailbox"), "alice@example.com");
    const Element back = client.Call(ConvertIdXml(there.AttributeText("Id"), format, "EwsId")).Find("AlternateId");
    EXPECT_EQ(back.AttributeText("Id"), id) << format;
  }
}

std::string ResolveXml(const std::string& entry, const std::string& attributes = "ReturnFullContactData=\"false\"") {
  return "<m:ResolveNames " + attributes + "><m:UnresolvedEntry>" + entry + "</m:UnresolvedEntry></m:ResolveNames>";
}

TEST_F(SimulatorRead, NamesResolveAgainstTheDirectory) {
  for (const char* entry : {"bob", "Birch", "bob@example.com", "SMTP:bob@example.com", "bo"}) {
    const Reply reply = client.Call(ResolveXml(entry));
    EXPECT_EQ(reply.Find("ResolveNamesResponseMessage").AttributeText("ResponseClass"), "Success") << entry;
    EXPECT_EQ(reply.Find("Mailbox").ChildText("Name"), "Bob Birch");
    EXPECT_EQ(reply.Find("Mailbox").ChildText("EmailAddress"), "bob@example.com");
    EXPECT_EQ(reply.Find("Mailbox").ChildText("RoutingType"), "SMTP");
    EXPECT_EQ(reply.Find("Mailbox").ChildText("MailboxType"), "Mailbox");
  }
  EXPECT_EQ(client.Call(ResolveXml("dora")).Find("Mailbox").ChildText("MailboxType"), "Contact");
}

TEST_F(SimulatorRead, NobodyAndSeveralAreToldApart) {
  const Reply none = client.Call(ResolveXml("zebra"));
  EXPECT_EQ(none.Find("ResolveNamesResponseMessage").AttributeText("ResponseClass"), "Error");
  EXPECT_EQ(none.Code(), "ErrorNameResolutionNoResults");
  EXPECT_EQ(none.Find("MessageText").text, "No results were found.");
  server.AddItem("alice@example.com", "contacts",
                 "<t:Contact><t:DisplayName>Bobby Tables</t:DisplayName><t:EmailAddresses><t:Entry "
                 "Key=\"EmailAddress1\">bobby@example.org</t:Entry></t:EmailAddresses></t:Contact>");
  const Reply several = client.Call(ResolveXml("bob"));
  EXPECT_EQ(several.Find("ResolveNamesResponseMessage").AttributeText("ResponseClass"), "Warning");
  EXPECT_EQ(several.Code(), "ErrorNameResolutionMultipleResults");
  EXPECT_EQ(several.Find("ResolutionSet").AttributeText("TotalItemsInView"), "2");
  EXPECT_EQ(several.Find("ResolutionSet").AttributeText("IncludesLastItemInRange"), "true");
  const Element contact =
      client.Call(ResolveXml("bob", "ReturnFullContactData=\"true\" SearchScope=\"Contacts\"")).Find("Resolution");
  EXPECT_EQ(contact.Child("Mailbox")->ChildText("MailboxType"), "Contact");
  EXPECT_FALSE(contact.Child("Mailbox")->Child("ItemId")->AttributeText("ChangeKey").empty());
  EXPECT_EQ(contact.Child("Contact")->ChildText("DisplayName"), "Bobby Tables");
  EXPECT_EQ(client.Call(ResolveXml("bob", "ReturnFullContactData=\"true\" SearchScope=\"ContactsActiveDirectory\""))
                .Find("Resolution")
                .Child("Mailbox")
                ->ChildText("Name"),
            "Bobby Tables");
  EXPECT_EQ(client.Call(ResolveXml("")).Code(), "ErrorSchemaValidation");
}

TEST_F(SimulatorRead, TimeZonesHaveIdsAndNamesThatBeginWithTheOffset) {
  const Reply reply = client.Call("<m:GetServerTimeZones ReturnFullTimeZoneData=\"false\"/>");
  std::map<std::string, std::string> names;
  for (const Element* zone : reply.All("TimeZoneDefinition")) {
    names[zone->AttributeText("Id")] = zone->AttributeText("Name");
    EXPECT_TRUE(zone->children.empty());
  }
  EXPECT_TRUE(names["W. Europe Standard Time"].starts_with("(UTC+01:00)"));
  EXPECT_TRUE(names["Newfoundland Standard Time"].starts_with("(UTC-03:30)"));
  EXPECT_EQ(names["UTC"], "(UTC) Coordinated Universal Time");
  EXPECT_TRUE(names["Greenwich Standard Time"].starts_with("(UTC+00:00)"));
  const Reply one = client.Call(
      "<m:GetServerTimeZones ReturnFullTimeZoneData=\"true\"><m:Ids><t:Id>Nepal Standard "
      "Time</t:Id></m:Ids></m:GetServerTimeZones>");
  EXPECT_EQ(one.All("TimeZoneDefinition").size(), 1u);
  EXPECT_EQ(one.Find("Period").AttributeText("Bias"), "-PT5H45M");
  const Reply full = client.Call("<m:GetServerTimeZones ReturnFullTimeZoneData=\"true\"/>");
  for (const Element* zone : full.All("TimeZoneDefinition")) {
    ASSERT_EQ(zone->children.size(), 3u);
    const bool changes = zone->Child("Periods")->children.size() == 2;
    EXPECT_EQ(zone->Child("TransitionsGroups")->children[0].children.size(), changes ? 2u : 1u)
        << zone->AttributeText("Id");
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
