// The objects with data: how their two trees come into being.

#include "ews/model/uVqEWSBase.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {

TVqEWSDisplayProperties VqOnDisplayProperties;

TVqEWSPropObjectCore::TVqEWSPropObjectCore(TVqComponent* ACreator, bool AKeepCreatorAlive,
                                           const TVqXMLSchemaClass& ARecordClass)
    : TVqEWSObject(ACreator, AKeepCreatorAlive),
      FRecordClass(ARecordClass),
      FProps(std::make_unique<TVqEWSProperties>(*this, [this](TVqEWSGetDataElmSource source, bool) {
        if (!FEWSOBJECT_NEW) return FEWSOBJECT_NEW.get();
        if (!FPartIsEnough) MakeWhole();
        return source == desCurrent ? FEWSOBJECT_NEW.get() : &KnownOldRecord();
      })) {}

TVqEWSPropObjectCore::~TVqEWSPropObjectCore() {
  ForgetDocument();
}

void TVqEWSPropObjectCore::SetPropData(const IVqDOMElement& AElement) {
  UseElement(AElement);
  FLoad = nullptr;
}

void TVqEWSPropObjectCore::SetPartOfPropData(const IVqDOMElement& APart, std::function<void()> ALoad) {
  UseElement(APart);
  FLoad = std::move(ALoad);
}

void TVqEWSPropObjectCore::MakeWhole() const {
  if (!FLoad) return;
  const std::function<void()> load = FLoad;  // it is taken away while it runs
  load();
}

void TVqEWSPropObjectCore::UseElement(const IVqDOMElement& AElement) {
  ForgetDocument();
  if (FEWSOBJECT_NEW) {
    FEWSOBJECT_NEW->Discard();
    FFormerRecords.push_back(std::move(FEWSOBJECT_NEW));
  }
  FEWSOBJECT_NEW = FRecordClass.CreateRecord(AElement);
  FEWSOBJECT_OLD.reset();
  FOldPropData = {};
  // Most objects are loaded to be read. The copy that saves compare with is made when it is asked for, and at the
  // latest before the element changes.
  detail::SetBeforeChange(AElement, this, [this] { MakeOldRecord(); });
  FProps->ResetExplicitStatuses();
}

void TVqEWSPropObjectCore::ForgetDocument() noexcept {
  if (FEWSOBJECT_NEW) detail::ForgetBeforeChange(FEWSOBJECT_NEW->AsElement(), this);
}

void TVqEWSPropObjectCore::MakeOldRecord() const {
  if (FEWSOBJECT_OLD) return;
  const TVqDOMDocument copy;
  copy.AppendChild(FEWSOBJECT_NEW->AsElement());
  FEWSOBJECT_OLD = FRecordClass.CreateRecord(copy.GetDocumentElement());
  FOldPropData = copy;
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::NewRecord() const {
  MakeWhole();
  return KnownRecord();
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::OldRecord() const {
  MakeWhole();
  return KnownOldRecord();
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::KnownRecord() const {
  if (!FEWSOBJECT_NEW) throw EVqException("The object has no data.");
  return *FEWSOBJECT_NEW;
}

TVqXMLSchemaElement& TVqEWSPropObjectCore::KnownOldRecord() const {
  KnownRecord();
  MakeOldRecord();
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
