#pragma once

/// The `MFLD_` definitions. Fields of MAPI properties, with the same tail as the `MPR_` definition. Most of the
/// address book's properties have none. Rows and order stand in the table that is included below; a row makes both.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_TAG_PROP(ATail, ATag, AType) extern const TVqEWSFieldDef MFLD_##ATail;
#define VQ_LONE_TAG_PROP(ATail, ATag, AType)
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP

}  // namespace velmore
