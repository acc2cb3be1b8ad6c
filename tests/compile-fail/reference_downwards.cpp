// From an interface to a class the way is Supports, never a silent cast.
// expect: (convert|conversion|no viable)
#include "platform/common/uVqClasses.h"

class TThing : public velmore::TVqObject {};

velmore::TVqRef<TThing> Thing(const velmore::TVqRef<velmore::IVqObject>& object) {
#ifdef CONTROL
  return velmore::Supports<TThing>(object);
#else
  return object;
#endif
}
