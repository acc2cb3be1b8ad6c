#pragma once

/// Range loops over tables and lists.
///
///     for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT, FLD_MESSAGE_FROM))
///       std::cout << row.Sender().Name << ": " << row[FLD_ITEM_SUBJECT].GetAsString() << '\n';
///     for (const auto& attachment : mail->GetAttachments()) ...
///     for (const auto& recipient : mail->GetToRecipients()) ...
///     for (const string& category : mail->GetCategories()) ...
///
/// Write the reference behind the colon, not what it points to: the loop then keeps it. In `*inbox->GetItems()` the
/// table would be gone before the first row.
///
/// A loop over a table opens it, or goes back to its first row, and fetches page after page; what `Open`, `First` and
/// `Next` raise comes out of the loop. A row is valid until the loop goes on. Loops over lists look at the list as it
/// is at each step: whoever takes entries out while walking skips some, so collect first what is to go.

#include <bit>
#include <concepts>
#include <iosfwd>
#include <iterator>
#include <vector>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/model/uVqEWSCategory.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/model/uVqEWSRecipients.h"
#include "ews/model/uVqEWSResolution.h"
#include "ews/values/uVqEWSFields.h"
#include "ews/values/uVqEWSProperties.h"
#include "ews/values/uVqEWSStrings.h"

namespace velmore {

// ---- Rows of a table

/// The row on which a table stands. Costs a pointer; valid until the table's cursor moves or the table goes.
class TVqEWSRow {
 public:
  /// The row on which the table stands now.
  explicit TVqEWSRow(IVqEWSTableBase& ATable) noexcept : FTable(&ATable) {}

  /// The value of a column; raises a plain exception when the column was not added. Empty where the row lacks it.
  TVqEWSField& operator[](const TVqEWSFieldDef& AFieldDef) const { return FTable->FieldByName(AFieldDef); }
  /// Whether the server gave a value for the column.
  bool Has(const TVqEWSFieldDef& AFieldDef) const { return FTable->HasField(AFieldDef); }
  /// The row as it came, for typed records: `TEwsMessage message(row.Element())`.
  IVqDOMElement Element() const { return FTable->GetRowElement(); }

 private:
  IVqEWSTableBase* FTable;
};

/// Name and address of a person or list, as a row has them. Owns its texts; either may be empty.
struct TVqEWSAddress {
  string Name;     ///< as people see it
  string Address;  ///< "bob@example.com", or what the routing type has for it
};

/// A row of a table of items.
class TVqEWSItemRow : public TVqEWSRow {
 public:
  /// The row on which the table stands now.
  explicit TVqEWSItemRow(IVqEWSItems& ATable) noexcept : TVqEWSRow(ATable), FItems(&ATable) {}

  /// The id of the row's item: for `GetItem`, `MoveItem` and their kin.
  TItemId Id() const { return FItems->GetItemId(); }
  /// The kind of the item by the row's element, as `m:FindItem` answered: "Message", "CalendarItem", "Contact".
  string Kind() const { return Element().GetLocalName(); }
  /// Whom the message is from (column FLD_MESSAGE_FROM), or, where that is absent, who sent it (FLD_MESSAGE_SENDER).
  /// Servers leave the address out of rows in some versions: the name then stands alone.
  TVqEWSAddress Sender() const;

 private:
  IVqEWSItems* FItems;
};

/// A row of a table of folders.
class TVqEWSFolderRow : public TVqEWSRow {
 public:
  /// The row on which the table stands now.
  explicit TVqEWSFolderRow(IVqEWSFolders& ATable) noexcept : TVqEWSRow(ATable), FFolders(&ATable) {}

  /// The id of the row's folder: for the store's `GetFolder`.
  TItemId Id() const;
  /// The id of the folder above it.
  TItemId ParentId() const;
  /// The name that people see.
  string DisplayName() const;
  /// Of messages, a calendar, contacts, tasks, a search.
  TSetFolderFieldType FolderType() const { return FFolders->FolderFieldType(); }
  /// Number of all items, of unread ones, of subfolders; 0 where the server does not tell.
  std::int32_t TotalCount() const { return Number("TotalCount"); }
  std::int32_t UnreadCount() const { return Number("UnreadCount"); }
  std::int32_t ChildFolderCount() const { return Number("ChildFolderCount"); }

 private:
  std::int32_t Number(const char* AName) const;

  IVqEWSFolders* FFolders;
};

/// Walks a table once, forwards. Two iterators over one table move together.
template <typename TTable, typename TRow>
class TVqEWSRowIterator {
 public:
  /// What the standard library asks an iterator for.
  using value_type = TRow;
  using difference_type = std::ptrdiff_t;            ///< never used
  using iterator_concept = std::input_iterator_tag;  ///< one pass

  /// Of no table; only good to be assigned to.
  TVqEWSRowIterator() noexcept = default;
  /// Where the table stands, which must outlive it.
  explicit TVqEWSRowIterator(TTable& ATable) noexcept : FTable(&ATable) {}

  /// The row on which the table stands.
  TRow operator*() const { return TRow(*FTable); }
  /// To the next row; may ask the server for a page.
  TVqEWSRowIterator& operator++() {
    FTable->Next();
    return *this;
  }
  void operator++(int) { FTable->Next(); }  ///< the same
  /// Whether the table stands behind its last row.
  friend bool operator==(const TVqEWSRowIterator& A, std::default_sentinel_t) { return A.FTable->Eof(); }

 private:
  TTable* FTable = nullptr;
};

/// The first row of a table: opens it, or brings it back to its front.
inline TVqEWSRowIterator<IVqEWSItems, TVqEWSItemRow> begin(IVqEWSItems& ATable) {
  ATable.GetActive() ? ATable.First() : ATable.Open();
  return TVqEWSRowIterator<IVqEWSItems, TVqEWSItemRow>(ATable);
}
inline TVqEWSRowIterator<IVqEWSFolders, TVqEWSFolderRow> begin(IVqEWSFolders& ATable) {
  ATable.GetActive() ? ATable.First() : ATable.Open();
  return TVqEWSRowIterator<IVqEWSFolders, TVqEWSFolderRow>(ATable);
}
/// Behind its last row.
inline std::default_sentinel_t end(IVqEWSTableBase&) noexcept {
  return {};
}

/// The items of a folder with these columns: a table that was not opened yet.
///
///     for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT, FLD_ITEM_SIZE)) ...
template <std::convertible_to<const TVqEWSFieldDef&>... TColumns>
TVqRef<IVqEWSItems> VqItemsOf(IVqEWSFolder& AFolder, const TColumns&... AColumns) {
  TVqRef<IVqEWSItems> items = AFolder.GetItems();
  (items->GetFields().Add(AColumns), ...);
  return items;
}

/// The ids of all items of a table, from its first row on. For a loop that moves, deletes or changes what it walks: the
/// server counts the rows of the next page from the front, so that each one that has gone makes the table skip another.
///
///     for (const TItemId& id : VqIdsOf(*items)) inbox->DeleteItem(id, dtMoveToDeletedItems);
std::vector<TItemId> VqIdsOf(IVqEWSItems& ATable);

// ---- Lists

namespace detail {

// How the lists of the object model give an entry by its position.
decltype(auto) EntryOf(auto& AList, std::int32_t AIndex) requires requires {
  AList.GetItem(AIndex);
}
{ return AList.GetItem(AIndex); }
inline TVqRef<IVqEWSAttachment> EntryOf(TVqEWSAttachments& AList, std::int32_t AIndex) {
  return AList.GetAttachment(AIndex);
}
inline TVqEWSCategory& EntryOf(IVqEWSCategories& AList, std::int32_t AIndex) {
  return AList.GetCategory(AIndex);
}

/// A list of the library: a number of entries, each by its position.
template <typename TList>
concept TIndexed = std::derived_from<TList, TVqEWSBaseDataList> || std::derived_from<TList, IVqEWSRecipients> ||
    std::derived_from<TList, IVqEWSResolutionSet> || std::derived_from<TList, IVqEWSCategories> ||
    std::same_as<TList, TVqEWSAttachments> || std::same_as<TList, TVqEWSMembersList> ||
    std::same_as<TList, TVqEWSStrings>;

}  // namespace detail

/// Walks a list by position. Does not own it.
template <typename TList>
class TVqEWSEntryIterator {
 public:
  /// What the list's own operation gives.
  using reference = decltype(detail::EntryOf(std::declval<TList&>(), 0));
  using value_type = std::remove_cvref_t<reference>;  ///< the same by value
  using difference_type = std::ptrdiff_t;             ///< never used
  using iterator_concept = std::input_iterator_tag;   ///< one pass

  /// Of no list; only good to be assigned to.
  TVqEWSEntryIterator() noexcept = default;
  /// The first entry of a list, which must outlive it.
  explicit TVqEWSEntryIterator(TList& AList) noexcept : FList(&AList) {}

  /// The entry: a reference for lists that own their entries, else a counted reference or a text of its own.
  reference operator*() const { return detail::EntryOf(*FList, FIndex); }
  /// To the next entry.
  TVqEWSEntryIterator& operator++() {
    ++FIndex;
    return *this;
  }
  void operator++(int) { ++FIndex; }  ///< the same
  /// Whether the list has no more.
  friend bool operator==(const TVqEWSEntryIterator& A, std::default_sentinel_t) { return A.FIndex >= A.FList->Count(); }

 private:
  TList* FList = nullptr;
  std::int32_t FIndex = 0;
};

/// The entries of properties, fields, attachments, recipients, members and texts such as categories; the categories of
/// a mailbox, and the candidates for a name.
template <detail::TIndexed TList>
TVqEWSEntryIterator<TList> begin(TList& AList) {
  return TVqEWSEntryIterator<TList>(AList);
}
template <detail::TIndexed TList>
std::default_sentinel_t end(TList&) noexcept {
  return {};
}

// ---- Values

/// Writes the value of a field or property as its text, as GetAsString gives it: `std::cout << row[FLD_ITEM_SUBJECT]`.
/// Asks the server where that does.
std::ostream& operator<<(std::ostream& AStream, TVqEWSData& AValue);

// ---- Sets

/// Walks the values of a set, from the first of their enumeration. A copy of the set: costs two words.
template <typename T>
class TVqSetIterator {
 public:
  using value_type = T;                              ///< what the set is of
  using difference_type = std::ptrdiff_t;            ///< never used
  using iterator_concept = std::input_iterator_tag;  ///< one pass

  /// Of the empty set.
  constexpr TVqSetIterator() noexcept = default;
  /// The first value of a set.
  constexpr explicit TVqSetIterator(TVqSet<T> ASet) noexcept : FBits(ASet.Bits()) {}

  /// The value.
  constexpr T operator*() const noexcept { return static_cast<T>(std::countr_zero(FBits)); }
  /// To the next value.
  constexpr TVqSetIterator& operator++() noexcept {
    FBits &= FBits - 1;
    return *this;
  }
  constexpr void operator++(int) noexcept { ++*this; }  ///< the same
  /// Whether the set has no more.
  friend constexpr bool operator==(const TVqSetIterator& A, std::default_sentinel_t) noexcept { return A.FBits == 0; }

 private:
  std::uint64_t FBits = 0;
};

/// The values of a set.
///
///     for (const TDayOfWeek day : pattern.GetDaysOfWeek()) ...
template <typename T>
constexpr TVqSetIterator<T> begin(TVqSet<T> ASet) noexcept {
  return TVqSetIterator<T>(ASet);
}
template <typename T>
constexpr std::default_sentinel_t end(TVqSet<T>) noexcept {
  return {};
}

// ---- References to them

/// What a reference points to is a table or a list: the loop keeps the reference.
template <typename T>
requires requires(T& AList) {
  begin(AList);
}
auto begin(const TVqRef<T>& AList) {
  return begin(*AList);
}
template <typename T>
requires requires(T& AList) {
  begin(AList);
}
std::default_sentinel_t end(const TVqRef<T>&) noexcept {
  return {};
}

}  // namespace velmore
