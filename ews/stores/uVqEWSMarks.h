#pragma once

/// Marks: how a program finds out whether an item that it was making stands on the server, when the answer was lost.
///
///     const string mark = VqGuidToString(VqCreateGuid());            // kept where the program keeps its work
///     mail->PropertyByName(EPR_BILLING).SetAsString(mark);
///     mail->SaveChanges(soAutoResolve);  // and when this fails, and the program tries again:
///     if (const auto made = VqFindByMark(*drafts, EFLD_BILLING, mark); !made.empty()) return made.front();
///
/// New items carry no mark of their own.

#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// The items of a folder whose field has exactly this text (m:FindItem, and once more for each page). A mark is kept in
/// an extended property with a registered field. Raises a plain exception for an empty mark.
std::vector<TItemId> VqFindByMark(IVqEWSFolder& AFolder, const TVqEWSFieldDef& AField, const string& AMark);

}  // namespace velmore
