// Every getter is read, then the item is saved or sent: an update without changes, a creation without anything that
// reading made.

#include "tests/wire/SaveTestSupport.h"

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
void Read(const string&) {}
void Read(const TVqEwsTextBody&) {}

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

/// The two members that the schema has no name to ask for: at them a session goes over to the schema's form.
bool IsGiven(IVqEWSItem& item, const std::string& name) {
  return (name != "MailboxGuids" && name != "SenderSMTPAddress") || item.GetID().Id.empty();
}

#define READ_Read(item, name, ...) \
  if (IsGiven(item, #name)) item.Get##name();
#define READ_Write(item, name, ...) item.Get##name();
#define READ_Child(item, name, ...) \
  if (IsGiven(item, #name)) ReadDeep(item.Get##name());
#define READ_Array(item, name, ...) item.Get##name().Count();
#define READ_Own(item, name, ...) Read(item.Get##name());

void ReadAll(IVqEWSEMail& item) {
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
  item.GetAllowedResponseTypes();
  item.GetIsPrivate();
  item.GetID();
  item.GetIsSaved();
  item.GetMsgStore();
  item.GetParentFolder();
}

class ReadingSendsNothing : public SaveTest {
 protected:
  ReadingSendsNothing() : SaveTest("Exchange2016") {}

  void ReadAndSave(const TVqRef<IVqEWSEMail>& mail) {
    ReadAll(*mail);
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), "");
    mail->SaveChanges(soAutoResolve);  // and can be saved again
  }
};

TEST_F(ReadingSendsNothing, OfANewMessage) {
  const auto mail = NewMail();
  ReadAll(*mail);
  mail->SetSubject("S");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"), "<m:Items><t:Message><t:Subject>S</t:Subject></t:Message></m:Items>");
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

}  // namespace
}  // namespace velmore::testing
