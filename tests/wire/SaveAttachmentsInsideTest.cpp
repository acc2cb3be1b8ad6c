// Attached items that hold attachments of their own: what is made anew is complete before anything is deleted, and what
// belongs to an item inside is not taken for one of the item's.

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

std::string FileMarkup(const std::string& name, const std::string& content) {
  return "<t:FileAttachment><t:Name>" + name + "</t:Name><t:Content>" + VqBase64Encode(content) +
         "</t:Content></t:FileAttachment>";
}
std::string ItemMarkup(const std::string& name, const std::string& members) {
  return "<t:ItemAttachment><t:Name>" + name + "</t:Name><t:Message>" + members + "</t:Message></t:ItemAttachment>";
}
std::string AttachmentsMarkup(const std::string& content) {
  return "<t:Attachments>" + content + "</t:Attachments>";
}

class SaveAttachmentsInside : public SaveTest {
 protected:
  /// inner (a message with deep.txt, and in it deeper, a message with deepest.txt) beside a.txt.
  TVqRef<IVqEWSEMail> Deep() {
    return Draft(AttachmentsMarkup(
        FileMarkup("a.txt", "aaa") +
        ItemMarkup("inner",
                   "<t:Subject>Inside</t:Subject>" +
                       AttachmentsMarkup(FileMarkup("deep.txt", "ddd") +
                                         ItemMarkup("deeper", AttachmentsMarkup(FileMarkup("deepest.txt", "eee")))))));
  }
  static TVqRef<IVqEWSItemAttachment> Inner(IVqEWSItem& item) {
    for (std::int32_t i = 0; i < item.GetAttachments().Count(); ++i)
      if (const auto inner = Supports<IVqEWSItemAttachment>(item.GetAttachments().GetAttachment(i))) return inner;
    return {};
  }
  /// What the server has below an item: "a.txt=aaa;inner(deep.txt=ddd;)".
  std::string TreeOf(const IVqDOMElement& attachments) {
    std::string text;
    for (const IVqDOMElement& attachment : attachments.GetChildElements()) {
      const std::string name = attachment.SelectSingleElement("Name", kSelectRequired).GetText().utf8();
      const IVqDOMElement fetched =
          Fetched(attachment.SelectSingleElement("AttachmentId", kSelectRequired).GetAttribute("Id"));
      if (attachment.GetLocalName() == "FileAttachment") {
        text +=
            name + "=" + VqBase64Decode(fetched.SelectSingleElement("Content", kSelectRequired).GetText().utf8()) + ";";
      } else {
        text += name + "(" + TreeOf(fetched.SelectSingleElement("Message/Attachments", kSelectQuiet)) + ")";
      }
    }
    return text;
  }
  std::string TreeOf(IVqEWSItem& item) {
    return TreeOf(Again(item)->AsElement().SelectSingleElement("Attachments", kSelectQuiet));
  }

 private:
  IVqDOMElement Fetched(const string& id) {
    const auto request = Session().CreateRequest(nullptr, "m:GetAttachment", "m:GetAttachmentResponse");
    request->GetMethod().AddElement("m:AttachmentIds/t:AttachmentId").SetAttribute("Id", id);
    TVqRef<IVqSOAPResponse> response;
    request->Send(response);
    return response->GetDocument().SelectSingleElement("//Attachments/*", kSelectRequired);
  }
};

TEST_F(SaveAttachmentsInside, ARenamedItemKeepsWhatItHolds) {
  const auto mail = Deep();
  ASSERT_EQ(TreeOf(*mail), "a.txt=aaa;inner(deep.txt=ddd;deeper(deepest.txt=eee;))");
  Inner(*mail)->SetName("renamed");
  // Everything is fetched first: the item, the file in it, the item in it, and the file in that one.
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"GetAttachment", "GetAttachment", "GetAttachment", "UpdateItem", "DeleteAttachment",
                   "CreateAttachment", "GetItem"}));
  EXPECT_EQ(TreeOf(*mail), "a.txt=aaa;renamed(deep.txt=ddd;deeper(deepest.txt=eee;))");
  EXPECT_EQ(Request("CreateAttachment").find("AttachmentId"), std::string::npos);  // at no depth
}

TEST_F(SaveAttachmentsInside, WhatCannotBeFetchedIsToldBeforeAnythingIsSent) {
  for (int which = 0; which < 3; ++which) {
    const auto mail = Deep();
    Inner(*mail)->SetName("renamed");  // which fetches the item
    RefuseNext("GetAttachment", "ErrorServerBusy", which);
    Forget();
    EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException) << which;
    for (const std::string& operation : Operations()) EXPECT_EQ(operation, "GetAttachment");
    EXPECT_EQ(TreeOf(*mail), "a.txt=aaa;inner(deep.txt=ddd;deeper(deepest.txt=eee;))");
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(TreeOf(*mail), "a.txt=aaa;renamed(deep.txt=ddd;deeper(deepest.txt=eee;))");
  }
}

TEST_F(SaveAttachmentsInside, ALoadedMessageWithAFileIsAttached) {
  const auto source = Deep();
  const auto mail = NewMail();
  mail->GetAttachments().AddAttachment("copy", TVqRef<IVqEWSItem>(source));
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(TreeOf(*mail), "copy(a.txt=aaa;inner(deep.txt=ddd;deeper(deepest.txt=eee;)))");
  EXPECT_EQ(TreeOf(*source), "a.txt=aaa;inner(deep.txt=ddd;deeper(deepest.txt=eee;))");  // and has its own still
}

TEST_F(SaveAttachmentsInside, AnUnsavedMessageWithAFileIsAttachedAndItsFileIsNotTheOuterOnes) {
  const auto inner = NewMail();
  inner->SetSubject("Inside");
  Attach(*inner, "deep.txt", "ddd");
  const auto mail = NewMail();
  Attach(*mail, "a.txt", "aaa");
  mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"CreateItem", "CreateAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(TreeOf(*mail), "a.txt=aaa;inner(deep.txt=ddd;)");
}

TEST_F(SaveAttachmentsInside, WhatBelongsToAnItemInsideCannotBeChangedOrDeletedOnItsOwn) {
  const auto mail = Deep();
  Inner(*mail)->GetMessage();  // its file joins the list, in front
  TVqEWSAttachments& list = mail->GetAttachments();
  ASSERT_EQ(list.Count(), 4);
  std::int32_t deep = 0;
  while (list.GetAttachment(deep)->GetName() != "deep.txt") ++deep;
  const auto file = File(*mail, deep);
  const char* refused = "The attachment belongs to an item inside of this one: it cannot be changed or deleted here.";
  const std::function<void()> changes[] = {
      [&] { list.DeleteAttachment(deep); },   [&] { file->SetName("x"); },
      [&] { file->SetContentType("x"); },     [&] { file->SetContentId("x"); },
      [&] { file->SetContentLocation("x"); }, [&] { file->SetSize(1); },
      [&] { file->SetLastModifiedTime({}); }, [&] { file->SetIsInline(true); },
      [&] { file->SetIsContactPhoto(true); }, [&] { file->SetModified(); },
      [&] { file->LoadFromStream(nullptr); },
  };
  const string before = mail->AsElement().GetXML();
  for (const auto& change : changes) EXPECT_EQ(MessageOf<EVqException>(change), refused) << &change - changes;
  EXPECT_EQ(mail->AsElement().GetXML(), before);
  EXPECT_EQ(Content(*file), "ddd");  // it can be read
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

TEST_F(SaveAttachmentsInside, ClearLeavesNothingBehind) {
  const auto mail = Deep();
  Inner(*mail)->GetMessage();
  mail->GetAttachments().Clear(true);
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(TreeOf(*mail), "");
}

TEST_F(SaveAttachmentsInside, AKindThatCannotBeMadeAnewIsRefusedAtTheSetter) {
  const auto mail = Deep();
  const auto inner = Inner(*mail);
  AnswerNext(
      "GetAttachment",
      ReplyOf("GetAttachment", "<m:Attachments><t:ItemAttachment><t:PostItem/></t:ItemAttachment></m:Attachments>"));
  EXPECT_EQ(MessageOf<EVqException>([&] { inner->SetName("x"); }), "Unsupported Attachment Type!");
  EXPECT_EQ(inner->GetName(), "inner");
  EXPECT_FALSE(inner->GetModified());
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
}

TEST_F(SaveAttachmentsInside, ARefusedValueMarksNothing) {
  const auto mail = Deep();
  EXPECT_THROW(File(*mail, 0)->SetName(string(u"a\u0001")), EVqException);
  EXPECT_FALSE(File(*mail, 0)->GetModified());
  EXPECT_THROW(File(*mail, 0)->SetLastModifiedTime(TDateTime(1e9)), EVqException);
  EXPECT_FALSE(File(*mail, 0)->GetModified());
}

// ---- One content an attachment

TEST_F(SaveAttachmentsInside, ASecondViewSharesWhatTheFirstOneFetchedAndChanged) {
  const auto mail = Deep();
  Inner(*mail)->GetMessage().SetSubject("Changed");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Inner(*mail)->GetMessage().GetSubject(), "Changed"); }), Names{});
}

TEST_F(SaveAttachmentsInside, WhatIsNewIsReadFromMemory) {
  const auto inner = NewMail();
  inner->SetSubject("Inside");
  const auto mail = NewMail();
  const auto attached = mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
  const auto file = Attach(*mail, "empty.txt", "");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(attached->GetItemAttachmentType(), iaMessage);
              EXPECT_EQ(attached->GetMessage().GetSubject(), "Inside");
              EXPECT_EQ(Content(*file), "");
              attached->SetName("renamed");
            }),
            Names{});
}

TEST_F(SaveAttachmentsInside, AGetterOfAnotherKindLeavesNothingThatIsSent) {
  const auto inner = NewMail();
  inner->SetSubject("Inside");
  const auto mail = NewMail();
  const auto attached = mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
  attached->GetPerson();
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(
      Part("CreateAttachment", "Attachments"),
      "<m:Attachments><t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject></t:Message>"
      "</t:ItemAttachment></m:Attachments>");
}

}  // namespace
}  // namespace velmore::testing
