// Data protection by Windows itself, in both scopes.

#include <gtest/gtest.h>

#include "platform/crypt/internal/uVqDigest.h"
#include "platform/crypt/uVqCNG.h"

using namespace velmore;

namespace {

TVqProtectionFailure FailureOf(const TVqBytes& blob) {
  try {
    TVqDataProtection().Decrypt(blob);
  } catch (const EVqDataProtection& failure) {
    return failure.GetFailure();
  }
  ADD_FAILURE() << "it was read";
  return {};
}

std::string TextOf(const TVqBytes& bytes) {
  return std::string(bytes.View());
}

TEST(WindowsProtection, WhatOneScopeProtectedIsRead) {
  const TVqDataProtection protection;
  for (const bool machine : {false, true}) {
    for (const std::string& plain : {std::string(), std::string("S3cret"), std::string(100'000, '\0')}) {
      const TVqBytes blob = protection.Encrypt(TVqBytes(plain), machine);
      EXPECT_EQ(TextOf(protection.Decrypt(blob)), plain) << machine;
      EXPECT_NE(TextOf(protection.Encrypt(TVqBytes(plain), machine)), TextOf(blob)) << "another blob each time";
      if (plain.size() == 6) {
        EXPECT_EQ(TextOf(blob).find(plain), std::string::npos);
      }
    }
  }
}

TEST(WindowsProtection, WhatIsNoneOfWindowsIsNamed) {
  const std::string blob = TextOf(TVqDataProtection().Encrypt(TVqBytes(std::string("secret")), false));
  EXPECT_EQ(FailureOf(TVqBytes(std::string("nothing of the kind"))), TVqProtectionFailure::foreignBytes);
  EXPECT_EQ(FailureOf(TVqBytes(std::string())), TVqProtectionFailure::foreignBytes);
  EXPECT_EQ(FailureOf(TVqBytes(std::string("\x01\0\0", 3))), TVqProtectionFailure::truncated);
  EXPECT_NE(FailureOf(TVqBytes(blob.substr(0, blob.size() - 1))), TVqProtectionFailure::otherSystem);
  EXPECT_EQ(FailureOf(TVqBytes(std::string("VqDP\x01 and what follows"))), TVqProtectionFailure::otherSystem);
}

TEST(WindowsProtection, DigestsAndRandomBytesAreTheSystems) {
  const std::string digest = VqSha256("abc");
  ASSERT_EQ(digest.size(), 32U);
  EXPECT_EQ(static_cast<unsigned char>(digest[0]), 0xBA);
  EXPECT_EQ(static_cast<unsigned char>(digest[31]), 0xAD);
  EXPECT_EQ(VqRandomBytes(16).size(), 16U);
  EXPECT_NE(VqRandomBytes(16), VqRandomBytes(16));
}

}  // namespace
