#pragma once

/// SOAP 1.1 messages: the envelope, requests with their headers, responses, faults.
///
/// A message owns a share of its document; a request does not own its client, and raises once the client is gone. One
/// more TVqRef costs one atomic increment. One thread at a time. Nothing but `Send` talks to a server.

#include "platform/http/uVqHTTPBase.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

class IVqSOAPResponse;
class TVqSOAPResponse;

/// The SOAP version of an envelope. Only the first is used by Exchange Web Services.
enum class TVqSOAPEncodingVersion { soap11, soap12 };

/// How a request is sent. The library sends everything synchronously.
enum class TVqSOAPSendKind { none = 0, oneWay = 1, synchronous = 2 };

/// A namespace declaration on the envelope: `{"xmlns:m", "http://..."}`.
struct TVqSOAPNamespace {
  /// The attribute's name and the namespace.
  string Attribute;
  string Value;
};

/// A message: one document with an envelope. Handles that it gives keep the document alive.
class IVqSOAPEnvelope : public virtual IVqObject {
 public:
  /// The whole message.
  virtual IVqDOMDocument GetDocument() = 0;
  /// The root element.
  virtual IVqDOMElement GetEnvelope() = 0;
  /// The header element; empty when the message has none. Element names of the envelope are found whatever their prefix
  /// and case.
  virtual IVqDOMElement GetHeader() = 0;
  /// True when the message has a header element.
  virtual bool HasHeader() = 0;
  /// The body element; empty when the message has none.
  virtual IVqDOMElement GetBody() = 0;

 protected:
  ~IVqSOAPEnvelope() = default;
};

/// Makes the response object of a request from the reply's bytes, which it takes over. For replies that must not become
/// a tree as a whole. Called only for bytes that begin as an envelope, with a status below 300.
using TVqSOAPResponseFactory = std::function<TVqRef<TVqSOAPResponse>(std::string ABytes, const string& AResponseName)>;

/// A request that is being filled, and sent once or several times.
class IVqSOAPRequest : public virtual IVqSOAPEnvelope {
 public:
  /// The element of the operation, the only child of the body, for the caller to fill.
  virtual IVqDOMElement GetMethod() = 0;
  /// The qualified name of the response's element; empty for "the first one".
  virtual string GetResponseName() = 0;
  /// Replaces the whole message with a copy of another one.
  virtual void LoadEnvelope(IVqSOAPEnvelope& ASource) = 0;
  /// An HTTP header that goes out with this one request.
  virtual void AddHTTPHeader(const string& AName, const string& AValue) = 0;
  /// Appends an element to the envelope's header and gives it. `ANamespace` is declared on the element when it is not
  /// empty.
  virtual IVqDOMElement AddSOAPHeader(const string& AName, const string& ANamespace = string()) = 0;
  /// Sends the message and reads the reply. Blocks. A factory in `AOption` makes the response; otherwise it is a
  /// TVqSOAPResponse.
  ///
  /// Raises EVqSOAPFault when the reply is a fault, EVqHTTPApiException for network errors and (12015) for refused
  /// credentials, EVqHTTPException with the status for any reply without a SOAP envelope, EVqXMLError with the place
  /// for an envelope that is cut short or not well-formed, EVqSOAPUnexpectedReply for an answer to something else. When
  /// the server is busy, what is raised is an EVqServerBusy as well. A plain exception when the client is gone,
  /// EVqNotSupported for any other `AKind`. After any of them the connection is not used again: what else stands on it
  /// is nobody's answer. `AResponse` is empty after a failure.
  virtual void Send(TVqRef<IVqSOAPResponse>& AResponse, TVqSOAPSendKind AKind = TVqSOAPSendKind::synchronous,
                    const TVqSOAPResponseFactory& AOption = nullptr) = 0;
  /// For a request whose answer is its header alone: whatever stands in the body is neither read nor held against the
  /// operation.
  virtual void AcceptAnyResponse() = 0;
  /// Told of the HTTP response of each exchange, before the message in it is read.
  virtual void SetResponseHandler(TVqHTTPResponseHandler AHandler) = 0;
  /// The object behind the HTTP client through which the message goes. Raises a plain exception when the SOAP client is
  /// gone, or has none.
  virtual TVqComponent* GetHTTPClient() = 0;

 protected:
  ~IVqSOAPRequest() = default;
};

/// A reply. The order of its operations is part of the contract, which is why those of the envelope stand here once
/// more.
class IVqSOAPResponse : public virtual IVqSOAPEnvelope {
 public:
  IVqDOMElement GetHeader() override = 0;
  /// The response element: the one that the request named, else the first of the body. Raises a plain exception when
  /// there is none.
  virtual IVqDOMElement GetResponse() = 0;
  bool HasHeader() override = 0;
  IVqDOMElement GetBody() override = 0;
  IVqDOMElement GetEnvelope() override = 0;
  /// True when the body's element is a fault.
  virtual bool GetIsFault() = 0;
  /// A child element of the response element by local name; raises a plain exception when it is missing.
  virtual IVqDOMElement GetArgument(const string& AName) = 0;
  /// True when GetArgument would find it.
  virtual bool HasArgument(const string& AName) = 0;

 protected:
  ~IVqSOAPResponse() = default;
};

/// What a reply may be at most as a document: a node costs some 60 bytes, and a server can write one in four bytes.
/// Pages of a thousand rows have a few tens of thousands of nodes.
constexpr TVqXMLLimits VqSOAPReplyLimits() {
  TVqXMLLimits limits;
  limits.MaxNodes = 4'000'000;
  return limits;
}

/// The reply as a document. The prefixes of the two EWS namespaces are "m" and "t" in it, whatever the server chose.
class TVqSOAPResponse : public TVqObject, public virtual IVqSOAPResponse {
 public:
  /// Takes over the bytes of the reply and parses them. Raises EVqXMLError when they are not well-formed, or exceed a
  /// bound.
  TVqSOAPResponse(std::string ASOAPResponse, const string& AResponseName,
                  const TVqXMLLimits& ALimits = VqSOAPReplyLimits());

  IVqDOMElement GetHeader() override;
  IVqDOMElement GetResponse() override;
  bool HasHeader() override;
  IVqDOMElement GetBody() override;
  IVqDOMElement GetEnvelope() override;
  bool GetIsFault() override;
  IVqDOMElement GetArgument(const string& AName) override;
  bool HasArgument(const string& AName) override;
  IVqDOMDocument GetDocument() override { return FDocument; }

 private:
  TVqDOMDocument FDocument;
  string FResponseName;
};

// What a code of the service ("ErrorServerBusy") tells of the request that met it.

/// Whether the request may have been carried out: the service gave up on it, which is no refusal.
bool VqSOAPLeavesOpen(const string& ACode) noexcept;
/// Whether other requests may succeed: not when the account or its password is not good any more.
bool VqSOAPLeavesSessionUsable(const string& ACode) noexcept;
/// Whether it may pass by itself, such as load, or a mailbox that is not reached just now.
bool VqSOAPMayPass(const string& ACode) noexcept;

/// A fault with which the server answered. What the server did not say is empty.
class EVqSOAPFault : public EVqException {
 public:
  /// What the operations below give.
  EVqSOAPFault(const string& AMessage, const string& AFaultCode, const string& AFaultString,
               const string& AResponseCode, const string& ADetail, std::int32_t ABackOffMilliseconds,
               std::int32_t AHTTPStatus)
      : EVqException(AMessage),
        FFaultCode(AFaultCode),
        FFaultString(AFaultString),
        FResponseCode(AResponseCode),
        FDetail(ADetail),
        FBackOffMilliseconds(ABackOffMilliseconds),
        FHTTPStatus(AHTTPStatus) {}

  /// "s:Client", "a:ErrorSchemaValidation" and the like.
  const string& FaultCode() const noexcept { return FFaultCode; }
  /// The human text.
  const string& FaultString() const noexcept { return FFaultString; }
  /// The EWS code of the detail, or of the fault code where the detail has none: "ErrorServerBusy" and the like.
  const string& ResponseCode() const noexcept override { return FResponseCode; }
  /// The markup of the detail.
  const string& Detail() const noexcept { return FDetail; }
  /// How long the server asks to be left alone, in milliseconds; 0 when it does not say.
  std::int32_t BackOffMilliseconds() const noexcept { return FBackOffMilliseconds; }
  /// The status of the reply: 500 as a rule.
  std::int32_t HTTPStatus() const noexcept override { return FHTTPStatus; }
  /// As BackOffMilliseconds.
  std::chrono::milliseconds RetryAfter() const noexcept override {
    return std::chrono::milliseconds(FBackOffMilliseconds);
  }

 protected:
  bool LeavesOpen() const noexcept override;
  bool LeavesSessionUsable() const noexcept override { return VqSOAPLeavesSessionUsable(FResponseCode); }

 private:
  string FFaultCode, FFaultString, FResponseCode, FDetail;
  std::int32_t FBackOffMilliseconds, FHTTPStatus;
};

/// The answer is neither the response to the operation that was asked for nor a fault. Nothing is read from it: it may
/// be the answer to another request, and hold another mailbox's data. What was asked may have been carried out.
class EVqSOAPUnexpectedReply : public EVqException {
 public:
  /// The local names of the operation and of what came instead of its response; the latter is empty for an empty body.
  EVqSOAPUnexpectedReply(const string& AMethod, const string& AExpected, const string& AFound);
  /// "GetItemResponse": what was expected.
  const string& Expected() const noexcept { return FExpected; }
  /// "FindItemResponse": what stood in the body; empty when nothing did.
  const string& Found() const noexcept { return FFound; }

 protected:
  bool LeavesOpen() const noexcept override { return true; }

 private:
  string FExpected, FFound;
};

/// A fault that says that the server is busy ("ErrorServerBusy", or any fault with a status of 429 or 503).
class EVqSOAPServerBusy : public EVqSOAPFault, public EVqServerBusy {
 public:
  /// Takes over what the fault says.
  explicit EVqSOAPServerBusy(const EVqSOAPFault& AFault)
      : EVqSOAPFault(AFault), EVqServerBusy(AFault.BackOffMilliseconds()) {}
  const EVqException& Failure() const noexcept override { return *this; }

 protected:
  /// A server that wants to be left alone has not begun.
  bool LeavesOpen() const noexcept override { return false; }
};

}  // namespace velmore
