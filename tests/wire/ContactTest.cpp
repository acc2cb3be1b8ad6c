// Contacts over a real socket: made, loaded, changed, saved; dictionaries entry by entry; the privacy flag; the
// picture.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

class Contacts : public PeopleTest {
 protected:
  using PeopleTest::PeopleTest;

  static void SetPhoto(IVqEWSContact& contact, std::string bytes) {
    TVqMemoryStream stream(std::move(bytes));
    contact.SetUserPhoto(&stream);
  }
  static std::string PhotoOf(IVqEWSContact& contact) {
    TVqMemoryStream stream;
    contact.GetUserPhoto(stream);
    return stream.TakeBytes();
  }
};

class OldContacts : public Contacts {
 protected:
  OldContacts() : Contacts("Exchange2007_SP1") {}
};
class ContactsOf2013 : public Contacts {
 protected:
  ContactsOf2013() : Contacts("Exchange2013") {}
};

TEST_F(Contacts, AreMadeLoadedChangedAndSaved) {
  const auto contact = NewContact();
  EXPECT_EQ(contact->GetItemType(), tContact);
  contact->SetSurname("Example & <Sons>");
  contact->SetGivenName("Ann");
  contact->GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("ann@example.com");
  contact->GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue("+43 1");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Contact><t:GivenName>Ann</t:GivenName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\" "
            "MailboxType=\"OneOff\" RoutingType=\"SMTP\">ann@example.com</t:Entry></t:EmailAddresses><t:PhoneNumbers>"
            "<t:Entry Key=\"MobilePhone\">+43 1</t:Entry></t:PhoneNumbers><t:Surname>Example &amp; &lt;Sons&gt;"
            "</t:Surname></t:Contact></m:Items>");
  EXPECT_FALSE(contact->GetIsNewItem());
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetGivenName(), "Ann");
  EXPECT_EQ(fresh->GetSurname(), "Example & <Sons>");
  EXPECT_EQ(fresh->GetEmailAddresses().GetEntry(eakEmailAddress1).GetValue(), "ann@example.com");
  fresh->SetGivenName("Anna");
  fresh->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("contacts:GivenName", "<t:GivenName>Anna</t:GivenName>", "t:Contact"));
  EXPECT_EQ(Fresh(*contact)->GetGivenName(), "Anna");
}

TEST_F(Contacts, StoreAndFolderOpenThemAsContacts) {
  const TItemId id = AddItem("contacts", "<t:Contact><t:GivenName>Ann</t:GivenName></t:Contact>");
  EXPECT_TRUE(Supports<IVqEWSContact>(Store().GetItem(id)));
  EXPECT_TRUE(Supports<IVqEWSContact>(Folder(dfincontacts)->GetItem(id)));
  EXPECT_FALSE(Supports<IVqEWSEMail>(Store().GetItem(id)));
}

// ---- Dictionaries

TEST_F(Contacts, EntriesAreSavedOneByOne) {
  const auto contact = Contact(
      "<t:EmailAddresses><t:Entry Key=\"EmailAddress1\">a@example.com</t:Entry><t:Entry Key=\"EmailAddress2\">"
      "b@example.com</t:Entry></t:EmailAddresses><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry "
      "Key=\"Pager\">2</t:Entry></t:PhoneNumbers><t:ImAddresses><t:Entry Key=\"ImAddress1\">x</t:Entry><t:Entry "
      "Key=\"ImAddress2\">y</t:Entry></t:ImAddresses>");
  contact->GetEmailAddresses().GetEntry(eakEmailAddress2).SetValue("c@example.com");
  contact->GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue("3");
  contact->GetPhoneNumbers().GetEntry(pnkPager).SetValue("");
  contact->GetImAddresses().GetEntry(iakImAddress1).SetValue("");
  contact->GetImAddresses().GetEntry(iakImAddress2).SetValue("z");
  contact->GetImAddresses().GetEntry(iakImAddress3).SetValue("new");
  contact->SaveChanges(soNeverOverwrite);
  const std::string updates = Updates();
  for (const std::string& change :
       {SetEntry("contacts:PhoneNumber", "MobilePhone", "PhoneNumbers", "<t:Entry Key=\"MobilePhone\">3</t:Entry>"),
        DeleteEntry("contacts:PhoneNumber", "Pager"),
        SetEntry("contacts:ImAddress", "ImAddress2", "ImAddresses", "<t:Entry Key=\"ImAddress2\">z</t:Entry>"),
        SetEntry("contacts:ImAddress", "ImAddress3", "ImAddresses", "<t:Entry Key=\"ImAddress3\">new</t:Entry>"),
        DeleteEntry("contacts:ImAddress", "ImAddress1")})
    EXPECT_NE(updates.find(change), std::string::npos) << change << "\n" << updates;
  EXPECT_NE(updates.find(EntryURI("contacts:EmailAddress", "EmailAddress2")), std::string::npos);
  EXPECT_EQ(updates.find("EmailAddress1"), std::string::npos);
  EXPECT_EQ(updates.find("HomePhone"), std::string::npos);
  EXPECT_EQ(updates.find("<t:FieldURI"), std::string::npos);
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetEmailAddresses().GetEntry(eakEmailAddress1).GetValue(), "a@example.com");
  EXPECT_EQ(fresh->GetEmailAddresses().GetEntry(eakEmailAddress2).GetValue(), "c@example.com");
  EXPECT_EQ(fresh->GetPhoneNumbers().Count(), 2);
  EXPECT_EQ(fresh->GetImAddresses().Count(), 2);
  EXPECT_EQ(fresh->GetImAddresses().GetEntry(iakImAddress2).GetValue(), "z");
}

TEST_F(Contacts, TwoPeopleWhoChangeTwoNumbersDoNotUndoEachOther) {
  const auto one = Contact(
      "<t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry Key=\"Pager\">2</t:Entry></t:PhoneNumbers>"
      "<t:ImAddresses><t:Entry Key=\"ImAddress1\">x</t:Entry><t:Entry Key=\"ImAddress2\">y</t:Entry></t:ImAddresses>");
  const auto other = Fresh(*one);
  one->GetPhoneNumbers().GetEntry(pnkHomePhone).SetValue("11");
  one->GetImAddresses().GetEntry(iakImAddress1).SetValue("xx");
  one->SaveChanges(soAutoResolve);
  other->GetPhoneNumbers().GetEntry(pnkPager).SetValue("22");
  other->GetImAddresses().GetEntry(iakImAddress2).SetValue("yy");
  other->SaveChanges(soAutoResolve);
  const auto fresh = Fresh(*one);
  EXPECT_EQ(fresh->GetPhoneNumbers().GetEntry(pnkHomePhone).GetValue(), "11");
  EXPECT_EQ(fresh->GetPhoneNumbers().GetEntry(pnkPager).GetValue(), "22");
  EXPECT_EQ(fresh->GetImAddresses().GetEntry(iakImAddress1).GetValue(), "xx");
  EXPECT_EQ(fresh->GetImAddresses().GetEntry(iakImAddress2).GetValue(), "yy");
}

// The text alone was compared once; the name of an address is content, too.
TEST_F(Contacts, TheNameOfAnAddressIsSavedWithTheSameAddress) {
  const auto contact =
      Contact("<t:EmailAddresses><t:Entry Key=\"EmailAddress1\">a@example.com</t:Entry></t:EmailAddresses>");
  contact->GetEmailAddresses().GetEntry(eakEmailAddress1).SetName("Ann Example");
  contact->SaveChanges(soNeverOverwrite);
  EXPECT_NE(Updates().find("Name=\"Ann Example\""), std::string::npos) << Updates();
}

TEST_F(Contacts, AddressesAreSentWhole) {
  const auto contact = Contact(
      "<t:PhysicalAddresses><t:Entry Key=\"Home\"><t:Street>Main 1</t:Street><t:City>Graz</t:City></t:Entry>"
      "</t:PhysicalAddresses>");
  contact->GetPhysicalAddresses().GetEntry(pakHome).SetCity("Linz");
  contact->GetPhysicalAddresses().GetEntry(pakBusiness).SetStreet("Ring 2");
  contact->SaveChanges(soNeverOverwrite);
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetPhysicalAddresses().GetEntry(pakHome).GetCity(), "Linz");
  EXPECT_EQ(fresh->GetPhysicalAddresses().GetEntry(pakHome).GetStreet(), "Main 1");
  EXPECT_EQ(fresh->GetPhysicalAddresses().GetEntry(pakBusiness).GetStreet(), "Ring 2");
  EXPECT_EQ(fresh->GetPhysicalAddresses().Count(), 2);
  fresh->GetPhysicalAddresses().GetEntry(pakHome).SetCity("");
  fresh->GetPhysicalAddresses().GetEntry(pakHome).SetStreet("");
  fresh->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Fresh(*contact)->GetPhysicalAddresses().Count(), 1);
}

TEST_F(Contacts, WebAddressesGoTogether) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  auto& url = contact->GetUrls().GetEntry(cukPersonal);
  url.SetAddress("https://example.com");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(contact->GetUrls().GetEntry(cukPersonal).GetAddress(), "https://example.com");
  contact->GetUrls().GetEntry(cukBusiness).SetAddress("https://work.example");
  contact->GetUrls().GetEntry(cukFeed);  // asked for, not filled
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates().find("Feed"), std::string::npos) << Updates();
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetUrls().Count(), 2);
  EXPECT_EQ(fresh->GetUrls().GetEntry(cukBusiness).GetAddress(), "https://work.example");
}

TEST_F(Contacts, AskingForEntriesSendsNone) {
  const auto read = [](IVqEWSContact& contact) {
    contact.GetEmailAddresses().GetEntry(eakEmailAddress2).GetValue();
    contact.GetPhoneNumbers().GetEntry(pnkTelex).GetValue();
    contact.GetPhysicalAddresses().GetEntry(pakOther).GetCity();
    contact.GetImAddresses().GetEntry(iakImAddress2).GetValue();
    contact.GetUrls().GetEntry(cukBusiness).GetAddress();
    contact.GetAbchEmailAddresses().GetEmail(aeatOther).GetAddress();
  };
  const auto contact = NewContact();
  contact->SetSurname("E");
  read(*contact);
  contact->GetPhoneNumbers().GetEntry(pnkPager).SetValue("1");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Contact><t:PhoneNumbers><t:Entry Key=\"Pager\">1</t:Entry></t:PhoneNumbers>"
            "<t:Surname>E</t:Surname></t:Contact></m:Items>");
  read(*contact);
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(Contacts, DeletingADictionaryDeletesItsEntries) {
  const auto contact = Contact(
      "<t:EmailAddresses><t:Entry Key=\"EmailAddress1\">a@example.com</t:Entry></t:EmailAddresses><t:PhoneNumbers>"
      "<t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry "
      "Key=\"Pager\">2</t:Entry></t:PhoneNumbers><t:ImAddresses><t:Entry "
      "Key=\"ImAddress1\">x</t:Entry></t:ImAddresses>");
  contact->DeleteProperty(PR_PHONENUMBERS);
  contact->DeleteProperty(PR_IMADDRESSES);
  contact->SaveChanges(soNeverOverwrite);
  for (const char* key : {"HomePhone", "Pager"})
    EXPECT_NE(Updates().find(DeleteEntry("contacts:PhoneNumber", key)), std::string::npos) << Updates();
  EXPECT_NE(Updates().find(DeleteEntry("contacts:ImAddress", "ImAddress1")), std::string::npos) << Updates();
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetPhoneNumbers().Count(), 0);
  EXPECT_EQ(fresh->GetImAddresses().Count(), 0);
  EXPECT_EQ(fresh->GetEmailAddresses().Count(), 1);
}

// ---- Names

TEST_F(Contacts, TheCompleteNameWritesTheMembersThatTheServerTakes) {
  const auto contact = NewContact();
  TEwsCompleteName& name = contact->GetCompleteName();
  name.SetTitle("Dr.");
  name.SetFirstName("Ann");
  name.SetMiddleName("B.");
  name.SetLastName("Example");
  name.SetSuffix("Jr.");
  name.SetInitials("A.B.E.");
  contact->SaveChanges(soAutoResolve);
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(fresh->GetGivenName(), "Ann");
  EXPECT_EQ(fresh->GetMiddleName(), "B.");
  EXPECT_EQ(fresh->GetSurname(), "Example");
  EXPECT_EQ(fresh->GetGeneration(), "Jr.");
  EXPECT_EQ(fresh->GetInitials(), "A.B.E.");
  EXPECT_EQ(fresh->GetCompleteName().GetFirstName(), "Ann");
  EXPECT_EQ(fresh->PropertyByName(MPR_DISPLAY_NAME_PREFIX).GetAsString(), "Dr.");
  fresh->GetCompleteName().SetLastName("Other");
  EXPECT_EQ(fresh->GetCompleteName().GetLastName(), "Example");  // as the server put it together
  fresh->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("contacts:Surname", "<t:Surname>Other</t:Surname>", "t:Contact"));
  EXPECT_EQ(fresh->GetCompleteName().GetLastName(), "Other");
}

// The published property needs a later server; the member itself is older than that.
TEST_F(OldContacts, TheFirstNameIsReachedThroughTheRecord) {
  const auto contact = NewContact();
  EXPECT_EQ(MessageOf<EVqException>([&] { contact->SetGivenName("Ann"); }),
            "\"GivenName\" is not supported by Exchange2007_SP1. This feature requires Exchange Exchange2013_SP1!");
  TEwsContactItem(contact->AsElement()).SetGivenName("Ann");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Contact><t:GivenName>Ann</t:GivenName></t:Contact></m:Items>");
  const auto fresh = Fresh(*contact);
  EXPECT_EQ(TEwsContactItem(fresh->AsElement()).GetGivenName(), "Ann");
  EXPECT_EQ(fresh->GetCompleteName().GetFirstName(), "Ann");
  TEwsContactItem(fresh->AsElement()).SetGivenName("Anna");
  fresh->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("contacts:GivenName", "<t:GivenName>Anna</t:GivenName>", "t:Contact"));
}

// Meant so: programs fill contacts of servers that cannot tell the name.
TEST_F(ContactsOf2013, FileAsIsSetOnServersThatCannotTellIt) {
  const auto contact = NewContact();
  EXPECT_EQ(MessageOf<EVqException>([&] { contact->GetFileAs(); }),
            "\"FileAs\" is not supported by Exchange2013. This feature requires Exchange Exchange2013_SP1!");
  contact->SetFileAs("Example, Ann");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Contact><t:FileAs>Example, Ann</t:FileAs></t:Contact></m:Items>");
}

// Meant so: contacts have no field of that name, personas have.
TEST_F(Contacts, ThePrefixIsAskedForAsAFieldOfPersonas) {
  const auto contact = Contact("<t:GivenName>Ann</t:GivenName>");
  AnswerNext("GetItem", ReplyOf("GetItem",
                                "<m:Items><t:Contact><t:ItemId Id=\"I\"/><t:DisplayNamePrefix>Dr."
                                "</t:DisplayNamePrefix></t:Contact></m:Items>"));
  EXPECT_EQ(contact->GetDisplayNamePrefix(), "Dr.");
  EXPECT_NE(Request("GetItem").find("<t:FieldURI FieldURI=\"persona:DisplayNamePrefix\"/>"), std::string::npos);
}

TEST_F(Contacts, WhatAServerLacksRaisesAndLosesNothing) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  contact->SetDisplayNamePrefix("Dr.");
  Session().SetStrictSchema(true);
  EXPECT_EQ(MessageOf<EVqException>([&] { contact->SaveChanges(soAutoResolve); }),
            "The schema has no field for \"DisplayNamePrefix\": SetTitle of the complete name has the same effect.");
  EXPECT_TRUE(contact->GetIsNewItem());
  EXPECT_EQ(contact->GetDisplayNamePrefix(), "Dr.");
  contact->SetDisplayNamePrefix("");
  contact->GetCompleteName().SetTitle("Dr.");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Fresh(*contact)->PropertyByName(MPR_DISPLAY_NAME_PREFIX).GetAsString(), "Dr.");
  EXPECT_EQ(Fresh(*contact)->GetDisplayNamePrefix(), "");  // asks nothing that the schema lacks
}

// ---- Privacy

TEST_F(Contacts, PrivacyIsAMemberOfItsOwnAndLeavesTheSensitivityAlone) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  contact->SetIsPrivate(true);
  EXPECT_TRUE(contact->GetIsPrivate());
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Contact><t:Surname>E</t:Surname><t:IsPrivate>true</t:IsPrivate></t:Contact></m:Items>");
  EXPECT_TRUE(Fresh(*contact)->GetIsPrivate());
  EXPECT_EQ(Fresh(*contact)->GetSensitivity(), scNormal);
  contact->SetIsPrivate(false);
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("contacts:IsPrivate", "<t:IsPrivate>false</t:IsPrivate>", "t:Contact"));
}

TEST_F(ContactsOf2013, PrivacyIsASensitivityAndAMapiProperty) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  contact->SetIsPrivate(true);
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Contact><t:Sensitivity>Private</t:Sensitivity><t:Surname>E</t:Surname></t:Contact></m:Items>");
  EXPECT_TRUE(Fresh(*contact)->GetIsPrivate());
  EXPECT_TRUE(Fresh(*contact)->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
}

// ---- The picture

TEST_F(Contacts, ThePictureIsAnAttachmentOfAFixedNameAndType) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  SetPhoto(*contact, "\x89PNG\r\n");
  ASSERT_EQ(contact->GetAttachments().Count(), 1);
  EXPECT_EQ(contact->GetAttachments().GetAttachment(0)->GetName(), "ContactPicture.jpg");
  EXPECT_EQ(contact->GetAttachments().GetAttachment(0)->GetContentType(), "image/jpg");
  contact->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateAttachment", "Attachments/FileAttachment/IsContactPhoto"),
            "<t:IsContactPhoto>true</t:IsContactPhoto>");
  const auto fresh = Fresh(*contact);
  EXPECT_TRUE(fresh->GetHasPicture());
  EXPECT_EQ(PhotoOf(*fresh), "\x89PNG\r\n");
}

TEST_F(Contacts, ASecondPictureReplacesTheContentOfTheFirst) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  SetPhoto(*contact, "one");
  const auto attachment = contact->GetAttachments().GetAttachment(0);
  SetPhoto(*contact, "two");
  EXPECT_EQ(contact->GetAttachments().Count(), 1);
  EXPECT_EQ(contact->GetAttachments().GetAttachment(0)->AsElement(), attachment->AsElement());
  EXPECT_EQ(PhotoOf(*contact), "two");
  contact->SaveChanges(soAutoResolve);
  SetPhoto(*contact, "three");
  EXPECT_EQ(Sent([&] { contact->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(contact->GetAttachments().Count(), 1);
  EXPECT_EQ(PhotoOf(*Fresh(*contact)), "three");
}

TEST_F(Contacts, AStreamThatStandsAtItsEndIsTakenWhole) {
  const auto contact = NewContact();
  TVqMemoryStream stream("whole");
  std::string read(5, ' ');
  stream.Read(read.data(), 5);
  contact->SetUserPhoto(&stream);
  EXPECT_EQ(PhotoOf(*contact), "whole");
}

TEST_F(Contacts, NoPictureTakesThePictureAwayAndNothingElse) {
  const auto contact = NewContact();
  contact->SetSurname("E");
  TVqMemoryStream empty;
  contact->SetUserPhoto(nullptr);  // without one, nothing happens
  contact->SetUserPhoto(&empty);
  EXPECT_EQ(contact->GetAttachments().Count(), 0);
  EXPECT_EQ(PhotoOf(*contact), "");
  Attach(*contact, "a.txt", "aaa");
  SetPhoto(*contact, "photo");
  contact->SaveChanges(soAutoResolve);
  contact->SetUserPhoto(&empty);
  contact->SaveChanges(soAutoResolve);
  const auto fresh = Fresh(*contact);
  ASSERT_EQ(fresh->GetAttachments().Count(), 1);
  EXPECT_EQ(fresh->GetAttachments().GetAttachment(0)->GetName(), "a.txt");
  EXPECT_FALSE(fresh->GetHasPicture());
}

TEST_F(OldContacts, APictureThatTheServerCannotKeepLeavesNothingBehind) {
  const auto contact = NewContact();
  EXPECT_EQ(MessageOf<EVqException>([&] { SetPhoto(*contact, "photo"); }),
            "\"SetIsContactPhoto\" is not supported by Exchange2007_SP1. This feature requires Exchange Exchange2010!");
  EXPECT_EQ(contact->GetAttachments().Count(), 0);
}

}  // namespace
}  // namespace velmore::testing
