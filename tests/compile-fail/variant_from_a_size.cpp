// A size is neither a date nor a fraction: whoever stores one says which number it is to be.
// expect: (convert|conversion|no viable)
#include "platform/xml/uVqXMLUtils.h"

velmore::TVqVariant Value(std::size_t size) {
#ifdef CONTROL
  return static_cast<std::int64_t>(size);
#else
  return size;
#endif
}
