// Extended properties that the server spells otherwise than they were asked for, and those of several values.

#include "EWSPropertyTestSupport.h"
#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"

namespace velmore {
namespace {

using test::ExtendedProperty;
using test::MessageOf;
using TMessage = test::TPropertyObject<TEwsMessage>;

std::string Message(const std::string& AContent) {
  return "<t:Message>" + AContent + "</t:Message>";
}

TEST(Spelling, OfASetOrANumberDoesNotMatter) {
  for (const char* attributes : {
           "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34054\"",
           "PropertySetId=\"00062008-0000-0000-C000-000000000046\" PropertyId=\"34054\"",
           "PropertySetId=\"{00062008-0000-0000-C000-000000000046}\" PropertyId=\"34054\"",
           "PropertySetId=\"{00062008-0000-0000-c000-000000000046}\" PropertyId=\"0x8506\"",
           "PropertyId=\"0X8506\" PropertySetId=\"00062008-0000-0000-c000-000000000046\"",
           "DistinguishedPropertySetId=\"Common\" PropertyId=\"34054\"",
           "DistinguishedPropertySetId=\"common\" PropertyId=\"0x8506\" PropertyType=\"Boolean\"",
       }) {
    SCOPED_TRACE(attributes);
    TMessage message(Message(ExtendedProperty(attributes, "true")));
    EXPECT_TRUE(message.Properties.HasProperty(EPR_COMMON_PRIVATE));
    TVqEWSProperty& isPrivate = message.Properties.PropertyByName(EPR_COMMON_PRIVATE);
    EXPECT_TRUE(isPrivate.GetAsBoolean());
    EXPECT_EQ(isPrivate.GetUpdateStatus(), dusUnmodified);
    isPrivate.SetAsBoolean(false);
    EXPECT_EQ(isPrivate.GetUpdateStatus(), dusModified);
    EXPECT_EQ(message.Element().ElementCount(), 1);  // nothing was made beside it
    EXPECT_EQ(message.Properties.Count(), 1);        // and the list knows it
  }
}

TEST(Spelling, OfATagDoesNotMatter) {
  for (const char* tag : {"0x37", "0x0037", "0X0037", "55"}) {
    TMessage message(Message(ExtendedProperty("PropertyTag=\"" + std::string(tag) + "\"", "Hello")));
    EXPECT_EQ(message.Properties.PropertyByName(MPR_SUBJECT).GetAsString(), "Hello") << tag;
  }
}

TEST(Spelling, AnotherPropertyIsAnotherOne) {
  for (const char* attributes : {
           "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34055\"",
           "PropertySetId=\"00062008-0000-0000-c000-000000000047\" PropertyId=\"34054\"",
           "PropertySetId=\"not a set\" PropertyId=\"34054\"",
           "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"many\"",
           "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyName=\"34054\"",
           "DistinguishedPropertySetId=\"Task\" PropertyId=\"34054\"",
           "PropertyTag=\"0x8506\"",
           "",
       }) {
    TMessage message(Message(ExtendedProperty(attributes, "true")));
    EXPECT_FALSE(EwsFindExtendedProperty(message.Element(), EPR_COMMON_PRIVATE)) << attributes;
  }
}

TEST(Spelling, OfANameMatters) {
  const TVqEWSPropDef mark{.PropDefName = "EPR_TEST_MARK",
                           .Extended = true,
                           .PropType = ptString,
                           .PropertySetId = &PSETID_PublicStrings,
                           .PropKind = pkName,
                           .Name = "Mark"};
  const auto has = [&](const char* name) {
    TMessage message(Message(ExtendedProperty(
        "DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"" + std::string(name) + "\"", "x")));
    return static_cast<bool>(EwsFindExtendedProperty(message.Element(), mark));
  };
  EXPECT_TRUE(has("Mark"));
  EXPECT_FALSE(has("mark"));
}

TEST(Spelling, APropertyWithoutAValueGetsOne) {
  TMessage message(Message("<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x37\"/></t:ExtendedProperty>"));
  message.Properties.PropertyByName(MPR_SUBJECT).SetAsString("Hello");
  EXPECT_EQ(message.Element().GetInnerXML(), ExtendedProperty("PropertyTag=\"0x37\"", "Hello"));
}

// ---- Several values

constexpr const char* kCompanies =
    "PropertySetId=\"00062008-0000-0000-c000-000000000046\" PropertyId=\"34105\" PropertyType=\"StringArray\"";

std::string Companies(const std::string& AValues) {
  return "<t:ExtendedProperty><t:ExtendedFieldURI " + std::string(kCompanies) + "/><t:Values>" + AValues +
         "</t:Values></t:ExtendedProperty>";
}

TEST(SeveralValues, AreReadAndWritten) {
  TMessage message(Message(Companies("<t:Value>A &amp; B</t:Value><t:Value>C</t:Value>")));
  TVqEWSProperty& companies = message.Properties.PropertyByName(EPR_COMMON_COMPANIES);
  EXPECT_EQ(companies.GetAsStrings(), (std::vector<string>{"A & B", "C"}));
  EXPECT_EQ(companies.GetUpdateStatus(), dusUnmodified);
  companies.SetAsStrings({"A & B", "D"});
  EXPECT_EQ(message.Element().GetInnerXML(), Companies("<t:Value>A &amp; B</t:Value><t:Value>D</t:Value>"));
  EXPECT_EQ(companies.GetUpdateStatus(), dusModified);
  companies.SetAsStrings({});
  EXPECT_EQ(companies.GetAsStrings(), std::vector<string>());
  EXPECT_EQ(companies.GetUpdateStatus(), dusDeleted);
  companies.SetAsStrings({"A & BC"});  // the same letters in another division are another value
  EXPECT_EQ(companies.GetUpdateStatus(), dusModified);
}

TEST(SeveralValues, AreMadeWhereThereAreNone) {
  TMessage message(Message(""));
  TVqEWSProperty& companies = message.Properties.PropertyByName(EPR_COMMON_COMPANIES);
  EXPECT_EQ(companies.GetAsStrings(), std::vector<string>());
  EXPECT_EQ(companies.GetUpdateStatus(), dusUnmodified);
  companies.SetAsStrings({"A"});
  EXPECT_EQ(companies.GetUpdateStatus(), dusInserted);
  EXPECT_EQ(message.Element().GetInnerXML(), Companies("<t:Value>A</t:Value>"));
}

TEST(SeveralValues, TakeThePlaceOfTheOnlyOneThatAServerGave) {
  TMessage message(Message(ExtendedProperty(kCompanies, "A")));
  TVqEWSProperty& companies = message.Properties.PropertyByName(EPR_COMMON_COMPANIES);
  EXPECT_EQ(companies.GetAsStrings(), std::vector<string>{"A"});
  companies.SetAsStrings({"A", "B"});
  EXPECT_EQ(message.Element().GetInnerXML(), Companies("<t:Value>A</t:Value><t:Value>B</t:Value>"));
}

TEST(SeveralValues, AreForPropertiesOfAnArrayTypeAlone) {
  TMessage message(Message(""));
  EXPECT_EQ(MessageOf([&] { message.Properties.PropertyByName(EPR_COMMON_PRIVATE).SetAsStrings({"true"}); }),
            "The property \"" + GetNodePath(EPR_COMMON_PRIVATE).utf8() + "\" cannot be written as a list of strings!");
}

// ---- Refused values

TEST(RefusedValue, LeavesTheTreeAsItWas) {
  const std::function<void(TVqEWSProperties&)> setters[] = {
      [](TVqEWSProperties& p) { p.Add(MPR_SUBJECT).SetAsString(string(u"a\u0001")); },
      [](TVqEWSProperties& p) { p.Add(MPR_SUBJECT).SetAsDateTime(TDateTime(1e9)); },
      [](TVqEWSProperties& p) { p.Add(PR_SUBJECT).SetAsString(string(u"a\u0001")); },
      [](TVqEWSProperties& p) { p.Add(PR_REMINDERDUEBY).SetAsDateTime(TDateTime(1e9)); },
      [](TVqEWSProperties& p) {
        p.Add(EPR_COMMON_COMPANIES).SetAsStrings({"a", string(u"b\u0001")});
      },
      [](TVqEWSProperties& p) { p.Add(EPR_GLOBAL_OBJID).SetAsString("not hexadecimal"); },
      [](TVqEWSProperties& p) { p.Add(PR_BODY).SetAsString("x"); },
  };
  for (const auto& set : setters) {
    TMessage message(Message(""));
    EXPECT_ANY_THROW(set(message.Properties));
    EXPECT_EQ(message.Element().GetXML(), "<t:Message/>") << &set - setters;
  }
}

// ---- Members of the schema that are linked to a row of the extended kind

TEST(LinkedMember, StandsInTheTreeAsTheMemberThatItIs) {
  static constexpr TVqEWSMemberInfo members[] = {
      {"IsReminderSet", VqBooleanType, VqEWSField("PR_ISREMINDERSET")},
      {"SenderSMTPAddress", VqStringType, VqEWSField("PR_SENDERSMTPADDRESS")},
      {"MailboxGuids", {tkClass, "TEwsMessageType_MailboxGuids"}, VqEWSField("PR_MAILBOXGUIDS")},
      {"ExtendedProperty", {tkArray, "TEwsExtendedProperty"}, VqEWSField("PR_EXTENDEDPROPERTIES")},
  };
  static constinit const TVqEWSMemberTable table{"TTest", nullptr, members};
  const std::pair<const TVqEWSPropDef*, const char*> rows[] = {
      {&PR_ISREMINDERSET, "<t:IsReminderSet>false</t:IsReminderSet>"},
      {&PR_SENDERSMTPADDRESS, "<t:SenderSMTPAddress/>"},
      {&PR_MAILBOXGUIDS, "<t:MailboxGuids/>"}};
  for (const auto& [row, markup] : rows) {
    TMessage message(Message(""), table);
    EXPECT_EQ(message.Properties.PropertyByName(*row).GetURIType(), fdtExtendedField);
    message.Properties.PropertyByName(*row).GetAsString();
    EXPECT_EQ(message.Element().GetInnerXML(), markup);  // one element, however often it is read
    EXPECT_NO_THROW(message.Properties.Count());
  }
}

// ---- Deletions

TEST(Deletion, OfWhatDoesNotStandInTheTreeOutlivesTheListsRebuilding) {
  TMessage message(Message("<t:Subject>a</t:Subject><t:ItemClass>b</t:ItemClass>"));
  message.Properties.Add(MPR_SUBJECT).SetDeleted(true);
  ASSERT_EQ(message.Properties.Count(), 3);
  EXPECT_EQ(message.Properties.FindProperty(MPR_SUBJECT)->GetUpdateStatus(), dusDeleted);
  message.Element().AddElement("t:Importance").SetText("High");
  message.Properties.Follow();
  ASSERT_EQ(message.Properties.Count(), 4);
  EXPECT_EQ(message.Properties.FindProperty(MPR_SUBJECT)->GetUpdateStatus(), dusDeleted);
}

TEST(Deletion, IsOverWithTheNextLoadAndTheTreeTellsWhetherThePropertyIsThere) {
  TMessage message(Message(ExtendedProperty("PropertyTag=\"0x37\"", "Hello")));
  message.Properties.PropertyByName(MPR_SUBJECT).SetDeleted(true);
  EXPECT_TRUE(message.Properties.HasProperty(MPR_SUBJECT));
  message.Load(Message(""));
  EXPECT_FALSE(message.Properties.HasProperty(MPR_SUBJECT));
  message.Load(Message(ExtendedProperty("PropertyTag=\"0x37\"", "Hello")));
  EXPECT_TRUE(message.Properties.HasProperty(MPR_SUBJECT));
}

TEST(Deletion, IsTakenBackByAValue) {
  TMessage message(Message("<t:Subject>a</t:Subject>"));
  TVqEWSProperty& subject = message.Properties.PropertyByName(PR_SUBJECT);
  subject.SetDeleted(true);
  EXPECT_EQ(subject.GetUpdateStatus(), dusDeleted);
  subject.SetAsString("a");  // the very same
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);
  subject.SetDeleted(true);
  message.New->SetSubject("b");  // past the property
  EXPECT_EQ(subject.GetUpdateStatus(), dusModified);
}

// ---- The list follows the tree

TEST(List, OfAsManyEntriesAsElementsMissesNoneInASave) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  message.Properties.Add(PR_IMPORTANCE);  // as an earlier load had it
  message.Properties.Follow();
  ASSERT_EQ(message.Properties.Count(), 1);
  TVqEWSProperty& subject = message.Properties.GetItem(0);
  EXPECT_EQ(subject.GetName(), "PR_SUBJECT");
  message.Properties.Follow();
  EXPECT_EQ(&message.Properties.GetItem(0), &subject);  // nothing to do
}

TEST(List, OfAKindThatARecordDoesNotKnowReadsAsText) {
  TMessage message(
      Message("<t:Start>2026-03-02T10:00:00Z</t:Start><t:SearchParameters><t:A>b</t:A></t:SearchParameters>"));
  std::string texts;
  for (std::int32_t i = 0; i < message.Properties.Count(); ++i)
    texts += message.Properties.GetItem(i).GetAsString().utf8() + ";";
  EXPECT_EQ(texts, "2026-03-02T10:00:00Z;<t:SearchParameters><t:A>b</t:A></t:SearchParameters>;");
  message.Properties.PropertyByName(PR_START).SetAsString("2026-03-02T11:00:00Z");
  EXPECT_EQ(message.Properties.PropertyByName(PR_START).GetAsString(), "2026-03-02T11:00:00Z");
}

}  // namespace
}  // namespace velmore
