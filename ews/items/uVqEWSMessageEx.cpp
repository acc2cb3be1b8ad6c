#include "ews/items/uVqEWSMessageEx.h"

#include <unordered_map>
#include <utility>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "ews/values/uVqEWSFields.h"
#include "platform/common/uVqTypes.h"

namespace velmore {
namespace {

constexpr const char* kWrongKind = "ErrorCalendarCannotUseIdForRecurringMasterId";

struct TAttendeeList {
  const char* Member;
  const TVqEWSPropDef& Def;
};
const TAttendeeList kAttendeeLists[] = {{"t:RequiredAttendees", PR_REQUIREDATTENDEES},
                                        {"t:OptionalAttendees", PR_OPTIONALATTENDEES}};

}  // namespace

// ---- Saving in two steps

namespace {

/// The attendees as the application wants them, kept over the first save, whose reload brings those of the server.
struct TWantedAttendees {
  const TAttendeeList* List;
  IVqDOMDocument Copy;
};

}  // namespace

void TVqEWSCalendarItemEx::SaveMeeting(TVqEWSSaveOption ASaveOption,
                                       TSendMeetingInvitationsOrCancellations ASendMeetingInvitationsOrCancellations) {
  std::vector<TWantedAttendees> wanted;
  for (const TAttendeeList& list : kAttendeeLists) {
    // Looked for, not asked for: what the load left out was not changed here.
    const IVqDOMElement attendees(NewRecord().FindNode(list.Member));
    if (!attendees) continue;
    TVqEWSProperty& property = PropertyByName(list.Def);
    // Of an earlier attempt whose first step failed.
    if (property.GetExplicitUpdateStatus() && property.GetUpdateStatus() == dusUnmodified)
      property.SetExplicitUpdateStatus(false);
    const TVqEWSDataUpdateStatus status = property.GetUpdateStatus();
    if (status != dusUnmodified) {
      const TVqDOMDocument copy;
      const IVqDOMElement kept(copy.AppendChild(attendees));
      if (status == dusDeleted) kept.RemoveAllChildren();
      wanted.push_back({&list, copy});
    }
    // The first step leaves them out, even though they differ. A new item takes them along all the same: its request
    // is the item.
    property.SetUpdateStatus(dusUnmodified);
  }
  FSendMeetingInvitationsOrCancellations = smiocSendToNone;
  SaveChanges(ASaveOption);
  if (ASendMeetingInvitationsOrCancellations == smiocSendToNone) return;

  // A list that was not changed here stays as the first step's reload has it: somebody may have answered meanwhile.
  for (const TWantedAttendees& list : wanted) {
    TEwsNonEmptyArrayOfAttendees copy(list.Copy.GetDocumentElement());
    const auto target = NewRecord().GetNode(list.List->Member);
    PropertyByName(list.List->Def).SetExplicitUpdateStatus(false);
    TEwsNonEmptyArrayOfAttendees record{IVqDOMElement(target)};
    copy.AssignTo(record);
  }
  FSendMeetingInvitationsOrCancellations = ASendMeetingInvitationsOrCancellations;
  try {
    SaveChanges(ASaveOption);
  } catch (...) {
    throw EVqEWSAttendeesNotSaved(std::current_exception());
  }
}

void TVqEWSCalendarItemEx::SaveChanges(TVqEWSSaveOption ASaveOption) {
  // Whatever comes of it, the next save is silent again.
  struct TSilentAgain {
    TSendMeetingInvitationsOrCancellations& Value;
    ~TSilentAgain() { Value = smiocSendToNone; }
  } silentAgain{FSendMeetingInvitationsOrCancellations};
  TVqEWSCalendarItem::SaveChanges(ASaveOption);
}

void TVqEWSCalendarItemEx::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  TVqEWSCalendarItem::BeforeSaveChanges(ASOAPRequest);
  const IVqDOMElement method = ASOAPRequest.GetMethod();
  const string value = VqEnumToText(FSendMeetingInvitationsOrCancellations);
  if (method.GetLocalName() == "CreateItem") method.SetAttribute("SendMeetingInvitations", value);
  if (method.GetLocalName() == "UpdateItem") method.SetAttribute("SendMeetingInvitationsOrCancellations", value);
}

void TVqEWSCalendarItemEx::FillEmptyUpdate(const IVqDOMElement& AUpdates) {
  if (FSendMeetingInvitationsOrCancellations == smiocSendToNone) return;
  for (const TAttendeeList& list : kAttendeeLists) {
    const IVqDOMElement attendees(NewRecord().FindNode(list.Member));
    if (attendees && EwsFirstPart(attendees)) AddSetItemField(AUpdates, PropertyByName(list.Def));
  }
}

EEWSException EVqEWSAttendeesNotSaved::TextOf(const std::exception_ptr& ACause) {
  try {
    std::rethrow_exception(ACause);
  } catch (const EEWSException& refusal) {
    const string text = "The meeting is saved, its attendees are not: " + refusal.Message();
    const string code = " (" + refusal.EWSErrorCode() + ").";
    if (refusal.EWSErrorCode().empty() || !text.EndsWith(code)) return EEWSException(text, refusal.HTTPErrorCode());
    return EEWSException(text.Copy(0, text.Length() - code.Length()), refusal.EWSErrorCode(), refusal.HTTPErrorCode());
  } catch (const std::exception& failure) {
    return EEWSException(string("The meeting is saved. Whether its attendees are, is not known: ") + failure.what());
  }
}

EVqEWSAttendeesNotSaved::EVqEWSAttendeesNotSaved(std::exception_ptr ACause)
    : EEWSException(TextOf(ACause)), FCause(std::move(ACause)) {
  try {
    std::rethrow_exception(FCause);
  } catch (const EVqException& failure) {
    FHTTPStatus = failure.HTTPStatus();
    FResponseCode = failure.ResponseCode();
    FRetryAfter = failure.RetryAfter();
    if (!failure.SessionUsable()) NoteSessionUnusable();
  } catch (...) {
    // Anything else tells no more than its text.
  }
}

// ---- Series

TVqRef<IVqEWSMsgStore> TVqEWSCalendarItemEx::NeedsMsgStore() {
  if (auto store = GetMsgStore()) return store;
  throw EVqException("The calendaritem was reached through no store.");
}

TVqRef<IVqEWSCalendarItem> TVqEWSCalendarItemEx::GetOccurrence(std::int32_t AIndex) {
  if (GetCalendarItemType() != citRecurringMaster)
    throw EEWSException("The calendaritem is not a recurring appointment!", kWrongKind, 0);
  if (auto* creator = dynamic_cast<IVqEWSOccurrences*>(GetCreatedBy())) return creator->GetOccurence(GetID(), AIndex);
  const auto store = NeedsMsgStore();
  auto* occurrences = dynamic_cast<IVqEWSOccurrences*>(store.get());
  if (!occurrences) throw EVqException("The calendaritem's store has no occurrences.");
  return occurrences->GetOccurence(GetID(), AIndex);
}

TVqRef<IVqEWSCalendarItem> TVqEWSCalendarItemEx::GetRecurringMaster() {
  const TCalendarItemType type = GetCalendarItemType();
  if (type != citOccurrence && type != citException)
    throw EEWSException("The calendaritem is not an occurrence!", kWrongKind, 0);
  // The creator itself and not the store behind it. Meant so: the occurrence of an item that a folder made was never
  // looked for.
  auto* store = dynamic_cast<IVqEWSMsgStore*>(GetCreatedBy());
  if (!store) throw EVqException("The calendaritem was not opened by a store.");
  const auto items = store->GetFolder(GetParentFolderId())->GetItems();
  items->GetFields().Add(FLD_ITEM_ITEMID);
  items->GetFields().Add(FLD_CALENDAR_UID);
  const auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(EFLD_GLOBAL_OBJID);
  filter->SetCompareOperator(opIsEqualTo);
  // The id of an occurrence names its day; the clean one is that of the whole series, and the master's own.
  filter->SetTextValue(PropertyByName(EPR_CLEANGLOBAL_OBJID).GetAsString());
  items->Filter(filter);
  items->Open();
  // Only the first row is looked at, and it fails with the same words. Meant so: another series is as good as none.
  if (items->Eof() || items->FieldByName(FLD_CALENDAR_UID).GetAsString() != GetUID())
    throw EEWSException("Failed to locate the recurring master via the UID!", kWrongKind, 0);
  return Supports<IVqEWSCalendarItem>(store->GetItem(items->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>()));
}

// ---- Attendees

namespace {

/// A set of addresses in which case does not matter, at the cost of one look for each.
class TAddresses {
 public:
  bool Contains(const string& address) const {
    const auto [first, last] = FByKey.equal_range(KeyOf(address));
    return std::any_of(first, last, [&](const auto& entry) { return SameText(entry.second, address); });
  }
  void Add(const string& address) { FByKey.emplace(KeyOf(address), address); }

 private:
  /// The same for all spellings that SameText takes for one, and perhaps for a few others.
  static string KeyOf(const string& address) { return LowerCase(UpperCase(address)); }

  std::unordered_multimap<string, string> FByKey;
};

string AddressOf(const IVqDOMElement& attendee) {
  return attendee.SelectSingleElement("Mailbox/EmailAddress", kSelectQuiet).GetText();
}

void AddAttendee(TEwsNonEmptyArrayOfAttendees& attendees, IVqEWSRecipient& recipient, TServerVersion version) {
  TEwsEmailAddressType& mailbox = attendees.GetAttendee().Add().GetMailbox();
  mailbox.SetName(recipient.GetName());
  mailbox.SetEmailAddress(recipient.GetEmailAddress());
  mailbox.SetRoutingType(recipient.GetRoutingType());
  mailbox.SetMailboxType(recipient.GetMailboxType());
  // The id of a one-off address is none that a server would know.
  if (const TItemId id = recipient.GetItemId(); !id.Id.empty() && id.ChangeKey != "OneOff") {
    mailbox.GetItemId().SetId(id.Id);
    mailbox.GetItemId().SetChangeKey(id.ChangeKey);
  }
  if (version < Exchange2013) return;  // servers before it do not know the member
  if (const string name = recipient.GetOriginalDisplayName(); !name.empty()) mailbox.SetOriginalDisplayName(name);
}

/// Makes the attendees those of the list. Entries that stay are not touched.
void ModifyAttendees(TEwsNonEmptyArrayOfAttendees& attendees, IVqEWSRecipients& recipients, bool removes,
                     TServerVersion version) {
  TAddresses wanted, present;
  for (std::int32_t i = 0; i < recipients.Count(); ++i) wanted.Add(recipients.GetItem(i)->GetEmailAddress());
  std::vector<IVqDOMElement> kept;
  bool removed = false;
  for (const IVqDOMElement& attendee : attendees.AsElement().GetChildElements()) {
    const string address = AddressOf(attendee);
    if (removes && !wanted.Contains(address)) {
      removed = true;
      continue;
    }
    kept.push_back(attendee);
    present.Add(address);
  }
  if (removed) {
    // All at once, so that the array finds its entries under their new positions.
    attendees.GetAttendee().Clear();
    for (const IVqDOMElement& attendee : kept) attendees.AsElement().AddChild(attendee);
  }
  for (std::int32_t i = 0; i < recipients.Count(); ++i) {
    const auto recipient = recipients.GetItem(i);
    if (present.Contains(recipient->GetEmailAddress())) continue;
    AddAttendee(attendees, *recipient, version);
    present.Add(recipient->GetEmailAddress());
  }
}

bool Holds(IVqEWSRecipients& recipients, const string& address) {
  for (std::int32_t i = 0; i < recipients.Count(); ++i) {
    if (SameText(recipients.GetItem(i)->GetEmailAddress(), address)) return true;
  }
  return false;
}

}  // namespace

void TVqEWSCalendarItemEx::ModifyRequiredAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) {
  const string owner = NeedsMsgStore()->GetIdentity()->GetEmailAddress();
  // The owner among the recipients keeps every attendee, and not only himself. Meant so: a list that names him is
  // taken for one to be added.
  ModifyAttendees(GetRequiredAttendees(), *ARecipients, !Holds(*ARecipients, owner), ServerVersion());
}

void TVqEWSCalendarItemEx::ModifyOptionalAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) {
  ModifyAttendees(GetOptionalAttendees(), *ARecipients, true, ServerVersion());
}

// ---- Answers

TVqRef<IVqEwsMeetingResponse> TVqEWSCalendarItemEx::CreateMeetingResponse(TVqEWSMeetingResponseAction AResponseType) {
  return MakeRef<TVqEwsMeetingResponse>(TVqRef<IVqEWSItem>(this), NewData(), AResponseType);
}

}  // namespace velmore
