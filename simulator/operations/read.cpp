// GetFolder, GetItem, ConvertId.

#include <algorithm>

#include "simulator/mailbox/ids.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

Element GetFolder(Context& context, const Element& request) {
  const Shape shape = ParseShape(*request.Child("FolderShape"));
  return RespondEach("GetFolder", *request.Child("FolderIds"),
                     [&](const Element& id) {
                       const Place place = LocateFolder(context, id);
                       Element folders = Messages("Folders");
                       folders.Add(RenderFolder(*place.folder, shape, ViewerOf(context, place)));
                       return std::vector<Element>{std::move(folders)};
                     },
                     {Messages("Folders")});
}

Element GetItem(Context& context, const Element& request) {
  const Shape shape = ParseShape(*request.Child("ItemShape"));
  return RespondEach("GetItem", *request.Child("ItemIds"),
                     [&](const Element& id) {
                       const Found found = LocateItem(context, id);
                       if (found.access < Access::kReviewer) throw EwsError("ErrorAccessDenied");
                       Element items = Messages("Items");
                       items.Add(RenderItem(*found.item, shape, ViewerOf(context, found)));
                       return std::vector<Element>{std::move(items)};
                     },
                     {Messages("Items")});
}

Element ConvertId(Context& context, const Element& request) {
  const std::string& format = request.AttributeText("DestinationFormat");
  return RespondEach("ConvertId", *request.Child("SourceIds"), [&](const Element& source) {
    if (source.name != "AlternateId") throw EwsError("ErrorUnsupportedTypeForConversion");
    const std::string& text = source.AttributeText("Id");
    auto id = ParseId(text, source.AttributeText("Format"));
    if (!id) throw EwsError("ErrorInvalidIdMalformed");
    Mailbox* mailbox = id->mailbox.empty() ? context.store.ByEntry(id->entry) : context.store.ByGuid(id->mailbox);
    if (mailbox == nullptr) mailbox = context.store.ByAddress(source.AttributeText("Mailbox"));
    if (mailbox == nullptr) throw EwsError("ErrorNonExistentMailbox");
    id->mailbox = mailbox->guid;
    Element alternate = Messages("AlternateId");
    alternate.Set("xsi:type", "t:AlternateIdType");
    alternate.Set("Format", format);
    alternate.Set("Id", FormatId(*id, format));
    // The address of the mailbox that the id belongs to, whatever the request said.
    alternate.Set("Mailbox",
                  mailbox->owner.smtp_address.empty() ? source.AttributeText("Mailbox") : mailbox->owner.smtp_address);
    return std::vector<Element>{std::move(alternate)};
  });
}

}  // namespace velmore::simulator
