// The content of every type that requests hold, in order. Tokens are separated by blanks:
//
//   Name[*][!][:Type][/flags][@v]   an element: * may repeat, ! must be there, v the first version (hex digit)
//   @Name[!][:=A|B]                 an attribute
//   +Name...                        an element of the types namespace among those of messages
//   any                             as first token: a choice in any order and number
//   one                             as first token: exactly one of them
//   open                            content is not looked at
//
// Type: b boolean, i integer, d date-time, D day, f double, x base64, "=A|B" one of these texts, "~A|B" a list of them,
// g language, l address (URI), n text that is not empty, h bit mask, t property tag, u GUID, a name of a row; string if
// left out. "i[1,512]" is an integer of this range. Flags of properties: a in AllProperties, f also when found by
// FindItem, g in the Default shape, d also when found, r read only, q not for restrictions and sorting, t fixed once
// the message is sent, n never returned by FindItem.

#include "simulator/schema/schema.h"

namespace velmore::simulator {

#define ITEM_KINDS                                                                                 \
  "Item:Item Message:Message SharingMessage:Message CalendarItem:CalendarItem Contact:Contact "    \
  "DistributionList:DistributionList MeetingMessage:MeetingMessage MeetingRequest:MeetingRequest " \
  "MeetingResponse:MeetingResponse MeetingCancellation:MeetingCancellation Task:Task PostItem:PostItem "
#define PATHS "FieldURI:PathToField IndexedFieldURI:PathToIndexedField ExtendedFieldURI:PathToExtendedField "
#define BODY_KINDS ":=Best|HTML|Text"
#define MAILBOX_TYPES "Unknown|OneOff|Mailbox|PublicDL|PrivateDL|Contact|PublicFolder|GroupMailbox|ImplicitContact"
#define RESPONSES "Unknown|Organizer|Tentative|Accept|Decline|NoResponseReceived"
#define FREE_BUSY "Free|Tentative|Busy|OOF|WorkingElsewhere|NoData"
#define DAYS "Sunday Monday Tuesday"
#define MONTHS "January|February|March|April|May|June|July|August|September|October|November|December"
#define DAY_NAMES "Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday|Day|Weekday|WeekendDay"
#define DAY_INDEX "First|Second|Third|Fourth|Last"
#define CALENDAR_ITEMS "Single|Occurrence|Exception|RecurringMaster"
#define FILE_AS                                                                                                   \
  "None|LastCommaFirst|FirstSpaceLast|Company|LastCommaFirstCompany|CompanyLastFirst|LastFirst|LastFirstCompany|" \
  "CompanyLastCommaFirst|LastFirstSuffix|LastSpaceFirstCompany|CompanyLastSpaceFirst|LastSpaceFirst|DisplayName|" \
  "FirstName|LastFirstMiddleSuffix|LastName|Empty"
#define ICONS                                                                                                          \
  "Default|PostItem|MailRead|MailUnread|MailReplied|MailForwarded|MailEncrypted|MailSmimeSigned|MailEncryptedReplied|" \
  "MailSmimeSignedReplied|MailEncryptedForwarded|MailSmimeSignedForwarded|MailEncryptedRead|MailSmimeSignedRead|"      \
  "MailIrm|MailIrmForwarded|MailIrmReplied|SmsSubmitted|SmsRoutedToDeliveryPoint|"                                     \
  "SmsRoutedToExternalMessagingSystem|SmsDelivered|OutlookDefaultForContacts|AppointmentItem|AppointmentRecur|"        \
  "AppointmentMeet|AppointmentMeetRecur|AppointmentMeetNY|AppointmentMeetYes|AppointmentMeetNo|AppointmentMeetMaybe|"  \
  "AppointmentMeetCancel|AppointmentMeetInfo|TaskItem|TaskRecur|TaskOwned|TaskDelegated"
#define FOLDER_NAMES                                                                                                  \
  "calendar|contacts|deleteditems|drafts|inbox|journal|notes|outbox|sentitems|tasks|msgfolderroot|publicfoldersroot|" \
  "root|junkemail|searchfolders|voicemail|recoverableitemsroot|recoverableitemsdeletions|recoverableitemsversions|"   \
  "recoverableitemspurges|recoverableitemsdiscoveryholds|archiveroot|archivemsgfolderroot|archivedeleteditems|"       \
  "archiveinbox|archiverecoverableitemsroot|archiverecoverableitemsdeletions|archiverecoverableitemsversions|"        \
  "archiverecoverableitemspurges|archiverecoverableitemsdiscoveryholds|syncissues|conflicts|localfailures|"           \
  "serverfailures|recipientcache|quickcontacts|conversationhistory|adminauditlogs|todosearch|mycontacts|directory|"   \
  "imcontactlist|peopleconnect|favorites|mecontact|personmetadata|teamspaceactivity|teamspacemessaging|"              \
  "teamspaceworkitems|scheduled|orionnotes|tagitems|alltaggeditems|externalcontacts|teamchat|teamchathistory|"        \
  "yammerroot|yammerinbound|yammeroutbound|yammerfeeds|onedriveroot|onedriverecylebin|onedrivesystem|onedrivevolume|" \
  "important|starred|archive"
#define DELIVER_MEETING_REQUESTS "DelegatesOnly|DelegatesAndMe|DelegatesAndSendInformationToMe|NoForward"
#define DELEGATE_LEVELS "None|Editor|Reviewer|Author|Custom"
#define CALENDAR_DISPOSITION "SendToNone|SendOnlyToAll|SendToAllAndSaveCopy"

const TypeRow kTypeRows[] = {
    // Requests
    {"m:GetFolder", "", "FolderShape!:FolderShape FolderIds!:FolderIds"},
    {"m:FindFolder", "",
     "FolderShape!:FolderShape IndexedPageFolderView:IndexedPageView FractionalPageFolderView:FractionalPageView "
     "Restriction:Restriction ParentFolderIds!:FolderIds @Traversal!:=Shallow|Deep|SoftDeleted"},
    {"m:CreateFolder", "", "ParentFolderId!:TargetFolderId Folders!:Folders"},
    {"m:UpdateFolder", "", "FolderChanges!:FolderChanges"},
    {"m:DeleteFolder", "", "FolderIds!:FolderIds @DeleteType!:=HardDelete|SoftDelete|MoveToDeletedItems"},
    {"m:EmptyFolder", "",
     "FolderIds!:FolderIds @DeleteType!:=HardDelete|SoftDelete|MoveToDeletedItems @DeleteSubFolders!:b"},
    {"m:CopyFolder", "", "ToFolderId!:TargetFolderId FolderIds!:FolderIds"},
    {"m:MoveFolder", "", "ToFolderId!:TargetFolderId FolderIds!:FolderIds"},
    {"m:FindItem", "",
     "ItemShape!:ItemShape IndexedPageItemView:IndexedPageView FractionalPageItemView:FractionalPageView "
     "SeekToConditionPageItemView:Open CalendarView:CalendarView ContactsView:Open GroupBy:Open "
     "DistinguishedGroupBy:Open Restriction:Restriction SortOrder:SortOrder ParentFolderIds!:FolderIds QueryString "
     "@Traversal!:=Shallow|SoftDeleted|Associated"},
    {"m:GetItem", "", "ItemShape!:ItemShape ItemIds!:ItemIds"},
    {"m:CreateItem", "",
     "SavedItemFolderId:TargetFolderId Items!:AllItems @MessageDisposition:=SaveOnly|SendOnly|SendAndSaveCopy "
     "@SendMeetingInvitations:=" CALENDAR_DISPOSITION},
    {"m:UpdateItem", "",
     "SavedItemFolderId:TargetFolderId ItemChanges!:ItemChanges "
     "@ConflictResolution!:=NeverOverwrite|AutoResolve|AlwaysOverwrite "
     "@MessageDisposition:=SaveOnly|SendOnly|SendAndSaveCopy @SendMeetingInvitationsOrCancellations:=SendToNone|"
     "SendOnlyToAll|SendOnlyToChanged|SendToAllAndSaveCopy|SendToChangedAndSaveCopy @SuppressReadReceipts:b"},
    {"m:DeleteItem", "",
     "ItemIds!:ItemIds @DeleteType!:=HardDelete|SoftDelete|MoveToDeletedItems "
     "@SendMeetingCancellations:=" CALENDAR_DISPOSITION
     " @AffectedTaskOccurrences:=AllOccurrences|SpecifiedOccurrenceOnly @SuppressReadReceipts:b"},
    {"m:CopyItem", "", "ToFolderId!:TargetFolderId ItemIds!:ItemIds ReturnNewItemIds:b"},
    {"m:MoveItem", "", "ToFolderId!:TargetFolderId ItemIds!:ItemIds ReturnNewItemIds:b"},
    {"m:SendItem", "", "ItemIds!:ItemIds SavedItemFolderId:TargetFolderId @SaveItemToFolder!:b"},
    {"m:CreateAttachment", "", "ParentItemId!:ItemId Attachments!:Attachments"},
    {"m:DeleteAttachment", "", "AttachmentIds!:AttachmentIds"},
    {"m:GetAttachment", "", "AttachmentShape:AttachmentShape AttachmentIds!:AttachmentIds"},
    {"m:ResolveNames", "",
     "ParentFolderIds:FolderIds UnresolvedEntry!:n @ReturnFullContactData!:b "
     "@SearchScope:=ActiveDirectory|ActiveDirectoryContacts|Contacts|ContactsActiveDirectory "
     "@ContactDataShape:=IdOnly|Default|AllProperties"},
    {"m:ConvertId", "", "SourceIds!:SourceIds @DestinationFormat!:=EwsLegacyId|EwsId|EntryId|HexEntryId|StoreId|OwaId"},
    {"m:GetServerTimeZones", "", "Ids:TimeZoneIds @ReturnFullTimeZoneData:b"},

    {"m:MarkAllItemsAsRead", "", "ReadFlag!:b SuppressReadReceipts!:b FolderIds!:FolderIds"},
    {"m:Subscribe", "",
     "one PullSubscriptionRequest:PullSubscription PushSubscriptionRequest:PushSubscription "
     "StreamingSubscriptionRequest:StreamingSubscription"},
    {"StreamingSubscription", "", "FolderIds:FolderIds EventTypes!:EventTypes @SubscribeToAllFolders:b"},
    {"PullSubscription", "",
     "FolderIds:FolderIds EventTypes!:EventTypes Watermark:n Timeout!:i[1,1440] @SubscribeToAllFolders:b"},
    {"PushSubscription", "",
     "FolderIds:FolderIds EventTypes!:EventTypes Watermark:n StatusFrequency!:i[1,1440] URL! CallerData "
     "@SubscribeToAllFolders:b"},
    {"EventTypes", "",
     "EventType*!:=CopiedEvent|CreatedEvent|DeletedEvent|ModifiedEvent|MovedEvent|NewMailEvent|FreeBusyChangedEvent"},
    {"m:Unsubscribe", "", "SubscriptionId!:n"},
    {"m:GetEvents", "", "SubscriptionId!:n Watermark!:n"},
    {"m:GetStreamingEvents", "", "SubscriptionIds!:SubscriptionIds ConnectionTimeout!:i[1,30]"},
    {"SubscriptionIds", "", "SubscriptionId*!:n"},
    {"m:SyncFolderItems", "",
     "ItemShape!:ItemShape SyncFolderId!:TargetFolderId SyncState Ignore:ItemIds MaxChangesReturned!:i[1,512] "
     "SyncScope:=NormalItems|NormalAndAssociatedItems"},
    {"m:SyncFolderHierarchy", "", "FolderShape!:FolderShape SyncFolderId:TargetFolderId SyncState"},

    {"m:CreateUserConfiguration", "", "UserConfiguration!:UserConfiguration"},
    {"m:GetUserConfiguration", "",
     "UserConfigurationName!:UserConfigurationName UserConfigurationProperties!:~Id|Dictionary|XmlData|BinaryData|All"},
    {"m:UpdateUserConfiguration", "", "UserConfiguration!:UserConfiguration"},
    {"m:DeleteUserConfiguration", "", "UserConfigurationName!:UserConfigurationName"},
    {"UserConfigurationName", "",
     "one FolderId:FolderId DistinguishedFolderId:DistinguishedFolderId AddressListId:Open @Name!"},
    {"UserConfiguration", "",
     "UserConfigurationName!:UserConfigurationName ItemId:ItemId Dictionary:Dictionary XmlData:x BinaryData:x"},
    {"Dictionary", "", "DictionaryEntry*:DictionaryEntry"},
    {"DictionaryEntry", "", "DictionaryKey!:DictionaryObject DictionaryValue!:DictionaryObject"},
    {"DictionaryObject", "",
     "Type:=DateTime|Boolean|Byte|String|Integer32|UnsignedInteger32|Integer64|UnsignedInteger64|StringArray|ByteArray "
     "Value*"},
    {"m:GetDelegate", "", "Mailbox!:EmailAddress UserIds:UserIds @IncludePermissions!:b"},
    {"m:AddDelegate", "",
     "Mailbox!:EmailAddress DelegateUsers!:DelegateUsers DeliverMeetingRequests:=" DELIVER_MEETING_REQUESTS},
    {"m:UpdateDelegate", "",
     "Mailbox!:EmailAddress DelegateUsers:DelegateUsers DeliverMeetingRequests:=" DELIVER_MEETING_REQUESTS},
    {"m:RemoveDelegate", "", "Mailbox!:EmailAddress UserIds!:UserIds"},
    {"UserIds", "", "any UserId:UserId"},
    {"UserId", "", "SID PrimarySmtpAddress DisplayName DistinguishedUser:=Default|Anonymous ExternalUserIdentity"},
    {"DelegateUsers", "", "any DelegateUser:DelegateUser"},
    {"DelegateUser", "",
     "UserId!:UserId DelegatePermissions:DelegatePermissions ReceiveCopiesOfMeetingMessages:b ViewPrivateItems:b"},
    {"DelegatePermissions", "",
     "CalendarFolderPermissionLevel:=" DELEGATE_LEVELS " TasksFolderPermissionLevel:=" DELEGATE_LEVELS
     " InboxFolderPermissionLevel:=" DELEGATE_LEVELS " ContactsFolderPermissionLevel:=" DELEGATE_LEVELS
     " NotesFolderPermissionLevel:=" DELEGATE_LEVELS " JournalFolderPermissionLevel:=" DELEGATE_LEVELS},
    {"GetUserOofSettingsRequest", "", "Mailbox!:PlainAddress"},
    {"SetUserOofSettingsRequest", "", "Mailbox!:PlainAddress UserOofSettings!:OofSettings"},
    {"m:GetMailTips", "",
     "SendingAs!:EmailAddress Recipients!:Recipients MailTipsRequested!:~All|OutOfOfficeMessage|MailboxFullStatus|"
     "CustomMailTip|ExternalMemberCount|TotalMemberCount|MaxMessageSize|DeliveryRestriction|ModerationStatus|"
     "InvalidRecipient|Scope|RecipientSuggestions|PreferAccessibleContent"},
    {"m:GetRoomLists", "", ""},
    {"m:GetRooms", "", "RoomList!:EmailAddress"},
    {"m:GetUserPhoto", "",
     "Email! SizeRequested!:=HR48x48|HR64x64|HR96x96|HR120x120|HR240x240|HR360x360|HR432x432|HR504x504|HR648x648|"
     "HR1024xN|HR1920xN TypeRequested:=UserPhoto|ProfileHeaderPhoto"},
    {"m:GetUserAvailabilityRequest", "",
     "+TimeZone:ZoneOfRequest MailboxDataArray!:MailboxDataArray +FreeBusyViewOptions:FreeBusyViewOptions "
     "+SuggestionsViewOptions:Open"},
    {"ZoneOfRequest", "", "Bias!:i StandardTime!:ZoneChange DaylightTime!:ZoneChange"},
    {"ZoneChange", "", "Bias!:i Time! DayOrder!:i[-32768,32767] Month!:i[-32768,32767] DayOfWeek!:=" DAY_NAMES " Year"},
    {"MailboxDataArray", "", "MailboxData*:MailboxData"},
    {"MailboxData", "",
     "Email!:PlainAddress AttendeeType!:=Organizer|Required|Optional|Room|Resource ExcludeConflicts:b"},
    {"FreeBusyViewOptions", "",
     "TimeWindow!:Duration MergedFreeBusyIntervalInMinutes:i "
     "RequestedView:~None|MergedOnly|FreeBusy|FreeBusyMerged|Detailed|DetailedMerged"},
    {"PlainAddress", "", "Name Address! RoutingType"},
    {"OofSettings", "",
     "OofState!:=Disabled|Enabled|Scheduled ExternalAudience!:=None|Known|All Duration:Duration "
     "InternalReply:ReplyBody ExternalReply:ReplyBody DeclineMeetingReply:ReplyBody DeclineEventsForScheduledOOF:b "
     "DeclineAllEventsForScheduledOOF:b CreateOOFEvent:b OOFEventSubject AutoDeclineFutureRequestsWhenOOF:b OOFEventID "
     "EventsToDeleteIDs:Open"},
    {"Duration", "", "StartTime!:d EndTime!:d"},
    {"ReplyBody", "", "Message @lang"},
    {"m:ExpandDL", "", "Mailbox!:EmailAddress"},
    {"m:ArchiveItem", "", "ArchiveSourceFolderId!:TargetFolderId ItemIds!:ItemIds"},
    {"m:ExportItems", "", "ItemIds!:ItemIds"},
    {"m:UploadItems", "", "Items!:UploadItemList"},
    {"UploadItemList", "", "any Item:UploadItem"},
    {"UploadItem", "",
     "ParentFolderId!:FolderId ItemId:ItemId Data!:x @CreateAction!:=CreateNew|Update|UpdateOrCreate @IsAssociated:b"},

    // Ids
    {"ItemIds", "",
     "any ItemId:ItemId OccurrenceItemId:OccurrenceItemId RecurringMasterItemId:RecurringMasterItemId "
     "RecurringMasterItemIdRanges:Open"},
    {"ItemId", "", "@Id! @ChangeKey"},
    {"OccurrenceItemId", "", "@RecurringMasterId! @ChangeKey @InstanceIndex!:i"},
    {"RecurringMasterItemId", "", "@OccurrenceId! @ChangeKey"},
    {"FolderIds", "", "any FolderId:FolderId DistinguishedFolderId:DistinguishedFolderId"},
    {"FolderId", "", "@Id! @ChangeKey"},
    {"DistinguishedFolderId", "", "Mailbox:EmailAddress @Id! @ChangeKey"},
    {"TargetFolderId", "", "one FolderId:FolderId DistinguishedFolderId:DistinguishedFolderId AddressListId:Open"},
    {"SourceIds", "", "any AlternateId:AlternateId AlternatePublicFolderId:Open AlternatePublicFolderItemId:Open"},
    {"AlternateId", "", "@Format!:=EwsLegacyId|EwsId|EntryId|HexEntryId|StoreId|OwaId @Id! @Mailbox! @IsArchive:b"},
    {"AttachmentIds", "", "any AttachmentId:AttachmentId"},
    {"AttachmentId", "", "@Id! @RootItemId @RootItemChangeKey"},
    {"TimeZoneIds", "", "any Id"},

    // Shapes, views, paths
    {"FolderShape", "", "BaseShape!:=IdOnly|Default|AllProperties AdditionalProperties:AdditionalProperties"},
    {"ItemShape", "",
     "BaseShape!:=IdOnly|Default|AllProperties|PcxPeopleSearch IncludeMimeContent:b BodyType" BODY_KINDS
     " UniqueBodyType" BODY_KINDS "@7 NormalizedBodyType" BODY_KINDS
     "@7 FilterHtmlContent:b@3 ConvertHtmlCodePageToUTF8:b@3 InlineImageUrlTemplate@7 BlockExternalImages:b@7 "
     "AddBlankTargetToLinks:b@7 MaximumBodySize:i@7 AdditionalProperties:AdditionalProperties"},
    {"AttachmentShape", "",
     "IncludeMimeContent:b BodyType" BODY_KINDS " FilterHtmlContent:b@4 AdditionalProperties:AdditionalProperties"},
    {"AdditionalProperties", "", "any " PATHS},
    {"PathToField", "", "@FieldURI!"},
    {"PathToIndexedField", "", "@FieldURI! @FieldIndex!"},
    {"PathToExtendedField", "",
     "@DistinguishedPropertySetId:=Meeting|Appointment|Common|PublicStrings|Address|InternetHeaders|CalendarAssistant|"
     "UnifiedMessaging|Task|Sharing @PropertySetId:u @PropertyTag:t @PropertyName @PropertyId:i "
     "@PropertyType!:=ApplicationTime|ApplicationTimeArray|Binary|BinaryArray|Boolean|CLSID|CLSIDArray|Currency|"
     "CurrencyArray|Double|DoubleArray|Error|Float|FloatArray|Integer|IntegerArray|Long|LongArray|Null|Object|"
     "ObjectArray|Short|ShortArray|SystemTime|SystemTimeArray|String|StringArray"},
    {"IndexedPageView", "", "@MaxEntriesReturned:i @Offset!:i @BasePoint!:=Beginning|End"},
    {"FractionalPageView", "", "@MaxEntriesReturned:i @Numerator!:i @Denominator!:i"},
    {"CalendarView", "", "@MaxEntriesReturned:i @StartDate!:d @EndDate!:d"},
    {"SortOrder", "", "any FieldOrder:FieldOrder"},
    {"FieldOrder", "", "one " PATHS "@Order!:=Ascending|Descending"},

// Restrictions
#define EXPRESSIONS                                                                                              \
  "Exists:PathOnly Excludes:Excludes IsEqualTo:TwoOperands IsNotEqualTo:TwoOperands IsGreaterThan:TwoOperands "  \
  "IsGreaterThanOrEqualTo:TwoOperands IsLessThan:TwoOperands IsLessThanOrEqualTo:TwoOperands Contains:Contains " \
  "Not:Restriction And:Expressions Or:Expressions "
    {"Restriction", "", "one " EXPRESSIONS},
    {"Expressions", "", "any " EXPRESSIONS},
    {"PathOnly", "", "one " PATHS},
    {"Excludes", "", PATHS "Bitmask!:Bitmask"},
    {"Bitmask", "", "@Value!:h"},
    {"TwoOperands", "", PATHS "FieldURIOrConstant!:FieldURIOrConstant"},
    {"FieldURIOrConstant", "", "one " PATHS "Constant:Constant"},
    {"Constant", "", "@Value!"},
    {"Contains", "",
     PATHS
     "Constant!:Constant @ContainmentMode:=FullString|Prefixed|Substring|PrefixOnWords|ExactPhrase "
     "@ContainmentComparison:=Exact|IgnoreCase|IgnoreNonSpacingCharacters|Loose|IgnoreCaseAndNonSpacingCharacters|"
     "LooseAndIgnoreCase|LooseAndIgnoreNonSpace|LooseAndIgnoreCaseAndIgnoreNonSpace"},

    // Changes
    {"ItemChanges", "", "any ItemChange:ItemChange"},
    {"ItemChange", "",
     "ItemId:ItemId OccurrenceItemId:OccurrenceItemId RecurringMasterItemId:RecurringMasterItemId "
     "Updates!:ItemUpdates"},
    {"ItemUpdates", "", "any AppendToItemField:ItemField SetItemField:ItemField DeleteItemField:PathOnly"},
    {"ItemField", "", PATHS ITEM_KINDS},
    {"FolderChanges", "", "any FolderChange:FolderChange"},
    {"FolderChange", "", "FolderId:FolderId DistinguishedFolderId:DistinguishedFolderId Updates!:FolderUpdates"},
    {"FolderUpdates", "", "any AppendToFolderField:FolderField SetFolderField:FolderField DeleteFolderField:PathOnly"},
    {"FolderField", "",
     PATHS "Folder:Folder CalendarFolder:CalendarFolder ContactsFolder:ContactsFolder "
           "SearchFolder:SearchFolder TasksFolder:TasksFolder"},
    {"AllItems", "",
     "any " ITEM_KINDS
     "ReplyToItem:SmartResponse ForwardItem:SmartResponse ReplyAllToItem:ReplyAll AcceptItem:MeetingAnswer "
     "TentativelyAcceptItem:MeetingAnswer DeclineItem:MeetingAnswer CancelCalendarItem:SmartResponse "
     "RemoveItem:MeetingAnswer SuppressReadReceipt:ReferenceOnly PostReplyItem:PostReply "
     "AcceptSharingInvitation:MeetingAnswer"},
    {"Folders", "",
     "any Folder:Folder CalendarFolder:CalendarFolder ContactsFolder:ContactsFolder SearchFolder:SearchFolder "
     "TasksFolder:TasksFolder"},

    // Folders
    {"PermissionSet", "", "Permissions!:Permissions UnknownEntries:Open"},
    {"Permissions", "", "any Permission:Permission"},
    {"BasePermission", "",
     "UserId!:UserId CanCreateItems:b CanCreateSubFolders:b IsFolderOwner:b IsFolderVisible:b IsFolderContact:b "
     "EditItems:=None|Owned|All DeleteItems:=None|Owned|All"},
    {"Permission", "BasePermission",
     "ReadItems:=None|FullDetails PermissionLevel!:=None|Owner|PublishingEditor|Editor|PublishingAuthor|Author|"
     "NoneditingAuthor|Reviewer|Contributor|Custom"},
    {"CalendarPermissionSet", "", "CalendarPermissions!:CalendarPermissions UnknownEntries:Open"},
    {"CalendarPermissions", "", "any CalendarPermission:CalendarPermission"},
    {"CalendarPermission", "BasePermission",
     "ReadItems:=None|TimeOnly|TimeAndSubjectAndLocation|FullDetails CalendarPermissionLevel!:=None|Owner|"
     "PublishingEditor|Editor|PublishingAuthor|Author|NoneditingAuthor|Reviewer|Contributor|FreeBusyTimeOnly|"
     "FreeBusyTimeAndSubjectAndLocation|Custom"},
    {"BaseFolder", "",
     "FolderId:FolderId/agr ParentFolderId:FolderId/ar FolderClass/a DisplayName/ag TotalCount:i/agr "
     "ChildFolderCount:i/agr ExtendedProperty*:ExtendedProperty/ ManagedFolderInformation:Open/r "
     "EffectiveRights:EffectiveRights/arq DistinguishedFolderId:=" FOLDER_NAMES
     "/ar@8 PolicyTag:Open/@7 ArchiveTag:Open/@7 "
     "ReplicaList:Strings/r@7"},
    {"Folder", "BaseFolder", "PermissionSet:PermissionSet/q UnreadCount:i/agr"},
    {"CalendarFolder", "BaseFolder",
     "SharingEffectiveRights:=None|TimeOnly|TimeAndSubjectAndLocation|FullDetails/ "
     "PermissionSet:CalendarPermissionSet/q"},
    {"ContactsFolder", "BaseFolder",
     "SharingEffectiveRights:=None|FullDetails/ PermissionSet:PermissionSet/q SourceId/@8 AccountName/@8"},
    {"SearchParameters", "", "Restriction!:Restriction BaseFolderIds!:FolderIds @Traversal:=Shallow|Deep"},
    {"SearchFolder", "Folder", "SearchParameters:SearchParameters/aq"},
    {"TasksFolder", "Folder", ""},

    // Items
    {"Item", "",
     "MimeContent:MimeContent/q ItemId:ItemId/afgdr ParentFolderId:FolderId/afrq ItemClass/afg Subject/afgd "
     "Sensitivity:=Normal|Personal|Private|Confidential/afgd Body:Body/agqn Attachments:Attachments/agqrn "
     "DateTimeReceived:d/afr Size:i/afgdr Categories:Strings/af Importance:=Low|Normal|High/af "
     "InReplyTo/af IsSubmitted:b/afr IsDraft:b/afr IsFromMe:b/afr IsResend:b/afr IsUnmodified:b/afr "
     "InternetMessageHeaders:InternetMessageHeaders/aqrn DateTimeSent:d/afgdr DateTimeCreated:d/afgdr "
     "ResponseObjects:Open/agrqn ReminderDueBy:d/af ReminderIsSet:b/af ReminderNextTime:d/@7 "
     "ReminderMinutesBeforeStart:i[0,2629800]/af DisplayCc/afr DisplayTo/afr DisplayBcc/rq@9 HasAttachments:b/afgdr "
     "ExtendedProperty*:ExtendedProperty/ Culture:g/a EffectiveRights:EffectiveRights/afrq LastModifiedName/afr@1 "
     "LastModifiedTime:d/afr@1 IsAssociated:b/afg@3 WebClientReadFormQueryString/afrq@3 "
     "WebClientEditFormQueryString/rq@3 ConversationId:ItemId/afr@3 UniqueBody:Body/rqn@3 Flag:Flag/afq@7 "
     "StoreEntryId:x/rq@7 InstanceKey:x/afrq@7 NormalizedBody:Body/rqn@7 EntityExtractionResult:Open/rqn@7 "
     "PolicyTag:Open/q@7 ArchiveTag:Open/q@7 RetentionDate:d/r@7 Preview/q@7 RightsManagementLicenseData:Open/rqn@7 "
     "PredictedActionReasons:Open/rq@8 IsClutter:b/r@8 BlockStatus:b/q@7 HasBlockedImages:b/rq@7 TextBody:Body/rqn@7 "
     "IconIndex:=" ICONS "/r@7 SearchKey:x/rq@9 SortKey:i[-9223372036854775807,9223372036854775807]/rq@9 "
     "Hashtags:Strings/q@a Mentions:Recipients/q@a MentionedMe:b/q@a "
     "MentionsPreview:Open/q@b MentionsEx:Open/q@b AppliedHashtags:Open/q@b AppliedHashtagsPreview:Open/q@b "
     "Likes:Open/q@b LikesPreview:Open/q@b PendingSocialActivityTagIds:Strings/q@b AtAllMention:b/q@b CanDelete:b/q@b "
     "InferenceClassification:=Focused|Other/q@b"},
    {"Message", "Item",
     "Sender:SingleRecipient/af ToRecipients:Recipients/agtqn CcRecipients:Recipients/agtqn "
     "BccRecipients:Recipients/agtqn IsReadReceiptRequested:b/afgt IsDeliveryReceiptRequested:b/afgt "
     "ConversationIndex:x/afrq ConversationTopic/afr From:SingleRecipient/afgd InternetMessageId/afr IsRead:b/afgd "
     "IsResponseRequested:b/af References/af ReplyTo:Recipients/aqn ReceivedBy:SingleRecipient/afr "
     "ReceivedRepresenting:SingleRecipient/afr ApprovalRequestData:Open/rq@7 VotingInformation:Open/rq@7 "
     "ReminderMessageData:ReminderMessageData/rq@7 MessageSafety:Open/rq@9 SenderSMTPAddress/rq@a "
     "MailboxGuids:Open/rq@a"},
    {"CalendarItem", "Item",
     "UID/af RecurrenceId:d/aqr@1 DateTimeStamp:d/arq@1 Start:d/afgd End:d/afgd OriginalStart:d/afr IsAllDayEvent:b/af "
     "LegacyFreeBusyStatus:=" FREE_BUSY
     "/afgd Location/afgd When/afq IsMeeting:b/afr IsCancelled:b/afr IsRecurring:b/afr MeetingRequestWasSent:b/afr "
     "IsResponseRequested:b/af CalendarItemType:=" CALENDAR_ITEMS "/afgdr "
     "MyResponseType:=" RESPONSES
     "/afr Organizer:SingleRecipient/afgr RequiredAttendees:Attendees/aqn OptionalAttendees:Attendees/aqn "
     "Resources:Attendees/aqn InboxReminders:Open/q@9 ConflictingMeetingCount:i/arqn AdjacentMeetingCount:i/arqn "
     "ConflictingMeetings:Open/rqn AdjacentMeetings:Open/rqn Duration/afrq TimeZone/afrq AppointmentReplyTime:d/afr "
     "AppointmentSequenceNumber:i/afr AppointmentState:i/afr Recurrence:Recurrence/aqn FirstOccurrence:Open/arqn "
     "LastOccurrence:Open/arqn ModifiedOccurrences:Open/arqn DeletedOccurrences:Open/arqn MeetingTimeZone:Open/q "
     "StartTimeZone:TimeZoneDefinition/q@3 EndTimeZone:TimeZoneDefinition/q@3 ConferenceType:i/a "
     "AllowNewTimeProposal:b/a IsOnlineMeeting:b/a MeetingWorkspaceUrl/a NetShowUrl/a EnhancedLocation:Open/q@7 "
     "StartWallClock:d/rq@7 EndWallClock:d/rq@7 StartTimeZoneId/rq@7 EndTimeZoneId/rq@7 "
     "IntendedFreeBusyStatus:=" FREE_BUSY "/rq@7 JoinOnlineMeetingUrl/rq@7 OnlineMeetingSettings:Open/rq@7 "
     "IsOrganizer:b/afrq@8 CalendarActivityData:Open/q@a "
     "DoNotForwardMeeting:b/@b"},
    {"Contact", "Item",
     "FileAs/afgd FileAsMapping:=" FILE_AS
     "/afgd DisplayName/afgd GivenName/afgd Initials/af MiddleName/af Nickname/af "
     "CompleteName:CompleteName/agr CompanyName/afgd EmailAddresses:EmailAddresses/afgd "
     "AbchEmailAddresses:Open/@7 PhysicalAddresses:PhysicalAddresses/afgd PhoneNumbers:PhoneNumbers/afgd "
     "AssistantName/af Birthday:d/af BusinessHomePage:l/af Children:Strings/af Companies:Strings/af "
     "ContactSource:=ActiveDirectory|Store/rq "
     "Department/af Generation/af ImAddresses:ImAddresses/afgd JobTitle/afgd Manager/af Mileage/af OfficeLocation/af "
     "PostalAddressIndex:=None|Home|Business|Other/af Profession/af SpouseName/af Surname/afgd WeddingAnniversary:d/af "
     "HasPicture:b/afr@3 "
     "PhoneticFullName/@4 PhoneticFirstName/@4 PhoneticLastName/@4 Alias/@4 Notes/@4 Photo:x/q@4 "
     "UserSMIMECertificate:Open/q@4 MSExchangeCertificate:Open/q@4 DirectoryId/@4 ManagerMailbox:SingleRecipient/q@4 "
     "DirectReports:Recipients/q@4 AccountName/@7 IsAutoUpdateDisabled:b/@7 IsMessengerEnabled:b/@7 Comment/@7 "
     "ContactShortId:i/@7 ContactType/@7 Gender/@7 IsHidden:b/@7 ObjectId/@7 PassportId:i/@7 IsPrivate:b/@7 "
     "SourceId/@7 "
     "TrustLevel:i/@7 CreatedBy/@7 Urls:Open/q@7 Cid:i/@7 SkypeAuthCertificate/@7 SkypeContext/@7 SkypeId/@7 "
     "SkypeRelationship/@7 YomiNickname/@7 XboxLiveTag/@7 InviteFree:b/@7 HidePresenceAndProfile:b/@7 "
     "IsPendingOutbound:b/@7 SupportGroupFeeds:b/@7 UserTileHash/@7 UnifiedInbox:b/@7 Mris:Strings/@7 Wlid/@7 "
     "AbchContactId/@7 NotInBirthdayCalendar:b/@7 ShellContactType/@7 ImMri/@7 PresenceTrustLevel:i/@7 OtherMri/@7 "
     "ProfileLastChanged/@7 MobileIMEnabled:b/@7 PartnerNetworkProfilePhotoUrl/@7 PartnerNetworkThumbnailPhotoUrl/@7 "
     "PersonId/@7 ConversationGuid/@7"},
    {"DistributionList", "Item",
     "DisplayName/afgd FileAs/afgd ContactSource:=ActiveDirectory|Store/rq Members:Members/aqn@3"},
    {"Task", "Item",
     "ActualWork:i/af AssignedTime:d/afr BillingInformation/af ChangeCount:i/afr Companies:Strings/af "
     "CompleteDate:d/af "
     "Contacts:Strings/af DelegationState:=NoMatch|OwnNew|Owned|Accepted|Declined|Max/afr Delegator/afr DueDate:d/afgd "
     "IsAssignmentEditable:i/afr IsComplete:b/afr "
     "IsRecurring:b/afr IsTeamTask:b/afr Mileage/af Owner/afr PercentComplete:f/afgd Recurrence:Recurrence/aqn "
     "StartDate:d/afgd Status:=NotStarted|InProgress|Completed|WaitingOnOthers|Deferred/afgd StatusDescription/afrq "
     "TotalWork:i/af"},
    {"PostItem", "Item",
     "ConversationIndex:x/afrq ConversationTopic/afr From:SingleRecipient/afgd InternetMessageId/afr IsRead:b/afgd "
     "PostedTime:d/afr References/afr Sender:SingleRecipient/afr"},
    {"MeetingMessage", "Message",
     "AssociatedCalendarItemId:ItemId/agrqn IsDelegated:b/afr IsOutOfDate:b/afrq HasBeenProcessed:b/afrq "
     "ResponseType:=" RESPONSES "/afgr UID/arq@1 RecurrenceId:d/arq@1 DateTimeStamp:d/arq@1 IsOrganizer:b/arq@8"},
    {"MeetingRequest", "MeetingMessage",
     "MeetingRequestType:=None|FullUpdate|InformationalUpdate|NewMeetingRequest|Outdated|SilentUpdate|"
     "PrincipalWantsCopy/agr IntendedFreeBusyStatus:=" FREE_BUSY
     "/agr Start:d/afgdr End:d/afgdr OriginalStart:d/ar IsAllDayEvent:b/afr LegacyFreeBusyStatus:=" FREE_BUSY
     "/afr Location/afgdr When/afrq IsMeeting:b/afr IsCancelled:b/afr IsRecurring:b/afr MeetingRequestWasSent:b/afr "
     "CalendarItemType:=" CALENDAR_ITEMS "/afr MyResponseType:=" RESPONSES
     "/afr Organizer:SingleRecipient/afgr RequiredAttendees:Attendees/arqn OptionalAttendees:Attendees/arqn "
     "Resources:Attendees/arqn ConflictingMeetingCount:i/arqn AdjacentMeetingCount:i/arqn ConflictingMeetings:Open/rqn "
     "AdjacentMeetings:Open/rqn Duration/arq TimeZone/arq AppointmentReplyTime:d/ar AppointmentSequenceNumber:i/ar "
     "AppointmentState:i/ar Recurrence:Recurrence/arqn FirstOccurrence:Open/rqn LastOccurrence:Open/rqn "
     "ModifiedOccurrences:Open/rqn DeletedOccurrences:Open/rqn MeetingTimeZone:Open/rq "
     "StartTimeZone:TimeZoneDefinition/rq@3 "
     "EndTimeZone:TimeZoneDefinition/rq@3 ConferenceType:i/ar AllowNewTimeProposal:b/ar IsOnlineMeeting:b/ar "
     "MeetingWorkspaceUrl/ar NetShowUrl/ar EnhancedLocation:Open/rq@7 ChangeHighlights:Open/rq@7 StartWallClock:d/rq@7 "
     "EndWallClock:d/rq@7 StartTimeZoneId/rq@7 EndTimeZoneId/rq@7 DoNotForwardMeeting:b/r@b"},
    {"MeetingResponse", "MeetingMessage",
     "Start:d/afr@7 End:d/afr@7 Location/afr@7 Recurrence:Recurrence/rqn@7 CalendarItemType/ar@7 ProposedStart:d/ar@7 "
     "ProposedEnd:d/ar@7 EnhancedLocation:Open/rq@7"},
    {"MeetingCancellation", "MeetingMessage",
     "Start:d/afr@7 End:d/afr@7 Location/afr@7 Recurrence:Recurrence/rqn@7 CalendarItemType/ar@7 "
     "EnhancedLocation:Open/rq@7 DoNotForwardMeeting:b/r@b"},
    {"SmartResponse", "",
     "Subject Body:Body ToRecipients:Recipients CcRecipients:Recipients BccRecipients:Recipients "
     "IsReadReceiptRequested:b IsDeliveryReceiptRequested:b From:SingleRecipient ReferenceItemId:ItemId "
     "NewBodyContent:Body"},
    {"ReplyAll", "SmartResponse", "IsSpecificMessageReply:b@7"},
    {"PostReply", "", "Subject Body:Body ReferenceItemId:ItemId NewBodyContent:Body"},
    {"ReferenceOnly", "", "ReferenceItemId:ItemId"},
    {"MeetingAnswer", "",
     "ItemClass Sensitivity Body:Body Attachments:Attachments InternetMessageHeaders:InternetMessageHeaders "
     "Sender:SingleRecipient ToRecipients:Recipients CcRecipients:Recipients BccRecipients:Recipients "
     "IsReadReceiptRequested:b IsDeliveryReceiptRequested:b From:SingleRecipient ReferenceItemId:ItemId "
     "ProposedStart:d@7 "
     "ProposedEnd:d@7"},

    // Parts of items
    {"MimeContent", "", "@CharacterSet"},
    {"Body", "", "@BodyType!:=HTML|Text @IsTruncated:b"},
    {"Strings", "", "any String"},
    {"SingleRecipient", "", "one Mailbox:EmailAddress"},
    {"Recipients", "", "any Mailbox:EmailAddress"},
    {"EmailAddress", "",
     "Name EmailAddress RoutingType MailboxType:=" MAILBOX_TYPES " ItemId:ItemId OriginalDisplayName@7"},
    {"Attendees", "", "any Attendee:Attendee"},
    {"Attendee", "",
     "Mailbox!:EmailAddress ResponseType:=" RESPONSES " LastResponseTime:d ProposedStart:d@7 ProposedEnd:d@7"},
    {"Members", "", "any Member:Member"},
    {"Member", "", "Mailbox:EmailAddress Status @Key"},
    {"InternetMessageHeaders", "", "any InternetMessageHeader:InternetMessageHeader"},
    {"InternetMessageHeader", "", "@HeaderName!"},
    {"Flag", "", "FlagStatus!:=NotFlagged|Flagged|Complete StartDate:d DueDate:d CompleteDate:d"},
    {"EffectiveRights", "",
     "CreateAssociated:b CreateContents:b CreateHierarchy:b Delete:b Modify:b Read:b ViewPrivateItems:b"},
    {"ExtendedProperty", "", "ExtendedFieldURI!:PathToExtendedField Value Values:Values"},
    {"Values", "", "any Value"},
    {"Attachments", "",
     "any ItemAttachment:ItemAttachment FileAttachment:FileAttachment ReferenceAttachment:ReferenceAttachment"},
    {"Attachment", "",
     "AttachmentId:AttachmentId Name ContentType ContentId ContentLocation AttachmentOriginalUrl@9 Size:i@3 "
     "LastModifiedTime:d@3 IsInline:b@3"},
    {"FileAttachment", "Attachment", "IsContactPhoto:b@3 Content:x"},
    {"ItemAttachment", "Attachment", ITEM_KINDS},
    {"ReferenceAttachment", "Attachment", "AttachLongPathName ProviderType PermissionType AttachmentIsFolder:b"},
    {"CompleteName", "",
     "Title FirstName MiddleName LastName Suffix Initials FullName Nickname YomiFirstName YomiLastName"},
    {"EmailAddresses", "", "any Entry:EmailAddressEntry"},
    {"EmailAddressEntry", "",
     "@Key!:=EmailAddress1|EmailAddress2|EmailAddress3 @Name @RoutingType @MailboxType:=" MAILBOX_TYPES},
    {"PhysicalAddresses", "", "any Entry:PhysicalAddressEntry"},
    {"PhysicalAddressEntry", "", "Street City State CountryOrRegion PostalCode @Key!:=Home|Business|Other"},
    {"PhoneNumbers", "", "any Entry:PhoneNumberEntry"},
    {"PhoneNumberEntry", "",
     "@Key!:=AssistantPhone|BusinessFax|BusinessPhone|BusinessPhone2|Callback|CarPhone|CompanyMainPhone|HomeFax|"
     "HomePhone|HomePhone2|Isdn|MobilePhone|OtherFax|OtherTelephone|Pager|PrimaryPhone|RadioPhone|Telex|TtyTddPhone|"
     "BusinessMobile|IPPhone|Mms|Msn"},
    {"ImAddresses", "", "any Entry:ImAddressEntry"},
    {"ImAddressEntry", "", "@Key!:=ImAddress1|ImAddress2|ImAddress3"},
    {"ReminderMessageData", "", "ReminderText Location StartTime:d EndTime:d AssociatedCalendarItemId:ItemId"},
    {"TimeZoneDefinition", "", "Periods:Open TransitionsGroups:Open Transitions:Open @Id @Name"},

    // Recurrence: one pattern, then one range
    {"Recurrence", "",
     "RelativeYearlyRecurrence:RelativeYearly AbsoluteYearlyRecurrence:AbsoluteYearly "
     "RelativeMonthlyRecurrence:RelativeMonthly AbsoluteMonthlyRecurrence:AbsoluteMonthly WeeklyRecurrence:Weekly "
     "DailyRecurrence:Daily DailyRegeneration:Daily WeeklyRegeneration:Daily MonthlyRegeneration:Daily "
     "YearlyRegeneration:Daily NoEndRecurrence:RangeStart EndDateRecurrence:RangeEnd NumberedRecurrence:RangeNumber"},
    {"RelativeYearly", "", "DaysOfWeek!:=" DAY_NAMES " DayOfWeekIndex!:=" DAY_INDEX " Month!:=" MONTHS},
    {"AbsoluteYearly", "", "DayOfMonth!:i Month!:=" MONTHS},
    {"RelativeMonthly", "", "Interval!:i DaysOfWeek!:=" DAY_NAMES " DayOfWeekIndex!:=" DAY_INDEX},
    {"AbsoluteMonthly", "", "Interval!:i DayOfMonth!:i"},
    {"Weekly", "", "Interval!:i DaysOfWeek!:~" DAY_NAMES " FirstDayOfWeek:=" DAY_NAMES "@4"},
    {"Daily", "", "Interval!:i"},
    {"RangeStart", "", "StartDate!:D"},
    {"RangeEnd", "", "StartDate!:D EndDate!:D"},
    {"RangeNumber", "", "StartDate!:D NumberOfOccurrences!:i"},

    {"Open", "", "open"},
};
const std::size_t kTypeRowCount = sizeof(kTypeRows) / sizeof(kTypeRows[0]);

}  // namespace velmore::simulator
