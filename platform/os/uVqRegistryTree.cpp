#include "platform/os/uVqRegistryTree_p.h"

#include <algorithm>
#include <cstdio>

#include "platform/common/uVqNetEncoding.h"

namespace velmore {
namespace {

constexpr std::string_view kFirstLine = "Velmore Registry 1";
constexpr std::string_view kLastLine = "end";
constexpr std::string_view kNumber = "dword:";
/// As on Windows. It also bounds the recursions below.
constexpr std::size_t kMaxDepth = 512;

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Digits at a place of the text; false when they are not all there.
bool HexNumber(std::string_view digits, std::size_t count, std::uint32_t& number) {
  number = 0;
  if (digits.size() < count) return false;
  for (const char c : digits.substr(0, count)) {
    if (HexDigit(c) < 0) return false;
    number = number << 4 | static_cast<std::uint32_t>(HexDigit(c));
  }
  return true;
}

/// What names are compared by.
std::string Folded(std::string_view name) {
  std::string folded(name);
  if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; })) {
    return UpperCase(string(name)).utf8();
  }
  for (char& c : folded) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return folded;
}

std::string Quoted(const string& text) {
  std::string quoted = "\"";
  for (const char c : text.utf8()) {
    char code[8];
    if (c == '"' || c == '\\')
      (quoted += '\\') += c;
    else if (c == '\n')
      quoted += "\\n";
    else if (c == '\r')
      quoted += "\\r";
    else if (IsControl(c))
      quoted.append(code,
                    static_cast<std::size_t>(std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(c))));
    else
      quoted += c;
  }
  return quoted += '"';
}

/// Length of the quoted text at the start of a line, with its quotes; 0 when there is none that follows the rules.
std::size_t QuotedLength(std::string_view line) {
  if (!line.starts_with('"')) return 0;
  for (std::size_t i = 1; i < line.size(); ++i) {
    if (line[i] == '"') return i + 1;
    if (IsControl(line[i])) return 0;
    if (line[i] != '\\') continue;
    if (++i == line.size()) return 0;
    std::uint32_t code;
    if (line[i] == 'u' && HexNumber(line.substr(i + 1), 4, code) && code < 0x80)
      i += 4;
    else if (line[i] != '\\' && line[i] != '"' && line[i] != 'n' && line[i] != 'r')
      return 0;
  }
  return 0;
}

/// The text of what QuotedLength accepted, without the quotes.
std::string Unquoted(std::string_view quoted) {
  std::string text;
  text.reserve(quoted.size());
  for (std::size_t i = 0; i < quoted.size(); ++i) {
    if (quoted[i] != '\\') {
      text += quoted[i];
      continue;
    }
    const char c = quoted[++i];
    std::uint32_t code;
    if (c == 'u' && HexNumber(quoted.substr(i + 1), 4, code)) {
      text += static_cast<char>(code);
      i += 4;
    } else {
      text += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    }
  }
  return text;
}

std::string PathPart(std::string_view name) {
  std::string part;
  for (const char c : name) {
    if (IsControl(c) || c == '%')
      (part += '%') += VqHexEncode(std::string_view(&c, 1));
    else
      part += c;
  }
  return part;
}

/// False for a "%" that stands for nothing and for a bare control character.
bool TryPathName(std::string_view part, std::string& name) {
  name.clear();
  for (std::size_t i = 0; i < part.size(); ++i) {
    std::uint32_t code;
    if (IsControl(part[i])) return false;
    if (part[i] != '%') {
      name += part[i];
    } else if (HexNumber(part.substr(i + 1), 2, code) && code < 0x80) {
      name += static_cast<char>(code);
      i += 2;
    } else {
      return false;
    }
  }
  return !name.empty();
}

TVqRegistryNode* Child(TVqRegistryNode& node, std::string_view name) {
  const auto found = node.ByName.find(Folded(name));
  return found == node.ByName.end() ? nullptr : found->second;
}

TVqRegistryNode& MakeChild(TVqRegistryNode& node, std::string_view name) {
  if (TVqRegistryNode* child = Child(node, name)) return *child;
  TVqRegistryNode& made = *node.Keys.emplace_back(std::make_unique<TVqRegistryNode>());
  made.Name = name;
  node.ByName[Folded(name)] = &made;
  return made;
}

void Write(const TVqRegistryNode& node, const std::string& path, std::string& text) {
  if (!path.empty()) ((text += '[') += path) += "]\n";
  for (const TVqRegistryValue& value : node.Values) ((((text += '"') += value.Name) += "\"=") += value.Data) += '\n';
  for (const auto& key : node.Keys) Write(*key, (path.empty() ? path : path + '\\') + PathPart(key->Name), text);
}

/// Reads the lines of a file one by one.
class TReader {
 public:
  TReader(std::string_view text, const string& fileName) : FRest(text), FFileName(fileName) {}

  void Read(TVqRegistryNode& root) {
    if (!VqIsUtf8(FRest)) RaiseWith("it is no UTF-8");
    if (FRest.starts_with("\xEF\xBB\xBF")) FRest.remove_prefix(3);  // some editors put it there
    if (Line() != kFirstLine) Raise("the first line must be \"Velmore Registry 1\"");
    TVqRegistryNode* node = nullptr;
    for (;;) {
      if (FRest.empty()) Raise("its last line, \"end\", is missing");
      const std::string_view line = Line();
      if (line == kLastLine) break;
      if (line.empty()) continue;
      if (line.front() == '[')
        node = &Key(root, line);
      else if (!node)
        Raise("a value stands before the first key");
      else
        node->Values.push_back(Value(line));
    }
    if (!FRest.empty()) Raise("something stands behind its last line");
  }

 private:
  std::string_view Line() {
    ++FLine;
    const std::size_t end = std::min(FRest.find('\n'), FRest.size());
    std::string_view line = FRest.substr(0, end);
    FRest.remove_prefix(std::min(end + 1, FRest.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  }

  TVqRegistryNode& Key(TVqRegistryNode& root, std::string_view line) {
    if (line.back() != ']') Raise("a key ends with \"]\"");
    std::string_view path = line.substr(1, line.size() - 2);
    TVqRegistryNode* node = &root;
    std::string name;
    for (std::size_t depth = 1;; ++depth) {
      const std::size_t end = path.find('\\');
      if (!TryPathName(path.substr(0, end), name))
        Raise("the name of a key is empty or has a character that must be escaped");
      if (depth > kMaxDepth) Raise("keys stand in more than 512 levels");
      node = &MakeChild(*node, name);
      if (end == std::string_view::npos) return *node;
      path.remove_prefix(end + 1);
    }
  }

  TVqRegistryValue Value(std::string_view line) {
    const std::size_t name = QuotedLength(line);
    if (name == 0 || line.size() <= name || line[name] != '=') Raise("neither a key nor a value");
    const std::string_view data = line.substr(name + 1);
    std::uint32_t number;
    const bool isNumber = data.starts_with(kNumber) && data.size() == kNumber.size() + 8 &&
                          HexNumber(data.substr(kNumber.size()), 8, number);
    if (!isNumber && (data.empty() || QuotedLength(data) != data.size()))
      Raise("neither a text in quotes nor a number");
    return {line.substr(1, name - 2), data};
  }

  [[noreturn]] void Raise(const char* what) const {
    RaiseWith(std::string(what) + " (line " + std::to_string(FLine) + ")");
  }
  [[noreturn]] void RaiseWith(const std::string& what) const {
    throw EVqRegistryError("The registry's file \"" + FFileName + "\" is damaged: " + what +
                               ". Repair it or bring back an older one; it is not written over.",
                           kVqRegistryDamaged);
  }

  std::string_view FRest;
  const string& FFileName;
  std::size_t FLine = 0;
};

}  // namespace

TVqRegistryTree::TVqRegistryTree(std::string text, const string& fileName) : FText(std::move(text)) {
  TReader(FText, fileName).Read(FRoot);
}

std::string TVqRegistryTree::Text() const {
  std::string text;
  text.reserve(FText.size() + 4096);
  (text += kFirstLine) += '\n';
  Write(FRoot, {}, text);
  (text += kLastLine) += '\n';
  return text;
}

TVqRegistryNode* TVqRegistryTree::Find(const std::vector<string>& path) {
  TVqRegistryNode* node = &FRoot;
  for (const string& name : path) {
    node = Child(*node, name.utf8());
    if (!node) return nullptr;
  }
  return node;
}

TVqRegistryNode& TVqRegistryTree::Make(const std::vector<string>& path) {
  TVqRegistryNode* node = &FRoot;
  for (const string& name : path) node = &MakeChild(*node, name.utf8());
  return *node;
}

bool TVqRegistryTree::Delete(const std::vector<string>& path) {
  TVqRegistryNode* parent = Find({path.begin(), path.end() - 1});
  TVqRegistryNode* node = parent ? Child(*parent, path.back().utf8()) : nullptr;
  if (!node) return false;
  parent->ByName.erase(Folded(node->Name));
  std::erase_if(parent->Keys, [node](const auto& key) { return key.get() == node; });
  return true;
}

TVqRegistryValue* TVqRegistryTree::FindValue(TVqRegistryNode& node, const string& name) {
  const std::string folded = Folded(name.utf8());
  const auto found = std::find_if(node.Values.begin(), node.Values.end(),
                                  [&](const TVqRegistryValue& value) { return Folded(NameOf(value)) == folded; });
  return found == node.Values.end() ? nullptr : &*found;
}

std::string TVqRegistryTree::NameOf(const TVqRegistryValue& value) {
  return Unquoted(value.Name);
}

void TVqRegistryTree::SetData(TVqRegistryNode& node, const string& name, std::string data) {
  TVqRegistryValue* value = FindValue(node, name);
  if (!value) {
    const std::string& quoted = FWritten.emplace_back(Quoted(name));
    value = &node.Values.emplace_back();
    value->Name = std::string_view(quoted).substr(1, quoted.size() - 2);
  }
  value->Data = FWritten.emplace_back(std::move(data));
}

bool TVqRegistryTree::DeleteValue(TVqRegistryNode& node, const string& name) {
  const TVqRegistryValue* value = FindValue(node, name);
  if (!value) return false;
  node.Values.erase(node.Values.begin() + (value - node.Values.data()));
  return true;
}

std::string TVqRegistryTree::DataOf(const string& text) {
  return Quoted(text);
}

std::string TVqRegistryTree::DataOf(std::uint32_t number) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(number));
  return std::string(kNumber) + digits;
}

bool TVqRegistryTree::TryText(const TVqRegistryValue& value, string& text) {
  if (!value.Data.starts_with('"')) return false;
  text = Unquoted(value.Data.substr(1, value.Data.size() - 2));
  return true;
}

bool TVqRegistryTree::TryNumber(const TVqRegistryValue& value, std::uint32_t& number) {
  return value.Data.starts_with(kNumber) && HexNumber(value.Data.substr(kNumber.size()), 8, number);
}

}  // namespace velmore
