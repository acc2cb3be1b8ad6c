#include "platform/common/uVqJSON.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

using TJson = nlohmann::ordered_json;

constexpr int kMaxDepth = 200;
constexpr double kIntegerEnd = 9223372036854775808.0;  // 2 to the power of 63

const TJson* Node(const void* node) noexcept {
  return static_cast<const TJson*>(node);
}

/// Line and column, both from 1, of a position in the text; columns count bytes.
string Place(std::string_view text, std::size_t position) {
  text = text.substr(0, position);
  const auto lines = std::count(text.begin(), text.end(), '\n');
  const std::size_t last = text.rfind('\n');
  const std::size_t column = last == std::string_view::npos ? text.size() : text.size() - last - 1;
  return "line " + IntToStr(lines + 1) + ", column " + IntToStr(static_cast<std::int64_t>(column) + 1);
}

/// What the parser says, without its own number and place.
std::string Reason(std::string_view what) {
  for (const std::string_view mark : {"- ", ": "}) {
    if (const std::size_t at = what.find(mark); at != std::string_view::npos) what.remove_prefix(at + mark.size());
  }
  return std::string(what);
}

}  // namespace

TVqJSONKind TVqJSONValue::Kind() const noexcept {
  if (!FNode) return TVqJSONKind::jkNone;
  switch (Node(FNode)->type()) {
    case TJson::value_t::null:
      return TVqJSONKind::jkNull;
    case TJson::value_t::boolean:
      return TVqJSONKind::jkBoolean;
    case TJson::value_t::number_integer:
    case TJson::value_t::number_unsigned:
      return TVqJSONKind::jkInteger;
    case TJson::value_t::number_float:
      return TVqJSONKind::jkNumber;
    case TJson::value_t::string:
      return TVqJSONKind::jkString;
    case TJson::value_t::array:
      return TVqJSONKind::jkArray;
    case TJson::value_t::object:
      return TVqJSONKind::jkObject;
    default:
      return TVqJSONKind::jkNone;
  }
}

string TVqJSONValue::AsString() const {
  switch (Kind()) {
    case TVqJSONKind::jkString:
      return Node(FNode)->get_ref<const std::string&>();
    case TVqJSONKind::jkBoolean:
    case TVqJSONKind::jkInteger:
    case TVqJSONKind::jkNumber:
      return Text();
    default:
      return {};
  }
}

std::int64_t TVqJSONValue::AsInteger(std::int64_t ADefault) const {
  if (!FNode) return ADefault;
  const TJson& node = *Node(FNode);
  if (node.is_number_unsigned()) {
    const auto value = node.get<std::uint64_t>();
    return value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? static_cast<std::int64_t>(value)
               : ADefault;
  }
  if (node.is_number_integer()) return node.get<std::int64_t>();
  if (node.is_number_float()) {
    const auto value = node.get<double>();
    const bool fits = value >= -kIntegerEnd && value < kIntegerEnd && std::trunc(value) == value;
    return fits ? static_cast<std::int64_t>(value) : ADefault;
  }
  if (node.is_string()) {
    const auto& text = node.get_ref<const std::string&>();
    std::int64_t value;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) return value;
  }
  return ADefault;
}

double TVqJSONValue::AsDouble(double ADefault) const {
  if (!FNode) return ADefault;
  const TJson& node = *Node(FNode);
  if (node.is_number()) return node.get<double>();
  if (node.is_string()) {
    const auto& text = node.get_ref<const std::string&>();
    double value;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) return value;
  }
  return ADefault;
}

bool TVqJSONValue::AsBoolean(bool ADefault) const {
  if (Kind() == TVqJSONKind::jkBoolean) return Node(FNode)->get<bool>();
  if (Kind() == TVqJSONKind::jkString) {
    const string text = AsString();
    if (SameText(text, "true")) return true;
    if (SameText(text, "false")) return false;
  }
  return ADefault;
}

std::int32_t TVqJSONValue::Count() const noexcept {
  const TVqJSONKind kind = Kind();
  return kind == TVqJSONKind::jkArray || kind == TVqJSONKind::jkObject ? static_cast<std::int32_t>(Node(FNode)->size())
                                                                       : 0;
}

TVqJSONValue TVqJSONValue::Item(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) return {};
  const TJson& node = *Node(FNode);
  const auto index = static_cast<std::size_t>(AIndex);
  if (node.is_array()) return {FDocument, &node[index]};
  return {FDocument, &(node.get_ref<const TJson::object_t&>().begin() + AIndex)->second};
}

string TVqJSONValue::Name(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count() || Kind() != TVqJSONKind::jkObject) return {};
  return (Node(FNode)->get_ref<const TJson::object_t&>().begin() + AIndex)->first;
}

TVqJSONValue TVqJSONValue::Member(const string& AName) const {
  if (Kind() != TVqJSONKind::jkObject) return {};
  const TJson& node = *Node(FNode);
  const auto found = node.find(AName.utf8());
  return found == node.end() ? TVqJSONValue() : TVqJSONValue(FDocument, &*found);
}

TVqJSONValue TVqJSONValue::Find(const string& APath) const {
  TVqJSONValue value = *this;
  std::size_t start = 0;
  while (value && start < APath.Length()) {
    std::size_t end = APath.Pos("/", start);
    if (end == string::npos) end = APath.Length();
    const string step = APath.Copy(start, end - start);
    if (value.Kind() == TVqJSONKind::jkArray) {
      const std::string text = step.utf8();
      std::int32_t index = -1;
      const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), index);
      value = error == std::errc() && stop == text.data() + text.size() ? value.Item(index) : TVqJSONValue();
    } else {
      value = value.Member(step);
    }
    start = end + 1;
  }
  return value;
}

TVqJSONValue TVqJSONValue::Require(const string& APath) const {
  TVqJSONValue value = Find(APath);
  if (!value) throw EConvertError("The JSON has no \"" + APath + "\".");
  return value;
}

string TVqJSONValue::Text() const {
  // Strings are well-formed UTF-8, as the parser let nothing else in.
  return FNode ? string(Node(FNode)->dump()) : string();
}

TVqJSONValue VqParseJSON(std::string_view text) {
  const auto limit = [](int depth, TJson::parse_event_t event, TJson&) {
    if (depth >= kMaxDepth &&
        (event == TJson::parse_event_t::array_start || event == TJson::parse_event_t::object_start)) {
      throw EConvertError("The JSON has more than " + IntToStr(kMaxDepth) + " levels.");
    }
    return true;
  };
  try {
    auto document = std::make_shared<const TJson>(TJson::parse(text.begin(), text.end(), limit));
    const void* root = document.get();
    return {std::move(document), root};
  } catch (const TJson::parse_error& error) {
    const std::size_t position = error.byte > 0 ? error.byte - 1 : 0;
    throw EConvertError("The text is no JSON (" + Place(text, position) + "): " + Reason(error.what()) + ".");
  } catch (const TJson::exception& error) {  // a number beyond every range
    throw EConvertError(string("The text is no JSON: ") + Reason(error.what()) + ".");
  }
}

string VqJSONQuote(const string& text) {
  return TJson(text.utf8()).dump();
}

}  // namespace velmore
