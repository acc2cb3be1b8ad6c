#pragma once

/// The `EPR_` definitions. Named properties: a property set and an id, three with a name. Several names may stand
/// for one property. Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_ID_PROP(AName, ASet, AId, AType) extern const TVqEWSPropDef AName;
#define VQ_NAMED_PROP(AName, ASet, APropertyName, AType) extern const TVqEWSPropDef AName;
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP

}  // namespace velmore
