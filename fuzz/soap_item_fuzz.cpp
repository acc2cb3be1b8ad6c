// The reply of a hostile server through an item: it is opened, all that it has is read, its attachments are fetched,
// and it is changed and saved; every request is answered with the same bytes. What is raised is the library's own, and
// the item can be read behind it.

#include <cstdlib>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "ews/values/uVqEWSStrings.h"
#include "fuzz/Quietly.h"
#include "tests/support/AnsweringSession.h"

namespace {

using namespace velmore;

void Read(const TVqRef<IVqEWSRecipient>& recipient) {
  recipient->GetName();
  recipient->GetEmailAddress();
  recipient->GetMailboxType();
  recipient->GetItemId();
}
void Read(const TVqRef<IVqEWSRecipients>& list) {
  for (std::int32_t i = 0; i < list->Count(); ++i) Quietly([&] { Read(list->GetItem(i)); });
  list->GetAsString();
}
void Read(TVqEWSStrings& list) {
  list.AsString(";");
}
void Read(TVqEWSAttachments& list) {
  for (std::int32_t i = 0; i < list.Count(); ++i) {
    const auto attachment = list.GetAttachment(i);
    Quietly([&] { attachment->GetName(); });
    TVqMemoryStream content;
    if (const auto file = Supports<IVqEWSFileAttachment>(attachment)) Quietly([&] { file->SaveToStream(content); });
    if (const auto item = Supports<IVqEWSItemAttachment>(attachment)) Quietly([&] { item->GetMessage(); });
  }
}
template <typename T>
void Read(const T&) {}

#define READ_Read(item, name, ...) Quietly([&] { item.Get##name(); });
#define READ_Write(item, name, ...) Quietly([&] { item.Get##name(); });
#define READ_Child(item, name, ...) Quietly([&] { item.Get##name().AsElement().GetXMLAsUtf8(); });
#define READ_Array(item, name, ...)                                     \
  Quietly([&] {                                                         \
    auto& array = item.Get##name();                                     \
    if (array.Count() > 0) array.GetItem(0).AsElement().GetXMLAsUtf8(); \
  });
#define READ_Own(item, name, ...) Quietly([&] { Read(item.Get##name()); });

void ReadItem(IVqEWSItem& item) {
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
  Quietly([&] { item.GetAllowedResponseTypes(); });
}
void ReadMail(IVqEWSEMail& item) {
#define VQ_MEMBER(access, ...) READ_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string reply(reinterpret_cast<const char*>(data), size);
  testing::TAnsweringSession session;
  session.Reply = [&](const std::string&) { return reply; };
  const auto store = MakeRef<TVqEWSMsgStore>(&session, string("alice@example.com"));
  TVqRef<IVqEWSItem> item;
  Quietly([&] { item = store->GetItem(TItemId{"id", "key"}); });
  if (!item) return 0;
  ReadItem(*item);
  if (const auto mail = Supports<IVqEWSEMail>(item)) ReadMail(*mail);
  Quietly([&] {
    auto& properties = item->GetProperties();
    for (std::int32_t i = 0; i < properties.Count(); ++i) Quietly([&] { properties.GetItem(i).GetAsString(); });
  });
  Quietly([&] { item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean(); });
  Quietly([&] { item->PropertyByName(EPR_COMMON_COMPANIES).GetAsStrings(); });
  Quietly([&] { item->SetSubject("changed"); });
  Quietly([&] { item->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true); });
  Quietly([&] { item->SaveChanges(soAutoResolve); });
  Quietly([&] { item->GetSubject(); });
  return 0;
}
