#include "simulator/mailbox/cards.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace velmore::simulator {

namespace {

/// "TEL;TYPE=home:123": name and parameters in upper case.
struct Line {
  std::string name;
  std::string parameters;
  std::string value;
};

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::vector<Line> LinesOf(const std::string& text) {
  std::vector<Line> lines;
  std::vector<std::string> unfolded;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && (line.front() == ' ' || line.front() == '\t') && !unfolded.empty())
      unfolded.back() += line.substr(1);
    else
      unfolded.push_back(std::move(line));
  }
  for (const std::string& line : unfolded) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::size_t end = std::min(line.find(';'), colon);
    lines.push_back({Upper(line.substr(0, end)), Upper(line.substr(end, colon - end)), line.substr(colon + 1)});
  }
  return lines;
}

/// The parts of a value between semicolons, without their escapes.
std::vector<std::string> Parts(const std::string& value) {
  std::vector<std::string> parts(1);
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == ';') {
      parts.emplace_back();
    } else if (value[i] == '\\' && i + 1 < value.size()) {
      ++i;
      parts.back() += value[i] == 'n' || value[i] == 'N' ? '\n' : value[i];
    } else {
      parts.back() += value[i];
    }
  }
  parts.resize(std::max<std::size_t>(parts.size(), 7));
  return parts;
}

std::string Text(const std::string& value) {
  std::string text;
  for (const std::string& part : Parts(value)) text += (text.empty() || part.empty() ? "" : ";") + part;
  return text;
}

void Put(Item& item, const char* name, const std::string& value) {
  if (!value.empty()) item.Set(name, value);
}

/// Puts a value under the first key of the list that is free.
void PutEntry(Item& item, const char* name, std::initializer_list<const char*> keys, Element entry) {
  Element list = item.Find(name) != nullptr ? *item.Find(name) : Types(name);
  for (const char* key : keys) {
    if (std::any_of(list.children.begin(), list.children.end(),
                    [&](const Element& e) { return e.AttributeText("Key") == key; }))
      continue;
    list.Add(std::move(entry)).Set("Key", key);
    item.Set(std::move(list));
    return;
  }
}

void PutPhone(Item& item, const Line& line) {
  const auto has = [&](const char* word) { return line.parameters.find(word) != std::string::npos; };
  const Element entry = Types("Entry", line.value);
  if (has("FAX"))
    PutEntry(item, "PhoneNumbers",
             has("HOME") ? std::initializer_list<const char*>{"HomeFax", "OtherFax"}
                         : std::initializer_list<const char*>{"BusinessFax", "OtherFax"},
             entry);
  else if (has("CELL"))
    PutEntry(item, "PhoneNumbers", {"MobilePhone"}, entry);
  else if (has("PAGER"))
    PutEntry(item, "PhoneNumbers", {"Pager"}, entry);
  else if (has("HOME"))
    PutEntry(item, "PhoneNumbers", {"HomePhone", "HomePhone2", "OtherTelephone"}, entry);
  else
    PutEntry(item, "PhoneNumbers", {"BusinessPhone", "BusinessPhone2", "OtherTelephone"}, entry);
}

void PutAddress(Item& item, const Line& line) {
  const std::vector<std::string> parts = Parts(line.value);
  Element entry = Types("Entry");
  const std::pair<const char*, std::size_t> names[] = {
      {"Street", 2}, {"City", 3}, {"State", 4}, {"CountryOrRegion", 6}, {"PostalCode", 5}};
  for (const auto& [name, part] : names)
    if (!parts[part].empty()) entry.Add(name, parts[part]);
  PutEntry(item, "PhysicalAddresses",
           {line.parameters.find("HOME") != std::string::npos   ? "Home"
            : line.parameters.find("WORK") != std::string::npos ? "Business"
                                                                : "Other"},
           std::move(entry));
}

void ReadCard(Item& item, const std::vector<Line>& lines) {
  item.element = "Contact";
  item.Set("ItemClass", "IPM.Contact");
  const std::pair<const char*, const char*> kTexts[] = {{"FN", "DisplayName"},
                                                        {"TITLE", "JobTitle"},
                                                        {"NICKNAME", "Nickname"},
                                                        {"URL", "BusinessHomePage"},
                                                        {"ROLE", "Profession"}};
  for (const Line& line : lines) {
    for (const auto& [name, property] : kTexts)
      if (line.name == name) Put(item, property, Text(line.value));
    if (line.name == "N") {
      const std::vector<std::string> parts = Parts(line.value);
      Put(item, "Surname", parts[0]);
      Put(item, "GivenName", parts[1]);
      Put(item, "MiddleName", parts[2]);
      Put(item, "Generation", parts[4]);
    } else if (line.name == "ORG") {
      Put(item, "CompanyName", Parts(line.value)[0]);
      Put(item, "Department", Parts(line.value)[1]);
    } else if (line.name == "EMAIL") {
      PutEntry(item, "EmailAddresses", {"EmailAddress1", "EmailAddress2", "EmailAddress3"}, Types("Entry", line.value));
    } else if (line.name == "TEL") {
      PutPhone(item, line);
    } else if (line.name == "ADR") {
      PutAddress(item, line);
    } else if (line.name == "NOTE") {
      item.text = Text(line.value);
    } else if (line.name == "BDAY") {
      std::string date = line.value;
      if (date.size() == 8) date = date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + date.substr(6);
      if (const auto time = ParseTime(date)) item.Set("Birthday", TimeText(*time));
    }
  }
  Put(item, "Subject", item.Text("DisplayName"));
}

/// "20260203T100000Z" or "20260203"; times without a zone count as UTC.
std::optional<Seconds> TimeOf(const std::string& value) {
  if (value.size() < 8) return std::nullopt;
  std::string text = value.substr(0, 4) + "-" + value.substr(4, 2) + "-" + value.substr(6, 2);
  if (value.size() >= 15) text += "T" + value.substr(9, 2) + ":" + value.substr(11, 2) + ":" + value.substr(13, 2);
  return ParseTime(text);
}

void ReadEvent(Item& item, const std::vector<Line>& lines) {
  item.element = "CalendarItem";
  item.Set("ItemClass", "IPM.Appointment");
  bool inside = false;
  for (const Line& line : lines) {
    if (line.name == "BEGIN" && Upper(line.value) == "VEVENT") inside = true;
    if (line.name == "END" && Upper(line.value) == "VEVENT") return;
    if (!inside) continue;
    if (line.name == "SUMMARY") item.Set("Subject", Text(line.value));
    if (line.name == "LOCATION") Put(item, "Location", Text(line.value));
    if (line.name == "DESCRIPTION") item.text = Text(line.value);
    if (line.name == "UID") Put(item, "UID", line.value);
    if (line.name == "TRANSP") item.Set("LegacyFreeBusyStatus", Upper(line.value) == "TRANSPARENT" ? "Free" : "Busy");
    if (line.name == "DTSTART" && line.value.size() == 8) item.SetFlag("IsAllDayEvent", true);
    if (line.name == "DTSTART" || line.name == "DTEND")
      if (const auto time = TimeOf(line.value)) item.Set(line.name == "DTSTART" ? "Start" : "End", TimeText(*time));
  }
}

}  // namespace

bool ImportCard(Item& item, const std::string& text) {
  // A calendar may come as a MIME part, behind headers.
  const std::string upper = Upper(text.substr(0, std::size_t{64} << 10));
  const std::size_t card = upper.find("BEGIN:VCARD");
  const std::size_t calendar = upper.find("BEGIN:VCALENDAR");
  if (card != 0 && calendar != 0 && upper.find("\nCONTENT-TYPE: TEXT/CALENDAR") == std::string::npos &&
      !upper.starts_with("CONTENT-TYPE: TEXT/CALENDAR"))
    return false;
  if (card == 0)
    ReadCard(item, LinesOf(text));
  else if (calendar != std::string::npos)
    ReadEvent(item, LinesOf(text.substr(calendar)));
  else
    return false;
  return true;
}

}  // namespace velmore::simulator
