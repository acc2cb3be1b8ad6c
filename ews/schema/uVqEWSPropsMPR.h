#pragma once

/// The `MPR_` definitions. MAPI properties by tag: the MAPI name with "M" in front.
/// Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_TAG_PROP(ATail, ATag, AType) extern const TVqEWSPropDef MPR_##ATail;
#define VQ_LONE_TAG_PROP(ATail, ATag, AType) extern const TVqEWSPropDef MPR_##ATail;
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP

}  // namespace velmore
