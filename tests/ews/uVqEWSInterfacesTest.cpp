// Includes nothing else: what a search for a name gives comes with the interfaces.
#include "ews/model/uVqEWSInterfaces.h"

#include <gtest/gtest.h>

#include <set>
#include <unordered_set>
#include <vector>

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

TEST(ItemIds, AreKeys) {
  const TItemId first{"A", "1"}, newer{"A", "2"}, other{"B", "1"};
  std::unordered_set<TItemId> seen{first, newer, other, first};
  EXPECT_EQ(seen.size(), 3u) << "another version is another key";
  EXPECT_TRUE(seen.contains({"A", "2"}));
  EXPECT_EQ(std::hash<TItemId>()(first), std::hash<TItemId>()({"A", "1"}));

  const std::set<TItemId> sorted{other, newer, first, TItemId()};
  EXPECT_EQ(std::vector(sorted.begin(), sorted.end()), (std::vector<TItemId>{{}, first, newer, other}));
  EXPECT_LT(first, newer);
  EXPECT_LT(newer, other) << "the id comes first";
}

}  // namespace
}  // namespace velmore
