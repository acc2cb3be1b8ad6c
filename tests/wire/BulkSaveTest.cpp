// Many items saved and sent at once.

#include "ews/items/uVqEWSContact.h"
#include "ews/items/uVqEWSSmartResponse.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using Sizes = std::vector<std::int32_t>;
using TItems = std::vector<TVqRef<IVqEWSItem>>;

class BulkSave : public BulkTest {
 protected:
  TItems Loaded(const std::vector<TItemId>& ids) {
    TItems items;
    for (const auto& result : Bulk().GetItems(ids)) items.push_back(result.Value());
    return items;
  }
  TItems NewMails(int count) {
    const auto drafts = Folder(dfindrafts);
    TItems items;
    for (int i = 0; i < count; ++i) {
      items.push_back(drafts->CreateItem(tMessage));
      items.back()->SetSubject("New " + std::to_string(i));
      Supports<IVqEWSEMail>(items.back())->GetToRecipients()->Add("bob@example.com");
    }
    return items;
  }
  Sizes SizesOfUpdate() { return SizesOf("UpdateItem", "ItemChanges/ItemChange"); }
  Sizes SizesOfCreate() { return SizesOf("CreateItem", "Items/*"); }
  std::size_t CountIn(TDistinguishedFolderIdName name) {
    return static_cast<std::size_t>(Folder(name)->GetTotalCount());
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkSave, kBothForms, NameOfForm);

// ---- Updates

TEST_P(BulkSave, ChangesOfManyGoOutInOneRequestAndComeBackInOne) {
  const auto ids = AddMessages(5);
  TItems items = Loaded(ids);
  items[0]->SetSubject("Changed");
  items[1]->GetCategories().Add("Red");
  items[2]->SetBodyText("New body");
  items[3]->SetImportance(icHigh);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.SaveItems(items);
  EXPECT_EQ(Operations(), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(SizesOfUpdate(), Sizes{4});  // the fifth has no changes
  EXPECT_EQ(SizesOfGetItem(), Sizes{5});
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(results[i].Value(), items[i]->GetID());
    EXPECT_EQ(results[i].Value().Id, ids[i].Id);
    EXPECT_EQ(results[i].Value().ChangeKey != ids[i].ChangeKey, i != 4);
    EXPECT_EQ(items[i]->AsElement().GetXMLAsUtf8(), Store().GetItem(ids[i])->AsElement().GetXMLAsUtf8());
  }
  EXPECT_EQ(items[0]->GetSubject(), "Changed");
  EXPECT_EQ(items[1]->GetCategories().AsString(";"), "Red");
  EXPECT_EQ(items[2]->GetBodyText(), "New body");
  EXPECT_EQ(items[3]->GetImportance(), icHigh);
  Forget();
  bulk.SaveItems(items);
  EXPECT_EQ(Operations(), Names{"GetItem"});
}

TEST_P(BulkSave, EachItemsChangesAreThoseThatItAloneWouldSend) {
  const auto ids = AddMessages(2);
  TItems items = Loaded(ids);
  const auto change = [](IVqEWSItem& item) {
    item.SetSubject("Changed");
    item.GetCategories().Add("Red");
    item.PropertyByName(EPR_BILLING).SetAsString("4711");
    item.SetBodyText("<p>Text</p>");
  };
  for (const auto& item : items) change(*item);
  Bulk().SaveItems(items);
  const auto many =
      VqCreateDOM(LastExchange("UpdateItem").request_body).CreateElementList("//ItemChange", kSelectQuiet);
  ASSERT_EQ(many.Count(), 2);
  const auto other = Store().GetItem(AddMessage("Message 0"));
  change(*other);
  other->SaveChanges(soAutoResolve);
  EXPECT_EQ(many.GetItem(0).SelectSingleElement("Updates", kSelectRequired).GetInnerXML().utf8(), Updates());
  EXPECT_EQ(many.GetItem(1).SelectSingleElement("Updates", kSelectRequired).GetInnerXML().utf8(), Updates());
}

TEST_P(BulkSave, ARefusedOneKeepsItsChanges) {
  const auto ids = AddMessages(3);
  TItems items = Loaded(ids);
  RemoveFromServer(ids[1]);
  for (const auto& item : items) item->SetSubject("Changed");
  const auto results = Bulk().SaveItems(items);
  EXPECT_EQ(CodesOf(results), (Names{"", "ErrorItemNotFound", ""}));
  EXPECT_EQ(items[1]->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusModified);
  EXPECT_EQ(items[2]->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
}

TEST_P(BulkSave, AConflictIsTheOptionsAffair) {
  const auto ids = AddMessages(2);
  TItems items = Loaded(ids);
  const auto theirs = Store().GetItem(ids[0]);
  theirs->SetSubject("Theirs");
  theirs->SaveChanges(soAutoResolve);
  for (const auto& item : items) item->SetSubject("Mine");
  auto bulk = Bulk();
  EXPECT_EQ(CodesOf(bulk.SaveItems(items)), (Names{"ErrorIrresolvableConflict", ""}));
  EXPECT_EQ(CodesOf(bulk.SaveItems(items, soAlwaysOverwrite)), (Names{"", ""}));
  EXPECT_EQ(Again(*items[0])->GetSubject(), "Mine");
}

TEST_P(BulkSave, HeldRecordsAndListsAreOfTheFormerLoad) {
  const auto ids = AddMessages(2);
  TItems items = Loaded(ids);
  const auto mail = Supports<IVqEWSEMail>(items[0]);
  const auto recipients = mail->GetToRecipients();
  TVqEWSStrings& categories = mail->GetCategories();
  categories.Add("Red");
  Bulk().SaveItems(items);
  EXPECT_NE(mail->GetToRecipients(), recipients);
  EXPECT_THROW(categories.Add("Blue"), EVqException);
}

// ---- Creations

TEST_P(BulkSave, NewItemsAreMadeInOneRequest) {
  TItems items = NewMails(3);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.SaveItems(items);
  EXPECT_EQ(Operations(), (Names{"CreateItem", "GetItem"}));
  EXPECT_EQ(SizesOfCreate(), Sizes{3});
  EXPECT_EQ(Attribute("CreateItem", "", "MessageDisposition"), "SaveOnly");
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(items[i]->GetID(), results[i].Value());
    EXPECT_FALSE(items[i]->GetIsNewItem());
    EXPECT_EQ(Again(*items[i])->GetSubject().utf8(), "New " + std::to_string(i));
  }
  EXPECT_EQ(CountIn(dfindrafts), 3u);
  items[1]->SetSubject("Again");
  EXPECT_TRUE(bulk.SaveItems(items)[1]);
  EXPECT_EQ(CountIn(dfindrafts), 3u);
}

TEST_P(BulkSave, ItemsOfSeveralKindsAndPlacesFindTheirs) {
  const auto drafts = Folder(dfindrafts), inbox = Folder(dfininbox), calendar = Folder(dfincalendar),
             contacts = Folder(dfincontacts);
  const TItemId old = AddMessage("Old");
  TItems items = {drafts->CreateItem(tMessage),       calendar->CreateItem(tCalendarItem), inbox->CreateItem(tMessage),
                  contacts->CreateItem(tContact),     drafts->CreateItem(tMessage),        Store().GetItem(old),
                  calendar->CreateItem(tCalendarItem)};
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (const auto appointment = Supports<IVqEWSCalendarItem>(items[i])) {
      appointment->SetStartDateTime(TDateTime(46000));
      appointment->SetEndDateTime(TDateTime(46000.5));
    }
    items[i]->SetSubject("Item " + std::to_string(i));
  }
  Supports<IVqEWSContact>(items[3])->SetDisplayName("Ann");
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.SaveItems(items);
  EXPECT_EQ(CountOf(results), items.size());
  EXPECT_EQ(SizesOfGetItem(), Sizes{7});
  EXPECT_EQ(SizesOfCreate().size(), 4u);
  EXPECT_EQ(SizesOfUpdate(), Sizes{1});
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ(items[i]->GetID(), results[i].Value());
    EXPECT_EQ(items[i]->GetSubject().utf8(), "Item " + std::to_string(i));
  }
  EXPECT_EQ(CountIn(dfindrafts), 2u);
  EXPECT_EQ(CountIn(dfincalendar), 2u);
  EXPECT_EQ(CountIn(dfininbox), 2u);
}

TEST_P(BulkSave, AttachmentsGoUpOneByOne) {
  TItems items = NewMails(3);
  Attach(*items[1], "a.txt", "content of a");
  Attach(*items[1], "b.txt", "content of b");
  auto bulk = Bulk();
  Forget();
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), 3u);
  EXPECT_EQ(Operations(), (Names{"CreateItem", "CreateAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(AttachmentsOf(*items[1]), "a.txt=content of a;b.txt=content of b;");
  items[1]->GetAttachments().DeleteAttachment(0);
  items[0]->SetSubject("Other");
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), 3u);
  EXPECT_EQ(AttachmentsOf(*items[1]), "b.txt=content of b;");
}

TEST_P(BulkSave, APictureInABodyBecomesAnAttachment) {
  TItems items = NewMails(2);
  items[1]->SetBodyText("<p><img src=\"data:image/png;base64,QUJD\">");
  EXPECT_EQ(CountOf(Bulk().SaveItems(items)), 2u);
  ASSERT_EQ(items[1]->GetAttachments().Count(), 1);
  EXPECT_EQ(items[1]->GetAttachments().GetAttachment(0)->GetContentId(), "_inlineImg0");
  items = Loaded({items[0]->GetID()});
  items[0]->SetBodyText("<p><img src=\"data:image/png;base64,=no base64=\">");
  const auto broken = Bulk().SaveItems(items);
  EXPECT_FALSE(broken[0]);
}

TEST_P(BulkSave, ALostAnswerIsNotFollowedByASecondCreation) {
  TItems items = NewMails(4);
  auto bulk = Bulk(2);
  CutNext("CreateItem", Cut::after);
  const auto results = bulk.SaveItems(items);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_THROW(results[i].Value(), EVqHTTPApiException);
    EXPECT_EQ(results[i].WasSent(), i < 2);
    EXPECT_TRUE(items[i]->GetIsNewItem());
  }
  EXPECT_EQ(CountIn(dfindrafts), 2u);
}

TEST_P(BulkSave, WhatWasMadeIsNotMadeAgainWhenReadingItBackFails) {
  TItems items = NewMails(2);
  auto bulk = Bulk();
  CutNext("GetItem", Cut::before);
  const auto results = bulk.SaveItems(items);
  EXPECT_EQ(CountOf(results), 0u);
  for (const auto& item : items) {
    EXPECT_TRUE(item->GetIsSaved());
    EXPECT_FALSE(item->GetIsNewItem());
  }
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), 2u);
  EXPECT_EQ(CountIn(dfindrafts), 2u);
}

TEST_P(BulkSave, ABusyServerHasMadeNothing) {
  TItems items = NewMails(4);
  auto bulk = Bulk();
  BusyNext("CreateItem", 1);
  EXPECT_EQ(CountOf(bulk.SaveItems(items)), 4u);
  EXPECT_EQ(SizesOfCreate(), (Sizes{4, 2, 2}));
  EXPECT_EQ(CountIn(dfindrafts), 4u);
}

TEST_P(BulkSave, ResponsesAreSavedByThemselves) {
  const auto mail = Mail(AddMessage("Question"));
  TItems items = NewMails(1);
  items.push_back(TVqRef<IVqEWSItem>(mail->CreateReply(false)));
  items[1]->SetBodyText("Answer");
  const auto results = Bulk().SaveItems(items);
  EXPECT_EQ(CountOf(results), 2u);
  EXPECT_EQ(CountIn(dfindrafts), 2u);
  EXPECT_EQ(items[1]->GetID(), results[1].Value());
}

TEST_P(BulkSave, WhatCannotBeSavedIsToldForItAlone) {
  TItems items = NewMails(2);
  items.push_back(items[0]);
  items.push_back(nullptr);
  const auto results = Bulk().SaveItems(items);
  EXPECT_TRUE(results[0]);
  EXPECT_TRUE(results[1]);
  EXPECT_EQ(results[2].FailureText(), "The same item stands here twice.");
  EXPECT_EQ(results[3].FailureText(), "Operations on many need items of the session of their store.");
  EXPECT_EQ(CountIn(dfindrafts), 2u);
}

TEST_P(BulkSave, AStopBetweenWindowsLeavesTheOthersAsTheyWere) {
  TItems items = NewMails(4);
  auto bulk = Bulk(2);
  bulk.SetOnProgress([](const TVqEWSBulkProgress& at) {
    EXPECT_EQ(at.Total, 4u);
    return at.Done < 2;
  });
  const auto results = bulk.SaveItems(items);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(results[i].Succeeded(), i < 2);
    EXPECT_EQ(results[i].WasSent(), i < 2);
    EXPECT_EQ(items[i]->GetIsNewItem(), i >= 2);
  }
  EXPECT_EQ(CountIn(dfindrafts), 2u);
}

TEST_P(BulkSave, AStopLetsWhatWasBegunBeReadBack) {
  TItems items = NewMails(4);
  auto bulk = Bulk(2);
  bulk.SetOnProgress([](const TVqEWSBulkProgress&) { return false; });
  Forget();
  const auto results = bulk.SaveItems(items);
  EXPECT_EQ(Operations(), (Names{"CreateItem", "GetItem"}));
  EXPECT_TRUE(results[0]);
  EXPECT_TRUE(results[1]);
  EXPECT_THROW(results[2].Value(), EAbort);
  EXPECT_FALSE(results[2].WasSent());
}

TEST_P(BulkSave, WhatWasMadeWasSentAlthoughTheOperationEndedThen) {
  TItems items = NewMails(2);
  Attach(*items[0], "a.txt", "content");
  Attach(*items[1], "a.txt", "content");
  CutNext("CreateAttachment", Cut::before);
  const auto results = Bulk().SaveItems(items);
  EXPECT_EQ(CountOf(results), 0u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(results[i].WasSent());
    EXPECT_TRUE(results[i].MayHaveHappened());
    EXPECT_TRUE(items[i]->GetIsSaved());
  }
  EXPECT_EQ(CountOf(Bulk().SaveItems(items)), 2u);
  EXPECT_EQ(AttachmentsOf(*items[0]), "a.txt=content;");
  EXPECT_EQ(CountIn(dfindrafts), 2u);
}

TEST_P(BulkSave, AnInvalidOneAmongContactsDoesNotKeepTheOthersBack) {
  const auto contacts = Folder(dfincontacts);
  TItems items;
  for (int i = 0; i < 4; ++i) {
    items.push_back(contacts->CreateItem(tContact));
    Supports<IVqEWSContact>(items.back())->SetDisplayName("Ann " + std::to_string(i));
  }
  // Has no valid form.
  items[2]->AsElement().AddElement("t:DisplayNamePrefix").SetText("Dr.");
  const auto results = Bulk().SaveItems(items);
  EXPECT_EQ(CountOf(results), 3u);
  EXPECT_FALSE(results[2]);
  EXPECT_EQ(CountIn(dfincontacts), 3u);
}

// ---- Sending

TEST_P(BulkSave, NewMessagesAreSentInOneRequest) {
  TItems items = NewMails(3);
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.SendItems(items, true);
  EXPECT_EQ(Operations(), Names{"CreateItem"});
  EXPECT_EQ(SizesOfCreate(), Sizes{3});
  EXPECT_EQ(Attribute("CreateItem", "", "MessageDisposition"), "SendAndSaveCopy");
  EXPECT_EQ(CountOf(results), 3u);
  EXPECT_EQ(results[0].Value(), TItemId());
  EXPECT_EQ(CountIn(dfinsentitems), 3u);
  EXPECT_EQ(CountIn(dfindrafts), 0u);
  for (const auto& result : bulk.SendItems(items, true))
    EXPECT_EQ(result.FailureText(), "The message has already been submitted!");
  EXPECT_EQ(CountIn(dfinsentitems), 3u);
}

TEST_P(BulkSave, WithoutACopyNothingIsKept) {
  TItems items = NewMails(2);
  EXPECT_EQ(CountOf(Bulk().SendItems(items, false)), 2u);
  EXPECT_EQ(Attribute("CreateItem", "", "MessageDisposition"), "SendOnly");
  EXPECT_EQ(CountIn(dfinsentitems), 0u);
}

TEST_P(BulkSave, SavedMessagesAreSavedAndSent) {
  TItems items = NewMails(3);
  auto bulk = Bulk();
  bulk.SaveItems(items);
  items[1]->SetSubject("Last word");
  Forget();
  const auto results = bulk.SendItems(items, true);
  EXPECT_EQ(Operations(), (Names{"UpdateItem", "GetItem", "SendItem"}));
  EXPECT_EQ(SizesOf("SendItem", "ItemIds/ItemId"), Sizes{3});
  EXPECT_EQ(CountOf(results), 3u);
  EXPECT_EQ(results[1].Value().Id, items[1]->GetID().Id);
  EXPECT_TRUE(items[1]->GetIsSubmitted());
  EXPECT_EQ(CountIn(dfinsentitems), 3u);
  EXPECT_EQ(CountIn(dfindrafts), 0u);
}

TEST_P(BulkSave, EachIsSentOnItsWay) {
  TItems items = NewMails(3);
  Attach(*items[1], "a.txt", "content");
  const auto question = Mail(AddMessage("Question"));
  items.push_back(TVqRef<IVqEWSItem>(question->CreateReply(false)));
  items.push_back(Folder(dfincontacts)->CreateItem(tContact));
  const auto results = Bulk().SendItems(items, true);
  EXPECT_EQ(CountOf(results), 4u);
  EXPECT_EQ(results[4].FailureText(), "Messages can be sent, and no other items.");
  EXPECT_EQ(CountIn(dfinsentitems), 4u);
}

TEST_P(BulkSave, AMessageWhoseAnswerWasLostIsSentOnce) {
  TItems items = NewMails(2);
  CutNext("CreateItem", Cut::after);
  const auto results = Bulk().SendItems(items, true);
  EXPECT_EQ(CountOf(results), 0u);
  EXPECT_EQ(CountIn(dfinsentitems), 2u);
  EXPECT_FALSE(items[0]->GetIsSubmitted());
}

}  // namespace
}  // namespace velmore::testing
