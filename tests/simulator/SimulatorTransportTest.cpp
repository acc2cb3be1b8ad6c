#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorTransport : public ::testing::Test {
 protected:
  SimulatorTransport() { server.Start(); }
  Simulator server{TestOptions()};
};

const std::string kInbox = GetFolderXml(Distinguished("inbox"));

TEST_F(SimulatorTransport, AnswersOverHttpAndHttps) {
  Client client(server);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  client.url = server.HttpsUrl();
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.curl_code, 0);
  EXPECT_EQ(reply.Code(), "NoError");
}

TEST_F(SimulatorTransport, EveryReplyTellsTheServerVersion) {
  Client client(server);
  for (const char* body : {kInbox.c_str(), "<m:GetFolder/>", "<m:NoSuchOperation/>"}) {
    const Element& info = client.Call(body).Find("ServerVersionInfo");
    EXPECT_EQ(info.space, Space::kTypes) << body;
    EXPECT_EQ(info.AttributeText("MajorVersion"), "15");
    EXPECT_EQ(info.AttributeText("MinorVersion"), "1");
    EXPECT_EQ(info.AttributeText("Version"), "Exchange2016");
  }
}

TEST_F(SimulatorTransport, WrongPasswordGets401WithTheSchemesOffered) {
  Client client(server, "alice", "wrong");
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.status, 401);
  EXPECT_EQ(reply.headers.at("www-authenticate"), "Basic realm=\"Velmore EWS Simulator\"");
  EXPECT_EQ(Client(server, "", "").Call(kInbox).status, 401);
}

TEST_F(SimulatorTransport, LogonNameDomainNameAndAddressAreTheSameUser) {
  for (const char* name : {"alice", "ALICE", "EXAMPLE\\alice", "alice@example.com"}) {
    Client client(server, name);
    EXPECT_EQ(client.Call(kInbox).Code(), "NoError") << name;
  }
}

TEST_F(SimulatorTransport, ConnectionIsKeptBetweenRequests) {
  Client client(server);
  for (int i = 0; i < 5; ++i) client.Call(kInbox);
  EXPECT_EQ(server.GetCounters().connections, 1u);
  EXPECT_EQ(server.GetCounters().requests, 5u);
  EXPECT_EQ(server.GetCounters().operations.at("GetFolder"), 5u);
}

TEST_F(SimulatorTransport, CompressesWhenAskedTo) {
  Client client(server);
  EXPECT_EQ(client.Call(kInbox).headers.count("content-encoding"), 0u);
  client.gzip = true;
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.headers.at("content-encoding"), "gzip");
  EXPECT_EQ(reply.Code(), "NoError");
}

TEST_F(SimulatorTransport, OnlyPostOfXmlIsAnOperation) {
  Client client(server);
  EXPECT_EQ(client.Get().status, 200);
  EXPECT_EQ(client.Get("/nothing/here").status, 404);
  client.content_type = "application/json";
  EXPECT_EQ(client.Call(kInbox).status, 415);
}

TEST_F(SimulatorTransport, LargeRequestsAreRefusedBeforeTheyFillTheMemory) {
  Options options = TestOptions();
  options.max_request_bytes = 10000;
  Simulator small(options);
  small.Start();
  Client client(small);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  const Reply reply = client.Post(std::string(200000, 'x'));
  EXPECT_EQ(reply.status, 413) << "the refusal comes through although the client still sends";
}

TEST_F(SimulatorTransport, ExchangeCookieIsSetUntilTheClientReturnsIt) {
  Client client(server);
  const std::string cookie = client.Call(kInbox).headers.at("set-cookie");
  EXPECT_TRUE(cookie.starts_with("exchangecookie=")) << cookie;
  client.http_headers = {"Cookie: " + cookie.substr(0, cookie.find(';'))};
  EXPECT_EQ(client.Call(kInbox).headers.count("set-cookie"), 0u);
}

TEST_F(SimulatorTransport, ExchangesAreKeptWithoutSecrets) {
  Client client(server);
  client.http_headers = {"Cookie: exchangecookie=topsecretcookie"};
  client.Call(kInbox);
  const std::vector<Exchange> exchanges = server.Exchanges();
  ASSERT_EQ(exchanges.size(), 1u);
  const Exchange& exchange = exchanges.front();
  EXPECT_EQ(exchange.number, 1u);
  EXPECT_EQ(exchange.operation, "GetFolder");
  EXPECT_EQ(exchange.user, "alice");
  EXPECT_EQ(exchange.status, 200);
  EXPECT_NE(exchange.request_body.find("<m:GetFolder>"), std::string::npos);
  EXPECT_NE(exchange.response_body.find("GetFolderResponse"), std::string::npos);
  EXPECT_EQ(exchange.RequestHeader("authorization"), "Basic ****");
  EXPECT_EQ(exchange.RequestHeader("cookie"), "exchangecookie=****");
  server.ClearExchanges();
  EXPECT_TRUE(server.Exchanges().empty());
}

TEST_F(SimulatorTransport, RecordedFilesAreReadableAndHoldNoSecrets) {
  const std::filesystem::path directory =
      std::filesystem::temp_directory_path() / ("velmore-record-" + std::to_string(server.HttpPort()));
  Options options = TestOptions();
  options.record_directory = directory.string();
  {
    Simulator recording(options);
    recording.Start();
    Client(recording).Call(kInbox);
  }
  std::ifstream request(directory / "000001-GetFolder.request.txt");
  const std::string text((std::istreambuf_iterator<char>(request)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(text.starts_with("POST /EWS/Exchange.asmx\n"));
  EXPECT_NE(text.find("Authorization: Basic ****"), std::string::npos);
  EXPECT_EQ(text.find("YWxpY2U6d29uZGVy"), std::string::npos);
  EXPECT_NE(text.find("\n    <m:GetFolder>"), std::string::npos) << text;
  EXPECT_TRUE(std::filesystem::exists(directory / "000001-GetFolder.response.txt"));
  std::filesystem::remove_all(directory);
}

TEST_F(SimulatorTransport, StopEndsWaitingConnectionsAtOnce) {
  Client client(server);
  Client idle(server);
  idle.Call(GetFolderXml(Distinguished("outbox")));
  Fault fault;
  fault.delay = std::chrono::minutes(10);
  server.AddFault(fault);
  Reply reply;
  std::thread caller([&] { reply = client.Call(kInbox); });
  while (server.GetCounters().operations["GetFolder"] < 2) std::this_thread::yield();
  const auto start = std::chrono::steady_clock::now();
  server.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  caller.join();
  EXPECT_NE(reply.curl_code, 0);
  EXPECT_EQ(server.HttpUrl(), "");
}

TEST_F(SimulatorTransport, StartsAgainAfterStopWithItsMailboxes) {
  server.AddMessage("alice@example.com", "inbox", "Subject: kept\r\n\r\nx");
  server.Stop();
  server.Start();
  Client client(server);
  EXPECT_EQ(client.Call(kInbox).Find("TotalCount").text, "1");
}

struct CertificateCase {
  Certificate certificate;
  int curl_code;
};

class SimulatorCertificate : public ::testing::TestWithParam<CertificateCase> {};

TEST_P(SimulatorCertificate, IsWrongInTheChosenWayOnly) {
  Options options = TestOptions();
  options.certificate = GetParam().certificate;
  Simulator server(options);
  server.Start();
  Client client(server);
  client.url = server.HttpsUrl();
  client.crl_file = server.CertificateRevocationListFile();
  EXPECT_EQ(client.Call(kInbox).curl_code, GetParam().curl_code);
  server.SetCertificate(Certificate::kValid);
  EXPECT_EQ(client.Call(kInbox).curl_code, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, SimulatorCertificate,
    ::testing::Values(CertificateCase{Certificate::kValid, 0}, CertificateCase{Certificate::kExpired, 60},
                      CertificateCase{Certificate::kNotYetValid, 60}, CertificateCase{Certificate::kUnknownIssuer, 60},
                      CertificateCase{Certificate::kSelfSigned, 60}, CertificateCase{Certificate::kWrongName, 60},
                      CertificateCase{Certificate::kWrongUsage, 60}, CertificateCase{Certificate::kRevoked, 60}));

// Failures on request

TEST_F(SimulatorTransport, FaultWithHttpStatusReplacesTheReplyOnce) {
  Fault fault;
  fault.operation = "getfolder";
  fault.http_status = 503;
  fault.body = "<html>busy</html>";
  fault.headers = {{"Retry-After", "7"}};
  server.AddFault(fault);
  Client client(server);
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "<html>busy</html>");
  EXPECT_EQ(reply.headers.at("retry-after"), "7");
  EXPECT_EQ(server.PendingFaults(), 0u);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
}

TEST_F(SimulatorTransport, FaultWaitsForItsOperationAndSkips) {
  Fault fault;
  fault.operation = "FindItem";
  fault.skip = 1;
  fault.response_code = "ErrorTimeoutExpired";
  server.AddFault(fault);
  Client client(server);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(client.Call(FindItemXml("inbox")).Code(), "NoError");
  const Reply reply = client.Call(FindItemXml("inbox"));
  EXPECT_EQ(reply.Code(), "ErrorTimeoutExpired");
  EXPECT_EQ(reply.Find("FindItemResponseMessage").AttributeText("ResponseClass"), "Error");
  EXPECT_EQ(reply.Find("MessageText").text, "The operation timed out.");
}

TEST_F(SimulatorTransport, FaultMayBeAWarning) {
  Fault fault;
  fault.response_code = "ErrorInternalServerTransientError";
  fault.warning = true;
  fault.message_text = "Half of it.";
  server.AddFault(fault);
  const Reply reply = Client(server).Call(kInbox);
  EXPECT_EQ(reply.Find("GetFolderResponseMessage").AttributeText("ResponseClass"), "Warning");
  EXPECT_EQ(reply.Find("MessageText").text, "Half of it.");
}

TEST_F(SimulatorTransport, ThrottlingFaultCarriesTheBackOffHint) {
  Fault fault;
  fault.soap_fault_code = "ErrorServerBusy";
  fault.back_off_milliseconds = 297749;
  server.AddFault(fault);
  const Reply reply = Client(server).Call(kInbox);
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(reply.Find("faultcode").text, "a:ErrorServerBusy");
  EXPECT_EQ(reply.Find("faultstring").text, "The server cannot service this request right now. Try again later.");
  EXPECT_EQ(reply.Find("Value").AttributeText("Name"), "BackOffMilliseconds");
  EXPECT_EQ(reply.Find("Value").text, "297749");
}

TEST_F(SimulatorTransport, ReplyIsCutAtTheByteAskedFor) {
  Client client(server);
  const Reply whole = client.Call(kInbox);
  Fault fault;
  fault.cut_at_byte = 1000;
  server.AddFault(fault);
  const Reply cut = client.Call(kInbox);
  EXPECT_NE(cut.curl_code, 0);
  EXPECT_LT(cut.body.size(), whole.body.size());
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
}

TEST_F(SimulatorTransport, ReplyInSinglePiecesIsTheSame) {
  Client client(server);
  const Reply whole = client.Call(kInbox);
  Fault fault;
  fault.piece_size = 1;
  server.AddFault(fault);
  EXPECT_EQ(client.Call(kInbox).body, whole.body);
}

TEST_F(SimulatorTransport, EmptyReplyAndGarbageComeWithStatus200) {
  Client client(server);
  Fault fault;
  fault.replace_body = true;
  server.AddFault(fault);
  fault.body = "\x01\x02 no XML";
  server.AddFault(fault);
  const Reply empty = client.Call(kInbox);
  EXPECT_EQ(empty.status, 200);
  EXPECT_EQ(empty.body, "");
  EXPECT_EQ(client.Call(kInbox).body, "\x01\x02 no XML");
}

TEST_F(SimulatorTransport, LostReplyLeavesTheOperationDoneOrNotAsAsked) {
  Client client(server);
  Fault fault;
  fault.operation = "CreateItem";
  fault.close_before_reply = true;
  server.AddFault(fault);
  EXPECT_NE(client.Call(CreateItemXml(MessageXml("a", "bob@example.com"))).curl_code, 0);
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
  fault.execute = true;
  server.AddFault(fault);
  EXPECT_NE(client.Call(CreateItemXml(MessageXml("a", "bob@example.com"))).curl_code, 0);
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 1u);
}

TEST_F(SimulatorTransport, KeptConnectionCanBeClosedBehindAReply) {
  Client client(server);
  Fault fault;
  fault.close_after_reply = true;
  server.AddFault(fault);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(server.GetCounters().connections, 2u);
}

TEST_F(SimulatorTransport, DelayHoldsTheReplyBack) {
  Fault fault;
  fault.delay = std::chrono::milliseconds(300);
  server.AddFault(fault);
  Client client(server);
  client.timeout_milliseconds = 50;
  EXPECT_EQ(client.Call(kInbox).curl_code, 28);
}

TEST_F(SimulatorTransport, DroppedConnectionsAreAcceptedAnew) {
  Client client(server);
  client.Call(kInbox);
  server.DropConnections();
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(server.GetCounters().connections, 2u);
}

// Each side has a lock of its own, and tells the other something.
TEST_F(SimulatorTransport, CertificateChangesWhileConnectionsComeIn) {
  std::atomic<bool> done = false;
  std::thread asking([&] {
    while (!done) EXPECT_EQ(Client(server).Call(kInbox).Code(), "NoError");  // a connection each
  });
  for (int i = 0; i < 100; ++i) server.SetCertificate(Certificate::kValid);
  done = true;
  asking.join();
}

TEST(SimulatorOptions, UnknownVersionIsRefusedWithTheKnownOnes) {
  Options options;
  options.version = "Exchange2003";
  try {
    Simulator server(options);
    FAIL() << "no exception";
  } catch (const SimulatorError& error) {
    EXPECT_NE(std::string(error.what()).find("Exchange2013_SP1"), std::string::npos);
  }
}

TEST(SimulatorOptions, PortInUseIsAClearError) {
  Simulator first{TestOptions()};
  first.Start();
  Options options = TestOptions();
  options.http_port = first.HttpPort();
  Simulator second(options);
  EXPECT_THROW(second.Start(), SimulatorError);
}

}  // namespace
}  // namespace velmore::simulator::testing
