#include "RealAuthTestSupport.h"

#include <unistd.h>

#include <iostream>

#include "ews/schema/uVqEWSPropsFLD.h"

namespace velmore::testing {

std::string RealAuthTest::ForwardToSimulator() {
  const std::string simulator = "http://127.0.0.1:" + std::to_string(Server().HttpPort()) + "/";
  // "alice:wonder". The user's name stands as each scheme writes it: alice, alice@VELMORE.TEST, CONTOSO\alice.
  return "ProxyPass \"/\" \"" + simulator +
         "\"\n"
         "<Location \"/\">\n"
         "RequestHeader unset Authorization\n"
         "RequestHeader set Authorization \"Basic YWxpY2U6d29uZGVy\" \"expr=%{REMOTE_USER} =~ "
         "/(^|[\\\\\\\\])alice(@|$)/\"\n"
         "</Location>\n";
}

void RealAuthTest::StartGssapi(const std::string& directives, const std::string& ntlmUsers,
                               const std::string& certificate, const std::string& key) {
  TestApache::Settings settings;
  settings.Certificate = certificate;
  settings.Key = key;
  settings.Modules = {"auth_gssapi"};
  settings.Server = ForwardToSimulator();
  settings.Root = "AuthType GSSAPI\nAuthName \"Mail\"\nRequire valid-user\nGssapiPublishMech On\n" + directives;
  settings.Environment = {{"NTLM_USER_FILE", Folder.Write("ntlm.users", ntlmUsers)}, {"KRB5RCACHENAME", "none:"}};
  FApache = std::make_unique<TestApache>(settings);
}

void RealAuthTest::StartBasic(const std::string& certificate, const std::string& key) {
  TestApache::Settings settings;
  settings.Certificate = certificate;
  settings.Key = key;
  settings.Server = ForwardToSimulator();
  // SHA-1 of "geheim", as htpasswd -s writes it.
  settings.Root = "AuthType Basic\nAuthName \"Mail\"\nRequire valid-user\nAuthUserFile " +
                  Folder.Write("basic.users", "alice:{SHA}kGByAB793z4R5tK1eC9Hd/4Dhzk=\n") + "\n";
  FApache = std::make_unique<TestApache>(settings);
}

void RealAuthTest::StartProxy() {
  TestApache::Settings settings;
  settings.Modules = {"proxy_connect"};
  settings.Server = "ProxyRequests On\nAllowCONNECT " + std::to_string(Server().HttpsPort()) +
                    "\n<Proxy \"*\">\nAuthType Basic\nAuthName \"Proxy\"\nRequire valid-user\nAuthUserFile " +
                    Folder.Write("basic.users", "pia:{SHA}kGByAB793z4R5tK1eC9Hd/4Dhzk=\n") + "\n</Proxy>\n";
  FApache = std::make_unique<TestApache>(settings);
}

void RealAuthTest::UseProxy(TVqEWSServiceSession& session, const string& user, const string& password) {
  session.SetAccessType(TVqHTTPAccessType::proxy);
  session.SetProxyServer("127.0.0.1:" + std::to_string(Apache().Port()));
  TVqCredentials credentials;
  credentials.SetUserName(user);
  credentials.SetPassword(password);
  session.SetProxyCredentials(credentials);
}

std::unique_ptr<TVqEWSServiceSession> RealAuthTest::NewSession(const string& user, const string& password) {
  auto session = std::make_unique<TVqEWSServiceSession>();
  session->SetServiceUrl(Apache().Url("/EWS/Exchange.asmx"));
  session->GetCredentials().SetUserName(user);
  session->GetCredentials().SetPassword(password);
  return session;
}

void RealAuthTest::Ask(TVqEWSServiceSession& session) {
  session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetTotalCount();
}

std::vector<string> RealAuthTest::SubjectsOf(TVqEWSServiceSession& session) {
  auto items = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  std::vector<string> subjects;
  for (items->Open(); !items->Eof(); items->Next()) {
    subjects.push_back(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString());
  }
  return subjects;
}

void RealAuthTest::PutMail(const std::string& subject) {
  Server().AddMessage(kAlice, "inbox", "From: bob@example.com\r\nSubject: " + subject + "\r\n\r\nText\r\n");
}

std::size_t RealAuthTest::Connections(const std::vector<TestApache::Request>& log) {
  std::set<int> connections;
  for (const auto& request : log) connections.insert(request.Connection);
  return connections.size();
}

std::size_t RealAuthTest::WithStatus(const std::vector<TestApache::Request>& log, int status) {
  return static_cast<std::size_t>(std::ranges::count(log, status, &TestApache::Request::Status));
}

std::size_t RealAuthTest::WithScheme(const std::vector<TestApache::Request>& log, const std::string& scheme) {
  return static_cast<std::size_t>(std::ranges::count(log, scheme, &TestApache::Request::Scheme));
}

std::string RealAuthTest::Print(const std::vector<TestApache::Request>& log) {
  std::string text;
  for (const auto& one : log) {
    text += std::to_string(one.Connection) + " " + std::to_string(one.Status) + " " + one.User + " " + one.Scheme +
            " " + one.Mechanism + " " + one.Line + "\n";
  }
  return text;
}

TestRealm* RealKerberosTest::FRealm = nullptr;
TestEnvironment* RealKerberosTest::FEnvironment = nullptr;

void RealKerberosTest::SetUpTestSuite() {
  if (!TestRealm::Missing().empty()) return;
  FRealm = new TestRealm;
  FRealm->AddUser("alice", kPassword, "+requires_preauth");  // as Active Directory has it
  FRealm->AddUser("bob", "anders");
  auto environment = FRealm->ClientEnvironment();
  environment.emplace_back("KRB5_KTNAME", "FILE:" + FRealm->KeyTab());  // for Apache
  FEnvironment = new TestEnvironment(environment);
}

void RealAuthTest::TearDown() {
  if (HasFailure() && FApache) std::cout << "Apache's log:\n" << FApache->ErrorLog() << Print(FApache->Log(0));
}

void RealKerberosTest::TearDownTestSuite() {
  delete FEnvironment;
  delete FRealm;
  FEnvironment = nullptr;
  FRealm = nullptr;
}

void RealKerberosTest::SetUp() {
  if (const auto missing = TestRealm::Missing(); !missing.empty()) GTEST_SKIP() << "not on this machine: " << missing;
  if (const auto missing = TestApache::Missing(); !missing.empty()) GTEST_SKIP() << "not on this machine: " << missing;
}

void RealPasswordTest::SetUp() {
  if (const auto missing = TestApache::Missing(); !missing.empty()) GTEST_SKIP() << "not on this machine: " << missing;
}

std::string RealPasswordTest::NtlmMissing() {
  return access("/etc/gss/mech.d/mech.ntlmssp.conf", R_OK) == 0 ? "" : "NTLM for GSSAPI (package gss-ntlmssp)";
}

}  // namespace velmore::testing
