#pragma once

/// The `EPR_` definitions. Named properties: a property set and an id, three with a name. Several names may stand
/// for one property. Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_ID_PROP(ATail, ASet, AId, AType) extern const TVqEWSPropDef EPR_##ATail;
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) extern const TVqEWSPropDef EPR_##ATail;
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType) extern const TVqEWSPropDef EPR_##ATail;
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP

}  // namespace velmore
