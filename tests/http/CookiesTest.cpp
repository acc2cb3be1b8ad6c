#include "HTTPTestSupport.h"

using namespace velmore;

TEST(Cookies, GoBackToTheirHostAndPathOnly) {
  TVqHTTPCookies cookies;
  cookies.Add("http://mail.example.com/ews/x.asmx", "a=1");
  EXPECT_EQ(cookies.HeaderFor("http://mail.example.com/ews/y"), "a=1");
  EXPECT_EQ(cookies.HeaderFor("http://mail.example.com/ews"), "a=1");
  EXPECT_EQ(cookies.HeaderFor("http://mail.example.com/ewsx"), "");
  EXPECT_EQ(cookies.HeaderFor("http://mail.example.com/"), "");
  EXPECT_EQ(cookies.HeaderFor("http://sub.mail.example.com/ews"), "");
  EXPECT_EQ(cookies.HeaderFor("http://example.com/ews"), "");
}

TEST(Cookies, OfAnEmptyAddressGoEverywhere) {
  TVqHTTPCookies cookies;
  cookies.Add("", "exchangecookie=abc");
  EXPECT_EQ(cookies.HeaderFor("https://any.example/where"), "exchangecookie=abc");
  cookies.Add("", "exchangecookie=def");
  EXPECT_EQ(cookies.HeaderFor("https://any.example/where"), "exchangecookie=def");
  EXPECT_EQ(cookies.Count(), 1);
}

TEST(Cookies, TheHostsOwnWinsOverTheOneForAllHosts) {
  TVqHTTPCookies cookies;
  cookies.Add("", "exchangecookie=mine");
  cookies.Add("http://h/", "exchangecookie=yours");
  EXPECT_EQ(cookies.HeaderFor("http://h/"), "exchangecookie=yours");
  EXPECT_EQ(cookies.HeaderFor("http://other/"), "exchangecookie=mine");
}

TEST(Cookies, BelongToTheirHostWhateverDomainTheyName) {
  TVqHTTPCookies cookies;
  cookies.Add("http://mail.example.com/", "a=1; Domain=.example.com");
  cookies.Add("http://mail.example.com/", "b=1; Domain=mail.EXAMPLE.com");
  EXPECT_EQ(cookies.HeaderFor("http://mail.example.com/"), "a=1; b=1");
  EXPECT_EQ(cookies.HeaderFor("http://example.com/"), "");
  EXPECT_EQ(cookies.HeaderFor("http://www.example.com/"), "");
  EXPECT_EQ(cookies.HeaderFor("http://sub.mail.example.com/"), "");
}

TEST(Cookies, OfAnotherServersDomainAreNotTaken) {
  TVqHTTPCookies cookies;
  cookies.Add("http://mail.example.com/", "c=1; Domain=other.com");
  cookies.Add("http://mail.example.com/", "d=1; Domain=ample.com");
  cookies.Add("http://mail.example.com/", "e=1; Domain=inner.mail.example.com");
  EXPECT_EQ(cookies.Count(), 0);
}

TEST(Cookies, AreBoundedInSizeByHostAndInAll) {
  TVqHTTPCookies cookies;
  cookies.Add("http://h/", "a=" + std::string(4094, 'x'));
  EXPECT_EQ(cookies.Count(), 1);
  cookies.Add("http://h/", "b=" + std::string(4095, 'x'));
  cookies.Add("http://h/", "c=1; Path=/" + std::string(5000, 'x'));
  EXPECT_EQ(cookies.Count(), 1);
  cookies.Clear();
  for (int i = 0; i < 80; ++i) cookies.Add("http://h/", "n" + std::to_string(i) + "=1");
  EXPECT_EQ(cookies.Count(), 50);
  EXPECT_TRUE(cookies.HeaderFor("http://h/").ends_with("n79=1"));
  EXPECT_TRUE(cookies.HeaderFor("http://h/").starts_with("n30=1"));
  for (int i = 0; i < 2990; ++i) cookies.Add("http://h" + std::to_string(i) + "/", "a=1");
  EXPECT_EQ(cookies.Count(), 3000);
  EXPECT_EQ(cookies.HeaderFor("http://h2989/"), "a=1");
  EXPECT_TRUE(cookies.HeaderFor("http://h/").starts_with("n70=1")) << "the oldest made room";
}

TEST(Cookies, ThatHaveExpiredMakeRoomFirst) {
  TVqHTTPCookies cookies;
  for (int i = 0; i < 49; ++i) cookies.Add("http://h/", "n" + std::to_string(i) + "=1");
  cookies.Add("http://h/", "old=1; Max-Age=1");
  EXPECT_EQ(cookies.Count(), 50);
  cookies.Add("http://h/", "old=1; Max-Age=0");
  cookies.Add("http://h/", "new=1");
  EXPECT_TRUE(cookies.HeaderFor("http://h/").starts_with("n0=1"));
}

TEST(Cookies, SecureOnesStayOffPlainHttp) {
  TVqHTTPCookies cookies;
  cookies.Add("https://h.example/", "a=1; Secure; HttpOnly");
  EXPECT_EQ(cookies.HeaderFor("http://h.example/"), "");
  EXPECT_EQ(cookies.HeaderFor("https://h.example/"), "a=1");
}

TEST(Cookies, ExpireByAgeAndByDate) {
  TVqHTTPCookies cookies;
  cookies.Add("http://h/", "a=1; Max-Age=1000");
  cookies.Add("http://h/", "b=1; Expires=Wed, 09 Jun 2100 10:18:14 GMT");
  cookies.Add("http://h/", "c=1; expires=Wednesday, 09-Jun-99 10:18:14 GMT");
  cookies.Add("http://h/", "d=1; Max-Age=1000; Expires=Thu, 01 Jan 1970 00:00:00 GMT");
  cookies.Add("http://h/", "e=1; Expires=garbage");
  EXPECT_EQ(cookies.HeaderFor("http://h/"), "a=1; b=1; d=1; e=1");
  cookies.Add("http://h/", "a=gone; Max-Age=0");
  cookies.Add("http://h/", "b=gone; Expires=Thu, 01 Jan 1970 00:00:00 GMT");
  EXPECT_EQ(cookies.HeaderFor("http://h/"), "d=1; e=1");
}

TEST(Cookies, LongerPathsFirst) {
  TVqHTTPCookies cookies;
  cookies.Add("http://h/", "a=1; Path=/");
  cookies.Add("http://h/", "b=1; Path=/ews/");
  EXPECT_EQ(cookies.HeaderFor("http://h/ews/x"), "b=1; a=1");
  EXPECT_EQ(cookies.GetValue("http://h/ews/x", "a"), "1");
  EXPECT_EQ(cookies.GetValue("http://h/x", "b"), "");
  cookies.Clear();
  EXPECT_EQ(cookies.Count(), 0);
}

TEST(Cookies, MalformedOnesAreIgnored) {
  TVqHTTPCookies cookies;
  for (const char* text : {"", "novalue", "=x", "; Path=/", "a=\x01"}) cookies.Add("http://h/", text);
  cookies.Add("not an address", "a=1");
  EXPECT_EQ(cookies.Count(), 0);
}

TEST(Cookies, AreTakenOutByTheirName) {
  TVqHTTPCookies cookies;
  cookies.Add("", "a=1");
  cookies.Add("http://h/", "a=2");
  cookies.Add("http://h/", "A=3");
  cookies.Remove("a");
  EXPECT_EQ(cookies.HeaderFor("http://h/"), "A=3") << "wherever it went, and no other";
  cookies.Remove("b");
  EXPECT_EQ(cookies.Count(), 1);
}

TEST(Cookies, BelongToTheSessionThatAClientShares) {
  TVqWinHTTPSession session;
  auto first = MakeRef<TVqWinHTTPClient>(), second = MakeRef<TVqWinHTTPClient>();
  first->SetSession(&session);
  second->RemoveCookies("a");  // has no session yet
  second->ShareSessionOf(*first);
  session.GetCookies().Add("", "a=1");
  EXPECT_EQ(second->GetSession()->GetCookies().Count(), 1);
  second->RemoveCookies("a");
  EXPECT_EQ(session.GetCookies().Count(), 0);
}

TEST(Cookies, OfASessionWhoseComponentIsGoneAreSharedAllTheSame) {
  auto session = std::make_unique<TVqWinHTTPSession>();
  auto first = MakeRef<TVqWinHTTPClient>(), second = MakeRef<TVqWinHTTPClient>();
  session->SetUserAgent("ours");
  first->SetSession(session.get());
  session->GetCookies().Add("", "a=1");
  session = nullptr;
  second->ShareSessionOf(*first);
  EXPECT_EQ(second->GetSession()->GetCookies().HeaderFor("http://h/"), "a=1");
  EXPECT_EQ(second->GetSession()->GetUserAgent(), "ours");
}
