#include "ews/stores/uVqEWSTable.h"

#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/stores/uVqEWSRestrictions.h"
#include "ews/values/internal/uVqEWSTableCells.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

TVqEWSTable::TVqEWSTable(TVqComponent* ACreator, bool APagedDataSupported)
    : TVqEWSObject(ACreator, true),
      FCells(std::make_unique<TVqEWSTableCells>()),
      FFields(std::make_unique<TVqEWSFields>(
          this, [this](TVqEWSGetDataElmSource source, bool raiseError) { return GetRowData(source, raiseError); })),
      FPagedDataSupported(APagedDataSupported) {}

TVqEWSTable::~TVqEWSTable() = default;

void TVqEWSTable::LeaveRow() {
  FRowElm.reset();
  FCells->Forget();
}

void TVqEWSTable::SetActive(bool AValue) {
  LeaveRow();
  FPageOffset = 0;
  FRecordCount = 0;
  FLastPage = false;
  if (AValue) {
    GetNextPage();
  } else {
    FRoot.reset();
    FRowsElm = {};
    FRows = {};
    FRow = -1;
  }
}

void TVqEWSTable::SetData(std::unique_ptr<TVqXMLSchemaElement> ARoot) {
  const IVqDOMElement page = ARoot->AsElement().GetParentElement();
  const std::int32_t count = page.GetAttributeAsInteger("TotalItemsInView");
  const std::int32_t offset = page.GetAttributeAsInteger("IndexedPagingOffset");  // absent in a calendar view: 0
  const string last = page.GetAttribute("IncludesLastItemInRange");
  const bool lastPage = !last.empty() && VqXMLToBool(last);
  // From here on nothing raises: a page that cannot be read leaves the old one in place.
  LeaveRow();
  FRoot = std::move(ARoot);
  FRowsElm = FRoot->AsElement();
  FRows = FRowsElm.GetChildElements();
  FNamedColumns = HasNamedColumns();
  FRecordCount = count;
  FPageOffset = offset;
  FLastPage = lastPage;
  FPageEOF = RowCount() == 0;
  FRow = FPageEOF ? -1 : 0;
}

bool TVqEWSTable::Eof() {
  return FPagedDataSupported ? FPageEOF && FLastPage : FPageEOF;
}

std::int32_t TVqEWSTable::RowCount() const {
  return FRows.Count();
}

void TVqEWSTable::Open() {
  LeaveRow();
  if (!GetActive()) SetActive(true);
}

void TVqEWSTable::Next() {
  LeaveRow();
  ++FRow;
  FPageEOF = FRow == RowCount();
  if (!FPageEOF) return;
  --FRow;  // the last row stays readable: at the end, and while the next page cannot be fetched
  if (!FLastPage && FPagedDataSupported) GetNextPage();
}

void TVqEWSTable::First() {
  LeaveRow();
  // Compared with the page size and not with 0: after the first page the offset is the page size.
  if (!GetActive() || FPageOffset - FMaxEntriesPerPage > 0) return SetActive(true);
  FPageEOF = RowCount() == 0;
  FRow = FPageEOF ? -1 : 0;
}

TVqRef<IVqEWSRestriction> TVqEWSTable::CreateRestriction(TVqEWSRestrictionType ARestrictionType) {
  return EwsCreateRestriction(this, ARestrictionType);
}

bool TVqEWSTable::HasField(const TVqEWSFieldDef& AFieldDef) {
  const TVqEWSField* field = FFields->FindField(AFieldDef);
  if (!field) return false;
  if (!GetActive()) return true;
  if (FRow >= 0) GetRowData(desCurrent, false);
  return static_cast<bool>(GetRowElement().SelectSingleElement(field->GetPath(), kSelectQuiet));
}

TVqEWSField* TVqEWSTable::FindField(const TVqEWSFieldDef& AFieldDef) {
  return FFields->FindField(AFieldDef);
}
TVqEWSField& TVqEWSTable::FieldByName(const TVqEWSFieldDef& AFieldDef) {
  return FFields->FieldByName(AFieldDef);
}

IVqDOMElement TVqEWSTable::GetRowElement() const {
  return FRow < 0 ? IVqDOMElement() : FRows.GetItem(FRow);
}

TVqXMLSchemaElement* TVqEWSTable::GetRowData(TVqEWSGetDataElmSource ASource, bool ARaiseError) {
  if (ASource != desCurrent)
    throw EAssertionFailed("Assertion failure (ews/uVqEWSTable)");  // a table has one state of its data
  if (FRow == -1) {
    if (ARaiseError) throw EVqException("There is no data!");
    return nullptr;
  }
  if (!FRowElm) FRowElm = MakeRowRecord();
  if (!FCells->Valid()) FFields->FindCells(FRowElm->AsElement(), *FCells);
  return FRowElm.get();
}

bool TVqEWSTable::HasNamedColumns() const {
  for (std::int32_t i = 0; i < FFields->Count(); ++i) {
    const TVqEWSPropDef& row = FFields->GetItem(i).GetRow();
    if (row.Extended && row.PropertyTag == 0 && row.PropertySetId) return true;
  }
  return false;
}

// A column is asked for by the id of its property set, and servers answer with the names of those that have one: such answers are brought back to the id, so
// that the column finds them.
void TVqEWSTable::FindNamedSets(const IVqDOMElement& ARow) {
  if (!FNamedColumns) return;
  for (std::int32_t i = 0; i < FFields->Count(); ++i) {
    const TVqEWSField& field = FFields->GetItem(i);
    const TVqEWSPropDef& row = field.GetRow();
    if (!row.Extended || row.PropertyTag != 0 || !row.PropertySetId) continue;
    const string path = EwsWellKnownSetPath(field.GetPath(), *row.PropertySetId);
    if (path.empty()) continue;
    const IVqDOMElement value = ARow.SelectSingleElement(path, kSelectQuiet);
    if (!value) continue;
    const IVqDOMElement uri = value.GetParentElement().SelectSingleElement("ExtendedFieldURI", kSelectRequired);
    uri.RemoveAttribute("DistinguishedPropertySetId");
    uri.SetAttribute("PropertySetId", PropSetIDToString(*row.PropertySetId));
  }
}

std::unique_ptr<TVqXMLSchemaElement> TVqEWSTable::MakeRowRecord() {
  // The class of a row is that of the array's entries of this name. The record is made on the row's element at once: looking for it among the
  // entries of its kind would find the same element and cost a walk a row.
  const IVqDOMElement row = GetRowElement();
  const std::string_view name = detail::TVqRawElement(row).LocalName();
  const TVqXMLSchemaClass& pageClass = FRoot->GetSchemaClass();
  const std::int32_t index = pageClass.FindMember(name);
  const TVqXMLSchemaMember* member = index < 0 ? nullptr : &pageClass.GetMember(index);
  if (!member || !member->Class || member->Type.Kind != tkArray) {
    throw EAssertionFailed("There is no property with the name: " + string(name));
  }
  FindNamedSets(row);
  return member->Class->CreateRecord(row);
}

}  // namespace velmore
