// An enumerator goes out as its wire text; one without would be compared as its number.
// expect: (no match|invalid operands)
#include "ews/idioms/uVqEWSFilters.h"

enum class TColour { red };

velmore::TVqEWSFilter Filter(const velmore::TVqEWSFieldDef& field) {
#ifdef CONTROL
  return velmore::VqField(field) == velmore::dtHardDelete;
#else
  return velmore::VqField(field) == TColour::red;
#endif
}
