// The connection ends before, in and after the request that carries an operation out, in both forms of requests; then
// the program does what the guide teaches. The table says how often the work stands on the server in the end: nothing
// is ever lost, and what can double is known.

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/stores/uVqEWSMarks.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class CutTable : public SaveTest, public ::testing::WithParamInterface<bool> {
 protected:
  CutTable() { Session().SetStrictSchema(GetParam()); }

  static constexpr Cut kCuts[] = {Cut::before, Cut::after, Cut::within};
  static constexpr const char* kMark = "{0F3D6C5A-1B2C-4D5E-8F90-112233445566}";

  TVqRef<IVqEWSEMail> ToBob(const std::string& subject) {
    const auto mail = NewMail();
    mail->SetSubject(subject);
    mail->GetToRecipients()->AddMailbox("", "bob@example.com");
    return mail;
  }
  std::size_t Drafts() { return Server().CountItems(kAlice, "drafts"); }
  template <typename TAction>
  void Fails(TAction action) {
    EXPECT_THROW(action(), EVqException);
    EXPECT_EQ(Server().PendingFaults(), 0u);
  }
};

// A plain retry makes a second item when the answer was lost; one that looks for its mark first makes none.
TEST_P(CutTable, Save) {
  for (const bool marks : {false, true}) {
    for (const Cut cut : kCuts) {
      const std::size_t before = Drafts();
      const auto mail = NewMail();
      mail->SetSubject("S");
      if (marks) mail->PropertyByName(EPR_BILLING).SetAsString(kMark);
      CutNext("CreateItem", cut);
      Fails([&] { mail->SaveChanges(soAutoResolve); });
      std::vector<TItemId> made;
      if (marks) made = VqFindByMark(*Folder(dfindrafts), EFLD_BILLING, kMark);
      if (made.empty()) mail->SaveChanges(soAutoResolve);
      EXPECT_EQ(Drafts() - before, !marks && cut != Cut::before ? 2u : 1u);
      for (const TItemId& id : VqFindByMark(*Folder(dfindrafts), EFLD_BILLING, kMark))
        Folder(dfindrafts)->DeleteItem(id, dtHardDelete);
    }
  }
}

TEST_P(CutTable, SaveWithAttachments) {
  for (const Cut cut : kCuts) {
    for (int which = 0; which < 3; ++which) {
      const std::size_t before = Drafts();
      const auto mail = NewMail();
      for (const char* name : {"a.txt", "b.txt", "c.txt"}) Attach(*mail, name, "xyz");
      CutNext("CreateAttachment", cut, which);
      Fails([&] { mail->SaveChanges(soAutoResolve); });
      mail->SaveChanges(soAutoResolve);
      EXPECT_EQ(Drafts() - before, 1u);
      EXPECT_EQ(AttachmentsOf(*mail), "a.txt=xyz;b.txt=xyz;c.txt=xyz;");
    }
  }
}

TEST_P(CutTable, Update) {
  for (const Cut cut : kCuts) {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    mail->SetSubject("Changed");
    mail->GetCategories().Add("c");
    CutNext("UpdateItem", cut);
    Fails([&] { mail->SaveChanges(soAutoResolve); });
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(Again(*mail)->GetSubject(), "Changed");
    EXPECT_EQ(Again(*mail)->GetCategories().AsString(","), "c");
  }
}

// In one step a second message goes out when the answer was lost. A message that is saved first goes out once: its
// draft is gone.
TEST_P(CutTable, Send) {
  for (const bool savedFirst : {false, true}) {
    for (const Cut cut : kCuts) {
      const std::size_t before = Server().CountItems(kBob, "inbox");
      const auto mail = ToBob("Send");
      if (savedFirst) mail->SaveChanges(soAutoResolve);
      CutNext(savedFirst ? "SendItem" : "CreateItem", cut);
      Fails([&] { mail->SubmitMessage(true); });
      if (savedFirst && cut != Cut::before) {
        EXPECT_EQ(CodeOf([&] { mail->SubmitMessage(true); }), "ErrorItemNotFound");  // that is: it went out
      } else {
        mail->SubmitMessage(true);
      }
      EXPECT_EQ(Server().CountItems(kBob, "inbox") - before, !savedFirst && cut != Cut::before ? 2u : 1u);
    }
  }
}

TEST_P(CutTable, Copy) {
  for (const Cut cut : kCuts) {
    const TItemId id = AddMessage("Copy me");
    const auto inbox = Inbox();
    const std::size_t before = Drafts();
    CutNext("CopyItem", cut);
    Fails([&] { inbox->CopyItem(id, Folder(dfindrafts)->GetID()); });
    inbox->CopyItem(id, Folder(dfindrafts)->GetID());
    EXPECT_EQ(Drafts() - before, cut == Cut::before ? 1u : 2u);
    EXPECT_EQ(Mail(id)->GetSubject(), "Copy me");
  }
}

TEST_P(CutTable, Delete) {
  for (const Cut cut : kCuts) {
    const TItemId id = AddMessage("Delete me");
    const auto inbox = Inbox();
    CutNext("DeleteItem", cut);
    Fails([&] { inbox->DeleteItem(id, dtHardDelete); });
    if (cut == Cut::before) {
      inbox->DeleteItem(id, dtHardDelete);
    } else {
      EXPECT_EQ(CodeOf([&] { inbox->DeleteItem(id, dtHardDelete); }), "ErrorItemNotFound");  // that is: it is gone
    }
    EXPECT_EQ(CodeOf([&] { Mail(id); }), "ErrorItemNotFound");
  }
}

// A move is a copy and a deletion: a cut between the two leaves both, and never none.
TEST_P(CutTable, Move) {
  for (const char* operation : {"CopyItem", "DeleteItem"}) {
    for (const Cut cut : kCuts) {
      const TItemId id = AddMessage("Move me");
      const auto inbox = Inbox();
      const TItemId drafts = Folder(dfindrafts)->GetID();
      const std::size_t copies = Drafts(), originals = Server().CountItems(kAlice, "inbox");
      CutNext(operation, cut);
      Fails([&] { inbox->MoveItem(id, drafts); });
      const bool copied = operation == std::string("DeleteItem") || cut != Cut::before;
      const bool deleted = operation == std::string("DeleteItem") && cut != Cut::before;
      EXPECT_EQ(Drafts() - copies, copied ? 1u : 0u);
      EXPECT_EQ(originals - Server().CountItems(kAlice, "inbox"), deleted ? 1u : 0u);
    }
  }
}

TEST_P(CutTable, Import) {
  for (const Cut cut : kCuts) {
    const auto inbox = Inbox();
    const std::size_t before = Server().CountItems(kAlice, "inbox");
    TVqMemoryStream first(MimeOf("Import")), second(MimeOf("Import"));
    CutNext("CreateItem", cut);
    Fails([&] { inbox->ImportItem(first, {}); });
    inbox->ImportItem(second, {});
    EXPECT_EQ(Server().CountItems(kAlice, "inbox") - before, cut == Cut::before ? 1u : 2u);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, CutTable, ::testing::Bool(),
                         [](const auto& strict) { return strict.param ? "Strict" : "Default"; });

}  // namespace
}  // namespace velmore::testing
