#pragma once

// The tree of a file registry in memory: read from a file's text, changed, written again.

#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/os/uVqRegistry.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// A value as it stands in the file, behind and before the quotes.
struct TVqRegistryValue {
  std::string_view Name;  // escaped
  std::string_view Data;  // with its quotes or "dword:"
};

struct TVqRegistryNode {
  std::string Name;  // UTF-8, as it is
  std::vector<std::unique_ptr<TVqRegistryNode>> Keys;
  std::unordered_map<std::string, TVqRegistryNode*> ByName;  // by the name without regard to case
  std::vector<TVqRegistryValue> Values;
};

/// Owns the file's text, which the values of the nodes refer to. No copies. Raises EVqRegistryError.
class TVqRegistryTree {
 public:
  TVqRegistryTree() = default;
  /// Reads a file's text; raises kVqRegistryDamaged with the line, naming the file.
  TVqRegistryTree(std::string text, const string& fileName);
  TVqRegistryTree(const TVqRegistryTree&) = delete;
  TVqRegistryTree& operator=(const TVqRegistryTree&) = delete;

  /// The text of a file with this tree.
  std::string Text() const;

  /// Null when there is none.
  TVqRegistryNode* Find(const std::vector<string>& path);
  /// Makes what is missing.
  TVqRegistryNode& Make(const std::vector<string>& path);
  /// False when there was none.
  bool Delete(const std::vector<string>& path);

  /// Null when there is none.
  static TVqRegistryValue* FindValue(TVqRegistryNode& node, const string& name);
  static std::string NameOf(const TVqRegistryValue& value);
  /// Puts a value's data, as it stands in the file, under a name.
  void SetData(TVqRegistryNode& node, const string& name, std::string data);
  static bool DeleteValue(TVqRegistryNode& node, const string& name);

  static std::string DataOf(const string& text);
  static std::string DataOf(std::uint32_t number);
  /// False when the value is of another kind.
  static bool TryText(const TVqRegistryValue& value, string& text);
  static bool TryNumber(const TVqRegistryValue& value, std::uint32_t& number);

 private:
  TVqRegistryNode FRoot;
  std::string FText;
  std::deque<std::string> FWritten;  // what values refer to that are not of the file
};

}  // namespace velmore

#pragma GCC visibility pop
