// What stands around every request: header elements, HTTP headers, and the checks of every reply.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class SessionFraming : public SessionTest {
 protected:
  /// Sends an operation without content, and gives what went out.
  ScriptedServer::Request Ask(TVqSOAPClient* client = nullptr) {
    Server.Then(Reply("GetItem", Success("GetItem")));
    TVqRef<IVqSOAPResponse> response;
    Session.CreateRequest(client, "m:GetItem", "")->Send(response);
    return LastRequest();
  }
  static std::string Version(const char* name) {
    return std::string("<t:RequestServerVersion Version=\"") + name + "\"/>";
  }
  static std::string Impersonation(const char* address) {
    return std::string("<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>") + address +
           "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>";
  }
  void UseClientCredentials() {
    TVqOAuth oauth;
    oauth.SetClientId("");  // without an id the scheme stays the default one, so that no token is needed here
    oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
    Session.SetOAuth(oauth);
  }
};

TEST_F(SessionFraming, ClosedSessionMakesNoRequest) {
  EXPECT_EQ(PlainMessageOf([&] { Session.CreateRequest(nullptr, "m:GetItem", ""); }), "You must logon first!");
  EXPECT_EQ(PlainMessageOf([&] { Session.CheckActive(); }), "You must logon first!");
  EXPECT_EQ(PlainMessageOf([&] { Session.ConvertId({}, ifEwsId); }), "You must logon first!");
  EXPECT_TRUE(Server.Requests().empty());
}

TEST_F(SessionFraming, EnvelopeDeclaresFourNamespacesInOrder) {
  LogOn();
  EXPECT_TRUE(
      Ask().Body.starts_with("<?xml version=\"1.0\" encoding=\"utf-8\"?>"
                             "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                             "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
                             "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
                             "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><soap:Header>"))
      << LastRequest().Body;
}

TEST_F(SessionFraming, VersionIsAlwaysTold) {
  LogOn();
  EXPECT_EQ(Sent(Ask()), Expected(Version("Exchange2007_SP1"), "<m:GetItem/>"));
}

TEST_F(SessionFraming, TimeZoneContextStandsBehindTheVersion) {
  LogOn();
  Session.SetCurrentTimeZoneContext("W. Europe Standard Time");
  EXPECT_EQ(
      Sent(Ask()),
      Expected(Version("Exchange2007_SP1") +
                   "<t:TimeZoneContext><t:TimeZoneDefinition Id=\"W. Europe Standard Time\"/></t:TimeZoneContext>",
               "<m:GetItem/>"));
}

TEST_F(SessionFraming, EmptyTimeZoneContextIsNotSent) {
  LogOn();
  Session.SetCurrentTimeZoneContext("");
  EXPECT_EQ(Ask().Body.find("TimeZone"), std::string::npos);
}

TEST_F(SessionFraming, AnchorIsTheAutodiscoverAddress) {
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  LogOn();
  EXPECT_EQ(Ask().Header("X-AnchorMailbox"), "ann@example.com");
  EXPECT_EQ(LastRequest().Header("X-PreferServerAffinity"), "");
}

TEST_F(SessionFraming, WithoutAnyAddressThereIsNoAnchor) {
  LogOn();
  EXPECT_EQ(Ask().Header("X-AnchorMailbox"), "");
  EXPECT_EQ(Ask().Header("X-PreferServerAffinity"), "");
}

TEST_F(SessionFraming, AddressOfTheDefaultStoreWinsOverTheAutodiscoverAddress) {
  Session.SetAutodiscoverEMail("other@example.com");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  LogOn();
  // Opening the default store asks who that is.
  Server.Always([](const ScriptedServer::Request& request) { return StoreAnswer(request, "ann@example.com"); });
  Session.OpenDefaultMsgStore();
  TVqRef<IVqSOAPResponse> response;
  Session.CreateRequest(nullptr, "m:GetItem", "")->Send(response);
  EXPECT_EQ(LastRequest().Header("X-AnchorMailbox"), "ann@example.com");
}

TEST_F(SessionFraming, ClientCredentialsActAsTheConnectingSID) {
  LogOn();
  UseClientCredentials();
  Session.SetConnectingSID("boss@example.com");
  Session.SetAutodiscoverEMail("ann@example.com");
  const auto sent = Ask();
  EXPECT_EQ(Sent(sent), Expected(Version("Exchange2007_SP1") + Impersonation("boss@example.com"), "<m:GetItem/>"));
  EXPECT_EQ(sent.Header("X-AnchorMailbox"), "boss@example.com");
  EXPECT_EQ(sent.Header("X-PreferServerAffinity"), "true");
}

TEST_F(SessionFraming, ImpersonationIsBehindTheTimeZone) {
  LogOn();
  UseClientCredentials();
  Session.SetConnectingSID("boss@example.com");
  Session.SetCurrentTimeZoneContext("UTC-11");
  EXPECT_EQ(Sent(Ask()), Expected(Version("Exchange2007_SP1") +
                                      "<t:TimeZoneContext><t:TimeZoneDefinition Id=\"UTC-11\"/></t:TimeZoneContext>" +
                                      Impersonation("boss@example.com"),
                                  "<m:GetItem/>"));
}

TEST_F(SessionFraming, KindOfAddressIsAlwaysThePrimaryOneWhateverTheSettingSays) {
  LogOn();
  UseClientCredentials();
  Session.SetConnectingSID("S-1-5-21");
  for (const TConnectingSIDType type : {csPrincipalName, csSID, csPrimarySmtpAddress, csSmtpAddress}) {
    Session.SetConnectingSIDType(type);
    EXPECT_EQ(Sent(Ask()), Expected(Version("Exchange2007_SP1") + Impersonation("S-1-5-21"), "<m:GetItem/>"));
  }
}

TEST_F(SessionFraming, ClientCredentialsFallBackToTheAutodiscoverAddressWithoutAnAnchor) {
  LogOn();
  UseClientCredentials();
  Session.SetAutodiscoverEMail("ann@example.com");
  const auto sent = Ask();
  EXPECT_EQ(Sent(sent), Expected(Version("Exchange2007_SP1") + Impersonation("ann@example.com"), "<m:GetItem/>"));
  EXPECT_EQ(sent.Header("X-AnchorMailbox"), "");
  EXPECT_EQ(sent.Header("X-PreferServerAffinity"), "");
}

TEST_F(SessionFraming, ClientCredentialsWithoutAnyAddressSendAnEmptyOne) {
  LogOn();
  UseClientCredentials();
  const auto sent = Ask();
  EXPECT_EQ(Sent(sent), Expected(Version("Exchange2007_SP1") +
                                     "<t:ExchangeImpersonation><t:ConnectingSID>"
                                     "<t:PrimarySmtpAddress/></t:ConnectingSID></t:ExchangeImpersonation>",
                                 "<m:GetItem/>"));
  EXPECT_EQ(sent.Header("X-AnchorMailbox"), "");
}

TEST_F(SessionFraming, OtherGrantsNeverImpersonate) {
  LogOn();
  Session.SetConnectingSID("boss@example.com");
  for (const auto grant : {TVqOAuthGrantType::none, TVqOAuthGrantType::Authorize, TVqOAuthGrantType::Password}) {
    TVqOAuth oauth;
    oauth.SetGrantType(grant);
    Session.SetOAuth(oauth);
    EXPECT_EQ(Ask().Body.find("Impersonation"), std::string::npos);
    EXPECT_EQ(LastRequest().Header("X-AnchorMailbox"), "");
    EXPECT_EQ(LastRequest().Header("X-PreferServerAffinity"), "");
  }
}

TEST_F(SessionFraming, SeparateClientCarriesTheSameFrame) {
  LogOn();
  Session.SetCurrentTimeZoneContext("UTC-11");
  const auto http = Session.CreateHTTPClient(true);
  TVqSOAPClient* const soap = Session.CreateSOAPClient(http);
  const std::string own = Sent(Ask()), separate = Sent(Ask(soap));
  EXPECT_EQ(own, separate);
  EXPECT_EQ(LastRequest().Target(), "/EWS/Exchange.asmx");
  delete soap;
}

TEST_F(SessionFraming, HeadersOfTheTransport) {
  LogOn();
  const auto sent = Ask();
  EXPECT_EQ(sent.Header("Accept"), "text/xml");
  EXPECT_EQ(sent.Header("User-Agent"), "Velmore EWS Client");
  EXPECT_EQ(sent.Header("Host"), "127.0.0.1:" + std::to_string(Server.Port()));
  EXPECT_TRUE(sent.Head.starts_with("POST /EWS/Exchange.asmx HTTP/1.1\r\n"));
}

// ---- Replies

class ResponseErrors : public SessionFraming {
 protected:
  static IVqDOMElement Message(const std::string& attributes, const std::string& content) {
    return VqCreateDOM("<m:GetItemResponseMessage" + attributes + ">" + content + "</m:GetItemResponseMessage>")
        .GetDocumentElement();
  }
};

TEST_F(ResponseErrors, SuccessPasses) {
  EXPECT_NO_THROW(Session.CheckResponseError(Message(" ResponseClass=\"Success\"", "")));
}

TEST_F(ResponseErrors, EverythingElseRaisesWithTheCodeFirst) {
  for (const char* responseClass :
       {" ResponseClass=\"Error\"", " ResponseClass=\"Warning\"", " ResponseClass=\"success\"",
        " ResponseClass=\"Success \"", " ResponseClass=\"\"", ""}) {
    ExpectRaised<EEWSException>(
        [&] {
          Session.CheckResponseError(Message(responseClass,
                                             "<m:MessageText>The item is gone.</m:MessageText>"
                                             "<m:ResponseCode>ErrorItemNotFound</m:ResponseCode>"));
        },
        [](const EEWSException& failure) {
          EXPECT_EQ(failure.Message(), "ErrorItemNotFound (The item is gone.).");
          EXPECT_EQ(failure.EWSErrorCode(), "The item is gone.");
          EXPECT_EQ(failure.HTTPErrorCode(), 0u);
        });
  }
}

TEST_F(ResponseErrors, RefusalWithoutCodeOrTextIsAnErrorOfItsOwn) {
  EXPECT_THROW(Session.CheckResponseError(Message("", "<m:MessageText>a</m:MessageText>")), EVqXMLError);
  EXPECT_THROW(Session.CheckResponseError(Message("", "<m:ResponseCode>a</m:ResponseCode>")), EVqXMLError);
}

TEST_F(ResponseErrors, TextsOfTheServerAreCut) {
  const auto refuse = [&](const std::string& code, const std::string& text) {
    Session.CheckResponseError(
        Message("", "<m:MessageText>" + text + "</m:MessageText><m:ResponseCode>" + code + "</m:ResponseCode>"));
  };
  const auto refusal = [&](const std::string& code, const std::string& text) {
    std::string message;
    ExpectRaised<EEWSException>([&] { refuse(code, text); },
                                [&](const EEWSException& failure) { message = failure.what(); });
    return message;
  };
  const std::string huge(1 << 20, 'x'), most = std::string(Session.GetLimits().TextLength, 'x') + "...";
  EXPECT_EQ(refusal("ErrorA", huge), "ErrorA (" + most + ").");
  EXPECT_EQ(refusal(huge, "text"), most.substr(0, most.size() - 1) + " (text).") << "of the code one point is dropped";
  EXPECT_EQ(refusal("ErrorA", "two\nlines"), "ErrorA (two\nlines).");
  EXPECT_EQ(refusal("Error\tA", "text"), "Error A (text).") << "a code has no control characters";
  TVqHTTPLimits limits;
  limits.TextLength = 4;
  Session.SetLimits(limits);
  EXPECT_EQ(refusal("Err", "abcde"), "Err (abcd...).");
  ExpectRaised<EEWSServerBusy>(
      [&] { refuse("ErrorServerBusy", "abcde"); },
      [](const EEWSServerBusy& busy) { EXPECT_STREQ(busy.what(), "Erro.. (abcd...).") << "known by its whole code"; });
  EXPECT_EQ(refusal("Err", "abc\xF0\x9F\x98\x80"), "Err (abc...).") << "not in the middle of a character";
  limits.TextLength = 0;
  Session.SetLimits(limits);
  EXPECT_EQ(refusal("Err", huge), "Err (" + huge + ").");
}

TEST_F(ResponseErrors, BusyServerInAResponseMessageTellsItsHint) {
  const auto raise = [&](const std::string& xml) {
    Session.CheckResponseError(Message(" ResponseClass=\"Error\"",
                                       "<m:MessageText>Later.</m:MessageText>"
                                       "<m:ResponseCode>ErrorServerBusy</m:ResponseCode>" +
                                           xml));
  };
  ExpectRaised<EVqServerBusy>(
      [&] { raise("<m:MessageXml><t:Value Name=\"BackOffMilliseconds\">1500</t:Value></m:MessageXml>"); },
      [](const EVqServerBusy& busy) {
        EXPECT_EQ(busy.GetRetryAfter(), 1500);
        EXPECT_STREQ(busy.Failure().what(), "ErrorServerBusy (Later.).");
      });
  ExpectRaised<EEWSException>(
      [&] { raise(""); },
      [](const EEWSException& failure) { EXPECT_EQ(dynamic_cast<const EVqServerBusy&>(failure).GetRetryAfter(), 0); });
}

// ---- The cookie

TEST_F(SessionFraming, ExchangeCookieIsKeptUntilLogoff) {
  Server.Then(Http("200 OK", Envelope(VersionHeader({}), "<ConvertIdResponse/>"),
                   "Set-Cookie: exchangecookie=one; path=/\r\n"));
  Session.SetActive(true);
  EXPECT_EQ(Session.GetExchangeCookie(), "one");
  Server.Then(Http("200 OK", Envelope("", "<GetItemResponse/>"), "Set-Cookie: exchangecookie=; path=/\r\n"))
      .Then(Http("200 OK", Envelope("", "<GetItemResponse/>")))
      .Then(Http("200 OK", Envelope("", "<GetItemResponse/>"), "Set-Cookie: ExchangeCookie=two; path=/\r\n"));
  TVqRef<IVqSOAPResponse> response;
  const auto request = Session.CreateRequest(nullptr, "m:GetItem", "");
  request->Send(response);
  EXPECT_EQ(Session.GetExchangeCookie(), "one") << "an empty value clears nothing";
  request->Send(response);
  EXPECT_EQ(Session.GetExchangeCookie(), "one");
  request->Send(response);
  EXPECT_EQ(Session.GetExchangeCookie(), "two");
  Session.SetActive(false);
  EXPECT_EQ(Session.GetExchangeCookie(), "");
}

TEST_F(SessionFraming, SeparateClientDoesNotReportItsCookie) {
  LogOn();
  const auto http = Session.CreateHTTPClient(true);
  TVqSOAPClient* const soap = Session.CreateSOAPClient(http);
  Server.Then(Http("200 OK", Envelope("", "<GetItemResponse/>"), "Set-Cookie: exchangecookie=other; path=/\r\n"));
  TVqRef<IVqSOAPResponse> response;
  Session.CreateRequest(soap, "m:GetItem", "")->Send(response);
  EXPECT_EQ(Session.GetExchangeCookie(), "");
  delete soap;
}

}  // namespace
}  // namespace velmore::testing
