// The way to UTF-8 costs a conversion and is written down.
// expect: (convert|conversion|no viable)
#include "platform/common/uVqTypes.h"

std::string Narrow(const velmore::string& text) {
#ifdef CONTROL
  return std::string(text);
#else
  return text;
#endif
}
