// What getters hand out, held over a save, a save that fails at its reload, a reload and the end of the item: it
// raises, or it goes on as a view of what the item is then. There is no third way.

#include <functional>

#include "tests/wire/CalendarTestSupport.h"
#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

/// Something held: using it, and whether it shows what the item has now.
struct THeld {
  std::string Name;
  std::function<void()> Use;
  std::function<bool()> IsCurrent;
};
using THeldList = std::vector<THeld>;

void Hold(THeldList& held, const std::string& name, const std::function<TVqEWSAttachments&()>& get) {
  TVqEWSAttachments& list = get();
  held.push_back({name, [&list] { list.Count(); }, [&list, get] { return list.AsXML() == get().AsXML(); }});
}
void Hold(THeldList& held, const std::string& name, const std::function<TVqEWSStrings&()>& get) {
  TVqEWSStrings& list = get();
  held.push_back({name, [&list] { list.Count(); },
                  [&list, get] {
                    list.Add("one more");
                    return get().IndexOf("one more") >= 0;
                  }});
}
void Hold(THeldList& held, const std::string& name, const std::function<TVqRef<IVqEWSRecipient>()>& get) {
  const TVqRef<IVqEWSRecipient> recipient = get();
  const std::pair<const char*, std::function<void()>> uses[] = {
      {"GetName", [=] { recipient->GetName(); }},
      {"SetName", [=] { recipient->SetName("x"); }},
      {"GetEmailAddress", [=] { recipient->GetEmailAddress(); }},
      {"SetEmailAddress", [=] { recipient->SetEmailAddress("x@example.com"); }},
      {"GetRoutingType", [=] { recipient->GetRoutingType(); }},
      {"SetRoutingType", [=] { recipient->SetRoutingType("SMTP"); }},
      {"GetMailboxType", [=] { recipient->GetMailboxType(); }},
      {"SetMailboxType", [=] { recipient->SetMailboxType(mtMailbox); }},
      {"GetItemId", [=] { recipient->GetItemId(); }},
      {"SetItemId",
       [=] {
         recipient->SetItemId({"a", "b"});
       }},
      {"GetOriginalDisplayName", [=] { recipient->GetOriginalDisplayName(); }},
      {"SetOriginalDisplayName", [=] { recipient->SetOriginalDisplayName("x"); }},
  };
  for (const auto& [operation, use] : uses)
    held.push_back({name + "." + operation, use, [=] {
                      recipient->SetName("current");
                      return get()->GetName() == "current";
                    }});
}
void Hold(THeldList& held, const std::string& name, const std::function<TVqRef<IVqEWSRecipients>()>& get) {
  const TVqRef<IVqEWSRecipients> list = get();
  const auto isCurrent = [=] { return list->Count() == get()->Count(); };
  const std::pair<const char*, std::function<void()>> uses[] = {
      {"Count", [=] { list->Count(); }},
      {"Add", [=] { list->Add("x@example.com"); }},
      {"AddMailbox", [=] { list->AddMailbox("x", "x@example.com"); }},
      {"Remove", [=] { list->Remove("x@example.com"); }},
      {"GetAsString", [=] { list->GetAsString(); }},
      {"SetAsString", [=] { list->SetAsString("x@example.com"); }},
      {"Clear", [=] { list->Clear(); }},
  };
  for (const auto& [operation, use] : uses) held.push_back({name + "." + operation, use, isCurrent});
  for (const auto* operation : {"GetItem", "Delete"}) {
    const bool gets = operation == std::string("GetItem");
    held.push_back(
        {name + "." + operation, [=] { gets ? static_cast<void>(list->GetItem(0)) : list->Delete(0); }, isCurrent});
  }
  if (list->Count() > 0)
    Hold(held, name + "[0]", std::function<TVqRef<IVqEWSRecipient>()>([get, first = list->GetItem(0)] {
           static_cast<void>(get);
           return first;
         }));
}

void Hold(THeldList& held, const std::string& name, const std::function<TVqRef<TVqEWSMembersList>()>& get) {
  const TVqRef<TVqEWSMembersList> list = get();
  held.push_back({name, [=] { list->Count(); }, [=] { return list.get() == get().get(); }});
}

template <typename T>
void HoldRecord(THeldList& held, const std::string& name, const std::function<T&()>& get) {
  T& record = get();
  held.push_back(
      {name, [&record] { record.GetXML(); }, [&record, get] { return record.AsElement() == get().AsElement(); }});
}
template <typename T>
void HoldArray(THeldList& held, const std::string& name, const std::function<TVqXMLSchemaElementArray<T>&()>& get) {
  TVqXMLSchemaElementArray<T>& array = get();
  held.push_back({name, [&array] { array.Count(); }, [&array, get] { return &array == &get(); }});
}

#define HOLD_Read(...)
#define HOLD_Write(...)
#define HOLD_Child(item, name, type, ...) \
  if (IsGiven(item, #name)) HoldRecord<type>(held, #name, [&item]() -> type& { return item.Get##name(); });
#define HOLD_Array(item, name, type, ...) \
  HoldArray<type>(held, #name, [&item]() -> TVqXMLSchemaElementArray<type>& { return item.Get##name(); });
#define HOLD_Own(item, name, type, ...) HoldOwn(held, #name, [&item]() -> decltype(auto) { return item.Get##name(); });

template <typename TGet>
void HoldOwn(THeldList& held, const std::string& name, TGet get) {
  using TResult = decltype(get());
  if constexpr (!std::is_same_v<TResult, string> && !std::is_same_v<TResult, TVqEwsTextBody> &&
                std::is_class_v<std::remove_reference_t<TResult>> && !std::is_same_v<TResult, TDateTime>)
    Hold(held, name, std::function<TResult()>(get));
}

/// The records that the schema has no name to ask for: at them a session goes over to the schema's form.
bool IsGiven(IVqEWSItem& item, const std::string& name) {
  return (name != "MailboxGuids" && name != "CalendarActivityData") || item.GetID().Id.empty();
}

/// Everything that an item hands out by reference or as a view.
THeldList HoldItem(IVqEWSItem& item) {
  THeldList held;
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
  return held;
}
THeldList HoldAll(IVqEWSEMail& item) {
  THeldList held = HoldItem(item);
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
  return held;
}
THeldList HoldAll(IVqEWSContact& item) {
  THeldList held = HoldItem(item);
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  return held;
}
THeldList HoldAll(IVqEWSDistributionList& item) {
  THeldList held = HoldItem(item);
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
  return held;
}
THeldList HoldAll(IVqEWSTask& item) {
  THeldList held = HoldItem(item);
#define GetOwner GetTaskOwner  // read under another name
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
#undef GetOwner
  return held;
}
THeldList HoldAll(IVqEWSCalendarItem& item) {
  THeldList held = HoldItem(item);
#define VQ_MEMBER(access, ...) HOLD_##access(item, __VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"
  return held;
}

void ExpectAllRaise(const THeldList& held, std::size_t atLeast = 60) {
  ASSERT_GT(held.size(), atLeast);
  for (const THeld& one : held) EXPECT_THROW(one.Use(), EVqException) << one.Name;
}

class HeldReferences : public PeopleTest {
 protected:
  TVqRef<IVqEWSEMail> Full() {
    return Draft(
        "<t:Subject>S</t:Subject><t:Body "
        "BodyType=\"Text\">text</t:Body><t:Categories><t:String>c</t:String></t:Categories>"
        "<t:ToRecipients><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients>"
        "<t:Attachments><t:FileAttachment><t:Name>a.txt</t:Name><t:Content>YWFh</t:Content></t:FileAttachment>"
        "</t:Attachments>");
  }
  /// Over a save, and over a save of a new item.
  template <typename TItem>
  static void ExpectRaiseBehindSaves(const TVqRef<TItem>& item, std::size_t atLeast) {
    for (int save = 0; save < 2; ++save) {
      const THeldList held = HoldAll(*item);
      for (const THeld& one : held) EXPECT_TRUE(one.IsCurrent()) << one.Name;
      item->SetSubject("S" + IntToStr(save));
      item->SaveChanges(soAutoResolve);
      ExpectAllRaise(held, atLeast);
    }
  }
};

TEST_F(HeldReferences, RaiseBehindASave) {
  const auto mail = Full();
  const THeldList held = HoldAll(*mail);
  mail->SaveChanges(soAutoResolve);
  ExpectAllRaise(held);
}

TEST_F(HeldReferences, ShowTheItemUntilThen) {
  const auto mail = Full();
  for (const THeld& one : HoldAll(*mail)) EXPECT_TRUE(one.IsCurrent()) << one.Name;
}

TEST_F(HeldReferences, RaiseBehindTheFirstSaveOfANewItem) {
  const auto mail = NewMail();
  mail->SetSubject("S");
  mail->GetToRecipients()->Add("bob@example.com");
  const THeldList held = HoldAll(*mail);
  mail->SaveChanges(soAutoResolve);
  ExpectAllRaise(held);
}

TEST_F(HeldReferences, OfItemsOfOtherKindsRaiseBehindASave) {
  ExpectRaiseBehindSaves(NewContact(), 25);
  ExpectRaiseBehindSaves(NewList(), 15);
  ExpectRaiseBehindSaves(NewTask(), 15);
}

TEST_F(HeldReferences, RaiseBehindAReload) {
  const auto mail = Full();
  const THeldList held = HoldAll(*mail);
  Supports<TVqEWSEMail>(mail)->ReloadItem(mail->GetID());
  ExpectAllRaise(held);
}

TEST_F(HeldReferences, GoOnBehindASaveThatFails) {
  for (const char* operation : {"UpdateItem", "GetItem"}) {
    const auto mail = Full();
    const THeldList held = HoldAll(*mail);
    RefuseNext(operation, "ErrorServerBusy");
    EXPECT_THROW(mail->SaveChanges(soAutoResolve), EVqException);
    for (const THeld& one : held) {
      try {
        EXPECT_TRUE(one.IsCurrent()) << one.Name;
      } catch (const EVqException&) {  // the other way that is left
      }
    }
    Supports<TVqEWSEMail>(mail)->ReloadItem(mail->GetID());
    ExpectAllRaise(held);
  }
}

TEST_F(HeldReferences, RaiseBehindManySaves) {
  const auto mail = Full();
  const THeldList held = HoldAll(*mail);
  for (int i = 0; i < 3; ++i) {
    HoldAll(*mail);
    mail->SaveChanges(soAutoResolve);
  }
  ExpectAllRaise(held);
}

TEST_F(HeldReferences, ViewsRaiseWhenTheItemIsGone) {
  auto mail = Full();
  const auto to = mail->GetToRecipients();
  const auto first = to->GetItem(0);
  const auto from = mail->GetFrom();
  const auto file = mail->GetAttachments().GetAttachment(0);
  mail = nullptr;
  const char* gone = "The recipient's item is gone or was loaded again.";
  EXPECT_EQ(MessageOf<EVqException>([&] { to->Count(); }), gone);
  EXPECT_EQ(MessageOf<EVqException>([&] { first->SetName("x"); }), gone);
  EXPECT_EQ(MessageOf<EVqException>([&] { from->GetName(); }), gone);
  EXPECT_EQ(MessageOf<EVqException>([&] { file->GetName(); }), "The attachment's item is gone or was loaded again.");
}

TEST_F(HeldReferences, RecordsOfAttachmentsLiveAsLongAsTheItemStaysAsItIs) {
  const auto mail = Draft(
      "<t:Attachments><t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside</t:Subject></t:Message>"
      "</t:ItemAttachment></t:Attachments>");
  // No view is kept but the records that views gave.
  TEwsMessage& inside = Supports<IVqEWSItemAttachment>(mail->GetAttachments().GetAttachment(0))->GetMessage();
  TEwsAttachmentId& id = mail->GetAttachments().GetAttachment(0)->GetAttachmentId();
  EXPECT_EQ(inside.GetSubject(), "Inside");
  EXPECT_NE(id.GetId(), "");
  mail->SaveChanges(soAutoResolve);
  EXPECT_THROW(inside.GetSubject(), EVqException);
  EXPECT_THROW(id.GetId(), EVqException);
}

TEST_F(HeldReferences, PropertiesGoOnOrSayThatTheyWereDiscarded) {
  const auto mail = Full();
  TVqEWSProperty& subject = mail->PropertyByName(PR_SUBJECT);
  mail->SetSubject("Changed");
  mail->SaveChanges(soAutoResolve);
  try {
    EXPECT_EQ(subject.GetAsString(), "Changed");
  } catch (const EVqException& discarded) {
    EXPECT_STREQ(discarded.what(), "The property \"PR_SUBJECT\" was discarded when its list was rebuilt!");
  }
}

class HeldReferencesOfMeetings : public CalendarTest {
 protected:
  TVqRef<IVqEWSCalendarItem> FullMeeting() {
    return Appointment(std::string(kDaily) + Required(AttendeeXml("bob@example.com")));
  }
};

TEST_F(HeldReferencesOfMeetings, RaiseBehindEachOfTheTwoSaves) {
  for (const bool withAttendees : {false, true}) {
    const auto meeting = FullMeeting();
    const THeldList held = HoldAll(*meeting);
    for (const THeld& one : held) EXPECT_TRUE(one.IsCurrent()) << one.Name;
    if (withAttendees) {
      RefuseNext("UpdateItem", "ErrorInvalidRecipients", 1);
      EXPECT_THROW(meeting->SaveMeeting(soAutoResolve, smiocSendOnlyToAll), EVqEWSAttendeesNotSaved);
    } else {
      meeting->SaveMeeting(soAutoResolve, smiocSendToNone);
    }
    ExpectAllRaise(held, 30);
  }
}

TEST_F(HeldReferencesOfMeetings, GoOnBehindASaveThatFails) {
  const auto meeting = FullMeeting();
  const THeldList held = HoldAll(*meeting);
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_THROW(meeting->SaveMeeting(soAutoResolve, smiocSendOnlyToAll), EVqException);
  for (const THeld& one : held) EXPECT_TRUE(one.IsCurrent()) << one.Name;
}

}  // namespace
}  // namespace velmore::testing
