// No password, token or cookie in anything that is written down: exchanges in memory, in files and on the page for
// browsers, and texts of exceptions. Each way to log on is really taken, with secrets that can be looked for.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "SessionTestSupport.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/http/uVqHTTPClient.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

constexpr const char* kPassword = "Geheim-4711-Wort";
constexpr const char* kToken = "eyTOKEN-0815-eyJ";
constexpr const char* kCookie = "KEKS-2342-KEKS";

// The challenge of an NTLM server, and how the proof begins that a client answers with.
constexpr const char* kNtlmChallenge = "NTLM TlRMTVNTUAACAAAAAAAAADAAAAABAgAAASNFZ4mrze8AAAAAAAAAAAAAAAAwAAAA";
constexpr const char* kNtlmProof = "TlRMTVNTUAAD";

/// Two bytes a character.
std::string Utf16(const std::string& text, bool bigEndian) {
  std::string bytes;
  for (const char c : text) bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
  return bytes;
}

/// Every form in which a secret might be written. Base64 has one for each place in a group of three bytes, so that what
/// stands before and behind the secret does not matter.
std::vector<std::string> FormsOf(const std::string& secret) {
  std::vector<std::string> forms;
  for (const std::string& bytes : {secret, Utf16(secret, false), Utf16(secret, true)}) {
    forms.push_back(bytes);
    for (std::size_t skip = 0; skip < 3; ++skip)
      forms.push_back(VqBase64Encode(bytes.substr(skip, (bytes.size() - skip) / 3 * 3)));
  }
  return forms;
}

class RecordedSecrets : public ::testing::Test {
 protected:
  RecordedSecrets()
      : FFolder(std::filesystem::temp_directory_path() /
                ("velmore-secrets-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    simulator::Options options = TwoUsers();
    options.users[0].password = kPassword;
    options.record_directory = FFolder.string();
    FServer = std::make_unique<simulator::Simulator>(options);
    FServer->Start();
  }
  ~RecordedSecrets() override {
    FServer.reset();
    std::error_code ignored;
    std::filesystem::remove_all(FFolder, ignored);
  }

  simulator::Simulator& Server() { return *FServer; }
  std::unique_ptr<TVqEWSServiceSession> NewSession(const char* user = "alice", const char* password = kPassword) {
    auto session = std::make_unique<TVqEWSServiceSession>();
    session->SetServiceUrl(Server().HttpUrl());
    session->GetCredentials().SetUserName(user);
    session->GetCredentials().SetPassword(password);
    return session;
  }
  /// Collects the texts of what `action` raises, if it does.
  template <typename TAction>
  void Try(TAction action) {
    try {
      action();
    } catch (const std::exception&) {
      for (const std::string& text : NestedMessagesOf([] { throw; })) FWritten += text + "\n";
    }
  }
  TVqRef<IVqHTTPResponse> Post(const std::string& target, std::string body, const string& type) {
    const TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);
    TVqRef<IVqHTTPResponse> response;
    client->Request(response, TVqHTTPVerb::post,
                    string("http://127.0.0.1:" + std::to_string(Server().HttpPort()) + target), std::move(body), type);
    return response;
  }

  /// Looks through everything that was written down.
  void ExpectNoSecrets() {
    for (const auto& exchange : Server().Exchanges()) {
      FWritten += exchange.target + exchange.request_body + exchange.response_body;
      for (const auto& [name, value] : exchange.request_headers) FWritten += name + ": " + value + "\n";
      for (const auto& [name, value] : exchange.response_headers) FWritten += name + ": " + value + "\n";
    }
    const std::size_t exchanges = Server().Exchanges().size();
    EXPECT_GT(exchanges, 0u);
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(FFolder)) {
      ++files;
      FWritten += file.path().filename().string();
      std::ifstream in(file.path(), std::ios::binary);
      FWritten.append(std::istreambuf_iterator<char>(in), {});
    }
    EXPECT_EQ(files, 2 * exchanges);
    for (std::size_t number = 0; number <= exchanges; ++number) {
      const TVqRef<IVqHTTPClient> browser = TVqHTTPClient(true);
      TVqRef<IVqHTTPResponse> page;
      browser->Request(page, TVqHTTPVerb::get,
                       string("http://127.0.0.1:" + std::to_string(Server().HttpPort()) +
                              (number == 0 ? "/" : "/?exchange=" + std::to_string(number))));
      EXPECT_EQ(page->GetStatus().Code, 200) << number;
      FWritten += page->GetBody();
    }
    for (const char* secret : {kPassword, kToken, kCookie}) {
      for (const std::string& form : FormsOf(secret)) {
        const std::size_t at = FWritten.find(form);
        EXPECT_EQ(at, std::string::npos) << form << " in: " << FWritten.substr(at < 200 ? 0 : at - 200, 400);
      }
    }
    EXPECT_EQ(FWritten.find(kNtlmProof), std::string::npos);
  }
  /// The values of a request header over all exchanges, each once.
  std::vector<std::string> Recorded(const char* header) {
    std::vector<std::string> values;
    for (const auto& exchange : Server().Exchanges()) {
      const std::string value = exchange.RequestHeader(header);
      if (!value.empty() && std::ranges::find(values, value) == values.end()) values.push_back(value);
    }
    return values;
  }

 private:
  std::filesystem::path FFolder;
  std::unique_ptr<simulator::Simulator> FServer;
  std::string FWritten;
};

TEST(SecretForms, AreFoundWhereverTheyStand) {
  const std::vector<std::string> forms = FormsOf(kPassword);
  for (const char* before : {"", "a", "ab", "alice:"}) {
    const std::string text = VqBase64Encode(before + std::string(kPassword) + "x");
    EXPECT_TRUE(std::ranges::any_of(forms, [&](const std::string& form) {
      return text.find(form) != std::string::npos;
    })) << before;
  }
}

TEST_F(RecordedSecrets, Basic) {
  const auto session = NewSession();
  session->SetActive(true);
  EXPECT_EQ(Server().Exchanges().back().user, "alice") << "the password did go over the wire";
  Try([&] { NewSession("alice", kToken)->SetActive(true); });
  Try([&] { NewSession(kPassword, kPassword)->SetActive(true); });
  EXPECT_EQ(Recorded("Authorization"), std::vector<std::string>{"Basic ****"});
  ExpectNoSecrets();
}

TEST_F(RecordedSecrets, BearerToken) {
  const auto session = NewSession("", "");
  TVqOAuth oauth;
  oauth.SetClientId("id");
  oauth.SetClientSecret(kPassword);
  TVqOAuthAccessToken token;
  token.Token = kToken;
  token.RefreshToken = kPassword;
  oauth.SetAccessToken(token);
  session->SetOAuth(oauth);
  Try([&] { session->SetActive(true); });
  EXPECT_EQ(Recorded("Authorization"), std::vector<std::string>{"Bearer ****"});
  ExpectNoSecrets();
}

TEST_F(RecordedSecrets, Ntlm) {
  Server().SetAuthentication({kNtlmChallenge});
  Try([&] { NewSession("CONTOSO\\alice")->SetActive(true); });
  EXPECT_GE(Server().Exchanges().size(), 3u) << "challenge, first message, proof";
  EXPECT_EQ(Recorded("Authorization"), std::vector<std::string>{"NTLM ****"});
  ExpectNoSecrets();
}

TEST_F(RecordedSecrets, ProxyPassword) {
  // A proxy that refuses; what reaches the server is what a careless one lets through.
  ScriptedServer proxy;
  for (int i = 0; i < 2; ++i)
    proxy.Then("HTTP/1.1 407 No\r\nProxy-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
  const auto session = NewSession();
  session->SetAccessType(TVqHTTPAccessType::proxy);
  session->SetProxyServer("127.0.0.1:" + IntToStr(proxy.Port()));
  TVqCredentials credentials;
  credentials.SetUserName("pia");
  credentials.SetPassword(kPassword);
  session->SetProxyCredentials(credentials);
  Try([&] { session->SetActive(true); });
  const std::string sent = proxy.Requests().back().Header("Proxy-Authorization");
  EXPECT_EQ(sent, "Basic " + VqBase64Encode("pia:" + std::string(kPassword)));

  const TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);
  const auto request = client->CreateRequest(TVqHTTPVerb::get, Server().HttpUrl());
  request->SetHeader("Proxy-Authorization", string(sent));
  request->SetHeader("Authorization", kToken);
  request->Execute();
  EXPECT_EQ(Recorded("Proxy-Authorization"), std::vector<std::string>{"Basic ****"});
  EXPECT_EQ(Recorded("Authorization"), std::vector<std::string>{"****"}) << "without a scheme nothing is kept";
  ExpectNoSecrets();
}

TEST_F(RecordedSecrets, Cookies) {
  const auto session = NewSession();
  session->SetActive(true);
  simulator::Fault fault;
  fault.execute = true;
  fault.headers = {{"Set-Cookie", std::string("exchangecookie=") + kCookie + "; path=/"}};
  Server().AddFault(fault);
  Try([&] { session->ConvertId(ifHexEntryId, "00", "alice@example.com", ifEwsId); });
  EXPECT_EQ(session->GetExchangeCookie(), kCookie);
  Try([&] { session->ConvertId(ifHexEntryId, "00", "alice@example.com", ifEwsId); });
  EXPECT_EQ(Recorded("Cookie"), std::vector<std::string>{"exchangecookie=****"});
  ExpectNoSecrets();
}

TEST_F(RecordedSecrets, BodiesAndAddresses) {
  const std::string password = kPassword, token = kToken;
  const std::string xml = "<a xmlns:t=\"urn:t\"><t:Password>" + password + "</t:Password><OldPassword ><![CDATA[" +
                          password + "]]></OldPassword><t:TokenValue x=\"1\">" + token +
                          "</t:TokenValue><b ClientSecret='' password=\"" + password + "\" Secret='a " + token +
                          "'/><Password/></a>";
  Post("/EWS/Exchange.asmx", xml, "text/xml");
  Post("/EWS/Exchange.asmx", xml.substr(0, xml.size() - 4), "text/xml");            // not well-formed
  Post("/EWS/Exchange.asmx", xml.substr(0, xml.find("</t:Password")), "text/xml");  // cut within the secret
  Post("/EWS/Exchange.asmx", "\xFF\xFE" + Utf16(xml, false), "text/xml");
  Post("/token", "grant_type=password&username=alice&password=" + password + "&code=" + token, "text/plain");
  Post("/token",
       "{\"access_token\" : \"" + token + "\", \"n\":\"v\", \"client_secret\":\"a\\\"" + password +
           "\", \"error\":{\"code\":\"E1\"}}",
       "application/json");
  Post("/sign-in?code=" + token + "&state=1&access_token=" + token, "x", "text/plain");
  bool kept = false;
  for (const auto& exchange : Server().Exchanges()) {
    kept = kept || exchange.request_body.find("\"n\":\"v\", \"client_secret\":\"****\", \"error\":{\"code\":\"E1\"}") !=
                       std::string::npos;
  }
  EXPECT_TRUE(kept) << "what is no secret stands as it was";
  EXPECT_EQ(Server().Exchanges().back().target, "/sign-in?code=****&state=1&access_token=****");
  ExpectNoSecrets();
}

}  // namespace
}  // namespace velmore::testing
