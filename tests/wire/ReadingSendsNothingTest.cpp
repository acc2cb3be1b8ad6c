// Every getter is read, then the item is saved or sent: an update without changes, a creation without anything that
// reading made.

#include <set>

#include "ews/items/uVqEWSSmartResponse.h"
#include "tests/wire/CalendarTestSupport.h"
#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

void Read(TVqEWSAttachments& list) {
  for (std::int32_t i = 0; i < list.Count(); ++i) {
    const auto attachment = list.GetAttachment(i);
    attachment->GetName();
    attachment->GetContentType();
    attachment->GetContentId();
    attachment->GetContentLocation();
    attachment->GetSize();
    attachment->GetLastModifiedTime();
    attachment->GetIsInline();
    attachment->GetAttachmentId();
    if (const auto file = Supports<IVqEWSFileAttachment>(attachment)) {
      file->GetIsContactPhoto();
      TVqMemoryStream stream;
      file->SaveToStream(stream);
    } else {
      const auto inner = Supports<IVqEWSItemAttachment>(attachment);
      inner->GetMessage().GetFrom().GetMailbox();
      inner->GetPerson();
    }
  }
}
void Read(TVqEWSStrings& list) {
  list.AsString(",");
}
void Read(const TVqRef<IVqEWSRecipient>& recipient) {
  recipient->GetName();
  recipient->GetEmailAddress();
  recipient->GetRoutingType();
  recipient->GetMailboxType();
  recipient->GetItemId();
  recipient->GetOriginalDisplayName();
}
void Read(const TVqRef<IVqEWSRecipients>& list) {
  for (std::int32_t i = 0; i < list->Count(); ++i) Read(list->GetItem(i));
  list->GetAsString();
}
void Read(const TVqRef<TVqEWSMembersList>& list) {
  for (std::int32_t i = 0; i < list->Count(); ++i) {
    list->GetItem(i)->GetStatus();
    list->GetItem(i)->GetKey();
    Read(list->GetItem(i)->GetMailbox());
  }
}
void Read(const string&) {}
void Read(const TVqEwsTextBody&) {}
void Read(TEwsBody&) {}
void Read(bool) {}
void Read(TDateTime) {}
void Read(TCalendarItemType) {}

/// Reads a record down to its leaves: every member that is a record itself is made on the way.
void ReadDeep(TVqXMLSchemaElement& record, int depth = 0) {
  const TVqXMLSchemaClass& schema = record.GetSchemaClass();
  for (std::int32_t i = 0; depth < 3 && i < schema.GetMemberCount(); ++i) {
    const TVqXMLSchemaMember& member = schema.GetMember(i);
    if (member.Type.Kind != tkClass || !member.Class || member.NodeType != TVqDOMNodeType::ntElement) continue;
    const auto child = member.Class->CreateRecord(record.GetNodeByIndex(i, true).AsElement());
    ReadDeep(*child, depth + 1);
  }
}

/// The members that the schema has no name to ask for, or none for the kind of item: at them a session goes over to the
/// schema's form.
bool IsGiven(IVqEWSItem& item, const std::string& name) {
  static const std::set<std::string> kUnnamed = {"MailboxGuids", "SenderSMTPAddress", "DisplayNamePrefix",
                                                 "IntendedFreeBusyStatus", "CalendarActivityData"};
  return !kUnnamed.contains(name) || item.GetID().Id.empty();
}

#define READ_Read(item, name, ...) \
  if (IsGiven(item, #name)) item.Get##name();
#define READ_Write(item, name, ...) \
  if (IsGiven(item, #name)) item.Get##name();
#define READ_Child(item, name, ...) \
  if (IsGiven(item, #name)) ReadDeep(item.Get##name());
#define READ_Array(item, name, ...) item.Get##name().Count();
#define READ_Own(item, name, ...) Read(item.Get##name());

void ReadItem(IVqEWSItem& item) {
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
  item.GetAllowedResponseTypes();
  item.GetIsPrivate();
  item.GetID();
  item.GetIsSaved();
  item.GetMsgStore();
  item.GetParentFolder();
}

void ReadAll(IVqEWSEMail& item) {
  ReadItem(item);
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
}
void ReadAll(IVqEWSCalendarItem& item) {
  ReadItem(item);
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"
}
void ReadAll(IVqEWSContact& item) {
  ReadItem(item);
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  // Asking a dictionary for an entry makes it.
  for (int key = 0; key < 3; ++key) {
    item.GetEmailAddresses().GetEntry(static_cast<TEmailAddressKey>(key)).GetValue();
    item.GetImAddresses().GetEntry(static_cast<TImAddressKey>(key)).GetValue();
    item.GetPhysicalAddresses().GetEntry(static_cast<TPhysicalAddressKey>(key)).GetCity();
    item.GetUrls().GetEntry(static_cast<TContactUrlKey>(key)).GetAddress();
    item.GetAbchEmailAddresses().GetEmail(static_cast<TAbchEmailAddressType>(key)).GetAddress();
  }
  for (int key = 0; key < 19; ++key) item.GetPhoneNumbers().GetEntry(static_cast<TPhoneNumberKey>(key)).GetValue();
  TVqMemoryStream photo;
  item.GetUserPhoto(photo);
}
void ReadAll(IVqEWSDistributionList& item) {
  ReadItem(item);
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
}
void ReadAll(IVqEWSTask& item) {
  ReadItem(item);
#define GetOwner GetTaskOwner  // read under another name
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
#undef GetOwner
}
void ReadAll(IVqEWSSmartResponse& item) {
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsSmartResponse.inc"
  item.GetReferenceItemId().GetId();
  item.GetBody().GetValue();
}

class ReadingSendsNothing : public PeopleTest {
 protected:
  ReadingSendsNothing() : PeopleTest("Exchange2016") {}

  template <typename TItem>
  void ReadAndSave(const TVqRef<TItem>& item) {
    ReadAll(*item);
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), "");
    item->SaveChanges(soAutoResolve);  // and can be saved again
  }
  /// What a new item is made as when all of it was read.
  template <typename TItem>
  std::string MadeAs(const TVqRef<TItem>& item) {
    ReadAll(*item);
    item->SetSubject("S");
    item->SaveChanges(soAutoResolve);
    ReadAndSave(item);
    return Part("CreateItem", "Items");
  }
};

TEST_F(ReadingSendsNothing, OfANewMessage) {
  const auto mail = NewMail();
  ReadAll(*mail);
  mail->SetSubject("S");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
}

TEST_F(ReadingSendsNothing, OfNewItemsOfOtherKinds) {
  const std::string subject = "<t:Subject>S</t:Subject>";
  EXPECT_EQ(MadeAs(NewContact()), "<m:Items><t:Contact>" + subject + "</t:Contact></m:Items>");
  EXPECT_EQ(MadeAs(NewList()), "<m:Items><t:DistributionList>" + subject + "</t:DistributionList></m:Items>");
  EXPECT_EQ(MadeAs(NewTask()),
            "<m:Items><t:Task>" + subject + "<t:PercentComplete>0</t:PercentComplete></t:Task></m:Items>");
}

TEST_F(ReadingSendsNothing, OfItemsOfOtherKinds) {
  ReadAndSave(
      Contact("<t:GivenName>Ann</t:GivenName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">a@example.com</t:Entry>"
              "</t:EmailAddresses><t:ImAddresses><t:Entry Key=\"ImAddress1\">x</t:Entry></t:ImAddresses>"));
  ReadAndSave(
      List("<t:DisplayName>L</t:DisplayName><t:Members><t:Member><t:Mailbox><t:EmailAddress>a@example.com"
           "</t:EmailAddress></t:Mailbox></t:Member></t:Members>"));
  ReadAndSave(Task("<t:Subject>T</t:Subject>"));
}

TEST_F(ReadingSendsNothing, OfAResponse) {
  const auto mail = Mail(AddMessage("Hello"));
  const auto reply = mail->CreateReply(true);
  const std::string before = reply->AsElement().GetXMLAsUtf8();
  ReadAll(*reply);
  const auto draft = reply->SaveChanges(soAutoResolve);
  ReadAll(*draft);
  EXPECT_EQ(draft->GetSubject(), "RE: Hello");
  EXPECT_EQ(draft->GetToRecipients()->GetAsString(), "Bob Birch <bob@example.com>");
  EXPECT_NE(before.find("ReferenceItemId"), std::string::npos);
}

TEST_F(ReadingSendsNothing, OfANewMessageThatIsSentAtOnce) {
  const auto mail = NewMail();
  ReadAll(*mail);
  mail->SetSubject("S");
  mail->GetToRecipients()->Add("bob@example.com");
  mail->SubmitMessage(false);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Message><t:Subject>S</t:Subject><t:ToRecipients><t:Mailbox><t:Name>bob@example.com</t:Name>"
            "<t:EmailAddress>bob@example.com</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType></t:Mailbox>"
            "</t:ToRecipients></t:Message></m:Items>");
}

TEST_F(ReadingSendsNothing, OfADraft) {
  ReadAndSave(Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"Text\">x</t:Body>"));
}

TEST_F(ReadingSendsNothing, OfWhatArrived) {
  ReadAndSave(Mail(AddMessage("Hello")));
}

TEST_F(ReadingSendsNothing, OfWhatWasSent) {
  const auto mail = NewMail();
  mail->SetSubject("Sent");
  mail->GetToRecipients()->Add("bob@example.com");
  mail->SubmitMessage(true);
  const auto items = Folder(dfinsentitems)->GetItems();
  items->GetFields().Add(FLD_ITEM_ITEMID);
  items->Open();
  ASSERT_FALSE(items->Eof());
  ReadAndSave(Mail(items->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>()));
}

TEST_F(ReadingSendsNothing, OfAMessageWithAttachments) {
  const auto mail = Draft(
      "<t:Attachments><t:FileAttachment><t:Name>a.txt</t:Name><t:Content>YWFh</t:Content></t:FileAttachment>"
      "<t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject></t:Message></t:ItemAttachment>"
      "</t:Attachments>");
  ReadAll(*mail);
  Forget();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Operations(), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Updates(), "");
}

// A draft's MIME text is given a line when it is read; with it the server would make all attachments anew.
TEST_F(ReadingSendsNothing, OfMimeContentWhenAnAttachmentIsRenamed) {
  const auto mail = Draft(
      "<t:Subject>S</t:Subject><t:Attachments><t:FileAttachment><t:Name>a.txt</t:Name><t:Content>YWFh</t:Content>"
      "</t:FileAttachment></t:Attachments>");
  EXPECT_EQ(VqBase64Decode(mail->GetMimeContent().GetValue().utf8()).find("X-Unsent: 1\r\n"), 0u);
  File(*mail, 0)->SetName("b.txt");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
  EXPECT_EQ(AttachmentsOf(*mail), "b.txt=aaa;");
}

TEST_F(ReadingSendsNothing, ButWhatAnApplicationWritesAsMimeContentIsSent) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->GetMimeContent().SetValue(VqBase64Encode(MimeOf("Written")));
  mail->GetMimeContent();
  mail->SaveChanges(soAutoResolve);
  EXPECT_NE(Updates().find("<t:MimeContent"), std::string::npos);
}

TEST_F(ReadingSendsNothing, ASenderIsMadeByItsFirstSetter) {
  const auto mail = NewMail();
  const auto from = mail->GetFrom();
  EXPECT_EQ(from->GetEmailAddress(), "");
  from->SetEmailAddress("alice@example.com");
  EXPECT_EQ(from->GetEmailAddress(), "alice@example.com");
  EXPECT_EQ(mail->GetFrom()->GetEmailAddress(), "alice@example.com");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Message><t:From><t:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></t:Mailbox>"
            "</t:From></t:Message></m:Items>");
}

class ReadingACalendarSendsNothing : public CalendarTest {
 protected:
  ReadingACalendarSendsNothing() : CalendarTest("Exchange2016") {}

  void ReadAndSave(const TVqRef<IVqEWSCalendarItem>& item) {
    ReadAll(*item);
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), "");
    item->SaveChanges(soAutoResolve);  // and can be saved again
  }
};

TEST_F(ReadingACalendarSendsNothing, OfANewAppointment) {
  const auto item = NewAppointment();
  ReadAll(*item);
  item->SetSubject("S");
  item->SetStartDateTime(At("2026-03-02T09:00:00Z"));
  item->SetEndDateTime(At("2026-03-02T10:00:00Z"));
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:CalendarItem><t:Subject>S</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
            "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem></m:Items>");
}

TEST_F(ReadingACalendarSendsNothing, OfAppointmentsSeriesOccurrencesAndMeetings) {
  ReadAndSave(Appointment());
  ReadAndSave(Appointment(kDaily));
  ReadAndSave(Appointment(kDaily)->GetOccurrence(2));
  ReadAndSave(Appointment(Required(AttendeeXml("bob@example.com")) + Optional(AttendeeXml("carol@example.com"))));
}

}  // namespace
}  // namespace velmore::testing
