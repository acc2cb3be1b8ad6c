// A record is the one of its node: its parent gives out references, and a copy would be a second one.
// expect: deleted
#include "platform/xml/uVqXMLSchema.h"

void Copy(velmore::TVqXMLSchemaElement& record) {
#ifdef CONTROL
  velmore::TVqXMLSchemaElement& other = record;
#else
  velmore::TVqXMLSchemaElement other = record;
#endif
  static_cast<void>(other);
}
