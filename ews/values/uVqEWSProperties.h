#pragma once

/// The properties of one object, with their changes.
///
///     TVqEWSProperties& properties = item->GetProperties();
///     for (std::int32_t i = 0; i < properties.Count(); ++i) {
///       TVqEWSProperty& property = properties.GetItem(i);
///       std::cout << property.GetName() << " = " << property.GetAsString() << '\n';
///     }
///     properties.PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);   // asked for, made if missing
///     if (properties.HasProperty(MPR_BODY)) ...
///
/// The difference between an object's two trees is what a save sends; `GetUpdateStatus` of each property tells its
/// part.

#include "ews/values/uVqEWSDataList.h"

namespace velmore {

/// A value with change tracking. See TVqEWSData for what it owns, costs and raises.
///
/// Valid until its list is rebuilt, which `TVqEWSProperties::Count` may do; used after that it raises.
class TVqEWSProperty : public TVqEWSData {
 public:
  using TVqEWSData::TVqEWSData;

  /// The explicit status if one was set, else what comparing the two trees gives.
  TVqEWSDataUpdateStatus GetUpdateStatus() override;
  /// Sets an explicit status: comparing stops. A value that is set after a deletion takes the deletion back.
  void SetUpdateStatus(TVqEWSDataUpdateStatus AValue);

  /// True while a status that was set stands in place of comparing.
  bool GetExplicitUpdateStatus() const noexcept { return FExplicit.IsSet; }
  /// False: back to comparing.
  void SetExplicitUpdateStatus(bool AValue) noexcept { FExplicit.IsSet = AValue; }

  /// Whether the status is this one.
  bool GetDeleted() { return GetUpdateStatus() == dusDeleted; }
  bool GetInserted() { return GetUpdateStatus() == dusInserted; }
  bool GetModified() { return GetUpdateStatus() == dusModified; }
  /// True sets that status explicitly; false goes back to comparing.
  void SetDeleted(bool AValue) { SetExplicit(AValue, dusDeleted); }
  void SetInserted(bool AValue) { SetExplicit(AValue, dusInserted); }
  void SetModified(bool AValue) { SetExplicit(AValue, dusModified); }

 protected:
  void Written() override;

 private:
  friend class TVqEWSProperties;
  struct TExplicitStatus {
    TVqEWSDataUpdateStatus Status = dusUnmodified;
    bool IsSet = false;
    string DeletedValue;  // what stood there when it was marked for deletion
  };

  void SetExplicit(bool AValue, TVqEWSDataUpdateStatus AStatus);
  bool TakenBack();
  string CurrentMarkup();

  TExplicitStatus FExplicit;
  bool FOfEarlierData = false;  // made before the object's last load
};

/// The list of an object's properties, made on first use.
///
/// Owns the properties; see TVqEWSDataList for those that were given up. No copies. Belongs to its object and to that
/// object's thread. May ask the server, through the object's demand event. Raises plain exceptions.
class TVqEWSProperties : public TVqEWSDataList<TVqEWSProperty> {
 public:
  using TVqEWSDataList::TVqEWSDataList;

  /// Compares the number of entries with the number of elements that the object has now; if they differ, the list is
  /// rebuilt from the elements and all property objects are new. Explicit statuses are kept, and with them the entries
  /// that are to be deleted. Elements that no definition is known for are left out; the parts of a dictionary are all
  /// there, present or not. Raises "There is no property definition ""!" for an extended property of the answer that no
  /// row has.
  ///
  /// Going through all properties by position costs what one rebuild costs, although `Count` is called each time.
  std::int32_t Count() override;

  /// Adds a property without touching the tree. Raises EListError when it is there already.
  TVqEWSProperty& Add(const TVqEWSPropDef& APropDef) { return AddItem(APropDef); }
  /// The property if it is in the list; makes nothing and asks nobody.
  TVqEWSProperty* FindProperty(const TVqEWSPropDef& APropDef) { return FindItem(APropDef); }
  /// Whether the object has the property. For a member of the schema: whether the object's record knows it, present or
  /// not. For an extended property: whether it is there, after asking the server if it is not.
  bool HasProperty(const TVqEWSPropDef& APropDef);
  /// The property. One that the object lacks is asked for and then made: numbers, booleans and dates with their zero
  /// value, so that they count as inserted, texts empty and so unmodified.
  TVqEWSProperty& PropertyByName(const TVqEWSPropDef& APropDef) { return GetItem(APropDef); }

  using TVqEWSDataList::CreateItem;
  /// As in any list; in addition raises "Failed to locate the Property Definition for "%s"!" for a definition without a
  /// key.
  TVqEWSProperty& CreateItem(const TVqEWSPropDef& APropDef) override;

  /// Rebuilds the list unless each element that the object has now has its entry. `Count` compares numbers alone, so
  /// that entries of an earlier load can stand in place of what has changed since; a save must not miss that.
  void Follow();
  /// Calls `AVisit` for each property that may differ between the two trees or has an explicit status, in the order of
  /// the list that `Follow` leaves; those it skips are unmodified. As long as nobody has asked for a property, it makes
  /// those alone that belong to what differs, and keeps none of them: most saves change little.
  void ForEachChange(const std::function<void(TVqEWSProperty&)>& AVisit);
  /// Drops all explicit statuses. Called by the object when it gets new data.
  void ResetExplicitStatuses() noexcept;

 protected:
  TVqEWSProperty& GetByPath(const string& APath) override;
  TVqEWSProperty& GetByField(const TVqEWSFieldDef& AFieldDef) override;
  TVqEWSProperty& GetByProp(const TVqEWSPropDef& APropDef) override;

 private:
  std::unique_ptr<TVqEWSProperty> MakeProperty(const TVqEWSPropDef& APropDef);
  TVqEWSProperty& Entry(const TVqEWSPropDef& APropDef);
  TVqEWSProperty& Filled(TVqEWSProperty& AProperty);
  /// A status that outlives the rebuilding of the list.
  struct TSavedStatus {
    explicit TSavedStatus(const TVqEWSProperty& AProperty);

    string Path;
    TVqEWSProperty::TExplicitStatus Status;
    TVqEWSPropDef Def;
    std::unique_ptr<TGUID> Set;
  };

  void Rebuild(const TVqXMLSchemaElement& ARecord);
  void Renew();
  void VisitDifferences(const std::function<void(TVqEWSProperty&)>& AVisit);

  // What the list was last built from.
  IVqDOMElement FBuiltFrom;
  std::uint32_t FBuiltModification = 0;
  std::uint32_t FBuiltVersion = 0;
};

}  // namespace velmore
