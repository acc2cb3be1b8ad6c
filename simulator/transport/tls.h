#pragma once

// A certificate authority of its own, made anew at each start, and server certificates, good and bad.

#include <memory>
#include <string>
#include <vector>

#include "simulator/types/options.h"

namespace velmore::simulator {

struct Identity {
  std::string certificate;  // PEM
  std::string key;          // PEM
};

/// What proofs are bound to on a connection that shows a certificate (PEM): "tls-server-end-point:" and its digest.
std::string EndPointOf(const std::string& certificate);

class Authority {
 public:
  Authority();
  ~Authority();
  std::string Certificate() const;     // PEM of the authority
  std::string RevocationList() const;  // PEM
  /// A server certificate for localhost, 127.0.0.1, ::1, and these domains with the hosts in them.
  Identity Issue(simulator::Certificate kind, const std::vector<std::string>& domains = {}) const;

 private:
  struct Keys;
  std::unique_ptr<Keys> keys_;
};

}  // namespace velmore::simulator
