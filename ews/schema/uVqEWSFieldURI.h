#pragma once

/// The elements by which requests name fields and properties.
///
///     TVqStringStream stream;
///     WriteFieldURI(&FLD_ITEM_SUBJECT, stream);            // <t:FieldURI FieldURI="item:Subject" />
///     WriteExtendedFieldURI(&MPR_BODY, additionalProperties);  // adds <t:ExtendedFieldURI PropertyTag="0x1000" .../>
///
/// Free functions; nothing here talks to a server.

#include "ews/schema/uVqEWSProps.h"

namespace velmore {

class IVqDOMElement;
class TVqStringStream;

/// Writes the URI element of a field as text: `<t:FieldURI FieldURI="item:Subject" />`. An indexed field keeps the
/// element name `t:FieldURI` here and gets a `FieldIndex` beside it; an extended one is written as below. Raises a
/// plain exception for none.
void WriteFieldURI(PVqEWSFieldDef AFieldDef, TVqStringStream& AStream);
/// Writes `<t:ExtendedFieldURI ... PropertyType="String" />` as text: the tag, or the set and the id or name. For a
/// definition that is not extended: `t:FieldURI` with the URI of its first field, or "item:" and its node name when it
/// has none. Raises a plain exception for none, and for a definition with neither a tag nor a set.
void WriteExtendedFieldURI(PVqEWSPropDef APropDef, TVqStringStream& AStream);
/// Adds the same element to `AParent` as its last child, and gives it.
IVqDOMElement WriteExtendedFieldURI(PVqEWSPropDef APropDef, const IVqDOMElement& AParent);

}  // namespace velmore
