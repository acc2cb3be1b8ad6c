#include "windows/tray/TrayWindow.h"

#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

#include <array>
#include <stdexcept>

namespace {

constexpr UINT kWake = WM_APP + 1, kIcon = WM_APP + 2;
constexpr int kSide = 32, kStatusHeight = 22;

std::wstring Wide(const std::u16string& text) {
  return {text.begin(), text.end()};
}

/// An envelope, drawn here, so that the program is one file.
HICON Envelope() {
  std::array<DWORD, kSide * kSide> pixels{};
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      if (y < 6 || y > 25 || x < 1 || x > 30) continue;
      const int flap = 6 + (x < 16 ? x - 1 : 30 - x) * 10 / 15;
      const bool line = y == 6 || y == 25 || x == 1 || x == 30 || y == flap || y == flap + 1;
      pixels[static_cast<std::size_t>(y * kSide + x)] = line ? 0xFF1F4E79 : 0xFFF4D58D;
    }
  }
  const std::array<BYTE, kSide * kSide / 8> mask{};  // the pixels' own opacity counts
  ICONINFO parts{};
  parts.fIcon = TRUE;
  parts.hbmColor = CreateBitmap(kSide, kSide, 1, 32, pixels.data());
  parts.hbmMask = CreateBitmap(kSide, kSide, 1, 1, mask.data());
  const HICON icon = CreateIconIndirect(&parts);
  DeleteObject(parts.hbmColor);
  DeleteObject(parts.hbmMask);
  return icon;
}

template <std::size_t size>
void CopyCut(wchar_t (&target)[size], const std::u16string& text) {
  lstrcpynW(target, Wide(text).c_str(), static_cast<int>(size));
}

}  // namespace

struct TrayWindow::Impl {
  explicit Impl(std::wstring AName) : name(std::move(AName)), icon(Envelope()) {
    const INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&controls);
    WNDCLASSW kind{};
    kind.lpfnWndProc = &Impl::Procedure;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.hIcon = icon;
    kind.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // the arrow
    kind.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    kind.lpszClassName = L"VelmoreTray";
    RegisterClassW(&kind);
    window = CreateWindowW(kind.lpszClassName, name.c_str(), WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT, 720,
                           420, nullptr, nullptr, kind.hInstance, this);
    if (!window) {
      DestroyIcon(icon);
      throw std::runtime_error("Windows does not give the program a window.");
    }
    list = CreateWindowW(WC_LISTVIEWW, L"", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_SINGLESEL, 0, 0, 0, 0, window,
                         nullptr, kind.hInstance, nullptr);
    ListView_SetExtendedListViewStyle(list, LVS_EX_FULLROWSELECT);
    AddColumn(0, L"From", 170);
    AddColumn(1, L"Subject", 380);
    AddColumn(2, L"Received", 140);
    status = CreateWindowW(L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_LEFTNOWORDWRAP, 0, 0, 0, 0, window, nullptr,
                           kind.hInstance, nullptr);
    SendMessageW(status, WM_SETFONT, reinterpret_cast<WPARAM>(GetStockObject(DEFAULT_GUI_FONT)), TRUE);
    taskbar_made = RegisterWindowMessageW(L"TaskbarCreated");
    ShowIcon();
  }
  ~Impl() {
    NOTIFYICONDATAW data = IconData(0);
    Shell_NotifyIconW(NIM_DELETE, &data);
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    DestroyWindow(window);
    DestroyIcon(icon);
  }

  void AddColumn(int number, const wchar_t* title, int width) const {
    std::wstring text = title;
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = text.data();
    column.cx = width;
    SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(number), reinterpret_cast<LPARAM>(&column));
  }
  void Insert(int row, const TrayLine& line) const {
    std::wstring texts[] = {Wide(line.From), Wide(line.Subject), Wide(line.Received)};
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.pszText = texts[0].data();
    item.iItem = static_cast<int>(SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
    for (item.iSubItem = 1; item.iSubItem < 3; ++item.iSubItem) {
      item.pszText = texts[item.iSubItem].data();
      SendMessageW(list, LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    }
  }

  NOTIFYICONDATAW IconData(UINT flags) const {
    NOTIFYICONDATAW data{};
    data.cbSize = sizeof data;
    data.hWnd = window;
    data.uID = 1;
    data.uFlags = flags;
    data.uCallbackMessage = kIcon;
    data.hIcon = icon;
    lstrcpynW(data.szTip, name.c_str(), static_cast<int>(std::size(data.szTip)));
    return data;
  }
  void ShowIcon() const {
    NOTIFYICONDATAW data = IconData(NIF_MESSAGE | NIF_ICON | NIF_TIP);
    Shell_NotifyIconW(NIM_ADD, &data);
  }
  void ShowCount() const {
    SetWindowTextW(window, (unseen > 0 ? L"(" + std::to_wstring(unseen) + L") " + name : name).c_str());
  }
  void Layout() const {
    RECT inside{};
    GetClientRect(window, &inside);
    MoveWindow(list, 0, 0, inside.right, inside.bottom - kStatusHeight, TRUE);
    MoveWindow(status, 6, inside.bottom - kStatusHeight + 4, inside.right - 12, kStatusHeight - 4, TRUE);
  }
  void Restore() const {
    ShowWindow(window, SW_SHOWNORMAL);
    SetForegroundWindow(window);
  }

  /// True when the message was for us alone.
  bool Handle(UINT message, WPARAM first, LPARAM second) {
    if (message == kWake) {
      if (on_wake) on_wake();
      return true;
    }
    if (message == kIcon) {
      if (LOWORD(second) == WM_LBUTTONUP || LOWORD(second) == NIN_BALLOONUSERCLICK) Restore();
      return true;
    }
    if (message == taskbar_made) ShowIcon();  // the taskbar was started anew and knows of no icons
    if (message == WM_SIZE && first == SIZE_MINIMIZED) ShowWindow(window, SW_HIDE);
    if (message == WM_SIZE && list) Layout();
    if (message == WM_ACTIVATE && LOWORD(first) != WA_INACTIVE) {
      unseen = 0;
      ShowCount();
    }
    if (message == WM_CLOSE) {
      PostQuitMessage(0);
      return true;
    }
    return false;
  }
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_NCCREATE) {
      const auto* made = reinterpret_cast<const CREATESTRUCTW*>(second);
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made->lpCreateParams));
      static_cast<Impl*>(made->lpCreateParams)->window = window;
    }
    auto* self = reinterpret_cast<Impl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && self->Handle(message, first, second)) return 0;
    return DefWindowProcW(window, message, first, second);
  }

  std::wstring name;
  HICON icon;
  HWND window = nullptr, list = nullptr, status = nullptr;
  UINT taskbar_made = 0;
  int unseen = 0;
  std::function<void()> on_wake;
};

TrayWindow::TrayWindow(const std::u16string& title) : impl_(std::make_unique<Impl>(Wide(title))) {}
TrayWindow::~TrayWindow() = default;

void TrayWindow::Append(const TrayLine& line) {
  impl_->Insert(ListView_GetItemCount(impl_->list), line);
}

void TrayWindow::Announce(const TrayLine& line) {
  impl_->Insert(0, line);
  NOTIFYICONDATAW data = impl_->IconData(NIF_INFO);
  CopyCut(data.szInfoTitle, line.From);
  CopyCut(data.szInfo, line.Subject.empty() ? u"(no subject)" : line.Subject);  // an empty one takes the note away
  data.dwInfoFlags = NIIF_INFO;
  Shell_NotifyIconW(NIM_MODIFY, &data);
  if (GetForegroundWindow() != impl_->window) ++impl_->unseen;
  impl_->ShowCount();
}

void TrayWindow::SetStatus(const std::u16string& text) {
  SetWindowTextW(impl_->status, Wide(text).c_str());
}

void TrayWindow::SetOnWake(std::function<void()> handler) {
  impl_->on_wake = std::move(handler);
}

void TrayWindow::Wake() const noexcept {
  PostMessageW(impl_->window, kWake, 0, 0);
}

void TrayWindow::Run() {
  impl_->Restore();
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

void ShowFailure(const std::u16string& text) {
  MessageBoxW(nullptr, Wide(text).c_str(), L"tray", MB_OK | MB_ICONERROR);
}
