// Many requests in a row: nothing grows, one connection.

#include <dirent.h>
#include <malloc.h>

#include "SessionTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

int OpenDescriptors() {
  int count = 0;
  DIR* const folder = ::opendir("/proc/self/fd");
  while (::readdir(folder)) ++count;
  ::closedir(folder);
  return count;
}

/// Bytes that this process holds from the allocator.
std::size_t Held() {
  return ::mallinfo2().uordblks + ::mallinfo2().hblkhd;
}

/// How many requests; the variable VELMORE_ENDURANCE asks for another number.
int Requests() {
  const char* const wanted = std::getenv("VELMORE_ENDURANCE");
  return wanted ? std::atoi(wanted) : 1000;
}

class SessionEndurance : public SessionTest {
 protected:
  SessionEndurance() {
    // A server that forgets what it was asked, so that its own list does not count as growth.
    Session.SetUserAgent("Endurance");
  }
};

TEST_F(SessionEndurance, ManyRequestsHoldNothingAndShareAConnection) {
  simulator::Options options = TwoUsers("Exchange2007_SP1");
  options.keep_exchanges = 1;
  simulator::Simulator server(options);
  server.Start();
  TVqEWSServiceSession session;
  session.SetServiceUrl(server.HttpUrl());
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);
  const auto id = session.OpenDefaultMsgStore()->GetFolderId(dfininbox).Id;
  const auto run = [&](int count) {
    for (int i = 0; i < count; ++i) session.ConvertId(ifEwsId, id, "alice@example.com", ifHexEntryId);
  };
  const int count = Requests();
  run(count / 4);
  const int descriptors = OpenDescriptors();
  const std::size_t held = Held();
  const std::int64_t objects = VqLiveObjectCount();
  run(count);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(VqLiveObjectCount(), objects);
  EXPECT_LT(Held(), held + 65536) << "after " << count << " requests";
  EXPECT_LE(server.GetCounters().connections, 2u) << "one, and one that the challenge may have cost";
}

}  // namespace
}  // namespace velmore::testing
