#pragma once

/// The forward cursor over the contents of a folder. Its concrete forms are in uVqEWSFolder.h.

#include <memory>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/values/uVqEWSFields.h"

namespace velmore {

class TVqEWSTableCells;

/// Base of all tables.
///
/// Owns the current page and the columns; lives by its reference count and keeps its folder alive. One thread at a
/// time. Raises what the server refuses as EEWSException; the current page then stays.
class TVqEWSTable : public TVqEWSObject, public virtual IVqEWSTableBase {
 public:
  bool GetActive() override { return FRoot != nullptr; }
  TVqEWSFields& GetFields() override { return *FFields; }
  void SetActive(bool AValue) override;
  bool Eof() override;
  std::int32_t Count() override { return FRecordCount; }
  void Open() override;
  void First() override;
  void Next() override;
  TVqRef<IVqEWSRestriction> CreateRestriction(TVqEWSRestrictionType ARestrictionType) override;
  void Filter(const TVqRef<IVqEWSRestriction>& ARestriction) override { FRestriction = ARestriction; }
  bool HasField(const TVqEWSFieldDef& AFieldDef) override;
  TVqEWSField* FindField(const TVqEWSFieldDef& AFieldDef) override;
  TVqEWSField& FieldByName(const TVqEWSFieldDef& AFieldDef) override;
  IVqDOMElement GetRowElement() override;
  std::int32_t GetMaxEntriesPerPage() override { return FMaxEntriesPerPage; }
  void SetMaxEntriesPerPage(std::int32_t AValue) override { FMaxEntriesPerPage = AValue; }
  std::int32_t GetMaxEntries() override { return FMaxEntries; }
  void SetMaxEntries(std::int32_t AValue) override;

  /// Rows of the current page. Elements that the library has no class for do not count.
  std::int32_t RowCount() const noexcept;
  /// The total number of rows on the server, as Count.
  std::int32_t GetRecordCount() const noexcept { return FRecordCount; }

 protected:
  /// False for a table that the server gives in one page.
  TVqEWSTable(TVqComponent* ACreator, bool APagedDataSupported);
  ~TVqEWSTable() override;

  /// Asks for the page at `GetPageOffset` and hands it to SetData.
  virtual void GetNextPage() = 0;
  /// Takes over the typed array of a page, whose parent element tells of the page's place.
  void SetData(std::unique_ptr<TVqXMLSchemaElement> ARoot);
  /// The typed record of the current row; with `ARaiseError` raises "There is no data!" when there is none.
  TVqXMLSchemaElement* GetRowData(TVqEWSGetDataElmSource ASource, bool ARaiseError);
  /// Where the requested page begins among all rows, from 0.
  std::int32_t GetPageOffset() const noexcept { return FAskedOffset; }
  /// How many of `AMost` rows the next request asks for, so that the table does not go beyond its limit.
  std::int32_t RowsToAskFor(std::int32_t AMost) const noexcept;
  /// The filter of the next request; empty for none.
  const TVqRef<IVqEWSRestriction>& GetRestriction() const noexcept { return FRestriction; }

 private:
  std::unique_ptr<TVqXMLSchemaElement> MakeRowRecord();
  void LeaveRow();
  void ToFirstRow();
  void FetchPage(std::int32_t AOffset);
  void FetchBehind();
  bool AtLimit() const noexcept;

  std::unique_ptr<TVqXMLSchemaElement> FRoot;
  IVqDOMElement FRowsElm;
  TVqDOMElementList FElements;      // all of the page
  std::vector<std::int32_t> FRows;  // the places of those that are rows
  bool FPageEOF = true;
  std::int32_t FRow = -1;
  std::unique_ptr<TVqXMLSchemaElement> FRowElm;  // made when it is asked for
  std::unique_ptr<TVqEWSTableCells> FCells;      // of the current row
  std::unique_ptr<TVqEWSFields> FFields;
  std::int32_t FMaxEntriesPerPage = 50;
  std::int32_t FMaxEntries = 0;
  std::int32_t FRowsBefore = 0;  // on the pages before the one in hand
  std::int32_t FRecordCount = 0;
  std::int32_t FAskedOffset = 0;  // of the last request
  std::int32_t FPageStart = 0;    // where the page in hand begins
  std::int32_t FPageOffset = 0;   // where the server says that the next one begins
  bool FLastPage = false;
  TVqRef<IVqEWSRestriction> FRestriction;
  bool FPagedDataSupported;
};

}  // namespace velmore
