#include "ews/stores/uVqEWSTable.h"

#include <algorithm>

#include "ews/stores/uVqEWSRestrictions.h"
#include "ews/values/internal/uVqEWSTableCells.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

/// The array that a page has for rows of this name; none for a kind that the library does not know.
const TVqXMLSchemaMember* ArrayOf(const TVqXMLSchemaElement& page, std::string_view name) {
  const TVqXMLSchemaClass& pageClass = page.GetSchemaClass();
  const std::int32_t index = pageClass.FindMember(name);
  const TVqXMLSchemaMember* member = index < 0 ? nullptr : &pageClass.GetMember(index);
  return member && member->Class && member->Type.Kind == tkArray ? member : nullptr;
}

/// Which of a page's elements are rows. A newer server may send what this library does not know: it is read past.
std::vector<std::int32_t> PlacesOfRows(const TVqXMLSchemaElement& page) {
  std::vector<std::int32_t> places;
  std::string_view name;
  bool known = false;
  std::int32_t place = 0;
  for (detail::TVqRawElement element = detail::TVqRawElement(page.AsElement()).FirstChild(); element;
       element = element.Next(), ++place) {
    if (name.empty() || element.LocalName() != name) {
      name = element.LocalName();
      known = ArrayOf(page, name);
    }
    if (known) places.push_back(place);
  }
  return places;
}

}  // namespace

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
  if (AValue) return FetchPage(0);  // which leaves an open table as it is when it fails
  FRoot.reset();
  FRowsElm = {};
  FElements = {};
  FRows.clear();
  FFields->ForgetMade();
  FPageStart = 0;
  FPageOffset = 0;
  FRecordCount = 0;
  FLastPage = false;
  FRowsBefore = 0;
  FRow = -1;
}

void TVqEWSTable::SetMaxEntries(std::int32_t AValue) {
  if (AValue < 0) throw EVqException("A table cannot end after a negative number of rows.");
  FMaxEntries = AValue;
}

std::int32_t TVqEWSTable::RowsToAskFor(std::int32_t AMost) const noexcept {
  if (FMaxEntries == 0) return AMost;
  const std::int32_t had = FAskedOffset == 0 ? 0 : FRowsBefore + RowCount();
  return std::min(AMost, std::max(FMaxEntries - had, 1));
}

bool TVqEWSTable::AtLimit() const noexcept {
  return FMaxEntries != 0 && FRowsBefore + RowCount() >= FMaxEntries;
}

void TVqEWSTable::SetData(std::unique_ptr<TVqXMLSchemaElement> ARoot) {
  const IVqDOMElement page = ARoot->AsElement().GetParentElement();
  const std::int32_t count = page.GetAttributeAsInteger("TotalItemsInView");
  const std::int32_t offset = page.GetAttributeAsInteger("IndexedPagingOffset");  // absent in a calendar view: 0
  const string last = page.GetAttribute("IncludesLastItemInRange");
  const bool lastPage = !last.empty() && VqXMLToBool(last);
  std::vector<std::int32_t> rows = PlacesOfRows(*ARoot);
  const std::int32_t before = FAskedOffset == 0 ? 0 : FRowsBefore + RowCount();
  // A server may give more than it was asked for.
  if (FMaxEntries != 0) rows.resize(std::min(rows.size(), static_cast<std::size_t>(std::max(FMaxEntries - before, 0))));
  // From here on nothing raises: a page that cannot be read leaves the old one in place.
  LeaveRow();
  FRoot = std::move(ARoot);
  FRowsElm = FRoot->AsElement();
  FElements = FRowsElm.GetChildElements();
  FRows = std::move(rows);
  FRowsBefore = before;
  FFields->ForgetMade();
  FRecordCount = count;
  FPageStart = FAskedOffset;
  FPageOffset = offset;
  FLastPage = lastPage;
  ToFirstRow();
}

void TVqEWSTable::ToFirstRow() {
  FPageEOF = RowCount() == 0;
  FRow = FPageEOF ? -1 : 0;
}

void TVqEWSTable::FetchPage(std::int32_t AOffset) {
  FAskedOffset = AOffset;
  GetNextPage();
  // Nothing but elements that are no rows: read past, so that the walk does not stop at a row that is not there.
  while (FRows.empty() && !AtLimit() && FElements.Count() > 0 && !FLastPage && FPagedDataSupported &&
         FPageOffset > FPageStart) {
    FAskedOffset = FPageOffset;
    GetNextPage();
  }
}

void TVqEWSTable::FetchBehind() {
  const std::int32_t start = FPageStart;
  const bool hadRows = !FRows.empty();
  const auto checkMoves = [&] {
    if (FPageOffset > start) return;
    throw EVqException(
        Format("The page at row %d does not move on: more rows follow, says the server, and begin at %d.",
               {std::int64_t{start}, std::int64_t{FPageOffset}}));
  };
  if (hadRows) checkMoves();
  FetchPage(FPageOffset);
  // An empty page was asked for once more, as rows may have come since.
  if (!hadRows && FRows.empty() && !FLastPage) checkMoves();
}

bool TVqEWSTable::Eof() {
  return FPagedDataSupported ? FPageEOF && (FLastPage || AtLimit()) : FPageEOF;
}

std::int32_t TVqEWSTable::RowCount() const noexcept {
  return static_cast<std::int32_t>(FRows.size());
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
  if (!FLastPage && !AtLimit() && FPagedDataSupported) FetchBehind();
}

void TVqEWSTable::First() {
  LeaveRow();
  // A page after the first was read when the one in hand does not begin with the first row, however many rows it has.
  if (!GetActive() || FPageStart > 0) return SetActive(true);
  ToFirstRow();
}

TVqRef<IVqEWSRestriction> TVqEWSTable::CreateRestriction(TVqEWSRestrictionType ARestrictionType) {
  return EwsCreateRestriction(this, ARestrictionType);
}

bool TVqEWSTable::HasField(const TVqEWSFieldDef& AFieldDef) {
  TVqEWSField* field = FFields->FindField(AFieldDef);
  if (!field || !GetActive()) return field;
  return FRow >= 0 && field->IsFromServer();
}

TVqEWSField* TVqEWSTable::FindField(const TVqEWSFieldDef& AFieldDef) {
  return FFields->FindField(AFieldDef);
}
TVqEWSField& TVqEWSTable::FieldByName(const TVqEWSFieldDef& AFieldDef) {
  return FFields->FieldByName(AFieldDef);
}

IVqDOMElement TVqEWSTable::GetRowElement() {
  return FRow < 0 ? IVqDOMElement() : FElements.GetItem(FRows[static_cast<std::size_t>(FRow)]);
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

std::unique_ptr<TVqXMLSchemaElement> TVqEWSTable::MakeRowRecord() {
  // The class of a row is that of the array's entries of this name. The record is made on the row's element at once:
  // looking for it among the entries of its kind would find the same element and cost a walk a row.
  const IVqDOMElement row = GetRowElement();
  const std::string_view name = detail::TVqRawElement(row).LocalName();
  const TVqXMLSchemaMember* member = ArrayOf(*FRoot, name);
  if (!member) throw EAssertionFailed("There is no property with the name: " + string(name));
  return member->Class->CreateRecord(row);
}

}  // namespace velmore
