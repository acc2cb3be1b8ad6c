// GetUserAvailability: free and busy times from the calendars of mailboxes.

#include <algorithm>

#include "simulator/mailbox/recurrence.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

constexpr std::size_t kMostMailboxes = 100;
constexpr std::size_t kMostEvents = 1000;
constexpr Seconds kLongestWindow = Seconds{62} * 86400;
constexpr std::string_view kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

int NumberOf(const Element& element, const char* child) {
  return std::atoi(element.ChildText(child).c_str());
}

/// The zone of a request. Times in the request and in the reply are those of its clocks: they say "Z" or nothing, and
/// mean the same.
class Zone {
 public:
  explicit Zone(const Element& element)
      : bias_(NumberOf(element, "Bias")),
        standard_(*element.Child("StandardTime")),
        daylight_(*element.Child("DaylightTime")) {}

  Seconds ToUtc(Seconds clock) const { return clock + Seconds{60} * (bias_ + Change(clock)); }
  Seconds ToClock(Seconds utc) const {
    bool summer = false;
    if (Changes()) {
      const std::int64_t year = YearOf(utc - Seconds{60} * (bias_ + standard_.bias));
      const Seconds begin = daylight_.In(year) + Seconds{60} * (bias_ + standard_.bias);
      const Seconds end = standard_.In(year) + Seconds{60} * (bias_ + daylight_.bias);
      summer = Lies(utc, begin, end);
    }
    return utc - Seconds{60} * (bias_ + (summer ? daylight_.bias : standard_.bias));
  }

 private:
  /// "The last Sunday in March at 2:00"; month 0 for never.
  struct Rule {
    int bias, order, month;
    unsigned weekday = 0;
    Seconds time = 0;

    explicit Rule(const Element& element)
        : bias(NumberOf(element, "Bias")), order(NumberOf(element, "DayOrder")), month(NumberOf(element, "Month")) {
      for (unsigned day = 0; day < 7; ++day)
        if (element.ChildText("DayOfWeek") == kDays[day]) weekday = day;
      if (const auto at = ParseTime("1970-01-01T" + element.ChildText("Time"))) time = *at;
    }
    Seconds In(std::int64_t year) const {
      const auto in = static_cast<unsigned>(month);
      const std::int64_t first = DaysFromDate(year, in, 1);
      std::int64_t day = first + (weekday + 7 - Weekday(first)) % 7 + 7 * (std::clamp(order, 1, 5) - 1);
      if (day >= first + static_cast<std::int64_t>(DaysInMonth(year, in))) day -= 7;
      return day * 86400 + time;
    }
  };

  bool Changes() const {
    return standard_.month >= 1 && standard_.month <= 12 && daylight_.month >= 1 && daylight_.month <= 12;
  }
  static std::int64_t YearOf(Seconds time) {
    return DateFromDays((time - ((time % 86400) + 86400) % 86400) / 86400).year;
  }
  /// Between two points of a year, the second of which may come first.
  static bool Lies(Seconds time, Seconds begin, Seconds end) {
    return begin < end ? time >= begin && time < end : time >= begin || time < end;
  }
  int Change(Seconds clock) const {
    const bool summer = Changes() && Lies(clock, daylight_.In(YearOf(clock)), standard_.In(YearOf(clock)));
    return summer ? daylight_.bias : standard_.bias;
  }

  int bias_;
  Rule standard_, daylight_;
};

/// A time of the request. One that names another offset than UTC is taken by its word.
Seconds ReadTime(const Zone& zone, const std::string& text) {
  const auto time = ParseTime(text);
  if (!time) throw SoapFault("ErrorInvalidTimeInterval");
  const bool offset =
      text.size() > 6 && (text[text.size() - 6] == '+' || text[text.size() - 6] == '-') && text[text.size() - 3] == ':';
  return offset ? *time : zone.ToUtc(*time);
}

struct Window {
  Seconds start = 0, end = 0;  // UTC
  Seconds interval = 0;
  bool merged = false, events = false, details = false;
};

Window ReadWindow(const Zone& zone, const Element& request) {
  const Element* options = request.Child("FreeBusyViewOptions");
  if (options == nullptr) throw SoapFault("ErrorInvalidRequest", "The simulator makes no suggestions.");
  Window window;
  window.start = ReadTime(zone, options->Child("TimeWindow")->ChildText("StartTime"));
  window.end = ReadTime(zone, options->Child("TimeWindow")->ChildText("EndTime"));
  if (window.end <= window.start) throw SoapFault("ErrorInvalidTimeInterval");
  if (window.end - window.start > kLongestWindow) throw SoapFault("ErrorTimeIntervalTooBig");
  std::string view = options->ChildText("RequestedView");
  if (view.empty()) view = "FreeBusy";
  if (view == "None") throw SoapFault("ErrorInvalidFreeBusyViewType");
  window.merged = view.find("Merged") != std::string::npos;
  window.events = view != "MergedOnly";
  window.details = view.starts_with("Detailed");
  const std::string& interval = options->ChildText("MergedFreeBusyIntervalInMinutes");
  const int minutes = interval.empty() ? 30 : std::atoi(interval.c_str());
  window.interval = Seconds{60} * minutes;
  if (window.merged && (minutes < 5 || minutes > 1440 || window.interval > window.end - window.start))
    throw SoapFault("ErrorInvalidMergedFreeBusyInterval");
  return window;
}

struct Event {
  std::shared_ptr<Item> item;
  Seconds start = 0, end = 0;
  std::string status;
};

std::vector<Event> EventsOf(const Mailbox& mailbox, const Window& window) {
  std::vector<Event> events;
  const auto add = [&](const std::shared_ptr<Item>& item) {
    const auto start = ParseTime(item->Text("Start")), end = ParseTime(item->Text("End"));
    if (!start || !end || *start >= window.end || *end <= window.start) return;
    const std::string& status = item->Text("LegacyFreeBusyStatus");
    events.push_back({item, *start, *end, status.empty() ? "Busy" : status});
  };
  for (const auto& [number, item] : mailbox.Distinguished("calendar")->items) {
    if (item->element != "CalendarItem" || item->Flag("IsCancelled")) continue;
    if (item->Find("Recurrence") == nullptr) {
      add(item);
    } else {
      for (const auto& occurrence : OccurrencesBetween(mailbox, item, window.start, window.end)) add(occurrence);
    }
  }
  std::stable_sort(events.begin(), events.end(), [](const Event& a, const Event& b) { return a.start < b.start; });
  return events;
}

/// A digit for each interval; where several meet, what keeps most from meeting counts.
std::string Merged(const std::vector<Event>& events, const Window& window) {
  static constexpr std::pair<std::string_view, char> kDigits[] = {
      {"Free", '0'}, {"WorkingElsewhere", '4'}, {"Tentative", '1'}, {"Busy", '2'}, {"OOF", '3'}};
  const auto rank = [](auto matches) {
    return std::find_if(std::begin(kDigits), std::end(kDigits), matches) - std::begin(kDigits);
  };
  const auto count = static_cast<std::size_t>((window.end - window.start + window.interval - 1) / window.interval);
  std::string digits(count, '0');
  for (const Event& event : events) {
    const auto mine = rank([&](const auto& each) { return each.first == event.status; });
    if (mine == std::end(kDigits) - std::begin(kDigits)) continue;
    const Seconds from = std::max(event.start, window.start) - window.start;
    const Seconds to = std::min(event.end, window.end) - window.start;
    for (auto at = static_cast<std::size_t>(from / window.interval);
         at < count && static_cast<Seconds>(at) * window.interval < to; ++at)
      if (mine > rank([&](const auto& each) { return each.second == digits[at]; })) digits[at] = kDigits[mine].second;
  }
  return digits;
}

std::string ClockText(const Zone& zone, Seconds utc) {
  std::string text = TimeText(zone.ToClock(utc));
  text.pop_back();  // the "Z"
  return text;
}

Element EventElement(const Event& event, const Zone& zone, bool details, bool owner) {
  Element element = Types("CalendarEvent");
  element.Add("StartTime", ClockText(zone, event.start));
  element.Add("EndTime", ClockText(zone, event.end));
  element.Add("BusyType", event.status);
  if (!details) return element;
  const Item& item = *event.item;
  const std::string& sensitivity = item.Text("Sensitivity");
  const bool is_private = sensitivity == "Private" || sensitivity == "Confidential";
  const auto flag = [](bool value) { return value ? "true" : "false"; };
  Element& told = element.Add("CalendarEventDetails");
  if (!is_private || owner) {  // of what is private others learn the time alone
    std::string id;
    for (const char c : item.entry_id) {
      static constexpr char kHex[] = "0123456789ABCDEF";
      id += {kHex[static_cast<unsigned char>(c) >> 4], kHex[static_cast<unsigned char>(c) & 15]};
    }
    told.Add("ID", id);
    told.Add("Subject", item.Text("Subject"));
    told.Add("Location", item.Text("Location"));
  }
  const std::string& kind = item.Text("CalendarItemType");
  told.Add("IsMeeting", flag(item.Flag("IsMeeting")));
  told.Add("IsRecurring", flag(item.Flag("IsRecurring") || !item.Text("OriginalStart").empty()));
  told.Add("IsException", flag(kind == "Exception"));
  told.Add("IsReminderSet", flag(item.Flag("ReminderIsSet")));
  told.Add("IsPrivate", flag(is_private));
  return element;
}

Element WorkingHoursElement(const WorkHours& hours) {
  Element element = Types("WorkingHours");
  Element& zone = element.Add("TimeZone");
  zone.Add("Bias", std::to_string(hours.bias));
  for (const char* name : {"StandardTime", "DaylightTime"}) {
    Element& change = zone.Add(name);
    change.Add("Bias", "0");
    change.Add("Time", "00:00:00");
    change.Add("DayOrder", "0");
    change.Add("Month", "0");
    change.Add("DayOfWeek", "Sunday");
  }
  Element& period = element.Add("WorkingPeriodArray").Add("WorkingPeriod");
  period.Add("DayOfWeek", hours.days);
  period.Add("StartTimeInMinutes", std::to_string(hours.start));
  period.Add("EndTimeInMinutes", std::to_string(hours.end));
  return element;
}

/// Everybody is told when somebody is busy, unless his calendar says otherwise: to this user, or to all.
bool SeesTimes(const Context& context, const Mailbox& mailbox) {
  const Folder& calendar = *mailbox.Distinguished("calendar");
  const Rights rights = context.store.AccessTo(mailbox, calendar, context.user);
  if (rights.Has(Right::kFreeBusyTime) || rights.Has(Right::kFreeBusyDetails) || rights >= Access::kReviewer)
    return true;
  if (!calendar.permission_set) return true;
  const auto speaks_of_him = [&](const Element& permission) {
    const Element* user = permission.Child("UserId");
    return user != nullptr && (user->ChildText("DistinguishedUser") == "Default" ||
                               SameText(user->ChildText("PrimarySmtpAddress"), context.user.smtp_address));
  };
  return std::none_of(
      calendar.permission_set->children.begin(), calendar.permission_set->children.end(),
      [&](const Element& list) { return std::any_of(list.children.begin(), list.children.end(), speaks_of_him); });
}

Element ViewOf(Context& context, const std::string& address, const Zone& zone, const Window& window) {
  Element view = Messages("FreeBusyView");
  const Mailbox* mailbox = context.store.ByAddress(address);
  if (mailbox == nullptr) {
    const auto list = std::find_if(context.store.lists.begin(), context.store.lists.end(),
                                   [&](const DirectoryList& each) { return SameText(each.smtp_address, address); });
    if (list == context.store.lists.end()) throw EwsError("ErrorMailRecipientNotFound");
    // Of a list only the times are told at which somebody in it is not free.
    std::vector<Event> all;
    for (const std::string& person : PeopleBehind(context.store, address)) {
      const Mailbox* member = context.store.ByAddress(person);
      if (member == nullptr || !SeesTimes(context, *member)) continue;
      for (Event& event : EventsOf(*member, window)) all.push_back(std::move(event));
    }
    view.Add("FreeBusyViewType", "MergedOnly");
    view.Add("MergedFreeBusy", Merged(all, window));
    return view;
  }
  const Rights rights = context.store.AccessTo(*mailbox, *mailbox->Distinguished("calendar"), context.user);
  if (!SeesTimes(context, *mailbox)) throw EwsError("ErrorNoFreeBusyAccess");
  const bool details = window.details && (rights.Has(Right::kFreeBusyDetails) || rights >= Access::kReviewer);
  const bool owner = SameText(mailbox->owner.smtp_address, context.user.smtp_address);
  const std::vector<Event> events = EventsOf(*mailbox, window);
  if (window.events && events.size() > kMostEvents) throw EwsError("ErrorResultSetTooBig");
  std::string type = !window.events ? "MergedOnly" : details ? "Detailed" : "FreeBusy";
  if (window.events && window.merged) type += "Merged";
  view.Add("FreeBusyViewType", type);
  if (window.merged) view.Add("MergedFreeBusy", Merged(events, window));
  if (window.events && !events.empty()) {
    Element& array = view.Add("CalendarEventArray");
    for (const Event& event : events) array.Add(EventElement(event, zone, details, owner));
  }
  view.Add(WorkingHoursElement(mailbox->owner.work_hours));
  return view;
}

}  // namespace

Element GetUserAvailability(Context& context, const Element& request) {
  if (request.Child("TimeZone") == nullptr) throw SoapFault("ErrorTimeZone");
  const Zone zone(*request.Child("TimeZone"));
  const Element& mailboxes = *request.Child("MailboxDataArray");
  if (mailboxes.children.empty()) throw SoapFault("ErrorMailboxDataArrayEmpty");
  if (mailboxes.children.size() > kMostMailboxes) throw SoapFault("ErrorMailboxDataArrayTooBig");
  const Window window = ReadWindow(zone, request);
  Element response = Messages("GetUserAvailabilityResponse");
  Element& array = response.Add(Messages("FreeBusyResponseArray"));
  for (const Element& data : mailboxes.children) {
    Element& each = array.Add(Messages("FreeBusyResponse"));
    try {
      Element view = ViewOf(context, data.Child("Email")->ChildText("Address"), zone, window);
      Element& message = each.Add(Messages("ResponseMessage"));
      message.Set("ResponseClass", "Success");
      message.Add(Messages("ResponseCode", "NoError"));
      each.Add(std::move(view));
    } catch (const EwsError& error) {
      Element message = ErrorMessage("", error);
      message.name = "ResponseMessage";
      each.Add(std::move(message));
      each.Add(Messages("FreeBusyView")).Add("FreeBusyViewType", "None");
    }
  }
  return response;
}

}  // namespace velmore::simulator
