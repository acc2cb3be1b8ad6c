#include "ews/items/uVqEWSRecipientViews.h"

namespace velmore {

TVqRef<IVqEWSRecipient> TVqEWSRecipientViews::Single(std::string_view AName, TServerVersion AServerVersion,
                                                     const TPlaceOf& APlaceOf) {
  TVqRef<IVqEWSRecipient>& view = FSingles[AName];
  if (!view) view = MakeRef<TVqEWSRecipient>(APlaceOf(), AServerVersion, FAlive);
  return view;
}

TVqRef<IVqEWSRecipients> TVqEWSRecipientViews::Many(std::string_view AName, TServerVersion AServerVersion,
                                                    const TPlaceOf& APlaceOf) {
  TVqRef<IVqEWSRecipients>& view = FLists[AName];
  if (!view) view = MakeRef<TVqEWSRecipients>(APlaceOf(), "Mailbox", AServerVersion, FAlive);
  return view;
}

void TVqEWSRecipientViews::Drop() {
  *FAlive = false;
  FAlive = std::make_shared<bool>(true);
  FSingles.clear();
  FLists.clear();
}

}  // namespace velmore
