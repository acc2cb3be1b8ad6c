#include "platform/soap/uVqSOAPClient.h"

#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

/// One sentence that helps: what was said, and the code that names it.
EVqSOAPFault FaultOf(IVqSOAPResponse& response, std::int32_t status) {
  const IVqDOMElement fault = response.GetBody().SelectSingleElement("Fault", kSelectQuiet);
  const auto text = [&](const char* soap11, const char* soap12) {
    const IVqDOMElement element = fault.SelectSingleElement(soap11, kSelectQuiet);
    return (element ? element : fault.SelectSingleElement(soap12, kSelectQuiet)).GetText().Trim();
  };
  const string code = text("faultcode", "Code/Value");
  const string reason = text("faultstring", "Reason/Text");
  const IVqDOMElement detail = fault.SelectSingleElement("detail", kSelectQuiet);
  const string responseCode = detail.SelectSingleElement("ResponseCode", kSelectQuiet).GetText().Trim();
  const IVqDOMElement backOff =
      detail.SelectSingleElement("MessageXml/Value[@Name=\"BackOffMilliseconds\"]", kSelectQuiet);

  string message = reason.empty() ? string("The server answered with a SOAP fault.") : reason;
  if (const string& name = responseCode.empty() ? code : responseCode; !name.empty()) message += " (" + name + ")";
  return {message, code, reason, responseCode, detail.GetXML(), VqXMLToIntDef(backOff.GetText(), 0), status};
}

bool LooksLikeEnvelope(std::string_view body) {
  return body.substr(0, 1024).find("nvelope") != std::string_view::npos;
}

EVqHTTPException NoEnvelope(IVqHTTPResponse& reply) {
  const TVqHTTPStatus status = reply.GetStatus();
  string text = "The server answered \"" + IntToStr(status.Code) +
                (status.Text.empty() ? string() : " " + status.Text) + "\" with ";
  const string type = reply.GetHeader("Content-Type");
  text += reply.GetBody().empty() ? string("an empty body") : type.empty() ? string("something else") : type;
  return {text + " instead of a SOAP envelope.", status.Code};
}

EVqHTTPApiException Refused(IVqHTTPResponse& reply) {
  string offered;
  for (const string& scheme : reply.GetOfferedSchemes()) offered += (offered.empty() ? string() : ", ") + scheme;
  const bool proxy = reply.GetStatus().Code == 407;
  string text = proxy ? "The proxy refused the credentials" : "The server refused the credentials";
  text += offered.empty() ? string(" and offered no authentication scheme") : "; it offers " + offered;
  const string tried = reply.GetTriedScheme();
  text += tried.empty() ? string(", none was tried.") : ", " + tried + " was tried.";
  if (const string hint = reply.GetAuthenticationHint(); !hint.empty()) text += " " + hint;
  return {"HttpSendRequest", text, VqErrLoginFailure};
}

}  // namespace

/// Owns its document; keeps nothing of the client alive: a client that goes away first is noticed at Send.
class TVqSOAPRequest : public TVqObject, public virtual IVqSOAPRequest {
 public:
  TVqSOAPRequest(TVqSOAPClient& client, const string& method, const string& responseName)
      : FLink(client), FPrefix(client.FPrefix), FResponseName(responseName) {
    const IVqDOMElement envelope = FDocument.CreateRootNode(Qualified("Envelope"));
    for (const auto& [attribute, value] : client.FNamespaces) envelope.SetAttribute(attribute, value);
    envelope.AddElement(Qualified("Header"));
    envelope.AddElement(Qualified("Body")).AddElement(method);
  }

  IVqDOMDocument GetDocument() override { return FDocument; }
  IVqDOMElement GetEnvelope() override { return FDocument.GetDocumentElement(); }
  IVqDOMElement GetHeader() override { return GetEnvelope().SelectSingleElement("Header", kSelectQuiet); }
  bool HasHeader() override { return static_cast<bool>(GetHeader()); }
  IVqDOMElement GetBody() override { return GetEnvelope().SelectSingleElement("Body", kSelectQuiet); }
  IVqDOMElement GetMethod() override { return GetBody().GetFirstChildElement(); }
  string GetResponseName() override { return FResponseName; }

  void LoadEnvelope(IVqSOAPEnvelope& ASource) override {
    FDocument.Clear();
    FDocument.AppendChild(ASource.GetEnvelope());
  }

  void AddHTTPHeader(const string& AName, const string& AValue) override { FHTTPHeaders.emplace_back(AName, AValue); }

  IVqDOMElement AddSOAPHeader(const string& AName, const string& ANamespace) override {
    const IVqDOMElement element = GetHeader().AddElement(AName);
    if (!ANamespace.empty()) {
      const std::size_t colon = AName.Pos(u":");
      element.SetAttribute(colon == string::npos ? string("xmlns") : "xmlns:" + AName.Copy(0, colon), ANamespace);
    }
    return element;
  }

  void Send(TVqRef<IVqSOAPResponse>& AResponse, TVqSOAPSendKind, const TVqSOAPResponseFactory& AOption) override {
    TVqSOAPClient& client = FLink.Client();
    if (client.FBeforeSend) client.FBeforeSend(*this);
    TVqStringStream body;
    FDocument.SaveToStream(body, true, false);

    const TVqRef<IVqHTTPRequestEx> request =
        client.Client().CreateRequest(TVqHTTPVerb::post, client.FURL, body.GetAString(), "text/xml; charset=utf-8");
    request->SetHeader("SOAPAction", "\"\"");  // SOAP 1.1 asks for the header; the address says where the message goes
    for (const auto& [name, value] : FHTTPHeaders) request->SetHeader(name, value);
    const TVqRef<IVqHTTPResponse> reply = request->Execute();
    AResponse = Read(*reply, AOption);
  }

 private:
  /// Forgets the client when it goes away.
  class TLink : public TVqComponent {
   public:
    explicit TLink(TVqSOAPClient& client) : TVqComponent(nullptr), FClient(&client) { client.FreeNotification(this); }
    TVqSOAPClient& Client() const {
      if (!FClient) throw EVqException("The SOAP client of this request is gone.");
      return *FClient;
    }

   protected:
    void Notification(TVqComponent* AComponent, TVqOperation AOperation) override {
      if (AOperation == TVqOperation::opRemove && AComponent == FClient) FClient = nullptr;
    }

   private:
    TVqSOAPClient* FClient;
  };

  string Qualified(const char* name) const { return FPrefix.empty() ? string(name) : FPrefix + ":" + name; }

  TVqRef<IVqSOAPResponse> Read(IVqHTTPResponse& reply, const TVqSOAPResponseFactory& factory) const {
    const std::int32_t status = reply.GetStatus().Code;
    if (status == 401 || status == 407) throw Refused(reply);
    std::string body = reply.GetBody();
    if (body.find_first_not_of(" \t\r\n") == std::string::npos) throw NoEnvelope(reply);
    const bool envelopeExpected = LooksLikeEnvelope(body);
    TVqRef<IVqSOAPResponse> response;
    try {
      response = factory && status < 300
                     ? TVqRef<IVqSOAPResponse>(factory(std::move(body), FResponseName))
                     : TVqRef<IVqSOAPResponse>(MakeRef<TVqSOAPResponse>(std::move(body), FResponseName));
    } catch (const EVqXMLError&) {
      if (envelopeExpected) throw;
      throw NoEnvelope(reply);
    }
    if (!SameText(response->GetEnvelope().GetLocalName(), "Envelope")) throw NoEnvelope(reply);
    if (response->GetIsFault()) throw FaultOf(*response, status);
    if (status >= 300) throw NoEnvelope(reply);
    return response;
  }

  TLink FLink;
  string FPrefix, FResponseName;
  TVqDOMDocument FDocument;
  std::vector<std::pair<string, string>> FHTTPHeaders;
};

TVqSOAPClient::TVqSOAPClient(TVqComponent* AOwner) : TVqComponent(AOwner) {}

void TVqSOAPClient::SetHTTPClient(TVqComponent* AClient) {
  if (!dynamic_cast<IVqHTTPClient*>(AClient)) throw EVqException("A SOAP client needs an HTTP client.");
  if (FHTTPClient) FHTTPClient->RemoveFreeNotification(this);
  FHTTPClient = AClient;
  AClient->FreeNotification(this);
}

void TVqSOAPClient::InitSOAPEnv(const string& AURL, const string& APrefix,
                                const std::vector<TVqSOAPNamespace>& ANamespaces,
                                TVqSOAPEncodingVersion AEncodingVersion) {
  if (AEncodingVersion != TVqSOAPEncodingVersion::soap11) throw EVqNotSupported("Only SOAP 1.1 is supported.");
  FURL = AURL;
  FPrefix = APrefix;
  FNamespaces = ANamespaces;
}

TVqRef<IVqSOAPRequest> TVqSOAPClient::CreateRequest(const string& AMethod, const string& AResponseName) {
  return MakeRef<TVqSOAPRequest>(*this, AMethod, AResponseName);
}

TVqCredentials& TVqSOAPClient::GetCredentials() {
  return Client().GetCredentials();
}

IVqHTTPClient& TVqSOAPClient::Client() const {
  auto* client = dynamic_cast<IVqHTTPClient*>(FHTTPClient);
  if (!client) throw EVqException("The SOAP client has no HTTP client.");
  return *client;
}

void TVqSOAPClient::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqComponent::Notification(AComponent, AOperation);
  if (AOperation == TVqOperation::opRemove && AComponent == FHTTPClient) FHTTPClient = nullptr;
}

}  // namespace velmore
