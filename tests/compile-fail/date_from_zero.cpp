// "No date" is written {}: a 0 could mean the zeroth second of 1970 as well.
// expect: (convert|conversion|no matching|no viable)
#include "platform/common/uVqTypes.h"

void SetDueDate(velmore::TDateTime due);

void None() {
#ifdef CONTROL
  SetDueDate({});
#else
  SetDueDate(0);
#endif
}
