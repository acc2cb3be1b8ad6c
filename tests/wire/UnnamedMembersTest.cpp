// Members of messages that the schema has, and that it has no name to ask for: what a server gives with the item is
// read, and what it does not give is empty, on servers of every kind.

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

struct TServerKind {
  const char* Name;
  bool Refusing;  // takes the schema's form alone
  bool Strict;    // and gets it from the start
};

class UnnamedMembers : public SaveTest, public ::testing::WithParamInterface<TServerKind> {
 protected:
  UnnamedMembers() : SaveTest(OptionsOf(GetParam())) { Session().SetStrictSchema(GetParam().Strict); }

  static simulator::Options OptionsOf(const TServerKind& kind) {
    simulator::Options options = TwoUsers();
    options.accept_departures = !kind.Refusing;
    return options;
  }
};

TEST_P(UnnamedMembers, AreEmptyWhereTheServerDoesNotGiveThem) {
  const auto mail = Mail(AddMessage("Hello"));
  EXPECT_EQ(mail->GetSenderSMTPAddress(), "");
  EXPECT_EQ(mail->GetMailboxGuids().GetMailboxGuid().Count(), 0);
  mail->SetSubject("Changed");
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Changed</t:Subject>"));
}

TEST_P(UnnamedMembers, AreReadWhereItGivesThem) {
  const TItemId id = AddMessage("Hello");
  Store().GetItem(id);
  std::string body = LastExchange("GetItem").response_body;
  body.insert(body.find("</t:Message>"),
              "<t:SenderSMTPAddress>bob@example.com</t:SenderSMTPAddress><t:MailboxGuids><t:MailboxGuid>"
              "00062008-0000-0000-c000-000000000046</t:MailboxGuid></t:MailboxGuids>");
  AnswerNext("GetItem", body, 1);
  const auto mail = Mail(id);
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(mail->GetSenderSMTPAddress(), "bob@example.com");
              EXPECT_EQ(mail->GetMailboxGuids().GetMailboxGuid().Count(), 1);
            }),
            Names{});
}

INSTANTIATE_TEST_SUITE_P(Servers, UnnamedMembers,
                         ::testing::Values(TServerKind{"Accepting", false, false}, TServerKind{"Healed", true, false},
                                           TServerKind{"Strict", true, true}),
                         [](const auto& kind) { return kind.param.Name; });

}  // namespace
}  // namespace velmore::testing
