#pragma once

/// The `PR_` definitions. Members of the schema, named after their element: `PR_SUBJECT` stands for the element
/// "Subject". `PR_START_DATE` and `PR_END_DATE` are named apart from `PR_START` and `PR_END`. Parts of a complete name
/// and the entries of a contact's dictionaries have rows of their own. Rows and order stand in the table that is
/// included below.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

#define VQ_PROP(AName, ANode) extern const TVqEWSPropDef AName;
#define VQ_KEYED_PROP(AName, AKey, ANode) extern const TVqEWSPropDef AName;
#define VQ_PARENT_PROP(AName, ANode, ANodeType) extern const TVqEWSPropDef AName;
#define VQ_PART_PROP(AName, ANode, AParent) extern const TVqEWSPropDef AName;
#include "ews/tables/PropRowsPR.inc"
#undef VQ_PROP
#undef VQ_KEYED_PROP
#undef VQ_PARENT_PROP
#undef VQ_PART_PROP

}  // namespace velmore
