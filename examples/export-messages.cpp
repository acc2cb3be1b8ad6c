// Writes every message of a folder as an .eml file. Can be interrupted (Ctrl+C) and started again: what is there stays
// and is not fetched twice.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

std::atomic<bool> interrupted = false;

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "export-messages: writes the messages of a folder as .eml files\n"
                             "  --folder NAME    distinguished name, inbox when left out\n"
                             "  --to DIRECTORY   where to write, \"export\" when left out\n"
                             "  --at-once N      messages in one request, 100 when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  std::signal(SIGINT, [](int) { interrupted = true; });

  const std::filesystem::path target = server.Option("to", "export");
  const auto store = session.OpenDefaultMsgStore();
  const auto items = VqItemsOf(*store->GetFolder(server.Folder(), ""), FLD_ITEM_DATETIMERECEIVED, FLD_ITEM_SUBJECT);
  items->SetMaxEntriesPerPage(500);
  std::vector<TVqEWSItemFile> files;
  for (const auto row : items) {
    const string received = row[FLD_ITEM_DATETIMERECEIVED].GetAsString().Copy(0, 10);
    const string name = VqItemFileName(row.Id(), received + " " + row[FLD_ITEM_SUBJECT].GetAsString());
    files.push_back({row.Id(), target / name.utf16()});
  }

  const auto there = static_cast<std::size_t>(std::ranges::count_if(
      files, [](const TVqEWSItemFile& file) { return std::filesystem::exists(file.FileName.utf16()); }));
  const auto tell = [&](std::size_t seen, std::size_t written) {
    std::cout << '\r' << seen << " of " << files.size() << ", " << written << " written" << std::flush;
  };
  tell(there, 0);
  TVqEWSBulk bulk(store);
  bulk.SetRequestSize(std::stoul(server.Option("at-once", "100")));
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    tell(there + at.Done, at.Done - at.Failed);
    return !interrupted;
  });
  const auto results = bulk.ExportItems(files);
  std::cout << '\n';
  if (interrupted) {
    std::cout << "Interrupted. Start it again to go on.\n";
    return 2;
  }
  for (const TVqEWSFileResult& file : results)
    if (!file) std::cerr << file.FileName << ": " << file.FailureText() << '\n';
  return std::ranges::all_of(results, &TVqEWSFileResult::Succeeded) ? 0 : 1;
} catch (const std::exception& failure) {
  std::cerr << '\n' << failure.what() << '\n';
  return 1;
}
