#include "tests/support/ScriptedServer.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

ssl_ctx_st* MakeContext(const ScriptedServer::Identity& identity) {
  SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
  const auto memory = [](const std::string& text) {
    return BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
  };
  BIO* bio = memory(identity.Certificates);
  bool first = true;
  while (X509* const certificate = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr)) {
    if (first) {
      SSL_CTX_use_certificate(context, certificate);
    } else {
      SSL_CTX_add1_chain_cert(context, certificate);
    }
    first = false;
    X509_free(certificate);
  }
  BIO_free(bio);
  bio = memory(identity.Key);
  EVP_PKEY* const key = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr);
  BIO_free(bio);
  SSL_CTX_use_PrivateKey(context, key);
  EVP_PKEY_free(key);
  if (!identity.ClientCA.empty()) {
    bio = memory(identity.ClientCA);
    X509* const authority = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
    BIO_free(bio);
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority);
    X509_free(authority);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (identity.HighestTls != 0) {
    SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context, identity.HighestTls);
    SSL_CTX_set_security_level(context, 0);  // the old versions are below all others
  }
  ERR_clear_error();
  if (first || !key || SSL_CTX_check_private_key(context) != 1) {
    SSL_CTX_free(context);
    throw std::runtime_error("the test server's identity is not usable");
  }
  return context;
}

}  // namespace

struct ScriptedServer::Link {
  int Socket = -1;
  SSL* Tls = nullptr;
  bool Open = true;  // under FMutex
  std::thread Thread;

  ssize_t Read(char* buffer, std::size_t size) {
    if (Tls) return SSL_read(Tls, buffer, static_cast<int>(size));
    return recv(Socket, buffer, size, 0);
  }
  bool WriteAll(const char* data, std::size_t size) {
    while (size > 0) {
      const ssize_t done = Tls ? SSL_write(Tls, data, static_cast<int>(size)) : send(Socket, data, size, MSG_NOSIGNAL);
      if (done <= 0) return false;
      data += done;
      size -= static_cast<std::size_t>(done);
    }
    return true;
  }
};

std::string ScriptedServer::Request::Method() const {
  return Head.substr(0, Head.find(' '));
}

std::string ScriptedServer::Request::Target() const {
  const std::size_t start = Head.find(' ') + 1;
  return Head.substr(start, Head.find(' ', start) - start);
}

std::string ScriptedServer::Request::Header(std::string_view name) const {
  std::size_t at = Head.find("\r\n");
  while (at != std::string::npos && at + 2 < Head.size()) {
    at += 2;
    const std::size_t end = Head.find("\r\n", at);
    const std::string_view line = std::string_view(Head).substr(at, end - at);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && SameName(line.substr(0, colon), name)) {
      std::string_view value = line.substr(colon + 1);
      while (value.starts_with(' ')) value.remove_prefix(1);
      return std::string(value);
    }
    at = end;
  }
  return {};
}

ScriptedServer::ScriptedServer() {
  Listen();
}

ScriptedServer::ScriptedServer(const Identity& identity) : FContext(MakeContext(identity)) {
  Listen();
}

ScriptedServer::~ScriptedServer() {
  {
    const std::scoped_lock lock(FMutex);
    FStopping = true;
    FChanged.notify_all();
    for (const auto& link : FLinks) {
      if (link->Open) shutdown(link->Socket, SHUT_RDWR);
    }
  }
  shutdown(FListener, SHUT_RDWR);
  FAccepting.join();
  close(FListener);
  for (const auto& link : FLinks) link->Thread.join();
  SSL_CTX_free(FContext);
}

void ScriptedServer::Listen() {
  FListener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (FListener < 0 || bind(FListener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(FListener, 64) != 0 || getsockname(FListener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("the test server has no port");
  }
  FPort = ntohs(address.sin_port);
  FAccepting = std::thread([this] { AcceptLoop(); });
}

void ScriptedServer::AcceptLoop() {
  for (;;) {
    const int connected = accept4(FListener, nullptr, nullptr, SOCK_CLOEXEC);
    const std::scoped_lock lock(FMutex);
    if (FStopping || connected < 0) {
      if (connected >= 0) close(connected);
      return;
    }
    const int on = 1;
    setsockopt(connected, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    FLinks.push_back(std::make_unique<Link>());
    Link& link = *FLinks.back();
    link.Socket = connected;
    link.Thread = std::thread([this, &link] {
      // OpenSSL writes without MSG_NOSIGNAL. In this thread only: the library under test has to do without.
      sigset_t pipe;
      sigemptyset(&pipe);
      sigaddset(&pipe, SIGPIPE);
      pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
      bool ready = true;
      if (FContext) {
        link.Tls = SSL_new(FContext);
        SSL_set_fd(link.Tls, link.Socket);
        ready = SSL_accept(link.Tls) == 1;
      }
      int number = 0;
      if (ready) {
        const std::scoped_lock count(FMutex);
        number = ++FConnections;
        FChanged.notify_all();
      }
      if (ready) Serve(link, number);
      if (link.Tls && ready) SSL_shutdown(link.Tls);
      ERR_clear_error();
      SSL_free(link.Tls);
      link.Tls = nullptr;
      const std::scoped_lock done(FMutex);
      close(link.Socket);
      link.Open = false;
      FChanged.notify_all();
    });
  }
}

bool ScriptedServer::ReadRequest(Link& link, std::string& buffer, Request& request, bool& unread) {
  const auto more = [&] {
    char bytes[16384];
    const ssize_t count = link.Read(bytes, sizeof bytes);
    if (count > 0) buffer.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  };
  std::size_t end = 0;
  while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
    if (!more()) return false;
  }
  request.Head = buffer.substr(0, end + 4);
  buffer.erase(0, end + 4);
  {
    const std::scoped_lock lock(FMutex);
    unread = !FScript.empty() && FScript.front().Unread;
  }
  if (unread) return true;
  const std::string length = request.Header("Content-Length");
  const std::size_t size = length.empty() ? 0 : std::stoul(length);
  while (buffer.size() < size) {
    if (!more()) return false;
  }
  request.Body = buffer.substr(0, size);
  buffer.erase(0, size);
  return true;
}

bool ScriptedServer::Write(Link& link, const Answer& answer) {
  const auto pause = [&](std::chrono::milliseconds time) {
    std::unique_lock lock(FMutex);
    FChanged.wait_for(lock, time, [&] { return FStopping; });
  };
  if (answer.Before.count() > 0) pause(answer.Before);
  const std::size_t piece = answer.PieceSize == 0 ? std::max<std::size_t>(answer.Bytes.size(), 1) : answer.PieceSize;
  for (std::size_t at = 0; at < answer.Bytes.size(); at += piece) {
    if (at > 0 && answer.Between.count() > 0) pause(answer.Between);
    if (!link.WriteAll(answer.Bytes.data() + at, std::min(piece, answer.Bytes.size() - at))) return false;
  }
  if (answer.Reset) {
    const linger hard = {1, 0};
    setsockopt(link.Socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    return false;
  }
  if (answer.Hang) {
    // Without reading: until the client goes or the test ends.
    pollfd gone = {link.Socket, POLLRDHUP, 0};
    while (poll(&gone, 1, 50) == 0) {
      const std::scoped_lock lock(FMutex);
      if (FStopping) break;
    }
    return false;
  }
  return !answer.Close;
}

void ScriptedServer::Serve(Link& link, int number) {
  std::string buffer;
  for (;;) {
    Request request;
    request.Connection = number;
    bool unread = false;
    if (!ReadRequest(link, buffer, request, unread)) return;
    Answer answer;
    {
      const std::scoped_lock lock(FMutex);
      FRequests.push_back(request);
      if (FHandler) {
        answer = FHandler(request);
      } else if (!FScript.empty()) {
        answer = std::move(FScript.front());
        FScript.pop_front();
      } else {
        FComplaints += "No answer was left for " + request.Method() + " " + request.Target() + "\n";
        answer = {"HTTP/1.1 599 Surplus Request\r\nContent-Length: 0\r\n\r\n", 0, {}, {}, true, false, false, false};
      }
      FChanged.notify_all();
    }
    if (!Write(link, answer)) return;
  }
}

ScriptedServer& ScriptedServer::Then(Answer answer) {
  const std::scoped_lock lock(FMutex);
  FScript.push_back(std::move(answer));
  return *this;
}

void ScriptedServer::Always(std::function<Answer(const Request&)> handler) {
  const std::scoped_lock lock(FMutex);
  FHandler = std::move(handler);
}

std::string ScriptedServer::Ok(std::string_view body, std::string_view headers) {
  std::string bytes = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
  return bytes.append(headers).append("\r\n").append(body);
}

std::string ScriptedServer::Url(std::string_view path, std::string_view host) const {
  return std::string(FContext ? "https://" : "http://").append(host) + ":" + std::to_string(FPort) + std::string(path);
}

std::vector<ScriptedServer::Request> ScriptedServer::Requests() const {
  const std::scoped_lock lock(FMutex);
  return FRequests;
}

int ScriptedServer::Connections() const {
  const std::scoped_lock lock(FMutex);
  return FConnections;
}

int ScriptedServer::OpenConnections() const {
  const std::scoped_lock lock(FMutex);
  return static_cast<int>(std::count_if(FLinks.begin(), FLinks.end(), [](const auto& link) { return link->Open; }));
}

bool ScriptedServer::WaitFor(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    std::unique_lock lock(FMutex);
    FChanged.wait_for(lock, std::chrono::milliseconds(5));
    if (std::chrono::steady_clock::now() > end) return false;
  }
  return true;
}

void ScriptedServer::CloseConnections() {
  {
    const std::scoped_lock lock(FMutex);
    for (const auto& link : FLinks) {
      if (link->Open) shutdown(link->Socket, SHUT_RDWR);
    }
  }
  WaitFor([this] { return OpenConnections() == 0; });
}

std::string ScriptedServer::Complaints() const {
  const std::scoped_lock lock(FMutex);
  std::string complaints = FComplaints;
  if (!FScript.empty()) complaints += std::to_string(FScript.size()) + " answers were not asked for\n";
  return complaints;
}
