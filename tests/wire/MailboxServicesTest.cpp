// The master list of categories, room lists, rooms and photos.

#include "ews/stores/uVqEWSMailboxServices.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqStringStream.h"
#include "tests/wire/MailboxTestSupport.h"
#include "tests/wire/SessionTestSupport.h"

namespace velmore::testing {
namespace {

// ---- Categories

class Categories : public MailboxTest {
 protected:
  void Keep(const std::string& list) { Server().SetUserConfiguration(kAlice, "calendar", "CategoryList", list); }
  /// The names of the list, one after another.
  std::string NamesOf(IVqEWSCategories& list) {
    std::string names;
    for (std::int32_t i = 0; i < list.Count(); ++i) names += list.GetCategory(i).GetName().utf8() + ";";
    return names;
  }
  /// The texts of the failure, outermost first.
  std::vector<std::string> Broken(const std::string& blob) {
    Keep(blob);
    EXPECT_THROW(Store().GetCategories(), EVqXMLError);
    return NestedMessagesOf([&] { Store().GetCategories(); });
  }

  static constexpr const char* kList =
      "<categories default=\"Red\" lastSavedSession=\"5\" xmlns=\"CategoryList.xsd\"><category name=\"Red\" "
      "color=\"0\" "
      "keyboardShortcut=\"1\"/><category name=\"Gr\xC3\xBCn &amp; more\" color=\"4\"/></categories>";
  static constexpr const char* kBroken = "The list of categories that GetUserConfiguration gave cannot be read.";
};

TEST_F(Categories, AreAUserConfigurationOfTheCalendar) {
  Keep(kList);
  Store();
  TVqRef<IVqEWSCategories> list;
  EXPECT_EQ(Sent([&] { list = Store().GetCategories(); }), Names{"GetUserConfiguration"});
  EXPECT_EQ(Request("GetUserConfiguration"),
            "<m:GetUserConfiguration><m:UserConfigurationName Name=\"CategoryList\"><t:DistinguishedFolderId "
            "Id=\"calendar\"/></m:UserConfigurationName><m:UserConfigurationProperties>All"
            "</m:UserConfigurationProperties></m:GetUserConfiguration>");
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->GetDefaultCategory(), "Red");
  EXPECT_EQ(list->GetCategory(0).GetName(), "Red");
  EXPECT_EQ(list->GetCategory(0).GetColor(), 0x2E25D6u);
  EXPECT_EQ(list->GetCategory(0).GetShortCut(), 0x4071);
  EXPECT_EQ(list->GetCategory(1).GetName(), "Gr\xC3\xBCn & more");
  EXPECT_EQ(MessageOf<EListError>([&] { list->GetCategory(2); }), "There is no category at position 2.");
  EXPECT_EQ(MessageOf<EListError>([&] { list->GetCategory(-1); }), "There is no category at position -1.");
}

TEST_F(Categories, AreAskedForAtEachCall) {
  Keep(kList);
  const auto first = Store().GetCategories();
  Keep("<categories default=\"Blue\"><category name=\"Blue\"/></categories>");
  TVqRef<IVqEWSCategories> second;
  EXPECT_EQ(Sent([&] { second = Store().GetCategories(); }), Names{"GetUserConfiguration"});
  EXPECT_EQ(second->GetDefaultCategory(), "Blue");
  EXPECT_EQ(first->Count(), 2) << "a list stays what it was";
}

TEST_F(Categories, ComeInEveryEncoding) {
  const string text(kList);
  const auto encoded = [&](std::int32_t codePage, const std::string& mark, const char* declaration = "") {
    return mark + VqEncodeText(declaration + text.utf8(), codePage);
  };
  const std::string blobs[] = {
      encoded(kVqCodePageUtf8, ""),
      encoded(kVqCodePageUtf8, "\xEF\xBB\xBF"),
      encoded(kVqCodePageUtf8, "", "<?xml version=\"1.0\"?>"),
      encoded(kVqCodePageUtf8, "", "<?xml version=\"1.0\" encoding=\"utf-8\"?>"),
      // What writes the declaration need not be what writes the bytes.
      encoded(kVqCodePageUtf8, "", "<?xml version=\"1.0\" encoding=\"utf-16\"?>"),
      encoded(kVqCodePageUtf8, "\xEF\xBB\xBF", "<?xml version=\"1.0\" encoding=\"utf-16\"?>"),
      encoded(kVqCodePageUtf8, "", "<?xml version=\"1.0\" encoding=\"nobody-knows-it\"?>"),
      encoded(kVqCodePageUtf16LE, ""),
      encoded(kVqCodePageUtf16LE, "\xFF\xFE"),
      encoded(kVqCodePageUtf16LE, "\xFF\xFE", "<?xml version=\"1.0\" encoding=\"utf-16\"?>"),
      encoded(kVqCodePageUtf16LE, "", "<?xml version=\"1.0\" encoding=\"utf-16\"?>"),
      encoded(kVqCodePageUtf16BE, ""),
      encoded(kVqCodePageUtf16BE, "\xFE\xFF"),
      encoded(kVqCodePageLatin1, "", "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>"),
  };
  for (const std::string& blob : blobs) {
    SCOPED_TRACE(VqHexEncode(blob.substr(0, 60)));
    Keep(blob);
    const auto list = Store().GetCategories();
    EXPECT_EQ(NamesOf(*list), "Red;Gr\xC3\xBCn & more;");
    EXPECT_EQ(list->GetDefaultCategory(), "Red");
  }
}

TEST_F(Categories, MayBeNone) {
  Keep("<categories/>");
  EXPECT_EQ(Store().GetCategories()->Count(), 0);
  EXPECT_EQ(Store().GetCategories()->GetDefaultCategory(), "");
}

TEST_F(Categories, OfAMailboxWithoutAListAreRefused) {
  EXPECT_EQ(CodeOf([&] { Store().GetCategories(); }), "ErrorItemNotFound");
}

TEST_F(Categories, ThatAreNoXmlRaiseThatWithTheReasonNested) {
  const auto broken = Broken("<categories><category name=\"a\"></categories>");
  ASSERT_EQ(broken.size(), 2u);
  EXPECT_EQ(broken[0].find(std::string(kBroken) + " (line 1, column "), 0u) << broken[0];
  Keep("<categories>\n<category");
  try {
    Store().GetCategories();
    FAIL();
  } catch (const EVqXMLError& failure) {
    EXPECT_EQ(failure.GetLine(), 2);
  }
  Keep(kList);  // nothing is kept of it
  EXPECT_EQ(Store().GetCategories()->Count(), 2);
}

TEST_F(Categories, ThatAreAnythingElseRaise) {
  for (const std::string& blob :
       {std::string(), std::string("\0", 1), std::string("plain text"), std::string("<other/>"),
        std::string("<!DOCTYPE categories [<!ENTITY a \"b\">]><categories default=\"&a;\"/>"),
        std::string("\xFF\xFE<", 3), std::string("\xEF\xBB\xBF"), std::string("<categories>\xFF</categories>")})
    EXPECT_EQ(Broken(blob).at(0).find(kBroken), 0u) << blob;
  std::string deep = "<categories>";
  for (int i = 0; i < 1000; ++i) deep += "<a>";
  EXPECT_EQ(Broken(deep).at(0).find(kBroken), 0u);
  // And what is no base64.
  Store();
  AnswerNext("GetUserConfiguration", ReplyOf("GetUserConfiguration",
                                             "<m:UserConfiguration><t:XmlData>*not base64*</t:XmlData>"
                                             "</m:UserConfiguration>"));
  EXPECT_EQ(NestedMessagesOf([&] { Store().GetCategories(); }).size(), 2u);
  AnswerNext("GetUserConfiguration", ReplyOf("GetUserConfiguration", "<m:UserConfiguration/>"));
  EXPECT_EQ(MessageOf<EVqXMLError>([&] { Store().GetCategories(); }),
            "There is no \"UserConfiguration/XmlData\" in \"m:GetUserConfigurationResponseMessage\".");
}

class OldCategories : public MailboxTest, public ::testing::WithParamInterface<const char*> {
 protected:
  OldCategories() : MailboxTest(GetParam()) {}
};
TEST_P(OldCategories, NeedExchange2013) {
  Store();
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(MessageOf<EVqException>([&] { Store().GetCategories(); }),
                        std::string("\"GetCategories\" is not supported by ") + GetParam() +
                            ". This feature requires Exchange Exchange2013!");
            }),
            Names{});
}
INSTANTIATE_TEST_SUITE_P(Versions, OldCategories, ::testing::Values("Exchange2010", "Exchange2010_SP2"));

// ---- Rooms

class Rooms : public MailboxTest {
 protected:
  static simulator::Options Building() {
    simulator::Options options = TwoUsers();
    for (const char* name : {"tower", "cellar"}) {
      simulator::User room{name, std::string(name) + "@example.com", std::string("The ") + name, "x"};
      room.room = true;
      options.users.push_back(room);
    }
    options.lists = {{"harbour@example.com", "Harbour", {"tower@example.com", "cellar@example.com", kBob}, true},
                     {"empty@example.com", "Nothing & nobody", {}, true},
                     {"all@example.com", "All", {kAlice}}};
    return options;
  }
  Rooms() : MailboxTest(Building()) {}
};

TEST_F(Rooms, ListsAreRecipients) {
  Store();
  TVqRef<IVqEWSRecipients> lists;
  EXPECT_EQ(Sent([&] { lists = Store().GetRoomLists(); }), Names{"GetRoomLists"});
  EXPECT_EQ(Request("GetRoomLists"), "<m:GetRoomLists/>");
  ASSERT_EQ(lists->Count(), 2);
  EXPECT_EQ(lists->GetAsString(), "Harbour <harbour@example.com>; Nothing & nobody <empty@example.com>");
  EXPECT_EQ(lists->GetItem(0)->GetRoutingType(), "SMTP");
  EXPECT_EQ(lists->GetItem(0)->GetMailboxType(), mtPublicDL);
}

TEST_F(Rooms, OfAListAreItsRooms) {
  Store();
  TVqRef<IVqEWSRecipients> rooms;
  EXPECT_EQ(Sent([&] { rooms = Store().GetRooms("harbour@example.com"); }), Names{"GetRooms"});
  EXPECT_EQ(Request("GetRooms"),
            "<m:GetRooms><m:RoomList><t:EmailAddress>harbour@example.com</t:EmailAddress></m:RoomList></m:GetRooms>");
  EXPECT_EQ(rooms->GetAsString(), "The tower <tower@example.com>; The cellar <cellar@example.com>");
  EXPECT_EQ(Store().GetRooms("empty@example.com")->Count(), 0);
  for (const char* none : {"all@example.com", "nobody@example.com", ""})
    EXPECT_EQ(CodeOf([&] { Store().GetRooms(none); }), "ErrorNameResolutionNoResults") << none;
}

TEST_F(Rooms, AreNoneWhenTheAnswerHasNoList) {
  Store();
  const auto bare = [](const std::string& operation) {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:" + operation +
           "Response xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode></m:" +
           operation + "Response></s:Body></s:Envelope>";
  };
  AnswerNext("GetRoomLists", bare("GetRoomLists"));
  EXPECT_EQ(Store().GetRoomLists()->Count(), 0);
  AnswerNext("GetRooms", bare("GetRooms"));
  EXPECT_EQ(Store().GetRooms("harbour@example.com")->Count(), 0);
}

TEST_F(Rooms, RefusalsAreRaised) {
  Store();
  RefuseNext("GetRoomLists", "ErrorInternalServerError");
  EXPECT_EQ(CodeOf([&] { Store().GetRoomLists(); }), "ErrorInternalServerError");
  RefuseNext("GetRooms", "ErrorServerBusy");
  EXPECT_EQ(MessageOf<EEWSServerBusy>([&] { Store().GetRooms("harbour@example.com"); }).find("ErrorServerBusy"), 0u);
  EXPECT_EQ(Store().GetRoomLists()->Count(), 2);
}

// ---- Photos

class Photos : public MailboxTest {
 protected:
  static simulator::Options WithPhotos(std::string photo) {
    simulator::Options options = TwoUsers();
    options.users.front().photo = std::move(photo);
    return options;
  }
  explicit Photos(std::string photo = "painted") : MailboxTest(WithPhotos(std::move(photo))) {}
};
class BigPhotos : public Photos {
 protected:
  BigPhotos() : Photos(Bytes()) {}
  static std::string Bytes() {
    std::string bytes(3u << 20, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
    return bytes;
  }
};

TEST_F(Photos, ComeInEverySize) {
  const struct {
    TSizeRequested Size;
    const char* Text;
    unsigned Pixels;
  } rows[] = {{HR48x48, "HR48x48", 48},      {HR64x64, "HR64x64", 64},      {HR96X96, "HR96X96", 96},
              {HR120X120, "HR120X120", 120}, {HR240X240, "HR240X240", 240}, {HR360X360, "HR360X360", 360},
              {HR432X432, "HR432X432", 432}, {HR504X504, "HR504X504", 504}, {HR648X648, "HR648X648", 648}};
  Store().GetIdentity();
  for (const auto& row : rows) {
    TVqMemoryStream photo;
    EXPECT_EQ(Sent([&] { Store().GetUserPhoto(photo, row.Size); }), Names{"GetUserPhoto"});
    EXPECT_EQ(Request("GetUserPhoto"), std::string("<m:GetUserPhoto><m:Email>alice@example.com</m:Email>"
                                                   "<m:SizeRequested>") +
                                           row.Text + "</m:SizeRequested></m:GetUserPhoto>");
    const std::string& png = photo.Bytes();
    ASSERT_GT(png.size(), 33u);
    EXPECT_EQ(png.substr(1, 3), "PNG");
    const auto number = [&](std::size_t at) {
      return static_cast<unsigned>(static_cast<unsigned char>(png[at + 2]) << 8 |
                                   static_cast<unsigned char>(png[at + 3]));
    };
    EXPECT_EQ(number(16), row.Pixels) << row.Text;
    EXPECT_EQ(number(20), row.Pixels) << row.Text;
  }
}

TEST_F(Photos, AreWrittenAtTheStreamsPosition) {
  TVqMemoryStream photo;
  photo.Write("before", 6);
  Store().GetUserPhoto(photo, HR48x48);
  EXPECT_EQ(photo.Bytes().substr(0, 10), std::string("before\x89PNG"));
}

TEST_F(BigPhotos, OfThreeMegabytesComeAsTheyAre) {
  TVqMemoryStream photo;
  Store().GetUserPhoto(photo, HR648X648);
  EXPECT_TRUE(photo.Bytes() == Bytes());
}

TEST_F(Photos, ThatAreMissingAreRefused) {
  const auto store = MakeRef<TVqEWSMsgStore>(&Session(), kAlice);
  store->GetIdentity()->SetEmailAddress(kBob);
  TVqMemoryStream photo;
  EXPECT_EQ(CodeOf([&] { store->GetUserPhoto(photo, HR48x48); }), "ErrorItemNotFound");
  store->GetIdentity()->SetEmailAddress("nobody@example.com");
  EXPECT_EQ(CodeOf([&] { store->GetUserPhoto(photo, HR48x48); }), "ErrorNonExistentMailbox");
  EXPECT_EQ(photo.GetSize(), 0u);
}

TEST_F(Photos, AnAnswerWithoutOneIsToldByItsPath) {
  Store().GetIdentity();
  const auto answer = [&](const std::string& content) {
    AnswerNext("GetUserPhoto",
               "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetUserPhotoResponse "
               "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/messages\" ResponseClass=\"Success\">"
               "<ResponseCode>NoError</ResponseCode><HasChanged>true</HasChanged>" +
                   content + "</GetUserPhotoResponse></s:Body></s:Envelope>");
  };
  TVqMemoryStream photo;
  answer("");
  EXPECT_EQ(MessageOf<EVqXMLError>([&] { Store().GetUserPhoto(photo, HR48x48); }),
            "There is no \"PictureData\" in \"m:GetUserPhotoResponse\".");
  answer("<PictureData>aGVs\nbG8=</PictureData>");
  Store().GetUserPhoto(photo, HR48x48);
  EXPECT_EQ(photo.Bytes(), "hello");
  answer("<PictureData>aGVs<!-- in two pieces -->bG8=</PictureData>");
  Store().GetUserPhoto(photo, HR48x48);
  EXPECT_EQ(photo.Bytes(), "hellohello");
  answer("<!--<PictureData>bm8=</PictureData> --><PictureData>aGVsbG8=</PictureData>");
  Store().GetUserPhoto(photo, HR48x48);
  EXPECT_EQ(photo.Bytes(), "hellohellohello");
  answer("<PictureData/>");
  Store().GetUserPhoto(photo, HR48x48);
  EXPECT_EQ(photo.Bytes(), "hellohellohello");
  answer("<PictureData>*</PictureData>");
  EXPECT_THROW(Store().GetUserPhoto(photo, HR48x48), EConvertError);
}

}  // namespace
}  // namespace velmore::testing
