// A character would print as its number.
// expect: (no matching|could not convert|cannot convert|no viable)
#include "platform/common/uVqSysUtils.h"

velmore::string Text(char c) {
#ifdef CONTROL
  return velmore::Format("%s", {std::string(1, c)});
#else
  return velmore::Format("%s", {c});
#endif
}
