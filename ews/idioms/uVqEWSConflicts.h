#pragma once

/// When two change the same item at once.
///
///     item = VqEditItem(item, [&](IVqEWSItem& each) { each.SetSubject(each.GetSubject() + ", moved to noon"); });

#include <functional>

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

/// Changes an item and saves it (SaveChanges). Where somebody else has changed it meanwhile and the server refuses to
/// put both together (ErrorIrresolvableConflict), the item is loaded anew (two m:GetItem), and the change is made to
/// that and saved, `AAttempts` times in all. So `AEdit` is called once or several times, each time with an item that it
/// has not changed, and is to read what it builds on from its argument.
///
/// Gives the item as it was saved: the argument, or a new object behind a conflict, where the argument keeps a change
/// that is never saved. With `soAlwaysOverwrite` there are no conflicts, and nothing is done again. Raises what the
/// load and the save raise, the refusal of the last attempt among it, what `AEdit` raises, and a plain exception for an
/// empty reference.
TVqRef<IVqEWSItem> VqEditItem(const TVqRef<IVqEWSItem>& AItem, const std::function<void(IVqEWSItem& AItem)>& AEdit,
                              TVqEWSSaveOption ASaveOption = soAutoResolve, std::int32_t AAttempts = 5);

}  // namespace velmore
