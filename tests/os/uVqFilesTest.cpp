#include "platform/os/uVqFiles.h"

#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

TEST(Files, AreReadWholeOrAreNotThere) {
  const TemporaryFolder folder;
  EXPECT_EQ(VqTryReadFile(folder.Path("none")), std::nullopt);
  EXPECT_FALSE(VqPathExists(folder.Path("none")));
  for (const std::size_t size : {0, 1, 4096, 100001}) {
    const std::string bytes(size, 'x');
    VqReplaceFile(folder.Path("file"), bytes);
    EXPECT_EQ(VqTryReadFile(folder.Path("file")), bytes);
    EXPECT_EQ(VqReadFile(folder.Path("file")), bytes);
  }
  EXPECT_TRUE(VqPathExists(folder.Path("file")));
  EXPECT_TRUE(VqDeleteFile(folder.Path("file")));
  EXPECT_FALSE(VqDeleteFile(folder.Path("file")));
  EXPECT_EQ(VqTryReadFile("/dev/null/x"), std::nullopt) << "a file is no folder";
}

TEST(Files, WhatIsNoFileIsAnErrorWithItsName) {
  const TemporaryFolder folder;
  const auto failureOf = [](auto action) {
    try {
      action();
    } catch (const EVqFileError& failure) {
      return failure;
    }
    ADD_FAILURE() << "no error";
    return EVqFileError("", EVqFileError::TReason::other);
  };
  EXPECT_EQ(failureOf([&] { VqReadFile(folder.Path("none")); }).Message(),
            "There is no file \"" + folder.Path("none") + "\".");
  EXPECT_EQ(failureOf([&] { VqReadFile(folder.Path("none")); }).Reason(), EVqFileError::TReason::missing);
  EXPECT_EQ(failureOf([&] { VqTryReadFile(folder.Path()); }).Message(),
            "The file \"" + folder.Path() + "\" could not be read: Is a directory.");
  ASSERT_EQ(::mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(failureOf([&] { VqTryReadFile(folder.Path("pipe")); }).Reason(), EVqFileError::TReason::other)
      << "and does not wait for its other end";
  EXPECT_EQ(failureOf([&] { VqReplaceFile(folder.Path("none/file"), "x"); }).Reason(), EVqFileError::TReason::missing);
  EXPECT_EQ(failureOf([&] { VqTryReadFile(string(std::u16string(u"a\0b", 3))); }).Reason(),
            EVqFileError::TReason::other);
  TemporaryFolder::Write(folder.Path("file"), "x");
  EXPECT_EQ(failureOf([&] { VqMakeFolders(folder.Path("file/below")); }).Message(),
            "The folder \"" + folder.Path("file") + "\" could not be made: File exists.");
}

TEST(Files, AnOldFileKeepsItsGroupsRightsAndLosesEverybodys) {
  const TemporaryFolder folder;
  const std::string name = folder.Path("file");
  VqReplaceFile(name, "1");
  EXPECT_EQ(TemporaryFolder::Mode(name), 0600U);
  for (const auto& [before, after] : {std::pair{0644U, 0640U}, {0660U, 0660U}, {0666U, 0660U}, {0400U, 0400U}}) {
    ::chmod(name.c_str(), before);
    VqReplaceFile(name, "2");
    EXPECT_EQ(TemporaryFolder::Mode(name), after) << std::oct << before;
  }
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(name.c_str(), 65534, 65534), 0);
    VqReplaceFile(name, "3");
    struct stat status = {};
    ::stat(name.c_str(), &status);
    EXPECT_EQ(status.st_uid, 65534U) << "the administrator does not take it from its user";
  }
}

TEST(Files, ALockKeepsOthersOut) {
  const TemporaryFolder folder;
  const std::string name = folder.Path("file");
  const auto tryLock = [&] {
    try {
      const TVqFileLock lock(name, 20);
      return 1;
    } catch (const EVqFileError& failure) {
      return failure.Message() == "The file \"" + name + "\" is being changed by another process." ? 2 : 3;
    }
  };
  {
    const TVqFileLock lock(name);
    EXPECT_EQ(tryLock(), 2) << "in the same process, too";
    EXPECT_EQ(ChildProcess(tryLock).Wait(), 2);
  }
  EXPECT_EQ(ChildProcess(tryLock).Wait(), 1);
}

TEST(Files, FoldersAreMadeWithAllAboveThem) {
  const TemporaryFolder folder;
  VqMakeFolders(folder.Path("a/b/c"));
  VqMakeFolders(folder.Path("a/b/c"));
  EXPECT_EQ(TemporaryFolder::Mode(folder.Path("a/b")), 0700U);
  EXPECT_EQ(VqFolderOf("/a/b"), "/a");
  EXPECT_EQ(VqFolderOf("/a"), "/");
  EXPECT_EQ(VqFolderOf("a"), "");
}

}  // namespace
}  // namespace velmore
