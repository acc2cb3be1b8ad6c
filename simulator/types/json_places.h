#pragma once

// Where the values of a JSON text stand, for messages to people: the JSON library tells the place of an error of syntax
// only.

#include <map>
#include <string>
#include <string_view>

namespace velmore::simulator {

/// Where a byte of a text stands, from 1.
struct TextPlace {
  std::size_t line = 1;
  std::size_t column = 1;
};
/// `byte` counts from 1, as the JSON library does.
TextPlace PlaceOf(std::string_view text, std::size_t byte);
/// What the JSON library says of an error, without the place in front: "[...] parse error at line 3, column 5: syntax
/// error while ..."
std::string WithoutPlace(std::string what);

class JsonPlaces {
 public:
  /// `text` is valid JSON, comments allowed.
  explicit JsonPlaces(std::string_view text);
  /// Line, from 1, of a value such as "faults[2].delay"; that of what it stands in when it is not there.
  int Line(std::string path) const;
  /// Path of a key that stands twice in one object; empty when there is none. JSON libraries keep one of them silently.
  const std::string& Duplicate() const { return duplicate_; }

 private:
  void Value(const std::string& path, int depth);
  void Blank();
  std::string String();

  std::string_view text_;
  std::size_t at_ = 0;
  int line_ = 1;
  std::map<std::string, int> lines_;
  std::string duplicate_;
};

}  // namespace velmore::simulator
