// The selection paths of extended properties, to the letter.

#include <gtest/gtest.h>

#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"

namespace velmore {
namespace {

TEST(AnswerPaths, OfATagEndInTwoBrackets) {
  EXPECT_EQ(EwsAnswerPath(MPR_SENSITIVITY), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x36\")]]");
  EXPECT_EQ(EwsAnswerPath(MPR_BODY), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x1000\")]]");
  EXPECT_EQ(EwsAnswerPath(MPR_MESSAGE_FLAGS), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x0E07\")]]");
}

TEST(AnswerPaths, TagsOfOneByteHaveTwoDigits) {
  const auto path = [](std::uint16_t tag) {
    return EwsAnswerPath(TVqEWSPropDef{.PropDefName = EWSShortName("TEST"), .Extended = true, .PropertyTag = tag});
  };
  EXPECT_EQ(path(0x0A), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x0A\")]]");
  EXPECT_EQ(path(0xFF), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0xFF\")]]");
  EXPECT_EQ(path(0x100), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x0100\")]]");
  EXPECT_EQ(path(0xFFFE), "ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0xFFFE\")]]");
}

TEST(AnswerPaths, OfANamedPropertyHaveItsSetAndItsNumberOrName) {
  EXPECT_EQ(EwsAnswerPath(EPR_COMMON_PRIVATE),
            "ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"00062008-0000-0000-c000-000000000046\") and "
            "(@PropertyId=\"34054\")]");
  TVqEWSPropDef named{.PropDefName = EWSShortName("TEST"),
                      .Extended = true,
                      .DistinguishedPropertySetId = EWSShortName("PublicStrings"),
                      .PropKind = pkName,
                      .Name = EWSShortName("Colour")};
  EXPECT_EQ(EwsAnswerPath(named),
            "ExtendedProperty/ExtendedFieldURI[(@DistinguishedPropertySetId=\"PublicStrings\") and "
            "(@PropertyName=\"Colour\")]");
  named.PropertySetId = &PSETID_Task;  // the name of the set wins over its id
  EXPECT_NE(EwsAnswerPath(named).Pos(u"DistinguishedPropertySetId=\"PublicStrings\""), string::npos);
}

TEST(AnswerPaths, OfWellKnownSetsNameTheSet) {
  const auto replaced = [](const TGUID& set) {
    return EwsWellKnownSetPath("ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"" + PropSetIDToString(set) +
                                   "\") and (@PropertyId=\"1\")]",
                               set);
  };
  const auto named = [](const char* name) {
    return string("ExtendedProperty/ExtendedFieldURI[(@DistinguishedPropertySetId=\"") + name +
           "\") and (@PropertyId=\"1\")]";
  };
  EXPECT_EQ(replaced(PSETID_Common), named("Common"));
  EXPECT_EQ(replaced(PSETID_PostRss), named("PostRSS"));
  EXPECT_EQ(replaced(PSETID_Messaging), named("Message"));
  EXPECT_EQ(replaced(TGUID{}), "");  // no name: nothing to look for
}

}  // namespace
}  // namespace velmore
