#include "platform/os/uVqBrowser.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

/// An opener of the test's own in the place of the desktop's: it writes down what it was asked to open.
class Browser : public ::testing::Test {
 protected:
  Browser() {
    for (const char* name : {"PATH", "DISPLAY", "WAYLAND_DISPLAY"}) FBefore.emplace_back(name, Value(name));
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    ::setenv("PATH", (FFolder.Path("bin") + ":" + Value("PATH")).c_str(), 1);
    std::filesystem::create_directory(FFolder.Path("bin"));
  }
  ~Browser() override {
    for (const auto& [name, value] : FBefore) {
      value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
    }
  }

  void HasOpener() const {
    const std::string program = FFolder.Path("bin/xdg-open");
    TemporaryFolder::Write(program, "#!/bin/sh\nprintf '%s|%s' \"$#\" \"$1\" >" + FFolder.Path("new") + "\nmv " +
                                        FFolder.Path("new") + " " + Opened() + "\n");
    ::chmod(program.c_str(), 0755);
  }
  std::string Opened() const { return FFolder.Path("opened"); }
  /// What the opener was given, once it has run.
  std::string WaitForOpened() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!std::filesystem::exists(Opened()) && std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return TemporaryFolder::Read(Opened());
  }

 private:
  static std::string Value(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
  }

  TemporaryFolder FFolder;
  std::vector<std::pair<std::string, std::string>> FBefore;
};

TEST_F(Browser, IsOpenedByTheDesktopWithTheAddressAsItIs) {
  HasOpener();
  for (const char* display : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    ::setenv(display, "test-0", 1);
    const string url = u"https://login.example.com/a?x=1&y=$(touch x);'\"`b` c";
    EXPECT_TRUE(VqOpenInBrowser(url)) << display;
    EXPECT_EQ(WaitForOpened(), "1|" + url.utf8()) << display;
    std::filesystem::remove(Opened());
    ::unsetenv(display);
  }
}

TEST_F(Browser, IsNotOpenedWithoutADesktop) {
  HasOpener();
  EXPECT_FALSE(VqOpenInBrowser("https://login.example.com/"));
  ::setenv("DISPLAY", "", 1);
  EXPECT_FALSE(VqOpenInBrowser("https://login.example.com/")) << "an empty variable is none";
  EXPECT_FALSE(std::filesystem::exists(Opened()));
}

TEST_F(Browser, IsNotOpenedWithoutAnOpener) {
  ::setenv("DISPLAY", "test-0", 1);
  ::setenv("PATH", "/nowhere", 1);
  EXPECT_FALSE(VqOpenInBrowser("https://login.example.com/"));
}

TEST_F(Browser, OpensNothingButTheWeb) {
  HasOpener();
  ::setenv("DISPLAY", "test-0", 1);
  for (const char* url : {"", "--help", "file:///etc/passwd", "javascript:alert(1)", "/tmp/program", "mailto:a@b"})
    EXPECT_FALSE(VqOpenInBrowser(url)) << url;
  EXPECT_FALSE(std::filesystem::exists(Opened()));
}

}  // namespace
}  // namespace velmore
