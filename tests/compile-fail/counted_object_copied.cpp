// A copy would share the count of its original, or have none.
// expect: deleted
#include "platform/common/uVqClasses.h"

class TThing : public velmore::TVqObject {};

void Copy(TThing& thing) {
#ifdef CONTROL
  TThing& other = thing;
#else
  TThing other = thing;
#endif
  static_cast<void>(other);
}
