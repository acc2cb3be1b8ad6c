// The MAPI properties and, as a row makes both, their fields. No macro hands a tail on to another: NULL would be
// expanded.

#include "ews/schema/uVqEWSPropsMPR.h"

#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_TAG_PROP(ATail, ATag, AType) \
  constexpr TVqEWSPropDef MPR_##ATail{  \
      .PropDefName = "MPR_" #ATail, .Extended = true, .PropType = AType, .PropertyTag = ATag};
#define VQ_LONE_TAG_PROP(ATail, ATag, AType) \
  constexpr TVqEWSPropDef MPR_##ATail{       \
      .PropDefName = "MPR_" #ATail, .Extended = true, .PropType = AType, .PropertyTag = ATag};
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP

#define VQ_TAG_PROP(ATail, ATag, AType)  \
  constexpr TVqEWSFieldDef MFLD_##ATail{ \
      .FieldDefName = "MFLD_" #ATail, .PropDef = &MPR_##ATail, .FieldType = fdtExtendedField};
#define VQ_LONE_TAG_PROP(ATail, ATag, AType)
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP

namespace props {
namespace {

constexpr const TVqEWSPropDef* kRows[] = {
#define VQ_TAG_PROP(ATail, ATag, AType) &MPR_##ATail,
#define VQ_LONE_TAG_PROP(ATail, ATag, AType) &MPR_##ATail,
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP
};

constexpr const TVqEWSFieldDef* kFields[] = {
#define VQ_TAG_PROP(ATail, ATag, AType) &MFLD_##ATail,
#define VQ_LONE_TAG_PROP(ATail, ATag, AType)
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP
};

constexpr auto kIndex = MakeIndex(kRows);
constexpr auto kFieldIndex = MakeIndex(kFields);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyMPR{"MPR_", kRows, kIndex};
constexpr TFamily<TVqEWSFieldDef> FamilyMFLD{"MFLD_", kFields, kFieldIndex};

}  // namespace props
}  // namespace velmore
