#pragma once

// A certificate authority of its own, made anew at each start, and server certificates, good and bad.

#include <memory>
#include <string>

#include "simulator/types/options.h"

namespace velmore::simulator {

struct Identity {
  std::string certificate;  // PEM
  std::string key;          // PEM
};

class Authority {
 public:
  Authority();
  ~Authority();
  std::string Certificate() const;     // PEM of the authority
  std::string RevocationList() const;  // PEM
  /// A server certificate for localhost, 127.0.0.1 and ::1.
  Identity Issue(simulator::Certificate kind) const;

 private:
  struct Keys;
  std::unique_ptr<Keys> keys_;
};

}  // namespace velmore::simulator
