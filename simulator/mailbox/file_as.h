#pragma once

// Under which name a contact is filed.

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Makes FileAs anew from the parts of the name as FileAsMapping says. A contact without a mapping keeps the name that
/// it was given, and gets one of the usual form when it has none.
void FileAgain(Item& contact);

}  // namespace velmore::simulator
