#pragma once

/// The columns of a table.
///
///     TVqEWSFields& fields = table->GetFields();
///     fields.Add(FLD_ITEM_SUBJECT);
///     for (table->Open(); !table->Eof(); table->Next())
///       std::cout << fields.FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';

#include "ews/values/uVqEWSDataList.h"

namespace velmore {

class TVqEWSTableCells;

/// A value of the current row: a cursor without change tracking that never asks the server. What the row lacks is made
/// empty in the page, so that reading it gives empty text. See TVqEWSData for what it owns, costs and raises.
class TVqEWSField : public TVqEWSData {
 public:
  using TVqEWSData::TVqEWSData;

 protected:
  bool AsksForValue() const noexcept override { return false; }
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

 private:
  void GiveColumns(TVqEWSTableCells& ACells);
};

}  // namespace velmore
