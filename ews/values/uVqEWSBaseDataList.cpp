#include "ews/values/uVqEWSBaseDataList.h"

namespace velmore {

TVqEWSBaseDataList::TVqEWSBaseDataList(const IVqEWSFieldSource* ACreator, TVqEWSGetDataElm AData)
    : FCreator(ACreator), FData(std::move(AData)) {}

TVqEWSBaseDataList::~TVqEWSBaseDataList() = default;

const IVqEWSFieldSource& TVqEWSBaseDataList::NoMembers() {
  static constexpr TVqEWSMemberTable none{"(no published properties)"};
  static const struct TNone final : IVqEWSFieldSource {
    const TVqEWSMemberTable& MemberTable() const override { return none; }
  } source;
  return source;
}

const TVqEWSMemberTable& TVqEWSBaseDataList::CreatorTable() const {
  if (!FCreator) throw EAssertionFailed("Assertion failure (ews/uVqEWSInterfaces)");
  return FCreator->MemberTable();
}

TVqXMLSchemaElement& TVqEWSBaseDataList::CurrentRecord() const {
  TVqXMLSchemaElement* record = FData ? FData(desCurrent, true) : nullptr;
  if (!record) throw EVqException("The object has no data!");
  return *record;
}

string TVqEWSBaseDataList::Serialize(TVqDataSerializationFormatType AFormat) const {
  return CurrentRecord().Serialize(AFormat);
}

void TVqEWSBaseDataList::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  CurrentRecord().Deserialize(AFormat, AText);
}

string TVqEWSBaseDataList::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) const {
  return CurrentRecord().AsXML(ATargetNamespace, AExcludeNamespaces);
}

string TVqEWSBaseDataList::AsJSON() const {
  return CurrentRecord().AsJSON();
}

void TVqEWSBaseDataList::RaiseNotFound() {
  throw EVqException("The requested item could not be found!");
}

void TVqEWSBaseDataList::RaiseNotFound(const string& AValue) {
  throw EVqException(Format("The requested item (%s) could not be found!", {AValue}));
}

void TVqEWSBaseDataList::RaiseNoPosition(std::int64_t AIndex) {
  throw EListError(Format("There is no item at position %d!", {AIndex}));
}

void TVqEWSBaseDataList::RaiseDuplicate(const string& APath) {
  throw EListError(Format("The list has an item \"%s\" already!", {APath}));
}

std::int64_t TVqEWSBaseDataList::PositionOf(const TVqVariant& AValue) {
  if (const auto* number = std::get_if<std::int32_t>(&AValue)) return *number;
  if (const auto* number = std::get_if<std::int64_t>(&AValue)) return *number;
  RaiseNotFound();
}

PVqEWSPropDef TVqEWSBaseDataList::DefinitionOf(const TVqEWSFieldDef& AFieldDef) {
  if (!AFieldDef.PropDef)
    throw EVqException(Format("The field definition \"%s\" has no property!", {AFieldDef.FieldDefName.ToString()}));
  return AFieldDef.PropDef;
}

}  // namespace velmore
