#include "simulator/operations/permission_sets.h"

#include <algorithm>
#include <set>

#include "simulator/mailbox/standing_permissions.h"

namespace velmore::simulator {

namespace {

/// The list of permissions of a folder, with the entries that each folder has.
Element& ListOf(Folder& folder) {
  if (!folder.permission_set) folder.permission_set = StandingPermissions(folder);
  return folder.permission_set->children.front();
}

}  // namespace

const User& UserOf(const Context& context, const Element& user_id, const char* code) {
  const std::string& address = user_id.ChildText("PrimarySmtpAddress");
  const Mailbox* mailbox = context.store.ByAddress(address);
  if (mailbox == nullptr) throw EwsError(code, "There is nobody with the address \"" + address + "\".");
  return mailbox->owner;
}

Element UserIdElement(const User& user) {
  Element id = Types("UserId");
  id.Add("PrimarySmtpAddress", user.smtp_address);
  id.Add("DisplayName", user.display_name);
  return id;
}

void SetPermissions(Context& context, Folder& folder, const Element& set) {
  const bool calendar = folder.element == "CalendarFolder";
  if (set.Child("UnknownEntries") != nullptr) throw EwsError("ErrorCannotSetPermissionUnknownEntries");
  if (!calendar && set.Child("CalendarPermissions") != nullptr)
    throw EwsError("ErrorCannotSetCalendarPermissionOnNonCalendarFolder");
  if (calendar && set.Child("Permissions") != nullptr)
    throw EwsError("ErrorCannotSetNonCalendarPermissionOnCalendarFolder");
  Folder changed;
  changed.element = folder.element;
  changed.distinguished = folder.distinguished;
  Element& list = ListOf(changed);
  std::set<std::string> named;
  for (const Element& permissions : set.children) {
    for (const Element& permission : permissions.children) {
      const Element* user = permission.Child("UserId");
      if (user == nullptr) throw EwsError("ErrorInvalidUserInfo");
      const std::string& everybody = user->ChildText("DistinguishedUser");
      const std::string& address = user->ChildText("PrimarySmtpAddress");
      if (everybody.empty() == address.empty()) throw EwsError("ErrorInvalidUserInfo");
      if (!named.insert(Lower(everybody + address)).second) throw EwsError("ErrorDuplicateUserIdsSpecified");
      const Rights rights = RightsOf(permission);
      if (everybody.empty()) {
        list.Add(PermissionElement(UserIdElement(UserOf(context, *user, "ErrorInvalidUserInfo")), rights, calendar));
        continue;
      }
      for (Element& entry : list.children)
        if (entry.Child("UserId")->ChildText("DistinguishedUser") == everybody)
          entry = PermissionElement(*entry.Child("UserId"), rights, calendar);
    }
  }
  folder.permission_set = std::move(changed.permission_set);
}

void SetPermission(Folder& folder, const User& user, Rights rights) {
  Element& list = ListOf(folder);
  std::erase_if(list.children, [&](const Element& entry) {
    return SameText(entry.Child("UserId")->ChildText("PrimarySmtpAddress"), user.smtp_address);
  });
  if (rights.Bits() != 0) list.Add(PermissionElement(UserIdElement(user), rights, folder.element == "CalendarFolder"));
}

}  // namespace velmore::simulator
