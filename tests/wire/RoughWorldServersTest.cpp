// Servers that are newer than the library, that leave out what they may, that know no measure, and that lie.

#include <algorithm>
#include <random>
#include <set>

#include "RoughWorldTestSupport.h"
#include "SessionTestSupport.h"
#include "ews/model/uVqEWSResolution.h"
#include "tests/support/ServerFailures.h"

namespace velmore::testing {
namespace {

// ---- Whose failure it is

TEST(RoughWorldFailures, AServerIsTheReasonOfWhatItSendsAndOfNothingElse) {
  EXPECT_TRUE(IsDocumentedOfServers(EEWSException("ErrorItemNotFound", "gone", 0)));
  EXPECT_TRUE(IsDocumentedOfServers(EVqEWSIdNotTold("A copy was carried out."))) << "by what it derives from";
  EXPECT_TRUE(IsDocumentedOfServers(EVqSOAPStreamTooLong("too long")));
  EXPECT_TRUE(IsDocumentedOfServers(EVqException("The reply holds no GetItemResponse.")));
  EXPECT_TRUE(IsDocumentedOfServers(EVqException("The page at row 3 does not move on: more rows follow.")));
  try {
    try {
      throw EVqXMLError("cut", 1, 2);
    } catch (...) {
      std::throw_with_nested(EEWSException("ErrorConnectionFailed", "cut", 0));
    }
  } catch (const std::exception& nested) {
    EXPECT_TRUE(IsDocumentedOfServers(nested));
  }
  EXPECT_FALSE(IsDocumentedOfServers(EVqException("You must logon first!")));
  EXPECT_FALSE(IsDocumentedOfServers(EVqHTTPInvalidArgument("AddHeader", "A header has a line break.")));
  EXPECT_FALSE(IsDocumentedOfServers(EListError("There is no item at position 3!")));
  EXPECT_FALSE(IsDocumentedOfServers(EAssertionFailed("Assertion failure")));
  EXPECT_FALSE(IsDocumentedOfServers(std::runtime_error("none of ours")));
}

// ---- Newer servers

using RoughWorldNewerServer = RoughWorldTest;

TEST_F(RoughWorldNewerServer, UnknownElements) {
  const std::string unknown = "<t:FromTomorrow Depth=\"2\"><t:Subject>Not this one</t:Subject>text</t:FromTomorrow>";
  ExpectTheSame([&](const std::string& body) {
    // In front of the first and behind the last child of everything but lists, whose rows are classes.
    std::string other = RegexReplaced(
        body, "(<t:(Message|Mailbox|Folder|FileAttachment|CalendarFolder|Resolution|ExtendedProperty)(?: [^>]*[^/])?>)",
        "$1" + unknown);
    other = RegexReplaced(other,
                          "(</t:(Message|Mailbox|Folder|FileAttachment|CalendarFolder|Resolution|ExtendedProperty)>)",
                          unknown + "$1");
    return RegexReplaced(other, "(</m:[A-Za-z]+ResponseMessage>)", unknown + "$1");
  });
}

TEST_F(RoughWorldNewerServer, UnknownAttributes) {
  ExpectTheSame([](const std::string& body) {
    return RegexReplaced(body, "(<[mt]:[A-Za-z]+)(?![^>]*Tomorrow)",
                         "$1 Tomorrow=\"1\" xmlns:x=\"urn:x\" x:Id=\"not this one\"");
  });
}

TEST_F(RoughWorldNewerServer, UnknownTextsOfEnumerations) {
  // Read as the first value; the text itself is still there to be seen.
  const std::string told = ThroughBodies([](const std::string& body) {
    return RegexReplaced(body, "<t:(Sensitivity|Importance)>[A-Za-z]+<", "<t:$1>FromTomorrow<");
  });
  EXPECT_NE(told.find("|Normal|"), std::string::npos) << told;
  auto& session = Session();
  const auto store = session.OpenDefaultMsgStore();
  const auto id = AddMessage("Plain");
  store->GetItem(id);
  const std::string body = LastExchange("GetItem").response_body;
  AnswerNext("GetItem", RegexReplaced(body, "<t:Importance>[A-Za-z]+<", "<t:Importance>Enormous<"), 1);
  const auto mail = Supports<IVqEWSEMail>(store->GetItem(id));
  EXPECT_EQ(mail->GetImportance(), icLow);
  EXPECT_EQ(mail->AsElement().SelectSingleElement("Importance", kSelectRequired).GetText(), "Enormous");
  mail->SetSubject("Changed");
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("item:Subject", "<t:Subject>Changed</t:Subject>"))
      << "what was not understood is not written";
}

TEST_F(RoughWorldNewerServer, UnknownVersion) {
  ExpectTheSame([](const std::string& body) { return body; });
  const std::string told = ThroughBodies([](const std::string& body) {
    return RegexReplaced(RegexReplaced(body, " Version=\"[^\"]*\"", " Version=\"V2031_02_03\""), "MajorVersion=\"15\"",
                         "MajorVersion=\"21\"");
  });
  EXPECT_NE(told.find("Third|"), std::string::npos) << told;
}

// ---- Elements that are not there

class RoughWorldMissingElements : public RoughWorldTest {
 protected:
  /// Every reply of the operation with one element less than it had, one after the other, in place of the reply that
  /// `action` would get. `action` must end well or raise a documented failure; gives how often it did each.
  struct Outcome {
    int Well = 0, Refused = 0;
  };
  Outcome DropEach(const std::string& operation, const std::function<void()>& action, int skip = 0) {
    Server().ClearFaults();
    Forget();
    action();
    std::vector<std::string> replies;
    for (const auto& exchange : Server().Exchanges())
      if (exchange.operation == operation) replies.push_back(exchange.response_body);
    if (static_cast<std::size_t>(skip) >= replies.size()) {
      ADD_FAILURE() << "no reply of " << operation;
      return {};
    }
    const std::string whole = replies[static_cast<std::size_t>(skip)];
    Outcome outcome;
    for (int at = 0;; ++at) {
      std::string name;
      const std::string less = Without(whole, at, name);
      if (less.empty()) break;
      Server().ClearFaults();
      AnswerNext(operation, less, skip);
      try {
        action();
        ++outcome.Well;
      } catch (const std::exception& failure) {
        ++outcome.Refused;
        EXPECT_TRUE(IsDocumentedOfServers(failure))
            << operation << " without " << name << ": " << typeid(failure).name() << " " << failure.what();
      }
    }
    Server().ClearFaults();
    EXPECT_GT(outcome.Well + outcome.Refused, 3) << operation;
    return outcome;
  }
  /// The document without its n-th element, counted from the body of the envelope; empty when there is none.
  static std::string Without(const std::string& xml, int at, std::string& name) {
    const auto document = VqCreateDOM(xml);
    int left = at;
    const std::function<bool(IVqDOMElement)> drop = [&](const IVqDOMElement& parent) {
      for (const IVqDOMElement& child : parent.GetChildElements()) {
        if (left-- == 0) {
          name = parent.GetLocalName().utf8() + "/" + child.GetLocalName().utf8();
          IVqDOMElement(parent).RemoveChild(child);
          return true;
        }
        if (drop(child)) return true;
      }
      return false;
    };
    if (!drop(document.GetDocumentElement().SelectSingleElement("Body", kSelectRequired))) return {};
    return document.GetXMLAsUtf8();
  }
};

TEST_F(RoughWorldMissingElements, OfFolders) {
  auto& store = Store();
  DropEach("GetFolder", [&] {
    const auto folder = store.GetFolder(dfininbox, "");
    folder->GetDisplayName();
    folder->GetTotalCount();
    folder->GetUnreadCount();
    folder->GetChildFolderCount();
    folder->GetParentFolderId();
    folder->GetEffectiveRights().GetRead();
  });
  const auto root = Folder(dfinmsgfolderroot);
  DropEach("FindFolder", [&] {
    const auto folders = root->GetSubFolders();
    folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
    int rows = 0;
    for (folders->Open(); !folders->Eof() && rows < 100; folders->Next(), ++rows)
      folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString();
  });
  int number = 0;
  DropEach("CreateFolder",
           [&] { root->CreateFolder(sffFolder, "New " + IntToStr(static_cast<std::int64_t>(++number))); });
}

TEST_F(RoughWorldMissingElements, OfRows) {
  const auto inbox = Inbox();
  DropEach("FindItem", [&] {
    const auto items = inbox->GetItems();
    for (const auto* field :
         {&FLD_ITEM_SUBJECT, &FLD_ITEM_DATETIMERECEIVED, &FLD_MESSAGE_FROM, &FLD_ITEM_SIZE, &FLD_MESSAGE_ISREAD})
      items->GetFields().Add(*field);
    items->SetMaxEntriesPerPage(2);
    int rows = 0;
    for (items->Open(); !items->Eof() && rows < 100; items->Next(), ++rows) {
      items->GetItemId();
      for (std::int32_t i = 0; i < items->GetFields().Count(); ++i) items->GetFields().GetItem(i).GetAsString();
    }
    items->First();
  });
}

/// Reads everything that a message has.
void ReadAll(IVqEWSEMail& mail) {
  mail.GetItemClass();
  mail.GetSubject();
  mail.GetSensitivity();
  mail.GetBody().GetBodyType();
  mail.GetBodyText();
  mail.GetTextBody();
  for (std::int32_t i = 0; i < mail.GetAttachments().Count(); ++i) {
    const auto attachment = mail.GetAttachments().GetAttachment(i);
    attachment->GetName();
    attachment->GetSize();
    attachment->GetContentId();
    attachment->GetIsInline();
    attachment->GetLastModifiedTime();
  }
  mail.GetDateTimeReceived();
  mail.GetDateTimeSent();
  mail.GetDateTimeCreated();
  mail.GetLastModifiedTime();
  mail.GetSize();
  mail.GetCategories().AsString(";");
  mail.GetImportance();
  mail.GetInReplyTo();
  mail.GetIsSubmitted();
  mail.GetIsDraft();
  mail.GetIsFromMe();
  mail.GetIsResend();
  mail.GetIsUnmodified();
  mail.GetHasAttachments();
  mail.GetInternetMessageHeaders();
  mail.GetAllowedResponseTypes();
  mail.GetReminderDueBy();
  mail.GetIsReminderSet();
  mail.GetReminderMinutesBeforeStart();
  mail.GetDisplayCc();
  mail.GetDisplayTo();
  mail.GetCulture();
  mail.GetEffectiveRights().GetRead();
  mail.GetLastModifiedName();
  mail.GetIsAssociated();
  mail.GetWebClientReadFormQueryString();
  mail.GetConversationId().GetId();
  mail.GetFlag();
  mail.GetInstanceKey();
  mail.GetPreview();
  mail.GetIsPrivate();
  mail.GetSender()->GetEmailAddress();
  mail.GetFrom()->GetName();
  mail.GetToRecipients()->GetAsString();
  mail.GetCcRecipients()->GetAsString();
  mail.GetBccRecipients()->GetAsString();
  mail.GetReplyTo()->GetAsString();
  mail.GetIsReadReceiptRequested();
  mail.GetIsDeliveryReceiptRequested();
  mail.GetIsRead();
  mail.GetIsResponseRequested();
  mail.GetConversationIndex();
  mail.GetConversationTopic();
  mail.GetInternetMessageId();
  mail.GetReferences();
  mail.GetParentFolderId().GetId();
}

TEST_F(RoughWorldMissingElements, OfItems) {
  const auto id =
      AddItem("inbox",
              "<t:Message><t:Subject>S</t:Subject><t:Attachments><t:FileAttachment><t:Name>a</t:Name><t:Content>YQ==</"
              "t:Content>"
              "</t:FileAttachment></t:Attachments><t:Categories><t:String>Red</t:String></t:Categories><t:ToRecipients>"
              "<t:Mailbox><t:Name>Alice</t:Name><t:EmailAddress>alice@example.com</t:EmailAddress></t:Mailbox>"
              "</t:ToRecipients></t:Message>");
  auto& store = Store();
  const auto load = [&] {
    if (const auto mail = Supports<IVqEWSEMail>(store.GetItem(id))) ReadAll(*mail);
  };
  DropEach("GetItem", load);                             // the probe for the class
  const Outcome outcome = DropEach("GetItem", load, 1);  // the load
  EXPECT_GT(outcome.Well, 30) << "what is optional reads as its default";
  EXPECT_LT(outcome.Refused, 12) << "only what holds the reply together";
}

TEST_F(RoughWorldMissingElements, OfSavedItems) {
  const auto drafts = Folder(dfindrafts);
  const auto create = [&](const char* file) {
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject("New");
    if (*file) Attach(*mail, file, "aaa");
    mail->SaveChanges(soAutoResolve);
    mail->GetSubject();
    return mail;
  };
  DropEach("CreateItem", [&] { create(""); });
  DropEach("CreateAttachment", [&] { create("a.txt"); });
  DropEach("GetItem", [&] { create("a.txt"); });
  DropEach("UpdateItem", [&] {
    const auto mail = create("");
    mail->SetSubject("Changed");
    mail->SaveChanges(soNeverOverwrite);
  });
  DropEach("DeleteAttachment", [&] {
    const auto mail = create("a.txt");
    mail->GetAttachments().DeleteAttachment(0);
    mail->SaveChanges(soAutoResolve);
  });
  DropEach("GetAttachment", [&] {
    const auto fresh = Again(*create("a.txt"));
    if (const auto file = File(*fresh, 0)) Content(*file);
  });
  DropEach("SendItem", [&] {
    const auto mail = create("");
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SubmitMessage(true);
  });
  DropEach("CopyItem", [&] { drafts->CopyItem(create("")->GetID(), Store().GetFolderId(dfinjunkemail)); });
  DropEach("DeleteItem", [&] { drafts->DeleteItem(create("")->GetID(), dtHardDelete); });
}

TEST_F(RoughWorldMissingElements, OfNamesIdsAndTimeZones) {
  auto& session = Session();
  const auto inbox = Store().GetFolderId(dfininbox);
  DropEach("ResolveNames", [&] {
    const auto found = session.ResolveName("alice", scActiveDirectory);
    for (std::int32_t i = 0; i < found->Count(); ++i) {
      found->GetItem(i)->GetRecipient().GetEmailAddress();
      found->GetItem(i)->GetContact();
    }
    const auto recipients = session.CreateRecipients();
    recipients->Add("alice");
    session.ResolveNames(recipients, false);
  });
  DropEach("ConvertId", [&] {
    const auto answer = session.ConvertId(ifEwsId, inbox.Id, kAlice, ifHexEntryId);
    auto& ids = answer->GetAlternateIds().GetAlternateId();
    for (std::int32_t i = 0; i < ids.Count(); ++i) ids.GetItem(i).GetId();
  });
  DropEach("GetServerTimeZones", [&] {
    TVqEWSServiceSession fresh;
    Configure(fresh);
    fresh.SetActive(true);
    fresh.OpenDefaultMsgStore()->GetFolderId(dfininbox);
  });
}

// ---- Without measure

using RoughWorldLongIds = RoughWorldTest;

TEST_F(RoughWorldLongIds, OfThousandCharacters) {
  const std::string plain = Plain();
  const std::string tail(1000, '~');
  int lengthened = 0;
  const auto lengthen = [&](const std::string& body) {
    static const std::regex ids("( (?:Id|ChangeKey|RootItemId|RootItemChangeKey)=\")([^\"]{8,})");
    std::string longer;
    auto rest = body.begin();
    for (std::sregex_iterator id(body.begin(), body.end(), ids), none; id != none; ++id) {
      longer.append(rest, (*id)[0].second);
      longer.append(tail, 0, tail.size() - std::min(tail.size(), static_cast<std::size_t>((*id)[2].length())));
      rest = (*id)[0].second;
      ++lengthened;
    }
    return longer.append(rest, body.end());
  };
  EXPECT_EQ(Through([&](TRawReply reply) { return AnswerOf(HttpOk(lengthen(reply.Body))); }, false,
                    [&](const std::string& request) { return Replaced(request, "~", ""); }),
            plain);
  EXPECT_GT(lengthened, 20);
}

class RoughWorldLimits : public SaveTest {
 protected:
  static constexpr std::size_t kLimit = 64 << 20;
  static simulator::Options WithLimits() {
    simulator::Options options = TwoUsers();
    options.max_request_bytes = kLimit;
    options.keep_exchanges = 1;
    return options;
  }
  RoughWorldLimits() : SaveTest(WithLimits()) {}
  TVqRef<IVqEWSEMail> WithFile(std::size_t size) {
    const auto mail = NewMail();
    TVqMemoryStream stream{std::string(size, 'x')};
    mail->GetAttachments().AddAttachment("large.bin", "application/octet-stream", stream);
    return mail;
  }
};

TEST_F(RoughWorldLimits, RequestOfNearly64MegabytesGoesAndItsContentComesBack) {
  // Four characters for three bytes, and some room for the envelope.
  const std::size_t size = (kLimit / 4 * 3) - 10000;
  const auto mail = WithFile(size);
  mail->SaveChanges(soAutoResolve);
  const auto fresh = Again(*mail);
  const std::string content = Content(*File(*fresh, 0));
  EXPECT_EQ(content.size(), size);
  EXPECT_EQ(content.find_first_not_of('x'), std::string::npos);
}

TEST_F(RoughWorldLimits, RequestAbove64MegabytesIsRefusedWithItsStatus) {
  const auto mail = WithFile(kLimit / 4 * 3);
  ExpectRaised<EVqHTTPException>(
      [&] { mail->SaveChanges(soAutoResolve); },
      [](const EVqHTTPException& failure) { EXPECT_EQ(failure.GetNumber(), 413u) << failure.what(); });
  EXPECT_NO_THROW(Store().GetFolderId(dfininbox)) << "the session is usable";
}

TEST_F(RoughWorldLimits, ReplyAbove64MegabytesIsRead) {
  // Not of one letter: what packs so well that it could be meant to fill the memory is refused.
  std::string text(70 << 20, ' ');
  std::minstd_rand letters;
  std::ranges::generate(text, [&] { return static_cast<char>('a' + letters() % 26); });
  const auto id = Server().AddMessage(kAlice, "inbox", MimeOf("Large", text));
  const auto mail = Mail({id.id, id.change_key});
  EXPECT_EQ(mail->GetBodyText().Length(), text.size());
}

class RoughWorldItemLimit : public SaveTest {
 protected:
  static simulator::Options WithALimit() {
    simulator::Options options = TwoUsers();
    options.max_message_bytes = 1 << 20;
    return options;
  }
  RoughWorldItemLimit() : SaveTest(WithALimit()) {}
};

TEST_F(RoughWorldItemLimit, ItemThatIsTooLargeForTheServerIsItsRefusal) {
  const auto mail = NewMail();
  mail->SetBodyText(std::string(2 << 20, 'x'));
  EXPECT_EQ(CodeOf([&] { mail->SaveChanges(soAutoResolve); }), "ErrorMessageSizeExceeded");
}

// ---- Servers that lie

class RoughWorldLies : public SaveTest {
 protected:
  /// What `action` raises must be documented, and the session usable afterwards. The text, "" when nothing was raised.
  std::string Raised(const std::function<void()>& action) {
    std::string text;
    try {
      action();
    } catch (const std::exception& failure) {
      text = failure.what();
      EXPECT_TRUE(IsDocumentedOfServers(failure)) << typeid(failure).name() << ": " << text;
      EXPECT_NE(text, "");
    }
    Server().ClearFaults();
    EXPECT_NO_THROW(Store().GetFolderId(dfininbox));
    return text;
  }
};

TEST_F(RoughWorldLies, ItemOfAnotherClass) {
  const auto id = AddMessage("Message");
  Store().GetItem(id);
  const std::string body = LastExchange("GetItem").response_body;
  for (const char* other :
       {"Task", "CalendarItem", "Contact", "DistributionList", "Item", "PostItem", "MeetingRequest"}) {
    SCOPED_TRACE(other);
    const std::string lie = Replaced(Replaced(body, "<t:Message>", std::string("<t:") + other + ">"), "</t:Message>",
                                     std::string("</t:") + other + ">");
    // The probe told a message, and the load gives something else.
    AnswerNext("GetItem", lie, 1);
    TVqRef<IVqEWSItem> item;
    Raised([&] {
      item = Store().GetItem(id);
      item->GetSubject();
      if (const auto mail = Supports<IVqEWSEMail>(item)) ReadAll(*mail);
    });
    // An object that is there already.
    const auto mail = Mail(id);
    AnswerNext("GetItem", lie);
    Raised([&] { mail->GetReferences(); });
    EXPECT_EQ(mail->GetSubject(), "Message");
  }
}

TEST_F(RoughWorldLies, ReplyToAnotherOperation) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const auto inbox = Inbox();
  const auto id = mail->GetID();
  Session().ResolveName("alice", scActiveDirectory);
  const std::string names = LastExchange("ResolveNames").response_body;
  const std::string folder = LastExchange("GetFolder").response_body;
  const auto lie = [&](const std::string& operation, const std::string& body, const std::function<void()>& action) {
    AnswerNext(operation, body);
    EXPECT_NE(Raised(action), "") << operation;
  };
  lie("GetItem", folder, [&] { Store().GetItem(id); });
  lie("GetFolder", names, [&] { Store().GetFolder(dfininbox, ""); });
  lie("FindItem", folder, [&] { inbox->GetItems()->Open(); });
  lie("FindFolder", folder, [&] { inbox->GetSubFolders()->Open(); });
  lie("ResolveNames", folder, [&] { Session().ResolveName("alice", scActiveDirectory); });
  lie("ConvertId", folder, [&] { Session().ConvertId(ifEwsId, id.Id, kAlice, ifHexEntryId); });
  lie("CopyItem", folder, [&] { inbox->CopyItem(id, inbox->GetID()); });
  lie("CreateFolder", names, [&] { inbox->CreateFolder(sffFolder, "x"); });
  lie("DeleteItem", names, [&] { inbox->DeleteItem(id, dtHardDelete); });
  lie("CreateItem", folder, [&] { NewMail()->SaveChanges(soAutoResolve); });
  lie("UpdateItem", folder, [&] {
    mail->SetSubject("Other");
    mail->SaveChanges(soAutoResolve);
  });
  lie("CreateAttachment", folder, [&] {
    Attach(*mail, "a.txt", "aaa");
    mail->SaveChanges(soAutoResolve);
  });
  lie("SendItem", folder, [&] {
    const auto draft = Draft(
        "<t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients>");
    draft->SubmitMessage(false);
  });
}

TEST_F(RoughWorldLies, FewerResponseMessagesThanIds) {
  // Two attachments are deleted with one request; the server speaks of the first only.
  const auto mail = Supports<IVqEWSEMail>(Draft("<t:Subject>S</t:Subject>"));
  Attach(*mail, "a.txt", "aaa");
  Attach(*mail, "b.txt", "bbb");
  mail->SaveChanges(soAutoResolve);
  mail->GetAttachments().Clear(true);
  AnswerNext("DeleteAttachment",
             ReplyOf("DeleteAttachment", "<m:RootItemId RootItemId=\"x\" RootItemChangeKey=\"y\"/>"));
  Raised([&] { mail->SaveChanges(soAutoResolve); });
  // The conversion of two ids gives one: there is no second one to be had.
  const string inbox = Store().GetFolderId(dfininbox).Id;
  Session().ConvertId(ifEwsId, inbox, kAlice, ifHexEntryId);
  AnswerNext("ConvertId", LastExchange("ConvertId").response_body);
  const auto ids = Session().ConvertId({{ifEwsId, inbox, kAlice}, {ifEwsId, inbox, kAlice}}, ifHexEntryId);
  EXPECT_EQ(ids->GetAlternateIds().GetAlternateId().Count(), 1);
  EXPECT_THROW(ids->GetAlternateIds().GetAlternateId().GetItem(1), EListError);
}

TEST_F(RoughWorldLies, MoreOrFewerObjectsThanAskedFor) {
  const auto id = AddMessage("Message");
  Store().GetItem(id);
  const std::string body = LastExchange("GetItem").response_body;
  const std::size_t from = body.find("<t:Message>"),
                    to = body.find("</t:Message>") + std::string("</t:Message>").size();
  const std::string item = body.substr(from, to - from);
  for (const std::string& items : {std::string(), item + item}) {
    AnswerNext("GetItem", body.substr(0, from) + items + body.substr(to));
    EXPECT_NE(Raised([&] { Store().GetItem(id); }), "") << "the probe";
    AnswerNext("GetItem", body.substr(0, from) + items + body.substr(to), 1);
    Raised([&] { Store().GetItem(id)->GetSubject(); });
  }
}

TEST_F(RoughWorldLies, TableThatNeverEnds) {
  AddMessage("One");
  const auto inbox = Inbox();
  const auto items = inbox->GetItems();
  items->Open();
  const std::string body = LastExchange("FindItem").response_body;
  // "There is more", and no more comes.
  const std::string empty =
      std::regex_replace(std::regex_replace(body, std::regex("<t:Items>.*</t:Items>"), "<t:Items/>"),
                         std::regex("IncludesLastItemInRange=\"true\""), "IncludesLastItemInRange=\"false\"");
  for (int i = 0; i < 200; ++i) AnswerNext("FindItem", empty);
  Forget();
  int steps = 0;
  Raised([&] {
    for (items->Open(); !items->Eof() && steps < 100; items->Next()) ++steps;
  });
  EXPECT_LT(steps, 100);
  EXPECT_LT(Server().GetCounters().operations["FindItem"], 110u);
}

}  // namespace
}  // namespace velmore::testing
