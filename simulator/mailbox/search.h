#pragma once

// Search folders: they hold nothing themselves, what they show is found when somebody looks.

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Makes a folder show what its search parameters find (t:SearchParameters with ids of folders of this mailbox). Throws
/// EwsError for a restriction that cannot be evaluated.
void BindSearch(const Mailbox& mailbox, Folder& folder);

}  // namespace velmore::simulator
