#include "platform/os/uVqBrowser.h"

#include <windows.h>

#include <shellapi.h>

#include <exception>

namespace velmore {

bool VqOpenInBrowser(const string& AURL) noexcept {
  try {
    if (!AURL.StartsWith("https://") && !AURL.StartsWith("http://")) return false;
    const std::u16string_view text = AURL.view();
    const std::wstring url(text.begin(), text.end());
    constexpr INT_PTR kLastFailure = 32;  // of ShellExecute, whose results above are successes
    return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) >
           kLastFailure;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace velmore
