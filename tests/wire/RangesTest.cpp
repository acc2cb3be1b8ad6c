// Range loops over tables and lists.

#include "ews/idioms/uVqEWSRanges.h"

#include <map>
#include <set>
#include <sstream>

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class Ranges : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;
};

static_assert(std::input_iterator<TVqEWSRowIterator<IVqEWSItems, TVqEWSItemRow>>);
static_assert(std::input_iterator<TVqEWSEntryIterator<TVqEWSAttachments>>);
static_assert(std::input_iterator<TVqEWSEntryIterator<IVqEWSResolutionSet>>);
static_assert(std::input_iterator<TVqSetIterator<TVqEWSMessageFlag>>);
static_assert(std::input_iterator<TVqEWSEntryIterator<TVqEWSProperties>>);

TEST_F(Ranges, ASecondLoopStartsAtTheFront) {
  for (int i = 0; i < 120; ++i) AddMessage("Message " + std::to_string(i));
  const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT);
  std::set<std::string> subjects;
  int rows = 0;
  for (const auto row : *items) {
    subjects.insert(row[FLD_ITEM_SUBJECT].GetAsString().utf8());
    ++rows;
  }
  EXPECT_EQ(rows, 120);
  EXPECT_EQ(subjects.size(), 120u);
  for ([[maybe_unused]] const auto row : *items) ++rows;
  EXPECT_EQ(rows, 240);
}

TEST_F(Ranges, ValuesPrintThemselvesAsTheirTexts) {
  AddMessage("Grüße");
  std::ostringstream out;
  for (const auto row : VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT, FLD_MESSAGE_ISREAD))
    out << row[FLD_ITEM_SUBJECT] << ' ' << row[FLD_MESSAGE_ISREAD];
  EXPECT_EQ(out.str(), "Grüße false");
}

TEST_F(Ranges, ALoopThatWasLeftEarlyStartsAnewWithoutARequestOnTheFirstPage) {
  for (int i = 0; i < 3; ++i) AddMessage("Message " + std::to_string(i));
  const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT);
  for ([[maybe_unused]] const auto row : *items) break;
  Forget();
  int rows = 0;
  for ([[maybe_unused]] const auto row : *items) ++rows;
  EXPECT_EQ(rows, 3);
  EXPECT_TRUE(Operations().empty());
}

TEST_F(Ranges, AnEmptyFolderHasNoTurn) {
  for ([[maybe_unused]] const auto row : VqItemsOf(*Inbox())) FAIL();
}

TEST_F(Ranges, ARowOfAnItem) {
  const TItemId id = AddMessage("Hello");
  const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT, FLD_MESSAGE_FROM, FLD_MESSAGE_SENDER, FLD_ITEM_INREPLYTO);
  int rows = 0;
  for (const auto row : *items) {
    ++rows;
    EXPECT_EQ(row.Id().Id, id.Id);
    EXPECT_EQ(row.Kind(), "Message");
    EXPECT_TRUE(row.Has(FLD_ITEM_SUBJECT));
    EXPECT_FALSE(row.Has(FLD_ITEM_INREPLYTO));
    EXPECT_EQ(row[FLD_ITEM_INREPLYTO].GetAsString(), "");
    EXPECT_EQ(TEwsMessage(row.Element()).GetSubject(), "Hello");
    EXPECT_FALSE(row.Sender().Name.empty());
    EXPECT_THROW(row[FLD_ITEM_SIZE], EVqException);
  }
  EXPECT_EQ(rows, 1);
}

TEST_F(Ranges, TheSenderIsWhoItIsFromAndElseWhoSentIt) {
  const auto senderOf = [this](const std::string& subject, const std::string& parts) {
    AddItem("inbox", "<t:Message><t:Subject>" + subject + "</t:Subject>" + parts + "</t:Message>");
    for (const auto row : VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT, FLD_MESSAGE_FROM, FLD_MESSAGE_SENDER))
      if (row[FLD_ITEM_SUBJECT].GetAsString() == string(subject)) return row.Sender().Name.utf8();
    return std::string("no such row");
  };
  const auto mailbox = [](const std::string& element, const std::string& name) {
    return "<t:" + element + "><t:Mailbox><t:Name>" + name + "</t:Name><t:EmailAddress>" + name +
           "@example.com</t:EmailAddress></t:Mailbox></t:" + element + ">";
  };
  EXPECT_EQ(senderOf("both", mailbox("Sender", "sue") + mailbox("From", "fay")), "fay");
  EXPECT_EQ(senderOf("one", mailbox("Sender", "sue")), "sue");
  EXPECT_EQ(senderOf("none", ""), "");
}

TEST_F(Ranges, RowsOfFolders) {
  AddMessage("One", "Projects");
  const auto root = Folder(dfinmsgfolderroot);
  std::map<std::string, std::int32_t> counts;
  for (const auto row : root->GetSubFolders()) {
    counts[row.DisplayName().utf8()] = row.TotalCount();
    EXPECT_FALSE(row.Id().Id.empty());
    if (row.DisplayName() == "Projects") {
      EXPECT_EQ(row.UnreadCount(), 1);
      EXPECT_EQ(row.ChildFolderCount(), 0);
    }
    const bool isCalendar = row.DisplayName() == "Calendar";
    EXPECT_EQ(row.FolderType() == sffCalendarFolder, isCalendar) << row.DisplayName().utf8();
  }
  EXPECT_EQ(counts.at("Projects"), 1);
  EXPECT_TRUE(counts.contains("Inbox"));
}

TEST_F(Ranges, ListsOfAnItem) {
  const auto mail = Supports<IVqEWSEMail>(Inbox()->CreateItem(tMessage));
  mail->SetSubject("Lists");
  mail->GetToRecipients()->AddMailbox("Ann", "ann@example.com");
  mail->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
  mail->GetCategories().Add("Red");
  mail->GetCategories().Add("Travel");
  const std::string content = "text";
  TVqMemoryStream stream;
  stream.Write(content.data(), content.size());
  mail->GetAttachments().AddAttachment("a.txt", "text/plain", stream);

  Names seen;
  for (const auto& recipient : mail->GetToRecipients()) seen.push_back(recipient->GetName().utf8());
  for (const string& category : mail->GetCategories()) seen.push_back(category.utf8());
  for (const auto& attachment : mail->GetAttachments()) seen.push_back(attachment->GetName().utf8());
  EXPECT_EQ(seen, (Names{"Ann", "Bob", "Red", "Travel", "a.txt"}));

  std::int32_t properties = 0;
  for (auto& property : mail->GetProperties()) properties += property.GetRow().PropDefName.empty() ? 0 : 1;
  EXPECT_EQ(properties, mail->GetProperties().Count());
  EXPECT_GT(properties, 0);
}

TEST_F(Ranges, FieldsOfATableAndMembersOfAList) {
  const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT, FLD_ITEM_SIZE);
  Names columns;
  for (auto& field : items->GetFields()) columns.push_back(field.GetName().utf8());
  EXPECT_EQ(columns, (Names{"PR_SUBJECT", "PR_SIZE"}));
  const auto list = Folder(dfincontacts)->CreateDistributionList();
  list->GetMembers()->AddMailbox("Ann", "ann@example.com");
  list->GetMembers()->AddMailbox("Bob", "bob@example.com");
  int members = 0;
  for ([[maybe_unused]] const auto& member : list->GetMembers()) ++members;
  EXPECT_EQ(members, 2);
}

TEST_F(Ranges, ValuesOfASetInTheOrderOfTheirEnumeration) {
  std::vector<TVqEWSMessageFlag> flags;
  for (const TVqEWSMessageFlag flag : TVqEWSMessageFlags{msgflgFromMe, msgflgRead}) flags.push_back(flag);
  EXPECT_EQ(flags, (std::vector{msgflgRead, msgflgFromMe}));
  for ([[maybe_unused]] const TVqEWSMessageFlag flag : TVqEWSMessageFlags{}) FAIL();
}

TEST_F(Ranges, CandidatesForANameAndCategoriesOfAMailbox) {
  Names names;
  for (const auto& candidate : Session().ResolveName("bob", scActiveDirectory))
    names.push_back(candidate->GetRecipient().GetEmailAddress().utf8());
  EXPECT_EQ(names, Names{kBob});
  Server().SetUserConfiguration(
      kAlice, "calendar", "CategoryList",
      "<categories default=\"Red\" xmlns=\"CategoryList.xsd\"><category name=\"Red\" color=\"0\"/>"
      "<category name=\"Blue\" color=\"7\"/></categories>");
  Names categories;
  for (const auto& category : Store().GetCategories()) categories.push_back(category.GetName().utf8());
  EXPECT_EQ(categories, (Names{"Red", "Blue"}));
}

}  // namespace
}  // namespace velmore::testing
