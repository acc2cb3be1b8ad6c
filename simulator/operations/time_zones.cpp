// GetServerTimeZones.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "simulator/operations/operations.h"

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
  char offset[16] = "(UTC)";
  if (row.minutes != 0)
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

}  // namespace

Element GetServerTimeZones(Context&, const Element& request) {
  return RespondOnce("GetServerTimeZones", [&] {
    const std::string& full_text = request.AttributeText("ReturnFullTimeZoneData");
    const bool full = full_text.empty() || IsTrue(full_text);
    Element definitions = Messages("TimeZoneDefinitions");
    const Element* ids = request.Child("Ids");
    for (const ZoneRow& row : kZones) {
      if (ids != nullptr && std::none_of(ids->children.begin(), ids->children.end(),
                                         [&](const Element& id) { return id.text == row.id; }))
        continue;
      definitions.Add(ZoneElement(row, full));
    }
    return std::vector<Element>{std::move(definitions)};
  });
}

}  // namespace velmore::simulator
