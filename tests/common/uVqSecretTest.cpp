#include "platform/common/uVqSecret.h"

#include <gtest/gtest.h>

using namespace velmore;

TEST(Secret, IsHeldOnceHoweverOftenItIsCopied) {
  const TVqSecret first(u"geheim");
  const TVqSecret second = first;
  TVqSecret third;
  third = second;
  EXPECT_EQ(&first.Text(), &third.Text());
  EXPECT_EQ(third.Text(), "geheim");
  EXPECT_EQ(first, TVqSecret(u"geheim")) << "the same text held twice is the same secret";
  EXPECT_FALSE(first == TVqSecret(u"other"));
}

TEST(Secret, OfAnEmptyTextIsNothing) {
  EXPECT_TRUE(TVqSecret().empty());
  EXPECT_TRUE(TVqSecret(u"").empty());
  EXPECT_EQ(TVqSecret().Text(), "");
  EXPECT_EQ(TVqSecret(), TVqSecret(u""));
  EXPECT_FALSE(TVqSecret(u"x").empty());
}

TEST(Secret, WipingOverwritesAndEmpties) {
  std::string bytes = "a secret that is longer than any small buffer";
  const char* const at = bytes.data();
  const std::size_t size = bytes.size();
  VqWipe(bytes);
  EXPECT_TRUE(bytes.empty());
  for (std::size_t i = 0; i < size; ++i) EXPECT_EQ(at[i], '\0');
  string text = u"a secret that is longer than any small buffer";
  const char16_t* const units = text.view().data();
  VqWipe(text);
  EXPECT_TRUE(text.empty());
  for (std::size_t i = 0; i < size; ++i) EXPECT_EQ(units[i], u'\0');
}
