// MIME texts of many messages, out of a mailbox and into one.

#include <filesystem>
#include <fstream>

#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using Sizes = std::vector<std::int32_t>;

/// A folder of its own, gone in the end.
struct TFolder {
  std::filesystem::path Name = std::filesystem::temp_directory_path() / ("bulk-files" + std::to_string(getpid()));
  TFolder() { std::filesystem::create_directories(Name); }
  ~TFolder() { std::filesystem::remove_all(Name); }
  TFolder(const TFolder&) = delete;
  TFolder& operator=(const TFolder&) = delete;
  std::string Path(const std::string& name) const { return (Name / name).string(); }
};

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class BulkMime : public BulkTest {
 protected:
  static std::string TextOf(const TVqEWSMimeText& mime) {
    TVqMemoryStream stream;
    mime.SaveToStream(stream);
    return stream.TakeBytes();
  }
  std::string TextOfOne(const TItemId& id) {
    TVqMemoryStream stream;
    Store().GetItem(id)->SaveToStream(stream);
    return stream.TakeBytes();
  }
  static TVqEWSBulk::TMimeSource SourceOf(const std::vector<std::string>& texts) {
    return [&texts](std::size_t index) { return std::make_unique<TVqMemoryStream>(texts[index]); };
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkMime, kBothForms, NameOfForm);

// ---- Out

TEST_P(BulkMime, TextsComeOneAfterTheOtherAsTheyAre) {
  auto ids = AddMessages(5);
  ids.insert(ids.begin() + 2, TItemId{"no id", ""});
  auto bulk = Bulk(3);
  std::vector<std::size_t> told;
  std::vector<std::string> texts(ids.size());
  Forget();
  const auto results = bulk.ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) {
    told.push_back(index);
    texts[index] = TextOf(mime);
    EXPECT_GE(mime.GetSize(), texts[index].size());
    EXPECT_LE(mime.GetSize(), texts[index].size() + 2);
  });
  EXPECT_EQ(SizesOfGetItem(), (Sizes{3, 3}));
  EXPECT_EQ(told, (std::vector<std::size_t>{0, 1, 3, 4, 5}));
  EXPECT_EQ(CodesOf(results), (Names{"", "", "ErrorInvalidIdMalformed", "", "", ""}));
  for (const std::size_t i : told) {
    EXPECT_EQ(results[i].Value(), ids[i]);
    EXPECT_EQ(texts[i], TextOfOne(ids[i]));
    EXPECT_NE(texts[i].find("Subject: Message"), std::string::npos);
  }
}

TEST_P(BulkMime, AsFiles) {
  const auto ids = AddMessages(2);
  const auto folder = std::filesystem::temp_directory_path() / ("bulk" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  Bulk().ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) {
    mime.SaveToFile((folder / (std::to_string(index) + ".eml")).string());
  });
  for (std::size_t i = 0; i < 2; ++i) {
    std::ifstream file(folder / (std::to_string(i) + ".eml"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), TextOfOne(ids[i]));
  }
  std::filesystem::remove_all(folder);
}

TEST_P(BulkMime, FilesThatAreThereStayUnlessTheyAreToBeReplaced) {
  auto ids = AddMessages(3);
  const TFolder folder;
  std::vector<TVqEWSItemFile> files;
  for (std::size_t i = 0; i < 3; ++i) files.push_back({ids[i], folder.Path("a/b/" + std::to_string(i) + ".eml")});
  files[1].Id.Id = "no id";
  auto bulk = Bulk();
  const auto first = bulk.ExportItems(files);
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(CodesOf(first), (Names{"", "ErrorInvalidIdMalformed", ""}));
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(first[i].FileName, files[i].FileName);
  EXPECT_EQ(ReadFile(files[2].FileName.utf8()), TextOfOne(ids[2]));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("a/b/1.eml")));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("a/b/0.eml.part")));

  files[1].Id = ids[1];
  std::ofstream(files[0].FileName.utf8()) << "mine";
  Forget();
  const auto second = bulk.ExportItems(files);
  ASSERT_EQ(second.size(), 1u) << "what is there is not asked for";
  EXPECT_EQ(second[0].FileName, files[1].FileName);
  EXPECT_EQ(SizesOfGetItem(), Sizes{1});
  EXPECT_EQ(ReadFile(files[0].FileName.utf8()), "mine");
  EXPECT_EQ(bulk.ExportItems(files, true).size(), 3u);
  EXPECT_EQ(ReadFile(files[0].FileName.utf8()), TextOfOne(ids[0]));
}

TEST_P(BulkMime, AFileThatCannotBeWrittenEndsIt) {
  const auto ids = AddMessages(2);
  const TFolder folder;
  const std::string file = folder.Path("file");
  std::ofstream(file) << "x";
  const std::vector<TVqEWSItemFile> files = {{ids[0], file + "/0.eml"}, {ids[1], folder.Path("1.eml")}};
  auto bulk = Bulk();
  EXPECT_THROW(bulk.ExportItems(files), EStreamError);
  std::filesystem::create_directory(folder.Path("2.eml"));
  const std::vector<TVqEWSItemFile> taken = {{ids[0], folder.Path("2.eml")}};
  EXPECT_EQ(MessageOf<EStreamError>([&] { bulk.ExportItems(taken, true); }).find("Failed to write \""), 0u);
}

TEST_P(BulkMime, AnAnswerWithoutATextIsAnEmptyOne) {
  const auto ids = AddMessages(1);
  auto bulk = Bulk();
  AnswerNext("GetItem",
             ReplyOf("GetItem", "<m:Items><t:Message><t:ItemId Id=\"a\" ChangeKey=\"b\"/></t:Message></m:Items>"));
  int told = 0;
  const auto results = bulk.ExportItems(ids, [&](std::size_t, const TVqEWSMimeText& mime) {
    EXPECT_EQ(TextOf(mime), "");
    ++told;
  });
  EXPECT_EQ(told, 1);
  EXPECT_EQ(results[0].Value(), (TItemId{"a", "b"}));
}

TEST_P(BulkMime, TextsThatOnlyAParserCanReadComeOutAsWell) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  const auto message = [](const std::string& content) {
    return "<m:GetItemResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode><m:Items>"
           "<t:Message><t:MimeContent CharacterSet=\"UTF-8\">" +
           content +
           "</t:MimeContent><t:ItemId Id=\"a\" ChangeKey=\"b\"/></t:Message></m:Items></m:GetItemResponseMessage>";
  };
  std::string reply = ReplyOf("GetItem", "");
  const std::size_t from = reply.find("<m:GetItemResponseMessage"), to = reply.find("</m:ResponseMessages>");
  reply.replace(from, to - from,
                message("QUJD") + message("RE<!-- x -->VG") + message("&#71;SEk") + message("\r\nSk\r\ntM\r\n"));
  AnswerNext("GetItem", reply);
  std::vector<std::string> texts;
  bulk.ExportItems(ids, [&](std::size_t, const TVqEWSMimeText& mime) { texts.push_back(TextOf(mime)); });
  EXPECT_EQ(texts, (Names{"ABC", "DEF", "\x19!$", "JKL"}));
}

TEST_P(BulkMime, ATextThatIsNoBase64ComesOutOfTheHandler) {
  const auto ids = AddMessages(1);
  auto bulk = Bulk();
  AnswerNext("GetItem",
             ReplyOf("GetItem", "<m:Items><t:Message><t:MimeContent>?</t:MimeContent></t:Message></m:Items>"));
  EXPECT_THROW(bulk.ExportItems(ids, [&](std::size_t, const TVqEWSMimeText& mime) { TextOf(mime); }), EConvertError);
}

TEST_P(BulkMime, NoMoreThanOneAnswerIsHeld) {
  const auto ids = AddMessages(30);
  auto bulk = Bulk(5);
  const std::int64_t before = VqLiveObjectCount();
  std::int64_t most = 0, mostOfFive = 0;
  const auto count = [&](std::int64_t& value) {
    return [&](std::size_t, const TVqEWSMimeText&) { value = std::max(value, VqLiveObjectCount() - before); };
  };
  bulk.ExportItems(ids, count(most));
  bulk.ExportItems(std::span(ids).first(5), count(mostOfFive));
  EXPECT_EQ(most, mostOfFive);
  EXPECT_EQ(VqLiveObjectCount(), before);
}

// ---- In

TEST_P(BulkMime, TextsGoInInOneRequest) {
  std::vector<std::string> texts;
  for (int i = 0; i < 3; ++i) texts.push_back(MimeOf("Imported " + std::to_string(i)));
  const auto inbox = Inbox();
  auto bulk = Bulk();
  Forget();
  const auto results = bulk.ImportItems(*inbox, 3, SourceOf(texts));
  EXPECT_EQ(SizesOf("CreateItem", "Items/Message"), Sizes{3});
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ(Store().GetItem(results[i].Value())->GetSubject().utf8(), "Imported " + std::to_string(i));
  // The request of a single import has the same message.
  TVqMemoryStream stream(texts[1]);
  const IVqDOMDocument many = VqCreateDOM(LastExchange("CreateItem").request_body);
  inbox->ImportItem(stream, {});
  const IVqDOMDocument one = VqCreateDOM(LastExchange("CreateItem").request_body);
  const auto method = [](const IVqDOMDocument& request) {
    return request.SelectSingleElement("/Envelope/Body/CreateItem", kSelectRequired);
  };
  EXPECT_EQ(method(many).SelectSingleElement("Items", kSelectRequired).GetChildElements().GetItem(1).GetXMLAsUtf8(),
            method(one).SelectSingleElement("Items/*", kSelectRequired).GetXMLAsUtf8());
  EXPECT_EQ(method(many).GetAttribute("MessageDisposition"), method(one).GetAttribute("MessageDisposition"));
  EXPECT_EQ(method(many).SelectSingleElement("SavedItemFolderId", kSelectRequired).GetXMLAsUtf8(),
            method(one).SelectSingleElement("SavedItemFolderId", kSelectRequired).GetXMLAsUtf8());
}

TEST_P(BulkMime, FlagsOfTheCallerOrOfTheFolder) {
  const std::vector<std::string> texts = {MimeOf("A")};
  auto bulk = Bulk();
  bulk.ImportItems(*Inbox(), 1, SourceOf(texts), {msgflgRead, msgflgFromMe});
  EXPECT_EQ(Part("CreateItem", "Items/Message/ExtendedProperty/Value"), "<t:Value>33</t:Value>");
  bulk.ImportItems(*Folder(dfindrafts), 1, SourceOf(texts));
  EXPECT_EQ(Part("CreateItem", "Items/Message/ExtendedProperty/Value"), "<t:Value>10</t:Value>");
}

TEST_P(BulkMime, ARequestIsNoLongerThanItMayBe) {
  const std::vector<std::string> texts(6, MimeOf("Long", std::string(1000, 'x')));
  auto bulk = Bulk();
  bulk.SetRequestBytes(3 * texts[0].size());
  Forget();
  EXPECT_EQ(CountOf(bulk.ImportItems(*Inbox(), 6, SourceOf(texts))), 6u);
  EXPECT_EQ(SizesOf("CreateItem", "Items/Message"), (Sizes{3, 3}));
  bulk.SetRequestBytes(1);
  Forget();
  EXPECT_EQ(CountOf(bulk.ImportItems(*Inbox(), 2, SourceOf(texts))), 2u);
  EXPECT_EQ(SizesOf("CreateItem", "Items/Message"), (Sizes{1, 1}));
}

TEST_P(BulkMime, AServerThatFindsARequestTooLargeGetsHalves) {
  const std::vector<std::string> texts(4, MimeOf("A"));
  auto bulk = Bulk();
  simulator::Fault fault;
  fault.operation = "CreateItem";
  fault.http_status = 413;
  Server().AddFault(fault);
  Forget();
  EXPECT_EQ(CountOf(bulk.ImportItems(*Inbox(), 4, SourceOf(texts))), 4u);
  EXPECT_EQ(SizesOf("CreateItem", "Items/Message"), (Sizes{4, 2, 2}));
  EXPECT_EQ(Inbox()->GetTotalCount(), 4);
}

TEST_P(BulkMime, ATextThatCannotBeOpenedIsThatMessagesFailure) {
  const std::string good = MimeOf("A");
  const auto inbox = Inbox();
  auto bulk = Bulk();
  const auto results = bulk.ImportItems(*inbox, 3, [&](std::size_t index) -> std::unique_ptr<TVqStream> {
    if (index == 0) throw EStreamError("Not there.");
    if (index == 1) return nullptr;
    return std::make_unique<TVqMemoryStream>(good);
  });
  EXPECT_EQ(results[0].FailureText(), "Not there.");
  EXPECT_FALSE(results[0].WasSent());
  EXPECT_EQ(results[1].FailureText(), "There is no MIME text for this message.");
  EXPECT_TRUE(results[2]);
}

TEST_P(BulkMime, FromFiles) {
  const auto path = std::filesystem::temp_directory_path() / ("bulk" + std::to_string(getpid()) + ".eml");
  std::ofstream(path, std::ios::binary) << MimeOf("From a file");
  const std::vector<string> names = {path.string(), path.string() + ".none"};
  const auto results = Bulk().ImportItems(*Inbox(), names);
  EXPECT_EQ(Store().GetItem(results[0].Value())->GetSubject(), "From a file");
  EXPECT_THROW(results[1].Value(), EStreamError);
  EXPECT_EQ(results[1].FileName, names[1]);
  std::filesystem::remove(path);
}

TEST_P(BulkMime, ALostAnswerIsNotFollowedByASecondImport) {
  const std::vector<std::string> texts(2, MimeOf("A"));
  CutNext("CreateItem", Cut::after);
  EXPECT_EQ(CountOf(Bulk().ImportItems(*Inbox(), 2, SourceOf(texts))), 0u);
  EXPECT_EQ(Inbox()->GetTotalCount(), 2);
}

}  // namespace
}  // namespace velmore::testing
