// The interactive grant: what the browser is shown, what comes back, and the port that it comes back to.

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "OAuthTestSupport.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/crypt/internal/uVqDigest.h"
#include "platform/http/uVqURL.h"

namespace velmore {
namespace {

using TGrant = TVqOAuthGrantType;

/// A form of the test's own: answers without a browser.
class Form final : public TVqObject, public virtual IVqHTTPOAuthAutorizeForm {
 public:
  using Answer = std::function<string(const string& url, const string& redirect)>;
  explicit Form(Answer answer) : FAnswer(std::move(answer)) {}
  string Authorize(const string& AURL, const string& ARedirectURI, TVqWindowHandle AParentWnd) override {
    Window = AParentWnd;
    return FAnswer(AURL, ARedirectURI);
  }
  static inline TVqWindowHandle Window = 0;

 private:
  Answer FAnswer;
};

TokenServer::Form QueryOf(const string& url) {
  return TokenServer::FormOf(VqDecodeURL(url).Query.utf8());
}

class OAuthAuthorize : public ::testing::Test {
 protected:
  /// Has a person answer with `query` behind the redirect URI; "{state}" stands for the state that was asked with.
  void Answer(const std::string& query) {
    FForm.reset();
    FForm =
        std::make_unique<Instead<TVqGetOAuthAuthorizeFormEvent>>(VqOnGetOAuthAuthorizeForm, [this, query](TVqOAuth&) {
          return TVqRef<IVqHTTPOAuthAutorizeForm>(
              MakeRef<Form>([this, query](const string& url, const string& redirect) {
                Asked = url;
                std::string text = query;
                if (const std::size_t at = text.find("{state}"); at != std::string::npos)
                  text.replace(at, 7, QueryOf(url)["state"]);
                return text.starts_with("http") || text.empty() ? string(text) : redirect + text;
              }).get());
        });
  }
  EVqOAuthException Failure() {
    return FailureOf([&] { Get(Server.Client(TGrant::Authorize), Server.Mail()); });
  }

  TokenServer Server;
  string Asked;

 private:
  std::unique_ptr<Instead<TVqGetOAuthAuthorizeFormEvent>> FForm;
};

TEST_F(OAuthAuthorize, PersonIsAskedWithStateAndProofKeyAndTheCodeIsGivenForAToken) {
  Answer("?code=c0de%2F1&state={state}");
  const auto client = Server.Client(TGrant::Authorize);
  EXPECT_EQ(Get(client, Server.Mail())->GetText(), "mail");
  auto query = QueryOf(Asked);
  EXPECT_TRUE(Asked.StartsWith(Server.Server.Url("/authorize?")));
  EXPECT_EQ(query["response_type"], "code");
  EXPECT_EQ(query["client_id"], "app");
  EXPECT_EQ(query["redirect_uri"], "http://127.0.0.1/app");
  EXPECT_EQ(query["scope"], "mail.read");
  EXPECT_EQ(query["code_challenge_method"], "S256");
  EXPECT_EQ(query["state"].size(), 22U);
  EXPECT_EQ(query.size(), 7U);
  ASSERT_EQ(Server.Forms().size(), 1U);
  auto form = Server.Forms()[0];
  EXPECT_EQ(form["grant_type"], "authorization_code");
  EXPECT_EQ(form["code"], "c0de/1");
  EXPECT_EQ(form["redirect_uri"], "http://127.0.0.1/app");
  EXPECT_EQ(form["code_verifier"].size(), 43U);
  EXPECT_EQ(VqBase64UrlEncode(VqSha256(form["code_verifier"])), query["code_challenge"]);
  EXPECT_EQ(form["Authorization"], "Basic " + VqBase64Encode("app:S3cret%21s"));
}

TEST_F(OAuthAuthorize, EveryLogOnHasAStateAndAKeyOfItsOwn) {
  Answer("?code=1&state={state}");
  std::set<std::string> states, challenges;
  for (int i = 0; i < 3; ++i) {
    Get(Server.Client(TGrant::Authorize), Server.Mail());
    states.insert(QueryOf(Asked)["state"]);
    challenges.insert(QueryOf(Asked)["code_challenge"]);
  }
  EXPECT_EQ(states.size(), 3U);
  EXPECT_EQ(challenges.size(), 3U);
}

TEST_F(OAuthAuthorize, QueryOfTheEndpointStays) {
  Answer("?code=1&state={state}");
  const auto client = Server.Client(TGrant::Authorize);
  client->GetOAuth().SetAuthorizationEndpoint("https://login.example.com/authorize?tenant=1");
  Get(client, Server.Mail());
  EXPECT_TRUE(Asked.StartsWith("https://login.example.com/authorize?tenant=1&response_type=code&"));
}

TEST_F(OAuthAuthorize, AnswersThatBringNoCode) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "was given up by the person who was to log on."},
      {"?code=1&state=other", "got an answer to another question: its state differs."},
      {"?code=1", "got an answer to another question: its state differs."},
      {"?error=access_denied", "got an answer to another question: its state differs."},
      {"?state={state}", "got an answer without a code."},
      {"?code=&state={state}", "got an answer without a code."},
      {"", "was given up by the person who was to log on."},
      {"http://127.0.0.1/app.evil?code=1&state={state}",
       "got an answer that leads elsewhere than to the redirect URI."},
      {"http://127.0.0.1/?code=1&state={state}", "got an answer that leads elsewhere than to the redirect URI."},
      {"http://127.0.0.1/app", "got an answer that leads elsewhere than to the redirect URI."},
  };
  for (const auto& [answer, why] : cases) {
    Answer(answer);
    EXPECT_EQ(Failure().Message(), "The OAuth grant \"Authorize\" " + why) << answer;
  }
  EXPECT_EQ(Server.Server.Requests().size(), 0U);
}

TEST_F(OAuthAuthorize, RefusalIsRaisedWithCodeAndDescription) {
  Answer("?error=access_denied&error_description=Not+today%0A&error_uri=https%3A%2F%2Fe%2F&state={state}");
  const auto failure = Failure();
  EXPECT_EQ(failure.GetError(), "access_denied");
  EXPECT_EQ(failure.GetDescription(), "Not today ");
  EXPECT_EQ(failure.GetErrorURI(), "https://e/");
  EXPECT_EQ(failure.Message(), "The OAuth grant \"Authorize\" got no access token from \"" +
                                   string(Server.Server.Url("/authorize")) + "\": access_denied (Not today ).");
}

TEST_F(OAuthAuthorize, AnApplicationThatGivesNoFormRefuses) {
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(VqOnGetOAuthAuthorizeForm,
                                                    [](TVqOAuth&) { return TVqRef<IVqHTTPOAuthAutorizeForm>(); });
  EXPECT_EQ(Failure().Message(),
            "The OAuth grant \"Authorize\" needs a person to log on, and the application gives no form for it.");
}

TEST_F(OAuthAuthorize, FormBelongsToTheWindowOfTheClient) {
  Answer("?code=1&state={state}");
  TVqWinINetClient client;
  client.SetAuthentication(TVqHTTPAuthentication::oAuth);
  client.GetOAuth() = Server.Settings(TGrant::Authorize);
  client.SetParentWnd(4711);
  client.AcquireToken();
  EXPECT_EQ(Form::Window, 4711U);
}

TEST_F(OAuthAuthorize, WhatTheFormRaisesComesOut) {
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(VqOnGetOAuthAuthorizeForm, [](TVqOAuth&) {
    return TVqRef<IVqHTTPOAuthAutorizeForm>(
        MakeRef<Form>([](const string&, const string&) -> string { throw EAbort("not now"); }).get());
  });
  EXPECT_THROW(Get(Server.Client(TGrant::Authorize), Server.Mail()), EAbort);
}

TEST_F(OAuthAuthorize, CodeAndKeyAreInNoText) {
  Answer("?code=s3cret-code&state={state}");
  std::string verifier;
  Server.OnAsk = [&](const TokenServer::Form& form) {
    verifier = form.at("code_verifier");
    return Plain(TokenServer::Json(
        400, "{\"error\":\"invalid_grant\",\"error_description\":\"" + form.at("code") + " " + verifier + "\"}"));
  };
  EXPECT_EQ(Failure().GetDescription(), "**** ****");
}

TEST_F(OAuthAuthorize, NobodyIsAskedWhileTheOldTokenIsGood) {
  Answer("?code=1&state={state}");
  Server.OnAsk = [](const TokenServer::Form&) {
    return Plain(TokenServer::Json(400, "{\"error\":\"invalid_grant\"}"));
  };
  for (const char* refresh : {"", "refresh-0"}) {
    const auto client = Server.Client(TGrant::Authorize);
    client->GetOAuth().SetAccessToken(TokenFor("worn", 30, refresh));
    EXPECT_EQ(Get(client, Server.Mail())->GetStatus().Code, 200);
    EXPECT_EQ(Asked, "") << refresh;
  }
}

// ---- The form of this library

class OAuthLoopback : public ::testing::Test {
 protected:
  /// A browser: goes where it is sent, by the redirect that the server would answer with.
  void Browse(std::function<void(const string& url)> browse) {
    FBrowser = [this, browse](const string& url) { FThreads.emplace_back([browse, url] { browse(url); }); };
    FInstead.reset();
    FInstead = std::make_unique<Instead<TVqOpenBrowserEvent>>(VqOnOpenBrowser, FBrowser);
  }
  ~OAuthLoopback() override { Join(); }
  /// What the browser has seen is whole from here on.
  void Join() {
    for (std::thread& thread : FThreads) thread.join();
    FThreads.clear();
  }
  static string Redirect(const string& url) { return QueryOf(url)["redirect_uri"]; }
  static string State(const string& url) { return QueryOf(url)["state"]; }
  static int StatusOf(const string& url) { return Get(NewClient(), url)->GetStatus().Code; }

  TokenServer Server;

 private:
  TVqOpenBrowserEvent FBrowser;
  std::unique_ptr<Instead<TVqOpenBrowserEvent>> FInstead;
  std::vector<std::thread> FThreads;
};

TEST_F(OAuthLoopback, BrowserComesBackToAFreePortOfThisMachine) {
  string redirect;
  Browse([&](const string& url) {
    redirect = Redirect(url);
    EXPECT_EQ(StatusOf(redirect + "?code=c0de&state=" + State(url)), 200);
  });
  const auto client = Server.Client(TGrant::Authorize);
  EXPECT_EQ(Get(client, Server.Mail())->GetText(), "mail");
  EXPECT_TRUE(redirect.StartsWith("http://127.0.0.1:")) << redirect.utf8();
  EXPECT_TRUE(redirect.EndsWith("/app"));
  EXPECT_EQ(Server.Forms()[0].at("code"), "c0de");
  EXPECT_EQ(Server.Forms()[0].at("redirect_uri"), redirect.utf8()) << "the one that was asked with";
}

TEST_F(OAuthLoopback, PagesLoadNothingAndAreKeptNowhere) {
  std::vector<std::string> seen;
  Browse([&](const string& url) {
    for (const char* query : {"?code=1&state=other", "?code=c0de&state="}) {
      const auto response = Get(NewClient(), Redirect(url) + query + State(url));
      for (const char* name : {"Content-Type", "Content-Security-Policy", "Cache-Control", "Connection",
                               "Referrer-Policy", "X-Content-Type-Options"})
        seen.push_back(response->GetHeader(name).utf8());
      seen.push_back(response->GetText().utf8());
    }
  });
  Get(Server.Client(TGrant::Authorize), Server.Mail());
  Join();
  ASSERT_EQ(seen.size(), 14U);
  for (std::size_t i = 0; i < 6; ++i) {
    static constexpr const char* kHeaders[] = {"text/html; charset=utf-8",
                                               "default-src 'none'; frame-ancestors 'none'",
                                               "no-store",
                                               "close",
                                               "no-referrer",
                                               "nosniff"};
    EXPECT_EQ(seen[i], kHeaders[i]);
    EXPECT_EQ(seen[i + 7], kHeaders[i]);
  }
  EXPECT_NE(seen[6].find("There is nothing here."), std::string::npos);
  EXPECT_NE(seen[13].find("You are logged on. You may close this window."), std::string::npos);
}

TEST_F(OAuthLoopback, AnythingElseIsRefusedAndChangesNothing) {
  std::vector<int> statuses;
  Browse([&](const string& url) {
    const string redirect = Redirect(url), root = redirect.Copy(0, redirect.Length() - 4);
    for (const string& path :
         {root + "/favicon.ico", root + "/", redirect, redirect + "?code=evil", redirect + "?code=evil&state=guess",
          redirect + "?code=evil&state=", redirect + "/x?code=evil&state=" + State(url),
          redirect + "?state=" + State(url) + "&code=evil&state=guess"})
      statuses.push_back(StatusOf(path));
    statuses.push_back(Post(NewClient(), redirect + "?code=evil&state=" + State(url), "x")->GetStatus().Code);
    statuses.push_back(StatusOf(redirect + "?code=good&state=" + State(url)));
  });
  Get(Server.Client(TGrant::Authorize), Server.Mail());
  Join();
  EXPECT_EQ(statuses, (std::vector<int>{404, 404, 404, 404, 404, 404, 404, 404, 405, 200}));
  EXPECT_EQ(Server.Forms()[0].at("code"), "good");
}

TEST_F(OAuthLoopback, ConnectionsThatSayNothingHoldNobodyUp) {
  Browse([&](const string& url) {
    const TVqURLData parts = VqDecodeURL(Redirect(url));
    std::vector<int> sockets;
    for (int i = 0; i < 5; ++i) {
      sockets.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
      sockaddr_in address = {};
      address.sin_family = AF_INET;
      address.sin_port = htons(parts.Port);
      address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      EXPECT_EQ(::connect(sockets.back(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    EXPECT_EQ(StatusOf(Redirect(url) + "?code=good&state=" + State(url)), 200);
    for (const int socket : sockets) ::close(socket);
  });
  EXPECT_EQ(Get(Server.Client(TGrant::Authorize), Server.Mail())->GetText(), "mail");
}

TEST_F(OAuthLoopback, RefusalIsShownAndRaised) {
  string page;
  Browse([&](const string& url) {
    page = Get(NewClient(), Redirect(url) + "?error=access_denied&error_description=<script>&state=" + State(url))
               ->GetText();
  });
  EXPECT_EQ(FailureOf([&] { Get(Server.Client(TGrant::Authorize), Server.Mail()); }).GetError(), "access_denied");
  Join();
  EXPECT_NE(page.utf8().find("You are not logged on"), std::string::npos) << page.utf8();
  EXPECT_EQ(page.utf8().find("script"), std::string::npos) << "nothing of the query is markup";
}

TEST_F(OAuthLoopback, HostsOfThisMachineAreTaken) {
  for (const char* uri : {"http://127.0.0.1", "http://127.0.0.1/", "http://localhost/app", "http://LOCALHOST/app?x=1",
                          "http://[::1]/app"}) {
    string used;
    Browse([&](const string& url) {
      used = Redirect(url);
      const string to = used + (used.Contains(u"?") ? "&" : "?") + "code=good&state=" + State(url);
      EXPECT_EQ(StatusOf(to), 200) << to.utf8();
    });
    const auto client = Server.Client(TGrant::Authorize);
    client->GetOAuth().SetRedirectURI(uri);
    try {
      EXPECT_EQ(Get(client, Server.Mail())->GetText(), "mail") << uri;
    } catch (const EVqOAuthException& failure) {
      // A machine without the other family says so.
      EXPECT_TRUE(string(uri).Contains(u"::1")) << failure.what();
    }
    Join();
  }
}

TEST_F(OAuthLoopback, OtherAddressesAreRefusedBeforeABrowserOpens) {
  const Instead<TVqOpenBrowserEvent> browser(VqOnOpenBrowser, [](const string&) { ADD_FAILURE(); });
  for (const char* uri :
       {"https://127.0.0.1/app", "http://0.0.0.0/app", "http://127.0.0.2/app", "http://example.com/", "app://x",
        "urn:ietf:wg:oauth:2.0:oob", "127.0.0.1", "http://127.0.0.1/app#x", "http://127.0.0.1.example.com/"}) {
    const auto client = Server.Client(TGrant::Authorize);
    client->GetOAuth().SetRedirectURI(uri);
    EXPECT_EQ(FailureOf([&] { Get(client, Server.Mail()); }).Message(),
              "The OAuth grant \"Authorize\" cannot use the redirect URI \"" + string(uri) +
                  "\": a browser comes back to http://127.0.0.1, http://[::1] or http://localhost.");
  }
}

TEST_F(OAuthLoopback, PortThatIsWrittenIsTakenOrRefused) {
  const Instead<TVqOpenBrowserEvent> browser(VqOnOpenBrowser, [](const string&) { ADD_FAILURE(); });
  ScriptedServer other;
  const auto client = Server.Client(TGrant::Authorize);
  const string uri = "http://127.0.0.1:" + IntToStr(other.Port()) + "/app";
  client->GetOAuth().SetRedirectURI(uri);
  EXPECT_EQ(
      FailureOf([&] { Get(client, Server.Mail()); }).Message(),
      "The OAuth grant \"Authorize\" cannot listen on the port of the redirect URI \"" + uri + "\": it is taken.");
}

TEST_F(OAuthLoopback, PatienceEnds) {
  const Instead<TVqOpenBrowserEvent> browser(VqOnOpenBrowser, [](const string&) {});
  const Instead<TVqGetOAuthAuthorizeFormEvent> form(
      VqOnGetOAuthAuthorizeForm, [](TVqOAuth&) { return VqOAuthLoopbackForm(std::chrono::milliseconds(50)); });
  EXPECT_EQ(FailureOf([&] { Get(Server.Client(TGrant::Authorize), Server.Mail()); }).Message(),
            "The OAuth grant \"Authorize\" was waiting for a person, and nobody has logged on.");
}

TEST_F(OAuthLoopback, WithoutADesktopTheAddressIsPrinted) {
  const auto before = std::make_pair(std::getenv("DISPLAY"), std::getenv("WAYLAND_DISPLAY"));
  const std::string display = before.first ? before.first : "", wayland = before.second ? before.second : "";
  ::unsetenv("DISPLAY");
  ::unsetenv("WAYLAND_DISPLAY");
  ::testing::internal::CaptureStderr();
  const auto form = VqOAuthLoopbackForm(std::chrono::milliseconds(1));
  form->UseRedirectURI("http://127.0.0.1");
  EXPECT_THROW(form->Authorize("https://login.example.com/?state=1", "", 0), EVqOAuthException);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Open this address in a browser to log on:\nhttps://login.example.com/?state=1\n");
  if (!display.empty()) ::setenv("DISPLAY", display.c_str(), 1);
  if (!wayland.empty()) ::setenv("WAYLAND_DISPLAY", wayland.c_str(), 1);
}

}  // namespace
}  // namespace velmore
