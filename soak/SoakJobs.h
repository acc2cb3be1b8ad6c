#pragma once

// What an application does with a mailbox, job by job.

#include <random>
#include <string>
#include <vector>

#include "SoakServer.h"
#include "ews/VelmoreEWS.h"

namespace soak {

/// Where a worker sits: a session that is logged on as one of the users.
struct Desk {
  const SoakServer& Server;
  velmore::TVqEWSServiceSession& Session;
  velmore::IVqEWSMsgStore& Store;
  int User;
  std::mt19937& Random;
  unsigned& Serial;  // makes texts unique

  int Number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(Random); }
  bool Chance(int percent) { return Number(1, 100) <= percent; }
  std::string Token(const char* kind) {
    return std::string(kind) + " " + std::to_string(User) + "-" + std::to_string(++Serial);
  }
};

struct Job {
  const char* Name;
  int Weight;
  void (*Run)(Desk&);
};
const std::vector<Job>& Jobs();

/// A session pointed at a server, not logged on yet. Connection, form of the requests and time zone are drawn.
void Configure(velmore::TVqEWSServiceSession& session, const SoakServer& server, const std::string& user,
               std::mt19937& random);

}  // namespace soak
