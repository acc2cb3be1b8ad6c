#include <gtest/gtest.h>

#include <map>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

Options Seeded() {
  Options options;
  options.seed_directory = VELMORE_SAMPLES;
  return options;
}

class SimulatorSamples : public ::testing::Test {
 protected:
  std::map<std::string, Element> Inbox() {
    std::map<std::string, Element> items;
    const Reply rows = client.Call(FindItemXml("inbox", {}, 100));
    std::string ids;
    for (const Element* id : rows.All("ItemId")) ids += "<t:ItemId Id=\"" + id->AttributeText("Id") + "\"/>";
    const Reply reply = client.Call(
        GetItemXml(ids, "<t:BaseShape>AllProperties</t:BaseShape><t:IncludeMimeContent>true</t:IncludeMimeContent>"));
    for (const Element* message : reply.All("Message")) items[message->ChildText("Subject")] = *message;
    return items;
  }
  Started server{Seeded()};
  Client client{server};
};

TEST_F(SimulatorSamples, FillTheMailboxes) {
  EXPECT_EQ(server.CountItems("alice", "inbox"), 25u);
  EXPECT_EQ(server.CountItems("alice", "drafts"), 2u);
  EXPECT_EQ(server.CountItems("alice", "sentitems"), 4u);
  EXPECT_EQ(server.CountItems("alice", "Projects/Lighthouse"), 2u);
  EXPECT_EQ(server.CountItems("alice", "Projects/Lighthouse/Glass"), 1u);
  EXPECT_EQ(server.CountItems("alice", "contacts"), 2u);
  EXPECT_EQ(server.CountItems("alice", "calendar"), 4u);
  EXPECT_EQ(server.CountItems("alice", "tasks"), 1u);
  EXPECT_EQ(server.CountItems("bob", "inbox"), 3u);
  EXPECT_EQ(server.CountItems("carol", "inbox"), 2u);
}

TEST_F(SimulatorSamples, ReadInEveryCharacterSet) {
  auto items = Inbox();
  EXPECT_EQ(items.size(), 25u);
  EXPECT_NE(items["灯台の写真"].ChildText("Body").find("来月、弟と一緒に見に行きます。"), std::string::npos);
  EXPECT_EQ(items["灯台の写真"].Child("From")->children[0].ChildText("Name"), "灯台 花子");
  EXPECT_NE(items["Grüße von der Fähre – ab 5 €"].ChildText("Body").find(
                "die „Möwe“ fährt wieder – die Überfahrt kostet jetzt 5 €"),
            std::string::npos);
  EXPECT_NE(items["Kočka na majáku 🐈 — φάρος, маяк, 灯台"].ChildText("Body").find("Posílám mu tuňáka. 🐟"),
            std::string::npos);
  EXPECT_NE(items["Denkmalschutz: Büroschluß am Freitag"].ChildText("Body").find("das Büro schließt"),
            std::string::npos);
  EXPECT_EQ(items["Odd but legal"].Child("From")->children[0].ChildText("EmailAddress"), "bob@example.com");
}

TEST_F(SimulatorSamples, HaveTheirOddities) {
  auto items = Inbox();
  ASSERT_TRUE(items.contains(""));
  EXPECT_NE(items[""].ChildText("Body").find("on the roof"), std::string::npos);
  EXPECT_EQ(items["Gale warning"].ChildText("DateTimeReceived"), "2025-02-06T08:55:00Z");
  std::size_t longest = 0;
  for (const auto& [subject, item] : items) longest = std::max(longest, subject.size());
  EXPECT_GT(longest, 400u);
  const Element& scan = items["Laser scan of the tower"];
  EXPECT_EQ(scan.Child("Attachments")->children[0].ChildText("Size"), "3145728");
  EXPECT_GT(std::stol(scan.ChildText("Size")), 3145728);
  EXPECT_GT(scan.ChildText("MimeContent").size(), 4u << 20);
  EXPECT_EQ(items["Our visit"].Child("Attachments")->children.size(), 3u);
  EXPECT_EQ(items["Fwd: Complaint about the horn"].Child("Attachments")->children[0].name, "ItemAttachment");
  EXPECT_EQ(items["Samples: eleven kinds of red"].Child("Attachments")->children[0].ChildText("Name"),
            "Röte und Röter.csv");
  EXPECT_EQ(items["Samples: eleven kinds of red"].Child("Categories")->children.size(), 2u);
  EXPECT_EQ(items["Between us"].ChildText("Sensitivity"), "Private");
  EXPECT_EQ(items["Welcome aboard, Alice"].ChildText("IsRead"), "true");
  EXPECT_EQ(items["Look what the fog left"].Child("Flag")->ChildText("FlagStatus"), "Flagged");
  EXPECT_EQ(items["Working party on Saturday"].Child("ToRecipients")->children.size(), 5u);
  EXPECT_EQ(items["Policy 8812: please confirm"].ChildText("IsReadReceiptRequested"), "true");
}

TEST_F(SimulatorSamples, GrantOfTheSettingsFileOpensACalendar) {
  const std::string calendar =
      "<t:DistinguishedFolderId "
      "Id=\"calendar\"><t:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></t:Mailbox></"
      "t:DistinguishedFolderId>";
  EXPECT_EQ(Client(server, "bob", "builder").Call(GetFolderXml(calendar)).Code(), "NoError");
  EXPECT_EQ(Client(server, "carol", "cembalo").Call(GetFolderXml(calendar)).Code(), "ErrorAccessDenied");
}

TEST(SimulatorSeed, ProblemsAreToldWithTheirFile) {
  Options options;
  options.seed_directory = "/no/such/folder";
  EXPECT_THROW(Simulator{options}, SimulatorError);
}

}  // namespace
}  // namespace velmore::simulator::testing
