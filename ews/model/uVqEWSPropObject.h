#pragma once

/// Objects whose data the server holds: two trees, the one that the application edits and the one as loaded, and the properties that compare them.

#include <memory>

#include "ews/model/uVqEWSBase.h"
#include "ews/values/uVqEWSProperties.h"

namespace velmore {

/// The body of TVqEWSPropObject<T>, the same for every record type.
///
/// Owns both records, the document of the second and the property list. The copy behind the second one is made when somebody compares, or right before the
/// first change. Lives by its reference count (see TVqEWSObject). One thread at a time. Reading a property may ask the server and raise.
class TVqEWSPropObjectCore : public TVqEWSObject, public virtual IVqEWSPropObject, public IVqEWSFieldSource {
 public:
  TVqEWSProperties& GetProperties() override { return *FProps; }
  void DisplayProperties() override;
  TVqEWSProperty& PropertyByName(const TVqEWSPropDef& APropDef) override;
  bool HasProperty(const TVqEWSPropDef& APropDef) override;
  /// Marks an existing property for deletion by the next save.
  void DeleteProperty(const TVqEWSPropDef& APropDef);

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  /// See TVqEWSObject. `ARecordClass` makes both records.
  TVqEWSPropObjectCore(TVqComponent* ACreator, bool AKeepCreatorAlive, const TVqXMLSchemaClass& ARecordClass);
  ~TVqEWSPropObjectCore() override;

  /// Makes both records anew: the current one over `AElement`, the one as loaded over a copy. Explicit statuses of properties are forgotten.
  virtual void SetPropData(const IVqDOMElement& AElement);

  /// The current record, and the one as loaded. Raise a plain exception before the first SetPropData.
  TVqXMLSchemaElement& NewRecord() const;
  TVqXMLSchemaElement& OldRecord() const;

 private:
  void MakeOldRecord() const;
  void ForgetDocument() noexcept;

  const TVqXMLSchemaClass& FRecordClass;
  mutable IVqDOMDocument FOldPropData;
  std::unique_ptr<TVqXMLSchemaElement> FEWSOBJECT_NEW;
  mutable std::unique_ptr<TVqXMLSchemaElement> FEWSOBJECT_OLD;  // made late
  std::unique_ptr<TVqEWSProperties> FProps;                     // last: it looks at the records
};

/// An object with a record of type T.
template <typename T>
class TVqEWSPropObject : public TVqEWSPropObjectCore {
 protected:
  /// See TVqEWSObject.
  TVqEWSPropObject(TVqComponent* ACreator, bool AKeepCreatorAlive)
      : TVqEWSPropObjectCore(ACreator, AKeepCreatorAlive, T::SchemaClass()) {}
  ~TVqEWSPropObject() override = default;

  /// The current record, and the one as loaded, as a T.
  T& NewData() const { return static_cast<T&>(NewRecord()); }
  T& OldData() const { return static_cast<T&>(OldRecord()); }
};

/// Shows an object's properties. Installed by a user-interface layer, once for the process; empty by default.
using TVqEWSDisplayProperties = std::function<void(IVqEWSPropObject& AObject)>;
extern TVqEWSDisplayProperties VqOnDisplayProperties;

}  // namespace velmore
