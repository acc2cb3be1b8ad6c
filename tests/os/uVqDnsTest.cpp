#include "platform/os/uVqDns.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <set>
#include <thread>

#include "tests/support/TestDnsServer.h"

namespace velmore {
namespace {

using TMilliseconds = std::chrono::milliseconds;

std::vector<string> HostsOf(const TVqDnsAnswer& answer) {
  std::vector<string> hosts;
  for (const TVqDnsService& service : answer.Services) hosts.push_back(service.Host);
  return hosts;
}

/// How long an action took.
template <typename TAction>
TMilliseconds TimeOf(TAction action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration_cast<TMilliseconds>(std::chrono::steady_clock::now() - start);
}

/// Questions to a real name server.
class DnsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string missing = TestDnsServer::Missing(); !missing.empty())
      GTEST_SKIP() << missing << " is not installed";
  }

  static TVqDnsAnswer Ask(const TestDnsServer& server, const string& name) {
    TVqDnsOptions options;
    options.Servers = {server.Address()};
    return VqLookUpService(name, options);
  }
};

TEST_F(DnsTest, AServiceIsFoundWithEverythingThatTheRecordHolds) {
  const TestDnsServer server({"--srv-host=_autodiscover._tcp.contoso.test,mail.contoso.test,8443,10,20"});
  const TVqDnsAnswer answer = Ask(server, "_autodiscover._tcp.contoso.test");
  EXPECT_EQ(answer.Status, kVqDnsFound);
  ASSERT_EQ(answer.Services.size(), 1U);
  EXPECT_EQ(answer.Services[0].Host, "mail.contoso.test");
  EXPECT_EQ(answer.Services[0].Port, 8443);
  EXPECT_EQ(answer.Services[0].Priority, 10);
  EXPECT_EQ(answer.Services[0].Weight, 20);
  EXPECT_EQ(server.Questions(), std::vector<std::string>{"SRV _autodiscover._tcp.contoso.test"});
}

TEST_F(DnsTest, SeveralServicesComeInTheOrderOfTheServer) {
  std::vector<std::string> records;
  for (const char* host : {"c", "a", "b"})
    records.push_back("--srv-host=_x._tcp.contoso.test," + std::string(host) + ".contoso.test,443");
  const TestDnsServer server(records);
  const std::vector<string> hosts = HostsOf(Ask(server, "_x._tcp.contoso.test"));
  EXPECT_EQ(std::set<string>(hosts.begin(), hosts.end()),
            (std::set<string>{"a.contoso.test", "b.contoso.test", "c.contoso.test"}));
  EXPECT_EQ(hosts.size(), 3U);
}

TEST_F(DnsTest, ANameWithoutSuchRecordsAndANameThatDoesNotExistAreToldApart) {
  const TestDnsServer server({"--local=/contoso.test/", "--host-record=_x._tcp.contoso.test,127.0.0.1"});
  const TVqDnsAnswer other = Ask(server, "_x._tcp.contoso.test");
  EXPECT_EQ(other.Status, kVqDnsNoRecords);
  EXPECT_TRUE(other.Services.empty());
  EXPECT_EQ(Ask(server, "_none._tcp.contoso.test").Status, kVqDnsNoSuchName);
  // What is said of a server that refuses when no other is left depends on the version of the library.
  const std::int32_t refused = Ask(server, "_x._tcp.elsewhere.test").Status;
  EXPECT_TRUE(refused == kVqDnsRefused || refused == kVqDnsNoServer) << refused;
}

TEST_F(DnsTest, AServiceThatIsSaidNotToExistHasNoHost) {
  const TestDnsServer server({"--srv-host=_x._tcp.contoso.test"});
  const TVqDnsAnswer answer = Ask(server, "_x._tcp.contoso.test");
  EXPECT_EQ(answer.Status, kVqDnsFound);
  EXPECT_EQ(HostsOf(answer), std::vector<string>{""});
}

TEST_F(DnsTest, AnAnswerThatIsTooLongForADatagramGoesOnOverTCP) {
  std::vector<std::string> records;
  for (int i = 0; i < 60; ++i) {
    records.push_back("--srv-host=_many._tcp.contoso.test,a-host-with-a-rather-long-name-" + std::to_string(i) +
                      ".contoso.test,443");
  }
  const TestDnsServer server(records);
  const TVqDnsAnswer answer = Ask(server, "_many._tcp.contoso.test");
  EXPECT_EQ(answer.Status, kVqDnsFound);
  const std::vector<string> hosts = HostsOf(answer);
  EXPECT_EQ(std::set<string>(hosts.begin(), hosts.end()).size(), 60U);
  EXPECT_EQ(server.Questions().size(), 2U) << "once by UDP, once by TCP";
}

TEST_F(DnsTest, NoOtherNameIsAskedForUnlessThatIsWanted) {
  ::setenv("LOCALDOMAIN", "corp.test", 1);
  const TestDnsServer server(
      {"--local=/contoso.test/corp.test/", "--srv-host=_x._tcp.contoso.test.corp.test,evil.corp.test,443"});
  TVqDnsOptions options;
  options.Servers = {server.Address()};
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test", options).Status, kVqDnsNoSuchName);
  EXPECT_EQ(server.Questions(), std::vector<std::string>{"SRV _x._tcp.contoso.test"});
  options.SearchDomains = true;
  EXPECT_EQ(HostsOf(VqLookUpService("_x._tcp.contoso.test", options)), std::vector<string>{"evil.corp.test"});
  EXPECT_EQ(server.Questions().back(), "SRV _x._tcp.contoso.test.corp.test");
  ::unsetenv("LOCALDOMAIN");
}

TEST_F(DnsTest, ANameBeyondAsciiIsAskedForInItsEncodedForm) {
  const TestDnsServer server({"--srv-host=_x._tcp.xn--mller-kva.test,mail.xn--mller-kva.test,443"});
  EXPECT_EQ(HostsOf(Ask(server, u"_x._tcp.Müller.test")), std::vector<string>{"mail.xn--mller-kva.test"});
}

TEST_F(DnsTest, ASilentServerIsFollowedByTheNext) {
  const SilentPort silent;
  const TestDnsServer server({"--srv-host=_x._tcp.contoso.test,mail.contoso.test,443"});
  TVqDnsOptions options;
  options.Servers = {silent.Address(), server.Address()};
  options.ServerTimeOut = 50;
  EXPECT_EQ(HostsOf(VqLookUpService("_x._tcp.contoso.test", options)), std::vector<string>{"mail.contoso.test"});
}

TEST(DnsTimes, AServerThatDoesNotAnswerCostsTheTimeThatWasGiven) {
  const SilentPort silent;
  TVqDnsOptions options;
  options.Servers = {silent.Address()};
  options.TimeOut = 120;
  options.ServerTimeOut = 10000;
  TVqDnsAnswer answer;
  const TMilliseconds taken = TimeOf([&] { answer = VqLookUpService("_x._tcp.contoso.test", options); });
  EXPECT_EQ(answer.Status, kVqDnsTimedOut);
  EXPECT_GE(taken.count(), 118);
  EXPECT_LT(taken.count(), 1000);

  options.TimeOut = 60000;
  options.ServerTimeOut = 20;
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test", options).Status, kVqDnsTimedOut)
      << "three tries, then it is given up";
}

TEST(DnsTimes, ALookUpEndsWhenItIsStoppedFromAnotherThread) {
  const SilentPort silent;
  std::stop_source source;
  TVqDnsOptions options;
  options.Servers = {silent.Address()};
  options.TimeOut = options.ServerTimeOut = 60000;
  options.Stop = source.get_token();
  std::chrono::steady_clock::time_point stopped;
  std::thread other([&] {
    pollfd waiting = {silent.Socket(), POLLIN, 0};
    ::poll(&waiting, 1, 10000);  // until the question is there
    stopped = std::chrono::steady_clock::now();
    source.request_stop();
  });
  const TVqDnsAnswer answer = VqLookUpService("_x._tcp.contoso.test", options);
  const auto after = std::chrono::steady_clock::now();
  other.join();
  EXPECT_EQ(answer.Status, kVqDnsCancelled);
  EXPECT_LT(after - stopped, TMilliseconds(100));
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test", options).Status, kVqDnsCancelled) << "stopped before it began";
}

TEST(DnsTimes, AnAnswerThatCannotBeReadIsAStatus) {
  const SilentPort port;
  std::thread server([&] {
    unsigned char question[512];
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    const ssize_t length =
        ::recvfrom(port.Socket(), question, sizeof question, 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (length < 12) return;
    question[2] = 0x81;  // an answer
    question[3] = 0x80;
    question[7] = 5;   // of five records, none of which is there
    question[11] = 0;  // and without the rest of the question
    ::sendto(port.Socket(), question, static_cast<std::size_t>(length), 0, reinterpret_cast<sockaddr*>(&from), size);
  });
  TVqDnsOptions options;
  options.Servers = {port.Address()};
  options.TimeOut = 5000;
  const TVqDnsAnswer answer = VqLookUpService("_x._tcp.contoso.test", options);
  server.join();
  EXPECT_EQ(answer.Status, kVqDnsBadAnswer);
  EXPECT_TRUE(answer.Services.empty());
}

TEST(DnsTimes, NoServerIsAStatusToo) {
  TVqDnsOptions options;
  options.Servers = {"not an address"};
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test", options).Status, kVqDnsNoServer);
  options.Servers = {SilentPort().Address()};  // closed again
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test", options).Status, kVqDnsNoServer);
}

TEST(DnsNames, WhatIsNoNameIsNotAskedFor) {
  const SilentPort silent;
  TVqDnsOptions options;
  options.Servers = {silent.Address()};
  for (const string& name : {string(), string("a b"), string("a\r\nb"), string(std::u16string(u"a\0b", 3)),
                             string("a..b"), string(std::u16string(300, u'a')), string(u"\xD800"),
                             string("_autodiscover._tcp.") + string(std::u16string(70, u'ä'))}) {
    EXPECT_EQ(VqLookUpService(name, options).Status, kVqDnsBadName) << name;
  }
  pollfd asked = {silent.Socket(), POLLIN, 0};
  EXPECT_EQ(::poll(&asked, 1, 0), 0);
}

/// Functions of the test in place of the system's.
class DnsFunctions : public ::testing::Test {
 protected:
  void TearDown() override { VqSetDnsFunctions({}); }

  /// Puts a query in place that answers with these targets.
  void Answer(std::vector<std::string> targets, std::int32_t status = kVqDnsFound) {
    VqSetDnsFunctions({[this, targets, status](const std::string& name, std::uint16_t type, const TVqDnsOptions&,
                                               TVqDnsRecord*& records) {
                         FAsked.push_back(std::to_string(type) + " " + name);
                         TVqDnsRecord** last = &records;
                         for (const std::string& target : targets) {
                           *last = new TVqDnsRecord{nullptr, target, 1, 2, 3};
                           last = &(*last)->Next;
                         }
                         return status;
                       },
                       [this](TVqDnsRecord* records, std::int32_t freeType) {
                         FFreed.push_back(freeType);
                         while (records) delete std::exchange(records, records->Next);
                       }});
  }

  std::vector<std::string> FAsked;
  std::vector<std::int32_t> FFreed;
};

TEST_F(DnsFunctions, ServiceRecordsAreAskedForAndReleased) {
  Answer({"a.test", "b.test"});
  EXPECT_EQ(HostsOf(VqLookUpService("_x._tcp.contoso.test")), (std::vector<string>{"a.test", "b.test"}));
  EXPECT_EQ(FAsked, std::vector<std::string>{"33 _x._tcp.contoso.test"});
  EXPECT_EQ(FFreed, std::vector<std::int32_t>{1});
  Answer({});
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test").Status, kVqDnsNoRecords);
  Answer({}, 9003);
  EXPECT_EQ(VqLookUpService("_x._tcp.contoso.test").Status, kVqDnsNoSuchName);
  EXPECT_EQ(FFreed.size(), 1U) << "no list, nothing to release";
  Answer({"a.test"}, 9002);
  EXPECT_TRUE(VqLookUpService("_x._tcp.contoso.test").Services.empty()) << "what comes with a failure does not count";
  EXPECT_EQ(FFreed.size(), 2U);
}

TEST_F(DnsFunctions, AnAnswerIsNoPlaceForAnAddressOfAnothersMaking) {
  Answer({"mail.test.", "", ".", "a b", "evil.test/path", "user@evil.test", "evil.test:1", "evil.test?x", "evil\\.test",
          "a..b", ".a", "\xC3\xA4.test", "a\nb", std::string(254, 'a'), "ok-1_2.test"});
  const std::vector<string> hosts = HostsOf(VqLookUpService("_x._tcp.contoso.test"));
  ASSERT_EQ(hosts.size(), 15U);
  EXPECT_EQ(hosts.front(), "mail.test");
  EXPECT_EQ(hosts.back(), "ok-1_2.test");
  for (std::size_t i = 1; i + 1 < hosts.size(); ++i) EXPECT_EQ(hosts[i], "") << i;
}

TEST_F(DnsFunctions, WhatIsMissingIsNamed) {
  const auto failure = [](TVqDnsFunctions found) {
    int loads = 0;
    VqSetDnsFunctions({}, [&] { return ++loads, found; });
    try {
      VqLookUpService("_x._tcp.contoso.test");
    } catch (const ENotSupportedException& missing) {
      return missing.Message();
    }
    EXPECT_EQ(loads, 1);
    VqLookUpService("_x._tcp.contoso.test");
    EXPECT_EQ(loads, 1) << "loaded once";
    return string("nothing is missing");
  };
  TVqDnsFunctions whole;
  whole.DnsQuery_A = [](const std::string&, std::uint16_t, const TVqDnsOptions&, TVqDnsRecord*&) {
    return kVqDnsNoSuchName;
  };
  whole.DnsRecordListFree = [](TVqDnsRecord*, std::int32_t) {};
  EXPECT_EQ(failure({}), "Failed to load dnsapi.dll");
  EXPECT_EQ(failure({whole.DnsQuery_A, {}}), "Failed to load DnsQuery_A function");
  EXPECT_EQ(failure({{}, whole.DnsRecordListFree}), "Failed to load DnsQuery_A function");
  EXPECT_EQ(failure(whole), "nothing is missing");
}

TEST_F(DnsFunctions, TheSystemsOwnKnowServiceRecordsOnly) {
  const TVqDnsFunctions functions = VqLoadDnsFunctions();
  TVqDnsRecord* records = nullptr;
  EXPECT_EQ(functions.DnsQuery_A("contoso.test", 1, {}, records), kVqDnsNotSupported);
  EXPECT_EQ(records, nullptr);
}

TEST(DnsStatus, EachStatusHasItsWords) {
  std::set<string> texts;
  const std::int32_t all[] = {kVqDnsFound,          kVqDnsNotSupported,  kVqDnsBadName,      kVqDnsCancelled,
                              kVqDnsTimedOut,       kVqDnsNotUnderstood, kVqDnsServerFailed, kVqDnsNoSuchName,
                              kVqDnsNotImplemented, kVqDnsRefused,       kVqDnsNoRecords,    kVqDnsBadAnswer,
                              kVqDnsNoServer};
  for (const std::int32_t status : all) {
    EXPECT_FALSE(VqDnsStatusText(status).Contains("number")) << status;
    texts.insert(VqDnsStatusText(status));
  }
  EXPECT_EQ(texts.size(), std::size(all));
  EXPECT_EQ(VqDnsStatusText(kVqDnsNoSuchName), "the name does not exist");
  EXPECT_EQ(VqDnsStatusText(4711), "the look-up failed with number 4711");
}

}  // namespace
}  // namespace velmore
