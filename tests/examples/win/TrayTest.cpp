// The tray as a person sees it: what is in its window, its title and the box in which it tells of a failure.

#include <gtest/gtest.h>

#include <windows.h>

#include <commctrl.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

constexpr int kPatience = 60'000;  // milliseconds, for the slowest of machines

bool Eventually(const std::function<bool()>& holds) {
  for (int waited = 0; waited < kPatience; waited += 20) {
    if (holds()) return true;
    Sleep(20);
  }
  return holds();
}

std::wstring TextOf(HWND window) {
  std::array<wchar_t, 500> text{};
  SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  return text.data();
}

/// Wine hands a chunk over when the next one begins: signs of life come often, so that events do.
simulator::Options WithSignsOfLife() {
  simulator::Options options = TwoUsers();
  options.stream_keep_alive = std::chrono::milliseconds(200);
  return options;
}

class TrayExample : public EWSTest {
 protected:
  TrayExample() : EWSTest(WithSignsOfLife()) {}
  ~TrayExample() override {
    if (process_.hProcess) {
      TerminateProcess(process_.hProcess, 99);
      CloseHandle(process_.hThread);
      CloseHandle(process_.hProcess);
    }
  }

  void Start(const char* password) {
    ::setenv("VELMORE_PASSWORD", password, 1);
    const std::wstring program = std::filesystem::absolute(VELMORE_TRAY).wstring();
    const std::string url = Server().HttpUrl();
    std::wstring line = L"tray --url " + std::wstring(url.begin(), url.end()) + L" --user alice";
    STARTUPINFOW how{};
    how.cb = sizeof how;
    ASSERT_TRUE(
        CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &how, &process_))
        << GetLastError();
  }
  /// The program's window of a class, once it is there and shown.
  HWND Window(const wchar_t* kind) {
    HWND found = nullptr;
    Eventually([&] {
      for (HWND each = nullptr; (each = FindWindowExW(nullptr, each, kind, nullptr)) != nullptr;) {
        DWORD owner = 0;
        GetWindowThreadProcessId(each, &owner);
        if (owner == process_.dwProcessId && IsWindowVisible(each)) found = each;
      }
      return found != nullptr;
    });
    return found;
  }
  int Exit() {
    if (WaitForSingleObject(process_.hProcess, kPatience) != WAIT_OBJECT_0) return -1;
    DWORD code = 0;
    GetExitCodeProcess(process_.hProcess, &code);
    return static_cast<int>(code);
  }

  static int Rows(HWND list) { return static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)); }
  /// A text of the list, which another process reads through memory of the list's own.
  std::wstring Cell(HWND list, int row, int column) const {
    struct Shared {
      LVITEMW Item;
      wchar_t Text[200];
    } shared{};
    auto* there = static_cast<Shared*>(
        VirtualAllocEx(process_.hProcess, nullptr, sizeof shared, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    if (!there) return L"(no memory)";
    shared.Item.iSubItem = column;
    shared.Item.pszText = there->Text;
    shared.Item.cchTextMax = static_cast<int>(std::size(shared.Text));
    WriteProcessMemory(process_.hProcess, there, &shared, sizeof shared, nullptr);
    SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&there->Item));
    ReadProcessMemory(process_.hProcess, there, &shared, sizeof shared, nullptr);
    VirtualFreeEx(process_.hProcess, there, 0, MEM_RELEASE);
    return shared.Text;
  }

  PROCESS_INFORMATION process_{};
};

TEST_F(TrayExample, ShowsMailWhenItComes) {
  Server().AddMessage(kAlice, "inbox", "From: Carol Crane <carol@example.com>\r\nSubject: Before\r\n\r\nHello");
  Start("wonder");
  const HWND window = Window(L"VelmoreTray");
  ASSERT_TRUE(window);
  EXPECT_EQ(TextOf(window), L"Inbox of alice");
  const HWND list = FindWindowExW(window, nullptr, WC_LISTVIEWW, nullptr);
  const HWND status = FindWindowExW(window, nullptr, L"Static", nullptr);
  ASSERT_TRUE(list && status);
  EXPECT_TRUE(Eventually([&] { return TextOf(status) == L"Listening"; })) << "told by a reader's thread";
  ASSERT_EQ(Rows(list), 1) << "what was there at the start";
  EXPECT_EQ(Cell(list, 0, 0), L"Carol Crane");
  EXPECT_EQ(Cell(list, 0, 1), L"Before");

  PostMessageW(window, WM_SYSCOMMAND, SC_MINIMIZE, 0);
  EXPECT_TRUE(Eventually([&] { return !IsWindowVisible(window); })) << "minimised, it is beside the clock only";
  Server().Deliver(kAlice, "From: Bob Birch <bob@example.com>\r\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\n\r\nHello");
  ASSERT_TRUE(Eventually([&] { return Rows(list) == 2; }));
  EXPECT_EQ(Cell(list, 0, 0), L"Bob Birch");
  EXPECT_EQ(Cell(list, 0, 1), L"Gr\u00FC\u00DFe");
  EXPECT_EQ(Cell(list, 0, 2).size(), 16u) << "2026-07-06 08:00";
  EXPECT_EQ(Cell(list, 1, 1), L"Before") << "what is new stands on top";
  EXPECT_TRUE(Eventually([&] { return TextOf(window) == L"(1) Inbox of alice"; }));

  PostMessageW(window, WM_APP + 2, 0, WM_LBUTTONUP);  // a click on the icon
  EXPECT_TRUE(Eventually([&] { return IsWindowVisible(window) != FALSE; }));
  EXPECT_TRUE(Eventually([&] { return TextOf(window) == L"Inbox of alice"; })) << "it was looked at";

  PostMessageW(window, WM_CLOSE, 0, 0);
  EXPECT_EQ(Exit(), 0);
  EXPECT_EQ(Server().CountSubscriptions(), 0u);
}

TEST_F(TrayExample, TellsAFailureInABox) {
  Start("wrong");
  const HWND box = Window(L"#32770");
  ASSERT_TRUE(box);
  EXPECT_EQ(TextOf(box), L"tray");
  std::wstring said;
  for (HWND each = nullptr; (each = FindWindowExW(box, each, L"Static", nullptr)) != nullptr;) said += TextOf(each);
  EXPECT_NE(said.find(L"LOGIN_FAILURE"), std::wstring::npos) << said.size();
  PostMessageW(box, WM_COMMAND, IDOK, 0);
  EXPECT_EQ(Exit(), 1);
}

}  // namespace
}  // namespace velmore::testing
