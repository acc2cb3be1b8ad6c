// A component has an identity: owners and watchers hold its address.
// expect: deleted
#include "platform/common/uVqClasses.h"

void Copy(velmore::TVqComponent& component) {
#ifdef CONTROL
  velmore::TVqComponent& other = component;
#else
  velmore::TVqComponent other = component;
#endif
  static_cast<void>(other);
}
