// Namespace declarations: what a prefix means, taking repetitions away, and giving namespaces other prefixes.

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore {
namespace detail {
namespace {

/// The prefix that an attribute declares (empty for the default namespace); nothing when it declares none.
std::optional<std::string_view> DeclaredBy(std::string_view name) noexcept {
  if (name == "xmlns") return std::string_view();
  if (name.starts_with("xmlns:")) return name.substr(6);
  return std::nullopt;
}

}  // namespace

std::string_view NamespaceAt(pugi::xml_node element, std::string_view prefix) {
  if (prefix == "xml") return "http://www.w3.org/XML/1998/namespace";
  if (prefix == "xmlns") return "http://www.w3.org/2000/xmlns/";
  for (; IsElement(element); element = element.parent()) {
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      if (DeclaredBy(attribute.name()) == prefix) return attribute.value();
    }
  }
  return {};
}

namespace {

/// Renames prefixes in a subtree. Every namespace has one new prefix throughout, so that what an element finds in scope
/// needs no look at how it was renamed.
class TRenamer {
 public:
  explicit TRenamer(const std::vector<TVqNamespacePrefix>& prefixes) : FPrefixes(prefixes) {}

  void Run(pugi::xml_node top) {
    for (pugi::xml_node up = top.parent(); IsElement(up); up = up.parent()) CollectAround(up);
    pugi::xml_node node = top;
    std::size_t depth = 0;
    for (;;) {
      if (IsElement(node)) {
        Enter(node, depth);
        if (const pugi::xml_node child = node.first_child()) {
          node = child;
          ++depth;
          continue;
        }
      }
      for (;;) {
        if (IsElement(node)) Leave(depth);
        if (node == top) return;
        if (const pugi::xml_node next = node.next_sibling()) {
          node = next;
          break;
        }
        node = node.parent();
        --depth;
      }
    }
  }

 private:
  struct TBinding {
    std::string Prefix, URI;
    std::size_t Depth;  // of the element that declares it; what stands around the top comes first, with 0
  };

  void CollectAround(pugi::xml_node element) {
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      const auto prefix = DeclaredBy(attribute.name());
      if (!prefix) continue;
      // Outer ones are collected last and must be found last.
      FBindings.insert(FBindings.begin(), {std::string(*prefix), attribute.value(), 0});
    }
  }

  const TBinding* Find(std::string_view prefix) const {
    for (auto binding = FBindings.rbegin(); binding != FBindings.rend(); ++binding) {
      if (binding->Prefix == prefix) return &*binding;
    }
    return nullptr;
  }

  bool IsWanted(std::string_view prefix) const {
    return std::any_of(FPrefixes.begin(), FPrefixes.end(),
                       [&](const TVqNamespacePrefix& row) { return row.Prefix == prefix; });
  }

  /// The prefix that a binding gets.
  std::string NewPrefix(const TBinding& binding) {
    for (const TVqNamespacePrefix& row : FPrefixes) {
      if (row.URI == binding.URI) return std::string(row.Prefix);
    }
    if (binding.Prefix.empty() || !IsWanted(binding.Prefix)) return binding.Prefix;
    for (const TBinding& moved : FMoved) {
      if (moved.URI == binding.URI) return moved.Prefix;
    }
    // A prefix of ours in other hands. Any that is bound nowhere around will do.
    std::string prefix;
    do {
      prefix = "ns" + std::to_string(++FNumber);
    } while (Find(prefix));
    FMoved.push_back({prefix, binding.URI, 0});
    return prefix;
  }

  void Enter(pugi::xml_node element, std::size_t depth) {
    bool attributes = false;
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      const auto prefix = DeclaredBy(attribute.name());
      if (prefix) {
        FBindings.push_back({std::string(*prefix), attribute.value(), depth + 1});
      } else {
        attributes = attributes || std::strchr(attribute.name(), ':');
      }
    }
    Rename(element, element.name(), true);
    if (attributes) {
      for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
           attribute = Live(attribute.next_attribute())) {
        if (!DeclaredBy(attribute.name())) Rename(attribute, attribute.name(), false);
      }
    }
    if (!FBindings.empty() && FBindings.back().Depth == depth + 1) RenameDeclarations(element);
  }

  template <typename Node>
  void Rename(Node node, std::string_view name, bool useDefault) {
    const std::string_view prefix = PrefixPart(name);
    if (prefix.empty() && !useDefault) return;
    const TBinding* binding = Find(prefix);
    if (!binding || binding->URI.empty()) return;
    const std::string wanted = NewPrefix(*binding);
    if (wanted == prefix) return;
    const std::string_view local = LocalPart(name);
    SetName(node, wanted.empty() ? std::string(local) : wanted + ":" + std::string(local));
  }

  void RenameDeclarations(pugi::xml_node element) {
    // Taken away first and set again, as two of them may change places.
    std::vector<std::pair<pugi::xml_attribute, std::string>> changes;
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      const auto prefix = DeclaredBy(attribute.name());
      if (!prefix || attribute.value()[0] == '\0') continue;
      const std::string wanted = NewPrefix({std::string(*prefix), attribute.value(), 0});
      if (wanted != *prefix) changes.emplace_back(attribute, wanted.empty() ? "xmlns" : "xmlns:" + wanted);
    }
    for (auto& [attribute, name] : changes) SetName(attribute, kRemovedMark + name);
    for (auto& [attribute, name] : changes) {
      // Two prefixes of one namespace become one; the second declaration stays away.
      if (!element.attribute(name.c_str())) SetName(attribute, name);
    }
  }

  template <typename Node>
  void SetName(Node node, const std::string& name) {
    if (!node.set_name(name.c_str())) throw std::bad_alloc();
    FChanged = true;
  }

  void Leave(std::size_t depth) {
    while (!FBindings.empty() && FBindings.back().Depth == depth + 1) FBindings.pop_back();
  }

  const std::vector<TVqNamespacePrefix>& FPrefixes;
  std::vector<TBinding> FBindings;
  std::vector<TBinding> FMoved;
  int FNumber = 0;

 public:
  bool FChanged = false;
};

/// Does a declaration stand against what is asked for?
bool Disturbs(const std::vector<TVqNamespacePrefix>& prefixes, std::string_view prefix, std::string_view uri) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&](const TVqNamespacePrefix& row) { return (row.URI == uri) != (row.Prefix == prefix); });
}

}  // namespace
}  // namespace detail

using namespace detail;

void IVqDOMDocument::RenamePrefixes(std::initializer_list<TVqNamespacePrefix> APrefixes) const {
  if (!FData) return;
  TVqDOMData& data = Writable(*this);
  const pugi::xml_node root = data.Tree().Root();
  if (!root) return;
  const std::vector<TVqNamespacePrefix> prefixes(APrefixes);
  std::vector<pugi::xml_node> tops;
  if (data.DeclarationsKnown && data.DeclarationsAt == data.Modifications) {
    pugi::xml_node element = root;
    std::size_t number = 1;
    for (const TVqScan::TDeclaration& declaration : data.Declarations) {
      if (!Disturbs(prefixes, declaration.Prefix, declaration.URI)) continue;
      while (element && number < declaration.Element) {
        element = NextInside(element, root);
        if (IsElement(element)) ++number;
      }
      // In document order, so that what lies inside of an earlier one is done with it.
      const bool inside = std::any_of(tops.begin(), tops.end(), [&](pugi::xml_node top) {
        for (pugi::xml_node up = element; up; up = up.parent()) {
          if (up == top) return true;
        }
        return false;
      });
      if (element && !inside) tops.push_back(element);
    }
    data.DeclarationsKnown = false;
  } else {
    tops.push_back(root);
  }
  bool changed = false;
  for (const pugi::xml_node top : tops) {
    TRenamer renamer(prefixes);
    renamer.Run(top);
    changed = changed || renamer.FChanged;
  }
  if (changed) data.StructureChanged();
}

void IVqDOMNode::RefreshNamespaces() const {
  if (!FData || FAttribute) return;
  TVqDOMData& data = Writable(*this);
  const pugi::xml_node top = FNode ? RawNode(FNode) : data.Tree().Root();
  for (pugi::xml_node node = top; node; node = NextInside(node, top)) {
    if (!IsElement(node)) continue;
    for (pugi::xml_attribute attribute = Live(node.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      const auto prefix = DeclaredBy(attribute.name());
      if (!prefix || !IsElement(node.parent())) continue;
      if (NamespaceAt(node.parent(), *prefix) != attribute.value()) continue;
      if (!attribute.set_name((kRemovedMark + std::string(attribute.name())).c_str())) throw std::bad_alloc();
      data.TextChanged();
    }
  }
}

}  // namespace velmore
