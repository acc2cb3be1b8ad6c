// The tables of a folder: which requests fetch their pages.

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSTableParts_p.h"
#include "platform/common/uVqSerializer.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
// ---- Folders

TVqEWSFolders::TVqEWSFolders(TVqComponent* ACreator, const TItemId& AParentFolderId)
    : TVqEWSTable(ACreator, true), FParentFolderId(AParentFolderId) {}

TSetFolderFieldType TVqEWSFolders::FolderFieldType() {
  return VqTextToEnum<TSetFolderFieldType>(GetRowElement().GetLocalName());
}

TItemId TVqEWSFolders::GetItemId() {
  return EwsReadId(GetRowElement().SelectSingleElement("ItemId", kSelectQuiet));
}

void TVqEWSFolders::GetNextPage() {
  TVqEWSCall call(*this, "FindFolder");
  call.Set("Traversal", VqEnumToText(FTraversal));
  call.Add("m:FolderShape/t:BaseShape").SetText("AllProperties");
  const IVqDOMElement view = call.Add("m:IndexedPageFolderView");
  view.SetAttribute("MaxEntriesReturned", VqIntToXML(RowsToAskFor(GetMaxEntriesPerPage())));
  view.SetAttribute("Offset", VqIntToXML(GetPageOffset()));
  view.SetAttribute("BasePoint", "Beginning");
  call.AddId(call.Add("m:ParentFolderIds"), "t:FolderId", FParentFolderId);
  SetData(std::make_unique<TEwsArrayOfFolders>(call.Send().SelectSingleElement("RootFolder/Folders", kSelectRequired)));
}

// ---- Items

TVqEWSItems::TVqEWSItems(TVqComponent* ACreator, const TItemId& AParentFolderId, bool APagedDataSupported)
    : TVqEWSTable(ACreator, APagedDataSupported), FParentFolderId(AParentFolderId) {}

TItemId TVqEWSItems::GetItemId() {
  return EwsReadId(GetRowElement().SelectSingleElement("ItemId", kSelectQuiet));
}

void TVqEWSItems::GetNextPage() {
  TVqEWSCall call(*this, "FindItem");
  call.Set("Traversal", "Shallow");
  EwsAddItemShape(call.Method(), GetFields(), "Default");
  AddView(call.Method());
  AddRestriction(call.Method());
  AddSortOrder(call.Method());
  call.AddId(call.Add("m:ParentFolderIds"), "t:FolderId", FParentFolderId);
  SetData(std::make_unique<TEwsArrayOfRealItems>(call.Send().SelectSingleElement("RootFolder/Items", kSelectRequired)));
}

void EwsAddItemShape(const IVqDOMElement& AMethod, TVqEWSFields& AFields, const string& AWithoutColumns) {
  const IVqDOMElement shape = AMethod.AddElement("m:ItemShape");
  if (AFields.Count() == 0) {
    shape.AddElement("t:BaseShape").SetText(AWithoutColumns);
    return;
  }
  shape.AddElement("t:BaseShape").SetText("IdOnly");
  IVqDOMElement properties;  // only with something in it: the schema has no empty one
  for (const TVqEWSFieldDefType kind : {fdtExtendedField, fdtField, fdtIndexedField}) {
    for (std::int32_t i = 0; i < AFields.Count(); ++i) {
      TVqEWSField& field = AFields.GetItem(i);
      if (field.GetURIType() != kind) continue;
      if (kind == fdtField && field.GetName() == "PR_ITEMID") continue;  // comes with the shape
      if (!properties) properties = shape.AddElement("t:AdditionalProperties");
      field.AddEWS(properties);
    }
  }
}

void TVqEWSItems::AddView(const IVqDOMElement& AMethod) {
  const auto* calendar = dynamic_cast<TVqEWSCalendarFolder*>(GetCreatedBy());
  if (calendar && dynamic_cast<TVqEWSCalendarView*>(this) && calendar->FEndDate > calendar->FStartDate &&
      calendar->FMaxItemsReturned > 0) {
    if (!FSortOrder.empty()) throw EVqException("A calendar view is ordered by the start of its items.");
    const IVqDOMElement view = AMethod.AddElement("m:CalendarView");
    view.SetAttribute("MaxEntriesReturned", VqIntToXML(RowsToAskFor(calendar->FMaxItemsReturned)));
    view.SetAttribute("StartDate", VqDateTimeToXML(calendar->FStartDate));
    view.SetAttribute("EndDate", VqDateTimeToXML(calendar->FEndDate));
    return;
  }
  // A calendar view without a window or a limit pages the folder like any other, and stops after one page.
  const IVqDOMElement view = AMethod.AddElement("m:IndexedPageItemView");
  view.SetAttribute("MaxEntriesReturned", VqIntToXML(RowsToAskFor(GetMaxEntriesPerPage())));
  view.SetAttribute("Offset", VqIntToXML(GetPageOffset()));
  view.SetAttribute("BasePoint", "Beginning");
}

void TVqEWSItems::AddRestriction(const IVqDOMElement& AMethod) {
  if (!GetRestriction()) return;
  TVqStringStream text(kVqCodePageUtf16LE, 16);
  GetRestriction()->SaveToStream(text);
  AMethod.AddElement("m:Restriction").SetInnerXML(text.GetAsString());
}

void TVqEWSItems::AddSortOrder(const IVqDOMElement& AMethod) {
  if (FSortOrder.empty()) return;
  const IVqDOMElement order = AMethod.AddElement("m:SortOrder");
  for (const TVqEWSSortKey& key : FSortOrder) {
    const IVqDOMElement column = order.AddElement("t:FieldOrder");
    column.SetAttribute("Order", VqEnumToText(key.Direction));
    if (key.Field->FieldType == fdtExtendedField) {
      WriteExtendedFieldURI(key.Field->PropDef, column);
      continue;
    }
    const bool indexed = key.Field->FieldType == fdtIndexedField;
    const IVqDOMElement uri = column.AddElement(indexed ? "t:IndexedFieldURI" : "t:FieldURI");
    uri.SetAttribute("FieldURI", key.Field->FieldURI().ToString());
    if (indexed) uri.SetAttribute("FieldIndex", key.Field->FieldIndex.ToString());
  }
}

}  // namespace velmore
