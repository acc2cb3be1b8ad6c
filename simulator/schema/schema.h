#pragma once

// What elements may stand in which order, and what the server does with each property of an item or folder. The rows
// are data (schema_rows.cpp), written for the simulator alone: a client that shared them could not be tested against
// them.

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "simulator/types/versions.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

struct TypeRow {
  const char* name;     // "m:" in front when the children are in the messages namespace
  const char* base;     // type whose children come first, or ""
  const char* content;  // see schema_rows.cpp
};
extern const TypeRow kTypeRows[];
extern const std::size_t kTypeRowCount;

enum class ValueKind { kString, kBoolean, kInteger, kDateTime, kDouble, kBinary, kEnumeration, kComplex };

struct SchemaType;

/// One element in its place, or one attribute.
struct Member {
  std::string name;
  Space space = Space::kTypes;
  ValueKind kind = ValueKind::kString;
  std::string type_name;                 // of a complex member
  const SchemaType* type = nullptr;      // the same, resolved
  std::vector<std::string> enumeration;  // texts allowed
  char facet = '\0';                     // what else a text must be; see schema_rows.cpp
  std::int64_t least = INT32_MIN;        // of an integer
  std::int64_t most = INT32_MAX;
  bool required = false;
  bool repeated = false;
  std::string flags;  // see schema_rows.cpp
  int since = 0;      // first server version that knows it, as an index into VersionNames()

  bool Has(char flag) const { return flags.find(flag) != std::string::npos; }
};

/// Why a text is no value of a member, in the words of servers; empty when it is one. What only the letter of the
/// schema forbids (a date without its time, a number out of the range of its type) is told when `strict`.
std::string WhyInvalid(const std::string& text, const Member& member, bool strict);

struct SchemaType {
  enum class Model { kSequence, kChoice, kOpen };
  std::string name;
  std::string base;
  Model model = Model::kSequence;
  bool one = false;  // a choice of exactly one
  std::vector<Member> members;
  std::vector<Member> attributes;

  const Member* Find(std::string_view element) const;
  int Position(std::string_view element) const;  // -1 when unknown
};

/// A request that does not fit: becomes the fault ErrorSchemaValidation.
class SchemaViolation : public std::runtime_error {
 public:
  SchemaViolation(const std::string& text, unsigned line, unsigned column)
      : std::runtime_error(text), line(line), column(column) {}
  unsigned line;
  unsigned column;
};

class Schema {
 public:
  static const Schema& Instance();

  const SchemaType* Type(std::string_view name) const;  // null when unknown
  /// Type of an item or folder element ("Message", "CalendarFolder"), null when there is none.
  const SchemaType* ItemType(std::string_view element) const;

  struct Checker {
    int version = 0;  // of the request
    bool accept_departures = true;
    std::map<std::string, std::uint64_t> departures;  // what was accepted, by name
  };
  /// Checks a request element (GetItem, ...). Throws SchemaViolation. Accepted departures are repaired in the tree
  /// where that is needed to read it (namespaces, places) and counted.
  void Check(Element& request, Checker& checker) const;

 private:
  Schema();
  void CheckElement(Element& element, const SchemaType& type, Checker& checker) const;
  void CheckSequence(Element& element, const SchemaType& type, Checker& checker) const;
  void CheckChoice(Element& element, const SchemaType& type, Checker& checker) const;
  void CheckAttributes(const Element& element, const SchemaType& type, Checker& checker) const;
  void CheckValue(const Element& element, const Member& member, Checker& checker) const;
  /// What the order of children alone does not tell.
  void CheckShape(const Element& element, const SchemaType& type, Checker& checker) const;

  std::unordered_map<std::string, std::unique_ptr<SchemaType>> types_;
};

/// "{0}" of the URI of a field and what it stands for.
struct FieldUri {
  std::string uri;  // "message:IsRead"
  const Member* member = nullptr;
  std::string owner;  // type that has the member ("Message")
};
/// The field with this URI, null when the schema has none.
const FieldUri* FindFieldUri(std::string_view uri);
/// The fields that came with this version or later, in alphabetical order.
std::vector<std::string> FieldUris(int since);

}  // namespace velmore::simulator
