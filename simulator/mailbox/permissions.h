#pragma once

// What somebody may do in a folder, and how permission sets say it.

#include <optional>
#include <string>

#include "simulator/types/options.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

/// One thing that may be done in a folder.
enum class Right : unsigned {
  kVisible = 1u << 0,
  kRead = 1u << 1,
  kCreate = 1u << 2,
  kEditOwned = 1u << 3,
  kEditAll = 1u << 4,
  kDeleteOwned = 1u << 5,
  kDeleteAll = 1u << 6,
  kCreateFolders = 1u << 7,
  kOwns = 1u << 8,
  kIsContact = 1u << 9,
  kFreeBusyTime = 1u << 10,     ///< when the owner is busy
  kFreeBusyDetails = 1u << 11,  ///< and with what, and where
};

/// A set of them. It compares with the coarse rights that grants are made of: `rights < Access::kEditor` asks whether
/// something is missing that an editor needs.
class Rights {
 public:
  Rights() = default;
  Rights(Access access);  // NOLINT: a coarse right is a set of fine ones
  explicit Rights(unsigned bits) : bits_(bits) {}

  bool Has(Right right) const { return (bits_ & static_cast<unsigned>(right)) != 0; }
  bool Covers(Access access) const;
  Rights& operator|=(Rights other) {
    bits_ |= other.bits_;
    return *this;
  }
  /// May items be changed, or deleted, by somebody who created them himself or did not?
  bool MayEdit(bool own) const { return Has(Right::kEditAll) || (own && Has(Right::kEditOwned)); }
  bool MayDelete(bool own) const { return Has(Right::kDeleteAll) || (own && Has(Right::kDeleteOwned)); }
  unsigned Bits() const { return bits_; }

  friend bool operator<(const Rights& rights, Access needed) { return !rights.Covers(needed); }
  friend bool operator>=(const Rights& rights, Access needed) { return rights.Covers(needed); }
  /// Who sees when somebody is busy does not see the folder for it.
  friend bool operator==(const Rights& rights, Access access) {
    const unsigned apart = static_cast<unsigned>(Right::kFreeBusyTime) |
                           static_cast<unsigned>(Right::kFreeBusyDetails) | static_cast<unsigned>(Right::kIsContact);
    return (rights.bits_ & ~apart) == (Rights(access).bits_ & ~apart);
  }

 private:
  unsigned bits_ = 0;
};

/// Of t:Permission or t:CalendarPermission. Throws EwsError for a level beside which the request sets single rights,
/// and for one of its own that leaves some out.
Rights RightsOf(const Element& permission);
/// t:Permission or t:CalendarPermission with all that it comes down to, as servers tell it.
Element PermissionElement(const Element& user_id, Rights rights, bool calendar);
/// The rights in a stored permission set of the user with this address: those of an entry of his own, else those of
/// all.
Rights RightsIn(const Element& permission_set, const std::string& smtp_address);
/// "Editor" and its kin; "Custom" for rights that no level has.
std::string LevelOf(Rights rights);

}  // namespace velmore::simulator
