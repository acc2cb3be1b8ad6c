#include <gtest/gtest.h>

#include <algorithm>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorSend : public ::testing::Test {
 protected:
  Element First(Client& who, const std::string& folder) {
    const std::string id = who.Call(FindItemXml(folder)).Find("ItemId").AttributeText("Id");
    const Reply reply = who.Call(GetItemXml(id));
    EXPECT_EQ(reply.Code(), "NoError") << folder << ": " << reply.body;
    const Element items = reply.Find("Items");
    return items.children.empty() ? Element() : items.children.front();
  }
  Element Create(const std::string& xml, const std::string& disposition = "SaveOnly", const std::string& folder = {}) {
    const Reply reply = client.Call(CreateItemXml(xml, disposition, folder));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    return reply.Find("ItemId");
  }
  static std::string SendXml(const Element& id, bool save = true, const std::string& folder = {}) {
    return "<m:SendItem SaveItemToFolder=\"" + std::string(save ? "true" : "false") + "\"><m:ItemIds><t:ItemId Id=\"" +
           id.AttributeText("Id") + "\" ChangeKey=\"" + id.AttributeText("ChangeKey") + "\"/></m:ItemIds>" +
           (folder.empty() ? "" : "<m:SavedItemFolderId>" + Distinguished(folder) + "</m:SavedItemFolderId>") +
           "</m:SendItem>";
  }
  Started server;
  Client client{server};
  Client bob{server, "bob", "builder"};
};

TEST_F(SimulatorSend, SavedMessageIsADraftWithIdAndChangeKey) {
  const Element id = Create(MessageXml("Draft", "bob@example.com"));
  EXPECT_FALSE(id.AttributeText("Id").empty());
  EXPECT_TRUE(id.AttributeText("ChangeKey").starts_with("CQAAABYAAA"));
  const Element item = First(client, "drafts");
  EXPECT_EQ(item.ChildText("IsDraft"), "true");
  EXPECT_EQ(item.ChildText("Subject"), "Draft");
  EXPECT_EQ(item.Child("ToRecipients")->Child("Mailbox")->ChildText("Name"), "Bob Birch");
  EXPECT_EQ(item.Child("ToRecipients")->Child("Mailbox")->ChildText("MailboxType"), "Mailbox");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 0u);
}

TEST_F(SimulatorSend, MessageGoesIntoTheFolderAskedFor) {
  Create(MessageXml("x", "bob@example.com"), "SaveOnly", "inbox");
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 1u);
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
}

TEST_F(SimulatorSend, SendAndSaveCopyDeliversAndKeepsACopy) {
  const Reply reply =
      client.Call(CreateItemXml(MessageXml("News", "bob@example.com", "Big news"), "SendAndSaveCopy", "sentitems"));
  EXPECT_EQ(reply.Code(), "NoError");
  EXPECT_TRUE(reply.Find("Items").children.empty());
  const Element received = First(bob, "inbox");
  EXPECT_EQ(received.ChildText("Subject"), "News");
  EXPECT_EQ(received.ChildText("IsRead"), "false");
  EXPECT_EQ(received.ChildText("IsDraft"), "false");
  EXPECT_EQ(received.ChildText("IsFromMe"), "false");
  EXPECT_EQ(received.Child("From")->Child("Mailbox")->ChildText("EmailAddress"), "alice@example.com");
  EXPECT_EQ(received.Child("Sender")->Child("Mailbox")->ChildText("Name"), "Alice Arden");
  EXPECT_EQ(received.Child("ReceivedBy")->Child("Mailbox")->ChildText("EmailAddress"), "bob@example.com");
  EXPECT_FALSE(received.ChildText("InternetMessageId").empty());
  const Element& headers = *received.Child("InternetMessageHeaders");
  ASSERT_FALSE(headers.children.empty());
  EXPECT_EQ(headers.children[0].AttributeText("HeaderName"), "Received");
  EXPECT_NE(headers.children[0].text.find("with Microsoft SMTP Server"), std::string::npos);
  const Element sent = First(client, "sentitems");
  EXPECT_EQ(sent.ChildText("IsRead"), "true");
  EXPECT_EQ(sent.ChildText("IsDraft"), "false");
  EXPECT_EQ(sent.ChildText("IsFromMe"), "true");
  EXPECT_EQ(sent.ChildText("InternetMessageId"), received.ChildText("InternetMessageId"));
}

TEST_F(SimulatorSend, SendOnlyKeepsNothing) {
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("x", "bob@example.com"), "SendOnly")).Code(), "NoError");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems") + server.CountItems("alice@example.com", "drafts"), 0u);
}

TEST_F(SimulatorSend, DraftGoesOutThroughSendItemAndLeavesDrafts) {
  const Element id = Create(MessageXml("x", "bob@example.com"));
  const Reply reply = client.Call(SendXml(id, true, "sentitems"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 1u);
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(client.Call(SendXml(id)).Code(), "ErrorItemNotFound");
}

TEST_F(SimulatorSend, SendItemWithoutCopyAndWithContradiction) {
  const Element id = Create(MessageXml("x", "bob@example.com"));
  EXPECT_EQ(client.Call(SendXml(id, false, "sentitems")).Code(), "ErrorInvalidSendItemSaveSettings");
  EXPECT_EQ(client.Call(SendXml(id, false)).Code(), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 0u);
}

TEST_F(SimulatorSend, SendItemNeedsTheCurrentChangeKey) {
  Element id = Create(MessageXml("x", "bob@example.com"));
  const Id touched = server.Touch(id.AttributeText("Id"));
  EXPECT_NE(touched.change_key, id.AttributeText("ChangeKey"));
  EXPECT_EQ(client.Call(SendXml(id)).Code(), "ErrorIrresolvableConflict");
  EXPECT_EQ(client
                .Call("<m:SendItem SaveItemToFolder=\"true\"><m:ItemIds><t:ItemId Id=\"" + id.AttributeText("Id") +
                      "\"/></m:ItemIds></m:SendItem>")
                .Code(),
            "ErrorChangeKeyRequired");
  id.Set("ChangeKey", touched.change_key);
  EXPECT_EQ(client.Call(SendXml(id)).Code(), "NoError");
}

TEST_F(SimulatorSend, BlindCopiesReachTheirMailboxUnseen) {
  const std::string xml =
      "<t:Message><t:Subject>s</t:Subject><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></"
      "t:Mailbox></t:ToRecipients>"
      "<t:BccRecipients><t:Mailbox><t:EmailAddress>carol@example.com</t:EmailAddress></t:Mailbox></t:BccRecipients></"
      "t:Message>";
  Create(xml, "SendAndSaveCopy");
  Client carol(server, "carol", "cembalo");
  for (Client* who : {&bob, &carol}) {
    const Element item = First(*who, "inbox");
    EXPECT_EQ(item.Child("BccRecipients"), nullptr);
    for (const Element& header : item.Child("InternetMessageHeaders")->children)
      EXPECT_NE(header.AttributeText("HeaderName"), "Bcc");
  }
  EXPECT_EQ(First(client, "sentitems").Child("BccRecipients")->Child("Mailbox")->ChildText("EmailAddress"),
            "carol@example.com");
}

TEST_F(SimulatorSend, RecipientNamedTwiceGetsOneMessage) {
  const std::string xml =
      "<t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></"
      "t:Mailbox><t:Mailbox><t:EmailAddress>BOB@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>";
  Create(xml, "SendOnly");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
}

TEST_F(SimulatorSend, RecipientsAreNeededAndMustBeAddresses) {
  EXPECT_EQ(client.Call(CreateItemXml("<t:Message><t:Subject>x</t:Subject></t:Message>", "SendOnly")).Code(),
            "ErrorMissingRecipients");
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("x", "no address"), "SendOnly")).Code(), "ErrorInvalidRecipients");
}

TEST_F(SimulatorSend, UnknownLocalRecipientComesBackUndelivered) {
  Create(MessageXml("Anybody?", "nobody@example.com"), "SendOnly");
  EXPECT_EQ(First(client, "inbox").ChildText("Subject"), "Undeliverable: Anybody?");
  Create(MessageXml("Far away", "somebody@example.net"), "SendOnly");
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 1u);
}

TEST_F(SimulatorSend, SendingAsSomebodyElseNeedsTheRight) {
  const std::string xml =
      "<t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></"
      "t:ToRecipients>"
      "<t:From><t:Mailbox><t:EmailAddress>carol@example.com</t:EmailAddress></t:Mailbox></t:From></t:Message>";
  EXPECT_EQ(client.Call(CreateItemXml(xml, "SendOnly")).Code(), "ErrorSendAsDenied");
}

TEST_F(SimulatorSend, DispositionIsRequiredForMessagesOnly) {
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("x", "bob@example.com"), "")).Code(),
            "ErrorMessageDispositionRequired");
  EXPECT_EQ(client.Call(CreateItemXml("<t:Contact><t:GivenName>Eve</t:GivenName></t:Contact>", "")).Code(), "NoError");
  EXPECT_EQ(client.Call(CreateItemXml("<t:CalendarItem><t:Subject>x</t:Subject></t:CalendarItem>", "")).Code(),
            "ErrorSendMeetingInvitationsRequired");
}

TEST_F(SimulatorSend, ReadOnlyPropertiesAreRefusedByName) {
  const Reply reply = client.Call(CreateItemXml("<t:Message><t:Subject>x</t:Subject><t:Size>5</t:Size></t:Message>"));
  EXPECT_EQ(reply.Code(), "ErrorInvalidPropertySet");
  EXPECT_EQ(reply.Find("MessageText").text, "Set action is invalid for property.");
  EXPECT_EQ(reply.Find("MessageXml").Child("FieldURI")->AttributeText("FieldURI"), "item:Size");
}

TEST_F(SimulatorSend, ExtendedPropertiesAreKeptAndGivenWhenAskedFor) {
  const std::string named =
      "<t:ExtendedFieldURI PropertySetId=\"52a474ee-e1a3-4e63-8ffc-fcdacb06a7fc\" PropertyId=\"4\" "
      "PropertyType=\"String\"/>";
  const std::string common =
      "<t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-C000-000000000046\" PropertyId=\"34054\" "
      "PropertyType=\"Boolean\"/>";
  const std::string list =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"Colours\" "
      "PropertyType=\"StringArray\"/>";
  const Element id =
      Create("<t:Message><t:Subject>x</t:Subject><t:ExtendedProperty>" + named +
             "<t:Value>print</t:Value></t:ExtendedProperty><t:ExtendedProperty>" + common +
             "<t:Value>1</t:Value></t:ExtendedProperty><t:ExtendedProperty>" + list +
             "<t:Values><t:Value>red</t:Value><t:Value>blue</t:Value></t:Values></t:ExtendedProperty></t:Message>");
  const Reply reply =
      client.Call(GetItemXml(id.AttributeText("Id"), "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" +
                                                         named + common + list + "</t:AdditionalProperties>"));
  const auto properties = reply.All("ExtendedProperty");
  ASSERT_EQ(properties.size(), 3u);
  EXPECT_EQ(properties[0]->Child("ExtendedFieldURI")->AttributeText("PropertySetId"),
            "52a474ee-e1a3-4e63-8ffc-fcdacb06a7fc");
  EXPECT_EQ(properties[0]->ChildText("Value"), "print");
  // Well-known sets are answered by their names, whatever the request called them.
  EXPECT_EQ(properties[1]->Child("ExtendedFieldURI")->AttributeText("DistinguishedPropertySetId"), "Common");
  EXPECT_EQ(properties[1]->ChildText("Value"), "true");
  EXPECT_EQ(properties[2]->Child("Values")->children.size(), 2u);
}

TEST_F(SimulatorSend, MimeContentBecomesTheMessageAndFlagsSayWhatItIs) {
  const std::string mime =
      "From: Eve <eve@example.net>\r\nTo: alice@example.com\r\nSubject: Imported\r\nDate: Mon, 02 Feb 2026 10:00:00 "
      "+0000\r\n\r\nOld mail";
  const auto import = [&](const std::string& flags) {
    return Create(
        "<t:Message><t:MimeContent CharacterSet=\"UTF-8\">" + EncodeBase64(mime) + "</t:MimeContent>" +
            (flags.empty()
                 ? ""
                 : "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"3591\" PropertyType=\"Integer\"/><t:Value>" +
                       flags + "</t:Value></t:ExtendedProperty>") +
            "</t:Message>",
        "SaveOnly", "inbox");
  };
  import("33");
  const Element read = First(client, "inbox");
  EXPECT_EQ(read.ChildText("Subject"), "Imported");
  EXPECT_EQ(read.ChildText("IsDraft"), "false");
  EXPECT_EQ(read.ChildText("IsRead"), "true");
  EXPECT_EQ(read.ChildText("IsFromMe"), "true");
  EXPECT_EQ(read.ChildText("DateTimeSent"), "2026-02-02T10:00:00Z");
  const Element id = import("10");
  const Element draft = client.Call(GetItemXml(id.AttributeText("Id"))).Find("Message");
  EXPECT_EQ(draft.ChildText("IsDraft"), "true");
  EXPECT_EQ(draft.ChildText("IsRead"), "false");
  const Reply back = client.Call(GetItemXml(
      id.AttributeText("Id"), "<t:BaseShape>IdOnly</t:BaseShape><t:IncludeMimeContent>true</t:IncludeMimeContent>"));
  EXPECT_EQ(DecodeBase64(back.Find("MimeContent").text), mime);
  EXPECT_EQ(client.Call(CreateItemXml("<t:Message><t:MimeContent>***</t:MimeContent></t:Message>")).Code(),
            "ErrorMimeContentInvalidBase64String");
}

TEST_F(SimulatorSend, MessageMadeOfPropertiesHasMimeContentThatReadsBackTheSame) {
  const Element id = Create(
      "<t:Message><t:Subject>Grüße, €</t:Subject><t:Body BodyType=\"HTML\">&lt;p&gt;Schön &amp;amp; "
      "gut&lt;/p&gt;</t:Body>"
      "<t:Attachments><t:FileAttachment><t:Name>ä.bin</t:Name><t:ContentType>application/x-thing</"
      "t:ContentType><t:Content>AAECAwT/</t:Content></t:FileAttachment></t:Attachments>"
      "<t:Importance>High</t:Importance><t:ToRecipients><t:Mailbox><t:Name>Bob</"
      "t:Name><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>");
  const std::string mime = DecodeBase64(
      client
          .Call(GetItemXml(id.AttributeText("Id"),
                           "<t:BaseShape>IdOnly</t:BaseShape><t:IncludeMimeContent>true</t:IncludeMimeContent>"))
          .Find("MimeContent")
          .text);
  server.AddMessage("bob@example.com", "inbox", mime);
  const Element item = First(bob, "inbox");
  EXPECT_EQ(item.ChildText("Subject"), "Grüße, €");
  EXPECT_NE(item.Child("Body")->text.find("<p>Schön &amp; gut</p>"), std::string::npos);
  EXPECT_EQ(item.ChildText("Importance"), "High");
  const Element& attachment = item.Child("Attachments")->children.front();
  EXPECT_EQ(attachment.ChildText("Name"), "ä.bin");
  EXPECT_EQ(attachment.ChildText("ContentType"), "application/x-thing");
  EXPECT_EQ(attachment.ChildText("Size"), "6");
}

TEST_F(SimulatorSend, ItemsOfOtherKindsGoToTheirFolders) {
  Create("<t:Contact><t:GivenName>Eve</t:GivenName><t:Surname>Elm</t:Surname></t:Contact>", "");
  Create("<t:Task><t:Subject>Do it</t:Subject></t:Task>", "");
  client.Call(
      "<m:CreateItem "
      "SendMeetingInvitations=\"SendToNone\"><m:Items><t:CalendarItem><t:Subject>Tea</"
      "t:Subject><t:Start>2026-02-02T16:00:00Z</t:Start><t:End>2026-02-02T17:00:00Z</t:End></t:CalendarItem></"
      "m:Items></m:CreateItem>");
  EXPECT_EQ(First(client, "contacts").ChildText("FileAs"), "Elm, Eve");
  EXPECT_EQ(First(client, "tasks").ChildText("Status"), "NotStarted");
  const Element tea = First(client, "calendar");
  EXPECT_EQ(tea.ChildText("CalendarItemType"), "Single");
  EXPECT_EQ(tea.ChildText("LegacyFreeBusyStatus"), "Busy");
  EXPECT_FALSE(tea.ChildText("UID").empty());
  const Reply wrong =
      client.Call("<m:CreateItem SendMeetingInvitations=\"SendToNone\"><m:SavedItemFolderId>" + Distinguished("inbox") +
                  "</m:SavedItemFolderId><m:Items><t:CalendarItem><t:Subject>Tea</t:Subject></t:CalendarItem></"
                  "m:Items></m:CreateItem>");
  EXPECT_EQ(wrong.Code(), "ErrorCannotCreateCalendarItemInNonCalendarFolder");
}

}  // namespace
}  // namespace velmore::simulator::testing
