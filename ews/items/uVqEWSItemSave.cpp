// How an item's changes reach the server: the item, then its attachments, then a reload.

#include "ews/items/uVqEWSItem.h"

#include <algorithm>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSInlineImages_p.h"
#include "ews/items/uVqEWSItemCalls_p.h"
#include "ews/model/uVqEWSWireForm.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

/// A child with neither text, elements nor attributes: a getter made it on its way.
bool IsEmptyElement(const IVqDOMElement& element) {
  return !element.HasChildElements() && element.AttributeCount() == 0 && element.GetText().empty();
}

void CopyValue(const IVqDOMElement& source, const IVqDOMElement& target) {
  if (source.HasChildElements()) {
    detail::AssignContent(target, source);  // attributes as well
    return;
  }
  detail::AssignTextOf(target, source);
  for (const IVqDOMAttribute& attribute : source.GetAttributes())
    target.SetAttribute(attribute.GetName(), attribute.GetValue());
}

string TypesName(const IVqDOMElement& element) {
  return "t:" + element.GetLocalName();
}

/// Removes the children that `remove` says, from last to first; gives how many.
template <typename TPredicate>
std::size_t RemoveChildren(const IVqDOMElement& element, TPredicate remove) {
  const TVqDOMElementList children = element.GetChildElements();
  std::size_t removed = 0;
  for (std::int32_t i = children.Count() - 1; i >= 0; --i) {
    const IVqDOMElement child = children.GetItem(i);
    if (!remove(child)) continue;
    element.RemoveChild(child);
    ++removed;
  }
  return removed;
}

}  // namespace

void TVqEWSItemCore::SaveChanges(TVqEWSSaveOption ASaveOption) {
  if (GetID().Id.empty() && NewItemRequest()) {
    // Servers before Exchange2013_SP1 get extended properties in an update of their own.
    if (CreateItem()) UpdateItem(ASaveOption, true);
  } else {
    UpdateItem(ASaveOption, false);
  }
  const TItemType type = GetItemType();
  if (type != tReplyToItem && type != tReplyAllToItem && type != tForwardItem) SaveAttachments();
  ReloadItem(GetID());
}

// ---- The item

void TVqEWSItemCore::UpdateItem(TVqEWSSaveOption ASaveOption, bool AExtendedOnly) {
  TVqEWSCall call(*this, {"UpdateItem", "m:UpdateItemResponse"});
  call.Set("MessageDisposition", "SaveOnly");
  call.Set("ConflictResolution", VqEnumToText(ASaveOption));
  const IVqDOMElement change = call.Add("m:ItemChanges/t:ItemChange");
  EwsWriteId(change.AddElement("t:ItemId"), GetID());
  const IVqDOMElement updates = change.AddElement("t:Updates");

  TVqEWSProperties& properties = GetProperties();
  const std::int32_t count =
      properties.Count();  // once: it compares the list with the tree, which does not change here
  for (std::int32_t i = 0; i < count; ++i) {
    TVqEWSProperty& property = properties.GetItem(i);
    const TVqEWSDataUpdateStatus status = property.GetUpdateStatus();
    if (status == dusModified || status == dusInserted) {
      if (AExtendedOnly ? property.GetURIType() == fdtExtendedField : property.GetName() != "PR_ATTACHMENTS") {
        AddSetItemField(updates, property);
      }
    } else if (status == dusDeleted && !AExtendedOnly) {
      property.AddEWS(updates.AddElement("t:DeleteItemField"));
    }
  }
  // An update without changes is sent, too: it refreshes the change key that attachments need.
  BeforeSaveChanges(*call.Request());
  if (const auto id = EwsSendUpdate(ActiveSession(), call, updates)) SetId(*id);
}

void TVqEWSItemCore::AddSetItemField(const IVqDOMElement& AUpdates, TVqEWSProperty& AProperty) {
  const IVqDOMElement value = NewRecord().AsElement().SelectSingleElement(AProperty.GetPath(), kSelectRequired);
  const IVqDOMElement parent = value.GetParentElement();
  const IVqDOMElement field = AUpdates.AddElement("t:SetItemField");
  AProperty.AddEWS(field);
  IVqDOMElement target;
  if (AProperty.GetURIType() == fdtExtendedField) {
    const IVqDOMElement property =
        field.AddElement(TypesName(parent.GetParentElement())).AddElement("t:ExtendedProperty");
    WriteExtendedFieldURI(&AProperty.GetRow(), property);
    target = property.AddElement("t:Value");
  } else if (AProperty.GetParentPropDef()) {
    target = field.AddElement(TypesName(parent.GetParentElement()))
                 .AddElement(TypesName(parent))
                 .AddElement(TypesName(value));
  } else {
    target = field.AddElement(TypesName(parent)).AddElement(TypesName(value));
  }
  CopyValue(value, target);
}

bool TVqEWSItemCore::CreateItem() {
  // A copy goes out, so that a save that fails leaves the item as it was.
  TVqEWSCall call(*this, kCreateItem);
  call.Request()->LoadEnvelope(*NewItemRequest());
  const IVqDOMElement method = call.Method();
  if (const IVqDOMElement attachments = method.SelectSingleElement("Items/*/Attachments", kSelectQuiet)) {
    attachments.GetParentElement().RemoveChild(attachments);
  }
  const bool withoutExtended = ServerVersion() < Exchange2013_SP1;
  std::size_t extended = 0;
  if (const IVqDOMElement items = method.SelectSingleElement("Items", kSelectQuiet)) {
    for (const IVqDOMElement& item : items.GetChildElements()) {
      RemoveChildren(item, IsEmptyElement);
      if (withoutExtended) {
        extended +=
            RemoveChildren(item, [](const IVqDOMElement& child) { return child.GetLocalName() == "ExtendedProperty"; });
      }
    }
  }
  BeforeSaveChanges(*call.Request());
  SetId(call.SendForId("//ItemId"));
  return extended > 0;
}

// ---- Attachments

void TVqEWSItemCore::SaveAttachments() {
  DeleteAttachments(FindDeletedAttachments());
  CreateAttachments();
}

std::vector<string> TVqEWSItemCore::FindDeletedAttachments() {
  std::vector<string> known;
  const IVqDOMElement loaded = OldRecord().AsElement().SelectSingleElement("Attachments", kSelectQuiet);
  for (const IVqDOMElement& attachment : loaded.GetChildElements()) {
    // Other kinds are none that could have been removed or changed here.
    if (attachment.GetLocalName() != "FileAttachment" && attachment.GetLocalName() != "ItemAttachment") continue;
    known.push_back(attachment.SelectSingleElement("AttachmentId", kSelectRequired).GetAttribute("Id"));
  }
  // A save that failed on its way made these, and no load has told of them yet.
  known.insert(known.end(), FCreatedAttachments.begin(), FCreatedAttachments.end());

  std::vector<string> deleted;
  for (const string& id : known) {
    const TVqRef<IVqEWSAttachment> present = GetAttachments().FindAttachment(id);
    if (!present) {
      deleted.push_back(id);
    } else if (present->GetModified()) {
      GetAttachments().PrepareReplacement(*present);
      deleted.push_back(id);
    }
  }
  return deleted;
}

void TVqEWSItemCore::DeleteAttachments(const std::vector<string>& AIds) {
  if (AIds.empty()) return;
  TVqEWSCall call(*this, {"DeleteAttachment", "m:DeleteAttachmentResponse", TVqEWSAnswerPath::prefixed});
  const IVqDOMElement ids = call.Add("m:AttachmentIds");
  for (const string& id : AIds) ids.AddElement("t:AttachmentId").SetAttribute("Id", id);
  call.SendAllUnchecked();  // a deletion that the server refuses leaves the save going on
  std::erase_if(FCreatedAttachments, [&](const string& id) { return std::ranges::find(AIds, id) != AIds.end(); });
}

void TVqEWSItemCore::CreateAttachments() {
  if (!Item().FindNode("t:Attachments")) return;  // asking the item for its attachments would ask the server
  TVqEWSAttachments& attachments = GetAttachments();
  for (std::int32_t i = 0; i < attachments.Count(); ++i) {
    const TVqRef<IVqEWSAttachment> attachment = attachments.GetAttachment(i);
    const IVqDOMElement element = attachment->AsElement();
    if (!element.SelectSingleElement("AttachmentId", kSelectQuiet).GetAttribute("Id").empty()) continue;
    TVqEWSCall call(*this, {"CreateAttachment", "m:CreateAttachmentResponse", TVqEWSAnswerPath::prefixed});
    EwsWriteId(call.Add("m:ParentItemId"), GetID());
    const IVqDOMElement created = call.Add("m:Attachments").AddElement(element.GetQualifiedName());
    for (const IVqDOMElement& member : element.GetChildElements()) {
      const string name = member.GetLocalName();
      if (name == "Content") {
        detail::ShareText(created.AddElement("t:Content"), detail::SharedTextOf(member));  // can be large: no copy
      } else if (name != "AttachmentId") {                                                 // an emptied id is none
        created.AddChild(member);
      }
    }
    const IVqDOMElement answer = call.SendForMade("//AttachmentId");
    TEwsAttachmentId& attachmentId = attachment->GetAttachmentId();
    TItemId item = GetID();
    // A server may leave out what it says of the item: what is known of it stays.
    const auto take = [&](const char* name, string* part) {
      const string value = answer.GetAttribute(name);
      if (value.empty()) return;
      attachmentId.AsElement().SetAttribute(name, value);
      if (part) *part = value;
    };
    take("Id", nullptr);
    take("RootItemId", &item.Id);
    take("RootItemChangeKey", &item.ChangeKey);
    FCreatedAttachments.push_back(attachmentId.GetId());
    // Each attachment changes the item's change key, and the next request must carry the new one.
    SetId(item);
  }
}

// ---- Pictures of an HTML body

void TVqEWSItemCore::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  const IVqDOMElement method = ASOAPRequest.GetMethod();
  IVqDOMElement body;
  if (method.GetLocalName() == "CreateItem") {
    body = method.SelectSingleElement("Items/*/Body", kSelectQuiet);
  } else if (method.GetLocalName() == "UpdateItem") {  // of messages only
    body = method.SelectSingleElement("ItemChanges/ItemChange/Updates/SetItemField/Message/Body", kSelectQuiet);
  }
  if (!body) return;
  const string type = body.GetAttribute("BodyType");
  if (type.empty()) {  // a body that was never given a type is not sent
    body.GetParentElement().RemoveChild(body);
  } else if (type == "HTML") {
    MoveImages(body);
  }
}

void TVqEWSItemCore::MoveImages(const IVqDOMElement& ABody) {
  struct TImage {
    string Name, Type;
    std::unique_ptr<TVqStream> Content;
  };
  std::vector<TImage> images;
  std::string html;
  const bool changed = VqMoveInlineImages(
      ABody.GetTextAsUtf8(), html, [&](const string& name, const string& type, std::unique_ptr<TVqStream> content) {
        images.push_back({name, type, std::move(content)});
      });
  if (!changed) return;
  // A picture that cannot be taken has raised by now, and so does a server that knows no inline attachments: the attachments are as they were then.
  NeedsVersion(Exchange2010, "SetIsInline");
  ClearInlineAttachments();
  for (const TImage& image : images) {
    const TVqRef<IVqEWSFileAttachment> attachment =
        GetAttachments().AddAttachment(image.Name, image.Type, *image.Content);
    attachment->SetIsInline(true);
    attachment->SetContentId(image.Name);
  }
  ABody.SetText(html);
}

void TVqEWSItemCore::ClearInlineAttachments() {
  TVqEWSAttachments& attachments = GetAttachments();
  for (std::int32_t i = attachments.Count() - 1; i >= 0; --i) {
    const TVqRef<IVqEWSAttachment> attachment = attachments.GetAttachment(i);
    if (attachment->GetAttachmentType() == attFile && attachment->GetIsInline() &&
        attachment->GetContentId().StartsWith(kInlineImageName)) {
      attachments.DeleteAttachment(i);
    }
  }
}

}  // namespace velmore
