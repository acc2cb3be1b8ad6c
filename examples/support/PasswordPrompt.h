#pragma once

#include <string>

/// Asks the person at the terminal for a password, which is not shown while it is typed. Takes a line of the standard
/// input where that is no terminal.
std::string PromptForPassword(const std::string& question);
