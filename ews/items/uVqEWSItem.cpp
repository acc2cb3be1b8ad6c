#include "ews/items/uVqEWSItem.h"

#include "ews/items/uVqEWSAttachments.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

// One line a published property: what lazy loading and the property layer know of it.
constinit const TVqEWSMemberInfo kMembers[] = {
    {"ParentFolderId", {tkClass, "TEwsFolderId"}, VqEWSField(ufuitem_ParentFolderId)},
    {"ItemClass", VqStringType, VqEWSField(ufuitem_ItemClass)},
    {"Subject", VqStringType, VqEWSField(ufuitem_Subject)},
    {"Sensitivity", {tkEnumeration, "TSensitivityChoices"}, VqEWSField(ufuitem_Sensitivity)},
    {"Body", {tkClass, "TEwsBody"}, VqEWSField(ufuitem_Body)},
    {"BodyText", VqStringType},
    {"TextBody", {tkRecord, "TVqEwsTextBody"}, VqEWSField(ufuitem_TextBody)},
    {"Attachments", {tkClass, "TVqEWSAttachments"}, VqEWSField(ufuitem_Attachments)},
    {"DateTimeReceived", VqDateTimeType, VqEWSField(ufuitem_DateTimeReceived)},
    {"DateTimeSent", VqDateTimeType, VqEWSField(ufuitem_DateTimeSent)},
    {"DateTimeCreated", VqDateTimeType, VqEWSField(ufuitem_DateTimeCreated)},
    {"LastModifiedTime", VqDateTimeType, VqEWSField(ufuitem_LastModifiedTime)},
    {"Size", VqInt32Type, VqEWSField(ufuitem_Size)},
    {"Categories", {tkClass, "TVqEWSStrings"}, VqEWSField(ufuitem_Categories)},
    {"Importance", {tkEnumeration, "TImportanceChoices"}, VqEWSField(ufuitem_Importance)},
    {"InReplyTo", VqStringType, VqEWSField(ufuitem_InReplyTo)},
    {"IsSubmitted", VqBooleanType, VqEWSField(ufuitem_IsSubmitted)},
    {"IsDraft", VqBooleanType, VqEWSField(ufuitem_IsDraft)},
    {"IsFromMe", VqBooleanType, VqEWSField(ufuitem_IsFromMe)},
    {"IsResend", VqBooleanType, VqEWSField(ufuitem_IsResend)},
    {"IsUnmodified", VqBooleanType, VqEWSField(ufuitem_IsUnmodified)},
    {"HasAttachments", VqBooleanType, VqEWSField(ufuitem_HasAttachments)},
    {"InternetMessageHeaders",
     {tkClass, "TEwsNonEmptyArrayOfInternetHeaders"},
     VqEWSField(ufuitem_InternetMessageHeaders)},
    {"AllowedResponseActions", {tkClass, "TEwsNonEmptyArrayOfResponseObjects"}},
    {"ReminderDueBy", VqDateTimeType, VqEWSField(ufuitem_ReminderDueBy)},
    {"IsReminderSet", VqBooleanType, VqEWSField("PR_ISREMINDERSET")},  // the row of another element, on purpose
    {"ReminderNextTime", VqDateTimeType, VqEWSField(ufuitem_ReminderNextTime)},
    {"ReminderMinutesBeforeStart", VqInt32Type, VqEWSField(ufuitem_ReminderMinutesBeforeStart)},
    {"DisplayCc", VqStringType, VqEWSField(ufuitem_DisplayCc)},
    {"DisplayTo", VqStringType, VqEWSField(ufuitem_DisplayTo)},
    {"Culture", VqStringType, VqEWSField(ufuitem_Culture)},
    {"EffectiveRights", {tkClass, "TEwsEffectiveRights"}, VqEWSField(ufuitem_EffectiveRights)},
    {"LastModifiedName", VqStringType, VqEWSField(ufuitem_LastModifiedName)},
    {"IsAssociated", VqBooleanType, VqEWSField(ufuitem_IsAssociated)},
    {"WebClientReadFormQueryString", VqStringType, VqEWSField(ufuitem_WebClientReadFormQueryString)},
    {"WebClientEditFormQueryString", VqStringType, VqEWSField(ufuitem_WebClientEditFormQueryString)},
    {"ConversationId", {tkClass, "TEwsItemId"}, VqEWSField(ufuitem_ConversationId)},
    {"UniqueBody", {tkClass, "TEwsBody"}, VqEWSField(ufuitem_UniqueBody)},
    {"Flag", {tkClass, "TEwsFlag"}, VqEWSField(ufuitem_Flag)},
    {"InstanceKey", VqBytesType, VqEWSField(ufuitem_InstanceKey)},
    {"EntityExtractionResult", {tkClass, "TEwsEntityExtractionResult"}, VqEWSField(ufuitem_EntityExtractionResult)},
    {"ArchiveTag", {tkClass, "TEwsRetentionTag"}, VqEWSField(ufuitem_ArchiveTag)},
    {"ExtendedProperty", {tkArray, "TEwsExtendedProperty"}, VqEWSField("PR_EXTENDEDPROPERTIES")},  // likewise
    {"IconIndex", {tkEnumeration, "TIconIndex"}, VqEWSField(ufuitem_IconIndex)},
    {"MimeContent", {tkClass, "TEwsMimeContent"}, VqEWSField(ufuitem_MimeContent)},
    {"NormalizedBody", {tkClass, "TEwsBody"}, VqEWSField(ufuitem_NormalizedBody)},
    {"PolicyTag", {tkClass, "TEwsRetentionTag"}, VqEWSField(ufuitem_PolicyTag)},
    {"Preview", VqStringType, VqEWSField(ufuitem_Preview)},
    {"RetentionDate", VqDateTimeType, VqEWSField(ufuitem_RetentionDate)},
    {"StoreEntryId", VqBytesType, VqEWSField(ufuitem_StoreEntryId)},
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
  return EwsReadId(IVqDOMElement(NewRecord().FindNode("t:ItemId")));
}

void TVqEWSItemCore::SetId(const TItemId& AId) {
  EwsWriteId(IVqDOMElement(NewRecord().GetNode("t:ItemId")), AId);
}

void TVqEWSItemCore::NeedsVersion(TServerVersion ARequired, const char* AFeature) const {
  EwsCheckVersion(ARequired, ServerVersion(), AFeature);
}

// ---- Members of every item

TEwsFolderId& TVqEWSItemCore::GetParentFolderId() {
  return Item().GetParentFolderId();
}
string TVqEWSItemCore::GetItemClass() {
  return Item().GetItemClass();
}
void TVqEWSItemCore::SetItemClass(const string& AValue) {
  Item().SetItemClass(AValue);
}
string TVqEWSItemCore::GetSubject() {
  return Item().GetSubject();
}
void TVqEWSItemCore::SetSubject(const string& AValue) {
  Item().SetSubject(AValue);
}
TSensitivityChoices TVqEWSItemCore::GetSensitivity() {
  return Item().GetSensitivity();
}
void TVqEWSItemCore::SetSensitivity(TSensitivityChoices AValue) {
  Item().SetSensitivity(AValue);
}
TEwsBody& TVqEWSItemCore::GetBody() {
  return Item().GetBody();
}
string TVqEWSItemCore::GetBodyText() {
  return GetBody().GetValue();
}
TDateTime TVqEWSItemCore::GetDateTimeReceived() {
  return Item().GetDateTimeReceived();
}
TDateTime TVqEWSItemCore::GetDateTimeSent() {
  return Item().GetDateTimeSent();
}
TDateTime TVqEWSItemCore::GetDateTimeCreated() {
  return Item().GetDateTimeCreated();
}
TDateTime TVqEWSItemCore::GetLastModifiedTime() {
  return Item().GetLastModifiedTime();
}
std::int32_t TVqEWSItemCore::GetSize() {
  return Item().GetSize();
}
TImportanceChoices TVqEWSItemCore::GetImportance() {
  return Item().GetImportance();
}
void TVqEWSItemCore::SetImportance(TImportanceChoices AValue) {
  Item().SetImportance(AValue);
}
string TVqEWSItemCore::GetInReplyTo() {
  return Item().GetInReplyTo();
}
void TVqEWSItemCore::SetInReplyTo(const string& AValue) {
  Item().SetInReplyTo(AValue);
}
bool TVqEWSItemCore::GetIsSubmitted() {
  return Item().GetIsSubmitted();
}
bool TVqEWSItemCore::GetIsDraft() {
  return Item().GetIsDraft();
}
bool TVqEWSItemCore::GetIsFromMe() {
  return Item().GetIsFromMe();
}
bool TVqEWSItemCore::GetIsResend() {
  return Item().GetIsResend();
}
bool TVqEWSItemCore::GetIsUnmodified() {
  return Item().GetIsUnmodified();
}
bool TVqEWSItemCore::GetHasAttachments() {
  return Item().GetHasAttachments();
}
TEwsNonEmptyArrayOfInternetHeaders& TVqEWSItemCore::GetInternetMessageHeaders() {
  return Item().GetInternetMessageHeaders();
}
TEwsNonEmptyArrayOfResponseObjects& TVqEWSItemCore::GetAllowedResponseActions() {
  return Item().GetResponseObjects();
}
TDateTime TVqEWSItemCore::GetReminderDueBy() {
  return Item().GetReminderDueBy();
}
void TVqEWSItemCore::SetReminderDueBy(TDateTime AValue) {
  Item().SetReminderDueBy(AValue);
}
bool TVqEWSItemCore::GetIsReminderSet() {
  return Item().GetReminderIsSet();
}
void TVqEWSItemCore::SetIsReminderSet(bool AValue) {
  Item().SetReminderIsSet(AValue);
}
std::int32_t TVqEWSItemCore::GetReminderMinutesBeforeStart() {
  return Item().GetReminderMinutesBeforeStart();
}
void TVqEWSItemCore::SetReminderMinutesBeforeStart(std::int32_t AValue) {
  Item().SetReminderMinutesBeforeStart(AValue);
}
string TVqEWSItemCore::GetDisplayCc() {
  return Item().GetDisplayCc();
}
string TVqEWSItemCore::GetDisplayTo() {
  return Item().GetDisplayTo();
}
string TVqEWSItemCore::GetCulture() {
  return Item().GetCulture();
}
void TVqEWSItemCore::SetCulture(const string& AValue) {
  Item().SetCulture(AValue);
}
TEwsEffectiveRights& TVqEWSItemCore::GetEffectiveRights() {
  return Item().GetEffectiveRights();
}
string TVqEWSItemCore::GetLastModifiedName() {
  return Item().GetLastModifiedName();
}
TEwsRetentionTag& TVqEWSItemCore::GetArchiveTag() {
  return Item().GetArchiveTag();
}
TVqXMLSchemaElementArray<TEwsExtendedProperty>& TVqEWSItemCore::GetExtendedProperty() {
  return Item().GetExtendedProperty();
}
TEwsMimeContent& TVqEWSItemCore::GetMimeContent() {
  return Item().GetMimeContent();
}

// ---- Members that need a server version

bool TVqEWSItemCore::GetIsAssociated() {
  NeedsVersion(Exchange2010, "IsAssociated");
  return Item().GetIsAssociated();
}
void TVqEWSItemCore::SetIsAssociated(bool AValue) {
  NeedsVersion(Exchange2010, "IsAssociated");
  Item().SetIsAssociated(AValue);
}
string TVqEWSItemCore::GetWebClientReadFormQueryString() {
  NeedsVersion(Exchange2010, "WebClientReadFormQueryString");
  return Item().GetWebClientReadFormQueryString();
}
string TVqEWSItemCore::GetWebClientEditFormQueryString() {
  NeedsVersion(Exchange2010, "WebClientEditFormQueryString");
  return Item().GetWebClientEditFormQueryString();
}
TEwsItemId& TVqEWSItemCore::GetConversationId() {
  NeedsVersion(Exchange2010, "ConversationId");
  return Item().GetConversationId();
}
TEwsBody& TVqEWSItemCore::GetUniqueBody() {
  NeedsVersion(Exchange2010, "UniqueBody");
  return Item().GetUniqueBody();
}
TDateTime TVqEWSItemCore::GetReminderNextTime() {
  NeedsVersion(Exchange2013, "ReminderNextTime");
  return Item().GetReminderNextTime();
}
void TVqEWSItemCore::SetReminderNextTime(TDateTime AValue) {
  NeedsVersion(Exchange2013, "ReminderNextTime");
  Item().SetReminderNextTime(AValue);
}
TEwsFlag& TVqEWSItemCore::GetFlag() {
  NeedsVersion(Exchange2013, "Flag");
  return Item().GetFlag();
}
TBytes TVqEWSItemCore::GetInstanceKey() {
  NeedsVersion(Exchange2013, "InstanceKey");
  return VqXMLToBytes(Item().GetInstanceKey());
}
TEwsEntityExtractionResult& TVqEWSItemCore::GetEntityExtractionResult() {
  NeedsVersion(Exchange2013, "EntityExtractionResult");
  return Item().GetEntityExtractionResult();
}
TIconIndex TVqEWSItemCore::GetIconIndex() {
  NeedsVersion(Exchange2013, "IconIndex");
  return Item().GetIconIndex();
}
TEwsBody& TVqEWSItemCore::GetNormalizedBody() {
  NeedsVersion(Exchange2013, "NormalizedBody");
  return Item().GetNormalizedBody();
}
TEwsRetentionTag& TVqEWSItemCore::GetPolicyTag() {
  NeedsVersion(Exchange2013, "PolicyTag");
  return Item().GetPolicyTag();
}
string TVqEWSItemCore::GetPreview() {
  NeedsVersion(Exchange2013, "Preview");
  return Item().GetPreview();
}
void TVqEWSItemCore::SetPreview(const string& AValue) {
  NeedsVersion(Exchange2013, "Preview");
  Item().SetPreview(AValue);
}
TDateTime TVqEWSItemCore::GetRetentionDate() {
  NeedsVersion(Exchange2013, "RetentionDate");
  return Item().GetRetentionDate();
}
TBytes TVqEWSItemCore::GetStoreEntryId() {
  NeedsVersion(Exchange2013, "StoreEntryId");
  return VqXMLToBytes(Item().GetStoreEntryId());
}

// ---- Members with rules of their own

void TVqEWSItemCore::SetBodyText(const string& AValue) {
  if (AValue.empty() && !Item().FindNode("t:Body")) return;  // no empty body is made
  TEwsBody& body = GetBody();
  // Only the first character behind blanks is looked at; the text is stored with its blanks.
  body.SetBodyType(AValue.Trim().StartsWith(u"<") ? btHTML : btText);
  body.SetValue(AValue);
}

TVqEwsTextBody TVqEWSItemCore::GetTextBody() {
  if (FIsNewItem) {
    TEwsBody& body = GetBody();
    return {body.GetBodyType(), body.GetValue()};
  }
  if (ServerVersion() >= Exchange2013) {
    TEwsBody& body = Item().GetTextBody();
    return {body.GetBodyType(), body.GetValue()};
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
