#pragma once

/// Reading JSON: a parsed text and handles to its values.
///
///     TVqJSONValue answer = VqParseJSON(body);
///     string url = answer.Find("Url").AsString();                    // empty when there is none
///     for (const TVqJSONValue& mail : answer.Find("mailboxes")) ...

#include <memory>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// `jkNone` is the kind of a value that is not there.
enum class TVqJSONKind { jkNone, jkNull, jkBoolean, jkInteger, jkNumber, jkString, jkArray, jkObject };

/// A handle to a value; it keeps the whole text that it was parsed from alive.
///
/// Owns nothing but that reference; a copy costs one atomic increment. The values never change, so that any number of
/// threads may read them; one handle belongs to one thread at a time. An empty handle is a good citizen: whatever is
/// read from it is empty. Only `Require` and `VqParseJSON` raise (EConvertError).
class TVqJSONValue {
 public:
  TVqJSONValue() noexcept = default;

  /// What the value is; `jkNone` for an empty handle.
  TVqJSONKind Kind() const noexcept;
  /// True when there is a value, even null.
  explicit operator bool() const noexcept { return FNode != nullptr; }
  /// True for the value null, which is there and says nothing; not for an empty handle.
  bool IsNull() const noexcept { return Kind() == TVqJSONKind::jkNull; }

  /// A string as it stands; a number or boolean as its JSON text; otherwise the empty text.
  string AsString() const;
  /// An integer, or a number without a fraction, or a string that holds an integer; otherwise the default, also when it
  /// does not fit.
  std::int64_t AsInteger(std::int64_t ADefault = 0) const;
  /// A number, or a string that holds one; otherwise the default.
  double AsDouble(double ADefault = 0) const;
  /// A boolean, or the strings "true" and "false" in any case; otherwise the default.
  bool AsBoolean(bool ADefault = false) const;

  /// Elements of an array or members of an object; 0 for everything else.
  std::int32_t Count() const noexcept;
  /// An element of an array or the value of a member, by its position; empty when there is none.
  TVqJSONValue Item(std::int32_t AIndex) const;
  /// The name of a member by its position; empty when there is none. Members stand in the order of the text.
  string Name(std::int32_t AIndex) const;
  /// A member by its name, to the letter; empty when there is none.
  TVqJSONValue Member(const string& AName) const;
  /// A value by a path of names and positions with "/" between them, such as "Protocols/0/Url"; the empty path is the
  /// value itself. A member whose name has a "/" is reached by `Member`. Empty when there is none.
  TVqJSONValue Find(const string& APath) const;
  /// The same; raises EConvertError with the path when there is none.
  TVqJSONValue Require(const string& APath) const;

  /// The value as one line of JSON; empty for an empty handle.
  string Text() const;

  /// What a loop over the values runs on.
  class TIterator {
   public:
    /// The value at this place; the next place; whether two places differ.
    TVqJSONValue operator*() const { return FValue->Item(FIndex); }
    TIterator& operator++() {
      ++FIndex;
      return *this;
    }
    bool operator!=(const TIterator& other) const { return FIndex != other.FIndex; }

   private:
    friend class TVqJSONValue;
    TIterator(const TVqJSONValue* value, std::int32_t index) : FValue(value), FIndex(index) {}
    const TVqJSONValue* FValue;
    std::int32_t FIndex;
  };
  /// For loops over elements or members. The handle must outlive the loop.
  TIterator begin() const { return {this, 0}; }
  TIterator end() const { return {this, Count()}; }

 private:
  friend TVqJSONValue VqParseJSON(std::string_view);
  TVqJSONValue(std::shared_ptr<const void> document, const void* node) : FDocument(std::move(document)), FNode(node) {}

  std::shared_ptr<const void> FDocument;
  const void* FNode = nullptr;
};

/// Parses UTF-8, with or without a byte order mark. Raises EConvertError with line and column for text that is not
/// JSON, and for more than 200 levels. Of two members with the same name the last one counts.
TVqJSONValue VqParseJSON(std::string_view text);

/// A text as a JSON string, quotes included.
string VqJSONQuote(const string& text);

}  // namespace velmore
