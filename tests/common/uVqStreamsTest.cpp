// Streams of platform/common/uVqClasses.h.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <limits>

#include "platform/common/uVqClasses.h"

namespace velmore {
namespace {

/// A folder of its own for each test, gone behind it.
class Files : public testing::Test {
 protected:
  Files() {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    FFolder = std::filesystem::temp_directory_path() /
              ("velmore-" + std::string(info->name()) + "-" + std::to_string(::getpid()));
    std::filesystem::create_directories(FFolder);
  }
  ~Files() override { std::filesystem::remove_all(FFolder); }

  string Path(const string& name) const { return FFolder.string() + "/" + name; }

  std::filesystem::path FFolder;
};

TEST(MemoryStream, ReadsAndWritesAtItsPosition) {
  TVqMemoryStream stream;
  stream.Write("hello");
  EXPECT_EQ(stream.GetPosition(), 5u);
  EXPECT_EQ(stream.GetSize(), 5u);
  stream.SetPosition(1);
  stream.Write("ipp");
  EXPECT_EQ(stream.Bytes(), "hippo");
  char buffer[10];
  EXPECT_EQ(stream.Read(buffer, 10), 1u);
  EXPECT_EQ(buffer[0], 'o');
  EXPECT_EQ(stream.Read(buffer, 10), 0u);
  EXPECT_EQ(stream.Read(nullptr, 0), 0u);
  stream.Write(nullptr, 0);
  EXPECT_EQ(stream.GetSize(), 5u);
}

TEST(MemoryStream, GapsAreFilledWithZeros) {
  TVqMemoryStream stream("ab");
  stream.SetPosition(4);
  char buffer[2];
  EXPECT_EQ(stream.Read(buffer, 2), 0u);
  EXPECT_EQ(stream.GetSize(), 2u) << "looking there makes nothing";
  stream.Write("c");
  EXPECT_EQ(stream.Bytes(), std::string("ab\0\0c", 5));
}

TEST(MemoryStream, SizeCanBeSet) {
  TVqMemoryStream stream("abcdef");
  stream.SetPosition(5);
  stream.SetSize(2);
  EXPECT_EQ(stream.Bytes(), "ab");
  EXPECT_EQ(stream.GetPosition(), 5u);
  stream.SetSize(3);
  EXPECT_EQ(stream.Bytes(), std::string("ab\0", 3));
}

TEST(MemoryStream, BytesCanBeTaken) {
  TVqMemoryStream stream;
  stream.Write("abc");
  EXPECT_EQ(stream.TakeBytes(), "abc");
  EXPECT_EQ(stream.GetSize(), 0u);
  EXPECT_EQ(stream.GetPosition(), 0u);
  stream.Write("d");
  EXPECT_EQ(stream.Bytes(), "d");
}

TEST(MemoryStream, MoreThanMemoryHoldsRaises) {
  TVqMemoryStream stream("abc");
  stream.SetPosition(std::numeric_limits<std::uint64_t>::max());
  EXPECT_THROW(stream.Write("x"), EStreamError);
  EXPECT_THROW(stream.SetSize(std::numeric_limits<std::uint64_t>::max()), EStreamError);
  EXPECT_EQ(stream.Bytes(), "abc");
}

TEST(Stream, ReadAllStartsAtThePosition) {
  TVqMemoryStream stream("abcdef");
  stream.SetPosition(2);
  EXPECT_EQ(stream.ReadAll(), "cdef");
  EXPECT_EQ(stream.ReadAll(), "");
  stream.SetPosition(99);
  EXPECT_EQ(stream.ReadAll(), "");
}

/// Gives a few bytes at a time and does not know its size, as a connection does.
class TTrickle : public TVqMemoryStream {
 public:
  TTrickle(std::string bytes, std::uint64_t size) : TVqMemoryStream(std::move(bytes)), FSize(size) {}
  std::size_t Read(void* buffer, std::size_t count) override {
    return TVqMemoryStream::Read(buffer, std::min<std::size_t>(count, 3));
  }
  std::uint64_t GetSize() const override { return FSize; }

 private:
  std::uint64_t FSize;
};

TEST(Stream, ReadAllGoesOnUntilNothingComes) {
  for (const std::uint64_t size : {0, 5, 10, 12, 50}) EXPECT_EQ(TTrickle("0123456789", size).ReadAll(), "0123456789");
}

TEST_F(Files, WhatIsWrittenIsReadBack) {
  const string name = Path(u"größe \U0001F600.bin");
  {
    TVqFileStream file(name, TVqFileMode::fmCreate);
    file.Write("hello");
    EXPECT_EQ(file.GetSize(), 5u) << "buffered bytes count";
    EXPECT_EQ(file.GetPosition(), 5u);
    file.Close();
  }
  TVqFileStream file(name, TVqFileMode::fmOpenRead);
  EXPECT_EQ(file.GetSize(), 5u);
  file.SetPosition(1);
  EXPECT_EQ(file.ReadAll(), "ello");
  EXPECT_EQ(file.GetPosition(), 5u);
  char byte;
  EXPECT_EQ(file.Read(&byte, 1), 0u);
  EXPECT_EQ(file.Read(nullptr, 0), 0u);
}

TEST_F(Files, CreatingEmptiesAnOldFile) {
  TVqFileStream(Path("f"), TVqFileMode::fmCreate).Write("old and long");
  TVqFileStream(Path("f"), TVqFileMode::fmCreate).Write("new");
  EXPECT_EQ(TVqFileStream(Path("f"), TVqFileMode::fmOpenRead).ReadAll(), "new");
}

TEST_F(Files, ReadingAndWritingMayAlternate) {
  TVqFileStream file(Path("f"), TVqFileMode::fmCreate);
  file.Write("0123456789");
  file.SetPosition(2);
  char bytes[2];
  ASSERT_EQ(file.Read(bytes, 2), 2u);
  file.Write("ab");
  ASSERT_EQ(file.Read(bytes, 2), 2u);
  EXPECT_EQ(std::string(bytes, 2), "67");
  EXPECT_EQ(file.GetPosition(), 8u);
  file.SetPosition(0);
  EXPECT_EQ(file.ReadAll(), "0123ab6789");
  file.Write("!");
  EXPECT_EQ(file.GetSize(), 11u);
}

TEST_F(Files, AReaderSeesWhatIsAppendedLater) {
  TVqFileStream writer(Path("f"), TVqFileMode::fmCreate);
  TVqFileStream reader(Path("f"), TVqFileMode::fmOpenRead);
  EXPECT_EQ(reader.ReadAll(), "");
  writer.Write("late");
  EXPECT_EQ(writer.GetSize(), 4u);
  EXPECT_EQ(reader.GetSize(), 4u);
  EXPECT_EQ(reader.ReadAll(), "late");
}

TEST_F(Files, SizeIsThatOfTheOpenFileWhateverItsNameIsNow) {
  TVqFileStream file(Path("f"), TVqFileMode::fmCreate);
  file.Write("12345");
  std::filesystem::rename(FFolder / "f", FFolder / "g");
  EXPECT_EQ(file.GetSize(), 5u);
}

TEST_F(Files, ThatAreNotThereRaise) {
  const string name = Path("missing");
  try {
    TVqFileStream file(name, TVqFileMode::fmOpenRead);
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_EQ(error.Message(), "The file \"" + name + "\" could not be opened: No such file or directory.");
  }
  try {
    TVqFileStream file(name + "/file", TVqFileMode::fmCreate);
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_TRUE(error.Message().Contains("could not be created")) << error.what();
  }
  EXPECT_THROW(TVqFileStream("", TVqFileMode::fmOpenRead), EStreamError);
}

TEST_F(Files, ANameWithAZeroIsNotTheNameBeforeIt) {
  TVqFileStream(Path("f"), TVqFileMode::fmCreate).Write("x");
  const string name = Path("f") + string(std::u16string(u"\0.txt", 5));
  EXPECT_THROW(TVqFileStream(name, TVqFileMode::fmOpenRead), EStreamError);
  EXPECT_THROW(TVqFileStream(name, TVqFileMode::fmCreate), EStreamError);
}

TEST_F(Files, OpenedForReadingCannotBeWritten) {
  TVqFileStream(Path("f"), TVqFileMode::fmCreate).Write("x");
  TVqFileStream file(Path("f"), TVqFileMode::fmOpenRead);
  try {
    file.Write("y");
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_TRUE(error.Message().Contains("could not be written: ")) << error.what();
  }
  file.SetPosition(0);
  EXPECT_EQ(file.ReadAll(), "x");
}

TEST_F(Files, PositionsThatNoFileHasRaise) {
  TVqFileStream file(Path("f"), TVqFileMode::fmCreate);
  EXPECT_THROW(file.SetPosition(std::numeric_limits<std::uint64_t>::max()), EStreamError);
  file.SetPosition(3);
  file.Write("x");
  file.SetPosition(0);
  EXPECT_EQ(file.ReadAll(), std::string("\0\0\0x", 4));
}

TEST_F(Files, ClosedOnesRaise) {
  TVqFileStream file(Path("f"), TVqFileMode::fmCreate);
  file.Close();
  file.Close();
  char byte = 0;
  const string message = "The file \"" + Path("f") + "\" is closed.";
  const auto closed = [&](auto operation) {
    try {
      operation();
      FAIL();
    } catch (const EStreamError& error) {
      EXPECT_EQ(error.Message(), message);
    }
  };
  closed([&] { file.Read(&byte, 1); });
  closed([&] { file.Write("x"); });
  closed([&] { static_cast<void>(file.GetPosition()); });
  closed([&] { file.SetPosition(0); });
  closed([&] { static_cast<void>(file.GetSize()); });
}

}  // namespace
}  // namespace velmore
