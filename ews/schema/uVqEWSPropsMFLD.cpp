#include "ews/schema/uVqEWSPropsMFLD.h"

#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_FIELD(AName, APropDef) \
  constexpr TVqEWSFieldDef AName{.FieldDefName = #AName, .PropDef = &APropDef, .FieldType = fdtExtendedField};
#include "ews/tables/FieldRowsMFLD.inc"
#undef VQ_FIELD

namespace props {
namespace {

constexpr const TVqEWSFieldDef* kRows[] = {
#define VQ_FIELD(AName, APropDef) &AName,
#include "ews/tables/FieldRowsMFLD.inc"
#undef VQ_FIELD
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSFieldDef> FamilyMFLD{"MFLD_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
