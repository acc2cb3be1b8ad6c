// Text that comes in at run time may be no GUID: VqTryParseGuid says so.
// expect: (constant expression|call to consteval)
#include "platform/common/uVqTypes.h"

velmore::TGUID Guid(const std::string& text) {
#ifdef CONTROL
  velmore::TGUID guid;
  velmore::VqTryParseGuid(text, guid);
  return guid;
#else
  return velmore::TGUID(text);
#endif
}
