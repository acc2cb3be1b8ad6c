#pragma once

/// The `EFLD_` definitions. Fields of named properties: one for each `EPR_` definition but `EPR_COMMENT`, with the
/// same tail. Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_FIELD(AName, APropDef) extern const TVqEWSFieldDef AName;
#include "ews/tables/FieldRowsEFLD.inc"
#undef VQ_FIELD

}  // namespace velmore
