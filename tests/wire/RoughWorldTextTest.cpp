// Characters that XML forbids: what one's own text has of them is refused in front of the wire, what a server sends of
// them is read.

#include <filesystem>
#include <fstream>

#include "SessionTestSupport.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class RoughWorldText : public SaveTest {
 protected:
  ~RoughWorldText() override { std::filesystem::remove_all(FFolder); }

  /// The refusal of a text, which leaves everything as it was; nothing goes over the wire.
  void ExpectRefused(const std::function<void()>& action) {
    Forget();
    EXPECT_THROW(action(), EVqXMLError);
    EXPECT_EQ(Operations(), Names{});
  }
  std::string MakeFile(const std::string& name) {
    std::filesystem::create_directories(FFolder);
    const std::string path = (FFolder / name).string();
    std::ofstream(path) << "content";
    return path;
  }

  const std::filesystem::path FFolder =
      std::filesystem::temp_directory_path() / ("velmore-rough-" + std::to_string(::getpid()));
};

// Every character that XML 1.0 has no place for. A lone half of a surrogate pair is none at all.
const std::vector<string> kForbidden = {u"\x01",
                                        u"\x08",
                                        u"\x0B",
                                        u"\x0C",
                                        u"\x1F",
                                        u"\xFFFE",
                                        u"\xFFFF",
                                        string(std::u16string(1, u'\xD800')),
                                        string(std::u16string(1, u'\xDC00')),
                                        string(std::u16string(1, u'\0'))};

TEST_F(RoughWorldText, ForbiddenCharactersInASubjectOfOurs) {
  const auto mail = Draft("<t:Subject>Before</t:Subject>");
  for (const string& character : kForbidden) {
    ExpectRefused([&] { mail->SetSubject("a" + character + "b"); });
    EXPECT_EQ(mail->GetSubject(), "Before");
  }
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), "") << "nothing of it counts as a change";
  // Tabs and ends of lines are characters like others.
  mail->SetSubject("a\tb\nc");
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Again(*mail)->GetSubject(), "a\tb\nc");
}

TEST_F(RoughWorldText, ForbiddenCharactersInABodyOfOurs) {
  const auto mail = Draft("<t:Subject>S</t:Subject><t:Body BodyType=\"Text\">Before</t:Body>");
  for (const string& character : kForbidden) {
    ExpectRefused([&] { mail->SetBodyText("<p>a" + character + "b</p>"); });
    EXPECT_EQ(mail->GetBodyText(), "Before");
  }
  mail->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), "");
}

TEST_F(RoughWorldText, ForbiddenCharactersInAttachmentPathsOfOurs) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  // A file system takes such a name; a request does not.
  const std::string path = MakeFile(
      "a\x01"
      "b.txt");
  ExpectRefused([&] { mail->GetAttachments().AddAttachment(path); });
  EXPECT_EQ(mail->GetAttachments().Count(), 0) << "there is no half an attachment";
  TVqMemoryStream stream("content");
  ExpectRefused([&] { mail->GetAttachments().AddAttachment("good.txt", "text/\x02plain", stream); });
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
  EXPECT_THROW(mail->GetAttachments().AddAttachment((FFolder / "none\x01").string()), EStreamError);
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
  mail->GetAttachments().AddAttachment(MakeFile("good.txt"));
  ExpectRefused([&] { mail->GetAttachments().GetAttachment(0)->SetName("a\x1F"); });
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(AttachmentsOf(*mail), "good.txt=content;");
}

TEST_F(RoughWorldText, ForbiddenCharactersInAnItemThatIsAttached) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  const auto inner = NewMail();
  inner->SetSubject("Inside");
  ExpectRefused([&] { mail->GetAttachments().AddAttachment("a\x01", inner); });
  EXPECT_EQ(mail->GetAttachments().Count(), 0);
}

// Servers write them as references, as they came in with a message. The reader sees a replacement character in their
// place.
TEST_F(RoughWorldText, ForbiddenCharactersInASubjectOfTheServers) {
  const auto id = Server().AddMessage(kAlice, "inbox", MimeOf("=?utf-8?Q?a=01b=0Cc?=", "Body"));
  const auto items = Inbox()->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->Open();
  EXPECT_NE(LastExchange("FindItem").response_body.find("&#x1;"), std::string::npos) << "the simulator does write them";
  EXPECT_EQ(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(),
            u"a\xFFFD"
            u"b\xFFFD"
            u"c");
  const auto mail = Mail({id.id, id.change_key});
  EXPECT_EQ(mail->GetSubject(),
            u"a\xFFFD"
            u"b\xFFFD"
            u"c");
  mail->SetBodyText("Changed");
  EXPECT_NO_THROW(mail->SaveChanges(soAutoResolve));
  EXPECT_EQ(Updates().find("Subject"), std::string::npos) << "what was not changed is not written";
}

TEST_F(RoughWorldText, ForbiddenCharactersInABodyOfTheServers) {
  const auto id = Server().AddMessage(kAlice, "inbox", MimeOf("S", "a\x01 b\x0B c"));
  const auto mail = Mail({id.id, id.change_key});
  EXPECT_EQ(mail->GetBodyText(), u"a\xFFFD b\xFFFD c");
}

TEST_F(RoughWorldText, ForbiddenCharactersInAttachmentPathsOfTheServers) {
  const auto id = Server().AddMessage(
      kAlice, "inbox",
      "From: bob@example.com\r\nSubject: S\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; "
      "boundary=x\r\n\r\n--x\r\n"
      "Content-Type: text/plain\r\n\r\nHello\r\n--x\r\nContent-Type: text/plain; name=\"=?utf-8?Q?a=01b.txt?=\"\r\n"
      "Content-Disposition: attachment; filename=\"=?utf-8?Q?a=01b.txt?=\"\r\n\r\ncontent\r\n--x--\r\n");
  const auto mail = Mail({id.id, id.change_key});
  ASSERT_EQ(mail->GetAttachments().Count(), 1);
  EXPECT_EQ(mail->GetAttachments().GetAttachment(0)->GetName(),
            u"a\xFFFD"
            u"b.txt");
  EXPECT_EQ(Content(*File(*mail, 0)).substr(0, 7), "content");
}

// Not even references are needed: some servers write the characters themselves.
TEST_F(RoughWorldText, ForbiddenCharactersAsTheyStand) {
  const auto id = AddMessage("Subject");
  Store().GetItem(id);
  const std::string body = LastExchange("GetItem").response_body;
  for (const std::string& raw :
       {std::string("\x01"), std::string("\xEF\xBF\xBF"), std::string("&#0;"), std::string("&#xFFFE;")}) {
    std::string other = body;
    other.replace(other.find("Subject</t:Subject>"), 7, "a" + raw + "b");
    AnswerNext("GetItem", other, 1);
    EXPECT_EQ(Store().GetItem(id)->GetSubject(),
              u"a\xFFFD"
              u"b")
        << raw;
  }
}

}  // namespace
}  // namespace velmore::testing
