#pragma once

// What both dialogs do with their session and their hook.

#include "ews/model/uVqEWSBase.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Gives a dialog another session, or none, and has it told when that one goes away.
inline void EwsWatchSession(TVqComponent& ADialog, TVqEWSBaseSession*& ASession, TVqEWSBaseSession* AValue) {
  if (ASession) ASession->RemoveFreeNotification(&ADialog);
  ASession = AValue;
  if (ASession) ASession->FreeNotification(&ADialog);
}

/// The window that a hook makes. Raises a plain exception that names the hook when it is empty, or makes none.
template <typename THook, typename... TArgs>
auto EwsCallHook(const char* AName, const THook& AHook, TArgs&... AArgs) {
  if (!AHook) throw EVqException(Format("The hook %s is empty: no user-interface layer has set it.", {AName}));
  auto dialog = AHook(AArgs...);
  if (!dialog) throw EVqException(Format("The hook %s has made no dialog.", {AName}));
  return dialog;
}

}  // namespace velmore

#pragma GCC visibility pop
