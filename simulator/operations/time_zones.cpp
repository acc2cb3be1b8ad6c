// GetServerTimeZones.

#include <algorithm>

#include "simulator/mailbox/item_zone.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

Element GetServerTimeZones(Context&, const Element& request) {
  return RespondOnce("GetServerTimeZones", [&] {
    const std::string& full_text = request.AttributeText("ReturnFullTimeZoneData");
    const bool full = full_text.empty() || IsTrue(full_text);
    Element definitions = Messages("TimeZoneDefinitions");
    const Element* ids = request.Child("Ids");
    for (const std::string& zone : ListedZones()) {
      if (ids != nullptr &&
          std::none_of(ids->children.begin(), ids->children.end(), [&](const Element& id) { return id.text == zone; }))
        continue;
      definitions.Add(*ZoneDefinition(zone, full));
    }
    return std::vector<Element>{std::move(definitions)};
  });
}

}  // namespace velmore::simulator
