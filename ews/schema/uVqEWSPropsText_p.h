#pragma once

// What paths and URI elements have in common. Not installed.

#include <string>

#include "ews/schema/uVqEWSProps.h"

#pragma GCC visibility push(hidden)

namespace velmore::props {

// Upper-case hexadecimal, two digits up to 0xFF, else four.
std::string TagText(std::uint16_t ATag);
// The definition itself; raises for none.
const TVqEWSPropDef& Checked(PVqEWSPropDef APropDef);
[[noreturn]] void RaiseNoIdentity(const TVqEWSPropDef& APropDef);

}  // namespace velmore::props

#pragma GCC visibility pop
