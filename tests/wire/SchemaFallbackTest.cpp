// A server that refuses the library's own form of a request gets the schema's form, from then on: nothing is lost,
// nothing is doubled.

#include <cstdlib>

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/uVqEWSRestrictions.h"
#include "ews/values/uVqEWSProperties.h"
#include "platform/http/uVqHTTPClient.h"
#include "platform/soap/uVqSOAPClient.h"
#include "tests/wire/SaveTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {
namespace {

class FallbackTest : public SaveTest {
 protected:
  explicit FallbackTest(const simulator::Options& options) : SaveTest(options), FVersion(options.version) {
    if (FVersion != "Exchange2007") return;
    // The oldest servers know nothing of the probe.
    AnswerNext("ConvertId",
               "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header><ServerVersionInfo "
               "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/types\" MajorVersion=\"8\" "
               "MinorVersion=\"0\" MajorBuildNumber=\"685\" MinorBuildNumber=\"24\" Version=\"Exchange2007\"/>"
               "</s:Header><s:Body><ok/></s:Body></s:Envelope>");
  }

  /// Late means: after Exchange2013, where change keys stand in elements of their own.
  bool Late() const { return FVersion == "Exchange2013_SP1" || FVersion >= "Exchange2015"; }
  bool Old() const { return FVersion.starts_with("Exchange2007") || FVersion == "Exchange2009"; }

  /// What a test needs of the server before its own requests, in a form that teaches the session nothing.
  template <typename TAction>
  auto Prepared(TAction action) {
    Session().SetStrictSchema(true);
    auto result = action();
    Session().SetStrictSchema(false);
    Forget();
    return result;
  }
  TVqRef<IVqEWSMsgStore> Mailbox() { return MakeRef<TVqEWSMsgStore>(&Session(), kAlice); }
  TVqRef<IVqEWSFolder> PreparedFolder(TDistinguishedFolderIdName name) {
    return Prepared([&] { return Mailbox()->GetFolder(name, ""); });
  }
  TVqRef<IVqEWSEMail> PreparedMail(const std::string& members = "<t:Subject>S</t:Subject>") {
    const TItemId id = AddItem("drafts", "<t:Message>" + members + "</t:Message>");
    return Prepared([&] { return Supports<IVqEWSEMail>(Mailbox()->GetItem(id)); });
  }
  TVqRef<IVqEWSItem> PreparedContact() {
    const TItemId id = AddItem("contacts",
                               "<t:Contact><t:DisplayName>C</t:DisplayName><t:EmailAddresses><t:Entry "
                               "Key=\"EmailAddress1\">c@example.com</t:Entry></t:EmailAddresses></t:Contact>");
    return Prepared([&] { return Mailbox()->GetItem(id); });
  }

  /// A new message to Bob, of which both forms differ.
  static TVqRef<IVqEWSEMail> NewMailTo(IVqEWSFolder& folder) {
    const auto mail = Supports<IVqEWSEMail>(folder.CreateItem(tMessage));
    mail->SetSubject("late");
    mail->GetToRecipients()->Add("bob@example.com")->SetItemId({"ID", "KEY"});
    return mail;
  }

  /// "refused" or "taken" for each request of an operation since the last Forget.
  Names Fates(const std::string& operation) {
    Names fates;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation != operation) continue;
      fates.push_back(exchange.response_body.find("ErrorSchemaValidation") != std::string::npos ? "refused" : "taken");
    }
    return fates;
  }
  bool Learnt() { return Session().GetWireForm() == TVqEWSWireForm::schema; }
  void Unlearn() {
    const string url = Session().GetServiceUrl();
    Session().SetServiceUrl("http://127.0.0.1:1/");
    Session().SetServiceUrl(url);
  }

  std::string FVersion;
};

// ---- Each operation, with each version

class SchemaFallback : public FallbackTest, public ::testing::WithParamInterface<std::string> {
 protected:
  SchemaFallback() : FallbackTest(Refusing(GetParam())) {}

  /// `action` departs from the schema as `departs` says; it is done twice, and leaves so many more items in drafts and
  /// contacts each time.
  void ExpectHealed(const std::string& operation, bool departs, const std::function<void()>& action, int made = 0) {
    SCOPED_TRACE(operation);
    const auto count = [&] {
      return Server().CountItems(kAlice, "drafts") + Server().CountItems(kAlice, "contacts") +
             Server().CountItems(kAlice, "sentitems") + Server().CountItems(kBob, "inbox");
    };
    const auto before = count();
    Forget();
    action();
    EXPECT_EQ(Fates(operation), (departs ? Names{"refused", "taken"} : Names{"taken"}));
    EXPECT_EQ(Learnt(), departs);
    EXPECT_EQ(count(), before + static_cast<std::size_t>(made));
    if (!departs) return;
    const auto sent = Requests(operation);
    EXPECT_NE(sent.at(0), sent.at(1)) << "the letter first, then the schema's form";
    Forget();
    action();
    for (const std::string& fate : Fates(operation)) EXPECT_EQ(fate, "taken") << "remembered";
    EXPECT_EQ(count(), before + 2 * static_cast<std::size_t>(made));
    for (const auto& exchange : Server().Exchanges()) {
      const std::string problems = HasPublishedSchema() ? SchemaProblemsOf(exchange.request_body) : "";
      EXPECT_EQ(problems, "") << exchange.request_body;
    }
    Unlearn();
  }
};

TEST_P(SchemaFallback, LoadsFolders) {
  const TItemId id = Prepared([&] { return Mailbox()->GetFolderId(dfininbox); });
  const auto store = Mailbox();
  ExpectHealed("GetFolder", Late(), [&] { store->GetFolder(id); });
}

TEST_P(SchemaFallback, LoadsItems) {
  const TItemId id = AddMessage("S");
  const auto mail = PreparedMail();
  Forget();
  mail->GetAdditionalProperties({"InternetMessageId"});
  EXPECT_EQ(Fates("GetItem"), (Late() ? Names{"refused", "taken"} : Names{"taken"}));
  EXPECT_EQ(Learnt(), Late());
  Unlearn();
  Forget();
  const auto store = Mailbox();
  EXPECT_EQ(store->GetItem(id)->GetSubject(), "S");
  EXPECT_EQ(Fates("GetItem"), (Late() ? Names{"refused", "taken", "taken"} : Names{"taken", "taken"}));
}

TEST_P(SchemaFallback, AsksForServices) {
  if (GetParam() == "Exchange2007") GTEST_SKIP() << "does not tell whose mailbox it is";
  const std::string before = std::getenv("TZ") ? std::getenv("TZ") : "";
  ::setenv("TZ", "UTC", 1);
  const auto store = Prepared([&] {
    const auto mailbox = Mailbox();
    mailbox->GetIdentity();
    return mailbox;
  });
  ExpectHealed("GetUserAvailabilityRequest", true,
               [&] { Session().GetUserAvailibility({kAlice}, 46000.0, 46001.0, 30, fbvtFreeBusy); });
  before.empty() ? ::unsetenv("TZ") : ::setenv("TZ", before.c_str(), 1);
  ExpectHealed("GetUserOofSettingsRequest", false, [&] { store->GetOOF(); });
  const auto oof = store->GetOOF();
  ExpectHealed("SetUserOofSettingsRequest", false, [&] { oof->Apply(); });
  if (Old()) return;
  ExpectHealed("GetRoomLists", false, [&] { store->GetRoomLists(); });
  ExpectHealed("GetMailTips", false, [&] { Session().GetMailTips(kBob); });
  if (FVersion < "Exchange2013") return;
  ExpectHealed("GetUserPhoto", true, [&] {
    TVqMemoryStream photo;
    EXPECT_EQ(CodeOf([&] { store->GetUserPhoto(photo, HR96X96); }), "ErrorItemNotFound");
  });
}

TEST_P(SchemaFallback, AsksForMembersByTheirNames) {
  // Of a kind without a class of its own, whose members the library knows no fields of.
  const TItemId id = AddItem("inbox", "<t:PostItem><t:Subject>S</t:Subject></t:PostItem>");
  const auto post = Prepared([&] { return Mailbox()->GetItem(id); });
  ExpectHealed("GetItem", true, [&] { post->GetAdditionalProperties({"PostedTime"}); });
}

TEST_P(SchemaFallback, ListsItems) {
  const auto contacts = PreparedFolder(dfincontacts);
  PreparedContact();
  ExpectHealed("FindItem", true, [&] {
    const auto items = contacts->GetItems();
    items->GetFields().Add(FLD_CONTACTS_EMAILADDRESS1);
    const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
    exists->SetFieldDef(FLD_CONTACTS_EMAILADDRESS1);
    items->Filter(exists);
    items->Open();
    EXPECT_EQ(items->Count(), 1);
  });
}

TEST_P(SchemaFallback, LeavesTheMeaningOfAFiltersValuesAlone) {
  AddItem("contacts",
          "<t:Contact><t:Subject>Birch &amp; &lt;Sons&gt;</t:Subject><t:EmailAddresses><t:Entry "
          "Key=\"EmailAddress1\">c@example.com</t:Entry></t:EmailAddresses></t:Contact>");
  const auto contacts = PreparedFolder(dfincontacts);
  const auto found = [&](const std::function<void(IVqEWSRestrictionCompare&)>& set) {
    const auto items = contacts->GetItems();
    const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
    exists->SetFieldDef(FLD_CONTACTS_EMAILADDRESS1);  // which a server refuses as the library names it
    const auto compare = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
    compare->SetFieldDef(FLD_ITEM_SUBJECT);
    set(*compare);
    const auto both = Supports<IVqEWSRestrictionAnd>(items->CreateRestriction(rtAnd));
    both->AddRestriction(exists);
    both->AddRestriction(compare);
    items->Filter(both);
    items->Open();
    return items->Count();
  };
  const auto asText = [](IVqEWSRestrictionCompare& compare) { compare.SetTextValue("Birch & <Sons>"); };
  const auto asMarkup = [](IVqEWSRestrictionCompare& compare) { compare.SetValue(string("Birch &amp; &lt;Sons&gt;")); };
  const auto broken = [](IVqEWSRestrictionCompare& compare) { compare.SetValue(string("Birch & <Sons>")); };
  EXPECT_FALSE(Learnt());
  EXPECT_EQ(found(asMarkup), 1);
  EXPECT_TRUE(Learnt());
  EXPECT_EQ(found(asMarkup), 1) << "what was learnt of the server does not make text of markup";
  EXPECT_EQ(found(asText), 1);
  EXPECT_THROW(found(broken), EVqXMLError);
}

TEST_P(SchemaFallback, SavesNewItems) {
  const auto drafts = PreparedFolder(dfindrafts);
  ExpectHealed(
      "CreateItem", true,
      [&] {
        const auto mail = NewMailTo(*drafts);
        mail->SaveChanges(soAutoResolve);
        EXPECT_EQ(mail->GetSubject(), "late");
      },
      1);
}

TEST_P(SchemaFallback, SendsNewItems) {
  const auto drafts = PreparedFolder(dfindrafts);
  ExpectHealed(
      "CreateItem", true, [&] { NewMailTo(*drafts)->SubmitMessage(false); }, 1);
}

TEST_P(SchemaFallback, SavesChanges) {
  const auto mail = PreparedMail();
  Prepared([&] { return mail->GetToRecipients(); });  // which a load leaves out
  int number = 0;
  ExpectHealed("UpdateItem", true, [&] {
    const string address = "u" + IntToStr(static_cast<std::int64_t>(++number)) + "@elsewhere.example";
    mail->GetToRecipients()->Clear();
    mail->GetToRecipients()->Add(address)->SetItemId({"ID", "KEY"});
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(mail->GetToRecipients()->GetItem(0)->GetEmailAddress(), address);
  });
}

TEST_P(SchemaFallback, LeavesAnUpdateWithoutChangesOut) {
  const auto mail = PreparedMail();
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Fates("UpdateItem"), Names{"refused"});
  EXPECT_TRUE(Learnt());
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), Names{"GetItem"}) << "remembered";
}

TEST_P(SchemaFallback, SavesAttachments) {
  const auto mail = PreparedMail();
  const auto attach = [&](const char* name) { Attach(*mail, name, "content")->SetContentId("cid"); };
  attach("a.txt");
  mail->SaveChanges(soAutoResolve);
  const auto fates = Fates("CreateAttachment");
  EXPECT_EQ(fates.back(), "taken");
  Unlearn();
  Forget();
  attach("b.txt");
  mail->SaveChanges(soAutoResolve);
  std::string names;
  for (std::int32_t i = 0; i < mail->GetAttachments().Count(); ++i)
    names += File(*mail, i)->GetName().utf8() + "=" + Content(*File(*mail, i)) + ";";
  EXPECT_EQ(names, "a.txt=content;b.txt=content;");
}

TEST_P(SchemaFallback, LeavesAloneWhatHasOneForm) {
  const auto folder = PreparedFolder(dfindrafts);
  const auto mail = PreparedMail();
  const TItemId target = Prepared([&] { return Mailbox()->GetFolderId(dfincontacts); });
  folder->CopyItem(mail->GetID(), target);
  folder->CreateFolder(sffFolder, "F");
  folder->GetSubFolders()->Open();
  Mailbox()->GetFolderId(dfininbox);
  Session().ResolveName("bob", scActiveDirectory);
  EXPECT_FALSE(Learnt());
  EXPECT_EQ(Server().GetCounters().refused, 0u);
}

INSTANTIATE_TEST_SUITE_P(Versions, SchemaFallback, ::testing::ValuesIn(simulator::VersionNames()),
                         [](const auto& info) { return info.param; });

// ---- What is a refusal of the form, and what is not

/// A server that takes both forms, with refusals by hand.
class Refusals : public FallbackTest {
 protected:
  Refusals() : FallbackTest(TwoUsers()) {}

  /// The next requests of an operation get a fault as other servers word it; without `code` there is no detail.
  void FaultNext(const std::string& operation, const std::string& faultCode, const std::string& text,
                 const std::string& code = {}, int times = 1) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.times = times;
    fault.http_status = 500;
    fault.content_type = "text/xml; charset=utf-8";
    fault.body = "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><s:Fault><faultcode>" +
                 faultCode + "</faultcode><faultstring>" + text + "</faultstring>" +
                 (code.empty() ? std::string()
                               : "<detail><e:ResponseCode xmlns:e=\"urn:e\">" + code + "</e:ResponseCode></detail>") +
                 "</s:Fault></s:Body></s:Envelope>";
    Server().AddFault(fault);
  }
  /// A read and a write that have two forms.
  std::size_t Reads() {
    const TItemId id = AddMessage("S");
    Forget();
    try {
      MakeRef<TVqEWSEMail>(FStore.get(), id);
    } catch (const EVqSOAPFault&) {
    }
    return Requests("GetItem").size();
  }
  std::size_t Writes() {
    const auto mail = NewMailTo(*FDrafts);
    Forget();
    try {
      mail->SubmitMessage(false);
    } catch (const EVqSOAPFault&) {
    }
    return Requests("CreateItem").size();
  }
  void SetUp() override {
    FDrafts = PreparedFolder(dfindrafts);
    FStore = MakeRef<TVqEWSMsgStore>(&Session(), kAlice);
  }

  TVqRef<IVqEWSFolder> FDrafts;
  TVqRef<TVqEWSMsgStore> FStore;
};

constexpr struct {
  const char* FaultCode;
  const char* Text;
  const char* Code;
} kNotValid[] = {
    {"a:ErrorSchemaValidation", "The request failed schema validation.", "ErrorSchemaValidation"},
    {"a:ErrorSchemaValidation", "The request failed schema validation.", ""},
    {"s:Client", "The request failed.", "ErrorSchemaValidation"},
    {"ErrorSchemaValidation", "", ""},
    {"SOAP:Client", "failed to find proper type for node 'ChangeKey'", ""},
    {"s:Client", "The element has an invalid child element 'ChangeKey'.", ""},
    {"env:Sender", "Validation constraint violation", ""},
    {"s:Client", "cvc-complex-type.2.4.a", ""},
    {"s:Client", "This element is not expected.", ""},
    {"s:Client", "Deserialization failed", ""},
    {"s:CLIENT", "UNEXPECTED ELEMENT t:ChangeKey", ""},
};

TEST_F(Refusals, OfTheFormInEveryWordingAreHealed) {
  for (const auto& [faultCode, text, code] : kNotValid) {
    SCOPED_TRACE(std::string(faultCode) + ": " + text);
    FaultNext("GetItem", faultCode, text, code);
    EXPECT_EQ(Reads(), 2u);
    EXPECT_TRUE(Learnt());
    Unlearn();
    const std::size_t sent = Server().CountItems(kBob, "inbox");
    FaultNext("CreateItem", faultCode, text, code);
    EXPECT_EQ(Writes(), 2u);
    EXPECT_TRUE(Learnt());
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), sent + 1);
    Unlearn();
  }
}

TEST_F(Refusals, AsAResponseCodeAreHealed) {
  RefuseNext("GetItem", "ErrorSchemaValidation");
  EXPECT_EQ(Reads(), 2u);
  EXPECT_TRUE(Learnt());
  Unlearn();
  RefuseNext("CreateItem", "ErrorSchemaValidation");
  EXPECT_EQ(Writes(), 2u);
  EXPECT_TRUE(Learnt());
}

TEST_F(Refusals, OtherFaultsAreTriedAgainWhereNothingIsChanged) {
  constexpr struct {
    const char* FaultCode;
    const char* Text;
    const char* Code;
  } kOthers[] = {
      {"a:ErrorInternalServerError", "An internal server error occurred.", "ErrorInternalServerError"},
      {"a:ErrorInvalidRequest", "The request is invalid.", "ErrorInvalidRequest"},
      {"s:Client", "The recipient is wrong.", ""},
      {"s:Client", "Sending in another's name is not allowed.", ""},
      {"s:Server", "The schema store is broken.", ""},
      {"", "", ""},
  };
  for (const auto& [faultCode, text, code] : kOthers) {
    SCOPED_TRACE(std::string(faultCode) + ": " + text);
    FaultNext("GetItem", faultCode, text, code);
    EXPECT_EQ(Reads(), 2u);
    EXPECT_TRUE(Learnt());
    Unlearn();
    FaultNext("CreateItem", faultCode, text, code);
    EXPECT_EQ(Writes(), 1u) << "it may have been carried out";
    EXPECT_FALSE(Learnt());
  }
}

TEST_F(Refusals, OfLoadAccessAndIdentityAreRaisedAtOnce) {
  for (const char* code : {"ErrorServerBusy",
                           "ErrorTimeoutExpired",
                           "ErrorExceededConnectionCount",
                           "ErrorMailboxStoreUnavailable",
                           "ErrorInternalServerTransientError",
                           "ErrorInsufficientResources",
                           "ErrorTooManyObjectsOpened",
                           "ErrorConnectionFailed",
                           "ErrorAccessDenied",
                           "ErrorImpersonateUserDenied",
                           "ErrorImpersonationFailed",
                           "ErrorMailboxLogonFailed",
                           "ErrorPasswordExpired",
                           "ErrorAccountDisabled",
                           "ErrorInvalidAuthorizationContext",
                           "ErrorTokenSerializationDenied",
                           "ErrorNonExistentMailbox",
                           "ErrorMailboxMoveInProgress",
                           "ErrorNonPrimarySmtpAddress",
                           "ErrorMissingEmailAddress",
                           "ErrorInvalidUserSid",
                           "ErrorUserNotAllowedByPolicy"}) {
    FaultNext("GetItem", "a:" + std::string(code), "", code);
    EXPECT_EQ(Reads(), 1u) << code;
    FaultNext("GetItem", "a:" + std::string(code), "");
    EXPECT_EQ(Reads(), 1u) << code << ", in the code of the fault alone";
    EXPECT_FALSE(Learnt());
  }
}

TEST_F(Refusals, OfBothFormsRaiseTheFirst) {
  FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
  FaultNext("GetItem", "s:Client", "second", "ErrorSchemaValidation");
  const TItemId id = AddMessage("S");
  EXPECT_EQ(MessageOf<EVqSOAPFault>([&] { MakeRef<TVqEWSEMail>(FStore.get(), id); }), "first (ErrorSchemaValidation)");
  EXPECT_FALSE(Learnt());
  RefuseNext("GetItem", "ErrorSchemaValidation");
  FaultNext("GetItem", "s:Client", "second", "ErrorSchemaValidation");
  EXPECT_EQ(CodeOf([&] { MakeRef<TVqEWSEMail>(FStore.get(), id); }), "ErrorSchemaValidation");
  FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
  RefuseNext("GetItem", "ErrorSchemaValidation");
  EXPECT_EQ(MessageOf<EVqSOAPFault>([&] { MakeRef<TVqEWSEMail>(FStore.get(), id); }), "first (ErrorSchemaValidation)");
  EXPECT_FALSE(Learnt());
}

TEST_F(Refusals, AnotherFailureOfTheSecondIsRaised) {
  const TItemId id = AddMessage("S");
  FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
  FaultNext("GetItem", "a:ErrorServerBusy", "busy", "ErrorServerBusy");
  EXPECT_THROW(MakeRef<TVqEWSEMail>(FStore.get(), id), EVqSOAPServerBusy);
  EXPECT_FALSE(Learnt());

  // The reply of the second was lost: the message is out, and nobody may take the refusal for the truth.
  const auto mail = NewMailTo(*FDrafts);
  FaultNext("CreateItem", "s:Client", "first", "ErrorSchemaValidation");
  CutNext("CreateItem", Cut::after);
  Forget();
  EXPECT_THROW(mail->SubmitMessage(false), EVqHTTPApiException);
  EXPECT_EQ(Requests("CreateItem").size(), 2u);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_FALSE(Learnt());
}

TEST_F(Refusals, AreNotHealedWhereBothFormsAreTheSame) {
  FaultNext("GetFolder", "s:Client", "first", "ErrorSchemaValidation");
  Forget();
  EXPECT_THROW(FStore->GetFolderId(dfininbox), EVqSOAPFault);
  EXPECT_EQ(Requests("GetFolder").size(), 1u);
  EXPECT_FALSE(Learnt());
}

TEST_F(Refusals, AreRaisedWhereThereIsNoValidFormAtAll) {
  FaultNext("ConvertId", "s:Client", "first", "ErrorSchemaValidation");
  Forget();
  EXPECT_EQ(MessageOf<EVqSOAPFault>([&] { Session().ConvertId({}, ifOwaId); }), "first (ErrorSchemaValidation)");
  EXPECT_EQ(Requests("ConvertId").size(), 1u);
  EXPECT_FALSE(Learnt());
}

TEST_F(Refusals, OfAServerThatIsNeverContentDoNotMultiply) {
  FaultNext("GetItem", "s:Client", "never", "ErrorSchemaValidation", -1);
  EXPECT_EQ(Reads(), 2u);
  EXPECT_EQ(Reads(), 2u);
}

// ---- The setting

TEST_F(Refusals, AreRaisedWithTheRemedyWhenTheFallbackIsOff) {
  EXPECT_TRUE(Session().GetSchemaFallback()) << "on by default";
  Session().SetSchemaFallback(false);
  FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
  const TItemId id = AddMessage("S");
  Forget();
  try {
    MakeRef<TVqEWSEMail>(FStore.get(), id);
    FAIL();
  } catch (const EVqSOAPFault& fault) {
    EXPECT_STREQ(fault.what(),
                 "first (ErrorSchemaValidation) The session's SchemaFallback, or StrictSchema, sends the form that "
                 "servers publish.");
    EXPECT_EQ(fault.FaultCode(), "s:Client");
    EXPECT_EQ(fault.FaultString(), "first");
    EXPECT_EQ(fault.ResponseCode(), "ErrorSchemaValidation");
    EXPECT_EQ(fault.HTTPStatus(), 500);
  }
  EXPECT_EQ(Requests("GetItem").size(), 1u);
  EXPECT_FALSE(Learnt());
  FaultNext("GetItem", "a:ErrorInternalServerError", "other", "ErrorInternalServerError");
  EXPECT_EQ(MessageOf<EVqSOAPFault>([&] { MakeRef<TVqEWSEMail>(FStore.get(), id); }),
            "other (ErrorInternalServerError)");
  RefuseNext("GetItem", "ErrorSchemaValidation");
  EXPECT_EQ(CodeOf([&] { MakeRef<TVqEWSEMail>(FStore.get(), id); }), "ErrorSchemaValidation");
}

TEST_F(Refusals, TeachUntilLogoffOrAnotherUrl) {
  const auto learn = [&] {
    FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
    EXPECT_EQ(Reads(), 2u);
    EXPECT_TRUE(Learnt());
  };
  learn();
  Session().SetServiceUrl(Session().GetServiceUrl());
  EXPECT_TRUE(Learnt()) << "the same server";
  EXPECT_FALSE(Session().GetStrictSchema()) << "what the application chose stays";
  const string url = Session().GetServiceUrl();
  Session().SetServiceUrl(url + "?");
  EXPECT_FALSE(Learnt());
  Session().SetServiceUrl(url);
  learn();
  Session().SetActive(false);
  EXPECT_FALSE(Learnt());
  Session().SetActive(true);
  EXPECT_FALSE(Learnt());
  learn();
  Session().SetAutodiscoverEMail("ann@example.com");
  EXPECT_FALSE(Learnt()) << "the address is looked for anew";
}

TEST_F(Refusals, TeachAllClientsOfTheSession) {
  const auto http = Session().CreateHTTPClient(true);
  TVqSOAPClient* soap = Session().CreateSOAPClient(http);
  FaultNext("GetItem", "s:Client", "first", "ErrorSchemaValidation");
  const auto request = Session().CreateRequest(soap, "m:GetItem", "");
  request->GetMethod().AddElement("m:ItemShape/t:BaseShape").SetText("IdOnly");
  request->GetMethod().AddElement("m:ItemIds/t:ItemId").SetAttribute("Id", AddMessage("S").Id);
  request->GetMethod()
      .SelectSingleElement("ItemIds", kSelectRequired)
      .AddElement("t:ChangeKey")
      .SetAttribute("Id", "k");
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  EXPECT_TRUE(response->GetResponse());
  EXPECT_TRUE(Learnt());
}

TEST_F(Refusals, StrictSchemaSendsTheSchemasFormFromTheFirstRequest) {
  Session().SetStrictSchema(true);
  EXPECT_TRUE(Learnt());
  EXPECT_EQ(Reads(), 1u);
  EXPECT_TRUE(Server().GetCounters().departures.empty());
}

// ---- What is left of a request that was brought into the other form

TEST_F(Refusals, AMessageThatWasNotSentStaysAsItWas) {
  for (const bool strict : {false, true}) {
    Session().SetStrictSchema(strict);
    const auto mail = Supports<IVqEWSEMail>(FDrafts->CreateItem(tMessage));
    mail->SetIsRead(true);
    mail->SetSubject("late");
    const auto recipients =
        mail->GetToRecipients();  // empty so far: what has nothing in it is left out of the schema's form
    const std::string before = mail->AsElement().GetXMLAsUtf8();
    CutNext("CreateItem", Cut::before);
    EXPECT_THROW(mail->SubmitMessage(false), EVqHTTPApiException);
    EXPECT_EQ(mail->AsElement().GetXMLAsUtf8(), before);
    recipients->Add("bob@example.com");
    const std::size_t sent = Server().CountItems(kBob, "inbox");
    mail->SubmitMessage(false);
    EXPECT_EQ(Server().CountItems(kBob, "inbox"), sent + 1);
  }
}

}  // namespace
}  // namespace velmore::testing
