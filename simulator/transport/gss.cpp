#include "simulator/transport/gss.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#ifdef VELMORE_KRB5
#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>
#endif

namespace velmore::simulator {

#ifdef VELMORE_KRB5

namespace {

std::string Upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

/// The lines of a password file for the forms in which users name themselves.
std::string NtlmLines(const std::vector<User>& users) {
  std::string lines;
  for (const User& user : users) {
    // What would break out of a line, or end a field of it, cannot log on so.
    const bool fits = !user.password.empty() && user.password.find_first_of("\r\n") == std::string::npos &&
                      (user.name + user.smtp_address).find_first_of(":\r\n") == std::string::npos;
    if (!fits) continue;
    const std::string domain = user.smtp_address.substr(user.smtp_address.find('@') + 1);
    const std::string behind = ":" + user.password + "\n";
    lines += ":" + user.name + behind;
    lines += ":" + user.smtp_address + behind;
    lines += domain + ":" + user.name + behind;
    lines += Upper(domain.substr(0, domain.find('.'))) + ":" + user.name + behind;
  }
  return lines;
}

void CheckReadable(const std::string& file, const char* what) {
  if (!file.empty() && ::access(file.c_str(), R_OK) != 0)
    throw OptionError("Cannot read the " + std::string(what) + " " + file + ".");
}

// 1.3.6.1.4.1.311.2.2.10 and 1.3.6.1.5.5.2, which no header of MIT's names.
gss_OID_desc ntlm_mechanism = {10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
gss_OID_desc spnego_mechanism = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};

gss_buffer_desc BufferOf(const std::string& text) {
  return {text.size(), const_cast<char*>(text.data())};
}

std::string Taken(gss_buffer_desc& buffer) {
  std::string text(static_cast<const char*>(buffer.value), buffer.length);
  OM_uint32 minor = 0;
  gss_release_buffer(&minor, &buffer);
  return text;
}

bool HasNtlmModule() {
  static const bool has = [] {
    OM_uint32 minor = 0;
    gss_OID_set mechanisms = GSS_C_NO_OID_SET;
    if (gss_indicate_mechs(&minor, &mechanisms) != GSS_S_COMPLETE) return false;
    int present = 0;
    gss_test_oid_set_member(&minor, &ntlm_mechanism, mechanisms, &present);
    gss_release_oid_set(&minor, &mechanisms);
    return present != 0;
  }();
  return has;
}

std::string StatusText(OM_uint32 code, gss_OID mechanism) {
  OM_uint32 minor = 0;
  OM_uint32 more = 0;
  gss_buffer_desc text = GSS_C_EMPTY_BUFFER;
  gss_display_status(&minor, code, GSS_C_MECH_CODE, mechanism, &more, &text);
  return Taken(text);
}

}  // namespace

struct GssKeys::Credential {
  gss_cred_id_t value = GSS_C_NO_CREDENTIAL;
  std::unique_ptr<TemporaryFile> made_up;  // the passwords, which are read when a proof comes
  Credential() = default;
  ~Credential() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &value);
  }
  Credential(const Credential&) = delete;
  Credential& operator=(const Credential&) = delete;

  /// For the service HTTP: under any name in a keytab, under this machine's for NTLM. Empty when it was made, the
  /// reason otherwise.
  std::string Acquire(gss_OID mechanism, const char* host_based, const char* key, const std::string& file) {
    OM_uint32 minor = 0;
    gss_name_t name = GSS_C_NO_NAME;
    const std::string service = host_based;
    gss_buffer_desc text = BufferOf(service);
    if (!service.empty()) gss_import_name(&minor, &text, GSS_C_NT_HOSTBASED_SERVICE, &name);
    gss_OID_set_desc mechanisms = {1, mechanism};
    // Without a cache of replays: it would be a file in the machine's own place, shared with other servers.
    std::array<gss_key_value_element_desc, 2> elements = {{{key, file.c_str()}, {"rcache", "none:"}}};
    const gss_key_value_set_desc store = {static_cast<OM_uint32>(elements.size()), elements.data()};
    const OM_uint32 major = gss_acquire_cred_from(&minor, name, GSS_C_INDEFINITE, &mechanisms, GSS_C_ACCEPT, &store,
                                                  &value, nullptr, nullptr);
    const OM_uint32 why = minor;
    gss_release_name(&minor, &name);
    return major == GSS_S_COMPLETE ? std::string() : StatusText(why, mechanism);
  }
};

GssKeys::GssKeys(std::string keytab, std::string ntlm_file, AllUsers users)
    : keytab_(std::move(keytab)), ntlm_file_(std::move(ntlm_file)), users_(std::move(users)) {
  CheckReadable(ntlm_file_, "password file of NTLM");
  if (!ntlm_file_.empty() && !HasNtlmModule())
    throw OptionError("NTLM needs its module for GSSAPI, which is not installed here (package gss-ntlmssp).");
  if (keytab_.empty()) return;
  CheckReadable(keytab_, "keytab");
  Credential kerberos;
  const std::string place = "FILE:" + keytab_;
  if (const std::string why = kerberos.Acquire(const_cast<gss_OID>(gss_mech_krb5), "", "keytab", place); !why.empty())
    throw OptionError("The keytab " + keytab_ + " cannot be used: " + why + ".");
  negotiate_ = std::make_shared<Credential>();
  OM_uint32 minor = 0;
  gss_OID_set_desc only = {1, const_cast<gss_OID>(gss_mech_krb5)};
  const std::string why = negotiate_->Acquire(&spnego_mechanism, "", "keytab", place);
  if (!why.empty() || gss_set_neg_mechs(&minor, negotiate_->value, &only) != GSS_S_COMPLETE)
    throw OptionError("The keytab " + keytab_ + " cannot be used for Negotiate. " + why);
}

bool GssKeys::Has(GssMechanism mechanism) const {
  return mechanism == GssMechanism::kNegotiate ? !keytab_.empty() : HasNtlmModule();
}

std::shared_ptr<GssKeys::Credential> GssKeys::For(GssMechanism mechanism) {
  if (mechanism == GssMechanism::kNegotiate) return negotiate_;
  const std::string lines = ntlm_file_.empty() ? NtlmLines(users_()) : std::string();
  const std::lock_guard lock(mutex_);
  if (ntlm_ != nullptr && lines == ntlm_text_) return ntlm_;
  ntlm_text_ = lines;
  auto made = std::make_shared<Credential>();
  if (ntlm_file_.empty()) made->made_up = std::make_unique<TemporaryFile>(lines);
  made->Acquire(&ntlm_mechanism, "HTTP@localhost", "ntlmssp_keyfile",
                made->made_up ? made->made_up->Path() : ntlm_file_);
  ntlm_ = std::move(made);
  return ntlm_;
}

struct GssHandshake::Context {
  std::shared_ptr<GssKeys::Credential> credential;
  std::string end_point;
  gss_ctx_id_t value = GSS_C_NO_CONTEXT;

  Context() = default;
  ~Context() {
    OM_uint32 minor = 0;
    gss_delete_sec_context(&minor, &value, GSS_C_NO_BUFFER);
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
};

GssHandshake::GssHandshake(GssKeys& keys, GssMechanism mechanism, std::string end_point)
    : context_(std::make_unique<Context>()) {
  context_->credential = keys.For(mechanism);
  context_->end_point = std::move(end_point);
}

GssHandshake::Step GssHandshake::Take(const std::string& token, std::string& answer) {
  // Without a credential of its own GSSAPI would take one of the machine's.
  if (context_->credential == nullptr || context_->credential->value == GSS_C_NO_CREDENTIAL) return Step::kRefused;
  gss_channel_bindings_struct bindings = {};
  bindings.application_data = BufferOf(context_->end_point);
  gss_buffer_desc in = BufferOf(token);
  gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
  gss_name_t who = GSS_C_NO_NAME;
  OM_uint32 minor = 0;
  OM_uint32 flags = 0;
  const OM_uint32 major = gss_accept_sec_context(&minor, &context_->value, context_->credential->value, &in,
                                                 context_->end_point.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
                                                 &who, nullptr, &out, &flags, nullptr, nullptr);
  answer = Taken(out);
  if (major == GSS_S_COMPLETE) {
    gss_buffer_desc name = GSS_C_EMPTY_BUFFER;
    gss_display_name(&minor, who, &name, nullptr);
    user_ = Taken(name);
    user_.erase(std::min(user_.find('\0'), user_.size()));  // the module of NTLM counts the end of its text
    bound_ = (flags & GSS_C_CHANNEL_BOUND_FLAG) != 0;
  }
  gss_release_name(&minor, &who);
  if (GSS_ERROR(major)) return Step::kRefused;
  return major == GSS_S_COMPLETE ? Step::kDone : Step::kGoesOn;
}

#else

struct GssKeys::Credential {};
GssKeys::GssKeys(std::string keytab, std::string ntlm_file, AllUsers)
    : keytab_(std::move(keytab)), ntlm_file_(std::move(ntlm_file)) {
  if (!keytab_.empty() || !ntlm_file_.empty())
    throw OptionError("This simulator was built without MIT Kerberos: it takes neither a keytab nor NTLM.");
}
bool GssKeys::Has(GssMechanism) const {
  return false;
}
struct GssHandshake::Context {};
GssHandshake::GssHandshake(GssKeys&, GssMechanism, std::string) {}
GssHandshake::Step GssHandshake::Take(const std::string&, std::string&) {
  return Step::kRefused;
}

#endif

GssKeys::~GssKeys() = default;
GssHandshake::~GssHandshake() = default;

}  // namespace velmore::simulator
