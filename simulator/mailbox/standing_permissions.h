#pragma once

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// What a folder has for which nobody ever set a permission: nothing for all, but that everybody in the organisation
/// sees in the calendar itself when its owner is busy.
Element StandingPermissions(const Folder& folder);

}  // namespace velmore::simulator
