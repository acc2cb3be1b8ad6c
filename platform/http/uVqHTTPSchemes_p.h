#pragma once

// The schemes by which credentials are proved. One row a scheme; everything that differs between them is a column.

#include "platform/http/uVqHTTPTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// In the order in which a server's offers are taken: the enumerator and name on the wire, its bit, the libraries'
/// name, the client's setting that asks for it alone, whether it takes a user name (Negotiate can stand for whoever the
/// ticket was given to), whether the password can be read on the way.
#define VELMORE_HTTP_SCHEMES(row)                                                             \
  row(Negotiate, 4, NEGOTIATE, negotiate, false, false) row(NTLM, 2, NTLM, ntlm, true, false) \
      row(Basic, 1, BASIC, basic, true, true)

/// A bit each, so that a set is a sum.
enum TVqHTTPScheme : unsigned {
  schemeNone = 0,
#define VELMORE_HTTP_SCHEME(name, bit, library, setting, takesName, readable) scheme##name = bit,
  VELMORE_HTTP_SCHEMES(VELMORE_HTTP_SCHEME)
#undef VELMORE_HTTP_SCHEME
};

struct TVqHTTPSchemeRow {
  const char* Name;
  TVqHTTPScheme Scheme;
  TVqHTTPAuthentication Setting;
  bool NeedsName;
  bool Readable;
};

inline constexpr TVqHTTPSchemeRow kVqHTTPSchemes[] = {
#define VELMORE_HTTP_SCHEME(name, bit, library, setting, takesName, readable) \
  {#name, scheme##name, TVqHTTPAuthentication::setting, takesName, readable},
    VELMORE_HTTP_SCHEMES(VELMORE_HTTP_SCHEME)
#undef VELMORE_HTTP_SCHEME
};

/// The sum of the schemes for which `condition` holds.
template <typename TCondition>
constexpr unsigned VqHTTPSchemesWith(TCondition condition) {
  unsigned sum = schemeNone;
  for (const TVqHTTPSchemeRow& row : kVqHTTPSchemes) sum |= condition(row) ? row.Scheme : 0U;
  return sum;
}

/// "Basic", "NTLM", "Negotiate"; empty for none.
const char* VqHTTPSchemeName(unsigned scheme) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
