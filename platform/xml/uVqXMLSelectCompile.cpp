// The text of a selection to its compiled form.

#include <unordered_map>

#include "platform/common/internal/uVqPerThread.h"
#include "platform/xml/uVqXMLScan_p.h"
#include "platform/xml/uVqXMLSelect_p.h"

namespace velmore::detail {
namespace {

class TCompiler {
 public:
  explicit TCompiler(std::string_view text) : FText(text), FPath(std::make_shared<TVqDOMPath>()) {}

  std::shared_ptr<const TVqDOMPath> Run() {
    FPath->Text = FText;
    Space();
    bool descendant = false;
    if (Take("//")) {
      FPath->FromRoot = descendant = true;
    } else if (Take("/")) {
      FPath->FromRoot = true;
    } else if (Take(".//")) {
      descendant = true;
    } else if (Take("./")) {
    }
    do {
      Step(descendant);
      Space();
      descendant = Take("//");
    } while (descendant || Take("/"));
    if (FAt != FText.size()) Fail("The selection cannot be read from here on.");
    // With one level of depth among the candidates they come in document order by themselves.
    for (std::size_t i = 0; i + 1 < FPath->Steps.size(); ++i) {
      if (FPath->Steps[i].What == TVqStep::Kind::kDescendant) FPath->Sorts = true;
      if (FPath->Steps[i].What == TVqStep::Kind::kParent) FPath->Repeats = true;
    }
    const TVqStep& first = FPath->Steps[0];
    FPath->Direct = FPath->Steps.size() == 1 && !FPath->FromRoot && first.What == TVqStep::Kind::kChild &&
                    !first.Name.IsAny() && first.Predicates.empty();
    return FPath;
  }

 private:
  [[noreturn]] void Fail(const string& message) const { FailAt(FText, FAt, message + " (\"" + string(FText) + "\")"); }
  char Peek() const { return FAt < FText.size() ? FText[FAt] : '\0'; }
  bool Take(std::string_view what) {
    if (!FText.substr(FAt).starts_with(what)) return false;
    FAt += what.size();
    return true;
  }
  void Space() {
    while (IsXmlSpace(Peek())) ++FAt;
  }

  TVqNameTest Name() {
    const std::size_t from = FAt;
    while (FAt < FText.size()) {
      std::size_t length;
      const char32_t c = DecodeUtf8(FText, FAt, length);
      if (length == 0 || !(FAt == from ? IsNameStart(c) : IsNameChar(c))) break;
      FAt += length;
    }
    // A name ends before the punctuation of a path that is no part of it: "Name." would be one, and nobody means it.
    if (FAt == from) Fail("A name is expected in the selection.");
    return NameTest(FText.substr(from, FAt - from));
  }

  void Step(bool descendant) {
    Space();
    if (FPath->Steps.size() >= 64) Fail("The selection has too many steps.");
    TVqStep step;
    if (descendant) step.What = TVqStep::Kind::kDescendant;
    if (Take("..")) {
      if (descendant) Fail("A step to the parent cannot follow \"//\".");
      step.What = TVqStep::Kind::kParent;
    } else if (Peek() == '.') {
      if (descendant) Fail("A step to the node itself cannot follow \"//\".");
      ++FAt;
      step.What = TVqStep::Kind::kSelf;
    } else if (Take("*")) {
      step.Name = NameTest("*");
    } else {
      step.Name = Name();
    }
    for (Space(); Take("["); Space()) {
      Predicate(step);
      // Paths of MAPI properties are composed with one closing bracket too many, and must be found.
      Take("]");
    }
    FPath->Steps.push_back(std::move(step));
  }

  void Predicate(TVqStep& step) {
    if (step.Predicates.size() >= 64) Fail("A step of the selection has too many conditions.");
    do {
      Space();
      const bool bracket = Take("(");
      Space();
      step.Predicates.push_back(Condition());
      Space();
      if (bracket && !Take(")")) Fail("A \")\" is expected in the selection.");
      Space();
    } while (Take("and"));
    if (!Take("]")) Fail("A \"]\" is expected in the selection.");
  }

  TVqPredicate Condition() {
    TVqPredicate condition;
    if (Peek() >= '0' && Peek() <= '9') {
      for (; Peek() >= '0' && Peek() <= '9'; ++FAt) {
        if (condition.Position > 1'000'000'000) Fail("A position in the selection is too large.");
        condition.Position = condition.Position * 10 + static_cast<std::size_t>(Peek() - '0');
      }
      return condition;
    }
    if (Take("@")) {
      condition.What = TVqPredicate::Kind::kAttribute;
      condition.Names.push_back(Name());
      // Servers answer a tag in another spelling than the one that was asked for.
      condition.AsNumber = condition.Names[0].LocalName() == "PropertyTag";
    } else if (Take("text()")) {
      condition.What = TVqPredicate::Kind::kText;
    } else {
      condition.What = TVqPredicate::Kind::kChild;
      bool more = true;
      if (Take(".")) {
        more = Take("/");
        if (!more) condition.What = TVqPredicate::Kind::kText;
      }
      while (more) {
        if (condition.Names.size() >= 64) Fail("A condition of the selection has too many steps.");
        condition.Names.push_back(Take("*") ? NameTest("*") : Name());
        more = Take("/");
      }
    }
    Space();
    if (Take("=")) {
      Space();
      condition.HasValue = true;
      condition.Value = Literal();
    }
    return condition;
  }

  /// A quoted text. It may contain its own quote, as names of profiles do: the quote that ends it is the first one with
  /// what can follow a condition behind it.
  std::string Literal() {
    const char quote = Peek();
    if (quote != '"' && quote != '\'') Fail("A quoted text is expected in the selection.");
    const std::size_t from = ++FAt;
    for (std::size_t at = FText.find(quote, from); at != std::string_view::npos; at = FText.find(quote, at + 1)) {
      std::string_view behind = FText.substr(at + 1);
      while (!behind.empty() && IsXmlSpace(behind.front())) behind.remove_prefix(1);
      if (behind.starts_with(']') || behind.starts_with(')') || behind.starts_with("and ")) {
        FAt = at + 1;
        return std::string(FText.substr(from, at - from));
      }
    }
    Fail("A text in the selection has no end.");
  }

  std::string_view FText;
  std::size_t FAt = 0;
  std::shared_ptr<TVqDOMPath> FPath;
};

struct THash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};

struct TPaths {
  std::unordered_map<std::string, std::shared_ptr<const TVqDOMPath>, THash, std::equal_to<>> ByText;
  std::shared_ptr<const TVqDOMPath> Last;
};

}  // namespace

TVqNameTest NameTest(std::string_view qualified) {
  TVqNameTest test{std::string(qualified), 0};
  const std::size_t colon = qualified.find(':');
  if (colon != std::string_view::npos) test.Local = colon + 1;
  return test;
}

std::shared_ptr<const TVqDOMPath> CompilePath(std::string_view text) {
  return TCompiler(text).Run();
}

const TVqDOMPath& CachedPath(std::string_view text) {
  // A store per thread needs no lock. It is emptied when ids in expressions have filled it.
  auto& [paths, last] = VqPerThread<TPaths>();
  if (last && last->Text == text) return *last;
  const auto found = paths.find(text);
  if (found != paths.end()) {
    last = found->second;
    return *last;
  }
  std::shared_ptr<const TVqDOMPath> path = CompilePath(text);
  if (paths.size() >= 512) paths.clear();
  last = paths.emplace(std::string(text), std::move(path)).first->second;
  return *last;
}

}  // namespace velmore::detail

namespace velmore {

TVqDOMSelection::TVqDOMSelection(const TVqUtf8View& AExpression) : FPath(detail::CompilePath(AExpression.View())) {}

}  // namespace velmore
