#pragma once

// Where an answer has an extended property; and property sets that servers answer with under their names, though they were asked for by their ids.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

/// The selection path to the property's URI in an answer. The form with a tag ends in two brackets, on purpose: a selection does not mind.
string EwsAnswerPath(const TVqEWSPropDef& ADefinition);

/// The selection path for an answer that names the set: `PropertySetId="..."` becomes `DistinguishedPropertySetId="Common"` in it. Empty when the set has
/// no name. Two names differ from the sets' own, on purpose.
string EwsWellKnownSetPath(const string& APath, const TGUID& ASet);

}  // namespace velmore
