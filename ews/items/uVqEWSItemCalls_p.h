#pragma once

#include "ews/model/internal/uVqEWSCall.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// What carries a new item, whether it is saved or sent.
inline constexpr TVqEWSOperation kCreateItem{"CreateItem", "m:CreateItemResponse", TVqEWSAnswerPath::prefixed};

/// Takes away the members of a new item that hold nothing: getters made them on their way.
void EwsRemoveEmptyMembers(const IVqDOMElement& AItem);

}  // namespace velmore

#pragma GCC visibility pop
