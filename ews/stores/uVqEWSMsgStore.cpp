#include "ews/stores/uVqEWSMsgStore.h"

#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/items/uVqEWSItemClasses.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/internal/uVqEWSConstants.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSFolderPath_p.h"
#include "ews/stores/uVqEWSSync.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {

TVqEWSMsgStore::TVqEWSMsgStore(TVqEWSBaseSession* ASession, const string& ADisplayName)
    : TVqEWSObject(ASession, true), FDisplayName(ADisplayName) {
  SetId({ADisplayName, string()});
}

string TVqEWSMsgStore::GetDisplayName() {
  if (FDisplayName.empty()) FDisplayName = GetIdentity()->GetName();
  return FDisplayName;
}

TVqRef<IVqEWSRecipient> TVqEWSMsgStore::GetIdentity() {
  if (FIdentity) return FIdentity;
  string folderClass;
  const TItemId inbox = GetFolderIdAndType(dfininbox, folderClass, string(), true);
  TVqEWSCall call(*this, {"ConvertId", "", TVqEWSAnswerPath::below});
  call.Set("DestinationFormat", "EwsId");
  const IVqDOMElement id = call.Add("m:SourceIds/t:AlternateId");
  id.SetAttribute("Format", "EwsId");
  id.SetAttribute("Id", inbox.Id);
  // The address in the answer is what counts; some servers echo the one that was sent.
  const string own = OwnAddress();
  id.SetAttribute("Mailbox", own.empty() ? string(kDummyAddress) : own);
  const string address = call.Send().SelectSingleElement("AlternateId", kSelectRequired).GetAttribute("Mailbox");
  if (address == kDummyAddress)  // nobody's: mail would go there, and every request would be anchored on it
    throw EEWSException("The server does not tell whose mailbox this is. Set AutodiscoverEMail to its address.");

  auto& resolver = dynamic_cast<IVqEWSNameResolver&>(ActiveSession());
  const TVqRef<IVqEWSRecipient> identity = resolver.CreateRecipients()->Add(address);
  resolver.ResolveName(identity, true);
  FIdentity = identity;
  return FIdentity;
}

// ---- Folders

TItemId TVqEWSMsgStore::GetFolderIdAndType(TDistinguishedFolderIdName AFolderType, string& AFolderClass,
                                           const string& AMailbox, bool ARaiseError) {
  AFolderClass.clear();
  try {
    return LookUpFolder(AFolderType, AFolderClass, AMailbox);
  } catch (const std::exception&) {
    if (ARaiseError) throw;
    AFolderClass.clear();
    return {};
  }
}

TItemId TVqEWSMsgStore::LookUpFolder(TDistinguishedFolderIdName AFolderType, string& AFolderClass,
                                     const string& AMailbox) {
  const IVqDOMElement folder = AskForFolder(AFolderType, AMailbox, "IdOnly");
  const IVqDOMElement folderId = folder.GetParentElement().SelectSingleElement("*/FolderId", kSelectRequired);
  AFolderClass = folderId.GetParentElement().GetLocalName();
  return EwsReadId(folderId);
}

IVqDOMElement TVqEWSMsgStore::AskForFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox,
                                           const char* AShape) {
  TVqEWSCall call(*this, "GetFolder");
  call.Add("m:FolderShape/t:BaseShape").SetText(AShape);
  const IVqDOMElement id = call.Add("m:FolderIds/t:DistinguishedFolderId");
  id.SetAttribute("Id", VqEnumToText(AFolderType));
  if (!AMailbox.empty()) id.AddElement("t:Mailbox").AddElement("t:EmailAddress").SetText(AMailbox);
  return call.SendForFolder();
}

TItemId TVqEWSMsgStore::GetFolderId(TDistinguishedFolderIdName AFolderType) {
  string folderClass;
  return GetFolderIdAndType(AFolderType, folderClass, string(), true);
}

bool TVqEWSMsgStore::FindFolderId(TDistinguishedFolderIdName AFolderType, TItemId& FolderId) {
  string folderClass;
  FolderId = GetFolderIdAndType(AFolderType, folderClass, string(), false);
  return !FolderId.Id.empty();
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::GetFolder(const TItemId& AFolderId) {
  if (ActiveSession().GetLeanRoundTrips()) {
    TVqEWSCall call(*this, "GetFolder");
    call.Add("m:FolderShape/t:BaseShape").SetText("AllProperties");
    call.AddLoadId(call.Add("m:FolderIds"), "t:FolderId", AFolderId);
    return FolderOf(call.SendForFolder());
  }
  auto folder = MakeRef<TVqEWSFolder>(this, AFolderId);
  // The kind is only known from the first answer, so a calendar folder is loaded twice.
  if (folder->GetFolderFieldType() == sffCalendarFolder) return MakeRef<TVqEWSCalendarFolder>(this, AFolderId);
  return folder;
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::GetFolder(const TEwsFolderId& AFolderId) {
  TItemId id;
  id.Assign(AFolderId);
  return GetFolder(id);
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::FolderOf(const IVqDOMElement& AAnswer) {
  if (AAnswer.GetLocalName() == "CalendarFolder") return MakeRef<TVqEWSCalendarFolder>(this, AAnswer);
  return MakeRef<TVqEWSFolder>(this, AAnswer);
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::GetFolder(const string& APath) {
  const TVqEWSFolderPath::TPlace place = TVqEWSFolderPath(APath).Get(*this, dfinmsgfolderroot);
  return EwsOpenFolder(place.Kind, this, place.Id);
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::FindFolder(const string& APath) {
  const auto place = TVqEWSFolderPath(APath).Find(*this, dfinmsgfolderroot);
  return place ? EwsOpenFolder(place->Kind, this, place->Id) : nullptr;
}

TVqRef<IVqEWSFolder> TVqEWSMsgStore::GetFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox) {
  if (ActiveSession().GetLeanRoundTrips()) return FolderOf(AskForFolder(AFolderType, AMailbox, "AllProperties"));
  string folderClass;
  const TItemId id = GetFolderIdAndType(AFolderType, folderClass, AMailbox, true);
  return EwsOpenFolder(folderClass, this, id);
}

TVqRef<IVqEWSFolderChanges> TVqEWSMsgStore::SyncFolders(const string& AState) {
  return MakeRef<TVqEWSFolderChanges>(this, TItemId(), AState);
}

// ---- Items

TVqRef<IVqEWSItem> TVqEWSMsgStore::GetItem(const TItemId& AItemId) {
  TVqEWSCall call(*this, "GetItem");
  EwsAskForItems(call, {&AItemId, 1});
  const IVqDOMElement item = call.SendForItem();
  if (ActiveSession().GetLeanRoundTrips()) return EwsOpenItem(this, {item, call.Response()});
  // This answer only tells the class: the object loads itself by a request of its own.
  return EwsOpenItem(item.GetLocalName(), this, AItemId);
}

TVqRef<IVqEWSCalendarItem> TVqEWSMsgStore::GetOccurence(const TItemId& AItemId, std::int32_t AIdx) {
  TVqEWSCall call(*this, "GetItem");
  call.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  const IVqDOMElement id = call.Add("m:ItemIds/t:OccurrenceItemId");
  id.SetAttribute("RecurringMasterId", AItemId.Id);
  id.SetAttribute("InstanceIndex", IntToStr(AIdx));
  const IVqDOMElement item = call.SendForItem();
  if (!SameText(item.GetLocalName(), "CalendarItem")) throw EAssertionFailed("Assertion failure (ews/uVqEWSMsgStore)");
  return Supports<IVqEWSCalendarItem>(GetItem(EwsReadId(item.GetFirstChildElement())));
}

}  // namespace velmore
