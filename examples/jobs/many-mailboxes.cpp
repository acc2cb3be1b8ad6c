// The unread messages of many mailboxes, looked at all at once: a thread and a session each.

#include <future>

#include "job.h"

const char* const kUsage = "many-mailboxes ADDRESS...";

string Look(const char* address) try {
  TVqEWSServiceSession session;
  LogOn(session);
  return IntToStr(session.OpenMsgStore(address)->GetFolder(dfininbox, "")->GetUnreadCount()) + " unread";
} catch (const std::exception& failure) {
  return failure.what();
}

void Job(IVqEWSMsgStore&, std::span<char*> addresses) {
  std::vector<std::future<string>> found;
  for (const char* address : addresses) found.push_back(std::async(std::launch::async, Look, address));
  for (std::size_t i = 0; i < found.size(); ++i) std::cout << addresses[i] << ": " << found[i].get() << '\n';
}
