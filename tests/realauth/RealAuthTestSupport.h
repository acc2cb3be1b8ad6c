#pragma once

// The simulator behind an Apache that asks who comes, and sessions that talk to it.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/http/uVqHTTPClient.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/RealServers.h"

namespace velmore::testing {

/// Apache knows Alice by the password "geheim" in every scheme; the simulator knows her by another one, which only
/// Apache has and gives only to Alice. So an answer of the simulator proves who Apache took the client for.
class RealAuthTest : public EWSTest {
 protected:
  static constexpr const char* kPassword = "geheim";
  /// Tells what Apache had to say about a failure.
  void TearDown() override;

  // Lines of TestApache::Settings::Root.
  static constexpr const char* kNegotiate = "GssapiAllowedMech krb5\n";
  static constexpr const char* kNtlm = "GssapiAllowedMech ntlmssp\n";
  static constexpr const char* kPersistent = "GssapiConnectionBound On\nGssapiSignalPersistentAuth On\n";

  /// Starts Apache with its GSSAPI module, which is told `directives`. The users of NTLM are told as
  /// "DOMAIN:user:password".
  void StartGssapi(const std::string& directives, const std::string& ntlmUsers = "CONTOSO:alice:geheim\n",
                   const std::string& certificate = "", const std::string& key = "");
  /// Starts Apache with password files, over TLS when an identity is given.
  void StartBasic(const std::string& certificate = "", const std::string& key = "");
  /// Starts Apache as a proxy for every address, which asks for a name of its own: "pia".
  void StartProxy();
  TestApache& Apache() { return *FApache; }

  /// A session for Alice on Apache, not yet logged on.
  std::unique_ptr<TVqEWSServiceSession> NewSession(const string& user, const string& password = kPassword);
  /// An operation that every logged-on session can do, on its own connection.
  static void Ask(TVqEWSServiceSession& session);

  /// Sends the session through Apache.
  void UseProxy(TVqEWSServiceSession& session, const string& user, const string& password);
  /// The text of exception 12015, which `action` is to raise.
  template <typename TAction>
  static std::string RefusalOf(TAction action) {
    return MessageOf<EVqHTTPApiException>([&] {
      try {
        action();
      } catch (const EVqHTTPApiException& failure) {
        EXPECT_EQ(failure.GetNumber(), 12015u);
        throw;
      }
    });
  }

  /// The subjects in the inbox, by the session's own road.
  static std::vector<string> SubjectsOf(TVqEWSServiceSession& session);
  void PutMail(const std::string& subject);

  // What the access log says.
  /// The log with all that the simulator answered and what Apache answered itself: so many refusals.
  std::vector<TestApache::Request> LogWith(std::size_t refusals) {
    return Apache().Log(Server().Exchanges().size() + refusals);
  }
  static std::size_t Connections(const std::vector<TestApache::Request>& log);
  static std::size_t WithStatus(const std::vector<TestApache::Request>& log, int status);
  static std::size_t WithScheme(const std::vector<TestApache::Request>& log, const std::string& scheme);
  static std::string Print(const std::vector<TestApache::Request>& log);

  /// The simulator's address and, for Alice alone, the way in.
  std::string ForwardToSimulator();

  TestFolder Folder;

 private:
  std::unique_ptr<TestApache> FApache;
};

/// With a realm, one for all tests of the suite: setting it up takes most of a second.
class RealKerberosTest : public RealAuthTest {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
  void SetUp() override;
  static TestRealm& Realm() { return *FRealm; }

 private:
  static TestRealm* FRealm;
  static TestEnvironment* FEnvironment;
};

/// Without: a client that has no tickets and knows nobody to ask for one.
class RealPasswordTest : public RealAuthTest {
 protected:
  void SetUp() override;
  /// Skips, too, where Apache cannot do NTLM.
  static std::string NtlmMissing();

 private:
  TestEnvironment FEnvironment{TestRealm::NoRealm(Folder)};
};

}  // namespace velmore::testing
