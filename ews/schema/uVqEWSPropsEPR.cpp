#include "ews/schema/uVqEWSPropsEPR.h"

#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_ID_PROP(AName, ASet, AId, AType) \
  constexpr TVqEWSPropDef AName{            \
      .PropDefName = #AName, .Extended = true, .PropType = AType, .PropertySetId = &ASet, .Id = AId};
#define VQ_NAMED_PROP(AName, ASet, APropertyName, AType) \
  constexpr TVqEWSPropDef AName{.PropDefName = #AName,   \
                                .Extended = true,        \
                                .PropType = AType,       \
                                .PropertySetId = &ASet,  \
                                .PropKind = pkName,      \
                                .Name = APropertyName};
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP

namespace props {
namespace {

constexpr const TVqEWSPropDef* kRows[] = {
#define VQ_ID_PROP(AName, ASet, AId, AType) &AName,
#define VQ_NAMED_PROP(AName, ASet, APropertyName, AType) &AName,
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyEPR{"EPR_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
