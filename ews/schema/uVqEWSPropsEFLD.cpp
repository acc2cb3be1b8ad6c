#include "ews/schema/uVqEWSPropsEFLD.h"

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_FIELD(AName, APropDef) \
  constexpr TVqEWSFieldDef AName{.FieldDefName = #AName, .PropDef = &APropDef, .FieldType = fdtExtendedField};
#include "ews/tables/FieldRowsEFLD.inc"
#undef VQ_FIELD

namespace props {
namespace {

constexpr const TVqEWSFieldDef* kRows[] = {
#define VQ_FIELD(AName, APropDef) &AName,
#include "ews/tables/FieldRowsEFLD.inc"
#undef VQ_FIELD
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSFieldDef> FamilyEFLD{"EFLD_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
