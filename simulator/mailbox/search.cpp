#include "simulator/mailbox/search.h"

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/restriction.h"

namespace velmore::simulator {

namespace {

/// A search as it was set; the restriction refers to the element beside it.
struct Search {
  Element parameters;
  std::unique_ptr<Restriction> restriction;
};

}  // namespace

void BindSearch(const Mailbox& mailbox, Folder& folder) {
  auto search = std::make_shared<Search>();
  search->parameters = *folder.search_parameters;
  search->restriction = std::make_unique<Restriction>(*search->parameters.Child("Restriction"));
  folder.live = [search, &mailbox] {
    std::vector<std::shared_ptr<Item>> found;
    const bool deep = search->parameters.AttributeText("Traversal") == "Deep";
    const Viewer viewer{&mailbox, Access::kOwner, kV2016_01_06};
    const std::function<void(const Folder&)> look = [&](const Folder& base) {
      if (!base.search_parameters)
        for (const auto& [number, item] : base.items)
          if (!item->Flag("IsAssociated") && search->restriction->Matches(*item, viewer)) found.push_back(item);
      if (!deep) return;
      for (const std::string& child : base.children)
        if (const Folder* below = mailbox.FindFolder(child)) look(*below);
    };
    for (const Element& id : search->parameters.Child("BaseFolderIds")->children) {
      const auto parsed = ParseEwsId(id.AttributeText("Id"));
      if (const Folder* base = parsed ? mailbox.FindFolder(parsed->entry) : nullptr) look(*base);
    }
    return found;
  };
}

}  // namespace velmore::simulator
