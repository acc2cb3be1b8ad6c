// Includes nothing else: what a search for a name gives comes with the interfaces.
#include "ews/model/uVqEWSInterfaces.h"

#include <gtest/gtest.h>

namespace velmore {
namespace {

TEST(Interfaces, BringTheResultsOfASearchForAName) {
  const IVqDOMElement element =
      VqCreateDOM(
          "<m:ResolutionSet IncludesLastItemInRange=\"true\"><t:Resolution><t:Mailbox>"
          "<t:EmailAddress>ann@example.com</t:EmailAddress></t:Mailbox></t:Resolution></m:ResolutionSet>")
          .GetDocumentElement();
  const TVqRef<IVqEWSResolutionSet> found = MakeRef<TVqEWSResolutionSet>(element);
  ASSERT_EQ(found->Count(), 1);
  const TVqRef<IVqEWSResolution> first = found->GetItem(0);
  EXPECT_EQ(first->GetRecipient().GetEmailAddress(), "ann@example.com");
  EXPECT_TRUE(found->IncludesLastItemInRange());
  EXPECT_EQ(VqEnumToText(scContacts), "Contacts");
}

}  // namespace
}  // namespace velmore
