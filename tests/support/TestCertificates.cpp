#include "tests/support/TestCertificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace {

std::string ToPem(const std::function<int(BIO*)>& write) {
  BIO* const bio = BIO_new(BIO_s_mem());
  if (write(bio) != 1) throw std::runtime_error("PEM");
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  std::string text(data, static_cast<std::size_t>(size));
  BIO_free(bio);
  return text;
}

void AddExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
  if (!extension) throw std::runtime_error("extension " + value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

void SetName(X509* certificate, const std::string& name) {
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
}

long NextSerial() {
  static std::atomic<long> Serial{1000};
  return ++Serial;
}

constexpr long kDay = 24 * 60 * 60;

}  // namespace

struct TestAuthority::Parts {
  EVP_PKEY* Key = nullptr;
  X509* Certificate = nullptr;
};

TestAuthority::TestAuthority(const std::string& name) : FParts(std::make_unique<Parts>()) {
  FParts->Key = EVP_EC_gen("P-256");
  X509* const certificate = FParts->Certificate = X509_new();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), NextSerial());
  X509_gmtime_adj(X509_getm_notBefore(certificate), -400 * kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 400 * kDay);
  SetName(certificate, name);
  X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
  X509_set_pubkey(certificate, FParts->Key);
  AddExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  AddExtension(certificate, certificate, NID_subject_key_identifier, "hash");
  X509_sign(certificate, FParts->Key, EVP_sha256());
}

TestAuthority::~TestAuthority() {
  X509_free(FParts->Certificate);
  EVP_PKEY_free(FParts->Key);
}

std::string TestAuthority::Certificate() const {
  return ToPem([this](BIO* bio) { return PEM_write_bio_X509(bio, FParts->Certificate); });
}

TestAuthority::Made TestAuthority::MakeServer(const Server& wanted) const {
  Made made;
  made.Serial = NextSerial();
  EVP_PKEY* const key = EVP_EC_gen("P-256");
  X509* const certificate = X509_new();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), made.Serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), wanted.FromDays * kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate), wanted.ToDays * kDay);
  SetName(certificate, "Velmore test server");
  X509_set_issuer_name(certificate, X509_get_subject_name(FParts->Certificate));
  X509_set_pubkey(certificate, key);
  AddExtension(certificate, FParts->Certificate, NID_basic_constraints, "CA:FALSE");
  AddExtension(certificate, FParts->Certificate, NID_subject_alt_name, wanted.Names);
  AddExtension(certificate, FParts->Certificate, NID_ext_key_usage, wanted.Usage);
  X509_sign(certificate, FParts->Key, EVP_sha256());
  made.Certificate = ToPem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
  made.Key = ToPem([&](BIO* bio) { return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
  X509_free(certificate);
  EVP_PKEY_free(key);
  return made;
}

std::string TestAuthority::MakeRevocationList(const std::vector<long>& serials) const {
  X509_CRL* const list = X509_CRL_new();
  X509_CRL_set_version(list, 1);
  X509_CRL_set_issuer_name(list, X509_get_subject_name(FParts->Certificate));
  ASN1_TIME* const now = X509_gmtime_adj(nullptr, -kDay);
  ASN1_TIME* const end = X509_gmtime_adj(nullptr, 30 * kDay);
  X509_CRL_set1_lastUpdate(list, now);
  X509_CRL_set1_nextUpdate(list, end);
  for (const long serial : serials) {
    X509_REVOKED* const entry = X509_REVOKED_new();
    ASN1_INTEGER* const number = ASN1_INTEGER_new();
    ASN1_INTEGER_set(number, serial);
    X509_REVOKED_set_serialNumber(entry, number);
    X509_REVOKED_set_revocationDate(entry, now);
    ASN1_INTEGER_free(number);
    X509_CRL_add0_revoked(list, entry);
  }
  ASN1_TIME_free(now);
  ASN1_TIME_free(end);
  X509_CRL_sort(list);
  X509_CRL_sign(list, FParts->Key, EVP_sha256());
  const std::string pem = ToPem([&](BIO* bio) { return PEM_write_bio_X509_CRL(bio, list); });
  X509_CRL_free(list);
  return pem;
}

TestFile::TestFile(const std::string& text) {
  const char* const folder = std::getenv("TMPDIR");
  FPath = std::string(folder ? folder : "/tmp") + "/velmore-test-XXXXXX";
  const int file = mkstemp(FPath.data());
  if (file < 0) throw std::runtime_error("no temporary file");
  close(file);
  std::ofstream(FPath, std::ios::binary) << text;
}

TestFile::~TestFile() {
  unlink(FPath.c_str());
}
