// A flag is no date, not even for who asks.
// expect: (convert|conversion|no matching|ambiguous|cannot)
#include "platform/common/uVqTypes.h"

velmore::TDateTime Due(bool set) {
#ifdef CONTROL
  return set ? velmore::TDateTime(46000) : velmore::TDateTime();
#else
  return velmore::TDateTime(set);
#endif
}
