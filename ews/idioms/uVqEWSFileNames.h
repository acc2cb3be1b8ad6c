#pragma once

/// Items and folders as files: names that are the same at every run, so that an export that is started again knows what
/// it has.
///
///     const std::filesystem::path target = VqFolderFilePath(folder.Path).utf16();
///     const auto file = target / VqItemFileName(row.Id(), row[FLD_ITEM_SUBJECT].GetAsString()).utf16();
///     if (!std::filesystem::exists(file)) ...
///
/// Nothing here talks to a server or to a disk, or raises anything except for lack of memory.

#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {

/// Sixteen digits and small letters that stand for an item: made of its id alone, whatever becomes of its change key,
/// and the same on every machine. Good for names and for people to type the first ones of; nobody gets an id back.
string VqItemHandle(const TItemId& AId);

/// The name of a file for an item: "Lunch on Thursday 3f9a2c0b71d84e65.eml". One that any system takes, as of
/// VqSafeFileName, and no other item's: the text is cut where the name would get too long, the handle never is. What
/// looks like a path in the text, as in "1/2 of it", keeps its parts. `AText` may be empty; `AExtension` has its dot.
string VqItemFileName(const TItemId& AId, const string& AText = string(), const string& AExtension = ".eml");

/// The path of a directory for a folder, relative and with "/" between: "Projects/1_2 of it" for "Projects/1\/2 of it".
/// Takes a path as TVqEWSFolderNode has it; empty for an empty one. Two folders whose names differ in letter case, or
/// in what no file's name may have, share a directory: with names as above their items do not meet.
string VqFolderFilePath(const string& APath);

}  // namespace velmore
