// What only messages have: recipients kept until the reload, flags, and MIME content that marks drafts as unsent.

#include "ews/schema/uVqEWSPropsPR.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {
namespace {

class Message : public SaveTest {
 protected:
  /// A draft whose MIME content the server gives as this.
  TVqRef<IVqEWSEMail> WithMime(const std::string& mime, bool draft = true) {
    const TItemId id = AddMessage("S", "drafts");
    AnswerNext("GetItem",
               ReplyOf("GetItem", "<m:Items><t:Message><t:MimeContent CharacterSet=\"UTF-8\">" + VqBase64Encode(mime) +
                                      "</t:MimeContent><t:ItemId Id=\"" + id.Id.utf8() + "\" ChangeKey=\"" +
                                      id.ChangeKey.utf8() + "\"/><t:IsDraft>" + (draft ? "true" : "false") +
                                      "</t:IsDraft></t:Message></m:Items>"),
               1);  // the first one asks for the kind of the item
    return Mail(id);
  }
  static std::string MimeOf(IVqEWSItem& item) { return VqBase64Decode(item.GetMimeContent().GetValue().utf8()); }
};

TEST_F(Message, MimeOfADraftIsMarkedAsUnsent) {
  const auto mail = WithMime("From: a\r\nSubject: s\r\n\r\nbody\r\n");
  EXPECT_EQ(MimeOf(*mail), "X-Unsent: 1\r\nFrom: a\r\nSubject: s\r\n\r\nbody\r\n");
  // It is the record's value that changed. Meant so.
  EXPECT_EQ(VqBase64Decode(mail->AsElement().SelectSingleElement("MimeContent", kSelectRequired).GetTextAsUtf8())
                .substr(0, 13),
            "X-Unsent: 1\r\n");
  EXPECT_EQ(mail->GetMimeContent().GetCharacterSet(), "UTF-8");
  // Read once more it stays as it is.
  EXPECT_EQ(MimeOf(*mail), "X-Unsent: 1\r\nFrom: a\r\nSubject: s\r\n\r\nbody\r\n");
}

TEST_F(Message, MimeOfWhatIsNoDraftStays) {
  EXPECT_EQ(MimeOf(*WithMime("From: a\n\nbody", false)), "From: a\n\nbody");
}

// The first line that has the name goes, wherever it stands and whatever its case; a second one stays. Meant so.
TEST_F(Message, MimeLosesTheFirstSuchLineOnly) {
  EXPECT_EQ(MimeOf(*WithMime("From: a\r\nX-UNSENT: 0\r\nx-unsent: 7\r\n\r\nbody")),
            "X-Unsent: 1\r\nFrom: a\r\nx-unsent: 7\r\n\r\nbody\r\n");
  EXPECT_EQ(MimeOf(*WithMime("From: a\r\n\r\nabout X-Unsent lines\r\nend")), "X-Unsent: 1\r\nFrom: a\r\n\r\nend\r\n");
}

TEST_F(Message, MimeKeepsEveryByteOfItsLines) {
  EXPECT_EQ(MimeOf(*WithMime("A: \xE9\xFF\nB: \x80\rC\r\n\n\r\nlast")),
            "X-Unsent: 1\r\nA: \xE9\xFF\r\nB: \x80\r\nC\r\n\r\n\r\nlast\r\n");
}

TEST_F(Message, MimeOfASavedDraftIsFetchedOnce) {
  const auto mail = Draft("<t:Subject>From the server</t:Subject>");
  std::string mime;
  EXPECT_EQ(Sent([&] {
              mime = MimeOf(*mail);
              EXPECT_EQ(MimeOf(*mail), mime);
            }),
            Names{"GetItem"});
  EXPECT_TRUE(mime.starts_with("X-Unsent: 1\r\n")) << mime;
  EXPECT_EQ(mime.find("X-Unsent", 3), std::string::npos);
}

// The mark is the library's: what was only read is not sent.
TEST_F(Message, TheNextSaveDoesNotSendTheMarkedContent) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  const std::string mime = MimeOf(*mail);
  EXPECT_TRUE(mime.starts_with("X-Unsent: 1"));
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
  EXPECT_EQ(MimeOf(*mail).find("X-Unsent"), 0u);
}

TEST_F(Message, MimeOfANewMessageIsEmpty) {
  const auto mail = NewMail();
  EXPECT_EQ(Sent([&] { EXPECT_EQ(mail->GetMimeContent().GetValue(), ""); }), Names{});
}

TEST_F(Message, MimeThatIsNoBase64Raises) {
  const auto mail = WithMime("x");
  mail->AsElement().SelectSingleElement("MimeContent", kSelectRequired).SetText("???");
  EXPECT_THROW(mail->GetMimeContent(), EConvertError);
}

TEST_F(Message, RecipientsAreTheSameUntilAReload) {
  const auto mail = Mail(AddMessage("S"));
  const auto many = {&IVqEWSEMail::GetToRecipients, &IVqEWSEMail::GetCcRecipients, &IVqEWSEMail::GetBccRecipients,
                     &IVqEWSEMail::GetReplyTo};
  const auto one = {&IVqEWSEMail::GetSender, &IVqEWSEMail::GetFrom, &IVqEWSEMail::GetReceivedBy,
                    &IVqEWSEMail::GetReceivedRepresenting};
  std::vector<TVqRef<IVqEWSRecipients>> lists;
  std::vector<TVqRef<IVqEWSRecipient>> singles;
  for (const auto get : many) {
    lists.push_back((mail.get()->*get)());
    EXPECT_EQ((mail.get()->*get)().get(), lists.back().get());
  }
  for (const auto get : one) {
    singles.push_back((mail.get()->*get)());
    EXPECT_EQ((mail.get()->*get)().get(), singles.back().get());
  }
  mail->SaveChanges(soAutoResolve);
  std::size_t at = 0;
  for (const auto get : many) EXPECT_NE((mail.get()->*get)().get(), lists[at++].get());
  at = 0;
  for (const auto get : one) EXPECT_NE((mail.get()->*get)().get(), singles[at++].get());
  EXPECT_EQ(mail->GetToRecipients()->GetAsString(), "Alice Arden <alice@example.com>");
  EXPECT_EQ(mail->GetFrom()->GetEmailAddress(), kBob);
}

TEST_F(Message, AnotherSender) {
  const auto mail = NewMail();
  mail->GetFrom()->SetEmailAddress(kBob);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(
      Part("CreateItem", "Items"),
      "<m:Items><t:Message><t:From><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:From>"
      "</t:Message></m:Items>");
  EXPECT_EQ(Again(*mail)->GetFrom()->GetName(), "Bob Birch");
}

TEST_F(Message, FlagsAreWrittenAndReadBack) {
  const auto mail = NewMail();
  mail->SetIsReadReceiptRequested(true);
  mail->SetIsDeliveryReceiptRequested(true);
  mail->SetIsRead(false);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(
      Part("CreateItem", "Items"),
      "<m:Items><t:Message><t:IsReadReceiptRequested>true</t:IsReadReceiptRequested><t:IsDeliveryReceiptRequested>true"
      "</t:IsDeliveryReceiptRequested><t:IsRead>false</t:IsRead></t:Message></m:Items>");
  const auto fresh = Again(*mail);
  EXPECT_TRUE(fresh->GetIsReadReceiptRequested());
  EXPECT_TRUE(fresh->GetIsDeliveryReceiptRequested());
  EXPECT_FALSE(fresh->GetIsRead());
}

TEST_F(Message, ReadOnlyMembersComeFromTheServer) {
  const auto mail = Mail(AddMessage("Re: Topic"));
  EXPECT_EQ(mail->GetConversationTopic(), "Topic");
  EXPECT_FALSE(mail->GetConversationIndex().empty());
  EXPECT_FALSE(mail->GetIsResponseRequested());
  EXPECT_EQ(mail->GetReferences(), "");
  EXPECT_EQ(mail->GetItemType(), tMessage);
  EXPECT_EQ(mail->AsElement().GetQualifiedName(), "t:Message");
}

}  // namespace
}  // namespace velmore::testing
