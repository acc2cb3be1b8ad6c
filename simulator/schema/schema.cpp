#include "simulator/schema/schema.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "simulator/time/time.h"
#include "simulator/types/text.h"

namespace velmore::simulator {

namespace {

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  std::size_t at = 0;
  while (at <= text.size()) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    if (end > at) parts.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

Member ParseMember(std::string_view token, Space space) {
  Member member;
  member.space = space;
  if (token.starts_with('+')) {
    member.space = Space::kTypes;
    token.remove_prefix(1);
  }
  std::size_t end = token.find_first_of("*!:/@");
  member.name = token.substr(0, end);
  token = end == std::string_view::npos ? std::string_view() : token.substr(end);
  while (!token.empty()) {
    const char mark = token.front();
    token.remove_prefix(1);
    if (mark == '*') {
      member.repeated = true;
    } else if (mark == '!') {
      member.required = true;
    } else if (mark == '@') {
      member.since = token.front() <= '9' ? token.front() - '0' : token.front() - 'a' + 10;
      token.remove_prefix(1);
    } else if (mark == '/') {
      end = std::min(token.find('@'), token.size());
      member.flags = token.substr(0, end);
      token.remove_prefix(end);
    } else {  // ':'
      end = std::min(token.find_first_of("/@"), token.size());
      const std::string type(token.substr(0, end));
      const std::size_t range = std::min(type.find('['), type.size());
      token.remove_prefix(end);
      if (type.front() == '=') {
        member.kind = ValueKind::kEnumeration;
        member.enumeration = Split(type.substr(1), '|');
      } else if (type == "b") {
        member.kind = ValueKind::kBoolean;
      } else if (type.substr(0, range) == "i") {
        member.kind = ValueKind::kInteger;
        if (range < type.size()) {
          char* comma = nullptr;
          member.least = std::strtoll(type.c_str() + range + 1, &comma, 10);
          member.most = std::strtoll(comma + 1, nullptr, 10);
        }
      } else if (type.front() == '~') {
        member.facet = 'w';
        member.enumeration = Split(type.substr(1), '|');
      } else if (type == "D") {
        member.kind = ValueKind::kDateTime;
        member.facet = 'D';
      } else if (type.size() == 1 && std::string_view("glnhtu").find(type.front()) != std::string_view::npos) {
        member.facet = type.front();
      } else if (type == "d") {
        member.kind = ValueKind::kDateTime;
      } else if (type == "f") {
        member.kind = ValueKind::kDouble;
      } else if (type == "x") {
        member.kind = ValueKind::kBinary;
      } else {
        member.kind = ValueKind::kComplex;
        member.type_name = type;
      }
    }
  }
  return member;
}

std::string NameInSpace(const std::string& name, Space space) {
  std::string text = "'" + name + "'";
  const std::string_view uri = SpaceUri(space);
  if (!uri.empty()) text += " in namespace '" + std::string(uri) + "'";
  return text;
}

std::string Expected(const std::vector<const Member*>& members) {
  if (members.empty()) return {};
  std::string text = " List of possible elements expected: '";
  Space space = members.front()->space;
  for (std::size_t i = 0; i < members.size(); ++i) text += (i == 0 ? "" : ", ") + members[i]->name;
  return text + "' in namespace '" + std::string(SpaceUri(space)) + "'.";
}

[[noreturn]] void InvalidChild(const Element& parent, const Element& child,
                               const std::vector<const Member*>& expected) {
  throw SchemaViolation("The element " + NameInSpace(parent.name, parent.space) + " has invalid child element " +
                            NameInSpace(child.name, child.space) + "." + Expected(expected),
                        child.line, child.column);
}

[[noreturn]] void Incomplete(const Element& parent, const std::vector<const Member*>& expected) {
  throw SchemaViolation(
      "The element " + NameInSpace(parent.name, parent.space) + " has incomplete content." + Expected(expected),
      parent.line, parent.column);
}

std::string SimpleTypeName(ValueKind kind) {
  switch (kind) {
    case ValueKind::kBoolean:
      return "boolean";
    case ValueKind::kInteger:
      return "int";
    case ValueKind::kDateTime:
      return "dateTime";
    case ValueKind::kDouble:
      return "double";
    case ValueKind::kBinary:
      return "base64Binary";
    default:
      return "string";
  }
}

/// A point in time as the letter of the schema has it, or a day.
bool IsStrictTime(const std::string& text, bool day) {
  const std::size_t time = text.find('T');
  const std::size_t end = std::min(text.find_first_of("Z+-", 10), text.size());
  if (day != (time == std::string::npos)) return false;
  if (end < text.size() && text[end] != 'Z') {
    const int minutes =
        std::atoi(text.c_str() + end + 1) * 60 + std::atoi(text.c_str() + std::min(end + 4, text.size()));
    if (minutes > 14 * 60) return false;
  }
  return day || (text.substr(17, 2) < "60" && text[end - 1] != '.');
}

/// Is a text what the facet of its member says?
bool FitsFacet(const std::string& text, const Member& member) {
  const auto only = [](std::string_view part, const char* allowed) {
    return part.find_first_not_of(allowed) == std::string_view::npos;
  };
  static constexpr const char* kHex = "0123456789abcdefABCDEF";
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  switch (member.facet) {
    case 'g': {  // a language
      std::size_t parts = 0;
      for (std::size_t at = 0; at <= text.size(); ++parts) {
        const std::size_t end = std::min(text.find('-', at), text.size());
        const std::string_view part = std::string_view(text).substr(at, end - at);
        const bool good = std::all_of(part.begin(), part.end(), [&](unsigned char c) {
          return c < 0x80 && (std::isalpha(c) != 0 || (parts > 0 && std::isdigit(c) != 0));
        });
        if (part.empty() || part.size() > 8 || !good) return false;
        at = end + 1;
      }
      return true;
    }
    case 'l':  // an address
      for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1))
        if (at + 2 >= text.size() || !only(std::string_view(text).substr(at + 1, 2), kHex)) return false;
      return true;
    case 'n':
      return !text.empty();
    case 'h':  // a mask
      return hex ? only(std::string_view(text).substr(2), kHex) : only(text, "0123456789");
    case 't': {  // a tag
      char* end = nullptr;
      const unsigned long long tag = std::strtoull(text.c_str(), &end, hex ? 16 : 10);
      return !text.empty() && *end == '\0' && tag <= 0xffff && text.front() != '-';
    }
    case 'u':  // a GUID
      return text.size() == 36 && only(text, "0123456789abcdefABCDEF-") && text[8] == '-' && text[13] == '-' &&
             text[18] == '-' && text[23] == '-';
    case 'w':
      for (const std::string& word : Split(text, ' '))
        if (std::find(member.enumeration.begin(), member.enumeration.end(), word) == member.enumeration.end())
          return false;
      return true;
    default:
      return true;
  }
}

}  // namespace

std::string WhyInvalid(const std::string& text, const Member& member, bool strict) {
  if (strict && !FitsFacet(text, member))
    return "The value '" + text.substr(0, 200) + "' is invalid according to its datatype '" +
           std::string(kTypesNamespace) + ":" + member.name + "Type' - The Pattern constraint failed.";
  if (member.kind == ValueKind::kEnumeration) {
    if (std::find(member.enumeration.begin(), member.enumeration.end(), text) != member.enumeration.end()) return {};
    return "The value '" + text + "' is invalid according to its datatype '" + std::string(kTypesNamespace) + ":" +
           member.name + "Type' - The Enumeration constraint failed.";
  }
  bool good = true;
  std::string trimmed = text;
  while (!trimmed.empty() && std::strchr(" \t\r\n", trimmed.back()) != nullptr) trimmed.pop_back();
  trimmed.erase(0, std::min(trimmed.find_first_not_of(" \t\r\n"), trimmed.size()));
  switch (member.kind) {
    case ValueKind::kBoolean:
      good = IsBoolean(trimmed);
      break;
    case ValueKind::kInteger: {
      long long value = 0;
      const char* begin = trimmed.data() + (!trimmed.empty() && trimmed.front() == '+' ? 1 : 0);
      const auto result = std::from_chars(begin, trimmed.data() + trimmed.size(), value);
      good = !trimmed.empty() && result.ec == std::errc() && result.ptr == trimmed.data() + trimmed.size() &&
             (!strict || (value >= member.least && value <= member.most));
      break;
    }
    case ValueKind::kDateTime:
      good = ParseTime(trimmed).has_value() && (!strict || IsStrictTime(trimmed, member.facet == 'D'));
      break;
    case ValueKind::kDouble: {
      char* end = nullptr;
      std::strtod(trimmed.c_str(), &end);
      good = !trimmed.empty() && *end == '\0' &&
             (trimmed.find_first_not_of("0123456789+-.eE") == std::string::npos || trimmed == "INF" ||
              trimmed == "-INF" || trimmed == "NaN");
      break;
    }
    case ValueKind::kBinary: {
      try {
        if (text.size() < 1u << 16) DecodeBase64(text);  // large contents are judged when they are decoded
      } catch (const std::invalid_argument&) {
        good = false;
      }
      break;
    }
    default:
      break;
  }
  if (good) return {};
  return "The value '" + text.substr(0, 200) +
         "' is invalid according to its datatype 'http://www.w3.org/2001/XMLSchema:" + SimpleTypeName(member.kind) +
         "' - The string '" + text.substr(0, 200) + "' is not a valid " + SimpleTypeName(member.kind) + " value.";
}

namespace {

/// Children of ItemIds and FolderIds that this library's client writes beside the id; attribute Id holds the change
/// key.
bool IsChangeKeyElement(const Element& element) {
  return element.name == "ChangeKey" && element.space == Space::kTypes;
}

/// A zone without daylight saving has both of its changes in one element; sizes of photos have a capital "X".
void AcceptServices(Element& element, const SchemaType& type, Schema::Checker& checker) {
  if (type.name == "ZoneOfRequest") {
    Element* standard = element.Child("StandardTime");
    Element* daylight = element.Child("DaylightTime");
    if (standard == nullptr || daylight == nullptr || standard->children.size() != 10 || !daylight->children.empty())
      return;
    daylight->children.assign(standard->children.begin() + 5, standard->children.end());
    standard->children.resize(5);
    ++checker.departures["ZoneChangesInOne"];
  } else if (type.name == "GetUserPhoto") {
    Element* size = element.Child("SizeRequested");
    const std::size_t cross = size != nullptr ? size->text.find('X') : std::string::npos;
    if (cross == std::string::npos) return;
    size->text[cross] = 'x';
    ++checker.departures["PhotoSize"];
  }
}

}  // namespace

const Member* SchemaType::Find(std::string_view element) const {
  for (const Member& member : members)
    if (member.name == element) return &member;
  return nullptr;
}

int SchemaType::Position(std::string_view element) const {
  for (std::size_t i = 0; i < members.size(); ++i)
    if (members[i].name == element) return static_cast<int>(i);
  return -1;
}

Schema::Schema() {
  for (std::size_t i = 0; i < kTypeRowCount; ++i) {
    const TypeRow& row = kTypeRows[i];
    auto type = std::make_unique<SchemaType>();
    std::string name = row.name;
    Space space = Space::kTypes;
    if (name.starts_with("m:")) {
      space = Space::kMessages;
      name.erase(0, 2);
    }
    type->name = name;
    type->base = row.base;
    if (*row.base != '\0') {
      const SchemaType& base = *types_.at(row.base);
      type->members = base.members;
      type->attributes = base.attributes;
    }
    for (const std::string& token : Split(row.content, ' ')) {
      if (token == "any") {
        type->model = SchemaType::Model::kChoice;
      } else if (token == "one") {
        type->model = SchemaType::Model::kChoice;
        type->one = true;
      } else if (token == "open") {
        type->model = SchemaType::Model::kOpen;
      } else if (token.front() == '@') {
        type->attributes.push_back(ParseMember(std::string_view(token).substr(1), Space::kNone));
      } else {
        type->members.push_back(ParseMember(token, space));
      }
    }
    types_.emplace(name, std::move(type));
  }
  for (auto& [name, type] : types_)
    for (Member& member : type->members)
      if (!member.type_name.empty()) member.type = types_.at(member.type_name).get();
}

const Schema& Schema::Instance() {
  static const Schema schema;
  return schema;
}

const SchemaType* Schema::Type(std::string_view name) const {
  const auto found = types_.find(std::string(name));
  return found != types_.end() ? found->second.get() : nullptr;
}

const SchemaType* Schema::ItemType(std::string_view element) const {
  if (element == "SharingMessage") return Type("Message");
  for (const char* group : {"AllItems", "Folders"})
    if (const Member* member = Type(group)->Find(element)) return member->type;
  return nullptr;
}

void Schema::Check(Element& request, Checker& checker) const {
  const SchemaType* type = Type(request.name);
  if (type != nullptr) CheckElement(request, *type, checker);
}

void Schema::CheckElement(Element& element, const SchemaType& type, Checker& checker) const {
  if (type.model == SchemaType::Model::kOpen) return;
  // A mailbox may name its item by child elements in place of attributes.
  if (type.name == "ItemId" && element.attributes.empty() && element.Child("Id") != nullptr &&
      checker.accept_departures) {
    element.Set("Id", element.ChildText("Id"));
    if (element.Child("ChangeKey") != nullptr) element.Set("ChangeKey", element.ChildText("ChangeKey"));
    element.children.clear();
    ++checker.departures["MailboxItemIdChildren"];
  }
  if (checker.accept_departures) AcceptServices(element, type, checker);
  CheckAttributes(element, type, checker);
  if (type.model == SchemaType::Model::kChoice)
    CheckChoice(element, type, checker);
  else
    CheckSequence(element, type, checker);
}

void Schema::CheckChoice(Element& element, const SchemaType& type, Checker& checker) const {
  std::vector<const Member*> expected;
  for (const Member& member : type.members)
    if (member.since <= checker.version) expected.push_back(&member);
  std::size_t count = 0;
  for (std::size_t i = 0; i < element.children.size(); ++i) {
    Element& child = element.children[i];
    if ((type.name == "ItemIds" || type.name == "FolderIds") && IsChangeKeyElement(child) &&
        checker.accept_departures && i > 0) {
      // It belongs to the id in front of it.
      element.children[i - 1].Set("ChangeKey", child.AttributeText("Id"));
      element.children.erase(element.children.begin() + static_cast<std::ptrdiff_t>(i));
      --i;
      ++checker.departures["ChangeKeyElement"];
      continue;
    }
    const Member* member = type.Find(child.name);
    if (member == nullptr || child.space != member->space || member->since > checker.version)
      InvalidChild(element, child, expected);
    if (type.one && ++count > 1) InvalidChild(element, child, {});
    if (member->type != nullptr)
      CheckElement(child, *member->type, checker);
    else
      CheckValue(child, *member, checker);
  }
  if (!element.children.empty() || type.members.empty()) return;
  // Lists of values may be empty; what is empty without sense is incomplete.
  if (type.name == "ItemUpdates" || type.name == "FolderUpdates") {
    if (!checker.accept_departures) Incomplete(element, expected);
    ++checker.departures["EmptyUpdates"];
    return;
  }
  static const char* const kMayBeEmpty[] = {"Strings", "Recipients", "Members", "Dictionary"};
  static const char* const kHarmless[] = {"Attendees", "Expressions", "Values", "Attachments"};
  const auto is_one_of = [&](const auto& names) {
    return std::any_of(std::begin(names), std::end(names), [&](const char* name) { return type.name == name; });
  };
  if (is_one_of(kMayBeEmpty)) return;
  if (!is_one_of(kHarmless) || !checker.accept_departures) Incomplete(element, expected);
  ++checker.departures["EmptyList"];
}

void Schema::CheckSequence(Element& element, const SchemaType& type, Checker& checker) const {
  const bool item = type.Find("ItemClass") != nullptr && type.Find("ExtendedProperty") != nullptr;
  std::size_t place = 0;  // first member that may still come
  std::size_t seen_repeat = type.members.size();
  std::size_t appended_from = element.children.size();
  for (std::size_t i = 0; i < element.children.size(); ++i) {
    Element& child = element.children[i];
    if (child.name == "SavedItemFolderId" && child.space != Space::kMessages && checker.accept_departures &&
        type.Find("SavedItemFolderId") != nullptr) {
      child.space = Space::kMessages;
      ++checker.departures["SavedItemFolderIdPrefix"];
    }
    const int position = type.Position(child.name);
    const Member* member = position >= 0 ? &type.members[static_cast<std::size_t>(position)] : nullptr;
    const bool there = member != nullptr && child.space == member->space;
    // The library tells the size of every new file, also to servers that have no member for it.
    const bool size = there && member->since > checker.version && child.name == "Size" &&
                      type.name == "FileAttachment" && checker.accept_departures;
    if (size) ++checker.departures["AttachmentSize"];
    const bool known = there && (size || member->since <= checker.version);
    const bool in_place = known && (static_cast<std::size_t>(position) >= place ||
                                    (member->repeated && static_cast<std::size_t>(position) == seen_repeat));
    if (known && (!in_place || i > appended_from) && item && checker.accept_departures &&
        (member->repeated || std::count_if(element.children.begin(), element.children.end(),
                                           [&](const Element& other) { return other.name == child.name; }) == 1)) {
      // The client's property layer appends what is new. Only the end of an item may be out of order.
      if (appended_from == element.children.size()) appended_from = i;
      ++checker.departures["AppendedMember"];
    } else if (!in_place || i > appended_from) {
      std::vector<const Member*> expected;
      for (std::size_t m = place; m < type.members.size(); ++m) {
        if (type.members[m].since > checker.version) continue;
        expected.push_back(&type.members[m]);
        if (type.members[m].required) break;
      }
      InvalidChild(element, child, expected);
    } else {
      for (std::size_t m = place; m < static_cast<std::size_t>(position); ++m)
        if (type.members[m].required) InvalidChild(element, child, {&type.members[m]});
      place = static_cast<std::size_t>(position) + 1;
      seen_repeat = member->repeated ? static_cast<std::size_t>(position) : type.members.size();
    }
    if (member->type != nullptr)
      CheckElement(child, *member->type, checker);
    else
      CheckValue(child, *member, checker);
  }
  for (std::size_t m = place; m < type.members.size(); ++m)
    if (type.members[m].required) Incomplete(element, {&type.members[m]});
  CheckShape(element, type, checker);
  if (!type.members.empty() && !element.text.empty() && element.text.find_first_not_of(" \t\r\n") != std::string::npos)
    throw SchemaViolation("The element " + NameInSpace(element.name, element.space) +
                              " cannot contain text. List of possible elements expected: ''.",
                          element.line, element.column);
  // Order again, so that nothing behind this check has to think of it.
  if (appended_from < element.children.size())
    std::stable_sort(element.children.begin(), element.children.end(),
                     [&](const Element& a, const Element& b) { return type.Position(a.name) < type.Position(b.name); });
}

void Schema::CheckAttributes(const Element& element, const SchemaType& type, Checker& checker) const {
  for (const auto& [name, value] : element.attributes) {
    if (name.find(':') != std::string::npos) continue;
    const auto found = std::find_if(type.attributes.begin(), type.attributes.end(),
                                    [&name = name](const Member& m) { return m.name == name; });
    if (found == type.attributes.end()) {
      if (name == "FieldIndex" && type.name == "PathToField" && checker.accept_departures) {
        ++checker.departures["IndexedFieldAsFieldURI"];
        continue;
      }
      throw SchemaViolation("The '" + name + "' attribute is not declared.", element.line, element.column);
    }
    const std::string why = WhyInvalid(value, *found, true);
    if (!why.empty() && (!checker.accept_departures || !WhyInvalid(value, *found, false).empty()))
      throw SchemaViolation("The '" + name + "' attribute is invalid - " + why, element.line, element.column);
    if (!why.empty()) ++checker.departures["LooseValue"];
    if (name == "FieldURI" && type.name == "PathToField" && element.Attribute("FieldIndex") == nullptr) {
      const FieldUri* field = FindFieldUri(value);
      if (field == nullptr || field->member->since > checker.version)
        throw SchemaViolation("The 'FieldURI' attribute is invalid - The value '" + value +
                                  "' is invalid according to its datatype '" + std::string(kTypesNamespace) +
                                  ":UnindexedFieldURIType' - The Enumeration constraint failed.",
                              element.line, element.column);
    }
  }
  for (const Member& member : type.attributes)
    if (member.required && element.Attribute(member.name) == nullptr)
      throw SchemaViolation("The required attribute '" + member.name + "' is missing.", element.line, element.column);
}

void Schema::CheckValue(const Element& element, const Member& member, Checker& checker) const {
  if (!element.children.empty())
    throw SchemaViolation("The element " + NameInSpace(element.name, element.space) + " cannot contain child element " +
                              NameInSpace(element.children.front().name, element.children.front().space) +
                              " because the parent element's content model is text only.",
                          element.children.front().line, element.children.front().column);
  const std::string why = WhyInvalid(element.text, member, true);
  if (why.empty()) return;
  if (!checker.accept_departures || !WhyInvalid(element.text, member, false).empty())
    throw SchemaViolation("The " + NameInSpace(element.name, element.space) + " element is invalid - " + why,
                          element.line, element.column);
  ++checker.departures["LooseValue"];
}

void Schema::CheckShape(const Element& element, const SchemaType& type, Checker& checker) const {
  const std::size_t count = element.children.size();
  const auto is_path = [](const Element& child) { return child.name.ends_with("FieldURI"); };
  const auto is_id = [](const Element& child) { return child.name.ends_with("Id"); };
  const auto is_range = [](const Element& child) {
    return child.name == "NoEndRecurrence" || child.name == "EndDateRecurrence" || child.name == "NumberedRecurrence";
  };
  bool good = true;
  if (type.name == "TwoOperands" || type.name == "Excludes" || type.name == "Contains")
    good = count > 0 && is_path(element.children.front());
  else if (type.name == "ItemField" || type.name == "FolderField")
    good = count == 2 && is_path(element.children.front()) && !is_path(element.children.back());
  else if (type.name == "ItemChange" || type.name == "FolderChange")
    good = count == 2 && is_id(element.children.front());
  else if (type.name == "ExtendedProperty")
    good = count == 2;
  else if (type.name == "Recurrence")
    good = count == 2 && !is_range(element.children.front()) && is_range(element.children.back());
  if (good) return;
  if (!checker.accept_departures)
    throw SchemaViolation("The element " + NameInSpace(element.name, element.space) + " has incomplete content.",
                          element.line, element.column);
  ++checker.departures["LooseShape"];
}

namespace {

const std::unordered_map<std::string, FieldUri>& FieldTable() {
  static const auto table = [] {
    std::unordered_map<std::string, FieldUri> fields;
    const std::pair<const char*, const char*> families[] = {{"item", "Item"},
                                                            {"message", "Message"},
                                                            {"calendar", "CalendarItem"},
                                                            {"contacts", "Contact"},
                                                            {"distributionlist", "DistributionList"},
                                                            {"task", "Task"},
                                                            {"postitem", "PostItem"},
                                                            {"meeting", "MeetingMessage"},
                                                            {"meetingRequest", "MeetingRequest"},
                                                            {"folder", "SearchFolder"},
                                                            {"folder", "ContactsFolder"},
                                                            {"meeting", "MeetingResponse"}};
    for (const auto& [prefix, owner] : families) {
      const SchemaType* type = Schema::Instance().Type(owner);
      const std::size_t inherited = type->base.empty() || std::strcmp(prefix, "folder") == 0
                                        ? 0
                                        : Schema::Instance().Type(type->base)->members.size();
      for (std::size_t i = inherited; i < type->members.size(); ++i) {
        const Member& member = type->members[i];
        if (member.name == "ExtendedProperty") continue;
        std::string key = std::string(prefix) + ":" + member.name;
        fields.emplace(key, FieldUri{key, &member, owner});
      }
    }
    return fields;
  }();
  return table;
}

}  // namespace

const FieldUri* FindFieldUri(std::string_view uri) {
  const auto found = FieldTable().find(std::string(uri));
  return found != FieldTable().end() ? &found->second : nullptr;
}

std::vector<std::string> FieldUris(int since) {
  std::vector<std::string> uris;
  for (const auto& [uri, field] : FieldTable())
    if (field.member->since >= since) uris.push_back(uri);
  std::sort(uris.begin(), uris.end());
  return uris;
}

}  // namespace velmore::simulator
