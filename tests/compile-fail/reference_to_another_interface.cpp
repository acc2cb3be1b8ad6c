// Another interface of the same object is asked for by Supports, which may say no.
// expect: (convert|conversion|no viable)
#include "platform/common/uVqClasses.h"

class IShelf : public virtual velmore::IVqObject {};
class ILamp : public virtual velmore::IVqObject {};

velmore::TVqRef<ILamp> Lamp(const velmore::TVqRef<IShelf>& shelf) {
#ifdef CONTROL
  return velmore::Supports<ILamp>(shelf);
#else
  return shelf;
#endif
}
