// A minimal operation over a kept connection (ConvertId of one id), beside the same POST by bare libcurl and the same
// answer read by bare pugixml. Both take turns in one run. Ends in failure when ours costs more than 1.3 times as much,
// in processor time or by the clock.
//
//   session_bench [requests]      per round; 200 when it is not told. There are 101 rounds of each kind, by turns.

#include <arpa/inet.h>
#include <dirent.h>
#include <malloc.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "bench/BareCurl.h"
#include "bench/Measuring.h"
#include "ews/session/uVqEWS.h"

namespace {

constexpr double kMost = 1.3;
constexpr int kRounds = 101;

const std::string kId(152, 'A');
const std::string kNamespaces =
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\""
    " xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\""
    " xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"";

std::string Answer() {
  const std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
      "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header>"
      "<h:ServerVersionInfo MajorVersion=\"8\" MinorVersion=\"1\" MajorBuildNumber=\"240\" MinorBuildNumber=\"5\" "
      "Version=\"Exchange2007_SP1\" xmlns:h=\"http://schemas.microsoft.com/exchange/services/2006/types\"/></s:Header>"
      "<s:Body xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
      "<m:ConvertIdResponse" +
      kNamespaces +
      "><m:ResponseMessages><m:ConvertIdResponseMessage "
      "ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>"
      "<m:AlternateId xsi:type=\"t:AlternateIdType\" Format=\"EwsId\" Id=\"" +
      kId +
      "\" "
      "Mailbox=\"ann@example.com\"/></m:ConvertIdResponseMessage></m:ResponseMessages></m:ConvertIdResponse></s:Body>"
      "</s:Envelope>";
  return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nServer: bench\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// Answers every request on a connection with the same bytes.
void Serve(int connection) {
  const std::string answer = Answer();
  const int one = 1;
  ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  std::string got;
  char piece[65536];
  for (;;) {
    const std::size_t head = got.find("\r\n\r\n");
    if (head != std::string::npos) {
      const std::size_t at = got.find("Content-Length: ");
      const std::size_t whole = head + 4 + std::strtoul(got.c_str() + at + 16, nullptr, 10);
      if (got.size() >= whole) {
        got.erase(0, whole);
        if (::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) return;
        continue;
      }
    }
    const ssize_t size = ::recv(connection, piece, sizeof piece, 0);
    if (size <= 0) return;
    got.append(piece, static_cast<std::size_t>(size));
  }
}

/// A server in a process of its own, so that its processor time is not ours.
class TServer {
 public:
  TServer() {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener, 8) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw velmore::EVqException("The server could not be started.");
    FUrl = "http://127.0.0.1:" + std::to_string(::ntohs(address.sin_port)) + "/EWS/Exchange.asmx";
    FChild = ::fork();
    if (FChild == 0) {
      ::signal(SIGCHLD, SIG_IGN);
      velmore::StayOn(1);
      for (;;) {
        const int connection = ::accept(listener, nullptr, nullptr);
        if (::fork() == 0) {
          Serve(connection);
          ::_exit(0);
        }
        ::close(connection);
      }
    }
    ::close(listener);
  }
  ~TServer() {
    ::kill(FChild, SIGKILL);
    ::waitpid(FChild, nullptr, 0);
  }
  const std::string& Url() const { return FUrl; }

 private:
  std::string FUrl;
  pid_t FChild = -1;
};

/// The floor: what a programmer would write by hand for this one job.
class TFloor {
 public:
  explicit TFloor(const std::string& url) : FCurl(url) {
    ::curl_easy_setopt(FCurl.Handle(), CURLOPT_ACCEPT_ENCODING, "");
    ::curl_easy_setopt(FCurl.Handle(), CURLOPT_USERAGENT, "Velmore EWS Client");
  }

  std::string Ask() {
    const std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope" + kNamespaces +
        "><soap:Header><t:RequestServerVersion Version=\"Exchange2007_SP1\"/></soap:Header><soap:Body>"
        "<m:ConvertId DestinationFormat=\"EwsId\"><m:SourceIds><t:AlternateId Format=\"HexEntryId\" Id=\"" +
        kId + "\" Mailbox=\"ann@example.com\"/></m:SourceIds></m:ConvertId></soap:Body></soap:Envelope>";
    std::string& reply = FCurl.Post(body);
    pugi::xml_document document;
    if (!document.load_buffer_inplace(reply.data(), reply.size())) throw velmore::EVqException("The floor failed.");
    const pugi::xml_node message = document.child("s:Envelope")
                                       .child("s:Body")
                                       .child("m:ConvertIdResponse")
                                       .child("m:ResponseMessages")
                                       .child("m:ConvertIdResponseMessage");
    if (std::strcmp(message.attribute("ResponseClass").value(), "Success") != 0)
      throw velmore::EVqException("The floor failed.");
    return message.child("m:AlternateId").attribute("Id").value();
  }

 private:
  velmore::TBareCurl FCurl;
};

struct TCost {
  double Cpu, Wall;  // microseconds a request
};

template <typename TAsk>
TCost Measure(int requests, TAsk ask) {
  const auto cpu = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto micros = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return micros(usage.ru_utime) + micros(usage.ru_stime);
  };
  const auto start = std::chrono::steady_clock::now();
  const double before = cpu();
  for (int i = 0; i < requests; ++i) {
    if (ask() != kId) throw velmore::EVqException("A wrong answer.");
  }
  return {(cpu() - before) / requests,
          std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count() / requests};
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int Descriptors() {
  int count = 0;
  DIR* const folder = ::opendir("/proc/self/fd");
  while (::readdir(folder)) ++count;
  ::closedir(folder);
  return count;
}

}  // namespace

int main(int argc, char** argv) try {
  const int requests = argc > 1 && std::atoi(argv[1]) > 0 ? std::atoi(argv[1]) : 200;
  const TServer server;
  velmore::StayOn(0);
  velmore::TVqEWSServiceSession session;
  session.SetServiceUrl(server.Url());
  session.SetActive(true);
  session.SetCurrentTimeZoneContext("");
  const velmore::string id = kId;
  const auto ours = [&] {
    return session.ConvertId(velmore::ifHexEntryId, id, "ann@example.com", velmore::ifEwsId)
        ->GetAlternateIds()
        .GetAlternateId()
        .GetItem(0)
        .GetId()
        .utf8();
  };
  TFloor floor(server.Url());
  const auto bare = [&] { return floor.Ask(); };

  Measure(requests * 5, ours);
  Measure(requests * 5, bare);
  const int descriptors = Descriptors();
  const std::size_t held = ::mallinfo2().uordblks;
  std::vector<double> cpu, wall, ourCpu, bareCpu, ourWall, bareWall;
  for (int round = 0; round < kRounds; ++round) {
    const TCost mine = Measure(requests, ours), its = Measure(requests, bare);
    cpu.push_back(mine.Cpu / its.Cpu);
    wall.push_back(mine.Wall / its.Wall);
    ourCpu.push_back(mine.Cpu);
    bareCpu.push_back(its.Cpu);
    ourWall.push_back(mine.Wall);
    bareWall.push_back(its.Wall);
  }
  const double cpuRatio = Median(cpu), wallRatio = Median(wall);
  std::printf(
      "session  ours %.1f us CPU, %.1f us wall; bare libcurl and pugixml %.1f us CPU, %.1f us wall (medians of %d "
      "rounds of %d)\n",
      Median(ourCpu), Median(ourWall), Median(bareCpu), Median(bareWall), kRounds, requests);
  std::printf("session  ratio %.2f CPU, %.2f wall; at most %.1f\n", cpuRatio, wallRatio, kMost);
  const auto grown = static_cast<long>(::mallinfo2().uordblks) - static_cast<long>(held);
  std::printf("session  after %d requests: %ld bytes more held, %d descriptors more\n", requests * kRounds, grown,
              Descriptors() - descriptors);
  const bool good = cpuRatio <= kMost && wallRatio <= kMost && grown < 65536 && Descriptors() == descriptors;
  return good ? 0 : 1;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}
