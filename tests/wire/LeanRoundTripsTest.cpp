// The same conversations with lean round trips and without: an application sees the same and sends fewer requests.

#include <functional>
#include <memory>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/model/uVqEWSTimeZones.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/MailboxTestSupport.h"
#include "tests/wire/SessionTestSupport.h"
#include "tests/wire/WireFormsTourTestSupport.h"

namespace velmore::testing {
namespace {

constexpr const char* kAlice = "alice@example.com";
constexpr const char* kBob = "bob@example.com";

/// A mailbox of its own, and what an application saw of it and sent.
class TWorld {
 public:
  TWorld(const std::string& version, bool lean) : FServer(TwoUsers(version)) {
    FServer.Start();
    Session.SetServiceUrl(FServer.HttpUrl());
    Session.GetCredentials().SetUserName("alice");
    Session.GetCredentials().SetPassword("wonder");
    Session.SetLeanRoundTrips(lean);
    Session.SetActive(true);
    Store = Session.OpenDefaultMsgStore();
    FServer.ClearExchanges();
  }

  TItemId Message(const std::string& subject = "Hello", const std::string& folder = "inbox") {
    const simulator::Id id = FServer.AddMessage(kAlice, folder, MimeOf(subject));
    return {id.id, id.change_key};
  }
  TItemId Item(const std::string& folder, const std::string& xml) {
    const simulator::Id id = FServer.AddItem(kAlice, folder, xml);
    return {id.id, id.change_key};
  }
  TVqRef<IVqEWSEMail> Mail(const TItemId& id) { return Supports<IVqEWSEMail>(Store->GetItem(id)); }
  /// A message of which only what was saved is known, where round trips are lean.
  TVqRef<IVqEWSEMail> SavedMail(const std::string& subject) {
    const auto mail = Mail(Message());
    mail->SetSubject(subject);
    mail->SaveChanges(soAutoResolve);
    return mail;
  }
  TVqRef<IVqEWSFolder> Folder(TDistinguishedFolderIdName name) { return Store->GetFolder(name, ""); }
  simulator::Simulator& Server() { return FServer; }

  template <typename T>
  void See(const std::string& what, const T& value) {
    Seen.push_back(what + ": " + Text(value));
  }
  /// The requests since the last such call.
  Names Sent() {
    Names operations;
    for (const auto& exchange : FServer.Exchanges()) operations.push_back(exchange.operation);
    FServer.ClearExchanges();
    return operations;
  }
  /// Everything that a load brings, but for ids and the times of the clock.
  void SeeAll(IVqEWSItem& item) {
    See("class", item.GetItemClass());
    See("new", item.GetIsNewItem());
    See("saved", item.GetIsSaved());
    See("type", static_cast<int>(item.GetItemType()));
    See("size", item.GetSize());
    See("has attachments", item.GetHasAttachments());
    TVqEWSProperties& properties = item.GetProperties();
    const std::int32_t count = properties.Count();
    See("properties", count);
    for (std::int32_t i = 0; i < count; ++i) {
      TVqEWSProperty& property = properties.GetItem(i);
      const std::string name = property.GetName().utf8();
      See(name + " status", static_cast<int>(property.GetUpdateStatus()));
      if (name.find("TIME") == name.npos && name.find("ID") == name.npos && name.find("KEY") == name.npos &&
          name.find("MIME") == name.npos && name.find("CONVERSATION") == name.npos &&
          name.find("WEBCLIENT") == name.npos)
        See(name, property.GetAsString());
    }
  }

  TVqEWSServiceSession Session;
  TVqRef<IVqEWSMsgStore> Store;
  Names Seen;

 private:
  static std::string Text(const string& value) { return value.utf8(); }
  static std::string Text(const std::string& value) { return value; }
  static std::string Text(const char* value) { return value; }
  template <typename T>
  static std::string Text(T value) {
    return std::to_string(value);
  }

  simulator::Simulator FServer;
};

using TScenario = std::function<void(TWorld&)>;

class LeanRoundTrips : public ::testing::Test {
 protected:
  /// Plays a scenario in both settings. What is seen is the same; what is sent is told.
  void Plays(const TScenario& scenario, const Names& asEver, const Names& lean) {
    TWorld one(FVersion, false), other(FVersion, true);
    scenario(one);
    EXPECT_EQ(one.Sent(), asEver);
    scenario(other);
    EXPECT_EQ(other.Sent(), lean);
    EXPECT_EQ(one.Seen.size(), other.Seen.size());
    for (std::size_t i = 0; i < std::min(one.Seen.size(), other.Seen.size()); ++i)
      EXPECT_EQ(other.Seen[i], one.Seen[i]) << "what was seen as number " << i;
    EXPECT_FALSE(one.Seen.empty()) << "nothing was looked at";
  }

  std::string FVersion = "Exchange2016";
};

// ---- Opening

TEST_F(LeanRoundTrips, ItemOfAStore) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        world.See("subject", mail->GetSubject());
        world.SeeAll(*mail);
      },
      {"GetItem", "GetItem"}, {"GetItem"});
}

TEST_F(LeanRoundTrips, ItemOfEveryKind) {
  const std::pair<const char*, const char*> items[] = {
      {"contacts", "<t:Contact><t:GivenName>Bob</t:GivenName></t:Contact>"},
      {"contacts", "<t:DistributionList><t:DisplayName>All</t:DisplayName></t:DistributionList>"},
      {"tasks", "<t:Task><t:Subject>Do</t:Subject></t:Task>"},
      {"inbox", "<t:PostItem><t:Subject>Posted</t:Subject></t:PostItem>"},
      {"calendar",
       "<t:CalendarItem><t:Subject>Meet</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
       "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>"}};
  for (const auto& [folder, xml] : items) {
    SCOPED_TRACE(xml);
    Plays([&](TWorld& world) { world.SeeAll(*world.Store->GetItem(world.Item(folder, xml))); }, {"GetItem", "GetItem"},
          {"GetItem"});
  }
}

TEST_F(LeanRoundTrips, ItemByItsClassIsLoadedWhenItIsRead) {
  const auto open = [](TWorld& world) {
    const TItemId id = world.Message();
    auto mail = MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(world.Store).get(), id);
    world.See("same id", mail->GetID().Id == id.Id && mail->GetID().ChangeKey == id.ChangeKey);
    world.See("new", mail->GetIsNewItem());
    return mail;
  };
  Plays([&](TWorld& world) { open(world); }, {"GetItem"}, {});
  Plays([&](TWorld& world) { world.SeeAll(*open(world)); }, {"GetItem"}, {"GetItem"});
  Plays([&](TWorld& world) { world.See("to", open(world)->GetToRecipients()->GetAsString()); }, {"GetItem"},
        {"GetItem"});
  Plays([&](TWorld& world) { world.See("from", open(world)->GetFrom()->GetEmailAddress()); }, {"GetItem"}, {"GetItem"});
  Plays([&](TWorld& world) { world.See("categories", open(world)->GetCategories().Count()); }, {"GetItem", "GetItem"},
        {"GetItem", "GetItem"});  // a load leaves out what is empty
}

TEST_F(LeanRoundTrips, MimeContentNeedsNoLoad) {
  Plays(
      [](TWorld& world) {
        TVqMemoryStream stream;
        MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(world.Store).get(), world.Message())->SaveToStream(stream);
        stream.SetPosition(0);
        world.See("mime", stream.ReadAll().find("Subject: Hello") != std::string::npos);
      },
      {"GetItem", "GetItem"}, {"GetItem"});
  Plays(
      [](TWorld& world) {
        TVqMemoryStream stream;
        world.Mail(world.Message())->SaveToStream(stream);
        stream.SetPosition(0);
        world.See("mime", stream.ReadAll().find("Subject: Hello") != std::string::npos);
      },
      {"GetItem", "GetItem", "GetItem"}, {"GetItem", "GetItem"});
}

TEST_F(LeanRoundTrips, FoldersOfAStore) {
  const auto see = [](TWorld& world, IVqEWSFolder& folder) {
    world.See("name", folder.GetDisplayName());
    world.See("kind", static_cast<int>(folder.GetFolderFieldType()));
    world.See("total", folder.GetTotalCount());
    world.See("calendar", Supports<IVqEWSCalendarFolder>(TVqRef<IVqEWSFolder>(&folder)) ? 1 : 0);
    world.See("read", folder.GetEffectiveRights().GetRead());
    world.See("store", folder.GetMsgStore() ? 1 : 0);
  };
  for (const TDistinguishedFolderIdName name : {dfininbox, dfincalendar, dfincontacts, dfintasks}) {
    Plays([&](TWorld& world) { see(world, *world.Folder(name)); }, {"GetFolder", "GetFolder"}, {"GetFolder"});
  }
  Plays([&](TWorld& world) { see(world, *world.Store->GetFolder(dfininbox, kAlice)); }, {"GetFolder", "GetFolder"},
        {"GetFolder"});
  Plays([&](TWorld& world) { see(world, *world.Store->GetFolder(world.Store->GetFolderId(dfincalendar))); },
        {"GetFolder", "GetFolder", "GetFolder"}, {"GetFolder", "GetFolder"});
  Plays([&](TWorld& world) { see(world, *world.Store->GetFolder(world.Store->GetFolderId(dfininbox))); },
        {"GetFolder", "GetFolder"}, {"GetFolder", "GetFolder"});
}

TEST_F(LeanRoundTrips, WhatIsNotThere) {
  Plays(
      [](TWorld& world) {
        const TItemId id = world.Message();
        world.Folder(dfininbox)->DeleteItem(id, dtHardDelete);
        world.Sent();
        world.See("store", CodeOf([&] { world.Store->GetItem(id); }));
        world.See("folder", CodeOf([&] { world.Store->GetFolder(dfinarchiveinbox, ""); }));
        world.See("folder id", CodeOf([&] { world.Store->GetFolder(id); }));
      },
      {"GetItem", "GetFolder", "GetFolder"}, {"GetItem", "GetFolder", "GetFolder"});
  // By its class, the failure is that of the first read, and of each after it.
  TWorld world("Exchange2016", true);
  const TItemId id = world.Message();
  const auto mail = MakeRef<TVqEWSEMail>(Supports<TVqEWSMsgStore>(world.Store).get(), id);
  world.Folder(dfininbox)->DeleteItem(id, dtHardDelete);
  EXPECT_EQ(CodeOf([&] { mail->GetSubject(); }), "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { mail->SetSubject("x"); }), "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { mail->GetProperties().Count(); }), "ErrorItemNotFound");
  EXPECT_EQ(mail->GetID().Id, id.Id);
}

// ---- Saving

TEST_F(LeanRoundTrips, MarkAsRead) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        const TItemId before = mail->GetID();
        mail->SetIsRead(true);
        mail->SaveChanges(soAutoResolve);
        world.See("id", mail->GetID().Id == before.Id);
        world.See("key moved", mail->GetID().ChangeKey != before.ChangeKey);
        world.See("read", mail->GetIsRead());  // sent, so known
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem"}, {"GetItem", "UpdateItem"});
}

TEST_F(LeanRoundTrips, WhatASaveCouldNotKnowIsReadBackOnce) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.SavedMail("Changed");
        world.See("subject", mail->GetSubject());
        world.SeeAll(*mail);
        world.See("subject", mail->GetSubject());
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem"}, {"GetItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, SavesOneAfterTheOther) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        for (const char* subject : {"One", "Two", "Three"}) {
          mail->SetSubject(subject);
          mail->SetImportance(icHigh);
          mail->SaveChanges(soNeverOverwrite);
          world.See("subject", mail->GetSubject());
        }
        mail->SaveChanges(soNeverOverwrite);  // nothing: sent all the same
        world.SeeAll(*world.Mail(mail->GetID()));
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem",
       "GetItem", "GetItem", "GetItem"},
      {"GetItem", "UpdateItem", "UpdateItem", "UpdateItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, OnlyWhatDiffersIsSentAfterASave) {
  TWorld world("Exchange2016", true);
  const auto mail = world.Mail(world.Message());
  const auto updates = [&] {
    std::string all;
    for (const auto& exchange : world.Server().Exchanges()) {
      if (exchange.operation == "UpdateItem")
        all = VqCreateDOM(exchange.request_body)
                  .SelectSingleElement("/Envelope/Body/UpdateItem/ItemChanges/ItemChange/Updates", kSelectRequired)
                  .GetInnerXML()
                  .utf8();
    }
    world.Server().ClearExchanges();
    return all;
  };
  const std::string importance =
      "<t:SetItemField><t:FieldURI FieldURI=\"item:Importance\"/><t:Message><t:Importance>High</t:Importance>"
      "</t:Message></t:SetItemField>";
  mail->SetSubject("One");
  mail->SaveChanges(soAutoResolve);
  updates();
  mail->SetSubject("One");  // as it is
  mail->SetImportance(icHigh);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(updates(), importance);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(updates(), "");
  // Of what an earlier save has sent nothing is known any more: it may be another's by now.
  mail->SetImportance(icHigh);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(updates(), importance);
}

TEST_F(LeanRoundTrips, WhatIsWrittenBeforeTheItemIsReadBackStays) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.SavedMail("One");
        mail->SetSubject("Two");
        mail->SetIsRead(true);
        world.SeeAll(*mail);
        world.See("modified", mail->PropertyByName(PR_SUBJECT).GetModified());
        mail->SaveChanges(soAutoResolve);
        world.SeeAll(*mail);
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"},
      {"GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, EmptiedAfterASave) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        mail->SetIsRead(true);
        mail->SaveChanges(soAutoResolve);
        mail->SetSubject("");
        mail->SaveChanges(soAutoResolve);
        world.SeeAll(*world.Mail(mail->GetID()));
        mail->SetSubject("Again");
        mail->SaveChanges(soAutoResolve);
        mail->SetSubject("");
        world.See("subject", mail->GetSubject());
        mail->SaveChanges(soAutoResolve);
        world.SeeAll(*world.Mail(mail->GetID()));
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem", "GetItem", "GetItem", "UpdateItem",
       "GetItem", "UpdateItem", "GetItem", "GetItem", "GetItem"},
      {"GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, OfASubjectThatWasDeletedNothingIsKept) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        mail->SetSubject("Changed");
        mail->DeleteProperty(PR_SUBJECT);
        mail->SaveChanges(soAutoResolve);
        world.See("subject", mail->GetSubject());
      },
      {"GetItem", "GetItem", "UpdateItem", "GetItem", "GetItem"}, {"GetItem", "UpdateItem", "GetItem", "GetItem"});
}

TEST_F(LeanRoundTrips, PropertiesByName) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        mail->PropertyByName(PR_SUBJECT).SetAsString("One");
        mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
        mail->SaveChanges(soAutoResolve);
        world.See("subject", mail->PropertyByName(PR_SUBJECT).GetAsString());
        world.See("has", mail->HasProperty(EPR_COMMON_PRIVATE));
        world.See("private", mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
        mail->SaveChanges(soAutoResolve);
        mail->PropertyByName(PR_SUBJECT).SetModified(true);  // sent whatever it is
        mail->SaveChanges(soAutoResolve);
        world.See("markup", mail->AsElement().HasChildElement("Subject"));
      },
      {"GetItem", "GetItem", "GetItem", "UpdateItem", "GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem",
       "GetItem"},
      {"GetItem", "GetItem", "UpdateItem", "GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, NewItemsOfEveryKind) {
  const std::pair<TDistinguishedFolderIdName, TItemType> kinds[] = {
      {dfindrafts, tMessage}, {dfincontacts, tContact}, {dfintasks, tTask}};
  for (const auto& [folder, type] : kinds) {
    SCOPED_TRACE(type);
    // The first of the calendar's times asks for the server's zones.
    const auto lean = [type = type](Names operations) {
      if (type == tTask) operations.insert(operations.begin(), "GetServerTimeZones");
      return operations;
    };
    Plays(
        [&, folder = folder, type = type](TWorld& world) {
          const auto item = world.Folder(folder)->CreateItem(type);
          world.Sent();
          item->SetSubject("Fresh");
          item->SetBodyText("Text");
          item->SaveChanges(soAutoResolve);
          world.See("saved", item->GetIsSaved());
          world.See("new", item->GetIsNewItem());
          world.SeeAll(*item);
        },
        {"CreateItem", "GetItem"}, lean({"CreateItem", "GetItem"}));
    Plays(
        [&, folder = folder, type = type](TWorld& world) {
          const auto item = world.Folder(folder)->CreateItem(type);
          world.Sent();
          item->SetSubject("Fresh");
          item->SaveChanges(soAutoResolve);
          world.See("subject", item->GetSubject());
          item->SetSubject("Fresher");
          item->SaveChanges(soAutoResolve);
          world.See("subject", item->GetSubject());
        },
        {"CreateItem", "GetItem", "UpdateItem", "GetItem"}, lean({"CreateItem", "UpdateItem"}));
  }
}

TEST_F(LeanRoundTrips, TaskOfAnOldServer) {
  FVersion = "Exchange2010_SP2";
  Plays(
      [](TWorld& world) {
        const auto task = Supports<IVqEWSTask>(world.Folder(dfintasks)->CreateItem(tTask));
        world.Sent();
        task->SetSubject("Do");
        task->SetDueDate(46100.0);
        task->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
        task->SaveChanges(soAutoResolve);
        world.See("due", static_cast<double>(task->GetDueDate()));
        world.SeeAll(*task);
      },
      {"CreateItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"},
      {"GetServerTimeZones", "CreateItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, AttachmentsAreSavedWithTheItem) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message("With files", "drafts"));
        TVqMemoryStream content("content");
        mail->GetAttachments().AddAttachment("a.txt", "text/plain", content);
        content.SetPosition(0);
        mail->GetAttachments().AddAttachment("b.txt", "text/plain", content);
        mail->SetSubject("Changed");
        mail->SaveChanges(soAutoResolve);
        mail->SetSubject("Changed again");  // needs no attachments
        mail->SaveChanges(soAutoResolve);
        world.See("attachments", mail->GetAttachments().Count());
        mail->GetAttachments().DeleteAttachment(0);
        mail->SaveChanges(soAutoResolve);
        world.See("attachments", mail->GetAttachments().Count());
        world.See("name", mail->GetAttachments().GetAttachment(0)->GetName());
      },
      {"GetItem", "GetItem", "GetItem", "UpdateItem", "CreateAttachment", "CreateAttachment", "GetItem", "UpdateItem",
       "GetItem", "UpdateItem", "DeleteAttachment", "GetItem"},
      {"GetItem", "GetItem", "UpdateItem", "CreateAttachment", "CreateAttachment", "UpdateItem", "GetItem",
       "UpdateItem", "DeleteAttachment", "GetItem"});
}

TEST_F(LeanRoundTrips, RefusedDeletionsOfAttachmentsAreTold) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message("With a file", "drafts"));
        TVqMemoryStream content("content");
        mail->GetAttachments().AddAttachment("a.txt", "text/plain", content);
        mail->SaveChanges(soAutoResolve);
        simulator::Fault fault;
        fault.operation = "DeleteAttachment";
        fault.response_code = "ErrorAccessDenied";
        world.Server().AddFault(fault);
        mail->GetAttachments().DeleteAttachment(0);
        world.Sent();
        mail->SaveChanges(soAutoResolve);
        world.See("refused", mail->GetRefusedDeletions().size());
        world.See("still there", mail->GetAttachments().Count());
      },
      {"UpdateItem", "DeleteAttachment", "GetItem"}, {"UpdateItem", "DeleteAttachment", "GetItem"});
}

TEST_F(LeanRoundTrips, WhatWasHandedOutRaisesAfterASave) {
  const auto raises = [](const std::function<void()>& use) {
    try {
      use();
    } catch (const EVqException&) {
      return true;
    }
    return false;
  };
  Plays(
      [&](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        TVqEWSAttachments& attachments = mail->GetAttachments();
        TVqEWSStrings& categories = mail->GetCategories();
        TEwsBody& body = mail->GetBody();
        const auto to = mail->GetToRecipients();
        const auto from = mail->GetFrom();
        mail->SetSubject("x");
        mail->SaveChanges(soAutoResolve);
        world.See("attachments", raises([&] { attachments.Count(); }));
        world.See("categories", raises([&] { categories.Count(); }));
        world.See("body", raises([&] { body.GetValue(); }));
        world.See("to", raises([&] { to->Count(); }));
        world.See("from", raises([&] { from->GetName(); }));
      },
      {"GetItem", "GetItem", "GetItem", "GetItem", "UpdateItem", "GetItem"},
      {"GetItem", "GetItem", "GetItem", "UpdateItem"});
}

TEST_F(LeanRoundTrips, MembersOfAListAfterASave) {
  Plays(
      [](TWorld& world) {
        const auto list = world.Folder(dfincontacts)->CreateDistributionList();
        list->SetDisplayName("All");
        list->GetMembers()->AddMailbox("Bob", kBob);
        list->SaveChanges(soAutoResolve);
        world.See("members", list->GetMembers()->Count());
        world.See("first", list->GetMembers()->GetItem(0)->GetMailbox()->GetEmailAddress());
        list->GetMembers()->AddMailbox("Carol", "carol@elsewhere.example");
        list->SaveChanges(soAutoResolve);
        world.See("members", list->GetMembers()->Count());
        world.Sent();
      },
      {}, {});
}

TEST_F(LeanRoundTrips, AppointmentsAndMeetings) {
  const auto story = [](TWorld& world) {
    const auto meeting = Supports<IVqEWSCalendarItem>(world.Folder(dfincalendar)->CreateItem(tCalendarItem));
    meeting->SetSubject("Meet");
    meeting->SetStartDateTime(46100.5);
    meeting->SetEndDateTime(46100.75);
    const auto bob = world.Session.CreateRecipients();
    bob->Add(kBob);
    meeting->ModifyRequiredAttendees(bob);
    meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
    world.See("attendees", meeting->GetRequiredAttendees().GetAttendee().Count());
    world.SeeAll(*meeting);
    meeting->SetSubject("Meet later");
    meeting->SetEndDateTime(46100.8);
    meeting->SaveMeeting(soAutoResolve, smiocSendToChangedAndSaveCopy);
    world.SeeAll(*meeting);
    meeting->SetSubject("Meet at last");
    meeting->SaveChanges(soAutoResolve);
    world.See("subject", meeting->GetSubject());
    world.See("start", static_cast<double>(meeting->GetStartDateTime()));
    world.Sent();
  };
  Plays(story, {}, {});
}

// ---- Sending

TEST_F(LeanRoundTrips, SendingWhatWasSaved) {
  Plays(
      [](TWorld& world) {
        const auto mail = Supports<IVqEWSEMail>(world.Folder(dfindrafts)->CreateItem(tMessage));
        world.Sent();
        mail->SetSubject("To Bob");
        mail->GetToRecipients()->Add(kBob);
        mail->SaveChanges(soAutoResolve);
        mail->SubmitMessage(true);
        world.See("submitted", mail->GetIsSubmitted());
        world.See("subject", mail->GetSubject());
        world.See("size", mail->GetSize());
        world.See("arrived", world.Server().CountItems(kBob, "inbox"));
      },
      {"CreateItem", "GetItem", "UpdateItem", "GetItem", "SendItem"},
      {"CreateItem", "GetItem", "UpdateItem", "GetItem", "SendItem"});
  Plays(
      [](TWorld& world) {
        const auto mail = Supports<IVqEWSEMail>(world.Folder(dfindrafts)->CreateItem(tMessage));
        world.Sent();
        mail->SetSubject("To Bob");
        mail->GetToRecipients()->Add(kBob);
        TVqMemoryStream content("content");
        mail->GetAttachments().AddAttachment("a.txt", "text/plain", content);
        mail->SubmitMessage(true);
        world.See("submitted", mail->GetIsSubmitted());
        world.See("attachments", mail->GetAttachments().Count());
      },
      {"CreateItem", "CreateAttachment", "GetItem", "SendItem"},
      {"CreateItem", "CreateAttachment", "GetItem", "SendItem"});
}

TEST_F(LeanRoundTrips, RepliesThatAreSaved) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        world.Sent();
        const auto reply = mail->CreateReply(false);
        reply->SetBodyText("Yes");
        const auto draft = reply->SaveChanges(soAutoResolve);
        world.See("subject", draft->GetSubject());
        world.See("to", draft->GetToRecipients()->GetAsString());
        world.See("reply subject", reply->GetSubject());
        world.See("reply to", reply->GetToRecipients()->GetAsString());
      },
      {"CreateItem", "GetItem", "GetItem", "GetItem"}, {"CreateItem", "GetItem", "GetItem"});
}

// ---- Others at work on the same item

TEST_F(LeanRoundTrips, ChangesOfOthersAreSeenAfterASave) {
  Plays(
      [](TWorld& world) {
        const TItemId id = world.Message();
        const auto mail = world.Mail(id), others = world.Mail(id);
        others->SetImportance(icHigh);
        others->SaveChanges(soAutoResolve);
        mail->SetIsRead(true);
        mail->SaveChanges(soAutoResolve);
        world.See("importance", static_cast<int>(mail->GetImportance()));
        world.See("read", mail->GetIsRead());
      },
      {"GetItem", "GetItem", "GetItem", "GetItem", "UpdateItem", "GetItem", "UpdateItem", "GetItem"},
      {"GetItem", "GetItem", "UpdateItem", "UpdateItem", "GetItem"});
}

TEST_F(LeanRoundTrips, SaveThatFailsLeavesTheItemAsItWas) {
  Plays(
      [](TWorld& world) {
        const auto mail = world.Mail(world.Message());
        const auto refused = [&] {
          simulator::Fault fault;
          fault.operation = "UpdateItem";
          fault.response_code = "ErrorAccessDenied";
          world.Server().AddFault(fault);
          world.See("refused", CodeOf([&] { mail->SaveChanges(soAutoResolve); }));
        };
        mail->SetSubject("One");
        refused();
        mail->SaveChanges(soAutoResolve);
        mail->SetSubject("Two");
        refused();
        world.See("subject", mail->GetSubject());
        mail->SaveChanges(soAutoResolve);
        world.SeeAll(*mail);
        world.Sent();
      },
      {}, {});
}

TEST_F(LeanRoundTrips, ReadThatFailsIsTriedAgain) {
  TWorld world("Exchange2016", true);
  const auto mail = world.SavedMail("One");
  mail->SetSubject("Two");
  simulator::Fault fault;
  fault.operation = "GetItem";
  fault.response_code = "ErrorAccessDenied";
  world.Server().AddFault(fault);
  EXPECT_EQ(CodeOf([&] { mail->GetSize(); }), "ErrorAccessDenied");
  EXPECT_EQ(mail->GetSubject(), "Two");
  EXPECT_GT(mail->GetSize(), 0);
  EXPECT_EQ(mail->GetSubject(), "Two") << "written before the load";
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(world.Mail(mail->GetID())->GetSubject(), "Two");
}

// ---- Logging on

class LeanLogon : public EWSTest {
 protected:
  /// The requests of a program that logs on and opens its inbox, and those that were refused first.
  std::size_t Costs(TVqEWSServiceSession& session) {
    const auto before = Server().GetCounters().requests;
    session.SetActive(true);
    EXPECT_EQ(session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetDisplayName(), "Inbox");
    return Server().GetCounters().requests - before;
  }
};

TEST_F(LeanLogon, TakesThreeRequestsAtMost) {
  TVqEWSServiceSession asEver, lean, unasked;
  for (TVqEWSServiceSession* session : {&asEver, &lean, &unasked}) Configure(*session);
  asEver.SetLeanRoundTrips(false);
  lean.SetLeanRoundTrips(true);
  unasked.SetLeanRoundTrips(true);
  unasked.SetAuthentication(TVqHTTPAuthentication::basic);
  EXPECT_EQ(Costs(asEver), 8U);
  EXPECT_EQ(Costs(lean), 3U) << "challenge, probe, folder";
  EXPECT_EQ(Costs(unasked), 2U) << "probe, folder";
}

TEST_F(LeanLogon, BasicOverHttpsGoesWithTheFirstRequest) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetServiceUrl(Server().HttpsUrl());
  session.SetCAFile(Server().CaCertificateFile());
  session.SetLeanRoundTrips(true);
  session.SetAuthentication(TVqHTTPAuthentication::basic);
  EXPECT_EQ(Costs(session), 2U);
  // Later changes reach the live client.
  session.SetAuthentication(TVqHTTPAuthentication::anonymous);
  EXPECT_THROW(session.OpenDefaultMsgStore()->GetFolderId(dfininbox), EVqHTTPException);
  session.SetAuthentication(TVqHTTPAuthentication::byChallenge);
  session.OpenDefaultMsgStore()->GetFolderId(dfininbox);
}

TEST_F(LeanLogon, WrongPasswordIsToldAtLogonAsEver) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetLeanRoundTrips(true);
  session.SetAuthentication(TVqHTTPAuthentication::basic);
  session.GetCredentials().SetPassword("wrong");
  EXPECT_EQ(MessageOf<EVqHTTPApiException>([&] { session.SetActive(true); }),
            "LOGIN_FAILURE: Either an invalid name and/or password were provided!");
}

TEST_F(LeanLogon, IdentityIsAskedWhenItIsWanted) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetLeanRoundTrips(true);
  session.SetActive(true);
  Forget();
  const auto store = session.OpenDefaultMsgStore();
  EXPECT_EQ(Operations(), std::vector<std::string>{});
  EXPECT_EQ(store->GetIdentity()->GetEmailAddress(), kAlice);
  EXPECT_EQ(Operations(), (std::vector<std::string>{"GetFolder", "ConvertId", "ResolveNames"}));
  Forget();
  store->GetIdentity();
  EXPECT_EQ(Operations(), std::vector<std::string>{});
}

// ---- Time zones, and whom requests are anchored on

class LeanFraming : public SessionTest {
 protected:
  LeanFraming() { Session.SetLeanRoundTrips(true); }
  static std::string Zones(const std::string& id) {
    return Success("GetServerTimeZones", "<m:TimeZoneDefinitions><t:TimeZoneDefinition Id=\"" + id + "\" Name=\"" +
                                             EwsMachineOffsetText().utf8() + " There\"/></m:TimeZoneDefinitions>");
  }
  void LogOnLean() {
    Server.Then(ProbeAnswer({15, 1, 0, 0, "Exchange2016"}));
    Session.SetActive(true);
  }
};

TEST_F(LeanFraming, ZonesOfTheServerAreAskedWhenTheContextIsRead) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnLean();
  EXPECT_EQ(Server.Requests().size(), 1U);
  Server.Then(Reply("GetServerTimeZones", Zones("Theirs")));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Theirs");
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Theirs");
  EXPECT_EQ(Server.Requests().size(), 2U);
  EXPECT_EQ(Server.Complaints(), "");
}

TEST_F(LeanFraming, ZonesOfTheServerAreAskedBeforeTheFirstTimeIsWritten) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnLean();
  const auto zone = [&](const ScriptedServer::Request& request) {
    return VqCreateDOM(request.Body)
        .SelectSingleElement("/Envelope/Header/TimeZoneContext/TimeZoneDefinition", kSelectRequired)
        .GetAttribute("Id");
  };
  const auto composed = [&](const char* element) {
    const auto request = Session.CreateRequest(nullptr, "m:CreateItem", "");
    request->GetMethod().AddElement("m:Items").AddElement(element);
    return request;
  };
  const auto send = [&](const TVqRef<IVqSOAPRequest>& request) {
    TVqRef<IVqSOAPResponse> response;
    request->Send(response);
  };
  const auto earlier = composed("t:CalendarItem");
  Server.Then(Reply("CreateItem", Success("CreateItem")));
  send(composed("t:Message"));
  EXPECT_EQ(Server.Requests().size(), 2U) << "a message names no time";
  EXPECT_EQ(zone(LastRequest()), "Unknown");
  Server.Then(Reply("GetServerTimeZones", Zones("Theirs"))).Then(Reply("CreateItem", Success("CreateItem")));
  send(composed("t:CalendarItem"));
  EXPECT_EQ(Server.Requests().size(), 4U);
  EXPECT_EQ(zone(LastRequest()), "Theirs");
  Server.Then(Reply("CreateItem", Success("CreateItem")));
  send(composed("t:Task"));
  EXPECT_EQ(Server.Requests().size(), 5U) << "once";
  Server.Then(Reply("CreateItem", Success("CreateItem")));
  send(earlier);
  EXPECT_EQ(zone(LastRequest()), "Theirs") << "made before, saved behind it";
  EXPECT_EQ(Server.Complaints(), "");
}

TEST_F(LeanFraming, ContextThatTheApplicationSetsStays) {
  LogOnLean();
  Session.SetCurrentTimeZoneContext("Mine");
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Mine");
  EXPECT_EQ(Server.Requests().size(), 1U);
}

TEST_F(LeanFraming, FailureToGetTheZonesIsNone) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnLean();
  Server.Then(Http("500 Internal Server Error", ""));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Unknown");
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Unknown") << "and is not tried again";
  EXPECT_EQ(Server.Requests().size(), 2U);
}

TEST_F(LeanFraming, RequestsAreAnchoredOnWhatIsLikely) {
  LogOnLean();
  const auto anchor = [&] {
    Server.Then(Reply("GetFolder", ""));
    TVqRef<IVqSOAPResponse> response;
    Session.CreateRequest(nullptr, "m:GetFolder", "")->Send(response);
    return LastRequest().Header("X-AnchorMailbox");
  };
  EXPECT_EQ(anchor(), "");
  Session.GetCredentials().SetUserName("EXAMPLE\\ann");
  EXPECT_EQ(anchor(), "");
  Session.GetCredentials().SetUserName("ann@example.com");
  EXPECT_EQ(anchor(), "ann@example.com");
  Session.SetAutodiscoverEMail("office@example.com");
  EXPECT_EQ(anchor(), "office@example.com");
}

// ---- Everything

TEST(LeanTour, WritesTheSameAndLeavesTheSameBehind) {
  for (const char* version : {"Exchange2007_SP1", "Exchange2010_SP2", "Exchange2016"}) {
    SCOPED_TRACE(version);
    TWireTour asEver(version, false, 7, false), lean(version, false, 7, false);
    lean.SetLean();
    for (TWireTour* tour : {&asEver, &lean}) tour->Round();
    EXPECT_EQ(lean.Refusals(), asEver.Refusals());
    EXPECT_EQ(lean.Mailboxes(), asEver.Mailboxes());
    EXPECT_LT(lean.Requests().size(), asEver.Requests().size());
    const auto writes = [](const TWireTour& tour) {
      Names operations;
      for (const std::string& request : tour.Requests()) {
        const string operation = VqCreateDOM(request)
                                     .SelectSingleElement("/Envelope/Body", kSelectRequired)
                                     .GetFirstChildElement()
                                     .GetLocalName();
        if (!operation.StartsWith("Get") && operation != "ConvertId" && operation != "ResolveNames")
          operations.push_back(operation.utf8());
      }
      return operations;
    };
    EXPECT_EQ(writes(lean), writes(asEver));
  }
}

}  // namespace
}  // namespace velmore::testing
