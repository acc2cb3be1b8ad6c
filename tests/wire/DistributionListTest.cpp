// Distribution lists over a real socket: their members, before and behind a load.

#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

class DistributionLists : public PeopleTest {
 protected:
  static std::string MembersOf(IVqEWSDistributionList& list) {
    std::string text;
    const auto members = list.GetMembers();
    for (std::int32_t i = 0; i < members->Count(); ++i) {
      const auto mailbox = members->GetItem(i)->GetMailbox();
      text += mailbox->GetName().utf8() + "<" + mailbox->GetEmailAddress().utf8() + ">;";
    }
    return text;
  }
  TVqRef<IVqEWSDistributionList> Saved() {
    const auto list = NewList();
    list->SetDisplayName("Friends");
    list->GetMembers()->AddMailbox("Bob", "bob@example.com");
    list->GetMembers()->AddMailbox("Carol", "carol@elsewhere.example");
    list->SaveChanges(soAutoResolve);
    return list;
  }
};

TEST_F(DistributionLists, AreMadeLoadedChangedAndSaved) {
  const auto list = NewList();
  EXPECT_EQ(list->GetItemType(), tDistributionList);
  EXPECT_EQ(list->AsElement().GetQualifiedName(), "t:DistributionList");
  list->SetDisplayName("Friends");
  list->SetFileAs("friends");
  list->GetMembers()->AddMailbox("Bob", "bob@example.com");
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:DistributionList><t:DisplayName>Friends</t:DisplayName><t:FileAs>friends</t:FileAs><t:Members>"
            "<t:Member><t:Mailbox><t:Name>Bob</t:Name><t:EmailAddress>bob@example.com</t:EmailAddress><t:RoutingType>"
            "SMTP</t:RoutingType></t:Mailbox></t:Member></t:Members></t:DistributionList></m:Items>");
  const auto fresh = Fresh(*list);
  EXPECT_EQ(fresh->GetDisplayName(), "Friends");
  EXPECT_EQ(fresh->GetFileAs(), "friends");
  EXPECT_EQ(MembersOf(*fresh), "Bob<bob@example.com>;");
  fresh->SetDisplayName("Good friends");
  fresh->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(),
            SetField("contacts:DisplayName", "<t:DisplayName>Good friends</t:DisplayName>", "t:DistributionList"));
}

TEST_F(DistributionLists, MembersReadTwiceAreTheSameObject) {
  const auto list = Saved();
  EXPECT_EQ(list->GetMembers().get(), list->GetMembers().get());
  const auto draft = NewList();
  EXPECT_EQ(draft->GetMembers().get(), draft->GetMembers().get());
}

TEST_F(DistributionLists, MembersAreThoseOfTheLastLoad) {
  const auto list = Saved();
  const auto before = list->GetMembers();
  const auto member = before->GetItem(0);
  const auto mailbox = member->GetMailbox();
  const auto other = Fresh(*list);
  other->GetMembers()->AddMailbox("Dave", "dave@elsewhere.example");
  other->SaveChanges(soAutoResolve);
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(list->GetMembers()->Count(), 3);
  EXPECT_NE(list->GetMembers().get(), before.get());
  // What was in hand raises, instead of writing into a list that no save looks at.
  const std::vector<std::function<void()>> uses = {
      [&] { before->Count(); },
      [&] { before->GetItem(0); },
      [&] { before->Add(nullptr); },
      [&] { before->AddMailbox("x", "x@example.com"); },
      [&] {
        before->AddItem({"a", "b"});
      },
      [&] { before->Remove(list->GetMembers()->GetItem(0)->GetMailbox()); },
      [&] { before->Delete(0); },
      [&] { before->Clear(); },
      [&] { member->GetMailbox(); },
      [&] { member->GetStatus(); },
      [&] { member->SetStatus(msNormal); },
      [&] { member->GetKey(); },
      [&] { member->SetKey("k"); },
      [&] { member->AsElement(); },
      [&] { mailbox->GetName(); },
      [&] { mailbox->SetName("x"); }};
  for (std::size_t i = 0; i < uses.size(); ++i) EXPECT_THROW(uses[i](), EVqException) << i;
  EXPECT_EQ(list->GetMembers()->Count(), 3);
}

TEST_F(DistributionLists, MembersRaiseWhenTheirListIsGone) {
  auto list = Saved();
  const auto members = list->GetMembers();
  list = nullptr;
  EXPECT_THROW(members->Count(), EVqException);
  EXPECT_THROW(members->Clear(), EVqException);
}

TEST_F(DistributionLists, MembersStayWhenALoadFails) {
  const auto list = Saved();
  const auto members = list->GetMembers();
  RefuseNext("GetItem", "ErrorInternalServerError");
  members->AddMailbox("Dave", "dave@elsewhere.example");
  EXPECT_THROW(list->SaveChanges(soAutoResolve), EEWSException);
  EXPECT_EQ(members->Count(), 3);
  EXPECT_EQ(list->GetMembers().get(), members.get());
}

TEST_F(DistributionLists, MembersAreAddedAndTakenAway) {
  const auto list = Saved();
  list->GetMembers()->AddMailbox("Dave", "dave@elsewhere.example");
  list->GetMembers()->Remove(list->GetMembers()->GetItem(0)->GetMailbox());
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(MembersOf(*list), "Carol<carol@elsewhere.example>;Dave<dave@elsewhere.example>;");
  EXPECT_EQ(Updates().find("<t:SetItemField><t:FieldURI FieldURI=\"distributionlist:Members\"/>"), 0u) << Updates();
  list->GetMembers()->Delete(1);
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(MembersOf(*Fresh(*list)), "Carol<carol@elsewhere.example>;");
  list->GetMembers()->Clear();
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(Fresh(*list)->GetMembers()->Count(), 0);
}

TEST_F(DistributionLists, MembersCanBeContactsAndLists) {
  const auto contact = NewContact();
  contact->SetGivenName("Ann");
  contact->GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("ann@example.com");
  contact->SaveChanges(soAutoResolve);
  const auto inner = Saved();
  const auto list = NewList();
  list->SetDisplayName("All");
  list->GetMembers()->AddItem(contact->GetID());
  list->GetMembers()->AddItem(inner->GetID(), mtPrivateDL);
  const std::string markup = list->AsElement().GetXMLAsUtf8();
  EXPECT_NE(markup.find("<t:MailboxType>Contact</t:MailboxType>"), std::string::npos) << markup;
  EXPECT_NE(markup.find("<t:MailboxType>PrivateDL</t:MailboxType>"), std::string::npos) << markup;
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(Fresh(*list)->GetMembers()->Count(), 2);
}

TEST_F(DistributionLists, EmptyMembersAreRefusedBeforeAnythingIsAdded) {
  const auto list = NewList();
  EXPECT_EQ(MessageOf<EVqException>([&] { list->GetMembers()->AddMailbox("", ""); }),
            "You can not add an empty recipient");
  EXPECT_EQ(MessageOf<EVqException>([&] { list->GetMembers()->AddItem({}); }),
            "A member needs the id of a contact or list that has been saved.");
  EXPECT_THROW(list->GetMembers()->AddMailbox("\x01", "x@example.com"), EVqException);
  EXPECT_EQ(list->GetMembers()->Count(), 0);
  EXPECT_FALSE(list->AsElement().SelectSingleElement("Members/Member", kSelectQuiet));
}

// Meant so: the argument of `Add` plays no part.
TEST_F(DistributionLists, AddAppendsAMemberToBeFilled) {
  const auto list = Saved();
  const auto member = list->GetMembers()->Add(list->GetMembers()->GetItem(0)->GetMailbox());
  EXPECT_EQ(member->GetMailbox()->GetEmailAddress(), "");
  member->GetMailbox()->SetEmailAddress("eve@elsewhere.example");
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(list->GetMembers()->Count(), 3);
  EXPECT_EQ(list->GetMembers()->GetItem(2)->GetMailbox()->GetEmailAddress(), "eve@elsewhere.example");
}

TEST_F(DistributionLists, ReadingMembersSendsNothing) {
  const auto list = Saved();
  MembersOf(*list);
  list->GetMembers()->GetItem(0)->GetKey();
  list->GetMembers()->GetItem(0)->GetStatus();
  list->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
  const auto empty = NewList();
  empty->SetDisplayName("Empty");
  empty->GetMembers()->Count();
  empty->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:DistributionList><t:DisplayName>Empty</t:DisplayName></t:DistributionList></m:Items>");
}

// Meant so: programs fill new lists through the item's properties.
TEST_F(DistributionLists, CreateItemMakesAPlainItem) {
  const auto item = Folder(dfincontacts)->CreateItem(tDistributionList);
  EXPECT_FALSE(Supports<IVqEWSDistributionList>(item));
  EXPECT_EQ(item->GetItemType(), tItem);
}

}  // namespace
}  // namespace velmore::testing
