// Import of MIME messages.

#include <filesystem>
#include <fstream>

#include "platform/common/uVqNetEncoding.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class FolderImport : public MailboxTest {
 protected:
  /// What the request for this import must be.
  static std::string Import(const TVqRef<IVqEWSFolder>& folder, bool mail, const std::string& flags,
                            const std::string& bytes) {
    return std::string("<m:CreateItem") + (mail ? " MessageDisposition=\"SaveOnly\"" : "") + "><m:SavedItemFolderId>" +
           IdElement("FolderId", folder->GetID()) + "</m:SavedItemFolderId><m:Items><t:Message>" +
           "<t:MimeContent CharacterSet=\"UTF-8\">" + VqBase64Encode(bytes) + "</t:MimeContent>" +
           (flags.empty() ? std::string()
                          : "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"3591\" PropertyType=\"Integer\"/>"
                            "<t:Value>" +
                                flags + "</t:Value></t:ExtendedProperty>") +
           "</t:Message></m:Items></m:CreateItem>";
  }
  static TItemId ImportText(const TVqRef<IVqEWSFolder>& folder, const std::string& text,
                            TVqEWSMessageFlags flags = {}) {
    TVqMemoryStream stream(text);
    return folder->ImportItem(stream, flags);
  }
};

TEST_F(FolderImport, IntoTheInboxIsUnmodifiedAndKnowsTheDrafts) {
  const auto inbox = Inbox();
  const std::string mime = MimeOf("Imported", "Grüße");
  TItemId id;
  // To tell whether it is a draft, the folder of the drafts is opened.
  EXPECT_EQ(Sent([&] { id = ImportText(inbox, mime); }), (Names{"GetFolder", "GetFolder", "CreateItem"}));
  EXPECT_EQ(Request("CreateItem"), Import(inbox, true, "2", mime));
  const auto item = Store().GetItem(id);
  EXPECT_EQ(item->GetSubject(), "Imported");
  EXPECT_EQ(item->GetBodyText().Trim(), "Grüße");
  EXPECT_FALSE(item->GetIsDraft());
}

TEST_F(FolderImport, IntoTheDraftsIsADraft) {
  const auto drafts = Folder(dfindrafts);
  const TItemId id = ImportText(drafts, MimeOf("Draft"));
  EXPECT_EQ(Request("CreateItem"), Import(drafts, true, "10", MimeOf("Draft")));
  EXPECT_TRUE(Store().GetItem(id)->GetIsDraft());
}

TEST_F(FolderImport, IntoAnotherKindOfFolderHasNeitherFlagsNorDisposition) {
  Store();
  AnswerNext("GetFolder", ReplyOf("GetFolder",
                                  "<m:Folders><t:SearchFolder><t:FolderId Id=\"S\" ChangeKey=\"K\"/>"
                                  "</t:SearchFolder></m:Folders>"));
  const auto search = Store().GetFolder(TItemId{"S", "K"});
  EXPECT_EQ(search->GetFolderFieldType(), sffSearchFolder);
  for (const auto& folder : {search, Folder(dfincontacts), Folder(dfincalendar), Folder(dfintasks)}) {
    AnswerNext("CreateItem",
               ReplyOf("CreateItem", "<m:Items><t:Message><t:ItemId Id=\"I\" ChangeKey=\"C\"/></t:Message></m:Items>"));
    TItemId id;
    EXPECT_EQ(Sent([&] { id = ImportText(folder, MimeOf("Odd")); }), Names{"CreateItem"});
    EXPECT_EQ(Request("CreateItem"), Import(folder, false, "", MimeOf("Odd"))) << folder->GetDisplayName();
    EXPECT_EQ(id.Id, "I");
    EXPECT_EQ(id.ChangeKey, "C");
  }
}

TEST_F(FolderImport, FlagsWinOverTheFolder) {
  const auto drafts = Folder(dfindrafts);
  const std::pair<TVqEWSMessageFlags, const char*> cases[] = {
      {{msgflgRead}, "1"},
      {{msgflgUnmodified}, "2"},
      {{msgflgUnsent}, "8"},
      {{msgflgFromMe}, "32"},
      {{msgflgRead, msgflgFromMe}, "33"},
      {{msgflgRead, msgflgUnmodified, msgflgUnsent, msgflgFromMe}, "43"}};
  for (const auto& [flags, text] : cases) {
    ImportText(drafts, MimeOf("Flags"), flags);
    EXPECT_EQ(Request("CreateItem"), Import(drafts, true, text, MimeOf("Flags")));
  }
  // Also where the folder says nothing.
  const auto contacts = Folder(dfincontacts);
  AnswerNext("CreateItem", ReplyOf("CreateItem", "<m:Items><t:Message><t:ItemId Id=\"I\"/></t:Message></m:Items>"));
  ImportText(contacts, "x", {msgflgRead, msgflgFromMe});
  EXPECT_EQ(Request("CreateItem"), Import(contacts, false, "33", "x"));
}

TEST_F(FolderImport, BytesThatAreNoTextArriveAsReplacementCharacters) {
  const auto inbox = Inbox();
  ImportText(inbox, MimeOf("Broken",
                           "a\xFF"
                           "b"));
  EXPECT_EQ(Request("CreateItem"), Import(inbox, true, "2",
                                          MimeOf("Broken",
                                                 "a\xEF\xBF\xBD"
                                                 "b")));
}

TEST_F(FolderImport, StreamIsReadWholeWhateverItsPosition) {
  const auto inbox = Inbox();
  TVqMemoryStream stream;
  stream.Write(MimeOf("Written before"));
  inbox->ImportItem(stream, {});
  EXPECT_EQ(Request("CreateItem"), Import(inbox, true, "2", MimeOf("Written before")));
}

TEST_F(FolderImport, FromAFile) {
  const auto inbox = Inbox();
  const auto path = std::filesystem::temp_directory_path() / ("velmore-import-" + IntToStr(::getpid()).utf8() + ".eml");
  std::ofstream(path, std::ios::binary) << MimeOf("From a file");
  const TItemId id = inbox->ImportItem(path.string(), 0x40, {});
  std::filesystem::remove(path);
  EXPECT_EQ(Store().GetItem(id)->GetSubject(), "From a file");
  Forget();
  EXPECT_NE(MessageOf<EStreamError>([&] { inbox->ImportItem(path.string(), 0x40, {}); }), "");
  EXPECT_EQ(Operations(), Names{});
}

}  // namespace
}  // namespace velmore::testing
