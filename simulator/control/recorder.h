#pragma once

// Keeps what went over the wire, in memory and, when wanted, as files. Passwords, tokens and cookies are masked before
// anything is kept: in the headers that carry them, behind their names in addresses, forms and JSON, and in elements
// and attributes whose names end in "Password", "Secret", "AccessToken" and the like.

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/types/exchange.h"

namespace velmore::simulator {

/// XML with line breaks, for reading; anything else as it is.
std::string ReadableBody(const std::string& body);

class Recorder {
 public:
  Recorder(std::size_t keep, std::string directory);
  void Add(Exchange exchange);  // sets its number
  std::vector<Exchange> All() const;
  void Clear();

 private:
  void WriteFiles(const Exchange& exchange) const;
  const std::size_t keep_;
  const std::string directory_;
  mutable std::mutex mutex_;  // protects what follows
  std::deque<Exchange> exchanges_;
  std::size_t bytes_ = 0;
  std::uint64_t last_number_ = 0;
};

}  // namespace velmore::simulator
