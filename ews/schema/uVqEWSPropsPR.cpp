#include "ews/schema/uVqEWSPropsPR.h"

#include "ews/schema/uVqEWSPropsRows_p.h"

namespace velmore {

#define VQ_PROP(AName, ANode) constexpr TVqEWSPropDef AName{.PropDefName = #AName, .NodeName = ANode};
#define VQ_KEYED_PROP(AName, AKey, ANode) constexpr TVqEWSPropDef AName{.PropDefName = AKey, .NodeName = ANode};
#define VQ_PARENT_PROP(AName, ANode, ANodeType) \
  constexpr TVqEWSPropDef AName{.PropDefName = #AName, .NodeName = ANode, .NodeType = ANodeType};
#define VQ_PART_PROP(AName, ANode, AParent) \
  constexpr TVqEWSPropDef AName{.PropDefName = #AName, .NodeName = ANode, .ParentProp = &AParent};
#include "ews/tables/PropRowsPR.inc"
#undef VQ_PROP
#undef VQ_KEYED_PROP
#undef VQ_PARENT_PROP
#undef VQ_PART_PROP

namespace props {
namespace {

constexpr const TVqEWSPropDef* kRows[] = {
#define VQ_PROP(AName, ANode) &AName,
#define VQ_KEYED_PROP(AName, AKey, ANode) &AName,
#define VQ_PARENT_PROP(AName, ANode, ANodeType) &AName,
#define VQ_PART_PROP(AName, ANode, AParent) &AName,
#include "ews/tables/PropRowsPR.inc"
#undef VQ_PROP
#undef VQ_KEYED_PROP
#undef VQ_PARENT_PROP
#undef VQ_PART_PROP
};

constexpr auto kIndex = MakeIndex(kRows);

}  // namespace

constexpr TFamily<TVqEWSPropDef> FamilyPR{"PR_", kRows, kIndex};

}  // namespace props
}  // namespace velmore
