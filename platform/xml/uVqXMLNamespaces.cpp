// Namespace declarations: what a prefix means, taking repetitions away, and giving namespaces other prefixes.

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
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

/// The namespace of a prefix that needs no declaration; empty for any other.
std::string_view FixedNamespace(std::string_view prefix) noexcept {
  if (prefix == "xml") return "http://www.w3.org/XML/1998/namespace";
  if (prefix == "xmlns") return "http://www.w3.org/2000/xmlns/";
  return {};
}

}  // namespace

std::string_view NamespaceAt(pugi::xml_node element, std::string_view prefix) {
  if (const std::string_view fixed = FixedNamespace(prefix); !fixed.empty()) return fixed;
  for (; IsElement(element); element = element.parent()) {
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      if (DeclaredBy(attribute.name()) == prefix) return attribute.value();
    }
  }
  return {};
}

namespace {

/// Declarations in scope during a walk. A prefix is found at once, however many are declared around it.
class TVqScopes {
 public:
  /// What stands around a node, before a walk over what is inside it.
  explicit TVqScopes(pugi::xml_node top) {
    std::vector<pugi::xml_node> around;
    for (pugi::xml_node up = top.parent(); IsElement(up); up = up.parent()) around.push_back(up);
    while (!around.empty()) {
      Enter(around.back());
      around.pop_back();
    }
  }

  void Enter(pugi::xml_node element) {
    FElements.push_back(FDeclared.size());
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
         attribute = Live(attribute.next_attribute())) {
      if (const auto prefix = DeclaredBy(attribute.name())) {
        // The first of two that a change left with one name is the one that counts, as everywhere.
        std::vector<TBinding>& bindings = FBindings[std::string(*prefix)];
        if (!bindings.empty() && bindings.back().Element == FElements.size()) continue;
        bindings.push_back({attribute.value(), FElements.size()});
        FDeclared.push_back(&bindings);
      }
    }
  }
  void Leave() {
    for (; FDeclared.size() > FElements.back(); FDeclared.pop_back()) FDeclared.back()->pop_back();
    FElements.pop_back();
  }
  /// Whether the innermost element declares anything.
  bool Declares() const { return FDeclared.size() > FElements.back(); }

  /// The namespace of a prefix; none when it is not bound.
  const std::string* Find(std::string_view prefix) const {
    const auto found = FBindings.find(prefix);
    return found == FBindings.end() || found->second.empty() ? nullptr : &found->second.back().URI;
  }

  /// As NamespaceAt.
  std::string_view NamespaceOf(std::string_view prefix) const {
    if (const std::string_view fixed = FixedNamespace(prefix); !fixed.empty()) return fixed;
    const std::string* uri = Find(prefix);
    return uri ? std::string_view(*uri) : std::string_view();
  }

 private:
  struct TBinding {
    std::string URI;
    std::size_t Element;  // that declares it, by depth
  };
  std::map<std::string, std::vector<TBinding>, std::less<>> FBindings;
  std::vector<std::vector<TBinding>*> FDeclared;  // those that each declaration in scope went to
  std::vector<std::size_t> FElements;             // how many were in scope around each element that the walk is in
};

/// Walks over a node and what is inside it; `enter` and `leave` are called for elements.
template <typename TEnter, typename TLeave>
void WalkElements(pugi::xml_node top, TEnter enter, TLeave leave) {
  pugi::xml_node node = top;
  for (;;) {
    if (IsElement(node)) {
      enter(node);
      if (const pugi::xml_node child = node.first_child()) {
        node = child;
        continue;
      }
    }
    for (;;) {
      if (IsElement(node)) leave(node);
      if (node == top) return;
      if (const pugi::xml_node next = node.next_sibling()) {
        node = next;
        break;
      }
      node = node.parent();
    }
  }
}

/// Renames prefixes in a subtree. Every namespace has one new prefix throughout, so that what an element finds in scope
/// needs no look at how it was renamed.
class TRenamer {
 public:
  TRenamer(const std::vector<TVqNamespacePrefix>& prefixes, pugi::xml_node top) : FPrefixes(prefixes), FScopes(top) {}

  void Run(pugi::xml_node top) {
    WalkElements(
        top, [this](pugi::xml_node element) { Enter(element); }, [this](pugi::xml_node) { FScopes.Leave(); });
  }

 private:
  bool IsWanted(std::string_view prefix) const {
    return std::any_of(FPrefixes.begin(), FPrefixes.end(),
                       [&](const TVqNamespacePrefix& row) { return row.Prefix == prefix; });
  }

  /// The prefix that a namespace gets.
  std::string NewPrefix(std::string_view prefix, const std::string& uri) {
    for (const TVqNamespacePrefix& row : FPrefixes) {
      if (row.URI == uri) return std::string(row.Prefix);
    }
    if (prefix.empty() || !IsWanted(prefix)) return std::string(prefix);
    // A prefix of ours in other hands. Any that is bound nowhere around will do.
    std::string& moved = FMoved[uri];
    if (moved.empty()) {
      do {
        moved = "ns" + std::to_string(++FNumber);
      } while (FScopes.Find(moved));
    }
    return moved;
  }

  void Enter(pugi::xml_node element) {
    FScopes.Enter(element);
    bool attributes = false;
    for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute && !attributes;
         attribute = Live(attribute.next_attribute())) {
      attributes = !DeclaredBy(attribute.name()) && std::strchr(attribute.name(), ':');
    }
    Rename(element, element.name(), true);
    if (attributes) {
      for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
           attribute = Live(attribute.next_attribute())) {
        if (!DeclaredBy(attribute.name())) Rename(attribute, attribute.name(), false);
      }
    }
    if (FScopes.Declares()) RenameDeclarations(element);
  }

  template <typename Node>
  void Rename(Node node, std::string_view name, bool useDefault) {
    const std::string_view prefix = PrefixPart(name);
    if (prefix.empty() && !useDefault) return;
    const std::string* uri = FScopes.Find(prefix);
    if (!uri || uri->empty()) return;
    const std::string wanted = NewPrefix(prefix, *uri);
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
      const std::string wanted = NewPrefix(*prefix, attribute.value());
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

  const std::vector<TVqNamespacePrefix>& FPrefixes;
  TVqScopes FScopes;
  std::map<std::string, std::string> FMoved;  // new prefixes by namespace
  int FNumber = 0;

 public:
  bool FChanged = false;
};

/// Renames an element that has nothing inside and is what its only declaration is for: in the header of each reply
/// there is one. False, and nothing done, for any other.
bool RenameLeaf(const std::vector<TVqNamespacePrefix>& prefixes, pugi::xml_node element) {
  if (element.first_child()) return false;
  pugi::xml_attribute declaration;
  for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    if (!DeclaredBy(attribute.name())) {
      if (std::strchr(attribute.name(), ':')) return false;
    } else if (std::exchange(declaration, attribute)) {
      return false;
    }
  }
  const std::string_view prefix = PrefixPart(element.name());
  if (!declaration || prefix.empty() || DeclaredBy(declaration.name()) != prefix) return false;
  const TVqNamespacePrefix* wanted = nullptr;
  for (const TVqNamespacePrefix& row : prefixes) {
    if (row.Prefix == prefix) return false;
    if (row.URI == declaration.value()) wanted = &row;
  }
  if (!wanted) return false;
  const std::string name(wanted->Prefix);
  if (!element.set_name((name + ":" + std::string(LocalPart(element.name()))).c_str()) ||
      !declaration.set_name(("xmlns:" + name).c_str()))
    throw std::bad_alloc();
  return true;
}

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
    if (RenameLeaf(prefixes, top)) {
      changed = true;
      continue;
    }
    TRenamer renamer(prefixes, top);
    renamer.Run(top);
    changed = changed || renamer.FChanged;
  }
  if (changed) data.StructureChanged();
}

void IVqDOMNode::RefreshNamespaces() const {
  if (!FData || FAttribute) return;
  TVqDOMData& data = Writable(*this);
  const pugi::xml_node top = FNode ? RawNode(FNode) : data.Tree().Root();
  if (!top) return;
  TVqScopes scopes(top);
  const auto refresh = [&](pugi::xml_node node) {
    for (pugi::xml_attribute attribute = Live(node.first_attribute()); attribute && IsElement(node.parent());
         attribute = Live(attribute.next_attribute())) {
      const auto prefix = DeclaredBy(attribute.name());
      if (!prefix) continue;
      if (scopes.NamespaceOf(*prefix) != attribute.value()) continue;
      if (!attribute.set_name((kRemovedMark + std::string(attribute.name())).c_str())) throw std::bad_alloc();
      data.TextChanged();
    }
    scopes.Enter(node);
  };
  WalkElements(top, refresh, [&](pugi::xml_node) { scopes.Leave(); });
}

}  // namespace velmore
