// Events: how long they take from the byte on the wire to the handler, beside libcurl and pugixml with the same bytes
// in the same run; and what ten thousand mailboxes cost.
//
//   events_bench                 latency, and 2,000 mailboxes
//   events_bench --mailboxes N   so many, in groups of 200, over TLS against a simulator with two back ends
//   events_bench --soak MINUTES  events, and connections that are dropped, for so long; tells memory as it goes

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <pugixml.hpp>
#include <string>
#include <thread>
#include <vector>

#include "ews/VelmoreEWS.h"
#include "ews/events/uVqEWSNotificationsEx.h"
#include "simulator/simulator.h"

namespace {

using namespace velmore;
using namespace std::chrono_literals;
using TClock = std::chrono::steady_clock;

double MicrosecondsSince(TClock::time_point begin) {
  return std::chrono::duration<double, std::micro>(TClock::now() - begin).count();
}

/// "VmRSS" and "Threads" of this process.
long Status(const char* name) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name)) return std::atol(line.c_str() + std::strlen(name) + 1);
  }
  return 0;
}

// ---- Latency

/// Streams one event a millisecond to whoever asks, and knows when each went out.
class TEventServer {
 public:
  TEventServer(std::string folder, std::string subscription, std::size_t count)
      : FFolder(std::move(folder)), FSubscription(std::move(subscription)), FSent(count), FTaken(count, -1) {
    FListener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(FListener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(FListener, 4) != 0 ||
        getsockname(FListener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw EVqException("no port");
    FPort = ntohs(address.sin_port);
    FThread = std::thread([this] { Serve(); });
  }
  ~TEventServer() {
    FThread.join();
    close(FListener);
  }
  int Port() const { return FPort; }
  void Took(std::size_t number) {
    if (number < FTaken.size()) FTaken[number] = MicrosecondsSince(FSent[number]);
    ++FCount;
  }
  bool Done() const { return FCount >= FSent.size(); }
  /// Microseconds, the first tenth left out.
  std::vector<double> Times() const {
    std::vector<double> times(FTaken.begin() + static_cast<std::ptrdiff_t>(FTaken.size() / 10), FTaken.end());
    std::sort(times.begin(), times.end());
    return times;
  }

 private:
  std::string Envelope(std::size_t number) const {
    return "<soap11:Envelope "
           "xmlns:soap11=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap11:Header><ServerVersionInfo "
           "MajorVersion=\"15\" MinorVersion=\"1\" "
           "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/types\"/>"
           "</soap11:Header><soap11:Body><m:GetStreamingEventsResponse "
           "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><m:ResponseMessages>"
           "<m:GetStreamingEventsResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>"
           "<m:Notifications><m:Notification><t:SubscriptionId>" +
           FSubscription +
           "</t:SubscriptionId><t:NewMailEvent><t:TimeStamp>2026-11-22T12:00:00Z</t:TimeStamp><t:ItemId Id=\"" +
           std::to_string(number) + "\" ChangeKey=\"CQAAAA==\"/><t:ParentFolderId Id=\"" + FFolder +
           "\" ChangeKey=\"AQAAAA==\"/></t:NewMailEvent></m:Notification></m:Notifications>"
           "</m:GetStreamingEventsResponseMessage></m:ResponseMessages></m:GetStreamingEventsResponse></soap11:Body>"
           "</soap11:Envelope>";
  }
  void Serve() {
    const int peer = accept(FListener, nullptr, nullptr);
    const int one = 1;
    setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::array<char, 65536> request{};
    if (recv(peer, request.data(), request.size(), 0) <= 0) return;
    Send(peer, "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nTransfer-Encoding: chunked\r\n\r\n");
    TClock::time_point next = TClock::now() + 20ms;
    for (std::size_t i = 0; i < FSent.size(); ++i) {
      const std::string envelope = Envelope(i);
      std::array<char, 16> size{};
      std::snprintf(size.data(), size.size(), "%zx\r\n", envelope.size());
      const std::string chunk = size.data() + envelope + "\r\n";
      std::this_thread::sleep_until(next);
      next += 1ms;
      FSent[i] = TClock::now();
      Send(peer, chunk);
    }
    while (!Done()) std::this_thread::sleep_for(1ms);
    close(peer);
  }
  static void Send(int peer, const std::string& bytes) {
    if (send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) throw EVqException("not sent");
  }

  std::string FFolder, FSubscription;
  std::vector<TClock::time_point> FSent;
  std::vector<double> FTaken;
  std::atomic<std::size_t> FCount{0};
  int FListener = -1;
  int FPort = 0;
  std::thread FThread;
};

std::size_t NumberOf(std::string_view text) {
  std::size_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// What the same bytes cost libcurl and pugixml, written by hand.
void ReadByHand(TEventServer& server) {
  struct TReader {
    TEventServer& Server;
    std::string Buffer;
  } reader{server, {}};
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, ("http://127.0.0.1:" + std::to_string(server.Port()) + "/").c_str());
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, "<a/>");
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reader);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* user) {
        auto& self = *static_cast<TReader*>(user);
        self.Buffer.append(data, size * count);
        static constexpr std::string_view kEnd = "</soap11:Envelope>";
        for (std::size_t end; (end = self.Buffer.find(kEnd)) != std::string::npos;) {
          pugi::xml_document document;
          document.load_buffer(self.Buffer.data(), end + kEnd.size());
          const pugi::xml_node message =
              document.child("soap11:Envelope").child("soap11:Body").first_child().first_child().first_child();
          for (const pugi::xml_node notification : message.child("m:Notifications"))
            for (const pugi::xml_node event : notification.children("t:NewMailEvent"))
              self.Server.Took(NumberOf(event.child("t:ItemId").attribute("Id").value()));
          self.Buffer.erase(0, end + kEnd.size());
        }
        return size * count;
      });
  curl_easy_perform(curl);
  curl_easy_cleanup(curl);
}

/// A component whose readers are led to another port once their subscriptions are there.
class TLedEvents : public TVqEWSSingleStoreFolderEvents {
 public:
  void StartAt(TVqEWSCustomSession& session, const std::string& from, const std::function<int(const string&)>& port) {
    DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
            [&](TVqEWSEventGroup& group) {
              const int to = port(group.GetItem(0).GetSubscriptionId());
              session.SetConnectTo({{from, "127.0.0.1:" + IntToStr(to)}});
              return std::make_shared<TVqEWSGetEvents>(*this, group);
            });
  }
};

/// A simulator with a mailbox, and a session that has its inbox at hand.
struct TOneMailbox {
  simulator::Simulator Server{[] {
    simulator::Options options;
    options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
    options.accept_departures = true;
    return options;
  }()};
  TVqEWSServiceSession Session;
  TVqRef<IVqEWSFolder> Inbox;

  TOneMailbox() {
    Server.Start();
    Session.SetServiceUrl(Server.HttpUrl());
    Session.GetCredentials().SetUserName("alice");
    Session.GetCredentials().SetPassword("wonder");
    Session.SetActive(true);
    Inbox = Session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  }
};

void Report(const char* what, const std::vector<double>& times) {
  std::printf("  %-28s median %7.1f us   99th %7.1f us   worst %8.1f us\n", what, times[times.size() / 2],
              times[times.size() * 99 / 100], times.back());
}

void Latency() {
  constexpr std::size_t events = 5000;
  std::printf("From the byte on the wire to the handler on the reader's thread, 1,000 events a second, %zu events\n",
              events);
  TOneMailbox one;
  auto& server = one.Server;
  auto& session = one.Session;
  const auto& inbox = one.Inbox;
  const std::string from = "127.0.0.1:" + std::to_string(server.HttpPort());
  double ours = 0, floor = 0;
  for (int round = 0; round < 3; ++round) {
    {
      TEventServer source(inbox->GetID().Id.utf8(), "sub", events);
      ReadByHand(source);
      const auto times = source.Times();
      Report("libcurl and pugixml", times);
      floor = times[times.size() / 2];
    }
    std::unique_ptr<TEventServer> source;
    TLedEvents watching;
    watching.SetThreadedEvents(true);
    watching.SetEagerDispatch(true);
    watching.SetOnNewMail([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&) {
      source->Took(NumberOf(item.Id.utf8()));
    });
    watching.Subscribe(inbox);
    watching.StartAt(session, from, [&](const string& id) {
      source = std::make_unique<TEventServer>(inbox->GetID().Id.utf8(), id.utf8(), events);
      return source->Port();
    });
    while (!source->Done()) std::this_thread::sleep_for(5ms);
    session.SetConnectTo({});
    const auto begin = TClock::now();
    watching.Stop();
    const double stopped = MicrosecondsSince(begin);
    const auto times = source->Times();
    Report("ours", times);
    ours = times[times.size() / 2];
    std::printf("  %-28s %.1f us;  Stop took %.1f ms\n", "more than by hand", ours - floor, stopped / 1000);
  }
}

/// How long Stop takes in each state of a reader.
void Stopping() {
  std::printf("Stop (with m:Unsubscribe), by what the reader is doing\n");
  TOneMailbox one;
  auto& server = one.Server;
  const auto& inbox = one.Inbox;
  struct TState {
    const char* Name;
    std::function<void(simulator::Fault&)> Make;
  };
  const TState states[] = {
      {"just started", nullptr},
      {"the stream is open", [](simulator::Fault&) {}},
      {"the server says nothing", [](simulator::Fault& fault) { fault.delay = 60s; }},
      {"in the middle of an envelope",
       [](simulator::Fault& fault) {
         fault.silent_after = 0;
         fault.stream_text = "<s:Envelope><s:Body>";
       }},
      {"waiting for the next connection", [](simulator::Fault& fault) { fault.close_before_reply = true; }},
      {"waiting after a fault", [](simulator::Fault& fault) { fault.soap_fault_code = "ErrorInternalServerError"; }},
  };
  for (const TState& state : states) {
    double worst = 0;
    for (int i = 0; i < 20; ++i) {
      TVqEWSFolderEvents events;
      events.SetOnNewMail([](const auto&, TDateTime, const auto&, const auto&) {});
      events.Subscribe(inbox);
      if (state.Make) {
        simulator::Fault fault;
        fault.operation = "GetStreamingEvents";
        state.Make(fault);
        server.AddFault(fault);
      }
      events.Start();
      if (state.Make) std::this_thread::sleep_for(30ms);
      const auto begin = TClock::now();
      events.Stop();
      worst = std::max(worst, MicrosecondsSince(begin) / 1000);
      server.ClearFaults();
    }
    std::printf("  %-34s worst of 20: %6.1f ms\n", state.Name, worst);
  }
}

// ---- Many mailboxes

std::string AddressOf(int number) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "user%05d@example.com", number);
  return text.data();
}

/// A simulator in a process of its own, so that what is counted here is the library's.
class TFarm {
 public:
  explicit TFarm(int mailboxes) {
    int up[2], down[2];
    if (pipe(up) != 0 || pipe(down) != 0) throw EVqException("no pipe");
    FProcess = fork();
    if (FProcess == 0) {
      close(up[0]);
      close(down[1]);
      Run(mailboxes, up[1], down[0]);
    }
    close(up[1]);
    close(down[0]);
    FDown = down[1];
    std::string line;
    for (char c; read(up[0], &c, 1) == 1 && c != '\n';) line += c;
    const std::size_t blank = line.find(' ');
    FUrl = line.substr(0, blank);
    FCAFile = line.substr(blank + 1);
  }
  ~TFarm() {
    close(FDown);
    waitpid(FProcess, nullptr, 0);
  }
  const std::string& Url() const { return FUrl; }
  const std::string& CAFile() const { return FCAFile; }
  /// 'd' delivers a thousand messages within a second, 'c' cuts all connections.
  void Tell(char what) const {
    if (write(FDown, &what, 1) != 1) throw EVqException("the simulator is gone");
  }

 private:
  [[noreturn]] static void Run(int mailboxes, int up, int down) {
    simulator::Options options;
    options.accept_departures = true;
    options.keep_exchanges = 0;
    options.gzip = false;
    options.back_ends = 2;
    options.users = {{"alice@example.com", "alice@example.com", "Alice Arden", "wonder"}};
    options.users[0].may_impersonate = true;
    for (int i = 0; i < mailboxes; ++i) {
      options.users.push_back({AddressOf(i), AddressOf(i), AddressOf(i), "secret"});
      options.users.back().back_end = i / 200 % 2;
    }
    simulator::Simulator server(options);
    server.Start();
    const std::string line = server.HttpsUrl() + " " + server.CaCertificateFile() + "\n";
    if (write(up, line.data(), line.size()) < 0) _exit(1);
    int next = 0;
    for (char what; read(down, &what, 1) == 1;) {
      if (what == 'c') server.DropConnections();
      TClock::time_point at = TClock::now();
      for (int i = 0; what == 'd' && i < 1000; ++i, at += 1ms) {
        next = (next + 7919) % mailboxes;
        server.Deliver(AddressOf(next), "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello");
        std::this_thread::sleep_until(at);
      }
    }
    server.Stop();
    _exit(0);
  }

  pid_t FProcess = 0;
  int FDown = -1;
  std::string FUrl, FCAFile;
};

/// A session that knows where every mailbox lives without asking.
class TPlacedSession : public TVqEWSServiceSession {
 public:
  IVqDOMDocument Autodiscover(const string& AEMail) override {
    const int number = std::atoi(AEMail.utf8().c_str() + 4);
    return TVqDOMDocument(
        "<Autodiscover><Response><Account><Protocol><Type>EXPR</Type><EwsUrl/><GroupingInformation>g" +
        std::to_string(number / 200) + "</GroupingInformation></Protocol></Account></Response></Autodiscover>");
  }
};

/// The same requests, sent by hand one after the other over one connection.
double SubscribeByHand(const TFarm& farm, const std::vector<TVqRef<IVqEWSFolder>>& folders) {
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, farm.Url().c_str());
  curl_easy_setopt(curl, CURLOPT_CAINFO, farm.CAFile().c_str());
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_USERPWD, "alice@example.com:wonder");
  curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
  std::string answer;
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* user) {
        static_cast<std::string*>(user)->append(data, size * count);
        return size * count;
      });
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: text/xml; charset=utf-8");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  const auto begin = TClock::now();
  for (std::size_t i = 0; i < folders.size(); ++i) {
    const std::string body =
        "<?xml version=\"1.0\"?><soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
        "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><soap:Header><t:RequestServerVersion "
        "Version=\"Exchange2016\"/><t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>" +
        AddressOf(static_cast<int>(i)) +
        "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation></soap:Header><soap:Body><m:Subscribe>"
        "<m:StreamingSubscriptionRequest><t:FolderIds><t:FolderId Id=\"" +
        folders[i]->GetID().Id.utf8() +
        "\"/></t:FolderIds><t:EventTypes><t:EventType>NewMailEvent</t:EventType></t:EventTypes>"
        "</m:StreamingSubscriptionRequest></m:Subscribe></soap:Body></soap:Envelope>";
    answer.clear();
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    if (curl_easy_perform(curl) != CURLE_OK || answer.find("SubscriptionId") == std::string::npos)
      throw EVqException("not subscribed by hand: " + string(answer));
  }
  const double seconds = MicrosecondsSince(begin) / 1e6;
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  return seconds;
}

void Many(int mailboxes, int minutes) {
  const int groups = (mailboxes + 199) / 200;
  std::printf("%d mailboxes in %d groups, two back ends, TLS\n", mailboxes, groups);
  const TFarm farm(mailboxes);
  TPlacedSession session;
  session.SetServiceUrl(farm.Url());
  session.SetCAFile(farm.CAFile());
  session.GetCredentials().SetUserName("alice@example.com");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);
  std::vector<TVqRef<IVqEWSFolder>> folders;
  for (int i = 0; i < mailboxes; ++i) folders.push_back(session.OpenMsgStore(AddressOf(i))->GetFolder(dfininbox, ""));

  std::atomic<int> heard{0}, connected{0};
  TVqEWSFolderEvents events;
  events.SetThreadedEvents(true);
  events.SetEagerDispatch(true);
  events.SetResubscribe(false);
  events.SetOnNewMail([&](const auto&, TDateTime, const auto&, const auto&) { ++heard; });
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    if (report.State == TVqEWSConnectionState::connected) ++connected;
    if (report.State == TVqEWSConnectionState::refused) std::printf("  refused: %s\n", report.Code.utf8().c_str());
  });
  const auto reach = [](std::atomic<int>& what, int count) {
    const auto end = TClock::now() + 60s;
    while (what < count && TClock::now() < end) std::this_thread::sleep_for(1ms);
    return what >= count;
  };
  for (const auto& folder : folders)
    static_cast<void>(Supports<IVqEWSMsgStore>(folder->GetMsgStore())->GetIdentity());  // the stores', not the events'
  const long before = Status("VmRSS:");
  for (const auto& folder : folders) events.Subscribe(folder);
  const double floor = SubscribeByHand(farm, folders);
  auto begin = TClock::now();
  events.Start();
  const double started = MicrosecondsSince(begin) / 1e6;
  std::printf("  Start: %.2f s; the same requests by hand %.2f s; ratio %.2f\n", started, floor, started / floor);
  if (!reach(connected, groups)) std::printf("  only %d groups connected\n", connected.load());
  const long after = Status("VmRSS:");
  std::printf("  memory a subscription: %.1f KB (with readers and their connections); threads: %ld\n",
              static_cast<double>(after - before) / mailboxes, Status("Threads:"));

  begin = TClock::now();
  farm.Tell('d');
  if (!reach(heard, 1000)) std::printf("  only %d events heard\n", heard.load());
  std::printf("  1,000 events of a second heard after %.2f s\n", MicrosecondsSince(begin) / 1e6);
  connected = 0;
  begin = TClock::now();
  farm.Tell('c');
  if (!reach(connected, groups)) std::printf("  only %d groups connected again\n", connected.load());
  std::printf("  all groups connected again %.2f s after all were cut (5 s of it are the pause)\n",
              MicrosecondsSince(begin) / 1e6);
  const auto end = TClock::now() + std::chrono::minutes(minutes);
  for (int round = 0; TClock::now() < end; ++round) {
    heard = 0;
    farm.Tell('d');
    if (!reach(heard, 1000)) std::printf("  only %d events heard\n", heard.load());
    if (round % 20 == 19) farm.Tell('c');
    if (round % 30 == 0) std::printf("  soak: %ld KB, %ld threads\n", Status("VmRSS:"), Status("Threads:"));
  }
  begin = TClock::now();
  events.Stop();
  std::printf("  Stop: %.2f s, nearly all of it m:Unsubscribe\n", MicrosecondsSince(begin) / 1e6);
}

}  // namespace

int main(int argc, char** argv) try {
  int mailboxes = 2000, minutes = 0;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--mailboxes") == 0) mailboxes = std::atoi(argv[i + 1]);
    if (std::strcmp(argv[i], "--soak") == 0) minutes = std::atoi(argv[i + 1]);
  }
  Many(mailboxes, minutes);  // first: it forks
  Latency();
  Stopping();
} catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}
