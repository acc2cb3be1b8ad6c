#include "platform/os/uVqSafeFileName.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

struct TName {
  string Hostile;
  string Safe;
};

const string kLong = std::string(300, 'a');

const TName kNames[] = {
    // Paths: the last component alone.
    {"../x", "x"},
    {"..\\x", "x"},
    {"../../etc/passwd", "passwd"},
    {"/etc/passwd", "passwd"},
    {"C:\\Windows\\system.ini", "system.ini"},
    {"C:evil.txt", "C_evil.txt"},
    {"\\\\server\\share\\a.txt", "a.txt"},
    {"folder/", "file"},
    {"a/b\\c", "c"},
    {"..", "file"},
    {".", "file"},
    {"...", "file"},
    {"../..", "file"},
    {"", "file"},
    {" ", "file"},
    {"/", "file"},
    // Hidden files and folders.
    {".bashrc", "bashrc"},
    {"../.ssh", "ssh"},
    {". .profile", "profile"},
    // What Windows does not take, or loses.
    {"a.txt.", "a.txt"},
    {"a.txt ", "a.txt"},
    {"a.txt . .", "a.txt"},
    {"a<b>c", "a_b_c"},
    {"a\"b|c?d*e", "a_b_c_d_e"},
    {"a.txt:stream", "a.txt_stream"},
    {"a.txt::$DATA", "a.txt__$DATA"},
    // Devices, with any extension and in any case.
    {"CON", "_CON"},
    {"con", "_con"},
    {"nul.txt", "_nul.txt"},
    {"Aux.tar.gz", "_Aux.tar.gz"},
    {"prn .txt", "_prn .txt"},
    {"COM1", "_COM1"},
    {"com9.log", "_com9.log"},
    {"LPT0", "_LPT0"},
    {u"COM\u00B9", u"_COM\u00B9"},
    {"conin$", "_conin$"},
    {"CLOCK$.txt", "_CLOCK$.txt"},
    {"console.txt", "console.txt"},
    {"COM10", "COM10"},
    {"con_", "con_"},
    // Controls, and what is not seen.
    {std::u16string(u"a\0b", 3), "a_b"},
    {"a\nb\tc", "a_b_c"},
    {"a\x1B[31mb", "a_[31mb"},
    {u"a\u007Fb\u0085c", "a_b_c"},
    {u"invoice\u202Etxt.exe", "invoice_txt.exe"},
    {u"a\u200Bb\uFEFFc", "a_b_c"},
    {u"a\u2028b", "a_b"},
    {u"a\u2066b\u2069", "a_b_"},
    {std::u16string(u"a\xD800") + u"b", "a_b"},
    {std::u16string(u"a\xDC00"), "a_"},
    {u"a\uFFFE", "a_"},
    // For a command an option.
    {"-rf", "_rf"},
    {"--output=x", "_-output=x"},
    // Too long.
    {kLong, string(std::string(200, 'a'))},
    {kLong + ".pdf", string(std::string(196, 'a') + ".pdf")},
    {"a." + kLong, string("a." + std::string(198, 'a'))},
    // Nothing to be said against.
    {"report.pdf", "report.pdf"},
    {u"\u00DCbersicht M\u00E4rz.xlsx", u"\u00DCbersicht M\u00E4rz.xlsx"},
    {u"\u65E5\u672C\u8A9E.txt", u"\u65E5\u672C\u8A9E.txt"},
    {u"smile \U0001F600.png", u"smile \U0001F600.png"},
    {"archive.tar.gz", "archive.tar.gz"},
    {"~$draft & co (1)'.docx", "~$draft & co (1)'.docx"},
};

TEST(SafeFileName, OfEveryHostileName) {
  EXPECT_GE(std::size(kNames), 50u);
  for (const TName& name : kNames) EXPECT_EQ(VqSafeFileName(name.Hostile), name.Safe) << name.Hostile.utf8();
}

TEST(SafeFileName, IsSafeAlready) {
  for (const TName& name : kNames) EXPECT_EQ(VqSafeFileName(name.Safe), name.Safe);
}

TEST(SafeFileName, IsCutBetweenCharacters) {
  std::u16string name;
  for (int i = 0; i < 100; ++i) name += u"\U0001F600";
  const string safe = VqSafeFileName(name + u".png");
  EXPECT_LE(safe.utf8().size(), 200u);
  EXPECT_TRUE(safe.EndsWith(u"\U0001F600.png"));
}

TEST(SafeFileName, MakesAFileInTheFolderThatWasChosen) {
  const TemporaryFolder folder;
  for (const TName& name : kNames) {
    const std::filesystem::path path = std::filesystem::path(folder.Path()) / VqSafeFileName(name.Hostile).utf8();
    std::ofstream(path) << "x";
    EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path;
    EXPECT_EQ(std::filesystem::canonical(path).parent_path(), std::filesystem::canonical(folder.Path()));
  }
}

}  // namespace
}  // namespace velmore
