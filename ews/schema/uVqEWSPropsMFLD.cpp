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

constexpr std::array<const TVqEWSFieldDef*, 1347> Rows{{
#define VQ_FIELD(AName, APropDef) &AName,
#include "ews/tables/FieldRowsMFLD.inc"
#undef VQ_FIELD
}};
static_assert(Rows.back() != nullptr, "the table has lost a row");

constexpr auto Index = MakeIndex(Rows);

}  // namespace

constexpr TFamily<TVqEWSFieldDef> FamilyMFLD{"MFLD_", Rows, Index};

}  // namespace props
}  // namespace velmore
