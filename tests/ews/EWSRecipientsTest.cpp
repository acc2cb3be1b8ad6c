// Recipients: from text to parts, and what each change leaves in the tree.

#include "ews/model/uVqEWSRecipients.h"

#include <gtest/gtest.h>

namespace velmore {
namespace {

class Recipients : public ::testing::Test {
 protected:
  TVqDOMDocument FDocument{"<t:Message><t:ToRecipients/></t:Message>"};
  IVqDOMElement FTo = FDocument.GetDocumentElement().GetFirstChildElement();

  TVqRef<TVqEWSRecipients> List(TServerVersion version = Exchange2016) {
    return MakeRef<TVqEWSRecipients>(FTo, "Mailbox", version);
  }
  /// "name|routing type|address" of what a text is taken for.
  std::string Parsed(const string& text) {
    const auto recipient = List()->Add(text);
    return (recipient->GetName() + "|" + recipient->GetRoutingType() + "|" + recipient->GetEmailAddress()).utf8();
  }
  std::string Tree() { return FTo.GetInnerXML().utf8(); }
  void Load(const std::string& markup) { FTo.SetInnerXML(markup); }
  template <typename T = EVqException, typename TAction>
  static std::string Failure(TAction action) {
    try {
      action();
    } catch (const T& failure) {
      return failure.what();
    }
    return "none";
  }
};

TEST_F(Recipients, NameAndAddressInBrackets) {
  EXPECT_EQ(Parsed("Ann Example <ann@example.com>"), "Ann Example|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Ann Example [ann@example.com]"), "Ann Example|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Ann Example (ann@example.com)"), "Ann Example|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("  Ann <ann@example.com>  "), "Ann|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("\"Example, Ann\" <ann@example.com>"), "Example, Ann|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("\"\"Ann\"\" <ann@example.com>"), "Ann|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Grüße Äß <ann@example.com>"), "Grüße Äß|SMTP|ann@example.com");
}

TEST_F(Recipients, AMailboxIsTakenAsItIs) {
  const auto list = List();
  const auto neil = list->AddMailbox("O'Neil, Ann <x>", "o'neil@example.com");
  EXPECT_EQ(neil->GetName(), "O'Neil, Ann <x>");
  EXPECT_EQ(neil->GetEmailAddress(), "o'neil@example.com");
  EXPECT_EQ(neil->GetRoutingType(), "SMTP");
  list->AddMailbox("", "/o=Example/cn=ann", "EX");
  list->AddMailbox("Ann alone", "");
  EXPECT_EQ(
      Tree(),
      "<t:Mailbox><t:Name>O'Neil, Ann &lt;x&gt;</t:Name><t:EmailAddress>o'neil@example.com</t:EmailAddress>"
      "<t:RoutingType>SMTP</t:RoutingType></t:Mailbox><t:Mailbox><t:EmailAddress>/o=Example/cn=ann</t:EmailAddress>"
      "<t:RoutingType>EX</t:RoutingType></t:Mailbox><t:Mailbox><t:Name>Ann alone</t:Name></t:Mailbox>");
  EXPECT_EQ(Failure([&] { list->AddMailbox("", ""); }), "You can not add an empty recipient");
  EXPECT_NE(Failure([&] { list->AddMailbox("a", string(u"b\u0001")); }), "none");
  EXPECT_EQ(list->Count(), 3);
}

// What the list remembers of addresses follows every setter.
TEST_F(Recipients, AreRemovedByTheAddressThatTheyHaveNow) {
  const auto list = List();
  for (const char* address : {"a@example.com", "b@example.com", "c@example.com", "gr\u00fc\u00df@example.com"})
    list->AddMailbox("", address);
  list->Remove("B@EXAMPLE.COM");
  list->GetItem(0)->SetEmailAddress("d@example.com");
  list->Remove("a@example.com");  // nobody's now
  EXPECT_EQ(list->Count(), 3);
  list->Remove("D@example.com");
  list->Remove("GR\u00dc\u00df@example.com");
  list->AddMailbox("", "e@example.com");
  list->Delete(0);
  list->Remove("E@example.com");
  EXPECT_EQ(list->Count(), 0);
  EXPECT_EQ(FTo.ElementCount(), 1);  // Delete leaves the element
}

TEST_F(Recipients, LongListsAreEmptiedAddressByAddress) {
  for (const bool fromTheEnd : {false, true}) {
    Load("");
    const auto list = List();
    constexpr int kCount = 10000;
    for (int i = 0; i < kCount; ++i) list->AddMailbox("", "user" + IntToStr(i) + "@example.com");
    for (int i = 0; i < kCount; ++i) list->Remove("user" + IntToStr(fromTheEnd ? kCount - 1 - i : i) + "@example.com");
    EXPECT_EQ(list->Count(), 0);
    EXPECT_FALSE(FTo.HasChildElements());
  }
}

TEST_F(Recipients, AddressAloneInBracketsTakesTheWholeTextAsName) {
  EXPECT_EQ(Parsed("<ann@example.com>"), "<ann@example.com>|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("\"\" <ann@example.com>"), "\"\" <ann@example.com>|SMTP|ann@example.com");
}

TEST_F(Recipients, RoutingTypeStandsBeforeAColon) {
  EXPECT_EQ(Parsed("Ann [smtp:ann@example.com]"), "Ann|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Ann [ex:/o=Org/cn=ann]"), "Ann|EX|/o=Org/cn=ann");
  EXPECT_EQ(Parsed("Fax [fax:+49 30 1234]"), "Fax|FAX|+49 30 1234");
  EXPECT_EQ(Parsed("Ann <:ann@example.com>"), "Ann|SMTP|ann@example.com");
  // No address without "@" in SMTP: the brackets are given up.
  EXPECT_EQ(Parsed("Ann [smtp:ann]"), "Ann [smtp:ann]||");
}

TEST_F(Recipients, BracketsWithoutAnAddressAreAName) {
  EXPECT_EQ(Parsed("Room 5 (small)"), "Room 5 (small)||");
  EXPECT_EQ(Parsed("Ann <Sales>"), "Ann <Sales>||");
  EXPECT_EQ(Parsed("Ann <ann@example.com> later"), "Ann <ann@example.com> later||");
}

TEST_F(Recipients, NameMayHaveBracketsOfItsOwn) {
  EXPECT_EQ(Parsed("Ann (Sales) (ann@example.com)"), "Ann (Sales)|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Ann (Sales) <ann@example.com>"), "Ann (Sales)|SMTP|ann@example.com");
}

TEST_F(Recipients, PlainAddressAndPlainName) {
  EXPECT_EQ(Parsed("ann@example.com"), "ann@example.com|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("Ann Example"), "Ann Example||");
}

TEST_F(Recipients, ApostrophesGoButNotFromDirectoryAddresses) {
  EXPECT_EQ(Parsed("Pat O'Brien <pat@example.com>"), "Pat OBrien|SMTP|pat@example.com");
  EXPECT_EQ(Parsed("'ann@example.com'"), "ann@example.com|SMTP|ann@example.com");
  EXPECT_EQ(Parsed("/o=Org/cn=O'Brien"), "/o=Org/cn=O'Brien|EX|");
}

TEST_F(Recipients, DirectoryAddressKeepsItsRoutingType) {
  EXPECT_EQ(Parsed("/o=Org/ou=Group/cn=Recipients/cn=ann"), "/o=Org/ou=Group/cn=Recipients/cn=ann|EX|");
  EXPECT_EQ(Parsed("/cn=ann@example.com"), "/cn=ann@example.com|EX|/cn=ann@example.com");
  EXPECT_EQ(Parsed("/o=Org <ann@example.com>"), "/o=Org <ann@example.com>|EX|");
}

TEST_F(Recipients, WhatIsAnAddress) {
  for (const char* good : {"a@b.de", "a@bc.d", "a.b+c@example.co.uk", "ä@exämple.de", "o_o@1.23", "a@b@c.de"}) {
    EXPECT_EQ(Parsed(good), std::string(good) + "|SMTP|" + good);
  }
  for (const char* bad :
       {"@b.de", "a@.d", "a@b.c", "a@bcd", "a@bcde", "a@bcd.", "a b@example.com", "a@exa mple.com", "a,b@example.com",
        "a;b@example.com", "a:b@example.com", "a\\b@example.com", "a\"b@example.com", "a(b@example.com",
        "a@b.c\xC2\xA0"
        "d"}) {
    EXPECT_EQ(Parsed(bad), std::string(bad) + "||");
  }
}

TEST_F(Recipients, EmptyTextIsRefusedAndLeavesTheTreeAlone) {
  for (const char* text : {"", "   ", "\t\r\n"}) {
    EXPECT_EQ(Failure([&] { List()->Add(text); }), "You can not add an empty recipient");
  }
  EXPECT_EQ(Tree(), "");
  EXPECT_NE(Failure<EVqXMLError>([&] { List()->Add(u"a\u0001b@example.com"); }), "none");
  EXPECT_EQ(Tree(), "");
}

TEST_F(Recipients, AddWritesTheElementAlwaysAsAMailbox) {
  const auto list = MakeRef<TVqEWSRecipients>(FTo, "Other", Exchange2016);
  list->Add("Ann <ann@example.com>");
  EXPECT_EQ(Tree(),
            "<t:Mailbox><t:Name>Ann</t:Name><t:EmailAddress>ann@example.com</t:EmailAddress><t:RoutingType>SMTP"
            "</t:RoutingType></t:Mailbox>");
  EXPECT_EQ(list->Count(), 1);
}

TEST_F(Recipients, ListReadsEntriesOfItsNameAtAnyDepth) {
  Load(
      "<t:Attendee><t:Mailbox><t:Name>A</t:Name></t:Mailbox></t:Attendee><x:Mailbox><t:Name>B</t:Name></x:Mailbox>"
      "<t:Other/>");
  const auto list = List();
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->GetItem(0)->GetName(), "A");
  EXPECT_EQ(list->GetRecipient(1)->AsElement().GetQualifiedName(), "x:Mailbox");
  EXPECT_THROW(list->GetItem(2), EListError);
  EXPECT_THROW(list->GetItem(-1), EListError);
}

TEST_F(Recipients, PrintAsOneText) {
  Load(
      "<t:Mailbox><t:Name>Ann</t:Name><t:EmailAddress>ann@example.com</t:EmailAddress></t:Mailbox>"
      "<t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox>"
      "<t:Mailbox><t:Name>c@example.com</t:Name><t:EmailAddress>c@example.com</t:EmailAddress></t:Mailbox>"
      "<t:Mailbox><t:Name>Nobody</t:Name></t:Mailbox>");
  EXPECT_EQ(List()->GetAsString(), "Ann <ann@example.com>; bob@example.com; c@example.com; Nobody <>");
  Load("");
  EXPECT_EQ(List()->GetAsString(), "");
}

TEST_F(Recipients, SetAsOneText) {
  Load("<t:Mailbox><t:Name>Old</t:Name></t:Mailbox>");
  const auto list = List();
  list->SetAsString("\"Example; Ann\" <ann@example.com>;bob@example.com; Carol");
  EXPECT_EQ(list->GetAsString(), "Example; Ann <ann@example.com>; bob@example.com; Carol <>");
  EXPECT_EQ(list->Count(), 3);
  list->SetAsString("");
  EXPECT_EQ(list->Count(), 0);
  EXPECT_EQ(Tree(), "");
  list->SetAsString("a@example.com;");
  EXPECT_EQ(list->Count(), 1);
}

TEST_F(Recipients, EmptyPieceOfATextIsRefused) {
  const auto list = List();
  EXPECT_EQ(Failure([&] { list->SetAsString("a@example.com;;b@example.com"); }), "You can not add an empty recipient");
  EXPECT_EQ(list->GetAsString(), "a@example.com");
}

TEST_F(Recipients, RemoveTakesTheFirstMatchOutOfListAndTree) {
  const auto list = List();
  list->SetAsString("a@example.com; b@example.com; A@EXAMPLE.com");
  const auto first = list->GetItem(0);
  list->Remove("A@example.COM");
  EXPECT_EQ(list->GetAsString(), "b@example.com; A@EXAMPLE.com");
  EXPECT_EQ(FTo.ElementCount(), 2);
  list->Remove("nobody@example.com");
  EXPECT_EQ(list->Count(), 2);
  EXPECT_EQ(first->GetEmailAddress(), "a@example.com");  // whoever holds it may still read it
}

TEST_F(Recipients, RemoveOfAnEntryThatLiesDeeper) {
  Load("<t:Attendee><t:Mailbox><t:EmailAddress>a@example.com</t:EmailAddress></t:Mailbox></t:Attendee>");
  const auto list = List();
  list->Remove("a@example.com");
  EXPECT_EQ(list->Count(), 0);
  EXPECT_EQ(Tree(), "<t:Attendee/>");
}

TEST_F(Recipients, DeleteLeavesTheElement) {
  const auto list = List();
  list->SetAsString("a@example.com; b@example.com");
  list->Delete(0);
  EXPECT_EQ(list->GetAsString(), "b@example.com");
  EXPECT_EQ(FTo.ElementCount(), 2);
  EXPECT_EQ(List()->Count(), 2);
  EXPECT_THROW(list->Delete(1), EListError);
}

TEST_F(Recipients, ClearEmptiesListAndElement) {
  Load("<t:Mailbox/><t:Stranger/>text");
  const auto list = List();
  list->Clear();
  EXPECT_EQ(list->Count(), 0);
  EXPECT_EQ(Tree(), "");
}

TEST_F(Recipients, SettersWriteTheTree) {
  const auto recipient = List()->Add("Ann");
  recipient->SetEmailAddress("ann@example.com");
  recipient->SetRoutingType("SMTP");
  recipient->SetMailboxType(mtContact);
  recipient->SetName("Ann Example");
  EXPECT_EQ(recipient->GetMailboxType(), mtContact);
  EXPECT_EQ(Tree(),
            "<t:Mailbox><t:Name>Ann Example</t:Name><t:EmailAddress>ann@example.com</t:EmailAddress>"
            "<t:RoutingType>SMTP</t:RoutingType><t:MailboxType>Contact</t:MailboxType></t:Mailbox>");
}

TEST_F(Recipients, ItemIdIsReadFromAttributesAndWrittenAsElements) {
  Load(
      "<t:Mailbox><t:ItemId Id=\"I\" ChangeKey=\"C\"/></t:Mailbox><t:Mailbox><t:ItemId "
      "Id=\"I\"/></t:Mailbox><t:Mailbox/>");
  const auto list = List();
  EXPECT_EQ(list->GetItem(0)->GetItemId().Id, "I");
  EXPECT_EQ(list->GetItem(0)->GetItemId().ChangeKey, "C");
  EXPECT_EQ(list->GetItem(1)->GetItemId().ChangeKey, "");
  EXPECT_EQ(list->GetItem(2)->GetItemId().Id, "");
  const auto last = list->GetItem(2);
  last->SetItemId({"X", "Y"});
  EXPECT_EQ(list->GetRecipient(2)->AsElement().GetXML(),
            "<t:Mailbox><t:ItemId><t:Id>X</t:Id><t:ChangeKey>Y</t:ChangeKey></t:ItemId></t:Mailbox>");
  EXPECT_EQ(last->GetItemId().Id, "");  // the two directions differ
  const auto other = list->GetItem(1);
  other->SetItemId({"Z", ""});
  EXPECT_EQ(list->GetRecipient(1)->AsElement().GetInnerXML(), "<t:ItemId Id=\"I\"><t:Id>Z</t:Id></t:ItemId>");
}

TEST_F(Recipients, OriginalDisplayNameNeedsExchange2013) {
  Load("<t:Mailbox><t:OriginalDisplayName>O</t:OriginalDisplayName></t:Mailbox>");
  EXPECT_EQ(List(Exchange2013)->GetItem(0)->GetOriginalDisplayName(), "O");
  const auto old = List(Exchange2010_SP2)->GetItem(0);
  const std::string expected =
      "\"OriginalDisplayName\" is not supported by Exchange2010_SP2. This feature requires Exchange Exchange2013!";
  EXPECT_EQ(Failure([&] { old->GetOriginalDisplayName(); }), expected);
  EXPECT_EQ(Failure([&] { old->SetOriginalDisplayName("X"); }), expected);
  EXPECT_EQ(List()->GetItem(0)->GetOriginalDisplayName(), "O");
}

TEST_F(Recipients, ElementOfAnotherNameIsAnAssertion) {
  EXPECT_NE(Failure<EAssertionFailed>([&] {
              MakeRef<TVqEWSRecipient>(FTo, "Mailbox", Exchange2016);
            }).find("ews/uVqEWSInterfaces"),
            std::string::npos);
}

// ---- Members of distribution lists

class Members : public Recipients {
 protected:
  void SetUp() override {
    Load(
        "<t:Member Key=\"k0\"><t:Mailbox><t:EmailAddress>a@example.com</t:EmailAddress></t:Mailbox><t:Status>Normal"
        "</t:Status></t:Member>"
        "<t:Member Key=\"k1\"><t:Mailbox><t:EmailAddress>b@example.com</t:EmailAddress></t:Mailbox><t:Status>Demoted"
        "</t:Status></t:Member>"
        "<t:Member Key=\"k2\"><t:Mailbox><t:EmailAddress>A@example.com</t:EmailAddress></t:Mailbox></t:Member>");
    FRecord = std::make_unique<TEwsMembersList>(FTo);
    FList = MakeRef<TVqEWSMembersList>(*FRecord, Exchange2016);
  }
  std::string Keys() {
    std::string keys;
    for (std::int32_t i = 0; i < FList->Count(); ++i) keys += FList->GetItem(i)->GetKey().utf8() + " ";
    return keys;
  }
  std::unique_ptr<TEwsMembersList> FRecord;
  TVqRef<TVqEWSMembersList> FList;
};

TEST_F(Members, AreViewsOfTheTree) {
  ASSERT_EQ(FList->Count(), 3);
  EXPECT_EQ(FList->GetItem(0)->GetStatus(), msNormal);
  EXPECT_EQ(FList->GetItem(1)->GetStatus(), msDemoted);
  EXPECT_EQ(FList->GetItem(2)->GetStatus(), msUnrecognized);
  EXPECT_EQ(FList->GetItem(1)->GetMailbox()->GetEmailAddress(), "b@example.com");
  EXPECT_NE(FList->GetItem(1)->GetMailbox().get(), FList->GetItem(1)->GetMailbox().get());  // a new view each time
  FList->GetItem(0)->SetKey("other");
  FList->GetItem(0)->SetStatus(msDemoted);
  EXPECT_EQ(FTo.GetFirstChildElement().GetAttribute("Key"), "other");
  EXPECT_THROW(FList->GetItem(3), EListError);
}

TEST_F(Members, AddIgnoresItsArgument) {
  const auto other = List()->Add("x@example.com");
  FTo.RemoveChild(FTo.GetChildElements().GetItem(3));
  const auto member = FList->Add(other);
  EXPECT_EQ(member->GetMailbox()->GetEmailAddress(), "");
  member->GetMailbox()->SetEmailAddress("new@example.com");
  EXPECT_EQ(FTo.GetChildElements().GetItem(3).GetXML(),
            "<t:Member><t:Mailbox><t:EmailAddress>new@example.com</t:EmailAddress></t:Mailbox></t:Member>");
  EXPECT_EQ(FList->Count(), 4);
}

TEST_F(Members, RemoveTakesTheLastMatch) {
  const auto like = FList->GetItem(0)->GetMailbox();
  FList->Remove(like);
  EXPECT_EQ(Keys(), "k0 k1 ");
  EXPECT_EQ(FTo.ElementCount(), 2);
  FList->Remove(like);
  EXPECT_EQ(Keys(), "k1 ");
}

TEST_F(Members, StayTheirOwnAfterDeletionsBeforeThem) {
  FRecord->GetMember().GetItem(2);  // the array keeps this record under its position
  FList->Delete(0);
  FList->Delete(1);
  EXPECT_EQ(Keys(), "k1 ");
  EXPECT_EQ(FList->GetItem(0)->GetMailbox()->GetEmailAddress(), "b@example.com");
  FList->Add({})->SetKey("new");
  EXPECT_EQ(Keys(), "k1 new ");
  EXPECT_EQ(FTo.ElementCount(), 2);
  FList->Clear();
  EXPECT_EQ(FList->Count(), 0);
  EXPECT_EQ(Tree(), "");
  EXPECT_THROW(FList->Delete(0), EListError);
}

}  // namespace
}  // namespace velmore
