// Extended properties: how they are named, and what their values may be.

#include "simulator/mailbox/model.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace velmore::simulator {

namespace {

struct SetRow {
  const char* name;
  const char* guid;
};
constexpr SetRow kDistinguishedSets[] = {
    {"Meeting", "6ed8da90-450b-101b-98da-00aa003f1305"},
    {"Appointment", "00062002-0000-0000-c000-000000000046"},
    {"Common", "00062008-0000-0000-c000-000000000046"},
    {"PublicStrings", "00020329-0000-0000-c000-000000000046"},
    {"Address", "00062004-0000-0000-c000-000000000046"},
    {"InternetHeaders", "00020386-0000-0000-c000-000000000046"},
    {"CalendarAssistant", "11000e07-b51b-40d6-af21-caa85edab1d0"},
    {"UnifiedMessaging", "4442858e-a9e3-4e80-b900-317a210cc15b"},
    {"Task", "00062003-0000-0000-c000-000000000046"},
    {"Sharing", "00062040-0000-0000-c000-000000000046"},
};

template <class Number>
std::optional<std::string> Whole(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  Number value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return std::to_string(value);
}

template <class Number>
std::optional<std::string> Real(std::string_view text) {
  if (text == "INF" || text == "-INF" || text == "NaN") return std::string(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  // The reader of numbers knows names that XML does not.
  if (text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return std::nullopt;
  Number value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  char out[64];
  return std::string(out, std::to_chars(std::begin(out), std::end(out), value).ptr);
}

std::optional<std::string> Guid(std::string_view text) {
  if (text.starts_with('{') && text.ends_with('}')) text = text.substr(1, text.size() - 2);
  if (text.size() != 36) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : std::string_view("0123456789abcdefABCDEF").find(text[i]) == std::string_view::npos)
      return std::nullopt;
  }
  return Lower(text);
}

}  // namespace

std::optional<std::string> ExtendedKey::Canonical(const std::string& text) const {
  std::string_view base = type;
  if (IsArray()) base.remove_suffix(5);
  if (base == "String") return text;
  std::string_view trimmed = text;
  while (!trimmed.empty() && std::string_view(" \t\r\n").find(trimmed.back()) != std::string_view::npos)
    trimmed.remove_suffix(1);
  trimmed.remove_prefix(std::min(trimmed.find_first_not_of(" \t\r\n"), trimmed.size()));
  if (base == "Boolean")
    return IsBoolean(trimmed) ? std::optional<std::string>(IsTrue(trimmed) ? "true" : "false") : std::nullopt;
  if (base == "Short") return Whole<std::int16_t>(trimmed);
  if (base == "Integer") return Whole<std::int32_t>(trimmed);
  if (base == "Long" || base == "Currency") return Whole<std::int64_t>(trimmed);
  if (base == "Float") return Real<float>(trimmed);
  if (base == "Double" || base == "ApplicationTime") return Real<double>(trimmed);
  if (base == "CLSID") return Guid(trimmed);
  if (base == "SystemTime") {
    const auto time = ParseTime(trimmed);
    return time ? std::optional(TimeText(*time)) : std::nullopt;
  }
  try {
    return EncodeBase64(DecodeBase64(trimmed));
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

ValueKind ExtendedKey::Kind() const {
  std::string_view base = type;
  if (IsArray()) base.remove_suffix(5);
  if (base == "Boolean") return ValueKind::kBoolean;
  if (base == "Integer" || base == "Long" || base == "Short" || base == "Currency") return ValueKind::kInteger;
  if (base == "SystemTime") return ValueKind::kDateTime;
  if (base == "Double" || base == "Float" || base == "ApplicationTime") return ValueKind::kDouble;
  if (base == "Binary") return ValueKind::kBinary;
  return ValueKind::kString;
}

ExtendedKey ParseExtendedKey(const Element& uri) {
  const std::string* tag = uri.Attribute("PropertyTag");
  const std::string* set = uri.Attribute("PropertySetId");
  const std::string* distinguished = uri.Attribute("DistinguishedPropertySetId");
  const std::string* name = uri.Attribute("PropertyName");
  const std::string* id = uri.Attribute("PropertyId");
  const auto refuse = [](const char* text) { return EwsError("ErrorInvalidExtendedProperty", text); };
  ExtendedKey key;
  key.type = uri.AttributeText("PropertyType");
  if (key.type.starts_with("Object") || key.type == "Null" || key.type == "Error")
    throw EwsError("ErrorUnsupportedMapiPropertyType", "This property type is not supported.");
  if (tag != nullptr) {
    if (set != nullptr || distinguished != nullptr || name != nullptr || id != nullptr)
      throw refuse(
          "PropertyTag cannot be used with DistinguishedPropertySetId, PropertySetId, PropertyName or PropertyId.");
    std::string_view digits = *tag;
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
      digits.remove_prefix(2);
      base = 16;
    }
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), key.number, base);
    if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size() || key.number < 0 ||
        key.number > 0xffff)
      throw SchemaViolation("The 'PropertyTag' attribute is invalid - The value '" + *tag +
                                "' is invalid according to its datatype '" + std::string(kTypesNamespace) +
                                ":PropertyTagType'.",
                            uri.line, uri.column);
    if (key.number >= 0x8000)
      throw EwsError("ErrorNoPropertyTagForCustomProperties", "Custom properties cannot be accessed by property tag.");
    return key;
  }
  if ((set != nullptr) == (distinguished != nullptr))
    throw refuse(
        "An extended property needs exactly one of PropertyTag, PropertySetId and DistinguishedPropertySetId.");
  if ((name != nullptr) == (id != nullptr))
    throw refuse("An extended property of a property set needs exactly one of PropertyName and PropertyId.");
  if (set != nullptr) {
    key.set = Lower(*set);
  } else {
    for (const SetRow& row : kDistinguishedSets)
      if (*distinguished == row.name) key.set = row.guid;
  }
  if (name != nullptr) {
    key.name = *name;
    if (key.set == "00020386-0000-0000-c000-000000000046") key.name = Lower(key.name);
  } else {
    std::from_chars(id->data(), id->data() + id->size(), key.number);
  }
  return key;
}

Element WriteExtendedKey(const ExtendedKey& key) {
  Element uri = Types("ExtendedFieldURI");
  if (key.set.empty()) {
    std::string digits;
    for (std::int64_t rest = key.number; rest > 0 || digits.empty(); rest /= 16)
      digits.insert(digits.begin(), "0123456789abcdef"[rest % 16]);
    uri.Set("PropertyTag", "0x" + digits);
  } else {
    const char* distinguished = nullptr;
    for (const SetRow& row : kDistinguishedSets)
      if (key.set == row.guid) distinguished = row.name;
    if (distinguished != nullptr)
      uri.Set("DistinguishedPropertySetId", distinguished);
    else
      uri.Set("PropertySetId", key.set);
    if (key.name.empty())
      uri.Set("PropertyId", std::to_string(key.number));
    else
      uri.Set("PropertyName", key.name);
  }
  uri.Set("PropertyType", key.type);
  return uri;
}

}  // namespace velmore::simulator
