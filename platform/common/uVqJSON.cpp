#include "platform/common/uVqJSON.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

/// The members of an object in the order of the text. The library's own such map looks at every member to find one, so
/// that reading an object took the square of its members; here the names of large objects have an index.
template <typename TKey, typename TValue, typename TLess, typename TAllocator>
class TMembers : public nlohmann::ordered_map<TKey, TValue, TLess, TAllocator> {
  using TBase = nlohmann::ordered_map<TKey, TValue, TLess, TAllocator>;

 public:
  using TBase::TBase;

  TValue& operator[](const TKey& name) {
    const std::size_t place = Place(name);
    if (place < this->size()) return (this->begin() + static_cast<std::ptrdiff_t>(place))->second;
    TBase::Container::emplace_back(name, TValue());
    if (this->size() == kMost) {
      for (const auto& [known, value] : *this) FPlaces.emplace(known, FPlaces.size());
    } else if (this->size() > kMost) {
      FPlaces.emplace(name, place);
    }
    return this->back().second;
  }

  typename TBase::const_iterator find(const TKey& name) const {
    return this->begin() + static_cast<std::ptrdiff_t>(Place(name));
  }

 private:
  /// Up to so many members are looked at one by one.
  static constexpr std::size_t kMost = 16;

  /// Where a name stands; behind the last for one that does not.
  std::size_t Place(const TKey& name) const {
    if (this->size() < kMost) {
      std::size_t place = 0;
      while (place < this->size() && (this->begin() + static_cast<std::ptrdiff_t>(place))->first != name) ++place;
      return place;
    }
    const auto found = FPlaces.find(name);
    return found == FPlaces.end() ? this->size() : found->second;
  }

  std::unordered_map<TKey, std::size_t> FPlaces;
};

using TJson = nlohmann::basic_json<TMembers>;

constexpr std::size_t kMaxDepth = 200;
constexpr double kIntegerEnd = 9223372036854775808.0;  // 2 to the power of 63

const TJson* Node(const void* node) noexcept {
  return static_cast<const TJson*>(node);
}

/// Builds the values while the parser reads. With the library's own builder, a look at each value's depth costs a walk
/// over all its neighbours.
class TBuilder {
 public:
  TJson Take() { return std::move(FRoot); }

  bool null() { return Put(nullptr); }
  bool boolean(bool value) { return Put(value); }
  bool number_integer(std::int64_t value) { return Put(value); }
  bool number_unsigned(std::uint64_t value) { return Put(value); }
  bool number_float(double value, const std::string&) { return Put(value); }
  bool string(std::string& value) { return Put(std::move(value)); }
  bool binary(TJson::binary_t&) { return false; }  // no text has it
  bool start_object(std::size_t) { return Open(TJson::value_t::object); }
  bool start_array(std::size_t) { return Open(TJson::value_t::array); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool key(std::string& name) {
    FMember = &FOpen.back()->get_ref<TJson::object_t&>()[name];
    return true;
  }
  template <typename TError>
  bool parse_error(std::size_t, const std::string&, const TError& error) {
    throw TError(error);
  }

 private:
  template <typename TValue>
  TJson& Place(TValue&& value) {
    if (FOpen.empty()) return FRoot = std::forward<TValue>(value);
    if (FOpen.back()->is_object()) return *FMember = std::forward<TValue>(value);
    auto& items = FOpen.back()->get_ref<TJson::array_t&>();
    items.emplace_back(std::forward<TValue>(value));
    return items.back();
  }
  template <typename TValue>
  bool Put(TValue&& value) {
    Place(std::forward<TValue>(value));
    return true;
  }
  bool Open(TJson::value_t kind) {
    if (FOpen.size() >= kMaxDepth) {
      throw EConvertError("The JSON has more than " + IntToStr(kMaxDepth) + " levels.");
    }
    FOpen.push_back(&Place(TJson(kind)));
    return true;
  }
  bool Close() {
    FOpen.pop_back();
    return true;
  }

  TJson FRoot;
  TJson* FMember = nullptr;   // of the innermost object, for the value that comes next
  std::vector<TJson*> FOpen;  // those around it do not move while it is open
};

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
  const auto& members = Node(FNode)->get_ref<const TJson::object_t&>();
  const auto found = members.find(AName.utf8());
  return found == members.end() ? TVqJSONValue() : TVqJSONValue(FDocument, &found->second);
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
  try {
    TBuilder builder;
    TJson::sax_parse(text.begin(), text.end(), &builder);
    auto document = std::make_shared<const TJson>(builder.Take());
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
