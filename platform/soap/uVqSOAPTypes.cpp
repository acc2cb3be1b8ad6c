#include "platform/soap/uVqSOAPTypes.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

constexpr TVqNamespacePrefix kPrefixes[] = {
    {"http://schemas.microsoft.com/exchange/services/2006/messages", "m"},
    {"http://schemas.microsoft.com/exchange/services/2006/types", "t"},
};

}  // namespace

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
