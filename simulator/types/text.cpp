#include "simulator/types/text.h"

namespace velmore::simulator {

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return out;
}

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && Lower(a) == Lower(b);
}

std::string JsonText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    if (static_cast<unsigned char>(c) >= 0x20) out += c;
  }
  return out + "\"";
}

bool IsTrue(std::string_view text) {
  return text == "true" || text == "1";
}

bool IsBoolean(std::string_view text) {
  return IsTrue(text) || text == "false" || text == "0";
}

}  // namespace velmore::simulator
