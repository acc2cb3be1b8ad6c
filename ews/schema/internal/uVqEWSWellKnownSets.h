#pragma once

// Where an answer has an extended property; and property sets that servers answer with under their names, though they
// were asked for by their ids.

#include "ews/schema/uVqEWSProps.h"
#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The selection path to the property's URI in an answer. The form with a tag ends in two brackets, on purpose:
/// programs have it so as the key of what they stored, and a selection does not mind.
string EwsAnswerPath(const TVqEWSPropDef& ADefinition);

/// The selection path for an answer that names the set: `PropertySetId="..."` becomes
/// `DistinguishedPropertySetId="Common"` in it. Empty when the set has no name. Two names differ from the sets' own, on
/// purpose: they are those that servers answer with.
string EwsWellKnownSetPath(const string& APath, const TGUID& ASet);

/// The set that servers answer with under this name; none for any other name.
const TGUID* EwsFindWellKnownSet(std::string_view AName);

/// The `t:ExtendedProperty` below an item that a definition stands for, however the server spells it: sets and numbers
/// are compared as values ("0x8534", braces, upper case), and a well-known set is the same by its id and by its name.
/// Empty when there is none.
IVqDOMElement EwsFindExtendedProperty(const IVqDOMElement& AItem, const TVqEWSPropDef& ADefinition);
/// Its `t:Value` or, of several values, `t:Values`; empty when it has none.
IVqDOMElement EwsValueOfExtendedProperty(const IVqDOMElement& AProperty);

}  // namespace velmore

#pragma GCC visibility pop
