// Two owners would close one handle twice.
// expect: deleted
#include "platform/common/uVqClasses.h"

void Copy(velmore::TVqFileStream& file) {
#ifdef CONTROL
  velmore::TVqFileStream& other = file;
#else
  velmore::TVqFileStream other = file;
#endif
  static_cast<void>(other);
}
