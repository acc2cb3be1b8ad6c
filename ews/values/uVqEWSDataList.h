#pragma once

/// Lists of values by their path: the base of `TVqEWSProperties` and `TVqEWSFields`.

#include <concepts>
#include <span>
#include <unordered_map>

#include "ews/values/uVqEWSData.h"

namespace velmore {

/// Values of one kind, keyed by their path and kept in the order in which they were added.
///
/// Owns its entries. An entry that is given up (`Clear`) stays as an empty shell until the list goes, so that a
/// reference to it raises a clear exception instead of failing in the dark. Looking up costs one hash look-up.
template <std::derived_from<TVqEWSData> T>
class TVqEWSDataList : public TVqEWSBaseDataList {
 public:
  using TVqEWSBaseDataList::TVqEWSBaseDataList;

  /// Makes the entry for a member of the object's class ("Subject"), an "EPR_" tail or a definition, if it is not in
  /// the list, and gives it. Raises "There is no property definition for "%s:%s"!".
  virtual T& CreateItem(const string& AName) {
    return CreateItem(*GetPropDef(CurrentRecord().ClassName(), AName, true));
  }
  virtual T& CreateItem(const TVqEWSFieldDef& AFieldDef) { return CreateItem(*DefinitionOf(AFieldDef)); }
  virtual T& CreateItem(const TVqEWSPropDef& APropDef) {
    T* item = FindItem(APropDef);
    return item ? *item : AddItem(APropDef);
  }

  // ---- Adding

  /// Makes an entry. Raises EListError when the path is in the list already.
  T& AddItem(const VqEWSField& AField) { return Added(Make(AField)); }
  T& AddItem(const TVqEWSFieldDef& AFieldDef) { return Added(Make(AFieldDef)); }
  T& AddItem(const TVqEWSPropDef& APropDef) { return Added(Make(APropDef)); }
  T& AddItem(PVqEWSPropDef APropDef) { return Added(Make(APropDef)); }

  // ---- Finding: none when absent

  /// By path.
  T* FindItem(const string& APath) {
    const auto found = FPositions.find(APath);
    return found == FPositions.end() ? nullptr : HandOut(found->second);
  }
  T* FindItem(const char* APath) { return FindItem(string(APath)); }
  /// By position from 0, in the order of adding. Raises EListError for a position that is not there.
  T* FindItem(std::integral auto AIndex) { return FindAt(static_cast<std::int64_t>(AIndex)); }
  /// An integer is a position, a text a path; any other kind raises "The requested item could not be found!".
  T* FindItem(const TVqVariant& AValue) {
    if (const auto* text = std::get_if<string>(&AValue)) return FindItem(*text);
    return FindAt(PositionOf(AValue));
  }
  /// By the path of the field's property, or of the property.
  T* FindItem(const TVqEWSFieldDef& AFieldDef) { return FindItem(*DefinitionOf(AFieldDef)); }
  T* FindItem(const TVqEWSPropDef& APropDef) {
    const auto row = FRows.find(&APropDef);  // the usual case, once a column of each row of a table
    return row != FRows.end() ? HandOut(row->second) : FindItem(GetNodePath(APropDef));
  }

  // ---- Getting: raises "The requested item (%s) could not be found!" when absent. Its virtual parts: GetByPath and
  // its kin

  /// By path, by position from 0 (EListError outside) or by definition. Raises when it is absent.
  T& GetItem(const string& APath) { return GetByPath(APath); }
  T& GetItem(const char* APath) { return GetByPath(string(APath)); }
  T& GetItem(std::integral auto AIndex) { return *FindAt(static_cast<std::int64_t>(AIndex)); }
  T& GetItem(const TVqVariant& AValue) {
    if (const auto* text = std::get_if<string>(&AValue)) return GetByPath(*text);
    return *FindAt(PositionOf(AValue));
  }
  T& GetItem(const TVqEWSFieldDef& AFieldDef) { return GetByField(AFieldDef); }
  T& GetItem(const TVqEWSPropDef& APropDef) { return GetByProp(APropDef); }

  /// Number of entries. May rebuild the list where the entries follow the object.
  virtual std::int32_t Count() { return Size(); }

  /// Gives up all entries.
  virtual void Clear() {
    for (TEntry& entry : FItems) {
      entry.Item->Discard();
      // Nobody can hold what was never handed out.
      if (entry.HandedOut) FDiscarded.push_back(std::move(entry.Item));
    }
    FItems.clear();
    FPositions.clear();
    FRows.clear();
    FHandedOut.clear();
    ++FVersion;
  }

 protected:
  /// The virtual parts of `GetItem`. The failure names an absent field by its key.
  virtual T& GetByPath(const string& APath) {
    if (T* item = FindItem(APath)) return *item;
    RaiseNotFound(APath);
  }
  virtual T& GetByField(const TVqEWSFieldDef& AFieldDef) {
    if (T* item = FindItem(AFieldDef)) return *item;
    RaiseNotFound(AFieldDef.FieldDefName.ToString());
  }
  virtual T& GetByProp(const TVqEWSPropDef& APropDef) {
    if (T* item = FindItem(APropDef)) return *item;
    RaiseNotFound(APropDef.PropDefName.ToString());
  }

  /// Number of entries as they are.
  std::int32_t Size() const noexcept { return static_cast<std::int32_t>(FItems.size()); }
  /// The entry with this path, without handing it out; none when absent.
  T* Find(const string& APath) const {
    const auto found = FPositions.find(APath);
    return found == FPositions.end() ? nullptr : FItems[found->second].Item.get();
  }
  /// By position, which must be there.
  T& At(std::int32_t AIndex) const { return *FItems[static_cast<std::size_t>(AIndex)].Item; }

  /// A new entry that is not in the list yet.
  std::unique_ptr<T> Make(const auto& ADefinition) { return std::make_unique<T>(*this, GetData(), ADefinition); }
  /// Appends an entry, without handing it out.
  T& Store(std::unique_ptr<T> AItem) {
    const string path = GetNodePath(AItem->GetRow());
    if (!FPositions.emplace(path, FItems.size()).second) RaiseDuplicate(path);
    if (AItem->IsRegistered()) FRows.emplace(&AItem->GetRow(), FItems.size());
    FItems.push_back({std::move(AItem), false});
    ++FVersion;
    return *FItems.back().Item;
  }
  /// Puts new objects in the place of those that were handed out, so that a list that is rebuilt with the same entries
  /// costs no more than what was used of it. `AMake` gives the new object for the old one.
  void RenewHandedOut(const auto& AMake) {
    for (const std::size_t position : std::exchange(FHandedOut, {})) {
      TEntry& entry = FItems[position];
      std::unique_ptr<T> made = AMake(*entry.Item);
      entry.Item->Discard();
      FDiscarded.push_back(std::exchange(entry.Item, std::move(made)));
      entry.HandedOut = false;
    }
  }
  /// Changes whenever entries come or go.
  std::uint32_t Version() const noexcept { return FVersion; }

 private:
  struct TEntry {
    std::unique_ptr<T> Item;
    bool HandedOut;
  };

  T& Added(std::unique_ptr<T> AItem) {
    Store(std::move(AItem));
    return *HandOut(FItems.size() - 1);
  }
  T* FindAt(std::int64_t AIndex) {
    if (AIndex < 0 || AIndex >= Size()) RaiseNoPosition(AIndex);
    return HandOut(static_cast<std::size_t>(AIndex));
  }
  T* HandOut(std::size_t APosition) {
    TEntry& entry = FItems[APosition];
    if (!std::exchange(entry.HandedOut, true)) FHandedOut.push_back(APosition);
    return entry.Item.get();
  }

  std::vector<TEntry> FItems;
  std::unordered_map<string, std::size_t> FPositions;    // by path
  std::unordered_map<PVqEWSPropDef, std::size_t> FRows;  // by registered row, where the path is not asked for
  std::vector<std::size_t> FHandedOut;
  std::vector<std::unique_ptr<T>> FDiscarded;
  std::uint32_t FVersion = 0;
};

}  // namespace velmore
