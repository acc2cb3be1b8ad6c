#pragma once

/// The rows of the records as constants: what the tables and the accessors share.

#include "ews/schema/uVqEWSTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail::rows {

// The index of each member: a running number over the class and its bases.
namespace index {

struct TVqXMLSchemaElement {
  enum : std::int32_t { End = 0 };
};
template <typename T>
using TVqXMLSchemaSimpleContentElement = TVqXMLSchemaElement;

#define VQ_RECORD(name, base) \
  struct name : base {        \
    enum : std::int32_t { First = base::End, BeforeFirst = First - 1,
#define VQ_VALUE(name, wire, type, rule) i##name,
#define VQ_DATE(name, wire, rule) i##name,
#define VQ_TIME(name, wire, rule) i##name,
#define VQ_BASE64(name, wire, rule) i##name,
#define VQ_ATTRIBUTE(name, wire, type, rule) i##name,
#define VQ_CHILD(name, wire, type, rule) i##name,
#define VQ_ARRAY(name, wire, type, rule) i##name,
#define VQ_ENTRIES(name, wire, type, key, rule) i##name,
#define VQ_PART(name, wire, type, rule) i##name,
#define VQ_READONLY(name, wire, type, rule) i##name,
#define VQ_END(name) \
  End                \
  }                  \
  ;                  \
  }                  \
  ;
#include "ews/tables/uVqEWSRecords.inc"

}  // namespace index

#define VQ_RECORD(name, base) extern const TVqXMLSchemaClass name##Class;
#include "ews/tables/uVqEWSRecords.inc"

}  // namespace velmore::detail::rows

#pragma GCC visibility pop
