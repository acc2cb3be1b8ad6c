#pragma once

// What a conversation is about.

#include <string>
#include <string_view>

namespace velmore::simulator {

/// A subject without "RE:", "FW:" and "Fwd:" in front.
std::string TopicOf(std::string_view subject);

}  // namespace velmore::simulator
