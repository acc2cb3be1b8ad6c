// Service records by c-ares: it knows resolv.conf, asks one server after the other, goes on over TCP when an answer was
// too long for UDP, and parses the answer. Here is only the waiting, with a time of our own and an end from outside.

#include <ares.h>
#include <poll.h>

#include <algorithm>
#include <chrono>

#include "platform/os/uVqDns.h"

namespace velmore {
namespace {

using TClock = std::chrono::steady_clock;

constexpr int kInternet = 1;  // the class of the question
constexpr int kTries = 3;
/// What a datagram may hold without being cut into pieces on the way.
constexpr int kDatagram = 1232;
/// How long it may take until somebody's wish to stop is seen.
constexpr std::chrono::milliseconds kLook(20);

std::int32_t StatusOf(int status) {
  switch (status) {
    case ARES_SUCCESS:
      return kVqDnsFound;
    case ARES_ENODATA:
      return kVqDnsNoRecords;
    case ARES_ENOTFOUND:
      return kVqDnsNoSuchName;
    case ARES_EFORMERR:
      return kVqDnsNotUnderstood;
    case ARES_ESERVFAIL:
      return kVqDnsServerFailed;
    case ARES_ENOTIMP:
      return kVqDnsNotImplemented;
    case ARES_EREFUSED:
      return kVqDnsRefused;
    case ARES_EBADNAME:
    case ARES_EBADQUERY:
    case ARES_EBADSTR:
      return kVqDnsBadName;
    case ARES_ETIMEOUT:
      return kVqDnsTimedOut;
    case ARES_ECONNREFUSED:
      return kVqDnsNoServer;
    case ARES_ECANCELLED:
    case ARES_EDESTRUCTION:
      return kVqDnsCancelled;
    default:  // what it says of an answer that it cannot parse, and of memory that does not suffice
      return kVqDnsBadAnswer;
  }
}

void Release(TVqDnsRecord* records) {
  while (records) delete std::exchange(records, records->Next);
}

struct TQuestion {
  bool Done = false;
  std::int32_t Status = kVqDnsCancelled;
  TVqDnsRecord* Records = nullptr;
};

/// Called by the library. Nothing may be raised through it.
void OnAnswer(void* argument, int status, int /*timeouts*/, unsigned char* bytes, int size) noexcept {
  auto& question = *static_cast<TQuestion*>(argument);
  question.Done = true;
  ares_srv_reply* replies = nullptr;
  if (status == ARES_SUCCESS) {
    status = ares_parse_srv_reply(bytes, size, &replies);
    if (status != ARES_SUCCESS && status != ARES_ENODATA)
      status = ARES_EBADRESP;  // a name within it is not the one asked for
  }
  question.Status = StatusOf(status);
  TVqDnsRecord** last = &question.Records;
  for (const ares_srv_reply* reply = replies; reply; reply = reply->next) {
    *last = new TVqDnsRecord{nullptr, reply->host, reply->priority, reply->weight, reply->port};
    last = &(*last)->Next;
  }
  if (replies) ares_free_data(replies);
}

class TChannel {
 public:
  explicit TChannel(const TVqDnsOptions& options) {
    static const int library = ares_library_init(ARES_LIB_INIT_ALL);
    if (library != ARES_SUCCESS) return;
    ares_options settings = {};
    settings.flags = ARES_FLAG_EDNS | ARES_FLAG_NOALIASES;
    settings.ednspsz = kDatagram;
    settings.timeout = static_cast<int>(std::clamp<std::uint32_t>(options.ServerTimeOut, 1, 600000));
    settings.tries = kTries;
    if (ares_init_options(&FChannel, &settings,
                          ARES_OPT_FLAGS | ARES_OPT_EDNSPSZ | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES) != ARES_SUCCESS) {
      FChannel = nullptr;
      return;
    }
    if (options.Servers.empty()) return;
    std::string servers;
    for (const std::string& server : options.Servers) (servers += servers.empty() ? "" : ",") += server;
    if (ares_set_servers_ports_csv(FChannel, servers.c_str()) != ARES_SUCCESS) Close();
  }
  ~TChannel() { Close(); }
  TChannel(const TChannel&) = delete;
  TChannel& operator=(const TChannel&) = delete;

  explicit operator bool() const { return FChannel != nullptr; }
  ares_channel get() const { return FChannel; }

  /// Waits for the sockets, `longest` at most, and lets the library work.
  void Work(std::chrono::milliseconds longest) {
    ares_socket_t sockets[ARES_GETSOCK_MAXNUM];
    const auto wanted = static_cast<unsigned>(ares_getsock(FChannel, sockets, ARES_GETSOCK_MAXNUM));
    pollfd polled[ARES_GETSOCK_MAXNUM];
    nfds_t count = 0;
    for (unsigned i = 0; i < ARES_GETSOCK_MAXNUM; ++i) {
      const bool read = ARES_GETSOCK_READABLE(wanted, i), write = ARES_GETSOCK_WRITABLE(wanted, i);
      if (read || write)
        polled[count++] = {sockets[i], static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0)), 0};
    }
    timeval most = {0, static_cast<suseconds_t>(std::chrono::microseconds(longest).count())}, until;
    const timeval* left = ares_timeout(FChannel, &most, &until);
    const int milliseconds = static_cast<int>(left->tv_sec * 1000 + (left->tv_usec + 999) / 1000);
    if (poll(polled, count, milliseconds) <= 0) {
      ares_process_fd(FChannel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);  // for what has waited too long
      return;
    }
    for (nfds_t i = 0; i < count; ++i) {
      const short events = polled[i].revents;
      if (!events) continue;
      const bool trouble = events & (POLLERR | POLLHUP | POLLNVAL);
      ares_process_fd(FChannel, trouble || events & POLLIN ? polled[i].fd : ARES_SOCKET_BAD,
                      events & POLLOUT ? polled[i].fd : ARES_SOCKET_BAD);
    }
  }

 private:
  void Close() {
    if (FChannel) ares_destroy(FChannel);
    FChannel = nullptr;
  }

  ares_channel FChannel = nullptr;
};

std::int32_t Query(const std::string& name, std::uint16_t type, const TVqDnsOptions& options, TVqDnsRecord*& records) {
  if (type != kVqDnsTypeSrv) return kVqDnsNotSupported;
  TQuestion question;  // must outlive the channel, which answers all questions when it goes
  TChannel channel(options);
  if (!channel) return kVqDnsNoServer;
  const TClock::time_point end = TClock::now() + std::chrono::milliseconds(options.TimeOut);
  (options.SearchDomains ? ares_search : ares_query)(channel.get(), name.c_str(), kInternet, type, OnAnswer, &question);
  while (!question.Done) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - TClock::now());
    if (options.Stop.stop_requested() || left.count() <= 0) {
      ares_cancel(channel.get());
      question.Status = options.Stop.stop_requested() ? kVqDnsCancelled : kVqDnsTimedOut;
      break;
    }
    channel.Work(std::min(left, kLook));
  }
  if (question.Status == kVqDnsFound) {
    records = question.Records;
  } else {
    Release(question.Records);
  }
  return question.Status;
}

}  // namespace

TVqDnsFunctions VqLoadDnsFunctions() {
  return {Query, [](TVqDnsRecord* records, std::int32_t) { Release(records); }};
}

}  // namespace velmore
