#pragma once

// A port of 127.0.0.1 that takes no connection: its queue is full and nobody accepts.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

class FullPort {
 public:
  FullPort() {
    FListener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(FListener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(FListener, 0) != 0 ||
        getsockname(FListener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("no port for a test");
    FPort = ntohs(address.sin_port);
    for (int& client : FClients) {
      client = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
      connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
  }
  ~FullPort() {
    for (const int client : FClients) close(client);
    close(FListener);
  }
  FullPort(const FullPort&) = delete;
  FullPort& operator=(const FullPort&) = delete;

  std::string Host() const { return "127.0.0.1:" + std::to_string(FPort); }
  std::string Url() const { return "http://" + Host() + "/"; }

 private:
  int FListener = -1;
  int FPort = 0;
  int FClients[4] = {};
};
