// A character would be compared as its number.
// expect: (no match|invalid operands)
#include "ews/idioms/uVqEWSFilters.h"

velmore::TVqEWSFilter Filter(const velmore::TVqEWSFieldDef& field) {
#ifdef CONTROL
  return velmore::VqField(field) == "x";
#else
  return velmore::VqField(field) == 'x';
#endif
}
