#pragma once

// Restrictions and sort orders of searches.

#include <memory>
#include <string>
#include <vector>

#include "simulator/mailbox/view.h"

namespace velmore::simulator {

/// A restriction that was read and checked. Throws EwsError for what the server does not evaluate.
class Restriction {
 public:
  /// `element` is m:Restriction; it must outlive this object.
  explicit Restriction(const Element& element);
  ~Restriction();
  bool Matches(const Item& item, const Viewer& viewer) const;
  bool Matches(const Folder& folder, const Viewer& viewer) const;

 private:
  struct Node;
  std::unique_ptr<Node> root_;
  static std::unique_ptr<Node> Read(const Element& expression);
  template <class Object>
  static bool Evaluate(const Node& node, const Object& object, const Viewer& viewer);
};

struct SortField {
  Path path;
  bool descending = false;
};
/// Reads m:SortOrder.
std::vector<SortField> ParseSortOrder(const Element& order);

/// Compares two texts of a kind: negative, 0, positive. Booleans, numbers and dates by value, strings without case.
int CompareValues(const std::string& a, const std::string& b, ValueKind kind);

/// Folds case and, if wanted, removes the marks of accented letters (Latin, Greek, Cyrillic).
std::string Fold(const std::string& text, bool ignore_case, bool ignore_marks);

}  // namespace velmore::simulator
