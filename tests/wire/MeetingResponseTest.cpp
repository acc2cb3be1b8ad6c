// Answers to invitations: what they say, how they are sent, what they do to the item that is answered.

#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/CalendarTestSupport.h"

namespace velmore::testing {
namespace {

class MeetingResponse : public CalendarTest {
 protected:
  using CalendarTest::CalendarTest;

  static std::string ItemsWith(const TItemId& id) {
    return "<m:Items><t:CalendarItem>" + IdElement("ItemId", id) + "</t:CalendarItem></m:Items>";
  }
  /// The next answer is taken, and this is what came of it.
  void AnswerSubmit(const std::string& items) { AnswerNext("CreateItem", ReplyOf("CreateItem", items)); }
  /// The item's element of the request that an answer sends.
  std::string Submitted(IVqEwsMeetingResponse& response, TMessageDispositionType disposition = mdpSendAndSaveCopy) {
    AnswerSubmit("<m:Items/>");
    response.Submit(disposition);
    return Part("CreateItem", "Items/*");
  }
  static std::string Answer(const std::string& element, const std::string& members) {
    return "<t:" + element + ">" + members + "</t:" + element + ">";
  }
};

TEST_F(MeetingResponse, NamesTheItemThatItAnswers) {
  const auto item = Appointment();
  struct TCase {
    TVqEWSMeetingResponseAction Action;
    const char* Element;
  };
  for (const auto& [action, element] :
       {TCase{raAccept, "AcceptItem"}, {raTentativelyAccept, "TentativelyAcceptItem"}, {raDecline, "DeclineItem"}}) {
    TVqRef<IVqEwsMeetingResponse> response;
    EXPECT_EQ(Sent([&] { response = item->CreateMeetingResponse(action); }), (Names{}));
    EXPECT_EQ(response->GetReferenceItemId().GetId(), item->GetID().Id);
    EXPECT_EQ(Submitted(*response), Answer(element, IdElement("ReferenceItemId", item->GetID())));
    EXPECT_EQ(Request("CreateItem").find("<m:CreateItem MessageDisposition=\"SendAndSaveCopy\"><m:Items>"), 0u);
  }
}

TEST_F(MeetingResponse, IsAnAcceptanceADoubtOrARefusal) {
  const auto item = Appointment();
  for (const auto action : {raNone, raReply, raReplyAll, raForward, raCancel, raRemoveFromCalendar,
                            raSuppressReadReceipt, raPostReply, static_cast<TVqEWSResponseAction>(99)}) {
    EXPECT_EQ(MessageOf<EVqException>([&] { item->CreateMeetingResponse(action); }), "Unsupported ResponseType");
  }
}

TEST_F(MeetingResponse, SaysWhatBecomesOfIt) {
  const auto item = Appointment();
  for (const auto& [disposition, text] :
       {std::pair{mdpSaveOnly, "SaveOnly"}, {mdpSendAndSaveCopy, "SendAndSaveCopy"}, {mdbSendOnly, "SendOnly"}}) {
    Submitted(*item->CreateMeetingResponse(raAccept), disposition);
    EXPECT_EQ(Attribute("CreateItem", "MessageDisposition"), text);
  }
}

TEST_F(MeetingResponse, MovesTheAnsweredItemOn) {
  const TItemId id = Add({});
  const auto item = Open(id), other = Open(id);
  other->SetLocation("Elsewhere");
  other->SaveChanges(soAutoResolve);  // the item has another key now, as if the answer had changed it
  const auto response = item->CreateMeetingResponse(raAccept);
  AnswerSubmit(ItemsWith(other->GetID()));
  response->Submit(mdpSaveOnly);
  EXPECT_EQ(response->GetID(), other->GetID());
  EXPECT_EQ(item->GetID(), other->GetID());
  item->SetSubject("Answered");
  item->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Answered</t:Subject>", "t:CalendarItem"));
}

TEST_F(MeetingResponse, WithoutAnIdInTheAnswerNothingMoves) {
  const auto item = Appointment();
  const TItemId id = item->GetID();
  const auto response = item->CreateMeetingResponse(raDecline);
  Submitted(*response, mdbSendOnly);
  EXPECT_EQ(item->GetID(), id);
  EXPECT_EQ(response->GetID(), TItemId());
}

TEST_F(MeetingResponse, MovesTheItemOnEvenWhenItWasLoadedAgainMeanwhile) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raAccept);
  item->SetLocation("Elsewhere");
  item->SaveChanges(soAutoResolve);
  AnswerSubmit(ItemsWith({"ID", "KEY"}));
  response->Submit(mdpSaveOnly);
  EXPECT_EQ(item->GetID(), (TItemId{"ID", "KEY"}));
}

TEST_F(MeetingResponse, ThatIsRefusedCanBeSentAgain) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raAccept);
  response->GetBody().SetBodyType(btText);
  response->GetBody().SetValue("Gladly");
  RefuseNext("CreateItem", "ErrorCalendarMeetingRequestIsOutOfDate");
  EXPECT_EQ(CodeOf([&] { response->Submit(mdpSendAndSaveCopy); }), "ErrorCalendarMeetingRequestIsOutOfDate");
  const std::string first = Part("CreateItem", "Items");
  Submitted(*response, mdbSendOnly);
  EXPECT_EQ(Part("CreateItem", "Items"), first);
  EXPECT_EQ(Attribute("CreateItem", "MessageDisposition"), "SendOnly");
}

TEST_F(MeetingResponse, WhoseAnswerIsNoneMayHaveGoneOut) {
  const auto item = Appointment();
  std::string reply = ReplyOf("CreateItem", "");
  for (std::size_t at; (at = reply.find("CreateItemResponseMessage")) != std::string::npos;)
    reply.replace(at, 6, "Other");
  AnswerNext("CreateItem", reply);
  EXPECT_NE(MessageOf<EVqEWSUnclearAnswer>([&] {
              item->CreateMeetingResponse(raAccept)->Submit(mdpSendAndSaveCopy);
            }).find("CreateItem may have been carried out."),
            std::string::npos);
}

// ---- Members

TEST_F(MeetingResponse, MembersStandInTheirOrder) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raTentativelyAccept);
  response->SetProposedEnd(At("2026-03-03T11:00:00Z"));
  response->SetProposedStart(At("2026-03-03T10:00:00Z"));
  response->GetFrom()->SetEmailAddress("alice@example.com");
  response->GetSender()->SetEmailAddress("assistant@example.com");
  response->SetIsDeliveryReceiptRequested(true);
  response->SetIsReadReceiptRequested(true);
  response->GetBccRecipients()->AddMailbox("", "d@example.com");
  response->GetCcRecipients()->AddMailbox("", "c@example.com");
  response->GetToRecipients()->AddMailbox("", "b@example.com");
  response->GetInternetMessageHeaders().GetInternetMessageHeader().Add().SetHeaderName("X-Test");
  response->GetBody().SetBodyType(btText);
  response->GetBody().SetValue("Later?");
  response->SetItemClass("IPM.Schedule.Meeting.Resp.Tent");
  const auto mailbox = [](const char* list, const char* address, const char* routing = "") {
    return std::string("<t:") + list + "><t:Mailbox><t:EmailAddress>" + address + "</t:EmailAddress>" + routing +
           "</t:Mailbox></t:" + list + ">";
  };
  const char* smtp = "<t:RoutingType>SMTP</t:RoutingType>";
  EXPECT_EQ(
      Submitted(*response),
      Answer("TentativelyAcceptItem",
             "<t:ItemClass>IPM.Schedule.Meeting.Resp.Tent</t:ItemClass><t:Body BodyType=\"Text\">Later?</t:Body>"
             "<t:InternetMessageHeaders><t:InternetMessageHeader HeaderName=\"X-Test\"/></t:InternetMessageHeaders>" +
                 mailbox("Sender", "assistant@example.com") + mailbox("ToRecipients", "b@example.com", smtp) +
                 mailbox("CcRecipients", "c@example.com", smtp) + mailbox("BccRecipients", "d@example.com", smtp) +
                 "<t:IsReadReceiptRequested>true</t:IsReadReceiptRequested><t:IsDeliveryReceiptRequested>true"
                 "</t:IsDeliveryReceiptRequested>" +
                 mailbox("From", "alice@example.com") + IdElement("ReferenceItemId", item->GetID()) +
                 "<t:ProposedStart>2026-03-03T10:00:00Z</t:ProposedStart>"
                 "<t:ProposedEnd>2026-03-03T11:00:00Z</t:ProposedEnd>"));
  EXPECT_EQ(response->GetProposedStart(), At("2026-03-03T10:00:00Z"));
  EXPECT_EQ(response->GetProposedEnd(), At("2026-03-03T11:00:00Z"));
  EXPECT_TRUE(response->GetIsReadReceiptRequested());
  EXPECT_TRUE(response->GetIsDeliveryReceiptRequested());
  EXPECT_EQ(response->GetItemClass(), "IPM.Schedule.Meeting.Resp.Tent");
  EXPECT_EQ(response->GetFrom(), response->GetFrom());
  EXPECT_EQ(response->GetToRecipients(), response->GetToRecipients());
}

TEST_F(MeetingResponse, ReadingSendsNothing) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raAccept);
  response->GetItemClass();
  EXPECT_EQ(response->GetSensitivity(), scNormal);
  response->GetBody();
  EXPECT_EQ(response->GetAttachments().Count(), 0);
  response->GetInternetMessageHeaders();
  response->GetSender()->GetEmailAddress();
  response->GetFrom()->GetEmailAddress();
  response->GetToRecipients();
  response->GetCcRecipients();
  response->GetBccRecipients();
  response->GetIsReadReceiptRequested();
  response->GetIsDeliveryReceiptRequested();
  response->GetObjectName();
  response->GetProposedStart();
  response->GetProposedEnd();
  EXPECT_EQ(Submitted(*response), Answer("AcceptItem", IdElement("ReferenceItemId", item->GetID())));
}

TEST_F(MeetingResponse, AttachmentsGoAlong) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raDecline);
  TVqMemoryStream stream("aaa");
  response->GetAttachments().AddAttachment("why.txt", "text/plain", stream);
  const std::string submitted = Submitted(*response);
  EXPECT_NE(submitted.find("<t:Attachments><t:FileAttachment><t:Name>why.txt</t:Name>"), std::string::npos);
  EXPECT_NE(submitted.find("<t:Content>YWFh</t:Content>"), std::string::npos);
}

// The property of MAPI, not the member. Meant so.
TEST_F(MeetingResponse, TheSensitivityIsAnExtendedProperty) {
  const auto item = Appointment();
  const auto response = item->CreateMeetingResponse(raAccept);
  response->SetSensitivity(scPrivate);
  EXPECT_EQ(response->GetSensitivity(), scPrivate);
  EXPECT_EQ(Submitted(*response),
            Answer("AcceptItem", IdElement("ReferenceItemId", item->GetID()) +
                                     "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x36\" "
                                     "PropertyType=\"Integer\"/><t:Value>2</t:Value></t:ExtendedProperty>"));
}

TEST_F(MeetingResponse, InTheSchemasFormTheSensitivityIsTheMember) {
  Session().SetStrictSchema(true);
  const auto item = Appointment();
  for (const auto& [value, text] : {std::pair{scNormal, "Normal"},
                                    {scPersonal, "Personal"},
                                    {scPrivate, "Private"},
                                    {scConfidential, "Confidential"}}) {
    const auto response = item->CreateMeetingResponse(raAccept);
    response->SetSensitivity(value);
    response->SetObjectName("none");
    EXPECT_EQ(Submitted(*response), Answer("AcceptItem", std::string("<t:Sensitivity>") + text + "</t:Sensitivity>" +
                                                             IdElement("ReferenceItemId", item->GetID())));
  }
}

TEST_F(MeetingResponse, InTheSchemasFormThereAreNoOtherExtendedProperties) {
  Session().SetStrictSchema(true);
  const auto response = Appointment()->CreateMeetingResponse(raAccept);
  response->PropertyByName(MPR_PRIORITY).SetAsInteger(1);
  EXPECT_EQ(MessageOf<EVqException>([&] { response->Submit(mdpSaveOnly); }),
            "The schema has no extended properties for the answer to an invitation.");
}

TEST_F(MeetingResponse, RecipientsAndAttachmentsOfAnAnswerThatIsGoneRaise) {
  TVqRef<IVqEWSRecipients> to;
  TVqRef<IVqEWSRecipient> from;
  {
    const auto response = Appointment()->CreateMeetingResponse(raAccept);
    to = response->GetToRecipients();
    from = response->GetFrom();
  }
  EXPECT_THROW(to->Count(), EVqException);
  EXPECT_THROW(from->SetName("x"), EVqException);
}

class MeetingResponseVersions : public MeetingResponse, public ::testing::WithParamInterface<const char*> {
 protected:
  MeetingResponseVersions() : MeetingResponse(GetParam()) {}
};

TEST_P(MeetingResponseVersions, TheChangeKeyGoesToLaterServers) {
  const auto item = Appointment();
  const bool later = Session().GetServerVersion() > Exchange2013;
  EXPECT_EQ(Submitted(*item->CreateMeetingResponse(raAccept)),
            Answer("AcceptItem", IdElement("ReferenceItemId", item->GetID(), later)));
}

TEST_P(MeetingResponseVersions, AnotherTimeIsProposedFromExchange2013On) {
  const auto response = Appointment()->CreateMeetingResponse(raTentativelyAccept);
  const std::pair<const char*, std::function<void()>> accessors[] = {
      {"GetProposedStart", [&] { response->GetProposedStart(); }},
      {"SetProposedStart", [&] { response->SetProposedStart(1.0); }},
      {"GetProposedEnd", [&] { response->GetProposedEnd(); }},
      {"SetProposedEnd", [&] { response->SetProposedEnd(1.0); }}};
  for (const auto& [name, call] : accessors) {
    if (Session().GetServerVersion() >= Exchange2013) {
      call();
    } else {
      EXPECT_EQ(MessageOf<EVqException>(call), std::string("\"") + name + "\" is not supported by " + GetParam() +
                                                   ". This feature requires Exchange Exchange2013!");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryVersion, MeetingResponseVersions,
                         ::testing::Values("Exchange2007_SP1", "Exchange2010_SP2", "Exchange2013", "Exchange2013_SP1",
                                           "Exchange2016"),
                         [](const auto& version) { return std::string(version.param); });

}  // namespace
}  // namespace velmore::testing
