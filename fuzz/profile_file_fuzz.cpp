// A profile file from foreign hands: it is loaded, refused or counts as absent, and a save makes one of it that can be
// read.

#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileFile.h"
#include "platform/crypt/uVqCNG.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

std::string MakeFolder() {
  std::string folder = "/dev/shm/velmore-fuzz-XXXXXX";
  Require(::mkdtemp(folder.data()) != nullptr);
  velmore::VqSetKeyFolders({folder, folder});
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string folder = MakeFolder();
  const std::string name = folder + "/Profiles.config";
  const auto write = [&] {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  };
  write();
  velmore::TVqEWSProfileConfigFileContainer profiles(nullptr);
  profiles.SetFilename(name);
  velmore::TVqEWSServiceSession session;
  const auto quietly = [](auto action) {
    try {
      action();
    } catch (const velmore::EVqException&) {
    }
  };
  velmore::TVqStrings names;
  profiles.GetProfileNames(names);
  for (const velmore::string& profile : names) quietly([&] { profiles.LoadProfile(session, profile); });
  quietly([&] { profiles.CheckConfig(); });
  quietly([&] { profiles.GetDefaultProfileName(); });
  quietly([&] { profiles.GetPromptForProfile(); });

  velmore::TVqEWSServiceSession settings;
  settings.SetServiceUrl("https://mail.example.com/");
  profiles.SaveProfile(settings, "Saved");
  velmore::TVqEWSServiceSession loaded;
  Require(profiles.LoadProfile(loaded, "Saved"));
  Require(loaded.GetServiceUrl() == "https://mail.example.com/");
  profiles.DeleteProfile("Saved");
  Require(profiles.ProfileExists("Saved") == (names.IndexOf("Saved") >= 0 && [&] {
            int same = 0;
            for (const velmore::string& profile : names) same += profile == "Saved";
            return same > 1;
          }()));
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().string().starts_with(name + ".")) std::filesystem::remove(file.path());
  }
  return 0;
}
