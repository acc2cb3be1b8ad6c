#include "ews/items/uVqEWSContact.h"

#include <algorithm>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMemberRows_p.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kContactMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
};
constinit const TVqEWSMemberInfo kListMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
};

constexpr const char* kDictionaries[] = {"EmailAddresses", "AbchEmailAddresses", "PhysicalAddresses",
                                         "PhoneNumbers",   "ImAddresses",        "Urls"};

void RemoveBareEntries(const IVqDOMElement& dictionary) {
  const TVqDOMElementList entries = dictionary.GetChildElements();
  for (std::int32_t i = entries.Count() - 1; i >= 0; --i) {
    if (EwsIsEmpty(entries.GetItem(i))) dictionary.RemoveChild(entries.GetItem(i));
  }
}

}  // namespace

// ---- Contacts

TVqEWSContact::TVqEWSContact(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
}
TVqEWSContact::TVqEWSContact(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded) : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

const TVqEWSMemberTable& TVqEWSContact::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSContact", &TVqEWSItemCore::MemberTable(), kContactMembers};
  return table;
}

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSContact, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"

bool TVqEWSContact::GetIsPrivate() {
  return ServerVersion() < Exchange2016 ? TVqEWSBaseItem::GetIsPrivate() : NewData().GetIsPrivate();
}

void TVqEWSContact::SetIsPrivate(bool AValue) {
  if (ServerVersion() < Exchange2016) {
    TVqEWSBaseItem::SetIsPrivate(AValue);
  } else {
    NewData().SetIsPrivate(AValue);
  }
}

void TVqEWSContact::DeleteProperty(const TVqEWSPropDef& APropDef) {
  if (APropDef.NodeType != pdntArray) return TVqEWSBaseItem::DeleteProperty(APropDef);
  // A dictionary as a whole has no field that could be deleted; each of its entries has.
  const string name = APropDef.NodeName.ToString();
  if (!NewRecord().FindNode("t:" + name)) GetAdditionalProperties({name});
  if (const IVqDOMElement dictionary{NewRecord().FindNode("t:" + name)}) dictionary.RemoveAllChildren();
}

void TVqEWSContact::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  TVqEWSBaseItem::BeforeSaveChanges(ASOAPRequest);
  for (const char* path : {"Items/Contact", "ItemChanges/ItemChange/Updates/SetItemField/Contact"}) {
    for (const IVqDOMElement& contact : ASOAPRequest.GetMethod().CreateElementList(path, kSelectQuiet)) {
      const bool isNew = contact.GetParentElement().GetLocalName() == "Items";
      for (const IVqDOMElement& member : contact.GetChildElements()) {
        if (std::ranges::find(kDictionaries, member.GetLocalName()) == std::end(kDictionaries)) continue;
        RemoveBareEntries(member);
        if (isNew && !member.HasChildElements()) contact.RemoveChild(member);
      }
    }
  }
}

// ---- The picture

/// Whether it is a picture of this contact: the list has attachments of attached items, too.
bool TVqEWSContact::IsPhoto(const TVqRef<IVqEWSAttachment>& AAttachment) {
  const auto file = Supports<IVqEWSFileAttachment>(AAttachment);
  return file && file->GetIsContactPhoto() &&
         file->AsElement().GetParentElement().GetParentElement() == NewRecord().AsElement();
}

TVqRef<IVqEWSFileAttachment> TVqEWSContact::FindPhoto() {
  for (const auto& attachment : GetAttachments().OwnAttachments()) {
    if (IsPhoto(attachment)) return Supports<IVqEWSFileAttachment>(attachment);
  }
  return {};
}

void TVqEWSContact::GetUserPhoto(TVqStream& APhoto) {
  if (const auto photo = FindPhoto()) photo->SaveToStream(APhoto);
}

void TVqEWSContact::SetUserPhoto(TVqStream* APhoto) {
  if (!APhoto || APhoto->GetSize() == 0) return DeletePhoto();
  if (const auto photo = FindPhoto()) return photo->LoadFromStream(APhoto);
  NeedsVersion(Exchange2010, "SetIsContactPhoto");  // before anything is added
  // Fixed, whatever the stream holds, on purpose: mail programs look for this name.
  GetAttachments().AddAttachment("ContactPicture.jpg", "image/jpg", *APhoto)->SetIsContactPhoto(true);
}

void TVqEWSContact::DeletePhoto() {
  TVqEWSAttachments& attachments = GetAttachments();
  for (std::int32_t i = attachments.Count() - 1; i >= 0; --i) {
    if (IsPhoto(attachments.GetAttachment(i))) return attachments.DeleteAttachment(i);
  }
}

// ---- Distribution lists

TVqEWSDistributionList::TVqEWSDistributionList(TVqComponent* ACreator, const TItemId& AItemId)
    : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
}
TVqEWSDistributionList::TVqEWSDistributionList(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded)
    : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

TVqEWSDistributionList::~TVqEWSDistributionList() {
  *FMembersAlive = false;
}

const TVqEWSMemberTable& TVqEWSDistributionList::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSDistributionList", &TVqEWSItemCore::MemberTable(), kListMembers};
  return table;
}

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSDistributionList, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"

TVqRef<TVqEWSMembersList> TVqEWSDistributionList::GetMembers() {
  auto& members = NewData();  // first: a load gives up what is handed out
  if (!FMembers) FMembers = MakeRef<TVqEWSMembersList>(members.GetMembers(), ServerVersion(), FMembersAlive);
  return FMembers;
}

void TVqEWSDistributionList::AfterLoad() {
  *FMembersAlive = false;
  FMembersAlive = std::make_shared<bool>(true);
  FMembers = nullptr;
}

}  // namespace velmore
