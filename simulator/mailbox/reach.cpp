#include "simulator/mailbox/reach.h"

#include <stdexcept>

namespace velmore::simulator {

thread_local Reach* Reach::current_ = nullptr;

void Reach::Refuse() {
  throw std::logic_error("An operation went to a mailbox whose lock it does not hold.");
}

}  // namespace velmore::simulator
