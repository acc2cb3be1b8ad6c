#pragma once

/// Requests and replies as texts to look at, without what must not be seen.
///
///     client.SetOnRequest([](TVqComponent&, const TVqRef<IVqHTTPRequest>& request) { log << VqHTTPLook(*request); });
///     client.SetOnResponse([](TVqComponent&, const TVqRef<IVqHTTPResponse>& reply) { log << VqHTTPLook(*reply); });
///
/// Passwords, tokens, codes and cookies' values become "****": in headers, in the query of the address, in bodies of
/// forms and of JSON, and in XML elements and attributes whose names speak of a password, a secret, a token or a
/// cookie. Contents of mail are shown as they are. Free functions without state; they raise nothing and talk to no
/// server.

#include "platform/http/uVqHTTPBase.h"

namespace velmore {

/// "POST https://...", the headers that were set on the request, and its body; of a longer body only the first `AMost`
/// bytes.
string VqHTTPLook(const IVqHTTPRequest& ARequest, std::size_t AMost = 4096);
/// "200 OK https://...", headers and body.
string VqHTTPLook(const IVqHTTPResponse& AResponse, std::size_t AMost = 4096);

/// A header's value as it may be shown.
string VqHTTPMaskedHeader(const string& AName, const string& AValue);
/// An address as it may be shown.
string VqHTTPMaskedAddress(const string& AURL);
/// A body as it may be shown, by its content type.
string VqHTTPMaskedBody(std::string_view ABody, const string& AContentType);

}  // namespace velmore
