// Bodies whose length is not known come whole, in one piece or many.

#include <gtest/gtest.h>

#include "platform/http/internal/uVqHTTPBody.h"

namespace velmore {
namespace {

TEST(BodyPieces, SmallAndLargeBodiesComeWhole) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{33} << 20, std::size_t{80} << 20}) {
    std::string expected;
    expected.reserve(size + 1000);
    for (char letter = 'a'; expected.size() < size; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
      expected.append(999, letter);
    }
    expected.resize(size);
    TVqHTTPBodyPieces pieces;
    for (std::size_t at = 0; at < size; at += 999'999) pieces.Append(std::string_view(expected).substr(at, 999'999));
    EXPECT_TRUE(pieces.Take() == expected) << size;
    EXPECT_EQ(pieces.Take(), "");
  }
}

TEST(BodyPieces, OneAppendMayBeLargerThanAPiece) {
  const std::string large(std::size_t{70} << 20, 'x');
  TVqHTTPBodyPieces pieces;
  pieces.Append("head");
  pieces.Append(large);
  pieces.Append("tail");
  const std::string whole = pieces.Take();
  EXPECT_EQ(whole.size(), large.size() + 8);
  EXPECT_EQ(whole.substr(0, 5), "headx");
  EXPECT_EQ(whole.substr(whole.size() - 5), "xtail");
}

TEST(BodyPieces, ClearStartsAnew) {
  TVqHTTPBodyPieces pieces;
  pieces.Append("refusal");
  pieces.Clear();
  pieces.Append("answer");
  EXPECT_EQ(pieces.Take(), "answer");
}

}  // namespace
}  // namespace velmore
