#include "simulator/transport/connection.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <system_error>
#include <type_traits>

#include "simulator/transport/framing.h"

namespace velmore::simulator {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using Socket = asio::ip::tcp::socket;
using Error = boost::system::error_code;
using Clock = std::chrono::steady_clock;

namespace {

/// Bytes of a request that was refused for its size which are still read.
constexpr std::size_t kLinger = 256 << 20;
/// Bytes that are read at a time: a connection that waits holds few.
constexpr std::size_t kHeadReading = 4 << 10;
constexpr std::size_t kBodyReading = 64 << 10;
/// A reply goes out in pieces of this size, so that each of them can be waited for.
constexpr std::size_t kPiece = 256 << 10;
/// How long a client is waited for that was told of the end of its TLS connection.
constexpr std::chrono::milliseconds kFarewell{1000};

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
    if (!bytes.empty()) Send(chunks_ ? ChunkOf(bytes) : std::string(bytes));
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
    if (chunks_) Send(kLastChunk);
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
  Error error_;
};

template <class Stream>
class HttpConnection final : public Connection, public std::enable_shared_from_this<HttpConnection<Stream>> {
 public:
  HttpConnection(ConnectionHost& host, Socket socket, std::uint64_t number, std::shared_ptr<TlsIdentity> tls)
      : host_(host),
        tls_(std::move(tls)),
        stream_(Layered(std::move(socket), tls_.get())),
        limit_(stream_.get_executor()),
        delay_(stream_.get_executor()) {
    state_.number = number;
    if (tls_ != nullptr) state_.end_point = tls_->end_point;
  }

  void Start() override {
    asio::dispatch(stream_.get_executor(), [self = Self()] { self->Begin(); });
  }
  void Interrupt() override {
    asio::post(stream_.get_executor(), [self = Self()] { self->delay_.cancel(); });
  }

 private:
  static constexpr bool kSecure = !std::is_same_v<Stream, Socket>;

  static Stream Layered(Socket socket, TlsIdentity* tls) {
    if constexpr (kSecure)
      return Stream(std::move(socket), tls->context);
    else
      return socket;
  }
  std::shared_ptr<HttpConnection> Self() { return this->shared_from_this(); }

  // Time limits

  /// Ends the connection when what is under way takes longer.
  void Limit(Clock::duration time) {
    limit_.expires_after(time);
    limit_.async_wait([self = Self(), turn = ++turn_](const Error& error) {
      // One that had run out when it was set anew comes here, too.
      if (error || turn != self->turn_) return;
      Error ignored;
      self->stream_.lowest_layer().shutdown(Socket::shutdown_both, ignored);
      self->stream_.lowest_layer().cancel(ignored);
    });
  }
  void NoLimit() {
    ++turn_;
    limit_.cancel();
  }

  // A request

  void Begin() {
    if constexpr (kSecure) {
      Limit(host_.Settings().stall_limit);
      stream_.async_handshake(asio::ssl::stream_base::server, [self = Self()](const Error& error) {
        if (error) return self->End(false);
        self->ReadRequest();
      });
    } else {
      ReadRequest();
    }
  }

  void ReadRequest() {
    parser_.emplace();
    parser_->body_limit(host_.Settings().max_request_bytes);
    parser_->header_limit(64 * 1024);
    parser_->eager(true);
    began_.reset();
    continued_ = false;
    Limit(host_.Settings().idle_limit);
    Parse();
  }

  void ReadSome() {
    const std::size_t most = parser_->is_header_done() ? kBodyReading : kHeadReading;
    stream_.async_read_some(buffer_.prepare(most), [self = Self()](const Error& error, std::size_t size) {
      if (error) return self->End(false);
      self->buffer_.commit(size);
      self->Parse();
    });
  }

  /// Takes what has come, which may be the begin of the next request already.
  void Parse() {
    Error error;
    while (buffer_.size() > 0 && !parser_->is_done() && !error) buffer_.consume(parser_->put(buffer_.data(), error));
    // A length that is told may be too much already.
    if (error == http::error::body_limit) return Refuse();
    if (error && error != http::error::need_more) return End(false);
    if (parser_->is_done()) return Handle();
    if (began_ || buffer_.size() > 0 || parser_->got_some()) {
      const auto now = Clock::now();
      if (!began_) began_ = now;
      // The head has the limit as a whole, or a byte now and then would hold the connection for ever; a body may be
      // large, and must only go on.
      const Clock::duration stall = host_.Settings().stall_limit;
      Limit(parser_->is_header_done() ? stall : *began_ + stall - now);
    }
    if (parser_->is_header_done() && !continued_) {
      continued_ = true;
      if (parser_->get().find(http::field::expect) != parser_->get().end()) {
        static const std::string kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
        asio::async_write(stream_, asio::buffer(kContinue), [self = Self()](const Error& failed, std::size_t) {
          if (failed) return self->End(false);
          self->ReadSome();
        });
        return;
      }
    }
    ReadSome();
  }

  void Handle() {
    NoLimit();
    auto& message = parser_->get();
    keep_ = message.keep_alive();
    request_ = HttpRequest();
    request_.secure = kSecure;
    request_.may_chunk = message.version() >= 11;
    request_.method = std::string(message.method_string());
    request_.target = std::string(message.target());
    for (const auto& field : message)
      request_.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    request_.body = std::move(message.body());
    if (!host_.Serves(state_.number)) return End(false);
    try {
      response_ = host_.Answer(request_, state_);
    } catch (const std::exception&) {
      // What a connection does to itself ends that connection only.
      return End(false);
    }
    request_.body = std::string();
    if (response_.fault.delay.count() <= 0) return Reply();
    delay_.expires_after(response_.fault.delay);
    // Interrupted before it had begun it would not be interrupted at all.
    if (host_.Stopping()) return End(false);
    delay_.async_wait([self = Self()](const Error&) { self->Reply(); });
  }

  // A reply

  void Reply() {
    if (host_.Stopping() || response_.fault.close_before_reply) return End(false);
    // Without chunks only the end of the connection tells where a stream ends.
    if (!keep_ || (response_.stream && !request_.may_chunk)) response_.announce_close = true;
    Framed framed = Frame(response_, &request_, host_.Settings());
    if (response_.stream) return StreamReply(std::move(framed));
    Send(std::move(framed), [this](bool whole) {
      if (!whole || response_.fault.close_after_reply || response_.announce_close) return End(whole);
      ReadRequest();
    });
  }

  /// `then` is told whether all went out. It need not hold the connection.
  void Send(Framed framed, std::function<void(bool whole)> then) {
    out_ = Outgoing(std::move(framed.head), std::move(framed.body));
    const Fault& fault = response_.fault;
    cut_ = fault.cut_at_byte >= 0 && out_.CutAt(static_cast<std::uint64_t>(fault.cut_at_byte));
    sent_ = std::move(then);
    SendSome();
  }

  void SendSome() {
    if (out_.Done()) {
      NoLimit();
      const auto sent = std::move(sent_);
      return sent(!cut_);
    }
    Limit(host_.Settings().stall_limit);
    const std::size_t size = response_.fault.piece_size == 0 ? kPiece : response_.fault.piece_size;
    const auto parts = out_.Next(size);
    const std::array<asio::const_buffer, 2> buffers = {asio::buffer(parts[0]), asio::buffer(parts[1])};
    asio::async_write(stream_, buffers, [self = Self()](const Error& error, std::size_t) {
      if (error) return self->End(false);
      self->SendSome();
    });
  }

  /// On a thread of its own, since whoever writes it waits for what happens.
  void StreamReply(Framed framed) {
    const auto run = [self = Self(), framed = std::move(framed)] {
      bool whole = false;
      {
        OpenReply<Stream> reply(self->stream_, framed.chunked, self->response_.fault.cut_at_byte);
        try {
          reply.Head(framed.head);
          self->response_.stream(reply);
          whole = reply.End();
        } catch (const std::exception&) {
          whole = false;
        }
      }
      self->response_.stream = nullptr;
      asio::post(self->stream_.get_executor(), [self, whole] {
        if (!whole || self->response_.fault.close_after_reply || self->response_.announce_close)
          return self->End(whole);
        self->ReadRequest();
      });
    };
    try {
      host_.RunAside(run);
    } catch (const std::system_error&) {
      response_ = HttpResponse();
      response_.status = 503;
      response_.announce_close = true;
      Send(Frame(response_, &request_, host_.Settings()), [this](bool whole) { End(whole); });
    }
  }

  /// Too large. Closed with bytes unread the connection would be reset, and the client never see the refusal.
  void Refuse() {
    response_ = HttpResponse();
    response_.status = 413;
    response_.announce_close = true;
    linger_ = kLinger;
    Send(Frame(response_, nullptr, host_.Settings()), [this](bool) {
      Error ignored;
      stream_.lowest_layer().shutdown(Socket::shutdown_send, ignored);
      Drain();
    });
  }
  void Drain() {
    Limit(host_.Settings().stall_limit);
    drained_.resize(16384);
    stream_.async_read_some(asio::buffer(drained_), [self = Self()](const Error& error, std::size_t size) {
      self->linger_ -= std::min(self->linger_, size);
      if (error || self->linger_ == 0) return self->Close();
      self->Drain();
    });
  }

  // The end

  /// A clean end is announced; a cut one is not, which is what clients are to notice.
  void End(bool clean) {
    if constexpr (kSecure) {
      if (clean) {
        Limit(kFarewell);
        stream_.async_shutdown([self = Self()](const Error&) { self->Close(); });
        return;
      }
    }
    static_cast<void>(clean);
    Close();
  }
  void Close() {
    NoLimit();
    if (closed_) return;
    closed_ = true;
    host_.Forget(state_.number);
    Error ignored;
    stream_.lowest_layer().shutdown(Socket::shutdown_both, ignored);
    stream_.lowest_layer().close(ignored);
  }

  ConnectionHost& host_;
  const std::shared_ptr<TlsIdentity> tls_;
  Stream stream_;
  asio::steady_timer limit_;
  asio::steady_timer delay_;
  std::uint64_t turn_ = 0;  // of the limit
  ConnectionState state_;

  boost::beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::optional<Clock::time_point> began_;  // the head that is being read
  bool continued_ = false;
  HttpRequest request_;
  bool keep_ = false;

  HttpResponse response_;
  Outgoing out_;
  bool cut_ = false;
  std::function<void(bool)> sent_;
  std::size_t linger_ = 0;
  std::string drained_;
  bool closed_ = false;
};

}  // namespace

std::shared_ptr<Connection> MakeConnection(ConnectionHost& host, Socket socket, std::uint64_t number,
                                           std::shared_ptr<TlsIdentity> tls) {
  if (tls == nullptr) return std::make_shared<HttpConnection<Socket>>(host, std::move(socket), number, nullptr);
  return std::make_shared<HttpConnection<asio::ssl::stream<Socket>>>(host, std::move(socket), number, std::move(tls));
}

}  // namespace velmore::simulator
