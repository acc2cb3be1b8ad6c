// How a message is made and what goes over the wire.

#include "SOAPTestSupport.h"

namespace velmore::testing {
namespace {

using SOAPRequest = SOAPTest;

TEST_F(SOAPRequest, GoesOutWholeAsItWasMade) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse/>")));
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  request->AddSOAPHeader("t:RequestServerVersion").SetAttribute("Version", "Exchange2016");
  request->GetMethod().AddElement("m:ItemIds").AddElement("t:ItemId").SetAttribute("Id", "Ä&\"<");
  request->AddHTTPHeader("X-AnchorMailbox", "ann@example.com");
  TVqRef<IVqSOAPResponse> response;
  request->Send(response, TVqSOAPSendKind::synchronous);

  ASSERT_EQ(Server.Requests().size(), 1u);
  const auto sent = Server.Requests()[0];
  EXPECT_EQ(sent.Method(), "POST");
  EXPECT_EQ(sent.Target(), "/ews");
  EXPECT_EQ(sent.Header("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(sent.Header("SOAPAction"), "\"\"");
  EXPECT_EQ(sent.Header("X-AnchorMailbox"), "ann@example.com");
  EXPECT_EQ(sent.Body,
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
            "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
            "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
            "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\">"
            "<soap:Header><t:RequestServerVersion Version=\"Exchange2016\"/></soap:Header>"
            "<soap:Body><m:GetItem><m:ItemIds><t:ItemId Id=\"Ä&amp;&quot;&lt;\"/></m:ItemIds></m:GetItem></soap:Body>"
            "</soap:Envelope>");
  EXPECT_EQ(Server.Complaints(), "");
}

TEST_F(SOAPRequest, HasAHeaderElementAlsoWhenNothingIsInIt) {
  const auto request = SOAP.CreateRequest("m:GetItem", "m:GetItemResponse");
  EXPECT_TRUE(request->HasHeader());
  EXPECT_EQ(request->GetEnvelope().GetQualifiedName(), "soap:Envelope");
  EXPECT_EQ(request->GetHeader().GetQualifiedName(), "soap:Header");
  EXPECT_EQ(request->GetBody().GetQualifiedName(), "soap:Body");
  EXPECT_EQ(request->GetMethod().GetQualifiedName(), "m:GetItem");
  EXPECT_EQ(request->GetResponseName(), "m:GetItemResponse");
  EXPECT_EQ(request->GetDocument().GetDocumentElement(), request->GetEnvelope());
}

TEST_F(SOAPRequest, HeadersAreAppendedInTheOrderOfTheCalls) {
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  request->AddSOAPHeader("t:B");
  request->AddSOAPHeader("t:A");
  request->AddSOAPHeader("x:C", "urn:c").SetText("c");
  request->AddSOAPHeader("D", "urn:d");
  EXPECT_EQ(request->GetHeader().GetInnerXML(), "<t:B/><t:A/><x:C xmlns:x=\"urn:c\">c</x:C><D xmlns=\"urn:d\"/>");
}

TEST_F(SOAPRequest, HTTPHeaderBelongsToOneRequest) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse/>")))
      .Then(Reply("200 OK", Envelope("<m:GetItemResponse/>")));
  TVqRef<IVqSOAPResponse> response;
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  request->AddHTTPHeader("X-One", "1");
  request->Send(response);
  Ask();
  EXPECT_EQ(Server.Requests()[0].Header("X-One"), "1");
  EXPECT_EQ(Server.Requests()[1].Header("X-One"), "");
}

TEST_F(SOAPRequest, CanBeSentAgain) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse>1</m:GetItemResponse>")))
      .Then(Reply("200 OK", Envelope("<m:GetItemResponse>2</m:GetItemResponse>")));
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  EXPECT_EQ(response->GetResponse().GetText(), "1");
  request->Send(response);
  EXPECT_EQ(response->GetResponse().GetText(), "2");
  EXPECT_EQ(Server.Requests()[0].Body, Server.Requests()[1].Body);
  EXPECT_EQ(Server.Connections(), 1);
}

TEST_F(SOAPRequest, TakesOverAnotherMessage) {
  const auto source = SOAP.CreateRequest("m:CreateItem", "");
  source->AddSOAPHeader("t:X");
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  request->LoadEnvelope(*source);
  EXPECT_EQ(request->GetMethod().GetQualifiedName(), "m:CreateItem");
  request->GetMethod().AddElement("m:Items");
  EXPECT_FALSE(source->GetMethod().HasChildElements()) << "it is a copy";
}

TEST_F(SOAPRequest, OnlySynchronousSendingIsOffered) {
  TVqRef<IVqSOAPResponse> response;
  EXPECT_THROW(SOAP.CreateRequest("m:GetItem", "")->Send(response, TVqSOAPSendKind::oneWay), EVqNotSupported);
  EXPECT_EQ(static_cast<int>(TVqSOAPSendKind::synchronous), 2);
  EXPECT_TRUE(Server.Requests().empty());
}

TEST_F(SOAPRequest, IsBroughtIntoAnotherFormJustBeforeItIsSent) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse/>")));
  SOAP.SetSender([](IVqSOAPRequest& request, TVqRef<IVqSOAPResponse>&, const std::function<void()>& exchange) {
    request.GetMethod().SetAttribute("Traversal", "Deep");
    exchange();
  });
  Ask();
  EXPECT_NE(Server.Requests()[0].Body.find("<m:GetItem Traversal=\"Deep\"/>"), std::string::npos);
}

TEST_F(SOAPRequest, FactoryMakesTheResponseOfTheBytes) {
  const std::string reply = Envelope("<m:GetItemResponse/>");
  Server.Then(Reply("200 OK", reply));
  std::string seen;
  TVqRef<IVqSOAPResponse> response;
  SOAP.CreateRequest("m:GetItem", "m:GetItemResponse")
      ->Send(response, TVqSOAPSendKind::synchronous, [&](std::string bytes, const string& name) {
        seen = bytes;
        EXPECT_EQ(name, "m:GetItemResponse");
        return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
      });
  EXPECT_EQ(seen, reply);
}

TEST_F(SOAPRequest, FactoryIsNotAskedForARefusal) {
  Server.Then(Reply("500 Internal Server Error", Envelope("<s:Fault><faultcode>a</faultcode></s:Fault>")))
      .Then(Reply("200 OK", "<html/>"));
  TVqRef<IVqSOAPResponse> response;
  const auto send = [&] {
    SOAP.CreateRequest("m:GetItem", "")
        ->Send(response, TVqSOAPSendKind::synchronous, [](std::string, const string&) -> TVqRef<TVqSOAPResponse> {
          ADD_FAILURE() << "asked";
          return {};
        });
  };
  EXPECT_THROW(send(), EVqSOAPFault);
  EXPECT_THROW(send(), EVqHTTPException);
}

TEST_F(SOAPRequest, FailureLeavesNoOldResponse) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse/>"))).Then(Reply("500 Internal Server Error", ""));
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  ASSERT_TRUE(response);
  EXPECT_THROW(request->Send(response), EVqHTTPException);
  EXPECT_FALSE(response);
}

TEST_F(SOAPRequest, ClientThatWentAwayIsNoticed) {
  TVqRef<IVqSOAPRequest> request;
  {
    TVqSOAPClient client(nullptr);
    client.SetHTTPClient(HTTP->GetComponent());
    request = client.CreateRequest("m:GetItem", "");
  }
  TVqRef<IVqSOAPResponse> response;
  ExpectFailure<EVqException>(
      [&] { request->Send(response); },
      [](const EVqException& failure) { EXPECT_STREQ(failure.what(), "The SOAP client of this request is gone."); });
  EXPECT_TRUE(request->GetMethod()) << "the message itself is still there";
}

TEST_F(SOAPRequest, HTTPClientThatWentAwayIsNoticed) {
  HTTP = nullptr;
  ExpectFailure<EVqException>(
      [&] { Ask(); },
      [](const EVqException& failure) { EXPECT_STREQ(failure.what(), "The SOAP client has no HTTP client."); });
  EXPECT_THROW(SOAP.GetCredentials(), EVqException);
}

TEST_F(SOAPRequest, SetHTTPClientWantsAnHTTPClient) {
  TVqComponent stranger;
  EXPECT_THROW(SOAP.SetHTTPClient(&stranger), EVqException);
  EXPECT_THROW(SOAP.SetHTTPClient(nullptr), EVqException);
}

TEST_F(SOAPRequest, CredentialsAreThoseOfTheHTTPClient) {
  EXPECT_EQ(&SOAP.GetCredentials(), &HTTP->GetCredentials());
}

TEST_F(SOAPRequest, OnlySOAP11IsOffered) {
  EXPECT_THROW(SOAP.InitSOAPEnv("http://x", "soap", {}, TVqSOAPEncodingVersion::soap12), EVqNotSupported);
}

TEST_F(SOAPRequest, TellsTheClientThatItGoesThrough) {
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  EXPECT_EQ(request->GetHTTPClient(), HTTP->GetComponent());
  HTTP = nullptr;
  EXPECT_THROW(request->GetHTTPClient(), EVqException);
}

TEST_F(SOAPRequest, AHandlerIsToldOfTheHTTPResponse) {
  Server.Then(Reply("200 OK", Envelope("<m:GetItemResponse xmlns:m=\"" + std::string(kMessages) + "\"/>"),
                    "Set-Cookie: place=here; path=/\r\n"));
  std::string told;
  const auto request = SOAP.CreateRequest("m:GetItem", "");
  request->SetResponseHandler(
      [&](const TVqRef<IVqHTTPResponse>& response) { told = response->GetCookie("place").utf8(); });
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  EXPECT_EQ(told, "here");
}

}  // namespace
}  // namespace velmore::testing
