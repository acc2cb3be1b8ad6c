// The code of the page on round trips, and its table.

#include "ews/items/uVqEWSMessage.h"
#include "tests/support/EWSTestSupport.h"

#include <filesystem>

namespace velmore::testing {
namespace {

class GuideRoundTrips : public EWSTest {
 protected:
  TItemId Message() {
    const simulator::Id id = Server().AddMessage(kAlice, "inbox", "Subject: Hello\r\n\r\nHello");
    return {id.id, id.change_key};
  }
  std::size_t Sent() {
    const std::size_t count = Operations().size();
    Forget();
    return count;
  }
};

TEST_F(GuideRoundTrips, OpeningAndSaving) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetLeanRoundTrips(true);
  session.SetAuthentication(TVqHTTPAuthentication::basic);  // where the server takes Basic: no question first
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();
  EXPECT_EQ(Sent(), 1U);

  const TItemId id = Message();
  const string file = string((std::filesystem::temp_directory_path() / "velmore-round-trips.eml").string());
  {
    const auto mail = MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(store).get(), id);
    mail->SaveToFile(file);  // one request: the MIME text
  }
  EXPECT_EQ(Sent(), 1U);
  EXPECT_GT(std::filesystem::file_size(file.utf8()), 0U);
  std::filesystem::remove(file.utf8());

  std::vector<std::size_t> costs;
  const auto log = [&](const auto&) { costs.push_back(Sent()); };
  const auto mail = Supports<IVqEWSEMail>(store->GetItem(id));
  mail->SetIsRead(true);
  mail->SaveChanges(soAutoResolve);
  log(mail->GetID().ChangeKey);  // of the answer
  log(mail->GetIsRead());        // known
  log(mail->GetSize());          // reads the item back
  EXPECT_EQ(costs, (std::vector<std::size_t>{2, 0, 1}));
}

}  // namespace
}  // namespace velmore::testing
