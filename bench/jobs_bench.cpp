// Whole jobs over a line: logging on, listing, loading, exporting, sending, marking; by the library's roads beside a
// rival that was written by hand for each job and asks as rarely as the server allows. Every measurement has a process
// of its own, the roads take turns, and what counts are medians. bench/report.py judges.
//
//   jobs_bench [--rounds N] [--line MS]... [--job NAME]... [--json FILE]     5 rounds, 0 and 20 ms, all jobs

#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "bench/BatchedRival.h"
#include "bench/ForkedSimulator.h"
#include "bench/Line.h"
#include "bench/Measuring.h"
#include "ews/bulk/uVqEWSBulk.h"
#include "ews/schema/uVqEWSPropsFLD.h"

namespace velmore {
namespace {

constexpr int kListed = 10'000;  // the others are among them
constexpr int kMany = 1'000;
constexpr int kSent = 100;
constexpr int kPage = 1'000;
constexpr std::size_t kLoadBatch = 200, kMarkBatch = 500, kExportBatch = 100;

struct TColumn {
  const TVqEWSFieldDef* Field;
  const char* Uri;
  const char* Element;
};
const TColumn kColumns[] = {{&FLD_ITEM_SUBJECT, "item:Subject", "t:Subject"},
                            {&FLD_ITEM_DATETIMERECEIVED, "item:DateTimeReceived", "t:DateTimeReceived"},
                            {&FLD_ITEM_SIZE, "item:Size", "t:Size"},
                            {&FLD_ITEM_IMPORTANCE, "item:Importance", "t:Importance"},
                            {&FLD_ITEM_SENSITIVITY, "item:Sensitivity", "t:Sensitivity"},
                            {&FLD_ITEM_HASATTACHMENTS, "item:HasAttachments", "t:HasAttachments"},
                            {&FLD_ITEM_DATETIMESENT, "item:DateTimeSent", "t:DateTimeSent"},
                            {&FLD_ITEM_ITEMCLASS, "item:ItemClass", "t:ItemClass"},
                            {&FLD_ITEM_DISPLAYTO, "item:DisplayTo", "t:DisplayTo"},
                            {&FLD_MESSAGE_ISREAD, "message:IsRead", "t:IsRead"}};

// ---- The clock

double CpuSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Memory of this process in kilobytes.
long Memory(const char* name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::atol(line.c_str() + std::strlen(name));
  }
  return 0;
}

/// What a job took.
struct TCost {
  double Wall, Cpu;  // seconds
  double PeakMB;     // beyond what the process held before
  double Scale;      // whole jobs in what was measured
  long Requests;
};

class TStopwatch {
 public:
  /// To be called when everything is prepared.
  void Start() {
    FMemory = Memory("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << "5";
    FCpu = CpuSeconds();
    FBegin = std::chrono::steady_clock::now();
  }
  TCost Stop(double scale) const {
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - FBegin).count();
    return {wall, CpuSeconds() - FCpu, static_cast<double>(Memory("VmHWM:") - FMemory) / 1024, scale, Requests};
  }
  long Requests = 0;

 private:
  std::chrono::steady_clock::time_point FBegin;
  double FCpu = 0;
  long FMemory = 0;
};

// ---- Jobs

/// What a road works on.
struct TPlace {
  std::string Url;
  std::vector<std::string> Ids;
  bool Slow;   // over a line on which a thousand round trips take minutes
  bool Flag;   // what messages are marked as, another one each time
  bool Count;  // requests are to be counted, which costs time
};

using TRoad = std::function<TCost(const TPlace& place, TStopwatch& watch)>;

std::span<const std::string> Some(const TPlace& place, std::size_t count) {
  return std::span(place.Ids).first(std::min(count, place.Ids.size()));
}

void Expect(bool so, const char* what) {
  if (!so) throw std::runtime_error(what);
}

/// A session on a place, logged on before the clock starts unless the job is logging on.
class TOurs {
 public:
  TOurs(const TPlace& place, TStopwatch& watch, bool logOn = true) {
    if (place.Count) FSession.SetOnRequest([&watch](auto&&...) { ++watch.Requests; });
    FSession.SetServiceUrl(place.Url);
    FSession.GetCredentials().SetUserName("alice");
    FSession.GetCredentials().SetPassword("wonder");
    if (!logOn) return;
    LogOn();
    // What a session asks once in its life is no part of the job.
    FStore->GetFolderId(dfininbox);
    watch.Requests = 0;
  }
  void LogOn() {
    FSession.SetActive(true);
    FStore = FSession.OpenDefaultMsgStore();
  }
  IVqEWSMsgStore& Store() { return *FStore; }
  const TVqRef<IVqEWSMsgStore>& Mailbox() const { return FStore; }
  TVqEWSServiceSession& Session() { return FSession; }

 private:
  TVqEWSServiceSession FSession;
  TVqRef<IVqEWSMsgStore> FStore;
};

const std::string kBody = [] {
  std::string body;
  for (int i = 0; i < 12; ++i) body += "The harbour master asks all keepers to look at their lamps before the storm. ";
  return body;
}();

struct TRow {
  const char* Job;
  const char* Road;
  TRoad Run;
};

/// Single operations over a slow line are measured with a twentieth of the job.
std::size_t Part(const TPlace& place, std::size_t whole) {
  return place.Slow ? whole / 20 : whole;
}
double ScaleOf(std::size_t part, std::size_t whole) {
  return static_cast<double>(whole) / static_cast<double>(part);
}

TCost RivalLogsOn(const TPlace& place, TStopwatch& watch) {
  watch.Start();
  TBatchedRival rival(place.Url);
  Expect(!rival.LogOn().empty(), "no inbox");
  watch.Requests = rival.Requests();
  return watch.Stop(1);
}
TCost WeLogOn(const TPlace& place, TStopwatch& watch) {
  watch.Start();
  TOurs ours(place, watch, false);
  ours.LogOn();
  Expect(!ours.Store().GetFolderId(dfininbox).Id.empty(), "no inbox");
  return watch.Stop(1);
}

/// A rival that has a connection and knows the inbox, as a session that is logged on.
TCost RivalDoes(const TPlace& place, TStopwatch& watch,
                const std::function<void(TBatchedRival& rival, const std::string& inbox)>& job) {
  TBatchedRival rival(place.Url);
  const std::string inbox = rival.LogOn();
  const long before = rival.Requests();
  watch.Start();
  job(rival, inbox);
  watch.Requests = rival.Requests() - before;
  return watch.Stop(1);
}

TCost RivalLists(const TPlace& place, TStopwatch& watch) {
  std::vector<std::string> fields, columns;
  for (const TColumn& column : kColumns) {
    fields.emplace_back(column.Uri);
    columns.emplace_back(column.Element);
  }
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string& inbox) {
    std::size_t letters = 0;
    const long rows = rival.List(inbox, fields, columns, kPage, [&](const std::vector<std::string>& texts) {
      for (const std::string& text : texts) letters += text.size();
    });
    Expect(rows == kListed && letters > kListed, "rows are missing");
  });
}
TCost WeList(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto inbox = ours.Store().GetFolder(dfininbox, "");
  watch.Requests = 0;
  watch.Start();
  const auto items = inbox->GetItems();
  items->SetMaxEntriesPerPage(kPage);
  std::vector<TVqEWSField*> fields;
  for (const TColumn& column : kColumns) fields.push_back(&items->GetFields().Add(*column.Field));
  std::size_t letters = 0;
  long rows = 0;
  for (items->Open(); !items->Eof(); items->Next(), ++rows) {
    for (TVqEWSField* field : fields) letters += field->GetAsString().utf8().size();
  }
  Expect(rows == kListed && letters > kListed, "rows are missing");
  return watch.Stop(1);
}

TCost RivalLoads(const TPlace& place, TStopwatch& watch) {
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string&) {
    std::size_t letters = 0;
    rival.Load(Some(place, kMany), kLoadBatch, [&](const pugi::xml_node item) {
      letters += std::string(item.child_value("t:Subject")).size() + std::string(item.child_value("t:Body")).size();
    });
    Expect(letters > kMany * kBody.size(), "bodies are missing");
  });
}
TCost WeLoadOneByOne(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto ids = Some(place, Part(place, kMany));
  watch.Start();
  std::size_t letters = 0;
  for (const std::string& id : ids) {
    const auto item = ours.Store().GetItem({id, ""});
    letters += item->GetSubject().utf8().size() + item->GetBodyText().utf8().size();
  }
  Expect(letters > ids.size() * kBody.size(), "bodies are missing");
  return watch.Stop(ScaleOf(ids.size(), kMany));
}

TCost RivalExports(const TPlace& place, TStopwatch& watch) {
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string&) {
    TNowhere nowhere;
    rival.Export(Some(place, kMany), kLoadBatch,
                 [&](const std::string& text) { nowhere.Write(text.data(), text.size()); });
    Expect(nowhere.GetSize() > kMany * kBody.size(), "texts are missing");
  });
}
TCost WeExportOneByOne(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto ids = Some(place, Part(place, kMany));
  watch.Start();
  TNowhere nowhere;
  for (const std::string& id : ids) ours.Store().GetItem({id, ""})->SaveToStream(nowhere);
  Expect(nowhere.GetSize() > ids.size() * kBody.size(), "texts are missing");
  return watch.Stop(ScaleOf(ids.size(), kMany));
}

/// The whole mailbox, for the memory that it takes.
TCost RivalExportsAll(const TPlace& place, TStopwatch& watch) {
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string&) {
    TNowhere nowhere;
    rival.Export(place.Ids, kExportBatch, [&](const std::string& text) { nowhere.Write(text.data(), text.size()); });
    Expect(nowhere.GetSize() > kListed * kBody.size(), "texts are missing");
  });
}
TVqRef<IVqEWSEMail> NewMail(IVqEWSFolder& drafts, int number) {
  auto mail = Supports<IVqEWSEMail>(drafts.CreateItem(tMessage));
  mail->SetSubject("Number " + std::to_string(number));
  mail->SetBodyText(kBody);
  mail->GetToRecipients()->AddMailbox("", "bob@elsewhere.example");
  return mail;
}

TCost RivalSends(const TPlace& place, TStopwatch& watch) {
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string&) { rival.Send(kSent, kBody); });
}
TCost WeSendOneByOne(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto drafts = ours.Store().GetFolder(dfindrafts, "");
  watch.Requests = 0;
  watch.Start();
  const std::size_t count = Part(place, kSent);
  for (std::size_t i = 0; i < count; ++i) NewMail(*drafts, static_cast<int>(i))->SubmitMessage(false);
  return watch.Stop(ScaleOf(count, kSent));
}

TCost RivalMarks(const TPlace& place, TStopwatch& watch) {
  return RivalDoes(place, watch, [&](TBatchedRival& rival, const std::string&) {
    rival.Mark(Some(place, kMany), kMarkBatch, place.Flag);
  });
}
TCost WeMarkOneByOne(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto ids = Some(place, Part(place, kMany));
  watch.Start();
  for (const std::string& id : ids) {
    const auto mail = Supports<IVqEWSEMail>(ours.Store().GetItem({id, ""}));
    mail->SetIsRead(place.Flag);
    mail->SaveChanges(soAlwaysOverwrite);
  }
  return watch.Stop(ScaleOf(ids.size(), kMany));
}

// ---- Many at once, in requests of the rival's size

TVqEWSBulk Many(TOurs& ours, std::size_t requestSize) {
  TVqEWSBulk bulk(ours.Mailbox());
  bulk.SetRequestSize(requestSize);
  return bulk;
}

std::vector<TItemId> IdsOf(std::span<const std::string> texts) {
  std::vector<TItemId> ids;
  for (const std::string& text : texts) ids.push_back({text, ""});
  return ids;
}
template <typename T>
void ExpectAll(const std::vector<T>& results, std::size_t count) {
  Expect(results.size() == count, "results are missing");
  for (const T& result : results) {
    if (!result) throw std::runtime_error(result.FailureText().utf8());
  }
}

TCost WeLoadManyAtOnce(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto ids = IdsOf(Some(place, kMany));
  watch.Start();
  std::size_t letters = 0;
  Many(ours, kLoadBatch).GetItems(ids, [&](std::size_t, const TVqEWSItemResult& result) {
    const auto& item = result.Value();
    letters += item->GetSubject().utf8().size() + item->GetBodyText().utf8().size();
  });
  Expect(letters > kMany * kBody.size(), "bodies are missing");
  return watch.Stop(1);
}

TCost ExportsAtOnce(const TPlace& place, TStopwatch& watch, std::size_t count, std::size_t batch) {
  TOurs ours(place, watch);
  watch.Start();
  const auto ids = IdsOf(Some(place, count));
  TNowhere nowhere;
  ExpectAll(
      Many(ours, batch).ExportItems(ids, [&](std::size_t, const TVqEWSMimeText& text) { text.SaveToStream(nowhere); }),
      count);
  Expect(nowhere.GetSize() > count * kBody.size(), "texts are missing");
  return watch.Stop(1);
}

TCost WeExportManyAtOnce(const TPlace& place, TStopwatch& watch) {
  return ExportsAtOnce(place, watch, kMany, kLoadBatch);
}

TCost WeExportAll(const TPlace& place, TStopwatch& watch) {
  return ExportsAtOnce(place, watch, kListed, kExportBatch);
}

TCost WeSendManyAtOnce(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto drafts = ours.Store().GetFolder(dfindrafts, "");
  watch.Requests = 0;
  watch.Start();
  std::vector<TVqRef<IVqEWSItem>> mails;
  for (int i = 0; i < kSent; ++i) mails.emplace_back(NewMail(*drafts, i));
  ExpectAll(Many(ours, kSent).SendItems(mails, false), kSent);
  return watch.Stop(1);
}

TCost WeMarkManyAtOnce(const TPlace& place, TStopwatch& watch) {
  TOurs ours(place, watch);
  const auto ids = IdsOf(Some(place, kMany));
  watch.Start();
  ExpectAll(Many(ours, kMarkBatch).MarkAsRead(ids, place.Flag), kMany);
  return watch.Stop(1);
}

TCost WeLogOnLean(const TPlace& place, TStopwatch& watch) {
  watch.Start();
  TOurs ours(place, watch, false);
  ours.Session().SetLeanRoundTrips(true);
  ours.LogOn();
  Expect(!ours.Store().GetFolderId(dfininbox).Id.empty(), "no inbox");
  return watch.Stop(1);
}

// The rival of a job stands first.
const TRow kRows[] = {
    {"logon", "rival", RivalLogsOn},      {"logon", "single", WeLogOn},
    {"list", "rival", RivalLists},        {"list", "table", WeList},
    {"load", "rival", RivalLoads},        {"load", "single", WeLoadOneByOne},
    {"mime", "rival", RivalExports},      {"mime", "single", WeExportOneByOne},
    {"send", "rival", RivalSends},        {"send", "single", WeSendOneByOne},
    {"mark", "rival", RivalMarks},        {"mark", "single", WeMarkOneByOne},
    {"export", "rival", RivalExportsAll}, {"load", "bulk", WeLoadManyAtOnce},
    {"mime", "bulk", WeExportManyAtOnce}, {"send", "bulk", WeSendManyAtOnce},
    {"mark", "bulk", WeMarkManyAtOnce},   {"export", "bulk", WeExportAll},
    {"logon", "lean", WeLogOnLean},
};

// ---- Measuring

/// Runs a road in a process of its own.
TCost Measure(const TRow& row, const TPlace& place) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::fflush(nullptr);  // or the child would print it, too
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(ends[0]);
    StayOn(0);
    int code = 1;
    try {
      TStopwatch watch;
      const TCost cost = row.Run(place, watch);
      code = ::write(ends[1], &cost, sizeof cost) == sizeof cost ? 0 : 1;
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s by %s: %s\n", row.Job, row.Road, failure.what());
    }
    ::_exit(code);
  }
  ::close(ends[1]);
  TCost cost{};
  const bool whole = ::read(ends[0], &cost, sizeof cost) == sizeof cost;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!whole || status != 0) throw std::runtime_error(std::string(row.Job) + " by " + row.Road + " failed.");
  return cost;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::vector<std::string> Split(const std::string& text, char by) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(by, at), text.size());
    parts.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

/// A mailbox with messages that people write; tells their ids.
std::string Fill(simulator::Simulator& server) {
  std::string ids;
  for (int i = 0; i < kListed; ++i) {
    const auto id = server.AddMessage("alice@example.com", "inbox",
                                      "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden <alice@example.com>\r\n"
                                      "Subject: Number " +
                                          std::to_string(i) +
                                          "\r\nDate: Mon, 02 Mar 2026 10:00:00 +0000\r\n"
                                          "Content-Type: text/plain; charset=utf-8\r\n\r\n" +
                                          kBody);
    ids += (ids.empty() ? "" : ",") + id.id;
  }
  return ids;
}

struct TSettings {
  int Rounds = 5;
  std::vector<int> Lines;
  std::set<std::string> Jobs;
  std::string Json;
};

TSettings SettingsOf(int argc, char** argv) {
  TSettings settings;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i], value = argv[i + 1];
    if (name == "--rounds")
      settings.Rounds = std::max(1, std::stoi(value));
    else if (name == "--line")
      settings.Lines.push_back(std::stoi(value));
    else if (name == "--job")
      settings.Jobs.insert(value);
    else if (name == "--json")
      settings.Json = value;
    else
      throw std::runtime_error("There is no option " + name + ".");
  }
  if (settings.Lines.empty()) settings.Lines = {0, 20};
  return settings;
}

int Main(int argc, char** argv) {
  const TSettings settings = SettingsOf(argc, argv);
  StayOn(1);  // the server inherits it
  const TForkedSimulator server(Fill);
  TPlace place;
  place.Ids = Split(server.Told(), ',');
  const std::size_t colon = server.Url().rfind(':') + 1;
  const auto port = static_cast<std::uint16_t>(std::stoi(server.Url().substr(colon)));
  nlohmann::json found = nlohmann::json::array();
  for (const int line : settings.Lines) {
    std::optional<TLine> proxy;
    place.Url = server.Url();
    if (line > 0) {
      proxy.emplace(port, std::chrono::milliseconds(line), [] { StayOn(1); });
      place.Url.replace(colon, std::to_string(port).size(), std::to_string(proxy->Port()));
    }
    place.Slow = line > 0;
    std::printf("\nover a line of %d ms (medians of %d)\n%-8s %-10s %12s %10s %10s %9s %12s\n", line, settings.Rounds,
                "job", "road", "wall s", "CPU s", "peak MB", "requests", "wall/rival");
    for (const char* const job : {"logon", "list", "load", "mime", "send", "mark", "export"}) {
      std::vector<TRow> roads;
      std::ranges::copy_if(kRows, std::back_inserter(roads),
                           [&](const TRow& row) { return row.Job == std::string(job); });
      if (!settings.Jobs.empty() && !settings.Jobs.contains(job)) continue;
      double rival = 0;
      std::map<const TRow*, long> requests;
      std::map<const TRow*, std::vector<TCost>> costs;
      for (int round = -1; round < settings.Rounds; ++round) {
        for (const TRow& road : roads) {
          place.Flag = !place.Flag;
          place.Count = round < 0;
          const TCost cost = Measure(road, place);
          if (round < 0)
            requests[&road] = static_cast<long>(static_cast<double>(cost.Requests) * cost.Scale);
          else
            costs[&road].push_back(cost);
        }
      }
      for (const TRow& road : roads) {
        const auto median = [&](auto value) {
          std::vector<double> values;
          for (const TCost& cost : costs[&road]) values.push_back(value(cost));
          return Median(std::move(values));
        };
        const double wall = median([](const TCost& cost) { return cost.Wall * cost.Scale; });
        const double cpu = median([](const TCost& cost) { return cost.Cpu * cost.Scale; });
        const double peak = median([](const TCost& cost) { return cost.PeakMB; });
        const bool scaled = costs[&road].front().Scale > 1;
        if (&road == &roads.front()) rival = wall;
        std::printf("%-8s %-10s %11.4f%s %10.4f %10.1f %9ld %11.2f\n", road.Job, road.Road, wall, scaled ? "*" : " ",
                    cpu, peak, requests[&road], wall / rival);
        std::fflush(stdout);
        found.push_back({{"name", std::string(road.Job) + "/" + std::to_string(line) + "/" + road.Road},
                         {"wall", wall},
                         {"cpu", cpu},
                         {"peak", peak},
                         {"requests", requests[&road]},
                         {"scaled", scaled}});
      }
    }
  }
  std::printf("* of a twentieth of the job, times twenty\n");
  if (!settings.Json.empty()) std::ofstream(settings.Json) << nlohmann::json{{"benchmarks", found}}.dump(1) << '\n';
  return 0;
}

}  // namespace
}  // namespace velmore

int main(int argc, char** argv) try { return velmore::Main(argc, argv); } catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return 1;
}
