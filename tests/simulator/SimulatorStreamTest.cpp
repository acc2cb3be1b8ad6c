// Replies in pieces: ordinary ones in chunks, and those that stay open.

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "SimulatorTestSupport.h"
#include "simulator/transport/http_server.h"

namespace velmore::simulator::testing {
namespace {

using namespace std::chrono_literals;

/// A server whose every reply is written by `body`.
class Streaming {
 public:
  explicit Streaming(StreamBody body, Fault fault = {})
      : server_(Settings(), [body = std::move(body), fault = std::move(fault)](const HttpRequest&, ConnectionState&) {
          HttpResponse response;
          response.stream = body;
          response.fault = fault;
          return response;
        }) {
    server_.Start();
  }
  HttpServer& operator*() { return server_; }
  HttpServer* operator->() { return &server_; }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(server_.HttpPort()) + "/"; }

 private:
  static HttpServer::Settings Settings() {
    HttpServer::Settings settings;
    settings.address = "127.0.0.1";
    settings.https = false;
    settings.max_request_bytes = 1000;
    return settings;
  }
  HttpServer server_;
};

struct Got {
  CURLcode code = CURLE_OK;
  std::string body;
  std::string headers;
};

/// Fetches; `on_piece` sees all that has come so far and ends the transfer with false.
Got Fetch(const std::string& url, const std::function<bool(const std::string&)>& on_piece = {}, long version = 0) {
  struct State {
    Got got;
    const std::function<bool(const std::string&)>& on_piece;
  } state{{}, on_piece};
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 20000L);
  if (version != 0) curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, version);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &state);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* user) {
        State& s = *static_cast<State*>(user);
        s.got.body.append(data, size * count);
        return s.on_piece && !s.on_piece(s.got.body) ? std::size_t{0} : size * count;
      });
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &state.got.headers);
  curl_easy_setopt(
      curl, CURLOPT_HEADERFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* user) {
        static_cast<std::string*>(user)->append(data, size * count);
        return size * count;
      });
  state.got.code = curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  return state.got;
}

TEST(SimulatorStream, APieceArrivesWhileTheReplyIsStillOpen) {
  std::promise<void> seen;
  Streaming server([arrived = seen.get_future().share()](ReplyStream& stream) {
    EXPECT_TRUE(stream.Write("first "));
    EXPECT_TRUE(stream.Write(""));  // no end of the reply
    EXPECT_EQ(arrived.wait_for(20s), std::future_status::ready);
    EXPECT_TRUE(stream.Write("second"));
  });
  const Got got = Fetch(server.Url(), [&, told = false](const std::string& body) mutable {
    if (!told && body == "first ") {
      told = true;
      seen.set_value();
    }
    return true;
  });
  EXPECT_EQ(got.code, CURLE_OK);
  EXPECT_EQ(got.body, "first second");
  EXPECT_NE(got.headers.find("Transfer-Encoding: chunked\r\n"), std::string::npos) << got.headers;
  EXPECT_EQ(got.headers.find("Content-Length"), std::string::npos);
}

TEST(SimulatorStream, AClientWithoutChunksReadsToTheEndOfTheConnection) {
  Streaming server([](ReplyStream& stream) {
    stream.Write("first ");
    stream.Write("second");
  });
  const Got got = Fetch(server.Url(), {}, CURL_HTTP_VERSION_1_0);
  EXPECT_EQ(got.code, CURLE_OK);
  EXPECT_EQ(got.body, "first second");
  EXPECT_EQ(got.headers.find("Transfer-Encoding"), std::string::npos) << got.headers;
  EXPECT_NE(got.headers.find("Connection: close\r\n"), std::string::npos) << got.headers;
}

TEST(SimulatorStream, AClientThatGoesEndsTheWait) {
  std::promise<bool> ended;
  Streaming server([&](ReplyStream& stream) {
    stream.Write("first");
    ended.set_value(!stream.Wait(20s));
  });
  EXPECT_EQ(Fetch(server.Url(), [](const std::string&) { return false; }).code, CURLE_WRITE_ERROR);
  auto result = ended.get_future();
  ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
  EXPECT_TRUE(result.get());
}

TEST(SimulatorStream, WakingEndsAWaitAlsoWhenItCameBefore) {
  std::promise<ReplyStream*> opened;
  Streaming server([&](ReplyStream& stream) {
    stream.Wake();
    EXPECT_TRUE(stream.Wait(20s));
    EXPECT_TRUE(stream.Wait(0ms));  // nothing to wait for, and still open
    opened.set_value(&stream);
    EXPECT_TRUE(stream.Wait(20s));
    stream.Write("woken");
  });
  std::thread waker([stream = opened.get_future()]() mutable { stream.get()->Wake(); });
  EXPECT_EQ(Fetch(server.Url()).body, "woken");
  waker.join();
}

TEST(SimulatorStream, StoppingAndDroppingEndOpenReplies) {
  for (const bool stop : {true, false}) {
    std::promise<void> opened;
    std::promise<bool> ended;
    Streaming server([&](ReplyStream& stream) {
      stream.Write("first");
      opened.set_value();
      const bool gone = !stream.Wait(20s);
      ended.set_value(gone && !stream.Write("second"));
    });
    std::thread client([&] { EXPECT_EQ(Fetch(server.Url()).code, CURLE_PARTIAL_FILE) << stop; });
    opened.get_future().wait();
    if (stop)
      server->Stop();
    else
      server->DropConnections();
    EXPECT_TRUE(ended.get_future().get()) << stop;
    client.join();
  }
}

TEST(SimulatorStream, AFaultCutsAStream) {
  for (const int bytes : {0, 75}) {
    Fault fault;
    fault.cut_at_byte = bytes;
    Streaming server(
        [](ReplyStream& stream) {
          for (int i = 0; i < 100 && stream.Write("0123456789"); ++i) continue;
        },
        fault);
    const Got got = Fetch(server.Url());
    EXPECT_NE(got.code, CURLE_OK) << bytes;
    EXPECT_LE(got.headers.size() + got.body.size(), static_cast<std::size_t>(bytes));
  }
}

TEST(SimulatorStream, OrdinaryRepliesComeInChunksWhenWanted) {
  Options options = TestOptions();
  options.chunk_bytes = 7;
  Started server(options);
  for (const bool gzip : {false, true}) {
    for (const std::string& url : {server.HttpUrl(), server.HttpsUrl()}) {
      Client client(server);
      client.url = url;
      client.gzip = gzip;
      const Reply reply = client.Call(GetFolderXml(Distinguished("inbox")));
      EXPECT_EQ(reply.headers.at("transfer-encoding"), "chunked");
      EXPECT_EQ(reply.headers.count("content-length"), 0u);
      EXPECT_EQ(reply.headers.count("content-encoding"), gzip ? 1u : 0u);
      EXPECT_EQ(reply.Code(), "NoError");
      EXPECT_EQ(client.Call(GetFolderXml(Distinguished("drafts"))).Code(), "NoError") << "the connection goes on";
    }
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
