// The session's conversion of ids (m:ConvertId).

#include "ews/model/internal/uVqEWSCall.h"
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
  // Past CreateRequest, on purpose: of the headers only the version goes along, as no mailbox, zone or user plays a
  // part in what an id is.
  TVqEWSCall call(*this, {"ConvertId", "", TVqEWSAnswerPath::below},
                  FSOAPClient->CreateRequest("m:ConvertId", string()));
  call.Request()->AddSOAPHeader("t:RequestServerVersion").SetAttribute("Version", VqEnumToText(FRequestVersion));
  call.Set("DestinationFormat", VqEnumToText(ADestinationFormat));
  const IVqDOMElement sources = call.Add("m:SourceIds");
  for (const TVqEwsAlternateId& source : ASourceIds) {
    const IVqDOMElement id = sources.AddElement("t:AlternateId");
    id.SetAttribute("Format", VqEnumToText(source.Format));
    id.SetAttribute("Id", source.Id);
    id.SetAttribute("Mailbox", source.Mailbox);
  }
  return MakeRef<TVqEwsNonEmptyArrayOfAlternateIds>(call.SendAll());
}

}  // namespace velmore
