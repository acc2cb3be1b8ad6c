// Replies and forwards: what goes over the wire, what the server's answer does to them (by hand), and what arrives.

#include "ews/items/uVqEWSSmartResponse.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class SmartResponses : public SaveTest {
 protected:
  using SaveTest::SaveTest;

  TVqRef<IVqEWSEMail> Original(const std::string& subject = "Hello") { return Mail(AddMessage(subject)); }
  /// The next creation is answered as one that sent: without an id.
  void AnswerAsSent() { AnswerNext("CreateItem", ReplyOf("CreateItem", "<m:Items/>")); }
  /// The next creation is answered with the id of a draft that is there.
  TItemId AnswerWithDraft(const std::string& members = "<t:Subject>RE: Hello</t:Subject>") {
    const TItemId draft = AddItem("drafts", "<t:Message>" + members + "</t:Message>");
    AnswerNext("CreateItem",
               ReplyOf("CreateItem", "<m:Items><t:Message>" + IdElement("ItemId", draft) + "</t:Message></m:Items>"));
    return draft;
  }
  std::string Element(const std::string& name, const TItemId& original, const std::string& members,
                      const std::string& behind = {}) {
    return "<m:Items><t:" + name + ">" + members + IdElement("ReferenceItemId", original) + behind + "</t:" + name +
           "></m:Items>";
  }
  std::string Disposition() {
    return VqCreateDOM(LastExchange("CreateItem").request_body)
        .SelectSingleElement("/Envelope/Body/CreateItem", kSelectRequired)
        .GetAttribute("MessageDisposition")
        .utf8();
  }
};

class OldSmartResponses : public SmartResponses {
 protected:
  OldSmartResponses() : SmartResponses("Exchange2010_SP2") {}
};

// ---- What they are

TEST_F(SmartResponses, TheSubjectAlwaysGetsItsPrefix) {
  EXPECT_EQ(Original()->CreateReply(false)->GetSubject(), "RE: Hello");
  EXPECT_EQ(Original()->CreateReply(true)->GetSubject(), "RE: Hello");
  EXPECT_EQ(Original()->CreateForward()->GetSubject(), "FW: Hello");
  EXPECT_EQ(Original("RE: Hello")->CreateReply(false)->GetSubject(), "RE: RE: Hello");
  EXPECT_EQ(Original("FW: Hello")->CreateForward()->GetSubject(), "FW: FW: Hello");
  EXPECT_EQ(Original("AW: Hello")->CreateReply(false)->GetSubject(), "RE: AW: Hello");
}

TEST_F(SmartResponses, EachIsAnElementOfItsOwnThatNamesTheOriginal) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(false), all = mail->CreateReply(true), forward = mail->CreateForward();
  EXPECT_EQ(reply->GetItemType(), tReplyToItem);
  EXPECT_EQ(all->GetItemType(), tReplyAllToItem);
  EXPECT_EQ(forward->GetItemType(), tForwardItem);
  for (const auto& response : {reply, all, forward}) {
    EXPECT_TRUE(response->GetIsNewItem());
    EXPECT_EQ(response->GetReferenceItemId().GetId(), mail->GetID().Id);
    EXPECT_EQ(response->GetReferenceItemId().GetChangeKey(), mail->GetID().ChangeKey);
  }
  for (const auto& [response, name, subject] : {std::tuple{reply, "ReplyToItem", "RE: Hello"},
                                                {all, "ReplyAllToItem", "RE: Hello"},
                                                {forward, "ForwardItem", "FW: Hello"}}) {
    AnswerAsSent();
    response->SubmitMessage(true);
    EXPECT_EQ(Part("CreateItem", "Items"),
              Element(name, mail->GetID(), std::string("<t:Subject>") + subject + "</t:Subject>"));
  }
}

TEST_F(SmartResponses, WhatIsWrittenStandsInItsPlaces) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(true);
  reply->SetBodyText("Agreed & done.");
  reply->GetBccRecipients()->AddMailbox("", "dora@elsewhere.example");
  reply->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
  reply->GetFrom()->SetEmailAddress(kAlice);
  reply->SetIsDeliveryReceiptRequested(true);
  reply->SetIsReadReceiptRequested(true);
  reply->SetSubject("Other subject");
  EXPECT_EQ(reply->GetBodyText(), "Agreed & done.");
  EXPECT_EQ(reply->GetBody().GetBodyType(), btText);
  AnswerAsSent();
  reply->SubmitMessage(false);
  EXPECT_EQ(
      Part("CreateItem", "Items"),
      Element("ReplyAllToItem", mail->GetID(),
              "<t:Subject>Other subject</t:Subject><t:ToRecipients><t:Mailbox><t:Name>Bob</t:Name><t:EmailAddress>"
              "bob@example.com</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType></t:Mailbox></t:ToRecipients>"
              "<t:BccRecipients><t:Mailbox><t:EmailAddress>dora@elsewhere.example</t:EmailAddress><t:RoutingType>SMTP"
              "</t:RoutingType></t:Mailbox></t:BccRecipients><t:IsReadReceiptRequested>true</t:IsReadReceiptRequested>"
              "<t:IsDeliveryReceiptRequested>true</t:IsDeliveryReceiptRequested><t:From><t:Mailbox><t:EmailAddress>"
              "alice@example.com</t:EmailAddress></t:Mailbox></t:From>",
              "<t:NewBodyContent BodyType=\"Text\">Agreed &amp; done.</t:NewBodyContent>"));
}

TEST_F(SmartResponses, AnEmptyBodyTextMakesNoBody) {
  const auto reply = Original()->CreateReply(false);
  reply->SetBodyText("");
  EXPECT_FALSE(reply->AsElement().SelectSingleElement("NewBodyContent", kSelectQuiet));
  reply->SetBodyText("<p>x</p>");
  EXPECT_EQ(reply->GetBody().GetBodyType(), btHTML);
  reply->SetBodyText("");
  EXPECT_EQ(reply->GetBodyText(), "");
}

// An empty list would tell the server that nobody gets it.
TEST_F(SmartResponses, ReadingRecipientsSendsNone) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(false);
  for (const auto& list : {reply->GetToRecipients(), reply->GetCcRecipients(), reply->GetBccRecipients()}) {
    EXPECT_EQ(list->Count(), 0);
    EXPECT_EQ(list->GetAsString(), "");
    list->Remove("bob@example.com");
    list->Clear();
  }
  for (const auto& one : {reply->GetFrom(), reply->GetReceivedBy(), reply->GetReceivedRepresenting()})
    EXPECT_EQ(one->GetEmailAddress(), "");
  EXPECT_EQ(reply->GetToRecipients().get(), reply->GetToRecipients().get());
  EXPECT_EQ(reply->GetFrom().get(), reply->GetFrom().get());
  AnswerAsSent();
  reply->SubmitMessage(true);
  EXPECT_EQ(Part("CreateItem", "Items"), Element("ReplyToItem", mail->GetID(), "<t:Subject>RE: Hello</t:Subject>"));
}

// Meant so: the request is made with the response, and keeps its element.
TEST_F(SmartResponses, ALaterTypeChangesTheSubjectAndNotTheElement) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(false);
  reply->SetResponseType(srtForward);
  EXPECT_EQ(reply->GetSubject(), "FW: Hello");
  EXPECT_EQ(reply->GetItemType(), tForwardItem);
  AnswerAsSent();
  reply->SubmitMessage(true);
  EXPECT_EQ(Part("CreateItem", "Items"), Element("ReplyToItem", mail->GetID(), "<t:Subject>FW: Hello</t:Subject>"));
}

TEST_F(SmartResponses, ATypeThatIsNoneIsRefused) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(false);
  const auto none = static_cast<TVqEWSSmartResponseType>(7);
  EXPECT_EQ(MessageOf<EVqException>([&] { reply->SetResponseType(none); }),
            "The specified responsetype is not supported!");
  EXPECT_EQ(reply->GetItemType(), tReplyToItem);
  EXPECT_EQ(MessageOf<EVqException>([&] { MakeRef<TVqEWSSmartResponse>(&dynamic_cast<TVqEWSEMail&>(*mail), none); }),
            "The specified responsetype is not supported!");
}

TEST_F(SmartResponses, KeepTheirOriginalAlive) {
  auto mail = Original();
  const auto reply = mail->CreateReply(false);
  mail = nullptr;
  reply->SetResponseType(srtReplyAll);
  EXPECT_EQ(reply->GetSubject(), "RE: Hello");
  EXPECT_EQ(reply->GetMsgStore().get(), &Store());
}

// ---- Saving

TEST_F(SmartResponses, ASaveGivesTheDraft) {
  const auto reply = Original()->CreateReply(false);
  reply->SetBodyText("x");
  const TItemId id = AnswerWithDraft("<t:Subject>RE: Hello</t:Subject><t:Body BodyType=\"Text\">x and more</t:Body>");
  Forget();
  const TVqRef<IVqEWSEMail> draft = reply->SaveChanges(soAutoResolve);
  EXPECT_EQ(Operations(), (Names{"CreateItem", "GetItem", "GetItem", "GetItem"}));
  EXPECT_EQ(Disposition(), "SaveOnly");
  ASSERT_TRUE(draft);
  EXPECT_EQ(draft->GetID().Id, id.Id);
  EXPECT_EQ(reply->GetID().Id, id.Id);
  EXPECT_FALSE(reply->GetIsNewItem());
  EXPECT_EQ(reply->GetBodyText(), "x and more");  // the draft's
  draft->SetSubject("Changed");
  draft->SaveChanges(soAutoResolve);
  EXPECT_EQ(Mail(id)->GetSubject(), "Changed");
}

// Meant so: a response is always new.
TEST_F(SmartResponses, TheOptionOfASavePlaysNoPart) {
  for (const auto option : {soNeverOverwrite, soAutoResolve, soAlwaysOverwrite}) {
    const auto reply = Original()->CreateReply(false);
    AnswerWithDraft();
    EXPECT_TRUE(reply->SaveChanges(option));
    EXPECT_EQ(Request("CreateItem").find("ConflictResolution"), std::string::npos);
    reply->SaveChanges(option);  // behind the first, it is an update
    EXPECT_NE(Request("UpdateItem").find("ConflictResolution=\"AutoResolve\""), std::string::npos);
  }
}

TEST_F(SmartResponses, AsAnItemItIsSavedTheSame) {
  const auto reply = Original()->CreateReply(false);
  const TItemId id = AnswerWithDraft();
  const TVqRef<IVqEWSItem> item = reply;
  item->SaveChanges(soAlwaysOverwrite);
  EXPECT_EQ(Disposition(), "SaveOnly");
  EXPECT_EQ(reply->GetID().Id, id.Id);
  item->SetSubject("Changed");
  item->SaveChanges(soAlwaysOverwrite);
  EXPECT_NE(Request("UpdateItem").find("ConflictResolution=\"AutoResolve\""), std::string::npos);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Changed</t:Subject>"));
}

TEST_F(SmartResponses, ADraftWithoutAnIdIsNoSuccess) {
  const auto reply = Original()->CreateReply(false);
  reply->SetBodyText("x");
  AnswerAsSent();
  EXPECT_THROW(reply->SaveChanges(soAutoResolve), EVqEWSIdNotTold);
  EXPECT_TRUE(reply->GetIsNewItem());
  EXPECT_EQ(reply->GetBodyText(), "x");
}

// What other items lose on their way stays; only attachments do not go.
TEST_F(OldSmartResponses, GoOutAsTheyWereWritten) {
  const auto reply = Original()->CreateReply(false);
  reply->GetInternetMessageHeaders();  // makes an empty element
  reply->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  Attach(*reply, "a.txt", "aaa");
  AnswerWithDraft();
  RefuseNext("UpdateItem", "ErrorInternalServerError");  // the extended property once more, as for every item
  EXPECT_THROW(reply->SaveChanges(soAutoResolve), EEWSException);
  const std::string items = Part("CreateItem", "Items");
  EXPECT_NE(items.find("<t:InternetMessageHeaders/>"), std::string::npos) << items;
  EXPECT_NE(items.find("<t:ExtendedProperty>"), std::string::npos) << items;
  EXPECT_EQ(items.find("Attachment"), std::string::npos) << items;
}

TEST_F(SmartResponses, PicturesOfThisMachineStayHere) {
  const TemporaryFolder folder;
  const std::string file = folder.Path() + "/secret.png";
  TVqFileStream(file, TVqFileMode::fmCreate).Write("secret", 6);
  const auto reply = Original()->CreateReply(false);
  const std::string html = "<p><img src=\"file://" + file + "\"></p>";
  reply->SetBodyText(html);
  TEwsSmartResponse record(reply->AsElement());
  record.GetBody().SetBodyType(btHTML);
  record.GetBody().SetValue(html);
  AnswerAsSent();
  reply->SubmitMessage(true);
  const std::string request = Request("CreateItem");
  EXPECT_NE(request.find("file://" + file), std::string::npos) << request;
  EXPECT_EQ(request.find("cid:"), std::string::npos) << request;
  EXPECT_EQ(request.find("Attachment"), std::string::npos) << request;
}

// ---- Sending

// Meant so: a copy is always kept.
TEST_F(SmartResponses, AreSentWithACopyWhateverIsAskedFor) {
  for (const bool move : {true, false}) {
    const auto reply = Original()->CreateReply(false);
    AnswerAsSent();
    EXPECT_EQ(Sent([&] { reply->SubmitMessage(move); }), Names{"CreateItem"});
    EXPECT_EQ(Disposition(), "SendAndSaveCopy");
    EXPECT_EQ(Request("CreateItem").find("SavedItemFolderId"), std::string::npos);
    EXPECT_TRUE(reply->GetID().Id.empty());
    EXPECT_EQ(MessageOf<EVqException>([&] { reply->SubmitMessage(move); }), "The message has already been submitted!");
  }
}

TEST_F(SmartResponses, AnIdInTheAnswerToSendingIsTaken) {
  const auto reply = Original()->CreateReply(false);
  const TItemId id = AnswerWithDraft();
  EXPECT_EQ(Sent([&] { reply->SubmitMessage(true); }), (Names{"CreateItem", "GetItem"}));
  EXPECT_EQ(reply->GetID().Id, id.Id);
}

TEST_F(SmartResponses, AttachmentsInHandAreToldOfBeforeAnythingIsSent) {
  const auto reply = Original()->CreateReply(false);
  Attach(*reply, "a.txt", "aaa");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(MessageOf<EVqException>([&] { reply->SubmitMessage(true); }),
                        "Attachments of a response are not sent. Save the response, add them to the draft that "
                        "SaveChanges gives, and submit the draft.");
            }),
            Names{});
  reply->GetAttachments().Clear(true);
  AnswerAsSent();
  reply->SubmitMessage(true);
  EXPECT_EQ(Disposition(), "SendAndSaveCopy");
}

TEST_F(SmartResponses, ARefusalPassesThroughAndNothingIsLost) {
  const auto mail = Original();
  const auto reply = mail->CreateReply(false);
  reply->SetBodyText("long and careful");
  reply->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
  RefuseNext("CreateItem", "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { reply->SubmitMessage(true); }), "ErrorItemNotFound");
  EXPECT_EQ(reply->GetBodyText(), "long and careful");
  EXPECT_EQ(reply->GetToRecipients()->Count(), 1);
  // Saving what could not be sent does not send it.
  AnswerWithDraft();
  EXPECT_TRUE(reply->SaveChanges(soAutoResolve));
  EXPECT_EQ(Disposition(), "SaveOnly");
}

TEST_F(SmartResponses, ACopyThatCannotBeReadBackWentOutAllTheSame) {
  const auto reply = Original()->CreateReply(false);
  AnswerWithDraft();
  RefuseNext("GetItem", "ErrorItemNotFound");
  EXPECT_THROW(reply->SubmitMessage(true), EEWSException);
  EXPECT_EQ(MessageOf<EVqException>([&] { reply->SubmitMessage(true); }), "The message has already been submitted!");
}

TEST_F(SmartResponses, ASavedResponseIsSentAsTheDraftThatItIs) {
  const auto reply = Original()->CreateReply(false);
  AnswerWithDraft(
      "<t:Subject>RE: Hello</t:Subject><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress>"
      "</t:Mailbox></t:ToRecipients>");
  EXPECT_TRUE(reply->SaveChanges(soAutoResolve));
  reply->SetSubject("Changed since");
  reply->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u);
  EXPECT_THROW(reply->SubmitMessage(true), EVqException);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(SmartResponses, WhatTheyHandedOutRaisesBehindASave) {
  const auto reply = Original()->CreateReply(false);
  const auto to = reply->GetToRecipients();
  const auto from = reply->GetFrom();
  TEwsBody& body = reply->GetBody();
  AnswerWithDraft();
  reply->SaveChanges(soAutoResolve);
  EXPECT_THROW(to->Count(), EVqException);
  EXPECT_THROW(to->AddMailbox("x", "x@example.com"), EVqException);
  EXPECT_THROW(from->SetName("x"), EVqException);
  EXPECT_THROW(body.SetValue("x"), EVqException);
  EXPECT_EQ(reply->GetToRecipients()->Count(), 0);
  EXPECT_EQ(reply->GetFrom()->GetName(), reply->GetFrom()->GetName());
}

// ---- What arrives

class ResponsesInForm : public SaveTest, public ::testing::WithParamInterface<bool> {
 protected:
  ResponsesInForm()
      : SaveTest([] {
          simulator::Options options = TwoUsers();
          options.accept_departures = !GetParam();
          return options;
        }()) {
    Session().SetStrictSchema(GetParam());
  }
  /// The only message of a folder.
  TVqRef<IVqEWSEMail> Only(TDistinguishedFolderIdName folder) {
    const auto items = Folder(folder)->GetItems();
    items->GetFields().Add(FLD_ITEM_ITEMID);
    items->Open();
    EXPECT_EQ(items->Count(), 1);
    return Mail(items->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>());
  }
};

TEST_P(ResponsesInForm, AReplyReachesTheSenderInTheSameConversation) {
  const auto mail = Mail(AddMessage("Hello"));
  const auto reply = mail->CreateReply(false);
  reply->SetBodyText("Agreed.");
  reply->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  const auto sent = Only(dfinsentitems);
  EXPECT_EQ(sent->GetSubject(), "RE: Hello");
  EXPECT_EQ(sent->GetToRecipients()->GetAsString(), "Bob Birch <bob@example.com>");
  EXPECT_NE(sent->GetBodyText().utf8().find("Agreed."), std::string::npos);
  EXPECT_NE(sent->GetBodyText().utf8().find("Hello"), std::string::npos) << "quoted";
  EXPECT_EQ(sent->GetInReplyTo(), mail->GetInternetMessageId());
}

TEST_P(ResponsesInForm, AForwardTakesTheAttachmentsAlong) {
  const auto mail = Draft(
      "<t:Subject>With a file</t:Subject><t:Body BodyType=\"Text\">x</t:Body><t:Attachments>"
      "<t:FileAttachment><t:Name>a.txt</t:Name><t:Content>YWFh</t:Content></t:FileAttachment>"
      "</t:Attachments>");
  const auto forward = mail->CreateForward();
  forward->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
  forward->SetBodyText("<p>For you</p>");
  const auto draft = forward->SaveChanges(soAutoResolve);
  ASSERT_TRUE(draft);
  EXPECT_EQ(draft->GetSubject(), "FW: With a file");
  EXPECT_EQ(AttachmentsOf(*draft), "a.txt=aaa;");
  Attach(*draft, "b.txt", "bbb");
  draft->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(AttachmentsOf(*Only(dfinsentitems)), "a.txt=aaa;b.txt=bbb;");
}

TEST_P(ResponsesInForm, AnOriginalThatIsGoneIsTheServersToTell) {
  const auto mail = Mail(AddMessage("Hello"));
  const auto reply = mail->CreateReply(false);
  reply->SetBodyText("long and careful");
  Inbox()->DeleteItem(mail->GetID(), dtHardDelete);
  EXPECT_EQ(CodeOf([&] { reply->SubmitMessage(true); }), "ErrorItemNotFound");
  EXPECT_EQ(reply->GetBodyText(), "long and careful");
}

TEST_P(ResponsesInForm, ReplyToAllReachesAll) {
  const simulator::Id id =
      Server().AddMessage(kAlice, "inbox",
                          "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden <alice@example.com>\r\nCc: Eve "
                          "<eve@elsewhere.example>\r\nSubject: Hello\r\n\r\nx");
  const auto reply = Mail({id.id, id.change_key})->CreateReply(true);
  reply->SetBodyText("x");
  const auto draft = reply->SaveChanges(soAutoResolve);
  EXPECT_EQ(draft->GetToRecipients()->Count() + draft->GetCcRecipients()->Count(), 2);
}

INSTANTIATE_TEST_SUITE_P(Forms, ResponsesInForm, ::testing::Bool(),
                         [](const auto& strict) { return std::string(strict.param ? "Schema" : "Own"); });

}  // namespace
}  // namespace velmore::testing
