// The tables of a folder: which requests fetch their pages.

#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/uVqEWSFolder.h"
#include "platform/common/uVqSerializer.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

TItemId ItemIdOf(const IVqDOMElement& row) {
  const IVqDOMElement id = row.SelectSingleElement("ItemId", kSelectQuiet);
  return {id.GetAttribute("Id"), id.GetAttribute("ChangeKey")};
}

}  // namespace

// ---- Folders

TVqEWSFolders::TVqEWSFolders(TVqComponent* ACreator, const TItemId& AParentFolderId)
    : TVqEWSTable(ACreator, true), FParentFolderId(AParentFolderId) {}

TSetFolderFieldType TVqEWSFolders::FolderFieldType() {
  return VqTextToEnum<TSetFolderFieldType>(GetRowElement().GetLocalName());
}

TItemId TVqEWSFolders::GetItemId() {
  return ItemIdOf(GetRowElement());
}

void TVqEWSFolders::GetNextPage() {
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:FindFolder", string());
  const IVqDOMElement method = request->GetMethod();
  method.SetAttribute("Traversal", "Shallow");
  method.AddElement("m:FolderShape").AddElement("t:BaseShape").SetText("AllProperties");
  const IVqDOMElement view = method.AddElement("m:IndexedPageFolderView");
  view.SetAttribute("MaxEntriesReturned", VqIntToXML(GetMaxEntriesPerPage()));
  view.SetAttribute("Offset", VqIntToXML(GetPageOffset()));
  view.SetAttribute("BasePoint", "Beginning");
  AddId(method.AddElement("m:ParentFolderIds"), "t:FolderId", FParentFolderId);
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/FindFolderResponse/ResponseMessages/FindFolderResponseMessage", kSelectRequired);
  CheckResponseError(message);
  SetData(std::make_unique<TEwsArrayOfFolders>(message.SelectSingleElement("RootFolder/Folders", kSelectRequired)));
}

// ---- Items

TVqEWSItems::TVqEWSItems(TVqComponent* ACreator, const TItemId& AParentFolderId, bool APagedDataSupported)
    : TVqEWSTable(ACreator, APagedDataSupported), FParentFolderId(AParentFolderId) {}

TItemId TVqEWSItems::GetItemId() {
  return ItemIdOf(GetRowElement());
}

void TVqEWSItems::GetNextPage() {
  const TVqRef<IVqSOAPRequest> request = CreateRequest(nullptr, "m:FindItem", string());
  const IVqDOMElement method = request->GetMethod();
  method.SetAttribute("Traversal", "Shallow");
  AddShape(method);
  AddView(method);
  AddRestriction(method);
  AddId(method.AddElement("m:ParentFolderIds"), "t:FolderId", FParentFolderId);
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/FindItemResponse/ResponseMessages/FindItemResponseMessage", kSelectRequired);
  CheckResponseError(message);
  SetData(std::make_unique<TEwsArrayOfRealItems>(message.SelectSingleElement("RootFolder/Items", kSelectRequired)));
}

void TVqEWSItems::AddShape(const IVqDOMElement& AMethod) {
  const IVqDOMElement shape = AMethod.AddElement("m:ItemShape");
  TVqEWSFields& fields = GetFields();
  if (fields.Count() == 0) {
    shape.AddElement("t:BaseShape").SetText("Default");
    return;
  }
  shape.AddElement("t:BaseShape").SetText("IdOnly");
  IVqDOMElement properties;  // only with something in it: the schema has no empty one
  for (const TVqEWSFieldDefType kind : {fdtExtendedField, fdtField, fdtIndexedField}) {
    for (std::int32_t i = 0; i < fields.Count(); ++i) {
      TVqEWSField& field = fields.GetItem(i);
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
    const IVqDOMElement view = AMethod.AddElement("m:CalendarView");
    view.SetAttribute("MaxEntriesReturned", VqIntToXML(calendar->FMaxItemsReturned));
    view.SetAttribute("StartDate", VqDateTimeToXML(calendar->FStartDate));
    view.SetAttribute("EndDate", VqDateTimeToXML(calendar->FEndDate));
    return;
  }
  // A calendar view without a window or a limit pages the folder like any other, and stops after one page.
  const IVqDOMElement view = AMethod.AddElement("m:IndexedPageItemView");
  view.SetAttribute("MaxEntriesReturned", VqIntToXML(GetMaxEntriesPerPage()));
  view.SetAttribute("Offset", VqIntToXML(GetPageOffset()));
  view.SetAttribute("BasePoint", "Beginning");
}

void TVqEWSItems::AddRestriction(const IVqDOMElement& AMethod) {
  if (!GetRestriction()) return;
  TVqStringStream text(kVqCodePageUtf16LE, 16);
  GetRestriction()->SaveToStream(text);
  AMethod.AddElement("m:Restriction").SetInnerXML(text.GetAsString());
}

}  // namespace velmore
