// The answers to invitations: a request that is prepared when it is made and sent by Submit.

#include "ews/items/uVqEWSMessageEx.h"

#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"

namespace velmore {
namespace {

constexpr TVqEWSOperation kAnswer{"CreateItem", "m:CreateItemResponse"};

/// The component behind an interface, which is the response's creator.
TVqComponent* ComponentOf(const TVqRef<IVqEWSItem>& item) {
  return dynamic_cast<TVqComponent*>(item.get());
}

const char* ElementOf(TVqEWSMeetingResponseAction action) {
  switch (action) {
    case raAccept:
      return "AcceptItem";
    case raTentativelyAccept:
      return "TentativelyAcceptItem";
    case raDecline:
      return "DeclineItem";
    default:
      throw EVqException("Unsupported ResponseType");
  }
}

}  // namespace

TVqEwsWellKnownResponseCore::TVqEwsWellKnownResponseCore(const TVqRef<IVqEWSItem>& AReferenceItem,
                                                         TEwsItem& AReferenceEwsItem,
                                                         TVqEWSMeetingResponseAction AResponseType,
                                                         const TVqXMLSchemaClass& ARecordClass)
    : TVqEWSPropObjectCore(ComponentOf(AReferenceItem), true, ARecordClass),
      FReferenceItem(AReferenceItem),
      FSession(MakeRef<TVqEWSObjectSession>(*this)) {
  const string name = ElementOf(AResponseType);
  const TVqEWSCall call(*this, kAnswer);
  FSOAPRequest = call.Request();
  const IVqDOMElement response = call.Add("m:Items").AddElement("t:" + name);
  call.AddId(response, "t:ReferenceItemId", EwsReadId(IVqDOMElement(AReferenceEwsItem.FindNode("t:ItemId"))));
  SetPropData(
      FSOAPRequest->GetDocument().SelectSingleElement("/envelope/body/createitem/items/" + name, kSelectRequired));
}

TVqEwsWellKnownResponseCore::~TVqEwsWellKnownResponseCore() {
  FSession->Forget();
}

// ---- Members

string TVqEwsWellKnownResponseCore::GetItemClass() {
  return Response().GetItemClass();
}
void TVqEwsWellKnownResponseCore::SetItemClass(const string& AValue) {
  Response().SetItemClass(AValue);
}
// The extended property of MAPI and not the member of that name. Meant so: it is where programs look for it.
TSensitivityChoices TVqEwsWellKnownResponseCore::GetSensitivity() {
  if (!HasProperty(MPR_SENSITIVITY)) return scNormal;
  return static_cast<TSensitivityChoices>(PropertyByName(MPR_SENSITIVITY).GetAsInteger());
}
void TVqEwsWellKnownResponseCore::SetSensitivity(TSensitivityChoices AValue) {
  PropertyByName(MPR_SENSITIVITY).SetAsInteger(AValue);
}
TEwsBody& TVqEwsWellKnownResponseCore::GetBody() {
  return Response().GetBody();
}
TVqEWSAttachments& TVqEwsWellKnownResponseCore::GetAttachments() {
  if (!FAttachments) FAttachments = std::make_unique<TVqEWSAttachments>(FSession, Response().GetAttachments());
  return *FAttachments;
}
TEwsNonEmptyArrayOfInternetHeaders& TVqEwsWellKnownResponseCore::GetInternetMessageHeaders() {
  return Response().GetInternetMessageHeaders();
}
bool TVqEwsWellKnownResponseCore::GetIsReadReceiptRequested() {
  return Response().GetIsReadReceiptRequested();
}
void TVqEwsWellKnownResponseCore::SetIsReadReceiptRequested(bool AValue) {
  Response().SetIsReadReceiptRequested(AValue);
}
bool TVqEwsWellKnownResponseCore::GetIsDeliveryReceiptRequested() {
  return Response().GetIsDeliveryReceiptRequested();
}
void TVqEwsWellKnownResponseCore::SetIsDeliveryReceiptRequested(bool AValue) {
  Response().SetIsDeliveryReceiptRequested(AValue);
}
TEwsItemId& TVqEwsWellKnownResponseCore::GetReferenceItemId() {
  return Response().GetReferenceItemId();
}
string TVqEwsWellKnownResponseCore::GetObjectName() {
  return Response().GetObjectName();
}
void TVqEwsWellKnownResponseCore::SetObjectName(const string& AValue) {
  Response().SetObjectName(AValue);
}

// ---- Recipients

TVqRef<IVqEWSRecipient> TVqEwsWellKnownResponseCore::Single(const char* AName) {
  return FRecipients.Single(AName, ActiveSession().GetServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    return [around = IVqDOMElement(NewRecord().GetNode(string("t:") + AName))](bool make) {
      return around.SelectSingleElement("t:Mailbox", make ? TVqDOMSelectOptions(kSelectCreate) : kSelectQuiet);
    };
  });
}

TVqRef<IVqEWSRecipients> TVqEwsWellKnownResponseCore::Many(const char* AName) {
  return FRecipients.Many(AName, ActiveSession().GetServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    return [list = IVqDOMElement(NewRecord().GetNode(string("t:") + AName))](bool) { return list; };
  });
}

TVqRef<IVqEWSRecipient> TVqEwsWellKnownResponseCore::GetSender() {
  return Single("Sender");
}
TVqRef<IVqEWSRecipient> TVqEwsWellKnownResponseCore::GetFrom() {
  return Single("From");
}
TVqRef<IVqEWSRecipients> TVqEwsWellKnownResponseCore::GetToRecipients() {
  return Many("ToRecipients");
}
TVqRef<IVqEWSRecipients> TVqEwsWellKnownResponseCore::GetCcRecipients() {
  return Many("CcRecipients");
}
TVqRef<IVqEWSRecipients> TVqEwsWellKnownResponseCore::GetBccRecipients() {
  return Many("BccRecipients");
}

// ---- Sending

void TVqEwsWellKnownResponseCore::Submit(TMessageDispositionType AMessageDisposition) {
  // A copy goes out, so that an answer whose sending fails can be sent again.
  TVqEWSCall call(*this, kAnswer);
  call.Request()->LoadEnvelope(*FSOAPRequest);
  call.Set("MessageDisposition", VqEnumToText(AMessageDisposition));
  const IVqDOMElement response = call.Method().SelectSingleElement("Items/*", kSelectRequired);
  EwsRemoveEmptyMembers(response);
  const IVqDOMElement made = call.Send().SelectSingleElement("//ItemId", kSelectQuiet);
  if (made.GetAttribute("Id").empty()) return;  // what was only sent is no item
  const TItemId id = EwsReadId(made);
  SetId(id);
  // The answer moves the meeting's item on: with the new key it can be saved. Its record may be another one by now.
  EwsWriteId(IVqDOMElement(TEwsItem(FReferenceItem->AsElement()).GetNode("t:ItemId")), id);
}

// ---- Another time

namespace {

// The names say the accessor and not the property, unlike those of items.
void NeedsProposals(TVqEWSBaseSession& session, const char* accessor) {
  EwsCheckVersion(Exchange2013, session.GetServerVersion(), accessor);
}

}  // namespace

TDateTime TVqEwsMeetingResponse::GetProposedStart() {
  NeedsProposals(ActiveSession(), "GetProposedStart");
  return NewData().GetProposedStart();
}
void TVqEwsMeetingResponse::SetProposedStart(TDateTime AValue) {
  NeedsProposals(ActiveSession(), "SetProposedStart");
  NewData().SetProposedStart(AValue);
}
TDateTime TVqEwsMeetingResponse::GetProposedEnd() {
  NeedsProposals(ActiveSession(), "GetProposedEnd");
  return NewData().GetProposedEnd();
}
void TVqEwsMeetingResponse::SetProposedEnd(TDateTime AValue) {
  NeedsProposals(ActiveSession(), "SetProposedEnd");
  NewData().SetProposedEnd(AValue);
}

}  // namespace velmore
