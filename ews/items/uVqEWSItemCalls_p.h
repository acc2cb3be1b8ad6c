#pragma once

#include "ews/items/internal/uVqEWSItemParts.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Takes away the members of a new item that hold nothing: getters made them on their way.
void EwsRemoveEmptyMembers(const IVqDOMElement& AItem);

}  // namespace velmore

#pragma GCC visibility pop
