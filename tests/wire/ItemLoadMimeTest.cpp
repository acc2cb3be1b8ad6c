// The MIME content of an item, past the tree.

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "ews/items/uVqEWSItem.h"
#include "platform/common/uVqNetEncoding.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class ItemLoadMime : public MailboxTest {
 protected:
  TVqRef<TVqEWSItem> Load(const TItemId& id) {
    return MakeRef<TVqEWSItem>(Supports<TVqEWSMsgStore>(&Store()).get(), id);
  }
  static std::string Saved(IVqEWSItem& item) {
    TVqMemoryStream stream;
    item.SaveToStream(stream);
    return stream.TakeBytes();
  }
  /// What a reply with this inside its item saves.
  std::string SavedOf(const std::string& content) {
    const auto item = Load(AddMessage("Hello"));
    AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message>" + content + "</t:Message></m:Items>"));
    return Saved(*item);
  }
};

TEST_F(ItemLoadMime, OneRequestForTheContentAlone) {
  const TItemId id = AddMessage("Hello");
  const auto item = Load(id);
  std::string mime;
  EXPECT_EQ(Sent([&] { mime = Saved(*item); }), Names{"GetItem"});
  EXPECT_EQ(Request("GetItem"),
            "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
            "FieldURI=\"item:MimeContent\"/></t:AdditionalProperties></m:ItemShape><m:ItemIds>" +
                LoadId("ItemId", id) + "</m:ItemIds></m:GetItem>");
  EXPECT_NE(mime.find("Subject: Hello"), std::string::npos);
  EXPECT_FALSE(item->AsElement().HasChildElement("MimeContent", kSelectQuiet));  // the item is as it was
}

TEST_F(ItemLoadMime, FileIsCreatedOrOverwritten) {
  const auto path = std::filesystem::temp_directory_path() / ("velmore-mime-" + IntToStr(::getpid()).utf8() + ".eml");
  std::ofstream(path) << std::string(100'000, 'x');
  const auto item = Load(AddMessage("Hello"));
  item->SaveToFile(path.string());
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  EXPECT_EQ(text.str(), Saved(*item));
  std::filesystem::remove(path);
  EXPECT_THROW(item->SaveToFile("/nowhere/at/all.eml"), EStreamError);
}

TEST_F(ItemLoadMime, AnswerWithoutContentMakesAnEmptyFile) {
  EXPECT_EQ(SavedOf(""), "");
  EXPECT_EQ(SavedOf("<t:MimeContent/>"), "");
  EXPECT_EQ(SavedOf("<t:MimeContent CharacterSet=\"UTF-8\"></t:MimeContent>"), "");
  EXPECT_EQ(SavedOf("<t:MimeContent />"), "");
  // A file that is there is emptied.
  const auto path = std::filesystem::temp_directory_path() / ("velmore-mime-" + IntToStr(::getpid()).utf8() + ".eml");
  std::ofstream(path) << "something";
  const auto item = Load(AddMessage("Hello"));
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message/></m:Items>"));
  item->SaveToFile(path.string());
  EXPECT_EQ(std::filesystem::file_size(path), 0u);
  std::filesystem::remove(path);
}

TEST_F(ItemLoadMime, OnlyTheFirstContentIsCutOut) {
  const std::string one = VqBase64Encode("one"), two = VqBase64Encode("two");
  EXPECT_EQ(SavedOf("<t:MimeContent CharacterSet=\"UTF-8\">" + one + "</t:MimeContent><t:MimeContent>" + two +
                    "</t:MimeContent>"),
            "one");
  const std::string reply = ReplyOf("GetItem", "<m:Items><t:Message><t:MimeContent>" + one +
                                                   "</t:MimeContent>"
                                                   "<t:MimeContentUTF8>" +
                                                   two + "</t:MimeContentUTF8></t:Message></m:Items>");
  const auto response = MakeRef<TVqBinResponse>(reply, "");
  EXPECT_EQ(response->GetBody().SelectSingleElement(".//Message", kSelectRequired).GetInnerXML(),
            "<t:MimeContent/><t:MimeContentUTF8>" + two + "</t:MimeContentUTF8>");
}

TEST_F(ItemLoadMime, WhiteSpaceIsSkippedAndAnythingElseRefused) {
  EXPECT_EQ(SavedOf("<t:MimeContent>\r\n aGVs\r\n\tbG8=\n</t:MimeContent>"), "hello");
  const auto item = Load(AddMessage("Hello"));
  AnswerNext("GetItem",
             ReplyOf("GetItem", "<m:Items><t:Message><t:MimeContent>aGVs*G8=</t:MimeContent></t:Message></m:Items>"));
  EXPECT_NE(MessageOf<EConvertError>([&] { Saved(*item); }).find("4"), std::string::npos);  // with its place
}

TEST_F(ItemLoadMime, ContentWithoutAPrefixIsFoundInTheTree) {
  const auto item = Load(AddMessage("Hello"));
  AnswerNext("GetItem",
             "<Envelope xmlns=\"http://schemas.xmlsoap.org/soap/envelope/\"><Body><GetItemResponse xmlns=\""
             "http://schemas.microsoft.com/exchange/services/2006/messages\"><ResponseMessages><GetItemResponseMessage "
             "ResponseClass=\"Success\"><ResponseCode>NoError</ResponseCode><Items><Message "
             "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/types\"><MimeContent>aGVsbG8=</MimeContent>"
             "</Message></Items></GetItemResponseMessage></ResponseMessages></GetItemResponse></Body></Envelope>");
  EXPECT_EQ(Saved(*item), "hello");
}

TEST_F(ItemLoadMime, CutReplyIsAnError) {
  const auto item = Load(AddMessage("Hello"));
  const std::string reply =
      ReplyOf("GetItem", "<m:Items><t:Message><t:MimeContent>aGVsbG8=</t:MimeContent></t:Message></m:Items>");
  for (const char* end : {"<t:MimeContent>aGVs", "<t:MimeContent", "</t:MimeContent>"}) {
    AnswerNext("GetItem", reply.substr(0, reply.find(end) + std::string(end).size()));
    EXPECT_THROW(Saved(*item), EVqXMLError) << end;
  }
}

TEST_F(ItemLoadMime, RefusalIsAnException) {
  const auto item = Load(AddMessage("Hello"));
  RefuseNext("GetItem", "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { Saved(*item); }), "ErrorItemNotFound");
}

TEST_F(ItemLoadMime, SomeMegabytesComeWhole) {
  std::mt19937 random(1);
  std::string text;
  while (text.size() < 5'000'000) text += std::to_string(random()) + "\r\n";
  const simulator::Id id = Server().AddMessage(kAlice, "inbox", MimeOf("Large", text));
  const std::string mime = Saved(*Load({id.id, id.change_key}));
  EXPECT_NE(mime.find(text), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
