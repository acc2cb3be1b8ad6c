#include "simulator/mailbox/restriction.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>

#include "simulator/mailbox/ordering.h"

namespace velmore::simulator {

namespace {

enum class Kind { kAnd, kOr, kNot, kExists, kExcludes, kCompare, kContains };

bool IsWordCharacter(const std::string& text, std::size_t at) {
  const auto c = static_cast<unsigned char>(text[at]);
  return c >= 0x80 || g_ascii_isalnum(static_cast<char>(c)) != 0;
}

/// Is `needle` at the start of a word of `text`?
bool PrefixOnWords(const std::string& text, const std::string& needle) {
  for (std::size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
    if (at == 0 || !IsWordCharacter(text, at - 1)) return true;
  return false;
}

/// Is `needle` in `text` between word borders?
bool ExactPhrase(const std::string& text, const std::string& needle) {
  for (std::size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
    const std::size_t end = at + needle.size();
    if ((at == 0 || !IsWordCharacter(text, at - 1)) && (end == text.size() || !IsWordCharacter(text, end))) return true;
    if (needle.empty()) return false;
  }
  return false;
}

void CheckQueryable(const Path& path) {
  if (path.extended || !path.indexed_uri.empty()) return;
  static const char* const kSearchable[] = {"Body", "ToRecipients", "CcRecipients", "BccRecipients"};
  const std::string& name = path.field->member->name;
  const bool searchable =
      std::any_of(std::begin(kSearchable), std::end(kSearchable), [&](const char* n) { return name == n; });
  if (path.field->member->Has('q') && !searchable) throw Refusal("ErrorUnsupportedPathForQuery", path);
}

/// A constant must be of the kind of its field.
void CheckConstant(const Path& path, const std::string& constant) {
  const bool good = path.extended               ? path.extended->Canonical(constant).has_value()
                    : !path.indexed_uri.empty() ? true
                                                : WhyInvalid(constant, *path.field->member, false).empty();
  if (good) return;
  EwsError error = Refusal("ErrorInvalidValueForProperty", path);
  Element value = Types("Value", constant);
  value.Set("Name", "Constant");
  error.details.push_back(value);
  throw error;
}

}  // namespace

struct Restriction::Node {
  Kind kind = Kind::kAnd;
  std::vector<std::unique_ptr<Node>> children;
  Path path;
  std::optional<Path> other;
  std::string constant;
  Key key;         // of the constant
  std::string op;  // "IsEqualTo"
  std::uint32_t mask = 0;
  std::string mode;
  bool ignore_case = false;
  bool ignore_marks = false;
};

Restriction::Restriction(const Element& element) {
  if (element.children.size() != 1) throw EwsError("ErrorInvalidRequest");
  root_ = Read(element.children.front());
}

Restriction::~Restriction() = default;

std::unique_ptr<Restriction::Node> Restriction::Read(const Element& expression) {
  auto node = std::make_unique<Node>();
  const std::string& name = expression.name;
  if (name == "And" || name == "Or" || name == "Not") {
    node->kind = name == "And" ? Kind::kAnd : name == "Or" ? Kind::kOr : Kind::kNot;
    for (const Element& child : expression.children) node->children.push_back(Read(child));
    return node;
  }
  if (expression.children.empty() || !IsPath(expression.children.front()))
    throw SchemaViolation("The element '" + name + "' in namespace '" + kTypesNamespace +
                              "' has incomplete content. List of possible elements expected: 'Path' in namespace '" +
                              kTypesNamespace + "'.",
                          expression.line, expression.column);
  node->path = ParsePath(expression.children.front());
  CheckQueryable(node->path);
  if (name == "Exists") {
    node->kind = Kind::kExists;
  } else if (name == "Excludes") {
    node->kind = Kind::kExcludes;
    const std::string& value = expression.Child("Bitmask")->AttributeText("Value");
    char* end = nullptr;
    const bool hex = value.starts_with("0x") || value.starts_with("0X");
    const unsigned long long mask = std::strtoull(value.c_str(), &end, hex ? 16 : 10);
    if (value.empty() || *end != '\0' || mask > 0xffffffffu) throw EwsError("ErrorInvalidExcludesRestriction");
    if (node->path.Kind() != ValueKind::kInteger) throw EwsError("ErrorUnsupportedPathForQuery");
    node->mask = static_cast<std::uint32_t>(mask);
  } else if (name == "Contains") {
    node->kind = Kind::kContains;
    node->constant = expression.Child("Constant")->AttributeText("Value");
    node->mode = expression.AttributeText("ContainmentMode");
    if (node->mode.empty()) node->mode = "FullString";
    const std::string& comparison = expression.AttributeText("ContainmentComparison");
    node->ignore_case = comparison.find("IgnoreCase") != std::string::npos || comparison.starts_with("Loose");
    node->ignore_marks = comparison.find("NonSpac") != std::string::npos || comparison.starts_with("Loose");
    const ValueKind kind = node->path.Kind();
    if (kind != ValueKind::kString && kind != ValueKind::kComplex && kind != ValueKind::kEnumeration)
      throw Refusal("ErrorContainsFilterWrongType", node->path);
    node->constant = Fold(node->constant, node->ignore_case, node->ignore_marks);
  } else {
    node->kind = Kind::kCompare;
    node->op = name;
    const Element* operand = expression.Child("FieldURIOrConstant");
    const Element* value = operand != nullptr && !operand->children.empty() ? &operand->children.front() : nullptr;
    if (value == nullptr) throw EwsError("ErrorInvalidRequest");
    if (IsPath(*value)) {
      node->other = ParsePath(*value);
      CheckQueryable(*node->other);
    } else {
      node->constant = value->AttributeText("Value");
      CheckConstant(node->path, node->constant);
      node->key = KeyOf(node->constant, node->path);
    }
  }
  return node;
}

template <class Object>
bool Restriction::Evaluate(const Node& node, const Object& object, const Viewer& viewer) {
  switch (node.kind) {
    case Kind::kAnd:
      return std::all_of(node.children.begin(), node.children.end(),
                         [&](const auto& child) { return Evaluate(*child, object, viewer); });
    case Kind::kOr:
      return std::any_of(node.children.begin(), node.children.end(),
                         [&](const auto& child) { return Evaluate(*child, object, viewer); });
    case Kind::kNot:
      return !Evaluate(*node.children.front(), object, viewer);
    default:
      break;
  }
  const std::vector<std::string> values = ValuesOf(object, node.path, viewer);
  switch (node.kind) {
    case Kind::kExists:
      return !values.empty();
    case Kind::kExcludes:
      // True when none of the bits is set; a property that is absent has none.
      return values.empty() ||
             (static_cast<std::uint32_t>(std::strtoll(values.front().c_str(), nullptr, 10)) & node.mask) == 0;
    case Kind::kContains:
      for (const std::string& value : values) {
        const std::string text = Fold(value, node.ignore_case, node.ignore_marks);
        if (node.mode == "FullString" && text == node.constant) return true;
        if (node.mode == "Prefixed" && text.starts_with(node.constant)) return true;
        if (node.mode == "Substring" && text.find(node.constant) != std::string::npos) return true;
        if (node.mode == "PrefixOnWords" && PrefixOnWords(text, node.constant)) return true;
        if (node.mode == "ExactPhrase" && ExactPhrase(text, node.constant)) return true;
      }
      return false;
    default:
      break;
  }
  std::vector<std::string> others;
  if (node.other) {
    others = ValuesOf(object, *node.other, viewer);
  } else {
    others.push_back(node.constant);
  }
  // What is absent equals nothing and is neither greater nor less.
  if (values.empty() || others.empty()) return node.op == "IsNotEqualTo" && !(values.empty() && others.empty());
  const Key other = node.other ? KeyOf(others.front(), node.path) : node.key;
  const auto holds = [&](const std::string& value) {
    const Key key = KeyOf(value, node.path);
    if (node.op == "IsEqualTo" || node.op == "IsNotEqualTo") return key == other;
    if (node.op == "IsGreaterThan") return key > other;
    if (node.op == "IsGreaterThanOrEqualTo") return key >= other;
    if (node.op == "IsLessThan") return key < other;
    return key <= other;
  };
  return std::any_of(values.begin(), values.end(), holds) != (node.op == "IsNotEqualTo");
}

bool Restriction::Matches(const Item& item, const Viewer& viewer) const {
  return Evaluate(*root_, item, viewer);
}
bool Restriction::Matches(const Folder& folder, const Viewer& viewer) const {
  return Evaluate(*root_, folder, viewer);
}

std::vector<SortField> ParseSortOrder(const Element& order) {
  std::vector<SortField> fields;
  for (const Element& entry : order.children) {
    SortField field;
    if (entry.children.empty() || !IsPath(entry.children.front())) throw EwsError("ErrorInvalidRequest");
    field.path = ParsePath(entry.children.front());
    field.descending = entry.AttributeText("Order") == "Descending";
    if (!field.path.extended && field.path.indexed_uri.empty() && field.path.field->member->Has('q'))
      throw Refusal("ErrorUnsupportedPathForSortGroup", field.path);
    fields.push_back(std::move(field));
  }
  return fields;
}

}  // namespace velmore::simulator
