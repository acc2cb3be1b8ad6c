#include "platform/soap/uVqSOAPTypes.h"

#include <algorithm>

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

constexpr TVqNamespacePrefix kPrefixes[] = {
    {"http://schemas.microsoft.com/exchange/services/2006/messages", "m"},
    {"http://schemas.microsoft.com/exchange/services/2006/types", "t"},
};

bool IsOneOf(const string& code, std::initializer_list<std::u16string_view> codes) noexcept {
  return std::ranges::find(codes, code.view()) != codes.end();
}

}  // namespace

bool VqSOAPLeavesOpen(const string& ACode) noexcept {
  return IsOneOf(ACode, {u"ErrorTimeoutExpired", u"ErrorInternalServerError", u"ErrorInternalServerTransientError",
                         u"ErrorRequestAborted", u"ErrorClientDisconnected", u"ErrorProxyCallFailed",
                         u"ErrorProxyRequestProcessingFailed"});
}

bool VqSOAPLeavesSessionUsable(const string& ACode) noexcept {
  return !IsOneOf(
      ACode, {u"ErrorAccountDisabled", u"ErrorAccountSuspend", u"ErrorPasswordExpired", u"ErrorPasswordChangeRequired",
              u"ErrorCallerIsInvalidADAccount", u"ErrorOrganizationAccessBlocked", u"ErrorInvalidServerVersion"});
}

bool VqSOAPMayPass(const string& ACode) noexcept {
  return IsOneOf(ACode, {u"ErrorServerBusy", u"ErrorTimeoutExpired", u"ErrorInternalServerTransientError",
                         u"ErrorMailboxStoreUnavailable", u"ErrorMailboxMoveInProgress", u"ErrorMailboxFailover",
                         u"ErrorConnectionFailed", u"ErrorADUnavailable", u"ErrorServiceUnavailable",
                         u"ErrorInsufficientResources", u"ErrorNotEnoughMemory", u"ErrorTooManyObjectsOpened",
                         u"ErrorExceededConnectionCount", u"ErrorProxyCallFailed", u"ErrorProxyRequestProcessingFailed",
                         u"ErrorNoRespondingCASInDestinationSite"});
}

bool EVqSOAPFault::LeavesOpen() const noexcept {
  if (!FResponseCode.empty()) return VqSOAPLeavesOpen(FResponseCode);
  // Without a code of the service: "soap:Client" is about the request, "soap:Server" about what became of it.
  const std::u16string_view code = FFaultCode.view().substr(FFaultCode.view().find(u':') + 1);
  return code.starts_with(u"Server") || code.starts_with(u"Receiver");
}

EVqSOAPUnexpectedReply::EVqSOAPUnexpectedReply(const string& AMethod, const string& AExpected, const string& AFound)
    : EVqException(
          AFound.empty()
              ? Format("The server answered \"%s\" with an empty body instead of \"%s\".", {AMethod, AExpected})
              : Format("The server answered \"%s\" with \"%s\" instead of \"%s\". Nothing was read from it.",
                       {AMethod, AFound, AExpected})),
      FExpected(AExpected),
      FFound(AFound) {}

TVqSOAPResponse::TVqSOAPResponse(std::string ASOAPResponse, const string& AResponseName, const TVqXMLLimits& ALimits)
    : FResponseName(AResponseName) {
  FDocument.SetLimits(ALimits);
  detail::LoadOwnedBytes(FDocument, std::move(ASOAPResponse));
  FDocument.RenamePrefixes({kPrefixes[0], kPrefixes[1]});
}

IVqDOMElement TVqSOAPResponse::GetEnvelope() {
  return FDocument.GetDocumentElement();
}
IVqDOMElement TVqSOAPResponse::GetHeader() {
  return GetEnvelope().SelectSingleElement("Header", kSelectQuiet);
}
bool TVqSOAPResponse::HasHeader() {
  return static_cast<bool>(GetHeader());
}
IVqDOMElement TVqSOAPResponse::GetBody() {
  return GetEnvelope().SelectSingleElement("Body", kSelectQuiet);
}

IVqDOMElement TVqSOAPResponse::GetResponse() {
  const IVqDOMElement body = GetBody();
  const IVqDOMElement response =
      FResponseName.empty() ? body.GetFirstChildElement() : body.SelectSingleElement(FResponseName, kSelectQuiet);
  if (!response) {
    throw EVqException(FResponseName.empty() ? string("The body of the reply is empty.")
                                             : "The reply holds no \"" + FResponseName + "\".");
  }
  return response;
}

bool TVqSOAPResponse::GetIsFault() {
  return GetBody().HasChildElement("Fault", kSelectQuiet);
}

IVqDOMElement TVqSOAPResponse::GetArgument(const string& AName) {
  return GetResponse().SelectSingleElement(AName, kSelectRequired);
}
bool TVqSOAPResponse::HasArgument(const string& AName) {
  return GetResponse().HasChildElement(AName, kSelectQuiet);
}

}  // namespace velmore
