#include "platform/crypt/internal/uVqDigest.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/common/uVqNetEncoding.h"

namespace velmore {
namespace {

TEST(Digest, OfTextsAsTheStandardsPublishThem) {
  EXPECT_EQ(VqHexEncode(VqSha256("")), "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855");
  EXPECT_EQ(VqHexEncode(VqSha256("abc")), "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
  // RFC 7636, appendix B: the proof key and what is sent ahead of it.
  EXPECT_EQ(VqBase64UrlEncode(VqSha256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk")),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
}

TEST(Random, BytesAreAsManyAsAskedForAndOthersEachTime) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) seen.insert(VqRandomBytes(16));
  EXPECT_EQ(seen.size(), 100U);
  for (const std::string& bytes : seen) EXPECT_EQ(bytes.size(), 16U);
  EXPECT_EQ(VqRandomBytes(0), "");
}

}  // namespace
}  // namespace velmore
