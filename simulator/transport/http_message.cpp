#include "simulator/transport/http_message.h"

namespace velmore::simulator {

namespace {

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if ((a[i] | 0x20) != (b[i] | 0x20)) return false;
  return true;
}

}  // namespace

const std::string* HttpRequest::Header(std::string_view name) const {
  for (const auto& [key, value] : headers)
    if (SameName(key, name)) return &value;
  return nullptr;
}

}  // namespace velmore::simulator
