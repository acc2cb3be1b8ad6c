#include "platform/os/uVqRegistry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqFileRegistry.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

constexpr auto kUser = TVqRegistryRoot::currentUser;
constexpr auto kMachine = TVqRegistryRoot::localMachine;
constexpr std::uint32_t kAll = kVqKeyRead | kVqKeyWrite;

class RegistryTest : public ::testing::Test {
 protected:
  RegistryTest()
      : FRegistry(MakeRef<TVqFileRegistry>(FFolder.Path("user/Registry.txt"), FFolder.Path("machine/Registry.txt"))) {}

  std::string File() const { return FFolder.Path("user/Registry.txt"); }
  TVqRef<IVqRegistryKey> Make(const string& path, std::uint32_t access = kAll, TVqRegistryRoot root = kUser) {
    return FRegistry->OpenKey(root, path, access, true);
  }
  TVqRef<IVqRegistryKey> Open(const string& path, std::uint32_t access = kAll, TVqRegistryRoot root = kUser) {
    return FRegistry->OpenKey(root, path, access, false);
  }
  void WriteOne(const string& path, const string& name, const string& value) {
    const auto key = Make(path);
    key->WriteString(name, value);
    key->Close();
  }
  /// Puts this in place of the file.
  void SetFile(const std::string& text) {
    std::filesystem::create_directories(FFolder.Path("user"));
    TemporaryFolder::Write(File(), text);
  }
  template <typename TAction>
  static EVqRegistryError FailureOf(TAction action) {
    try {
      action();
    } catch (const EVqRegistryError& failure) {
      return failure;
    }
    ADD_FAILURE() << "no error";
    return EVqRegistryError("", 0);
  }

  TemporaryFolder FFolder;
  TVqRef<IVqRegistry> FRegistry;
};

TEST_F(RegistryTest, WhatWasWrittenIsReadAgain) {
  EXPECT_FALSE(Open("SOFTWARE\\Velmore"));
  EXPECT_FALSE(std::filesystem::exists(FFolder.Path("user"))) << "looking makes nothing";
  const auto key = Make("SOFTWARE\\Velmore\\EWS");
  key->WriteString("Server", "mail.example.com");
  key->WriteBoolean("Yes", true);
  key->WriteBoolean("No", false);
  key->WriteInteger("Number", 0xFFFFFFFF);
  key->WriteString("Empty", "");
  EXPECT_EQ(key->ReadString("Server"), "mail.example.com") << "before it is closed, too";
  key->Close();

  const auto again = Open("SOFTWARE\\Velmore\\EWS");
  ASSERT_TRUE(again);
  EXPECT_EQ(again->ReadString("Server"), "mail.example.com");
  EXPECT_TRUE(again->ReadBoolean("Yes"));
  EXPECT_FALSE(again->ReadBoolean("No"));
  EXPECT_EQ(again->ReadInteger("Number"), 0xFFFFFFFF);
  EXPECT_TRUE(again->ValueExists("Empty"));
  EXPECT_EQ(again->ReadString("Empty"), "");
  EXPECT_EQ(again->GetValueNames(), (std::vector<string>{"Server", "Yes", "No", "Number", "Empty"}));
  EXPECT_FALSE(again->ValueExists("None"));
  EXPECT_EQ(again->ReadString("None"), "");
  EXPECT_FALSE(again->ReadBoolean("None"));
  EXPECT_EQ(Open("SOFTWARE")->GetKeyNames(), std::vector<string>{"Velmore"});
  EXPECT_TRUE(Open("SOFTWARE")->GetValueNames().empty());
}

TEST_F(RegistryTest, TheFileIsATextThatCanBeRead) {
  const auto key = Make("SOFTWARE\\Velmore\\EWS\\Profiles\\Anna");
  key->WriteString("UserName", "CONTOSO\\anna");
  key->WriteBoolean("IgnoreRevocation", true);
  key->Close();
  EXPECT_EQ(TemporaryFolder::Read(File()),
            "Velmore Registry "
            "1\n[SOFTWARE]\n[SOFTWARE\\Velmore]\n[SOFTWARE\\Velmore\\EWS]\n[SOFTWARE\\Velmore\\EWS\\Profiles]\n"
            "[SOFTWARE\\Velmore\\EWS\\Profiles\\Anna]\n\"UserName\"=\"CONTOSO\\\\anna\"\n\"IgnoreRevocation\"=dword:"
            "00000001\nend\n");
  SetFile("\xEF\xBB\xBFVelmore Registry 1\r\n\r\n[A\\B]\r\n\"x\"=\"1\"\r\n[a]\r\n\"Y\"=dword:0000000a\r\nend\r\n");
  EXPECT_EQ(Open("a\\b")->ReadString("X"), "1") << "written by hand, with an editor of Windows";
  EXPECT_EQ(Open("A")->ReadInteger("y"), 10U);
}

TEST_F(RegistryTest, CaseDoesNotCountAndIsKept) {
  WriteOne("Software\\Grüße", "Straße", "1");
  WriteOne("SOFTWARE\\GRÜSSE2", "x", "1");
  const auto key = Make("SOFTWARE\\GRÜßE");
  EXPECT_EQ(Open("SOFTWARE")->GetKeyNames(), (std::vector<string>{u"Grüße", u"GRÜSSE2"}));
  key->WriteString("STRAßE", "2");
  key->Close();
  EXPECT_EQ(Open("software\\grüße")->GetValueNames(), std::vector<string>{u"Straße"});
  EXPECT_EQ(Open("software\\grüße")->ReadString(u"straße"), "2");
}

TEST_F(RegistryTest, AnyTextComesBackAsItWas) {
  const string texts[] = {u"a\\b",
                          u"say \"hello\"",
                          u"line\r\nline\n",
                          string(std::u16string(u"tab\t zero \0 bell \x07 del \x7F", 24)),
                          u"\xD83D\xDE00 ]=[",
                          u"50 % of %41",
                          u"\\u0041 \\n",
                          u"end",
                          u"[key]",
                          u" ",
                          u"dword:00000001"};
  const auto key = Make("A");
  for (const string& text : texts) key->WriteString(text, text);
  key->WriteString("", "the unnamed value");
  key->Close();
  for (const string& text : texts) WriteOne("Keys\\" + text.Replace("\\", "/"), "x", text);

  const auto again = Open("A");
  for (const string& text : texts) EXPECT_EQ(again->ReadString(text), text) << text;
  EXPECT_EQ(again->ReadString(""), "the unnamed value");
  std::vector<string> names = Open("Keys")->GetKeyNames();
  ASSERT_EQ(names.size(), std::size(texts));
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(names[i], texts[i].Replace("\\", "/"));
    EXPECT_EQ(Open("Keys\\" + names[i])->ReadString("x"), texts[i]);
  }
}

TEST_F(RegistryTest, SeparatorsAtTheEndsOfAPathDoNotCount) {
  WriteOne("\\A\\\\B\\", "x", "1");
  EXPECT_EQ(Open("A\\B")->ReadString("X"), "1");
  EXPECT_EQ(Open("")->GetKeyNames(), std::vector<string>{"A"});
  EXPECT_EQ(VqRegistryNames("\\A\\\\B\\"), (std::vector<string>{"A", "B"}));
  EXPECT_TRUE(VqRegistryNames("").empty());
}

TEST_F(RegistryTest, TheRootsAreApartAndReadableForTheirUsers) {
  WriteOne("A", "x", "user");
  const auto key = Make("A", kAll, kMachine);
  key->WriteString("x", "machine");
  key->Close();
  EXPECT_EQ(Open("A")->ReadString("x"), "user");
  EXPECT_EQ(Open("A", kAll, kMachine)->ReadString("x"), "machine");
  EXPECT_EQ(TemporaryFolder::Mode(File()), 0600U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("user")), 0700U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("machine/Registry.txt")), 0644U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("machine")) & 055U, 055U & ~::umask(022));
  ::umask(022);
  ::chmod(FFolder.Path("machine/Registry.txt").c_str(), 0640);
  const auto other = Make("B", kAll, kMachine);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("machine/Registry.txt")), 0640U) << "what an administrator chose stays";
}

TEST_F(RegistryTest, RightsAreKeptAndHeld) {
  WriteOne("A", "x", "1");
  Make("A\\Below");
  for (const std::uint32_t access : {131609U, 131615U, 131609U + 512U, 131615U + 512U, 1U, 2U, 8U}) {
    const auto key = Open("A", access);
    EXPECT_EQ(key->GetAccess(), access) << "views do not exist here, and the number stays as it was given";
    const auto allowed = [&](std::uint32_t right, auto action) {
      if (access & right)
        EXPECT_NO_THROW(action()) << access;
      else
        EXPECT_EQ(FailureOf(action).GetNumber(), kVqRegistryAccessDenied) << access;
    };
    allowed(kVqKeyQueryValue, [&] { key->ReadString("x"); });
    allowed(kVqKeyQueryValue, [&] { key->ReadInteger("none"); });
    allowed(kVqKeyQueryValue, [&] { key->ValueExists("x"); });
    allowed(kVqKeyQueryValue, [&] { key->GetValueNames(); });
    allowed(kVqKeyEnumerate, [&] { key->GetKeyNames(); });
    allowed(kVqKeySetValue, [&] { key->WriteString("y", "1"); });
    allowed(kVqKeySetValue, [&] { key->WriteInteger("y", 1); });
    allowed(kVqKeySetValue, [&] { key->DeleteValue("y"); });
    key->Close();
  }
  EXPECT_EQ(FailureOf([&] { Open("A", kVqKeyRead)->WriteString("y", "1"); }).Message(),
            "The registry key \"HKEY_CURRENT_USER\\A\" cannot be changed: access is denied. It was opened without the "
            "right to do so.");
  EXPECT_EQ(FailureOf([&] { FRegistry->DeleteKey(kUser, "A", kVqKeyRead); }).Message(),
            "The registry key \"HKEY_CURRENT_USER\\A\" cannot be deleted: access is denied. It was asked for without "
            "the right to do so.");
  EXPECT_TRUE(Make("New", kVqKeyRead)) << "to make a key needs no right on it";
}

TEST_F(RegistryTest, AValueOfAnotherKindIsAnError) {
  const auto key = Make("A");
  key->WriteString("Text", "1");
  key->WriteInteger("Number", 1);
  EXPECT_EQ(FailureOf([&] { key->ReadBoolean("Text"); }).Message(),
            "The value \"Text\" of the registry key \"HKEY_CURRENT_USER\\A\" is no number.");
  EXPECT_EQ(FailureOf([&] { key->ReadString("Number"); }).GetNumber(), kVqRegistryWrongKind);
  key->WriteString("Number", "now a text");
  EXPECT_EQ(key->ReadString("Number"), "now a text");
}

TEST_F(RegistryTest, DeletedValuesAndKeysAreGone) {
  WriteOne("A", "x", "1");
  WriteOne("A\\B\\C", "y", "1");
  WriteOne("A\\D", "z", "1");
  const auto key = Open("A");
  EXPECT_TRUE(key->DeleteValue("X"));
  EXPECT_FALSE(key->DeleteValue("X"));
  key->Close();
  EXPECT_FALSE(Open("A")->ValueExists("x"));

  EXPECT_TRUE(FRegistry->DeleteKey(kUser, "a\\b", kAll));
  EXPECT_FALSE(FRegistry->DeleteKey(kUser, "A\\B", kAll));
  EXPECT_FALSE(Open("A\\B\\C"));
  EXPECT_EQ(Open("A")->GetKeyNames(), std::vector<string>{"D"});
  EXPECT_TRUE(Make("A\\B")->GetKeyNames().empty()) << "what was below does not come back";
  EXPECT_EQ(FailureOf([&] { FRegistry->DeleteKey(kUser, "\\", kAll); }).Message(),
            "A root of the registry cannot be deleted.");
}

TEST_F(RegistryTest, AClosedKeyIsOfNoUse) {
  const auto key = Make("A");
  key->Close();
  key->Close();
  EXPECT_THROW(key->ReadString("x"), EVqException);
  try {
    key->WriteString("x", "1");
    ADD_FAILURE() << "was written";
  } catch (const EVqException& failure) {
    EXPECT_EQ(failure.Message(), "The registry key \"HKEY_CURRENT_USER\\A\" is closed.");
  }
}

TEST_F(RegistryTest, WhatIsNotClosedIsNotWritten) {
  WriteOne("A", "x", "1");
  {
    const auto key = Open("A");
    key->WriteString("x", "2");
    key->DeleteValue("x");
    EXPECT_EQ(Open("A")->ReadString("x"), "1") << "others see the old state until then";
  }
  EXPECT_EQ(Open("A")->ReadString("x"), "1");
}

TEST_F(RegistryTest, AKeyThatSomebodyDeletedMeanwhileIsMadeAgain) {
  WriteOne("A", "old", "1");
  const auto key = Open("A");
  key->WriteString("new", "2");
  FRegistry->DeleteKey(kUser, "A", kAll);
  key->Close();
  EXPECT_EQ(Open("A")->GetValueNames(), std::vector<string>{"new"});
}

TEST_F(RegistryTest, NamesAndPathsHaveLimits) {
  EXPECT_TRUE(Make(string(std::u16string(255, u'n'))));
  EXPECT_EQ(FailureOf([&] { Make(string(std::u16string(256, u'n'))); }).GetNumber(), kVqRegistryBadName);
  string deep;
  for (int i = 0; i < 512; ++i) deep += "\\a";
  EXPECT_TRUE(Make(deep));
  EXPECT_TRUE(Open(deep));
  EXPECT_EQ(FailureOf([&] { Make(deep + "\\a"); }).GetNumber(), kVqRegistryBadName);
}

TEST_F(RegistryTest, ADamagedFileIsNamedWithItsLineAndNeverWrittenOver) {
  const std::string head = "Velmore Registry 1\n";
  const std::pair<std::string, const char*> files[] = {
      {"", "the first line must be \"Velmore Registry 1\" (line 1)"},
      {"Velmore Registry 2\nend\n", "the first line must be \"Velmore Registry 1\" (line 1)"},
      {head, "its last line, \"end\", is missing (line 1)"},
      {head + "[A]\n\"x\"=\"1\"\n", "its last line, \"end\", is missing (line 3)"},
      {head + "en", "a value stands before the first key (line 2)"},
      {head + "[A]\nen", "neither a key nor a value (line 3)"},
      {head + "end\n[A]\n", "something stands behind its last line (line 2)"},
      {head + "\"x\"=\"1\"\nend\n", "a value stands before the first key (line 2)"},
      {head + "[A\nend\n", "a key ends with \"]\" (line 2)"},
      {head + "[]\nend\n", "the name of a key is empty or has a character that must be escaped (line 2)"},
      {head + "[A\\\\B]\nend\n", "the name of a key is empty or has a character that must be escaped (line 2)"},
      {head + "[A%4]\nend\n", "the name of a key is empty or has a character that must be escaped (line 2)"},
      {head + "[A%FF]\nend\n", "the name of a key is empty or has a character that must be escaped (line 2)"},
      {head + "[A\tB]\nend\n", "the name of a key is empty or has a character that must be escaped (line 2)"},
      {head + "[A]\n\"x\"\nend\n", "neither a key nor a value (line 3)"},
      {head + "[A]\nx=\"1\"\nend\n", "neither a key nor a value (line 3)"},
      {head + "[A]\n\"x\\q\"=\"1\"\nend\n", "neither a key nor a value (line 3)"},
      {head + "[A]\n\"x\\\nend\n", "neither a key nor a value (line 3)"},
      {head + "[A]\n\"x\"=\"1\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=\"1\" \nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=\"\\u00E9\"\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=dword:1\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=dword:0000000g\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=dword:000000001\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[A]\n\"x\"=hex:00\nend\n", "neither a text in quotes nor a number (line 3)"},
      {head + "[\xFF]\nend\n", "it is no UTF-8"},
  };
  for (const auto& [text, reason] : files) {
    SetFile(text);
    const string expected = "The registry's file \"" + VqNativePath(File()) + "\" is damaged: " + reason +
                            ". Repair it or bring back an older one; it is not written over.";
    EXPECT_EQ(FailureOf([&] { Open("A"); }).Message(), expected);
    EXPECT_EQ(FailureOf([&] { Make("A"); }).Message(), expected);
    EXPECT_EQ(FailureOf([&] { FRegistry->DeleteKey(kUser, "A", kAll); }).GetNumber(), kVqRegistryDamaged);
    EXPECT_EQ(TemporaryFolder::Read(File()), text);
  }
  std::string deep = head + "[a";
  for (int i = 0; i < 100000; ++i) deep += "\\a";
  SetFile(deep + "]\nend\n");
  EXPECT_TRUE(FailureOf([&] { Open("a"); }).Message().Contains("keys stand in more than 512 levels (line 2)"));
}

TEST_F(RegistryTest, AFileThatIsDamagedBetweenOpeningAndClosingIsNotWrittenOver) {
  WriteOne("A", "x", "1");
  const auto key = Open("A");
  key->WriteString("x", "2");
  SetFile("something else");
  EXPECT_EQ(FailureOf([&] { key->Close(); }).GetNumber(), kVqRegistryDamaged);
  EXPECT_EQ(TemporaryFolder::Read(File()), "something else");
}

TEST_F(RegistryTest, AFullDiskLeavesTheOldState) {
  WriteOne("A", "x", "1");
  const std::string before = TemporaryFolder::Read(File());
  const int code =
      ChildProcess([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit little{20, 20};
        ::setrlimit(RLIMIT_FSIZE, &little);
        const auto key = Open("A");
        key->WriteString("x", "2");
        const EVqRegistryError failure = FailureOf([&] { key->Close(); });
        return failure.GetNumber() == kVqRegistryFailed &&
                       failure.Message().StartsWith("The registry key \"HKEY_CURRENT_USER\\A\" cannot be changed. ")
                   ? 0
                   : 1;
      }).Wait();
  EXPECT_EQ(code, 0);
  EXPECT_EQ(TemporaryFolder::Read(File()), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(FFolder.Path("user")), {}), 2)
      << "the file and its lock, nothing half written";
}

TEST_F(RegistryTest, WhatTheSystemDoesNotAllowIsDenied) {
  WriteOne("A", "x", "1");
  Make("A", kAll, kMachine);
  for (const char* folder : {"", "user", "machine"}) ::chmod(FFolder.Path(folder).c_str(), 0755);
  const int code = RunUnprivileged([&] {
    if (::geteuid() != 65534) return 0;  // only the administrator's files can be closed to others
    const EVqRegistryError noReading = FailureOf([&] { Open("A"); });
    if (noReading.GetNumber() != kVqRegistryAccessDenied ||
        !noReading.Message().StartsWith("The registry key \"HKEY_CURRENT_USER\\A\" cannot be read: access is denied. "))
      return 1;
    if (!Open("A", kVqKeyRead, kMachine)) return 2;  // everybody reads the machine's
    const EVqRegistryError noMaking = FailureOf([&] { Make("B", kVqKeyRead, kMachine); });
    if (noMaking.GetNumber() != kVqRegistryAccessDenied ||
        !noMaking.Message().Contains("HKEY_LOCAL_MACHINE\\B\" cannot be changed: access is denied. "))
      return 3;
    const auto key = Open("A", kAll, kMachine);
    key->WriteString("x", "1");
    return FailureOf([&] { key->Close(); }).GetNumber() == kVqRegistryAccessDenied ? 0 : 4;
  });
  EXPECT_EQ(code, 0);
}

TEST_F(RegistryTest, ProcessesThatWriteAtOnceLoseNothing) {
  constexpr int kProcesses = 4, kValues = 6;
  std::vector<ChildProcess> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.emplace_back([&, process] {
      for (int i = 0; i < kValues; ++i) {
        WriteOne("Shared", IntToStr(process) + "-" + IntToStr(i), IntToStr(i));
        WriteOne("Own" + IntToStr(process) + "\\Key" + IntToStr(i), "x", IntToStr(process));
        if (i % 3 == 2 && !FRegistry->DeleteKey(kUser, "Own" + IntToStr(process) + "\\Key" + IntToStr(i), kAll))
          return 1;
        if (!Open("Shared")->ValueExists(IntToStr(process) + "-" + IntToStr(i))) return 2;
      }
      return 0;
    });
  }
  for (ChildProcess& child : children) EXPECT_EQ(child.Wait(), 0);
  const auto shared = Open("Shared");
  EXPECT_EQ(shared->GetValueNames().size(), std::size_t{kProcesses * kValues});
  for (int process = 0; process < kProcesses; ++process) {
    EXPECT_EQ(Open("Own" + IntToStr(process))->GetKeyNames().size(), std::size_t{kValues / 3 * 2});
    for (int i = 0; i < kValues; ++i) EXPECT_EQ(shared->ReadString(IntToStr(process) + "-" + IntToStr(i)), IntToStr(i));
  }
}

TEST_F(RegistryTest, TheFileBehindALinkIsReplacedAndTheLinkStays) {
  WriteOne("A", "x", "1");
  std::filesystem::rename(File(), FFolder.Path("elsewhere"));
  std::filesystem::create_symlink(FFolder.Path("elsewhere"), File());
  WriteOne("A", "x", "2");
  EXPECT_TRUE(std::filesystem::is_symlink(File()));
  EXPECT_EQ(Open("A")->ReadString("x"), "2");
  EXPECT_NE(TemporaryFolder::Read(FFolder.Path("elsewhere")).find("\"x\"=\"2\""), std::string::npos);
}

TEST_F(RegistryTest, TheSystemsOwnIsInTheDataFolders) {
  const char* before = std::getenv("XDG_DATA_HOME");
  const std::string kept = before ? before : "";
  ::setenv("XDG_DATA_HOME", FFolder.Path("data").c_str(), 1);
  ::setenv("PROGRAMDATA", FFolder.Path("program").c_str(), 1);
  for (const auto root : {kUser, kMachine}) VqSystemRegistry()->OpenKey(root, "A", kAll, true)->Close();
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("data/Velmore/EWS/Registry.txt")));
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("program/Velmore/EWS/Registry.txt")));
  ::unsetenv("PROGRAMDATA");
  before ? ::setenv("XDG_DATA_HOME", kept.c_str(), 1) : ::unsetenv("XDG_DATA_HOME");

  const auto nowhere = MakeRef<TVqFileRegistry>("%VELMORE_NO_SUCH_VARIABLE%\\Registry.txt", "");
  EXPECT_EQ(FailureOf([&] { nowhere->OpenKey(kUser, "A", kAll, true); }).Message(),
            "There is no file for HKEY_CURRENT_USER: \"%VELMORE_NO_SUCH_VARIABLE%\\Registry.txt\" names a variable "
            "that is not set. Set HOME or XDG_DATA_HOME, "
            "or name another file.");
  EXPECT_EQ(FailureOf([&] { nowhere->OpenKey(kMachine, "A", kAll, false); }).GetNumber(), kVqRegistryFailed);
}

}  // namespace
}  // namespace velmore
