// The logon example with an address or a profile alone: it prints each step of the walk. One server over TLS stands for
// all hosts that are asked; name servers are those of the test.

#include <atomic>
#include <cstdlib>

#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

namespace velmore::testing {
namespace {

using simulator::testing::Folder;
using simulator::testing::Program;

simulator::Options Tenant() {
  simulator::Options options = TwoUsers();
  simulator::User service{"service", "service@example.com", "The service", "service-secret"};
  service.may_impersonate = true;
  options.users.push_back(service);
  options.authentication = {"Basic", "Bearer"};
  return options;
}

class LogonExample : public EWSTest {
 protected:
  LogonExample() : EWSTest(Tenant()), FAuthorityFile(FAuthority.Certificate()), FHosts(IdentityOf(FAuthority)) {
    ::setenv("VELMORE_PASSWORD", "wonder", 1);
    FHosts.Always([this](const ScriptedServer::Request& request) {
      const std::string place = request.Method() + " " + request.Header("Host") + request.Target();
      if (FEmpty) return Say("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
      if (place == "GET example.com/autodiscover/autodiscover.xml") {
        return Say("HTTP/1.1 302 Found\r\nLocation: https://mail.example.com/found.xml\r\nContent-Length: 0\r\n\r\n");
      }
      if (place == "GET mail.example.com/found.xml") return Say(ScriptedServer::Ok(""));
      if (place == "POST mail.example.com/found.xml") {
        return Say(ScriptedServer::Ok(
            "<Autodiscover xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/responseschema/2006\"><Response "
            "xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/outlook/responseschema/2006a\"><Account>"
            "<Protocol><Type>EXPR</Type><EwsUrl>" +
            Server().HttpUrl() + "</EwsUrl></Protocol></Account></Response></Autodiscover>"));
      }
      return Say("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    });
  }
  static ScriptedServer::Answer Say(const std::string& bytes) {
    ScriptedServer::Answer answer;
    answer.Bytes = bytes;
    return answer;
  }
  static ScriptedServer::Identity IdentityOf(const TestAuthority& authority) {
    TestAuthority::Server server;
    server.Names = "DNS:example.com,DNS:*.example.com,DNS:outlook.office365.com";
    const TestAuthority::Made made = authority.MakeServer(server);
    return {made.Certificate, made.Key, {}};
  }
  /// Its output and its exit code, which is the first character.
  std::string Logon(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VELMORE_LOGON);
    const std::string to = "127.0.0.1:" + std::to_string(FHosts.Port());
    for (const char* host :
         {"example.com", "autodiscover.example.com", "www.example.com", "mail.example.com", "outlook.office365.com"}) {
      arguments.insert(arguments.end(), {"--connect-to", std::string(host) + ":443=" + to});
      arguments.insert(arguments.end(), {"--connect-to", std::string(host) + ":80=127.0.0.1:1"});
    }
    arguments.insert(arguments.end(), {"--ca-file", FAuthorityFile.Path(), "--name-server", "127.0.0.1:1"});
    Program program(arguments);
    const int code = program.Wait();
    return std::to_string(code) + "\n" + program.Output();
  }

  std::atomic<bool> FEmpty = false;  // nobody answers at any host

 private:
  const TestAuthority FAuthority;
  const TestFile FAuthorityFile;
  ScriptedServer FHosts;

 protected:
  Folder FFolder;
};

constexpr const char* kWalk =
    "Where it was looked for\n"
    "  1. https://example.com/autodiscover/autodiscover.xml: redirected to https://mail.example.com/found.xml\n"
    "  2. https://mail.example.com/found.xml: answered\n";

TEST_F(LogonExample, AddressAloneFindsItsServer) {
  const std::string output = Logon({"--address", "alice@example.com"});
  EXPECT_EQ(output.substr(0, 1), "0") << output;
  EXPECT_NE(output.find("Looking for the server of alice@example.com\nFinding it and logging on\n"), std::string::npos)
      << output;
  EXPECT_NE(output.find(kWalk + ("Service URL: " + Server().HttpUrl() + "\n")), std::string::npos) << output;
  EXPECT_NE(output.find("Everything works."), std::string::npos) << output;
}

TEST_F(LogonExample, AddressOfADomainWithoutAServerShowsWhatWasTried) {
  FEmpty = true;
  const std::string output = Logon({"--address", "alice@example.com"});
  EXPECT_EQ(output.substr(0, 1), "1") << output;
  EXPECT_NE(output.find("ErrorAutoDiscoverFailed (Failed to determine the Autodiscover URL!)."), std::string::npos)
      << output;
  EXPECT_NE(output.find("  1. https://example.com/autodiscover/autodiscover.xml: failed: status 404\n"),
            std::string::npos)
      << output;
}

TEST_F(LogonExample, ProfileAloneHasAllThatALogonByTokenNeeds) {
  const std::string url = Server().HttpUrl(), token = url.substr(0, url.find("/EWS")) + "/oauth2/token";
  const std::string file = FFolder.Write(
      "Profiles.config",
      "<profiles xmlns=\"urn:velmore:ews:profiles\" version=\"1.0\" default=\"EWS\"><Profile name=\"Alice\">"
      "<AutodiscoverEMail>alice@example.com</AutodiscoverEMail><GrantType>ClientCredentials</GrantType>"
      "<AppID>service</AppID><ClientSecret>service-secret</ClientSecret><TokenEndpoint>" +
          token + "</TokenEndpoint><AdditionalMailboxes/></Profile></profiles>");
  const std::string output = Logon({"--profile", "Alice", "--profile-file", file});
  EXPECT_EQ(output.substr(0, 1), "0") << output;
  EXPECT_NE(output.find("Loading the profile\n  Alice\nLooking for the server of alice@example.com\n"),
            std::string::npos)
      << output;
  EXPECT_NE(output.find(kWalk), std::string::npos) << output;
  EXPECT_NE(output.find("Everything works."), std::string::npos) << output;
  EXPECT_EQ(output.find("service-secret"), std::string::npos);
  const std::string none = Logon({"--profile", "Bob", "--profile-file", file});
  EXPECT_EQ(none.substr(0, 1), "1") << none;
}

}  // namespace
}  // namespace velmore::testing
