// Pictures of an HTML text: which ones are taken, what stays as it was.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ews/items/uVqEWSInlineImages_p.h"

namespace velmore::testing {
namespace {

/// "name|type|content;" of each picture, and the text behind the last one; "-" for a text that stays. Files are taken
/// but for `foreign`; names are free but for `taken`.
std::string Moved(const std::string& html, const std::string& foreign = "-", const std::string& taken = "-") {
  std::string images, output = "untouched";
  const bool changed =
      VqMoveInlineImages(html, output,
                         {.TakesFile = [&](const std::string& source) { return source != foreign; },
                          .IsTaken = [&](const std::string& name) { return name == taken; },
                          .Take =
                              [&](const string& name, const string& type, std::unique_ptr<TVqStream> content) {
                                std::string bytes(static_cast<std::size_t>(content->GetSize()), '\0');
                                content->Read(bytes.data(), bytes.size());
                                images += name.utf8() + "|" + type.utf8() + "|" + bytes + ";";
                              }});
  if (!changed) {
    EXPECT_EQ(output, "untouched");
  }
  return changed ? images + output : images + "-";
}

TEST(InlineImages, DataIsMoved) {
  EXPECT_EQ(Moved("<p><img src=\"data:image/png;base64,YWJj\" alt=\"x\"></p>"),
            "_inlineImg0|image/png|abc;<p><img src=\"cid:_inlineImg0\" alt=\"x\"></p>");
}

TEST(InlineImages, TheTypeEndsAtItsFirstSemicolon) {
  EXPECT_EQ(Moved("<p><img src=\"data:image/png;charset=x;base64,YQ==\">"),
            "_inlineImg0|image/png|a;<p><img src=\"cid:_inlineImg0\">");
  EXPECT_EQ(Moved("<p><img src=\"data:image/gif,YQ==\">"), "_inlineImg0|image/gif|a;<p><img src=\"cid:_inlineImg0\">");
  EXPECT_EQ(Moved("<p><img src=\"data:,YQ==\">"), "_inlineImg0||a;<p><img src=\"cid:_inlineImg0\">");
}

TEST(InlineImages, DataOfAnotherEncodingIsLeftAlone) {
  EXPECT_EQ(Moved("<p><img src=\"data:image/svg+xml;utf8,<svg/>\">"), "-");
  EXPECT_EQ(Moved("<p><img src=\"data:image/svg+xml;charset=utf-8,%3Csvg/%3E\">"), "-");
  EXPECT_EQ(Moved("<p><img src=\"data:image/svg+xml;utf8,x\"><img src=\"data:image/png;BASE64,YQ==\">"),
            "_inlineImg0|image/png|a;<p><img src=\"data:image/svg+xml;utf8,x\"><img src=\"cid:_inlineImg0\">");
}

TEST(InlineImages, NamesThatArePicturesAlreadyAreSteppedOver) {
  EXPECT_EQ(Moved("<p><img src=\"data:a,YQ==\"><img src=\"data:b,Yg==\">", "-", "_inlineImg0"),
            "_inlineImg1|a|a;_inlineImg2|b|b;<p><img src=\"cid:_inlineImg1\"><img src=\"cid:_inlineImg2\">");
}

TEST(InlineImages, WhatATextShows) {
  EXPECT_TRUE(VqShowsInlineImage("<img src=\"cid:_inlineImg1\">", "_inlineImg1"));
  EXPECT_FALSE(VqShowsInlineImage("<img src=\"cid:_inlineImg10\">", "_inlineImg1"));
  EXPECT_TRUE(VqShowsInlineImage("cid:_inlineImg10 cid:_inlineImg1", "_inlineImg1"));
  EXPECT_FALSE(VqShowsInlineImage("_inlineImg1", "_inlineImg1"));
  EXPECT_FALSE(VqShowsInlineImage("", "_inlineImg1"));
}

TEST(InlineImages, TheyAreNumberedFromZero) {
  EXPECT_EQ(Moved("<p><img src=\"data:a,YQ==\">mid<img src=\"data:b,Yg==\">end"),
            "_inlineImg0|a|a;_inlineImg1|b|b;<p><img src=\"cid:_inlineImg0\">mid<img src=\"cid:_inlineImg1\">end");
}

TEST(InlineImages, TagAndAttributeInAnyCase) {
  EXPECT_EQ(Moved("<p><IMG SRC=\"data:a,YQ==\">"), "_inlineImg0|a|a;<p><IMG SRC=\"cid:_inlineImg0\">");
  EXPECT_EQ(Moved("<p><img Src = \"data:a,YQ==\">"), "_inlineImg0|a|a;<p><img Src = \"cid:_inlineImg0\">");
}

TEST(InlineImages, BlanksAreNoPartOfTheAttributesName) {
  EXPECT_EQ(Moved("<p><img s r c =\"data:a,YQ==\">"), "_inlineImg0|a|a;<p><img s r c =\"cid:_inlineImg0\">");
}

// The first "s" of the tag decides. Meant so.
TEST(InlineImages, AnAttributeWithAnSInFrontHidesTheSource) {
  EXPECT_EQ(Moved("<p><img class=\"c\" src=\"data:a,YQ==\">"), "-");
  EXPECT_EQ(Moved("<p><img style=\"s\" src=\"data:a,YQ==\">"), "-");
  EXPECT_EQ(Moved("<p><img alt=\"\" src=\"data:a,YQ==\">"),
            "_inlineImg0|a|a;<p><img alt=\"\" src=\"cid:_inlineImg0\">");
}

// Only double quotes. Meant so.
TEST(InlineImages, OtherQuotesAreLeftAlone) {
  EXPECT_EQ(Moved("<p><img src='data:a,YQ=='>"), "-");
  EXPECT_EQ(Moved("<p><img src=data:a,YQ==>"), "-");
}

// The walk steps before it looks. Meant so.
TEST(InlineImages, APictureAtTheVeryBeginningIsLeftAlone) {
  EXPECT_EQ(Moved("<img src=\"data:a,YQ==\">"), "-");
  EXPECT_EQ(Moved(" <img src=\"data:a,YQ==\">"), "_inlineImg0|a|a; <img src=\"cid:_inlineImg0\">");
}

TEST(InlineImages, OtherSchemesStay) {
  for (const char* source :
       {"http://x/a.png", "https://x/a.png", "cid:_inlineImg0", "a.png", "", "DATA:a,YQ==", "File:/x"}) {
    EXPECT_EQ(Moved(std::string("<p><img src=\"") + source + "\">"), "-") << source;
  }
}

TEST(InlineImages, OtherTagsStay) {
  EXPECT_EQ(Moved("<p><video src=\"data:a,YQ==\"><imgx src=\"data:a,YQ==\"><img\tsrc=\"data:a,YQ==\">"), "-");
}

TEST(InlineImages, WhatIsCutShortIsNoFailure) {
  for (const char* html :
       {"", "<", "<p", "<p><img", "<p><img ", "<p><img s", "<p><img src", "<p><img src=", "<p><img src=\"",
        "<p><img src=\"data", "<p><img src=\"file", "<p><img src=\"file:", "<p><img src=\"x:", "<p><img alt>"}) {
    EXPECT_EQ(Moved(html), "-") << html;
  }
}

TEST(InlineImages, DataThatIsNoBase64Raises) {
  EXPECT_THROW(Moved("<p><img src=\"data:a,!!!!\">"), EConvertError);
  EXPECT_THROW(Moved("<p><img src=\"data:a,YQ\">"), EConvertError);
  // The first one is good and is handed over before the second one raises.
  EXPECT_THROW(Moved("<p><img src=\"data:a,YQ==\"><img src=\"data:a,?\">"), EConvertError);
}

TEST(InlineImages, LineBreaksInsideTheDataAreAllowed) {
  EXPECT_EQ(Moved("<p><img src=\"data:a,YW\r\nJj\">"), "_inlineImg0|a|abc;<p><img src=\"cid:_inlineImg0\">");
}

class InlineImageFiles : public ::testing::Test {
 protected:
  InlineImageFiles() {
    std::filesystem::create_directory(FFolder);
    std::ofstream(FFolder / "pic.png") << "PNG";
  }
  ~InlineImageFiles() override { std::filesystem::remove_all(FFolder); }
  std::filesystem::path FFolder =
      std::filesystem::temp_directory_path() / ("velmore-img-" + std::to_string(::getpid()));
};

TEST_F(InlineImageFiles, AFileIsMovedHoweverManySlashes) {
  for (const char* slashes : {"file:", "file:/", "file://"}) {
    EXPECT_EQ(Moved("<p><img src=\"" + std::string(slashes) + FFolder.string() + "/pic.png\">"),
              "_inlineImg0|image/png|PNG;<p><img src=\"cid:_inlineImg0\">")
        << slashes;
  }
}

TEST_F(InlineImageFiles, AMissingFileStaysWithoutAWord) {
  const std::string there = "file://" + FFolder.string() + "/pic.png",
                    missing = "file://" + FFolder.string() + "/none.png";
  EXPECT_EQ(Moved("<p><img src=\"" + there + "\"><img src=\"" + missing + "\"></p>"),
            "_inlineImg0|image/png|PNG;<p><img src=\"cid:_inlineImg0\"><img src=\"" + missing + "\"></p>");
  // It takes no number.
  EXPECT_EQ(Moved("<p><img src=\"" + missing + "\"><img src=\"" + there + "\"></p>"),
            "_inlineImg0|image/png|PNG;<p><img src=\"" + missing + "\"><img src=\"cid:_inlineImg0\"></p>");
  EXPECT_EQ(Moved("<p><img src=\"file://" + FFolder.string() + "\">"), "-");  // a folder is no file
}

}  // namespace
}  // namespace velmore::testing
