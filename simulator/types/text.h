#pragma once

// Texts of ASCII letters compared and folded without their case, and those of booleans and of JSON.

#include <string>
#include <string_view>

namespace velmore::simulator {

std::string Lower(std::string_view text);
bool SameText(std::string_view a, std::string_view b);

/// A text in quotes as JSON has it; control characters are left out.
std::string JsonText(std::string_view text);

/// The texts of XML booleans.
bool IsTrue(std::string_view text);
bool IsBoolean(std::string_view text);

}  // namespace velmore::simulator
