// Mailboxes that outlive the server.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <functional>
#include <future>
#include <set>
#include <thread>
#include <utility>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

const std::string kInbox = GetFolderXml(Distinguished("inbox"));

class SimulatorState : public ::testing::Test {
 protected:
  Options Kept() const {
    Options options = TestOptions();
    options.state_file = folder.Path("state");
    return options;
  }
  std::string Refusal(const Options& options) const {
    try {
      const Simulator server(options);
    } catch (const OptionError& error) {
      return error.what();
    }
    return "no exception";
  }
  Folder folder;
  const std::string file = folder.Path("state");
};

TEST_F(SimulatorState, MailboxesAreTheSameAfterARestart) {
  Id message;
  Id contact;
  Id appointment;
  std::string before[3];
  std::string inbox;
  {
    Started server(Kept());
    message = server.AddMessage(
        "alice@example.com", "inbox",
        "From: Bob <bob@example.com>\r\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\nMIME-Version: 1.0\r\n"
        "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: text/plain; charset=iso-8859-1\r\n\r\n"
        "caf\xe9\r\n--b\r\nContent-Type: application/octet-stream; name=noise\r\nContent-Disposition: "
        "attachment\r\n\r\n" +
            std::string(
                "\xff\xfe\x01 raw\r\n--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\nx\r\n--b--\r\n"));
    contact =
        server.AddItem("alice@example.com", "contacts",
                       "<t:Contact><t:GivenName>Eve</t:GivenName><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry>"
                       "</t:PhoneNumbers></t:Contact>");
    appointment = server.AddItem(
        "alice@example.com", "calendar",
        "<t:CalendarItem><t:Subject>Weekly</t:Subject><t:Start>2026-03-02T09:00:00Z</"
        "t:Start><t:End>2026-03-02T10:00:00Z</t:End>"
        "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NumberedRecurrence>"
        "<t:StartDate>2026-03-02</t:StartDate><t:NumberOfOccurrences>5</t:NumberOfOccurrences></t:NumberedRecurrence>"
        "</t:Recurrence></t:CalendarItem>");
    server.AddMessage("alice@example.com", "Projects/2026", "Subject: deep\r\n\r\n");
    Client client(server);
    // An occurrence that is gone is part of what is kept.
    EXPECT_EQ(client
                  .Call("<m:DeleteItem DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"><m:ItemIds>"
                        "<t:OccurrenceItemId RecurringMasterId=\"" +
                        appointment.id + "\" InstanceIndex=\"2\"/></m:ItemIds></m:DeleteItem>")
                  .Code(),
              "NoError");
    before[0] = server.DumpItem(message.id);
    before[1] = server.DumpItem(contact.id);
    before[2] = server.DumpItem(appointment.id);
    inbox = client.Call(kInbox).Find("FolderId").AttributeText("Id");
    server.Stop();
  }
  EXPECT_TRUE(ReadFile(file).starts_with("Velmore EWS Simulator state, format 2\ncommit "));
  Started server(Kept());
  EXPECT_EQ(server.DumpItem(message.id), before[0]);
  EXPECT_EQ(server.DumpItem(contact.id), before[1]);
  EXPECT_EQ(server.DumpItem(appointment.id), before[2]);
  EXPECT_EQ(server.CountItems("alice@example.com", "Projects/2026"), 1u);
  Client client(server);
  EXPECT_EQ(client.Call(kInbox).Find("FolderId").AttributeText("Id"), inbox);
  // What is made now does not take the id of what was there.
  const Id fresh = server.AddMessage("alice@example.com", "inbox", "Subject: new\r\n\r\n");
  EXPECT_NE(fresh.id, message.id);
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 2u);
  EXPECT_EQ(
      client.Call(GetItemXml("<t:ItemId Id=\"" + message.id + "\" ChangeKey=\"" + message.change_key + "\"/>")).Code(),
      "NoError");
}

TEST_F(SimulatorState, UsersAndContactsAddedLaterAreKept) {
  {
    Started server(Kept());
    server.AddUser({"dave", "dave@example.com", "Dave Dune", "desert"});
    server.AddDirectoryContact({"erin@example.org", "Erin Elm"});
    server.Stop();
  }
  Started server(Kept());
  EXPECT_EQ(Client(server, "dave", "desert").Call(kInbox).Code(), "NoError");
  const auto names = [&](const std::string& entry) {
    const Reply reply = Client(server).Call("<m:ResolveNames ReturnFullContactData=\"false\"><m:UnresolvedEntry>" +
                                            entry + "</m:UnresolvedEntry></m:ResolveNames>");
    return reply.All("Resolution").size();
  };
  EXPECT_EQ(names("erin"), 1u);
  EXPECT_EQ(names("dora"), 1u);  // told by the options at both starts
}

TEST_F(SimulatorState, ListsOfRoomsAndWhatListsTakeAreKept) {
  Options options = Kept();
  options.lists = {{"tower@example.com", "The Tower", {"bob@example.com"}, true},
                   {"all@example.com", "All", {"bob@example.com"}, false, {"Ask first.", true, {}, 100}}};
  { Started server(options); }
  Started server(Kept());
  Client alice(server);
  EXPECT_EQ(alice.Call("<m:GetRoomLists/>").Find("Address").ChildText("EmailAddress"), "tower@example.com");
  const Reply tips = alice.Call(
      "<m:GetMailTips><m:SendingAs><t:EmailAddress>alice@example.com</t:EmailAddress></m:SendingAs><m:Recipients>"
      "<t:Mailbox><t:EmailAddress>all@example.com</t:EmailAddress></t:Mailbox></m:Recipients>"
      "<m:MailTipsRequested>All</m:MailTipsRequested></m:GetMailTips>");
  EXPECT_EQ(tips.Find("CustomMailTip").text, "Ask first.");
  EXPECT_EQ(tips.Find("IsModerated").text, "true");
}

TEST_F(SimulatorState, UserThatIsToldAgainMayHaveAnotherPassword) {
  {
    Started server(Kept());
    server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
    server.Stop();
  }
  Options options = Kept();
  options.users[0].password = "changed";
  options.users.push_back({"dave", "dave@example.com", "Dave Dune", "desert"});
  Started server(options);
  EXPECT_EQ(Client(server).Call(kInbox).status, 401);
  EXPECT_EQ(Client(server, "alice", "changed").Call(kInbox).Find("TotalCount").text, "1");
  EXPECT_EQ(Client(server, "dave", "desert").Call(kInbox).Code(), "NoError");
}

TEST_F(SimulatorState, SeedFillsOnlyMailboxesThatWereNotKept) {
  Options options = Kept();
  options.users.clear();
  options.seed_directory = VELMORE_SAMPLES;
  std::size_t count = 0;
  {
    Started server(options);
    count = server.CountItems("alice@example.com", "inbox");
    server.Stop();
  }
  ASSERT_GT(count, 0u);
  Started server(options);
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), count);
}

TEST_F(SimulatorState, FileIsWrittenAtEachStopAndOnlyForItsOwner) {
  Started server(Kept());
  server.Stop();
  const std::string first = ReadFile(file);
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  server.Start();
  server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  server.Stop();
  EXPECT_NE(ReadFile(file), first);
  EXPECT_FALSE(std::filesystem::exists(file + ".new"));
}

/// Looks every few milliseconds, for ten seconds at most.
bool Comes(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

TEST_F(SimulatorState, FileFollowsTheChangesWhileTheServerRuns) {
  Options options = Kept();
  options.state_interval = std::chrono::milliseconds(10);
  Started server(options);
  Client client(server);
  const auto kept = [&](const std::string& name, std::size_t count) {
    return Comes([&] {
      if (!std::filesystem::exists(file)) return false;
      Options other = Kept();
      other.state_file = folder.Path("copy");
      std::filesystem::copy_file(file, other.state_file, std::filesystem::copy_options::overwrite_existing);
      return Simulator(other).CountItems("alice@example.com", name) == count;
    });
  };
  // Through the class and through the service: made, changed, taken away.
  const Id first = server.AddMessage("alice@example.com", "inbox", "Subject: one\r\n\r\n");
  EXPECT_TRUE(kept("inbox", 1));
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("kept", "bob@example.com"))).Code(), "NoError");
  EXPECT_TRUE(kept("drafts", 1));
  const std::string before = ReadFile(file);
  server.Touch(first.id);
  EXPECT_TRUE(Comes([&] { return ReadFile(file) != before; }));
  EXPECT_EQ(client
                .Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds><t:ItemId Id=\"" + first.id +
                      "\"/></m:ItemIds></m:DeleteItem>")
                .Code(),
            "NoError");
  EXPECT_TRUE(kept("inbox", 0));
  server.AddUser({"dave", "dave@example.com", "Dave Dune", "desert"});
  EXPECT_TRUE(Comes([&] { return ReadFile(file).find("dave@example.com") != std::string::npos; }));
}

TEST_F(SimulatorState, FileIsNotWrittenWhileNothingChanges) {
  Options options = Kept();
  options.state_interval = std::chrono::milliseconds(1);
  Started server(options);
  Client client(server);
  server.AddMessage("alice@example.com", "inbox", "Subject: one\r\n\r\n");
  ASSERT_TRUE(Comes([&] { return ReadFile(file).find("Subject: one") != std::string::npos; }));
  // A look that finds nothing new leaves no trace.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const auto size = std::filesystem::file_size(file);
  for (int i = 0; i < 50; ++i) client.Call(kInbox);
  EXPECT_EQ(std::filesystem::file_size(file), size);
}

TEST_F(SimulatorState, ChangesAreAddedAndCountOnceTheyAreCommitted) {
  Options options = Kept();
  options.state_interval = std::chrono::milliseconds(1);
  std::string before;
  std::string after;
  // The file with a word in it, looked at twice, so that it is not in the middle of being written.
  const auto written = [this](const std::string& word) {
    std::string last;
    EXPECT_TRUE(Comes([&] {
      std::string now = ReadFile(file);
      const bool settled = now == last && now.find(word) != std::string::npos;
      last = std::move(now);
      return settled;
    })) << word;
    return last;
  };
  {
    Started server(options);
    for (int i = 0; i < 200; ++i)
      server.AddMessage("alice@example.com", "inbox", "Subject: before\r\n\r\n" + std::string(1000, 'x'));
    // What is written of a mailbox holds all that came before it in that mailbox.
    server.AddMessage("alice@example.com", "drafts", "Subject: marker\r\n\r\n");
    before = written("Subject: marker");
    server.AddMessage("alice@example.com", "inbox", "Subject: behind\r\n\r\n");
    after = written("Subject: behind");
  }
  ASSERT_TRUE(after.starts_with(before)) << "the file was written anew";
  const std::string added = after.substr(before.size());
  EXPECT_LT(added.size(), 20000u);
  ASSERT_TRUE(added.starts_with("commit "));
  const auto count = [&](const std::string& content) {
    options.state_file = folder.Write("cut", content);
    return Simulator(options).CountItems("alice@example.com", "inbox");
  };
  EXPECT_EQ(count(before), 200u);
  EXPECT_EQ(count(after), 201u);
  EXPECT_EQ(count(before + "part " + added.substr(7)), 200u);
}

/// What must be the same in two runs: the subjects below a folder, with what a client sees of them.
std::multiset<std::string> Contents(const Simulator& server, const std::string& folder_id) {
  Client client(server);
  const Reply reply = client.Call(FindItemXml(folder_id, "<t:FieldURI FieldURI=\"item:Subject\"/>", 1000));
  std::multiset<std::string> all;
  for (const Element* item : reply.All("Message"))
    all.insert(item->ChildText("Subject") + " " + item->Child("ItemId")->AttributeText("Id") + " " +
               item->Child("ItemId")->AttributeText("ChangeKey"));
  return all;
}

TEST_F(SimulatorState, NothingThatWasWrittenIsLostInAKillHoweverTheFileIsCut) {
  Options options = Kept();
  options.state_interval = std::chrono::milliseconds(1);
  std::multiset<std::string> expected;
  {
    Started server(options);
    Client client(server);
    std::vector<Id> ids;
    for (int i = 0; i < 30; ++i)
      ids.push_back(server.AddMessage("alice@example.com", "inbox", "Subject: " + std::to_string(i) + "\r\n\r\nx"));
    const std::string ids_xml = "<t:ItemId Id=\"" + ids[3].id + "\"/><t:ItemId Id=\"" + ids[4].id + "\"/>";
    EXPECT_EQ(client
                  .Call("<m:MoveItem><m:ToFolderId>" + Distinguished("drafts") + "</m:ToFolderId><m:ItemIds>" +
                        ids_xml + "</m:ItemIds></m:MoveItem>")
                  .Code(),
              "NoError");
    EXPECT_EQ(client
                  .Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds><t:ItemId Id=\"" + ids[5].id +
                        "\"/></m:ItemIds></m:DeleteItem>")
                  .Code(),
              "NoError");
    server.Touch(ids[6].id);
    expected = Contents(server, "inbox");
    ASSERT_EQ(expected.size(), 27u);
    server.AddMessage("alice@example.com", "outbox", "Subject: the last one\r\n\r\n");
    ASSERT_TRUE(Comes([&] { return ReadFile(file).find("the last one") != std::string::npos; }));
    // As a kill leaves it: in the middle of another record.
    folder.Write("killed", ReadFile(file) + "commit 1000 01234567\nhalf of");
  }
  options.state_file = folder.Path("killed");
  {
    Started server(options);
    EXPECT_EQ(Contents(server, "inbox"), expected);
    EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 2u);
    EXPECT_EQ(server.CountItems("alice@example.com", "outbox"), 1u);
    // And goes on from there.
    server.AddMessage("alice@example.com", "inbox", "Subject: new\r\n\r\n");
    server.Stop();
  }
  EXPECT_EQ(Simulator(options).CountItems("alice@example.com", "inbox"), 28u);
}

TEST_F(SimulatorState, WhoHasSeenTheFolderBeforeLearnsWhatIsGoneAfterARestart) {
  Options options = Kept();
  options.state_interval = std::chrono::hours(1);
  const auto sync = [](Client& client, const std::string& state) {
    return client.Call(
        "<m:SyncFolderItems><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:SyncFolderId>" +
        Distinguished("inbox") + "</m:SyncFolderId>" +
        (state.empty() ? std::string() : "<m:SyncState>" + state + "</m:SyncState>") +
        "<m:MaxChangesReturned>100</m:MaxChangesReturned></m:SyncFolderItems>");
  };
  std::string seen;
  Id gone;
  {
    Started server(options);
    gone = server.AddMessage("alice@example.com", "inbox", "Subject: one\r\n\r\n");
    server.Stop();  // the second run adds to the file
  }
  {
    Started server(options);
    Client client(server);
    seen = sync(client, {}).Find("SyncState").text;
    EXPECT_EQ(client
                  .Call("<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds><t:ItemId Id=\"" + gone.id +
                        "\"/></m:ItemIds></m:DeleteItem>")
                  .Code(),
              "NoError");
    server.Stop();
  }
  Started server(options);
  Client client(server);
  const Reply reply = sync(client, seen);
  ASSERT_EQ(reply.Count("Delete"), 1u) << reply.body;
  EXPECT_EQ(reply.Find("Delete").Child("ItemId")->AttributeText("Id"), gone.id);
}

TEST_F(SimulatorState, AFileServesOneSimulatorAtATime) {
  const Simulator first(Kept());
  EXPECT_EQ(Refusal(Kept()), "The state file " + file + " is in use by another simulator.");
}

TEST_F(SimulatorState, AStartWaitsForTheEndOfTheOneBefore) {
  auto first = std::make_unique<Started>(Kept());
  first->AddMessage("alice@example.com", "inbox", "Subject: one\r\n\r\n");
  std::promise<void> begun;
  auto second = std::async(std::launch::async, [&] {
    begun.set_value();
    return Simulator(Kept()).CountItems("alice@example.com", "inbox");
  });
  begun.get_future().wait();
  first->Stop();
  first.reset();
  EXPECT_EQ(second.get(), 1u);
}

TEST_F(SimulatorState, WhatIsLargeComesInPartsAndIsWhole) {
  Options options = Kept();
  options.state_interval = std::chrono::hours(1);
  options.fills = {{"alice@example.com", "inbox", 600}};
  {
    Started server(options);
    server.AddMessage("carol@example.com", "inbox", "Subject: small\r\n\r\n");
    server.Stop();
  }
  {
    Started server(options);
    EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 600u);
    // More than is held in memory before it is written.
    server.AddMessage("bob@example.com", "inbox", "Subject: large\r\n\r\n" + std::string(9 << 20, 'y'));
    server.AddMessage("carol@example.com", "inbox", "Subject: behind\r\n\r\n");
    server.Stop();
  }
  const Simulator server(options);
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 600u);
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(server.CountItems("carol@example.com", "inbox"), 2u);
}

TEST_F(SimulatorState, ProgramThatIsKilledHasItsMailboxesInTheFile) {
  {
    Program program(SimulatorProgram({"--no-https", "--state", file}));
    ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
    Simulator none;
    Client client(none);
    client.url = program.Line("HTTP");
    EXPECT_EQ(client.Call(CreateItemXml(MessageXml("kept", "bob@example.com"))).Code(), "NoError");
    EXPECT_TRUE(Comes([&] { return ReadFile(file).find("kept") != std::string::npos; }));
    program.Signal(SIGKILL);
    program.Wait();
  }
  Options options = Kept();
  options.users.clear();
  EXPECT_EQ(Simulator(options).CountItems("alice@example.com", "drafts"), 1u);
}

TEST_F(SimulatorState, DamagedFileIsRefusedAndLeftAlone) {
  {
    Started server(Kept());
    server.Stop();
  }
  const std::string whole = ReadFile(file);
  const std::string hint = " It is left as it is; move it away to start with new mailboxes.";
  std::string changed = whole;
  changed[changed.size() / 2] ^= 1;
  const std::pair<std::string, std::string> cases[] = {
      {changed, "The state file " + file + " is damaged: its checksum is wrong." + hint},
      {whole.substr(0, whole.size() - 7), "The state file " + file + " is damaged: it ends in the middle." + hint},
      {whole + "more", "The state file " + file + " is damaged: its checksum is wrong." + hint},
      {"a letter\n", "The file " + file + " is no state file of the simulator." + hint},
      {"Velmore EWS Simulator state, format 1, checksum 0, bytes 0\n",
       "The state file " + file + " has format 1; this simulator reads format 2." + hint},
      {"Velmore EWS Simulator state, format 2\ncommit 0 00000001\n",
       "The state file " + file + " is damaged: its checksum is wrong." + hint}};
  for (const auto& [content, complaint] : cases) {
    folder.Write("state", content);
    EXPECT_TRUE(Refusal(Kept()).starts_with(complaint)) << Refusal(Kept());
    EXPECT_EQ(ReadFile(file), content);
  }
}

TEST_F(SimulatorState, FileOfAnotherServerVersionIsRefused) {
  {
    Started server(Kept());
    server.Stop();
  }
  Options options = Kept();
  options.version = "Exchange2010";
  EXPECT_TRUE(Refusal(options).starts_with(
      "The state file " + file + " is of a server of version Exchange2016 and cannot be used with Exchange2010."))
      << Refusal(options);
}

TEST_F(SimulatorState, PlaceThatCannotBeWrittenIsToldAtOnce) {
  Options options = Kept();
  options.state_file = folder.Path("nowhere/state");
  EXPECT_EQ(Refusal(options),
            "The folder of the state file " + options.state_file + " is not there or cannot be written to.");
  options.state_file = folder.Path();
  EXPECT_EQ(Refusal(options), "The state file " + folder.Path() + " is a folder.");
}

TEST_F(SimulatorState, FailureToWriteKeepsTheOldFileAndIsToldByStop) {
  Started server(Kept());
  server.Stop();
  const std::string first = ReadFile(file);
  server.Start();
  std::filesystem::create_directories(file + ".new/inside");
  EXPECT_THROW(server.Stop(), SimulatorError);
  EXPECT_FALSE(server.Running());
  EXPECT_EQ(ReadFile(file), first);
}

TEST_F(SimulatorState, ProgramKeepsMailboxesOverSignals) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Program program(SimulatorProgram({"--no-https", "--state", file}));
    ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
    Simulator none;
    Client client(none);
    client.url = program.Line("HTTP");
    EXPECT_EQ(client.Call(CreateItemXml(MessageXml("kept", "bob@example.com"))).Code(), "NoError");
    EXPECT_EQ(client.Call(GetFolderXml(Distinguished("drafts"))).Find("TotalCount").text,
              signal == SIGTERM ? "1" : "2");
    program.Signal(signal);
    EXPECT_EQ(program.Wait(), 0) << program.Output();
  }
  folder.Write("state", "no state");
  Program program(SimulatorProgram({"--no-https", "--state", file}));
  EXPECT_EQ(program.Wait(), 2);
  EXPECT_NE(program.Output().find("is no state file of the simulator."), std::string::npos) << program.Output();
}

}  // namespace
}  // namespace velmore::simulator::testing
