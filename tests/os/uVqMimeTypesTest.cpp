#include "platform/os/uVqMimeTypes.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace velmore {
namespace {

struct TRow {
  const char* Extension;
  bool Usual;
  const char* Type;
};
#define VQ_MIME_TYPE(extension, usual, type) {extension, usual, type},
const TRow kRows[] = {
#include "platform/os/uVqMimeTypes.inc"
};
#undef VQ_MIME_TYPE

TEST(MimeTypes, EveryRowIsFoundBothWays) {
  std::set<std::string> extensions;
  std::map<std::string, int> usual;
  for (const TRow& row : kRows) {
    EXPECT_TRUE(extensions.insert(row.Extension).second) << row.Extension;
    EXPECT_EQ(VqGetFileMimeType(string("file.") + row.Extension), row.Type);
    usual[row.Type] += row.Usual;
    if (row.Usual) {
      EXPECT_EQ(VqGetMimeTypeExtension(row.Type), string(".") + row.Extension);
    }
    EXPECT_EQ(VqGetFileMimeType("x" + VqGetMimeTypeExtension(row.Type)), row.Type) << "there and back";
  }
  EXPECT_GE(extensions.size(), 40u);
  for (const auto& [type, count] : usual) EXPECT_EQ(count, 1) << type << " needs one usual extension";
}

TEST(MimeTypes, TheOnesThatMessagesCarryMost) {
  EXPECT_EQ(VqGetFileMimeType("photo.jpg"), "image/jpeg");
  EXPECT_EQ(VqGetFileMimeType("photo.png"), "image/png");
  EXPECT_EQ(VqGetFileMimeType("letter.pdf"), "application/pdf");
  EXPECT_EQ(VqGetFileMimeType("readme.txt"), "text/plain");
  EXPECT_EQ(VqGetFileMimeType("page.html"), "text/html");
  EXPECT_EQ(VqGetFileMimeType("mail.eml"), "message/rfc822");
  EXPECT_EQ(VqGetMimeTypeExtension("image/jpeg"), ".jpg");
  EXPECT_EQ(VqGetMimeTypeExtension("text/plain"), ".txt");
}

TEST(MimeTypes, OnlyTheLastExtensionOfTheNameCounts) {
  EXPECT_EQ(VqGetFileMimeType("/home/me/a.b/PHOTO.JPG"), "image/jpeg");
  EXPECT_EQ(VqGetFileMimeType("C:\\a.txt\\photo.gif"), "image/gif");
  EXPECT_EQ(VqGetFileMimeType("archive.tar.gz"), "application/gzip");
  EXPECT_EQ(VqGetFileMimeType(u"Größe.png"), "image/png");
}

TEST(MimeTypes, EverythingElseIsBytes) {
  for (const char* name : {"", "README", "file.", "file.unknown", ".txt", "/a.txt/file", "C:\\a.txt\\file", "jpg",
                           "file.jpg ", "file.jpgx"}) {
    EXPECT_EQ(VqGetFileMimeType(name), "application/octet-stream") << name;
  }
}

TEST(MimeTypes, CaseAndParametersOfATypeDoNotCount) {
  EXPECT_EQ(VqGetMimeTypeExtension("Text/HTML; charset=utf-8"), ".html");
  EXPECT_EQ(VqGetMimeTypeExtension(" image/png "), ".png");
  EXPECT_EQ(VqGetMimeTypeExtension("application/octet-stream"), "");
  EXPECT_EQ(VqGetMimeTypeExtension("image/"), "");
  EXPECT_EQ(VqGetMimeTypeExtension(""), "");
}

}  // namespace
}  // namespace velmore
