#include <curl/curl.h>
#include <openssl/x509_vfy.h>

#include "HTTPTestSupport.h"
#include "platform/http/curl/uVqCurlErrors_p.h"
#include "platform/http/curl/uVqCurlTrust_p.h"

using namespace velmore;

TEST(CurlErrors, EveryCodeOfThisLibcurlHasARowOfItsOwn) {
  for (int code = CURLE_OK; code < CURL_LAST; ++code) {
    const TVqCurlErrorRow* const row = VqFindCurlError(code);
    ASSERT_TRUE(row) << code << " " << curl_easy_strerror(static_cast<CURLcode>(code));
    EXPECT_EQ(row->Code, code);
    EXPECT_EQ(row->Number == 0, code == CURLE_OK) << code;
    EXPECT_NE(std::string(row->Text), "") << code;
  }
  EXPECT_FALSE(VqFindCurlError(-1));
  EXPECT_FALSE(VqFindCurlError(10000));
}

TEST(CurlErrors, NumbersOfTheFailuresThatHappen) {
  const struct {
    CURLcode Code;
    std::uint32_t Number;
  } expected[] = {{CURLE_UNSUPPORTED_PROTOCOL, 12006},
                  {CURLE_URL_MALFORMAT, 12005},
                  {CURLE_COULDNT_RESOLVE_PROXY, 12007},
                  {CURLE_COULDNT_RESOLVE_HOST, 12007},
                  {CURLE_COULDNT_CONNECT, 12029},
                  {CURLE_WEIRD_SERVER_REPLY, 12152},
                  {CURLE_PARTIAL_FILE, 12030},
                  {CURLE_OPERATION_TIMEDOUT, 12002},
                  {CURLE_SSL_CONNECT_ERROR, 12157},
                  {CURLE_GOT_NOTHING, 12030},
                  {CURLE_SEND_ERROR, 12030},
                  {CURLE_RECV_ERROR, 12030},
                  {CURLE_BAD_CONTENT_ENCODING, 12152},
                  {CURLE_LOGIN_DENIED, 12015},
                  {CURLE_SSL_CACERT_BADFILE, 12045},
                  {CURLE_PROXY, 12029},
                  {CURLE_SSL_CLIENTCERT, 12044},
                  {CURLE_OUT_OF_MEMORY, 8}};
  for (const auto& [code, number] : expected) EXPECT_EQ(VqFindCurlError(code)->Number, number) << code;
}

TEST(CurlErrors, TextsNameTheHostAndEndInLibcurlsWords) {
  const TVqCurlErrorRow& row = *VqFindCurlError(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(VqCurlErrorText(row, "h:1", ""), "No connection to \"h:1\" could be made.");
  EXPECT_EQ(VqCurlErrorText(row, "h:1", "refused"), "No connection to \"h:1\" could be made. (refused)");
}

TEST(CertificateErrors, EachIsOneCheck) {
  const struct {
    int Error;
    std::uint32_t Number;
    int Flag;
  } expected[] = {{X509_V_ERR_CERT_HAS_EXPIRED, 12037, 0},
                  {X509_V_ERR_CERT_NOT_YET_VALID, 12037, 0},
                  {X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, 12037, 0},
                  {X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD, 12037, 0},
                  {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, 12045, 1},
                  {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, 12045, 1},
                  {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, 12045, 1},
                  {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, 12045, 1},
                  {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, 12045, 1},
                  {X509_V_ERR_CERT_UNTRUSTED, 12045, 1},
                  {X509_V_ERR_HOSTNAME_MISMATCH, 12038, 2},
                  {X509_V_ERR_IP_ADDRESS_MISMATCH, 12038, 2},
                  {X509_V_ERR_CERT_REVOKED, 12170, 3},
                  {X509_V_ERR_UNABLE_TO_GET_CRL, 12057, 3},
                  {X509_V_ERR_CRL_HAS_EXPIRED, 12057, 3},
                  {X509_V_ERR_CRL_NOT_YET_VALID, 12057, 3},
                  {X509_V_ERR_CRL_SIGNATURE_FAILURE, 12057, 3},
                  {X509_V_ERR_INVALID_PURPOSE, 12179, 4},
                  {X509_V_ERR_CERT_SIGNATURE_FAILURE, 12169, -1},
                  {X509_V_ERR_CERT_REJECTED, 12169, -1},
                  {X509_V_ERR_INVALID_CA, 12169, -1}};
  for (const auto& [error, number, flag] : expected) {
    EXPECT_EQ(VqClassifyCertificateError(error, 0).Number, number) << error;
    EXPECT_EQ(VqClassifyCertificateError(error, 0).Flag, flag) << error;
  }
  EXPECT_EQ(VqClassifyCertificateError(X509_V_ERR_INVALID_PURPOSE, 1).Flag, -1) << "an issuer that may not issue";
}
