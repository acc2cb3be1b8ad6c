// User configurations, ExportItems, UploadItems, ArchiveItem.

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/state.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// A user configuration is an associated item of its folder. Its parts are kept as they were written.
constexpr const char* kClass = "IPM.Configuration.";
constexpr const char* kParts[] = {"Dictionary", "XmlData", "BinaryData"};

struct Configuration {
  Place place;
  std::shared_ptr<Item> item;  // null when there is none of that name
};

Configuration Locate(Context& context, const Element& name, Access access) {
  Configuration found{LocateTarget(context, name), nullptr};
  Require(found.place, access);
  for (const auto& [number, item] : found.place.folder->items)
    if (item->Flag("IsAssociated") && item->Text("ItemClass") == kClass + name.AttributeText("Name")) found.item = item;
  return found;
}

Configuration Existing(Context& context, const Element& name, Access access) {
  Configuration found = Locate(context, name, access);
  if (found.item == nullptr) throw EwsError("ErrorItemNotFound");
  return found;
}

std::shared_ptr<Item> NewConfiguration(const std::string& name) {
  auto item = std::make_shared<Item>();
  item->element = "Message";
  item->Set("ItemClass", kClass + name);
  item->Set("Subject", kClass + name);
  item->SetFlag("IsAssociated", true);
  return item;
}

void Take(Item& item, const Element& configuration) {
  for (const char* part : kParts)
    if (const Element* given = configuration.Child(part)) item.Set(*given);
}

}  // namespace

void KeepUserConfiguration(Mailbox& mailbox, Folder& folder, const std::string& name, const std::string& xml_data) {
  for (const auto& [number, item] : folder.items) {
    if (!item->Flag("IsAssociated") || item->Text("ItemClass") != kClass + name) continue;
    Item changed = *item;
    changed.Set("XmlData", EncodeBase64(xml_data));
    mailbox.Replace(*item, std::move(changed), mailbox.owner.display_name);
    return;
  }
  auto item = NewConfiguration(name);
  item->Set("XmlData", EncodeBase64(xml_data));
  mailbox.AddItem(folder, std::move(item));
}

Element CreateUserConfiguration(Context& context, const Element& request) {
  return RespondOnce("CreateUserConfiguration", [&] {
    const Element& wanted = *request.Child("UserConfiguration");
    const Element& name = *wanted.Child("UserConfigurationName");
    const Configuration found = Locate(context, name, Access::kAuthor);
    if (found.item != nullptr)
      throw EwsError("ErrorItemSave", "There is a user configuration of this name in the folder already.");
    auto item = NewConfiguration(name.AttributeText("Name"));
    Take(*item, wanted);
    found.place.mailbox->AddItem(*found.place.folder, std::move(item));
    return std::vector<Element>{};
  });
}

Element GetUserConfiguration(Context& context, const Element& request) {
  return RespondOnce("GetUserConfiguration", [&] {
    const Element& name = *request.Child("UserConfigurationName");
    const Configuration found = Existing(context, name, Access::kReviewer);
    const std::string wanted = " " + request.ChildText("UserConfigurationProperties") + " ";
    const auto asked = [&](const std::string& part) {
      return wanted.find(" All ") != std::string::npos || wanted.find(" " + part + " ") != std::string::npos;
    };
    Element configuration = Messages("UserConfiguration");
    Element told = name;
    told.space = Space::kTypes;
    told.children = {FolderIdElement(*found.place.mailbox, *found.place.folder)};
    configuration.Add(std::move(told));
    if (asked("Id")) configuration.Add(ItemIdElement(*found.place.mailbox, *found.item));
    for (const char* part : kParts)
      if (const Element* kept = found.item->Find(part); kept != nullptr && asked(part)) configuration.Add(*kept);
    return std::vector<Element>{std::move(configuration)};
  });
}

Element UpdateUserConfiguration(Context& context, const Element& request) {
  return RespondOnce("UpdateUserConfiguration", [&] {
    const Element& wanted = *request.Child("UserConfiguration");
    const Configuration found = Existing(context, *wanted.Child("UserConfigurationName"), Access::kEditor);
    Item changed = *found.item;
    Take(changed, wanted);
    found.place.mailbox->Replace(*found.item, std::move(changed), context.user.display_name);
    return std::vector<Element>{};
  });
}

Element DeleteUserConfiguration(Context& context, const Element& request) {
  return RespondOnce("DeleteUserConfiguration", [&] {
    const Configuration found = Existing(context, *request.Child("UserConfigurationName"), Access::kEditor);
    found.place.mailbox->RemoveItem(found.item->entry_id);
    return std::vector<Element>{};
  });
}

Element ExportItems(Context& context, const Element& request) {
  return RespondEach("ExportItems", *request.Child("ItemIds"), [&](const Element& id) {
    const Found found = LocateItem(context, id);
    if (found.access < Access::kReviewer) throw EwsError("ErrorAccessDenied");
    Element told = ItemIdElement(*found.mailbox, *found.item);
    told.space = Space::kMessages;
    return std::vector<Element>{std::move(told), Messages("Data", EncodeBase64(ItemText(*found.item)))};
  });
}

Element UploadItems(Context& context, const Element& request) {
  return RespondEach("UploadItems", *request.Child("Items"), [&](const Element& wanted) {
    const Element parent = [&] {
      Element holder;
      holder.Add(*wanted.Child("ParentFolderId")).name = "FolderId";
      return holder;
    }();
    const Place place = LocateTarget(context, parent);
    Require(place, Access::kAuthor);
    std::shared_ptr<Item> item;
    try {
      item = Copy(*ItemFromText(DecodeBase64(wanted.ChildText("Data"))));
    } catch (const std::exception&) {
      throw EwsError("ErrorCorruptData", "The data of the item cannot be read.");
    }
    CheckFits(*item, *place.folder);
    if (wanted.Attribute("IsAssociated") != nullptr)
      item->SetFlag("IsAssociated", IsTrue(wanted.AttributeText("IsAssociated")));
    const std::string& action = wanted.AttributeText("CreateAction");
    const Item* result = nullptr;
    if (const Element* id = wanted.Child("ItemId"); id != nullptr && action != "CreateNew") {
      try {
        const Found found = LocateItem(context, *id);
        RequireEdit(context, found);
        for (const auto& [to, from] :
             {std::pair{&item->entry_id, &found.item->entry_id}, {&item->folder, &found.item->folder}})
          *to = *from;
        item->number = found.item->number;
        item->born = found.item->born;
        found.mailbox->Replace(*found.item, std::move(*item), context.user.display_name);
        found.mailbox->Adopt(*found.item);
        result = found.item.get();
      } catch (const EwsError& error) {
        if (action == "Update" || error.code != "ErrorItemNotFound") throw;
      }
    } else if (action == "Update") {
      throw EwsError("ErrorInvalidIdEmpty");
    }
    if (result == nullptr) result = &place.mailbox->AddItem(*place.folder, std::move(item));
    Element told = ItemIdElement(*place.mailbox, *result);
    told.space = Space::kMessages;
    return std::vector<Element>{std::move(told)};
  });
}

Element ArchiveItem(Context& context, const Element& request) {
  return RespondEach("ArchiveItem", *request.Child("ItemIds"),
                     [&](const Element& id) {
                       const Place source = LocateTarget(context, *request.Child("ArchiveSourceFolderId"));
                       Require(source, Access::kOwner);
                       const Found found = LocateItem(context, id);
                       RequireEdit(context, found);
                       Mailbox* archive = context.store.ArchiveOf(*found.mailbox);
                       if (archive == nullptr)
                         throw EwsError("ErrorArchiveMailboxNotEnabled", "The archive mailbox is not enabled.");
                       // The folder of the same name, made when it is not there.
                       Folder& top = *archive->Distinguished("msgfolderroot");
                       Folder* folder = nullptr;
                       for (const std::string& child : top.children)
                         if (archive->FindFolder(child)->display_name == source.folder->display_name)
                           folder = archive->FindFolder(child);
                       if (folder == nullptr)
                         folder = &archive->AddFolder(top, source.folder->element, source.folder->display_name,
                                                      source.folder->folder_class);
                       const Item& moved = found.mailbox->MoveItem(found.item, *archive, *folder);
                       Element items = Messages("Items");
                       items.Add(moved.element).Add(ItemIdElement(*archive, moved));
                       return std::vector<Element>{std::move(items)};
                     },
                     {Messages("Items")});
}

}  // namespace velmore::simulator
