#pragma once

// Trouble with a reply that stays open.

#include "simulator/types/fault.h"
#include "simulator/types/reply_stream.h"

namespace velmore::simulator {

/// The same reply, with what the fault does to the envelopes of a stream.
StreamBody Troubled(StreamBody body, const Fault& fault);

}  // namespace velmore::simulator
