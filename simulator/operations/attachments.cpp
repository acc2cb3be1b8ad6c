// CreateAttachment, DeleteAttachment, GetAttachment.

#include "simulator/mailbox/ids.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// The item in the folder that an item of a request belongs to.
std::shared_ptr<Item> RootOf(const Found& found) {
  const std::shared_ptr<Item> root = found.mailbox->FindItem(found.item->entry_id);
  return root != nullptr ? root : found.item;
}

/// Attachments are part of the item: it is written to, and its MIME text is no longer what came by mail.
void Touch(Context& context, const Found& found) {
  const std::shared_ptr<Item> root = RootOf(found);
  root->mime = nullptr;
  found.mailbox->Touch(*root, context.user.display_name);
  root->written["Attachments"] = root->change;
  found.mailbox->Adopt(*root);
}

}  // namespace

Element CreateAttachment(Context& context, const Element& request) {
  const Element& parent = *request.Child("ParentItemId");
  bool first = true;
  return RespondEach("CreateAttachment", *request.Child("Attachments"),
                     [&](const Element& element) {
                       const Found found = LocateItem(context, parent);
                       RequireEdit(context, found);
                       if (found.master != nullptr)
                         throw EwsError("ErrorInvalidOperation",
                                        "Attachments of single occurrences are not supported by this server.");
                       // The key is that of the item before the first attachment; the others follow upon their own
                       // writes.
                       if (const std::string& key = parent.AttributeText("ChangeKey");
                           first && !key.empty() && ParseChangeKey(key) != RootOf(found)->change)
                         throw EwsError("ErrorIrresolvableConflict");
                       Attachment attachment = MakeAttachment(context, element);
                       if (found.item->Size() + attachment.Size() > context.options.max_message_bytes)
                         throw EwsError("ErrorAttachmentSizeLimitExceeded");
                       found.mailbox->CheckQuota(attachment.Size());
                       first = false;
                       found.item->attachments.push_back(std::move(attachment));
                       Touch(context, found);
                       const std::shared_ptr<Item> root = RootOf(found);
                       const Attachment& created = found.item->attachments.back();
                       Element attachments = Messages("Attachments");
                       attachments.Add(created.is_item ? "ItemAttachment" : "FileAttachment")
                           .Add("AttachmentId")
                           .Set("Id", EwsId(found.mailbox->guid, root->entry_id, created.number))
                           .Set("RootItemId", found.mailbox->IdOf(*root))
                           .Set("RootItemChangeKey", found.mailbox->KeyOf(*root));
                       return std::vector<Element>{std::move(attachments)};
                     },
                     {Messages("Attachments")});
}

Element DeleteAttachment(Context& context, const Element& request) {
  return RespondEach("DeleteAttachment", *request.Child("AttachmentIds"), [&](const Element& id) {
    const FoundAttachment found = LocateAttachment(context, id);
    RequireEdit(context, found.root);
    found.list->erase(found.list->begin() + static_cast<std::ptrdiff_t>(found.index));
    Touch(context, found.root);
    Element root = Messages("RootItemId");
    root.Set("RootItemId", found.root.mailbox->IdOf(*found.root.item));
    root.Set("RootItemChangeKey", found.root.mailbox->KeyOf(*found.root.item));
    return std::vector<Element>{std::move(root)};
  });
}

Element GetAttachment(Context& context, const Element& request) {
  Shape shape;
  if (const Element* wanted = request.Child("AttachmentShape")) shape = ParseShape(*wanted);
  shape.base = Shape::Base::kAll;
  return RespondEach("GetAttachment", *request.Child("AttachmentIds"),
                     [&](const Element& id) {
                       const FoundAttachment found = LocateAttachment(context, id);
                       if (found.root.access < Access::kReviewer) throw EwsError("ErrorAccessDenied");
                       const Attachment& attachment = found.Get();
                       const Viewer viewer = ViewerOf(context, found.root);
                       Element out = RenderAttachment(*found.root.mailbox, *found.root.item, attachment, viewer);
                       if (attachment.is_item)
                         out.Add(RenderItem(*attachment.item, shape, viewer));
                       else
                         out.Add("Content").base64 = attachment.content;
                       Element attachments = Messages("Attachments");
                       attachments.Add(std::move(out));
                       return std::vector<Element>{std::move(attachments)};
                     },
                     {Messages("Attachments")});
}

}  // namespace velmore::simulator
