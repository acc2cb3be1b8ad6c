// Operations on many with lean round trips: nothing is read that nobody asked for, and what is written is the same.

#include "ews/model/uVqEWSTimeZones.h"
#include "ews/session/uVqEWS.h"
#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using TItems = std::vector<TVqRef<IVqEWSItem>>;

class BulkLean : public BulkTest {
 protected:
  BulkLean() {
    Store();
    Session().SetLeanRoundTrips(true);
  }
  /// Messages that were saved, and of which only that is known.
  TItems Saved(std::size_t count, bool read) {
    TItems items;
    for (const TItemId& id : AddMessages(count)) {
      const auto mail = Mail(id);
      mail->SetSubject("Saved");
      if (read) mail->SetIsRead(true);
      mail->SaveChanges(soAutoResolve);
      items.push_back(mail);
    }
    return items;
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkLean, kBothForms, NameOfForm);

TEST_P(BulkLean, ItemsThatWereSavedAreMarkedWithoutALoad) {
  for (const bool known : {true, false}) {
    const TItems items = Saved(2, known);
    auto bulk = Bulk();
    Forget();
    const auto results = bulk.MarkAsRead(items, false);
    EXPECT_EQ(Operations(), Names{"UpdateItem"});
    EXPECT_EQ(items[0]->GetID(), results[0].Value());
    for (const auto& item : items) {
      EXPECT_FALSE(Supports<IVqEWSEMail>(item)->GetIsRead());
      EXPECT_FALSE(Again(*item)->GetIsRead());
      EXPECT_EQ(item->GetSubject(), "Saved");
    }
    Forget();
    items[0]->SaveChanges(soNeverOverwrite);
    // Nothing has changed, for which the schema has no form.
    if (IsStrict()) {
      EXPECT_EQ(Operations(), Names{});
    } else {
      EXPECT_EQ(Updates(), "");
    }
  }
}

TEST_P(BulkLean, WhatIsWrittenBeforeAMarkStays) {
  const TItems items = Saved(1, true);
  const auto mail = Supports<IVqEWSEMail>(items[0]);
  mail->SetIsRead(false);
  EXPECT_TRUE(Bulk().MarkAsRead(items, true)[0]);
  EXPECT_FALSE(mail->GetIsRead());
  mail->SaveChanges(soAutoResolve);
  EXPECT_FALSE(Again(*mail)->GetIsRead());
}

TEST_P(BulkLean, ItemsThatWereSavedAreSavedAgain) {
  const TItems items = Saved(3, false);
  items[0]->SetSubject("Other");
  items[1]->SetBodyText("Text");
  auto bulk = Bulk();
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), 3u);
  EXPECT_EQ(Again(*items[0])->GetSubject(), "Other");
  EXPECT_EQ(Again(*items[1])->GetBodyText(), "Text");
  EXPECT_EQ(Again(*items[2])->GetSubject(), "Saved");
  Forget();
  EXPECT_EQ(items[0]->GetSubject(), "Other");
  EXPECT_EQ(items[1]->GetBodyText(), "Text");
  EXPECT_EQ(Operations(), Names{}) << "they were read back";
}

TEST_P(BulkLean, DraftsThatWereSavedAreSent) {
  TItems items;
  for (int i = 0; i < 2; ++i) {
    const auto mail = NewMail();
    mail->SetSubject("Saved");
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SaveChanges(soAutoResolve);
    items.push_back(mail);
  }
  items[1]->SetSubject("Written");
  EXPECT_EQ(CountOf(Bulk().SendItems(items, true)), 2u);
  EXPECT_EQ(Folder(dfindrafts)->GetTotalCount(), 0);
  EXPECT_EQ(Folder(dfinsentitems)->GetTotalCount(), 2);
  EXPECT_EQ(CodesOf(Bulk().SendItems(items, true)), (Names(2, "The message has already been submitted!")));
}

TEST_P(BulkLean, AppointmentsGoOutInAZoneThatTheServerKnows) {
  for (const int connections : {1, 2}) {
    TVqEWSServiceSession session;
    Configure(session);
    session.SetLeanRoundTrips(true);
    session.SetStrictSchema(IsStrict());
    session.SetCurrentTimeZoneContext("No such zone");
    session.SetActive(true);
    const auto store = session.OpenDefaultMsgStore();
    const auto calendar = store->GetFolder(dfincalendar, "");
    TItems items;
    for (int i = 0; i < 4; ++i) {
      const auto appointment = Supports<IVqEWSCalendarItem>(calendar->CreateItem(tCalendarItem));
      appointment->SetStartDateTime(TDateTime(46000));
      appointment->SetEndDateTime(TDateTime(46000.5));
      items.push_back(appointment);
    }
    AnswerNext("GetServerTimeZones",
               ReplyOf("GetServerTimeZones", "<m:TimeZoneDefinitions><t:TimeZoneDefinition Id=\"UTC\" Name=\"" +
                                                 EwsMachineOffsetText().utf8() + " Here\"/></m:TimeZoneDefinitions>"));
    TVqEWSBulk bulk(store);
    bulk.SetConnections(connections);
    bulk.SetRequestSize(2);
    EXPECT_EQ(CountOf(bulk.SaveItems(items)), 4u);
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation != "CreateItem") continue;
      EXPECT_EQ(exchange.request_body.find("No such zone"), std::string::npos) << connections;
    }
  }
}

}  // namespace
}  // namespace velmore::testing
