#pragma once

/// The `EFLD_` definitions. Fields of named properties: one for each `EPR_` definition but `EPR_COMMENT`, with the
/// same tail. Rows and order stand in the table that is included below; a row makes both.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_ID_PROP(ATail, ASet, AId, AType) extern const TVqEWSFieldDef EFLD_##ATail;
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) extern const TVqEWSFieldDef EFLD_##ATail;
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType)
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP

}  // namespace velmore
