#pragma once

/// The columns of a table.
///
///     TVqEWSFields& fields = table->GetFields();
///     fields.Add(FLD_ITEM_SUBJECT);
///     for (table->Open(); !table->Eof(); table->Next())
///       std::cout << fields.FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
///
/// Columns of dictionary entries (phone numbers, e-mail and postal addresses) are asked for and read as empty: their
/// path has the entry's step twice, see TVqEWSData::GetPath. The row has them, and VqEntryOf reads them:
///
///     fields.Add(FLD_CONTACTS_PHONENUMBER_HOMEPHONE);
///     for (table->Open(); !table->Eof(); table->Next())
///       std::cout << VqEntryOf(table->GetRowElement(), FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetText() << '\n';

#include <unordered_set>

#include "ews/values/uVqEWSDataList.h"

namespace velmore {

class TVqEWSTableCells;

/// A value of the current row: a cursor without change tracking that never asks the server. What the row lacks, a
/// member of another kind of item included, is made empty in the page, so that reading it gives the empty value in
/// every form; HasField of the table tells whether the row has it. See TVqEWSData for what it owns, costs and raises.
class TVqEWSField : public TVqEWSData {
 public:
  using TVqEWSData::TVqEWSData;

  /// Whether the row came with the value: what reading made does not count, unless something was written into it.
  bool IsFromServer();

 protected:
  bool AsksForValue() const noexcept override { return false; }
  bool AbsentIsEmpty() const noexcept override { return true; }
  IVqDOMElement Find() override;
  IVqDOMElement MakeValueNode(const IVqDOMElement& AObject) override;

 private:
  friend class TVqEWSFields;

  TVqEWSTableCells* FCells = nullptr;  // of the table, if they tell where the column stands
  std::size_t FColumn = 0;
};

/// The columns that a table asks for, in the order in which they were added.
///
/// Owns them; see TVqEWSDataList. No copies. Belongs to its table and to that table's thread.
class TVqEWSFields : public TVqEWSDataList<TVqEWSField> {
 public:
  using TVqEWSDataList::TVqEWSDataList;

  /// Adds a column. Raises EListError when there is one for the same property.
  TVqEWSField& Add(const TVqEWSFieldDef& AFieldDef) { return AddItem(AFieldDef); }
  /// The column for the field's property; none when it was not added.
  TVqEWSField* FindField(const TVqEWSFieldDef& AFieldDef) { return FindItem(AFieldDef); }
  /// The same; raises "The requested item (%s) could not be found!" with the field's key.
  TVqEWSField& FieldByName(const TVqEWSFieldDef& AFieldDef) { return GetItem(AFieldDef); }

  /// For tables: finds the cells of all columns in a row.
  void FindCells(const IVqDOMElement& ARow, TVqEWSTableCells& ACells);
  /// For tables: forgets what was made in the page, when the page goes.
  void ForgetMade() noexcept { FMade.clear(); }

 private:
  friend class TVqEWSField;

  void GiveColumns(TVqEWSTableCells& ACells);

  std::unordered_set<const void*> FMade;  // nodes of the page that reading made
};

/// The entry of a dictionary in a row of a table (or in any other record's element): for a phone number or an e-mail
/// address its text, for a postal address an element with the parts. `AKey` names it as for a column. Empty when the
/// row lacks it. Raises a plain exception for a field without a property.
IVqDOMElement VqEntryOf(const IVqDOMElement& ARow, const TVqEWSFieldDef& AKey);

}  // namespace velmore
