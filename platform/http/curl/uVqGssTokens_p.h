#pragma once

// Kerberos tickets for Negotiate. libcurl takes whatever ticket is at hand, whoever's it is; a client that was given a
// name must log on as that name or not at all.

#include <memory>
#include <string>

#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

/// Tickets of one engine, in a cache in memory that no other program sees. Used by the thread of the request.
class TVqKerberosTickets {
 public:
  TVqKerberosTickets();
  ~TVqKerberosTickets();
  TVqKerberosTickets(const TVqKerberosTickets&) = delete;
  TVqKerberosTickets& operator=(const TVqKerberosTickets&) = delete;

  /// Sees to it that there is a ticket for `user`: with a password it is fetched from the KDC, without one the ticket at
  /// hand must be made out to that user, and without a user any ticket at hand will do.
  TVqTicket Prepare(const std::string& user, const std::string& password);

  /// While it lives, Negotiate on this thread takes the prepared ticket.
  class Use {
   public:
    explicit Use(const TVqKerberosTickets& tickets);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

   private:
    bool FSet = false;
    std::string FBefore;
  };

 private:
  struct Prepared;
  std::unique_ptr<Prepared> FPrepared;
};

/// The Kerberos principal of a logon name: "user", "DOMAIN\user" and "user@domain"; a domain without a dot names no
/// realm and is left to the default.
std::string VqKerberosPrincipal(const std::string& logonName);
/// Whether a logon name says itself that its account is one of `defaultRealm` or of the realm that it names: "user@realm",
/// "realm\user", or "VELMORE\user" where the default realm begins with "VELMORE.". Else the KDC may know another account
/// of that name.
bool VqNamesItsRealm(const std::string& logonName, const std::string& defaultRealm);

}  // namespace velmore
