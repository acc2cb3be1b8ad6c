#include "HTTPTestSupport.h"
#include "platform/http/uVqURL.h"

using namespace velmore;

TEST(URL, TakesAnAddressApart) {
  const TVqURLData url = VqDecodeURL("HTTPS://anna:pw@Mail.example.com:8443/ews/Exchange.asmx?a=1&b#top");
  ASSERT_TRUE(url.IsValid);
  EXPECT_EQ(url.Scheme, "https");
  EXPECT_EQ(url.UserInfo, "anna:pw");
  EXPECT_EQ(url.Host, "Mail.example.com");
  EXPECT_EQ(url.Port, 8443);
  EXPECT_EQ(url.Path, "/ews/Exchange.asmx");
  EXPECT_EQ(url.Query, "a=1&b");
  EXPECT_EQ(url.Fragment, "top");
  EXPECT_TRUE(url.IsHttps());
}

TEST(URL, PortsOfTheSchemesAndEmptyPath) {
  EXPECT_EQ(VqDecodeURL("https://x").Port, 443);
  EXPECT_EQ(VqDecodeURL("http://x").Port, 80);
  EXPECT_EQ(VqDecodeURL("http://x:").Port, 80);
  EXPECT_EQ(VqDecodeURL("ftp://x").Port, 0);
  EXPECT_EQ(VqDecodeURL("http://www.example.com").Path, "");
  EXPECT_EQ(VqDecodeURL("http://x?q").Query, "q");
}

TEST(URL, AddressesInBrackets) {
  const TVqURLData url = VqDecodeURL("http://[::1]:81/x");
  ASSERT_TRUE(url.IsValid);
  EXPECT_EQ(url.Host, "::1");
  EXPECT_EQ(url.Port, 81);
}

TEST(URL, WhatIsNoAbsoluteAddressIsInvalid) {
  for (const char* text : {"", "x", "/path", "://x", "1ttp://x", "ht tp://x", "http://", "http://:80", "http://x:y",
                           "http://x:0", "http://x:99999", "http://[::1", "http://[::1]x", "http://a b/",
                           "http://x/\r\n", "http://a\"b/", "mailto:x@y"}) {
    EXPECT_FALSE(VqDecodeURL(text).IsValid) << text;
  }
}

TEST(URL, AHostIsNoLongerThanANameCanBe) {
  const std::string longest(255, 'a');
  EXPECT_TRUE(VqDecodeURL("https://" + longest + "/").IsValid);
  EXPECT_FALSE(VqDecodeURL("https://" + longest + "a/").IsValid);
}

TEST(URL, LoopbackHosts) {
  for (const char* host : {"localhost", "LOCALHOST", "localhost.", "x.localhost", "127.0.0.1", "127.255.0.9", "::1"}) {
    EXPECT_TRUE(VqIsLoopbackHost(host)) << host;
  }
  for (const char* host : {"", "example.com", "localhost.example.com", "notlocalhost", "127.0.0.1.example.com", "127.1",
                           "126.0.0.1", "127.0.0", "127.0.0.1.1", "127.00.0.1", "::2", "0.0.0.0"}) {
    EXPECT_FALSE(VqIsLoopbackHost(host)) << host;
  }
}

TEST(URL, WhatStandsInBracketsIsAnAddress) {
  for (const char* good : {"http://[::1]/", "http://[fe80::1%25eth0]:8080/", "http://[::ffff:10.0.0.1]/"})
    EXPECT_TRUE(VqDecodeURL(good).IsValid) << good;
  for (const char* bad : {"http://[]/", "http://[mail.example]/", "http://[::`]/", "http://[::1/", "http://[::[1]]/",
                          "http://[\xC3\xA4::1]/", "http://[::1]x/"})
    EXPECT_FALSE(VqDecodeURL(bad).IsValid) << bad;
}
