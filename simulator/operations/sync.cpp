// SyncFolderItems and SyncFolderHierarchy. A state is the change number up to which the client knows a mailbox, and of
// which folder.

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>

#include "simulator/mailbox/ids.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// What a client is told, in the order in which it happened.
struct News {
  std::uint64_t change = 0;
  Element element;
};

std::string StateOf(const Place& place, std::uint64_t change) {
  return EncodeBase64("sync 1 " + place.mailbox->guid + " " + ToHex(place.folder->entry_id) + " " +
                      std::to_string(change));
}

/// The change number in the state of a request; 0 without one. Throws EwsError for a state of another folder.
std::uint64_t ReadState(const Place& place, const Element& request) {
  const std::string& text = request.ChildText("SyncState");
  if (text.empty()) return 0;
  try {
    const std::string state = DecodeBase64(text);
    const std::size_t blank = state.rfind(' ');
    if (blank != std::string::npos) {
      const std::uint64_t change = std::strtoull(state.c_str() + blank, nullptr, 10);
      if (StateOf(place, change) == text && change <= place.mailbox->last_change) return change;
    }
  } catch (const std::invalid_argument&) {
    // Refused below.
  }
  throw EwsError("ErrorInvalidSyncStateData");
}

/// The end of both replies: `last` is the name that tells whether there is more.
std::vector<Element> Answer(const Place& place, std::vector<News> news, std::size_t limit, const char* last) {
  std::sort(news.begin(), news.end(), [](const News& a, const News& b) { return a.change < b.change; });
  const bool all = news.size() <= limit;
  if (!all) news.resize(limit);
  Element changes = Messages("Changes");
  for (News& each : news) changes.Add(std::move(each.element));
  return {Messages("SyncState", StateOf(place, all ? place.mailbox->last_change : news.back().change)),
          Messages(last, all ? "true" : "false"), std::move(changes)};
}

Element Holding(const char* name, Element content) {
  Element holder = Types(name);
  holder.Add(std::move(content));
  return holder;
}

Element Gone(const Tombstone& stone, const char* id_name) {
  Element id = Types(id_name);
  id.Set("Id", stone.id).Set("ChangeKey", stone.key);
  return Holding("Delete", std::move(id));
}

/// Has nothing been written since but that somebody read it?
bool OnlyRead(const Item& item, std::uint64_t since) {
  const auto read = item.written.find("IsRead");
  return read != item.written.end() && read->second == item.change &&
         std::all_of(item.written.begin(), item.written.end(),
                     [&](const auto& entry) { return entry.first == "IsRead" || entry.second <= since; });
}

}  // namespace

Element SyncFolderItems(Context& context, const Element& request) {
  return RespondOnce("SyncFolderItems", [&] {
    const Place place = LocateTarget(context, *request.Child("SyncFolderId"));
    Require(place, Access::kReviewer);
    const std::uint64_t since = ReadState(place, request);
    Shape shape = ParseShape(*request.Child("ItemShape"));
    shape.found = true;
    const long limit = std::strtol(request.ChildText("MaxChangesReturned").c_str(), nullptr, 10);
    if (limit < 1 || limit > 512)
      throw EwsError("ErrorInvalidRequest", "MaxChangesReturned must be a number from 1 to 512.");
    const bool associated = request.ChildText("SyncScope") == "NormalAndAssociatedItems";
    std::set<std::string> ignored;
    if (const Element* ignore = request.Child("Ignore"))
      for (const Element& id : ignore->children) ignored.insert(id.AttributeText("Id"));
    const Viewer viewer = ViewerOf(context, place);
    std::vector<News> news;
    for (const auto& [number, item] : place.folder->items) {
      if (item->change <= since || ignored.contains(place.mailbox->IdOf(*item))) continue;
      if (item->Flag("IsAssociated") && !associated) continue;
      Element told;
      if (item->born > since) {
        told = Holding("Create", RenderItem(*item, shape, viewer));
      } else if (context.version >= kExchange2010 && OnlyRead(*item, since)) {
        told = Holding("ReadFlagChange", ItemIdElement(*place.mailbox, *item));
        told.Add("IsRead", item->Text("IsRead"));
      } else {
        told = Holding("Update", RenderItem(*item, shape, viewer));
      }
      news.push_back({item->change, std::move(told)});
    }
    for (const Tombstone& stone : place.mailbox->tombstones)
      if (!stone.of_folder && stone.folder == place.folder->entry_id && stone.change > since && stone.born <= since &&
          !ignored.contains(stone.id))
        news.push_back({stone.change, Gone(stone, "ItemId")});
    return Answer(place, std::move(news), static_cast<std::size_t>(limit), "IncludesLastItemInRange");
  });
}

Element SyncFolderHierarchy(Context& context, const Element& request) {
  return RespondOnce("SyncFolderHierarchy", [&] {
    Place place;
    if (const Element* target = request.Child("SyncFolderId")) {
      place = LocateTarget(context, *target);
    } else {
      if (context.home == nullptr)
        throw EwsError("ErrorMissingEmailAddress", "The account has no mailbox to be synchronized.");
      place = {context.home, context.home->Distinguished("msgfolderroot"), Access::kOwner};
    }
    const std::uint64_t since = ReadState(place, request);
    const Shape shape = ParseShape(*request.Child("FolderShape"));
    std::vector<News> news;
    std::set<std::string> present;
    const std::function<void(const Folder&)> collect = [&](const Folder& parent) {
      for (const std::string& id : parent.children) {
        const Folder& child = *place.mailbox->FindFolder(id);
        Viewer viewer = ViewerOf(context, place);
        viewer.access = context.store.AccessTo(*place.mailbox, child, context.user);
        if (viewer.access == Access::kNone) continue;
        present.insert(place.mailbox->IdOf(child));
        if (child.change > since)
          news.push_back(
              {child.change, Holding(child.born > since ? "Create" : "Update", RenderFolder(child, shape, viewer))});
        collect(child);
      }
    };
    collect(*place.folder);
    for (const Tombstone& stone : place.mailbox->tombstones)
      if (stone.of_folder && stone.change > since && stone.born <= since && present.insert(stone.id).second)
        news.push_back({stone.change, Gone(stone, "FolderId")});
    return Answer(place, std::move(news), news.size(), "IncludesLastFolderInRange");
  });
}

}  // namespace velmore::simulator
