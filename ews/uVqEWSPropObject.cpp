#include "ews/uVqEWSPropObject.h"

namespace velmore {

TVqEWSDisplayProperties VqOnDisplayProperties;

TVqEWSPropObjectCore::TVqEWSPropObjectCore(TVqComponent* ACreator, bool AKeepCreatorAlive,
                                           const TVqXMLSchemaClass& ARecordClass)
    : TVqEWSObject(ACreator, AKeepCreatorAlive),
      FRecordClass(ARecordClass),
      FProps(std::make_unique<TVqEWSProperties>(*this, [this](TVqEWSGetDataElmSource source, bool) {
        return source == desCurrent ? FEWSOBJECT_NEW.get() : FEWSOBJECT_OLD.get();
      })) {}

TVqEWSPropObjectCore::~TVqEWSPropObjectCore() = default;

void TVqEWSPropObjectCore::SetPropData(const IVqDOMElement& AElement) {
  FEWSOBJECT_NEW = FRecordClass.CreateRecord(AElement);
  TVqDOMDocument copy;
  copy.AppendChild(AElement);
  FEWSOBJECT_OLD = FRecordClass.CreateRecord(copy.GetDocumentElement());
  FOldPropData = copy;
  FProps->ResetExplicitStatuses();
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::NewRecord() const {
  if (!FEWSOBJECT_NEW) throw EVqException("The object has no data.");
  return *FEWSOBJECT_NEW;
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::OldRecord() const {
  if (!FEWSOBJECT_OLD) throw EVqException("The object has no data.");
  return *FEWSOBJECT_OLD;
}

void TVqEWSPropObjectCore::DisplayProperties() {
  if (!VqOnDisplayProperties) throw EVqException("There is no dialog that shows properties.");
  VqOnDisplayProperties(*this);
}

TVqEWSProperty& TVqEWSPropObjectCore::PropertyByName(const TVqEWSPropDef& APropDef) {
  return FProps->PropertyByName(APropDef);
}

bool TVqEWSPropObjectCore::HasProperty(const TVqEWSPropDef& APropDef) {
  return FProps->HasProperty(APropDef);
}

void TVqEWSPropObjectCore::DeleteProperty(const TVqEWSPropDef& APropDef) {
  if (HasProperty(APropDef)) PropertyByName(APropDef).SetDeleted(true);
}

const TVqEWSMemberTable& TVqEWSPropObjectCore::MemberTable() const {
  static constinit const TVqEWSMemberTable table{"TVqEWSPropObject"};
  return table;
}

}  // namespace velmore
