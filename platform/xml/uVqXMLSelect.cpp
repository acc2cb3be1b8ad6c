// Finding, and making, what a compiled selection describes.

#include "platform/xml/uVqXMLSelect_p.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <unordered_set>

#include "platform/xml/uVqXMLScan_p.h"

namespace velmore::detail {
namespace {

constexpr char Lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

/// Zero-terminated `name` against a text, which may be anything. Names differ within a few characters, sooner than a
/// library call begins.
bool Equal(const char* name, std::string_view text) noexcept {
  for (const char c : text) {
    if (*name != c || *name++ == '\0') return false;
  }
  return *name == '\0';
}
bool EqualNoCase(const char* name, std::string_view text) noexcept {
  for (const char c : text) {
    const char other = *name++;
    if (other == '\0' || (other != c && Lower(other) != Lower(c))) return false;
  }
  return *name == '\0';
}
const char* LocalOf(const char* name) noexcept {
  for (const char* c = name; *c != '\0'; ++c) {
    if (*c == ':') return c + 1;
  }
  return name;
}

/// Calls `use` with the comparison that a test and a mode ask for, so that a loop over names chooses once.
template <typename Use>
auto WithComparison(const TVqNameTest& test, TVqNameMode mode, Use use) {
  const std::string_view qualified = test.Qualified, local = test.LocalName();
  switch (mode) {
    case TVqNameMode::nmQualified:
      return use([=](const char* name) { return Equal(name, qualified); });
    case TVqNameMode::nmQualifiedNoCase:
      return use([=](const char* name) { return EqualNoCase(name, qualified); });
    case TVqNameMode::nmLocal:
      return use([=](const char* name) { return Equal(LocalOf(name), local); });
    default:
      return use([=](const char* name) { return EqualNoCase(LocalOf(name), local); });
  }
}

/// Counts for the positions of a step that goes to any depth: those of the elements that a walk is in, innermost last.
class TVqSiblings {
 public:
  explicit TVqSiblings(const TVqStep& step)
      : FConditions(step.Predicates.size()),
        FNeeded(std::ranges::any_of(step.Predicates, [](const TVqPredicate& condition) {
          return condition.What == TVqPredicate::Kind::kPosition;
        })) {}

  /// The counts of a node's parent; nodes must come in document order. None when no position is asked for.
  std::size_t* Counts(pugi::xml_node node) {
    if (!FNeeded) return nullptr;
    // A first child is a step inward; from any other the walk is in its parent already, or comes back to it.
    void* const parent = RawPointer(node.parent());
    if (node.previous_sibling()) {
      while (!FLevels.empty() && FLevels.back().Parent != parent) FLevels.pop_back();
    }
    if (FLevels.empty() || FLevels.back().Parent != parent) {
      FLevels.push_back({parent, std::vector<std::size_t>(FConditions)});
    }
    return FLevels.back().Counts.data();
  }

 private:
  struct TLevel {
    void* Parent;
    std::vector<std::size_t> Counts;
  };
  std::size_t FConditions;
  bool FNeeded;
  std::vector<TLevel> FLevels;
};

/// Finds the nodes of a path one by one, depth first.
template <typename Found>
class TSearch {
 public:
  TSearch(const TVqDOMPath& path, std::size_t steps, TVqNameMode mode, const TVqPlace& place, Found found)
      : FPath(path), FSteps(steps), FMode(mode), FData(place.Data), FTree(place.Tree), FFound(found) {}

  void Run(pugi::xml_node context) { Step(0, context); }

 private:
  /// Follows the path from a node on; true when the search is over. A null node is the document.
  bool Step(std::size_t index, pugi::xml_node node) {
    if (index == FSteps) return FFound(node);
    const TVqStep& step = FPath.Steps[index];
    switch (step.What) {
      case TVqStep::Kind::kParent: {
        const pugi::xml_node parent = node.parent();
        if (!IsElement(parent) || parent.name()[0] == '\0') return false;
        return Conditions(step, parent, nullptr) && Step(index + 1, parent);
      }
      case TVqStep::Kind::kSelf:
        return Conditions(step, node, nullptr) && Step(index + 1, node);
      case TVqStep::Kind::kChild:
        return Children(index, step, node);
      default:
        return Descendants(index, step, node);
    }
  }

  bool Children(std::size_t index, const TVqStep& step, pugi::xml_node node) {
    if (step.Predicates.empty()) {
      for (pugi::xml_node child = First(node); RawPointer(child); child = child.next_sibling()) {
        if (Test(step, child) && Step(index + 1, child)) return true;
      }
      return false;
    }
    std::size_t counts[64] = {};
    for (pugi::xml_node child = First(node); RawPointer(child); child = child.next_sibling()) {
      if (Test(step, child) && Conditions(step, child, counts) && Step(index + 1, child)) return true;
    }
    return false;
  }

  bool Descendants(std::size_t index, const TVqStep& step, pugi::xml_node node) {
    const pugi::xml_node root = node ? pugi::xml_node() : FTree.Root();
    const pugi::xml_node top = node ? node : root;
    TVqSiblings siblings(step);
    for (pugi::xml_node inside = node ? node.first_child() : root; inside; inside = NextInside(inside, top)) {
      std::size_t* counts = siblings.Counts(inside);
      if (Test(step, inside) && Conditions(step, inside, counts) && Step(index + 1, inside)) return true;
    }
    return false;
  }

  pugi::xml_node First(pugi::xml_node node) const { return RawPointer(node) ? node.first_child() : FTree.First(); }

  bool Test(const TVqStep& step, pugi::xml_node node) const {
    // The name first, as it decides nearly always; only then, whether it is an element at all.
    if (step.Name.IsAny()) return IsElement(node) && node.name()[0] != '\0';
    return Matches(step.Name, node.name(), FMode) && IsElement(node);
  }

  /// `counts` holds for each condition how many siblings in front have met those before it; without, the node is alone.
  bool Conditions(const TVqStep& step, pugi::xml_node node, std::size_t* counts) {
    for (std::size_t i = 0; i < step.Predicates.size(); ++i) {
      const TVqPredicate& condition = step.Predicates[i];
      if (condition.What != TVqPredicate::Kind::kPosition) {
        if (!Holds(condition, node)) return false;
      } else if (counts) {
        if (counts[i]++ != condition.Position) return false;
      } else if (condition.Position != 0) {
        return false;
      }
    }
    return true;
  }

  bool TextEquals(pugi::xml_node node, const TVqPredicate& condition) {
    return TextOf(FData, node, FScratch) == condition.Value;
  }

  bool Holds(const TVqPredicate& condition, pugi::xml_node node) {
    if (condition.What == TVqPredicate::Kind::kText) {
      return condition.HasValue ? TextEquals(node, condition) : !TextOf(FData, node, FScratch).empty();
    }
    if (condition.What == TVqPredicate::Kind::kChild) return ChildHolds(condition, 0, node);
    const pugi::xml_attribute attribute = FindAttribute(node, condition.Names[0], FMode);
    if (!attribute || !condition.HasValue) return static_cast<bool>(attribute);
    if (condition.AsNumber) {
      std::int64_t wanted, given;
      if (NumberOf(condition.Value, wanted) && NumberOf(attribute.value(), given)) return wanted == given;
    }
    return condition.Value == attribute.value();
  }

  bool ChildHolds(const TVqPredicate& condition, std::size_t index, pugi::xml_node node) {
    if (index == condition.Names.size()) return !condition.HasValue || TextEquals(node, condition);
    const TVqNameTest& name = condition.Names[index];
    for (pugi::xml_node child = FirstElement(node); child; child = NextElement(child)) {
      if ((name.IsAny() || Matches(name, child.name(), FMode)) && ChildHolds(condition, index + 1, child)) return true;
    }
    return false;
  }

  const TVqDOMPath& FPath;
  std::size_t FSteps;
  TVqNameMode FMode;
  const TVqDOMData& FData;
  const TVqDOMTree& FTree;
  Found FFound;
  std::string FScratch;
};

/// Where a path starts: an empty node for the document.
pugi::xml_node Start(const TVqDOMPath& path, const TVqPlace& place) {
  return path.FromRoot || place.Context == place.Tree.Document ? pugi::xml_node() : place.Context;
}

template <typename Found>
void Search(const TVqDOMPath& path, std::size_t steps, TVqNameMode mode, const TVqPlace& place, Found found) {
  TSearch<Found>(path, steps, mode, place, found).Run(Start(path, place));
}

pugi::xml_node FirstOf(const TVqDOMPath& path, std::size_t steps, TVqNameMode mode, const TVqPlace& place) {
  pugi::xml_node result;
  Search(path, steps, mode, place, [&](pugi::xml_node node) {
    result = node;
    return true;
  });
  return result;
}

/// Puts nodes into document order, each once, by one walk over the tree.
void SortNodes(std::vector<void*>& nodes, pugi::xml_node top) {
  std::unordered_set<void*> wanted(nodes.begin(), nodes.end());
  nodes.clear();
  for (pugi::xml_node node = top; node && nodes.size() < wanted.size(); node = NextInside(node, top)) {
    if (wanted.count(node.internal_object()) > 0) nodes.push_back(node.internal_object());
  }
}

pugi::xml_node TopOf(pugi::xml_node node) {
  for (;;) {
    const pugi::xml_node parent = node.parent();
    if (!IsElement(parent) || parent.name()[0] == '\0') return node;
    node = parent;
  }
}

}  // namespace

TVqNameMode ModeOf(TVqDOMSelectOptions options) noexcept {
  const bool noCase = options.Has(TVqDOMSelectOption::soIgnoreCase) && !options.Has(TVqDOMSelectOption::soKeepCase);
  if (options.Has(TVqDOMSelectOption::soIgnorePrefix)) {
    return noCase ? TVqNameMode::nmLocalNoCase : TVqNameMode::nmLocal;
  }
  return noCase ? TVqNameMode::nmQualifiedNoCase : TVqNameMode::nmQualified;
}

bool Matches(const TVqNameTest& test, const char* name, TVqNameMode mode) noexcept {
  return WithComparison(test, mode, [&](auto equal) { return equal(name); });
}

pugi::xml_node SelectChild(const TVqNameTest& test, TVqNameMode mode, pugi::xml_node parent) noexcept {
  return WithComparison(test, mode, [&](auto equal) {
    pugi::xml_node child = parent.first_child();
    while (RawPointer(child) && !(equal(child.name()) && IsElement(child))) child = child.next_sibling();
    return child;
  });
}

pugi::xml_attribute FindAttribute(pugi::xml_node element, const TVqNameTest& name, TVqNameMode mode) noexcept {
  for (pugi::xml_attribute attribute = Live(element.first_attribute()); attribute;
       attribute = Live(attribute.next_attribute())) {
    if (Matches(name, attribute.name(), mode)) return attribute;
  }
  return {};
}

bool NumberOf(std::string_view text, std::int64_t& value) noexcept {
  text = VqTrimSpace(text);
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  if (hex) text.remove_prefix(2);
  if (text.empty() || (hex && text.front() == '-')) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
  return error == std::errc() && end == text.data() + text.size();
}

pugi::xml_node SelectFirst(const TVqDOMPath& path, TVqDOMSelectOptions options, const TVqPlace& place) {
  if (path.Sorts) {
    const std::vector<void*> all = SelectAll(path, options, place);
    return all.empty() ? pugi::xml_node() : RawNode(all.front());
  }
  return FirstOf(path, path.Steps.size(), ModeOf(options), place);
}

std::vector<void*> SelectAll(const TVqDOMPath& path, TVqDOMSelectOptions options, const TVqPlace& place) {
  std::vector<void*> nodes;
  Search(path, path.Steps.size(), ModeOf(options), place, [&](pugi::xml_node node) {
    // Several children lead to one parent; they follow one another.
    if (node && (nodes.empty() || nodes.back() != node.internal_object())) nodes.push_back(node.internal_object());
    return false;
  });
  if (path.Repeats && !path.Sorts) {
    std::unordered_set<void*> met;
    std::erase_if(nodes, [&](void* node) { return !met.insert(node).second; });
  }
  if (path.Sorts && nodes.size() > 1) SortNodes(nodes, TopOf(RawNode(nodes.front())));
  return nodes;
}

namespace {

[[noreturn]] void CannotCreate(const TVqDOMPath& path, const char* why) {
  throw EVqXMLError("\"" + string(path.Text) + "\" is absent and cannot be made: " + why, 0, 0);
}

/// Where existing steps may end and new ones begin: a step that is left again by ".." is a condition on the element
/// around it, so that the two are made together or not at all.
std::vector<bool> CutPoints(const TVqDOMPath& path) {
  std::vector<bool> allowed(path.Steps.size(), true);
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < path.Steps.size(); ++i) {
    if (path.Steps[i].What == TVqStep::Kind::kSelf) continue;
    if (path.Steps[i].What != TVqStep::Kind::kParent) {
      open.push_back(i);
    } else if (!open.empty()) {
      for (std::size_t cut = open.back(); cut <= i; ++cut) allowed[cut] = false;
      open.pop_back();
    }
  }
  allowed[0] = true;
  return allowed;
}

/// Makes steps of a path, one below the other.
class TCreator {
 public:
  TCreator(TVqDOMData& data, const TVqDOMPath& path, TVqDOMSelectOptions options, const TVqDOMTree& tree,
           const std::string* prefix)
      : FData(data), FPath(path), FOptions(options), FTree(tree), FPrefix(prefix) {}

  pugi::xml_node Run(std::size_t from, pugi::xml_node node) {
    for (std::size_t i = from; i < FPath.Steps.size(); ++i) Check(FPath.Steps[i]);
    if (!node && FTree.Root()) CannotCreate(FPath, "the document has another root element.");
    for (std::size_t i = from; i < FPath.Steps.size(); ++i) node = Make(FPath.Steps[i], node);
    return node;
  }

 private:
  void Check(const TVqStep& step) const {
    if (step.What == TVqStep::Kind::kDescendant) CannotCreate(FPath, "its depth is open.");
    if (step.What == TVqStep::Kind::kChild && step.Name.IsAny()) CannotCreate(FPath, "its name is open.");
    for (const TVqPredicate& condition : step.Predicates) {
      if (condition.What == TVqPredicate::Kind::kPosition && condition.Position != 0) {
        CannotCreate(FPath, "the elements before it are absent, too.");
      }
      for (const TVqNameTest& name : condition.Names) {
        if (name.IsAny()) CannotCreate(FPath, "the name in a condition is open.");
      }
      CheckText(condition.Value);
    }
  }

  std::string NameFor(const TVqNameTest& test, pugi::xml_node parent) const {
    if (test.Local != 0) return test.Qualified;
    std::string_view prefix;
    if (FPrefix) {
      prefix = *FPrefix;
    } else if (FOptions.Has(TVqDOMSelectOption::soIgnorePrefix) && parent) {
      prefix = PrefixPart(parent.name());
    }
    return prefix.empty() ? test.Qualified : std::string(prefix) + ":" + test.Qualified;
  }

  pugi::xml_node Element(const TVqNameTest& test, pugi::xml_node parent) {
    const std::string name = NameFor(test, parent);
    const pugi::xml_node made = parent ? InsertNamed(parent, pugi::node_element, name.c_str(), {})
                                       : InsertNamed(FTree.Document, pugi::node_element, name.c_str(), FTree.Parked);
    FData.StructureChanged();
    return made;
  }

  pugi::xml_node Make(const TVqStep& step, pugi::xml_node node) {
    if (step.What == TVqStep::Kind::kSelf) return node;
    if (step.What == TVqStep::Kind::kParent) {
      const pugi::xml_node parent = node.parent();
      if (!IsElement(parent)) CannotCreate(FPath, "it leads out of the document.");
      return parent;
    }
    pugi::xml_node element = Element(step.Name, node);
    for (const TVqPredicate& condition : step.Predicates) {
      if (condition.What == TVqPredicate::Kind::kAttribute) {
        const std::string& name = condition.Names[0].Qualified;
        pugi::xml_attribute attribute = element.attribute(name.c_str());
        if (!attribute) attribute = Made(element.append_attribute(name.c_str()));
        if (!attribute.set_value(condition.Value.c_str())) throw std::bad_alloc();
      } else if (condition.What == TVqPredicate::Kind::kText) {
        PutText(FData, element, condition.Value.c_str());
      } else if (condition.What == TVqPredicate::Kind::kChild) {
        pugi::xml_node inside = element;
        for (const TVqNameTest& name : condition.Names) inside = Element(name, inside);
        PutText(FData, inside, condition.Value.c_str());
      }
    }
    return element;
  }

  TVqDOMData& FData;
  const TVqDOMPath& FPath;
  TVqDOMSelectOptions FOptions;
  const TVqDOMTree& FTree;
  const std::string* FPrefix;
};

}  // namespace

pugi::xml_node SelectOrCreate(TVqDOMData& data, const TVqDOMPath& path, TVqDOMSelectOptions options,
                              const TVqPlace& place, const std::string* prefix) {
  if (const pugi::xml_node found = SelectFirst(path, options, place)) return found;
  const std::vector<bool> allowed = CutPoints(path);
  data.Changing();
  TCreator creator(data, path, options, place.Tree, prefix);
  for (std::size_t cut = path.Steps.size(); cut-- > 1;) {
    if (!allowed[cut]) continue;
    if (const pugi::xml_node node = FirstOf(path, cut, ModeOf(options), place)) return creator.Run(cut, node);
  }
  return creator.Run(0, Start(path, place));
}

}  // namespace velmore::detail
