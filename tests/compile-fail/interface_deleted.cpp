// Who holds an interface does not own the object behind it.
// expect: protected
#include "platform/common/uVqClasses.h"

void End(velmore::IVqObject* object) {
#ifdef CONTROL
  object->_Release();
#else
  delete object;
#endif
}
