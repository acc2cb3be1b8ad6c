// The wire texts of the enumerations that are not part of the types schema, in the order of their values.

#include "ews/model/uVqEWSAvailability.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/model/uVqEWSResolution.h"

#define VQ_ENUM_TEXTS(type, ...)                                                                  \
  const TVqEnumInfo& VqEnumInfoOf(type) noexcept {                                                \
    static constexpr std::string_view texts[] = {__VA_ARGS__};                                    \
    static constexpr TVqEnumInfo info{#type, texts, static_cast<std::int32_t>(std::size(texts))}; \
    return info;                                                                                  \
  }

namespace velmore {

VQ_ENUM_TEXTS(TItemType, "Item", "Message", "CalendarItem", "Contact", "DistributionList", "MeetingMessage",
              "MeetingRequest", "MeetingResponse", "MeetingCancellation", "Task", "PostItem", "ReplyToItem",
              "ReplyAllToItem", "ForwardItem")
VQ_ENUM_TEXTS(TVqEWSSaveOption, "NeverOverwrite", "AutoResolve", "AlwaysOverwrite")
VQ_ENUM_TEXTS(TMessageDispositionType, "SaveOnly", "SendAndSaveCopy", "SendOnly")
VQ_ENUM_TEXTS(TVqEWSItemResponseType, "AcceptItem", "TentativelyAcceptItem", "DeclineItem", "ReplyToItem",
              "ForwardItem", "ReplyAllToItem", "CancelCalendarItem", "RemoveItem", "PostReplyItem",
              "SuppressReadReceipt", "AcceptSharingInvitation")
VQ_ENUM_TEXTS(TVqEWSFolderDeleteType, "HardDelete", "SoftDelete", "MoveToDeletedItems")
VQ_ENUM_TEXTS(TVqEWSSortDirection, "Ascending", "Descending")
VQ_ENUM_TEXTS(TVqEWSFolderTraversal, "Shallow", "Deep", "SoftDeleted")
VQ_ENUM_TEXTS(TSendMeetingInvitationsOrCancellations, "SendToNone", "SendOnlyToAll", "SendToAllAndSaveCopy",
              "SendOnlyToChanged", "SendToChangedAndSaveCopy")
VQ_ENUM_TEXTS(TVqEWSRestrictionOperator, "IsEqualTo", "IsNotEqualTo", "IsGreaterThan", "IsGreaterThanOrEqualTo",
              "IsLessThan", "IsLessThanOrEqualTo")
VQ_ENUM_TEXTS(TVqEWSContainmentMode, "FullString", "Prefixed", "Substring", "PrefixOnWords", "ExactPhrase")
VQ_ENUM_TEXTS(TVqEWSContainmentComparison, "Exact", "IgnoreCase", "IgnoreNonSpacingCharacters",
              "IgnoreCaseAndNonSpacingCharacters")
VQ_ENUM_TEXTS(TSizeRequested, "HR48x48", "HR64x64", "HR96X96", "HR120X120", "HR240X240", "HR360X360", "HR432X432",
              "HR504X504", "HR648X648")
VQ_ENUM_TEXTS(TVqEWSAttendeeType, "Organizer", "Required", "Optional", "Room", "Resource")
VQ_ENUM_TEXTS(TVqEWSFreeBusyViewType, "None", "MergedOnly", "FreeBusy", "FreeBusyMerged", "Detailed", "DetailedMerged")
VQ_ENUM_TEXTS(TSearchScope, "ActiveDirectory", "ActiveDirectoryContacts", "Contacts", "ContactsActiveDirectory")

}  // namespace velmore
