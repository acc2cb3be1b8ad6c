#pragma once

// The rule by which a stream is cut, told as slowly and plainly as it can be: each time from the start of all that is
// there. What the cutter is held against.

#include <optional>
#include <string>

/// Takes out at most one envelope of what is not consumed yet.
inline std::optional<std::string> CutPlainly(std::string& stream) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  std::size_t at = 0;
  const auto more = [&] { return at < stream.size(); };
  while (more() && stream[at] != '<') ++at;
  const std::size_t mark = at;
  for (;;) {
    while (more() && stream[at] != '<') ++at;
    if (!more()) return {};
    while (more() && stream[at] != '/' && stream[at] != '>') ++at;
    if (!more()) return {};
    if (stream[at] != '/') continue;
    ++at;
    while (more() && blank(stream[at])) ++at;
    if (!more()) return {};
    std::string name;
    while (more() && stream[at] != '>' && !blank(stream[at])) name += stream[at++];
    if (!more()) return {};
    if (const std::size_t colon = name.find(':'); colon != std::string::npos) name.erase(0, colon + 1);
    for (char& c : name) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    if (name != "envelope") continue;
    while (more() && stream[at] != '>') ++at;
    if (!more()) return {};
    ++at;
    const std::string envelope = stream.substr(mark, at - mark);
    stream.erase(0, at);
    return envelope;
  }
}
