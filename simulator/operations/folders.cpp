// CreateFolder, UpdateFolder, DeleteFolder, EmptyFolder, CopyFolder, MoveFolder.

#include <algorithm>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/restriction.h"
#include "simulator/mailbox/search.h"
#include "simulator/operations/permission_sets.h"

namespace velmore::simulator {

namespace {

bool HasChild(const Mailbox& mailbox, const Folder& parent, const std::string& name, const Folder* except = nullptr) {
  return std::any_of(parent.children.begin(), parent.children.end(), [&](const std::string& id) {
    const Folder* child = mailbox.FindFolder(id);
    return child != nullptr && child != except && SameText(child->display_name, name);
  });
}

std::string ClassOf(const std::string& element) {
  if (element == "CalendarFolder") return "IPF.Appointment";
  if (element == "ContactsFolder") return "IPF.Contact";
  if (element == "TasksFolder") return "IPF.Task";
  return "IPF.Note";
}

std::string ElementOf(const std::string& folder_class, const std::string& fallback) {
  if (folder_class.starts_with("IPF.Appointment")) return "CalendarFolder";
  if (folder_class.starts_with("IPF.Contact")) return "ContactsFolder";
  if (folder_class.starts_with("IPF.Task")) return "TasksFolder";
  return fallback;
}

void SetExtended(Folder& folder, const Element& property) {
  ExtendedValue value = ReadExtended(property);
  std::erase_if(folder.extended, [&](const ExtendedValue& present) { return present.key == value.key; });
  folder.extended.push_back(std::move(value));
}

/// The folders of a search by their ids, whatever the request called them.
void SetSearch(Context& context, const Mailbox& mailbox, Folder& folder, const Element& parameters) {
  Element resolved = parameters;
  for (Element& id : resolved.Child("BaseFolderIds")->children) {
    const Place base = LocateFolder(context, id);
    if (base.mailbox != &mailbox)
      throw EwsError("ErrorInvalidOperation", "A search folder finds what is in its own mailbox.");
    id = FolderIdElement(*base.mailbox, *base.folder);
  }
  std::swap(folder.search_parameters.emplace(), resolved);
  BindSearch(mailbox, folder);
}

Element Holding(const Mailbox& mailbox, const Folder& folder) {
  Element folders = Messages("Folders");
  folders.Add(folder.element).Add(FolderIdElement(mailbox, folder));
  return folders;
}

bool IsInside(const Mailbox& mailbox, const Folder& folder, const Folder& ancestor) {
  for (const Folder* at = &folder; at != nullptr; at = mailbox.FindFolder(at->parent))
    if (at == &ancestor) return true;
  return false;
}

/// A name that is free below a folder: deleted folders may bear the same one.
std::string FreeName(const Mailbox& mailbox, const Folder& parent, const std::string& name) {
  std::string candidate = name;
  for (int i = 1; HasChild(mailbox, parent, candidate); ++i) candidate = name + std::to_string(i);
  return candidate;
}

/// Deletes a folder in one of the three ways.
void Discard(Mailbox& mailbox, Folder& folder, const std::string& how) {
  Folder* trash = mailbox.Distinguished("deleteditems");
  if (how == "SoftDelete") {
    Folder& dumpster = mailbox.Dumpster();
    const std::string origin = folder.parent;
    folder.display_name = FreeName(mailbox, dumpster, folder.display_name);
    mailbox.MoveFolder(folder, dumpster);
    folder.deleted_from = origin;
  } else if (how == "MoveToDeletedItems" && trash != nullptr && !IsInside(mailbox, folder, *trash)) {
    folder.display_name = FreeName(mailbox, *trash, folder.display_name);
    mailbox.MoveFolder(folder, *trash);
  } else {
    mailbox.RemoveFolder(std::string(folder.entry_id));
  }
}

Element CopyOrMove(Context& context, const Element& request, bool move) {
  return RespondEach(
      move ? "MoveFolder" : "CopyFolder", *request.Child("FolderIds"),
      [&](const Element& id) {
        const Place target = LocateTarget(context, *request.Child("ToFolderId"));
        const Place source = LocateFolder(context, id);
        Require(target, Access::kOwner);
        Require(source, move ? Access::kOwner : Access::kReviewer);
        if (move && !source.folder->distinguished.empty())
          throw EwsError("ErrorMoveDistinguishedFolder", "Distinguished folders cannot be moved.");
        if (source.mailbox == target.mailbox && IsInside(*target.mailbox, *target.folder, *source.folder))
          throw EwsError("ErrorMoveCopyFailed");
        if (HasChild(*target.mailbox, *target.folder, source.folder->display_name, move ? source.folder : nullptr))
          throw EwsError("ErrorFolderExists");
        if (source.folder->search_parameters && source.mailbox != target.mailbox) throw EwsError("ErrorMoveCopyFailed");
        Folder* result = source.folder;
        if (move && source.mailbox == target.mailbox) {
          source.mailbox->MoveFolder(*source.folder, *target.folder);
        } else {
          result = &source.mailbox->CopyFolder(*source.folder, *target.mailbox, *target.folder);
          if (move) source.mailbox->RemoveFolder(source.folder->entry_id);
        }
        return std::vector<Element>{Holding(*target.mailbox, *result)};
      },
      {Messages("Folders")});
}

}  // namespace

Element CreateFolder(Context& context, const Element& request) {
  return RespondEach(
      "CreateFolder", *request.Child("Folders"),
      [&](const Element& element) {
        const Place parent = LocateTarget(context, *request.Child("ParentFolderId"));
        if (!parent.access.Has(Right::kCreateFolders)) throw EwsError("ErrorAccessDenied");
        const std::string& name = element.ChildText("DisplayName");
        if (name.empty())
          throw EwsError("ErrorFolderSavePropertyError",
                         "The folder save operation failed due to invalid property values.");
        if (HasChild(*parent.mailbox, *parent.folder, name))
          throw EwsError("ErrorFolderExists",
                         "A folder with the specified name already exists., Could not create folder '" + name + "'.");
        std::string folder_class = element.ChildText("FolderClass");
        if (folder_class.empty()) folder_class = ClassOf(element.name);
        if (element.name != "Folder" && element.name != "SearchFolder" &&
            ElementOf(folder_class, element.name) != element.name)
          throw EwsError("ErrorNoFolderClassOverride");
        const Element* permissions = element.Child("PermissionSet");
        const Element* search = element.Child("SearchParameters");
        if (search != nullptr) {
          // Refused before anything is made.
          const Restriction checked(*search->Child("Restriction"));
          for (const Element& id : search->Child("BaseFolderIds")->children) LocateFolder(context, id);
        }
        Folder& folder = parent.mailbox->AddFolder(
            *parent.folder, element.name == "Folder" ? ElementOf(folder_class, "Folder") : element.name, name,
            folder_class);
        for (const Element& child : element.children)
          if (child.name == "ExtendedProperty") SetExtended(folder, child);
        if (permissions != nullptr) SetPermissions(context, folder, *permissions);
        if (search != nullptr) SetSearch(context, *parent.mailbox, folder, *search);
        return std::vector<Element>{Holding(*parent.mailbox, folder)};
      },
      {Messages("Folders")});
}

Element UpdateFolder(Context& context, const Element& request) {
  return RespondEach("UpdateFolder", *request.Child("FolderChanges"),
                     [&](const Element& change) {
                       if (change.children.empty()) throw EwsError("ErrorInvalidIdEmpty");
                       const Place place = LocateFolder(context, change.children.front());
                       Require(place, Access::kOwner);
                       Folder& folder = *place.folder;
                       const Element& updates = *change.Child("Updates");
                       for (const Element& update : updates.children) {
                         const auto at = std::find_if(update.children.begin(), update.children.end(), IsPath);
                         if (at == update.children.end()) throw EwsError("ErrorIncorrectUpdatePropertyCount");
                         const Path path = ParsePath(*at);
                         if (update.name == "AppendToFolderField") throw Refusal("ErrorInvalidPropertyAppend", path);
                         if (update.name == "DeleteFolderField") {
                           if (path.ElementName() == "PermissionSet") {
                             folder.permission_set.reset();
                             continue;
                           }
                           if (!path.extended) throw Refusal("ErrorInvalidPropertyDelete", path);
                           std::erase_if(folder.extended,
                                         [&](const ExtendedValue& value) { return value.key == *path.extended; });
                           continue;
                         }
                         const Element* holder = nullptr;
                         for (const Element& child : update.children)
                           if (!IsPath(child)) holder = &child;
                         if (holder == nullptr || holder->children.size() != 1)
                           throw EwsError("ErrorIncorrectUpdatePropertyCount");
                         const Element& value = holder->children.front();
                         if (path.extended) {
                           if (value.name != "ExtendedProperty" ||
                               ParseExtendedKey(*value.Child("ExtendedFieldURI")) != *path.extended)
                             throw Refusal("ErrorUpdatePropertyMismatch", path);
                           SetExtended(folder, value);
                         } else if (path.ElementName() != value.name) {
                           throw Refusal("ErrorUpdatePropertyMismatch", path);
                         } else if (value.name == "PermissionSet") {
                           SetPermissions(context, folder, value);
                         } else if (value.name == "SearchParameters") {
                           SetSearch(context, *place.mailbox, folder, value);
                         } else if (value.name == "DisplayName") {
                           if (value.text.empty() || !folder.distinguished.empty())
                             throw Refusal("ErrorInvalidPropertySet", path);
                           const Folder* parent = place.mailbox->FindFolder(folder.parent);
                           if (parent != nullptr && HasChild(*place.mailbox, *parent, value.text, &folder))
                             throw EwsError("ErrorFolderExists");
                           folder.display_name = value.text;
                         } else {
                           throw Refusal("ErrorInvalidPropertySet", path);
                         }
                       }
                       if (!updates.children.empty()) place.mailbox->Touch(folder);
                       return std::vector<Element>{Holding(*place.mailbox, folder)};
                     },
                     {Messages("Folders")});
}

Element DeleteFolder(Context& context, const Element& request) {
  return RespondEach("DeleteFolder", *request.Child("FolderIds"), [&](const Element& id) {
    const Place place = LocateFolder(context, id);
    Require(place, Access::kOwner);
    if (!place.folder->distinguished.empty()) throw EwsError("ErrorDeleteDistinguishedFolder");
    Discard(*place.mailbox, *place.folder, request.AttributeText("DeleteType"));
    return std::vector<Element>{};
  });
}

Element EmptyFolder(Context& context, const Element& request) {
  const bool with_folders = IsTrue(request.AttributeText("DeleteSubFolders"));
  const std::string& how = request.AttributeText("DeleteType");
  return RespondEach("EmptyFolder", *request.Child("FolderIds"), [&](const Element& id) {
    const Place place = LocateFolder(context, id);
    Require(place, Access::kOwner);
    if (place.folder->element == "CalendarFolder" || place.folder->element == "SearchFolder")
      throw EwsError("ErrorCannotEmptyFolder");
    Mailbox& mailbox = *place.mailbox;
    Folder* trash = how == "MoveToDeletedItems" && place.folder->distinguished != "deleteditems"
                        ? mailbox.Distinguished("deleteditems")
                        : nullptr;
    const auto items = place.folder->items;
    for (const auto& [number, item] : items) {
      if (item->Flag("IsAssociated")) continue;  // settings that programs keep there are no content
      if (trash != nullptr)
        mailbox.MoveItem(item, mailbox, *trash);
      else if (how == "SoftDelete")
        mailbox.MoveItem(item, mailbox, mailbox.Dumpster()).deleted_from = place.folder->entry_id;
      else
        mailbox.RemoveItem(item->entry_id);
    }
    if (!with_folders) return std::vector<Element>{};
    for (const std::string& child_id : std::vector<std::string>(place.folder->children)) {
      Folder* child = mailbox.FindFolder(child_id);
      if (child != nullptr && child->distinguished.empty()) Discard(mailbox, *child, how);
    }
    return std::vector<Element>{};
  });
}

Element MarkAllItemsAsRead(Context& context, const Element& request) {
  const bool read = IsTrue(request.ChildText("ReadFlag")), quiet = IsTrue(request.ChildText("SuppressReadReceipts"));
  return RespondEach("MarkAllItemsAsRead", *request.Child("FolderIds"), [&](const Element& id) {
    const Place place = LocateFolder(context, id);
    Require(place, Access::kEditor);
    for (const auto& [number, item] : place.folder->items) {
      if (item->Find("IsRead") == nullptr || item->IsUnread() != read) continue;
      Item changed = *item;
      changed.SetFlag("IsRead", read);
      if (read && quiet && changed.Flag("IsReadReceiptRequested")) changed.SetFlag("ReadReceiptSuppressed", true);
      place.mailbox->Replace(*item, std::move(changed), context.user.display_name);
      item->written["IsRead"] = item->change;
    }
    return std::vector<Element>{};
  });
}

Element CopyFolder(Context& context, const Element& request) {
  return CopyOrMove(context, request, false);
}
Element MoveFolder(Context& context, const Element& request) {
  return CopyOrMove(context, request, true);
}

}  // namespace velmore::simulator
