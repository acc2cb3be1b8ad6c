#include <algorithm>
#include <functional>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/recurrence.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

struct OperationRow {
  const char* name;
  Operation operation;
  int since;
};
constexpr OperationRow kOperations[] = {
    {"GetFolder", GetFolder, 0},
    {"FindFolder", FindFolder, 0},
    {"CreateFolder", CreateFolder, 0},
    {"UpdateFolder", UpdateFolder, 0},
    {"DeleteFolder", DeleteFolder, 0},
    {"EmptyFolder", EmptyFolder, kExchange2010Sp1},
    {"CopyFolder", CopyFolder, 0},
    {"MoveFolder", MoveFolder, 0},
    {"UpdateItem", UpdateItem, 0},
    {"DeleteItem", DeleteItem, 0},
    {"CopyItem", CopyItem, 0},
    {"MoveItem", MoveItem, 0},
    {"CreateAttachment", CreateAttachment, 0},
    {"DeleteAttachment", DeleteAttachment, 0},
    {"GetAttachment", GetAttachment, 0},
    {"FindItem", FindItem, 0},
    {"GetItem", GetItem, 0},
    {"CreateItem", CreateItem, 0},
    {"SendItem", SendItem, 0},
    {"ResolveNames", ResolveNames, 0},
    {"ConvertId", ConvertId, kExchange2007Sp1},
    {"GetServerTimeZones", GetServerTimeZones, kExchange2010},
    {"MarkAllItemsAsRead", MarkAllItemsAsRead, kExchange2013},
    {"Subscribe", Subscribe, 0},
    {"Unsubscribe", Unsubscribe, 0},
    {"GetEvents", GetEvents, 0},
    {"GetStreamingEvents", GetStreamingEvents, kExchange2010Sp1},
    {"SyncFolderItems", SyncFolderItems, 0},
    {"SyncFolderHierarchy", SyncFolderHierarchy, 0},
    {"CreateUserConfiguration", CreateUserConfiguration, kExchange2010},
    {"GetUserConfiguration", GetUserConfiguration, kExchange2010},
    {"UpdateUserConfiguration", UpdateUserConfiguration, kExchange2010},
    {"DeleteUserConfiguration", DeleteUserConfiguration, kExchange2010},
    {"GetDelegate", GetDelegate, kExchange2007Sp1},
    {"AddDelegate", AddDelegate, kExchange2007Sp1},
    {"UpdateDelegate", UpdateDelegate, kExchange2007Sp1},
    {"RemoveDelegate", RemoveDelegate, kExchange2007Sp1},
    {"ExpandDL", ExpandDL, 0},
    {"ArchiveItem", ArchiveItem, kExchange2013},
    {"GetUserOofSettingsRequest", GetUserOofSettings, 0},
    {"SetUserOofSettingsRequest", SetUserOofSettings, 0},
    {"GetMailTips", GetMailTips, kExchange2010},
    {"GetUserAvailabilityRequest", GetUserAvailability, 0},
    {"GetRoomLists", GetRoomLists, kExchange2010},
    {"GetRooms", GetRooms, kExchange2010},
    {"GetUserPhoto", GetUserPhoto, kExchange2013},
    {"ExportItems", ExportItems, kExchange2010Sp1},
    {"UploadItems", UploadItems, kExchange2010Sp1},
};

/// What servers have beside these.
constexpr const char* kOthers[] = {"AddDistributionGroupToImList",
                                   "AddImContactToGroup",
                                   "AddImGroup",
                                   "AddNewImContactToGroup",
                                   "AddNewTelUriContactToGroup",
                                   "AddTag",
                                   "ApplyConversationAction",
                                   "CreateFolderPath",
                                   "CreateManagedFolder",
                                   "DisableApp",
                                   "DisconnectPhoneCall",
                                   "EndSearchSession",
                                   "ExecuteSearch",
                                   "FindAvailableMeetingTimes",
                                   "FindConversation",
                                   "FindMailboxStatisticsByKeywords",
                                   "FindMeetingTimeCandidates",
                                   "FindMessageTrackingReport",
                                   "FindPeople",
                                   "FindTags",
                                   "GetAppManifests",
                                   "GetAppMarketplaceUrl",
                                   "GetClientAccessToken",
                                   "GetConversationItems",
                                   "GetDiscoverySearchConfiguration",
                                   "GetHoldOnMailboxes",
                                   "GetImItemList",
                                   "GetImItems",
                                   "GetInboxRules",
                                   "GetMessageTrackingReport",
                                   "GetNonIndexableItemDetails",
                                   "GetNonIndexableItemStatistics",
                                   "GetPasswordExpirationDate",
                                   "GetPersona",
                                   "GetPhoneCallInformation",
                                   "GetReminders",
                                   "GetSearchSuggestions",
                                   "GetSearchableMailboxes",
                                   "GetServiceConfiguration",
                                   "GetSharingFolder",
                                   "GetSharingMetadata",
                                   "GetUserRetentionPolicyTags",
                                   "HideTag",
                                   "InstallApp",
                                   "MarkAsJunk",
                                   "PerformInstantSearch",
                                   "PerformReminderAction",
                                   "PlayOnPhone",
                                   "RefreshSharingFolder",
                                   "RemoveContactFromImList",
                                   "RemoveDistributionGroupFromImList",
                                   "RemoveImContactFromGroup",
                                   "RemoveImGroup",
                                   "SearchMailboxes",
                                   "SetHoldOnMailboxes",
                                   "SetImGroup",
                                   "SetImListMigrationCompleted",
                                   "SetTeamMailbox",
                                   "SetUserPhoto",
                                   "StartSearchSession",
                                   "UninstallApp",
                                   "UnpinTeamMailbox",
                                   "UpdateInboxRules",
                                   "UpdateItemInRecoverableItems"};

Element SuccessMessage(const std::string& operation, std::vector<Element> content) {
  Element message = Messages(operation + "ResponseMessage");
  message.Set("ResponseClass", "Success");
  message.Add(Messages("ResponseCode", "NoError"));
  for (Element& element : content) message.Add(std::move(element));
  return message;
}

Element Response(const char* operation) {
  return Messages(std::string(operation) + "Response");
}

}  // namespace

Operation FindOperation(std::string_view name, int version) {
  for (const OperationRow& row : kOperations)
    if (name == row.name && row.since <= version) return row.operation;
  return nullptr;
}

bool IsMissingHere(std::string_view name) {
  return std::find(std::begin(kOthers), std::end(kOthers), name) != std::end(kOthers);
}

std::vector<std::string> OperationNames(int since) {
  std::vector<std::string> names;
  for (const OperationRow& row : kOperations)
    if (row.since >= since) names.emplace_back(row.name);
  std::sort(names.begin(), names.end());
  return names;
}

std::string VersionGaps(const std::string& version) {
  const int index = VersionIndex(version);
  if (index < 0) throw OptionError("Unknown server version \"" + version + "\".");
  std::string text;
  const auto list = [&](const char* what, const std::vector<std::string>& names) {
    if (names.empty()) return;
    text += what;
    for (std::size_t i = 0; i < names.size(); ++i) text += (i == 0 ? " " : ", ") + names[i];
    text += '\n';
  };
  // What came after this version: from the same tables that the answers come from.
  list("operations:", OperationNames(index + 1));
  list("folders:", DistinguishedNames(index + 1));
  list("fields:", FieldUris(index + 1));
  if (index == kExchange2007) text += "replies that tell the version by name\n";
  return text;
}

Element ErrorMessage(const std::string& operation, const EwsError& error, bool warning) {
  Element message = Messages(operation + "ResponseMessage");
  message.Set("ResponseClass", warning ? "Warning" : "Error");
  message.Add(Messages("MessageText", error.what()));
  message.Add(Messages("ResponseCode", error.code));
  message.Add(Messages("DescriptiveLinkKey", "0"));
  if (!error.details.empty()) {
    Element& details = message.Add(Messages("MessageXml"));
    for (const Element& detail : error.details) details.Add(detail);
  }
  return message;
}

Element RefusedMessage(const std::string& operation, const EwsError& error, bool warning) {
  Element message = ErrorMessage(operation, error, warning);
  // What holds the results of an operation stands there without any, too.
  static constexpr std::pair<const char*, const char*> kHolders[] = {{"GetItem", "Items"},
                                                                     {"CreateItem", "Items"},
                                                                     {"UpdateItem", "Items"},
                                                                     {"CopyItem", "Items"},
                                                                     {"MoveItem", "Items"},
                                                                     {"GetFolder", "Folders"},
                                                                     {"CreateFolder", "Folders"},
                                                                     {"UpdateFolder", "Folders"},
                                                                     {"CopyFolder", "Folders"},
                                                                     {"MoveFolder", "Folders"},
                                                                     {"GetAttachment", "Attachments"},
                                                                     {"CreateAttachment", "Attachments"}};
  for (const auto& [name, holder] : kHolders)
    if (operation == name) message.Add(Messages(holder));
  if (operation == "GetUserPhoto") message.Add(Messages("HasChanged", "false"));
  return message;
}

Element RespondEach(const char* operation, const Element& list,
                    const std::function<std::vector<Element>(const Element&)>& each,
                    const std::vector<Element>& when_failed) {
  Element response = Response(operation);
  Element& messages = response.Add(Messages("ResponseMessages"));
  for (const Element& entry : list.children) {
    try {
      messages.Add(SuccessMessage(operation, each(entry)));
    } catch (const EwsError& error) {
      Element& message = messages.Add(ErrorMessage(operation, error));
      for (const Element& content : when_failed) message.Add(content);
    }
  }
  return response;
}

Element RespondOnce(const char* operation, const std::function<std::vector<Element>()>& once,
                    const std::vector<Element>& when_failed) {
  return RespondEach(
      operation,
      [] {
        Element list;
        list.children.resize(1);
        return list;
      }(),
      [&](const Element&) { return once(); }, when_failed);
}

bool IsBareMessage(std::string_view operation) {
  static constexpr std::string_view kBare[] = {"GetRoomLists", "GetRooms", "GetUserPhoto"};
  return std::find(std::begin(kBare), std::end(kBare), operation) != std::end(kBare);
}

Element RespondBare(const char* operation, const std::function<std::vector<Element>()>& once) {
  Element response;
  try {
    response = SuccessMessage(operation, once());
  } catch (const EwsError& error) {
    response = RefusedMessage(operation, error);
  }
  response.name = std::string(operation) + "Response";
  return response;
}

Place LocateFolder(Context& context, const Element& id) {
  Place place;
  if (id.name == "DistinguishedFolderId") {
    const std::string& name = id.AttributeText("Id");
    const int since = DistinguishedSince(name);
    if (since < 0 || since > context.version)
      throw SchemaViolation("The 'Id' attribute is invalid - The value '" + name +
                                "' is invalid according to its datatype '" + std::string(kTypesNamespace) +
                                ":DistinguishedFolderIdNameType' - The Enumeration constraint failed.",
                            id.line, id.column);
    place.mailbox = context.home;
    if (const Element* mailbox = id.Child("Mailbox")) {
      place.mailbox = context.store.ByAddress(mailbox->ChildText("EmailAddress"));
      if (place.mailbox == nullptr) throw EwsError("ErrorNonExistentMailbox");
    }
    if (name == "publicfoldersroot") place.mailbox = &context.store.PublicFolders();
    const bool archive = name.starts_with("archive");
    if (archive && place.mailbox != nullptr) {
      place.mailbox = context.store.ArchiveOf(*place.mailbox);
      if (place.mailbox == nullptr) throw EwsError("ErrorFolderNotFound");
    }
    if (place.mailbox == nullptr)
      throw EwsError(
          "ErrorMissingEmailAddress",
          "When making a request as an account that does not have a mailbox, you must specify the mailbox primary SMTP "
          "address for any distinguished folder Ids.");
    place.folder = place.mailbox->Distinguished(archive ? name.substr(7) : name);
    if (place.folder == nullptr) throw EwsError("ErrorFolderNotFound");
  } else {
    const std::string& text = id.AttributeText("Id");
    if (text.empty()) throw EwsError("ErrorInvalidIdEmpty");
    const auto parsed = ParseEwsId(text);
    if (!parsed) throw EwsError("ErrorInvalidIdMalformed");
    if (!IsFolderEntry(parsed->entry)) throw EwsError("ErrorCannotUseItemIdForFolderId");
    if (const std::string& key = id.AttributeText("ChangeKey"); !key.empty() && !ParseChangeKey(key))
      throw EwsError("ErrorInvalidChangeKey");
    place.mailbox = context.store.ByGuid(parsed->mailbox);
    place.folder = place.mailbox != nullptr ? place.mailbox->FindFolder(parsed->entry) : nullptr;
    if (place.folder == nullptr) throw EwsError("ErrorFolderNotFound");
  }
  place.access = context.store.AccessTo(*place.mailbox, *place.folder, context.user);
  if (place.access == Access::kNone) throw EwsError("ErrorAccessDenied");
  return place;
}

Place LocateTarget(Context& context, const Element& target) {
  if (target.children.size() != 1) throw EwsError("ErrorInvalidRequest");
  return LocateFolder(context, target.children.front());
}

void Require(const Place& place, Access access) {
  if (place.access < access) throw EwsError("ErrorAccessDenied");
}

void RequireEdit(const Context& context, const Found& found) {
  if (!found.access.MayEdit(IsOwnedBy(*found.item, context.user))) throw EwsError("ErrorAccessDenied");
}

void RequireDelete(const Context& context, const Found& found) {
  if (!found.access.MayDelete(IsOwnedBy(*found.item, context.user))) throw EwsError("ErrorAccessDenied");
}

void CheckFits(const Item& item, const Folder& folder) {
  struct Row {
    const char* item;
    const char* folder;
    const char* code;
  };
  static constexpr Row kRows[] = {
      {"CalendarItem", "CalendarFolder", "ErrorCannotCreateCalendarItemInNonCalendarFolder"},
      {"Contact", "ContactsFolder", "ErrorCannotCreateContactInNonContactFolder"},
      {"DistributionList", "ContactsFolder", "ErrorCannotCreateContactInNonContactFolder"},
      {"Task", "TasksFolder", "ErrorCannotCreateTaskInNonTaskFolder"},
      {"PostItem", "Folder", "ErrorCannotCreatePostItemInNonMailFolder"}};
  // What a search finds stands elsewhere.
  if (folder.element == "SearchFolder") throw EwsError("ErrorInvalidFolderTypeForOperation");
  for (const Row& row : kRows)
    if (item.element == row.item && folder.element != row.folder) throw EwsError(row.code);
}

Found LocateItem(Context& context, const Element& id) {
  const bool by_master = id.name == "OccurrenceItemId";
  const bool by_occurrence = id.name == "RecurringMasterItemId";
  const std::string& text = id.AttributeText(by_master ? "RecurringMasterId" : by_occurrence ? "OccurrenceId" : "Id");
  if (text.empty()) throw EwsError("ErrorInvalidIdEmpty");
  const auto parsed = ParseEwsId(text);
  if (!parsed) throw EwsError("ErrorInvalidIdMalformed");
  if (IsFolderEntry(parsed->entry)) throw EwsError("ErrorCannotUseFolderIdForItemId");
  const bool occurrence_id = !parsed->attachment.empty() && IsOccurrenceTail(parsed->attachment);
  if (!parsed->attachment.empty() && !occurrence_id) {
    // The id of an item attachment stands for the item in it.
    const FoundAttachment attachment = LocateAttachment(context, id);
    Found found = attachment.root;
    if (!attachment.Get().is_item) throw EwsError("ErrorInvalidIdNotAnItemAttachmentId");
    found.item = attachment.Get().item;
    return found;
  }
  if (const std::string& key = id.AttributeText("ChangeKey"); !key.empty() && !ParseChangeKey(key))
    throw EwsError("ErrorInvalidChangeKey");
  Found found;
  found.mailbox = context.store.ByGuid(parsed->mailbox);
  found.item = found.mailbox != nullptr ? found.mailbox->FindItem(parsed->entry) : nullptr;
  if (found.item == nullptr) throw EwsError("ErrorItemNotFound");
  found.folder = found.mailbox->FindFolder(found.item->folder);
  found.access = context.store.AccessTo(*found.mailbox, *found.folder, context.user);
  if (found.access == Access::kNone) throw EwsError("ErrorItemNotFound");
  if (by_occurrence && !occurrence_id) throw EwsError("ErrorCalendarCannotUseIdForOccurrenceId");
  if (by_occurrence) return found;
  if (occurrence_id || by_master) {
    if (by_master && (occurrence_id || found.item->Find("Recurrence") == nullptr))
      throw EwsError("ErrorCalendarCannotUseIdForRecurringMasterId");
    found.master = found.item;
    found.item = occurrence_id ? OccurrenceByTail(*found.mailbox, found.master, parsed->attachment)
                               : OccurrenceByIndex(*found.mailbox, found.master,
                                                   std::atoi(id.AttributeText("InstanceIndex").c_str()));
  }
  return found;
}

Found LocateReference(Context& context, const Element& response) {
  const Element* reference = response.Child("ReferenceItemId");
  if (reference == nullptr) throw EwsError("ErrorMissingInformationReferenceItemId");
  Found found = LocateItem(context, *reference);
  if (found.access < Access::kReviewer) throw EwsError("ErrorAccessDenied");
  const std::string& key = reference->AttributeText("ChangeKey");
  if (!key.empty() && ParseChangeKey(key) != found.item->change) throw EwsError("ErrorStaleObject");
  return found;
}

FoundAttachment LocateAttachment(Context& context, const Element& id) {
  const std::string& text = id.AttributeText("Id");
  if (text.empty()) throw EwsError("ErrorInvalidIdEmpty");
  const auto parsed = ParseEwsId(text);
  if (!parsed) throw EwsError("ErrorInvalidIdMalformed");
  if (parsed->attachment.empty()) throw EwsError("ErrorInvalidAttachmentId", "The attachment Id is invalid.");
  FoundAttachment found;
  found.root.mailbox = context.store.ByGuid(parsed->mailbox);
  found.root.item = found.root.mailbox != nullptr ? found.root.mailbox->FindItem(parsed->entry) : nullptr;
  if (found.root.item == nullptr) throw EwsError("ErrorItemNotFound");
  found.root.folder = found.root.mailbox->FindFolder(found.root.item->folder);
  found.root.access = context.store.AccessTo(*found.root.mailbox, *found.root.folder, context.user);
  if (found.root.access == Access::kNone) throw EwsError("ErrorItemNotFound");
  const std::function<bool(Item&)> search = [&](Item& item) {
    for (std::size_t i = 0; i < item.attachments.size(); ++i) {
      if (item.attachments[i].number == parsed->attachment) {
        found.list = &item.attachments;
        found.index = i;
        return true;
      }
      if (item.attachments[i].item != nullptr && search(*item.attachments[i].item)) return true;
    }
    return false;
  };
  if (!search(*found.root.item)) throw EwsError("ErrorItemNotFound");
  return found;
}

Viewer ViewerOf(const Context& context, const Place& place) {
  return {place.mailbox, place.access, context.version, context.user.smtp_address};
}
Viewer ViewerOf(const Context& context, const Found& found) {
  return {found.mailbox, found.access, context.version, context.user.smtp_address};
}

}  // namespace velmore::simulator
