#pragma once

// The members of distribution lists.

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Gives each member of a list what the server keeps of it: its key and its status.
void RefreshMembers(Item& list);

}  // namespace velmore::simulator
