#pragma once

/// What all lists of values have in common, and how a value reaches the records of its object.

#include <concepts>
#include <functional>

#include "ews/values/uVqEWSMembers.h"
#include "platform/xml/uVqXMLDOM.h"
#include "platform/xml/uVqXMLSchema.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

/// Which of the two trees: as the server sent it, or as it is now.
enum TVqEWSGetDataElmSource : std::int32_t { desOriginal, desCurrent };

/// Gives the record of a tree, or none. The boolean asks it to raise rather than give none; a function that always has
/// a record ignores it.
using TVqEWSGetDataElm = std::function<TVqXMLSchemaElement*(TVqEWSGetDataElmSource ASource, bool ARaiseError)>;

/// What every list of values has: the object that owns it, and how to reach that object's records.
///
/// Owns nothing else. No copies. Belongs to its object and to that object's thread. The serialisation is that of the
/// object's current record.
class TVqEWSBaseDataList {
 public:
  /// `ACreator` is the object that the list belongs to; it outlives the list.
  TVqEWSBaseDataList(const IVqEWSFieldSource* ACreator, TVqEWSGetDataElm AData);
  TVqEWSBaseDataList(const IVqEWSFieldSource& ACreator, TVqEWSGetDataElm AData)
      : TVqEWSBaseDataList(&ACreator, std::move(AData)) {}
  /// The same for an object whose class publishes no properties, such as a table.
  template <typename TCreator>
  requires(!std::convertible_to<TCreator*, const IVqEWSFieldSource*>)
      TVqEWSBaseDataList(const TCreator* ACreator, TVqEWSGetDataElm AData)
      : TVqEWSBaseDataList(ACreator ? &NoMembers() : nullptr, std::move(AData)) {}
  TVqEWSBaseDataList(const TVqEWSBaseDataList&) = delete;
  TVqEWSBaseDataList& operator=(const TVqEWSBaseDataList&) = delete;
  virtual ~TVqEWSBaseDataList();

  /// The published properties of the owner's class. Raises EAssertionFailed when the list was made without an owner.
  const TVqEWSMemberTable& CreatorTable() const;
  /// Gives the object's records.
  const TVqEWSGetDataElm& GetData() const noexcept { return FData; }

  /// As the record's operations of these names: TVqXMLSchemaElement.
  string Serialize(TVqDataSerializationFormatType AFormat) const;
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false) const;
  string AsJSON() const;

 protected:
  /// The current record; raises a plain exception when there is none.
  TVqXMLSchemaElement& CurrentRecord() const;

  /// Raise EListError or plain exceptions with the texts of the lists.
  [[noreturn]] static void RaiseNotFound();
  [[noreturn]] static void RaiseNotFound(const string& AValue);
  [[noreturn]] static void RaiseNoPosition(std::int64_t AIndex);
  [[noreturn]] static void RaiseDuplicate(const string& APath);
  /// The position that a value of run time stands for; raises as RaiseNotFound for a value that is no integer.
  static std::int64_t PositionOf(const TVqVariant& AValue);
  /// The owner for a class that publishes no properties.
  static const IVqEWSFieldSource& NoMembers();
  /// The property of a field; raises a plain exception when it has none.
  static PVqEWSPropDef DefinitionOf(const TVqEWSFieldDef& AFieldDef);

 private:
  const IVqEWSFieldSource* FCreator;
  TVqEWSGetDataElm FData;
};

}  // namespace velmore
