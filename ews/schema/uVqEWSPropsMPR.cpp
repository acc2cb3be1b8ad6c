#include "ews/schema/uVqEWSPropsMPR.h"

#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_TAG_PROP(AName, ATag, AType) \
  constexpr TVqEWSPropDef AName{.PropDefName = #AName, .Extended = true, .PropType = AType, .PropertyTag = ATag};
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP

namespace props {
namespace {

constexpr std::array<const TVqEWSPropDef*, 1944> Rows{{
#define VQ_TAG_PROP(AName, ATag, AType) &AName,
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
}};
static_assert(Rows.back() != nullptr, "the table has lost a row");

constexpr auto Index = MakeIndex(Rows);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyMPR{"MPR_", Rows, Index};

}  // namespace props
}  // namespace velmore
