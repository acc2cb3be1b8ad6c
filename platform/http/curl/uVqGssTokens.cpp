#include "platform/http/curl/uVqKerberos_p.h"

#ifdef VELMORE_KRB5
#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>
#include <krb5/krb5.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>

namespace velmore {

namespace {

char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string VqKerberosPrincipal(const std::string& logonName) {
  std::string user = logonName;
  std::string realm;
  if (const std::size_t mark = logonName.find('\\'); mark != std::string::npos) {
    realm = logonName.substr(0, mark);
    user = logonName.substr(mark + 1);
  } else if (const std::size_t at = logonName.rfind('@'); at != std::string::npos) {
    realm = logonName.substr(at + 1);
    user = logonName.substr(0, at);
  }
  if (realm.find('.') == std::string::npos) return user;
  std::transform(realm.begin(), realm.end(), realm.begin(), Upper);
  return user + "@" + realm;
}

bool VqNamesItsRealm(const std::string& logonName, const std::string& defaultRealm) {
  if (VqKerberosPrincipal(logonName).find('@') != std::string::npos) return true;
  const std::size_t mark = logonName.find('\\');
  return mark != std::string::npos && mark > 0 &&
         VqSameAscii(logonName.substr(0, mark), defaultRealm.substr(0, defaultRealm.find('.')));
}

#ifdef VELMORE_KRB5

namespace {

gss_OID_set_desc KerberosOnly() {
  return {1, const_cast<gss_OID>(gss_mech_krb5)};
}

struct Name {
  gss_name_t Value = GSS_C_NO_NAME;
  ~Name() {
    OM_uint32 minor = 0;
    gss_release_name(&minor, &Value);
  }
};

struct Credential {
  gss_cred_id_t Value = GSS_C_NO_CREDENTIAL;
  ~Credential() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &Value);
  }
};

gss_buffer_desc Buffer(const std::string& text) {
  return {text.size(), const_cast<char*>(text.data())};
}

bool Import(const std::string& principal, Name& name) {
  OM_uint32 minor = 0;
  gss_buffer_desc text = Buffer(principal);
  return gss_import_name(&minor, &text, const_cast<gss_OID>(GSS_KRB5_NT_PRINCIPAL_NAME), &name.Value) == GSS_S_COMPLETE;
}

// The ticket at hand: made out to `user`, or to anybody when that is empty.
bool TicketAtHand(const std::string& user) {
  OM_uint32 minor = 0;
  OM_uint32 left = 0;
  gss_OID_set_desc mechanisms = KerberosOnly();
  Credential credential;
  Name owner;
  if (gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE, &credential.Value, nullptr,
                       nullptr) != GSS_S_COMPLETE ||
      gss_inquire_cred(&minor, credential.Value, &owner.Value, &left, nullptr, nullptr) != GSS_S_COMPLETE ||
      left == 0) {
    return false;
  }
  if (user.empty()) return true;
  Name wanted;
  int equal = 0;
  return Import(VqKerberosPrincipal(user), wanted) &&
         gss_compare_name(&minor, owner.Value, wanted.Value, &equal) == GSS_S_COMPLETE && equal != 0;
}

// The KDC knows the account and did not take the password. Others that it cannot take are expired or locked: there, too,
// another try does harm.
bool IsRefusal(OM_uint32 minor) {
  const auto code = static_cast<krb5_error_code>(minor);
  return code == KRB5KDC_ERR_PREAUTH_FAILED || code == KRB5KRB_AP_ERR_BAD_INTEGRITY || code == KRB5KDC_ERR_KEY_EXP ||
         code == KRB5KDC_ERR_CLIENT_REVOKED;
}

std::string DefaultRealm() {
  std::string realm;
  krb5_context context = nullptr;
  if (krb5_init_context(&context) != 0) return realm;
  char* text = nullptr;
  if (krb5_get_default_realm(context, &text) == 0) {
    realm = text;
    krb5_free_default_realm(context, text);
  }
  krb5_free_context(context);
  return realm;
}

std::string NewCacheName() {
  static std::atomic<unsigned> Number{0};
  return "MEMORY:velmore-http-" + std::to_string(++Number);
}

}  // namespace

struct TVqKerberosTickets::Prepared {
  std::string Cache;  // empty: the cache at hand
  std::string User, Password;
  Credential Ticket;
  std::chrono::steady_clock::time_point Until;

  ~Prepared() { Destroy(); }
  void Destroy() {
    if (Cache.empty()) return;
    // A cache in memory lives until it is destroyed, for which GSSAPI has no call.
    krb5_context context = nullptr;
    if (krb5_init_context(&context) == 0) {
      krb5_ccache cache = nullptr;
      if (krb5_cc_resolve(context, Cache.c_str(), &cache) == 0) krb5_cc_destroy(context, cache);
      krb5_free_context(context);
    }
    Cache.clear();
  }
};

TVqKerberosTickets::TVqKerberosTickets() = default;
TVqKerberosTickets::~TVqKerberosTickets() = default;

TVqTicket TVqKerberosTickets::Prepare(const std::string& user, const std::string& password) {
  const auto now = std::chrono::steady_clock::now();
  if (FPrepared && FPrepared->User == user && FPrepared->Password == password && !FPrepared->Cache.empty() &&
      now < FPrepared->Until) {
    return TVqTicket::ready;
  }
  FPrepared = std::make_unique<Prepared>();
  FPrepared->User = user;
  FPrepared->Password = password;
  if (user.empty() || password.empty()) return TicketAtHand(user) ? TVqTicket::ready : TVqTicket::none;

  OM_uint32 minor = 0;
  OM_uint32 seconds = 0;
  Name name;
  gss_OID_set_desc mechanisms = KerberosOnly();
  gss_buffer_desc secret = Buffer(password);
  if (!Import(VqKerberosPrincipal(user), name)) return TVqTicket::none;
  if (gss_acquire_cred_with_password(&minor, name.Value, &secret, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                     &FPrepared->Ticket.Value, nullptr, &seconds) != GSS_S_COMPLETE) {
    return IsRefusal(minor) && VqNamesItsRealm(user, DefaultRealm()) ? TVqTicket::refused : TVqTicket::none;
  }
  const std::string cache = NewCacheName();
  gss_key_value_element_desc element = {"ccache", cache.c_str()};
  gss_key_value_set_desc store = {1, &element};
  if (gss_store_cred_into(&minor, FPrepared->Ticket.Value, GSS_C_INITIATE, const_cast<gss_OID>(gss_mech_krb5), 1, 1,
                          &store, nullptr, nullptr) != GSS_S_COMPLETE) {
    return TVqTicket::none;
  }
  FPrepared->Cache = cache;
  FPrepared->Until = now + std::chrono::seconds(std::min<OM_uint32>(seconds, 8 * 3600) * 9 / 10);
  return TVqTicket::ready;
}

TVqKerberosTickets::Use::Use(const TVqKerberosTickets& tickets) {
  if (!tickets.FPrepared || tickets.FPrepared->Cache.empty()) return;
  OM_uint32 minor = 0;
  const char* before = nullptr;
  FSet = gss_krb5_ccache_name(&minor, tickets.FPrepared->Cache.c_str(), &before) == GSS_S_COMPLETE;
  if (FSet && before) FBefore = before;
}

TVqKerberosTickets::Use::~Use() {
  if (!FSet) return;
  OM_uint32 minor = 0;
  gss_krb5_ccache_name(&minor, FBefore.empty() ? nullptr : FBefore.c_str(), nullptr);
}

#else  // libcurl alone, with the ticket at hand

struct TVqKerberosTickets::Prepared {};
TVqKerberosTickets::TVqKerberosTickets() = default;
TVqKerberosTickets::~TVqKerberosTickets() = default;
TVqTicket TVqKerberosTickets::Prepare(const std::string& user, const std::string&) {
  return user.empty() ? TVqTicket::ready : TVqTicket::none;
}
TVqKerberosTickets::Use::Use(const TVqKerberosTickets&) {}
TVqKerberosTickets::Use::~Use() = default;

#endif

}  // namespace velmore
