// CopyItem, MoveItem, DeleteItem.

#include "simulator/mailbox/ids.h"
#include "simulator/operations/meetings.h"
#include "simulator/operations/operations.h"
#include "simulator/operations/recurring_tasks.h"

namespace velmore::simulator {

namespace {

void CheckKey(const Element& id) {
  const std::string& key = id.AttributeText("ChangeKey");
  if (!key.empty() && !ParseChangeKey(key)) throw EwsError("ErrorInvalidChangeKey");
}

Element CopyOrMove(Context& context, const Element& request, bool move) {
  const char* operation = move ? "MoveItem" : "CopyItem";
  const std::string& wanted = request.ChildText("ReturnNewItemIds");
  const bool with_ids = wanted != "false" && wanted != "0";
  return RespondEach(
      operation, *request.Child("ItemIds"),
      [&](const Element& id) {
        const Place target = LocateTarget(context, *request.Child("ToFolderId"));
        Require(target, Access::kAuthor);
        CheckKey(id);
        const Found found = LocateItem(context, id);
        if (found.access < Access::kReviewer) throw EwsError("ErrorAccessDenied");
        if (move) RequireDelete(context, found);
        if (found.master != nullptr)
          throw EwsError(
              "ErrorCalendarCannotMoveOrCopyOccurrence",
              "The CopyItem and MoveItem operations cannot be performed on an occurrence of a recurring item.");
        if (!found.item->id_tail.empty()) throw EwsError("ErrorMoveCopyFailed");
        // Everything can be thrown away.
        if (target.folder->distinguished != "deleteditems" && !target.folder->distinguished.starts_with("recoverable"))
          CheckFits(*found.item, *target.folder);
        Item& result = move ? found.mailbox->MoveItem(found.item, *target.mailbox, *target.folder)
                            : found.mailbox->CopyItem(*found.item, *target.mailbox, *target.folder);
        if (!move) result.Set("CreatorAddress", context.user.smtp_address);
        Element items = Messages("Items");
        // In another store the item is known to that store alone.
        if (with_ids && found.mailbox == target.mailbox)
          items.Add(result.element).Add(ItemIdElement(*target.mailbox, result));
        return std::vector<Element>{std::move(items)};
      },
      {Messages("Items")});
}

}  // namespace

Element CopyItem(Context& context, const Element& request) {
  return CopyOrMove(context, request, false);
}
Element MoveItem(Context& context, const Element& request) {
  return CopyOrMove(context, request, true);
}

Element DeleteItem(Context& context, const Element& request) {
  const std::string& type = request.AttributeText("DeleteType");
  return RespondEach("DeleteItem", *request.Child("ItemIds"), [&](const Element& id) {
    CheckKey(id);
    const Found found = LocateItem(context, id);
    RequireDelete(context, found);
    const std::string& kind = found.item->element;
    if (kind == "CalendarItem" && request.Attribute("SendMeetingCancellations") == nullptr)
      throw EwsError("ErrorSendMeetingCancellationsRequired");
    if (kind == "Task" && request.Attribute("AffectedTaskOccurrences") == nullptr)
      throw EwsError("ErrorAffectedTaskOccurrencesRequired");
    if (const Notices notices(request.AttributeText("SendMeetingCancellations"));
        kind == "CalendarItem" && notices.send)
      Cancel(context, found, notices.save_copy);
    if (found.master != nullptr) {
      found.master->exceptions[*ParseTime(found.item->Text("OriginalStart"))] = nullptr;
      found.mailbox->Touch(*found.master, context.user.display_name);
      return std::vector<Element>{};
    }
    if (!found.item->id_tail.empty()) throw EwsError("ErrorCannotDeleteObject");
    if (kind == "Task" && found.item->Find("Recurrence") != nullptr &&
        request.AttributeText("AffectedTaskOccurrences") == "SpecifiedOccurrenceOnly") {
      Item next = *found.item;
      if (!MoveOn(context, next)) throw EwsError("ErrorCannotDeleteTaskOccurrence");
      found.mailbox->Replace(*found.item, std::move(next), context.user.display_name);
      return std::vector<Element>{};
    }
    Folder* to = nullptr;
    if (type == "MoveToDeletedItems" && found.folder->distinguished != "deleteditems")
      to = found.mailbox->Distinguished("deleteditems");
    if (type == "SoftDelete") {
      const std::string origin = found.folder->entry_id;
      found.mailbox->MoveItem(found.item, *found.mailbox, found.mailbox->Dumpster()).deleted_from = origin;
    } else if (to != nullptr) {
      found.mailbox->MoveItem(found.item, *found.mailbox, *to);
    } else {
      found.mailbox->RemoveItem(found.item->entry_id);
    }
    return std::vector<Element>{};
  });
}

}  // namespace velmore::simulator
