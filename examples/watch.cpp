// Watches a folder of one mailbox or of several, and loses nothing over gaps: neither while the server had forgotten
// the subscription nor, with --keep, while the program did not run.
//
//   watch --folder inbox                      until Ctrl+C; with the simulator until its own message came
//   watch --keep /var/lib/watch               what came while it did not run is told when it starts
//   watch --mailbox ann@example.com --mailbox ben@example.com --shard 0/2

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
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
  /// `file` keeps what is known over the end of the program; empty when nothing does.
  TWatched(TVqRef<IVqEWSFolder> folder, bool byTable, std::filesystem::path file)
      : FFolder(std::move(folder)), FByTable(byTable), FFile(std::move(file)) {
    std::ifstream kept(FFile);
    std::string state, line;
    FLooked = static_cast<bool>(std::getline(kept, state));
    while (std::getline(kept, line)) FKnown[line.substr(0, line.find('\t'))] = line.substr(line.find('\t') + 1);
    FChanges = VqChangesOf(*FFolder, state, FLD_ITEM_SUBJECT);
  }

  const TVqRef<IVqEWSFolder>& Folder() const { return FFolder; }
  /// Tells what came and what went since the last time, whoever told of it or did not.
  void CatchUp() {
    FByTable ? LookAtTheTable() : FollowTheChanges();
    FLooked = true;
    Keep();
  }

 private:
  using TSubjects = std::map<std::string, std::string>;  // by id

  /// Asks for what has changed since last time, which costs the same however large the folder is.
  void FollowTheChanges() try {
    for (const auto change : FChanges) {
      const std::string id = change.Id().Id.utf8();
      if (change.Kind() == TVqEWSChangeKind::deleted) {
        if (const auto gone = FKnown.extract(id)) std::cout << "- " << gone.mapped() << '\n';
      } else if (change.Kind() != TVqEWSChangeKind::readChanged) {
        const auto [place, isNew] = FKnown.insert_or_assign(id, change[FLD_ITEM_SUBJECT].GetAsString().utf8());
        if (isNew && FLooked) std::cout << "+ " << place->second << '\n';
      }
    }
  } catch (const EVqEWSSyncStateInvalid&) {
    // The state of last time is too old for the server: everything is told again, and compared.
    FChanges->SetState("");
    TSubjects now;
    for (const auto change : FChanges) {
      if (change.Element()) now[change.Id().Id.utf8()] = change[FLD_ITEM_SUBJECT].GetAsString().utf8();
    }
    Compare(std::move(now));
  }

  /// Reads the whole folder and compares, for servers and programs without anything else.
  void LookAtTheTable() {
    TSubjects now;
    for (const auto row : VqItemsOf(*FFolder, FLD_ITEM_ITEMID, FLD_ITEM_SUBJECT))
      now[row.Id().Id.utf8()] = row[FLD_ITEM_SUBJECT].GetAsString().utf8();
    Compare(std::move(now));
  }

  void Compare(TSubjects now) {
    if (FLooked) {
      for (const auto& [id, subject] : now) {
        if (!FKnown.contains(id)) std::cout << "+ " << subject << '\n';
      }
      for (const auto& [id, subject] : FKnown) {
        if (!now.contains(id)) std::cout << "- " << subject << '\n';
      }
    }
    FKnown = std::move(now);
  }

  /// The state stands with what it belongs to, and both at once: half a file is worse than an old one.
  void Keep() const {
    std::cout << std::flush;
    if (FFile.empty()) return;
    const std::filesystem::path fresh = FFile.string() + ".new";
    std::ofstream file(fresh);
    file << FChanges->GetState() << '\n';
    for (const auto& [id, subject] : FKnown) file << id << '\t' << subject << '\n';
    file.close();
    if (!file) throw EVqException("Cannot write " + fresh.string() + ".");
    std::filesystem::rename(fresh, FFile);
  }

  TVqRef<IVqEWSFolder> FFolder;
  bool FByTable;
  std::filesystem::path FFile;
  TVqRef<IVqEWSItemChanges> FChanges;
  bool FLooked = false;
  TSubjects FKnown;
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
      "  --keep DIRECTORY   keeps there what is known, so that the next start tells what came meanwhile\n"
      "  --by-table         looks at the whole folder instead of asking what has changed\n"
      "  --shard I/N        only the groups of mailboxes that are this process's, from 0");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);

  const bool byTable = server.HasOption("by-table");
  const auto keptIn = [&](const std::string& address) -> std::filesystem::path {
    const std::string directory = server.Option("keep");
    if (directory.empty()) return {};
    std::filesystem::create_directories(directory);
    const std::string name = address + " " + server.Option("folder", "inbox") + (byTable ? " by table" : "");
    return std::filesystem::path(directory) / VqSafeFileName(name).utf8();
  };
  std::vector<TWatched> watched;
  const std::vector<std::string> addresses = server.OptionValues("mailbox");
  for (const std::string& address : addresses) {
    if (!IsMine(GroupOf(session, address), server.Option("shard"))) continue;
    watched.emplace_back(session.OpenMsgStore(address)->GetFolder(server.Folder(), ""), byTable, keptIn(address));
  }
  const auto own = session.OpenDefaultMsgStore();
  if (addresses.empty() && IsMine({}, server.Option("shard")))
    watched.emplace_back(own->GetFolder(server.Folder(), ""), byTable, keptIn(server.Address()));
  std::cout << watched.size() << " folders to watch\n";

  std::atomic<bool> gap{false};
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
  for (TWatched& each : watched) each.CatchUp();  // what came before the start was told by nobody, either
  std::cout << "listening\n" << std::flush;
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
