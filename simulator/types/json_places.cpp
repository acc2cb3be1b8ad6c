#include "simulator/types/json_places.h"

#include <algorithm>

namespace velmore::simulator {

namespace {
// Deeper than any file that people write; keeps a hostile one from the stack.
constexpr int kMaxDepth = 200;
}  // namespace

TextPlace PlaceOf(std::string_view text, std::size_t byte) {
  const std::size_t end = std::min<std::size_t>(byte == 0 ? 0 : byte - 1, text.size());
  TextPlace place;
  place.line +=
      static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
  const std::size_t begin = end == 0 ? std::string_view::npos : text.rfind('\n', end - 1);
  place.column = end + 1 - (begin == std::string_view::npos ? 0 : begin + 1);
  return place;
}

std::string WithoutPlace(std::string what) {
  if (const std::size_t colon = what.find(": "); colon != std::string::npos) what.erase(0, colon + 2);
  return what;
}

JsonPlaces::JsonPlaces(std::string_view text) : text_(text) {
  if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);
  Value({}, 0);
}

int JsonPlaces::Line(std::string path) const {
  for (;;) {
    if (const auto found = lines_.find(path); found != lines_.end()) return found->second;
    const std::size_t cut = path.find_last_of(".[");
    if (cut == std::string::npos) break;
    path.resize(cut);
  }
  const auto whole = lines_.find(std::string());
  return whole != lines_.end() ? whole->second : 1;
}

void JsonPlaces::Blank() {
  while (at_ < text_.size()) {
    const char c = text_[at_];
    if (c == '\n') ++line_;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      ++at_;
    } else if (text_.substr(at_, 2) == "//") {
      at_ = std::min(text_.find('\n', at_), text_.size());
    } else if (text_.substr(at_, 2) == "/*") {
      const std::size_t end = std::min(text_.find("*/", at_ + 2), text_.size() - 2) + 2;
      for (; at_ < end; ++at_)
        if (text_[at_] == '\n') ++line_;
    } else {
      return;
    }
  }
}

std::string JsonPlaces::String() {
  const std::size_t begin = ++at_;
  while (at_ < text_.size() && text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
  const std::string content(text_.substr(begin, std::min(at_, text_.size()) - begin));
  ++at_;
  return content;
}

void JsonPlaces::Value(const std::string& path, int depth) {
  Blank();
  if (at_ >= text_.size() || depth > kMaxDepth) {
    at_ = text_.size();
    return;
  }
  if (!lines_.emplace(path, line_).second && duplicate_.empty()) duplicate_ = path;
  const char kind = text_[at_];
  if (kind == '"') {
    String();
  } else if (kind == '{' || kind == '[') {
    ++at_;
    for (int index = 0; at_ < text_.size(); ++index) {
      Blank();
      if (at_ >= text_.size() || text_[at_] == '}' || text_[at_] == ']') break;
      std::string child = path;
      if (kind == '{') {
        child += (path.empty() ? "" : ".") + String();
        Blank();
        ++at_;  // the colon
      } else {
        child += "[" + std::to_string(index) + "]";
      }
      Value(child, depth + 1);
      Blank();
      if (at_ < text_.size() && text_[at_] == ',') ++at_;
    }
    ++at_;
  } else {
    at_ = std::min(text_.find_first_of(",]}/ \t\r\n", at_), text_.size());
  }
}

}  // namespace velmore::simulator
