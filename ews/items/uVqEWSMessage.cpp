#include "ews/items/uVqEWSMessage.h"

#include <algorithm>

#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/items/uVqEWSMemberRows_p.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
};

constexpr const char* kDisposition = "MessageDisposition";

/// Cuts the next line off, without its end, which may be CR LF, LF or CR. Bytes: MIME text may be of any encoding.
std::string_view TakeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end);
  if (rest.starts_with("\r\n")) {
    rest.remove_prefix(2);
  } else if (!rest.empty()) {
    rest.remove_prefix(1);
  }
  return line;
}

bool MentionsUnsent(std::string_view line) {
  constexpr std::string_view kUnsent = "x-unsent";
  const auto same = [](char c, char wanted) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c) == wanted;
  };
  return std::search(line.begin(), line.end(), kUnsent.begin(), kUnsent.end(), same) != line.end();
}

/// The copy's folder: the sent items.
void SetSentItems(const IVqDOMElement& folderId) {
  folderId.RemoveAllChildren();
  folderId.AddElement("t:DistinguishedFolderId").SetAttribute("Id", "sentitems");
}

void RemoveSavedItemFolderId(const IVqDOMElement& method) {
  if (const IVqDOMElement folderId = method.SelectSingleElement("SavedItemFolderId", kSelectQuiet))
    method.RemoveChild(folderId);
}

}  // namespace

TVqEWSEMail::TVqEWSEMail(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
}
TVqEWSEMail::TVqEWSEMail(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded) : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

const TVqEWSMemberTable& TVqEWSEMail::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSEMail", &TVqEWSItemCore::MemberTable(), kMembers};
  return table;
}

// ---- Recipients

TVqRef<IVqEWSRecipient> TVqEWSEMail::Single(const char* AName, TEwsSingleRecipient& (TEwsMessage::*AGetter)() const) {
  NewRecord();  // a load gives up what is handed out
  return FRecipients.Single(AName, ServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    return [around = &(NewData().*AGetter)()](bool make) {
      return IVqDOMElement(make ? around->GetNode("t:Mailbox") : around->FindNode("t:Mailbox"));
    };
  });
}

TVqRef<IVqEWSRecipients> TVqEWSEMail::Many(const char* AName, TEwsArrayOfRecipients& (TEwsMessage::*AGetter)() const) {
  NewRecord();
  return FRecipients.Many(AName, ServerVersion(), [&]() -> TVqEWSRecipient::TPlace {
    return [list = (NewData().*AGetter)().AsElement()](bool) { return list; };
  });
}

TVqRef<IVqEWSRecipient> TVqEWSEMail::GetSender() {
  return Single("Sender", &TEwsMessage::GetSender);
}
TVqRef<IVqEWSRecipient> TVqEWSEMail::GetFrom() {
  return Single("From", &TEwsMessage::GetFrom);
}
TVqRef<IVqEWSRecipients> TVqEWSEMail::GetToRecipients() {
  return Many("ToRecipients", &TEwsMessage::GetToRecipients);
}
TVqRef<IVqEWSRecipients> TVqEWSEMail::GetCcRecipients() {
  return Many("CcRecipients", &TEwsMessage::GetCcRecipients);
}
TVqRef<IVqEWSRecipients> TVqEWSEMail::GetBccRecipients() {
  return Many("BccRecipients", &TEwsMessage::GetBccRecipients);
}
TVqRef<IVqEWSRecipients> TVqEWSEMail::GetReplyTo() {
  return Many("ReplyTo", &TEwsMessage::GetReplyTo);
}
TVqRef<IVqEWSRecipient> TVqEWSEMail::GetReceivedBy() {
  return Single("ReceivedBy", &TEwsMessage::GetReceivedBy);
}
TVqRef<IVqEWSRecipient> TVqEWSEMail::GetReceivedRepresenting() {
  return Single("ReceivedRepresenting", &TEwsMessage::GetReceivedRepresenting);
}

// ---- Members of a message

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSEMail, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"

TEwsMimeContent& TVqEWSEMail::GetMimeContent() {
  TEwsMimeContent& content = TVqEWSBaseItem::GetMimeContent();
  if (!GetIsDraft()) return content;
  const std::string mime = VqBase64Decode(content.AsElement().GetTextAsUtf8());
  std::string unsent = "X-Unsent: 1\r\n";
  bool replaced = false;
  for (std::string_view rest = mime; !rest.empty();) {
    const std::string_view line = TakeLine(rest);
    // Looked for in the whole text, head and body; the first such line goes, a second one stays. Meant so: the mark
    // above replaces the draft's own, and a message that is quoted below keeps its mark.
    if (!replaced && MentionsUnsent(line)) {
      replaced = true;
    } else {
      unsent.append(line).append("\r\n");
    }
  }
  const std::string encoded = VqBase64Encode(unsent);
  // A content that is as it was loaded is so in both records: what was only read is not sent.
  const IVqDOMElement loaded(OldRecord().FindNode("t:MimeContent"));
  if (loaded && EwsSameParts(loaded, content.AsElement())) detail::AssignKnownText(loaded, encoded);
  detail::AssignKnownText(content.AsElement(), encoded);
  return content;
}

// ---- Saving and sending

void TVqEWSEMail::PrepareSave() {
  if (const auto request = Supports<IVqSOAPRequest>(Envelope()))
    request->GetMethod().SetAttribute(kDisposition, "SaveOnly");
}

void TVqEWSEMail::CheckNotSubmitted() {
  if (GetIsSubmitted()) throw EVqException("The message has already been submitted!");
}

// Attachments go up one by one, and old servers send what they hold: both need the message saved first. The tree is
// asked, not the accessor, which would ask the server and leave an empty element in the request.
bool TVqEWSEMail::SendsInOneStep() {
  return ServerVersion() > Exchange2013 && !NewRecord().FindNode("t:Attachments").HasChildren();
}

void TVqEWSEMail::SubmitMessage(bool AMoveToSentItems) {
  CheckNotSubmitted();
  bool saved = false;
  const TReadBackAtOnce atOnce(*this);
  if (!SendsInOneStep() && Supports<IVqSOAPRequest>(Envelope())) {
    SaveChanges(soAutoResolve);  // which sets the disposition "SaveOnly"
    saved = true;
  }
  if (NewItemRequest() && GetID().Id.empty()) {
    TVqEWSCall call(*this, kCreateItem);
    ComposeSend(call, AMoveToSentItems);
    call.Send();
  } else {
    if (!saved) SaveChanges(soAutoResolve);
    SendSavedItem(AMoveToSentItems);
  }
  NewData().SetIsSubmitted(true);
}

// A copy goes out: when it fails, the message stands as it was, and a save puts it where it was to go.
void TVqEWSEMail::ComposeSend(const TVqEWSCall& ACall, bool AMoveToSentItems) {
  ACall.Request()->LoadEnvelope(*NewItemRequest());
  const IVqDOMElement method = ACall.Method();
  method.SetAttribute(kDisposition, AMoveToSentItems ? "SendAndSaveCopy" : "SendOnly");
  if (AMoveToSentItems) {
    SetSentItems(
        method.SelectSingleElement("SavedItemFolderId", kSelectRequired));  // fails when the message has no folder
  } else {
    RemoveSavedItemFolderId(method);
  }
  // No clean-up here, on purpose, but of records that getters made on their way: the server takes none of them empty.
  const IVqDOMElement item = method.SelectSingleElement("Items/*", kSelectRequired);
  const TVqDOMElementList members = item.GetChildElements();
  for (std::int32_t i = members.Count() - 1; i >= 0; --i) {
    const IVqDOMElement member = members.GetItem(i);
    if (EwsIsEmpty(member) && NewRecord().GetTypeInfo(member.GetQualifiedName()).Kind == tkClass)
      item.RemoveChild(member);
  }
}

void TVqEWSEMail::CheckRefusedDeletions() {
  if (!GetRefusedDeletions().empty()) throw EEWSException(GetRefusedDeletions().front().Refusal);
}

void TVqEWSEMail::SendSavedItem(bool AMoveToSentItems) {
  CheckRefusedDeletions();  // what was taken away is not to reach anybody
  TVqEWSCall call(*this, kSendItem);
  const TItemId id = GetID();
  EwsAskToSend(call, {&id, 1}, AMoveToSentItems, ServerVersion());
  call.Send();
}

void EwsAskToSend(const TVqEWSCall& ACall, std::span<const TItemId> AIds, bool AMoveToSentItems,
                  TServerVersion AVersion) {
  const IVqDOMElement ids = ACall.Add("m:ItemIds");
  for (const TItemId& id : AIds) EwsWriteId(ids.AddElement("t:ItemId"), id);
  ACall.Set("SaveItemToFolder", AMoveToSentItems ? "true" : "false");
  if (!AMoveToSentItems) {
    RemoveSavedItemFolderId(ACall.Method());
  } else if (AVersion > Exchange2013) {
    SetSentItems(ACall.Method().SelectSingleElement("SavedItemFolderId", kSelectCreate));
  }
}

}  // namespace velmore
