// Service records by dnsapi.dll, which is loaded when the first name is looked up.

#include <windows.h>
// After windows.h, which it needs.
#include <windns.h>

#include <utility>

#include "platform/os/uVqDns.h"

namespace velmore {
namespace {

using TQuery = DNS_STATUS(WINAPI*)(PCSTR, WORD, DWORD, PVOID, PDNS_RECORDA*, PVOID*);
using TFree = void(WINAPI*)(PDNS_RECORDA, DNS_FREE_TYPE);

void Release(TVqDnsRecord* records) {
  while (records) delete std::exchange(records, records->Next);
}

std::int32_t Run(TQuery query, TFree free, const std::string& name, std::uint16_t type, TVqDnsRecord*& records) {
  if (type != DNS_TYPE_SRV) return static_cast<std::int32_t>(kVqDnsNotSupported);
  PDNS_RECORDA found = nullptr;
  const DNS_STATUS status = query(name.c_str(), type, DNS_QUERY_STANDARD, nullptr, &found, nullptr);
  TVqDnsRecord** last = &records;
  for (PDNS_RECORDA record = status == 0 ? found : nullptr; record; record = record->pNext) {
    if (record->wType != type) continue;  // the addresses of the targets come along
    const DNS_SRV_DATAA& service = record->Data.Srv;
    *last = new TVqDnsRecord{nullptr, service.pNameTarget ? service.pNameTarget : "", service.wPriority,
                             service.wWeight, service.wPort};
    last = &(*last)->Next;
  }
  if (found) free(found, static_cast<DNS_FREE_TYPE>(kVqDnsFreeRecordList));
  return static_cast<std::int32_t>(status);
}

template <typename T>
T FunctionOf(HMODULE library, const char* name) {
  return reinterpret_cast<T>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

TVqDnsFunctions VqLoadDnsFunctions() {
  // Stays loaded for the life of the process, as the functions do.
  const HMODULE library = LoadLibraryW(L"dnsapi.dll");
  if (!library) return {};
  const auto query = FunctionOf<TQuery>(library, "DnsQuery_A");
  const auto free = FunctionOf<TFree>(library, "DnsRecordListFree");
  TVqDnsFunctions functions;
  if (query && free) {
    functions.DnsQuery_A = [query, free](const std::string& name, std::uint16_t type, const TVqDnsOptions&,
                                         TVqDnsRecord*& records) { return Run(query, free, name, type, records); };
  }
  functions.DnsRecordListFree = [](TVqDnsRecord* records, std::int32_t) { Release(records); };
  return functions;
}

}  // namespace velmore
