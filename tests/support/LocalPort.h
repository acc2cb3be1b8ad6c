#pragma once

// Ports of 127.0.0.1, and waiting for a program of its own process to take connections on one.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <thread>

/// Port 0 stands for one that the system chooses.
inline sockaddr_in LocalAddress(int port = 0) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// Whether a program listens there now.
inline bool TakesConnections(int port) {
  const sockaddr_in address = LocalAddress(port);
  const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected = ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(client);
  return connected;
}

/// Waits until the program listens; false when it has ended, even if the port answers: then that is somebody else.
template <typename TEnded>
bool AwaitPort(int port, std::chrono::seconds patience, const TEnded& ended) {
  for (const auto end = std::chrono::steady_clock::now() + patience; std::chrono::steady_clock::now() < end;) {
    if (TakesConnections(port)) return !ended();
    if (ended()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}
