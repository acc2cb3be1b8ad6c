// Files where there is no Windows: names are bytes there, and devices have names.

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/common/uVqClasses.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSysUtils.h"
#include "tests/common/Utf8TestSupport.h"

namespace velmore {
namespace {

TEST(Text, ComesFromTheBytesOfAFilesName) {
  const auto taken = [](const string& name) { return name; };
  for (const TUtf8Case& test : kCases) {
    SCOPED_TRACE(test.What);
    const std::filesystem::path name = test.Utf8;
    if (test.WellFormed) {
      EXPECT_EQ(taken(name).utf16(), test.Units);
    } else {
      EXPECT_THROW(taken(name), EConvertError) << "it would be the name of another file";
    }
  }
  try {
    taken(std::filesystem::path("a\xFF.eml"));
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "The file name \"a\xEF\xBF\xBD.eml\" is not well-formed UTF-8.");
  }
}

TEST(FullDisk, IsReportedAtTheLatestByClose) {
  TVqFileStream file("/dev/full", TVqFileMode::fmCreate);
  file.Write("a few bytes wait in the buffer");
  try {
    file.Close();
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The file \"/dev/full\" could not be closed: No space left on device.");
  }
  file.Close();  // there is nothing left to close
}

TEST(FullDisk, IsReportedByTheWriteThatReachesIt) {
  TVqFileStream file("/dev/full", TVqFileMode::fmCreate);
  try {
    file.Write(std::string(1 << 20, 'x'));
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The file \"/dev/full\" could not be written: No space left on device.");
  }
}

TEST(FullDisk, IsReportedWhenTheSizeIsAsked) {
  TVqFileStream file("/dev/full", TVqFileMode::fmCreate);
  file.Write("x");
  EXPECT_THROW(static_cast<void>(file.GetSize()), EStreamError);
}

TEST(FullDisk, UnreportedDoesNotEndTheProcess) {
  TVqFileStream file("/dev/full", TVqFileMode::fmCreate);
  file.Write("lost");
}

TEST(Base64, AFullDiskIsReported) {
  TVqFileStream target("/dev/full", TVqFileMode::fmCreate);
  EXPECT_THROW(VqBase64Decode(std::string(1 << 20, 'x'), target), EStreamError);
}

TEST(Folder, CannotBeReadAsAFile) {
  TVqFileStream file("/", TVqFileMode::fmOpenRead);
  char byte;
  try {
    file.Read(&byte, 1);
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The file \"/\" could not be read: Is a directory.");
  }
}

TEST(Device, HasNoSizeAndIsReadAllTheSame) {
  TVqFileStream file("/proc/self/status", TVqFileMode::fmOpenRead);
  EXPECT_EQ(file.GetSize(), 0u);
  EXPECT_NE(file.ReadAll().find("Pid:"), std::string::npos);
}

}  // namespace
}  // namespace velmore
