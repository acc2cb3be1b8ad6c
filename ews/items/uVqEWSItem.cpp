#include "ews/items/uVqEWSItem.h"

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMemberRows_p.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
};

}  // namespace

const TVqEWSMemberTable& TVqEWSItemCore::MemberTable() const {
  static constinit const TVqEWSMemberTable table{"TVqEWSItem", nullptr, kMembers};
  return table;
}

// ---- Life

TVqEWSItemCore::TVqEWSItemCore(TVqComponent* ACreator, const TVqXMLSchemaClass& ARecordClass)
    : TVqEWSPropObjectCore(ACreator, true, ARecordClass), FSession(MakeRef<TVqEWSObjectSession>(*this)) {}

TVqEWSItemCore::~TVqEWSItemCore() {
  FSession->Forget();
}

TVqEWSItem::TVqEWSItem(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
}
TVqEWSItem::TVqEWSItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded) : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

// ---- Where it hangs

TVqRef<IVqEWSMsgStore> TVqEWSItemCore::GetMsgStore() {
  for (auto link = Supports<IVqEWSObject>(GetCreatedBy()); link; link = Supports<IVqEWSObject>(link->GetCreatedBy())) {
    if (auto store = Supports<IVqEWSMsgStore>(link)) return store;
  }
  return {};
}

TVqRef<IVqEWSFolder> TVqEWSItemCore::GetParentFolder() {
  TVqRef<IVqEWSMsgStore> store;
  for (auto link = Supports<IVqEWSObject>(GetCreatedBy()); link; link = Supports<IVqEWSObject>(link->GetCreatedBy())) {
    if (auto folder = Supports<IVqEWSFolder>(link)) return folder;
    if (!store) store = Supports<IVqEWSMsgStore>(link);
  }
  return store ? store->GetFolder(GetParentFolderId()) : TVqRef<IVqEWSFolder>();
}

TItemId TVqEWSItemCore::GetID() {
  return EwsReadId(IVqDOMElement(KnownRecord().FindNode("t:ItemId")));
}

void TVqEWSItemCore::SetId(const TItemId& AId) {
  EwsWriteId(IVqDOMElement(KnownRecord().GetNode("t:ItemId")), AId);
}

void TVqEWSItemCore::NeedsVersion(TServerVersion ARequired, const char* AFeature) const {
  EwsCheckVersion(ARequired, ServerVersion(), AFeature);
}

// ---- Published properties

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSItemCore, Item, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"

string TVqEWSItemCore::GetBodyText() {
  return GetBody().GetValue();
}

void TVqEWSItemCore::SetBodyText(const string& AValue) {
  detail::CheckText(AValue);  // before the type is written
  const string member = BodyMember();
  if (AValue.empty() && !Item().FindNode("t:" + member)) {
    // A body that the load left out is there to be emptied; where there is none, no empty one is made.
    GetAdditionalProperties({member});
    if (!Item().FindNode("t:" + member)) return;
  }
  TEwsBody& body = GetBody();
  // Only the first character behind blanks is looked at; the text is stored with its blanks.
  body.SetBodyType(AValue.Trim().StartsWith(u"<") ? btHTML : btText);
  body.SetValue(AValue);
}

TVqEwsTextBody TVqEWSItemCore::GetTextBody() {
  const auto textOf = [](const TEwsBody& body) { return TVqEwsTextBody{body.GetBodyType(), body.GetValue()}; };
  if (FIsNewItem) return textOf(GetBody());
  if (ServerVersion() >= Exchange2013 && !EwsFindExtendedProperty(AsElement(), MPR_BODY)) {
    if (!Item().FindNode("t:TextBody")) GetAdditionalProperties({"TextBody"});
    if (Item().FindNode("t:TextBody")) return textOf(Item().GetTextBody());
    // Not every server of these versions makes one.
  }
  return {btText, PropertyByName(MPR_BODY).GetAsString()};
}

TVqEWSAttachments& TVqEWSItemCore::GetAttachments() {
  if (!FAttachments) FAttachments = std::make_unique<TVqEWSAttachments>(FSession, Item().GetAttachments());
  return *FAttachments;
}

TVqEWSStrings& TVqEWSItemCore::GetCategories() {
  if (!FCategories) FCategories = std::make_unique<TVqEWSStrings>(Item().GetCategories());
  return *FCategories;
}

TVqEWSItemResponseTypes TVqEWSItemCore::GetAllowedResponseTypes() {
  TVqEWSItemResponseTypes types;
  const IVqDOMElement actions = GetAllowedResponseActions().AsElement();
  for (int value = irtAcceptItem; value <= irtAcceptSharingInvitation; ++value) {
    const auto type = static_cast<TVqEWSItemResponseType>(value);
    if (actions.HasChildElement(VqEnumToText(type), kSelectQuiet)) types.Include(type);
  }
  return types;
}

bool TVqEWSItemCore::GetIsPrivate() {
  // The record of every item knows its sensitivity, so the second branch is for records of other kinds.
  if (HasProperty(PR_SENSITIVITY)) return GetSensitivity() == scPrivate;
  return HasProperty(EPR_COMMON_PRIVATE) && PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean();
}

void TVqEWSItemCore::SetIsPrivate(bool AValue) {
  PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(AValue);
  SetSensitivity(AValue ? scPrivate : scNormal);
}

}  // namespace velmore
