#pragma once

/// What an application can set and see of the search for a server by a mailbox address.
///
///     session.SetAutodiscoverEMail("ann@example.com");
///     session.SetActive(true);
///     for (const TVqEWSAutodiscoverStep& step : session.GetAutodiscoverReport())
///       std::cout << step.URL << ": " << step.Outcome << '\n';

#include <functional>
#include <string>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// One address that was asked, and what came of it. A plain value.
struct TVqEWSAutodiscoverStep {
  /// The address.
  string URL;
  /// The status of the last answer; 0 when there was none.
  std::int32_t Status = 0;
  /// The number of the transport's failure; 0 when there was none.
  std::uint32_t Error = 0;
  /// What came of it, in words, for people: "answered", "redirected to ...", "failed: ...".
  string Outcome;
};

/// Where Exchange Online is asked. One setting for the whole process: separate clouds have hosts of their own.
struct TVqEWSOnlineHosts {
  /// The service that answers in JSON: scheme and host.
  string Json = u"https://outlook.office365.com";
  /// The host that answers in XML.
  string Soap = u"autodiscover-s.outlook.com";
  /// What follows the first label of a domain in the addresses of its tenant.
  string TenantSuffix = u".mail.onmicrosoft.com";
};

/// Called when a server sends the search elsewhere; the result false refuses to go there.
using TVqEWSAutodiscoverRedirectEvent =
    std::function<bool(TVqComponent& ASender, const string& AFrom, const string& ATo)>;

}  // namespace velmore
