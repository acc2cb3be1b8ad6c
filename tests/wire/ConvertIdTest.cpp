// Ids in another form.

#include "SessionTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

/// The converted ids of an answer.
TVqXMLSchemaElementArray<TEwsAlternateId>& IdsOf(const TVqRef<IVqEwsNonEmptyArrayOfAlternateIds>& answer) {
  return answer->GetAlternateIds().GetAlternateId();
}
TVqEwsAlternateId IdOf(const TVqRef<IVqEwsNonEmptyArrayOfAlternateIds>& answer, std::int32_t at = 0) {
  const TEwsAlternateId& id = IdsOf(answer).GetItem(at);
  return {id.GetFormat(), id.GetId(), id.GetMailbox()};
}

class ConvertId : public SessionTest {
 protected:
  static std::string Converted(const std::string& format, const std::string& id, const std::string& mailbox) {
    return Success("ConvertId",
                   "<m:AlternateId xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                   "xsi:type=\"t:AlternateIdType\" Format=\"" +
                       format + "\" Id=\"" + id + "\" Mailbox=\"" + mailbox + "\"/>");
  }
};

TEST_F(ConvertId, GoesPastTheFrameOfOtherRequests) {
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/"));
  LogOn();
  Session.SetCurrentTimeZoneContext("W. Europe Standard Time");
  TVqOAuth oauth;
  oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
  Session.SetOAuth(oauth);
  Session.SetConnectingSID("boss@example.com");
  Server.Then(Reply("ConvertId", Converted("HexEntryId", "00AB", "ann@example.com")));
  const auto answer = Session.ConvertId(ifEwsId, "AAMk&", "ann@example.com", ifHexEntryId);
  EXPECT_EQ(
      Sent(LastRequest()),
      Expected(
          "<t:RequestServerVersion Version=\"Exchange2007_SP1\"/>",
          "<m:ConvertId DestinationFormat=\"HexEntryId\"><m:SourceIds><t:AlternateId Format=\"EwsId\" Id=\"AAMk&amp;\" "
          "Mailbox=\"ann@example.com\"/></m:SourceIds></m:ConvertId>"))
      << "the version alone: no time zone, no impersonation";
  EXPECT_EQ(LastRequest().Header("X-AnchorMailbox"), "");
  EXPECT_EQ(LastRequest().Header("X-PreferServerAffinity"), "");
  ASSERT_EQ(IdsOf(answer).Count(), 1);
  EXPECT_EQ(IdOf(answer, 0), (TVqEwsAlternateId{ifHexEntryId, "00AB", "ann@example.com"}));
}

TEST_F(ConvertId, AllFormatsDropTheirPrefix) {
  LogOn();
  const std::pair<TIdFormat, const char*> formats[] = {{ifEwsLegacyId, "EwsLegacyId"}, {ifEwsId, "EwsId"},
                                                       {ifEntryId, "EntryId"},         {ifHexEntryId, "HexEntryId"},
                                                       {ifStoreId, "StoreId"},         {ifOwaId, "OwaId"}};
  int number = 0;
  for (const auto& [format, text] : formats) {
    EXPECT_EQ(static_cast<int>(format), number++);
    Server.Then(Reply("ConvertId", Converted(text, "x", "")));
    EXPECT_EQ(IdOf(Session.ConvertId(format, "x", "", format)).Format, format);
    EXPECT_EQ(BodyOf(LastRequest().Body), std::string("<m:ConvertId DestinationFormat=\"") + text +
                                              "\"><m:SourceIds><t:AlternateId Format=\"" + text +
                                              "\" Id=\"x\" Mailbox=\"\"/></m:SourceIds></m:ConvertId>");
  }
}

TEST_F(ConvertId, SeveralIdsKeepTheirOrder) {
  LogOn();
  Server.Then(Reply("ConvertId", Converted("EwsId", "1", "a@b") + Converted("EwsId", "2", "c@d")));
  const auto answer = Session.ConvertId({{ifHexEntryId, "A", "a@b"}, {ifStoreId, "B", "c@d"}}, ifEwsId);
  EXPECT_EQ(BodyOf(LastRequest().Body),
            "<m:ConvertId DestinationFormat=\"EwsId\"><m:SourceIds><t:AlternateId Format=\"HexEntryId\" Id=\"A\" "
            "Mailbox=\"a@b\"/>"
            "<t:AlternateId Format=\"StoreId\" Id=\"B\" Mailbox=\"c@d\"/></m:SourceIds></m:ConvertId>");
  ASSERT_EQ(IdsOf(answer).Count(), 2);
  EXPECT_EQ(IdOf(answer, 1).Id, "2");
  EXPECT_THROW(IdOf(answer, 2), EListError);
  EXPECT_THROW(IdOf(answer, -1), EListError);
}

TEST_F(ConvertId, NoIdsSendAnEmptyList) {
  LogOn();
  Server.Then(Reply("ConvertId", ""));
  EXPECT_EQ(IdsOf(Session.ConvertId({}, ifEwsId)).Count(), 0);
  EXPECT_EQ(BodyOf(LastRequest().Body), "<m:ConvertId DestinationFormat=\"EwsId\"><m:SourceIds/></m:ConvertId>");
}

TEST_F(ConvertId, FirstRefusalIsRaised) {
  LogOn();
  Server.Then(Reply("ConvertId", Converted("EwsId", "1", "a@b") +
                                     Refusal("ConvertId", "ErrorInvalidIdMalformed", "Malformed.") +
                                     Refusal("ConvertId", "ErrorOther", "Other.")));
  ExpectRaised<EEWSException>(
      [&] { Session.ConvertId({}, ifEwsId); },
      [](const EEWSException& failure) { EXPECT_EQ(failure.Message(), "ErrorInvalidIdMalformed (Malformed.)."); });
  ExpectUsable();
}

TEST_F(ConvertId, ReplyWithoutMessagesIsAnError) {
  LogOn();
  Server.Then(Http(
      "200 OK",
      Envelope("", "<m:ConvertIdResponse xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\"/>")));
  EXPECT_THROW(Session.ConvertId({}, ifEwsId), EVqXMLError);
}

TEST_F(ConvertId, AnswerOutlivesTheSession) {
  auto session = std::make_unique<TTestSession>();
  session->SetServiceUrl(Server.Url("/"));
  Server.Then(ProbeAnswer({})).Then(Reply("ConvertId", Converted("EwsId", "1", "a@b")));
  session->SetActive(true);
  const auto answer = session->ConvertId({}, ifEwsId);
  session.reset();
  EXPECT_EQ(IdOf(answer, 0).Id, "1");
}

TEST_F(ConvertId, TypedRecordStandsOverTheMessages) {
  LogOn();
  Server.Then(Reply("ConvertId", Converted("EwsId", "1", "a@b")));
  const auto answer = Session.ConvertId({}, ifEwsId);
  EXPECT_TRUE(dynamic_cast<TVqEwsNonEmptyArrayOfAlternateIds*>(answer.get()));
  EXPECT_EQ(IdsOf(answer).Count(), 1);
}

// ---- Against a server that converts

using ConvertIdOnAServer = EWSTest;

TEST_F(ConvertIdOnAServer, ThereAndBackAgain) {
  const auto inbox = Session().OpenDefaultMsgStore()->GetFolderId(dfininbox);
  for (const TIdFormat format : {ifEwsLegacyId, ifEntryId, ifHexEntryId, ifStoreId, ifOwaId}) {
    const auto there = IdOf(Session().ConvertId(ifEwsId, inbox.Id, kAlice, format));
    EXPECT_EQ(there.Format, format);
    EXPECT_EQ(there.Mailbox, kAlice);
    EXPECT_EQ(there.Id == inbox.Id, format == ifEwsLegacyId);
    const auto back = IdOf(Session().ConvertId({there}, ifEwsId));
    EXPECT_EQ(back.Id, inbox.Id) << static_cast<int>(format);
  }
}

TEST_F(ConvertIdOnAServer, SeveralAtOnce) {
  const auto store = Session().OpenDefaultMsgStore();
  const string inbox = store->GetFolderId(dfininbox).Id, drafts = store->GetFolderId(dfindrafts).Id;
  const auto answer = Session().ConvertId({{ifEwsId, inbox, kAlice}, {ifEwsId, drafts, kAlice}}, ifHexEntryId);
  ASSERT_EQ(IdsOf(answer).Count(), 2);
  EXPECT_NE(IdOf(answer, 0).Id, IdOf(answer, 1).Id);
  EXPECT_EQ(IdOf(Session().ConvertId({IdOf(answer, 1)}, ifEwsId)).Id, drafts);
}

TEST_F(ConvertIdOnAServer, IdThatIsNoneIsRefused) {
  ExpectRaised<EEWSException>([&] { Session().ConvertId(ifHexEntryId, "00", kAlice, ifEwsId); },
                              [](const EEWSException& failure) {
                                EXPECT_TRUE(failure.Message().StartsWith(u"ErrorInvalidIdMalformed ("))
                                    << failure.what();
                              });
}

}  // namespace
}  // namespace velmore::testing
