#pragma once

/// Where the columns of a table stand in its current row.

#include <string>
#include <vector>

#include "platform/xml/internal/uVqXMLDOMAccess.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqEWSTableCells;  // named by a public header

/// The cells of a row, found in one walk over its elements, so that reading a row costs its elements once and not once
/// a column. Servers write the elements of all rows in nearly the same order: behind each column the one is expected
/// that stood there in the row before.
///
/// Keeps the row's document until it is told to forget it; fields refer to it, so that it outlives them. No copies. One
/// thread at a time.
class TVqEWSTableCells {
 public:
  TVqEWSTableCells() = default;
  TVqEWSTableCells(const TVqEWSTableCells&) = delete;
  TVqEWSTableCells& operator=(const TVqEWSTableCells&) = delete;

  /// The local names of the columns that are plain children of a row, and the version of the list that they are from.
  /// Other columns are left to their selections.
  void SetColumns(std::vector<std::string> ANames, std::uint32_t AVersion);
  /// The version that SetColumns was given; 0 before.
  std::uint32_t GetVersion() const noexcept { return FVersion; }
  /// Finds the cells of a row: of each column the first element, as its selection would.
  void Find(const IVqDOMElement& ARow);
  void Forget() noexcept { FDocument = nullptr; }
  /// What was found still holds: no element came, went or moved since.
  bool Valid() const noexcept { return FDocument && FDocument.GetStructureCount() == FStructure; }

  /// The element of a column; none when the row lacks it.
  detail::TVqRawElement Get(std::size_t AColumn) const noexcept { return FCells[AColumn]; }
  /// The element was made for the column just now, and nothing else changed: other cells need no new search.
  void Set(std::size_t AColumn, const IVqDOMElement& AElement) noexcept;

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t ColumnOf(std::string_view AName) const noexcept;

  std::vector<std::string> FNames;         // of the columns, without prefix
  std::uint32_t FVersion = 0;              // of the list that they are from
  std::vector<std::size_t> FBehind = {0};  // the first column of a row, then for each column the one behind it
  std::vector<detail::TVqRawElement> FCells;
  IVqDOMDocument FDocument;
  std::uint32_t FStructure = 0;
};

}  // namespace velmore

#pragma GCC visibility pop
