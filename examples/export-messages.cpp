// Writes every message of a folder as an .eml file. Can be interrupted (Ctrl+C) and started again: what is there stays
// and is not fetched twice.

#include <atomic>
#include <csignal>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

std::atomic<bool> interrupted = false;

/// The same for the same item at every run: its date, its subject and a number made of its id (FNV-1a).
std::string FileName(const string& received, const string& subject, const string& id) {
  std::uint64_t number = 0xcbf29ce484222325u;
  for (const char c : id.utf8()) number = (number ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
  std::string name = received.Copy(0, 10).utf8() + " ";
  for (const char c : subject.Copy(0, 60).utf8())
    name += static_cast<unsigned char>(c) < ' ' || std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos
                ? '_'
                : c;
  std::ostringstream hex;
  hex << std::hex << std::setw(16) << std::setfill('0') << number;
  return name + " " + hex.str() + ".eml";
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "export-messages: writes the messages of a folder as .eml files\n"
                             "  --folder NAME    distinguished name, inbox when left out\n"
                             "  --to DIRECTORY   where to write, \"export\" when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  std::signal(SIGINT, [](int) { interrupted = true; });

  const std::filesystem::path target = server.Option("to", "export");
  std::filesystem::create_directories(target);
  auto folder = session.OpenDefaultMsgStore()->GetFolder(server.Folder(), "");
  auto items = folder->GetItems();
  for (auto* field : {&FLD_ITEM_DATETIMERECEIVED, &FLD_ITEM_SUBJECT}) items->GetFields().Add(*field);
  items->SetMaxEntriesPerPage(500);

  std::int32_t seen = 0, written = 0;
  for (items->Open(); !items->Eof() && !interrupted; items->Next()) {
    const TItemId id = items->GetItemId();
    const auto file = target / FileName(items->FieldByName(FLD_ITEM_DATETIMERECEIVED).GetAsString(),
                                        items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), id.Id);
    if (!std::filesystem::exists(file)) {
      // Under another name until it is whole, so that an interruption leaves nothing that looks done.
      auto part = file;
      part += ".part";
      folder->GetItem(id)->SaveToFile(part.string());
      std::filesystem::rename(part, file);
      ++written;
    }
    std::cout << '\r' << ++seen << " of " << items->Count() << ", " << written << " written" << std::flush;
  }
  std::cout << '\n';
  if (!interrupted) return 0;
  std::cout << "Interrupted. Start it again to go on.\n";
  return 2;
} catch (const std::exception& failure) {
  std::cerr << '\n' << failure.what() << '\n';
  return 1;
}
