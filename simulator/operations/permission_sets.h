#pragma once

// Who may do what in a folder, as requests set it.

#include "simulator/operations/operations.h"

namespace velmore::simulator {

/// Takes a permission set of a request over, each entry with all that it comes down to.
void SetPermissions(Context& context, Folder& folder, const Element& set);
/// Gives one user rights in a folder and leaves those of the others; none at all takes the entry away.
void SetPermission(Folder& folder, const User& user, Rights rights);
/// The user that t:UserId names. Throws EwsError with this code when there is none.
const User& UserOf(const Context& context, const Element& user_id, const char* code);
/// t:UserId as servers tell it.
Element UserIdElement(const User& user);

}  // namespace velmore::simulator
