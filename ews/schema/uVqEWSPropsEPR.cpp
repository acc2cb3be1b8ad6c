// The named properties and, as a row makes both, their fields. No macro hands a tail on to another: NULL would be
// expanded.

#include "ews/schema/uVqEWSPropsEPR.h"

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_ID_PROP(ATail, ASet, AId, AType) \
  constexpr TVqEWSPropDef EPR_##ATail{      \
      .PropDefName = "EPR_" #ATail, .Extended = true, .PropType = AType, .PropertySetId = &ASet, .Id = AId};
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType)            \
  constexpr TVqEWSPropDef EPR_##ATail{.PropDefName = "EPR_" #ATail, \
                                      .Extended = true,             \
                                      .PropType = AType,            \
                                      .PropertySetId = &ASet,       \
                                      .PropKind = pkName,           \
                                      .Name = APropertyName};
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType) \
  constexpr TVqEWSPropDef EPR_##ATail{           \
      .PropDefName = "EPR_" #ATail, .Extended = true, .PropType = AType, .PropertySetId = &ASet, .Id = AId};
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP

#define VQ_ID_PROP(ATail, ASet, AId, AType) \
  constexpr TVqEWSFieldDef EFLD_##ATail{    \
      .FieldDefName = "EFLD_" #ATail, .PropDef = &EPR_##ATail, .FieldType = fdtExtendedField};
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) \
  constexpr TVqEWSFieldDef EFLD_##ATail{                 \
      .FieldDefName = "EFLD_" #ATail, .PropDef = &EPR_##ATail, .FieldType = fdtExtendedField};
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType)
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP

namespace props {
namespace {

constexpr const TVqEWSPropDef* kRows[] = {
#define VQ_ID_PROP(ATail, ASet, AId, AType) &EPR_##ATail,
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) &EPR_##ATail,
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType) &EPR_##ATail,
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP
};

constexpr const TVqEWSFieldDef* kFields[] = {
#define VQ_ID_PROP(ATail, ASet, AId, AType) &EFLD_##ATail,
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) &EFLD_##ATail,
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType)
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP
};

constexpr auto kIndex = MakeIndex(kRows);
constexpr auto kFieldIndex = MakeIndex(kFields);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyEPR{"EPR_", kRows, kIndex};
constexpr TFamily<TVqEWSFieldDef> FamilyEFLD{"EFLD_", kFields, kFieldIndex};

}  // namespace props
}  // namespace velmore
