// SyncFolderItems and SyncFolderHierarchy. A state is the change number up to which the client knows a mailbox, and of
// which folder.

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>

#include "simulator/mailbox/ids.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// How far a client knows a folder. What it is told at a time is limited, so that it may take several requests to tell
/// of all that had happened when the first of them came: a round. What happens meanwhile belongs to the next round.
struct Round {
  std::uint64_t known = 0;  // everything up to this change
  std::uint64_t floor = 0;  // some of what was written after this one was perhaps never told by itself
  std::uint64_t end = 0;    // of the round, in the middle of one
  std::uint64_t told = 0;   // of the round so far

  bool IsOpen() const { return end != 0; }
};

/// What a client is told, in the order in which it happened.
struct News {
  std::uint64_t change = 0;
  Element element;
};

std::string StateOf(const char* kind, const Place& place, const Round& round) {
  std::ostringstream state;
  state << "sync 2 " << kind << ' ' << place.mailbox->guid << ' ' << ToHex(place.folder->entry_id) << ' ' << round.known
        << ' ' << round.floor << ' ' << round.end << ' ' << round.told;
  return EncodeBase64(state.str());
}

/// The round in the state of a request; of the beginning without one. Throws EwsError for a state of another folder
/// or kind.
Round ReadState(const char* kind, const Place& place, const Element& request) {
  const std::string& text = request.ChildText("SyncState");
  if (text.empty()) return {};
  try {
    std::istringstream state(DecodeBase64(text));
    std::string skipped;
    for (int i = 0; i < 5; ++i) state >> skipped;
    Round round;
    state >> round.known >> round.floor >> round.end >> round.told;
    if (StateOf(kind, place, round) == text &&
        std::max({round.known, round.floor, round.end, round.told}) <= place.mailbox->last_change)
      return round;
  } catch (const std::invalid_argument&) {
    // Refused below.
  }
  throw EwsError("ErrorInvalidSyncStateData");
}

/// The folder that a request names, under the code that this operation has for one that is not there.
Place LocateSynced(Context& context, const Element& target) {
  try {
    return LocateTarget(context, target);
  } catch (const EwsError& error) {
    if (std::string_view(error.code) != "ErrorFolderNotFound") throw;
    throw EwsError("ErrorSyncFolderNotFound");
  }
}

Element Holding(const char* name, Element content) {
  Element holder = Types(name);
  holder.Add(std::move(content));
  return holder;
}

Element Gone(const char* id_name, const std::string& id, const std::string& key) {
  Element element = Types(id_name);
  element.Set("Id", id).Set("ChangeKey", key);
  return Holding("Delete", std::move(element));
}

/// The content of both replies: `last` is the name that tells whether there is more.
std::vector<Element> Answer(const std::string& state, const char* last, bool all, std::vector<News> news) {
  Element changes = Messages("Changes");
  for (News& each : news) changes.Add(std::move(each.element));
  return {Messages("SyncState", state), Messages(last, all ? "true" : "false"), std::move(changes)};
}

void Sort(std::vector<News>& news) {
  std::sort(news.begin(), news.end(), [](const News& a, const News& b) { return a.change < b.change; });
}

/// Has nothing been written since but that somebody read it?
bool OnlyRead(const Item& item, std::uint64_t since) {
  const auto read = item.written.find("IsRead");
  return read != item.written.end() && read->second == item.change &&
         std::all_of(item.written.begin(), item.written.end(),
                     [&](const auto& entry) { return entry.first == "IsRead" || entry.second <= since; });
}

/// Where folders were when a client saw them last.
class FoldersThen {
 public:
  FoldersThen(const Mailbox& mailbox, std::uint64_t since) : mailbox_(mailbox) {
    for (const Tombstone& stone : mailbox.tombstones) {
      if (!stone.of_folder || stone.change <= since) continue;
      if (const auto id = ParseEwsId(stone.id)) moved_.try_emplace(id->entry, &stone);  // the oldest tells
    }
  }

  /// Was it below that folder, at any depth?
  bool WasBelow(const std::string& entry, const std::string& root) const {
    for (std::string at = ParentOf(entry); !at.empty(); at = ParentOf(at))
      if (at == root) return true;
    return false;
  }
  /// When it, or the folder around it that was moved, went away.
  std::uint64_t Left(const std::string& entry) const {
    for (std::string at = entry; !at.empty(); at = ParentOf(at))
      if (const auto found = moved_.find(at); found != moved_.end()) return found->second->change;
    return 0;
  }
  /// All that moved or went since, by their entry ids.
  const std::map<std::string, const Tombstone*>& Moved() const { return moved_; }

 private:
  std::string ParentOf(const std::string& entry) const {
    if (const auto found = moved_.find(entry); found != moved_.end()) return found->second->folder;
    const Folder* folder = mailbox_.FindFolder(entry);
    return folder != nullptr ? folder->parent : std::string();
  }

  const Mailbox& mailbox_;
  std::map<std::string, const Tombstone*> moved_;
};

}  // namespace

Element SyncFolderItems(Context& context, const Element& request) {
  return RespondOnce("SyncFolderItems", [&] {
    const Place place = LocateSynced(context, *request.Child("SyncFolderId"));
    Require(place, Access::kReviewer);
    Round round = ReadState("items", place, request);
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
    const bool open = round.IsOpen();
    const std::uint64_t end = open ? round.end : place.mailbox->last_change;
    const std::uint64_t told = open ? round.told : round.known;

    // New items stand where they came, whatever became of them later in the round, so that none changes its place
    // between two requests.
    std::vector<News> news;
    std::vector<std::pair<std::uint64_t, const Item*>> items;
    for (const auto& [number, item] : place.folder->items) {
      const bool created = item->born > round.known;
      const std::uint64_t at = created ? item->born : item->change;
      if (at <= told || at > end || ignored.contains(place.mailbox->IdOf(*item))) continue;
      if (item->Flag("IsAssociated") && !associated) continue;
      items.emplace_back(at, item.get());
    }
    for (const Tombstone& stone : place.mailbox->tombstones)
      if (!stone.of_folder && stone.folder == place.folder->entry_id && stone.change > told && stone.change <= end &&
          stone.born <= round.known && !ignored.contains(stone.id))
        news.push_back({stone.change, Gone("ItemId", stone.id, stone.key)});
    // Only what is told is rendered.
    std::sort(items.begin(), items.end());
    const bool all = items.size() + news.size() <= static_cast<std::size_t>(limit);
    if (items.size() > static_cast<std::size_t>(limit)) items.resize(static_cast<std::size_t>(limit));
    for (const auto& [at, item] : items) {
      Element element;
      if (item->born > round.known) {
        element = Holding("Create", RenderItem(*item, shape, viewer));
      } else if (context.version >= kExchange2010 && OnlyRead(*item, round.floor)) {
        element = Holding("ReadFlagChange", ItemIdElement(*place.mailbox, *item));
        element.Add("IsRead", item->Text("IsRead"));
      } else {
        element = Holding("Update", RenderItem(*item, shape, viewer));
      }
      news.push_back({at, std::move(element)});
    }
    Sort(news);
    if (all) {
      round = {end, open ? round.known : end};
    } else {
      news.resize(static_cast<std::size_t>(limit));
      round = {round.known, round.floor, end, news.back().change};
    }
    return Answer(StateOf("items", place, round), "IncludesLastItemInRange", all, std::move(news));
  });
}

Element SyncFolderHierarchy(Context& context, const Element& request) {
  return RespondOnce("SyncFolderHierarchy", [&] {
    Place place;
    if (const Element* target = request.Child("SyncFolderId")) {
      place = LocateSynced(context, *target);
    } else {
      if (context.home == nullptr)
        throw EwsError("ErrorMissingEmailAddress", "The account has no mailbox to be synchronized.");
      place = {context.home, context.home->Distinguished("msgfolderroot"), Access::kOwner};
    }
    const Mailbox& mailbox = *place.mailbox;
    const std::uint64_t known = ReadState("folders", place, request).known;
    const Shape shape = ParseShape(*request.Child("FolderShape"));
    const FoldersThen then(mailbox, known);
    const auto was_here = [&](std::uint64_t born, const std::string& entry) {
      return born <= known && then.WasBelow(entry, place.folder->entry_id);
    };
    std::vector<News> news, gone;
    std::set<std::string> present;
    const std::function<void(const Folder&)> collect = [&](const Folder& parent) {
      for (const std::string& entry : parent.children) {
        const Folder& child = *mailbox.FindFolder(entry);
        Viewer viewer = ViewerOf(context, place);
        viewer.access = context.store.AccessTo(mailbox, child, context.user);
        if (viewer.access == Access::kNone) continue;
        present.insert(entry);
        const bool seen = was_here(child.born, entry);
        if (!seen || child.change > known)
          news.push_back({child.change, Holding(seen ? "Update" : "Create", RenderFolder(child, shape, viewer))});
        collect(child);
      }
    };
    collect(*place.folder);  // a folder is told before those in it
    // What is in a folder that was moved away went with it, and tells nothing of it itself.
    for (const auto& [entry, folder] : mailbox.folders)
      if (!present.contains(entry) && then.Left(entry) > known && was_here(folder->born, entry))
        gone.push_back({then.Left(entry), Gone("FolderId", mailbox.IdOf(*folder), mailbox.KeyOf(*folder))});
    for (const auto& [entry, stone] : then.Moved())
      if (mailbox.FindFolder(entry) == nullptr && was_here(stone->born, entry))
        gone.push_back({stone->change, Gone("FolderId", stone->id, stone->key)});
    Sort(gone);
    std::move(gone.begin(), gone.end(), std::back_inserter(news));
    const Round round{mailbox.last_change, mailbox.last_change};
    return Answer(StateOf("folders", place, round), "IncludesLastFolderInRange", true, std::move(news));
  });
}

}  // namespace velmore::simulator
