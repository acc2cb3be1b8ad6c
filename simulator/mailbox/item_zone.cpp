#include "simulator/mailbox/item_zone.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace velmore::simulator {

namespace {

enum class Rule { kNone, kEurope, kAmerica, kAustralia };

struct ZoneRow {
  const char* id;
  int minutes;  // east of UTC in winter
  const char* name;
  Rule rule;
};
constexpr ZoneRow kZones[] = {
    {"Dateline Standard Time", -720, "International Date Line West", Rule::kNone},
    {"UTC-11", -660, "Coordinated Universal Time-11", Rule::kNone},
    {"Hawaiian Standard Time", -600, "Hawaii", Rule::kNone},
    {"Marquesas Standard Time", -570, "Marquesas Islands", Rule::kNone},
    {"Alaskan Standard Time", -540, "Alaska", Rule::kAmerica},
    {"Pacific Standard Time", -480, "Pacific Time (US & Canada)", Rule::kAmerica},
    {"US Mountain Standard Time", -420, "Arizona", Rule::kNone},
    {"Mountain Standard Time", -420, "Mountain Time (US & Canada)", Rule::kAmerica},
    {"Central America Standard Time", -360, "Central America", Rule::kNone},
    {"Central Standard Time", -360, "Central Time (US & Canada)", Rule::kAmerica},
    {"SA Pacific Standard Time", -300, "Bogota, Lima, Quito", Rule::kNone},
    {"Eastern Standard Time", -300, "Eastern Time (US & Canada)", Rule::kAmerica},
    {"Atlantic Standard Time", -240, "Atlantic Time (Canada)", Rule::kAmerica},
    {"SA Western Standard Time", -240, "Georgetown, La Paz, Manaus, San Juan", Rule::kNone},
    {"Newfoundland Standard Time", -210, "Newfoundland", Rule::kAmerica},
    {"E. South America Standard Time", -180, "Brasilia", Rule::kNone},
    {"Argentina Standard Time", -180, "City of Buenos Aires", Rule::kNone},
    {"UTC-02", -120, "Coordinated Universal Time-02", Rule::kNone},
    {"Azores Standard Time", -60, "Azores", Rule::kEurope},
    {"Cape Verde Standard Time", -60, "Cabo Verde Is.", Rule::kNone},
    {"UTC", 0, "Coordinated Universal Time", Rule::kNone},
    {"GMT Standard Time", 0, "Dublin, Edinburgh, Lisbon, London", Rule::kEurope},
    {"Greenwich Standard Time", 0, "Monrovia, Reykjavik", Rule::kNone},
    {"W. Europe Standard Time", 60, "Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna", Rule::kEurope},
    {"Central Europe Standard Time", 60, "Belgrade, Bratislava, Budapest, Ljubljana, Prague", Rule::kEurope},
    {"Romance Standard Time", 60, "Brussels, Copenhagen, Madrid, Paris", Rule::kEurope},
    {"Central European Standard Time", 60, "Sarajevo, Skopje, Warsaw, Zagreb", Rule::kEurope},
    {"W. Central Africa Standard Time", 60, "West Central Africa", Rule::kNone},
    {"GTB Standard Time", 120, "Athens, Bucharest", Rule::kEurope},
    {"FLE Standard Time", 120, "Helsinki, Kyiv, Riga, Sofia, Tallinn, Vilnius", Rule::kEurope},
    {"South Africa Standard Time", 120, "Harare, Pretoria", Rule::kNone},
    {"Kaliningrad Standard Time", 120, "Kaliningrad", Rule::kNone},
    {"Turkey Standard Time", 180, "Istanbul", Rule::kNone},
    {"Arab Standard Time", 180, "Kuwait, Riyadh", Rule::kNone},
    {"Russian Standard Time", 180, "Moscow, St. Petersburg", Rule::kNone},
    {"E. Africa Standard Time", 180, "Nairobi", Rule::kNone},
    {"Iran Standard Time", 210, "Tehran", Rule::kNone},
    {"Arabian Standard Time", 240, "Abu Dhabi, Muscat", Rule::kNone},
    {"Afghanistan Standard Time", 270, "Kabul", Rule::kNone},
    {"West Asia Standard Time", 300, "Ashgabat, Tashkent", Rule::kNone},
    {"India Standard Time", 330, "Chennai, Kolkata, Mumbai, New Delhi", Rule::kNone},
    {"Nepal Standard Time", 345, "Kathmandu", Rule::kNone},
    {"Bangladesh Standard Time", 360, "Dhaka", Rule::kNone},
    {"Myanmar Standard Time", 390, "Yangon (Rangoon)", Rule::kNone},
    {"SE Asia Standard Time", 420, "Bangkok, Hanoi, Jakarta", Rule::kNone},
    {"China Standard Time", 480, "Beijing, Chongqing, Hong Kong, Urumqi", Rule::kNone},
    {"Singapore Standard Time", 480, "Kuala Lumpur, Singapore", Rule::kNone},
    {"W. Australia Standard Time", 480, "Perth", Rule::kNone},
    {"Tokyo Standard Time", 540, "Osaka, Sapporo, Tokyo", Rule::kNone},
    {"Korea Standard Time", 540, "Seoul", Rule::kNone},
    {"Cen. Australia Standard Time", 570, "Adelaide", Rule::kAustralia},
    {"AUS Central Standard Time", 570, "Darwin", Rule::kNone},
    {"E. Australia Standard Time", 600, "Brisbane", Rule::kNone},
    {"AUS Eastern Standard Time", 600, "Canberra, Melbourne, Sydney", Rule::kAustralia},
    {"Central Pacific Standard Time", 660, "Solomon Is., New Caledonia", Rule::kNone},
    {"New Zealand Standard Time", 720, "Auckland, Wellington", Rule::kAustralia},
    {"UTC+12", 720, "Coordinated Universal Time+12", Rule::kNone},
    {"Tonga Standard Time", 780, "Nuku'alofa", Rule::kNone},
    {"Line Islands Standard Time", 840, "Kiritimati Island", Rule::kNone},
};

/// A duration of minutes, "PT5H" or "-PT1H30M".
std::string DurationText(int minutes) {
  std::string text = minutes < 0 ? "-PT" : "PT";
  const int absolute = std::abs(minutes);
  if (absolute / 60 != 0) text += std::to_string(absolute / 60) + "H";
  if (absolute % 60 != 0) text += std::to_string(absolute % 60) + "M";
  return absolute == 0 ? "PT0S" : text;
}

void AddTransition(Element& group, const char* to, const char* offset, int month, const char* weekday, int occurrence) {
  Element& transition = group.Add("RecurringDayTransition");
  transition.Add("To", to).Set("Kind", "Period");
  transition.Add("TimeOffset", offset);
  transition.Add("Month", std::to_string(month));
  transition.Add("DayOfWeek", weekday);
  transition.Add("Occurrence", std::to_string(occurrence));
}

Element ZoneElement(const ZoneRow& row, bool full) {
  char offset[16] = "(UTC)";  // of that zone alone: London's is "(UTC+00:00)"
  if (row.id != std::string_view("UTC"))
    std::snprintf(offset, sizeof offset, "(UTC%c%02d:%02d)", row.minutes < 0 ? '-' : '+',
                  std::abs(row.minutes) / 60 % 100, std::abs(row.minutes) % 60);
  Element zone = Types("TimeZoneDefinition");
  zone.Set("Id", row.id);
  zone.Set("Name", std::string(offset) + " " + row.name);
  if (!full) return zone;
  Element periods = Types("Periods");
  periods.Add("Period").Set("Bias", DurationText(-row.minutes)).Set("Name", "Standard").Set("Id", "std");
  if (row.rule != Rule::kNone)
    periods.Add("Period").Set("Bias", DurationText(-row.minutes - 60)).Set("Name", "Daylight").Set("Id", "dlt");
  zone.Add(std::move(periods));
  Element& group = zone.Add("TransitionsGroups").Add("TransitionsGroup");
  group.Set("Id", "0");
  switch (row.rule) {
    case Rule::kNone:
      group.Add("Transition").Add("To", "std").Set("Kind", "Period");
      break;
    case Rule::kEurope:
      AddTransition(group, "dlt", "PT2H", 3, "Sunday", -1);
      AddTransition(group, "std", "PT3H", 10, "Sunday", -1);
      break;
    case Rule::kAmerica:
      AddTransition(group, "dlt", "PT2H", 3, "Sunday", 2);
      AddTransition(group, "std", "PT2H", 11, "Sunday", 1);
      break;
    case Rule::kAustralia:
      AddTransition(group, "std", "PT3H", 4, "Sunday", 1);
      AddTransition(group, "dlt", "PT2H", 10, "Sunday", 1);
      break;
  }
  Element& transitions = zone.Add("Transitions");
  transitions.Add("Transition").Add("To", "0").Set("Kind", "Group");
  return zone;
}

/// "-PT1H30M" in minutes.
int DurationMinutes(const std::string& text) {
  int minutes = 0;
  int number = 0;
  for (const char c : text) {
    if (c >= '0' && c <= '9') number = std::min(number * 10 + (c - '0'), 100000);
    if (c == 'H') minutes += number * 60;
    if (c == 'M') minutes += number;
    if (c == 'D') minutes += number * 1440;
    if (c < '0' || c > '9') number = 0;
  }
  return text.starts_with('-') ? -minutes : minutes;
}

int WeekdayOf(const std::string& text) {
  static constexpr std::string_view kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                               "Thursday", "Friday", "Saturday"};
  for (int day = 0; day < 7; ++day)
    if (text == kDays[day]) return day;
  return 0;
}

/// Its last group of transitions holds from some year on; that is the one that a series lives by.
std::shared_ptr<const Zone> ZoneOfRules(const Element& definition) {
  const Element* periods = definition.Child("Periods");
  if (periods == nullptr || periods->children.empty()) return nullptr;
  const auto offset = [&](const std::string& period) {
    for (const Element& candidate : periods->children)
      if (candidate.AttributeText("Id") == period) return -DurationMinutes(candidate.AttributeText("Bias"));
    return -DurationMinutes(periods->children.front().AttributeText("Bias"));
  };
  std::vector<YearlyChange> changes;
  const Element* groups = definition.Child("TransitionsGroups");
  if (groups != nullptr && !groups->children.empty())
    for (const Element& transition : groups->children.back().children)
      if (transition.name == "RecurringDayTransition")
        changes.push_back({std::atoi(transition.ChildText("Month").c_str()),
                           WeekdayOf(transition.ChildText("DayOfWeek")),
                           std::atoi(transition.ChildText("Occurrence").c_str()),
                           DurationMinutes(transition.ChildText("TimeOffset")), offset(transition.ChildText("To"))});
  return Zone::Make(offset({}), changes);
}

/// t:TimeZone, the older form: a name, or an offset and two changes.
std::shared_ptr<const Zone> ZoneOfMeeting(const Element& zone) {
  if (auto named = Zone::Find(zone.AttributeText("TimeZoneName"))) return named;
  const int base = -DurationMinutes(zone.ChildText("BaseOffset"));
  std::vector<YearlyChange> changes;
  for (const char* part : {"Standard", "Daylight"}) {
    const Element* change = zone.Child(part);
    const Element* rule = change != nullptr ? change->Child("RelativeYearlyRecurrence") : nullptr;
    if (rule == nullptr) continue;
    static constexpr std::string_view kMonths[] = {"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};
    static constexpr std::string_view kIndexes[] = {"First", "Second", "Third", "Fourth"};
    const auto month = std::find(std::begin(kMonths), std::end(kMonths), rule->ChildText("Month"));
    const auto index = std::find(std::begin(kIndexes), std::end(kIndexes), rule->ChildText("DayOfWeekIndex"));
    const std::string& time = change->ChildText("Time");
    changes.push_back({static_cast<int>(month - std::begin(kMonths)) + 1, WeekdayOf(rule->ChildText("DaysOfWeek")),
                       index == std::end(kIndexes) ? -1 : static_cast<int>(index - std::begin(kIndexes)) + 1,
                       time.size() >= 5 ? std::atoi(time.c_str()) * 60 + std::atoi(time.c_str() + 3) : 0,
                       base - DurationMinutes(change->ChildText("Offset"))});
  }
  return Zone::Make(base, changes);
}

}  // namespace

std::shared_ptr<const Zone> ZoneOfDefinition(const Element& definition) {
  if (auto named = Zone::Find(definition.AttributeText("Id"))) return named;
  return ZoneOfRules(definition);
}

std::shared_ptr<const Zone> ZoneOf(const Item& item) {
  std::shared_ptr<const Zone> zone;
  if (const Element* definition = item.Find("StartTimeZone")) zone = ZoneOfDefinition(*definition);
  if (const Element* meeting = item.Find("MeetingTimeZone"); zone == nullptr && meeting != nullptr)
    zone = ZoneOfMeeting(*meeting);
  return zone != nullptr ? zone : Zone::Utc();
}

std::string ZoneIdOf(const Item& item, const char* property) {
  for (const char* stored : {property, "StartTimeZone"})
    if (const Element* definition = item.Find(stored);
        definition != nullptr && !definition->AttributeText("Id").empty())
      return definition->AttributeText("Id");
  const Element* meeting = item.Find("MeetingTimeZone");
  return meeting != nullptr && !meeting->AttributeText("TimeZoneName").empty() ? meeting->AttributeText("TimeZoneName")
                                                                               : "UTC";
}

std::optional<Element> ZoneDefinition(const std::string& id, bool full) {
  for (const ZoneRow& row : kZones)
    if (id == row.id) return ZoneElement(row, full);
  return std::nullopt;
}

std::vector<std::string> ListedZones() {
  std::vector<std::string> ids;
  for (const ZoneRow& row : kZones) ids.emplace_back(row.id);
  return ids;
}

std::optional<Element> ZoneProperty(const Item& item, const std::string& name) {
  const bool end = name.starts_with("End");
  const std::string id = ZoneIdOf(item, end ? "EndTimeZone" : "StartTimeZone");
  if (name.ends_with("TimeZoneId")) return Types(name, id);
  if (name.ends_with("WallClock")) {
    const auto time = ParseTime(item.Text(end ? "End" : "Start"));
    const std::shared_ptr<const Zone> own = Zone::Find(id);
    return time ? std::optional(Types(name, WallText(own != nullptr ? *own : *ZoneOf(item), *time))) : std::nullopt;
  }
  std::optional<Element> definition = ZoneDefinition(id, true);
  if (name == "TimeZone") return Types(name, definition ? definition->AttributeText("Name") : id);
  if (!definition) {
    if (const Element* stored = item.Find(name)) return *stored;
    definition = Types(name);
    definition->Set("Id", id);
  }
  definition->name = name;
  return definition;
}

}  // namespace velmore::simulator
