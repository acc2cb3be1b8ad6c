// With StrictSchema every request has the form of the published schema, and means the same.
//
// The simulator is told to refuse the library's own forms. In addition everything that was sent is validated against
// the published schema itself, when the variable VELMORE_EWS_SCHEMA names a folder with it (messages.xsd, types.xsd and
// an envelope that ties them together, soap-envelope.xsd).

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "tests/wire/SaveTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {
namespace {

class StrictSchema : public SaveTest, public ::testing::WithParamInterface<const char*> {
 protected:
  StrictSchema() : SaveTest(Refusing(GetParam())) { Session().SetStrictSchema(true); }

  ~StrictSchema() override {
    EXPECT_EQ(Server().GetCounters().refused, 0u);
    EXPECT_TRUE(Server().GetCounters().departures.empty());
    if (!HasPublishedSchema()) return;
    std::size_t validated = 0;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty()) continue;
      EXPECT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
      ++validated;
    }
    EXPECT_GT(validated, 1u);
  }
};

TEST_P(StrictSchema, SavingAndLoading) {
  const auto mail = NewMail();
  // Late members first: they are appended in the order in which they are set.
  mail->SetIsRead(false);
  mail->SetIsDeliveryReceiptRequested(true);
  mail->GetBccRecipients()->Add("Dora <dora@elsewhere.example>");
  mail->GetToRecipients()->Add("bob@example.com");
  mail->GetToRecipients()->Add("A name alone");
  mail->GetFrom()->SetEmailAddress(kAlice);
  mail->SetBodyText("<p>x</p>");
  mail->SetImportance(icHigh);
  mail->GetCategories().Add("Red");
  mail->SetInReplyTo("r");
  mail->SetReminderDueBy(46000.0);
  mail->SetIsReminderSet(true);
  mail->SetReminderMinutesBeforeStart(5);
  mail->SetCulture("de-AT");
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->SetSubject("Late subject");
  mail->SetSensitivity(scPrivate);
  mail->SaveChanges(soAutoResolve);
  const auto fresh = Again(*mail);
  EXPECT_EQ(fresh->GetSubject(), "Late subject");
  EXPECT_EQ(fresh->GetImportance(), icHigh);
  EXPECT_TRUE(fresh->GetIsDeliveryReceiptRequested());
  EXPECT_TRUE(fresh->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  EXPECT_EQ(fresh->GetCategories().AsString(";"), "Red");
  EXPECT_EQ(fresh->GetToRecipients()->Count(), 2);
  // Edits of everything, and deletions.
  fresh->SetSubject("Changed");
  fresh->GetToRecipients()->SetAsString("Bob <bob@example.com>; No Address");
  fresh->GetCategories().Add("Blue");
  fresh->SetBodyText("plain");
  fresh->SetIsRead(true);
  fresh->DeleteProperty(PR_INREPLYTO);
  fresh->DeleteProperty(EPR_COMMON_PRIVATE);
  fresh->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Again(*fresh)->GetSubject(), "Changed");
  EXPECT_EQ(Again(*fresh)->GetInReplyTo(), "");
}

// The schema has no form for an update without changes: none is sent.
TEST_P(StrictSchema, WithoutChangesThereIsNoUpdate) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), Names{"GetItem"});
  mail->GetToRecipients()->Add("bob@example.com");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Sent([&] { mail->SubmitMessage(true); }), (Names{"GetItem", "SendItem"}));
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_P(StrictSchema, Attachments) {
  const auto inner = Mail(AddMessage("Inner"));
  const auto mail = NewMail();
  mail->SetSubject("With attachments");
  mail->GetToRecipients()->Add("bob@example.com");
  const auto file = Attach(*mail, "a.txt", "aaa");
  file->SetContentId("cid");
  file->SetContentLocation("loc");
  mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
  mail->SaveChanges(soAutoResolve);
  const auto saved = File(*mail, 0);
  saved->SetName("b.txt");
  Supports<IVqEWSItemAttachment>(mail->GetAttachments().GetAttachment(1))->GetMessage();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=aaa;inner=item;");
  mail->GetAttachments().DeleteAttachment(1);
  mail->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

// Without an update nothing refreshes the key: it is fetched when attachments need it.
TEST_P(StrictSchema, AttachmentsAloneTakeAFreshKey) {
  for (const TVqEWSSaveOption option : {soNeverOverwrite, soAutoResolve, soAlwaysOverwrite}) {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    const auto other = Again(*mail);
    other->SetSubject("Moved on");
    other->SaveChanges(soAutoResolve);
    Attach(*mail, "a.txt", "aaa");
    EXPECT_EQ(Sent([&] { mail->SaveChanges(option); }), (Names{"GetItem", "CreateAttachment", "GetItem"}));
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
    File(*mail, 0)->SetName("b.txt");
    mail->SaveChanges(option);
    EXPECT_EQ(AttachmentsOf(*mail), "b.txt=aaa;");
    EXPECT_EQ(Again(*mail)->GetSubject(), "Moved on");
  }
}

TEST_P(StrictSchema, ACreationWhoseAnswerWasLostIsMadeOnce) {
  for (const Cut cut : {Cut::before, Cut::after, Cut::within}) {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    Attach(*mail, "a.txt", "aaa");
    CutNext("CreateAttachment", cut);
    EXPECT_THROW(mail->SaveChanges(soAlwaysOverwrite), EVqException);
    mail->SaveChanges(soAlwaysOverwrite);
    EXPECT_EQ(AttachmentsOf(*mail), "a.txt=aaa;");
  }
}

TEST_P(StrictSchema, SendingInEveryForm) {
  for (const bool copy : {true, false}) {
    const auto mail = NewMail();
    mail->SetBodyText("first");
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SetSubject("behind the body");
    mail->SubmitMessage(copy);
    const auto saved = NewMail();
    saved->GetToRecipients()->Add("bob@example.com");
    saved->SaveChanges(soAutoResolve);
    saved->SubmitMessage(copy);
  }
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 4u);
}

TEST_P(StrictSchema, Services) {
  Session().GetUserAvailibility(std::vector<TVqEWSMailboxData>{{kAlice}, {kBob, atRoom, true}}, 46000.0, 46001.0, 30,
                                fbvtDetailedMerged);
  const auto oof = Store().GetOOF();
  oof->SetState(osScheduled);
  oof->SetStartTime(70000.0);
  oof->SetEndTime(70001.0);
  oof->Apply();
  EXPECT_EQ(Store().GetOOF()->GetEndTime(), TDateTime(70001));
  oof->Clear();
  if (std::string(GetParam()) == "Exchange2007_SP1") return;
  Session().GetMailTips(kBob);
  Store().GetRoomLists();
  EXPECT_EQ(CodeOf([&] { Store().GetRooms("none@example.com"); }), "ErrorNameResolutionNoResults");
  if (std::string(GetParam()) < "Exchange2013") return;
  TVqMemoryStream photo;
  for (std::int32_t size = HR48x48; size <= HR648X648; ++size)
    EXPECT_EQ(CodeOf([&] { Store().GetUserPhoto(photo, static_cast<TSizeRequested>(size)); }), "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { Store().GetCategories(); }), "ErrorItemNotFound");
}

TEST_P(StrictSchema, LazyLoading) {
  const auto mail = Mail(AddMessage("S"));
  mail->GetTextBody();
  mail->GetMimeContent();
  mail->PropertyByName(MPR_BODY).GetAsString();
  mail->HasProperty(EPR_COMMON_PRIVATE);
  mail->GetAdditionalProperties({"Subject", "Body", "InternetMessageHeaders", "PROPDEF:EPR_COMMON_PRIVATE"});
  TVqMemoryStream mime;
  mail->SaveToStream(mime);
  EXPECT_NE(mime.Bytes().find("Subject: S"), std::string::npos);
}

TEST_P(StrictSchema, TablesAndFolders) {
  AddMessage("one");
  AddMessage("two & <three>");
  const auto inbox = Inbox();
  const auto items = inbox->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->GetFields().Add(FLD_MESSAGE_FROM);
  items->GetFields().Add(MFLD_SUBJECT);
  const auto all = Supports<IVqEWSRestrictionAnd>(items->CreateRestriction(rtAnd));
  const auto content = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
  content->SetFieldDef(FLD_ITEM_SUBJECT);
  content->SetContainmentMode(cmSubstring);
  content->SetValue("& <t");
  all->AddRestriction(content);
  const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  exists->SetFieldDef(FLD_ITEM_SUBJECT);
  all->AddRestriction(exists);
  items->Filter(all);
  items->Open();
  ASSERT_EQ(items->Count(), 1);
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "two & <three>");
  const TItemId made = inbox->CreateFolder(sffFolder, "Made");
  const auto folder = Store().GetFolder(made);
  inbox->GetSubFolders()->Open();
  const TItemId copy = inbox->CopyItem(items->GetItemId(), made);
  folder->DeleteItem(copy, dtHardDelete);
  inbox->MoveItem(items->GetItemId(), made);
}

TEST_P(StrictSchema, EveryRestriction) {
  AddMessage("one");
  AddMessage("a \"quoted\" <b> & c");
  const auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  const auto count = [&](const TVqRef<IVqEWSRestriction>& filter) {
    items->Filter(filter);
    items->SetActive(true);
    return items->Count();
  };
  static constexpr std::int32_t kExpected[] = {1, 1, 1, 2, 0, 1};
  const auto any = Supports<IVqEWSRestrictionOr>(items->CreateRestriction(rtOr));
  for (int op = opIsEqualTo; op <= opIsLessThanOrEqualTo; ++op) {
    const auto compare = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
    compare->SetFieldDef(FLD_ITEM_SUBJECT);
    compare->SetCompareOperator(static_cast<TVqEWSRestrictionOperator>(op));
    compare->SetValue(string("a \"quoted\" <b> & c"));
    EXPECT_EQ(count(compare), kExpected[op]) << op;
    any->AddRestriction(compare);
    const auto fields = Supports<IVqEWSRestrictionCompareFields>(items->CreateRestriction(rtCompareFields));
    fields->SetFieldDef1(FLD_ITEM_SUBJECT);
    fields->SetFieldDef2(FLD_ITEM_ITEMCLASS);
    fields->SetCompareOperator(static_cast<TVqEWSRestrictionOperator>(op));
    count(fields);
  }
  EXPECT_EQ(count(any), 2);
  const auto bits = Supports<IVqEWSRestrictionBitMask>(items->CreateRestriction(rtBitmask));
  bits->SetFieldDef(MFLD_MESSAGE_FLAGS);
  bits->SetBitMask(1);
  count(bits);
  const auto none = Supports<IVqEWSRestrictionNot>(items->CreateRestriction(rtNot));
  const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  exists->SetFieldDef(FLD_ITEM_SUBJECT);
  none->SetRestriction(exists);
  EXPECT_EQ(count(none), 0);
  for (int mode = cmFullString; mode <= cmExactPhrase; ++mode) {
    const auto content = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
    content->SetFieldDef(FLD_ITEM_SUBJECT);
    content->SetContainmentMode(static_cast<TVqEWSContainmentMode>(mode));
    content->SetContainmentComparison(ccIgnoreCase);
    content->SetValue("one");
    EXPECT_EQ(count(content), 1) << mode;
  }
}

TEST_P(StrictSchema, NamesAndImports) {
  Session().ResolveName("bob", scActiveDirectory);
  Session().ResolveName("bob", scContactsActiveDirectory);
  TVqMemoryStream mime(MimeOf("Imported"));
  const TItemId id = Inbox()->ImportItem(mime, {});
  EXPECT_EQ(Mail(id)->GetSubject(), "Imported");
  Store().GetFolder(dfincalendar, kAlice);
}

TEST_P(StrictSchema, OtherKindsOfItems) {
  const auto contact = Store().GetItem(AddItem("contacts", "<t:Contact><t:DisplayName>C</t:DisplayName></t:Contact>"));
  contact->SetSubject("S");
  contact->SetBodyText("b");
  contact->GetCategories().Add("x");
  contact->SaveChanges(soAutoResolve);
  const auto task = Store().GetItem(AddItem("tasks", "<t:Task><t:Subject>T</t:Subject></t:Task>"));
  task->SetSubject("U");
  task->SaveChanges(soAutoResolve);
}

TEST_P(StrictSchema, RecipientsThatAreContacts) {
  const TItemId contact =
      AddItem("contacts",
              "<t:Contact><t:DisplayName>C</t:DisplayName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">"
              "bob@example.com</t:Entry></t:EmailAddresses></t:Contact>");
  const auto mail = NewMail();
  const auto recipient = mail->GetToRecipients()->Add("Bob the contact");
  recipient->SetItemId(contact);
  mail->SubmitMessage(false);
  EXPECT_NE(Request("CreateItem").find("<t:ItemId Id=\"" + contact.Id.utf8() + "\" ChangeKey=\""), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Versions, StrictSchema,
                         ::testing::Values("Exchange2007_SP1", "Exchange2010_SP2", "Exchange2013", "Exchange2016"));

// ---- The same without it: the forms that differ are those of the library, to the letter

using DefaultForm = SaveTest;

TEST_F(DefaultForm, DeparturesAreMadeByDefault) {
  const auto mail = Mail(AddMessage("S"));
  mail->SaveChanges(soAutoResolve);
  const auto departures = Server().GetCounters().departures;
  EXPECT_TRUE(departures.contains("ChangeKeyElement"));
  EXPECT_TRUE(departures.contains("EmptyUpdates"));
  const auto late = NewMail();
  late->SetIsRead(true);
  late->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  late->SaveChanges(soAutoResolve);
  EXPECT_TRUE(Server().GetCounters().departures.contains("AppendedMember"));
}

TEST_F(DefaultForm, TheValidatorRefusesIt) {
  if (!HasPublishedSchema()) GTEST_SKIP() << "VELMORE_EWS_SCHEMA is not set";
  const auto mail = Mail(AddMessage("S"));
  mail->SaveChanges(soAutoResolve);
  EXPECT_NE(SchemaProblemsOf(LastExchange("GetItem").request_body), "");
  EXPECT_NE(SchemaProblemsOf(LastExchange("UpdateItem").request_body), "");
}

}  // namespace
}  // namespace velmore::testing
