// What goes between a session and its server, looked at: nothing of it is a secret.

#include "SessionTestSupport.h"
#include "ews/session/uVqEWSTraffic.h"

namespace velmore::testing {
namespace {

TEST(TrafficMask, KnownSecretsWhereverTheyStand) {
  EXPECT_EQ(EwsMaskTexts("a geheim b geheim", {"geheim"}), "a **** b ****");
  EXPECT_EQ(EwsMaskTexts("abc", {"", "abc"}), "abc") << "too short to be looked for";
  EXPECT_EQ(EwsMaskTexts("****", {"****"}), "****");
}

TEST(TrafficOperation, IsTheFirstElementOfTheBody) {
  EXPECT_EQ(
      EwsOperationOf("<s:Envelope><s:Header><t:Body2/></s:Header><s:Body xmlns:x=\"urn:x\">\r\n <m:GetItem a=\"1\">"),
      "GetItem");
  EXPECT_EQ(EwsOperationOf("<Body><GetFolder/></Body>"), "GetFolder");
  EXPECT_EQ(EwsOperationOf("<Body>text</Body>"), "");
  EXPECT_EQ(EwsOperationOf("<Body"), "");
  EXPECT_EQ(EwsOperationOf("<Autodiscover/>"), "");
  EXPECT_EQ(EwsOperationOf(""), "");
}

class SessionTraffic : public SessionTest {
 protected:
  SessionTraffic() {
    Session.GetCredentials().SetUserName("ann");
    Session.GetCredentials().SetPassword("Geheim-4711");
    Session.SetOnRequest([this](TVqComponent& sender, const TVqEWSTraffic& traffic) {
      EXPECT_EQ(&sender, &Session);
      Requests.push_back(traffic);
    });
    Session.SetOnResponse([this](TVqComponent&, const TVqEWSTraffic& traffic) { Responses.push_back(traffic); });
  }
  static std::string Header(const TVqEWSTraffic& traffic, const std::string& name) {
    for (const auto& [header, value] : traffic.Headers) {
      if (header == name) return value;
    }
    return "(none)";
  }
  std::vector<TVqEWSTraffic> Requests, Responses;
};

TEST_F(SessionTraffic, EveryMessageIsSeen) {
  LogOn();
  ASSERT_EQ(Requests.size(), 1u);
  ASSERT_EQ(Responses.size(), 1u);
  EXPECT_EQ(Requests[0].Operation, "ConvertId");
  EXPECT_EQ(Requests[0].URL, Session.GetServiceUrl().utf8());
  EXPECT_EQ(Requests[0].Status, 0);
  EXPECT_EQ(Requests[0].Body, LastRequest().Body);
  EXPECT_EQ(Header(Requests[0], "Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(Responses[0].Operation, "ConvertIdResponse");
  EXPECT_EQ(Responses[0].Status, 200);
  EXPECT_EQ(Header(Responses[0], "Content-Type"), "text/xml; charset=utf-8");
  EXPECT_NE(Responses[0].Body.find("ServerVersionInfo"), std::string::npos);
  EXPECT_LT(Responses[0].Duration, std::chrono::seconds(10));
}

TEST_F(SessionTraffic, SecretsAreMasked) {
  LogOn();
  Server.Then(Http(
      "200 OK", Envelope("", "<m:GetItemResponse xmlns:m=\"urn:m\"><Token>abc</Token>Geheim-4711</m:GetItemResponse>"),
      "Set-Cookie: exchangecookie=abc\r\n"));
  TVqRef<IVqSOAPResponse> response;
  const auto request = Session.CreateRequest(nullptr, "m:GetItem", "");
  request->AddHTTPHeader("X-Access-Token", "abc");
  request->GetMethod().AddElement("t:Password").SetText("abc");
  request->GetMethod().AddElement("t:Other").SetText("Geheim-4711");
  request->Send(response);
  EXPECT_EQ(Header(Requests.back(), "X-Access-Token"), "****");
  EXPECT_NE(Requests.back().Body.find("<t:Password>****</t:Password><t:Other>****</t:Other>"), std::string::npos);
  EXPECT_EQ(Header(Responses.back(), "Set-Cookie"), "exchangecookie=****");
  EXPECT_NE(Responses.back().Body.find("<Token>****</Token>****</m:"), std::string::npos);
  EXPECT_NE(LastRequest().Body.find("Geheim-4711"), std::string::npos) << "what is sent is not masked";
  EXPECT_NE(response->GetDocument().GetXML().Pos("Geheim-4711"), string::npos) << "what is read neither";
  EXPECT_EQ(Session.GetExchangeCookie(), "abc");
}

TEST_F(SessionTraffic, WhatAHandlerRaisesEndsTheRequest) {
  LogOn();
  const std::size_t before = Server.Requests().size();
  Session.SetOnRequest([](TVqComponent&, const TVqEWSTraffic&) { throw std::runtime_error("Seen enough."); });
  EXPECT_THROW(Session.ConvertId({}, ifEwsId), std::runtime_error);
  EXPECT_EQ(Server.Requests().size(), before);
  Session.SetOnRequest(nullptr);
  ExpectUsable();
}

TEST_F(SessionTraffic, HandlerMayTakeItselfAway) {
  int seen = 0;
  Session.SetOnRequest([&](TVqComponent&, const TVqEWSTraffic&) {
    ++seen;
    Session.SetOnRequest(nullptr);
    ++seen;
  });
  LogOn();
  ExpectUsable();
  EXPECT_EQ(seen, 2);
}

TEST_F(SessionTraffic, RefusalsAreSeenToo) {
  Server.Then("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nnone");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  ASSERT_EQ(Responses.size(), 1u);
  EXPECT_EQ(Responses[0].Status, 404);
  EXPECT_EQ(Responses[0].Body, "none");
  EXPECT_EQ(Responses[0].Operation, "");
}

TEST_F(SessionTraffic, SeparateClientsAreNotLookedAt) {
  LogOn();
  const auto http = Session.CreateHTTPClient(true);
  const std::unique_ptr<TVqSOAPClient> soap(Session.CreateSOAPClient(http));
  Server.Then(Reply("GetItem", Success("GetItem")));
  TVqRef<IVqSOAPResponse> response;
  Session.CreateRequest(soap.get(), "m:GetItem", "")->Send(response);
  EXPECT_EQ(Requests.size(), 1u);
  EXPECT_EQ(Responses.size(), 1u);
}

}  // namespace
}  // namespace velmore::testing
