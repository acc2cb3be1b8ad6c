#pragma once

// Recurring tasks: one at a time stands in the folder, and moves on when it is done or left out.

#include "simulator/operations/operations.h"

namespace velmore::simulator {

/// Makes a recurring task the next one of its series, not yet begun. False, and nothing is touched, when it was the
/// last.
bool MoveOn(Context& context, Item& task);

/// A recurring task that an update has completed: what was done stays in the folder as a task of its own, and the
/// series goes on. Does nothing for other items.
void KeepDone(Context& context, Mailbox& mailbox, Folder& folder, const Item& before, Item& after);

}  // namespace velmore::simulator
