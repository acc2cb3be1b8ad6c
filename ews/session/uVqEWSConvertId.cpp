// The session's conversion of ids (m:ConvertId).

#include "ews/session/uVqEWS.h"
#include "platform/common/uVqSerializer.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {

TVqRef<IVqEwsNonEmptyArrayOfAlternateIds> TVqEWSCustomSession::ConvertId(TIdFormat AFormat, const string& AId,
                                                                         const string& AMailbox,
                                                                         TIdFormat ADestinationFormat) {
  return ConvertId({{AFormat, AId, AMailbox}}, ADestinationFormat);
}

TVqRef<IVqEwsNonEmptyArrayOfAlternateIds> TVqEWSCustomSession::ConvertId(const TVqEwsAlternateIds& ASourceIds,
                                                                         TIdFormat ADestinationFormat) {
  CheckActive();
  // Past CreateRequest, on purpose: of the headers only the version goes along.
  const TVqRef<IVqSOAPRequest> request = FSOAPClient->CreateRequest("m:ConvertId", string());
  request->AddSOAPHeader("t:RequestServerVersion").SetAttribute("Version", VqEnumToText(FRequestVersion));
  const IVqDOMElement method = request->GetMethod();
  method.SetAttribute("DestinationFormat", VqEnumToText(ADestinationFormat));
  const IVqDOMElement sources = method.AddElement("m:SourceIds");
  for (const TVqEwsAlternateId& source : ASourceIds) {
    const IVqDOMElement id = sources.AddElement("t:AlternateId");
    id.SetAttribute("Format", VqEnumToText(source.Format));
    id.SetAttribute("Id", source.Id);
    id.SetAttribute("Mailbox", source.Mailbox);
  }
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement messages = response->GetResponse().SelectSingleElement("ResponseMessages", kSelectRequired);
  for (const IVqDOMElement& message : messages.GetChildElements()) CheckResponseError(message);
  return MakeRef<TVqEwsNonEmptyArrayOfAlternateIds>(messages);
}

}  // namespace velmore
