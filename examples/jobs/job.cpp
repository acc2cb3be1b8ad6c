#include "job.h"

#include <algorithm>
#include <cstdlib>

void LogOn(TVqEWSServiceSession& session) {
  session.SetServiceUrl(std::getenv("EWS_URL"));
  session.SetCAFile(std::getenv("EWS_CA_FILE"));
  session.GetCredentials().SetUserName(std::getenv("EWS_USER"));
  session.GetCredentials().SetPassword(std::getenv("EWS_PASSWORD"));
  session.SetActive(true);
}

TVqRef<IVqEWSFolder> FolderBelow(IVqEWSFolder& parent, const string& name) {
  if (const auto folder = parent.FindSubFolder(VqFolderPathPart(name))) return folder;
  return Supports<IVqEWSMsgStore>(parent.GetMsgStore())->GetFolder(parent.CreateFolder(sffFolder, name));
}

bool SaveOnce(IVqEWSFolder& folder, const TItemId& id, const string& subject, const fs::path& target) {
  std::uint64_t number = 0xcbf29ce484222325u;  // FNV-1a of the id
  for (const unsigned char c : id.Id.utf8()) number = (number ^ c) * 0x100000001b3u;
  const fs::path file =
      target / VqSafeFileName(subject.Copy(0, 60).Replace("/", "_") + " " + std::to_string(number) + ".eml").utf8();
  if (fs::exists(file)) return false;
  folder.GetItem(id)->SaveToFile(file.string() + ".part");
  fs::rename(file.string() + ".part", file);
  return true;
}

int main(int argc, char** argv) try {
  const std::string_view usage = kUsage;
  const auto words = std::ranges::count(usage, ' ') - std::ranges::count(usage, '[');
  if (argc <= words) throw EVqException("usage: " + string(usage));
  TVqEWSServiceSession session;
  LogOn(session);
  Job(*session.OpenDefaultMsgStore(), std::span(argv + 1, argv + argc));
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
