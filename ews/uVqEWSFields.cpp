#include "ews/uVqEWSFields.h"

#include "ews/uVqEWSTableCells_p.h"

namespace velmore {

IVqDOMElement TVqEWSField::Find() {
  if (!FCells) return TVqEWSData::Find();
  // The table finds the row's cells when it gives the record.
  const IVqDOMElement& row = Record(desCurrent).AsElement();
  return detail::MakeElement(row, FCells->Get(FColumn));
}

IVqDOMElement TVqEWSField::MakeValueNode(const IVqDOMElement& AObject) {
  const IVqDOMElement made = TVqEWSData::MakeValueNode(AObject);
  if (FCells) FCells->Set(FColumn, made);
  return made;
}

}  // namespace velmore
