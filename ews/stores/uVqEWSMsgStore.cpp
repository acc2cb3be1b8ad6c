#include "ews/stores/uVqEWSMsgStore.h"

#include "ews/items/uVqEWSMessage.h"
#include "ews/model/internal/uVqEWSConstants.h"
#include "ews/stores/uVqEWSFolder.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {
namespace {

/// Which class stands for an item: by the element's name alone, without regard to case. What is not listed is a plain item.
struct TItemClass {
  const char* ElementName;
  TVqRef<IVqEWSItem> (*Make)(TVqComponent* creator, const TItemId& id);
};

template <typename T>
TVqRef<IVqEWSItem> Make(TVqComponent* creator, const TItemId& id) {
  return MakeRef<T>(creator, id);
}

constexpr TItemClass kItemClasses[] = {
    {"Message", Make<TVqEWSEMail>},
};

[[noreturn]] void NotPartOfThisVersion(const char* operation) {
  throw EVqNotSupported(string(operation) + " is not part of this version.");
}

}  // namespace

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
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:ConvertId", string());
  request->GetMethod().SetAttribute("DestinationFormat", "EwsId");
  const IVqDOMElement id = request->GetMethod().AddElement("m:SourceIds").AddElement("t:AlternateId");
  id.SetAttribute("Format", "EwsId");
  id.SetAttribute("Id", inbox.Id);
  id.SetAttribute("Mailbox", kDummyAddress);  // the address in the answer is what counts
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement message =
      response->GetResponse().SelectSingleElement("ResponseMessages/ConvertIdResponseMessage", kSelectRequired);
  CheckResponseError(message);
  const string address = message.SelectSingleElement("AlternateId", kSelectRequired).GetAttribute("Mailbox");

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
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:GetFolder", string());
  request->GetMethod().AddElement("m:FolderShape").AddElement("t:BaseShape").SetText("IdOnly");
  const IVqDOMElement id = request->GetMethod().AddElement("m:FolderIds").AddElement("t:DistinguishedFolderId");
  id.SetAttribute("Id", VqEnumToText(AFolderType));
  if (!AMailbox.empty()) id.AddElement("t:Mailbox").AddElement("t:EmailAddress").SetText(AMailbox);
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/GetFolderResponse/ResponseMessages/GetFolderResponseMessage", kSelectRequired);
  CheckResponseError(message);
  const IVqDOMElement folders = message.SelectSingleElement("Folders", kSelectRequired);
  if (folders.ElementCount() != 1) {
    throw EEWSException("ErrorFolderNotFound", "There was no FolderId in the SOAP Response!", 0);
  }
  const IVqDOMElement folderId = folders.SelectSingleElement("*/FolderId", kSelectRequired);
  AFolderClass = folderId.GetParentElement().GetLocalName();
  return {folderId.GetAttribute("Id"), folderId.GetAttribute("ChangeKey")};
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

TVqRef<IVqEWSFolder> TVqEWSMsgStore::GetFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox) {
  string folderClass;
  const TItemId id = GetFolderIdAndType(AFolderType, folderClass, AMailbox, true);
  if (folderClass == "CalendarFolder") return MakeRef<TVqEWSCalendarFolder>(this, id);  // case matters here
  return MakeRef<TVqEWSFolder>(this, id);
}

// ---- Items

IVqDOMElement TVqEWSMsgStore::SendGetItem(IVqSOAPRequest& ARequest) {
  TVqRef<IVqSOAPResponse> response;
  ARequest.Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/GetItemResponse/ResponseMessages/GetItemResponseMessage", kSelectRequired);
  CheckResponseError(message);
  const IVqDOMElement items = message.SelectSingleElement("Items", kSelectRequired);
  if (items.ElementCount() != 1)
    throw EEWSException("ErrorItemNotFound", "There was no ItemId in the SOAP Response!", 0);
  return items.GetFirstChildElement();
}

TVqRef<IVqEWSItem> TVqEWSMsgStore::GetItem(const TItemId& AItemId) {
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:GetItem", string());
  request->GetMethod().AddElement("m:ItemShape").AddElement("t:BaseShape").SetText("AllProperties");
  AddLoadId(request->GetMethod().AddElement("m:ItemIds"), "t:ItemId", AItemId);
  // This answer only tells the class: the object loads itself by a request of its own.
  const string name = SendGetItem(*request).GetLocalName();
  for (const TItemClass& itemClass : kItemClasses) {
    if (SameText(name, itemClass.ElementName)) return itemClass.Make(this, AItemId);
  }
  return MakeRef<TVqEWSItem>(this, AItemId);
}

TVqRef<IVqEWSItem> TVqEWSMsgStore::GetOccurence(const TItemId& AItemId, std::int32_t AIdx) {
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:GetItem", string());
  request->GetMethod().AddElement("m:ItemShape").AddElement("t:BaseShape").SetText("IdOnly");
  const IVqDOMElement id = request->GetMethod().AddElement("m:ItemIds").AddElement("t:OccurrenceItemId");
  id.SetAttribute("RecurringMasterId", AItemId.Id);
  id.SetAttribute("InstanceIndex", IntToStr(AIdx));
  const IVqDOMElement item = SendGetItem(*request);
  if (!SameText(item.GetLocalName(), "CalendarItem")) throw EAssertionFailed("Assertion failure (ews/uVqEWSMsgStore)");
  const IVqDOMElement itemId = item.GetFirstChildElement();
  return GetItem({itemId.GetAttribute("Id"), itemId.GetAttribute("ChangeKey")});
}

// ---- Services

TVqRef<IVqEWSCategories> TVqEWSMsgStore::GetCategories() {
  NotPartOfThisVersion("GetCategories");
}
TVqRef<IVqEWSRecipients> TVqEWSMsgStore::GetRoomLists() {
  NotPartOfThisVersion("GetRoomLists");
}
TVqRef<IVqEWSRecipients> TVqEWSMsgStore::GetRooms(const string&) {
  NotPartOfThisVersion("GetRooms");
}
void TVqEWSMsgStore::GetUserPhoto(TVqStream&, TSizeRequested) {
  NotPartOfThisVersion("GetUserPhoto");
}
TVqRef<IVqEWSOOF> TVqEWSMsgStore::GetOOF() {
  NotPartOfThisVersion("GetOOF");
}

}  // namespace velmore
