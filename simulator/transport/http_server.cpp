#include "simulator/transport/http_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <condition_variable>
#include <cstdio>
#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "simulator/transport/tls.h"

namespace velmore::simulator {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using Socket = asio::ip::tcp::socket;

namespace {

/// Bytes of a request that was refused for its size which are still read.
constexpr std::size_t kLinger = 256 << 20;

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if ((a[i] | 0x20) != (b[i] | 0x20)) return false;
  return true;
}

std::string Compress(const std::string& body) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
  std::string out(deflateBound(&stream, static_cast<uLong>(body.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return result == Z_STREAM_END ? out : std::string();
}

std::string Chunk(std::string_view bytes) {
  std::array<char, 20> size{};
  std::snprintf(size.data(), size.size(), "%zx\r\n", bytes.size());
  return size.data() + std::string(bytes) + "\r\n";
}

/// A body as chunks of a size, end included.
std::string Chunked(std::string_view body, std::size_t size) {
  std::string out;
  for (std::size_t at = 0; at < body.size(); at += size) out += Chunk(body.substr(at, size));
  return out + "0\r\n\r\n";
}

/// Writes to a connection; a descriptor of its own wakes the thread that waits for the peer to go.
template <class Stream>
class OpenReply final : public ReplyStream {
 public:
  /// `cut`: ends the connection behind so many bytes; negative: never.
  OpenReply(Stream& stream, bool chunks, std::int64_t cut)
      : stream_(stream), chunks_(chunks), left_(cut), wake_(::eventfd(0, EFD_NONBLOCK)) {}
  ~OpenReply() override { ::close(wake_); }
  OpenReply(const OpenReply&) = delete;
  OpenReply& operator=(const OpenReply&) = delete;

  bool Write(std::string_view bytes) override {
    // An empty chunk would end the reply.
    if (!bytes.empty()) Send(chunks_ ? Chunk(bytes) : std::string(bytes));
    return !error_;
  }

  bool Wait(std::chrono::milliseconds time) override {
    std::array<pollfd, 2> watched = {pollfd{stream_.lowest_layer().native_handle(), POLLRDHUP, 0},
                                     pollfd{wake_, POLLIN, 0}};
    ::poll(watched.data(), watched.size(), static_cast<int>(std::clamp<std::int64_t>(time.count(), 0, 1 << 30)));
    std::uint64_t count = 0;
    if (watched[1].revents != 0) static_cast<void>(::read(wake_, &count, sizeof count));
    if (watched[0].revents != 0) error_ = asio::error::eof;
    return !error_;
  }

  void Wake() override {
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_, &one, sizeof one));
  }

  void Head(std::string_view bytes) { Send(bytes); }
  /// True when all went out.
  bool End() {
    if (chunks_) Send("0\r\n\r\n");
    return !error_;
  }

 private:
  void Send(std::string_view bytes) {
    const bool cut = left_ >= 0 && static_cast<std::uint64_t>(left_) < bytes.size();
    if (cut) bytes = bytes.substr(0, static_cast<std::size_t>(left_));
    if (!error_) asio::write(stream_, asio::buffer(bytes), error_);
    if (left_ >= 0) left_ -= static_cast<std::int64_t>(bytes.size());
    if (cut) error_ = asio::error::eof;
  }
  Stream& stream_;
  const bool chunks_;
  std::int64_t left_;
  const int wake_;
  boost::system::error_code error_;
};

const char* Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 301:
      return "Moved Permanently";
    case 302:
      return "Found";
    case 307:
      return "Temporary Redirect";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 407:
      return "Proxy Authentication Required";
    case 413:
      return "Payload Too Large";
    case 415:
      return "Unsupported Media Type";
    case 429:
      return "Too Many Requests";
    case 440:
      return "Login Timeout";
    case 500:
      return "Internal Server Error";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "Status";
  }
}

}  // namespace

const std::string* HttpRequest::Header(std::string_view name) const {
  for (const auto& [key, value] : headers)
    if (SameName(key, name)) return &value;
  return nullptr;
}

struct HttpServer::Impl {
  Settings settings;
  Handler handler;
  asio::io_context context;
  std::unique_ptr<asio::ip::tcp::acceptor> http_acceptor;
  std::unique_ptr<asio::ip::tcp::acceptor> https_acceptor;
  std::uint16_t http_port = 0;
  std::uint16_t https_port = 0;
  std::vector<std::thread> accepting;

  std::mutex mutex;  // protects what follows
  std::condition_variable stopped;
  bool stopping = false;
  std::uint64_t last_connection = 0;
  // Open connections; gone from here when they are dropped, and before the socket is closed.
  std::map<std::uint64_t, int> sockets;
  struct Worker {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };
  std::list<Worker> workers;
  /// What a certificate makes of new connections.
  struct Tls {
    asio::ssl::context context{asio::ssl::context::tls_server};
    std::string end_point;
  };
  std::shared_ptr<Tls> tls;

  std::unique_ptr<asio::ip::tcp::acceptor> Open(std::uint16_t port, std::uint16_t& chosen) {
    try {
      auto acceptor = std::make_unique<asio::ip::tcp::acceptor>(
          context, asio::ip::tcp::endpoint(asio::ip::make_address(settings.address), port), true);
      chosen = acceptor->local_endpoint().port();
      return acceptor;
    } catch (const std::exception& error) {
      throw SimulatorError("Cannot listen on " + settings.address + ":" + std::to_string(port) + ": " + error.what());
    }
  }

  std::shared_ptr<Tls> MakeTls(const std::string& certificate, const std::string& key) {
    auto made = std::make_shared<Tls>();
    made->context.use_certificate_chain(asio::buffer(certificate));
    made->context.use_private_key(asio::buffer(key), asio::ssl::context::pem);
    made->end_point = EndPointOf(certificate);
    return made;
  }

  void Accept(asio::ip::tcp::acceptor& acceptor, bool secure) {
    for (;;) {
      Socket socket(context);
      boost::system::error_code error;
      acceptor.accept(socket, error);
      const std::lock_guard lock(mutex);
      if (stopping) return;
      if (error) continue;
      for (auto worker = workers.begin(); worker != workers.end();) {
        if (worker->done->load()) {
          worker->thread.join();
          worker = workers.erase(worker);
        } else {
          ++worker;
        }
      }
      socket.set_option(asio::ip::tcp::no_delay(true), error);
      const std::uint64_t number = ++last_connection;
      sockets[number] = socket.native_handle();
      if (settings.on_connection) settings.on_connection();
      auto done = std::make_shared<std::atomic<bool>>(false);
      workers.push_back({std::thread([this, secure, number, done, identity = tls, s = std::move(socket)]() mutable {
                           Connection(std::move(s), secure, number, identity);
                           done->store(true);
                         }),
                         done});
    }
  }

  void Connection(Socket socket, bool secure, std::uint64_t number, const std::shared_ptr<Tls>& identity) {
    ConnectionState state;
    state.number = number;
    const auto forget = [&] {
      const std::lock_guard lock(mutex);
      sockets.erase(number);
    };
    try {
      if (secure) {
        asio::ssl::stream<Socket> stream(std::move(socket), identity->context);
        state.end_point = identity->end_point;
        boost::system::error_code error;
        stream.handshake(asio::ssl::stream_base::server, error);
        const bool clean = !error && Serve(stream, true, state);
        // A clean end is announced; a cut one is not, which is what clients are to notice.
        if (clean) SSL_shutdown(stream.native_handle());
        forget();
        stream.lowest_layer().close(error);
      } else {
        Serve(socket, false, state);
        forget();
        boost::system::error_code error;
        socket.shutdown(Socket::shutdown_both, error);
        socket.close(error);
      }
    } catch (const std::exception&) {
      // What a connection does to itself ends that connection only.
      forget();
    }
  }

  /// Answers requests until the connection ends; true when it ended in good order.
  template <class Stream>
  bool Serve(Stream& stream, bool secure, ConnectionState& state) {
    boost::beast::flat_buffer buffer;
    for (;;) {
      http::request_parser<http::string_body> parser;
      parser.body_limit(settings.max_request_bytes);
      parser.header_limit(64 * 1024);
      boost::system::error_code error;
      http::read_header(stream, buffer, parser, error);
      if (error && error != http::error::body_limit) return false;  // a length that is told may be too much already
      if (!error) {
        if (const auto expect = parser.get().find(http::field::expect); expect != parser.get().end()) {
          static const std::string kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
          asio::write(stream, asio::buffer(kContinue), error);
          if (error) return false;
        }
        http::read(stream, buffer, parser, error);
      }
      HttpRequest request;
      request.secure = secure;
      if (error == http::error::body_limit) {
        HttpResponse refusal;
        refusal.status = 413;
        refusal.announce_close = true;
        if (!Write(stream, refusal, nullptr)) return false;
        // Closed with bytes unread the connection would be reset, and the client never see the refusal.
        stream.lowest_layer().shutdown(Socket::shutdown_send, error);
        char rest[16384];
        for (std::size_t left = kLinger; left > 0 && !error;)
          left -= std::min(left, stream.read_some(asio::buffer(rest), error));
        return true;
      }
      if (error) return false;
      const bool keep = parser.get().keep_alive();
      request.may_chunk = parser.get().version() >= 11;
      request.method = std::string(parser.get().method_string());
      request.target = std::string(parser.get().target());
      for (const auto& field : parser.get())
        request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
      request.body = std::move(parser.get().body());
      {
        // What still came in behind the end of the connection is not carried out: the client counts on that.
        const std::lock_guard lock(mutex);
        if (!sockets.contains(state.number)) return false;
      }
      HttpResponse response = handler(request, state);
      if (response.fault.delay.count() > 0) Wait(response.fault.delay);
      {
        const std::lock_guard lock(mutex);
        if (stopping) return false;
      }
      if (response.fault.close_before_reply) return false;
      // Without chunks only the end of the connection tells where a stream ends.
      if (!keep || (response.stream && !request.may_chunk)) response.announce_close = true;
      if (!Write(stream, response, &request)) return false;
      if (response.fault.close_after_reply || response.announce_close) return true;
    }
  }

  template <class Stream>
  bool Write(Stream& stream, const HttpResponse& response, const HttpRequest* request) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + " " + Reason(response.status) + "\r\n";
    const std::string* accepted = request != nullptr ? request->Header("Accept-Encoding") : nullptr;
    const std::string* body = &response.body;
    std::string compressed;
    if (settings.gzip && response.may_compress && accepted != nullptr && accepted->find("gzip") != std::string::npos &&
        response.body.size() > 512 && response.body.size() < 0x7fffffffu) {
      compressed = Compress(response.body);
      if (!compressed.empty()) {
        body = &compressed;
        head += "Content-Encoding: gzip\r\nVary: Accept-Encoding\r\n";
      }
    }
    for (const auto& [name, value] : response.headers) head += name + ": " + value + "\r\n";
    const bool may_chunk = request != nullptr && request->may_chunk;
    const bool chunked = may_chunk && (settings.chunk_bytes > 0 || response.stream);
    if (chunked)
      head += "Transfer-Encoding: chunked\r\n";
    else if (!response.stream)
      head += "Content-Length: " + std::to_string(body->size()) + "\r\n";
    if (response.announce_close) head += "Connection: close\r\n";
    head += "\r\n";
    const Fault& fault = response.fault;
    boost::system::error_code error;
    if (response.stream) {
      OpenReply<Stream> reply(stream, chunked, fault.cut_at_byte);
      reply.Head(head);
      response.stream(reply);
      return reply.End();
    }
    std::string framed;
    std::string_view content = *body;
    if (chunked) content = framed = Chunked(*body, settings.chunk_bytes);
    if (request != nullptr && request->method == "HEAD") content = {};
    if (fault.cut_at_byte < 0 && fault.piece_size == 0) {
      const std::array<asio::const_buffer, 2> buffers = {asio::buffer(head), asio::buffer(content)};
      asio::write(stream, buffers, error);
      return !error;
    }
    std::string all = head;
    all += content;
    bool whole = true;
    if (fault.cut_at_byte >= 0 && static_cast<std::uint64_t>(fault.cut_at_byte) < all.size()) {
      all.resize(static_cast<std::size_t>(fault.cut_at_byte));
      whole = false;
    }
    const std::size_t piece = fault.piece_size == 0 ? all.size() : fault.piece_size;
    for (std::size_t at = 0; at < all.size() && !error; at += piece)
      asio::write(stream, asio::buffer(all.data() + at, std::min(piece, all.size() - at)), error);
    return !error && whole;
  }

  void Wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex);
    stopped.wait_for(lock, time, [this] { return stopping; });
  }
};

HttpServer::HttpServer(Settings settings, Handler handler) : impl_(std::make_unique<Impl>()) {
  impl_->settings = std::move(settings);
  impl_->handler = std::move(handler);
}

HttpServer::~HttpServer() {
  Stop();
}

void HttpServer::Start() {
  Impl& impl = *impl_;
  impl.stopping = false;
  if (impl.settings.http) impl.http_acceptor = impl.Open(impl.settings.http_port, impl.http_port);
  if (impl.settings.https) {
    impl.tls = impl.MakeTls(impl.settings.certificate, impl.settings.key);
    impl.https_acceptor = impl.Open(impl.settings.https_port, impl.https_port);
  }
  if (impl.http_acceptor != nullptr) impl.accepting.emplace_back([&impl] { impl.Accept(*impl.http_acceptor, false); });
  if (impl.https_acceptor != nullptr) impl.accepting.emplace_back([&impl] { impl.Accept(*impl.https_acceptor, true); });
}

void HttpServer::Stop() {
  Impl& impl = *impl_;
  std::list<Impl::Worker> workers;
  {
    const std::lock_guard lock(impl.mutex);
    if (impl.stopping) return;
    impl.stopping = true;
    // Wakes the threads that sit in accept and in recv; each closes its own socket.
    for (auto* acceptor : {impl.http_acceptor.get(), impl.https_acceptor.get()})
      if (acceptor != nullptr) ::shutdown(acceptor->native_handle(), SHUT_RDWR);
    for (const auto& [number, handle] : impl.sockets) ::shutdown(handle, SHUT_RDWR);
  }
  impl.stopped.notify_all();
  for (std::thread& thread : impl.accepting) thread.join();
  impl.accepting.clear();
  {
    const std::lock_guard lock(impl.mutex);
    workers.swap(impl.workers);
  }
  for (Impl::Worker& worker : workers) worker.thread.join();
  impl.http_acceptor.reset();
  impl.https_acceptor.reset();
}

void HttpServer::DropConnections() {
  const std::lock_guard lock(impl_->mutex);
  for (const auto& [number, handle] : impl_->sockets) ::shutdown(handle, SHUT_RDWR);
  impl_->sockets.clear();
}

void HttpServer::SetIdentity(const std::string& certificate, const std::string& key) {
  auto made = impl_->MakeTls(certificate, key);
  const std::lock_guard lock(impl_->mutex);
  impl_->settings.certificate = certificate;
  impl_->settings.key = key;
  impl_->tls = std::move(made);
}

std::uint16_t HttpServer::HttpPort() const {
  return impl_->http_port;
}
std::uint16_t HttpServer::HttpsPort() const {
  return impl_->https_port;
}
void HttpServer::Wait(std::chrono::milliseconds time) {
  impl_->Wait(time);
}

}  // namespace velmore::simulator
