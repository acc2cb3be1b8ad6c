#pragma once

// Texts that Exchange gives with its response codes.

#include <string_view>

namespace velmore::simulator {

/// The usual text of a code; a general one when the code is not known here.
std::string_view DefaultText(std::string_view code);

}  // namespace velmore::simulator
