#pragma once

// What comes back instead of an answer, as the exception that says so. Free functions without state.

#include "platform/soap/uVqSOAPTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Whether bytes begin as an envelope does: behind byte order mark, declaration, comments and white space, an element
/// named "Envelope" with whatever prefix. Decides who is to blame for bytes that do not parse: a damaged envelope, or
/// something that never was one.
bool VqLooksLikeEnvelope(std::string_view ABytes);

/// Milliseconds of a "Retry-After", which holds seconds or a date; `ADate` is the reply's own "Date", by which a date
/// counts, whatever this machine's clock says. 0 for an empty, past or senseless one. At most what 32 bits hold.
std::int32_t VqRetryAfter(const string& ARetryAfter, const string& ADate);

/// In the three below, no text of the server's is longer than `AMost` units in the exception (0: any length).
///
/// A status of 401 or 407: EVqHTTPApiException 12015, with the schemes that were offered and the one that was tried.
[[noreturn]] void VqRaiseRefused(const IVqHTTPResponse& AReply, std::size_t AMost);
/// A reply without an envelope: EVqHTTPException with the status, for 429 and 503 EVqHTTPServerBusy.
[[noreturn]] void VqRaiseNoEnvelope(const IVqHTTPResponse& AReply, bool AEmpty, std::size_t AMost);
/// Holds a reply against the operation that was asked for: EVqSOAPUnexpectedReply unless the body holds the element
/// `AResponseName` or, where that is empty, begins with the response to `AMethod` (a local name): "GetItemResponse" for
/// "GetItem". Two operations of the protocol are told apart from their elements: "...Request" is answered by
/// "...Response", and "GetPersona" by "GetPersonaResponseMessage".
void VqCheckResponse(IVqSOAPResponse& AResponse, const string& AMethod, const string& AResponseName);

/// A fault: EVqSOAPFault, or EVqSOAPServerBusy.
[[noreturn]] void VqRaiseFault(IVqSOAPResponse& AResponse, const IVqHTTPResponse& AReply, std::size_t AMost);

}  // namespace velmore

#pragma GCC visibility pop
