#include "ews/values/uVqEWSMembers.h"

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

// Keys are ASCII, but for an application's own.
bool SameKey(std::string_view A, std::string_view B) {
  return A == B || (A.size() == B.size() && SameText(A, B));
}

}  // namespace

PVqEWSPropDef VqEWSField::GetPropDef() const {
  if (!FAssigned) return nullptr;
  PVqEWSPropDef found = FPropDef.load(std::memory_order_acquire);
  if (found) return found;
  switch (FURIType) {
    case fdtField:
      found = GetFieldDef(FUnindexedFieldURI)->PropDef;
      break;
    case fdtIndexedField:
      found = GetFieldDef(FDictionaryURI)->PropDef;
      break;
    case fdtExtendedField:
      // By key as it is written; the one key that has a NUL byte behind it is no member's.
      found = velmore::GetPropDef(FPropDefName, true);
      break;
  }
  FPropDef.store(found, std::memory_order_release);
  return found;
}

bool TVqEWSMemberInfo::IsLinkedTo(std::string_view APropDefName) const {
  const PVqEWSPropDef linked = Field.GetPropDef();
  return linked && SameKey(linked->PropDefName, APropDefName);
}

const TVqEWSMemberInfo* TVqEWSMemberTable::Find(std::string_view AName) const noexcept {
  for (const TVqEWSMemberTable* table = this; table; table = table->Base)
    for (const TVqEWSMemberInfo& member : table->Members)
      if (member.Name == AName) return &member;
  return nullptr;
}

const TVqEWSMemberInfo* TVqEWSMemberTable::FindLinked(std::string_view APropDefName) const {
  for (const TVqEWSMemberTable* table = this; table; table = table->Base)
    for (const TVqEWSMemberInfo& member : table->Members)
      if (member.IsLinkedTo(APropDefName)) return &member;
  return nullptr;
}

}  // namespace velmore
