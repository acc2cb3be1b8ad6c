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

// ---- Walking over what differs

/// "PR_SUBJECT 1" for each property that is not unmodified, in order; the text of the exception, if one is raised.
template <typename TObject>
std::vector<std::string> ChangesOf(TObject& AObject) {
  std::vector<std::string> changes;
  const std::string raised = test::MessageOf([&] {
    AObject.Properties.ForEachChange([&](TVqEWSProperty& property) {
      if (const TVqEWSDataUpdateStatus status = property.GetUpdateStatus(); status != dusUnmodified)
        changes.push_back(property.GetName().utf8() + " " + std::to_string(status));
    });
  });
  changes.push_back(raised);
  return changes;
}

template <typename TObject>
void ExpectSameChanges(const std::string& AElement, const std::string& AOld, const std::string& ANew) {
  const auto make = [&] {
    auto object = std::make_unique<TObject>("<t:" + AElement + ">" + AOld + "</t:" + AElement + ">");
    object->Element().SetInnerXML(ANew);
    return object;
  };
  const auto asked = make(), untouched = make();
  asked->Properties.Add(PR_ITEMCLASS);  // a list with an entry is followed as a whole
  EXPECT_EQ(ChangesOf(*untouched), ChangesOf(*asked)) << AOld << " -> " << ANew;
  EXPECT_EQ(untouched->Properties.FindProperty(PR_SUBJECT), nullptr) << "nothing is kept";
}

TEST(ForEachChange, TellsWhatTheWholeListTells) {
  const std::string a = "<t:Subject>a</t:Subject>", b = "<t:Subject>b</t:Subject>";
  const std::string high = "<t:Importance>High</t:Importance>", low = "<t:Importance>Low</t:Importance>";
  const std::string text = "<t:Body BodyType=\"Text\">x</t:Body>", html = "<t:Body BodyType=\"HTML\">x</t:Body>";
  const std::string one = ExtendedProperty(kTag, "1"), two = ExtendedProperty(kTag, "2");
  const std::string other = ExtendedProperty("PropertyTag=\"0x1000\" PropertyType=\"String\"", "2");
  const std::string unknown = ExtendedProperty("PropertyTag=\"0xFEDC\" PropertyType=\"String\"", "2");
  const std::string parts[] = {"", a, b, high, low, text, html, one, two, other, unknown, "<t:Novelty>1</t:Novelty>"};
  for (const std::string& first : parts) {
    for (const std::string& second : parts) {
      for (const std::string& now : parts) {
        ExpectSameChanges<TMessage>("Message", first + second, now);
        ExpectSameChanges<TMessage>("Message", first + second, first + now);
        ExpectSameChanges<TMessage>("Message", first + second, now + second);
        ExpectSameChanges<TMessage>("Message", second, now + first);
      }
    }
  }
}

TEST(ForEachChange, TellsThePartsOfDictionaries) {
  const auto phones = [](const std::string& home, const std::string& fax) {
    return "<t:PhoneNumbers><t:Entry Key=\"HomePhone\">" + home + "</t:Entry><t:Entry Key=\"HomeFax\">" + fax +
           "</t:Entry></t:PhoneNumbers>";
  };
  for (const std::string& old : {std::string(), phones("1", "2"), phones("", "2")}) {
    for (const std::string& now : {std::string(), phones("1", "2"), phones("1", "3"), phones("", "")})
      ExpectSameChanges<TContact>("Contact", "<t:GivenName>a</t:GivenName>" + old,
                                  "<t:GivenName>a</t:GivenName>" + now);
  }
}

TEST(ForEachChange, MakesNoPropertyOfWhatIsTheSame) {
  TMessage message("<t:Message><t:Subject>a</t:Subject><t:Importance>High</t:Importance></t:Message>");
  EXPECT_EQ(ChangesOf(message), std::vector<std::string>{"(nothing raised)"});
  EXPECT_EQ(message.TableReads, 0);
  message.Element().SetInnerXML("<t:Subject>b</t:Subject><t:Importance>High</t:Importance>");
  EXPECT_EQ(ChangesOf(message), (std::vector<std::string>{"PR_SUBJECT 1", "(nothing raised)"}));
  EXPECT_EQ(message.TableReads, 2);
}

}  // namespace
}  // namespace velmore
