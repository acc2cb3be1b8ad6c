#pragma once

/// Which class stands for an item. The two roads differ, on purpose: see the table in the source.

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

class TVqComponent;

/// The object of an item that the server has, loaded by a request of its own (m:GetItem). The element's local name
/// alone decides, without regard to case; one that has no class is a plain item.
TVqRef<IVqEWSItem> EwsOpenItem(const string& AElementName, TVqComponent* ACreator, const TItemId& AItemId);

/// A new, unsaved item. Asks nothing of the server. Raises EVqNotSupported for a kind that no class makes.
TVqRef<IVqEWSItem> EwsMakeItem(TItemType AItemType, TVqComponent* ACreator);

}  // namespace velmore
