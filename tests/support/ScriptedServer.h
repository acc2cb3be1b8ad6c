#pragma once

// A server that says, byte for byte, what a test tells it to: on a loopback port that the system chooses, over plain
// TCP or TLS. It may delay, cut into pieces, truncate, drop or reset, and it counts connections.
//
//   ScriptedServer server;
//   server.Then("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi");
//   client->Request(response, TVqHTTPVerb::get, server.Url("/"));
//   EXPECT_EQ(server.Complaints(), "");   // no request without an answer, no answer left over
//
// Knows nothing of the library, so that every room can use it.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

struct ssl_ctx_st;

class ScriptedServer {
 public:
  /// A request as it came in.
  struct Request {
    int Connection = 0;  // 1 for the first
    std::string Head;    // request line and headers, with the empty line
    std::string Body;
    std::string Method() const;
    std::string Target() const;
    /// A header's value; empty when it is not there.
    std::string Header(std::string_view name) const;
  };

  /// What a request is answered with.
  struct Answer {
    std::string Bytes;
    std::size_t PieceSize = 0;             // 0: all at once
    std::chrono::milliseconds Between{0};  // between pieces
    std::chrono::milliseconds Before{0};   // before the first byte
    bool Close = false;                    // the connection, after the bytes
    bool Reset = false;                    // the connection hard (RST), after the bytes
    bool Hang = false;                     // after the bytes: nothing more until the client goes
    bool Unread = false;                   // the body is left unread, and the answer comes at once
  };

  /// Certificate and key of a TLS server as PEM text. `ClientCA` not empty asks for a certificate of the client.
  struct Identity {
    std::string Certificates;
    std::string Key;
    std::string ClientCA;
    int HighestTls = 0;  // OpenSSL's number of a version, 0 is what OpenSSL can do
  };

  ScriptedServer();
  explicit ScriptedServer(const Identity& identity);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  /// The answer to the next request that has none yet.
  ScriptedServer& Then(Answer answer);
  ScriptedServer& Then(std::string bytes) {
    return Then(Answer{std::move(bytes), 0, {}, {}, false, false, false, false});
  }
  /// Answers every request instead of a script. Called from several threads, under a lock.
  void Always(std::function<Answer(const Request&)> handler);
  /// An answer of status 200 with a body.
  static std::string Ok(std::string_view body, std::string_view headers = "");

  std::uint16_t Port() const { return FPort; }
  bool IsTls() const { return FContext != nullptr; }
  /// "http://127.0.0.1:port" and the path; another host name where it is told.
  std::string Url(std::string_view path = "/", std::string_view host = "127.0.0.1") const;

  std::vector<Request> Requests() const;
  /// Connections accepted so far; with TLS those whose handshake came through.
  int Connections() const;
  /// Connections that are open now.
  int OpenConnections() const;
  /// Waits until `condition` holds, looked at after each event; false after ten seconds.
  bool WaitFor(const std::function<bool()>& condition);
  /// Closes all open connections from the server's side and waits until it is done.
  void CloseConnections();
  /// What went against the script: empty when every request had an answer and every answer a request.
  std::string Complaints() const;

 private:
  struct Link;
  void Listen();
  void AcceptLoop();
  void Serve(Link& link, int number);
  bool ReadRequest(Link& link, std::string& buffer, Request& request, bool& unread);
  bool Write(Link& link, const Answer& answer);

  std::uint16_t FPort = 0;
  int FListener = -1;
  ssl_ctx_st* FContext = nullptr;
  mutable std::mutex FMutex;  // protects everything below
  mutable std::condition_variable FChanged;
  std::deque<Answer> FScript;
  std::function<Answer(const Request&)> FHandler;
  std::vector<Request> FRequests;
  std::string FComplaints;
  int FConnections = 0;
  bool FStopping = false;
  std::list<std::unique_ptr<Link>> FLinks;
  std::thread FAccepting;
};
