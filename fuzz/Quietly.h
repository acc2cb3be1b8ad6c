#pragma once

#include "platform/common/uVqSysUtils.h"

/// Does something that hostile bytes may make fail: with an exception of the library's, and no other.
template <typename TAction>
void Quietly(TAction action) {
  try {
    action();
  } catch (const velmore::EVqException&) {
  }
}
