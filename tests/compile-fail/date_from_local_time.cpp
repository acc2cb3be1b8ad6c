// What a clock on a wall shows is a point in time only with a zone.
// expect: (convert|conversion|no matching|no viable)
#include "platform/common/uVqTypes.h"

void SetDueDate(velmore::TDateTime due);

void Due(std::chrono::year_month_day day) {
#ifdef CONTROL
  SetDueDate(std::chrono::sys_days(day));
#else
  SetDueDate(std::chrono::local_days(day));
#endif
}
