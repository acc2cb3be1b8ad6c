#pragma once

/// The `MPR_` definitions. MAPI properties by tag: the MAPI name with "M" in front.
/// Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_TAG_PROP(AName, ATag, AType) extern const TVqEWSPropDef AName;
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP

}  // namespace velmore
