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

constexpr std::array<const TVqEWSFieldDef*, 669> Rows{{
#define VQ_FIELD(AName, APropDef) &AName,
#include "ews/tables/FieldRowsEFLD.inc"
#undef VQ_FIELD
}};
static_assert(Rows.back() != nullptr, "the table has lost a row");

constexpr auto Index = MakeIndex(Rows);

}  // namespace

constexpr TFamily<TVqEWSFieldDef> FamilyEFLD{"EFLD_", Rows, Index};

}  // namespace props
}  // namespace velmore
