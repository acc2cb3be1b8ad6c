#pragma once

/// What folders, their tables and their changes share.

#include "ews/model/uVqEWSFolderInterfaces.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The store along the creators of an object; empty when there is none.
TVqRef<IVqEWSMsgStore> EwsStoreAbove(IVqEWSObject& AObject);

/// Appends the shape that asks for these columns, and for the ids; `AWithoutColumns` is the base shape when there are
/// none.
void EwsAddItemShape(const IVqDOMElement& AMethod, TVqEWSFields& AFields, const string& AWithoutColumns);

}  // namespace velmore

#pragma GCC visibility pop
