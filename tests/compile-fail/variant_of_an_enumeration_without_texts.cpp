// An enumerator of a variant is its wire text; one without would become a number.
// expect: (no match|no viable|could not convert|conversion)
#include "platform/xml/uVqXMLUtils.h"

velmore::TVqVariant Value() {
#ifdef CONTROL
  return 5;
#else
  return velmore::tkSet;
#endif
}
