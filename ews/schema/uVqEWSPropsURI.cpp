// Field URIs as enumeration values. The values' names are the URIs with "_" for ":".

#include "ews/schema/uVqEWSProps.h"
#include "platform/common/uVqSerializer.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {

// Beside the enumerations in uVqEWSTypes.h, which is much to include for two tables of texts.
const TVqEnumInfo& VqEnumInfoOf(TUnindexedFieldURI) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TDictionaryURI) noexcept;

namespace {

template <typename TURI>
PVqEWSFieldDef FieldOf(TURI AURI) {
  return GetFieldDef(UpperCase("FLD_" + VqEnumToText(AURI)).utf8(), true);
}

}  // namespace

PVqEWSFieldDef GetFieldDef(TUnindexedFieldURI AURI) {
  return FieldOf(AURI);
}
PVqEWSFieldDef GetFieldDef(TDictionaryURI AURI) {
  return FieldOf(AURI);
}

string FieldURIToString(TUnindexedFieldURI AURI) {
  return VqEnumToText(AURI).Replace("_", ":");
}
string FieldURIToString(TDictionaryURI AURI) {
  return VqEnumToText(AURI).Replace("_", ":");
}

bool TryStringToFieldURI(const string& AText, TUnindexedFieldURI& AURI) {
  return VqTryTextToEnum(AText.Replace(":", "_"), AURI);
}

bool TryStringToFieldURI(const string& AText, TDictionaryURI& AURI) {
  return VqTryTextToEnum(AText.Replace(":", "_"), AURI);
}

}  // namespace velmore
