#pragma once

/// The `MFLD_` definitions. Fields of MAPI properties, with the same tail as the `MPR_` definition. Most of the
/// address book's properties have none. Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_FIELD(AName, APropDef) extern const TVqEWSFieldDef AName;
#include "ews/tables/FieldRowsMFLD.inc"
#undef VQ_FIELD

}  // namespace velmore
