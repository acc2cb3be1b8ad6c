// examples/dialogs in a real terminal: keys go in, the screen is read.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

namespace {

/// What a command prints.
std::string OutputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen((command + " 2>&1").c_str(), "r"), &::pclose);
  std::string text;
  std::array<char, 4096> piece{};
  while (pipe && std::fgets(piece.data(), static_cast<int>(piece.size()), pipe.get())) text += piece.data();
  return text;
}

/// A terminal of its own server, which ends with it.
class Dialogs : public ::testing::Test {
 protected:
  Dialogs() {
    Tmux("-f /dev/null new-session -d -x 100 -y 30 'LC_ALL=C.UTF-8 TERM=screen ESCDELAY=50 \"" VELMORE_DIALOGS "\"'");
    Expect("f picks a folder");
  }
  ~Dialogs() override { Tmux("kill-server"); }

  static std::string Tmux(const std::string& command) {
    return OutputOf("TMUX= LC_ALL=C.UTF-8 " VELMORE_TMUX " -L " + Socket() + " " + command);
  }
  /// Another one for each test: a server that ends keeps its socket for a moment.
  static std::string Socket() {
    return "velmore-" + std::to_string(::getpid()) + "-" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name();
  }
  static std::string Seen() { return Tmux("capture-pane -p"); }
  /// Types keys: names as tmux has them ("Down", "Enter"), or a text.
  static void Press(const std::string& keys) { Tmux("send-keys " + keys); }
  static void Type(const std::string& text) { Tmux("send-keys -l '" + text + "'"); }
  /// Waits until the screen shows a text.
  static void Expect(const std::string& text, bool shown = true) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string seen;
    do {
      seen = Seen();
      if ((seen.find(text) != std::string::npos) == shown) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (std::chrono::steady_clock::now() < end);
    FAIL() << (shown ? "not shown: " : "still shown: ") << text << "\n" << seen;
  }
  /// Goes down until this line is the chosen one.
  static void Choose(const std::string& name) {
    for (int i = 0; i < 40; ++i) {
      const std::string seen = Seen();
      const std::size_t at = seen.find("\n> ");
      if (at != std::string::npos && seen.substr(at + 1, seen.find('\n', at + 1) - at).find(name) != std::string::npos)
        return;
      Press("Down");
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (Seen() == seen && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    FAIL() << "there is no line " << name << "\n" << Seen();
  }
};

TEST_F(Dialogs, AFolderIsPickedInATree) {
  Press("f");
  Expect("Where to?");
  Expect("+ Projects");
  Choose("Projects");
  Press("Right");
  Expect("- Projects");
  Expect("    + Lighthouse");
  Choose("Lighthouse");
  Press("Right");
  Expect("Glass");
  Choose("Glass");
  Press("Enter");
  Expect("The folder is Glass.");
}

TEST_F(Dialogs, ATreeClosesAndAPickerIsCancelled) {
  Press("f");
  Expect("+ Projects");
  Choose("Projects");
  Press("Right");
  Expect("Lighthouse");
  Press("Left");
  Expect("Lighthouse", false);
  Press("Escape");
  Expect("No folder was chosen.");
}

TEST_F(Dialogs, FoldersThatAreNotWantedAreNotShown) {
  Press("f");
  Expect("Inbox");
  Expect("Journal", false);
  Press("Escape");
}

TEST_F(Dialogs, AMailboxThatIsClosedLeavesThePickerAsItWas) {
  Press("f");
  Expect("Mailbox: my own");
  Press("m");
  Expect("Address of the mailbox:");
  Type("bob@example.com");
  Press("Enter");
  Expect("Access is denied");
  Expect("Mailbox: my own");
  Expect("Projects");
  Press("Escape");
  Expect("No folder was chosen.");
}

TEST_F(Dialogs, NamesAreSearchedAndMovedToTheThreeLists) {
  Press("a");
  Expect("Address Book: Global Address List");
  Press("/");
  Expect("Name:");
  Type("bob");
  Press("Enter");
  Expect("> Bob Birch <bob@example.com>");
  Press("t");
  Press("c");
  Press("/");
  Type("carol");
  Press("Enter");
  Expect("> Carol Cedar <carol@example.com>");
  Press("b");
  Press("Enter");  // the default button
  Press("o");
  Expect("The lists are complete.");
  Expect("To:  Bob Birch <bob@example.com>; Carol Cedar <carol@example.com>");
  Expect("CC:  Bob Birch <bob@example.com>");
  Expect("BCC: Carol Cedar <carol@example.com>");
}

TEST_F(Dialogs, WhatWasWrittenIsResolvedOnClose) {
  Press("a");
  Press("w");
  Expect("Name or address:");
  Type("eve");
  Press("Enter");
  Expect("To ->");
  Press("o");
  Expect("To:  Eve Elm <eve@example.com>");
}

TEST_F(Dialogs, NobodyIsFoundUnderANameThatNobodyHas) {
  Press("a");
  Press("/");
  Type("nobody-here");
  Press("Enter");
  Expect("Nobody was found.");
  Press("s");
  Expect("Searched in: Contacts");
  Press("Escape");
  Expect("The address book was cancelled.");
}

TEST_F(Dialogs, ACancelledAddressBookKeepsWhatItsListsHold) {
  Press("a");
  Press("/");
  Type("dan");
  Press("Enter");
  Expect("> Dan Dogwood");
  Press("t");
  Press("Escape");
  Expect("The address book was cancelled.");
  Expect("To:  Dan Dogwood <dan@example.com>");
}

}  // namespace
