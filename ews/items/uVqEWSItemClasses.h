#pragma once

/// Which class stands for an item. Opening and making an item differ in this on purpose: see the table in the source.

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

class TVqComponent;
struct TVqEWSLoadedItem;

/// The object for an item that is on the server, loaded by a request of its own (m:GetItem). The element's local name
/// alone decides, without regard to case; a name without a class gives a plain item.
TVqRef<IVqEWSItem> EwsOpenItem(const string& AElementName, TVqComponent* ACreator, const TItemId& AItemId);

/// The same for an item that an answer holds already. Asks nothing of the server.
TVqRef<IVqEWSItem> EwsOpenItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

/// A new, unsaved item. Asks nothing of the server. Raises EVqNotSupported for a kind that no class makes.
TVqRef<IVqEWSItem> EwsMakeItem(TItemType AItemType, TVqComponent* ACreator);

/// A new, unsaved distribution list as such, which `EwsMakeItem` does not make. Asks nothing of the server.
TVqRef<IVqEWSDistributionList> EwsMakeDistributionList(TVqComponent* ACreator);

}  // namespace velmore
