// Requests that changed something, and replies that do not say so properly: what was carried out is not taken for a
// failure that may be repeated.

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class UnclearAnswers : public SaveTest {
 protected:
  /// The next request of an operation is carried out and answered with this body.
  void CarryOutAndAnswer(const std::string& operation, const std::string& body) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.execute = true;
    fault.replace_body = true;
    fault.body = body;
    fault.content_type = "text/xml; charset=utf-8";
    Server().AddFault(fault);
  }
  /// A success that tells no id.
  void WithoutId(const std::string& operation, const std::string& content = "<m:Items/>") {
    CarryOutAndAnswer(operation, ReplyOf(operation, content));
  }
  /// Messages in an element of another name, as some servers have them.
  void UnderAnotherName(const std::string& operation) {
    std::string reply = ReplyOf(operation, "");
    for (const char* name : {"<m:ResponseMessages>", "</m:ResponseMessages>"})
      reply.replace(reply.find(name), std::string(name).size(), name[1] == '/' ? "</m:Responses>" : "<m:Responses>");
    CarryOutAndAnswer(operation, reply);
  }
  static std::string NoId(const std::string& operation, const std::string& path = "//ItemId") {
    return "There is no \"" + path + "\" in \"m:" + operation + "ResponseMessage\". " + operation +
           " was carried out: what it made is there, and its id is not known.";
  }
  std::size_t Count(const char* folder) { return Server().CountItems(kAlice, folder); }
};

TEST_F(UnclearAnswers, ACopyWithoutAnIdIsToldAsMade) {
  const TItemId id = AddMessage("S");
  const TItemId target = Store().GetFolderId(dfindrafts);
  const auto inbox = Inbox();
  for (const char* content : {"<m:Items/>", "", "<m:Items><t:Message/></m:Items>"}) {
    const std::size_t before = Count("drafts");
    WithoutId("CopyItem", content);
    EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { inbox->CopyItem(id, target); }), NoId("CopyItem"));
    EXPECT_EQ(Count("drafts"), before + 1);
  }
}

TEST_F(UnclearAnswers, AMoveWhoseCopyIsNotKnownDeletesNothing) {
  const TItemId id = AddMessage("S");
  const TItemId target = Store().GetFolderId(dfindrafts);
  const auto inbox = Inbox();
  WithoutId("CopyItem");
  EXPECT_EQ(Sent([&] { EXPECT_THROW(inbox->MoveItem(id, target), EVqEWSIdNotTold); }), Names{"CopyItem"});
  EXPECT_EQ(Count("inbox"), 1u);
  EXPECT_EQ(Count("drafts"), 1u);
}

TEST_F(UnclearAnswers, EverythingMadeWithoutAnIdIsTold) {
  const auto drafts = Folder(dfindrafts);
  const auto mail = NewMail();
  mail->SetSubject("S");
  WithoutId("CreateItem");
  EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { mail->SaveChanges(soAutoResolve); }), NoId("CreateItem"));
  WithoutId("CreateItem");
  TVqMemoryStream mime(MimeOf("imported"));
  EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { drafts->ImportItem(mime, {}); }), NoId("CreateItem"));
  EXPECT_EQ(Count("drafts"), 2u);
  WithoutId("CreateFolder", "<m:Folders/>");
  EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { drafts->CreateFolder(sffFolder, "F"); }),
            NoId("CreateFolder", "//FolderId"));
  const auto old = Draft("<t:Subject>S</t:Subject>");
  old->SetSubject("T");
  WithoutId("UpdateItem");
  EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { old->SaveChanges(soAutoResolve); }), NoId("UpdateItem"));
  const auto attached = Draft("<t:Subject>S</t:Subject>");
  Attach(*attached, "a.txt", "content");
  WithoutId("CreateAttachment", "<m:Attachments/>");
  EXPECT_EQ(MessageOf<EVqEWSIdNotTold>([&] { attached->SaveChanges(soAutoResolve); }),
            NoId("CreateAttachment", "//AttachmentId"));
}

TEST_F(UnclearAnswers, AMessageThatWentOutIsToldAsPerhapsSent) {
  const auto mail = Draft(
      "<t:Subject>S</t:Subject><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com"
      "</t:EmailAddress></t:Mailbox></t:ToRecipients>");
  UnderAnotherName("SendItem");
  EXPECT_EQ(
      MessageOf<EVqEWSUnclearAnswer>([&] { mail->SubmitMessage(false); }),
      "There is no \"/Envelope/Body/m:SendItemResponse/ResponseMessages/SendItemResponseMessage\" in the document. "
      "SendItem may have been carried out.");
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  const auto fresh = NewMail();
  fresh->GetToRecipients()->Add("bob@example.com");
  UnderAnotherName("CreateItem");
  EXPECT_THROW(fresh->SubmitMessage(false), EVqEWSUnclearAnswer);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 2u);
}

TEST_F(UnclearAnswers, OfEveryOperationThatChangesSomethingAreTold) {
  const auto drafts = Folder(dfindrafts);
  const TItemId id = AddMessage("S", "drafts");
  const auto told = [&](const std::string& operation, const auto& action) {
    UnderAnotherName(operation);
    EXPECT_NE(MessageOf<EVqEWSUnclearAnswer>(action).find(operation + " may have been carried out."),
              std::string::npos);
  };
  told("CopyItem", [&] { drafts->CopyItem(id, drafts->GetID()); });
  told("CreateFolder", [&] { drafts->CreateFolder(sffFolder, "F"); });
  told("DeleteItem", [&] { drafts->DeleteItem(id, dtHardDelete); });
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  Attach(*mail, "a.txt", "content");
  told("UpdateItem", [&] { mail->SaveChanges(soAutoResolve); });
  told("CreateAttachment", [&] { mail->SaveChanges(soAutoResolve); });
  const auto kept = Draft("<t:Subject>S</t:Subject>");
  Attach(*kept, "a.txt", "content");
  kept->SaveChanges(soAutoResolve);
  kept->GetAttachments().DeleteAttachment(0);
  told("DeleteAttachment", [&] { kept->SaveChanges(soAutoResolve); });
}

TEST_F(UnclearAnswers, AnAttachmentsAnswerWithoutItsItemLeavesTheItemAsItIs) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const string id = mail->GetID().Id;
  Attach(*mail, "a.txt", "content");
  WithoutId("CreateAttachment",
            "<m:Attachments><t:FileAttachment><t:AttachmentId Id=\"made\"/></t:FileAttachment></m:Attachments>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(mail->GetID().Id, id);
  EXPECT_EQ(Count("drafts"), 1u);
  EXPECT_EQ(AttachmentsOf(*mail), "a.txt=content;");
}

// What is told is taken: the id alone, or the key alone.
TEST_F(UnclearAnswers, AnAttachmentsAnswerGivesWhatItTells) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const TItemId id = mail->GetID();
  for (const char* told : {"RootItemId=\"other\"", "RootItemChangeKey=\"other\"", "RootItemId=\"\""}) {
    const auto again = Mail(id);
    Attach(*again, "a.txt", "content");
    WithoutId("CreateAttachment", "<m:Attachments><t:FileAttachment><t:AttachmentId Id=\"made\" " + std::string(told) +
                                      "/></t:FileAttachment></m:Attachments>");
    RefuseNext("GetItem", "ErrorItemNotFound");
    EXPECT_EQ(CodeOf([&] { again->SaveChanges(soAutoResolve); }), "ErrorItemNotFound");
    const TItemId now = again->GetID();
    EXPECT_EQ(now.Id == "other", std::string(told) == "RootItemId=\"other\"");
    EXPECT_EQ(now.ChangeKey == "other", std::string(told) == "RootItemChangeKey=\"other\"");
    EXPECT_FALSE(now.Id.empty());
    EXPECT_FALSE(now.ChangeKey.empty());
    const std::int32_t last = again->GetAttachments().Count() - 1;
    EXPECT_EQ(again->GetAttachments().GetAttachment(last)->GetAttachmentId().GetId(), "made");
  }
}

}  // namespace
}  // namespace velmore::testing
