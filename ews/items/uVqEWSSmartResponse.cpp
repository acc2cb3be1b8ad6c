#include "ews/items/uVqEWSSmartResponse.h"

#include "ews/items/uVqEWSMemberRows_p.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsSmartResponse.inc"
};

/// What a response of a type is, and what its subject begins with: always, and in English, on purpose. Programs and
/// people have sorted by it for long.
struct TKind {
  TItemType ItemType;
  const char* Prefix;
};

TKind KindOf(TVqEWSSmartResponseType type) {
  switch (type) {
    case srtReply:
      return {tReplyToItem, "RE: "};
    case srtReplyAll:
      return {tReplyAllToItem, "RE: "};
    case srtForward:
      return {tForwardItem, "FW: "};
  }
  throw EVqException("The specified responsetype is not supported!");
}

}  // namespace

TVqEWSSmartResponse::TVqEWSSmartResponse(TVqEWSEMail* ACreator, TVqEWSSmartResponseType AResponseType)
    : TVqEWSBaseItem(ACreator), FOriginal(*ACreator), FResponseType(AResponseType) {
  Initialize(TItemId());
  EwsWriteId(GetReferenceItemId().AsElement(), FOriginal.GetID());
  SetResponseType(AResponseType);
}

const TVqEWSMemberTable& TVqEWSSmartResponse::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSSmartResponse", &TVqEWSItemCore::MemberTable(), kMembers};
  return table;
}

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSSmartResponse, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsSmartResponse.inc"

TItemType TVqEWSSmartResponse::GetItemType() {
  return KindOf(FResponseType).ItemType;
}

void TVqEWSSmartResponse::SetResponseType(TVqEWSSmartResponseType AResponseType) {
  const TKind kind = KindOf(AResponseType);
  FResponseType = AResponseType;
  SetSubject(kind.Prefix + FOriginal.GetSubject());
}

// ---- What is written

const char* TVqEWSSmartResponse::BodyMember() {
  return NewItemRequest() ? "NewBodyContent" : "Body";
}

TEwsBody& TVqEWSSmartResponse::GetBody() {
  return NewItemRequest() ? NewData().GetNewBodyContent() : TVqEWSBaseItem::GetBody();
}

// The element of a member is made by the first setter: an empty one would tell the server that nobody is to get the
// response. Of a saved response the load may have left it out.

TVqRef<IVqEWSRecipients> TVqEWSSmartResponse::Many(const char* AName) {
  NewRecord();  // a load gives up what is handed out
  return FRecipients.Many(AName, ServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    const string name = FetchMember(AName);
    return [record = &NewRecord(), name](bool make) {
      return IVqDOMElement(make ? record->GetNode(name) : record->FindNode(name));
    };
  });
}

TVqRef<IVqEWSRecipient> TVqEWSSmartResponse::Single(const char* AName) {
  NewRecord();
  return FRecipients.Single(AName, ServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    const string name = FetchMember(AName);
    return [record = &NewRecord(), name](bool make) {
      TEwsSingleRecipient around(IVqDOMElement(make ? record->GetNode(name) : record->FindNode(name)));
      if (!around.AsElement()) return IVqDOMElement();
      return IVqDOMElement(make ? around.GetNode("t:Mailbox") : around.FindNode("t:Mailbox"));
    };
  });
}

string TVqEWSSmartResponse::FetchMember(const char* AName) {
  const string name = string("t:") + AName;
  if (!NewRecord().FindNode(name)) GetAdditionalProperties({AName});
  return name;
}

TVqRef<IVqEWSRecipients> TVqEWSSmartResponse::GetToRecipients() {
  return Many("ToRecipients");
}
TVqRef<IVqEWSRecipients> TVqEWSSmartResponse::GetCcRecipients() {
  return Many("CcRecipients");
}
TVqRef<IVqEWSRecipients> TVqEWSSmartResponse::GetBccRecipients() {
  return Many("BccRecipients");
}
TVqRef<IVqEWSRecipient> TVqEWSSmartResponse::GetFrom() {
  return Single("From");
}
TVqRef<IVqEWSRecipient> TVqEWSSmartResponse::GetReceivedBy() {
  return Single("ReceivedBy");
}
TVqRef<IVqEWSRecipient> TVqEWSSmartResponse::GetReceivedRepresenting() {
  return Single("ReceivedRepresenting");
}

// ---- Saving and sending

void TVqEWSSmartResponse::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  TVqEWSBaseItem::BeforeSaveChanges(ASOAPRequest);
  const IVqDOMElement method = ASOAPRequest.GetMethod();
  if (method.GetLocalName() != "CreateItem") return;
  method.SetAttribute("MessageDisposition", FSubmitting ? "SendAndSaveCopy" : "SaveOnly");
  // The response goes out as it was written, with what a save takes away from other items; attachments alone do not.
  const IVqDOMElement response =
      method.SelectSingleElement("Items", kSelectRequired).SelectSingleElement("*", kSelectRequired);
  response.SetInnerXML(AsElement().GetInnerXML());
  if (const IVqDOMElement attachments = response.SelectSingleElement("Attachments", kSelectQuiet))
    response.RemoveChild(attachments);
}

// A response is always new, so that no option has anything to decide.
void TVqEWSSmartResponse::SaveChanges(TVqEWSSaveOption) {
  TVqEWSBaseItem::SaveChanges(soAutoResolve);
}

TVqRef<IVqEWSEMail> TVqEWSSmartResponse::SaveChanges(const TVqEWSSaveOption&) {
  TVqEWSBaseItem::SaveChanges(soAutoResolve);
  if (FSubmitting) return {};
  const TVqRef<IVqEWSMsgStore> store = GetMsgStore();
  return store ? Supports<IVqEWSEMail>(store->GetItem(GetID())) : TVqRef<IVqEWSEMail>();
}

void TVqEWSSmartResponse::SubmitMessage(bool AMoveToSentItems) {
  if (FSubmitted) throw EVqException("The message has already been submitted!");
  if (!NewItemRequest()) {
    // Saved before: a draft like any other.
    const TVqRef<IVqEWSEMail> draft = static_cast<IVqEWSSmartResponse*>(this)->SaveChanges(soAutoResolve);
    if (!draft) throw EVqException("The response was saved, and has no store that could open the draft.");
    draft->SubmitMessage(AMoveToSentItems);
    FSubmitted = true;
    return;
  }
  if (NewRecord().FindNode("t:Attachments").HasChildren())
    throw EVqException(
        "Attachments of a response are not sent. Save the response, add them to the draft that SaveChanges gives, and "
        "submit the draft.");
  FSubmitting = true;
  try {
    TVqEWSBaseItem::SaveChanges(soAutoResolve);
  } catch (...) {
    FSubmitting = false;               // so that saving what could not be sent does not send it
    FSubmitted = !GetID().Id.empty();  // it went out, and reading it back failed
    throw;
  }
  FSubmitted = true;
}

// ---- Where responses come from

TVqRef<IVqEWSSmartResponse> TVqEWSEMail::CreateReply(bool AReplyAll) {
  return MakeRef<TVqEWSSmartResponse>(this, AReplyAll ? srtReplyAll : srtReply);
}

TVqRef<IVqEWSSmartResponse> TVqEWSEMail::CreateForward() {
  return MakeRef<TVqEWSSmartResponse>(this, srtForward);
}

}  // namespace velmore
