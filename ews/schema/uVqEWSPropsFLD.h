#pragma once

/// The `FLD_` definitions. Fields of the schema, named after their URI: `FLD_ITEM_SUBJECT` is "item:Subject".
/// Rows and order stand in the table that is included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_FIELD(AName, AURI, APropDef) extern const TVqEWSFieldDef AName;
#define VQ_INDEXED_FIELD(AName, AURI, AIndex, APropDef) extern const TVqEWSFieldDef AName;
#include "ews/tables/FieldRowsFLD.inc"
#undef VQ_FIELD
#undef VQ_INDEXED_FIELD

}  // namespace velmore
