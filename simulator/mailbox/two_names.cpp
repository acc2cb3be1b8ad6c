#include "simulator/mailbox/two_names.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>
#include <tuple>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/item_zone.h"
#include "simulator/mailbox/mime.h"

namespace velmore::simulator {

namespace {

using Values = TwoNames::Values;
using Row = TwoNames;

Values One(std::string text) {
  return std::vector<std::string>{std::move(text)};
}

std::vector<std::string> Words(const char* text) {
  std::vector<std::string> words;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    words.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return words;
}

// ---- Members of the schema

Values ReadText(const Row& row, const Mailbox&, const Item& item) {
  const Element* stored = item.Find(row.member);
  return stored != nullptr ? One(stored->text) : std::nullopt;
}
void WriteText(const Row& row, Item& item, const std::string& value) {
  item.Set(row.member, value);
}

Values ReadFlag(const Row& row, const Mailbox&, const Item& item) {
  return One(item.Flag(row.member) ? "true" : "false");
}

/// Texts of an enumeration by number, from 0; the one with "!" in front is meant where the item has none.
Values ReadChoice(const Row& row, const Mailbox&, const Item& item) {
  const std::string& text = item.Text(row.member);
  const std::vector<std::string> texts = Words(row.part);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const bool standard = texts[i].front() == '!';
    if (text.empty() ? standard : text == texts[i].substr(standard ? 1 : 0)) return One(std::to_string(i));
  }
  return std::nullopt;
}
void WriteChoice(const Row& row, Item& item, const std::string& value) {
  const std::vector<std::string> texts = Words(row.part);
  const long index = std::strtol(value.c_str(), nullptr, 10);
  if (index < 0 || static_cast<std::size_t>(index) >= texts.size()) {
    EwsError error("ErrorInvalidExtendedPropertyValue");
    error.details.push_back(WriteExtendedKey(row.key));
    throw error;
  }
  const std::string& text = texts[static_cast<std::size_t>(index)];
  item.Set(row.member, text.substr(text.front() == '!' ? 1 : 0));
  Reopen(item);
}

Values ReadList(const Row& row, const Mailbox&, const Item& item) {
  const Element* list = item.Find(row.member);
  if (list == nullptr) return std::nullopt;
  std::vector<std::string> texts;
  for (const Element& entry : list->children) texts.push_back(entry.text);
  return texts;
}

Values ReadEntry(const Row& row, const Mailbox&, const Item& item) {
  if (const Element* list = item.Find(row.member))
    for (const Element& entry : list->children)
      if (entry.AttributeText("Key") == row.part) return One(entry.text);
  return std::nullopt;
}
void RemoveEntry(const Row& row, Item& item) {
  const Element* stored = item.Find(row.member);
  if (stored == nullptr) return;
  Element list = *stored;
  std::erase_if(list.children, [&](const Element& entry) { return entry.AttributeText("Key") == row.part; });
  if (list.children.empty())
    item.Remove(row.member);
  else
    item.Set(std::move(list));
}
void WriteEntry(const Row& row, Item& item, const std::string& value) {
  RemoveEntry(row, item);
  Element list = item.Find(row.member) != nullptr ? *item.Find(row.member) : Types(row.member);
  list.Add("Entry", value).Set("Key", row.part);
  item.Set(std::move(list));
}

/// "Sender", "From": name, address or routing type of the one mailbox in it.
Values ReadMailbox(const Row& row, const Mailbox&, const Item& item) {
  const Element* holder = item.Find(row.member);
  if (holder == nullptr || holder->children.empty() || holder->children.front().ChildText(row.part).empty())
    return std::nullopt;
  return One(holder->children.front().ChildText(row.part));
}

void WriteMailbox(const Row& row, Item& item, const std::string& value) {
  Element holder = item.Find(row.member) != nullptr ? *item.Find(row.member) : Types(row.member);
  if (holder.children.empty()) holder.Add(MailboxElement({}, {}));
  Element& mailbox = holder.children.front();
  if (mailbox.Child(row.part) == nullptr) mailbox.children.insert(mailbox.children.begin(), Types(row.part));
  mailbox.Child(row.part)->text = value;
  // Nobody has the empty address.
  if (mailbox.ChildText("EmailAddress").empty()) mailbox.Remove("EmailAddress");
  // In the order of the schema, whichever part came first.
  static constexpr std::string_view kOrder = "Name EmailAddress RoutingType MailboxType";
  std::stable_sort(mailbox.children.begin(), mailbox.children.end(),
                   [](const Element& a, const Element& b) { return kOrder.find(a.name) < kOrder.find(b.name); });
  item.Set(std::move(holder));
}

Values ReadNames(const Row& row, const Mailbox&, const Item& item) {
  std::string names = DisplayNames(item, row.part);
  return names.empty() ? std::nullopt : One(std::move(names));
}

// ---- Those that are one value in two forms

Values ReadFlagStatus(const Row&, const Mailbox&, const Item& item) {
  const Element* flag = item.Find("Flag");
  const std::string status = flag != nullptr ? flag->ChildText("FlagStatus") : std::string();
  if (status != "Flagged" && status != "Complete") return std::nullopt;
  return One(status == "Flagged" ? "2" : "1");
}
void WriteFlagStatus(const Row&, Item& item, const std::string& value) {
  Element flag = item.Find("Flag") != nullptr ? *item.Find("Flag") : Types("Flag");
  flag.Remove("FlagStatus");
  flag.children.insert(flag.children.begin(), Types("FlagStatus", value == "2"   ? "Flagged"
                                                                  : value == "1" ? "Complete"
                                                                                 : "NotFlagged"));
  item.Set(std::move(flag));
}

Values ReadPrivate(const Row&, const Mailbox&, const Item& item) {
  return One(item.Text("Sensitivity") == "Private" ? "true" : "false");
}
void WritePrivate(const Row&, Item& item, const std::string& value) {
  if (value == "true")
    item.Set("Sensitivity", "Private");
  else if (item.Text("Sensitivity") == "Private")
    item.Set("Sensitivity", "Normal");
}

/// The schema counts to 100, MAPI to 1.
Values ReadPercent(const Row& row, const Mailbox&, const Item& item) {
  char text[64];
  const double share = std::strtod(item.Text(row.member).c_str(), nullptr) / 100;
  return One(std::string(text, std::to_chars(std::begin(text), std::end(text), share).ptr));
}
void WritePercent(const Row& row, Item& item, const std::string& value) {
  char text[64];
  const double percent = std::round(std::strtod(value.c_str(), nullptr) * 1e6) / 1e4;
  item.Set(row.member, std::string(text, std::to_chars(std::begin(text), std::end(text), percent).ptr));
  Progress(item);
}

void WriteComplete(const Row&, Item& item, const std::string& value) {
  if (value == "true" || item.Text("Status") == "Completed")
    item.Set("Status", value == "true" ? "Completed" : "NotStarted");
  Reopen(item);
}

/// What calendars of other makers call an appointment stands in a wrapper; the server's own UID is the bytes in
/// hexadecimal.
const std::string kUidHead("\x04\x00\x00\x00\x82\x00\xE0\x00\x74\xC5\xB7\x10\x1A\x82\xE0\x08", 16);
const std::string kUidClass = std::string("vCal-Uid\x01\0\0\0", 12);

Values ReadUid(const Row& row, const Mailbox&, const Item& item) {
  const std::string& uid = item.Text("UID");
  if (uid.empty()) return std::nullopt;
  const bool hex = uid.size() % 2 == 0 && uid.starts_with("040000008200E00074C5B7101A82E008") &&
                   uid.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
  std::string bytes;
  if (hex) {
    for (std::size_t i = 0; i < uid.size(); i += 2)
      bytes += static_cast<char>(std::stoi(uid.substr(i, 2), nullptr, 16));
  } else {
    const std::string data = kUidClass + uid + '\0';
    bytes = kUidHead + std::string(20, '\0');
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(data.size() >> shift & 0xff);
    bytes += data;
  }
  // The day of an occurrence stands in its own id, and nowhere in the one that the whole series has.
  const auto original = ParseTime(item.Text("OriginalStart"));
  const bool occurrence = item.Text("CalendarItemType") == "Occurrence" || item.Text("CalendarItemType") == "Exception";
  if (row.part == std::string("occurrence") && occurrence && original && bytes.size() >= 20) {
    const Seconds wall = ZoneOf(item)->ToWall(*original);
    const Date day = DateFromDays((wall - ((wall % 86400) + 86400) % 86400) / 86400);
    bytes[16] = static_cast<char>(day.year >> 8);
    bytes[17] = static_cast<char>(day.year & 0xff);
    bytes[18] = static_cast<char>(day.month);
    bytes[19] = static_cast<char>(day.day);
  }
  return One(EncodeBase64(bytes));
}
void WriteUid(const Row&, Item& item, const std::string& value) {
  const std::string bytes = DecodeBase64(value);
  const std::size_t at = bytes.find(kUidClass);
  if (at == std::string::npos)
    item.Set("UID", ToHex(bytes));
  else
    item.Set("UID", std::string(bytes.c_str() + at + kUidClass.size()));
}

Values ReadRecurring(const Row&, const Mailbox&, const Item& item) {
  return One(item.Find("Recurrence") != nullptr ? "true" : "false");
}

Values ReadAppointmentState(const Row&, const Mailbox&, const Item& item) {
  if (item.Find("AppointmentState") != nullptr) return One(item.Text("AppointmentState"));
  return One(std::to_string((item.Flag("IsMeeting") ? 1 : 0) + (item.Flag("IsCancelled") ? 4 : 0)));
}

Values ReadDuration(const Row&, const Mailbox&, const Item& item) {
  const auto start = ParseTime(item.Text("Start"));
  const auto end = ParseTime(item.Text("End"));
  return start && end ? One(std::to_string((*end - *start) / 60)) : std::nullopt;
}

// ---- The message itself

Values Time(Seconds seconds) {
  return seconds != 0 ? One(TimeText(seconds)) : std::nullopt;
}
Values ReadReceived(const Row&, const Mailbox&, const Item& item) {
  return Time(item.received);
}
void WriteReceived(const Row&, Item& item, const std::string& value) {
  item.received = ParseTime(value).value_or(item.received);
}
Values ReadSent(const Row&, const Mailbox&, const Item& item) {
  return Time(item.sent);
}
void WriteSent(const Row&, Item& item, const std::string& value) {
  item.sent = ParseTime(value).value_or(item.sent);
}
Values ReadCreated(const Row&, const Mailbox&, const Item& item) {
  return Time(item.created);
}
void WriteCreated(const Row&, Item& item, const std::string& value) {
  item.created = ParseTime(value).value_or(item.created);
}
Values ReadModified(const Row&, const Mailbox&, const Item& item) {
  return Time(item.modified);
}
Values ReadModifier(const Row&, const Mailbox&, const Item& item) {
  return item.modified_by.empty() ? std::nullopt : One(item.modified_by);
}

Values ReadPlain(const Row&, const Mailbox&, const Item& item) {
  std::string text = !item.text.empty() || item.html.empty() ? item.text : HtmlToText(item.html);
  return text.empty() ? std::nullopt : One(std::move(text));
}
void WritePlain(const Row&, Item& item, const std::string& value) {
  item.text = value;
  item.html.clear();
}
Values ReadHtml(const Row&, const Mailbox&, const Item& item) {
  return item.html.empty() ? std::nullopt : One(EncodeBase64(item.html));
}
void WriteHtml(const Row&, Item& item, const std::string& value) {
  item.html = DecodeBase64(value);
  item.text.clear();
}
Values ReadHeaders(const Row&, const Mailbox&, const Item& item) {
  return item.headers.empty() ? std::nullopt : One(item.headers);
}

void WriteHeaders(const Row&, Item& item, const std::string& value) {
  item.headers = value;
}

Values ReadMessageFlags(const Row&, const Mailbox&, const Item& item) {
  const bool attached = std::any_of(item.attachments.begin(), item.attachments.end(),
                                    [](const Attachment& attachment) { return !attachment.is_inline; });
  const std::pair<bool, int> bits[] = {{item.Flag("IsRead"), 0x01},
                                       {item.Flag("IsUnmodified"), 0x02},
                                       {item.Flag("IsSubmitted"), 0x04},
                                       {item.IsDraft(), 0x08},
                                       {attached, 0x10},
                                       {item.Flag("IsFromMe"), 0x20},
                                       {item.Flag("IsAssociated"), 0x40}};
  int flags = 0;
  for (const auto& [set, bit] : bits) flags |= set ? bit : 0;
  return One(std::to_string(flags));
}
/// Written by a client the flags say what cannot be said otherwise.
void WriteMessageFlags(const Row&, Item& item, const std::string& value) {
  const long flags = std::strtol(value.c_str(), nullptr, 10);
  item.SetFlag("IsRead", (flags & 0x01) != 0);
  item.SetFlag("IsUnmodified", (flags & 0x02) != 0);
  item.SetFlag("IsDraft", (flags & 0x08) != 0);
  item.SetFlag("IsFromMe", (flags & 0x20) != 0);
}

// ---- What the server makes

Values ReadSize(const Row&, const Mailbox&, const Item& item) {
  return One(std::to_string(item.Size()));
}
Values ReadHasAttachments(const Row&, const Mailbox&, const Item& item) {
  return One(item.attachments.empty() ? "false" : "true");
}
Values ReadEntryId(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(item.entry_id));
}
Values ReadFolderId(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(item.folder));
}
Values ReadFolderName(const Row&, const Mailbox& mailbox, const Item& item) {
  const Folder* folder = mailbox.FindFolder(item.folder);
  return folder != nullptr ? One(folder->display_name) : std::nullopt;
}
Values ReadKey(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(item.entry_id.substr(item.entry_id.size() > 24 ? item.entry_id.size() - 24 : 0, 16)));
}
Values ReadInstanceKey(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(item.entry_id.substr(item.entry_id.size() > 24 ? item.entry_id.size() - 24 : 0)));
}
Values ReadConversationIndex(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(item.conversation_index));
}
void WriteConversationIndex(const Row&, Item& item, const std::string& value) {
  item.conversation_index = DecodeBase64(value);
}
Values ReadConversation(const Row&, const Mailbox&, const Item& item) {
  return One(EncodeBase64(ConversationHash(item)));
}
Values ReadArticle(const Row&, const Mailbox&, const Item& item) {
  return One(std::to_string(item.number));
}
/// The same for every item: the kind of object, what may be done with it, the code page.
Values ReadConstant(const Row& row, const Mailbox&, const Item&) {
  return One(row.part);
}

// ---- The table

const char* const kMeeting = "6ed8da90-450b-101b-98da-00aa003f1305";
const char* const kAppointment = "00062002-0000-0000-c000-000000000046";
const char* const kCommon = "00062008-0000-0000-c000-000000000046";
const char* const kStrings = "00020329-0000-0000-c000-000000000046";
const char* const kAddress = "00062004-0000-0000-c000-000000000046";
const char* const kTask = "00062003-0000-0000-c000-000000000046";
const char* const kNone = "";

ExtendedKey Tag(std::int64_t tag, const char* type) {
  return {"", "", tag, type};
}
ExtendedKey Id(const char* set, std::int64_t id, const char* type) {
  return {set, "", id, type};
}

}  // namespace

const std::vector<TwoNames>& AllTwoNames() {
  static const std::vector<Row> table = [] {
    std::vector<Row> rows = {
        // Any item
        {Tag(0x0017, "Integer"), "Importance", ReadChoice, WriteChoice, "Low !Normal High"},
        {Tag(0x001a, "String"), "ItemClass", ReadText, WriteText, kNone},
        {Tag(0x0036, "Integer"), "Sensitivity", ReadChoice, WriteChoice, "!Normal Personal Private Confidential"},
        {Tag(0x0037, "String"), "Subject", ReadText, WriteText, kNone},
        {Tag(0x0039, "SystemTime"), "DateTimeSent", ReadSent, WriteSent, kNone},
        {Tag(0x0070, "String"), "ConversationTopic", ReadText, nullptr, kNone},
        {Tag(0x0071, "Binary"), "ConversationIndex", ReadConversationIndex, WriteConversationIndex, kNone},
        {Tag(0x007d, "String"), "InternetMessageHeaders", ReadHeaders, WriteHeaders, kNone},
        {Tag(0x0e02, "String"), "", ReadNames, nullptr, "BccRecipients"},
        {Tag(0x0e03, "String"), "DisplayCc", ReadNames, nullptr, "CcRecipients"},
        {Tag(0x0e04, "String"), "DisplayTo", ReadNames, nullptr, "ToRecipients"},
        {Tag(0x0e05, "String"), "", ReadFolderName, nullptr, kNone},
        {Tag(0x0e06, "SystemTime"), "DateTimeReceived", ReadReceived, WriteReceived, kNone},
        {Tag(0x0e07, "Integer"), "", ReadMessageFlags, WriteMessageFlags, kNone},
        {Tag(0x0e08, "Integer"), "Size", ReadSize, nullptr, kNone},
        {Tag(0x0e09, "Binary"), "", ReadFolderId, nullptr, kNone},
        {Tag(0x0e1b, "Boolean"), "", ReadHasAttachments, nullptr, kNone},
        {Tag(0x0e1d, "String"), "ConversationTopic", ReadText, nullptr, kNone},
        {Tag(0x0e23, "Integer"), "", ReadArticle, nullptr, kNone},
        {Tag(0x0e69, "Boolean"), "IsRead", ReadFlag, WriteText, kNone},
        {Tag(0x0ff4, "Integer"), "", ReadConstant, nullptr, "63"},
        {Tag(0x0ff6, "Binary"), "InstanceKey", ReadInstanceKey, nullptr, kNone},
        {Tag(0x0ff9, "Binary"), "", ReadEntryId, nullptr, kNone},
        {Tag(0x0ffe, "Integer"), "", ReadConstant, nullptr, "5"},
        {Tag(0x0fff, "Binary"), "StoreEntryId", ReadEntryId, nullptr, kNone},
        {Tag(0x1000, "String"), "Body", ReadPlain, WritePlain, kNone},
        {Tag(0x1013, "Binary"), "Body", ReadHtml, WriteHtml, kNone},
        {Tag(0x1090, "Integer"), "Flag", ReadFlagStatus, WriteFlagStatus, kNone},
        {Tag(0x10f4, "Boolean"), "IsAssociated", ReadFlag, nullptr, kNone},
        {Tag(0x3007, "SystemTime"), "DateTimeCreated", ReadCreated, WriteCreated, kNone},
        {Tag(0x3008, "SystemTime"), "LastModifiedTime", ReadModified, nullptr, kNone},
        {Tag(0x300b, "Binary"), "", ReadKey, nullptr, kNone},
        {Tag(0x3013, "Binary"), "", ReadConversation, nullptr, kNone},
        {Tag(0x3fde, "Integer"), "", ReadConstant, nullptr, "65001"},
        {Tag(0x3ffa, "String"), "LastModifiedName", ReadModifier, nullptr, kNone},
        {{kStrings, "Keywords", -1, "StringArray"}, "Categories", ReadList, nullptr, kNone},
        {Id(kCommon, 0x8501, "Integer"), "ReminderMinutesBeforeStart", ReadText, WriteText, kNone},
        {Id(kCommon, 0x8502, "SystemTime"), "ReminderDueBy", ReadText, WriteText, kNone},
        {Id(kCommon, 0x8503, "Boolean"), "ReminderIsSet", ReadFlag, WriteText, kNone},
        {Id(kCommon, 0x8506, "Boolean"), "Sensitivity", ReadPrivate, WritePrivate, kNone},
        {Id(kCommon, 0x8534, "String"), "Mileage", ReadText, WriteText, kNone},
        {Id(kCommon, 0x8535, "String"), "BillingInformation", ReadText, WriteText, kNone},
        {Id(kCommon, 0x8539, "StringArray"), "Companies", ReadList, nullptr, kNone},
        {Id(kCommon, 0x853a, "StringArray"), "Contacts", ReadList, nullptr, kNone},
        // Messages
        {Tag(0x1035, "String"), "InternetMessageId", ReadText, nullptr, kNone},
        {Tag(0x1039, "String"), "References", ReadText, WriteText, kNone},
        {Tag(0x1042, "String"), "InReplyTo", ReadText, WriteText, kNone},
        // Appointments
        {Tag(0x0060, "SystemTime"), "Start", ReadText, WriteText, kNone},
        {Tag(0x0061, "SystemTime"), "End", ReadText, WriteText, kNone},
        {Id(kMeeting, 0x0003, "Binary"), "UID", ReadUid, WriteUid, "occurrence"},
        {Id(kMeeting, 0x0023, "Binary"), "UID", ReadUid, nullptr, kNone},
        {Id(kAppointment, 0x8205, "Integer"), "LegacyFreeBusyStatus", ReadChoice, WriteChoice,
         "Free Tentative Busy OOF WorkingElsewhere"},
        {Id(kAppointment, 0x8208, "String"), "Location", ReadText, WriteText, kNone},
        {Id(kAppointment, 0x820d, "SystemTime"), "Start", ReadText, WriteText, kNone},
        {Id(kAppointment, 0x820e, "SystemTime"), "End", ReadText, WriteText, kNone},
        {Id(kAppointment, 0x8213, "Integer"), "Duration", ReadDuration, nullptr, kNone},
        {Id(kAppointment, 0x8215, "Boolean"), "IsAllDayEvent", ReadFlag, WriteText, kNone},
        {Id(kAppointment, 0x8217, "Integer"), "AppointmentState", ReadAppointmentState, WriteText, kNone},
        {Id(kAppointment, 0x8223, "Boolean"), "IsRecurring", ReadRecurring, nullptr, kNone},
        // Contacts
        {Tag(0x3001, "String"), "DisplayName", ReadText, WriteText, kNone},
        {Tag(0x3a05, "String"), "Generation", ReadText, WriteText, kNone},
        {Tag(0x3a06, "String"), "GivenName", ReadText, WriteText, kNone},
        {Tag(0x3a0a, "String"), "Initials", ReadText, WriteText, kNone},
        {Tag(0x3a11, "String"), "Surname", ReadText, WriteText, kNone},
        {Tag(0x3a16, "String"), "CompanyName", ReadText, WriteText, kNone},
        {Tag(0x3a17, "String"), "JobTitle", ReadText, WriteText, kNone},
        {Tag(0x3a18, "String"), "Department", ReadText, WriteText, kNone},
        {Tag(0x3a19, "String"), "OfficeLocation", ReadText, WriteText, kNone},
        {Tag(0x3a30, "String"), "AssistantName", ReadText, WriteText, kNone},
        {Tag(0x3a42, "SystemTime"), "Birthday", ReadText, WriteText, kNone},
        {Tag(0x3a44, "String"), "MiddleName", ReadText, WriteText, kNone},
        {Tag(0x3a46, "String"), "Profession", ReadText, WriteText, kNone},
        {Tag(0x3a48, "String"), "SpouseName", ReadText, WriteText, kNone},
        {Tag(0x3a4e, "String"), "Manager", ReadText, WriteText, kNone},
        {Tag(0x3a4f, "String"), "Nickname", ReadText, WriteText, kNone},
        {Tag(0x3a51, "String"), "BusinessHomePage", ReadText, WriteText, kNone},
        {Id(kAddress, 0x8005, "String"), "FileAs", ReadText, WriteText, kNone},
        {Id(kAddress, 0x8062, "String"), "ImAddresses", ReadEntry, WriteEntry, "ImAddress1"},
        {Id(kAddress, 0x8083, "String"), "EmailAddresses", ReadEntry, WriteEntry, "EmailAddress1"},
        {Id(kAddress, 0x8093, "String"), "EmailAddresses", ReadEntry, WriteEntry, "EmailAddress2"},
        {Id(kAddress, 0x80a3, "String"), "EmailAddresses", ReadEntry, WriteEntry, "EmailAddress3"},
        // Tasks
        {Tag(0x0060, "SystemTime"), "StartDate", ReadText, WriteText, kNone},
        {Tag(0x0061, "SystemTime"), "DueDate", ReadText, WriteText, kNone},
        {Id(kTask, 0x8101, "Integer"), "Status", ReadChoice, WriteChoice,
         "!NotStarted InProgress Completed WaitingOnOthers Deferred"},
        {Id(kTask, 0x8102, "Double"), "PercentComplete", ReadPercent, WritePercent, kNone},
        {Id(kTask, 0x8104, "SystemTime"), "StartDate", ReadText, WriteText, kNone},
        {Id(kTask, 0x8105, "SystemTime"), "DueDate", ReadText, WriteText, kNone},
        {Id(kTask, 0x810f, "SystemTime"), "CompleteDate", ReadText, WriteText, kNone},
        {Id(kTask, 0x8110, "Integer"), "ActualWork", ReadText, WriteText, kNone},
        {Id(kTask, 0x8111, "Integer"), "TotalWork", ReadText, WriteText, kNone},
        {Id(kTask, 0x811c, "Boolean"), "IsComplete", ReadFlag, WriteComplete, kNone},
        {Id(kTask, 0x811f, "String"), "Owner", ReadText, nullptr, kNone},
    };
    const std::pair<std::int64_t, const char*> phones[] = {
        {0x3a02, "Callback"},        {0x3a08, "BusinessPhone"},  {0x3a09, "HomePhone"},
        {0x3a1a, "PrimaryPhone"},    {0x3a1b, "BusinessPhone2"}, {0x3a1c, "MobilePhone"},
        {0x3a1d, "RadioPhone"},      {0x3a1e, "CarPhone"},       {0x3a1f, "OtherTelephone"},
        {0x3a21, "Pager"},           {0x3a23, "OtherFax"},       {0x3a24, "BusinessFax"},
        {0x3a25, "HomeFax"},         {0x3a2c, "Telex"},          {0x3a2d, "Isdn"},
        {0x3a2e, "AssistantPhone"},  {0x3a2f, "HomePhone2"},     {0x3a4b, "TtyTddPhone"},
        {0x3a57, "CompanyMainPhone"}};
    for (const auto& [tag, phone] : phones)
      rows.push_back({Tag(tag, "String"), "PhoneNumbers", ReadEntry, WriteEntry, phone});
    const std::tuple<std::int64_t, const char*, const char*> people[] = {
        {0x0042, "From", "Name"},           {0x0064, "From", "RoutingType"},   {0x0065, "From", "EmailAddress"},
        {0x5d02, "From", "EmailAddress"},   {0x0c1a, "Sender", "Name"},        {0x0c1e, "Sender", "RoutingType"},
        {0x0c1f, "Sender", "EmailAddress"}, {0x5d01, "Sender", "EmailAddress"}};
    for (const auto& [tag, member, part] : people)
      rows.push_back({Tag(tag, "String"), member, ReadMailbox, WriteMailbox, part});
    return rows;
  }();
  return table;
}

const TwoNames* FindTwoNames(const ExtendedKey& key, const Item& item) {
  using Name = std::tuple<std::string_view, std::string_view, std::int64_t, std::string_view>;
  static const std::multimap<Name, const Row*> index = [] {
    std::multimap<Name, const Row*> made;
    for (const Row& row : AllTwoNames())
      made.emplace(Name(row.key.set, row.key.name, row.key.number, row.key.type), &row);
    return made;
  }();
  const auto [begin, end] = index.equal_range(Name(key.set, key.name, key.number, key.type));
  const SchemaType* type = Schema::Instance().ItemType(item.element);
  for (auto row = begin; row != end; ++row)
    if (*row->second->member == '\0' || (type != nullptr && type->Find(row->second->member) != nullptr))
      return row->second;
  return nullptr;
}

void WriteByMapiName(const TwoNames& row, Item& item, const ExtendedValue& value) {
  if (row.read == ReadList) {
    Element list = Types(row.member);
    for (const std::string& text : value.values) list.Add("String", text);
    item.Set(std::move(list));
    return;
  }
  if (row.write == nullptr) {
    EwsError error("ErrorItemSavePropertyError");
    error.details.push_back(WriteExtendedKey(row.key));
    throw error;
  }
  row.write(row, item, value.values.empty() ? std::string() : value.values.front());
}

void DeleteByMapiName(const TwoNames& row, Item& item) {
  if (row.read == ReadEntry)
    RemoveEntry(row, item);
  else if (row.read == ReadText || row.read == ReadList || row.read == ReadFlagStatus)
    item.Remove(row.member);
  else if (row.write != nullptr)
    row.write(row, item,
              row.key.Kind() == ValueKind::kBoolean   ? "false"
              : row.key.Kind() == ValueKind::kInteger ? "0"
                                                      : "");
}

}  // namespace velmore::simulator
