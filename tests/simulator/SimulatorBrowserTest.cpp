// The page for people, first as bytes, then in a real browser.

#include <gtest/gtest.h>
#include <unistd.h>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorPage : public ::testing::Test {
 protected:
  SimulatorPage() {
    message = server.AddMessage(
        "alice@example.com", "inbox",
        "From: Bob <bob@example.com>\r\nSubject: <script>document.title='taken'</script> & \"more\"\r\n\r\n"
        "<img src=x onerror=\"document.title='taken'\">");
    Client(server).Call(GetFolderXml(Distinguished("inbox")));
    Client(server, "alice", "wrong-secret").Call(GetFolderXml(Distinguished("inbox")));
  }
  std::string Page(const std::string& path) {
    Client nobody(server, "", "");
    const Reply reply = nobody.Get(path);
    EXPECT_EQ(reply.status, 200) << path;
    EXPECT_EQ(reply.headers.at("content-type"), "text/html; charset=utf-8");
    return reply.body;
  }
  /// Target of the link with this text.
  static std::string Link(const std::string& page, const std::string& text) {
    const std::size_t at = page.find("\">" + text + "</a>");
    if (at == std::string::npos) return "no link " + text;
    const std::size_t begin = page.rfind("href=\"", at) + 6;
    return page.substr(begin, at - begin);
  }
  Started server;
  Id message;
};

TEST_F(SimulatorPage, ShowsMailboxesFoldersAndExchanges) {
  const std::string page = Page("/");
  for (const char* text : {"Exchange2016", "Alice Arden", "bob@example.com", "Carol Cedar", ">Inbox</a>",
                           ">Junk Email</a>", "<td>GetFolder</td>", ">401</td>"})
    EXPECT_NE(page.find(text), std::string::npos) << text;
}

TEST_F(SimulatorPage, LeadsFromFolderToMessageToExchange) {
  const std::string folder = Page(Link(Page("/"), "Inbox"));
  EXPECT_NE(folder.find("&lt;script&gt;document.title=&#39;taken&#39;&lt;/script&gt; &amp; &quot;more&quot;"),
            std::string::npos)
      << folder;
  EXPECT_NE(folder.find("class=\"unread\""), std::string::npos);
  const std::size_t at = folder.find("/?item=");
  const std::string item = Page(folder.substr(at, folder.find('"', at) - at));
  EXPECT_NE(item.find("&lt;t:Subject&gt;"), std::string::npos) << item;
  const std::string exchange = Page("/?exchange=1");
  EXPECT_NE(exchange.find("POST /EWS/Exchange.asmx"), std::string::npos);
  EXPECT_NE(exchange.find("&lt;m:GetFolder"), std::string::npos);
  EXPECT_NE(exchange.find("HTTP 200"), std::string::npos);
}

TEST_F(SimulatorPage, NothingOfAMailboxIsMarkup) {
  for (const std::string& path : {std::string("/"), Link(Page("/"), "Inbox"), std::string("/?exchange=1")}) {
    const std::string page = Page(path);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_EQ(page.find("http-equiv"), std::string::npos);
  }
}

TEST_F(SimulatorPage, LoadsNothingFromElsewhereAndForbidsIt) {
  Client client(server);
  const Reply reply = client.Get("/");
  EXPECT_EQ(reply.headers.at("content-security-policy"),
            "default-src 'none'; style-src 'unsafe-inline'; img-src data:; frame-ancestors 'none'");
  EXPECT_EQ(reply.headers.at("x-content-type-options"), "nosniff");
  for (const char* text : {"src=", "url(", "@import", "href=\"http"})
    EXPECT_EQ(reply.body.find(text), std::string::npos) << text;
}

TEST_F(SimulatorPage, SecretsAreMasked) {
  std::string all = Page("/") + Page("/?exchange=1") + Page("/?exchange=2") + Page(Link(Page("/"), "Inbox"));
  for (const char* secret : {"wonder", "builder", "cembalo", "wrong-secret", "YWxpY2U6"})
    EXPECT_EQ(all.find(secret), std::string::npos) << secret;
  EXPECT_NE(all.find("Authorization: Basic ****"), std::string::npos);
}

TEST_F(SimulatorPage, LookingLeavesNoTrace) {
  const auto exchanges = server.Exchanges().size();
  const auto requests = server.GetCounters().requests;
  Page("/");
  EXPECT_EQ(server.Exchanges().size(), exchanges);
  EXPECT_EQ(server.GetCounters().requests, requests);
}

TEST_F(SimulatorPage, WhatIsNotThereIs404) {
  Client client(server);
  for (const char* path : {"/?item=xyz", "/?folder=", "/?exchange=99", "/?exchange=-1", "/?item=%zz%", "/other"})
    EXPECT_EQ(client.Get(path).status, 404) << path;
  EXPECT_EQ(client.Get("/?").status, 200);
  EXPECT_EQ(client.Get("/?unknown=1&exchange=1").status, 200);
}

TEST_F(SimulatorPage, GarbageOnTheWireIsShownAsText) {
  Fault fault;
  fault.replace_body = true;
  fault.body = std::string("\x00\x01\xff\xfe<b>", 7);
  server.AddFault(fault);
  Client(server).Call(GetFolderXml(Distinguished("inbox")));
  const std::string page = Page("/?exchange=3");
  EXPECT_NE(page.find("\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd&lt;b&gt;"), std::string::npos) << page;
}

TEST_F(SimulatorPage, CanBeSwitchedOff) {
  Options options = TestOptions();
  options.browser_page = false;
  Started closed(options);
  EXPECT_EQ(Client(closed).Get("/").status, 404);
}

class SimulatorInBrowser : public SimulatorPage {
 protected:
  void SetUp() override {
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"})
      if (browser.empty() && ::access(path, X_OK) == 0) browser = path;
    if (browser.empty()) GTEST_SKIP() << "chromium is not installed: the page is not tried in a browser";
  }
  std::string Dom(const std::string& path) {
    const Folder profile;
    const std::string url = server.HttpUrl();
    Program program({browser, "--headless", "--no-sandbox", "--disable-gpu", "--dump-dom",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--no-first-run", "--no-proxy-server", "--user-data-dir=" + profile.Path(),
                     url.substr(0, url.find('/', 8)) + path});
    EXPECT_EQ(program.Wait(std::chrono::seconds(120)), 0) << program.Output();
    return program.Output();
  }
  std::string browser;
};

TEST_F(SimulatorInBrowser, ShowsMailboxesFoldersMessagesAndExchanges) {
  const std::string start = Dom("/");
  for (const char* text :
       {"<title>Velmore EWS Simulator</title>", "<h3>Alice Arden ", "<table id=\"exchanges\">", "<td>GetFolder</td>"})
    EXPECT_NE(start.find(text), std::string::npos) << text << start;
  const std::string folder = Dom(Link(Page("/"), "Inbox"));
  EXPECT_NE(folder.find("<title>Inbox</title>"), std::string::npos) << folder;
  EXPECT_NE(folder.find("&lt;script&gt;"), std::string::npos) << folder;
  const std::string exchange = Dom("/?exchange=1");
  EXPECT_NE(exchange.find("<pre id=\"request\">POST /EWS/Exchange.asmx"), std::string::npos) << exchange;
}

TEST_F(SimulatorInBrowser, RunsNothingThatStandsInAMessage) {
  const std::string folder = Page(Link(Page("/"), "Inbox"));
  const std::size_t at = folder.find("/?item=");
  const std::string item = Dom(folder.substr(at, folder.find('"', at) - at));
  EXPECT_NE(item.find("<pre id=\"item\">"), std::string::npos) << item;
  EXPECT_EQ(item.find("<title>taken"), std::string::npos) << item;
  EXPECT_EQ(item.find("<img"), std::string::npos) << item;
}

TEST_F(SimulatorPage, IsShownUnderNamesOfThisMachineOnly) {
  Options options = TestOptions();
  options.page_hosts = {"post.example.com"};
  const Started own(options);
  Client browser(own, "", "");
  for (const char* host : {"localhost:8080", "127.0.0.1", "[::1]:8080", "192.168.1.7:80", "POST.example.com:8080"}) {
    browser.http_headers = {"Host: " + std::string(host)};
    EXPECT_EQ(browser.Get("/").status, 200) << host;
  }
  for (const char* host : {"evil.example", "localhost.evil.example:8080", "127.0.0.1.evil.example", ""}) {
    browser.http_headers = {host[0] == '\0' ? "Host;" : "Host: " + std::string(host)};
    const Reply reply = browser.Get("/");
    EXPECT_EQ(reply.status, 403) << host;
    EXPECT_EQ(reply.body.find("alice"), std::string::npos) << host;
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
