#include "simulator/mailbox/standing_permissions.h"

namespace velmore::simulator {

Element StandingPermissions(const Folder& folder) {
  const bool calendar = folder.element == "CalendarFolder";
  Element set = Types("PermissionSet");
  Element& list = set.Add(calendar ? "CalendarPermissions" : "Permissions");
  for (const char* everybody : {"Default", "Anonymous"}) {
    Element id = Types("UserId");
    id.Add("DistinguishedUser", everybody);
    const bool times = folder.distinguished == "calendar" && everybody == std::string_view("Default");
    list.Add(PermissionElement(id, Rights(times ? static_cast<unsigned>(Right::kFreeBusyTime) : 0u), calendar));
  }
  return set;
}

}  // namespace velmore::simulator
