// The dialogs' components: what they tell their windows, what they take back, in which order.

#include "ews/dialogs/uVqEWSAddressbook.h"
#include "ews/dialogs/uVqEWSFolderDialog.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

std::string Bits(const TVqEWSFolderDialogDisplayTypes& types) {
  std::string bits;
  for (const bool bit :
       {types.GetShowMessageFolders(), types.GetShowCalendarFolders(), types.GetShowContactFolders(),
        types.GetShowSearchFolders(), types.GetShowTaskFolders(), types.GetShowInbox(), types.GetShowOutbox(),
        types.GetShowDeletedItems(), types.GetShowSentItems(), types.GetShowJournal(), types.GetShowNotes()})
    bits += bit ? '1' : '0';
  return bits;
}

/// A picker without a window: writes down what it is told, and gives back what the test wants.
class TFakePicker : public TVqObject, public virtual IVqEWSFolderDialog {
 public:
  TFakePicker(Names& calls, std::int32_t result) : FCalls(calls), FResult(result) {}
  TItemId GetFolderId() override {
    FCalls.push_back("GetFolderId");
    return {"id", "key"};
  }
  string GetFolderName() override {
    FCalls.push_back("GetFolderName");
    return "Projects";
  }
  string GetMsgStore() override {
    FCalls.push_back("GetMsgStore");
    return "carol@example.com";
  }
  void SetMsgStore(const string& value) override { FCalls.push_back("SetMsgStore " + value.utf8()); }
  void SetTitle(const string& value) override { FCalls.push_back("SetTitle " + value.utf8()); }
  void SetFolderTypes(const TVqEWSFolderDialogDisplayTypes& value) override {
    FCalls.push_back("SetFolderTypes " + Bits(value));
  }
  void SetAllowSelectMsgStore(bool value) override {
    FCalls.push_back(value ? "SetAllowSelectMsgStore 1" : "SetAllowSelectMsgStore 0");
  }
  std::int32_t ShowModal() override {
    FCalls.push_back("ShowModal");
    return FResult;
  }

 private:
  Names& FCalls;
  std::int32_t FResult;
};

class FolderDialogs : public ::testing::Test {
 protected:
  FolderDialogs() { Use(1); }
  ~FolderDialogs() override { CreateFolderDialog = nullptr; }
  void Use(std::int32_t result) {
    CreateFolderDialog = [this, result](TVqEWSBaseSession& session) {
      EXPECT_EQ(&session, &Session);
      return MakeRef<TFakePicker>(Calls, result);
    };
  }
  Names Calls;
  TVqEWSServiceSession Session;
};

TEST_F(FolderDialogs, ShowEverythingUnlessTold) {
  TVqEWSFolderDialog dialog;
  EXPECT_EQ(Bits(dialog.GetFolderTypes()), "11111111111");
  EXPECT_FALSE(dialog.GetAllowSelectMsgStore());
  EXPECT_EQ(dialog.GetSession(), nullptr);
}

TEST_F(FolderDialogs, EachFlagIsItsOwnAndAllAreCopied) {
  using TTypes = TVqEWSFolderDialogDisplayTypes;
  using TSetter = void (TTypes::*)(bool) noexcept;
  const TSetter setters[] = {&TTypes::SetShowMessageFolders, &TTypes::SetShowCalendarFolders,
                             &TTypes::SetShowContactFolders, &TTypes::SetShowSearchFolders,
                             &TTypes::SetShowTaskFolders,    &TTypes::SetShowInbox,
                             &TTypes::SetShowOutbox,         &TTypes::SetShowDeletedItems,
                             &TTypes::SetShowSentItems,      &TTypes::SetShowJournal,
                             &TTypes::SetShowNotes};
  for (std::size_t i = 0; i < std::size(setters); ++i) {
    TTypes types, copy;
    (types.*setters[i])(false);
    std::string expected(11, '1');
    expected[i] = '0';
    EXPECT_EQ(Bits(types), expected);
    types.AssignTo(copy);
    EXPECT_EQ(Bits(copy), expected);
    TVqEWSFolderDialog dialog;
    dialog.SetFolderTypes(types);
    EXPECT_EQ(Bits(dialog.GetFolderTypes()), expected);
  }
}

TEST_F(FolderDialogs, TellTheWindowAndTakeBackWhatWasChosen) {
  TVqEWSFolderDialog dialog;
  dialog.SetSession(&Session);
  dialog.SetTitle("Where to?");
  dialog.SetMsgStore("bob@example.com");
  dialog.SetAllowSelectMsgStore(true);
  dialog.GetFolderTypes().SetShowJournal(false);
  EXPECT_TRUE(dialog.Execute());
  EXPECT_EQ(Calls, (Names{"SetTitle Where to?", "SetFolderTypes 11111111101", "SetAllowSelectMsgStore 1",
                          "SetMsgStore bob@example.com", "ShowModal", "GetMsgStore", "GetFolderId", "GetFolderName"}));
  EXPECT_EQ(dialog.GetMsgStore(), "carol@example.com");
  EXPECT_EQ(dialog.GetFolderId(), (TItemId{"id", "key"}));
  EXPECT_EQ(dialog.GetFolderName(), "Projects");
}

TEST_F(FolderDialogs, ThatAreCancelledChangeNothing) {
  for (const std::int32_t result : {0, 2, -1}) {
    Use(result);
    Calls.clear();
    TVqEWSFolderDialog dialog;
    dialog.SetSession(&Session);
    dialog.SetMsgStore("bob@example.com");
    EXPECT_FALSE(dialog.Execute());
    EXPECT_EQ(Calls.back(), "ShowModal");
    EXPECT_EQ(dialog.GetMsgStore(), "bob@example.com");
    EXPECT_EQ(dialog.GetFolderId(), TItemId{});
    EXPECT_EQ(dialog.GetFolderName(), "");
  }
}

TEST_F(FolderDialogs, WithoutASessionRaise) {
  constexpr const char* kText = "No EWS Session has been assigned to the FolderDialog!";
  TVqEWSFolderDialog dialog;
  EXPECT_EQ(MessageOf<EEWSException>([&] { dialog.Execute(); }), kText);
  {
    TVqEWSServiceSession session;
    dialog.SetSession(&session);
  }
  EXPECT_EQ(dialog.GetSession(), nullptr) << "a session that goes away is forgotten";
  EXPECT_EQ(MessageOf<EEWSException>([&] { dialog.Execute(); }), kText);
  EXPECT_EQ(Calls, Names{});
}

TEST_F(FolderDialogs, ForgetTheirFormerSession) {
  TVqEWSFolderDialog dialog;
  {
    TVqEWSServiceSession session;
    dialog.SetSession(&session);
    dialog.SetSession(&Session);
  }
  EXPECT_EQ(dialog.GetSession(), &Session);
  dialog.SetSession(nullptr);
  EXPECT_EQ(dialog.GetSession(), nullptr);
}

TEST_F(FolderDialogs, WithoutAHookNameIt) {
  TVqEWSFolderDialog dialog;
  dialog.SetSession(&Session);
  CreateFolderDialog = nullptr;
  EXPECT_EQ(MessageOf<EVqException>([&] { dialog.Execute(); }),
            "The hook CreateFolderDialog is empty: no user-interface layer has set it.");
  CreateFolderDialog = [](TVqEWSBaseSession&) { return TVqRef<IVqEWSFolderDialog>(); };
  EXPECT_EQ(MessageOf<EVqException>([&] { dialog.Execute(); }), "The hook CreateFolderDialog has made no dialog.");
}

// ---- The address book

/// An address book without a window. Gives back lists of its own, with one name more in each.
class TFakeBook : public TVqObject, public virtual IVqEWSAddressBookDialog {
 public:
  using TShow = std::function<std::int32_t(TFakeBook&)>;
  TFakeBook(Names& calls, TShow show) : FCalls(calls), FShow(std::move(show)) {}
  TVqRef<IVqEWSRecipients> GetRecipientList(TVqEWSAddressBookDialogButton button) override {
    FCalls.push_back("GetRecipientList " + std::to_string(button));
    return Lists[button];
  }
  void SetTitle(const string& value) override { FCalls.push_back("SetTitle " + value.utf8()); }
  void SetSearchScope(TSearchScope value) override { FCalls.push_back("SetSearchScope " + VqEnumToText(value).utf8()); }
  void SetButtons(TVqEWSAddressBookDialogButtons value) override {
    FCalls.push_back("SetButtons " + std::to_string(value.Bits()));
  }
  void SetButtonName(TVqEWSAddressBookDialogButton button, const string& value) override {
    FCalls.push_back("SetButtonName " + std::to_string(button) + " " + value.utf8());
  }
  void SetDefaultButton(TVqEWSAddressBookDialogButton value) override {
    FCalls.push_back("SetDefaultButton " + std::to_string(value));
  }
  void SetRecipientList(TVqEWSAddressBookDialogButton button, const TVqRef<IVqEWSRecipients>& value) override {
    FCalls.push_back("SetRecipientList " + std::to_string(button) + " " + value->GetAsString().utf8());
    Lists[button] = value;
  }
  std::int32_t ShowModal() override {
    FCalls.push_back("ShowModal");
    return FShow(*this);
  }

  TVqRef<IVqEWSRecipients> Lists[3];

 private:
  Names& FCalls;
  TShow FShow;
};

class AddressBooks : public MailboxTest {
 protected:
  AddressBooks() {
    Show([](TFakeBook&) { return 1; });
  }
  ~AddressBooks() override { CreateAddressBookDialog = nullptr; }
  void Show(TFakeBook::TShow show) {
    CreateAddressBookDialog = [this, show](TVqEWSAddressBookDialog& dialog, TVqEWSBaseSession& session) {
      EXPECT_EQ(dialog.GetSession(), &session);
      return MakeRef<TFakeBook>(Calls, show);
    };
  }
  TVqRef<IVqEWSRecipients> ListOf(const char* text) {
    const auto list = Session().CreateRecipients();
    list->SetAsString(text);
    return list;
  }
  Names Calls;
};

TEST_F(AddressBooks, HaveTheirDefaults) {
  TVqEWSAddressBookDialog dialog;
  EXPECT_EQ(dialog.GetSearchScope(), scActiveDirectoryContacts);
  EXPECT_EQ(dialog.GetTitle(), "Address Book: Global Address List");
  EXPECT_EQ(dialog.GetButtons(), (TVqEWSAddressBookDialogButtons{btnTo, btnCC, btnBCC}));
  EXPECT_EQ(dialog.GetButtonName(btnTo), "To ->");
  EXPECT_EQ(dialog.GetButtonName(btnCC), "CC ->");
  EXPECT_EQ(dialog.GetButtonName(btnBCC), "BCC ->");
  EXPECT_EQ(dialog.GetDefaultButton(), btnTo);
}

TEST_F(AddressBooks, TellTheWindowAndTakeItsLists) {
  TVqEWSAddressBookDialog dialog;
  dialog.SetSession(&Session());
  dialog.SetTitle("People");
  dialog.SetSearchScope(scContacts);
  dialog.SetButtons({btnTo, btnBCC});
  dialog.SetButtonName(btnCC, "Copy");
  dialog.SetDefaultButton(btnBCC);
  dialog.SetRecipientList(btnCC, ListOf("bob@example.com"));
  TVqRef<IVqEWSRecipients> other = ListOf("carol@example.com");
  Show([&](TFakeBook& book) {
    book.Lists[btnTo] = other;
    return 1;
  });
  EXPECT_EQ(Sent([&] { EXPECT_TRUE(dialog.Execute(false)); }), Names{});
  EXPECT_EQ(Calls, (Names{"SetTitle People", "SetSearchScope Contacts", "SetButtons 5", "SetButtonName 0 To ->",
                          "SetButtonName 1 Copy", "SetButtonName 2 BCC ->", "SetRecipientList 0 ",
                          "SetRecipientList 1 bob@example.com", "SetRecipientList 2 ", "SetDefaultButton 2",
                          "ShowModal", "GetRecipientList 0", "GetRecipientList 1", "GetRecipientList 2"}));
  EXPECT_EQ(dialog.GetRecipientList(btnTo), other);
  EXPECT_EQ(dialog.GetRecipientList(btnCC)->GetAsString(), "bob@example.com");
  EXPECT_EQ(dialog.GetRecipientList(btnBCC)->Count(), 0);
}

TEST_F(AddressBooks, ThatAreCancelledTakeTheListsAndResolveThemAllTheSame) {
  TVqEWSAddressBookDialog dialog;
  dialog.SetSession(&Session());
  const auto before = dialog.GetRecipientList(btnTo);
  const auto after = ListOf("bob@example.com");
  Show([&](TFakeBook& book) {
    book.Lists[btnTo] = after;
    return 2;
  });
  EXPECT_EQ(Sent([&] { EXPECT_FALSE(dialog.Execute(true)); }), Names{"ResolveNames"});
  EXPECT_EQ(dialog.GetRecipientList(btnTo), after);
  EXPECT_EQ(after->GetAsString(), "Bob Birch <bob@example.com>");
  EXPECT_EQ(before->Count(), 0);
}

TEST_F(AddressBooks, ResolveTheirListsInOrderAndRaiseNothing) {
  TVqEWSAddressBookDialog dialog;
  dialog.SetSession(&Session());
  dialog.SetRecipientList(btnBCC, ListOf("alice@example.com"));
  dialog.SetRecipientList(btnCC, ListOf("nobody here; bob"));
  dialog.SetRecipientList(btnTo, ListOf("bob"));
  EXPECT_EQ(Sent([&] { EXPECT_TRUE(dialog.Execute(true)); }), (Names{"ResolveNames", "ResolveNames", "ResolveNames"}))
      << "behind a name that is not found the rest of its list is skipped";
  EXPECT_EQ(dialog.GetRecipientList(btnTo)->GetAsString(), "Bob Birch <bob@example.com>");
  EXPECT_EQ(dialog.GetRecipientList(btnCC)->GetItem(0)->GetName(), "nobody here");
  EXPECT_EQ(dialog.GetRecipientList(btnBCC)->GetAsString(), "Alice Arden <alice@example.com>");
  const auto names = Requests("ResolveNames");
  EXPECT_NE(names.at(0).find(">bob<"), std::string::npos);
  EXPECT_NE(names.at(1).find(">nobody here<"), std::string::npos);
  EXPECT_NE(names.at(2).find(">alice@example.com<"), std::string::npos);
}

TEST_F(AddressBooks, MakeAListOnceAndKeepIt) {
  TVqEWSAddressBookDialog dialog;
  EXPECT_EQ(MessageOf<EVqException>([&] { dialog.GetRecipientList(btnTo); }), "There is no active EWS Session!");
  dialog.SetSession(&Session());
  const auto list = dialog.GetRecipientList(btnCC);
  EXPECT_EQ(dialog.GetRecipientList(btnCC), list);
  EXPECT_NE(dialog.GetRecipientList(btnTo), list);
  const auto none = static_cast<TVqEWSAddressBookDialogButton>(3);
  EXPECT_EQ(MessageOf<EListError>([&] { dialog.GetRecipientList(none); }), "There is no button 3.");
  EXPECT_EQ(MessageOf<EListError>([&] { dialog.SetButtonName(none, "x"); }), "There is no button 3.");
  EXPECT_THROW(dialog.GetButtonName(static_cast<TVqEWSAddressBookDialogButton>(-1)), EListError);
  EXPECT_THROW(dialog.SetRecipientList(none, list), EListError);
}

TEST_F(AddressBooks, AListThatTheWindowLosesIsMadeAnew) {
  TVqEWSAddressBookDialog dialog;
  dialog.SetSession(&Session());
  Show([](TFakeBook& book) {
    book.Lists[btnCC] = nullptr;
    return 1;
  });
  EXPECT_TRUE(dialog.Execute(true));
  EXPECT_EQ(dialog.GetRecipientList(btnCC)->Count(), 0);
}

TEST_F(AddressBooks, WithoutASessionFailTheirAssertion) {
  TVqEWSAddressBookDialog dialog;
  EXPECT_EQ(MessageOf<EAssertionFailed>([&] { dialog.Execute(false); }), "Assertion failure (ews/uVqEWSAddressbook)");
  {
    TVqEWSServiceSession session;
    dialog.SetSession(&session);
  }
  EXPECT_EQ(dialog.GetSession(), nullptr);
  EXPECT_THROW(dialog.Execute(false), EAssertionFailed);
}

TEST_F(AddressBooks, ASessionThatGoesAwayMeanwhileIsMissed) {
  TVqEWSAddressBookDialog dialog;
  auto session = std::make_unique<TVqEWSServiceSession>();
  dialog.SetSession(session.get());
  Show([&](TFakeBook&) {
    session.reset();
    return 1;
  });
  EXPECT_EQ(MessageOf<EVqException>([&] { dialog.Execute(true); }), "There is no active EWS Session!");
}

TEST_F(AddressBooks, WithoutAHookNameIt) {
  TVqEWSAddressBookDialog dialog;
  dialog.SetSession(&Session());
  CreateAddressBookDialog = nullptr;
  EXPECT_EQ(MessageOf<EVqException>([&] { dialog.Execute(false); }),
            "The hook CreateAddressBookDialog is empty: no user-interface layer has set it.");
}

}  // namespace
}  // namespace velmore::testing
