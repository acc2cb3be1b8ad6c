// Attachments: the list, files with lazy content, items inside of items.

#include "ews/items/uVqEWSAttachments.h"

#include <filesystem>
#include <fstream>

#include "ews/items/uVqEWSMessage.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/internal/uVqXMLLargeText.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class Attachments : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  /// A message with two files, the second inline, and a message inside.
  TItemId AddWithAttachments() {
    return AddItem("inbox",
                   "<t:Message><t:Subject>With attachments</t:Subject><t:Attachments>"
                   "<t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject></t:Message>"
                   "</t:ItemAttachment>"
                   "<t:FileAttachment><t:Name>a.txt</t:Name><t:ContentType>text/plain</t:ContentType><t:Content>" +
                       VqBase64Encode("content of a") +
                       "</t:Content></t:FileAttachment>"
                       "<t:FileAttachment><t:Name>b.png</t:Name><t:IsInline>true</t:IsInline><t:Content>" +
                       VqBase64Encode("content of b") + "</t:Content></t:FileAttachment></t:Attachments></t:Message>");
  }
  TVqRef<IVqEWSItem> Load() { return Store().GetItem(AddWithAttachments()); }
  TVqRef<IVqEWSItem> NewItem() { return Folder(dfindrafts)->CreateItem(tMessage); }
  static TVqRef<IVqEWSFileAttachment> File(IVqEWSItem& item, std::int32_t index) {
    return Supports<IVqEWSFileAttachment>(item.GetAttachments().GetAttachment(index));
  }
  static TVqRef<IVqEWSItemAttachment> Inner(IVqEWSItem& item, std::int32_t index) {
    return Supports<IVqEWSItemAttachment>(item.GetAttachments().GetAttachment(index));
  }
  static std::string Saved(IVqEWSFileAttachment& file) {
    TVqMemoryStream stream;
    file.SaveToStream(stream);
    return stream.TakeBytes();
  }
  static std::string Markup(IVqEWSItem& item) {
    return item.AsElement().SelectSingleElement("Attachments", kSelectRequired).GetInnerXML().utf8();
  }
  std::string Names(IVqEWSItem& item) {
    std::string names;
    for (std::int32_t i = 0; i < item.GetAttachments().Count(); ++i)
      names += item.GetAttachments().GetAttachment(i)->GetName().utf8() + " ";
    return names;
  }
  /// An item attachment over which m:GetAttachment gives this.
  TVqRef<IVqEWSItemAttachment> InnerOf(const std::string& content) {
    FItem = Load();
    AnswerNext("GetAttachment", ReplyOf("GetAttachment", "<m:Attachments><t:ItemAttachment>" + content +
                                                             "</t:ItemAttachment></m:Attachments>"));
    return Inner(*FItem, 2);
  }
  TVqRef<IVqEWSItem> FItem;
};

TEST_F(Attachments, FilesStandBeforeItems) {
  const auto item = Load();
  EXPECT_EQ(item->GetAttachments().Count(), 3);
  EXPECT_EQ(Names(*item), "a.txt b.png inner ");
  EXPECT_EQ(item->GetAttachments().GetAttachment(0)->GetAttachmentType(), attFile);
  EXPECT_EQ(item->GetAttachments().GetAttachment(2)->GetAttachmentType(), attItem);
  EXPECT_NE(item->GetAttachments().GetAttachment(0).get(), item->GetAttachments().GetAttachment(0).get());
  EXPECT_THROW(item->GetAttachments().GetAttachment(3), EListError);
  EXPECT_THROW(item->GetAttachments().GetAttachment(-1), EListError);
}

TEST_F(Attachments, ContentIsFetchedOnce) {
  const auto item = Load();
  const auto file = File(*item, 0);
  const string id = file->GetAttachmentId().GetId();
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Saved(*file), "content of a"); }), velmore::testing::Names{"GetAttachment"});
  EXPECT_EQ(Request("GetAttachment"), "<m:GetAttachment><m:AttachmentShape/><m:AttachmentIds><t:AttachmentId Id=\"" +
                                          id.utf8() + "\"/></m:AttachmentIds></m:GetAttachment>");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(Saved(*file), "content of a");
              EXPECT_EQ(Saved(*File(*item, 0)), "content of a");  // it stays in the item's tree
            }),
            velmore::testing::Names{});
  EXPECT_FALSE(file->GetModified());
}

TEST_F(Attachments, FetchedContentStandsInTheTreeWithoutACopy) {
  const auto item = Load();
  Saved(*File(*item, 0));
  const std::int64_t before = VqLiveObjectCount();
  EXPECT_EQ(Saved(*File(*item, 1)), "content of b");
  EXPECT_EQ(VqLiveObjectCount(), before);  // the reply is gone: its text, cut out of it, is the item's
  EXPECT_GT(
      detail::SharedTextOf(File(*item, 1)->AsElement().SelectSingleElement("Content", kSelectRequired)).use_count(), 1);
  const string encoded = VqBase64Encode("content of b");
  EXPECT_EQ(File(*item, 1)->AsElement().SelectSingleElement("Content", kSelectRequired).GetText(), encoded);
  EXPECT_EQ(TEwsFileAttachment(File(*item, 1)->AsElement()).GetContent(), encoded);
  EXPECT_TRUE(item->AsElement().GetXML().Contains("<t:Content>" + encoded + "</t:Content>"));
  item->SetSubject("changed");  // what was loaded is copied for comparison
  EXPECT_EQ(Saved(*File(*item, 1)), "content of b");
  TVqMemoryStream other("other");
  File(*item, 1)->LoadFromStream(&other);
  EXPECT_EQ(Saved(*File(*item, 1)), "other");
}

TEST_F(Attachments, SaveToFileMakesTheFile) {
  const auto path = std::filesystem::temp_directory_path() / ("velmore-att-" + IntToStr(::getpid()).utf8());
  const auto item = Load();
  File(*item, 0)->SaveToFile(path.string());
  EXPECT_EQ(std::filesystem::file_size(path), 12u);
  // One that is there is not lost to a refusal.
  RefuseNext("GetAttachment", "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { File(*item, 1)->SaveToFile(path.string()); }), "ErrorItemNotFound");
  EXPECT_EQ(std::filesystem::file_size(path), 12u);
  EXPECT_FALSE(File(*item, 1)->AsElement().HasChildElement("Content", kSelectQuiet));
  // LoadFromFile, the other way.
  File(*item, 1)->LoadFromFile(path.string());
  EXPECT_EQ(Saved(*File(*item, 1)), "content of a");
  std::filesystem::remove(path);
  EXPECT_THROW(File(*item, 1)->LoadFromFile(path.string()), EStreamError);
}

TEST_F(Attachments, SettersMarkAndWrite) {
  const std::function<void(IVqEWSFileAttachment&)> setters[] = {
      [](auto& file) { file.SetName("new.png"); },
      [](auto& file) { file.SetContentType("image/gif"); },
      [](auto& file) { file.SetContentId("cid"); },
      [](auto& file) { file.SetContentLocation("loc"); },
      [](auto& file) { file.SetSize(7); },
      [](auto& file) { file.SetLastModifiedTime(VqXMLToDateTime("2026-03-02T09:00:00Z")); },
      [](auto& file) { file.SetIsInline(false); },
      [](auto& file) { file.SetIsContactPhoto(true); },
      [](auto& file) { file.SetModified(); },
  };
  const auto all = Load();
  for (std::size_t i = 0; i < std::size(setters); ++i) {
    const auto item = Load();
    const auto file = File(*item, 1);
    EXPECT_FALSE(file->GetModified()) << i;
    EXPECT_EQ(Sent([&] { setters[i](*file); }), velmore::testing::Names{}) << i;
    EXPECT_TRUE(file->GetModified()) << i;
    EXPECT_TRUE(File(*item, 1)->GetModified()) << i;  // the mark is the list's
    EXPECT_FALSE(File(*item, 0)->GetModified()) << i;
    setters[i](*File(*all, 1));
  }
  const auto file = File(*all, 1);
  EXPECT_EQ(file->GetName(), "new.png");
  EXPECT_EQ(file->GetContentType(), "image/gif");
  EXPECT_EQ(file->GetContentId(), "cid");
  EXPECT_EQ(file->GetContentLocation(), "loc");
  EXPECT_EQ(file->GetSize(), 7);
  EXPECT_EQ(file->GetLastModifiedTime(), VqXMLToDateTime("2026-03-02T09:00:00Z"));
  EXPECT_FALSE(file->GetIsInline());
  EXPECT_TRUE(file->GetIsContactPhoto());
}

TEST_F(Attachments, LoadFromStreamReplacesTheContent) {
  const auto item = Load();
  const auto file = File(*item, 0);
  TVqMemoryStream stream("fresh");
  file->LoadFromStream(&stream);
  EXPECT_TRUE(file->GetModified());
  EXPECT_EQ(file->GetSize(), 5);
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Saved(*file), "fresh"); }), velmore::testing::Names{});
}

TEST_F(Attachments, LoadFromNothingStillMarks) {
  const auto item = Load();
  TVqMemoryStream empty;
  File(*item, 0)->LoadFromStream(&empty);
  EXPECT_TRUE(File(*item, 0)->GetModified());
  EXPECT_EQ(Saved(*File(*item, 0)), "content of a");
  File(*item, 1)->LoadFromStream(nullptr);
  EXPECT_TRUE(File(*item, 1)->GetModified());
  EXPECT_EQ(Saved(*File(*item, 1)), "content of b");
}

TEST_F(Attachments, AddFromAStream) {
  const auto item = NewItem();
  TVqMemoryStream stream("hello");
  const auto file = item->GetAttachments().AddAttachment("h.txt", "text/plain", stream);
  EXPECT_EQ(Markup(*item),
            "<t:FileAttachment><t:Name>h.txt</t:Name><t:ContentType>text/plain</t:ContentType><t:Size>5</t:Size>"
            "<t:IsInline>false</t:IsInline><t:IsContactPhoto>false</t:IsContactPhoto><t:Content>aGVsbG8=</t:Content>"
            "</t:FileAttachment>");
  EXPECT_FALSE(file->GetModified());
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Saved(*file), "hello"); }), velmore::testing::Names{});
}

TEST_F(Attachments, StreamIsTakenWholeWhateverItsPosition) {
  const auto item = NewItem();
  TVqMemoryStream stream;
  stream.Write("hello");  // and stands at its end
  const auto file = item->GetAttachments().AddAttachment("h.txt", "text/plain", stream);
  EXPECT_EQ(Saved(*file), "hello");
  EXPECT_EQ(file->GetSize(), 5);
  stream.SetPosition(2);
  file->LoadFromStream(&stream);
  EXPECT_EQ(Saved(*file), "hello");
  EXPECT_EQ(file->GetSize(), 5);
}

TEST_F(Attachments, AddFromAFileTakesNameAndType) {
  const auto path = std::filesystem::temp_directory_path() / "velmore-attachment.txt";
  std::ofstream(path) << "hello";
  const auto item = NewItem();
  const auto file = item->GetAttachments().AddAttachment(path.string());
  std::filesystem::remove(path);
  EXPECT_EQ(file->GetName(), "velmore-attachment.txt");
  EXPECT_EQ(file->GetContentType(), "text/plain");
  EXPECT_EQ(Saved(*file), "hello");
  EXPECT_THROW(item->GetAttachments().AddAttachment(path.string()), EStreamError);
  EXPECT_EQ(item->GetAttachments().Count(), 1);
}

TEST_F(Attachments, AddAnItemAsItStands) {
  const auto item = NewItem(), inner = NewItem();
  inner->SetSubject("Inside");
  const auto attachment = item->GetAttachments().AddAttachment("inner", inner);
  EXPECT_EQ(Markup(*item),
            "<t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject></t:Message>"
            "</t:ItemAttachment>");
  EXPECT_EQ(attachment->GetAttachmentType(), attItem);
  inner->SetSubject("Later");
  EXPECT_NE(Markup(*item).find("Inside"), std::string::npos);
  EXPECT_EQ(MessageOf<EVqException>([&] { item->GetAttachments().AddAttachment("x", TVqRef<IVqEWSItem>()); }),
            "There is no item to attach.");
}

TEST_F(Attachments, FindIgnoresCase) {
  const auto item = Load();
  const string id = item->GetAttachments().GetAttachment(2)->GetAttachmentId().GetId();
  EXPECT_EQ(item->GetAttachments().FindAttachment(UpperCase(id))->GetName(), "inner");
  EXPECT_EQ(item->GetAttachments().FindAttachment(LowerCase(File(*item, 1)->GetAttachmentId().GetId()))->GetName(),
            "b.png");
  EXPECT_FALSE(item->GetAttachments().FindAttachment("nothing"));
}

TEST_F(Attachments, DeleteIsADeletionInTheTree) {
  const auto item = Load();
  Forget();
  item->GetAttachments().DeleteAttachment(0);
  EXPECT_EQ(Names(*item), "b.png inner ");
  item->GetAttachments().DeleteAttachment(1);
  EXPECT_EQ(Names(*item), "b.png ");
  EXPECT_THROW(item->GetAttachments().DeleteAttachment(1), EListError);
  EXPECT_EQ(Operations(), velmore::testing::Names{});
}

TEST_F(Attachments, ClearSparesInlineOnesUnlessTold) {
  const auto item = Load();
  item->GetAttachments().Clear(false);
  EXPECT_EQ(Names(*item), "b.png ");
  item->GetAttachments().Clear(true);
  EXPECT_EQ(item->GetAttachments().Count(), 0);
}

TEST_F(Attachments, AttachmentsThatOutliveTheirItemSaySo) {
  auto item = Load();
  const auto file = File(*item, 0);
  Supports<TVqEWSEMail>(item)->ReloadItem(item->GetID());
  EXPECT_EQ(MessageOf<EVqException>([&] { file->GetName(); }), "The attachment's item is gone or was loaded again.");
  const auto other = File(*item, 0);
  item = nullptr;
  EXPECT_EQ(MessageOf<EVqException>([&] { other->SetName("x"); }),
            "The attachment's item is gone or was loaded again.");
}

TEST_F(Attachments, ListIsSerialised) {
  const auto item = Load();
  EXPECT_NE(item->GetAttachments().AsXML().Pos(u"a.txt"), string::npos);
  EXPECT_NE(item->GetAttachments().AsJSON().Pos(u"a.txt"), string::npos);
}

// ---- Items inside

TEST_F(Attachments, KindOfAnItemCostsOneRequest) {
  const auto item = Load();
  const auto inner = Inner(*item, 2);
  const string id = inner->GetAttachmentId().GetId();
  EXPECT_EQ(Sent([&] { EXPECT_EQ(inner->GetItemAttachmentType(), iaMessage); }),
            velmore::testing::Names{"GetAttachment"});
  EXPECT_EQ(Request("GetAttachment"),
            "<m:GetAttachment><m:AttachmentShape><t:IncludeMimeContent>true</t:IncludeMimeContent></m:AttachmentShape>"
            "<m:AttachmentIds><t:AttachmentId Id=\"" +
                id.utf8() + "\"/></m:AttachmentIds></m:GetAttachment>");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(inner->GetMessage().GetSubject(), "Inside");
              EXPECT_EQ(inner->GetItemAttachmentType(), iaMessage);
            }),
            velmore::testing::Names{});
  // Another view shares what the first one fetched.
  EXPECT_EQ(Sent([&] { Inner(*item, 2)->GetMessage(); }), velmore::testing::Names{});
}

TEST_F(Attachments, FilesInsideOfAFetchedItemJoinTheList) {
  // The list finds its entries at any depth, on purpose: the message inside brings a file of its own, and files stand
  // first.
  const auto inner = InnerOf(
      "<t:Message><t:Attachments><t:FileAttachment><t:AttachmentId Id=\"DEEP\"/><t:Name>deep.txt</t:Name>"
      "</t:FileAttachment></t:Attachments></t:Message>");
  EXPECT_EQ(Names(*FItem), "a.txt b.png inner ");
  inner->GetMessage();
  EXPECT_EQ(Names(*FItem), "deep.txt a.txt b.png inner ");
  EXPECT_EQ(FItem->GetAttachments().FindAttachment("deep")->GetName(), "deep.txt");
  // It is the message's, and no save takes it for one of the item's.
  EXPECT_EQ(Sent([&] { FItem->SaveChanges(soAutoResolve); }), (velmore::testing::Names{"UpdateItem", "GetItem"}));
}

TEST_F(Attachments, EachKindHasItsGetterAndEveryOtherRaises) {
  struct TKind {
    const char* Element;
    TItemAttachmentType Type;
    const char* Message;
    std::function<string(IVqEWSItemAttachment&)> Subject;
  };
  const std::vector<TKind> kinds = {
      {"Item", iaItem, "This attachment is not an item!", [](auto& a) { return a.GetItem().GetSubject(); }},
      {"Message", iaMessage, "This attachment is not an email message!",
       [](auto& a) { return a.GetMessage().GetSubject(); }},
      {"CalendarItem", iaCalendarItem, "This attachment is not a calendaritem!",
       [](auto& a) { return a.GetCalendarItem().GetSubject(); }},
      {"Contact", iaContact, "This attachment is not a contact!", [](auto& a) { return a.GetContact().GetSubject(); }},
      {"Task", iaTask, "This attachment is not a task!", [](auto& a) { return a.GetTask().GetSubject(); }},
      {"MeetingMessage", iaMeetingMessage, "This attachment is not a meeting message!",
       [](auto& a) { return a.GetMeetingMessage().GetSubject(); }},
      {"MeetingRequest", iaMeetingRequest, "This attachment is not a meeting request!",
       [](auto& a) { return a.GetMeetingRequest().GetSubject(); }},
      {"MeetingResponse", iaMeetingResponse, "This attachment is not a meeting response!",
       [](auto& a) { return a.GetMeetingResponse().GetSubject(); }},
      {"MeetingCancellation", iaMeetingCancellation, "This attachment is not a meeting cancellation!",
       [](auto& a) { return a.GetMeetingCancellation().GetSubject(); }},
      {"", iaPostItem, "This attachment is not a postitem!", [](auto& a) { return a.GetPostItem().GetSubject(); }},
  };
  for (const TKind& kind : kinds) {
    if (!*kind.Element) continue;
    const std::string name = kind.Element;
    const auto inner = InnerOf("<t:" + name + "><t:Subject>S</t:Subject></t:" + name + ">");
    EXPECT_EQ(inner->GetItemAttachmentType(), kind.Type);
    for (const TKind& other : kinds) {
      if (&other == &kind) {
        EXPECT_EQ(other.Subject(*inner), "S");
      } else {
        EXPECT_EQ(MessageOf<EVqException>([&] { other.Subject(*inner); }), other.Message);
      }
    }
  }
}

TEST_F(Attachments, PostItemsCannotBeFetchedByKind) {
  EXPECT_EQ(MessageOf<EVqException>([&] { InnerOf("<t:PostItem/>")->GetPostItem(); }), "Unsupported Attachment Type!");
  EXPECT_EQ(MessageOf<EVqException>([&] { InnerOf("")->GetItemAttachmentType(); }), "Unsupported Attachment Type!");
}

TEST_F(Attachments, PeopleAskNothing) {
  const auto inner = Inner(*(FItem = Load()), 2);
  Forget();
  inner->GetRoleMember();
  inner->GetNetwork();
  inner->GetPerson();
  EXPECT_EQ(Operations(), velmore::testing::Names{});
}

class AttachmentsOfAnOldServer : public Attachments {
 protected:
  AttachmentsOfAnOldServer() : Attachments("Exchange2007_SP1") {}
};

TEST_F(AttachmentsOfAnOldServer, FlagsNeedExchange2010) {
  const auto item = NewItem();
  TVqMemoryStream stream("hello");
  const auto file = item->GetAttachments().AddAttachment("h.txt", "text/plain", stream);
  EXPECT_EQ(Markup(*item),
            "<t:FileAttachment><t:Name>h.txt</t:Name><t:ContentType>text/plain</t:ContentType>"
            "<t:Size>5</t:Size><t:Content>aGVsbG8=</t:Content></t:FileAttachment>");
  const auto needs = [](const char* name, const char* version) {
    return std::string("\"") + name + "\" is not supported by Exchange2007_SP1. This feature requires Exchange " +
           version + "!";
  };
  EXPECT_EQ(MessageOf<EVqException>([&] { file->SetIsInline(true); }), needs("SetIsInline", "Exchange2010"));
  EXPECT_EQ(MessageOf<EVqException>([&] { file->SetIsContactPhoto(true); }),
            needs("SetIsContactPhoto", "Exchange2010"));
  EXPECT_FALSE(file->GetModified());
  const auto inner = item->GetAttachments().AddAttachment("inner", NewItem());
  EXPECT_EQ(MessageOf<EVqException>([&] { inner->GetRoleMember(); }), needs("GetRoleMember", "Exchange2016"));
  EXPECT_EQ(MessageOf<EVqException>([&] { inner->GetNetwork(); }), needs("GetNetwork", "Exchange2016"));
  EXPECT_EQ(MessageOf<EVqException>([&] { inner->GetPerson(); }), needs("GetPerson", "Exchange2016"));
}

class AttachmentsOfExchange2010 : public Attachments {
 protected:
  AttachmentsOfExchange2010() : Attachments("Exchange2010") {}
};

TEST_F(AttachmentsOfExchange2010, FlagsAreThere) {
  const auto item = NewItem();
  TVqMemoryStream stream("hello");
  const auto file = item->GetAttachments().AddAttachment("h.txt", "text/plain", stream);
  EXPECT_TRUE(file->AsElement().HasChildElement("IsInline", kSelectQuiet));
  EXPECT_TRUE(file->AsElement().HasChildElement("IsContactPhoto", kSelectQuiet));
  file->SetIsInline(true);
  file->SetIsContactPhoto(true);
  EXPECT_TRUE(file->GetIsInline());
}

// ---- Impersonation

TEST_F(Attachments, RequestsOfAnImpersonatingStoreNameTheUserForAttachmentsToo) {
  simulator::User service{"service", "service@example.com", "Service", "secret"};
  service.may_impersonate = true;
  Server().AddUser(service);
  const TItemId id = AddWithAttachments();
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetUserName("service");
  session.GetCredentials().SetPassword("secret");
  session.SetActive(true);
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&session, kAlice);
  Forget();
  const auto item = store->GetItem(id);
  EXPECT_EQ(Saved(*File(*item, 0)), "content of a");
  Inner(*item, 2)->GetItemAttachmentType();
  EXPECT_EQ(Operations(), (velmore::testing::Names{"GetItem", "GetItem", "GetAttachment", "GetAttachment"}));
  for (const auto& exchange : Server().Exchanges()) {
    EXPECT_NE(HeaderOf(exchange.request_body)
                  .find("<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>alice@example.com"
                        "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>"),
              std::string::npos)
        << exchange.operation;
  }
}

}  // namespace
}  // namespace velmore::testing
