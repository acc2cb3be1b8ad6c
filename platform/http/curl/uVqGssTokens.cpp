#include "platform/http/curl/uVqGssTokens_p.h"

#ifdef VELMORE_KRB5
#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>
#include <krb5/krb5.h>
#endif

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <system_error>
#include <thread>

#include "platform/common/uVqNetEncoding.h"
#include "platform/http/uVqURL.h"

namespace velmore {

namespace {

char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string VqEncodeToken(const std::string& token) {
  return VqBase64Encode(token);
}

bool VqDecodeToken(std::string_view text, std::string& token) {
  try {
    token = VqBase64Decode(text);
  } catch (const EConvertError&) {
    return false;
  }
  return true;
}

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

using Clock = TVqHTTPClock;

// 1.3.6.1.4.1.311.2.2.10 and 1.3.6.1.5.5.2, which no header of MIT's names.
gss_OID_desc NtlmMechanism = {10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
gss_OID_desc SpnegoMechanism = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};

gss_OID_set_desc Only(gss_OID mechanism) {
  return {1, mechanism};
}
gss_OID Kerberos() {
  return const_cast<gss_OID>(gss_mech_krb5);
}

struct TVqGssName {
  gss_name_t Value = GSS_C_NO_NAME;
  TVqGssName() = default;
  ~TVqGssName() {
    OM_uint32 minor = 0;
    gss_release_name(&minor, &Value);
  }
  TVqGssName(const TVqGssName&) = delete;
  TVqGssName& operator=(const TVqGssName&) = delete;

  bool Import(const std::string& text, gss_OID type) {
    OM_uint32 minor = 0;
    gss_buffer_desc buffer = {text.size(), const_cast<char*>(text.data())};
    return gss_import_name(&minor, &buffer, type, &Value) == GSS_S_COMPLETE;
  }
};

struct TVqGssCredential {
  gss_cred_id_t Value = GSS_C_NO_CREDENTIAL;
  TVqGssCredential() = default;
  ~TVqGssCredential() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &Value);
  }
  TVqGssCredential(const TVqGssCredential&) = delete;
  TVqGssCredential& operator=(const TVqGssCredential&) = delete;
};

gss_buffer_desc Buffer(const std::string& text) {
  return {text.size(), const_cast<char*>(text.data())};
}

// The KDC knows the account and did not take the password. Others that it cannot take are expired or locked: there,
// too, another try does harm.
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

// Runs `job` on a thread of its own. False when the connect limit, the whole call's limit or the request is over first:
// the job goes on alone then, and everything that it touches must be its own. GSSAPI cannot be told to stop.
bool RunAside(const TVqEngineRequest& request, std::function<void()> job) {
  struct State {
    std::mutex Mutex;  // protects Done
    std::condition_variable Changed;
    bool Done = false;
  };
  const auto state = std::make_shared<State>();
  try {
    std::thread([state, job = std::move(job)]() mutable {
      try {
        job();
      } catch (const std::exception&) {  // memory has run out: the job has not done what it is for
      }
      job = nullptr;
      const std::scoped_lock lock(state->Mutex);
      state->Done = true;
      state->Changed.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return false;  // as many threads as the system allows
  }
  const int limit = request.TimeOuts.GetConnect();
  auto until = request.Deadline;
  if (limit > 0) until = std::min(until, Clock::now() + std::chrono::milliseconds(limit));
  constexpr std::chrono::milliseconds look{20};  // at the cancellation, which is due within 100
  std::unique_lock lock(state->Mutex);
  while (!state->Done && !request.IsCancelled() && Clock::now() < until) {
    state->Changed.wait_until(lock, std::min(until, Clock::now() + look));
  }
  return state->Done;
}

}  // namespace

bool VqHasGssKerberos() noexcept {
  return true;
}

bool VqHasGssNtlm() noexcept {
  static const bool has = [] {
    OM_uint32 minor = 0;
    gss_OID_set mechanisms = GSS_C_NO_OID_SET;
    if (gss_indicate_mechs(&minor, &mechanisms) != GSS_S_COMPLETE) return false;
    int present = 0;
    gss_test_oid_set_member(&minor, &NtlmMechanism, mechanisms, &present);
    gss_release_oid_set(&minor, &mechanisms);
    return present != 0;
  }();
  return has;
}

struct TVqGssCredentials::TPrepared {
  TPrepared() = default;
  ~TPrepared() {
    VqWipe(Password);
    if (Cache.empty()) return;
    // A cache in memory lives until it is destroyed, for which GSSAPI has no call.
    krb5_context context = nullptr;
    if (krb5_init_context(&context) == 0) {
      krb5_ccache cache = nullptr;
      if (krb5_cc_resolve(context, Cache.c_str(), &cache) == 0) krb5_cc_destroy(context, cache);
      krb5_free_context(context);
    }
  }
  TPrepared(const TPrepared&) = delete;
  TPrepared& operator=(const TPrepared&) = delete;

  TVqTicket Fetch();
  TVqTicket TakeAtHand();
  void ForNegotiate();

  std::string User, Password;
  std::string Cache;           // where the ticket lies; empty: in the machine's own place
  TVqGssCredential Negotiate;  // for Kerberos in Negotiate's wrapping
  Clock::time_point Until;
};

// The ticket at hand: made out to the user, or to anybody when none was named.
TVqTicket TVqGssCredentials::TPrepared::TakeAtHand() {
  OM_uint32 minor = 0;
  OM_uint32 left = 0;
  gss_OID_set_desc mechanisms = Only(Kerberos());
  TVqGssCredential credential;
  TVqGssName owner;
  if (gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE, &credential.Value, nullptr,
                       nullptr) != GSS_S_COMPLETE ||
      gss_inquire_cred(&minor, credential.Value, &owner.Value, &left, nullptr, nullptr) != GSS_S_COMPLETE ||
      left == 0) {
    return TVqTicket::none;
  }
  if (!User.empty()) {
    TVqGssName wanted;
    int equal = 0;
    if (!wanted.Import(VqKerberosPrincipal(User), const_cast<gss_OID>(GSS_KRB5_NT_PRINCIPAL_NAME)) ||
        gss_compare_name(&minor, owner.Value, wanted.Value, &equal) != GSS_S_COMPLETE || equal == 0) {
      return TVqTicket::none;
    }
  }
  ForNegotiate();
  return Negotiate.Value ? TVqTicket::ready : TVqTicket::none;
}

TVqTicket TVqGssCredentials::TPrepared::Fetch() {
  OM_uint32 minor = 0;
  OM_uint32 seconds = 0;
  TVqGssName name;
  gss_OID_set_desc mechanisms = Only(Kerberos());
  gss_buffer_desc secret = Buffer(Password);
  TVqGssCredential ticket;
  if (!name.Import(VqKerberosPrincipal(User), const_cast<gss_OID>(GSS_KRB5_NT_PRINCIPAL_NAME))) return TVqTicket::none;
  if (gss_acquire_cred_with_password(&minor, name.Value, &secret, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                     &ticket.Value, nullptr, &seconds) != GSS_S_COMPLETE) {
    return IsRefusal(minor) && VqNamesItsRealm(User, DefaultRealm()) ? TVqTicket::refused : TVqTicket::none;
  }
  const std::string cache = NewCacheName();
  gss_key_value_element_desc element = {"ccache", cache.c_str()};
  gss_key_value_set_desc store = {1, &element};
  if (gss_store_cred_into(&minor, ticket.Value, GSS_C_INITIATE, Kerberos(), 1, 1, &store, nullptr, nullptr) !=
      GSS_S_COMPLETE) {
    return TVqTicket::none;
  }
  Cache = cache;
  Until = Clock::now() + std::chrono::seconds(std::min<OM_uint32>(seconds, 8 * 3600) * 9 / 10);
  ForNegotiate();
  return Negotiate.Value ? TVqTicket::ready : TVqTicket::none;
}

// Kerberos alone: what else GSSAPI knows would speak for somebody whom nobody named.
void TVqGssCredentials::TPrepared::ForNegotiate() {
  OM_uint32 minor = 0;
  gss_OID_set_desc mechanisms = Only(&SpnegoMechanism);
  gss_key_value_element_desc element = {"ccache", Cache.c_str()};
  gss_key_value_set_desc store = {Cache.empty() ? 0U : 1U, &element};
  if (gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE, &store,
                            &Negotiate.Value, nullptr, nullptr) != GSS_S_COMPLETE) {
    return;
  }
  gss_OID_set_desc kerberos = Only(Kerberos());
  if (gss_set_neg_mechs(&minor, Negotiate.Value, &kerberos) != GSS_S_COMPLETE) {
    gss_release_cred(&minor, &Negotiate.Value);
    Negotiate.Value = GSS_C_NO_CREDENTIAL;
  }
}

TVqGssCredentials::TVqGssCredentials() = default;
TVqGssCredentials::~TVqGssCredentials() = default;

TVqTicket TVqGssCredentials::Prepare(const TVqEngineRequest& request) {
  if (FPrepared && FPrepared->User == request.User && FPrepared->Password == request.Password &&
      !FPrepared->Cache.empty() && Clock::now() < FPrepared->Until) {
    return TVqTicket::ready;
  }
  FPrepared.reset();
  auto prepared = std::make_shared<TPrepared>();
  prepared->User = request.User;
  prepared->Password = request.Password;
  if (request.User.empty() || request.Password.empty()) {
    const TVqTicket ticket = prepared->TakeAtHand();
    if (ticket == TVqTicket::ready) FPrepared = std::move(prepared);
    return ticket;
  }
  const auto answer = std::make_shared<std::atomic<TVqTicket>>(TVqTicket::silent);
  if (!RunAside(request, [prepared, answer] { *answer = prepared->Fetch(); })) return TVqTicket::silent;
  if (*answer == TVqTicket::ready) FPrepared = std::move(prepared);
  return *answer;
}

struct TVqGssHandshake::TContext {
  TContext() = default;
  ~TContext() {
    OM_uint32 minor = 0;
    gss_delete_sec_context(&minor, &Value, GSS_C_NO_BUFFER);
  }
  TContext(const TContext&) = delete;
  TContext& operator=(const TContext&) = delete;

  bool Begin(const TVqEngineRequest& request);
  bool Step(const std::string& challenge, std::string& token);

  std::shared_ptr<TVqGssCredentials::TPrepared> Prepared;
  TVqGssCredential Ntlm;
  gss_OID Mechanism = GSS_C_NO_OID;
  TVqGssName Server;
  std::string Binding;
  gss_ctx_id_t Value = GSS_C_NO_CONTEXT;
  bool Begun = false;
};

bool TVqGssHandshake::TContext::Begin(const TVqEngineRequest& request) {
  Begun = true;
  OM_uint32 minor = 0;
  const std::string service = "HTTP@" + VqDecodeURL(request.URL).Host.utf8();
  if (!Server.Import(service, GSS_C_NT_HOSTBASED_SERVICE)) return false;
  if (Mechanism == &SpnegoMechanism) return Prepared && Prepared->Negotiate.Value;
  // A name in the mail form is one name for the server's directory: "@" does not part a domain from it.
  std::string user = request.User;
  if (const std::size_t at = user.find('@'); at != std::string::npos && user.find('\\') == std::string::npos) {
    user.insert(at, "\\");
  }
  TVqGssName name;
  gss_OID_set_desc mechanisms = Only(&NtlmMechanism);
  gss_buffer_desc secret = Buffer(request.Password);
  return name.Import(user, GSS_C_NT_USER_NAME) &&
         gss_acquire_cred_with_password(&minor, name.Value, &secret, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                                        &Ntlm.Value, nullptr, nullptr) == GSS_S_COMPLETE;
}

bool TVqGssHandshake::TContext::Step(const std::string& challenge, std::string& token) {
  gss_channel_bindings_struct bindings = {};
  bindings.application_data = Buffer(Binding);
  gss_buffer_desc in = Buffer(challenge);
  gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
  OM_uint32 minor = 0;
  const bool spnego = Mechanism == &SpnegoMechanism;
  const OM_uint32 major =
      gss_init_sec_context(&minor, spnego ? Prepared->Negotiate.Value : Ntlm.Value, &Value, Server.Value, Mechanism,
                           spnego ? GSS_C_MUTUAL_FLAG | GSS_C_REPLAY_FLAG : 0, GSS_C_INDEFINITE,
                           Binding.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
                           challenge.empty() ? GSS_C_NO_BUFFER : &in, nullptr, &out, nullptr, nullptr);
  token.assign(static_cast<const char*>(out.value), out.length);
  gss_release_buffer(&minor, &out);
  return !GSS_ERROR(major) && !token.empty();
}

TVqGssHandshake::TVqGssHandshake(const TVqGssCredentials& credentials, unsigned scheme, std::string binding)
    : FContext(std::make_shared<TContext>()) {
  FContext->Prepared = credentials.FPrepared;
  FContext->Mechanism = scheme == schemeNTLM ? &NtlmMechanism : &SpnegoMechanism;
  FContext->Binding = std::move(binding);
}
TVqGssHandshake::~TVqGssHandshake() = default;

bool TVqGssHandshake::Step(const TVqEngineRequest& request, const std::string& challenge, std::string& token) {
  if (!FContext->Begun && !FContext->Begin(request)) return false;
  // Only the first token of Kerberos asks somebody: for a ticket for this server.
  if (FContext->Mechanism == &NtlmMechanism || !challenge.empty()) return FContext->Step(challenge, token);
  struct Result {
    bool Good = false;
    std::string Token;
  };
  const auto result = std::make_shared<Result>();
  if (!RunAside(request, [context = FContext, result] { result->Good = context->Step({}, result->Token); }))
    return false;
  token = std::move(result->Token);
  return result->Good;
}

#else  // libcurl alone, with the ticket at hand

bool VqHasGssKerberos() noexcept {
  return false;
}
bool VqHasGssNtlm() noexcept {
  return false;
}
struct TVqGssCredentials::TPrepared {};
TVqGssCredentials::TVqGssCredentials() = default;
TVqGssCredentials::~TVqGssCredentials() = default;
TVqTicket TVqGssCredentials::Prepare(const TVqEngineRequest& request) {
  return request.User.empty() ? TVqTicket::ready : TVqTicket::none;
}
struct TVqGssHandshake::TContext {};
TVqGssHandshake::TVqGssHandshake(const TVqGssCredentials&, unsigned, std::string) {}
TVqGssHandshake::~TVqGssHandshake() = default;
bool TVqGssHandshake::Step(const TVqEngineRequest&, const std::string&, std::string&) {
  return false;
}

#endif

}  // namespace velmore
