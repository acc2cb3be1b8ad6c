#pragma once

// What servers say to a search, as bytes and texts: the answer in XML, and where a redirect leads. Knows no sockets, so
// that fuzzers feed it.

#include "platform/http/uVqHTTPTypes.h"
#include "platform/http/uVqURL.h"
#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore {

inline constexpr const char* kEwsAutodiscoverFailed = "ErrorAutoDiscoverFailed";
inline constexpr const char* kEwsAuthenticationFailure = "Authentication Failure!";

/// Raises EEWSException with kEwsAutodiscoverFailed first.
[[noreturn]] void EwsFailAutodiscover(const string& text, std::uint32_t number = 0);

/// The document of an answer; what is none, or tells of an error, is raised with at most `most` units of the server's
/// own text.
IVqDOMDocument EwsReadAutodiscoverAnswer(const TVqHTTPStatus& status, const std::string& body, std::size_t most);

/// Where an answer sends the search, if it does.
struct TEwsReferral {
  string Address;  // to be asked for instead
  string URL;      // to be asked instead
};
/// Both empty for an answer that refers to nothing. Raises EVqXMLError for one that says that it does, and not where.
TEwsReferral EwsReferralOf(const IVqDOMDocument& answer);

/// Where a redirect leads; a path alone stays on the host.
string EwsRedirectTarget(const string& from, const string& location);
/// A redirect to the front page of a web site leads nowhere.
bool EwsIsHomePage(const TVqURLData& target);
/// Why a target must not be asked, in words; empty when it may.
string EwsWhyNoTarget(const string& target);

}  // namespace velmore

#pragma GCC visibility pop
