#include "ews/stores/uVqEWSFolder.h"

#include "ews/items/uVqEWSItemClasses.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/internal/uVqEWSFolderCalls.h"
#include "ews/stores/uVqEWSFolderPath_p.h"
#include "ews/stores/uVqEWSSync.h"
#include "ews/stores/uVqEWSTableParts_p.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSerializer.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

/// MessageFlags, as the wire has always had it here: in decimal.
constexpr const char* kMessageFlagsTag = "3591";

string MessageFlagsValue(TVqEWSMessageFlags flags) {
  std::int32_t value = 0;
  if (flags.Contains(msgflgRead)) value += 1;
  if (flags.Contains(msgflgUnmodified)) value += 2;
  if (flags.Contains(msgflgUnsent)) value += 8;
  if (flags.Contains(msgflgFromMe)) value += 32;
  return VqIntToXML(value);
}

template <typename T>
TItemId IdOf(const T& record) {
  TItemId id;
  id.Assign(record);
  return id;
}

}  // namespace

// ---- Loading

TVqEWSFolder::TVqEWSFolder(TVqComponent* ACreator, const TItemId& AFolderId) : TVqEWSPropObject(ACreator, true) {
  FMsgStore = FindMsgStore();
  Load(AFolderId);
}

TVqEWSFolder::TVqEWSFolder(TVqComponent* ACreator, const IVqDOMElement& AFolder) : TVqEWSPropObject(ACreator, true) {
  FMsgStore = FindMsgStore();
  SetPropData(AFolder);
}

void TVqEWSFolder::Load(const TItemId& AFolderId) {
  TVqEWSCall call(*this, "GetFolder");
  EwsAskForFolders(call, {&AFolderId, 1});
  SetPropData(call.SendForFolder());
}

TVqRef<IVqEWSFolder> EwsTakeFolder(TVqComponent* ACreator, const IVqDOMElement& ALoaded) {
  if (ALoaded.GetLocalName() == "CalendarFolder") return MakeRef<TVqEWSCalendarFolder>(ACreator, ALoaded);
  return MakeRef<TVqEWSFolder>(ACreator, ALoaded);
}

void EwsAskForFolders(const TVqEWSCall& ACall, std::span<const TItemId> AIds) {
  ACall.Add("m:FolderShape/t:BaseShape").SetText("AllProperties");
  const IVqDOMElement ids = ACall.Add("m:FolderIds");
  for (const TItemId& id : AIds) ACall.AddLoadId(ids, "t:FolderId", id);
}

TVqRef<IVqEWSMsgStore> TVqEWSFolder::FindMsgStore() {
  if (!FMsgStore) FMsgStore = EwsStoreAbove(*this);
  return FMsgStore;
}

TVqRef<IVqEWSMsgStore> EwsStoreAbove(IVqEWSObject& AObject) {
  for (auto link = Supports<IVqEWSObject>(AObject.GetCreatedBy()); link;
       link = Supports<IVqEWSObject>(link->GetCreatedBy())) {
    if (auto store = Supports<IVqEWSMsgStore>(link)) return store;
  }
  return {};
}

// ---- What the folder is

TItemId TVqEWSFolder::GetID() {
  return IdOf(NewData().GetFolderId());
}

void TVqEWSFolder::SetId(const TItemId&) {
  throw EEWSException("ErrorReadOnly", "The FolderId is a read only property!", 0);
}

TVqRef<IVqEWSObject> TVqEWSFolder::GetMsgStore() {
  return FindMsgStore();
}
TItemId TVqEWSFolder::GetParentFolderId() {
  return IdOf(NewData().GetParentFolderId());
}
TSetFolderFieldType TVqEWSFolder::GetFolderFieldType() {
  return VqTextToEnum<TSetFolderFieldType>(NewData().AsElement().GetLocalName());
}
std::int32_t TVqEWSFolder::GetChildFolderCount() {
  return NewData().GetChildFolderCount();
}
string TVqEWSFolder::GetDisplayName() {
  return NewData().GetDisplayName();
}
TEwsEffectiveRights& TVqEWSFolder::GetEffectiveRights() {
  return NewData().GetEffectiveRights();
}
std::int32_t TVqEWSFolder::GetTotalCount() {
  return NewData().GetTotalCount();
}
std::int32_t TVqEWSFolder::GetUnreadCount() {
  return NewData().GetUnreadCount();
}
void TVqEWSFolder::SetDisplayName(const string& AValue) {
  PropertyByName(PR_DISPLAYNAME).SetAsString(AValue);
}

void TVqEWSFolder::SaveChanges() {
  throw EEWSException("ErrorReadOnly", "EWS Folders are currently read only!", 0);
}

// ---- Folders below

TVqRef<IVqEWSFolders> TVqEWSFolder::GetSubFolders() {
  return MakeRef<TVqEWSFolders>(this, GetID());
}

TVqRef<IVqEWSFolder> TVqEWSFolder::GetSubFolder(const string& APath) {
  const TVqEWSFolderPath::TPlace place = TVqEWSFolderPath(APath).Get(*this, GetID());
  return EwsOpenFolder(place.Kind, &Opener(), place.Id);
}

TVqRef<IVqEWSFolder> TVqEWSFolder::FindSubFolder(const string& APath) {
  const auto place = TVqEWSFolderPath(APath).Find(*this, GetID());
  return place ? EwsOpenFolder(place->Kind, &Opener(), place->Id) : nullptr;
}

// The store, as for folders that it opens itself; their deletions look at the items.
TVqEWSObject& TVqEWSFolder::Opener() {
  auto* store = dynamic_cast<TVqEWSObject*>(FindMsgStore().get());
  return store ? *store : *this;
}

TItemId TVqEWSFolder::CreateFolder(TSetFolderFieldType AFolderType, const string& ADisplayName) {
  TVqEWSCall call(*this, "CreateFolder");
  call.AddId(call.Add("m:ParentFolderId"), "t:FolderId", GetID());
  const IVqDOMElement folder = call.Add("m:Folders").AddElement("t:" + VqEnumToText(AFolderType));
  folder.AddElement("t:DisplayName").SetText(ADisplayName);
  return call.SendForId("//FolderId");
}

// These two compose their request and have no step that sends it: they do not delete, on purpose.

void TVqEWSFolder::EmptyFolder(TVqEWSFolderDeleteType ADeleteType, bool ADeleteSubFolders) {
  const TVqEWSCall call(*this, "EmptyFolder");
  call.Set("DeleteType", VqEnumToText(ADeleteType));
  call.Set("DeleteSubFolders", VqBoolToXML(ADeleteSubFolders));
  call.AddId(call.Add("m:FolderIds"), "t:FolderId", GetID());
  throw EVqEWSNotCarriedOut("EmptyFolder is not carried out: nothing was sent to the server.");
}

void TVqEWSFolder::DeleteFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) {
  const TVqEWSCall call(*this, "DeleteFolder");
  call.Set("DeleteType", VqEnumToText(ADeleteType));
  call.AddId(call.Add("m:FolderIds"), "t:FolderId", AFolderId);
  throw EVqEWSNotCarriedOut("DeleteFolder is not carried out: nothing was sent to the server.");
}

// What the server does by itself.

void TVqEWSFolder::RemoveContents(TVqEWSFolderDeleteType ADeleteType, bool ARemoveSubFolders) {
  EwsCheckVersion(Exchange2010_SP1, ActiveSession().GetServerVersion(), "RemoveContents");
  TVqEWSCall call(*this, "EmptyFolder");
  call.Set("DeleteType", VqEnumToText(ADeleteType));
  call.Set("DeleteSubFolders", VqBoolToXML(ARemoveSubFolders));
  call.AddId(call.Add("m:FolderIds"), "t:FolderId", GetID());
  call.Send();
}

void TVqEWSFolder::RemoveFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) {
  TVqEWSCall call(*this, "DeleteFolder");
  call.Set("DeleteType", VqEnumToText(ADeleteType));
  call.AddId(call.Add("m:FolderIds"), "t:FolderId", AFolderId);
  call.Send();
}

void TVqEWSFolder::MarkAll(bool AIsRead, bool ASendReceipts, const char* AFeature) {
  EwsCheckVersion(Exchange2013, ActiveSession().GetServerVersion(), AFeature);
  TVqEWSCall call(*this, "MarkAllItemsAsRead");
  call.Add("m:ReadFlag").SetText(VqBoolToXML(AIsRead));
  call.Add("m:SuppressReadReceipts").SetText(VqBoolToXML(!ASendReceipts));
  call.AddId(call.Add("m:FolderIds"), "t:FolderId", GetID());
  call.Send();
}

void TVqEWSFolder::MarkAllAsRead(bool ASendReceipts) {
  MarkAll(true, ASendReceipts, "MarkAllAsRead");
}

void TVqEWSFolder::MarkAllAsUnread() {
  MarkAll(false, false, "MarkAllAsUnread");
}

// ---- Changes

TVqRef<IVqEWSItemChanges> TVqEWSFolder::SyncItems(const string& AState) {
  return MakeRef<TVqEWSItemChanges>(this, GetID(), AState);
}

TVqRef<IVqEWSFolderChanges> TVqEWSFolder::SyncFolders(const string& AState) {
  return MakeRef<TVqEWSFolderChanges>(this, GetID(), AState);
}

// ---- Items

TVqRef<IVqEWSItems> TVqEWSFolder::GetItems() {
  return MakeRef<TVqEWSItems>(this, GetID());
}

TVqRef<IVqEWSItem> TVqEWSFolder::GetItem(const TItemId& AItemId) {
  return FindMsgStore()->GetItem(AItemId);
}

TVqRef<IVqEWSItem> TVqEWSFolder::CreateItem(TItemType AItemType) {
  return EwsMakeItem(AItemType, this);
}

TVqRef<IVqEWSDistributionList> TVqEWSFolder::CreateDistributionList() {
  return EwsMakeDistributionList(this);
}

TItemId TVqEWSFolder::CopyItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) {
  return CopyItem(IdOf(AItemId), IdOf(AFolderId));
}

TItemId TVqEWSFolder::CopyItem(const TItemId& AItemId, const TItemId& AFolderId) {
  TVqEWSCall call(*this, "CopyItem");
  call.AddId(call.Add("m:ToFolderId"), "t:FolderId", AFolderId);
  call.AddId(call.Add("m:ItemIds"), "t:ItemId", AItemId);
  return call.SendForId("//ItemId");
}

TItemId TVqEWSFolder::MoveItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) {
  return MoveItem(IdOf(AItemId), IdOf(AFolderId));
}

TItemId TVqEWSFolder::MoveItem(const TItemId& AItemId, const TItemId& AFolderId) {
  const TItemId copy = CopyItem(AItemId, AFolderId);
  DeleteItem(AItemId, dtHardDelete);
  return copy;
}

void TVqEWSFolder::DeleteItem(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) {
  DeleteItem(IdOf(AItemId), ADeleteType);
}

void TVqEWSFolder::DeleteItem(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) {
  TVqEWSCall call(*this, "DeleteItem");
  call.Set("DeleteType", VqEnumToText(ADeleteType));
  AddItemClassAttributes(call.Method(), AItemId);
  call.AddId(call.Add("m:ItemIds"), "t:ItemId", AItemId);
  if (const string text = CancellationText(); !text.empty()) {
    call.Set("SendMeetingCancellations", text);
  } else if (GetFolderFieldType() == sffCalendarFolder) {
    call.Set("SendMeetingCancellations", "SendToAllAndSaveCopy");
  }
  call.Send();
}

void TVqEWSFolder::AddItemClassAttributes(const IVqDOMElement& AMethod, const TItemId& AItemId) {
  // Only a folder that a store made directly looks at the item.
  const auto store = Supports<IVqEWSMsgStore>(GetCreatedBy());
  if (!store) return;
  const string itemClass = store->GetItem(AItemId)->GetItemClass();
  if (itemClass == "IPM.Appointment" || itemClass == "IPM.Appointment.Occurrence" ||
      itemClass == "IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}") {
    AMethod.SetAttribute("SendMeetingCancellations", "SendToAllAndSaveCopy");
  } else if (itemClass == "IPM.Task") {
    AMethod.SetAttribute("AffectedTaskOccurrences", "AllOccurrences");
  }
}

TItemId TVqEWSFolder::ImportItem(const string& AFileName, std::uint16_t, TVqEWSMessageFlags AFlags) {
  TVqFileStream file(AFileName, TVqFileMode::fmOpenRead);
  return ImportItem(file, AFlags);
}

TItemId TVqEWSFolder::ImportItem(TVqStream& AStream, TVqEWSMessageFlags AFlags) {
  TVqEWSCall call(*this, "CreateItem");
  const TVqEWSImport import(*this, AFlags);
  import.Add(import.Begin(call), AStream);
  return call.SendForId("//ItemId");
}

TVqEWSImport::TVqEWSImport(IVqEWSFolder& AFolder, TVqEWSMessageFlags AFlags)
    : FFolder(AFolder.GetID()), FMail(AFolder.GetFolderFieldType() == sffFolder) {
  bool draft = false;
  if (FMail) {
    const auto store = Supports<IVqEWSMsgStore>(AFolder.GetMsgStore());
    draft = FFolder.Id == store->GetFolder(dfindrafts, string())->GetID().Id;
  }
  if (!AFlags.empty()) {
    FFlags = MessageFlagsValue(AFlags);
  } else if (FMail) {
    FFlags = draft ? "10" : "2";
  }
}

IVqDOMElement TVqEWSImport::Begin(const TVqEWSCall& ACall) const {
  if (FMail) ACall.Set("MessageDisposition", "SaveOnly");
  ACall.AddId(ACall.Add("m:SavedItemFolderId"), "t:FolderId", FFolder);
  return ACall.Add("m:Items");
}

void TVqEWSImport::Add(const IVqDOMElement& AItems, TVqStream& AMime) const {
  // The stream is read whole. The message is text on its way: bytes that are no UTF-8 arrive as U+FFFD.
  AMime.SetPosition(0);
  std::string bytes = AMime.ReadAll();
  if (!VqIsUtf8(bytes)) bytes = string(bytes).utf8();
  const IVqDOMElement message = AItems.AddElement("t:Message");
  const IVqDOMElement mime = message.AddElement("t:MimeContent");
  mime.SetAttribute("CharacterSet", "UTF-8");
  if (!FFlags.empty()) {
    const IVqDOMElement property = message.AddElement("t:ExtendedProperty");
    const IVqDOMElement uri = property.AddElement("t:ExtendedFieldURI");
    uri.SetAttribute("PropertyTag", kMessageFlagsTag);
    uri.SetAttribute("PropertyType", "Integer");
    property.AddElement("t:Value").SetText(FFlags);
  }
  mime.SetText(VqBase64Encode(bytes));
}

// ---- Calendar folders

TVqRef<IVqEWSFolder> EwsOpenFolder(const string& AElementName, TVqEWSObject* ACreator, const TItemId& AFolderId) {
  if (AElementName == "CalendarFolder") return MakeRef<TVqEWSCalendarFolder>(ACreator, AFolderId);
  return MakeRef<TVqEWSFolder>(ACreator, AFolderId);
}

void TVqEWSCalendarFolder::DeleteItem(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) {
  DeleteItem(IdOf(AItemId), ADeleteType);
}

void TVqEWSCalendarFolder::DeleteItem(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) {
  TVqEWSFolder::DeleteItem(AItemId, ADeleteType);
  FSendMeetingCancellations =
      smiocSendToNone;  // not after a failure: the next deletion then sends what this one should have
}

string TVqEWSCalendarFolder::CancellationText() {
  return VqEnumToText(FSendMeetingCancellations);
}

TVqRef<IVqEWSItems> TVqEWSCalendarFolder::GetCalendarView(TDateTime AStart, TDateTime AEnd,
                                                          std::int32_t AMaxEntriesReturned) {
  // Views read these when they ask: a second call changes what earlier views ask for next.
  FStartDate = AStart;
  FEndDate = AEnd;
  FMaxItemsReturned = AMaxEntriesReturned;
  return MakeRef<TVqEWSCalendarView>(this, GetID());
}

void TVqEWSCalendarFolder::DeleteMeeting(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                                         TSendMeetingCancellations ASendMeetingCancellations) {
  DeleteMeeting(IdOf(AItemId), ADeleteType, ASendMeetingCancellations);
}

void TVqEWSCalendarFolder::DeleteMeeting(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                                         TSendMeetingCancellations ASendMeetingCancellations) {
  if (ASendMeetingCancellations > smiocSendToAllAndSaveCopy)
    throw EVqException("A deletion cannot announce itself to some attendees only.");
  FSendMeetingCancellations = ASendMeetingCancellations;
  DeleteItem(AItemId, ADeleteType);
}

}  // namespace velmore
