// Meetings: saved in two steps, attendees made those of a list, occurrences and masters found.

#include "ews/schema/uVqEWSPropsEPR.h"
#include "tests/wire/CalendarTestSupport.h"

namespace velmore::testing {
namespace {

constexpr TSendMeetingInvitationsOrCancellations kAll[] = {smiocSendToNone, smiocSendOnlyToAll,
                                                           smiocSendToAllAndSaveCopy, smiocSendOnlyToChanged,
                                                           smiocSendToChangedAndSaveCopy};

class Meeting : public CalendarTest {
 protected:
  using CalendarTest::CalendarTest;

  /// The update that notifies is answered by hand, as one that was carried out.
  void AnswerNotice(IVqEWSCalendarItem& item, int updatesBefore = 1) {
    AnswerNext("UpdateItem",
               ReplyOf("UpdateItem",
                       "<m:Items><t:CalendarItem>" + IdElement("ItemId", item.GetID()) + "</t:CalendarItem></m:Items>"),
               updatesBefore);
  }
  /// The changes of an update, by its place among those since `Forget`.
  std::string UpdatesOf(std::size_t which) {
    const Names requests = Requests("UpdateItem");
    if (which >= requests.size()) return "no such update";
    return VqCreateDOM("<r xmlns:m=\"m\" xmlns:t=\"t\">" + requests[which] + "</r>")
        .SelectSingleElement("//Updates", kSelectRequired)
        .GetInnerXML()
        .utf8();
  }
  /// "SendToNone SendOnlyToAll": what the updates since `Forget` said.
  std::string NoticesOf(const std::string& operation = "UpdateItem",
                        const char* attribute = "SendMeetingInvitationsOrCancellations") {
    std::string text;
    for (const std::string& request : Requests(operation)) {
      text += (text.empty() ? "" : " ") + VqCreateDOM("<r xmlns:m=\"m\" xmlns:t=\"t\">" + request + "</r>")
                                              .SelectSingleElement("/r/" + operation, kSelectRequired)
                                              .GetAttribute(attribute)
                                              .utf8();
    }
    return text;
  }
  static std::string SetRequired(const std::string& attendees) {
    return SetField("calendar:RequiredAttendees", Required(attendees), "t:CalendarItem");
  }
  static std::string SetOptional(const std::string& attendees) {
    return SetField("calendar:OptionalAttendees", Optional(attendees), "t:CalendarItem");
  }
  static void AddAttendee(TEwsNonEmptyArrayOfAttendees& list, const string& address) {
    list.GetAttendee().Add().GetMailbox().SetEmailAddress(address);
  }
  /// The attendees of a list as markup, as they stand in the item.
  static std::string Markup(TEwsNonEmptyArrayOfAttendees& list) { return list.AsElement().GetInnerXML().utf8(); }
  static std::string AttendeesOnServer(IVqEWSItem& item, Meeting& test) {
    return AddressesOf(test.Open(item.GetID())->GetRequiredAttendees());
  }
};

// ---- Two saves

TEST_F(Meeting, ChangesGoOutBeforeTheAttendeesAndSilently) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->SetSubject("Moved");
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  const std::string attendees = Markup(item->GetRequiredAttendees());
  AnswerNotice(*item);
  EXPECT_EQ(Sent([&] { item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll); }),
            (Names{"UpdateItem", "GetItem", "UpdateItem", "GetItem"}));
  EXPECT_EQ(NoticesOf(), "SendToNone SendOnlyToAll");
  EXPECT_EQ(UpdatesOf(0), SetField("item:Subject", "<t:Subject>Moved</t:Subject>", "t:CalendarItem"));
  EXPECT_EQ(UpdatesOf(1), SetRequired(attendees));
}

TEST_F(Meeting, BothListsGoOutTogether) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")) + Optional(AttendeeXml("carol@example.com")));
  AddAttendee(item->GetRequiredAttendees(), "dan@example.com");
  AddAttendee(item->GetOptionalAttendees(), "eve@example.com");
  const std::string required = Markup(item->GetRequiredAttendees()), optional = Markup(item->GetOptionalAttendees());
  AnswerNotice(*item);
  Forget();
  item->SaveMeeting(soNeverOverwrite, smiocSendToChangedAndSaveCopy);
  EXPECT_EQ(UpdatesOf(0), "");
  EXPECT_EQ(UpdatesOf(1), SetRequired(required) + SetOptional(optional));
  for (const std::string& request : Requests("UpdateItem"))
    EXPECT_NE(request.find("ConflictResolution=\"NeverOverwrite\""), std::string::npos);
}

TEST_F(Meeting, EachKindOfNoticeIsSaid) {
  for (const auto notice : kAll) {
    const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
    AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
    if (notice != smiocSendToNone) AnswerNotice(*item);
    Forget();
    item->SaveMeeting(soAutoResolve, notice);
    const std::string text = VqEnumToText(notice).utf8();
    EXPECT_EQ(NoticesOf(), notice == smiocSendToNone ? "SendToNone" : "SendToNone " + text);
    Forget();
    item->SaveChanges(soAutoResolve);  // a plain save is silent, whatever was said before
    EXPECT_EQ(NoticesOf(), "SendToNone");
  }
}

// The second save is what writes them. Meant so: a program that wants no notice uses SaveChanges.
TEST_F(Meeting, WithoutANoticeTheChangeOfTheAttendeesIsDropped) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->SetSubject("Moved");
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  EXPECT_EQ(Sent([&] { item->SaveMeeting(soAutoResolve, smiocSendToNone); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(UpdatesOf(0), SetField("item:Subject", "<t:Subject>Moved</t:Subject>", "t:CalendarItem"));
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()), "bob@example.com");
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com");

  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com carol@example.com");
}

TEST_F(Meeting, ANewOneTakesItsAttendeesAlongAndIsAnnouncedByTheSecondSave) {
  const auto item = NewAppointment();
  item->SetSubject("Planning");
  item->SetStartDateTime(At("2026-07-06T08:00:00Z"));
  item->SetEndDateTime(At("2026-07-06T09:00:00Z"));
  AddAttendee(item->GetRequiredAttendees(), "bob@example.com");
  Forget();
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_THROW(item->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy), EVqEWSAttendeesNotSaved);
  EXPECT_EQ(NoticesOf("CreateItem", "SendMeetingInvitations"), "SendToNone");
  EXPECT_EQ(NoticesOf(), "SendToAllAndSaveCopy");
  EXPECT_NE(Request("CreateItem").find("bob@example.com"), std::string::npos);
  EXPECT_FALSE(item->GetIsNewItem());
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com");
}

TEST_F(Meeting, AListThatDidNotChangeHereStaysAsTheServerHasItBySecondSave) {
  const TItemId id = Add(Required(AttendeeXml("bob@example.com")) + Optional(AttendeeXml("dan@example.com")));
  const auto item = Open(id), other = Open(id);
  AddAttendee(other->GetRequiredAttendees(), "carol@example.com");
  other->SaveChanges(soAutoResolve);
  AddAttendee(item->GetOptionalAttendees(), "eve@example.com");
  const std::string optional = Markup(item->GetOptionalAttendees());
  AnswerNotice(*item);
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
  EXPECT_EQ(UpdatesOf(1), SetOptional(optional));
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com carol@example.com");
}

TEST_F(Meeting, ListsThatAreNotThereAreNotAskedFor) {
  const auto item = Appointment();
  item->SetSubject("Alone");
  AnswerNotice(*item);
  EXPECT_EQ(Sent([&] { item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll); }),
            (Names{"UpdateItem", "GetItem", "UpdateItem", "GetItem"}));
}

TEST_F(Meeting, AnEmptiedListIsSentEmpty) {
  for (const bool byProperty : {false, true}) {
    const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
    if (byProperty) {
      item->DeleteProperty(PR_REQUIREDATTENDEES);
    } else {
      item->GetRequiredAttendees().GetAttendee().Clear();
    }
    AnswerNotice(*item);
    Forget();
    item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
    EXPECT_EQ(UpdatesOf(0), "");
    EXPECT_EQ(UpdatesOf(1), SetField("calendar:RequiredAttendees", "<t:RequiredAttendees/>", "t:CalendarItem"));
  }
}

TEST_F(Meeting, RoomsGoOutWithTheFirstSave) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  AddAttendee(item->GetResources(), "room@example.com");
  AnswerNotice(*item);
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
  EXPECT_NE(UpdatesOf(0).find("calendar:Resources"), std::string::npos);
  EXPECT_EQ(UpdatesOf(1), "");
}

// ---- Failures

TEST_F(Meeting, AFailureOfTheFirstSaveLeavesTheAttendeesOutOfPlainSaves) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->SetSubject("Moved");
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  const std::string attendees = Markup(item->GetRequiredAttendees());
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_EQ(CodeOf([&] { item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll); }), "ErrorServerBusy");
  EXPECT_TRUE(item->PropertyByName(PR_REQUIREDATTENDEES).GetExplicitUpdateStatus());
  EXPECT_EQ(Markup(item->GetRequiredAttendees()), attendees);

  // The same again sends both.
  AnswerNotice(*item);
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
  EXPECT_EQ(UpdatesOf(0), SetField("item:Subject", "<t:Subject>Moved</t:Subject>", "t:CalendarItem"));
  EXPECT_EQ(UpdatesOf(1), SetRequired(attendees));
}

TEST_F(Meeting, APlainSaveAfterAFailedFirstOneLeavesTheAttendeesOut) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_EQ(CodeOf([&] { item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll); }), "ErrorServerBusy");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(Meeting, ARefusedSecondSaveTellsWhatIsSavedAndWhatIsNot) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->SetSubject("Moved");
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  const std::string attendees = Markup(item->GetRequiredAttendees());
  RefuseNext("UpdateItem", "ErrorInvalidRecipients", 1);
  try {
    item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
    FAIL();
  } catch (const EVqEWSAttendeesNotSaved& failure) {
    const std::string refusal = RefusalOf([&] { std::rethrow_exception(failure.Cause()); });
    EXPECT_EQ(std::string(failure.what()) + "|" + failure.EWSErrorCode().utf8(),
              "The meeting is saved, its attendees are not: " + refusal);
    EXPECT_EQ(refusal.find("ErrorInvalidRecipients ("), 0u);
  }
  EXPECT_EQ(Open(item->GetID())->GetSubject(), "Moved");
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com");

  EXPECT_EQ(Markup(item->GetRequiredAttendees()), attendees);
  AnswerNotice(*item);
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
  EXPECT_EQ(NoticesOf(), "SendToNone SendOnlyToAll");
  EXPECT_EQ(UpdatesOf(1), SetRequired(attendees));
}

TEST_F(Meeting, ASecondSaveThatFailedLeavesPlainSavesSilent) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  RefuseNext("UpdateItem", "ErrorInvalidRecipients", 1);
  EXPECT_THROW(item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll), EVqEWSAttendeesNotSaved);
  Forget();
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(NoticesOf(), "SendToNone");
}

TEST_F(Meeting, ASecondSaveThatIsCutLeavesOpenWhatBecameOfIt) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  AddAttendee(item->GetRequiredAttendees(), "carol@example.com");
  CutNext("UpdateItem", Cut::before, 1);
  const std::string text =
      MessageOf<EVqEWSAttendeesNotSaved>([&] { item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll); });
  EXPECT_EQ(text.find("The meeting is saved. Whether its attendees are, is not known: "), 0u) << text;
}

// ---- The schema's form, which has no update without changes

class MeetingInSchemasForm : public Meeting {
 protected:
  MeetingInSchemasForm() : Meeting("Exchange2016") { Session().SetStrictSchema(true); }
};

TEST_F(MeetingInSchemasForm, TheSecondSaveSaysTheAttendeesEvenWhenTheyDidNotChange) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")) + Optional(AttendeeXml("carol@example.com")));
  const std::string required = Markup(item->GetRequiredAttendees()), optional = Markup(item->GetOptionalAttendees());
  AnswerNotice(*item);
  item->SetSubject("Moved");
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
  EXPECT_EQ(NoticesOf(), "SendToNone SendToAllAndSaveCopy");
  EXPECT_EQ(UpdatesOf(1), SetRequired(required) + SetOptional(optional));
}

TEST_F(MeetingInSchemasForm, WithoutAttendeesThereIsNobodyToTell) {
  const auto item = Appointment();
  item->SetSubject("Alone");
  EXPECT_EQ(Sent([&] { item->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy); }),
            (Names{"UpdateItem", "GetItem", "GetItem"}));
}

TEST_F(MeetingInSchemasForm, AnEmptiedListIsDeleted) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->GetRequiredAttendees().GetAttendee().Clear();
  AnswerNotice(*item, 0);
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendOnlyToAll);
  EXPECT_EQ(NoticesOf(), "SendOnlyToAll");
  EXPECT_EQ(UpdatesOf(0), DeleteField("calendar:RequiredAttendees"));
}

TEST_F(Meeting, AServerThatRefusesTheEmptyUpdateIsToldTheAttendees) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  const std::string required = Markup(item->GetRequiredAttendees());
  item->SetSubject("Moved");
  RefuseNext("UpdateItem", "ErrorSchemaValidation", 1);
  AnswerNotice(*item, 1);  // counts the requests that no earlier rule took
  Forget();
  item->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
  EXPECT_EQ(NoticesOf(), "SendToNone SendToAllAndSaveCopy SendToAllAndSaveCopy");
  EXPECT_EQ(UpdatesOf(1), "");
  EXPECT_EQ(UpdatesOf(2), SetRequired(required));
}

// ---- Attendees of a list

TEST_F(Meeting, TheRequiredBecomeThoseOfTheListAndKeepTheirEntries) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com", "<t:ResponseType>Accept</t:ResponseType>") +
                                         AttendeeXml("carol@example.com") + AttendeeXml("dan@example.com")));
  const std::string bob = item->GetRequiredAttendees().GetAttendee().GetItem(0).AsElement().GetXML().utf8();
  item->GetRequiredAttendees().GetAttendee().GetItem(2);
  const auto list = Recipients({"DAN@example.com", "eve@example.com", "Bob@Example.com", "EVE@example.com"});
  Store().GetIdentity();  // is asked once
  EXPECT_EQ(Sent([&] { item->ModifyRequiredAttendees(list); }), (Names{}));
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()), "bob@example.com dan@example.com eve@example.com");
  EXPECT_EQ(item->GetRequiredAttendees().GetAttendee().GetItem(0).AsElement().GetXML(), bob);
  item->ModifyRequiredAttendees(list);  // nothing new
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()), "bob@example.com dan@example.com eve@example.com");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttendeesOnServer(*item, *this), "bob@example.com dan@example.com eve@example.com");
}

TEST_F(Meeting, AnEmptyListEmptiesTheRequired) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com") + AttendeeXml("carol@example.com")));
  item->ModifyRequiredAttendees(Recipients({}));
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()), "");
}

// The owner is looked for among the recipients, and then everybody stays. Meant so.
TEST_F(Meeting, AListWithTheOwnerRemovesNobody) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com") + AttendeeXml("carol@example.com")));
  item->ModifyRequiredAttendees(Recipients({"Alice@Example.com"}));
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()), "bob@example.com carol@example.com Alice@Example.com");
  item->ModifyRequiredAttendees(Recipients({"dan@example.com", "alice@example.com"}));
  EXPECT_EQ(AddressesOf(item->GetRequiredAttendees()),
            "bob@example.com carol@example.com Alice@Example.com dan@example.com");
}

TEST_F(Meeting, TheOptionalKnowNoOwner) {
  const auto item = Appointment(Optional(AttendeeXml("bob@example.com") + AttendeeXml("carol@example.com")));
  EXPECT_EQ(Sent([&] {
              item->ModifyOptionalAttendees(Recipients({"alice@example.com", "CAROL@example.com"}));
            }),
            (Names{}));
  EXPECT_EQ(AddressesOf(item->GetOptionalAttendees()), "carol@example.com alice@example.com");
  item->ModifyOptionalAttendees(Recipients({}));
  EXPECT_EQ(AddressesOf(item->GetOptionalAttendees()), "");
}

TEST_F(Meeting, ANewAttendeeHasWhatTheRecipientHas) {
  const auto item = NewAppointment();
  const auto list = Recipients({});
  const auto add = [&](const char* name, const char* address, const char* id, const char* key) {
    const auto recipient = list->AddMailbox(name, address);
    recipient->SetMailboxType(mtContact);
    recipient->SetOriginalDisplayName(string(name) + " (as written)");
    const IVqDOMElement itemId = Supports<TVqEWSRecipient>(recipient)->AsElement().AddElement("t:ItemId");
    itemId.SetAttribute("Id", id);
    itemId.SetAttribute("ChangeKey", key);
  };
  add("Bob & Co", "bob@example.com", "AAA", "KKK");
  add("One", "one@example.com", "BBB", "OneOff");
  add("No", "no@example.com", "", "KKK");
  item->ModifyOptionalAttendees(list);
  const auto markup = [](const std::string& name, const std::string& address, const std::string& id) {
    return "<t:Attendee><t:Mailbox><t:Name>" + name + "</t:Name><t:EmailAddress>" + address +
           "</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType><t:MailboxType>Contact</t:MailboxType>" + id +
           "<t:OriginalDisplayName>" + name + " (as written)</t:OriginalDisplayName></t:Mailbox></t:Attendee>";
  };
  EXPECT_EQ(Markup(item->GetOptionalAttendees()),
            markup("Bob &amp; Co", "bob@example.com", "<t:ItemId Id=\"AAA\" ChangeKey=\"KKK\"/>") +
                markup("One", "one@example.com", "") + markup("No", "no@example.com", ""));
}

TEST_F(Meeting, AddressesBeyondAsciiAreComparedWithoutCase) {
  const auto item = Appointment(Optional(AttendeeXml("j\xC3\xB6rg@example.com") + AttendeeXml("bob@example.com")));
  item->ModifyOptionalAttendees(Recipients({"J\xC3\x96RG@EXAMPLE.COM"}));
  EXPECT_EQ(AddressesOf(item->GetOptionalAttendees()), "j\xC3\xB6rg@example.com");
}

TEST_F(Meeting, RecordsInHandStayWithTheirAttendees) {
  const auto item =
      Appointment(Optional(AttendeeXml("a@example.com") + AttendeeXml("b@example.com") + AttendeeXml("c@example.com")));
  TEwsAttendee& third = item->GetOptionalAttendees().GetAttendee().GetItem(2);
  item->ModifyOptionalAttendees(Recipients({"c@example.com"}));
  EXPECT_EQ(third.GetMailbox().GetEmailAddress(), "c@example.com");
  EXPECT_EQ(item->GetOptionalAttendees().GetAttendee().GetItem(0).GetMailbox().GetEmailAddress(), "c@example.com");
  EXPECT_EQ(item->GetOptionalAttendees().GetAttendee().Count(), 1);
}

TEST_F(Meeting, AThousandAttendeesAreModifiedAndSaved) {
  Names addresses;
  for (int i = 0; i < 1000; ++i) addresses.push_back("person" + std::to_string(i) + "@example.com");
  const auto item = Appointment();
  item->ModifyOptionalAttendees(Recipients(addresses));
  item->SaveChanges(soAutoResolve);
  addresses[500] = "somebody@example.com";
  item->ModifyOptionalAttendees(Recipients(addresses));
  EXPECT_EQ(item->GetOptionalAttendees().GetAttendee().Count(), 1000);
  EXPECT_EQ(item->GetOptionalAttendees().GetAttendee().GetItem(999).GetMailbox().GetEmailAddress(),
            "somebody@example.com");
}

class MeetingVersions : public Meeting, public ::testing::WithParamInterface<const char*> {
 protected:
  MeetingVersions() : Meeting(GetParam()) {}
};

TEST_P(MeetingVersions, AttendeesAreModifiedOnEveryServer) {
  const auto item = Appointment(Required(AttendeeXml("bob@example.com")));
  item->ModifyRequiredAttendees(Recipients({"carol@example.com"}));
  item->ModifyOptionalAttendees(Recipients({"dan@example.com"}));
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttendeesOnServer(*item, *this), "carol@example.com");
  EXPECT_EQ(AddressesOf(Open(item->GetID())->GetOptionalAttendees()), "dan@example.com");
}

INSTANTIATE_TEST_SUITE_P(EveryVersion, MeetingVersions,
                         ::testing::Values("Exchange2007_SP1", "Exchange2010", "Exchange2013", "Exchange2016"),
                         [](const auto& version) { return std::string(version.param); });

// ---- Occurrences and masters

constexpr const char* kNoMaster =
    "The calendaritem is not a recurring appointment! (ErrorCalendarCannotUseIdForRecurringMasterId).|"
    "ErrorCalendarCannotUseIdForRecurringMasterId";
constexpr const char* kNoOccurrence =
    "The calendaritem is not an occurrence! (ErrorCalendarCannotUseIdForRecurringMasterId).|"
    "ErrorCalendarCannotUseIdForRecurringMasterId";
constexpr const char* kNotLocated =
    "Failed to locate the recurring master via the UID! (ErrorCalendarCannotUseIdForRecurringMasterId).|"
    "ErrorCalendarCannotUseIdForRecurringMasterId";

TEST_F(Meeting, OccurrencesAreFoundByTheirIndex) {
  const auto master = Appointment(kDaily);
  EXPECT_EQ(TextOf(master->GetOccurrence(1)->GetStartDateTime()), "2026-03-02T09:00:00Z");
  TVqRef<IVqEWSCalendarItem> third;
  EXPECT_EQ(Sent([&] { third = master->GetOccurrence(3); }), (Names{"GetItem", "GetItem", "GetItem"}));
  EXPECT_EQ(TextOf(third->GetStartDateTime()), "2026-03-04T09:00:00Z");
  // The id alone: no change key goes along. Meant so.
  EXPECT_NE(Requests("GetItem")[0].find("<t:OccurrenceItemId RecurringMasterId=\"" + master->GetID().Id.utf8() +
                                        "\" InstanceIndex=\"3\"/>"),
            std::string::npos);
}

TEST_F(Meeting, TheMasterThatAFolderMadeFindsItsOccurrencesByTheStore) {
  const auto item = NewAppointment();
  item->SetStartDateTime(At("2026-03-02T09:00:00Z"));
  item->SetEndDateTime(At("2026-03-02T10:00:00Z"));
  item->GetRecurrence().GetDailyRecurrence().SetInterval(2);
  item->GetRecurrence().GetNoEndRecurrence().SetStartDate(VqEncodeDate(2026, 3, 2));
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(TextOf(item->GetOccurrence(2)->GetStartDateTime()), "2026-03-04T09:00:00Z");
}

TEST_F(Meeting, WhatIsNoMasterHasNoOccurrences) {
  const auto item = Appointment();
  EXPECT_EQ(RefusalOf([&] { item->GetOccurrence(1); }), kNoMaster);
  EXPECT_EQ(RefusalOf([&] { Appointment(kDaily)->GetOccurrence(1)->GetOccurrence(1); }), kNoMaster);
  // One that is a series only here is let through; what the server has of it is a single item.
  item->GetRecurrence().GetDailyRecurrence().SetInterval(1);
  EXPECT_NE(RefusalOf([&] { item->GetOccurrence(1); }), kNoMaster);
}

class RecurringMaster : public Meeting {
 protected:
  /// The occurrence whose series is looked for.
  TVqRef<IVqEWSCalendarItem> Occurrence() {
    Master = Add(kDaily);
    return Open(Master)->GetOccurrence(2);
  }
  /// The occurrence tells this global id, and the search finds these rows.
  void Answer(IVqEWSCalendarItem& occurrence, const std::string& rows) {
    AnswerNext("GetItem",
               ReplyOf("GetItem", "<m:Items><t:CalendarItem>" + IdElement("ItemId", occurrence.GetID()) +
                                      "<t:ExtendedProperty><t:ExtendedFieldURI DistinguishedPropertySetId=\"Meeting\" "
                                      "PropertyId=\"35\" PropertyType=\"Binary\"/><t:Value>BAAAAIIA4AB0xbcQ</t:Value>"
                                      "</t:ExtendedProperty></t:CalendarItem></m:Items>"));
    AnswerNext("FindItem", ReplyOf("FindItem",
                                   "<m:RootFolder IndexedPagingOffset=\"1\" TotalItemsInView=\"1\" "
                                   "IncludesLastItemInRange=\"true\"><t:Items>" +
                                       rows + "</t:Items></m:RootFolder>"));
  }
  std::string Row(const TItemId& id, const string& uid) {
    return "<t:CalendarItem>" + IdElement("ItemId", id) + "<t:UID>" + uid.utf8() + "</t:UID></t:CalendarItem>";
  }

  TItemId Master;
};

TEST_F(RecurringMaster, IsSearchedByTheCleanGlobalIdInTheFolderOfTheOccurrence) {
  const auto occurrence = Occurrence();
  Answer(*occurrence, Row(Master, occurrence->GetUID()));
  TVqRef<IVqEWSCalendarItem> master;
  EXPECT_EQ(Sent([&] { master = occurrence->GetRecurringMaster(); }),
            (Names{"GetFolder", "GetFolder", "GetItem", "FindItem", "GetItem", "GetItem"}));
  EXPECT_EQ(master->GetID().Id, Master.Id);
  EXPECT_EQ(master->GetCalendarItemType(), citRecurringMaster);
  EXPECT_EQ(Part("FindItem", "Restriction"),
            "<m:Restriction><t:IsEqualTo><t:ExtendedFieldURI PropertySetId=\"6ed8da90-450b-101b-98da-00aa003f1305\" "
            "PropertyId=\"3\" PropertyType=\"Binary\"/><t:FieldURIOrConstant><t:Constant Value=\"BAAAAIIA4AB0xbcQ\"/>"
            "</t:FieldURIOrConstant></t:IsEqualTo></m:Restriction>");
  EXPECT_EQ(Part("FindItem", "ItemShape/AdditionalProperties"),
            "<t:AdditionalProperties><t:FieldURI FieldURI=\"calendar:UID\"/></t:AdditionalProperties>");
}

TEST_F(RecurringMaster, AnotherSeriesOrNoneFailsInTheSameWords) {
  const auto occurrence = Occurrence();
  for (const std::string& rows : {std::string(), Row(Master, "another"),
                                  Row(Master, "another") + Row(Master, occurrence->GetUID())}) {  // only the first row
    Answer(*occurrence, rows);
    EXPECT_EQ(RefusalOf([&] { occurrence->GetRecurringMaster(); }), kNotLocated);
    Server().ClearFaults();
  }
}

TEST_F(RecurringMaster, WhatIsNoOccurrenceHasNone) {
  EXPECT_EQ(RefusalOf([&] { Appointment()->GetRecurringMaster(); }), kNoOccurrence);
  EXPECT_EQ(RefusalOf([&] { Appointment(kDaily)->GetRecurringMaster(); }), kNoOccurrence);
  EXPECT_EQ(RefusalOf([&] { NewAppointment()->GetRecurringMaster(); }), kNoOccurrence);
}

// The creator itself must be the store, not the store behind it. Meant so.
TEST_F(RecurringMaster, IsOnlyFoundForWhatAStoreOpened) {
  const auto item = NewAppointment();
  TEwsCalendarItem(item->AsElement()).SetCalendarItemType(citOccurrence);
  EXPECT_EQ(MessageOf<EVqException>([&] { item->GetRecurringMaster(); }),
            "The calendaritem was not opened by a store.");
  TEwsCalendarItem(item->AsElement()).SetCalendarItemType(citException);
  EXPECT_EQ(MessageOf<EVqException>([&] { item->GetRecurringMaster(); }),
            "The calendaritem was not opened by a store.");
}

}  // namespace
}  // namespace velmore::testing
