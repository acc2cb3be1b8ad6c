#include "platform/crypt/uVqCNG.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <new>
#include <set>

#include "platform/crypt/openssl/uVqKeyFile_p.h"
#include "platform/crypt/uVqCNG_p.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

using TFailure = TVqProtectionFailure;

class DataProtectionTest : public ::testing::Test {
 protected:
  DataProtectionTest() { std::filesystem::create_directory(FFolder.Path("machine")); }

  TVqDataProtection Protection() const { return TVqDataProtection(Folders()); }
  TVqKeyFolders Folders() const { return {FFolder.Path("home/user"), FFolder.Path("machine")}; }
  std::string UserKey() const { return FFolder.Path("home/user/user.key"); }
  std::string MachineKey() const { return FFolder.Path("machine/machine.key"); }

  TVqBytes Encrypt(const string& text, bool machine) const { return Protection().Encrypt(TVqBytes(text), machine); }
  string Decrypt(const TVqBytes& blob) const { return Protection().Decrypt(blob).AsString(); }

  /// Fails the test when the blob can be read after all.
  EVqDataProtection FailureOf(const TVqBytes& blob) const {
    try {
      Protection().Decrypt(blob);
    } catch (const EVqDataProtection& failure) {
      return failure;
    }
    ADD_FAILURE() << "was read";
    return EVqDataProtection("", TFailure::system);
  }
  EVqDataProtection EncryptFailure(bool machine) const {
    try {
      Encrypt("secret", machine);
    } catch (const EVqDataProtection& failure) {
      return failure;
    }
    ADD_FAILURE() << "was protected";
    return EVqDataProtection("", TFailure::system);
  }

  static TVqBytes Changed(const TVqBytes& blob, std::size_t place, int by = 1) {
    TBytes bytes = blob.Bytes();
    bytes.at(place) = static_cast<std::uint8_t>(bytes.at(place) ^ by);
    return TVqBytes(std::move(bytes));
  }
  static TVqBytes Cut(const TVqBytes& blob, std::size_t size) {
    TBytes bytes = blob.Bytes();
    bytes.resize(size);
    return TVqBytes(std::move(bytes));
  }
  static TVqBytes Raw(std::string_view bytes) { return TVqBytes(TBytes(bytes.begin(), bytes.end())); }

  TemporaryFolder FFolder;
};

TEST_F(DataProtectionTest, WhatOneScopeProtectedIsReadWithoutSayingWhichItWas) {
  for (const bool machine : {false, true}) {
    for (const string& text :
         {string("secret"), string(), string(u"Grüße \xD83D\xDE00 & <\">"), string(std::u16string(100000, u'x'))}) {
      const TVqBytes blob = Encrypt(text, machine);
      EXPECT_EQ(Decrypt(blob), text);
      EXPECT_EQ(blob.View().substr(0, 6), std::string("VqDP\x01") + (machine ? '\x02' : '\x01')) << "version and scope";
      EXPECT_EQ(blob.size(), 46 + text.utf8().size());
      EXPECT_TRUE(text.empty() || blob.View().find(text.utf8()) == std::string_view::npos);
    }
  }
}

TEST_F(DataProtectionTest, TheSameBytesGiveAnotherBlobEachTime) {
  std::set<std::string> blobs;
  for (int i = 0; i < 20; ++i) blobs.insert(Encrypt("secret", false).Encode());
  EXPECT_EQ(blobs.size(), 20U);
}

TEST_F(DataProtectionTest, KeysAreMadeOnFirstUseForWhoMayReadThem) {
  EXPECT_FALSE(std::filesystem::exists(UserKey()));
  Encrypt("secret", false);
  EXPECT_EQ(TemporaryFolder::Mode(UserKey()), 0600U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("home/user")), 0700U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("home")), 0700U);
  Encrypt("secret", true);
  EXPECT_EQ(TemporaryFolder::Mode(MachineKey()), 0640U);
  EXPECT_EQ(TemporaryFolder::Read(UserKey()).size(), 32U);
  EXPECT_NE(TemporaryFolder::Read(UserKey()), TemporaryFolder::Read(MachineKey()));
  for (const char* folder : {"home/user", "machine"}) {
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(FFolder.Path(folder)), {}), 1)
        << "nothing is left beside the key";
  }
}

TEST_F(DataProtectionTest, ReadingMakesNoKey) {
  const TVqBytes user = Encrypt("secret", false), machine = Encrypt("secret", true);
  std::filesystem::remove(UserKey());
  std::filesystem::remove(MachineKey());
  const EVqDataProtection noUser = FailureOf(user);
  EXPECT_EQ(noUser.GetFailure(), TFailure::keyMissing);
  EXPECT_EQ(noUser.Message(), "The user's key \"" + UserKey() +
                                  "\" does not exist, so that nothing that was protected with it can be read. Bring it "
                                  "back, or enter the secrets anew.");
  const EVqDataProtection noMachine = FailureOf(machine);
  EXPECT_EQ(noMachine.GetFailure(), TFailure::keyMissing);
  EXPECT_EQ(noMachine.Message(), "The machine's key \"" + MachineKey() +
                                     "\" does not exist and this user may not make it. An administrator makes it once, "
                                     "for the group of users whose programs share it: openssl rand -out \"" +
                                     MachineKey() + "\" 32 && chgrp GROUP \"" + MachineKey() + "\" && chmod 640 \"" +
                                     MachineKey() + "\"");
  EXPECT_FALSE(std::filesystem::exists(UserKey()));
  EXPECT_FALSE(std::filesystem::exists(MachineKey()));
}

TEST_F(DataProtectionTest, TheFolderOfTheMachineIsTheAdministratorsToMake) {
  const TVqBytes blob = Encrypt("secret", true);
  std::filesystem::remove_all(FFolder.Path("machine"));
  const std::string text = "The folder of the machine's key, \"" + FFolder.Path("machine") +
                           "\", does not exist. An administrator makes it once, for the group of users whose programs "
                           "share the key: install -d -m 2770 -g GROUP \"" +
                           FFolder.Path("machine") + "\"";
  for (const EVqDataProtection& failure : {EncryptFailure(true), FailureOf(blob)}) {
    EXPECT_EQ(failure.GetFailure(), TFailure::keyMissing);
    EXPECT_EQ(failure.Message(), text);
  }
  EXPECT_FALSE(std::filesystem::exists(FFolder.Path("machine")));
}

TEST_F(DataProtectionTest, EveryChangedBitIsSeen) {
  const TVqBytes blob = Encrypt("secret", false);
  for (std::size_t place = 0; place < blob.size(); ++place) {
    for (const int bit : {1, 0x80}) {
      const TFailure failure = FailureOf(Changed(blob, place, bit)).GetFailure();
      if (place < 4)
        EXPECT_EQ(failure, TFailure::foreignBytes) << place;
      else if (place == 4)
        EXPECT_EQ(failure, TFailure::unknownVersion);
      else if (place == 5)
        EXPECT_EQ(failure, TFailure::tampered);
      else if (place < 14)
        EXPECT_EQ(failure, TFailure::otherKey) << place;
      else if (place < 18)
        EXPECT_TRUE(failure == TFailure::truncated || failure == TFailure::tampered) << place;
      else
        EXPECT_EQ(failure, TFailure::tampered) << place;
    }
  }
  EXPECT_EQ(FailureOf(Changed(blob, 30)).Message(), "The protected bytes were changed.");
  TBytes longer = blob.Bytes();
  longer.push_back(0);
  EXPECT_EQ(FailureOf(TVqBytes(longer)).GetFailure(), TFailure::tampered);
}

TEST_F(DataProtectionTest, AScopeThatWasExchangedIsNoWayIn) {
  const TVqBytes blob = Encrypt("secret", false);
  EXPECT_EQ(FailureOf(Changed(blob, 5, 3)).GetFailure(), TFailure::keyMissing) << "scope 2, whose key is not there";
  Encrypt("other", true);
  EXPECT_EQ(FailureOf(Changed(blob, 5, 3)).GetFailure(), TFailure::otherKey);
  std::filesystem::remove(MachineKey());
  std::filesystem::copy_file(UserKey(), MachineKey());
  EXPECT_EQ(FailureOf(Changed(blob, 5, 3)).GetFailure(), TFailure::tampered) << "the scope is authenticated, too";
}

TEST_F(DataProtectionTest, ACutBlobIsToldFromAForeignOne) {
  const TVqBytes blob = Encrypt("secret", false);
  for (std::size_t size = 1; size < blob.size(); ++size) {
    const EVqDataProtection failure = FailureOf(Cut(blob, size));
    EXPECT_EQ(failure.GetFailure(), TFailure::truncated) << size;
    EXPECT_EQ(failure.Message(), "The protected bytes are not complete: their end is missing.");
  }
  for (const std::string_view bytes : {"", "x", "VqDQ", "plain password", "vqdp\x01\x01"}) {
    const EVqDataProtection failure = FailureOf(Raw(bytes));
    EXPECT_EQ(failure.GetFailure(), TFailure::foreignBytes) << bytes;
    EXPECT_EQ(failure.Message(), "These are no protected bytes.");
  }
}

TEST_F(DataProtectionTest, OtherVersionsAndSystemsAreNamed) {
  const EVqDataProtection newer = FailureOf(Changed(Encrypt("secret", false), 4, 3));
  EXPECT_EQ(newer.GetFailure(), TFailure::unknownVersion);
  EXPECT_EQ(newer.Message(), "These bytes were protected in version 2 of the format; this library knows version 1.");
  const EVqDataProtection windows = FailureOf(Raw(std::string(kVqWindowsBlobMark) + "anything"));
  EXPECT_EQ(windows.GetFailure(), TFailure::otherSystem);
  EXPECT_EQ(
      windows.Message(),
      "This was protected by Windows, for a user or machine there, and cannot be read here. Enter the secret anew.");
}

TEST_F(DataProtectionTest, AnotherKeyIsAnErrorOfItsOwn) {
  const TVqBytes user = Encrypt("secret", false), machine = Encrypt("secret", true);
  std::filesystem::remove(UserKey());
  std::filesystem::remove(MachineKey());
  Encrypt("other", false);
  Encrypt("other", true);
  EXPECT_EQ(FailureOf(user).GetFailure(), TFailure::otherKey);
  EXPECT_EQ(FailureOf(user).Message(),
            "This was protected by another user, or with a key of this user that is gone. Enter the secret anew.");
  EXPECT_EQ(
      FailureOf(machine).Message(),
      "This was protected on another machine, or with a key of this machine that is gone. Enter the secret anew.");
}

TEST_F(DataProtectionTest, AKeyThatOthersCanReadOrChangeIsRefused) {
  const TVqBytes user = Encrypt("secret", false), machine = Encrypt("secret", true);
  for (const unsigned mode : {0640U, 0604U, 0620U, 0602U, 0610U, 0601U, 0644U, 0666U}) {
    ::chmod(UserKey().c_str(), mode);
    const EVqDataProtection failure = FailureOf(user);
    EXPECT_EQ(failure.GetFailure(), TFailure::keyExposed) << std::oct << mode;
    EXPECT_EQ(failure.Message(), "The user's key \"" + UserKey() +
                                     "\" can be read or changed by others. Its mode must be 600: chmod 600 \"" +
                                     UserKey() +
                                     "\". If somebody may have read it, delete it and enter the secrets anew.");
    EXPECT_EQ(EncryptFailure(false).GetFailure(), TFailure::keyExposed);
  }
  ::chmod(UserKey().c_str(), 0400);
  EXPECT_EQ(Decrypt(user), "secret");

  for (const unsigned mode : {0644U, 0660U, 0602U, 0641U}) {
    ::chmod(MachineKey().c_str(), mode);
    const EVqDataProtection failure = FailureOf(machine);
    EXPECT_EQ(failure.GetFailure(), TFailure::keyExposed) << std::oct << mode;
    EXPECT_TRUE(failure.Message().Contains("Its mode must be 640: chmod 640 ")) << failure.Message();
  }
  ::chmod(MachineKey().c_str(), 0600);
  EXPECT_EQ(Decrypt(machine), "secret");
}

TEST_F(DataProtectionTest, AFolderThatOthersCanWriteToIsRefused) {
  const TVqBytes user = Encrypt("secret", false), machine = Encrypt("secret", true);
  for (const unsigned mode : {0770U, 0702U, 01777U}) {
    ::chmod(FFolder.Path("home/user").c_str(), mode);
    const EVqDataProtection failure = FailureOf(user);
    EXPECT_EQ(failure.GetFailure(), TFailure::keyExposed) << std::oct << mode;
    EXPECT_EQ(failure.Message(), "Others can replace the user's key, as they can write to its folder \"" +
                                     FFolder.Path("home/user") + "\": chmod go-w \"" + FFolder.Path("home/user") +
                                     "\"");
    std::filesystem::remove(UserKey());
    EXPECT_EQ(EncryptFailure(false).GetFailure(), TFailure::keyExposed);
    EXPECT_FALSE(std::filesystem::exists(UserKey())) << "no key is made where others can replace it";
    ::chmod(FFolder.Path("home/user").c_str(), 0755);
    Encrypt("secret", false);
  }
  ::chmod(FFolder.Path("machine").c_str(), 0777);
  EXPECT_TRUE(
      FailureOf(machine).Message().StartsWith("Others can replace the machine's key, as they can write to its folder"));
  ::chmod(FFolder.Path("machine").c_str(), 02770);
  EXPECT_EQ(Decrypt(machine), "secret");
}

TEST_F(DataProtectionTest, AKeyThatTheSystemDoesNotLetUsReadIsNamed) {
  const TVqBytes user = Encrypt("secret", false), machine = Encrypt("secret", true);
  for (const char* folder : {"", "home", "home/user", "machine"}) ::chmod(FFolder.Path(folder).c_str(), 0755);
  ::chmod(UserKey().c_str(), 0);
  ::chmod(MachineKey().c_str(), 0);
  const int code = RunUnprivileged([&] {
    const EVqDataProtection noUser = FailureOf(user), noMachine = FailureOf(machine);
    if (noUser.GetFailure() != TFailure::keyNotReadable || noMachine.GetFailure() != TFailure::keyNotReadable) return 1;
    if (!noUser.Message().Contains("\" cannot be read by the user \"") ||
        !noUser.Message().EndsWith("\". It must belong to this user: chown it."))
      return 2;
    return noMachine.Message().EndsWith(
               "An administrator lets a user read it by adding the user to the group of the file.")
               ? 0
               : 3;
  });
  EXPECT_EQ(code, 0);
}

TEST_F(DataProtectionTest, OthersKeysAndFoldersAreNotUsed) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the administrator can give files away";
  const TVqBytes user = Encrypt("secret", false);
  for (const char* folder : {"", "home", "home/user"}) ::chmod(FFolder.Path(folder).c_str(), 0755);
  ASSERT_EQ(::chown(UserKey().c_str(), 65534, 65534), 0);
  const int code = RunUnprivileged([&] {
    const EVqDataProtection failure = FailureOf(user);
    return failure.GetFailure() == TFailure::keyExposed && failure.Message().EndsWith("belongs to another user.") ? 0
                                                                                                                  : 1;
  });
  EXPECT_EQ(code, 0) << "the folder is another user's";
}

TEST_F(DataProtectionTest, TheAdministratorMakesAUsersKeyForThatUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the administrator can give files away";
  std::filesystem::create_directories(FFolder.Path("home/user"));
  ::chmod(FFolder.Path("home/user").c_str(), 0700);
  for (const char* folder : {"", "home"}) ::chmod(FFolder.Path(folder).c_str(), 0755);
  ASSERT_EQ(::chown(FFolder.Path("home/user").c_str(), 65534, 65534), 0);
  const TVqBytes blob = Encrypt("secret", false);
  EXPECT_EQ(RunUnprivileged([&] { return Decrypt(blob) == "secret" ? 0 : 1; }), 0);
}

TEST_F(DataProtectionTest, AFolderThatCannotBeMadeIsNamed) {
  ::chmod(FFolder.Path().c_str(), 0755);
  const int code = RunUnprivileged([&] {
    const EVqDataProtection failure = EncryptFailure(false);
    return failure.GetFailure() == TFailure::system &&
                   failure.Message().StartsWith("The user's key could not be made. The folder \"")
               ? 0
               : 1;
  });
  EXPECT_EQ(code, ::geteuid() == 0 ? 0 : 1) << "a user who is not the administrator owns the folder";
}

TEST_F(DataProtectionTest, AMachineKeyIsNotMadeByWhoMayNot) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the administrator can keep others out";
  for (const char* folder : {"", "machine"}) ::chmod(FFolder.Path(folder).c_str(), 0755);
  const int code = RunUnprivileged([&] {
    const EVqDataProtection failure = EncryptFailure(true);
    return failure.GetFailure() == TFailure::keyMissing && failure.Message().Contains("openssl rand -out") ? 0 : 1;
  });
  EXPECT_EQ(code, 0);
}

TEST_F(DataProtectionTest, ADamagedKeyIsNamedAndNeverReplaced) {
  const TVqBytes blob = Encrypt("secret", false);
  for (const std::string& content :
       {std::string(), std::string(31, 'k'), std::string(33, 'k'), std::string(32, '\0')}) {
    TemporaryFolder::Write(UserKey(), content);
    const EVqDataProtection failure = FailureOf(blob);
    EXPECT_EQ(failure.GetFailure(), TFailure::keyDamaged);
    EXPECT_EQ(failure.Message(), "The user's key \"" + UserKey() +
                                     "\" is damaged: it must be a file of 32 random bytes. Bring the old one back, or "
                                     "delete it and enter the secrets anew.");
    EXPECT_EQ(EncryptFailure(false).GetFailure(), TFailure::keyDamaged);
    EXPECT_EQ(TemporaryFolder::Read(UserKey()), content);
  }
  std::filesystem::remove(UserKey());
  std::filesystem::create_directory(UserKey());
  ::chmod(UserKey().c_str(), 0700);
  EXPECT_EQ(FailureOf(blob).GetFailure(), TFailure::keyDamaged);
}

TEST_F(DataProtectionTest, AFolderNamedByAVariableThatIsNotSetIsNotMadeAnywhere) {
  const TVqDataProtection protection({"%VELMORE_NO_SUCH_VARIABLE%\\Keys", ""});
  for (const bool machine : {false, true}) {
    try {
      protection.Encrypt(TVqBytes(string("secret")), machine);
      ADD_FAILURE() << "was protected";
    } catch (const EVqDataProtection& failure) {
      EXPECT_EQ(failure.GetFailure(), TFailure::keyMissing);
      EXPECT_EQ(failure.Message(),
                string("There is no folder for ") +
                    (machine ? "the machine's key: \"\"" : "the user's key: \"%VELMORE_NO_SUCH_VARIABLE%\\Keys\"") +
                    " names a variable that is not set. Set HOME or XDG_DATA_HOME, or name another folder.");
    }
  }
  EXPECT_FALSE(std::filesystem::exists("%VELMORE_NO_SUCH_VARIABLE%"));
}

TEST_F(DataProtectionTest, TheFoldersOfTheProcessAreExpandedAtEachCall) {
  const TVqKeyFolders before = VqGetKeyFolders();
  EXPECT_EQ(before.User, "%LOCALAPPDATA%\\Velmore\\EWS\\Keys");
  EXPECT_EQ(before.Machine, "%PROGRAMDATA%\\Velmore\\EWS\\Keys");
  ::setenv("VELMORE_TEST_KEYS", FFolder.Path().c_str(), 1);
  VqSetKeyFolders({"%VELMORE_TEST_KEYS%\\a\\", "%VELMORE_TEST_KEYS%/machine//"});
  const TVqBytes blob = TVqDataProtection().Encrypt(TVqBytes(string("secret")), false);
  TVqDataProtection().Encrypt(TVqBytes(string("secret")), true);
  VqSetKeyFolders(before);
  ::unsetenv("VELMORE_TEST_KEYS");
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("a/user.key")));
  EXPECT_TRUE(std::filesystem::exists(MachineKey()));
  EXPECT_EQ(TVqDataProtection({FFolder.Path("a"), ""}).Decrypt(blob).AsString(), "secret");
}

TEST_F(DataProtectionTest, ProcessesThatMakeTheKeyAtOnceGetTheSame) {
  for (int round = 0; round < 8; ++round) {
    for (const bool machine : {false, true}) {
      std::vector<ChildProcess> children;
      constexpr int kChildren = 6;
      int start[2];
      ASSERT_EQ(::pipe(start), 0);
      for (int i = 0; i < kChildren; ++i) {
        children.emplace_back([&, i] {
          ::close(start[1]);
          char byte;
          if (::read(start[0], &byte, 1) != 0) return 2;  // until all have been started
          const TVqBytes blob = Encrypt("secret " + IntToStr(i), machine);
          TemporaryFolder::Write(FFolder.Path("blob" + std::to_string(i)), std::string(blob.View()));
          return Decrypt(blob) == "secret " + IntToStr(i) ? 0 : 1;
        });
      }
      ::close(start[0]);
      ::close(start[1]);
      for (ChildProcess& child : children) EXPECT_EQ(child.Wait(), 0);
      for (int i = 0; i < kChildren; ++i) {
        EXPECT_EQ(Decrypt(Raw(TemporaryFolder::Read(FFolder.Path("blob" + std::to_string(i))))),
                  "secret " + IntToStr(i));
      }
      const std::string folder = machine ? FFolder.Path("machine") : FFolder.Path("home/user");
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "only the key";
      std::filesystem::remove(machine ? MachineKey() : UserKey());
    }
  }
}

TEST_F(DataProtectionTest, AFullDiskLeavesNoHalfKey) {
  const int code =
      ChildProcess([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        ::setrlimit(RLIMIT_FSIZE, &none);
        const EVqDataProtection failure = EncryptFailure(false);
        return failure.GetFailure() == TFailure::system && failure.Message().Contains("could not be made: ") ? 0 : 1;
      }).Wait();
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(std::filesystem::is_empty(FFolder.Path("home/user")));
}

TEST_F(DataProtectionTest, NoTextHoldsASecret) {
  const TVqBytes blob = Encrypt("hunter2-the-secret", false);
  const std::string key = TemporaryFolder::Read(UserKey());
  for (std::size_t place = 0; place < blob.size(); ++place) {
    const std::string text = FailureOf(Changed(blob, place)).what();
    EXPECT_EQ(text.find("hunter2"), std::string::npos);
    EXPECT_EQ(text.find(key.substr(0, 4)), std::string::npos);
    EXPECT_EQ(text.find(VqHexEncode(key).substr(0, 8)), std::string::npos);
  }
}

TEST(Wiping, SecretsAreOverwrittenInPlace) {
  std::string narrow = "a secret that is longer than what a text holds in itself";
  string wide(narrow);
  TVqBytes bytes{wide};
  const char* inNarrow = narrow.data();
  const char16_t* inWide = wide.utf16().data();
  const std::uint8_t* inBytes = bytes.Bytes().data();
  const std::size_t size = narrow.size();
  VqWipe(narrow);
  VqWipe(wide);
  { const TVqWiped guard(bytes); }
  EXPECT_TRUE(narrow.empty() && wide.empty() && bytes.empty());
  // Emptied, the three still own the memory.
  const auto zeros = [size](const auto* memory) {
    return std::all_of(memory, memory + size, [](auto unit) { return unit == 0; });
  };
  EXPECT_TRUE(zeros(inNarrow));
  EXPECT_TRUE(zeros(inWide));
#ifndef __SANITIZE_ADDRESS__  // which marks the unused part of a vector
  EXPECT_TRUE(zeros(inBytes));
#else
  (void)inBytes;
#endif
}

TEST(Wiping, AKeyIsOverwrittenWhenItGoes) {
  alignas(TVqKey) unsigned char memory[sizeof(TVqKey)];
  auto* key = new (memory) TVqKey;
  std::fill(key->data(), key->data() + TVqKey::kSize, std::uint8_t{0x5A});
  key->~TVqKey();
  volatile const unsigned char* left = memory;
  for (std::size_t i = 0; i < TVqKey::kSize; ++i) EXPECT_EQ(left[i], 0);
}

}  // namespace
}  // namespace velmore
