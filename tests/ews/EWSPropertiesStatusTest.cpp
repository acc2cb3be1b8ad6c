// How the two trees compare.

#include "EWSPropertyTestSupport.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"

namespace velmore {
namespace {

using test::ExtendedProperty;
using TMessage = test::TPropertyObject<TEwsMessage>;
using TContact = test::TPropertyObject<TEwsContactItem>;

TVqEWSDataUpdateStatus Compare(const std::string& AOld, const std::string& ANew, const TVqEWSPropDef& ADef) {
  TMessage message("<t:Message>" + AOld + "</t:Message>");
  message.Element().SetInnerXML(ANew);
  return message.Properties.Add(ADef).GetUpdateStatus();
}

constexpr const char* kTag = "PropertyTag=\"0x37\" PropertyType=\"String\"";

struct TCase {
  const char* Old;
  const char* New;
  TVqEWSDataUpdateStatus Expected;
};

TEST(UpdateStatus, OfASimpleMember) {
  for (const TCase& test : {
           TCase{"", "", dusUnmodified},
           TCase{"", "<t:Subject/>", dusUnmodified},
           TCase{"", "<t:Subject></t:Subject>", dusUnmodified},
           TCase{"", "<t:Subject> </t:Subject>", dusInserted},  // a child, if only a blank
           TCase{"", "<t:Subject>a</t:Subject>", dusInserted},
           TCase{"", "<t:Subject><t:X/></t:Subject>", dusUnmodified},  // nothing but what a getter made
           TCase{"", "<t:Subject><t:X><t:Y/><t:Z/></t:X></t:Subject>", dusUnmodified},
           TCase{"", "<t:Subject><t:X Y=\"\"/></t:Subject>", dusInserted},
           TCase{"", "<t:Subject><t:X><t:Y/><t:Z>a</t:Z></t:X></t:Subject>", dusInserted},
           TCase{"<t:Subject>a</t:Subject>", "", dusDeleted},
           TCase{"<t:Subject/>", "", dusDeleted},
           TCase{"<t:Subject>a</t:Subject>", "<t:Subject>a</t:Subject>", dusUnmodified},
           TCase{"<t:Subject>a</t:Subject>", "<t:Subject>b</t:Subject>", dusModified},
           TCase{"<t:Subject>a</t:Subject>", "<t:Subject/>", dusModified},  // emptied is not deleted; meant so
           TCase{"<t:Subject/>", "<t:Subject>a</t:Subject>", dusModified},
           TCase{"<t:Subject><t:X/></t:Subject>", "<t:Subject><t:Y/></t:Subject>", dusUnmodified},
           TCase{"<t:Subject><t:X/></t:Subject>", "<t:Subject><t:X/></t:Subject>", dusUnmodified},
           TCase{"<t:Subject><t:X>a</t:X></t:Subject>", "<t:Subject><t:W/><t:X>a</t:X><t:Y><t:Z/></t:Y></t:Subject>",
                 dusUnmodified},
           TCase{"<t:Subject><t:X>a</t:X></t:Subject>", "<t:Subject><t:X>a</t:X><t:Y>a</t:Y></t:Subject>", dusModified},
           TCase{"<t:Subject><t:X>a</t:X></t:Subject>", "<t:Subject><t:Y>a</t:Y></t:Subject>", dusModified},
           TCase{"<t:Subject><t:X>ab</t:X><t:X>c</t:X></t:Subject>", "<t:Subject><t:X>a</t:X><t:X>bc</t:X></t:Subject>",
                 dusModified},
           TCase{"<t:Subject><t:X Y=\"1\">a</t:X></t:Subject>", "<t:Subject><t:X Y=\"2\">a</t:X></t:Subject>",
                 dusModified},
           TCase{"<t:Subject><t:X>a</t:X></t:Subject>", "<t:Subject><t:X/></t:Subject>", dusModified},
           TCase{"<t:Subject><t:X>a</t:X></t:Subject>", "<t:Subject><t:X>b</t:X></t:Subject>", dusModified},
       })
    EXPECT_EQ(Compare(test.Old, test.New, PR_SUBJECT), test.Expected) << test.Old << " -> " << test.New;
}

// Texts are trimmed where a value comes or goes, and taken whole where two values are compared.
TEST(UpdateStatus, BlanksCountBetweenTwoValuesOfAMember) {
  EXPECT_EQ(Compare("<t:Subject>a</t:Subject>", "<t:Subject>a </t:Subject>", PR_SUBJECT), dusModified);
  EXPECT_EQ(Compare("<t:Subject>a</t:Subject>", "<t:Subject>\n a\t</t:Subject>", PR_SUBJECT), dusModified);
}

TEST(UpdateStatus, OfAnExtendedPropertyIsDecidedByTheTrimmedTexts) {
  const auto p = [](const char* value) { return ExtendedProperty(kTag, value); };
  EXPECT_EQ(Compare("", "", MPR_SUBJECT), dusUnmodified);
  EXPECT_EQ(Compare("", p(""), MPR_SUBJECT), dusUnmodified);
  EXPECT_EQ(Compare("", p("  "), MPR_SUBJECT), dusUnmodified);
  EXPECT_EQ(Compare("", p("a"), MPR_SUBJECT), dusInserted);
  EXPECT_EQ(Compare(p(""), p("a"), MPR_SUBJECT), dusInserted);
  EXPECT_EQ(Compare(p("a"), "", MPR_SUBJECT), dusDeleted);
  EXPECT_EQ(Compare(p("a"), p(""), MPR_SUBJECT), dusDeleted);  // emptied is deleted here, unlike a member
  EXPECT_EQ(Compare(p("a"), p(" \n"), MPR_SUBJECT), dusDeleted);
  EXPECT_EQ(Compare(p("a"), p("b"), MPR_SUBJECT), dusModified);
  EXPECT_EQ(Compare(p("a"), p(" a "), MPR_SUBJECT), dusUnmodified);
}

TEST(UpdateStatus, OfAPartIsDecidedLikeAnExtendedProperty) {
  const auto compare = [](const std::string& oldText, const std::string& newText) {
    const auto xml = [](const std::string& text) {
      return "<t:CompleteName><t:FirstName>" + text + "</t:FirstName></t:CompleteName>";
    };
    return Compare(xml(oldText), xml(newText), PR_COMPLETENAME_FIRSTNAME);
  };
  EXPECT_EQ(compare("Ann", "Ann "), dusUnmodified);
  EXPECT_EQ(compare("Ann", "Bea"), dusModified);
  EXPECT_EQ(compare("Ann", ""), dusDeleted);
  EXPECT_EQ(compare("", "Ann"), dusInserted);
}

TEST(UpdateStatus, OfWhatHasPartsIsAlwaysUnmodified) {
  EXPECT_EQ(Compare("", "<t:CompleteName><t:FirstName>Ann</t:FirstName></t:CompleteName>", PR_COMPLETENAME),
            dusUnmodified);
  EXPECT_EQ(
      Compare("<t:EmailAddresses><t:Entry Key=\"EmailAddress1\">a</t:Entry></t:EmailAddresses>", "", PR_EMAILADDRESSES),
      dusUnmodified);
}

TEST(UpdateStatus, OfADictionaryEntryFollowsItsEntry) {
  TContact contact("<t:Contact><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry></t:PhoneNumbers></t:Contact>");
  TVqEWSProperty& phone = contact.Properties.Add(PR_PHONENUMBER_HOMEPHONE);
  EXPECT_EQ(phone.GetUpdateStatus(), dusUnmodified);
  phone.SetAsString("2");
  EXPECT_EQ(phone.GetUpdateStatus(), dusModified);
  phone.SetAsString("");
  EXPECT_EQ(phone.GetUpdateStatus(), dusDeleted);
}

TEST(UpdateStatus, NamesAreFoundWithoutPrefixAndCase) {
  TMessage message("<Message xmlns=\"x\"><subject>a</subject></Message>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(subject.GetAsString(), "a");
  subject.SetAsString("b");
  EXPECT_EQ(subject.GetUpdateStatus(), dusModified);
  EXPECT_EQ(message.Element().ElementCount(), 1);
}

TEST(UpdateStatus, SettingTheValueBackIsNoChange) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  subject.SetAsString("b");
  EXPECT_EQ(subject.GetUpdateStatus(), dusModified);
  subject.SetAsString("a");
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);
}

TEST(UpdateStatus, ExplicitStatusesOverruleComparing) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  EXPECT_FALSE(subject.GetExplicitUpdateStatus());
  subject.SetDeleted(true);
  EXPECT_TRUE(subject.GetExplicitUpdateStatus());
  EXPECT_TRUE(subject.GetDeleted());
  EXPECT_FALSE(subject.GetModified());
  subject.SetInserted(true);
  EXPECT_TRUE(subject.GetInserted());
  EXPECT_FALSE(subject.GetDeleted());
  subject.SetModified(true);
  EXPECT_EQ(subject.GetUpdateStatus(), dusModified);
  subject.SetDeleted(false);  // any of the three goes back to comparing
  EXPECT_FALSE(subject.GetExplicitUpdateStatus());
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);

  subject.SetAsString("b");
  subject.SetUpdateStatus(dusUnmodified);
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);
  subject.SetExplicitUpdateStatus(false);
  EXPECT_EQ(subject.GetUpdateStatus(), dusModified);
}

TEST(UpdateStatus, ExplicitStatusesDoNotSurviveNewData) {
  TMessage message("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSProperty& subject = message.Properties.Add(PR_SUBJECT);
  subject.SetDeleted(true);
  message.Load("<t:Message><t:Subject>c</t:Subject></t:Message>");
  EXPECT_EQ(subject.GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(subject.GetAsString(), "c");
}

TEST(UpdateStatus, ComparingAsksNobodyAndChangesNothing) {
  TMessage message("<t:Message/>");
  message.Answer(nullptr);
  EXPECT_EQ(message.Properties.Add(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
  EXPECT_EQ(message.Properties.Add(EPR_COMMON_PRIVATE).GetUpdateStatus(), dusUnmodified);
  EXPECT_TRUE(message.Asked.empty());
  EXPECT_EQ(message.Element().ElementCount(), 0);
}

}  // namespace
}  // namespace velmore
