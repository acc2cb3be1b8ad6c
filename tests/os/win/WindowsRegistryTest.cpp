// The registry of Windows itself: what is kept, with which rights, in which view.

#include <gtest/gtest.h>

#include "platform/common/uVqClasses.h"
#include "platform/os/uVqRegistry.h"

using namespace velmore;

namespace {

constexpr std::uint32_t kAll = kVqKeyRead | kVqKeyWrite;

class WindowsRegistry : public ::testing::Test {
 protected:
  WindowsRegistry() { Forget(); }
  ~WindowsRegistry() override { Forget(); }

  TVqRef<IVqRegistryKey> Open(const string& below, std::uint32_t access = kAll) {
    return FRegistry->OpenKey(FRoot, FPath + below, access, false);
  }
  TVqRef<IVqRegistryKey> Make(const string& below, std::uint32_t access = kAll) {
    return FRegistry->OpenKey(FRoot, FPath + below, access, true);
  }

  const TVqRegistryRoot FRoot = TVqRegistryRoot::currentUser;
  const string FPath = "SOFTWARE\\Velmore\\Test of the registry";
  const TVqRef<IVqRegistry> FRegistry = VqSystemRegistry();

 private:
  void Forget() { FRegistry->DeleteKey(FRoot, FPath, kVqKeySetValue); }
};

std::uint32_t NumberOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const EVqRegistryError& failure) {
    return failure.GetNumber();
  }
  return 0;
}

TEST_F(WindowsRegistry, KeepsTextsNumbersAndTruthValues) {
  const auto key = Make("\\A");
  for (const string& text :
       {string("plain"), string(), string(u"ümläut \U0001F600 \" \\ %PATH%"), string(std::u16string(5000, u'x'))}) {
    key->WriteString("text", text);
    EXPECT_EQ(key->ReadString("text"), text);
  }
  key->WriteInteger("number", 0xFFFFFFFF);
  key->WriteBoolean("truth", true);
  key->WriteString("", "the unnamed value");
  key->Close();
  const auto again = Open("\\A", kVqKeyRead);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->ReadInteger("NUMBER"), 0xFFFFFFFF) << "without regard to case";
  EXPECT_TRUE(again->ReadBoolean("truth"));
  EXPECT_EQ(again->ReadString(""), "the unnamed value");
  EXPECT_EQ(again->ReadString("nowhere"), "");
  EXPECT_EQ(again->ReadInteger("nowhere"), 0U);
  EXPECT_FALSE(again->ValueExists("nowhere"));
  EXPECT_TRUE(again->ValueExists("truth"));
  EXPECT_EQ(again->GetValueNames().size(), 4U);
}

TEST_F(WindowsRegistry, TellsAValueOfAnotherKind) {
  const auto key = Make("");
  key->WriteString("text", "1");
  key->WriteInteger("number", 1);
  EXPECT_EQ(NumberOf([&] { key->ReadInteger("text"); }), kVqRegistryWrongKind);
  EXPECT_EQ(NumberOf([&] { key->ReadString("number"); }), kVqRegistryWrongKind);
}

TEST_F(WindowsRegistry, AKeyThatIsNotThereIsNoneUnlessItIsMade) {
  EXPECT_FALSE(Open(""));
  EXPECT_TRUE(Make("\\A\\B\\C"));
  EXPECT_EQ(Open("\\A")->GetKeyNames(), std::vector<string>{"B"});
  EXPECT_TRUE(FRegistry->DeleteKey(FRoot, FPath + "\\A", kVqKeySetValue)) << "with everything below";
  EXPECT_FALSE(Open("\\A\\B"));
  EXPECT_FALSE(FRegistry->DeleteKey(FRoot, FPath + "\\A", kVqKeySetValue));
}

TEST_F(WindowsRegistry, HoldsAKeyToTheRightsThatItWasOpenedWith) {
  Make("")->WriteString("x", "1");
  const auto reader = Open("", kVqKeyRead);
  EXPECT_EQ(reader->ReadString("x"), "1");
  EXPECT_EQ(NumberOf([&] { reader->WriteString("x", "2"); }), kVqRegistryAccessDenied);
  EXPECT_EQ(NumberOf([&] { reader->DeleteValue("x"); }), kVqRegistryAccessDenied);
  const auto writer = Open("", kVqKeyWrite);
  writer->WriteString("x", "2");
  EXPECT_EQ(NumberOf([&] { writer->ReadString("x"); }), kVqRegistryAccessDenied);
  EXPECT_EQ(NumberOf([&] { FRegistry->DeleteKey(FRoot, FPath, kVqKeyRead); }), kVqRegistryAccessDenied);
  EXPECT_EQ(Open("")->ReadString("x"), "2");
}

TEST_F(WindowsRegistry, TheViewOf32BitProgramsIsApart) {
  // Of the user's keys those of classes alone have two views; of the machine's, all of its software.
  const string path = "SOFTWARE\\Velmore\\Test of the views";
  const auto machine = TVqRegistryRoot::localMachine;
  const std::uint32_t in32 = kAll | kVqKeyView32;
  const auto forget = [&] {
    FRegistry->DeleteKey(machine, path, kVqKeySetValue);
    FRegistry->DeleteKey(machine, path, kVqKeySetValue | kVqKeyView32);
  };
  forget();
  FRegistry->OpenKey(machine, path, kAll, true)->WriteString("x", "64");
  EXPECT_FALSE(FRegistry->OpenKey(machine, path, in32, false));
  FRegistry->OpenKey(machine, path, in32, true)->WriteString("x", "32");
  EXPECT_EQ(FRegistry->OpenKey(machine, path, kAll, false)->ReadString("x"), "64");
  EXPECT_EQ(FRegistry->OpenKey(machine, path, in32, false)->ReadString("x"), "32");
  // The rights of a reader with the view in them, and the view added once more.
  EXPECT_EQ(FRegistry->OpenKey(machine, path, kVqKeyRead + 2 * kVqKeyView32, false)->ReadString("x"), "32");
  forget();
}

TEST_F(WindowsRegistry, AClosedKeyAndARootAreRefused) {
  const auto key = Make("");
  key->Close();
  key->Close();
  EXPECT_THROW(key->ReadString("x"), EVqException);
  EXPECT_EQ(NumberOf([&] { FRegistry->DeleteKey(FRoot, "\\", kVqKeySetValue); }), kVqRegistryBadName);
}

}  // namespace
