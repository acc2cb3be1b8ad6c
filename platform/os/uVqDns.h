#pragma once

/// Service records of the domain name system (SRV, RFC 2782).
///
///     const TVqDnsAnswer answer = VqLookUpService("_autodiscover._tcp.example.com");
///     if (!answer.Services.empty()) Connect(answer.Services.front().Host);
///
/// Behind it stand two functions for the whole process, found at first use: on Windows those of dnsapi.dll, elsewhere
/// c-ares, which asks the servers of /etc/resolv.conf and parses what they answer. Tests put functions of their own in
/// their place, or point the look-up at a server of their own.
///
/// Any thread may call. A look-up blocks until it is answered, its time is over or it is stopped. It talks to name
/// servers and to nobody else.

#include <functional>
#include <stop_token>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// A function of the system that is not there.
class ENotSupportedException : public EVqNotSupported {
 public:
  using EVqNotSupported::EVqNotSupported;
};

/// How a look-up works.
struct TVqDnsOptions {
  /// Milliseconds for the whole look-up, and for one question to one server, which is put to each server in turn and at
  /// most three times. Windows has times of its own.
  std::uint32_t TimeOut = 3000;
  std::uint32_t ServerTimeOut = 1000;
  /// "192.0.2.1" or "127.0.0.1:5353"; those of the system when empty. Not on Windows.
  std::vector<std::string> Servers;
  /// Whether a name that does not exist is asked for again with the domains of resolv.conf appended to it. Off, since
  /// whoever owns such a domain would then answer for another one.
  bool SearchDomains = false;
  /// Ends the look-up within some 20 ms when it is asked to stop, from any thread. Windows answers first.
  std::stop_token Stop;
};

/// The outcome of a look-up, with the numbers of Windows.
inline constexpr std::int32_t kVqDnsFound = 0;
inline constexpr std::int32_t kVqDnsNotSupported = 50;  ///< another type than SRV
inline constexpr std::int32_t kVqDnsBadName = 123;      ///< no name that can be asked for
inline constexpr std::int32_t kVqDnsCancelled = 1223;
inline constexpr std::int32_t kVqDnsTimedOut = 1460;
inline constexpr std::int32_t kVqDnsNotUnderstood = 9001;  ///< the server did not understand the question
inline constexpr std::int32_t kVqDnsServerFailed = 9002;
inline constexpr std::int32_t kVqDnsNoSuchName = 9003;
inline constexpr std::int32_t kVqDnsNotImplemented = 9004;
inline constexpr std::int32_t kVqDnsRefused = 9005;
inline constexpr std::int32_t kVqDnsNoRecords = 9501;  ///< the name exists, with records of other types
inline constexpr std::int32_t kVqDnsBadAnswer = 9502;
inline constexpr std::int32_t kVqDnsNoServer = 9852;  ///< none can be reached, or none gave an answer

/// One service, as a server names it.
struct TVqDnsService {
  /// Without a dot at its end. Empty when the record says that there is no such service ("."), or names something that
  /// is no host name.
  string Host;
  /// As in the record; nothing here looks at them.
  std::uint16_t Port = 0;
  std::uint16_t Priority = 0;
  std::uint16_t Weight = 0;
};

/// What a look-up brought.
struct TVqDnsAnswer {
  /// One of the constants above, or another number of the system.
  std::int32_t Status = kVqDnsFound;
  /// In the order in which the server gave them, which it may choose anew each time. Empty unless the status is 0.
  std::vector<TVqDnsService> Services;
};

/// Looks up the services of a name. A failure of any kind is a status, never an exception; only a system without the
/// functions raises ENotSupportedException. A name with letters beyond ASCII is asked for in its encoded form (IDNA).
TVqDnsAnswer VqLookUpService(const string& AName, const TVqDnsOptions& AOptions = {});
/// The status in words, for people: "the name does not exist".
string VqDnsStatusText(std::int32_t AStatus);

/// A record of a list that a query function made, to be given back to the releasing function.
struct TVqDnsRecord {
  /// The next record of the list; null behind the last one.
  TVqDnsRecord* Next = nullptr;
  /// The host that offers the service.
  std::string Target;
  /// Hosts with the lowest priority come first; of equal ones the greater weight is taken more often.
  std::uint16_t Priority = 0;
  std::uint16_t Weight = 0;
  /// Where the host listens.
  std::uint16_t Port = 0;
};
/// Service records, and the way in which lists of records are released.
inline constexpr std::uint16_t kVqDnsTypeSrv = 33;
inline constexpr std::int32_t kVqDnsFreeRecordList = 1;

/// The two functions.
struct TVqDnsFunctions {
  /// Asks for the records of a name; gives a status and, with 0, a list.
  std::function<std::int32_t(const std::string& AName, std::uint16_t AType, const TVqDnsOptions& AOptions,
                             TVqDnsRecord*& ARecords)>
      DnsQuery_A;
  /// Releases such a list, kVqDnsFreeRecordList.
  std::function<void(TVqDnsRecord* ARecords, std::int32_t AFreeType)> DnsRecordListFree;
};
/// Those of this system; both are empty where the library is missing, one is empty where the library lacks it.
TVqDnsFunctions VqLoadDnsFunctions();
/// The functions of this process. Loads them when there are none and raises ENotSupportedException when that fails:
/// "Failed to load dnsapi.dll", "Failed to load DnsQuery_A function".
TVqDnsFunctions VqGetDnsFunctions();
/// Replaces them for the whole process; empty ones are loaded at the next use, by `ALoader` if there is one.
void VqSetDnsFunctions(TVqDnsFunctions AFunctions, std::function<TVqDnsFunctions()> ALoader = {});

}  // namespace velmore
