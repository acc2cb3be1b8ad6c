// Seconds since 1970 are no days since 1899: a whole number becomes a date only when that is written down.
// expect: (convert|conversion|no matching|no viable)
#include <cstdint>

#include "platform/common/uVqTypes.h"

void SetDueDate(velmore::TDateTime due);

void Due(std::int64_t seconds) {
#ifdef CONTROL
  SetDueDate(std::chrono::sys_seconds(std::chrono::seconds(seconds)));
#else
  SetDueDate(seconds);
#endif
}
