// A constant that is no GUID is found when it is compiled.
// expect: (not a GUID|constant expression|call to consteval)
#include "platform/common/uVqTypes.h"

#ifdef CONTROL
velmore::TGUID Guid() {
  return velmore::TGUID("00020328-0000-0000-C000-000000000046");
}
#else
velmore::TGUID Guid() {
  return velmore::TGUID("00020328-0000-0000-C000-00000000004");
}
#endif
