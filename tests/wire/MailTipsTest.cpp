// What is worth knowing before one writes to somebody.

#include "platform/common/uVqDateTimeUtils.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class MailTips : public MailboxTest {
 protected:
  static simulator::Options People() {
    simulator::Options options = TwoUsers();
    options.users[1].delivery = {"Ask <b>Carol</b> & co first", true, {"carol@example.com"}, 5000};
    options.users.push_back({"carol", "carol@example.com", "Carol Cedar", "cembalo"});
    options.users[2].quota_bytes = 1;
    options.directory = {{"dora@elsewhere.example", "Dora"}};
    options.lists = {
        {"all@example.com", "All", {kAlice, kBob, "more@example.com"}, false, {"Everybody reads this"}},
        {"more@example.com", "More", {"carol@example.com", kBob, "dora@elsewhere.example", "all@example.com"}}};
    return options;
  }
  MailTips() : MailboxTest(People()) {}

  static TVqStrings Addresses(std::initializer_list<const char*> addresses) {
    TVqStrings list;
    for (const char* address : addresses) list.Add(address);
    return list;
  }
  static std::string Reply(const std::string& messages) {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetMailTipsResponse "
           "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\" ResponseClass=\"Success\">"
           "<ResponseCode>NoError</ResponseCode><ResponseMessages>" +
           messages + "</ResponseMessages></GetMailTipsResponse></s:Body></s:Envelope>";
  }
  static std::string Message(const std::string& code, const std::string& tips) {
    return "<MailTipsResponseMessageType ResponseClass=\"" + std::string(code == "NoError" ? "Success" : "Error") +
           "\"><ResponseCode>" + code + "</ResponseCode>" + tips + "</MailTipsResponseMessageType>";
  }
};

TEST_F(MailTips, AreAskedForInTheNameOfTheDefaultStoresOwner) {
  Session();
  EXPECT_EQ(Sent([&] {
              Session().GetMailTips(Addresses({kBob, "<x> & \"y\"@example.com"}));
            }),
            (Names{"GetFolder", "ConvertId", "ResolveNames", "GetMailTips"}));
  EXPECT_EQ(
      Request("GetMailTips"),
      "<m:GetMailTips><m:SendingAs><t:EmailAddress>alice@example.com</t:EmailAddress><t:RoutingType>SMTP"
      "</t:RoutingType></m:SendingAs><m:Recipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress>"
      "<t:RoutingType>SMTP</t:RoutingType></t:Mailbox><t:Mailbox><t:EmailAddress>&lt;x&gt; &amp; \"y\"@example.com"
      "</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType></t:Mailbox></m:Recipients><m:MailTipsRequested>All"
      "</m:MailTipsRequested></m:GetMailTips>");
}

TEST_F(MailTips, OfOneAreTheFirstOfAList) {
  const auto tips = Session().GetMailTips(kBob);
  EXPECT_EQ(tips->GetRecipientAddress().GetEmailAddress(), kBob);
  EXPECT_EQ(Request("GetMailTips").find("alice@example.com"), Request("GetMailTips").rfind("alice@example.com"));
}

TEST_F(MailTips, TellWhatARecipientTakes) {
  const auto bob = Session().GetMailTips(kBob);
  EXPECT_EQ(bob->GetRecipientAddress().GetName(), "Bob Birch");
  EXPECT_EQ(bob->GetCustomMailTip(), "Ask <b>Carol</b> & co first");
  EXPECT_TRUE(bob->GetIsModerated());
  EXPECT_TRUE(bob->GetDeliveryRestricted());
  EXPECT_EQ(bob->GetMaxMessageSize(), 5000);
  EXPECT_FALSE(bob->GetMailboxFull());
  EXPECT_FALSE(bob->GetInvalidRecipient());
  EXPECT_EQ(bob->GetTotalMemberCount(), 1);
  EXPECT_EQ(bob->GetExternalMemberCount(), 0);
  EXPECT_EQ(bob->GetPendingMailTips(), TMailTipSet{});
  EXPECT_EQ(bob->GetOutOfOffice().GetReplyBody().GetMessage_(), "");
  EXPECT_EQ(bob->GetScope(), 0);
  EXPECT_FALSE(bob->GetPreferAccessibleContent());
  EXPECT_EQ(bob->GetRecipientSuggestions().GetRecipientSuggestion().Count(), 0);
  const auto alice = Session().GetMailTips(kAlice);
  EXPECT_EQ(alice->GetCustomMailTip(), "");
  EXPECT_FALSE(alice->GetIsModerated());
  EXPECT_FALSE(alice->GetDeliveryRestricted());
  EXPECT_GT(alice->GetMaxMessageSize(), 1000000);
}

TEST_F(MailTips, WhatTheySayOfDeliveryIsTrue) {
  const auto send = [&](const std::string& body) {
    const auto mail = Supports<IVqEWSEMail>(Folder(dfindrafts)->CreateItem(tMessage));
    mail->GetToRecipients()->Add(kBob);
    mail->SetSubject("S");
    mail->SetBodyText(string(body));
    mail->SubmitMessage(false);
  };
  send("restricted");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u) << "it came back";
}

TEST_F(MailTips, TellWhoIsAwayAndForHowLong) {
  const auto oof = Store().GetOOF();
  oof->SetState(osEnabled);
  oof->SetInternalReply("Back soon");
  oof->Apply();
  EXPECT_EQ(Session().GetMailTips(kAlice)->GetOutOfOffice().GetReplyBody().GetMessage_(), "Back soon");
  EXPECT_EQ(Session().GetMailTips(kAlice)->GetOutOfOffice().GetDuration().GetEndTime(), TDateTime(0));
  const TDateTime hour = VqFromUnixMilliseconds(VqToUnixMilliseconds(VqNow()) / 3600000 * 3600000);
  oof->SetState(osScheduled);
  oof->SetStartTime(hour - 1);
  oof->SetEndTime(hour + 1);
  oof->Apply();
  const auto tips = Session().GetMailTips(kAlice);
  EXPECT_EQ(tips->GetOutOfOffice().GetDuration().GetStartTime(), hour - 1);
  EXPECT_EQ(tips->GetOutOfOffice().GetDuration().GetEndTime(), hour + 1);
  oof->SetStartTime(hour + 1);
  oof->SetEndTime(hour + 2);
  oof->Apply();
  EXPECT_EQ(Session().GetMailTips(kAlice)->GetOutOfOffice().GetReplyBody().GetMessage_(), "") << "not yet";
}

TEST_F(MailTips, TellOfFullMailboxesLargeAudiencesStrangersAndNobody) {
  Server().AddMessage("carol@example.com", "inbox", MimeOf("too much"));
  const auto tips =
      Session().GetMailTips(Addresses({"carol@example.com", "all@example.com", "x@far.example", "nobody@example.com"}));
  ASSERT_EQ(tips.size(), 4u);
  EXPECT_TRUE(tips[0]->GetMailboxFull());
  EXPECT_EQ(tips[1]->GetTotalMemberCount(), 4) << "each person once, lists in lists and in circles included";
  EXPECT_EQ(tips[1]->GetExternalMemberCount(), 1);
  EXPECT_EQ(tips[1]->GetCustomMailTip(), "Everybody reads this");
  EXPECT_EQ(tips[1]->GetRecipientAddress().GetMailboxType(), mtPublicDL);
  EXPECT_EQ(tips[2]->GetExternalMemberCount(), 1);
  EXPECT_FALSE(tips[2]->GetInvalidRecipient());
  EXPECT_TRUE(tips[3]->GetInvalidRecipient());
}

TEST_F(MailTips, AreAllOrNothing) {
  EXPECT_EQ(RefusalOf([&] {
              Session().GetMailTips(Addresses({kBob, "no address", "nor this"}));
            }),
            "Failed to get the mailtips for no address! (ErrorInvalidRecipients).|ErrorInvalidRecipients");
}

TEST_F(MailTips, EveryOtherCodeEndsTheCall) {
  Session();
  for (const char* code : {"ErrorX", "", "noerror"}) {
    AnswerNext("GetMailTips", Reply(Message("NoError", "<MailTips/>") + Message(code, "<MailTips/>")));
    EXPECT_EQ(RefusalOf([&] {
                Session().GetMailTips(Addresses({kBob, "100% sure"}));
              }),
              std::string("Failed to get the mailtips for 100% sure! (") + code + ").|" + code);
  }
  AnswerNext("GetMailTips", Reply("<MailTipsResponseMessageType ResponseClass=\"Success\"/>"));
  EXPECT_EQ(RefusalOf([&] { Session().GetMailTips(kBob); }), "Failed to get the mailtips for bob@example.com! ().|");
  // More answers than questions.
  AnswerNext("GetMailTips", Reply(Message("NoError", "<MailTips/>") + Message("ErrorX", "")));
  EXPECT_EQ(RefusalOf([&] { Session().GetMailTips(kBob); }), "Failed to get the mailtips for ! (ErrorX).|ErrorX");
}

TEST_F(MailTips, AnAnswerWithoutTipsRaises) {
  Session();
  AnswerNext("GetMailTips", Reply(""));
  EXPECT_EQ(RefusalOf([&] { Session().GetMailTips(kBob); }), "The server gave no mail tips for bob@example.com.|");
  AnswerNext("GetMailTips", Reply(Message("NoError", "")));
  EXPECT_THROW(Session().GetMailTips(kBob), EVqXMLError);
  AnswerNext("GetMailTips", Reply(""));
  EXPECT_TRUE(Session().GetMailTips(TVqStrings()).empty());
}

TEST_F(MailTips, ReadEverythingThatAServerTells) {
  Session();
  AnswerNext("GetMailTips",
             Reply(Message("NoError",
                           "<MailTips><t:RecipientAddress><t:EmailAddress>e@x.example</t:EmailAddress>"
                           "</t:RecipientAddress><t:PendingMailTips>OutOfOfficeMessage MaxMessageSize"
                           "</t:PendingMailTips><t:OutOfOffice><t:ReplyBody xml:lang=\"en\"><t:Message>m</t:Message>"
                           "</t:ReplyBody></t:OutOfOffice><t:MailboxFull>true</t:MailboxFull><t:CustomMailTip>c"
                           "</t:CustomMailTip><t:TotalMemberCount>7</t:TotalMemberCount><t:ExternalMemberCount>3"
                           "</t:ExternalMemberCount><t:MaxMessageSize>9</t:MaxMessageSize><t:DeliveryRestricted>true"
                           "</t:DeliveryRestricted><t:IsModerated>true</t:IsModerated><t:InvalidRecipient>true"
                           "</t:InvalidRecipient><t:Scope>5</t:Scope><t:RecipientSuggestions><t:RecipientSuggestion>"
                           "<t:DisplayName>D</t:DisplayName><t:EmailAddress>d@x</t:EmailAddress>"
                           "</t:RecipientSuggestion></t:RecipientSuggestions><t:PreferAccessibleContent>true"
                           "</t:PreferAccessibleContent></MailTips>")));
  const auto tips = Session().GetMailTips(kBob);
  EXPECT_EQ(tips->GetRecipientAddress().GetEmailAddress(), "e@x.example");
  EXPECT_EQ(tips->GetPendingMailTips(), (TMailTipSet{mtOutOfOfficeMessage, mtMaxMessageSize}));
  EXPECT_EQ(tips->GetOutOfOffice().GetReplyBody().GetLang(), "en");
  EXPECT_TRUE(tips->GetMailboxFull());
  EXPECT_EQ(tips->GetCustomMailTip(), "c");
  EXPECT_EQ(tips->GetTotalMemberCount(), 7);
  EXPECT_EQ(tips->GetExternalMemberCount(), 3);
  EXPECT_EQ(tips->GetMaxMessageSize(), 9);
  EXPECT_TRUE(tips->GetDeliveryRestricted());
  EXPECT_TRUE(tips->GetIsModerated());
  EXPECT_TRUE(tips->GetInvalidRecipient());
  EXPECT_EQ(tips->GetScope(), 5);
  EXPECT_EQ(tips->GetRecipientSuggestions().GetRecipientSuggestion().GetItem(0).GetEmailAddress(), "d@x");
  EXPECT_TRUE(tips->GetPreferAccessibleContent());
}

TEST_F(MailTips, InSomebodyElsesNameAreRefused) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetActive(true);
  simulator::Fault fault;
  fault.operation = "ResolveNames";
  fault.replace_body = true;
  fault.content_type = "text/xml; charset=utf-8";
  fault.body = ReplyOf("ResolveNames",
                       "<m:ResolutionSet><t:Resolution><t:Mailbox><t:Name>Bob</t:Name><t:EmailAddress>bob@example.com"
                       "</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType><t:MailboxType>Mailbox</t:MailboxType>"
                       "</t:Mailbox></t:Resolution></m:ResolutionSet>");
  Server().AddFault(fault);
  EXPECT_EQ(RefusalOf([&] { session.GetMailTips(kAlice); }),
            "Failed to get the mailtips for alice@example.com! (ErrorSendAsDenied).|ErrorSendAsDenied");
}

}  // namespace
}  // namespace velmore::testing
