// A server on loopback that answers with whatever the fuzzer thinks of: status lines, headers, chunks, cookies,
// encodings. The client gives a reply or raises one of its own exceptions, within its bounds, and is usable for the
// next one.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "platform/http/uVqHTTPLook.h"
#include "platform/http/uVqWinHTTP.h"

namespace {

using namespace velmore;

/// Answers every connection with the same bytes and closes it.
class Server {
 public:
  Server() {
    FListener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (FListener < 0 || bind(FListener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(FListener, 16) != 0 || getsockname(FListener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      std::abort();
    }
    FPort = ntohs(address.sin_port);
    std::thread([this] { Serve(); }).detach();
  }
  string Url() const { return "http://127.0.0.1:" + std::to_string(FPort) + "/"; }
  void Answer(std::string bytes) {
    const std::scoped_lock lock(FMutex);
    FAnswer = std::move(bytes);
  }

 private:
  void Serve() {
    for (;;) {
      const int connected = accept4(FListener, nullptr, nullptr, SOCK_CLOEXEC);
      if (connected < 0) return;
      std::string answer;
      {
        const std::scoped_lock lock(FMutex);
        answer = FAnswer;
      }
      std::string request;
      char bytes[4096];
      while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = recv(connected, bytes, sizeof bytes, 0);
        if (count <= 0) break;
        request.append(bytes, static_cast<std::size_t>(count));
      }
      if (!answer.empty()) send(connected, answer.data(), answer.size(), MSG_NOSIGNAL);
      shutdown(connected, SHUT_WR);
      // Until the client goes: what it has not read must not be lost to a reset.
      while (recv(connected, bytes, sizeof bytes, 0) > 0) continue;
      close(connected);
    }
  }

  int FListener = -1;
  std::uint16_t FPort = 0;
  std::mutex FMutex;  // protects FAnswer
  std::string FAnswer;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Server& server = *new Server;
  static TVqWinHTTPClient& client = *new TVqWinHTTPClient;
  IVqHTTPClient& http = client;
  TVqHTTPLimits limits;
  limits.ReplyBytes = limits.UnpackedBytes = 1 << 20;
  limits.HeaderBytes = 64 << 10;
  http.GetSession()->SetLimits(limits);
  client.SetTimeOuts({2000, 2000, 2000});
  server.Answer(std::string(reinterpret_cast<const char*>(data), size));
  http.GetSession()->GetCookies().Clear();
  TVqRef<IVqHTTPResponse> response;
  try {
    http.Request(response, TVqHTTPVerb::get, server.Url());
    if (response->GetBody().size() > limits.UnpackedBytes) std::abort();
    static_cast<void>(response->GetText());
    static_cast<void>(response->GetHeader("Content-Type"));
    static_cast<void>(response->GetCookie("a"));
    static_cast<void>(VqHTTPLook(*response));
  } catch (const EVqHTTPException& failure) {
    if (failure.Message().empty() || failure.Message().size() > 2000) std::abort();
  }
  client.CloseConnections();
  return 0;
}
