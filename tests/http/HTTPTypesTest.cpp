#include "HTTPTestSupport.h"
#include "platform/http/uVqHTTPEngine_p.h"

using namespace velmore;

TEST(HTTPTypes, NumbersThatAreContract) {
  EXPECT_EQ(static_cast<int>(TVqHTTPVerb::get), 4);
  EXPECT_EQ(static_cast<int>(TVqHTTPVerb::post), 6);
  EXPECT_EQ(static_cast<int>(TVqHTTPAuthentication::byChallenge), 1);
  EXPECT_EQ(static_cast<int>(TVqHTTPAuthentication::oAuth), 6);
  EXPECT_EQ(static_cast<int>(TVqHTTPVersion::http11), 1);
  EXPECT_EQ(static_cast<int>(TVqHTTPConnectionHeader::close), 1);
  EXPECT_EQ(static_cast<int>(TVqOAuthGrantType::Authorize), 1);
  EXPECT_EQ(static_cast<int>(TVqOAuthGrantType::Password), 2);
  EXPECT_EQ(static_cast<int>(TVqOAuthGrantType::ClientCredentials), 3);
  EXPECT_EQ(TVqHTTPAccessType(), TVqHTTPAccessType::preConfig);
}

TEST(HTTPTypes, EveryVerbHasItsText) {
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::none), "");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::options), "OPTIONS");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::trace), "TRACE");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::connect), "CONNECT");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::get), "GET");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::head), "HEAD");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::post), "POST");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::put), "PUT");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::remove), "DELETE");
  EXPECT_EQ(VqHTTPVerbText(TVqHTTPVerb::patch), "PATCH");
  EXPECT_EQ(VqHTTPVerbText(static_cast<TVqHTTPVerb>(77)), "");
}

TEST(HTTPTypes, AccessTypeNamesRoundTrip) {
  for (const auto value : {TVqHTTPAccessType::preConfig, TVqHTTPAccessType::direct, TVqHTTPAccessType::proxy}) {
    TVqHTTPAccessType back{};
    EXPECT_TRUE(VqTryHTTPAccessType(VqHTTPAccessTypeText(value), back));
    EXPECT_EQ(back, value);
  }
  TVqHTTPAccessType untouched = TVqHTTPAccessType::proxy;
  EXPECT_FALSE(VqTryHTTPAccessType("sideways", untouched));
  EXPECT_EQ(untouched, TVqHTTPAccessType::proxy);
}

TEST(SecurityFlags, EachFlagIsItsBit) {
  EXPECT_EQ(TVqHTTPSecurityFlags{TVqHTTPSecurityFlag::IgnoreInvalidCertDate}.Bits(), 1);
  EXPECT_EQ(TVqHTTPSecurityFlags{TVqHTTPSecurityFlag::IgnoreUnknownCA}.Bits(), 2);
  EXPECT_EQ(TVqHTTPSecurityFlags{TVqHTTPSecurityFlag::IgnoreInvalidCommonName}.Bits(), 4);
  EXPECT_EQ(TVqHTTPSecurityFlags{TVqHTTPSecurityFlag::IgnoreRevocation}.Bits(), 8);
  EXPECT_EQ(TVqHTTPSecurityFlags{TVqHTTPSecurityFlag::IgnoreWrongUsage}.Bits(), 16);
  EXPECT_EQ(TVqHTTPSecurityFlags::FromBits(0xFF).Bits(), 0x1F);
  EXPECT_TRUE(TVqHTTPSecurityFlags().Empty());
}

TEST(SecurityFlags, AddAndTakeAway) {
  TVqHTTPSecurityFlags set = TVqHTTPSecurityFlags::FromBits(0x1F) - TVqHTTPSecurityFlag::IgnoreWrongUsage;
  EXPECT_EQ(set.Bits(), 0x0F);
  set = set + TVqHTTPSecurityFlag::IgnoreWrongUsage;
  EXPECT_EQ(set.Bits(), 0x1F);
  EXPECT_EQ((set - TVqHTTPSecurityFlag::IgnoreUnknownCA - TVqHTTPSecurityFlag::IgnoreUnknownCA).Bits(), 0x1D);
}

TEST(Credentials, LogonNameTakesTheSeparateDomainOnlyWhereTheNameHasNone) {
  TVqCredentials credentials;
  credentials.SetDomain("CONTOSO");
  EXPECT_EQ(credentials.GetLogonName(), "");
  credentials.SetUserName("anna");
  EXPECT_EQ(credentials.GetLogonName(), "CONTOSO\\anna");
  credentials.SetUserName("OTHER\\anna");
  EXPECT_EQ(credentials.GetLogonName(), "OTHER\\anna");
  credentials.SetUserName("anna@contoso.example");
  EXPECT_EQ(credentials.GetLogonName(), "anna@contoso.example");
}

TEST(Credentials, AssignCopiesAndClearEmpties) {
  TVqCredentials one;
  one.SetUserName("anna");
  one.SetPassword("secret");
  TVqCredentials other;
  EXPECT_TRUE(other.Empty());
  other.Assign(one);
  EXPECT_TRUE(other == one);
  EXPECT_FALSE(other.Empty());
  other.Clear();
  EXPECT_TRUE(other.Empty());
}

TEST(OAuthToken, ExpiresAtItsTimeAndAnEmptyOneIsExpired) {
  TVqOAuthAccessToken token;
  EXPECT_TRUE(token.GetExpired());
  token.Token = "abc";
  EXPECT_FALSE(token.GetExpired()) << "no end is known";
  token.ExpiresAt = 25569.0;  // 1970
  EXPECT_TRUE(token.GetExpired());
  token.ExpiresAt = 25569.0 + 365.25 * 1000;
  EXPECT_FALSE(token.GetExpired());
}

TEST(OAuthSettings, AssignTakesSettingsAndToken) {
  TVqOAuth one;
  one.SetClientId("id");
  one.SetClientSecret("secret");
  one.SetRedirectURI("r");
  one.SetAuthorizationEndpoint("a");
  one.SetTokenEndpoint("t");
  one.SetScope("s");
  one.SetGrantType(TVqOAuthGrantType::Password);
  one.SetAccessToken({"token", "Bearer", "refresh", "s", 1.0});
  TVqOAuth other;
  other.Assign(one);
  EXPECT_EQ(other.GetClientId(), "id");
  EXPECT_EQ(other.GetClientSecret(), "secret");
  EXPECT_EQ(other.GetRedirectURI(), "r");
  EXPECT_EQ(other.GetAuthorizationEndpoint(), "a");
  EXPECT_EQ(other.GetTokenEndpoint(), "t");
  EXPECT_EQ(other.GetScope(), "s");
  EXPECT_EQ(other.GetGrantType(), TVqOAuthGrantType::Password);
  EXPECT_TRUE(other.GetAccessToken() == one.GetAccessToken());
}

TEST(HTTPExceptions, ChainFromTheSpecificToTheGeneral) {
  try {
    throw EVqHTTPInvalidArgument("api", "text");
  } catch (const EVqHTTPApiException& error) {
    EXPECT_EQ(error.GetNumber(), 87U);
    EXPECT_EQ(error.GetApiName(), "api");
    EXPECT_EQ(error.Message(), "text");
  }
  EXPECT_THROW(throw EVqHTTPApiException("api", "text", 12007), EVqHTTPClientApiException);
  EXPECT_THROW(throw EVqHTTPClientApiException("text", 12007), EVqHTTPException);
  EXPECT_THROW(throw EVqHTTPException("text", 404), EVqException);
}

TEST(ReplyStream, ReadsWritesAndConsumes) {
  TVqHTTPReplyStream stream;
  stream.Append("hello world");
  char buffer[6] = {};
  EXPECT_EQ(stream.Read(buffer, 5), 5U);
  EXPECT_STREQ(buffer, "hello");
  EXPECT_EQ(stream.GetPosition(), 5U);
  stream.Consume(6);
  EXPECT_EQ(stream.Bytes(), "world");
  EXPECT_EQ(stream.GetPosition(), 0U);
  stream.SetPosition(99);
  EXPECT_EQ(stream.Read(buffer, 5), 0U);
  stream.Clear();
  stream.Write("rest");
  EXPECT_EQ(stream.GetPosition(), 4U);
  EXPECT_EQ(stream.TakeBytes(), "rest");
  EXPECT_EQ(stream.GetSize(), 0U);
}

TEST(Charset, ByteOrderMarkThenContentTypeThenUtf8) {
  EXPECT_EQ(VqDecodeBody("\xEF\xBB\xBFgr\xC3\xBC", "text/plain; charset=iso-8859-1"), "grü");
  EXPECT_EQ(VqDecodeBody(std::string_view("\xFF\xFEg\0r\0", 6), ""), "gr");
  EXPECT_EQ(VqDecodeBody(std::string_view("\xFE\xFF\0g\0r", 6), ""), "gr");
  EXPECT_EQ(VqDecodeBody(std::string_view("g\0r\0", 4), "text/xml; charset=utf-16"), "gr");
  EXPECT_EQ(VqDecodeBody(std::string_view("\0g\0r", 4), "text/xml; charset=UTF-16BE"), "gr");
  EXPECT_EQ(VqDecodeBody("gr\xFC \x80", "text/html; boundary=x; charset=\"ISO-8859-1\""), "grü €");
  EXPECT_EQ(VqDecodeBody("\x82\xB1", "text/plain;charset=shift_jis"), "こ");
  EXPECT_EQ(VqDecodeBody("a\xFF\x82\xB1", "text/plain;charset=shift_jis"), "a\xEF\xBF\xBDこ");
  EXPECT_EQ(VqDecodeBody("gr\xC3\xBC", "text/plain; charset=x-unheard-of"), "grü");
  EXPECT_EQ(VqDecodeBody("gr\xC3\xBC", ""), "grü");
}
