#pragma once

/// Showing a page to the person at this machine.
///
///     if (!VqOpenInBrowser(address)) std::cerr << "Open this address in a browser:\n" << address << '\n';

#include "platform/common/uVqTypes.h"

namespace velmore {

/// Has the desktop show a page of the web in the browser of the person's choice. False when this process has no desktop
/// or the desktop has no opener (where there is no Windows: `xdg-open`, on a display of X11 or Wayland; `open` on a
/// Mac), and for what is no address of http or https. Does not wait for the browser; any thread may call. Raises
/// nothing.
bool VqOpenInBrowser(const string& AURL) noexcept;

}  // namespace velmore
