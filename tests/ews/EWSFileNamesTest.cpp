// Names of files for items and folders.

#include "ews/idioms/uVqEWSFileNames.h"

#include <gtest/gtest.h>

#include <set>

namespace velmore {
namespace {

const TItemId kId = {"AAMkAGI2", "CQAAABYA"};

TEST(EWSFileNames, AHandleIsOfTheIdAlone) {
  EXPECT_EQ(VqItemHandle({"", ""}), "cbf29ce484222325");
  EXPECT_EQ(VqItemHandle({"a", ""}), "af63dc4c8601ec8c");
  EXPECT_EQ(VqItemHandle({"foobar", "x"}), "85944171f73967e8");
  EXPECT_EQ(VqItemHandle({"foobar", "y"}), "85944171f73967e8");
  EXPECT_NE(VqItemHandle({"fooBar", "y"}), "85944171f73967e8");
  std::set<std::string> handles;
  for (int i = 0; i < 10000; ++i) {
    const std::string handle = VqItemHandle({"AAMkAGI2" + std::to_string(i), ""}).utf8();
    EXPECT_EQ(handle.size(), 16u);
    handles.insert(handle);
  }
  EXPECT_EQ(handles.size(), 10000u);
}

TEST(EWSFileNames, ANameHasTheTextAndTheHandle) {
  const std::string handle = VqItemHandle(kId).utf8();
  EXPECT_EQ(VqItemFileName(kId, "Lunch on Thursday"), "Lunch on Thursday " + handle + ".eml");
  EXPECT_EQ(VqItemFileName(kId, "  Lunch "), "Lunch " + handle + ".eml");
  EXPECT_EQ(VqItemFileName(kId), handle + ".eml");
  EXPECT_EQ(VqItemFileName(kId, " ", ""), handle);
  EXPECT_EQ(VqItemFileName(kId, "Card", ".vcf"), "Card " + handle + ".vcf");
}

TEST(EWSFileNames, NoTextIsAPath) {
  const std::string handle = VqItemHandle(kId).utf8();
  EXPECT_EQ(VqItemFileName(kId, "1/2 of ..\\.."), "1_2 of .._.. " + handle + ".eml");
  EXPECT_EQ(VqItemFileName(kId, "/etc/passwd"), "_etc_passwd " + handle + ".eml");
  EXPECT_EQ(VqItemFileName(kId, "CON"), "CON " + handle + ".eml") << "a device by its whole stem only";
  EXPECT_EQ(VqItemFileName(kId, "a:b\n?"), "a_b__ " + handle + ".eml");
}

TEST(EWSFileNames, TheHandleIsNeverCut) {
  const std::string end = " " + VqItemHandle(kId).utf8() + ".eml";
  for (const char* character : {"x", "\xC3\xBC", "\xE6\xBC\xA2", "\xF0\x9F\x98\x80"}) {
    for (const std::size_t count : {30u, 59u, 60u, 61u, 100u, 179u, 180u, 300u}) {
      std::string text;
      for (std::size_t i = 0; i < count; ++i) text += character;
      const std::string name = VqItemFileName(kId, text).utf8();
      EXPECT_LE(name.size(), 200u);
      ASSERT_TRUE(name.ends_with(end)) << name;
      const std::string kept = name.substr(0, name.size() - end.size());
      EXPECT_TRUE(text.starts_with(kept)) << name;
      EXPECT_EQ(kept.size() % std::string(character).size(), 0u) << "whole characters: " << name;
      EXPECT_TRUE(kept == text || name.size() > 200 - std::string(character).size()) << name;
    }
  }
  EXPECT_TRUE(VqItemFileName(kId, std::string(500, ' ') + "x").utf8().ends_with(end));
}

TEST(EWSFileNames, FoldersAreDirectories) {
  EXPECT_EQ(VqFolderFilePath(""), "");
  EXPECT_EQ(VqFolderFilePath("Projects/2026"), "Projects/2026");
  EXPECT_EQ(VqFolderFilePath("Projects/1\\/2 of it"), "Projects/1_2 of it");
  EXPECT_EQ(VqFolderFilePath("../.."), "file/file") << "never a way out";
  EXPECT_EQ(VqFolderFilePath("a:b/CON"), "a_b/_CON");
}

}  // namespace
}  // namespace velmore
