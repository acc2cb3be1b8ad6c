#pragma once

// A session without a server: each request is answered by a text.

#include <functional>
#include <string>

#include "ews/model/uVqEWSBase.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore::testing {

class TAnsweredRequest : public TVqObject, public virtual IVqSOAPRequest {
 public:
  /// The bytes of the reply to an operation ("GetItem").
  using TReply = std::function<std::string(const std::string& operation)>;
  TAnsweredRequest(TVqRef<IVqSOAPRequest> AInner, TReply AReply)
      : FInner(std::move(AInner)), FReply(std::move(AReply)) {}

  IVqDOMDocument GetDocument() override { return FInner->GetDocument(); }
  IVqDOMElement GetEnvelope() override { return FInner->GetEnvelope(); }
  IVqDOMElement GetHeader() override { return FInner->GetHeader(); }
  bool HasHeader() override { return FInner->HasHeader(); }
  IVqDOMElement GetBody() override { return FInner->GetBody(); }
  IVqDOMElement GetMethod() override { return FInner->GetMethod(); }
  string GetResponseName() override { return FInner->GetResponseName(); }
  void AcceptAnyResponse() override { FInner->AcceptAnyResponse(); }
  void SetResponseHandler(TVqHTTPResponseHandler) override {}
  TVqComponent* GetHTTPClient() override { return nullptr; }
  void LoadEnvelope(IVqSOAPEnvelope& ASource) override { FInner->LoadEnvelope(ASource); }
  void AddHTTPHeader(const string& AName, const string& AValue) override { FInner->AddHTTPHeader(AName, AValue); }
  IVqDOMElement AddSOAPHeader(const string& AName, const string& ANamespace) override {
    return FInner->AddSOAPHeader(AName, ANamespace);
  }
  void Send(TVqRef<IVqSOAPResponse>& AResponse, TVqSOAPSendKind, const TVqSOAPResponseFactory& AFactory) override {
    std::string bytes = FReply(GetMethod().GetLocalName().utf8());
    AResponse = AFactory ? TVqRef<IVqSOAPResponse>(AFactory(std::move(bytes), GetResponseName()))
                         : TVqRef<IVqSOAPResponse>(MakeRef<TVqSOAPResponse>(std::move(bytes), GetResponseName()));
  }

 private:
  TVqRef<IVqSOAPRequest> FInner;
  TReply FReply;
};

class TAnsweringSession : public TVqEWSBaseSession {
 public:
  TAnsweringSession() : TVqEWSBaseSession(nullptr) {}

  TVqCredentials& GetCredentials() override { return FCredentials; }
  string GetServiceURL() override { return "https://mail.example.com/ews"; }
  TServerVersion GetServerVersion() override { return Version; }
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool) override { return {}; }
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>&) override { return nullptr; }
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient*, const string& AMethod, const string& AResponseName) override {
    return MakeRef<TAnsweredRequest>(FSOAP.CreateRequest(AMethod, AResponseName), Reply);
  }
  void CheckResponseError(const IVqDOMElement& AElement) override {
    if (AElement.GetAttribute("ResponseClass") != "Success")
      throw EEWSException(AElement.SelectSingleElement("ResponseCode", kSelectRequired).GetText(), "refused", 0);
  }

  /// An envelope around the content of its body.
  static std::string EnvelopeOf(const std::string& body) {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body>" +
           body + "</s:Body></s:Envelope>";
  }

  TServerVersion Version = Exchange2016;
  std::string Answer;  // the content of the reply's body
  TAnsweredRequest::TReply Reply = [this](const std::string&) { return EnvelopeOf(Answer); };

 private:
  TVqCredentials FCredentials;
  TVqSOAPClient FSOAP{nullptr};
};

}  // namespace velmore::testing
