// The address book, the task list and the auto-responder as a person runs them: several times on one mailbox. And the
// page of code that reads and writes vCards.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "support/VCard.h"
#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::testing::Folder;
using simulator::testing::Program;

// ---- vCards

TEST(VCards, AreWrittenAsTheyAreUsuallyWritten) {
  VCard card;
  card.Add("FN", {"M\xC3\xB6we; J\xC3\xBCrgen"});
  card.Add("N", {"M\xC3\xB6we", "J\xC3\xBCrgen", "", "", ""});
  card.Add("TEL", {"+49 171"}, {{"TYPE", "work,voice"}});
  card.Add("NICKNAME", {""});
  EXPECT_EQ(FormatVCard(card),
            "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:M\xC3\xB6we\\; J\xC3\xBCrgen\r\nN:M\xC3\xB6we;J\xC3\xBCrgen;;;\r\n"
            "TEL;TYPE=\"work,voice\":+49 171\r\nEND:VCARD\r\n");
}

TEST(VCards, AreReadAsOthersWriteThem) {
  const auto cards = ParseVCards(
      "begin:vcard\nversion:4.0\nitem1.tel;type=work;type=\"fax,x\";pref=1:tel:+1;ext=5\nNOTE:one\\ntwo\\, thr\n "
      "ee\\\\\n"
      "ADR:;;Main\\; 1;Graz;;;\nend:vcard\n\nBEGIN:VCARD\r\nVERSION:3.0\r\nFN:Two\r\nEND:VCARD\r\n");
  ASSERT_EQ(cards.size(), 2u);
  ASSERT_TRUE(cards[0].Find("TEL"));
  EXPECT_EQ(cards[0].Find("TEL")->Parameter("TYPE"), "work,fax,x");
  EXPECT_EQ(cards[0].Find("TEL")->Text(), "tel:+1;ext=5");
  EXPECT_EQ(cards[0].Find("NOTE")->Text(), "one\ntwo, three\\");
  EXPECT_EQ(cards[0].Find("ADR")->Part(2), "Main; 1");
  EXPECT_EQ(cards[0].Find("ADR")->Part(9), "");
  EXPECT_EQ(cards[1].Find("FN")->Text(), "Two");
  EXPECT_FALSE(cards[1].Find("TEL"));
}

TEST(VCards, WhatIsNoneIsRefused) {
  for (const char* text : {"hello", "BEGIN:VCARD\r\nFN:x\r\n", "BEGIN:VCARD\r\nFN\r\nEND:VCARD\r\n"})
    EXPECT_THROW(ParseVCards(text), std::runtime_error) << text;
  EXPECT_TRUE(ParseVCards("").empty());
}

TEST(VCards, LinesAreFoldedBetweenCharacters) {
  VCard card;
  std::string text;
  for (int i = 0; i < 200; ++i) text += i % 3 == 0 ? "\xF0\x9F\x98\x80" : "x";
  card.Add("NOTE", {text});
  std::istringstream lines(FormatVCard(card));
  for (std::string line; std::getline(lines, line, '\n');) {
    EXPECT_LE(line.size(), 76u);  // with its CR
    EXPECT_NE(static_cast<unsigned char>(line[line[0] == ' ' ? 1 : 0]) & 0xC0u, 0x80u) << line;
  }
  EXPECT_EQ(ParseVCards(FormatVCard(card)).at(0), card);
}

TEST(VCards, ComeBackAsTheyWere) {
  std::mt19937 random(20260302);
  const std::string pieces[] = {
      "a", " ", ";", ",", "\\", "\n", ":", "\"", "^", "\xC3\xA9", "\xF0\x9F\x98\x80", "BEGIN:VCARD", "\\n", "="};
  const auto text = [&] {
    std::string out = "t";
    for (auto i = random() % 60; i > 0; --i) out += pieces[random() % std::size(pieces)];
    return out;
  };
  for (int round = 0; round < 300; ++round) {
    VCard card;
    for (auto i = random() % 8; i > 0; --i) {
      std::vector<std::string> parts;
      for (auto part = random() % 5 + 1; part > 0; --part) parts.push_back(text());
      std::vector<std::pair<std::string, std::string>> parameters;
      for (auto parameter = random() % 3; parameter > 0; --parameter) parameters.emplace_back("P", text());
      card.Add("X-" + std::to_string(i), parts, parameters);
    }
    EXPECT_EQ(ParseVCards(FormatVCard(card)).at(0), card) << FormatVCard(card);
  }
}

// ---- The programs

class PeopleExamples : public EWSTest {
 protected:
  PeopleExamples() { ::setenv("VELMORE_PASSWORD", "wonder", 1); }

  /// Runs a program as Alice, to its end, and gives what it printed.
  std::string Run(const char* program, std::vector<std::string> arguments, int status = 0) {
    std::vector<std::string> command = {program, "--url=" + Server().HttpUrl(), "--user=alice"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Program run(command);
    EXPECT_EQ(run.Wait(), status) << run.Output();
    return run.Output();
  }
  static std::map<std::string, std::string> Files(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ostringstream text;
      text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      files[entry.path().filename().string()] = text.str();
    }
    return files;
  }
  TVqRef<IVqEWSFolder> Contacts() { return Session().OpenDefaultMsgStore()->GetFolder(dfincontacts, ""); }
  Folder FFolder;
};

TEST_F(PeopleExamples, AnAddressBookGoesToFilesAndBack) {
  const auto ann = Supports<IVqEWSContact>(Contacts()->CreateItem(tContact));
  ann->SetGivenName("Ann; the \"first\"");
  ann->SetSurname("Ex\xC3\xA4mple, Inc");
  ann->SetMiddleName("B.");
  ann->SetDisplayName("Ann / Example");
  ann->SetNickname("Annie");
  ann->SetCompanyName("Velmore");
  ann->SetDepartment("Post");
  ann->SetJobTitle("Clerk");
  ann->SetBusinessHomePage("https://example.com/a;b");
  ann->SetBirthday(29000.0);
  ann->SetWeddingAnniversary(40000.0);
  ann->SetBodyText("A note\nof two lines");
  for (int i = 0; i < 3; ++i) {
    ann->GetEmailAddresses().GetEntry(static_cast<TEmailAddressKey>(i)).SetValue("a" + IntToStr(i) + "@example.com");
    ann->GetImAddresses().GetEntry(static_cast<TImAddressKey>(i)).SetValue("im:" + IntToStr(i));
    auto& address = ann->GetPhysicalAddresses().GetEntry(static_cast<TPhysicalAddressKey>(i));
    address.SetStreet("Street\n" + IntToStr(i));
    address.SetPostalCode("801" + IntToStr(i));
    address.SetCountryOrRegion("Austria");
  }
  for (const auto key : {pnkBusinessPhone, pnkBusinessPhone2, pnkHomePhone, pnkHomePhone2, pnkMobilePhone,
                         pnkBusinessFax, pnkHomeFax, pnkPager, pnkOtherTelephone})
    ann->GetPhoneNumbers().GetEntry(key).SetValue("+" + IntToStr(static_cast<int>(key)));
  TVqMemoryStream picture(std::string("\xFF\xD8\xFF picture \0 of bytes", 22));
  ann->SetUserPhoto(&picture);
  ann->SaveChanges(soAutoResolve);
  const auto list = Contacts()->CreateDistributionList();
  list->SetDisplayName("No contact");
  list->SaveChanges(soAutoResolve);

  EXPECT_NE(Run(VELMORE_ADDRESS_BOOK, {"--to=" + FFolder.Path("one")}).find("1 contacts written"), std::string::npos);
  Contacts()->DeleteItem(ann->GetID(), dtHardDelete);
  EXPECT_NE(Run(VELMORE_ADDRESS_BOOK, {"--from=" + FFolder.Path("one")}).find("1 contacts made"), std::string::npos);
  EXPECT_NE(Run(VELMORE_ADDRESS_BOOK, {"--to=" + FFolder.Path("two")}).find("1 contacts written"), std::string::npos);
  const auto files = Files(FFolder.Path("one"));
  EXPECT_EQ(files, Files(FFolder.Path("two")));
  ASSERT_EQ(files.size(), 1u);
  const VCard card = ParseVCards(files.begin()->second).at(0);
  const auto count = [&](const std::string& name) {
    return std::count_if(card.Properties.begin(), card.Properties.end(),
                         [&](const VCardProperty& property) { return property.Name == name; });
  };
  EXPECT_EQ(count("TEL"), 9);
  EXPECT_EQ(count("EMAIL"), 3);
  EXPECT_EQ(count("ADR"), 3);
  EXPECT_EQ(count("IMPP"), 3);
  EXPECT_EQ(count("PHOTO"), 1);
  EXPECT_EQ(card.Find("N")->Part(1), "Ann; the \"first\"");
  EXPECT_EQ(card.Find("BDAY")->Text(), "19790525");
}

TEST_F(PeopleExamples, ContactsOfOneNameGetFilesOfTheirOwn) {
  for (int i = 0; i < 3; ++i)
    Server().AddItem(kAlice, "contacts", "<t:Contact><t:DisplayName>../x</t:DisplayName></t:Contact>");
  Run(VELMORE_ADDRESS_BOOK, {"--to=" + FFolder.Path("out")});
  EXPECT_EQ(Files(FFolder.Path("out")).size(), 3u);
}

TEST_F(PeopleExamples, TasksAreAddedDoneAndRemoved) {
  EXPECT_NE(Run(VELMORE_TASKS, {}).find("Nothing to do."), std::string::npos);
  Run(VELMORE_TASKS, {"add", "Second", "--due=2026-03-09"});
  Run(VELMORE_TASKS, {"add", "No day"});
  const std::string three = Run(VELMORE_TASKS, {"add", "First", "--due=2026-03-02"});
  EXPECT_EQ(three, "  1 [ ] 2026-03-02  First\n  2 [ ] 2026-03-09  Second\n  3 [ ]             No day\n");
  EXPECT_EQ(Run(VELMORE_TASKS, {"done", "1"}),
            "  1 [ ] 2026-03-09  Second\n  2 [ ]             No day\n  3 [x] 2026-03-02  First\n");
  EXPECT_EQ(Run(VELMORE_TASKS, {"remove", "2"}), "  1 [ ] 2026-03-09  Second\n  2 [x] 2026-03-02  First\n");
  EXPECT_NE(Run(VELMORE_TASKS, {"done", "7"}, 1).find("The list has 2."), std::string::npos);
}

TEST_F(PeopleExamples, EveryMessageIsAnsweredOnce) {
  const auto deliver = [&](const std::string& headers) {
    Server().AddMessage(kAlice, "inbox", headers + "To: Alice Arden <alice@example.com>\r\nSubject: Hello\r\n\r\nx");
  };
  deliver("From: Bob Birch <bob@example.com>\r\n");
  deliver("From: Bob Birch <bob@example.com>\r\n");
  deliver("From: Bob Birch <bob@example.com>\r\nAuto-Submitted: auto-replied\r\n");
  deliver("From: Bob Birch <bob@example.com>\r\nPrecedence: bulk\r\n");
  deliver("From: Machine <noreply@example.com>\r\n");
  deliver("From: Alice Arden <alice@example.com>\r\n");
  EXPECT_EQ(Run(VELMORE_AUTO_RESPONDER, {"--text=Away."}), "2 of 6 messages answered\n");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 2u);
  EXPECT_EQ(Run(VELMORE_AUTO_RESPONDER, {}), "0 of 6 messages answered\n");
  deliver("From: Bob Birch <bob@example.com>\r\n");
  EXPECT_EQ(Run(VELMORE_AUTO_RESPONDER, {}), "1 of 7 messages answered\n");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 3u);
}

}  // namespace
}  // namespace velmore::testing
