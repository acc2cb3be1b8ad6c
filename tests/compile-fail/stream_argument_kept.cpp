// What stands for a stream in a call is gone behind it: a reference to it would hang.
// expect: (convert|conversion|no viable|discards|cannot bind|invalid initialization)
#include <iostream>

#include "platform/common/uVqStdStreams.h"

std::string Read() {
#ifdef CONTROL
  velmore::TVqInputStream stream(std::cin);
#else
  auto argument = velmore::VqReadFrom(std::cin);
  velmore::TVqStream& stream = argument;
#endif
  return stream.ReadAll();
}
