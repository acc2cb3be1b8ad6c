#include "simulator/mailbox/permissions.h"

#include <algorithm>

#include "simulator/schema/refusal.h"
#include "simulator/types/text.h"

namespace velmore::simulator {

namespace {

constexpr unsigned Bits(std::initializer_list<Right> rights) {
  unsigned bits = 0;
  for (const Right right : rights) bits |= static_cast<unsigned>(right);
  return bits;
}

struct Level {
  const char* name;
  unsigned bits;
};
constexpr unsigned kReads = Bits({Right::kVisible, Right::kRead});
constexpr unsigned kWritesOwn = Bits({Right::kCreate, Right::kEditOwned, Right::kDeleteOwned});
constexpr unsigned kWritesAll =
    kWritesOwn | Bits({Right::kEditAll, Right::kDeleteAll});  // what is everybody's is one's own, too
constexpr unsigned kMakesFolders = Bits({Right::kCreateFolders});
constexpr Level kLevels[] = {
    {"None", 0},
    {"Owner", kReads | kWritesAll | kMakesFolders | Bits({Right::kOwns, Right::kIsContact})},
    {"PublishingEditor", kReads | kWritesAll | kMakesFolders},
    {"Editor", kReads | kWritesAll},
    {"PublishingAuthor", kReads | kWritesOwn | kMakesFolders},
    {"Author", kReads | kWritesOwn},
    {"NoneditingAuthor", kReads | Bits({Right::kCreate, Right::kDeleteOwned})},
    {"Reviewer", kReads},
    {"Contributor", Bits({Right::kVisible, Right::kCreate})},
    {"FreeBusyTimeOnly", Bits({Right::kFreeBusyTime})},
    {"FreeBusyTimeAndSubjectAndLocation", Bits({Right::kFreeBusyTime, Right::kFreeBusyDetails})}};

unsigned BitsOf(const std::string& level) {
  for (const Level& row : kLevels)
    if (level == row.name) return row.bits;
  return 0;
}

constexpr std::pair<const char*, Right> kFlags[] = {{"CanCreateItems", Right::kCreate},
                                                    {"CanCreateSubFolders", Right::kCreateFolders},
                                                    {"IsFolderOwner", Right::kOwns},
                                                    {"IsFolderVisible", Right::kVisible},
                                                    {"IsFolderContact", Right::kIsContact}};

struct Action {
  const char* name;
  Right owned;
  Right all;
};
constexpr Action kActions[] = {{"EditItems", Right::kEditOwned, Right::kEditAll},
                               {"DeleteItems", Right::kDeleteOwned, Right::kDeleteAll}};

Rights CustomRights(const Element& permission) {
  unsigned bits = 0;
  for (const auto& [name, right] : kFlags)
    if (IsTrue(permission.ChildText(name))) bits |= static_cast<unsigned>(right);
  for (const Action& action : kActions) {
    const std::string& whose = permission.ChildText(action.name);
    if (whose == "Owned" || whose == "All") bits |= Bits({action.owned});
    if (whose == "All") bits |= Bits({action.all});
  }
  const std::string& read = permission.ChildText("ReadItems");
  if (read == "FullDetails") bits |= Bits({Right::kRead});
  if (read == "TimeOnly") bits |= Bits({Right::kFreeBusyTime});
  if (read == "TimeAndSubjectAndLocation") bits |= Bits({Right::kFreeBusyTime, Right::kFreeBusyDetails});
  return Rights(bits);
}

std::string StatedLevel(const Element& permission) {
  const std::string& level = permission.ChildText("PermissionLevel");
  return level.empty() ? permission.ChildText("CalendarPermissionLevel") : level;
}

}  // namespace

Rights::Rights(Access access) {
  switch (access) {
    case Access::kNone:
      break;
    case Access::kReviewer:
      bits_ = BitsOf("Reviewer");
      break;
    case Access::kAuthor:
      bits_ = BitsOf("Author");
      break;
    case Access::kEditor:
      bits_ = BitsOf("Editor");
      break;
    case Access::kOwner:
      bits_ = BitsOf("Owner");
      break;
  }
}

bool Rights::Covers(Access access) const {
  switch (access) {
    case Access::kNone:
      return true;
    case Access::kReviewer:
      return Has(Right::kRead);
    case Access::kAuthor:
      return Has(Right::kCreate);
    case Access::kEditor:
      return Has(Right::kEditAll) && Has(Right::kDeleteAll);
    case Access::kOwner:
      return Has(Right::kOwns);
  }
  return false;
}

Rights RightsOf(const Element& permission) {
  const std::string level = StatedLevel(permission);
  const auto given = [&](const char* name) { return permission.Child(name) != nullptr; };
  const bool any =
      std::any_of(std::begin(kFlags), std::end(kFlags), [&](const auto& flag) { return given(flag.first); }) ||
      given("EditItems") || given("DeleteItems") || given("ReadItems");
  if (level != "Custom") {
    // Beside a level nothing may be said that is not so.
    const Rights rights(BitsOf(level));
    const Element same = PermissionElement(Types("UserId"), rights, permission.name == "CalendarPermission");
    for (const Element& part : same.children)
      if (part.name != "UserId" && part.name != "IsFolderContact" && given(part.name.c_str()) &&
          permission.ChildText(part.name) != part.text)
        throw EwsError("ErrorInvalidPermissionSettings");
    return rights;
  }
  if (!any) throw EwsError("ErrorInvalidPermissionSettings");
  return CustomRights(permission);
}

std::string LevelOf(Rights rights) {
  for (const Level& row : kLevels)
    if (row.bits == rights.Bits()) return row.name;
  // Who may ask about a folder is one of its owners, whether its users see him or not.
  const unsigned without_contact = rights.Bits() & ~Bits({Right::kIsContact});
  for (const Level& row : kLevels)
    if ((row.bits & ~Bits({Right::kIsContact})) == without_contact) return row.name;
  return "Custom";
}

Element PermissionElement(const Element& user_id, Rights rights, bool calendar) {
  Element permission = Types(calendar ? "CalendarPermission" : "Permission");
  permission.Add(user_id);
  for (const auto& [name, right] : kFlags) permission.Add(name, rights.Has(right) ? "true" : "false");
  for (const Action& action : kActions)
    permission.Add(action.name, rights.Has(action.all) ? "All" : rights.Has(action.owned) ? "Owned" : "None");
  permission.Add("ReadItems", rights.Has(Right::kRead)                          ? "FullDetails"
                              : calendar && rights.Has(Right::kFreeBusyDetails) ? "TimeAndSubjectAndLocation"
                              : calendar && rights.Has(Right::kFreeBusyTime)    ? "TimeOnly"
                                                                                : "None");
  permission.Add(calendar ? "CalendarPermissionLevel" : "PermissionLevel", LevelOf(rights));
  return permission;
}

Rights RightsIn(const Element& permission_set, const std::string& smtp_address) {
  // Sets that older state files hold name levels alone.
  const auto rights = [](const Element& permission) {
    return permission.Child("ReadItems") != nullptr ? CustomRights(permission) : RightsOf(permission);
  };
  const Element* everybody = nullptr;
  for (const Element& list : permission_set.children) {
    for (const Element& permission : list.children) {
      const Element* user = permission.Child("UserId");
      if (user == nullptr) continue;
      if (SameText(user->ChildText("PrimarySmtpAddress"), smtp_address)) return rights(permission);
      if (user->ChildText("DistinguishedUser") == "Default") everybody = &permission;
    }
  }
  return everybody != nullptr ? rights(*everybody) : Rights();
}

}  // namespace velmore::simulator
