#include "platform/soap/uVqSOAPClient.h"

#include "platform/http/internal/uVqHTTPBody.h"
#include "platform/soap/internal/uVqSOAPOwnPace.h"
#include "platform/soap/uVqSOAPFailures_p.h"
#include "platform/xml/internal/uVqXMLWriter.h"

namespace velmore {
namespace {

// Of most requests: their text is written without growing.
constexpr std::size_t kUsualLength = 2048;

}  // namespace

/// Owns its document; keeps nothing of the client alive: a client that goes away first is noticed at Send.
class TVqSOAPRequest : public TVqObject, public virtual IVqSOAPRequest {
 public:
  TVqSOAPRequest(TVqSOAPClient& client, const string& method, const string& responseName)
      : FLink(client), FResponseName(responseName), FDocument(client.EmptyEnvelope().CreateClone()) {
    GetBody().AddElement(method);
  }

  IVqDOMDocument GetDocument() override { return FDocument; }
  IVqDOMElement GetEnvelope() override { return FDocument.GetDocumentElement(); }
  IVqDOMElement GetHeader() override { return GetEnvelope().SelectSingleElement("Header", kSelectQuiet); }
  bool HasHeader() override { return static_cast<bool>(GetHeader()); }
  IVqDOMElement GetBody() override { return GetEnvelope().SelectSingleElement("Body", kSelectQuiet); }
  IVqDOMElement GetMethod() override { return GetBody().GetFirstChildElement(); }
  string GetResponseName() override { return FResponseName; }
  void AcceptAnyResponse() override { FAcceptsAny = true; }
  void SetResponseHandler(TVqHTTPResponseHandler AHandler) override { FResponseHandler = std::move(AHandler); }
  TVqComponent* GetHTTPClient() override { return FLink.Client().Client().GetComponent(); }

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

  void Send(TVqRef<IVqSOAPResponse>& AResponse, TVqSOAPSendKind AKind, const TVqSOAPResponseFactory& AOption) override {
    AResponse = nullptr;
    if (AKind != TVqSOAPSendKind::synchronous) throw EVqNotSupported("Requests are sent synchronously only.");
    const auto exchange = [&] {
      AResponse = nullptr;
      AResponse = Exchange(AOption);
    };
    if (const TVqSOAPClient::TSender& sender = FLink.Client().FSender) {
      sender(*this, AResponse, exchange);
    } else {
      exchange();
    }
  }

 private:
  TVqRef<IVqSOAPResponse> Exchange(const TVqSOAPResponseFactory& factory) {
    TVqSOAPClient& client = FLink.Client();
    std::string body;  // large ones are not copied on their way
    body.reserve(kUsualLength);
    detail::WriteNode(body, FDocument, {.Declaration = true});

    const TVqRef<IVqHTTPRequestEx> request =
        client.Client().CreateRequest(TVqHTTPVerb::post, client.FURL, std::move(body), "text/xml; charset=utf-8");
    request->SetHeader("SOAPAction", "\"\"");  // SOAP 1.1 asks for the header; the address says where the message goes
    for (const auto& [name, value] : FHTTPHeaders) request->SetHeader(name, value);
    request->SetResponseHandler(FResponseHandler);
    const TVqRef<IVqHTTPResponse> reply = request->Execute();
    try {
      return Read(*reply, factory);
    } catch (EVqException& failure) {
      // The service's own words tell what became of the request. Any other reply that cannot be read leaves it open.
      const bool told = dynamic_cast<EVqSOAPFault*>(&failure) || dynamic_cast<EVqHTTPException*>(&failure);
      if (!told) failure.NoteMayHaveHappened(true);
      client.Client().GetComponent()->CloseConnections();
      throw;
    } catch (...) {
      // Whatever made this reply, its connection is not to be trusted with the next one.
      client.Client().GetComponent()->CloseConnections();
      throw;
    }
  }

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

  TVqRef<IVqSOAPResponse> Read(IVqHTTPResponse& reply, const TVqSOAPResponseFactory& factory) {
    const TVqSOAPClient& client = FLink.Client();
    const std::size_t most = client.Client().GetSession()->GetLimits().TextLength;
    const std::int32_t status = reply.GetStatus().Code;
    if (status == 401 || status == 407) VqRaiseRefused(reply, most);
    // Replies can be large: no copy.
    auto* owner = dynamic_cast<IVqHTTPBodyOwner*>(&reply);
    std::string body = owner ? owner->TakeBody() : reply.GetBody();
    if (body.find_first_not_of(" \t\r\n") == std::string::npos) VqRaiseNoEnvelope(reply, true, most);
    if (!VqLooksLikeEnvelope(body)) VqRaiseNoEnvelope(reply, false, most);
    const TVqRef<IVqSOAPResponse> response =
        factory && status < 300
            ? TVqRef<IVqSOAPResponse>(factory(std::move(body), FResponseName))
            : TVqRef<IVqSOAPResponse>(MakeRef<TVqSOAPResponse>(std::move(body), FResponseName, client.FReplyLimits));
    if (response->GetIsFault()) VqRaiseFault(*response, reply, most);
    if (status >= 300) VqRaiseNoEnvelope(reply, false, most);
    if (!FAcceptsAny) VqCheckResponse(*response, GetMethod().GetLocalName(), FResponseName);
    return response;
  }

  TLink FLink;
  string FResponseName;
  bool FAcceptsAny = false;
  IVqDOMDocument FDocument;
  std::vector<std::pair<string, string>> FHTTPHeaders;
  TVqHTTPResponseHandler FResponseHandler;
};

namespace {

/// What is handed out; apart, as the class above is named by a public header and this base is not for others to see.
class TPacedRequest final : public TVqSOAPRequest, public IVqSOAPOwnPace {
 public:
  using TVqSOAPRequest::TVqSOAPRequest;
  void KeepOwnPace() noexcept override { FKeepsOwnPace = true; }
  bool KeepsOwnPace() const noexcept override { return FKeepsOwnPace; }

 private:
  bool FKeepsOwnPace = false;
};

}  // namespace

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
  FEmptyEnvelope = nullptr;
}

const IVqDOMDocument& TVqSOAPClient::EmptyEnvelope() {
  if (FEmptyEnvelope) return FEmptyEnvelope;
  const auto qualified = [this](const char* name) { return FPrefix.empty() ? string(name) : FPrefix + ":" + name; };
  const TVqDOMDocument document;
  const IVqDOMElement envelope = document.CreateRootNode(qualified("Envelope"));
  for (const auto& [attribute, value] : FNamespaces) envelope.SetAttribute(attribute, value);
  envelope.AddElement(qualified("Header"));
  envelope.AddElement(qualified("Body"));
  return FEmptyEnvelope = document;
}

TVqRef<IVqSOAPRequest> TVqSOAPClient::CreateRequest(const string& AMethod, const string& AResponseName) {
  return MakeRef<TPacedRequest>(*this, AMethod, AResponseName);
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
