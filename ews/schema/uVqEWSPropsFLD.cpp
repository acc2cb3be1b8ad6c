#include "ews/schema/uVqEWSPropsFLD.h"

#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_FIELD(AName, AURI, APropDef) \
  constexpr TVqEWSFieldDef AName{.FieldDefName = #AName, .PropDef = &APropDef, .UnindexedFieldURI = AURI};
#define VQ_INDEXED_FIELD(AName, AURI, AIndex, APropDef)        \
  constexpr TVqEWSFieldDef AName{.FieldDefName = #AName,       \
                                 .PropDef = &APropDef,         \
                                 .FieldType = fdtIndexedField, \
                                 .UnindexedFieldURI = AURI,    \
                                 .FieldIndex = AIndex};
#include "ews/tables/FieldRowsFLD.inc"
#undef VQ_FIELD
#undef VQ_INDEXED_FIELD

namespace props {
namespace {

constexpr const TVqEWSFieldDef* kRows[] = {
#define VQ_FIELD(AName, AURI, APropDef) &AName,
#define VQ_INDEXED_FIELD(AName, AURI, AIndex, APropDef) &AName,
#include "ews/tables/FieldRowsFLD.inc"
#undef VQ_FIELD
#undef VQ_INDEXED_FIELD
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSFieldDef> FamilyFLD{"FLD_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
