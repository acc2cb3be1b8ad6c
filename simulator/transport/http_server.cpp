#include "simulator/transport/http_server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "simulator/transport/connection.h"
#include "simulator/transport/tls.h"

namespace velmore::simulator {

namespace asio = boost::asio;
using Socket = asio::ip::tcp::socket;
using Acceptor = asio::ip::tcp::acceptor;
using Error = boost::system::error_code;

namespace {

/// Threads of the event loop. More than processors, since an operation may wait for a mailbox that another one holds.
constexpr unsigned kThreads = 16;
/// How long nobody is accepted after the machine had nothing left to accept with.
constexpr std::chrono::milliseconds kRespite{50};

std::shared_ptr<TlsIdentity> MakeTls(const std::string& certificate, const std::string& key) {
  auto made = std::make_shared<TlsIdentity>();
  made->context.use_certificate_chain(asio::buffer(certificate));
  made->context.use_private_key(asio::buffer(key), asio::ssl::context::pem);
  made->end_point = EndPointOf(certificate);
  return made;
}

/// A descriptor that is kept for the moment when there is no other.
class Reserve {
 public:
  Reserve() : descriptor_(Take()) {}
  ~Reserve() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Reserve(const Reserve&) = delete;
  Reserve& operator=(const Reserve&) = delete;

  /// Takes the next connection that waits, and closes it: its client is to see a refusal, not to wait.
  void Refuse(Acceptor& acceptor) {
    if (descriptor_ >= 0) ::close(descriptor_);
    const int refused = ::accept4(acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC);
    if (refused >= 0) ::close(refused);
    descriptor_ = Take();
  }

 private:
  static int Take() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }
  int descriptor_;
};

}  // namespace

/// One of the two ports.
struct Listener {
  Listener(asio::io_context& context, const std::string& address, std::uint16_t port, bool secure)
      : acceptor(asio::make_strand(context), asio::ip::tcp::endpoint(asio::ip::make_address(address), port), true),
        respite(acceptor.get_executor()),
        secure(secure) {}
  Acceptor acceptor;
  asio::steady_timer respite;
  Reserve reserve;
  const bool secure;
};

struct HttpServer::Impl final : ConnectionHost {
  HttpServer::Settings settings;
  Handler handler;
  std::uint16_t http_port = 0;
  std::uint16_t https_port = 0;

  // Of one run, from Start to Stop.
  struct Loop {
    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    std::list<Listener> listeners;
    std::vector<std::thread> threads;
  };
  std::unique_ptr<Loop> loop;

  mutable std::mutex mutex;  // protects what follows
  std::condition_variable ended;
  std::atomic<bool> stopping = true;
  std::uint64_t last_connection = 0;
  /// An open connection. Its descriptor is gone from here before the socket is closed.
  struct Entry {
    int descriptor;
    bool dropped;
    std::shared_ptr<Connection> connection;
  };
  std::map<std::uint64_t, Entry> connections;
  struct Worker {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };
  std::list<Worker> workers;  // replies that stay open
  std::shared_ptr<TlsIdentity> tls;

  // What connections need

  const HttpServer::Settings& Settings() const override { return settings; }
  HttpResponse Answer(const HttpRequest& request, ConnectionState& state) override { return handler(request, state); }
  bool Serves(std::uint64_t number) const override {
    const std::lock_guard lock(mutex);
    const auto found = connections.find(number);
    return !stopping && found != connections.end() && !found->second.dropped;
  }
  bool Stopping() const override { return stopping; }
  void Forget(std::uint64_t number) override {
    std::shared_ptr<Connection> kept;  // beyond the lock
    const std::lock_guard lock(mutex);
    const auto found = connections.find(number);
    if (found == connections.end()) return;
    kept = std::move(found->second.connection);
    connections.erase(found);
    if (connections.empty()) ended.notify_all();
  }
  void RunAside(std::function<void()> job) override {
    const std::lock_guard lock(mutex);
    for (auto worker = workers.begin(); worker != workers.end();) {
      if (worker->done->load()) {
        worker->thread.join();
        worker = workers.erase(worker);
      } else {
        ++worker;
      }
    }
    auto done = std::make_shared<std::atomic<bool>>(false);
    workers.push_back({std::thread([done, job = std::move(job)]() mutable {
                         job();
                         job = nullptr;
                         done->store(true);
                       }),
                       done});
  }

  // Listening

  std::uint16_t Listen(std::uint16_t port, bool secure) {
    try {
      Listener& listener = loop->listeners.emplace_back(loop->context, settings.address, port, secure);
      listener.acceptor.non_blocking(true);
      return listener.acceptor.local_endpoint().port();
    } catch (const std::exception& error) {
      throw SimulatorError("Cannot listen on " + settings.address + ":" + std::to_string(port) + ": " + error.what());
    }
  }

  void Accept(Listener& listener) {
    asio::any_io_executor strand = asio::make_strand(loop->context);
    listener.acceptor.async_accept(strand, [this, &listener](const Error& error, Socket socket) {
      if (stopping) return;
      if (!error) {
        Take(std::move(socket), listener.secure);
        return Accept(listener);
      }
      namespace errc = boost::system::errc;
      if (error == errc::too_many_files_open || error == errc::too_many_files_open_in_system ||
          error == errc::not_enough_memory || error == errc::no_buffer_space) {
        // The one that waits stays in the queue, and would be tried again and again.
        listener.reserve.Refuse(listener.acceptor);
        listener.respite.expires_after(kRespite);
        listener.respite.async_wait([this, &listener](const Error&) {
          if (!stopping) Accept(listener);
        });
        return;
      }
      Accept(listener);
    });
  }

  void Take(Socket socket, bool secure) {
    Error ignored;
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    if (settings.on_connection) settings.on_connection();
    const int descriptor = socket.native_handle();
    std::shared_ptr<Connection> connection;
    {
      const std::lock_guard lock(mutex);
      if (stopping) return;
      const std::uint64_t number = ++last_connection;
      try {
        connection = MakeConnection(*this, std::move(socket), number, secure ? tls : nullptr);
      } catch (const std::exception&) {
        return;  // no memory for it: its socket is closed
      }
      connections[number] = {descriptor, false, connection};
    }
    connection->Start();
  }

  void ShutDownAll() {
    for (auto& [number, entry] : connections) {
      if (!entry.dropped) ::shutdown(entry.descriptor, SHUT_RDWR);
      entry.dropped = true;
      entry.connection->Interrupt();
    }
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
  impl.loop = std::make_unique<Impl::Loop>();
  if (impl.settings.http) impl.http_port = impl.Listen(impl.settings.http_port, false);
  if (impl.settings.https) {
    impl.tls = MakeTls(impl.settings.certificate, impl.settings.key);
    impl.https_port = impl.Listen(impl.settings.https_port, true);
  }
  impl.stopping = false;
  for (Listener& listener : impl.loop->listeners) impl.Accept(listener);
  for (unsigned i = 0; i < kThreads; ++i) {
    try {
      impl.loop->threads.emplace_back([&context = impl.loop->context] { context.run(); });
    } catch (const std::system_error&) {
      if (i == 0) throw SimulatorError("There is no thread left to serve with.");
      break;  // fewer will do
    }
  }
}

void HttpServer::Stop() {
  Impl& impl = *impl_;
  if (impl.loop == nullptr) return;
  std::list<Impl::Worker> workers;
  {
    std::unique_lock lock(impl.mutex);
    impl.stopping = true;
    for (Listener& listener : impl.loop->listeners)
      asio::post(listener.acceptor.get_executor(), [&listener] {
        Error ignored;
        listener.acceptor.close(ignored);
        listener.respite.cancel();
      });
    impl.ShutDownAll();
    if (!impl.loop->threads.empty()) impl.ended.wait(lock, [&impl] { return impl.connections.empty(); });
    workers.swap(impl.workers);
  }
  for (Impl::Worker& worker : workers) worker.thread.join();
  impl.loop->work.reset();
  for (std::thread& thread : impl.loop->threads) thread.join();
  impl.connections.clear();
  impl.loop.reset();
}

void HttpServer::DropConnections() {
  const std::lock_guard lock(impl_->mutex);
  impl_->ShutDownAll();
}

void HttpServer::SetIdentity(const std::string& certificate, const std::string& key) {
  auto made = MakeTls(certificate, key);
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

}  // namespace velmore::simulator
