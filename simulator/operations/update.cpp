// UpdateItem: conflicts, and changes field by field.

#include <algorithm>
#include <cstdlib>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/item_zone.h"
#include "simulator/mailbox/recurrence.h"
#include "simulator/mailbox/two_names.h"
#include "simulator/operations/meetings.h"
#include "simulator/operations/operations.h"
#include "simulator/operations/recurring_tasks.h"

namespace velmore::simulator {

namespace {

/// What a field is called in the record of writes: the same, whichever of its names the request used.
std::string WriteName(const Path& path, const Item& item) {
  if (path.extended) {
    const ExtendedKey& key = *path.extended;
    const TwoNames* row = FindTwoNames(key, item);
    if (row != nullptr && *row->member != '\0') {
      const bool entry =
          row->member == std::string("PhoneNumbers") || std::string_view(row->member).ends_with("Addresses");
      return std::string(row->member) + (entry ? std::string("/") + row->part : std::string());
    }
    return "extended:" + key.set + "/" + key.name + "/" + std::to_string(key.number) + "/" + key.type;
  }
  return path.ElementName() + (path.index.empty() ? "" : "/" + path.index) +
         (path.ElementName() == "PhysicalAddresses" ? "/" + path.indexed_uri : "");
}

/// The member of an item's type that a path means; refuses paths of other kinds of items.
const Member& MemberOf(const Item& item, const Path& path, const char* code) {
  const SchemaType* type = Schema::Instance().ItemType(item.element);
  const Member* member = type->Find(path.extended ? "ExtendedProperty" : path.ElementName());
  if (member == nullptr) throw Refusal(code, path);
  return *member;
}

/// Keeps the other entries of a dictionary when one is set or deleted.
void MergeEntry(Item& item, const Path& path, const Element* value) {
  const std::string name = path.ElementName();
  Element dictionary = item.Find(name) != nullptr ? *item.Find(name) : Types(name);
  const std::string part = name == "PhysicalAddresses" && path.indexed_uri.rfind(':') != path.indexed_uri.find(':')
                               ? path.indexed_uri.substr(path.indexed_uri.rfind(':') + 1)
                               : std::string();
  const auto at = std::find_if(dictionary.children.begin(), dictionary.children.end(),
                               [&](const Element& entry) { return entry.AttributeText("Key") == path.index; });
  const Element* entry = nullptr;
  if (value != nullptr)
    for (const Element& candidate : value->children)
      if (candidate.AttributeText("Key") == path.index) entry = &candidate;
  if (value != nullptr && (entry == nullptr || value->children.size() != 1))
    throw Refusal("ErrorUpdatePropertyMismatch", path);
  if (!part.empty()) {
    Element merged = Types("Entry");
    merged.Set("Key", path.index);
    if (at != dictionary.children.end()) merged = *at;
    merged.Remove(part);
    if (entry != nullptr && entry->Child(part) != nullptr) merged.Add(*entry->Child(part));
    const SchemaType* type = Schema::Instance().Type("PhysicalAddressEntry");
    std::stable_sort(merged.children.begin(), merged.children.end(), [&](const Element& a, const Element& b) {
      return type->Position(a.name) < type->Position(b.name);
    });
    // An address of which nothing is left is none.
    if (merged.children.empty() && at != dictionary.children.end())
      dictionary.children.erase(at);
    else if (!merged.children.empty() && at != dictionary.children.end())
      *at = std::move(merged);
    else if (!merged.children.empty())
      dictionary.Add(std::move(merged));
  } else if (entry != nullptr && at != dictionary.children.end()) {
    *at = *entry;
  } else if (entry != nullptr && name != "Members") {
    dictionary.Add(*entry);
  } else if (at != dictionary.children.end()) {
    dictionary.children.erase(at);
  } else if (name == "Members") {
    throw Refusal("ErrorDistributionListMemberNotExist", path);
  }
  if (dictionary.children.empty())
    item.Remove(name);
  else
    item.Set(std::move(dictionary));
}

void DeleteField(Item& item, const Path& path) {
  const Member& member = MemberOf(item, path, "ErrorInvalidPropertyDelete");
  if (path.extended) {
    if (const TwoNames* row = FindTwoNames(*path.extended, item)) DeleteByMapiName(*row, item);
    std::erase_if(item.extended, [&](const ExtendedValue& value) { return value.key == *path.extended; });
    return;
  }
  if (!path.indexed_uri.empty()) {
    if (member.Has('r')) throw Refusal("ErrorInvalidPropertyDelete", path);
    MergeEntry(item, path, nullptr);
    return;
  }
  static const char* const kAlwaysThere[] = {"ItemClass",
                                             "Importance",
                                             "Sensitivity",
                                             "IsRead",
                                             "MimeContent",
                                             "IsAssociated",
                                             "Start",
                                             "End",
                                             "Flag",
                                             "LegacyFreeBusyStatus",
                                             "IsAllDayEvent",
                                             "Status",
                                             "PercentComplete",
                                             "IsReadReceiptRequested",
                                             "IsDeliveryReceiptRequested"};
  if (member.Has('r') || std::any_of(std::begin(kAlwaysThere), std::end(kAlwaysThere),
                                     [&](const char* name) { return member.name == name; }))
    throw Refusal("ErrorInvalidPropertyDelete", path);
  if (member.Has('t') && !item.IsDraft()) throw Refusal("ErrorInvalidPropertyUpdateSentMessage", path);
  if (member.name == "Body") {
    item.html.clear();
    item.text.clear();
    return;
  }
  item.Remove(member.name);
}

void SetField(Context& context, Item& item, const Element& change, const Path& path) {
  const bool append = change.name == "AppendToItemField";
  const Member& member = MemberOf(item, path, append ? "ErrorInvalidPropertyAppend" : "ErrorInvalidPropertySet");
  const Element* holder = nullptr;
  for (const Element& child : change.children)
    if (!IsPath(child)) holder = &child;
  if (holder == nullptr || holder->children.size() != 1) throw EwsError("ErrorIncorrectUpdatePropertyCount");
  const Element& value = holder->children.front();
  if (value.name != member.name) throw Refusal("ErrorUpdatePropertyMismatch", path);
  if (path.extended && ParseExtendedKey(*value.Child("ExtendedFieldURI")) != *path.extended)
    throw Refusal("ErrorUpdatePropertyMismatch", path);
  if (!path.indexed_uri.empty()) {
    if (append) throw Refusal("ErrorInvalidPropertyAppend", path);
    if (member.Has('r')) throw Refusal("ErrorInvalidPropertySet", path);
    Element entry = value;
    CompleteRecipients(context, entry);
    MergeEntry(item, path, &entry);
    return;
  }
  SetProperty(context, item, member, {}, value, append ? Change::kAppend : Change::kSet);
}

/// Marks on a message are no part of its MIME text.
bool LeavesMimeAlone(const std::string& name) {
  static const char* const kMarks[] = {"IsRead",        "Flag",          "Categories",
                                       "ReminderIsSet", "ReminderDueBy", "ReminderMinutesBeforeStart",
                                       "MimeContent",   "Culture"};
  return name.starts_with("extended:") ||
         std::any_of(std::begin(kMarks), std::end(kMarks), [&](const char* mark) { return name == mark; });
}

struct Changes {
  std::vector<Path> paths;  // one for each child of Updates
  std::vector<std::string> names;
};

Changes ReadChanges(const Element& updates, const Item& item) {
  Changes changes;
  for (const Element& change : updates.children) {
    const auto path = std::find_if(change.children.begin(), change.children.end(), IsPath);
    if (path == change.children.end())
      throw SchemaViolation("The element '" + change.name + "' in namespace '" + kTypesNamespace +
                                "' has incomplete content. List of possible elements expected: 'Path' in namespace '" +
                                kTypesNamespace + "'.",
                            change.line, change.column);
    changes.paths.push_back(ParsePath(*path));
    changes.names.push_back(WriteName(changes.paths.back(), item));
  }
  return changes;
}

/// Did somebody else write since the change key was given out, and does it matter?
void CheckConflict(const Item& item, const Item& changed, const std::string& key, const std::string& resolution,
                   const Changes& changes, const Viewer& viewer) {
  if (resolution == "AlwaysOverwrite") return;
  if (key.empty()) throw EwsError("ErrorChangeKeyRequiredForWriteOperations");
  const auto seen = ParseChangeKey(key);
  if (!seen) throw EwsError("ErrorInvalidChangeKey");
  if (*seen == item.change) return;
  if (resolution == "NeverOverwrite") throw EwsError("ErrorIrresolvableConflict");
  // Writes to different properties are merged, and so are equal ones. Two values for one property cannot be.
  for (std::size_t i = 0; i < changes.names.size(); ++i) {
    const auto written = item.written.find(changes.names[i]);
    if (written == item.written.end() || written->second <= *seen) continue;
    if (ValuesOf(item, changes.paths[i], viewer) != ValuesOf(changed, changes.paths[i], viewer))
      throw EwsError("ErrorIrresolvableConflict");
  }
}

/// When a series or appointment happens, as a text to be compared.
std::string CourseOf(const Item& item) {
  std::string text = item.Text("Start") + item.Text("End") + ZoneIdOf(item);
  if (const Element* recurrence = item.Find("Recurrence")) WriteXml(*recurrence, text);
  return text;
}

/// What becomes of the exceptions of a series when the series changes: another course makes them void, and what they do
/// not have of their own follows the series.
void CarryToExceptions(const Item& before, Item& after, const std::vector<std::string>& names) {
  if (after.exceptions.empty()) return;
  if (CourseOf(before) != CourseOf(after)) {
    after.exceptions.clear();
    return;
  }
  for (auto& [original, exception] : after.exceptions) {
    if (exception == nullptr) continue;
    auto changed = std::make_shared<Item>(*exception);
    for (const std::string& name : names) {
      if (changed->written.contains(name) || name == "Recurrence" || name == "Start" || name == "End") continue;
      if (name == "Body") {
        changed->html = after.html;
        changed->text = after.text;
      } else if (const Element* value = after.Find(name)) {
        changed->Set(*value);
      } else {
        changed->Remove(name);
      }
    }
    exception = std::move(changed);
  }
}

}  // namespace

Element UpdateItem(Context& context, const Element& request) {
  const std::string& disposition = request.AttributeText("MessageDisposition");
  return RespondEach(
      "UpdateItem", *request.Child("ItemChanges"),
      [&](const Element& item_change) {
        if (item_change.children.empty()) throw EwsError("ErrorInvalidIdEmpty");
        const Element& id = item_change.children.front();
        const Found found = LocateItem(context, id);
        RequireEdit(context, found);
        const bool mail = found.item->element == "Message" || found.item->element.starts_with("Meeting");
        if (mail && disposition.empty()) throw EwsError("ErrorMessageDispositionRequired");
        if (found.item->element == "CalendarItem" &&
            request.Attribute("SendMeetingInvitationsOrCancellations") == nullptr)
          throw EwsError("ErrorSendMeetingInvitationsOrCancellationsRequired",
                         "The SendMeetingInvitationsOrCancellations attribute is required for calendar items.");
        const Element& updates = *item_change.Child("Updates");
        const Changes changes = ReadChanges(updates, *found.item);
        // All changes are made on a copy, so that a refused one leaves nothing behind.
        auto changed = std::make_shared<Item>(*found.item);
        for (std::size_t i = 0; i < changes.paths.size(); ++i) {
          if (updates.children[i].name == "DeleteItemField")
            DeleteField(*changed, changes.paths[i]);
          else
            SetField(context, *changed, updates.children[i], changes.paths[i]);
        }
        CheckConflict(*found.item, *changed, id.AttributeText("ChangeKey"), request.AttributeText("ConflictResolution"),
                      changes, ViewerOf(context, found));
        if (changed->Size() > context.options.max_message_bytes) throw EwsError("ErrorMessageSizeExceeded");
        if (!changes.paths.empty()) KeepTracking(*found.item, *changed);
        if (!changes.paths.empty()) Refresh(context, *changed);
        const bool moved = CourseOf(*found.item) != CourseOf(*changed);
        if (moved && changed->Flag("MeetingRequestWasSent"))
          changed->Set("AppointmentSequenceNumber",
                       std::to_string(std::atoi(changed->Text("AppointmentSequenceNumber").c_str()) + 1));
        // Another MIME text is another content of the same message.
        if (std::find(changes.names.begin(), changes.names.end(), "MimeContent") != changes.names.end())
          changed->Set("ConversationTopic", found.item->Text("ConversationTopic"));
        const bool mime_holds = std::all_of(changes.names.begin(), changes.names.end(), LeavesMimeAlone);
        if (!mime_holds && std::find(changes.names.begin(), changes.names.end(), "MimeContent") == changes.names.end())
          changed->mime = nullptr;

        const Item* result = found.item.get();
        if (found.master != nullptr) {
          // A changed occurrence becomes an exception that its master keeps.
          Item& master = *found.master;
          const Seconds original = *ParseTime(found.item->Text("OriginalStart"));
          if (!changes.paths.empty()) {
            CheckNeighbours(master, *changed);
            if (found.item->Text("CalendarItemType") == "Occurrence") changed->written.clear();
            for (const std::string& name : changes.names) changed->written[name] = found.mailbox->last_change + 1;
            changed->Set("CalendarItemType", "Exception");
            found.mailbox->Touch(master, context.user.display_name);
            changed->change = master.change;
            changed->modified = master.modified;
            master.exceptions[original] = changed;
            result = changed.get();
          }
        } else if (!changes.paths.empty()) {
          CarryToExceptions(*found.item, *changed, changes.names);
          if (found.item->id_tail.empty()) KeepDone(context, *found.mailbox, *found.folder, *found.item, *changed);
          found.mailbox->Replace(*found.item, std::move(*changed), context.user.display_name);
          for (const std::string& name : changes.names) found.item->written[name] = found.item->change;
          found.mailbox->Adopt(*found.item);
        }
        if (found.item->element == "CalendarItem") {
          Found written = found;
          if (found.master != nullptr && !changes.paths.empty()) written.item = changed;
          const bool content = std::any_of(changes.names.begin(), changes.names.end(), [](const std::string& name) {
            return name != "RequiredAttendees" && name != "OptionalAttendees" && name != "Resources";
          });
          Invite(context, written, Notices(request.AttributeText("SendMeetingInvitationsOrCancellations")), content);
        }
        Element items = Messages("Items");
        if (mail && (disposition == "SendOnly" || disposition == "SendAndSaveCopy")) {
          const std::shared_ptr<Item> sent = Copy(*found.item);
          Send(context, *sent);
          if (disposition == "SendAndSaveCopy") {
            Place place{found.mailbox, found.mailbox->Distinguished("sentitems"), found.access};
            if (const Element* target = request.Child("SavedItemFolderId")) place = LocateTarget(context, *target);
            Require(place, Access::kAuthor);
            place.mailbox->AddItem(*place.folder, sent);
          }
          found.mailbox->RemoveItem(found.item->entry_id);
        } else {
          items.Add(result->element).Add(ItemIdElement(*found.mailbox, *result));
        }
        Element conflicts = Messages("ConflictResults");
        conflicts.Add("Count", "0");
        return std::vector<Element>{std::move(items), std::move(conflicts)};
      },
      {Messages("Items")});
}

}  // namespace velmore::simulator
