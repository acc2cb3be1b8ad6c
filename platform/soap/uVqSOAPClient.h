#pragma once

/// The SOAP client: makes requests for one endpoint and sends them through an HTTP client.
///
///     TVqSOAPClient soap(nullptr);
///     soap.SetHTTPClient(&http);
///     soap.InitSOAPEnv(url, "soap", namespaces, TVqSOAPEncodingVersion::soap11);
///     auto request = soap.CreateRequest("m:GetFolder", "");

#include "platform/soap/uVqSOAPTypes.h"

namespace velmore {

/// The SOAP client. Owns nothing but its settings; the HTTP client is another's and is forgotten when it goes away. No
/// copies. One thread at a time. Raises what the HTTP layer raises, and the failures of IVqSOAPRequest::Send.
class TVqSOAPClient : public TVqComponent {
 public:
  /// `AOwner` may be empty. Needs SetHTTPClient and InitSOAPEnv before the first request.
  explicit TVqSOAPClient(TVqComponent* AOwner);

  /// The object behind an IVqHTTPClient, through which requests go out. Raises a plain exception for any other object.
  void SetHTTPClient(TVqComponent* AClient);
  /// The endpoint, the prefix of envelope elements and the declarations of the envelope, in this order.
  void InitSOAPEnv(const string& AURL, const string& APrefix, const std::vector<TVqSOAPNamespace>& ANamespaces,
                   TVqSOAPEncodingVersion AEncodingVersion);
  /// A message whose body holds one element named `AMethod`. With an empty `AResponseName` the first element of the
  /// reply's body is the response.
  TVqRef<IVqSOAPRequest> CreateRequest(const string& AMethod, const string& AResponseName);
  /// The credentials in use by the HTTP client. Raises a plain exception when there is no client.
  TVqCredentials& GetCredentials();

  /// Bounds of replies as documents. A reply that a factory makes has those that the factory gives it.
  void SetReplyLimits(const TVqXMLLimits& AValue) { FReplyLimits = AValue; }
  const TVqXMLLimits& GetReplyLimits() const noexcept { return FReplyLimits; }

  /// Sends a message in place of the client: to bring it into another form, or to try another one when the first is
  /// refused. `AExchange` writes the message as it stands when it is called, and fills `AResponse` or raises, as
  /// IVqSOAPRequest::Send.
  using TSender = std::function<void(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse,
                                     const std::function<void()>& AExchange)>;
  void SetSender(TSender AHandler) { FSender = std::move(AHandler); }

 protected:
  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;

 private:
  friend class TVqSOAPRequest;

  IVqHTTPClient& Client() const;
  /// What every request is a copy of: the envelope with its declarations, an empty header and an empty body.
  const IVqDOMDocument& EmptyEnvelope();

  TVqComponent* FHTTPClient = nullptr;
  string FURL, FPrefix;
  std::vector<TVqSOAPNamespace> FNamespaces;
  IVqDOMDocument FEmptyEnvelope;
  TVqXMLLimits FReplyLimits = VqSOAPReplyLimits();
  TSender FSender;
};

}  // namespace velmore
