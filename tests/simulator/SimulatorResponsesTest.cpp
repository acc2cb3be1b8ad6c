// ReplyToItem, ReplyAllToItem, ForwardItem and their kin.

#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorResponses : public WriteTest {
 protected:
  /// The newest item of a folder, as the owner of the mailbox sees it.
  Element Newest(Client& who, const std::string& folder) {
    const Reply rows = who.Call(FindItemXml(folder, {}, 50, 0,
                                            "<m:SortOrder><t:FieldOrder Order=\"Descending\"><t:FieldURI "
                                            "FieldURI=\"item:DateTimeCreated\"/></t:FieldOrder></m:SortOrder>"));
    const std::vector<const Element*> ids = rows.All("ItemId");
    if (ids.empty()) return {};
    const Element items = who.Call(GetItemXml(ids.front()->AttributeText("Id"))).Find("Items");
    return items.children.empty() ? Element() : items.children.front();
  }
  static std::string Reference(const Element& item) {
    const Element* id = item.Child("ItemId");
    return "<t:ReferenceItemId Id=\"" + id->AttributeText("Id") + "\" ChangeKey=\"" + id->AttributeText("ChangeKey") +
           "\"/>";
  }
  static std::string New(const std::string& text, const std::string& type = "Text") {
    return "<t:NewBodyContent BodyType=\"" + type + "\">" + text + "</t:NewBodyContent>";
  }
  static std::string ResponseXml(const std::string& kind, const std::string& content) {
    return "<t:" + kind + ">" + content + "</t:" + kind + ">";
  }
  static std::string To(const std::string& address, const std::string& list = "ToRecipients") {
    return "<t:" + list + "><t:Mailbox><t:EmailAddress>" + address + "</t:EmailAddress></t:Mailbox></t:" + list + ">";
  }
  static std::string Addresses(const Element& item, const std::string& list) {
    std::string all;
    if (const Element* recipients = item.Child(list))
      for (const Element& mailbox : recipients->children) all += mailbox.ChildText("EmailAddress") + " ";
    return all;
  }
  Reply Respond(const std::string& kind, const std::string& content, const std::string& disposition = "SaveOnly") {
    return client.Call(CreateItemXml(ResponseXml(kind, content), disposition));
  }
  Element Mail(const std::string& mime) {
    server.Deliver("alice@example.com", mime);
    return Newest(client, "inbox");
  }
  Element FromBob() {
    return Mail(
        "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden <alice@example.com>, Dora <dora@example.org>\r\n"
        "Cc: Carol Cedar <carol@example.com>\r\nSubject: Re: Lamp\r\nDate: Mon, 02 Feb 2026 10:00:05 +0000\r\n"
        "Message-ID: <two@example.com>\r\nIn-Reply-To: <one@example.com>\r\nReferences: <zero@example.com> "
        "<one@example.com>\r\n\r\nIt burns.\r\n");
  }

  Client bob{server, "bob", "builder"};
  Client carol{server, "carol", "cembalo"};
};

TEST_F(SimulatorResponses, ReplyIsADraftToTheAuthorThatQuotesAndThreads) {
  const Element original = FromBob();
  const Reply reply = Respond("ReplyToItem", Reference(original) + New("Good"));
  ASSERT_EQ(reply.Code(), "NoError") << reply.body;
  const Element draft = Item(reply.Find("ItemId"));
  EXPECT_EQ(draft.ChildText("IsDraft"), "true");
  EXPECT_EQ(draft.ChildText("Subject"), "RE: Lamp");
  EXPECT_EQ(Addresses(draft, "ToRecipients"), "bob@example.com ");
  EXPECT_EQ(Addresses(draft, "CcRecipients"), "");
  EXPECT_EQ(draft.ChildText("InReplyTo"), "<two@example.com>");
  EXPECT_EQ(draft.ChildText("References"), "<zero@example.com> <one@example.com> <two@example.com>");
  EXPECT_EQ(draft.ChildText("ConversationTopic"), "Lamp");
  EXPECT_EQ(DecodeBase64(draft.ChildText("ConversationIndex")).size(),
            DecodeBase64(original.ChildText("ConversationIndex")).size() + 5);
  EXPECT_EQ(draft.Child("Body")->text,
            "Good\r\n\r\n________________________________\r\nFrom: Bob Birch <bob@example.com>\r\n"
            "Sent: Monday, February 2, 2026 10:00:05 AM\r\nTo: Alice Arden; Dora\r\nCc: Carol Cedar\r\n"
            "Subject: Re: Lamp\r\n\r\nIt burns.\r\n");
  EXPECT_EQ(draft.Child("ParentFolderId")->AttributeText("Id"), FolderId("drafts").AttributeText("Id"));
}

TEST_F(SimulatorResponses, ReplyToAllLeavesOutWhoReplies) {
  const Element original = FromBob();
  const Element draft = Item(Respond("ReplyAllToItem", Reference(original)).Find("ItemId"));
  EXPECT_EQ(Addresses(draft, "ToRecipients"), "bob@example.com dora@example.org ");
  EXPECT_EQ(Addresses(draft, "CcRecipients"), "carol@example.com ");
}

TEST_F(SimulatorResponses, ReplyToAllOfOnesOwnMessageGoesToThoseItWasWrittenTo) {
  client.Call(CreateItemXml(MessageXml("News", "bob@example.com"), "SendAndSaveCopy"));
  const Element sent = Newest(client, "sentitems");
  const Element draft = Item(Respond("ReplyAllToItem", Reference(sent)).Find("ItemId"));
  EXPECT_EQ(Addresses(draft, "ToRecipients"), "bob@example.com ");
}

TEST_F(SimulatorResponses, ReplyGoesWhereTheAuthorWantsIt) {
  const Element original =
      Mail("From: bob@example.com\r\nReply-To: carol@example.com\r\nTo: alice@example.com\r\nSubject: x\r\n\r\ny\r\n");
  const Element draft = Item(Respond("ReplyToItem", Reference(original)).Find("ItemId"));
  EXPECT_EQ(Addresses(draft, "ToRecipients"), "carol@example.com ");
}

TEST_F(SimulatorResponses, WhatTheRequestSaysOfTheAnswerHolds) {
  const Element original = FromBob();
  const Element draft = Item(Respond("ReplyAllToItem", "<t:Subject>RE: Re: Lamp</t:Subject>" + To("carol@example.com") +
                                                           To("dora@example.org", "BccRecipients") +
                                                           "<t:IsReadReceiptRequested>true</t:IsReadReceiptRequested>" +
                                                           Reference(original) + New("Hi"))
                                 .Find("ItemId"));
  EXPECT_EQ(draft.ChildText("Subject"), "RE: Re: Lamp");
  EXPECT_EQ(Addresses(draft, "ToRecipients"), "carol@example.com ");
  EXPECT_EQ(Addresses(draft, "CcRecipients"), "carol@example.com ");
  EXPECT_EQ(Addresses(draft, "BccRecipients"), "dora@example.org ");
  EXPECT_EQ(draft.ChildText("IsReadReceiptRequested"), "true");
}

TEST_F(SimulatorResponses, BodyReplacesTheQuotedOne) {
  const Element original = FromBob();
  const Element draft =
      Item(Respond("ReplyToItem", "<t:Body BodyType=\"Text\">All of it</t:Body>" + Reference(original)).Find("ItemId"));
  EXPECT_EQ(draft.Child("Body")->text, "All of it");
}

TEST_F(SimulatorResponses, HtmlIsQuotedInItsOwnHead) {
  const Element original = Mail(
      "From: Bob <bob@example.com>\r\nTo: alice@example.com\r\nSubject: a < b\r\nMIME-Version: 1.0\r\n"
      "Content-Type: text/html; charset=utf-8\r\n\r\n"
      "<html><head><style>p{color:red}</style></head><body bgcolor=white><p>old</p></body></html>");
  const Element draft =
      Item(Respond("ReplyToItem", Reference(original) + New("&lt;b&gt;new&lt;/b&gt;", "HTML")).Find("ItemId"));
  ASSERT_EQ(draft.Child("Body")->AttributeText("BodyType"), "HTML");
  const std::string& html = draft.Child("Body")->text;
  const std::size_t style = html.find("p{color:red}");
  const std::size_t body = html.find("<body bgcolor=white>");
  const std::size_t fresh = html.find("<b>new</b>");
  const std::size_t subject = html.find("<b>Subject:</b> a &lt; b<br>");
  const std::size_t old = html.find("<p>old</p>");
  EXPECT_LT(style, body);
  EXPECT_LT(body, fresh);
  EXPECT_LT(fresh, subject);
  EXPECT_LT(subject, old);
  EXPECT_NE(old, std::string::npos);
  // A plain text on top becomes HTML, and its signs stay what they are.
  const Element plain = Item(Respond("ReplyToItem", Reference(original) + New("1 &lt; 2\nnext")).Find("ItemId"));
  EXPECT_NE(plain.Child("Body")->text.find("1 &lt; 2<br>"), std::string::npos) << plain.Child("Body")->text;
}

TEST_F(SimulatorResponses, HtmlOnTopMakesAPlainTextHtml) {
  const Element original = FromBob();
  const Element draft =
      Item(Respond("ReplyToItem", Reference(original) + New("&lt;i&gt;x&lt;/i&gt;", "HTML")).Find("ItemId"));
  EXPECT_EQ(draft.Child("Body")->AttributeText("BodyType"), "HTML");
  EXPECT_NE(draft.Child("Body")->text.find("It burns."), std::string::npos);
}

TEST_F(SimulatorResponses, ForwardTakesAttachmentsAlongAndAReplyThePicturesOnly) {
  const Element original = Mail(
      "From: bob@example.com\r\nTo: alice@example.com\r\nSubject: Files\r\nMIME-Version: 1.0\r\n"
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: text/html\r\n\r\n<html><body><img src=\"cid:pic@x\"></body></html>\r\n"
      "--b\r\nContent-Type: image/png\r\nContent-ID: <pic@x>\r\nContent-Disposition: inline; filename=p.png\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\nAAEC\r\n"
      "--b\r\nContent-Type: application/pdf; name=\"f.pdf\"\r\nContent-Disposition: attachment; filename=f.pdf\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\nAAEC\r\n"
      "--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: Inner\r\n\r\ninner\r\n--b--\r\n");
  const Reply forwarded = Respond("ForwardItem", To("carol@example.com") + Reference(original), "SendAndSaveCopy");
  ASSERT_EQ(forwarded.Code(), "NoError") << forwarded.body;
  EXPECT_TRUE(forwarded.Find("Items").children.empty());
  const Element arrived = Newest(carol, "inbox");
  EXPECT_EQ(arrived.ChildText("Subject"), "FW: Files");
  ASSERT_NE(arrived.Child("Attachments"), nullptr);
  std::string names;
  for (const Element& attachment : arrived.Child("Attachments")->children) names += attachment.ChildText("Name") + " ";
  EXPECT_EQ(names, "p.png f.pdf Inner ");
  const Element draft = Item(Respond("ReplyToItem", Reference(Newest(client, "inbox"))).Find("ItemId"));
  ASSERT_NE(draft.Child("Attachments"), nullptr);
  ASSERT_EQ(draft.Child("Attachments")->children.size(), 1u);
  EXPECT_EQ(draft.Child("Attachments")->children[0].ChildText("Name"), "p.png");
}

TEST_F(SimulatorResponses, SentReplyArrivesIsKeptAndShowsOnTheOriginal) {
  const Element original = FromBob();
  const Reply sent = Respond("ReplyToItem", Reference(original) + New("Yes"), "SendAndSaveCopy");
  ASSERT_EQ(sent.Code(), "NoError") << sent.body;
  const Element arrived = Newest(bob, "inbox");
  EXPECT_EQ(arrived.ChildText("Subject"), "RE: Lamp");
  EXPECT_EQ(arrived.Child("From")->Child("Mailbox")->ChildText("EmailAddress"), "alice@example.com");
  std::string headers;
  for (const Element& header : arrived.Child("InternetMessageHeaders")->children)
    headers += header.AttributeText("HeaderName") + "=" + header.text + "\n";
  EXPECT_NE(headers.find("In-Reply-To=<two@example.com>"), std::string::npos) << headers;
  EXPECT_NE(headers.find("References=<zero@example.com>"), std::string::npos) << headers;
  EXPECT_EQ(Newest(client, "sentitems").ChildText("Subject"), "RE: Lamp");
  const std::string verbs =
      "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI FieldURI=\"item:IconIndex\"/>"
      "<t:ExtendedFieldURI PropertyTag=\"0x1081\" PropertyType=\"Integer\"/>"
      "<t:ExtendedFieldURI PropertyTag=\"0x1082\" PropertyType=\"SystemTime\"/></t:AdditionalProperties>";
  const Element marked = Item(*original.Child("ItemId"), verbs);
  EXPECT_EQ(marked.ChildText("IconIndex"), "MailReplied");
  EXPECT_EQ(marked.Child("ExtendedProperty")->ChildText("Value"), "102");
  // Nobody else learns which item it was.
  EXPECT_EQ(server.DumpItem(arrived.Child("ItemId")->AttributeText("Id")).find("Answers"), std::string::npos);
}

TEST_F(SimulatorResponses, DraftMarksItsOriginalWhenItIsSent) {
  const Element original = FromBob();
  const Element draft = Respond("ForwardItem", To("carol@example.com") + Reference(original)).Find("ItemId");
  const std::string icon =
      "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI FieldURI=\"item:IconIndex\"/>"
      "</t:AdditionalProperties>";
  EXPECT_EQ(Item(*original.Child("ItemId"), icon).ChildText("IconIndex"), "Default");
  const Reply sent =
      client.Call("<m:SendItem SaveItemToFolder=\"true\"><m:ItemIds>" + Ids(draft) + "</m:ItemIds></m:SendItem>");
  EXPECT_EQ(sent.Code(), "NoError") << sent.body;
  EXPECT_EQ(Item(*original.Child("ItemId"), icon).ChildText("IconIndex"), "MailForwarded");
}

TEST_F(SimulatorResponses, SendOnlyKeepsNoCopy) {
  Respond("ReplyToItem", Reference(FromBob()), "SendOnly");
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 0u);
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
}

TEST_F(SimulatorResponses, ContactIsForwardedAsAnAttachment) {
  const Element id =
      Make("<t:Contact><t:GivenName>Eve</t:GivenName><t:Surname>Elm</t:Surname></t:Contact>", "contacts");
  const Reply reply = Respond("ForwardItem", To("bob@example.com") + "<t:ReferenceItemId Id=\"" +
                                                 id.AttributeText("Id") + "\"/>" + New("See her card"));
  ASSERT_EQ(reply.Code(), "NoError") << reply.body;
  const Element draft = Item(reply.Find("ItemId"));
  EXPECT_EQ(draft.ChildText("Subject"), "FW: Eve Elm");
  EXPECT_EQ(draft.Child("Body")->text, "See her card");
  EXPECT_EQ(draft.Child("Attachments")->Child("ItemAttachment")->ChildText("Name"), "Eve Elm");
}

TEST_F(SimulatorResponses, PostIsAnsweredBesideIt) {
  const Element folder = NewFolder("Board");
  const Reply post = client.Call(
      CreateItemXml("<t:PostItem><t:Subject>Bike</t:Subject><t:Body BodyType=\"Text\">For sale</t:Body></t:PostItem>",
                    "SaveOnly", Fid(folder)));
  const std::string reference = "<t:ReferenceItemId Id=\"" + post.Find("ItemId").AttributeText("Id") + "\"/>";
  const Reply reply = Respond("PostReplyItem", reference + New("How much?"));
  ASSERT_EQ(reply.Code(), "NoError") << reply.body;
  const Element answer = Item(reply.Find("ItemId"));
  EXPECT_EQ(answer.name, "PostItem");
  EXPECT_EQ(answer.ChildText("Subject"), "RE: Bike");
  EXPECT_EQ(answer.Child("ParentFolderId")->AttributeText("Id"), folder.AttributeText("Id"));
}

TEST_F(SimulatorResponses, WhatCannotBeAnsweredIsRefused) {
  EXPECT_EQ(Respond("ReplyToItem", New("x")).Code(), "ErrorMissingInformationReferenceItemId");
  const Element draft = Item(Make(MessageXml("x", "bob@example.com")));
  EXPECT_EQ(Respond("ReplyToItem", Reference(draft)).Code(), "ErrorInvalidReferenceItem");
  EXPECT_EQ(Respond("ForwardItem", Reference(draft)).Code(), "NoError");
  const Element task = Make("<t:Task><t:Subject>t</t:Subject></t:Task>", "tasks");
  EXPECT_EQ(Respond("ReplyToItem", "<t:ReferenceItemId Id=\"" + task.AttributeText("Id") + "\"/>").Code(),
            "ErrorInvalidReferenceItem");
  const Element original = FromBob();
  EXPECT_EQ(Respond("PostReplyItem", Reference(original)).Code(), "ErrorInvalidReferenceItem");
  EXPECT_EQ(Respond("ReplyToItem", Reference(original), "").Code(), "ErrorMessageDispositionRequired");
  EXPECT_EQ(Respond("ForwardItem", Reference(original), "SendOnly").Code(), "ErrorMissingRecipients");
  const Reply read = Update(*original.Child("ItemId"),
                            "<t:SetItemField><t:FieldURI FieldURI=\"message:IsRead\"/><t:Message><t:IsRead>true</"
                            "t:IsRead></t:Message></t:SetItemField>");
  EXPECT_EQ(read.Code(), "NoError");
  EXPECT_EQ(Respond("ReplyToItem", Reference(original)).Code(), "ErrorStaleObject");
  client.Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds>" + Ids(*original.Child("ItemId")) +
              "</m:ItemIds></m:DeleteItem>");
  EXPECT_EQ(Respond("ReplyToItem", Reference(original)).Code(), "ErrorItemNotFound");
}

TEST_F(SimulatorResponses, ReadReceiptIsSuppressedOnce) {
  const Element original = Mail(
      "From: bob@example.com\r\nTo: alice@example.com\r\nSubject: x\r\n"
      "Disposition-Notification-To: bob@example.com\r\n\r\ny\r\n");
  EXPECT_NE(original.Child("ResponseObjects")->Child("SuppressReadReceipt"), nullptr);
  const auto suppress = [&] {
    return client.Call("<m:CreateItem><m:Items><t:SuppressReadReceipt><t:ReferenceItemId Id=\"" +
                       original.Child("ItemId")->AttributeText("Id") +
                       "\"/></t:SuppressReadReceipt></m:Items></m:CreateItem>");
  };
  const Reply first = suppress();
  EXPECT_EQ(first.Code(), "NoError") << first.body;
  EXPECT_EQ(Newest(client, "inbox").Child("ResponseObjects")->Child("SuppressReadReceipt"), nullptr);
  EXPECT_EQ(suppress().Code(), "ErrorReadReceiptNotPending");
}

TEST_F(SimulatorResponses, AReceiptThatWasSuppressedForAWholeFolderDoesNotComeBack) {
  const Element original = Mail(
      "From: bob@example.com\r\nTo: alice@example.com\r\nSubject: x\r\n"
      "Disposition-Notification-To: bob@example.com\r\n\r\ny\r\n");
  const auto mark = [&](const char* read, const char* suppress) {
    EXPECT_EQ(client
                  .Call(std::string("<m:MarkAllItemsAsRead><m:ReadFlag>") + read +
                        "</m:ReadFlag><m:SuppressReadReceipts>" + suppress +
                        "</m:SuppressReadReceipts><m:FolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds>"
                        "</m:MarkAllItemsAsRead>")
                  .Code(),
              "NoError");
  };
  const auto is_pending = [&] {
    return Newest(client, "inbox").Child("ResponseObjects")->Child("SuppressReadReceipt") != nullptr;
  };
  mark("true", "false");
  EXPECT_FALSE(is_pending());
  mark("false", "true");
  EXPECT_TRUE(is_pending());
  mark("true", "true");
  mark("false", "true");
  EXPECT_FALSE(is_pending());
}

}  // namespace
}  // namespace velmore::simulator::testing
