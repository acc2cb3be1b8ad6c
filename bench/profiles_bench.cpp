// A thousand profiles: listing them and loading one, from the file and from the registry's file, beside the floor,
// which is reading the file's bytes.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileFile.h"
#include "ews/session/uVqEWSProfileRegistry.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/os/uVqFileRegistry.h"
#include "platform/os/uVqFiles.h"

namespace {

using namespace velmore;

/// Both stores with the same profiles, gone with the program.
class TStores {
 public:
  TStores() {
    FFolder = (std::filesystem::temp_directory_path() / "velmore-bench-XXXXXX").string();
    if (!::mkdtemp(FFolder.data())) throw std::runtime_error("no folder");
    VqSetKeyFolders({FFolder, FFolder});
    TVqEWSServiceSession session;
    session.SetServiceUrl("https://mail.example.com/EWS/Exchange.asmx");
    session.GetCredentials().SetUserName("anna@example.com");
    session.GetCredentials().SetPassword("a password of some length");
    // One is saved; the others are its text under other names, since a save writes the whole file.
    File.SetFilename(FileName());
    File.SaveProfile(session, "P");
    Registry.SetRegistry(MakeRef<TVqFileRegistry>(RegistryName(), RegistryName()));
    Registry.SaveProfile(session, "P");
    const std::string file = *VqTryReadFile(FileName()), registry = *VqTryReadFile(RegistryName());
    const std::size_t from = file.find("<Profile "), to = file.find("</profiles>"),
                      first = registry.find("[SOFTWARE\\Velmore\\EWS\\Profiles\\P]"), last = registry.find("end\n");
    std::string manyFile = file.substr(0, from), manyRegistry = registry.substr(0, first);
    for (int i = 0; i < 1000; ++i) {
      manyFile += Renamed(file.substr(from, to - from), "name=\"P\"", "name=\"P" + std::to_string(i) + "\"");
      manyRegistry += Renamed(Renamed(registry.substr(first, last - first), "\\P]", "\\P" + std::to_string(i) + "]"),
                              "\\P\\", "\\P" + std::to_string(i) + "\\");
    }
    VqReplaceFile(FileName(), manyFile + "</profiles>");
    VqReplaceFile(RegistryName(), manyRegistry + "end\n");
  }
  ~TStores() { std::filesystem::remove_all(FFolder); }

  std::string FileName() const { return FFolder + "/Profiles.config"; }
  std::string RegistryName() const { return FFolder + "/Registry.txt"; }

  TVqEWSProfileConfigFileContainer File{nullptr};
  TVqEWSProfileRegistryContainer Registry{nullptr};

 private:
  static std::string Renamed(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  }

  std::string FFolder;
};

TStores& Stores() {
  static TStores stores;
  return stores;
}

void ListAndLoad(benchmark::State& state, TVqEWSProfileCustomContainer& profiles) {
  for (auto _ : state) {
    TVqStrings names;
    TVqEWSServiceSession session;
    if (profiles.GetProfileNames(names) != 1000 || !profiles.LoadProfile(session, "P999"))
      state.SkipWithError("not there");
  }
}
void File(benchmark::State& state) {
  ListAndLoad(state, Stores().File);
}
void Registry(benchmark::State& state) {
  ListAndLoad(state, Stores().Registry);
}
void Floor(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 2; ++i) benchmark::DoNotOptimize(VqTryReadFile(Stores().FileName()));
  }
}
BENCHMARK(File)->Unit(benchmark::kMillisecond);
BENCHMARK(Registry)->Unit(benchmark::kMillisecond);
BENCHMARK(Floor)->Unit(benchmark::kMillisecond);

}  // namespace
