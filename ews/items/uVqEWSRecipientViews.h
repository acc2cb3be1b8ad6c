#pragma once

/// The recipients that an item hands out.

#include <functional>
#include <map>
#include <memory>
#include <string_view>

#include "ews/model/uVqEWSRecipients.h"

namespace velmore {

/// Recipients and lists of recipients by the name of their member, built once. Owned by an item; what it handed out
/// raises a plain exception once it is dropped, or the item is gone.
class TVqEWSRecipientViews {
 public:
  TVqEWSRecipientViews() = default;
  TVqEWSRecipientViews(const TVqEWSRecipientViews&) = delete;
  TVqEWSRecipientViews& operator=(const TVqEWSRecipientViews&) = delete;
  ~TVqEWSRecipientViews() { *FAlive = false; }

  /// Makes, at the first call, what finds or makes the element: it may ask the server.
  using TPlaceOf = std::function<TVqEWSRecipient::TPlace()>;

  /// The one recipient, or the list, of a member ("ToRecipients"; a constant text).
  TVqRef<IVqEWSRecipient> Single(std::string_view AName, TServerVersion AServerVersion, const TPlaceOf& APlaceOf);
  TVqRef<IVqEWSRecipients> Many(std::string_view AName, TServerVersion AServerVersion, const TPlaceOf& APlaceOf);

  /// Gives up what was built: the item has been loaded again.
  void Drop();

 private:
  std::map<std::string_view, TVqRef<IVqEWSRecipient>> FSingles;
  std::map<std::string_view, TVqRef<IVqEWSRecipients>> FLists;
  std::shared_ptr<bool> FAlive = std::make_shared<bool>(true);
};

}  // namespace velmore
