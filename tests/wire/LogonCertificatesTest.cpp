// Logging on over TLS to a server whose certificate has one fault: the number that says so, and the one flag that lifts
// it.

#include <string_view>

#include "SessionTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using Flag = TVqHTTPSecurityFlag;
using simulator::Certificate;

struct TFault {
  const char* Name;
  Certificate Shown;
  std::uint32_t Number;
  Flag Lifts;
};

constexpr TFault kFaults[] = {
    {"expired", Certificate::kExpired, 12037, Flag::IgnoreInvalidCertDate},
    {"not yet valid", Certificate::kNotYetValid, 12037, Flag::IgnoreInvalidCertDate},
    {"unknown issuer", Certificate::kUnknownIssuer, 12045, Flag::IgnoreUnknownCA},
    {"self-signed", Certificate::kSelfSigned, 12045, Flag::IgnoreUnknownCA},
    {"wrong name", Certificate::kWrongName, 12038, Flag::IgnoreInvalidCommonName},
    {"revoked", Certificate::kRevoked, 12170, Flag::IgnoreRevocation},
    {"wrong usage", Certificate::kWrongUsage, 12179, Flag::IgnoreWrongUsage},
};
constexpr Flag kFlags[] = {Flag::IgnoreInvalidCertDate, Flag::IgnoreUnknownCA, Flag::IgnoreInvalidCommonName,
                           Flag::IgnoreRevocation, Flag::IgnoreWrongUsage};

class LogonCertificates : public EWSTest {
 protected:
  LogonCertificates() : EWSTest(TwoUsers("Exchange2007_SP1")) {}

  /// The number of the failure of a logon with these checks lifted; 0 when it succeeds.
  std::uint32_t LogOn(TVqHTTPSecurityFlags flags, bool revocation) {
    TVqEWSServiceSession session;
    Configure(session);
    session.SetServiceUrl(Server().HttpsUrl());
    session.SetCAFile(Server().CaCertificateFile());
    if (revocation) session.SetCRLFile(Server().CertificateRevocationListFile());
    session.SetSecurityFlags(flags);
    try {
      session.SetActive(true);
    } catch (const EEWSException& failure) {
      EXPECT_TRUE(failure.Message().StartsWith("ErrorAutoDiscoverFailed (The certificate of \"localhost:"))
          << failure.what();
      EXPECT_FALSE(session.GetActive());
      return failure.HTTPErrorCode();
    }
    EXPECT_TRUE(session.GetActive());
    return 0;
  }
};

TEST_F(LogonCertificates, EachFaultHasItsNumber) {
  EXPECT_EQ(LogOn({}, true), 0u) << "a good one";
  for (const TFault& fault : kFaults) {
    Server().SetCertificate(fault.Shown);
    EXPECT_EQ(LogOn({}, fault.Shown == Certificate::kRevoked), fault.Number) << fault.Name;
  }
}

TEST_F(LogonCertificates, EachFlagAloneLiftsItsFaultAndNoOther) {
  for (const TFault& fault : kFaults) {
    Server().SetCertificate(fault.Shown);
    for (const Flag flag : kFlags) {
      EXPECT_EQ(LogOn({flag}, fault.Shown == Certificate::kRevoked), flag == fault.Lifts ? 0 : fault.Number)
          << fault.Name << ", bit " << static_cast<int>(flag);
    }
  }
}

TEST_F(LogonCertificates, WithoutAListNobodyIsRevoked) {
  Server().SetCertificate(Certificate::kRevoked);
  EXPECT_EQ(LogOn({}, false), 0u);
}

}  // namespace
}  // namespace velmore::testing
