#pragma once

/// The two forms of requests. The library's own forms are kept to the letter by default; where they depart from the schema that servers publish, the
/// session's StrictSchema brings them into the schema's form. Every departure stands in this module, one function each; callers compose the default
/// form and do not branch.

#include "ews/model/uVqEWSBase.h"

namespace velmore {

/// Brings a composed request into the form of the published schema, just before it is sent.
void EwsToStrictSchema(IVqSOAPRequest& ARequest);

/// Whether an update with these `t:Updates` is sent. By default always, an empty one too; with StrictSchema one without changes is not, as the schema has no
/// form for it.
bool EwsSendsUpdate(const TVqEWSBaseSession& ASession, const IVqDOMElement& AUpdates);

/// Whether the library escapes the values of restrictions: by default they stand between quotes as they are, with StrictSchema the application has chosen
/// that they are text. What a session has learnt of its server plays no part, so that a value means the same throughout.
bool EwsEscapesValues(const TVqEWSObject& ARestriction);

}  // namespace velmore
