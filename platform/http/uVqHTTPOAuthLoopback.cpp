// The form of this library for an interactive log-on: a port of this machine that the browser is sent back to.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <iostream>
#include <list>
#include <memory>

#include "platform/http/uVqHTTPOAuthGrants_p.h"
#include "platform/http/uVqURL.h"
#include "platform/os/uVqBrowser.h"

namespace velmore {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;
using TError = boost::system::error_code;

constexpr std::uint32_t kMostHeaderBytes = 32U << 10;
constexpr std::size_t kMostConnections = 16;  // a browser opens some ahead
constexpr int kMostPorts = 20;                // until one is free in both families
constexpr std::chrono::seconds kConnectionTime{10};
constexpr std::chrono::seconds kFarewell{2};
constexpr std::chrono::milliseconds kPause{100};

constexpr const char* kDone =
    "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Logged on</title></head>"
    "<body><p>You are logged on. You may close this window.</p></body></html>\n";
constexpr const char* kRefused =
    "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Not logged on</title></head>"
    "<body><p>You are not logged on: the program that asked for it tells why. You may close this window.</p>"
    "</body></html>\n";
constexpr const char* kNothing =
    "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Nothing here</title></head>"
    "<body><p>There is nothing here.</p></body></html>\n";

[[noreturn]] void Fail(const string& why, std::uint32_t number = 0) {
  throw EVqOAuthException("The OAuth grant \"Authorize\" " + why, number);
}

class TLoopbackForm final : public TVqObject, public virtual IVqHTTPOAuthAutorizeForm {
 public:
  explicit TLoopbackForm(std::chrono::milliseconds patience) : FPatience(patience) {}

  string UseRedirectURI(const string& ARedirectURI) override;
  string Authorize(const string& AURL, const string& ARedirectURI, TVqWindowHandle AParentWnd) override;
  void Cancel() noexcept override { FContext.stop(); }

 protected:
  ~TLoopbackForm() override = default;

 private:
  struct TConnection {
    explicit TConnection(tcp::socket socket) : Stream(std::move(socket)) {}
    beast::tcp_stream Stream;
    beast::flat_buffer Buffer;
    http::request_parser<http::empty_body> Parser;
    http::response<http::string_body> Page;
  };

  bool Listen(const std::vector<tcp::endpoint>& places);
  void Accept(tcp::acceptor& acceptor);
  void Read(const std::shared_ptr<TConnection>& connection);
  void Reply(const std::shared_ptr<TConnection>& connection, http::status status, const char* page);
  bool Take(std::string_view target);

  const std::chrono::milliseconds FPatience;
  std::size_t FConnections = 0;  // counted down by what the context lets go at its end
  asio::io_context FContext{1};
  std::list<tcp::acceptor> FAcceptors;
  std::string FPath;      // of the redirect URI
  std::string FRedirect;  // up to the path
  std::string FState;
  std::string FAnswer;
  bool FAccepted = false, FHasCode = false;
};

/// The port of all places; a family that this machine does not have is left out where there is another.
bool TLoopbackForm::Listen(const std::vector<tcp::endpoint>& places) {
  FAcceptors.clear();
  std::uint16_t port = places.front().port();
  for (tcp::endpoint place : places) {
    place.port(port);
    TError error;
    tcp::acceptor acceptor(FContext);
    acceptor.open(place.protocol(), error);
    if (!error && place.address().is_v6()) acceptor.set_option(asio::ip::v6_only(true), error);
#ifndef _WIN32
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);  // on Windows it would share the port
#endif
    if (!error) acceptor.bind(place, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    const bool foreign =
        error == asio::error::address_family_not_supported || error == boost::system::errc::address_not_available;
    if (foreign && places.size() > 1) continue;
    if (error) return false;
    port = acceptor.local_endpoint().port();
    FAcceptors.push_back(std::move(acceptor));
  }
  return !FAcceptors.empty();
}

string TLoopbackForm::UseRedirectURI(const string& ARedirectURI) {
  const TVqURLData parts = VqDecodeURL(ARedirectURI);
  const string host = parts.Host;
  const bool byName = LowerCase(host) == "localhost";
  if (parts.Scheme != "http" || !(byName || host == "127.0.0.1" || host == "::1") || !parts.Fragment.empty()) {
    Fail("cannot use the redirect URI \"" + ARedirectURI +
         "\": a browser comes back to http://127.0.0.1, http://[::1] or http://localhost.");
  }
  // "http://localhost" is written without a port to mean any, not 80.
  const string name = host.Contains(u":") ? "[" + host + "]" : host;
  const bool written = ARedirectURI.Contains(name + ":" + IntToStr(parts.Port));
  const std::uint16_t port = written ? parts.Port : 0;
  std::vector<tcp::endpoint> places;
  if (host != "::1") places.emplace_back(asio::ip::address_v4::loopback(), port);
  if (host != "127.0.0.1") places.emplace_back(asio::ip::address_v6::loopback(), port);
  bool listening = Listen(places);
  for (int i = 1; !listening && port == 0 && i < kMostPorts; ++i) listening = Listen(places);
  if (!listening) Fail("cannot listen on the port of the redirect URI \"" + ARedirectURI + "\": it is taken.");
  FRedirect = "http://" + name.utf8() + ":" + std::to_string(FAcceptors.front().local_endpoint().port());
  FPath = parts.Path.utf8();
  string whole = FRedirect + FPath;
  if (!parts.Query.empty()) whole += "?" + parts.Query;
  return whole;
}

void TLoopbackForm::Accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([this, &acceptor](const TError& error, tcp::socket socket) {
    if (error) {
      // Out of handles, as a rule, which passes.
      const auto pause = std::make_shared<asio::steady_timer>(FContext, kPause);
      pause->async_wait([this, &acceptor, pause](const TError& stopped) {
        if (!stopped) Accept(acceptor);
      });
      return;
    }
    if (FConnections < kMostConnections) {
      ++FConnections;
      Read(std::shared_ptr<TConnection>(new TConnection(std::move(socket)), [this](TConnection* gone) {
        --FConnections;
        delete gone;
      }));
    }
    Accept(acceptor);
  });
}

void TLoopbackForm::Read(const std::shared_ptr<TConnection>& connection) {
  connection->Parser.header_limit(kMostHeaderBytes);
  connection->Stream.expires_after(kConnectionTime);
  http::async_read_header(connection->Stream, connection->Buffer, connection->Parser,
                          [this, connection](const TError& error, std::size_t) {
                            if (error) return;
                            const auto& request = connection->Parser.get();
                            const beast::string_view target = request.target();
                            if (request.method() != http::verb::get)
                              return Reply(connection, http::status::method_not_allowed, kNothing);
                            if (!Take({target.data(), target.size()}))
                              return Reply(connection, http::status::not_found, kNothing);
                            FAccepted = true;
                            Reply(connection, http::status::ok, FHasCode ? kDone : kRefused);
                          });
}

/// Whether this is what is waited for. Requests that are not, from wherever, change nothing.
bool TLoopbackForm::Take(std::string_view target) {
  if (FAccepted) return false;
  const std::size_t mark = std::min(target.find('?'), target.size());
  const std::string_view path = target.substr(0, mark);
  const bool root = FPath.empty() && path == "/";
  if (path != FPath && !root) return false;
  const std::string_view query = target.substr(std::min(mark + 1, target.size()));
  bool ours = false;
  FHasCode = false;
  for (const auto& [name, value] : VqFormDecode(query)) {
    if (name == "state") ours = !FState.empty() && value == FState;
    if (name == "code") FHasCode = true;
  }
  if (ours) FAnswer = FRedirect + FPath + "?" + std::string(query);
  return ours;
}

void TLoopbackForm::Reply(const std::shared_ptr<TConnection>& connection, http::status status, const char* page) {
  connection->Page.result(status);
  connection->Page.set(http::field::content_type, "text/html; charset=utf-8");
  connection->Page.set(http::field::cache_control, "no-store");
  connection->Page.set("Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'");
  connection->Page.set("Referrer-Policy", "no-referrer");
  connection->Page.set("X-Content-Type-Options", "nosniff");
  connection->Page.keep_alive(false);
  connection->Page.body() = page;
  connection->Page.prepare_payload();
  const bool last = FAccepted && status == http::status::ok;
  if (last) connection->Stream.expires_after(kFarewell);
  http::async_write(connection->Stream, connection->Page, [this, connection, last](const TError&, std::size_t) {
    TError ignored;
    connection->Stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
    if (last) FContext.stop();
  });
}

string TLoopbackForm::Authorize(const string& AURL, const string&, TVqWindowHandle) {
  for (const auto& [name, value] : VqFormDecode(VqDecodeURL(AURL).Query.utf8())) {
    if (name == "state") FState = value;
  }
  for (tcp::acceptor& acceptor : FAcceptors) Accept(acceptor);
  asio::steady_timer patience(FContext, FPatience);
  bool late = false;
  patience.async_wait([&](const TError& error) {
    if (error) return;
    late = true;
    FContext.stop();
  });
  if (const TVqOpenBrowserEvent event = VqOnOpenBrowser) {
    event(AURL);
  } else if (!VqOpenInBrowser(AURL)) {
    std::cerr << "Open this address in a browser to log on:\n" << AURL.utf8() << std::endl;
  }
  FContext.run();
  FAcceptors.clear();
  if (late && FAnswer.empty()) Fail("was waiting for a person, and nobody has logged on.");
  return FAnswer;
}

}  // namespace

TVqRef<IVqHTTPOAuthAutorizeForm> VqOAuthLoopbackForm(std::chrono::milliseconds APatience) {
  return TVqRef<IVqHTTPOAuthAutorizeForm>(MakeRef<TLoopbackForm>(APatience).get());
}

}  // namespace velmore
