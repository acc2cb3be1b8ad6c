#include "support/VCard.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr std::size_t kLine = 75;

std::string WithCase(std::string text, char from, char to) {
  for (char& c : text)
    if (c >= from && c <= from + 25) c = static_cast<char>(c - from + to);
  return text;
}
std::string Capitals(std::string text) {
  return WithCase(std::move(text), 'a', 'A');
}

std::string Escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
    } else if (c != '\r') {
      if (c == '\\' || c == ';' || c == ',') out += '\\';
      out += c;
    }
  }
  return out;
}

/// Parameters escape with circumflexes (RFC 6868), and stand in quotes where they would end otherwise.
std::string ParameterText(std::string_view text) {
  std::string out;
  for (const char c : text) out += c == '^' ? "^^" : c == '\n' ? "^n" : c == '"' ? "^'" : std::string(1, c);
  return text.find_first_of(",;:") == std::string_view::npos ? out : '"' + out + '"';
}
std::string ParameterValue(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char next = text[i] == '^' && i + 1 < text.size() ? text[i + 1] : '\0';
    if (text[i] == '"') continue;
    const char meant = next == '^' ? '^' : next == 'n' ? '\n' : next == '\'' ? '"' : '\0';
    out += meant ? meant : text[i];
    if (meant) ++i;
  }
  return out;
}

/// Cuts at the first such character that stands in no quotes; the rest goes behind it.
std::string_view TakeUntil(std::string_view& rest, std::string_view ends) {
  bool quoted = false;
  std::size_t at = 0;
  for (; at < rest.size(); ++at) {
    if (rest[at] == '"') quoted = !quoted;
    if (!quoted && ends.find(rest[at]) != std::string_view::npos) break;
  }
  const std::string_view taken = rest.substr(0, at);
  rest.remove_prefix(at);
  return taken;
}

std::vector<std::string> ParseParts(std::string_view value) {
  std::vector<std::string> parts(1);
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) {
      ++i;
      parts.back() += value[i] == 'n' || value[i] == 'N' ? '\n' : value[i];
    } else if (value[i] == ';') {
      parts.emplace_back();
    } else {
      parts.back() += value[i];
    }
  }
  return parts;
}

VCardProperty ParseLine(std::string_view line) {
  VCardProperty property;
  std::string_view rest = line;
  property.Name = Capitals(std::string(TakeUntil(rest, ";:")));
  if (const std::size_t group = property.Name.find('.'); group != std::string::npos) property.Name.erase(0, group + 1);
  while (rest.starts_with(';')) {
    rest.remove_prefix(1);
    std::string name = Capitals(std::string(TakeUntil(rest, "=;:")));
    std::string_view value;
    if (rest.starts_with('=')) {
      rest.remove_prefix(1);
      value = TakeUntil(rest, ";:");
    }
    property.Parameters.emplace_back(std::move(name), ParameterValue(value));
  }
  if (!rest.starts_with(':')) throw std::runtime_error("A line of a vCard has no value: " + std::string(line));
  property.Parts = ParseParts(rest.substr(1));
  return property;
}

/// Lines that begin with a blank go on where the line before them ended.
std::vector<std::string> Unfolded(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!lines.empty() && (line.starts_with(' ') || line.starts_with('\t'))) {
      lines.back() += line.substr(1);
    } else if (!line.empty()) {
      lines.emplace_back(line);
    }
  }
  return lines;
}

/// Cuts between characters, and never within one.
void AppendFolded(std::string& out, std::string_view line) {
  std::size_t room = kLine;
  while (line.size() > room) {
    std::size_t cut = room;
    while (cut > 1 && (static_cast<unsigned char>(line[cut]) & 0xC0u) == 0x80u) --cut;
    out.append(line.substr(0, cut)).append("\r\n ");
    line.remove_prefix(cut);
    room = kLine - 1;  // the blank counts
  }
  out.append(line).append("\r\n");
}

}  // namespace

std::string VCardProperty::Parameter(std::string_view name) const {
  std::string values;
  for (const auto& [key, value] : Parameters)
    if (key == name) values += (values.empty() ? "" : ",") + WithCase(value, 'A', 'a');
  return values;
}

std::string VCardProperty::Text() const {
  std::string text = Part(0);
  for (std::size_t i = 1; i < Parts.size(); ++i) text += ';' + Parts[i];
  return text;
}

void VCard::Add(std::string name, std::vector<std::string> parts,
                std::vector<std::pair<std::string, std::string>> parameters) {
  if (std::all_of(parts.begin(), parts.end(), [](const std::string& part) { return part.empty(); })) return;
  Properties.push_back({std::move(name), std::move(parameters), std::move(parts)});
}

const VCardProperty* VCard::Find(std::string_view name) const {
  const auto found = std::find_if(Properties.begin(), Properties.end(),
                                  [&](const VCardProperty& property) { return property.Name == name; });
  return found == Properties.end() ? nullptr : &*found;
}

std::string FormatVCard(const VCard& card) {
  std::string out = "BEGIN:VCARD\r\nVERSION:4.0\r\n";
  for (const VCardProperty& property : card.Properties) {
    std::string line = property.Name;
    for (const auto& [name, value] : property.Parameters) line += ';' + name + '=' + ParameterText(value);
    for (std::size_t i = 0; i < property.Parts.size(); ++i) line += (i == 0 ? ":" : ";") + Escaped(property.Parts[i]);
    AppendFolded(out, line);
  }
  return out + "END:VCARD\r\n";
}

std::vector<VCard> ParseVCards(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::vector<VCard> cards;
  bool inside = false;
  for (const std::string& line : Unfolded(text)) {
    const std::string mark = Capitals(line);
    if (mark == "BEGIN:VCARD") {
      cards.emplace_back();
      inside = true;
    } else if (!inside) {
      throw std::runtime_error("This is no vCard: " + line.substr(0, kLine));
    } else if (mark == "END:VCARD") {
      inside = false;
    } else if (!mark.starts_with("VERSION:")) {
      cards.back().Properties.push_back(ParseLine(line));
    }
  }
  if (inside) throw std::runtime_error("A vCard has no end.");
  return cards;
}
