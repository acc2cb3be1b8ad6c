#pragma once

#include "ews/model/internal/uVqEWSCall.h"

namespace velmore {

/// What carries a new item, whether it is saved or sent.
inline constexpr TVqEWSOperation kCreateItem{"CreateItem", "m:CreateItemResponse", TVqEWSAnswerPath::prefixed};

}  // namespace velmore
