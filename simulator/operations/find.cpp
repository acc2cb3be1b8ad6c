// FindItem and FindFolder.

#include <algorithm>
#include <cstdlib>

#include "simulator/mailbox/ordering.h"
#include "simulator/mailbox/recurrence.h"
#include "simulator/mailbox/restriction.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

struct Page {
  std::size_t offset = 0;
  std::size_t count = 0;
  std::size_t total = 0;
  std::size_t next = 0;
  bool last = true;
};

std::size_t NumberOf(const Element& element, const char* attribute) {
  const long long value = std::strtoll(element.AttributeText(attribute).c_str(), nullptr, 10);
  if (value < 0) throw EwsError("ErrorInvalidIndexedPagingParameters", "The value of Offset must be zero or greater.");
  return static_cast<std::size_t>(value);
}

Page PageOf(const Element* view, std::size_t total, std::size_t limit) {
  Page page;
  page.total = total;
  std::size_t wanted = limit;
  if (view != nullptr && view->Attribute("MaxEntriesReturned") != nullptr) {
    const long long rows = std::strtoll(view->AttributeText("MaxEntriesReturned").c_str(), nullptr, 10);
    if (rows <= 0) throw EwsError("ErrorInvalidPagingMaxRows");
    wanted = std::min(limit, static_cast<std::size_t>(rows));
  }
  if (view != nullptr && view->name.starts_with("Fractional")) {
    const std::size_t denominator = NumberOf(*view, "Denominator");
    const std::size_t numerator = NumberOf(*view, "Numerator");
    if (denominator == 0 || numerator > denominator)
      throw EwsError("ErrorInvalidFractionalPagingParameters", "FractionalPageView parameters are invalid.");
    page.offset = total * numerator / denominator;
  } else if (view != nullptr && view->name.starts_with("Indexed")) {
    page.offset = NumberOf(*view, "Offset");
    if (view->AttributeText("BasePoint") == "End") {
      // Counted from the end; the page lies in front of that place.
      const std::size_t end = total - std::min(page.offset, total);
      page.offset = end - std::min(wanted, end);
      page.count = end - page.offset;
      page.next = total - page.offset;
      page.last = page.offset == 0;
      return page;
    }
  }
  page.offset = std::min(page.offset, total);
  page.count = std::min(wanted, total - page.offset);
  page.next = page.offset + page.count;
  page.last = page.next >= total;
  return page;
}

Element RootFolder(const Page& page, bool indexed) {
  Element root = Messages("RootFolder");
  if (indexed) root.Set("IndexedPagingOffset", std::to_string(page.next));
  root.Set("TotalItemsInView", std::to_string(page.total));
  root.Set("IncludesLastItemInRange", page.last ? "true" : "false");
  return root;
}

std::string XmlOf(const Element* element) {
  std::string text;
  if (element != nullptr) WriteXml(*element, text);
  return text;
}

std::vector<std::shared_ptr<Item>> Select(Mailbox& mailbox, const Folder& folder, const Element& request,
                                          const Viewer& viewer) {
  std::unique_ptr<Restriction> restriction;
  if (const Element* element = request.Child("Restriction")) restriction = std::make_unique<Restriction>(*element);
  std::vector<SortField> order;
  if (const Element* element = request.Child("SortOrder")) order = ParseSortOrder(*element);
  const bool associated = request.AttributeText("Traversal") == "Associated";
  std::vector<std::shared_ptr<Item>> rows;
  const bool deleted = request.AttributeText("Traversal") == "SoftDeleted";
  for (const auto& item : (deleted ? mailbox.Dumpster() : folder).Contents())
    if (item->Flag("IsAssociated") == associated && (!deleted || item->deleted_from == folder.entry_id) &&
        (restriction == nullptr || restriction->Matches(*item, viewer)))
      rows.push_back(item);
  if (order.empty()) {
    // What came last stands first.
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
      return a->received != b->received ? a->received > b->received : a->number > b->number;
    });
    return rows;
  }
  for (auto field = order.rbegin(); field != order.rend(); ++field) {
    std::vector<std::pair<Key, std::shared_ptr<Item>>> keyed;
    keyed.reserve(rows.size());
    for (auto& row : rows) {
      const std::vector<std::string> values = ValuesOf(*row, field->path, viewer);
      keyed.emplace_back(values.empty() ? Key() : KeyOf(values.front(), field->path), row);
    }
    std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
      return field->descending ? a.first > b.first : a.first < b.first;
    });
    for (std::size_t i = 0; i < keyed.size(); ++i) rows[i] = keyed[i].second;
  }
  return rows;
}

std::vector<Element> CalendarRows(const Place& place, const Element& request, const Element& view, const Shape& shape,
                                  const Viewer& viewer) {
  if (place.folder->element != "CalendarFolder") throw EwsError("ErrorCalendarFolderIsInvalidForCalendarView");
  if (request.Child("Restriction") != nullptr || request.Child("SortOrder") != nullptr)
    throw EwsError("ErrorInvalidRequest", "Restrictions and sort order may not be specified for a CalendarView.");
  const Seconds start = *ParseTime(view.AttributeText("StartDate"));
  const Seconds end = *ParseTime(view.AttributeText("EndDate"));
  if (end < start) throw EwsError("ErrorCalendarEndDateIsEarlierThanStartDate");
  if (end - start > 2LL * 366 * 86400) throw EwsError("ErrorCalendarViewRangeTooBig");
  std::vector<std::shared_ptr<Item>> rows;
  for (const auto& [number, item] : place.folder->items) {
    if (item->element != "CalendarItem") continue;
    if (item->Find("Recurrence") != nullptr) {
      const auto occurrences = OccurrencesBetween(*place.mailbox, item, start, end);
      rows.insert(rows.end(), occurrences.begin(), occurrences.end());
      continue;
    }
    const auto from = ParseTime(item->Text("Start"));
    const auto to = ParseTime(item->Text("End"));
    if (from && to && *from < end && (*to > start || (*from == *to && *from >= start))) rows.push_back(item);
  }
  std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
    return ParseTime(a->Text("Start")) < ParseTime(b->Text("Start"));
  });
  const Page page = PageOf(&view, rows.size(), rows.size() + 1);
  Element root = RootFolder(page, false);
  Element& items = root.Add("Items");
  for (std::size_t i = 0; i < page.count; ++i) items.Add(RenderItem(*rows[i], shape, viewer));
  return {std::move(root)};
}

}  // namespace

Element FindItem(Context& context, const Element& request) {
  Shape shape = ParseShape(*request.Child("ItemShape"));
  shape.found = true;
  return RespondEach("FindItem", *request.Child("ParentFolderIds"), [&](const Element& id) {
    for (const Path& path : shape.additional)
      for (const char* streamed : {"MimeContent", "Body", "UniqueBody", "NormalizedBody", "TextBody"})
        if (path.ElementName() == streamed) throw Refusal("ErrorInvalidPropertyForOperation", path);
    const Place place = LocateFolder(context, id);
    Require(place, Access::kReviewer);
    const Viewer viewer = ViewerOf(context, place);
    if (const Element* view = request.Child("CalendarView")) return CalendarRows(place, request, *view, shape, viewer);
    for (const char* unsupported :
         {"SeekToConditionPageItemView", "ContactsView", "GroupBy", "DistinguishedGroupBy", "QueryString"})
      if (request.Child(unsupported) != nullptr)
        throw EwsError("ErrorInvalidOperation", std::string("This server does not support ") + unsupported + ".");
    // Pages of one search come one after another; the rows are found once and reused while nothing changes.
    Folder& folder = *place.folder;
    const std::string key = XmlOf(request.Child("Restriction")) + XmlOf(request.Child("SortOrder")) +
                            request.AttributeText("Traversal") + std::to_string(context.version);
    // What was deleted, and what a search finds, stands elsewhere, where changes are not counted for this folder.
    if (folder.search.key != key || folder.live || request.AttributeText("Traversal") == "SoftDeleted" ||
        folder.search.change != folder.content_change) {
      Folder::Search search;
      search.rows = Select(*place.mailbox, folder, request, viewer);
      search.key = key;
      search.change = folder.content_change;
      folder.search = std::move(search);
    }
    const auto& rows = folder.search.rows;
    const Element* view = request.Child("IndexedPageItemView");
    if (view == nullptr) view = request.Child("FractionalPageItemView");
    const int limit = request.Child("Restriction") != nullptr
                          ? std::min(context.options.restricted_find_limit, context.options.find_count_limit)
                          : context.options.find_count_limit;
    const Page page = PageOf(view, rows.size(), static_cast<std::size_t>(std::max(1, limit)));
    Element root = RootFolder(page, view != nullptr);
    if (view == nullptr) root.Set("IndexedPagingOffset", std::to_string(page.next));
    Element& items = root.Add("Items");
    items.children.reserve(page.count);
    for (std::size_t i = page.offset; i < page.offset + page.count; ++i) items.Add(RenderItem(*rows[i], shape, viewer));
    return std::vector<Element>{std::move(root)};
  });
}

Element FindFolder(Context& context, const Element& request) {
  const Shape shape = ParseShape(*request.Child("FolderShape"));
  return RespondEach("FindFolder", *request.Child("ParentFolderIds"), [&](const Element& id) {
    const Place place = LocateFolder(context, id);
    const Viewer viewer = ViewerOf(context, place);
    const std::string& traversal = request.AttributeText("Traversal");
    std::unique_ptr<Restriction> restriction;
    if (const Element* element = request.Child("Restriction")) restriction = std::make_unique<Restriction>(*element);
    std::vector<const Folder*> rows;
    const std::function<void(const Folder&)> collect = [&](const Folder& parent) {
      for (const std::string& child_id : parent.children) {
        const Folder* child = place.mailbox->FindFolder(child_id);
        if (child == nullptr || context.store.AccessTo(*place.mailbox, *child, context.user) == Access::kNone) continue;
        if (restriction == nullptr || restriction->Matches(*child, viewer)) rows.push_back(child);
        if (traversal == "Deep") collect(*child);
      }
    };
    if (traversal != "SoftDeleted") {
      collect(*place.folder);
    } else {
      for (const std::string& deleted : place.mailbox->Dumpster().children)
        if (const Folder* child = place.mailbox->FindFolder(deleted);
            child->deleted_from == place.folder->entry_id &&
            (restriction == nullptr || restriction->Matches(*child, viewer)))
          rows.push_back(child);
    }
    if (traversal == "Shallow")
      std::stable_sort(rows.begin(), rows.end(), [](const Folder* a, const Folder* b) {
        return TextKey(a->display_name) < TextKey(b->display_name);
      });
    const Element* view = request.Child("IndexedPageFolderView");
    if (view == nullptr) view = request.Child("FractionalPageFolderView");
    const Page page =
        PageOf(view, rows.size(), static_cast<std::size_t>(std::max(1, context.options.find_count_limit)));
    Element root = RootFolder(page, true);
    Element& folders = root.Add("Folders");
    for (std::size_t i = page.offset; i < page.offset + page.count; ++i) {
      Viewer row_viewer = viewer;
      row_viewer.access = context.store.AccessTo(*place.mailbox, *rows[i], context.user);
      folders.Add(RenderFolder(*rows[i], shape, row_viewer));
    }
    return std::vector<Element>{std::move(root)};
  });
}

}  // namespace velmore::simulator
