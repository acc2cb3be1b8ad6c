// How the list is rebuilt from the object's elements.

#include "EWSPropertyTestSupport.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"

namespace velmore {
namespace {

using test::ExtendedProperty;
using test::MessageOf;
using TMessage = test::TPropertyObject<TEwsMessage>;
using TContact = test::TPropertyObject<TEwsContactItem>;

std::vector<std::string> Names(TVqEWSProperties& AList) {
  std::vector<std::string> names;
  for (std::int32_t i = 0; i < AList.Count(); ++i) names.push_back(AList.GetItem(i).GetName().utf8());
  return names;
}

TEST(PropertyCount, MakesAnEntryForEachElement) {
  TMessage message("<t:Message><t:ItemId Id=\"i\"/><t:Subject>a</t:Subject><t:IsRead>true</t:IsRead></t:Message>");
  EXPECT_EQ(message.Properties.Count(), 3);
  EXPECT_EQ(Names(message.Properties), (std::vector<std::string>{"PR_ITEMID", "PR_SUBJECT", "PR_ISREAD"}));
}

TEST(PropertyCount, LeavesOutElementsWithoutADefinition) {
  TMessage message("<t:Message><t:Subject>a</t:Subject><t:FromANewerServer/></t:Message>");
  EXPECT_EQ(message.Properties.Count(), 1);
}

TEST(PropertyCount, FindsTheRowsOfExtendedProperties) {
  TMessage message(
      "<t:Message>" + ExtendedProperty("PropertyTag=\"0x1000\" PropertyType=\"String\"", "b") +
      ExtendedProperty(
          "PropertySetId=\"00062008-0000-0000-C000-000000000046\" PropertyId=\"34054\" PropertyType=\"Boolean\"",
          "true") +
      ExtendedProperty("PropertySetId=\"41F28F13-83F4-4114-A584-EEDB5A6B0BFF\" PropertyName=\"OriginalScl\" "
                       "PropertyType=\"Integer\"",
                       "1") +
      "</t:Message>");
  EXPECT_EQ(Names(message.Properties),
            (std::vector<std::string>{"MPR_BODY", "EPR_COMMON_PRIVATE", "EPR_NAMEORIGINALSPAMCONFIDENCELEVEL"}));
  EXPECT_EQ(message.Properties.PropertyByName(MPR_BODY).GetAsString(), "b");
}

TEST(PropertyCount, RaisesForAnExtendedPropertyWithoutARow) {
  TMessage unknown("<t:Message>" + ExtendedProperty("PropertyTag=\"0x6FEF\" PropertyType=\"String\"", "b") +
                   "</t:Message>");
  EXPECT_EQ(MessageOf([&] { unknown.Properties.Count(); }), "There is no property definition \"\"!");
  TMessage broken("<t:Message><t:ExtendedProperty/></t:Message>");
  EXPECT_THROW(broken.Properties.Count(), EVqException);
}

TEST(PropertyCount, GivesADictionaryAllItsEntriesAndAComplexMemberNone) {
  TContact contact(
      "<t:Contact><t:CompleteName><t:FirstName>A</t:FirstName></t:CompleteName>"
      "<t:EmailAddresses><t:Entry Key=\"EmailAddress2\">x</t:Entry></t:EmailAddresses></t:Contact>");
  EXPECT_EQ(Names(contact.Properties),
            (std::vector<std::string>{"PR_COMPLETENAME", "PR_EMAILADDRESSES", "PR_EMAILADDRESS1", "PR_EMAILADDRESS2",
                                      "PR_EMAILADDRESS3"}));
  EXPECT_TRUE(contact.Properties.GetItem("CompleteName").GetExplicitUpdateStatus());
  EXPECT_EQ(contact.Properties.GetItem("CompleteName").GetUpdateStatus(), dusUnmodified);
  EXPECT_TRUE(contact.Properties.GetItem("EmailAddresses").GetExplicitUpdateStatus());
  EXPECT_FALSE(contact.Properties.FindProperty(PR_EMAILADDRESS1)->GetExplicitUpdateStatus());
}

// One entry for each element is taken for an up-to-date list, whatever the entries are.
TEST(PropertyCount, ComparesNumbersOnly) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& body = message.Properties.Add(MPR_BODY);
  EXPECT_EQ(message.Properties.Count(), 1);
  EXPECT_EQ(&message.Properties.GetItem(0), &body);
}

TEST(PropertyCount, KeepsThePropertiesWhileTheNumbersAgree) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  message.Properties.Count();
  TVqEWSProperty& subject = message.Properties.GetItem(0);
  subject.SetAsString("b");
  EXPECT_EQ(message.Properties.Count(), 1);
  EXPECT_EQ(&message.Properties.GetItem(0), &subject);
}

TEST(PropertyCount, RebuildingMakesNewObjectsAndDiscardsTheOldOnes) {
  TMessage message("<t:Message><t:Subject>a</t:Subject><t:Size>1</t:Size></t:Message>");
  TVqEWSProperty& subject = message.Properties.PropertyByName(PR_SUBJECT);
  EXPECT_EQ(message.Properties.Count(), 2);
  EXPECT_NE(message.Properties.FindProperty(PR_SUBJECT), &subject);
  EXPECT_EQ(MessageOf([&] { subject.GetAsString(); }),
            "The property \"PR_SUBJECT\" was discarded when its list was rebuilt!");
  EXPECT_THROW(subject.SetAsString("x"), EVqException);
  EXPECT_THROW(subject.GetUpdateStatus(), EVqException);
  EXPECT_THROW(subject.SetDeleted(true), EVqException);
  EXPECT_THROW(subject.GetTypeInfo(), EVqException);
  EXPECT_EQ(subject.GetName(), "PR_SUBJECT");
}

// A contact with phone numbers has more entries than elements, so that each Count rebuilds.
TEST(PropertyCount, RebuildsEachTimeWhenTheNumbersCannotAgree) {
  TContact contact(
      "<t:Contact><t:Subject>a</t:Subject><t:PhoneNumbers><t:Entry "
      "Key=\"Pager\">1</t:Entry></t:PhoneNumbers></t:Contact>");
  EXPECT_EQ(contact.Properties.Count(), 25);
  TVqEWSProperty& subject = contact.Properties.GetItem(0);
  EXPECT_EQ(contact.Properties.Count(), 25);
  EXPECT_NE(&contact.Properties.GetItem(0), &subject);
  EXPECT_THROW(subject.GetAsString(), EVqException);
  EXPECT_EQ(contact.Properties.GetItem(0).GetAsString(), "a");
}

TEST(PropertyCount, KeepsExplicitStatusesByPath) {
  TContact contact(
      "<t:Contact><t:Subject>a</t:Subject><t:PhoneNumbers><t:Entry "
      "Key=\"Pager\">1</t:Entry></t:PhoneNumbers></t:Contact>");
  contact.Properties.PropertyByName(PR_SUBJECT).SetDeleted(true);
  contact.Properties.PropertyByName(PR_PHONENUMBER_PAGER).SetUpdateStatus(dusInserted);
  contact.Properties.PropertyByName(PR_PHONENUMBERS).SetDeleted(true);  // but what has parts is set back
  for (int i = 0; i < 3; ++i) {
    contact.Properties.Count();
    EXPECT_EQ(contact.Properties.FindProperty(PR_SUBJECT)->GetUpdateStatus(), dusDeleted);
    EXPECT_EQ(contact.Properties.FindProperty(PR_PHONENUMBER_PAGER)->GetUpdateStatus(), dusInserted);
    EXPECT_EQ(contact.Properties.FindProperty(PR_PHONENUMBERS)->GetUpdateStatus(), dusUnmodified);
    EXPECT_TRUE(contact.Properties.FindProperty(PR_PHONENUMBERS)->GetExplicitUpdateStatus());
  }
}

TEST(PropertyCount, AnAnswerThatCannotBeListedLeavesTheListAsItWas) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& subject = message.Properties.PropertyByName(PR_SUBJECT);
  subject.SetDeleted(true);
  message.Element().AddElement("t:ExtendedProperty");
  EXPECT_THROW(message.Properties.Count(), EVqException);
  EXPECT_TRUE(subject.GetDeleted());
}

TEST(PropertyCount, FollowsTheTree) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  EXPECT_EQ(message.Properties.Count(), 1);
  message.Element().AddElement("t:Size").SetText("1");
  EXPECT_EQ(Names(message.Properties), (std::vector<std::string>{"PR_SUBJECT", "PR_SIZE"}));
  EXPECT_EQ(message.Properties.GetItem(1).GetUpdateStatus(), dusInserted);
  message.Load("<t:Message><t:Importance>High</t:Importance></t:Message>");
  EXPECT_EQ(Names(message.Properties), std::vector<std::string>{"PR_IMPORTANCE"});
}

TEST(PropertyCount, AReferenceAcrossARebuildStaysHarmlessToTheEnd) {
  TContact contact("<t:Contact><t:PhoneNumbers/></t:Contact>");
  std::vector<TVqEWSProperty*> held;
  for (int i = 0; i < 5; ++i) {
    contact.Properties.Count();
    held.push_back(&contact.Properties.GetItem(0));
  }
  for (std::size_t i = 0; i + 1 < held.size(); ++i) EXPECT_THROW(held[i]->GetAsString(), EVqException);
  EXPECT_NO_THROW(held.back()->GetAsString());
}

// Each turn of the loop calls Count, which rebuilds in name. If it did in fact, the properties made would grow with the
// square.
TEST(PropertyCount, GoingThroughAllPropertiesIsLinear) {
  for (const int elements : {100, 400}) {
    std::string xml = "<t:Contact><t:PhoneNumbers/>";
    int written = 0;
    ForEachPropDef([&](const TVqEWSPropDef& row) {
      xml += "<t:" + std::string(row.NodeName.view()) + ">v</t:" + std::string(row.NodeName.view()) + ">";
      return ++written < elements;
    });
    TContact contact(xml + "</t:Contact>");
    ASSERT_EQ(contact.Properties.Count(), elements + 24);
    const int before = contact.TableReads;
    int seen = 0;
    for (std::int32_t i = 0; i < contact.Properties.Count(); ++i)
      seen += contact.Properties.GetItem(i).GetUpdateStatus() == dusUnmodified;
    EXPECT_EQ(seen, elements + 24);
    EXPECT_EQ(contact.TableReads - before, 2 * (elements + 24)) << "one new object for each that was used";
  }
}

}  // namespace
}  // namespace velmore
