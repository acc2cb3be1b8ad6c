// The simulator under many clients: all on one mailbox, which is the floor since they must wait for each other, and
// each on its own, which is to use all processors.

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <memory>
#include <string>

#include "simulator/simulator.h"

namespace {

using velmore::simulator::Options;
using velmore::simulator::Simulator;

constexpr int kMailboxes = 50;

/// One server for all: 50 mailboxes with 200 messages each.
Simulator& Server() {
  static const std::unique_ptr<Simulator> server = [] {
    Options options;
    options.https = false;
    for (int i = 0; i < kMailboxes; ++i) {
      const std::string name = "u" + std::to_string(i);
      options.users.push_back({name, name + "@example.com", name, "p"});
      options.fills.push_back({name + "@example.com", "inbox", 200});
    }
    auto made = std::make_unique<Simulator>(options);
    made->Start();
    return made;
  }();
  return *server;
}

std::size_t Ignore(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

/// A page of 100 rows, sorted, asked for again and again over a connection of its own.
void ListInbox(benchmark::State& state, int mailbox) {
  const std::string body =
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
      "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
      "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body><m:FindItem Traversal=\"Shallow\">"
      "<m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape><m:IndexedPageItemView "
      "MaxEntriesReturned=\"100\" Offset=\"0\" BasePoint=\"Beginning\"/><m:ParentFolderIds><t:DistinguishedFolderId "
      "Id=\"inbox\"/></m:ParentFolderIds></m:FindItem></s:Body></s:Envelope>";
  const std::string url = Server().HttpUrl();
  const std::string who = "u" + std::to_string(mailbox % kMailboxes) + ":p";
  CURL* curl = curl_easy_init();
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: text/xml; charset=utf-8");
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
  curl_easy_setopt(curl, CURLOPT_USERPWD, who.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Ignore);
  for (auto _ : state) {
    long status = 0;
    if (curl_easy_perform(curl) != CURLE_OK) state.SkipWithError("the server does not answer");
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) state.SkipWithError("the server refuses");
  }
  state.SetItemsProcessed(state.iterations());
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
}

void AllOnOneMailbox(benchmark::State& state) {
  ListInbox(state, 0);
}
void EachOnItsOwn(benchmark::State& state) {
  ListInbox(state, state.thread_index());
}

BENCHMARK(AllOnOneMailbox)->Threads(1)->Threads(50)->UseRealTime();
BENCHMARK(EachOnItsOwn)->Threads(1)->Threads(50)->UseRealTime();

}  // namespace
