// How an item's changes reach the server: the item, then its attachments (uVqEWSItemSaveAttachments.cpp), then a
// reload.

#include "ews/items/uVqEWSItem.h"

#include "ews/items/internal/uVqEWSItemCalls.h"
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

/// The URI of the entries of a dictionary that has one definition for all of them; none for anything else.
const char* EntryURIOf(const TVqEWSProperty& property) {
  return property.GetName() == "PR_IMADDRESSES" ? "contacts:ImAddress" : nullptr;
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

void EwsRemoveEmptyMembers(const IVqDOMElement& AItem) {
  RemoveChildren(AItem, HoldsNothing);
}

bool TVqEWSItemCore::IsToBeCreated() {
  return GetID().Id.empty() && NewItemRequest();
}

void TVqEWSItemCore::BeginSave() {
  PrepareSave();
  FSent.clear();
  if (HasEmptiedPart()) LoadNow();
  if (!IsResponse()) PrepareAttachments();
}

void TVqEWSItemCore::SaveChanges(TVqEWSSaveOption ASaveOption) {
  BeginSave();
  bool keyIsFresh = true;
  if (IsToBeCreated()) {
    // Servers before Exchange2013_SP1 get extended properties in an update of their own.
    if (CreateItem()) UpdateItem(ASaveOption, true);
  } else {
    keyIsFresh = UpdateItem(ASaveOption, false);
  }
  if (GetID().Id.empty() && MayBeGone()) return;  // sent
  if (!IsResponse()) SaveAttachments(keyIsFresh);
  ReadBack();
}

// ---- The item

bool TVqEWSItemCore::UpdateItem(TVqEWSSaveOption ASaveOption, bool AExtendedOnly) {
  const bool inSchemasForm = ActiveSession().GetWireForm() == TVqEWSWireForm::schema;
  TVqEWSCall call(*this, kUpdateItem);
  // An update without changes is sent, too: it refreshes the change key that attachments need.
  const IVqDOMElement updates = ComposeUpdate(call, ASaveOption, AExtendedOnly);
  if (inSchemasForm && !AExtendedOnly && !updates.HasChildElements()) FillEmptyUpdate(updates);
  const std::optional<TItemId> id = EwsSendUpdate(ActiveSession(), call, updates);
  // Its refusal has told that the server wants the schema's form, in which an update may be more than nothing.
  if (!id && !inSchemasForm) return UpdateItem(ASaveOption, AExtendedOnly);
  if (id) {
    SetId(*id);
    for (const IVqDOMElement& item : updates.CreateElementList("SetItemField/*", kSelectQuiet)) KeepSent(item);
  }
  return id.has_value();
}

IVqDOMElement TVqEWSItemCore::ComposeUpdate(const TVqEWSCall& ACall, TVqEWSSaveOption ASaveOption, bool AExtendedOnly) {
  ACall.Set("MessageDisposition", "SaveOnly");
  ACall.Set("ConflictResolution", VqEnumToText(ASaveOption));
  const IVqDOMElement change = ACall.Add("m:ItemChanges/t:ItemChange");
  EwsWriteId(change.AddElement("t:ItemId"), GetID());
  const IVqDOMElement updates = change.AddElement("t:Updates");

  // Of an item whose last save has not been read back, the changes since then are all that there is to send.
  std::optional<TPartIsEnough> part(std::in_place, *this);
  GetProperties().ForEachChange([&](TVqEWSProperty& property) {
    const TVqEWSDataUpdateStatus status = property.GetUpdateStatus();
    if (status == dusModified || status == dusInserted) {
      if (AExtendedOnly ? property.GetRow().Extended : property.GetName() != "PR_ATTACHMENTS") {
        if (const char* uri = EntryURIOf(property)) {
          AddEntries(updates, uri, property, NewNode("t:" + property.GetPath()));  // no member that a part has
        } else {
          AddSetItemField(updates, property);
        }
      }
    } else if (status == dusDeleted && !AExtendedOnly) {
      if (const char* uri = EntryURIOf(property)) {
        AddEntries(updates, uri, property, {});
      } else {
        property.AddEWS(updates.AddElement("t:DeleteItemField"));
      }
    }
  });
  part.reset();
  BeforeSaveChanges(*ACall.Request());
  return updates;
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

// What differs, entry by entry, as of dictionaries whose entries have definitions of their own.
void TVqEWSItemCore::AddEntries(const IVqDOMElement& AUpdates, const char* AURI, TVqEWSProperty& AProperty,
                                const IVqDOMElement& ANow) {
  const string dictionary = "t:" + AProperty.GetPath();
  const IVqDOMElement before = OldNode(dictionary);
  const auto entryIn = [](const IVqDOMElement& entries, const string& key) {
    for (const IVqDOMElement& entry : entries.GetChildElements())
      if (entry.GetAttribute("Key") == key) return entry;
    return IVqDOMElement();
  };
  const auto addChange = [&](const char* kind, const string& key) {
    const IVqDOMElement change = AUpdates.AddElement(kind);
    const IVqDOMElement uri = change.AddElement("t:IndexedFieldURI");
    uri.SetAttribute("FieldURI", AURI);
    uri.SetAttribute("FieldIndex", key);
    return change;
  };
  if (ANow) {
    for (const IVqDOMElement& entry : ANow.GetChildElements()) {
      const string key = entry.GetAttribute("Key");
      if (EwsIsEmpty(entry) || EwsSameValue(entryIn(before, key), entry)) continue;
      CopyValue(entry, addChange("t:SetItemField", key)
                           .AddElement(TypesName(AsElement()))
                           .AddElement(dictionary)
                           .AddElement(TypesName(entry)));
    }
  }
  if (!before) return;
  for (const IVqDOMElement& entry : before.GetChildElements()) {
    const string key = entry.GetAttribute("Key");
    const IVqDOMElement now = ANow ? entryIn(ANow, key) : IVqDOMElement();
    if (!EwsIsEmpty(entry) && (!now || EwsIsEmpty(now))) addChange("t:DeleteItemField", key);
  }
}

bool TVqEWSItemCore::CreateItem() {
  TVqEWSCall call(*this, kCreateItem);
  const bool extendedLeftOut = ComposeCreate(call);
  const IVqDOMElement message = call.Send();
  if (MayBeGone() && !message.SelectSingleElement("//ItemId", kSelectQuiet)) return false;
  SetId(EwsReadId(call.FindMade(message, "//ItemId")));
  KeepSent(call.Method().SelectSingleElement("Items/*", kSelectQuiet));
  return extendedLeftOut;
}

bool TVqEWSItemCore::ComposeCreate(const TVqEWSCall& ACall) {
  // A copy goes out, so that a save that fails leaves the item as it was.
  ACall.Request()->LoadEnvelope(*NewItemRequest());
  const IVqDOMElement method = ACall.Method();
  if (const IVqDOMElement attachments = method.SelectSingleElement("Items/*/Attachments", kSelectQuiet)) {
    attachments.GetParentElement().RemoveChild(attachments);
  }
  const bool withoutExtended = ServerVersion() < Exchange2013_SP1;
  std::size_t extended = 0;
  if (const IVqDOMElement items = method.SelectSingleElement("Items", kSelectQuiet)) {
    for (const IVqDOMElement& item : items.GetChildElements()) {
      EwsRemoveEmptyMembers(item);
      if (withoutExtended) extended += RemoveChildren(item, IsExtended);
    }
  }
  BeforeSaveChanges(*ACall.Request());
  return extended > 0;
}

}  // namespace velmore
