// The library finds the simulator by a mailbox address, and comes in there.

#include <algorithm>

#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

constexpr const char* kPath = "/autodiscover/autodiscover.xml";

class TFindingSession : public TVqEWSServiceSession {
 public:
  using TVqEWSCustomSession::GetAutodiscoverResults;

 protected:
  string FindHostBySRV(const string&) override { return {}; }  // no name service is asked
};

class SimulatorDiscovery : public ::testing::Test {
 protected:
  /// A simulator that is changed before it starts, under the names of its domains.
  void Start(const std::function<void(simulator::Options&)>& change = {}) {
    simulator::Options options = TwoUsers();
    options.domains = {"example.org"};
    if (change) change(options);
    Server = std::make_unique<simulator::Simulator>(options);
    Server->Start();
    std::map<string, string> map;
    for (const char* host : {"example.com", "autodiscover.example.com", "www.example.com", "autodiscover.example.org",
                             "mail.example.com"}) {
      map[string(host) + ":443"] = "127.0.0.1:" + IntToStr(Server->HttpsPort());
      map[string(host) + ":80"] = "127.0.0.1:" + IntToStr(Server->HttpPort());
    }
    // What is not told to have a server there has none.
    for (const char* host : {"example.org", "www.example.org", "autodiscover.json.example.org"})
      map[string(host) + ":443"] = "127.0.0.1:1";
    Session.SetConnectTo(map);
    Session.SetCAFile(Server->CaCertificateFile());
    Session.SetAutodiscoverEMail("alice@example.com");
    Session.GetCredentials().SetUserName("alice");
    Session.GetCredentials().SetPassword("wonder");
  }
  string Select(const char* path) {
    return Session.Autodiscover("").SelectSingleElement(path, kSelectRequired).GetText();
  }
  std::string Failure() {
    return MessageOf<EEWSException>([&] { Session.Autodiscover(""); });
  }
  static std::string Refused(const std::string& text) { return "ErrorAutoDiscoverFailed (" + text + ")."; }

  std::unique_ptr<simulator::Simulator> Server;
  TFindingSession Session;
};

TEST_F(SimulatorDiscovery, AnAddressIsEnoughToLogOn) {
  Start();
  Session.SetActive(true);
  EXPECT_EQ(Session.GetServiceUrl(), Server->HttpsUrl());
  EXPECT_EQ(Session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetTotalCount(), 0);
}

TEST_F(SimulatorDiscovery, AnswerHasWhatClientsRead) {
  Start([](simulator::Options& options) {
    options.external_url = "https://mail.example.com/EWS/Exchange.asmx";
    options.users[0].site = "North";
    options.users[0].archive = true;
    options.users[0].grants = {{"bob@example.com", "", simulator::Access::kOwner}};
  });
  EXPECT_EQ(Select("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl"),
            "https://mail.example.com/EWS/Exchange.asmx");
  EXPECT_EQ(Select("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/GroupingInformation"), "North");
  EXPECT_EQ(Select("/Autodiscover/Response/Account/AlternativeMailbox[Type=\"Delegate\"]/SmtpAddress"),
            "bob@example.com");
  EXPECT_EQ(Select("/Autodiscover/Response/Account/AlternativeMailbox[Type=\"Archive\"]/DisplayName"),
            "Online Archive - Alice Arden");
  EXPECT_EQ(Select("/Autodiscover/Response/User/AutoDiscoverSMTPAddress"), "alice@example.com");
  Session.SetActive(true);
  EXPECT_EQ(Session.GetServiceUrl(), "https://mail.example.com/EWS/Exchange.asmx");
  EXPECT_EQ(Session.GetAdditionalMailboxes().GetText(), "bob@example.com\r\n");
}

TEST_F(SimulatorDiscovery, WhoCannotLogOnLearnsNothing) {
  Start();
  Session.GetCredentials().SetPassword("falsch");
  EXPECT_EQ(Failure(), Refused("Authentication Failure!"));
  for (const auto& exchange : Server->Exchanges())
    EXPECT_EQ(exchange.response_body.find("EwsUrl"), std::string::npos) << exchange.target;
}

TEST_F(SimulatorDiscovery, AnUnknownAddressIsTold) {
  Start();
  Session.SetAutodiscoverEMail("nobody@example.com");
  EXPECT_EQ(Failure(), Refused("The e-mail address cannot be found."));
}

TEST_F(SimulatorDiscovery, PlainHttpSendsToHttps) {
  Start();
  std::map<string, string> map = Session.GetConnectTo();
  // No host answers over TLS but the one that the plain side sends to.
  for (const char* host : {"example.com", "www.example.com"}) map[string(host) + ":443"] = "127.0.0.1:1";
  Session.SetConnectTo(map);
  const std::string target = "https://autodiscover.example.com" + std::string(kPath);
  EXPECT_FALSE(Select("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl").empty());
  map["autodiscover.example.com:443"] = "127.0.0.1:1";
  TFindingSession other;
  other.SetConnectTo(map);
  other.SetCAFile(Server->CaCertificateFile());
  other.SetAutodiscoverEMail("alice@example.com");
  other.GetCredentials().SetUserName("alice");
  other.GetCredentials().SetPassword("wonder");
  EXPECT_ANY_THROW(other.Autodiscover(""));
  const auto exchanges = Server->Exchanges();
  EXPECT_TRUE(std::ranges::any_of(exchanges, [&](const simulator::Exchange& exchange) {
    return !exchange.secure && exchange.status == 302 &&
           std::ranges::count(exchange.response_headers, std::pair<std::string, std::string>("Location", target)) == 1;
  }));
  for (const auto& exchange : exchanges)
    EXPECT_TRUE(exchange.secure || exchange.RequestHeader("Authorization").empty()) << exchange.target;
}

// ---- Redirects

using Kind = simulator::AutodiscoverRedirect::Kind;

TEST_F(SimulatorDiscovery, RedirectOfTheAddressIsFollowed) {
  Start([](simulator::Options& options) {
    options.autodiscover_redirects = {
        {Kind::kLocation, "example.com", "https://autodiscover.example.com" + std::string(kPath)}};
  });
  EXPECT_EQ(Select("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl"), Server->HttpsUrl());
  EXPECT_EQ(Server->Exchanges().front().status, 302);
}

TEST_F(SimulatorDiscovery, RedirectToAnotherAddressIsFollowed) {
  Start([](simulator::Options& options) {
    options.autodiscover_redirects = {{Kind::kAddress, "old@example.com", "alice@example.com"}};
  });
  Session.SetAutodiscoverEMail("old@example.com");
  EXPECT_EQ(Select("/Autodiscover/Response/User/AutoDiscoverSMTPAddress"), "alice@example.com");
}

TEST_F(SimulatorDiscovery, RedirectOfADomainToAnotherServerIsFollowed) {
  Start([](simulator::Options& options) {
    options.users.push_back({"anna", "anna@example.org", "Anna", "aleph"});
    options.autodiscover_redirects = {
        {Kind::kUrl, "@example.org", "https://autodiscover.example.com" + std::string(kPath)}};
  });
  Session.SetAutodiscoverEMail("anna@example.org");
  EXPECT_EQ(Failure(), Refused("The servers refer to each other: \"https://autodiscover.example.com" +
                               std::string(kPath) + "\" was asked already."))
      << "the other one is this one, too";
}

// ---- The service in JSON

TEST_F(SimulatorDiscovery, TheServiceInJsonTellsBothAddresses) {
  Start();
  const string before = std::exchange(TVqEWSCustomSession::OnlineHosts().Json, "https://autodiscover.example.com");
  EXPECT_EQ(Session.AutodiscoverV2("alice@example.com", "Ews"), Server->HttpsUrl());
  EXPECT_EQ(Session.AutodiscoverV2("alice@example.com", "Autodiscoverv1"),
            "https://localhost:" + IntToStr(Server->HttpsPort()) + kPath);
  EXPECT_EQ(Session.AutodiscoverV2("nobody@example.com", "Ews"), "") << "404";
  EXPECT_EQ(Session.AutodiscoverV2("alice@example.com", "Telegraph"), "") << "400";
  EXPECT_EQ(Server->Exchanges().back().status, 400);
  for (const auto& exchange : Server->Exchanges()) EXPECT_EQ(exchange.RequestHeader("Authorization"), "");
  TVqEWSCustomSession::OnlineHosts().Json = before;
}

// ---- Failures on request

TEST_F(SimulatorDiscovery, FailsAsItIsToldTo) {
  Start();
  simulator::Fault fault;
  fault.operation = "Autodiscover";
  fault.skip = 1;  // the probe
  fault.response_code = "603";
  fault.message_text = "The directory is away.";
  Server->AddFault(fault);
  EXPECT_EQ(Failure(), Refused("The directory is away."));
  fault.response_code.clear();
  fault.http_status = 503;
  Server->AddFault(fault);
  EXPECT_EQ(Failure(), Refused("Service Unavailable"));
  fault.http_status = 0;
  fault.replace_body = true;
  Server->AddFault(fault);
  EXPECT_EQ(Failure(), Refused("The server did not return any data!"));
  EXPECT_EQ(Server->PendingFaults(), 0u);
}

TEST_F(SimulatorDiscovery, AFaultOfTheServiceIsNotSpentOnIt) {
  Start();
  simulator::Fault fault;
  fault.http_status = 503;
  Server->AddFault(fault);
  EXPECT_NO_THROW(Session.Autodiscover(""));
  EXPECT_EQ(Server->PendingFaults(), 1u);
}

TEST_F(SimulatorDiscovery, DomainsOfUsersWhoComeLaterAreCovered) {
  Start();
  Server->AddUser({"zoe", "zoe@example.net", "Zoe", "zett"});
  std::map<string, string> map = Session.GetConnectTo();
  map["example.net:443"] = "127.0.0.1:" + IntToStr(Server->HttpsPort());
  Session.SetConnectTo(map);
  Session.SetAutodiscoverEMail("zoe@example.net");
  Session.GetCredentials().SetUserName("zoe");
  Session.GetCredentials().SetPassword("zett");
  EXPECT_EQ(Select("/Autodiscover/Response/User/AutoDiscoverSMTPAddress"), "zoe@example.net");
  EXPECT_EQ(Server->Exchanges().front().RequestHeader("Host"), "example.net");
}

}  // namespace
}  // namespace velmore::testing
