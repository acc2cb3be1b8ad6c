#include "platform/os/uVqDns.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "platform/os/uVqDns_p.h"

namespace velmore {
namespace {

std::mutex FunctionsLock;  // protects Functions

struct TFunctions {
  TVqDnsFunctions Loaded;
  std::function<TVqDnsFunctions()> Loader;
};

TFunctions& Functions() {
  static TFunctions functions;
  return functions;
}

/// What a stranger answers becomes a part of addresses: only what a host can be called passes.
string HostOf(std::string_view target) {
  if (target.ends_with('.')) target.remove_suffix(1);
  const bool plain = std::all_of(target.begin(), target.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.';
  });
  const bool labels = !target.starts_with('.') && !target.ends_with('.') &&
                      target.find("..") == std::string_view::npos && target.size() <= 253;
  return plain && labels ? string(target) : string();
}

}  // namespace

TVqDnsFunctions VqGetDnsFunctions() {
  const std::lock_guard guard(FunctionsLock);
  TFunctions& functions = Functions();
  if (!functions.Loaded.DnsQuery_A || !functions.Loaded.DnsRecordListFree) {
    const TVqDnsFunctions loaded = functions.Loader ? functions.Loader() : VqLoadDnsFunctions();
    if (!loaded.DnsQuery_A && !loaded.DnsRecordListFree) throw ENotSupportedException("Failed to load dnsapi.dll");
    if (!loaded.DnsQuery_A || !loaded.DnsRecordListFree)
      throw ENotSupportedException("Failed to load DnsQuery_A function");
    functions.Loaded = loaded;
  }
  return functions.Loaded;
}

void VqSetDnsFunctions(TVqDnsFunctions AFunctions, std::function<TVqDnsFunctions()> ALoader) {
  const std::lock_guard guard(FunctionsLock);
  Functions() = {std::move(AFunctions), std::move(ALoader)};
}

TVqDnsAnswer VqLookUpService(const string& AName, const TVqDnsOptions& AOptions) {
  const TVqDnsFunctions functions = VqGetDnsFunctions();
  TVqDnsAnswer answer;
  const std::string name = VqAsciiHostName(AName);
  if (name.empty()) {
    answer.Status = kVqDnsBadName;
    return answer;
  }
  TVqDnsRecord* records = nullptr;
  answer.Status = functions.DnsQuery_A(name, kVqDnsTypeSrv, AOptions, records);
  if (answer.Status == kVqDnsFound) {
    for (const TVqDnsRecord* record = records; record; record = record->Next) {
      answer.Services.push_back({HostOf(record->Target), record->Port, record->Priority, record->Weight});
    }
  }
  if (records) functions.DnsRecordListFree(records, kVqDnsFreeRecordList);
  if (answer.Status == kVqDnsFound && answer.Services.empty()) answer.Status = kVqDnsNoRecords;
  return answer;
}

string VqDnsStatusText(std::int32_t AStatus) {
  switch (AStatus) {
    case kVqDnsFound:
      return "found";
    case kVqDnsNotSupported:
      return "only service records can be looked up";
    case kVqDnsBadName:
      return "this is no name that can be looked up";
    case kVqDnsCancelled:
      return "the look-up was cancelled";
    case kVqDnsTimedOut:
      return "no name server answered in time";
    case kVqDnsNotUnderstood:
      return "the name server did not understand the question";
    case kVqDnsServerFailed:
      return "the name server failed";
    case kVqDnsNoSuchName:
      return "the name does not exist";
    case kVqDnsNotImplemented:
      return "the name server does not answer such questions";
    case kVqDnsRefused:
      return "the name server refused to answer";
    case kVqDnsNoRecords:
      return "the name has no service records";
    case kVqDnsBadAnswer:
      return "the name server's answer cannot be read";
    case kVqDnsNoServer:
      return "no name server can be reached, or none gave an answer";
    default:
      return "the look-up failed with number " + IntToStr(AStatus);
  }
}

}  // namespace velmore
