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

}  // namespace velmore::simulator
