#include "simulator/types/exchange.h"

#include "simulator/types/text.h"

namespace velmore::simulator {

std::string Exchange::RequestHeader(std::string_view name) const {
  for (const auto& [key, value] : request_headers)
    if (SameText(key, name)) return value;
  return {};
}

}  // namespace velmore::simulator
