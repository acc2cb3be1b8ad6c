// Only the count ends a counted object.
// expect: protected
#include "platform/common/uVqClasses.h"

void End(velmore::TVqObject* object) {
#ifdef CONTROL
  object->_Release();
#else
  delete object;
#endif
}
