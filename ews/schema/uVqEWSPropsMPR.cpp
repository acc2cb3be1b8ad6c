#include "ews/schema/uVqEWSPropsMPR.h"

#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_TAG_PROP(AName, ATag, AType) \
  constexpr TVqEWSPropDef AName{.PropDefName = #AName, .Extended = true, .PropType = AType, .PropertyTag = ATag};
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP

namespace props {
namespace {

constexpr const TVqEWSPropDef* kRows[] = {
#define VQ_TAG_PROP(AName, ATag, AType) &AName,
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyMPR{"MPR_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
