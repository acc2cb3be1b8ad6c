// The reply of a hostile server through a table: pages are opened and walked, every column of every row is read.

#include <cstdlib>

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "ews/values/uVqEWSFields.h"
#include "fuzz/Quietly.h"
#include "tests/support/AnsweringSession.h"

namespace {

using namespace velmore;

constexpr int kMostRows = 2000;  // a server may go on for ever

const TVqEWSFieldDef* const kFields[] = {&FLD_ITEM_SUBJECT,   &FLD_MESSAGE_FROM,     &FLD_ITEM_ITEMID,
                                         &MFLD_SUBJECT,       &EFLD_COMMON_PRIVATE,  &FLD_CONTACTS_EMAILADDRESS1,
                                         &FLD_MESSAGE_ISREAD, &FLD_ITEM_CATEGORIES,  &FLD_CALENDAR_START,
                                         &FLD_ITEM_SIZE,      &FLD_ITEM_SENSITIVITY, &FLD_ITEM_HASATTACHMENTS};

const std::string kFolder = testing::TAnsweringSession::EnvelopeOf(
    "<m:GetFolderResponse><m:ResponseMessages><m:GetFolderResponseMessage ResponseClass=\"Success\"><m:ResponseCode>"
    "NoError</m:ResponseCode><m:Folders><t:Folder><t:FolderId Id=\"f\" ChangeKey=\"k\"/><t:FolderClass>IPF.Note"
    "</t:FolderClass><t:DisplayName>F</t:DisplayName></t:Folder></m:Folders></m:GetFolderResponseMessage>"
    "</m:ResponseMessages></m:GetFolderResponse>");

void Walk(IVqEWSTableBase& table) {
  int rows = 0;
  for (table.Open(); !table.Eof() && rows < kMostRows; table.Next(), ++rows) {
    for (std::int32_t i = 0; i < table.GetFields().Count(); ++i) {
      auto& cell = table.GetFields().GetItem(i);
      Quietly([&] { cell.GetAsString(); });
      Quietly([&] { cell.GetAsInteger(); });
      Quietly([&] { cell.GetAsDateTime(); });
      Quietly([&] { cell.GetAsStrings(); });
    }
  }
  Quietly([&] { table.First(); });
}

}  // namespace

// The first byte chooses the table and the length of its pages.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string reply(reinterpret_cast<const char*>(data) + 1, size - 1);
  testing::TAnsweringSession session;
  session.Reply = [&](const std::string& operation) { return operation == "GetFolder" ? kFolder : reply; };
  const auto store = MakeRef<TVqEWSMsgStore>(&session, string("alice@example.com"));
  const auto folder = store->GetFolder(dfininbox, "");
  if (data[0] % 2 == 0) {
    const auto items = folder->GetItems();
    for (const TVqEWSFieldDef* field : kFields) items->GetFields().Add(*field);
    items->SetMaxEntriesPerPage(data[0] / 2);
    Quietly([&] { Walk(*items); });
    Quietly([&] { items->GetItemId(); });
  } else {
    const auto folders = folder->GetSubFolders();
    folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
    folders->GetFields().Add(FLD_FOLDER_FOLDERID);
    folders->GetFields().Add(FLD_FOLDER_TOTALCOUNT);
    Quietly([&] { Walk(*folders); });
  }
  return 0;
}
