// Out-of-office settings: read, changed, sent, and the answers that come of them.

#include "ews/stores/uVqEWSMailboxServices.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class OutOfOffice : public MailboxTest {
 protected:
  /// A reply of the service, with its settings and what the administrator allows.
  static std::string Settings(const std::string& settings, const std::string& allowed = {}) {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body>"
           "<m:GetUserOofSettingsResponse><m:ResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError"
           "</m:ResponseCode></m:ResponseMessage>" +
           settings + allowed + "</m:GetUserOofSettingsResponse></s:Body></s:Envelope>";
  }
  TVqRef<IVqEWSOOF> Answered(const std::string& reply) {
    AnswerNext("GetUserOofSettingsRequest", reply);
    return Store().GetOOF();
  }
  static TDateTime In(double hours) { return VqNow() + hours / 24; }

  /// Mail to Alice, and what the sender's mailbox then has.
  void Write(const std::string& from, const std::string& subject, const std::string& headers = {}) {
    Server().Deliver(kAlice, "From: " + from + "\r\nTo: alice@example.com\r\nMessage-ID: <" + subject +
                                 "@x>\r\nSubject: " + subject + "\r\n" + headers + "\r\nHello");
  }
  std::size_t Answers() const { return const_cast<OutOfOffice*>(this)->Server().CountItems(kBob, "inbox"); }
};

TEST_F(OutOfOffice, IsAskedForByTheOwnersAddress) {
  Store().GetIdentity();
  EXPECT_EQ(Sent([&] { Store().GetOOF(); }), Names{"GetUserOofSettingsRequest"});
  EXPECT_EQ(Request("GetUserOofSettingsRequest"),
            "<m:GetUserOofSettingsRequest><t:Mailbox><t:Address>alice@example.com</t:Address></t:Mailbox>"
            "</m:GetUserOofSettingsRequest>");
}

TEST_F(OutOfOffice, EachSettingStandsInItsPlace) {
  const auto oof = Answered(
      Settings("<t:OofSettings><t:OofState>Scheduled</t:OofState><t:ExternalAudience>Known</t:ExternalAudience>"
               "<t:Duration><t:StartTime>2026-08-03T00:00:00Z</t:StartTime><t:EndTime>2026-08-24T12:30:00Z</t:EndTime>"
               "</t:Duration><t:InternalReply xml:lang=\"en\"><t:Message>in &amp; out</t:Message></t:InternalReply>"
               "<t:ExternalReply><t:Message>far</t:Message></t:ExternalReply></t:OofSettings>",
               "<m:AllowExternalOof>All</m:AllowExternalOof>"));
  EXPECT_EQ(oof->GetState(), osScheduled);
  EXPECT_EQ(oof->GetExternalAudience(), eaKnown);
  EXPECT_EQ(oof->GetAllowExternalOof(), eaAll);
  EXPECT_EQ(oof->GetStartTime(), VqEncodeDate(2026, 8, 3));
  EXPECT_EQ(oof->GetEndTime(), VqEncodeDateTime({2026, 8, 24, 12, 30}));
  EXPECT_EQ(oof->GetInternalReply(), "in & out");
  EXPECT_EQ(oof->GetExternalReply(), "far");
}

TEST_F(OutOfOffice, WhatIsAllowedStandsBesideTheSettingsAndNotUnderThem) {
  const auto oof =
      Answered(Settings("<t:OofSettings><t:OofState>Enabled</t:OofState><t:ExternalAudience>None"
                        "</t:ExternalAudience><t:AllowExternalOof>All</t:AllowExternalOof>"
                        "</t:OofSettings>",
                        "<m:AllowExternalOof>Known</m:AllowExternalOof>"));
  EXPECT_EQ(oof->GetAllowExternalOof(), eaKnown);
}

TEST_F(OutOfOffice, WhatTheServerDoesNotTellIsTheFirstValueAndEmpty) {
  const auto oof = Answered(Settings(""));
  EXPECT_EQ(oof->GetState(), osDisabled);
  EXPECT_EQ(oof->GetExternalAudience(), eaNone);
  EXPECT_EQ(oof->GetAllowExternalOof(), eaNone);
  EXPECT_EQ(oof->GetStartTime(), TDateTime(0));
  EXPECT_EQ(oof->GetEndTime(), TDateTime(0));
  EXPECT_EQ(oof->GetInternalReply(), "");
  EXPECT_EQ(oof->GetExternalReply(), "");
}

TEST_F(OutOfOffice, NamesCountByTheirCase) {
  const auto oof = Answered(Settings("<t:OofSettings><t:oofstate>Enabled</t:oofstate></t:OofSettings>"));
  EXPECT_EQ(oof->GetState(), osDisabled);
}

TEST_F(OutOfOffice, SettingsLiveInMemoryUntilTheyAreApplied) {
  const auto oof = Answered(Settings(""));
  EXPECT_EQ(Sent([&] {
              oof->SetState(osScheduled);
              oof->SetExternalAudience(eaAll);
              oof->SetStartTime(VqEncodeDate(2040, 8, 3));
              oof->SetEndTime(VqEncodeDate(2040, 8, 24));
              oof->SetInternalReply("<b>in</b> & \"out\" \xF0\x9F\x98\x80");
              oof->SetExternalReply("far");
            }),
            Names{});
  EXPECT_EQ(oof->GetState(), osScheduled);
  EXPECT_EQ(oof->GetInternalReply(), "<b>in</b> & \"out\" \xF0\x9F\x98\x80");
  EXPECT_EQ(Sent([&] { oof->Apply(); }), Names{"SetUserOofSettingsRequest"});
  EXPECT_EQ(Request("SetUserOofSettingsRequest"),
            "<m:SetUserOofSettingsRequest><t:Mailbox><t:Address>alice@example.com</t:Address><t:RoutingType>SMTP"
            "</t:RoutingType></t:Mailbox><t:UserOofSettings><t:OofState>Scheduled</t:OofState><t:ExternalAudience>All"
            "</t:ExternalAudience><t:Duration><t:StartTime>2040-08-03T00:00:00Z</t:StartTime><t:EndTime>"
            "2040-08-24T00:00:00Z</t:EndTime></t:Duration><t:InternalReply><t:Message>&lt;b&gt;in&lt;/b&gt; &amp; "
            "\"out\" \xF0\x9F\x98\x80</t:Message></t:InternalReply><t:ExternalReply><t:Message>far</t:Message>"
            "</t:ExternalReply></t:UserOofSettings></m:SetUserOofSettingsRequest>");
  const auto again = Store().GetOOF();
  EXPECT_EQ(again->GetState(), osScheduled);
  EXPECT_EQ(again->GetExternalAudience(), eaAll);
  EXPECT_EQ(again->GetAllowExternalOof(), eaAll);
  EXPECT_EQ(again->GetStartTime(), VqEncodeDate(2040, 8, 3));
  EXPECT_EQ(again->GetEndTime(), VqEncodeDate(2040, 8, 24));
  EXPECT_EQ(again->GetInternalReply(), "<b>in</b> & \"out\" \xF0\x9F\x98\x80");
  EXPECT_EQ(again->GetExternalReply(), "far");
}

TEST_F(OutOfOffice, OnlyAScheduledAbsenceHasATime) {
  for (const TOofState state : {osDisabled, osEnabled, osScheduled}) {
    const auto oof = Store().GetOOF();
    oof->SetStartTime(In(1));
    oof->SetEndTime(In(2));
    oof->SetState(state);
    oof->Apply();
    EXPECT_EQ(Request("SetUserOofSettingsRequest").find("<t:Duration>") != std::string::npos, state == osScheduled);
  }
}

TEST_F(OutOfOffice, ClearSwitchesAScheduledAbsenceOff) {
  const auto oof = Store().GetOOF();
  oof->SetState(osScheduled);
  oof->SetExternalAudience(eaAll);
  oof->SetStartTime(In(1));
  oof->SetEndTime(In(2));
  oof->SetInternalReply("in");
  oof->SetExternalReply("far");
  oof->Apply();
  EXPECT_EQ(Sent([&] { oof->Clear(); }), Names{"SetUserOofSettingsRequest"});
  EXPECT_EQ(Request("SetUserOofSettingsRequest"),
            "<m:SetUserOofSettingsRequest><t:Mailbox><t:Address>alice@example.com</t:Address><t:RoutingType>SMTP"
            "</t:RoutingType></t:Mailbox><t:UserOofSettings><t:OofState>Disabled</t:OofState><t:ExternalAudience>None"
            "</t:ExternalAudience><t:InternalReply><t:Message/></t:InternalReply><t:ExternalReply><t:Message/>"
            "</t:ExternalReply></t:UserOofSettings></m:SetUserOofSettingsRequest>");
  EXPECT_EQ(oof->GetState(), osDisabled);
  EXPECT_EQ(oof->GetInternalReply(), "");
  EXPECT_EQ(Store().GetOOF()->GetExternalReply(), "");
}

TEST_F(OutOfOffice, WhatANewerServerSaysGoesBackAsItCame) {
  const auto oof = Answered(
      Settings("<t:OofSettings><t:OofState>Sometimes</t:OofState><t:ExternalAudience>Friends</t:ExternalAudience>"
               "</t:OofSettings>"));
  EXPECT_EQ(oof->GetState(), osDisabled);
  oof->SetInternalReply("in");
  RefuseNext("SetUserOofSettingsRequest", "ErrorInvalidUserOofSettings");
  EXPECT_EQ(CodeOf([&] { oof->Apply(); }), "ErrorInvalidUserOofSettings");
  const std::string request = Request("SetUserOofSettingsRequest");
  EXPECT_NE(request.find("<t:OofState>Sometimes</t:OofState><t:ExternalAudience>Friends</t:ExternalAudience>"),
            std::string::npos)
      << request;
}

TEST_F(OutOfOffice, ARefusalIsRaisedAndCanBeTriedAgain) {
  Store().GetIdentity();
  RefuseNext("GetUserOofSettingsRequest", "ErrorUnableToGetUserOofSettings");
  EXPECT_EQ(CodeOf([&] { Store().GetOOF(); }), "ErrorUnableToGetUserOofSettings");
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("in");
  RefuseNext("SetUserOofSettingsRequest", "ErrorInvalidUserOofSettings");
  EXPECT_EQ(CodeOf([&] { oof->Apply(); }), "ErrorInvalidUserOofSettings");
  EXPECT_EQ(oof->GetState(), osEnabled);
  oof->Apply();
  EXPECT_EQ(Store().GetOOF()->GetInternalReply(), "in");
}

TEST_F(OutOfOffice, AWarningIsARefusal) {
  Store().GetIdentity();
  simulator::Fault fault;
  fault.operation = "GetUserOofSettingsRequest";
  fault.response_code = "ErrorUnableToGetUserOofSettings";
  fault.warning = true;
  Server().AddFault(fault);
  EXPECT_EQ(CodeOf([&] { Store().GetOOF(); }), "ErrorUnableToGetUserOofSettings");
}

TEST_F(OutOfOffice, AnAnswerWithoutItsMessageIsToldByItsPath) {
  Store().GetIdentity();
  const std::string empty =
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:NAME "
      "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\"/></s:Body></s:Envelope>";
  const auto with = [&](const char* name) { return string(empty).Replace("NAME", name).utf8(); };
  AnswerNext("GetUserOofSettingsRequest", with("GetUserOofSettingsResponse"));
  EXPECT_EQ(MessageOf<EVqXMLError>([&] { Store().GetOOF(); }),
            "There is no \"/Envelope/Body/GetUserOofSettingsResponse/ResponseMessage\" in the document.");
  const auto oof = Store().GetOOF();
  AnswerNext("SetUserOofSettingsRequest", with("SetUserOofSettingsResponse"));
  EXPECT_EQ(MessageOf<EVqEWSUnclearAnswer>([&] { oof->Apply(); }),
            "There is no \"/Envelope/Body/SetUserOofSettingsResponse/ResponseMessage\" in the document. "
            "SetUserOofSettings may have been carried out.");
}

TEST_F(OutOfOffice, SettingsKeepTheirStoreAlive) {
  auto store = MakeRef<TVqEWSMsgStore>(&Session(), kAlice);
  const auto oof = store->GetOOF();
  store = nullptr;
  oof->SetInternalReply("in");
  oof->Apply();
  EXPECT_EQ(Store().GetOOF()->GetInternalReply(), "in");
}

TEST_F(OutOfOffice, ATimeThatIsNoneIsNotSent) {
  const auto oof =
      Answered(Settings("<t:OofSettings><t:OofState>Scheduled</t:OofState><t:Duration><t:StartTime>soon"
                        "</t:StartTime></t:Duration></t:OofSettings>"));
  EXPECT_THROW(oof->GetStartTime(), EConvertError);
  EXPECT_EQ(Sent([&] { EXPECT_THROW(oof->Apply(), EConvertError); }), Names{});
}

TEST_F(OutOfOffice, ATextThatXmlCannotCarryChangesNothing) {
  const auto oof = Store().GetOOF();
  oof->SetInternalReply("in");
  EXPECT_THROW(oof->SetInternalReply(std::string("a\x01", 2)), EVqXMLError);
  EXPECT_EQ(oof->GetInternalReply(), "in");
}

TEST_F(OutOfOffice, OfAnImpersonatingStoreAreAskedForAndSetInItsUsersName) {
  simulator::User service{"service", "service@example.com", "Service", "robot"};
  service.may_impersonate = true;
  Server().AddUser(service);
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetUserName("service");
  session.GetCredentials().SetPassword("robot");
  session.SetActive(true);
  const auto oof = session.OpenMsgStore(kBob)->GetOOF();
  oof->SetInternalReply("for Bob");
  oof->Apply();
  for (const char* operation : {"GetUserOofSettingsRequest", "SetUserOofSettingsRequest"}) {
    const std::string request = LastExchange(operation).request_body;
    EXPECT_NE(request.find("<t:PrimarySmtpAddress>bob@example.com</t:PrimarySmtpAddress>"), std::string::npos);
    EXPECT_NE(request.find("<t:Address>bob@example.com</t:Address>"), std::string::npos);
  }
}

// ---- What comes of it

TEST_F(OutOfOffice, EachSenderIsAnsweredOnceUntilTheSettingsAreSetAgain) {
  Write("bob@example.com", "before");
  EXPECT_EQ(Answers(), 0u);
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("<html><body>Away &uuml;ber <b>land</b></body></html>");
  oof->Apply();
  Write("Bob Birch <bob@example.com>", "first");
  Write("BOB@example.com", "second");
  EXPECT_EQ(Answers(), 1u);
  oof->Apply();
  Write("bob@example.com", "third");
  EXPECT_EQ(Answers(), 2u);
  oof->Clear();
  Write("bob@example.com", "fourth");
  EXPECT_EQ(Answers(), 2u);
}

TEST_F(OutOfOffice, TheAnswerSaysWhatItAnswers) {
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("Away until the 24th, \xC3\xBC.");
  oof->Apply();
  Write("bob@example.com", "Lamp");
  TVqEWSServiceSession bob;
  Configure(bob);
  bob.GetCredentials().SetUserName("bob");
  bob.GetCredentials().SetPassword("builder");
  bob.SetActive(true);
  const auto items = bob.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetItems();
  items->GetFields().Add(FLD_ITEM_ITEMID);
  items->Open();
  ASSERT_FALSE(items->Eof());
  const auto mail = Supports<IVqEWSEMail>(bob.OpenDefaultMsgStore()->GetItem(items->GetItemId()));
  EXPECT_EQ(mail->GetSubject(), "Automatic reply: Lamp");
  EXPECT_EQ(mail->GetFrom()->GetEmailAddress(), kAlice);
  EXPECT_EQ(mail->GetFrom()->GetName(), "Alice Arden");
  EXPECT_EQ(mail->GetInReplyTo(), "<Lamp@x>");
  EXPECT_NE(mail->GetBodyText().utf8().find("Away until the 24th, \xC3\xBC."), std::string::npos);
}

TEST_F(OutOfOffice, AScheduledAbsenceAnswersWhileItLasts) {
  const auto oof = Store().GetOOF();
  oof->SetState(osScheduled);
  oof->SetInternalReply("in");
  oof->SetStartTime(In(1));
  oof->SetEndTime(In(2));
  oof->Apply();
  Write("bob@example.com", "early");
  EXPECT_EQ(Answers(), 0u);
  oof->SetStartTime(In(-1));
  oof->Apply();
  Write("bob@example.com", "now");
  EXPECT_EQ(Answers(), 1u);
  oof->SetEndTime(In(-0.5));
  EXPECT_EQ(CodeOf([&] { oof->Apply(); }), "ErrorInvalidScheduledOofDuration");
  oof->SetEndTime(In(-2));
  EXPECT_EQ(CodeOf([&] { oof->Apply(); }), "ErrorInvalidScheduledOofDuration");
}

TEST_F(OutOfOffice, MachinesListsAndOnesOwnMailAreNotAnswered) {
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("in");
  oof->Apply();
  for (const char* header :
       {"Auto-Submitted: auto-replied\r\n", "X-Auto-Response-Suppress: DR, OOF\r\n",
        "X-Auto-Response-Suppress: All\r\n", "Precedence: bulk\r\n", "Precedence: list\r\n", "List-Id: <x.y>\r\n"})
    Write("bob@example.com", "automatic", header);
  EXPECT_EQ(Answers(), 0u);
  Write("alice@example.com", "mine");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 7u);
  Write("bob@example.com", "by hand", "Auto-Submitted: no\r\n");
  EXPECT_EQ(Answers(), 1u);
}

TEST_F(OutOfOffice, TwoWhoAreAwayDoNotAnswerEachOther) {
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("in");
  oof->Apply();
  TVqEWSServiceSession bob;
  Configure(bob);
  bob.GetCredentials().SetUserName("bob");
  bob.GetCredentials().SetPassword("builder");
  bob.SetActive(true);
  const auto his = bob.OpenDefaultMsgStore()->GetOOF();
  his->SetState(osEnabled);
  his->SetInternalReply("in, too");
  his->Apply();
  Write("bob@example.com", "Hello");
  EXPECT_EQ(Answers(), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
}

TEST_F(OutOfOffice, StrangersHearOfItAsTheAudienceSays) {
  Server().AddItem(kAlice, "contacts",
                   "<t:Contact><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">known@elsewhere.example</t:Entry>"
                   "</t:EmailAddresses></t:Contact>");
  const struct {
    TExternalAudience Audience;
    std::size_t Answers;
  } rows[] = {{eaNone, 0}, {eaKnown, 1}, {eaAll, 2}};
  std::size_t before = 0;
  for (const auto& row : rows) {
    const auto oof = Store().GetOOF();
    oof->SetState(osEnabled);
    oof->SetInternalReply("in");
    oof->SetExternalReply("far");
    oof->SetExternalAudience(row.Audience);
    oof->Apply();
    Write("known@elsewhere.example", "a");
    Write("stranger@elsewhere.example", "b");
    EXPECT_EQ(Server().SentOutside().size(), before + row.Answers) << row.Audience;
    before += row.Answers;
  }
  const std::string answer = Server().SentOutside().back();
  EXPECT_NE(answer.find("To: stranger@elsewhere.example"), std::string::npos) << answer;
  EXPECT_NE(answer.find("ZmFy"), std::string::npos) << answer;  // "far"
}

TEST_F(OutOfOffice, SettingsOfOthersAreTheirs) {
  const auto store = MakeRef<TVqEWSMsgStore>(&Session(), kBob);
  store->GetIdentity()->SetEmailAddress(kBob);
  EXPECT_EQ(CodeOf([&] { store->GetOOF(); }), "ErrorAccessDenied");
  store->GetIdentity()->SetEmailAddress("nobody@example.com");
  EXPECT_EQ(CodeOf([&] { store->GetOOF(); }), "ErrorMailRecipientNotFound");
}

}  // namespace
}  // namespace velmore::testing
