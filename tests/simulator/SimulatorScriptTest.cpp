// Failures from a file.

#include <gtest/gtest.h>
#include <signal.h>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

const std::string kInbox = GetFolderXml(Distinguished("inbox"));

class SimulatorScript : public ::testing::Test {
 protected:
  void Load(const std::string& text) { server.LoadScript(folder.Write("faults.json", text)); }
  Folder folder;
  Started server;
  Client client{server};
};

TEST_F(SimulatorScript, PlaysFaultsByOperationSkipAndTimes) {
  Load(R"({
    // two requests pass, two fail, the next passes again
    "faults": [{"note": "for readers", "operation": "getitem", "skip": 2, "times": 2, "error": "ErrorItemCorrupt", "message": "Torn."}]
  })");
  const std::string get = GetItemXml(server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n").id);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  for (const char* code : {"NoError", "NoError", "ErrorItemCorrupt", "ErrorItemCorrupt", "NoError"})
    EXPECT_EQ(client.Call(get).Code(), code);
  EXPECT_EQ(server.PendingFaults(), 0u);
}

TEST_F(SimulatorScript, AlwaysNeverEnds) {
  Load(R"({"faults": [{"times": "always", "error": "ErrorInternalServerError"}]})");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(client.Call(kInbox).Code(), "ErrorInternalServerError");
  EXPECT_EQ(server.PendingFaults(), 1u);
}

TEST_F(SimulatorScript, ErrorMayBeAWarningWithAText) {
  Load(R"({"faults": [{"error": "ErrorBatchProcessingStopped", "warning": true, "message": "Half of it."}]})");
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.Find("GetFolderResponseMessage").AttributeText("ResponseClass"), "Warning");
  EXPECT_EQ(reply.Find("MessageText").text, "Half of it.");
}

TEST_F(SimulatorScript, SoapFaultThrottlesWithItsHint) {
  Load(R"({"faults": [{"fault": "ErrorServerBusy", "backOff": 297749}]})");
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(reply.Find("faultcode").text, "a:ErrorServerBusy");
  EXPECT_EQ(reply.Find("Value").AttributeText("Name"), "BackOffMilliseconds");
  EXPECT_EQ(reply.Find("Value").text, "297749");
}

TEST_F(SimulatorScript, ErrorThrottlesWithItsHint) {
  Load(R"({"faults": [{"error": "ErrorServerBusy", "backOff": 1500}]})");
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.Code(), "ErrorServerBusy");
  EXPECT_EQ(reply.Find("Value").text, "1500");
}

TEST_F(SimulatorScript, StatusThrottlesWithRetryAfter) {
  Load(R"({"faults": [
    {"status": 503, "retryAfter": 7, "body": "<html>busy</html>"},
    {"status": 429, "retryAfter": "Fri, 31 Dec 2027 23:59:59 GMT", "contentType": "text/plain", "headers": {"X-Reason": "too many"}}
  ]})");
  const Reply busy = client.Call(kInbox);
  EXPECT_EQ(busy.status, 503);
  EXPECT_EQ(busy.headers.at("retry-after"), "7");
  EXPECT_EQ(busy.headers.at("content-type"), "text/html");
  EXPECT_EQ(busy.body, "<html>busy</html>");
  const Reply many = client.Call(kInbox);
  EXPECT_EQ(many.status, 429);
  EXPECT_EQ(many.headers.at("retry-after"), "Fri, 31 Dec 2027 23:59:59 GMT");
  EXPECT_EQ(many.headers.at("content-type"), "text/plain");
  EXPECT_EQ(many.headers.at("x-reason"), "too many");
}

TEST_F(SimulatorScript, RepliesWithNothingHtmlGarbageAndTexts) {
  folder.Write("answer.xml", "<answer/>");
  Load(
      R"({"faults": [{"reply": "empty"}, {"reply": "html"}, {"reply": "garbage"}, {"body": "<a/>", "contentType": "text/xml"},
                      {"bodyFile": "answer.xml"}, {"status": 200, "body": "fine"}]})");
  const Reply empty = client.Call(kInbox);
  EXPECT_EQ(empty.status, 200);
  EXPECT_EQ(empty.body, "");
  const Reply html = client.Call(kInbox);
  EXPECT_EQ(html.headers.at("content-type"), "text/html; charset=utf-8");
  EXPECT_TRUE(html.body.starts_with("<!DOCTYPE html>")) << html.body;
  const Reply garbage = client.Call(kInbox);
  EXPECT_EQ(garbage.status, 200);
  EXPECT_THROW(ParseXml(garbage.body), XmlError);
  EXPECT_EQ(client.Call(kInbox).body, "<a/>");
  EXPECT_EQ(client.Call(kInbox).body, "<answer/>");
  EXPECT_EQ(client.Call(kInbox).body, "fine");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
}

TEST_F(SimulatorScript, CutsDelaysAndDribbles) {
  Load(R"({"faults": [{"cutAt": 700}, {"close": "before"}, {"pieces": 3}, {"close": "after"}, {"delay": 60000}]})");
  EXPECT_NE(client.Call(kInbox).curl_code, 0);
  EXPECT_NE(client.Call(kInbox).curl_code, 0);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  const auto connections = server.GetCounters().connections;
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  client.timeout_milliseconds = 300;
  EXPECT_EQ(client.Call(kInbox).curl_code, 28);
  EXPECT_EQ(server.GetCounters().connections, connections + 1);
}

TEST_F(SimulatorScript, LostReplyMayHaveBeenCarriedOut) {
  Load(
      R"({"faults": [{"operation": "CreateItem", "close": "before"}, {"operation": "CreateItem", "close": "before", "execute": true}]})");
  EXPECT_NE(client.Call(CreateItemXml(MessageXml("a", "bob@example.com"))).curl_code, 0);
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
  EXPECT_NE(client.Call(CreateItemXml(MessageXml("a", "bob@example.com"))).curl_code, 0);
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 1u);
}

TEST_F(SimulatorScript, CertificateIsWrongFromTheStart) {
  client.url = server.HttpsUrl();
  EXPECT_EQ(client.Call(kInbox).curl_code, 0);
  Load(R"({"certificate": "wrongName"})");
  server.DropConnections();
  EXPECT_EQ(client.Call(kInbox).curl_code, 60);
}

TEST_F(SimulatorScript, CertificateChangesInTheMiddle) {
  Load(R"({"faults": [{"skip": 1, "certificate": "expired", "close": "after"}]})");
  client.url = server.HttpsUrl();
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  EXPECT_EQ(client.Call(kInbox).curl_code, 60);
}

TEST_F(SimulatorScript, OffersTheSchemesAskedFor) {
  Load(R"({"authentication": ["Negotiate", "NTLM"]})");
  const Reply reply = client.Call(kInbox);
  EXPECT_EQ(reply.status, 401);
  EXPECT_EQ(reply.headers.at("www-authenticate"), "NTLM");  // the last of both lines
  server.SetAuthentication({"Basic"});
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
}

TEST_F(SimulatorScript, LogonExpiresInTheMiddle) {
  Load(R"({"faults": [{"skip": 1, "status": 401}, {"skip": 1, "authentication": []}]})");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  const Reply expired = client.Call(kInbox);
  EXPECT_EQ(expired.status, 401);
  EXPECT_EQ(expired.headers.at("www-authenticate"), "Basic realm=\"Velmore EWS Simulator\"");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  const Reply refused = client.Call(kInbox);
  EXPECT_EQ(refused.status, 401);
  EXPECT_EQ(refused.headers.count("www-authenticate"), 0u);
}

struct BadScript {
  const char* name;
  const char* text;
  const char* complaint;  // behind "faults.json"
};

class SimulatorBadScript : public SimulatorScript, public ::testing::WithParamInterface<BadScript> {};

TEST_P(SimulatorBadScript, IsRefusedWithItsPlace) {
  const std::string path = folder.Path("faults.json");
  try {
    Load(GetParam().text);
    FAIL() << "no exception";
  } catch (const OptionError& error) {
    EXPECT_TRUE(std::string(error.what()).starts_with(path + GetParam().complaint)) << error.what();
  }
  EXPECT_EQ(server.PendingFaults(), 0u);
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
}

INSTANTIATE_TEST_SUITE_P(
    Files, SimulatorBadScript,
    ::testing::Values(
        BadScript{"Empty", "", ":1:1: "},
        BadScript{"Syntax", "{\n\"faults\": [\n{\"status\": 503,}\n]}", ":3:16: syntax error "},
        BadScript{"NoObject", "[]", ":1: the file must hold one object in braces."},
        BadScript{"UnknownKey", "{\n\n\"fault\": []}", ":3: fault is unknown here; known are note, certificate, "},
        BadScript{"FaultsNoList", "{\"faults\": {}}", ":1: faults must be a list in brackets."},
        BadScript{"NoFault", "{\"faults\": [\n7]}", ":2: faults[0] must be an object in braces."},
        BadScript{"UnknownInside", "{\"faults\": [\n{\"status\": 503},\n{\"statos\": 503}]}",
                  ":3: faults[1].statos is unknown; known are "},
        BadScript{"UnknownOperation", "{\"faults\": [{\"operation\": \"GetItems\", \"status\": 503}]}",
                  ":1: faults[0].operation knows no operation \"GetItems\"."},
        BadScript{"Delay", "{\"faults\": [{\n/* a\ncomment */ \"delay\": \"1 s\"}]}",
                  ":3: faults[0].delay must be a whole number of milliseconds from 0 to 86400000."},
        BadScript{"Negative", "{\"faults\": [{\"skip\": -1, \"status\": 503}]}",
                  ":1: faults[0].skip must be a whole number"},
        BadScript{"Huge", "{\"faults\": [{\"times\": 18446744073709551615, \"status\": 503}]}",
                  ":1: faults[0].times must be a whole number of requests, or \"always\", from 1 to 1000000."},
        BadScript{"Status", "{\"faults\": [{\"status\": 42}]}",
                  ":1: faults[0].status must be a whole number of an HTTP status from 200 to 599."},
        BadScript{"Code", "{\"faults\": [{\"error\": \"<b>\"}]}", ":1: faults[0].error must be a response code"},
        BadScript{"Nothing", "{\"faults\": [{\"operation\": \"GetItem\"}]}", ":1: faults[0] does nothing"},
        BadScript{"TwoAnswers", "{\"faults\": [{\"status\": 503, \"error\": \"ErrorServerBusy\"}]}",
                  ":1: faults[0] has two answers: status and error."},
        BadScript{"TwoBodies", "{\"faults\": [{\"status\": 503, \"body\": \"\", \"bodyFile\": \"x\"}]}",
                  ":1: faults[0].body cannot stand beside another body."},
        BadScript{"NoBodyFile", "{\"faults\": [{\"bodyFile\": \"nowhere.xml\"}]}",
                  ":1: faults[0].bodyFile names no file: "},
        BadScript{"Reply", "{\"faults\": [{\"reply\": \"noise\"}]}",
                  ":1: faults[0].reply must be \"empty\", \"html\" or \"garbage\"."},
        BadScript{"Warning", "{\"faults\": [{\"status\": 503, \"warning\": true}]}",
                  ":1: faults[0].warning goes only with error."},
        BadScript{"BackOff", "{\"faults\": [{\"status\": 503, \"backOff\": 5}]}",
                  ":1: faults[0].backOff goes only with fault or error."},
        BadScript{"Execute", "{\"faults\": [{\"delay\": 5, \"execute\": true}]}",
                  ":1: faults[0].execute goes only with what replaces the reply."},
        BadScript{"Close", "{\"faults\": [{\"close\": \"now\"}]}",
                  ":1: faults[0].close must be \"before\" or \"after\" (the reply)."},
        BadScript{"CloseWithAnswer", "{\"faults\": [{\"close\": \"before\", \"status\": 503}]}",
                  ":1: faults[0] has an answer that close \"before\" never sends."},
        BadScript{
            "Certificate", "{\"certificate\": \"stale\"}",
            ":1: certificate knows no certificate \"stale\"; known are valid, expired, notYetValid, unknownIssuer, "
            "selfSigned, wrongName, wrongUsage, revoked."},
        BadScript{"Schemes", "{\"authentication\": [\"Basic\", \"two words\"]}",
                  ":1: authentication[1] must be the name of a scheme."},
        BadScript{"HeaderName", "{\"faults\": [{\"headers\": {\"a b\": \"c\"}}]}",
                  ":1: faults[0].headers.a b is no name of a header."},
        BadScript{"HeaderValue", "{\"faults\": [{\"headers\": {\"a\": \"b\\r\\nc: d\"}}]}",
                  ":1: faults[0].headers.a must stand on one line."},
        BadScript{"Twice", "{\"faults\": [\n{\"status\": 500,\n\"status\": 503}]}",
                  ":2: faults[0].status stands twice."}),
    [](const auto& info) { return info.param.name; });

TEST(SimulatorScriptOption, IsReadByTheConstructor) {
  const Folder folder;
  Options options = TestOptions();
  options.script_file = folder.Write("faults.json", R"({"certificate": "selfSigned", "faults": [{"status": 503}]})");
  Started server(options);
  EXPECT_EQ(server.PendingFaults(), 1u);
  Client client(server);
  client.url = server.HttpsUrl();
  EXPECT_EQ(client.Call(kInbox).curl_code, 60);
}

TEST(SimulatorProgram, PlaysAScript) {
  const Folder folder;
  Program program(
      SimulatorProgram({"--no-https", "--script",
                        folder.Write("faults.json", R"({"faults": [{"fault": "ErrorServerBusy", "backOff": 10}]})")}));
  ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
  Simulator none;
  Client client(none);
  client.url = program.Line("HTTP");
  EXPECT_EQ(client.Call(kInbox).Find("Value").text, "10");
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 0) << program.Output();
}

TEST(SimulatorProgram, EndsWithTwoAndThePlaceWhenAScriptIsWrong) {
  const Folder folder;
  const std::string path = folder.Write("faults.json", "{\"faults\": [\n{\"delay\": -1}]}");
  Program program(SimulatorProgram({"--script", path}));
  EXPECT_EQ(program.Wait(), 2);
  EXPECT_EQ(program.Output(),
            path + ":2: faults[0].delay must be a whole number of milliseconds from 0 to 86400000.\n");
  Program missing(SimulatorProgram({"--script", folder.Path("none.json")}));
  EXPECT_EQ(missing.Wait(), 2);
  EXPECT_EQ(missing.Output(), "Cannot read " + folder.Path("none.json") + ".\n");
}

TEST(SimulatorProgram, EndsWithTwoWhenAnOptionIsWrong) {
  for (const auto& options : std::vector<std::vector<std::string>>{{"--versoin", "Exchange2016"},
                                                                   {"--version", "Exchange2003"},
                                                                   {"--users", "alice"},
                                                                   {"--users", "alice:nowhere:secret"},
                                                                   {"--users", "a:a@b.example:x", "c:A@b.example:x"},
                                                                   {"--seed", "/nowhere"},
                                                                   {"--record", "/dev/null/folder"},
                                                                   {"--http", "70000"},
                                                                   {"--schema", "/nowhere"}}) {
    Program program(SimulatorProgram(options, false));
    EXPECT_EQ(program.Wait(), 2) << options.front() << program.Output();
    EXPECT_NE(program.Output(), "");
  }
}

TEST(SimulatorProgram, WritesTheCertificateThatClientsAreToTrust) {
  const Folder folder;
  const std::string file =
      folder.Write("ca.pem", "what an earlier start has left, and longer than a certificate" + std::string(9000, '.'));
  Program program(SimulatorProgram({"--no-http", "--ca", file}));
  ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
  EXPECT_EQ(program.Line("CA"), file);
  Simulator none;
  Client client(none);
  client.url = program.Line("HTTPS");
  client.ca_file = file;
  EXPECT_EQ(client.Call(kInbox).Code(), "NoError");
  const auto mode = std::filesystem::status(folder.Path("ca.pem")).permissions();
  EXPECT_NE(mode & std::filesystem::perms::others_read, std::filesystem::perms::none);

  Program refused(SimulatorProgram({"--ca", folder.Path("none/ca.pem")}));
  EXPECT_EQ(refused.Wait(), 2);
  EXPECT_NE(refused.Output().find("Cannot write " + folder.Path("none/ca.pem") + ".\n"), std::string::npos);
  Program contradicted(SimulatorProgram({"--no-https", "--ca", file}));
  EXPECT_EQ(contradicted.Wait(), 2);
}

TEST(SimulatorProgram, ChecksASettingsFileAndSaysWhatIsWrongWithIt) {
  const Folder folder;
  const std::string good =
      folder.Write("good.json", R"({"users": [{"name": "a", "smtp": "a@x.example", "fill": {"inbox": 3}}]})");
  Program checked(SimulatorProgram({"--check", good, "--state", folder.Path("state")}, false));
  EXPECT_EQ(checked.Wait(), 0) << checked.Output();
  EXPECT_EQ(checked.Output(), good + " is in order.\n");
  EXPECT_FALSE(std::filesystem::exists(folder.Path("state")));
  const std::string bad = folder.Write("bad.json", "{\n  \"users\": [\n    {\"name\": \"a\", \"smtp\": 7}\n  ]\n}\n");
  Program refused(SimulatorProgram({"--check", bad}, false));
  EXPECT_EQ(refused.Wait(), 2);
  EXPECT_EQ(refused.Output(), bad + ":3: users[0].smtp must be a text in quotes.\n");
}

TEST(SimulatorProgram, RecordsWhatItAnswersWhileItPlaysItsScript) {
  const Folder folder;
  const std::string script =
      folder.Write("faults.json", R"({"faults": [{"operation": "GetFolder", "status": 503, "retryAfter": 7},
    {"operation": "Token", "error": "invalid_grant"}]})");
  Program program(SimulatorProgram(
      {"--no-https", "--script", script, "--record", folder.Path("record"), "--authentication", "Basic", "Bearer"}));
  ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
  Simulator none;
  Client client(none);
  client.url = program.Line("HTTP");
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("inbox"))).status, 503);
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("inbox"))).Code(), "NoError");
  client.url = client.url.substr(0, client.url.find("/EWS")) + "/oauth2/token";
  client.content_type = "application/x-www-form-urlencoded";
  const std::string form = "grant_type=password&username=alice&password=wonder";
  EXPECT_EQ(client.Post(form).status, 400);
  EXPECT_EQ(client.Post(form).status, 200);
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 0) << program.Output();
  std::string all;
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path("record"))) {
    all += entry.path().filename().string() + "\n" + ReadFile(entry.path().string());
    ++files;
  }
  EXPECT_EQ(files, 8u);
  EXPECT_NE(all.find("000001-GetFolder.response.txt\nHTTP 503\n"), std::string::npos) << all;
  EXPECT_NE(all.find("Retry-After: 7\n"), std::string::npos);
  EXPECT_NE(all.find("000002-GetFolder.response.txt\nHTTP 200\n"), std::string::npos);
  EXPECT_NE(all.find("000003-Token.response.txt\nHTTP 400\n"), std::string::npos);
  EXPECT_NE(all.find("\"access_token\":\"****\""), std::string::npos);
  EXPECT_EQ(all.find("wonder"), std::string::npos) << "a secret stands in a recording";
}

TEST(SimulatorProgram, HelpTellsEveryOption) {
  Program program(SimulatorProgram({"--help"}, false));
  EXPECT_EQ(program.Wait(), 0);
  for (const char* option : {"--http", "--https", "--users", "--seed", "--state", "--version", "--versions", "--record",
                             "--script", "--schema", "--strict", "--address", "--no-page"})
    EXPECT_NE(program.Output().find(option), std::string::npos) << option;
}

TEST(SimulatorProgram, VersionsTellsWhatEachLacks) {
  Program program(SimulatorProgram({"--versions"}, false));
  EXPECT_EQ(program.Wait(), 0);
  for (const std::string& version : VersionNames())
    EXPECT_NE(program.Output().find("\n" + version), std::string::npos) << version;
  EXPECT_NE(program.Output().find("V2016_01_06: lacks nothing"), std::string::npos);
}

TEST(SimulatorVersions, GapsAreThoseThatClientsMeet) {
  for (const char* operation : {"ConvertId", "EmptyFolder", "GetServerTimeZones", "MarkAllItemsAsRead", "UploadItems"})
    EXPECT_NE(VersionGaps("Exchange2007").find(operation), std::string::npos) << operation;
  EXPECT_EQ(VersionGaps("Exchange2010").find("GetServerTimeZones"), std::string::npos);
  EXPECT_NE(VersionGaps("Exchange2010").find("EmptyFolder"), std::string::npos);
  EXPECT_NE(VersionGaps("Exchange2010").find("recoverableitemsroot"), std::string::npos);
  EXPECT_EQ(VersionGaps("V2016_01_06"), "");
  EXPECT_THROW(VersionGaps("Exchange2003"), OptionError);
}

}  // namespace
}  // namespace velmore::simulator::testing
