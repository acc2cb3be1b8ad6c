// Pictures of an HTML body on their way into inline attachments.

#include <filesystem>
#include <fstream>

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class SaveImages : public SaveTest {
 protected:
  /// "name content-id inline content;" of the attachments as the server has them.
  std::string Inline(IVqEWSItem& item) {
    const auto fresh = Again(item);
    std::string text;
    for (std::int32_t i = 0; i < fresh->GetAttachments().Count(); ++i) {
      const auto file = File(*fresh, i);
      text += file->GetName().utf8() + " " + file->GetContentId().utf8() + " " + file->GetContentType().utf8() +
              (file->GetIsInline() ? " inline " : " - ") + Content(*file) + ";";
    }
    return text;
  }
  static std::string Escaped(std::string text) {
    for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos;) text.replace(at, 1, "&lt;");
    return text;
  }
  static constexpr const char* kHtml = "<p>Hi<img src=\"data:image/png;base64,YWJj\"></p>";
};

TEST_F(SaveImages, ANewMessageGetsThemAsAttachments) {
  const auto mail = NewMail();
  mail->SetBodyText(kHtml);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(
      Part("CreateItem", "Items"),
      "<m:Items><t:Message><t:Body BodyType=\"HTML\">&lt;p&gt;Hi&lt;img src=\"cid:_inlineImg0\"&gt;&lt;/p&gt;</t:Body>"
      "</t:Message></m:Items>");
  EXPECT_EQ(Part("CreateAttachment", "Attachments"),
            "<m:Attachments><t:FileAttachment><t:Name>_inlineImg0</t:Name><t:ContentType>image/png</t:ContentType>"
            "<t:ContentId>_inlineImg0</t:ContentId><t:Size>3</t:Size><t:IsInline>true</t:IsInline>"
            "<t:IsContactPhoto>false</t:IsContactPhoto><t:Content>YWJj</t:Content></t:FileAttachment></m:Attachments>");
  EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 image/png inline abc;");
  EXPECT_EQ(mail->GetBodyText(), "<p>Hi<img src=\"cid:_inlineImg0\"></p>");
}

TEST_F(SaveImages, OfTwoFilesTheMissingOneStaysInTheBody) {
  const auto path = std::filesystem::temp_directory_path() / ("velmore-save-" + IntToStr(::getpid()).utf8() + ".png");
  std::ofstream(path) << "PNG";
  const auto mail = NewMail();
  mail->SetBodyText("<p><img src=\"file://" + path.string() + "\"><img src=\"file:///none/such.png\"></p>");
  mail->SaveChanges(soAutoResolve);
  std::filesystem::remove(path);
  EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 image/png inline PNG;");
  EXPECT_EQ(mail->GetBodyText(), "<p><img src=\"cid:_inlineImg0\"><img src=\"file:///none/such.png\"></p>");
}

// A picture of this machine is taken where the application names it, and never for somebody else's HTML.
TEST_F(SaveImages, AFileThatALoadedBodyNamesIsLeftAlone) {
  const auto folder = std::filesystem::temp_directory_path() / ("velmore-own-" + IntToStr(::getpid()).utf8());
  std::filesystem::create_directory(folder);
  std::ofstream(folder / "secret.png") << "SECRET";
  std::ofstream(folder / "own.png") << "OWN";
  const std::string secret = "<img src=\"file://" + (folder / "secret.png").string() + "\">";
  const std::string own = "<img src=\"file://" + (folder / "own.png").string() + "\">";
  const auto mail =
      Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"HTML\">" + Escaped("<p>" + secret + "</p>") + "</t:Body>");
  mail->SetBodyText("<p>" + own + secret + "</p>");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 image/png inline OWN;");
  EXPECT_EQ(mail->GetBodyText(), "<p><img src=\"cid:_inlineImg0\">" + secret + "</p>");
  // The switch turns it off.
  Session().SetLocalImages(false);
  const auto other = NewMail();
  other->SetBodyText("<p>" + own + "<img src=\"data:a,YQ==\"></p>");
  other->SaveChanges(soAutoResolve);
  EXPECT_EQ(Inline(*other), "_inlineImg0 _inlineImg0 a inline a;");
  EXPECT_EQ(other->GetBodyText(), "<p>" + own + "<img src=\"cid:_inlineImg0\"></p>");
  std::filesystem::remove_all(folder);
}

// Pictures of an earlier save that the new body still shows stay, and so do their names.
TEST_F(SaveImages, WhatTheBodyStillShowsIsKept) {
  const auto mail = NewMail();
  mail->SetBodyText("<p><img src=\"data:a,YQ==\"><img src=\"data:b,Yg==\"></p>");
  mail->SaveChanges(soAutoResolve);
  mail->SetBodyText("<p><img src=\"cid:_inlineImg1\"><img src=\"data:c,Yw==\"></p>");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(mail->GetBodyText(), "<p><img src=\"cid:_inlineImg1\"><img src=\"cid:_inlineImg0\"></p>");
  EXPECT_EQ(Inline(*mail), "_inlineImg1 _inlineImg1 b inline b;_inlineImg0 _inlineImg0 c inline c;");
}

TEST_F(SaveImages, TheSameSourceGivesTheSameSet) {
  const auto mail = NewMail();
  for (int i = 0; i < 2; ++i) {
    mail->SetBodyText("<p><img src=\"data:a,YQ==\"><img src=\"data:b,Yg==\"></p>");
    mail->SaveChanges(soAutoResolve);
    EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 a inline a;_inlineImg1 _inlineImg1 b inline b;");
  }
}

TEST_F(SaveImages, AnUpdatedMessageGetsThemToo) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"Text\">old</t:Body>");
  mail->SetBodyText(kHtml);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(),
            SetField("item:Body",
                     "<t:Body BodyType=\"HTML\">&lt;p&gt;Hi&lt;img src=\"cid:_inlineImg0\"&gt;&lt;/p&gt;</t:Body>"));
  EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 image/png inline abc;");
}

// In an update only the body of a message is looked at. Meant so.
TEST_F(SaveImages, AnUpdatedContactKeepsThemInItsBody) {
  const auto item = Store().GetItem(AddItem("contacts", "<t:Contact><t:DisplayName>C</t:DisplayName></t:Contact>"));
  item->SetBodyText(kHtml);
  EXPECT_EQ(Sent([&] { item->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_NE(Updates().find("data:image/png"), std::string::npos);
}

TEST_F(SaveImages, AnUpdatedAppointmentKeepsThemInItsBody) {
  const auto item =
      MakeRef<TVqEWSItem>(dynamic_cast<TVqComponent*>(Inbox().get()),
                          AddItem("calendar", "<t:CalendarItem><t:Subject>A</t:Subject></t:CalendarItem>"));
  item->SetBodyText(kHtml);
  RefuseNext("UpdateItem", "ErrorAccessDenied");
  EXPECT_THROW(item->SaveChanges(soAutoResolve), EEWSException);
  EXPECT_NE(
      Updates().find("<t:CalendarItem><t:Body BodyType=\"HTML\">&lt;p&gt;Hi&lt;img src=\"data:image/png;base64,YWJj\""),
      std::string::npos);
}

TEST_F(SaveImages, ABodyWithoutATypeIsTakenOutOfAnUpdate) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  mail->GetBody().AsElement().RemoveAllAttributes();
  mail->GetBody().SetValue("text");
  RefuseNext("UpdateItem", "ErrorIncorrectUpdatePropertyCount");
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EEWSException);
  EXPECT_EQ(Updates(), "<t:SetItemField><t:FieldURI FieldURI=\"item:Body\"/><t:Message/></t:SetItemField>");
}

TEST_F(SaveImages, APlainBodyIsLeftAlone) {
  const auto mail = NewMail();
  mail->SetBodyText(string("x") + kHtml);
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
  EXPECT_EQ(mail->GetBodyText(), string("x") + kHtml);
}

TEST_F(SaveImages, TheSameSourceSavedAgainDoesNotPileUp) {
  const auto mail = NewMail();
  mail->SetBodyText(kHtml);
  Attach(*mail, "own.txt", "own");
  mail->SaveChanges(soAutoResolve);
  mail->SetBodyText("<p>Again<img src=\"data:image/png;base64,eHl6\"><img src=\"data:image/gif;base64,eA==\"></p>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }),
            (Names{"UpdateItem", "DeleteAttachment", "CreateAttachment", "CreateAttachment", "GetItem"}));
  EXPECT_EQ(Inline(*mail),
            "own.txt  text/plain - own;_inlineImg0 _inlineImg0 image/png inline xyz;_inlineImg1 _inlineImg1 image/gif "
            "inline x;");
  // Without pictures in the source nothing is cleared.
  mail->SetBodyText("<p>Plain words</p>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(mail->GetAttachments().Count(), 3);
}

TEST_F(SaveImages, ClearingTakesGeneratedNamesOnly) {
  const auto mail = NewMail();
  const auto add = [&](const char* id, bool isInline) {
    const auto file = Attach(*mail, "x", "x");
    file->SetContentId(id);
    file->SetIsInline(isInline);
  };
  add("_inlineImg7", true);
  add("_inlineImg8", false);
  add("_inlineImgX", true);  // the first ten characters decide
  add("_inlineImage", true);
  add("_InlineImg9", true);
  add("logo", true);
  Supports<TVqEWSItemCore>(mail)->ClearInlineAttachments();
  std::string ids;
  for (std::int32_t i = 0; i < mail->GetAttachments().Count(); ++i)
    ids += mail->GetAttachments().GetAttachment(i)->GetContentId().utf8() + " ";
  EXPECT_EQ(ids, "_inlineImg8 _inlineImage _InlineImg9 logo ");
}

TEST_F(SaveImages, DataThatIsNoBase64FailsBeforeAnythingIsSent) {
  const auto mail = NewMail();
  mail->SetBodyText("<p><img src=\"data:a,YQ==\"><img src=\"data:a,???\"></p>");
  EXPECT_EQ(Sent([&] { EXPECT_THROW(mail->SaveChanges(soAutoResolve), EConvertError); }), Names{});
  EXPECT_EQ(mail->GetAttachments().Count(), 0);  // not even the good one
  mail->SetBodyText("<p>words</p>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
}

TEST_F(SaveImages, AFailedSaveDoesNotDoubleThem) {
  const auto mail = NewMail();
  mail->SetBodyText("<p><img src=\"data:a,YQ==\"><img src=\"data:b,Yg==\"></p>");
  RefuseNext("CreateAttachment", "ErrorServerBusy", 1);
  EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Inline(*mail), "_inlineImg0 _inlineImg0 a inline a;_inlineImg1 _inlineImg1 b inline b;");
}

class SaveImagesOld : public SaveTest {
 protected:
  SaveImagesOld() : SaveTest("Exchange2007_SP1") {}
};

TEST_F(SaveImagesOld, AServerWithoutInlineAttachmentsRefusesThem) {
  const auto mail = NewMail();
  mail->SetBodyText("<p><img src=\"data:a,YQ==\"></p>");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(
                  MessageOf<EVqException>([&] { mail->SaveChanges(soAutoResolve); }),
                  "\"SetIsInline\" is not supported by Exchange2007_SP1. This feature requires Exchange Exchange2010!");
            }),
            Names{});
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
}

}  // namespace
}  // namespace velmore::testing
