#include "platform/common/uVqStdStreams.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/common/uVqNetEncoding.h"

namespace velmore {
namespace {

using namespace std::string_literals;

/// What operations of the library look like: one wants a reference, one a pointer.
std::string Whole(TVqStream& stream) {
  return stream.ReadAll();
}
std::string WholeOf(TVqStream* stream) {
  return stream->ReadAll();
}
void Save(TVqStream& stream, std::string_view bytes) {
  stream.Write(bytes);
}

/// A medium without positions, such as a pipe, that gives what it has in pieces and may break.
class TPipe : public std::streambuf {
 public:
  explicit TPipe(std::string content = {}, std::size_t room = std::string::npos)
      : FContent(std::move(content)), FRoom(room) {}

  std::string Written;

 protected:
  int_type underflow() override {
    if (FAt >= FContent.size()) {
      if (FRoom == 0) throw std::ios_base::failure("broken");
      return traits_type::eof();
    }
    FByte = FContent[FAt++];
    setg(&FByte, &FByte, &FByte + 1);
    return traits_type::to_int_type(FByte);
  }
  int_type overflow(int_type byte) override {
    if (Written.size() >= FRoom) return traits_type::eof();
    Written += traits_type::to_char_type(byte);
    return byte;
  }

 private:
  std::string FContent;
  std::size_t FRoom;
  std::size_t FAt = 0;
  char FByte = 0;
};

TEST(ReadFrom, AStreamIsReadFromWhereItStands) {
  std::istringstream in("header:body");
  std::string header;
  std::getline(in, header, ':');
  EXPECT_EQ(Whole(VqReadFrom(in)), "body");
  std::istringstream again("body");
  EXPECT_EQ(WholeOf(VqReadFrom(again)), "body");
  std::stringstream both("both ways");
  EXPECT_EQ(Whole(VqReadFrom(both)), "both ways");
  std::istringstream empty;
  EXPECT_EQ(Whole(VqReadFrom(empty)), "");
}

TEST(ReadFrom, APipeIsReadWhole) {
  const std::string content(40000, 'x');
  TPipe pipe(content + '\0' + "end");
  std::istream in(&pipe);
  TVqInputStream stream(in);
  EXPECT_EQ(stream.GetSize(), content.size() + 4);
  EXPECT_EQ(stream.ReadAll(), content + '\0' + "end");
  stream.SetPosition(content.size() + 1);
  EXPECT_EQ(stream.ReadAll(), "end") << "it is in memory";
}

TEST(ReadFrom, PositionsCountFromTheStart) {
  std::istringstream in("..0123456789");
  in.ignore(2);
  TVqInputStream stream(in);
  EXPECT_EQ(stream.GetPosition(), 0u);
  EXPECT_EQ(stream.GetSize(), 10u);
  char buffer[4] = {};
  EXPECT_EQ(stream.Read(buffer, 3), 3u);
  EXPECT_EQ(std::string(buffer), "012");
  EXPECT_EQ(stream.GetSize(), 10u);
  EXPECT_EQ(stream.ReadAll(), "3456789") << "looking at the size moved nothing";
  stream.SetPosition(8);
  EXPECT_EQ(stream.ReadAll(), "89");
  EXPECT_EQ(stream.GetPosition(), 10u);
  for (const std::uint64_t behind : {std::uint64_t{11}, std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
    stream.SetPosition(behind);
    EXPECT_EQ(stream.Read(buffer, 1), 0u) << behind;
    EXPECT_EQ(stream.GetPosition(), behind);
  }
  stream.SetPosition(9);
  EXPECT_EQ(stream.ReadAll(), "9");
  EXPECT_EQ(stream.Read(nullptr, 0), 0u);
}

TEST(ReadFrom, AFileThatWasNotFoundIsNoEmptyOne) {
  std::ifstream missing("no such file");
  try {
    Whole(VqReadFrom(missing));
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The stream cannot be read.");
  }
  std::istream none(nullptr);
  EXPECT_THROW(TVqInputStream{none}, EStreamError);
}

TEST(ReadFrom, AMediumThatBreaksRaises) {
  TPipe pipe("abc", 0);
  std::istream in(&pipe);
  EXPECT_THROW(Whole(VqReadFrom(in)), EStreamError);
}

TEST(ReadFrom, MasksOfTheStreamPlayNoPart) {
  std::istringstream in("abc");
  in.exceptions(std::ios::eofbit | std::ios::failbit | std::ios::badbit);
  EXPECT_EQ(Whole(VqReadFrom(in)), "abc");
}

TEST(ReadFrom, BytesInMemoryAreNotCopied) {
  const std::string text = "a\0b"s;
  EXPECT_EQ(Whole(VqReadFrom(text)), text);
  EXPECT_EQ(Whole(VqReadFrom("literal")), "literal");
  EXPECT_EQ(WholeOf(VqReadFrom(TBytes{1, 0, 255})), "\x01\0\xFF"s);
  EXPECT_EQ(Whole(VqReadFrom(std::vector<std::byte>{std::byte{65}, std::byte{66}})), "AB");
  std::array<std::byte, 3> bytes{std::byte{65}, std::byte{66}, std::byte{67}};
  EXPECT_EQ(Whole(VqReadFrom(std::span<const std::byte>(bytes))), "ABC");
  EXPECT_EQ(Whole(VqReadFrom(std::span<const std::byte>())), "");

  TVqSpanStream stream(bytes);
  bytes[0] = std::byte{90};
  EXPECT_EQ(stream.GetSize(), 3u);
  stream.SetPosition(1);
  EXPECT_EQ(stream.ReadAll(), "BC");
  stream.SetPosition(0);
  EXPECT_EQ(VqBase64Encode(stream), VqBase64Encode("ZBC")) << "the bytes are the caller's";
  stream.SetPosition(~std::uint64_t{0});
  char byte;
  EXPECT_EQ(stream.Read(&byte, 1), 0u);
  EXPECT_EQ(stream.Read(nullptr, 0), 0u);
}

TEST(ReadFrom, NothingIsWritten) {
  std::stringstream both("abc");
  TVqInputStream in(both);
  EXPECT_THROW(in.Write("x"), EStreamError);
  TVqSpanStream span({});
  EXPECT_THROW(span.Write("x"), EStreamError);
}

TEST(WriteTo, AStreamIsWrittenFromWhereItStands) {
  std::ostringstream out;
  out << "head:";
  Save(VqWriteTo(out), "a\0b"s);
  Save(VqWriteTo(out), "!");
  EXPECT_EQ(out.str(), "head:a\0b!"s);
  std::stringstream both;
  Save(VqWriteTo(both), "both");
  EXPECT_EQ(both.str(), "both");
}

TEST(WriteTo, PositionsCountFromTheStart) {
  std::ostringstream out;
  out << "..";
  TVqOutputStream stream(out);
  stream.Write("0123456789");
  EXPECT_EQ(stream.GetSize(), 10u);
  EXPECT_EQ(stream.GetPosition(), 10u);
  stream.SetPosition(2);
  stream.Write("xy");
  EXPECT_EQ(stream.GetSize(), 10u);
  stream.SetPosition(12);
  EXPECT_EQ(stream.GetSize(), 10u) << "a position alone makes nothing";
  stream.Write("z");
  EXPECT_EQ(out.str(), "..01xy456789\0\0z"s) << "a gap is filled with zeros";
  EXPECT_EQ(stream.GetSize(), 13u);
  stream.Write(nullptr, 0);
  EXPECT_THROW(stream.ReadAll(), EStreamError);
}

TEST(WriteTo, APipeTakesBytesInOneDirection) {
  TPipe pipe;
  std::ostream out(&pipe);
  TVqOutputStream stream(out);
  stream.Write("ab");
  stream.SetPosition(4);
  stream.Write("c");
  EXPECT_EQ(pipe.Written, "ab\0\0c"s) << "a gap needs no position";
  stream.SetPosition(0);
  try {
    stream.Write("x");
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The stream cannot be positioned.");
  }
  stream.SetPosition(5);
  stream.Write("d");
  EXPECT_EQ(pipe.Written, "ab\0\0cd"s);
}

TEST(WriteTo, AFullMediumRaises) {
  TPipe pipe({}, 3);
  std::ostream out(&pipe);
  TVqOutputStream stream(out);
  try {
    stream.Write("abcd");
    FAIL();
  } catch (const EStreamError& error) {
    EXPECT_STREQ(error.what(), "The stream cannot be written.");
  }
  EXPECT_EQ(stream.GetSize(), 3u) << "what went out counts";
  std::ofstream closed;
  closed.setstate(std::ios::failbit);
  EXPECT_THROW(TVqOutputStream{closed}, EStreamError);
}

TEST(WriteTo, AFileComesBack) {
  const auto path = std::filesystem::temp_directory_path() / ("velmore-std-streams-" + std::to_string(::getpid()));
  std::string content;
  for (int i = 0; i < 100000; ++i) content += static_cast<char>(i * 7);
  {
    std::ofstream out(path, std::ios::binary);
    Save(VqWriteTo(out), content);
  }
  {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(Whole(VqReadFrom(in)) == content);
    EXPECT_EQ(Whole(VqReadFrom(in)), "") << "it was read to its end";
  }
  {
    TVqFileStream file(path, TVqFileMode::fmOpenRead);  // the path itself
    EXPECT_TRUE(file.ReadAll() == content);
  }
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace velmore
