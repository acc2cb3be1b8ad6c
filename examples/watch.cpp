// Watches a folder of one mailbox or of several, and loses nothing over gaps.
//
//   watch --folder inbox                                       until Ctrl+C; with the simulator until its own message
//   came watch --mailbox ann@example.com --mailbox ben@example.com --shard 0/2

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <map>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;
using namespace std::chrono_literals;

namespace {

std::atomic<bool> Ended{false};

/// A folder and what was in it when it was last looked at.
class TWatched {
 public:
  explicit TWatched(TVqRef<IVqEWSFolder> folder) : FFolder(std::move(folder)) {}

  const TVqRef<IVqEWSFolder>& Folder() const { return FFolder; }
  /// Tells what came and what went since the last time, whoever told of it or did not.
  void CatchUp() {
    std::map<string, string> now;
    const auto items = FFolder->GetItems();
    items->GetFields().Add(FLD_ITEM_ITEMID);
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    for (items->Open(); !items->Eof(); items->Next()) {
      now[items->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>().Id] =
          items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
    }
    if (FLooked) {
      for (const auto& [id, subject] : now) {
        if (!FKnown.contains(id)) std::cout << "+ " << subject << '\n';
      }
      for (const auto& [id, subject] : FKnown) {
        if (!now.contains(id)) std::cout << "- " << subject << '\n';
      }
    }
    FLooked = true;
    FKnown = std::move(now);
  }

 private:
  TVqRef<IVqEWSFolder> FFolder;
  bool FLooked = false;
  std::map<string, string> FKnown;
};

/// The group that a mailbox is watched in: mailboxes of one group share a connection, and belong into one process.
std::string GroupOf(TVqEWSCustomSession& session, const string& address) {
  if (session.GetAutodiscoverEMail().empty()) return {};
  const auto answer = session.Autodiscover(address);
  const auto place =
      answer.SelectSingleElement("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]", kSelectRequired);
  return (place.SelectSingleElement("GroupingInformation", kSelectRequired).GetText() +
          place.SelectSingleElement("EwsUrl", kSelectRequired).GetText())
      .utf8();
}

/// Whether a group is this process's, of "I/N"; the same on every machine.
bool IsMine(const std::string& group, const std::string& shard) {
  const std::size_t slash = shard.find('/');
  if (slash == std::string::npos) return true;
  std::uint32_t number = 2166136261u;
  for (const char c : group) number = (number ^ static_cast<unsigned char>(c)) * 16777619u;
  return number % std::stoul(shard.substr(slash + 1)) == std::stoul(shard.substr(0, slash));
}

void SendToMyself(IVqEWSMsgStore& store, const string& address) {
  const auto mail = Supports<IVqEWSEMail>(store.GetFolder(dfindrafts, "")->CreateItem(tMessage));
  mail->SetSubject("Seen by watch");
  mail->GetToRecipients()->AddMailbox("", address);
  mail->SubmitMessage(true);
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "watch: tells what happens in a folder\n"
      "  --folder NAME      distinguished name, inbox when left out\n"
      "  --mailbox ADDRESS  of a mailbox to watch in its owner's name; may be given several times\n"
      "  --shard I/N        only the groups of mailboxes that are this process's, from 0");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);

  std::vector<TWatched> watched;
  const std::vector<std::string> addresses = server.OptionValues("mailbox");
  for (const std::string& address : addresses) {
    if (!IsMine(GroupOf(session, address), server.Option("shard"))) continue;
    watched.emplace_back(session.OpenMsgStore(address)->GetFolder(server.Folder(), ""));
  }
  const auto own = session.OpenDefaultMsgStore();
  if (addresses.empty() && IsMine({}, server.Option("shard")))
    watched.emplace_back(own->GetFolder(server.Folder(), ""));
  std::cout << watched.size() << " folders to watch\n";

  std::atomic<bool> gap{true};  // what is there at the start was told by nobody, either
  TVqEWSFolderEvents events;
  events.SetEagerDispatch(true);
  events.SetResubscribe(true);
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    if (report.State == TVqEWSConnectionState::resubscribed) gap = true;
    if (report.State == TVqEWSConnectionState::lost || report.State == TVqEWSConnectionState::refused) {
      std::cerr << report.GroupCode << ": " << report.Code << ' ' << report.Text << '\n';
    }
  });
  const auto look = [&](const TVqRef<IVqEWSFolder>& folder) {
    for (TWatched& each : watched) {
      if (each.Folder() == folder) each.CatchUp();
    }
  };
  events.SetOnItemCreated([&](const auto& folder, TDateTime, const auto&, const auto&) { look(folder); });
  events.SetOnItemMoved(
      [&](const auto& folder, TDateTime, const auto&, const auto&, const auto&, const auto&) { look(folder); });
  // Copies and deletions arrive at the one, deletions only because of the other.
  events.SetOnItemCopied(
      [&](const auto& folder, TDateTime, const auto&, const auto&, const auto&, const auto&) { look(folder); });
  events.SetOnItemDeleted([](const auto&, TDateTime, const auto&, const auto&) {});
  for (const TWatched& each : watched) events.Subscribe(each.Folder());
  events.Start();

  std::signal(SIGINT, [](int) { Ended = true; });
  std::signal(SIGTERM, [](int) { Ended = true; });
  const auto end = std::chrono::steady_clock::now() + 30s;
  bool sent = false;
  while (!Ended) {
    if (gap.exchange(false)) {
      for (TWatched& each : watched) each.CatchUp();
    }
    const bool heard = VqProcessMainThreadQueue(100ms) > 0;
    if (!server.Simulated()) continue;
    if (heard || watched.empty() || std::chrono::steady_clock::now() > end) break;
    if (!sent) SendToMyself(*own, server.Address());
    sent = true;
  }
  events.Stop();
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
