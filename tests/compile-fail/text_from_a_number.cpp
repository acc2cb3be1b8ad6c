// A number becomes text by IntToStr, so that nobody gets the character of that number.
// expect: (convert|conversion|no viable)
#include "platform/common/uVqSysUtils.h"

velmore::string Text(int number) {
#ifdef CONTROL
  return velmore::IntToStr(number);
#else
  return number;
#endif
}
