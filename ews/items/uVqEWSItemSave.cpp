// How an item's changes reach the server: the item, then its attachments (uVqEWSItemSaveAttachments.cpp), then a
// reload.

#include "ews/items/uVqEWSItem.h"

#include "ews/items/uVqEWSItemCalls_p.h"
#include "ews/model/uVqEWSWireForm.h"
#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"

namespace velmore {
namespace {

bool IsExtended(const IVqDOMElement& child) {
  return child.GetLocalName() == "ExtendedProperty";
}

/// A child that holds nothing: a getter made it on its way.
bool HoldsNothing(const IVqDOMElement& child) {
  if (!IsExtended(child)) return EwsIsEmpty(child);
  const IVqDOMElement value = EwsValueOfExtendedProperty(child);
  return !value || EwsIsEmpty(value);
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
  const TItemType type = GetItemType();
  const bool withAttachments = type != tReplyToItem && type != tReplyAllToItem && type != tForwardItem;
  if (withAttachments) PrepareAttachments();
  bool keyIsFresh = true;
  if (GetID().Id.empty() && NewItemRequest()) {
    // Servers before Exchange2013_SP1 get extended properties in an update of their own.
    if (CreateItem()) UpdateItem(ASaveOption, true);
  } else {
    keyIsFresh = UpdateItem(ASaveOption, false);
  }
  if (withAttachments) SaveAttachments(keyIsFresh);
  ReloadItem(GetID());
  ForgetCarriedOutDeletions();
}

// ---- The item

bool TVqEWSItemCore::UpdateItem(TVqEWSSaveOption ASaveOption, bool AExtendedOnly) {
  TVqEWSCall call(*this, {"UpdateItem", "m:UpdateItemResponse"});
  call.Set("MessageDisposition", "SaveOnly");
  call.Set("ConflictResolution", VqEnumToText(ASaveOption));
  const IVqDOMElement change = call.Add("m:ItemChanges/t:ItemChange");
  EwsWriteId(change.AddElement("t:ItemId"), GetID());
  const IVqDOMElement updates = change.AddElement("t:Updates");

  TVqEWSProperties& properties = GetProperties();
  properties.Follow();
  const std::int32_t count =
      properties.Count();  // once: it compares the list with the tree, which does not change here
  for (std::int32_t i = 0; i < count; ++i) {
    TVqEWSProperty& property = properties.GetItem(i);
    const TVqEWSDataUpdateStatus status = property.GetUpdateStatus();
    if (status == dusModified || status == dusInserted) {
      if (AExtendedOnly ? property.GetRow().Extended : property.GetName() != "PR_ATTACHMENTS") {
        AddSetItemField(updates, property);
      }
    } else if (status == dusDeleted && !AExtendedOnly) {
      property.AddEWS(updates.AddElement("t:DeleteItemField"));
    }
  }
  // An update without changes is sent, too: it refreshes the change key that attachments need.
  BeforeSaveChanges(*call.Request());
  const std::optional<TItemId> id = EwsSendUpdate(ActiveSession(), call, updates);
  if (id) SetId(*id);
  return id.has_value();
}

void TVqEWSItemCore::AddSetItemField(const IVqDOMElement& AUpdates, TVqEWSProperty& AProperty) {
  const auto value = AProperty.GetValue<IVqDOMElement>();
  const IVqDOMElement parent = value.GetParentElement();
  const IVqDOMElement field = AUpdates.AddElement("t:SetItemField");
  AProperty.AddEWS(field);
  IVqDOMElement target;
  if (AProperty.GetRow().Extended) {
    const IVqDOMElement property =
        field.AddElement(TypesName(parent.GetParentElement())).AddElement("t:ExtendedProperty");
    WriteExtendedFieldURI(&AProperty.GetRow(), property);
    target = property.AddElement(TypesName(value));  // one value, or several
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
      RemoveChildren(item, HoldsNothing);
      if (withoutExtended) extended += RemoveChildren(item, IsExtended);
    }
  }
  BeforeSaveChanges(*call.Request());
  SetId(call.SendForId("//ItemId"));
  return extended > 0;
}

}  // namespace velmore
