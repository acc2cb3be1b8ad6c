#include "simulator/transport/tls.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <array>
#include <atomic>

namespace velmore::simulator {

namespace {

template <class T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* object) const { Free(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using Cert = std::unique_ptr<X509, Deleter<X509, X509_free>>;

constexpr long kDay = 86400;
constexpr long kRevokedSerial = 666;

Key MakeKey() {
  Key key(EVP_EC_gen("P-256"));
  if (key == nullptr) throw SimulatorError("A key for HTTPS cannot be made.");
  return key;
}

void AddExtension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  if (extension == nullptr) throw SimulatorError("A certificate for HTTPS cannot be made.");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

Cert MakeCertificate(EVP_PKEY* key, const char* name, long serial, long from, long until) {
  Cert certificate(X509_new());
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), until);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(subject, "O", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>("Velmore EWS Simulator"), -1, -1, 0);
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  return certificate;
}

Cert MakeAuthority(EVP_PKEY* key, const char* name) {
  Cert certificate = MakeCertificate(key, name, 1, -kDay, 3650 * kDay);
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
  AddExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
  AddExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash");
  X509_sign(certificate.get(), key, EVP_sha256());
  return certificate;
}

/// What may stand in a list of names without being taken for something else.
bool IsHostName(const std::string& text) {
  return !text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-") ==
                              std::string::npos;
}

template <class Write>
std::string Pem(Write write) {
  const std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>> memory(BIO_new(BIO_s_mem()));
  write(memory.get());
  char* data = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &data);
  return std::string(data, static_cast<std::size_t>(length));
}

}  // namespace

struct Authority::Keys {
  Key key = MakeKey();
  Cert certificate = MakeAuthority(key.get(), "Velmore EWS Simulator Root");
  Key stranger_key = MakeKey();
  Cert stranger = MakeAuthority(stranger_key.get(), "Somebody Else Root");
};

Authority::Authority() : keys_(std::make_unique<Keys>()) {}
Authority::~Authority() = default;

std::string Authority::Certificate() const {
  return Pem([&](BIO* out) { PEM_write_bio_X509(out, keys_->certificate.get()); });
}

std::string Authority::RevocationList() const {
  const std::unique_ptr<X509_CRL, Deleter<X509_CRL, X509_CRL_free>> list(X509_CRL_new());
  X509_CRL_set_version(list.get(), 1);
  X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(keys_->certificate.get()));
  ASN1_TIME* time = X509_gmtime_adj(nullptr, -kDay);
  X509_CRL_set1_lastUpdate(list.get(), time);
  X509_REVOKED* revoked = X509_REVOKED_new();
  ASN1_INTEGER* serial = ASN1_INTEGER_new();
  ASN1_INTEGER_set(serial, kRevokedSerial);
  X509_REVOKED_set_serialNumber(revoked, serial);
  X509_REVOKED_set_revocationDate(revoked, time);
  X509_CRL_add0_revoked(list.get(), revoked);
  ASN1_INTEGER_free(serial);
  X509_gmtime_adj(time, 3650 * kDay);
  X509_CRL_set1_nextUpdate(list.get(), time);
  ASN1_TIME_free(time);
  X509_CRL_sort(list.get());
  X509_CRL_sign(list.get(), keys_->key.get(), EVP_sha256());
  return Pem([&](BIO* out) { PEM_write_bio_X509_CRL(out, list.get()); });
}

Identity Authority::Issue(simulator::Certificate kind, const std::vector<std::string>& domains) const {
  using enum simulator::Certificate;
  const Key key = MakeKey();
  static std::atomic<long> next_serial = 1000;
  const long serial = kind == kRevoked ? kRevokedSerial : ++next_serial;
  const long from = kind == kExpired ? -30 * kDay : kind == kNotYetValid ? 30 * kDay : -kDay;
  const long until = kind == kExpired ? -kDay : 365 * kDay;
  const Cert certificate =
      MakeCertificate(key.get(), kind == kWrongName ? "mail.elsewhere.example" : "localhost", serial, from, until);
  X509* issuer = kind == kUnknownIssuer ? keys_->stranger.get()
                 : kind == kSelfSigned  ? certificate.get()
                                        : keys_->certificate.get();
  EVP_PKEY* issuer_key = kind == kUnknownIssuer ? keys_->stranger_key.get()
                         : kind == kSelfSigned  ? key.get()
                                                : keys_->key.get();
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer));
  AddExtension(certificate.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(certificate.get(), issuer, NID_key_usage, "critical,digitalSignature");
  AddExtension(certificate.get(), issuer, NID_ext_key_usage, kind == kWrongUsage ? "clientAuth" : "serverAuth");
  AddExtension(certificate.get(), issuer, NID_subject_key_identifier, "hash");
  std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";
  for (const std::string& domain : domains)
    if (IsHostName(domain)) names += ",DNS:" + domain + ",DNS:*." + domain;
  AddExtension(certificate.get(), issuer, NID_subject_alt_name,
               kind == kWrongName ? "DNS:mail.elsewhere.example" : names.c_str());
  X509_sign(certificate.get(), issuer_key, EVP_sha256());
  Identity identity;
  identity.certificate = Pem([&](BIO* out) { PEM_write_bio_X509(out, certificate.get()); });
  identity.key =
      Pem([&](BIO* out) { PEM_write_bio_PrivateKey(out, key.get(), nullptr, nullptr, 0, nullptr, nullptr); });
  return identity;
}

std::string EndPointOf(const std::string& certificate) {
  const std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>> memory(
      BIO_new_mem_buf(certificate.data(), static_cast<int>(certificate.size())));
  const Cert read(PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr));
  if (read == nullptr) return {};
  // The digest of the certificate's own signature, but none that is broken (RFC 5929).
  int digest = NID_undef;
  OBJ_find_sigid_algs(X509_get_signature_nid(read.get()), &digest, nullptr);
  const EVP_MD* method =
      digest == NID_undef || digest == NID_md5 || digest == NID_sha1 ? EVP_sha256() : EVP_get_digestbynid(digest);
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned length = 0;
  if (X509_digest(read.get(), method, bytes.data(), &length) != 1) return {};
  return "tls-server-end-point:" + std::string(reinterpret_cast<const char*>(bytes.data()), length);
}

}  // namespace velmore::simulator
