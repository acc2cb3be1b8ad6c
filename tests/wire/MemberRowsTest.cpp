// The tables of published properties, row by row: each reads what the record holds, writes what the record reads, and
// names the server version that it needs.

#include <array>
#include <functional>
#include <map>

#include "ews/items/uVqEWSSmartResponse.h"
#include "ews/values/uVqEWSProperties.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

constexpr TServerVersion Any = Exchange2007;
constexpr const char* Unlinked = "";

/// A value of a type, unlike the one that an absent member reads as, and the same value as a record has it.
template <typename T>
T Sample() {
  if constexpr (std::is_same_v<T, string>) {
    return "A & B <\"c\"> 'd' \xC3\xA9";
  } else if constexpr (std::is_same_v<T, TBytes>) {
    return {0, 1, 0xFF};
  } else if constexpr (std::is_same_v<T, TDateTime>) {
    return VqEncodeDateTime({.Year = 2026, .Month = 3, .Day = 2, .Hour = 10, .Minute = 30, .Second = 15});
  } else {
    return static_cast<T>(1);
  }
}
template <typename T>
auto SampleInRecord() {
  if constexpr (std::is_same_v<T, TBytes>) {
    return string("AAH/");
  } else {
    return Sample<T>();
  }
}

/// One row: what it does, apart from the version.
struct TRow {
  std::string Name;
  TServerVersion Needs, NeedsToSet;
  std::function<void()> Read;  // the getter gives what the record holds
  std::function<void()> Set;   // the setter writes what the record reads; empty without one
  std::string Definition;      // what the row is linked to, in the table's words
};

std::string TextOf(TUnindexedFieldURI uri) {
  return VqEnumToText(uri).Replace("_", ":").utf8();
}
std::string TextOf(const char* key) {
  return key;
}

#define ROW_Own(item, record, name, type, field) rows.push_back({#name, Any, Any, [] {}, {}, TextOf(field)});
#define ROW_Reading(name, needs, field, ...) rows.push_back({#name, needs, needs, [&] __VA_ARGS__, {}, TextOf(field)});
#define ROW_Read(item, record, name, type, member, needs, field) \
  ROW_Reading(name, needs, field, {                              \
    record.Set##member(SampleInRecord<type>());                  \
    EXPECT_EQ(item.Get##name(), Sample<type>());                 \
    record.RemoveNode(WireNameOf(record, #member));              \
    EXPECT_EQ(item.Get##name(), type{}) << "absent";             \
  })
#define ROW_Write(item, record, name, type, member, needs, needsToSet, field)                   \
  ROW_Read(item, record, name, type, member, needs, field) rows.back().NeedsToSet = needsToSet; \
  rows.back().Set = [&] {                                                                       \
    item.Set##name(Sample<type>());                                                             \
    EXPECT_EQ(record.Get##member(), SampleInRecord<type>());                                    \
  };
#define ROW_Child(item, record, name, type, member, needs, field) \
  ROW_Reading(name, needs, field, { EXPECT_EQ(item.Get##name().AsElement(), record.Get##member().AsElement()); })
#define ROW_Array(item, record, name, type, member, needs, field) \
  ROW_Reading(name, needs, field, {                               \
    record.Get##member().Add();                                   \
    EXPECT_EQ(item.Get##name().Count(), 1);                       \
    record.Get##member().Delete(0);                               \
    EXPECT_EQ(item.Get##name().Count(), 0);                       \
  })

/// "t:Size" for "Size", "t:Start" for "Start_": names of members are those of their elements.
string WireNameOf(const TEwsItem& record, std::string member) {
  if (member.ends_with('_')) member.pop_back();
  EXPECT_TRUE(record.FindSchemaInfo("t:" + member).has_value()) << member;
  return "t:" + member;
}

std::vector<TRow> RowsOf(IVqEWSItem& item, TEwsItem& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsItem.inc"
  return rows;
}
std::vector<TRow> RowsOf(IVqEWSEMail& item, TEwsMessage& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
  return rows;
}
std::vector<TRow> RowsOf(IVqEWSCalendarItem& item, TEwsCalendarItem& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"
  return rows;
}

std::vector<TRow> RowsOf(IVqEWSContact& item, TEwsContactItem& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  return rows;
}
std::vector<TRow> RowsOf(IVqEWSDistributionList& item, TEwsDistributionList& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
  return rows;
}
std::vector<TRow> RowsOf(IVqEWSTask& item, TEwsTask& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
  return rows;
}
std::vector<TRow> RowsOf(IVqEWSSmartResponse& item, TEwsSmartResponse& record) {
  std::vector<TRow> rows;
#define VQ_MEMBER(access, ...) ROW_##access(item, record, __VA_ARGS__)
#include "ews/tables/MemberRowsSmartResponse.inc"
  return rows;
}

/// The rows of a class, and how many there are at least.
struct TClassRows {
  const TVqEWSMemberTable* Table;
  std::vector<TRow> Rows;
  std::size_t AtLeast;
};

/// A new item of each class, with its record.
class TItems {
 public:
  explicit TItems(IVqEWSFolder& folder, const TVqRef<IVqEWSEMail>& original)
      : FMail(Supports<IVqEWSEMail>(folder.CreateItem(tMessage))),
        FContact(Supports<IVqEWSContact>(folder.CreateItem(tContact))),
        FList(folder.CreateDistributionList()),
        FTask(Supports<IVqEWSTask>(folder.CreateItem(tTask))),
        FMeeting(Supports<IVqEWSCalendarItem>(folder.CreateItem(tCalendarItem))),
        FResponse(original->CreateReply(false)) {}

  /// All rows: those of every item, of a message, and so on.
  std::vector<TClassRows> Rows() {
    return {{TableOf(*FMail)->Base, RowsOf(static_cast<IVqEWSItem&>(*FMail), FMailRecord), 45},
            {TableOf(*FMail), RowsOf(*FMail, FMailRecord), 21},
            {TableOf(*FContact), RowsOf(*FContact, FContactRecord), 57},
            {TableOf(*FList), RowsOf(*FList, FListRecord), 4},
            {TableOf(*FTask), RowsOf(*FTask, FTaskRecord), 22},
            {TableOf(*FMeeting), RowsOf(*FMeeting, FMeetingRecord), 21},
            {TableOf(*FResponse), RowsOf(*FResponse, FResponseRecord), 10}};
  }

 private:
  static const TVqEWSMemberTable* TableOf(IVqEWSItem& item) {
    return &dynamic_cast<TVqEWSItemCore&>(item).MemberTable();
  }

  TVqRef<IVqEWSEMail> FMail;
  TVqRef<IVqEWSContact> FContact;
  TVqRef<IVqEWSDistributionList> FList;
  TVqRef<IVqEWSTask> FTask;
  TVqRef<IVqEWSCalendarItem> FMeeting;
  TVqRef<IVqEWSSmartResponse> FResponse;
  TEwsMessage FMailRecord{FMail->AsElement()};
  TEwsContactItem FContactRecord{FContact->AsElement()};
  TEwsDistributionList FListRecord{FList->AsElement()};
  TEwsTask FTaskRecord{FTask->AsElement()};
  TEwsCalendarItem FMeetingRecord{FMeeting->AsElement()};
  TEwsSmartResponse FResponseRecord{FResponse->AsElement()};
};

class MemberRows : public ::testing::TestWithParam<const char*> {
 protected:
  struct TServer : SaveTest {
    explicit TServer(const char* version) : SaveTest(version) {}
    void TestBody() override {}
    using SaveTest::AddMessage;
    using SaveTest::Folder;
    using SaveTest::Mail;
    using SaveTest::Session;
  };

  /// Runs `check` over all rows of new items.
  template <typename TCheck>
  void ForEachRow(TCheck check) {
    TItems items(*Server.Folder(dfindrafts), Server.Mail(Server.AddMessage("Hello")));
    for (const TClassRows& rows : items.Rows()) {
      EXPECT_GE(rows.Rows.size(), rows.AtLeast);
      for (const TRow& row : rows.Rows) {
        SCOPED_TRACE(std::string(rows.Table->ClassName) + "." + row.Name);
        check(row);
      }
    }
  }

  TServer Server{GetParam()};
};

/// Below its version an accessor raises, from it on it works.
TEST_P(MemberRows, ReadAndWriteTheRecordFromTheVersionThatTheyNeed) {
  const TServerVersion version = Server.Session().GetServerVersion();
  const auto refused = [&](const TRow& row, TServerVersion needs) {
    return "\"" + row.Name + "\" is not supported by " + GetParam() + ". This feature requires Exchange " +
           VqEnumToText(needs).utf8() + "!";
  };
  ASSERT_EQ(VqEnumToText(version), GetParam());
  ForEachRow([&](const TRow& row) {
    if (version < row.Needs) {
      EXPECT_EQ(MessageOf<EVqException>(row.Read), refused(row, row.Needs));
    } else {
      row.Read();
    }
    if (!row.Set) return;
    if (version < row.NeedsToSet) {
      EXPECT_EQ(MessageOf<EVqException>(row.Set), refused(row, row.NeedsToSet));
    } else {
      row.Set();
    }
  });
}

INSTANTIATE_TEST_SUITE_P(EveryVersion, MemberRows,
                         ::testing::Values("Exchange2007_SP1", "Exchange2009", "Exchange2010", "Exchange2010_SP1",
                                           "Exchange2010_SP2", "Exchange2012", "Exchange2013", "Exchange2013_SP1",
                                           "Exchange2015", "Exchange2016"),
                         [](const auto& version) { return std::string(version.param); });

class MemberTable : public SaveTest {};

/// The definition's name of a property that is named after another thing.
std::string DefinitionNameOf(const std::string& name) {
  return name == "StartDateTime" ? "Start" : name == "EndDateTime" ? "End" : name;
}

TEST_F(MemberTable, HasARowForEachPropertyAndNamesItsDefinition) {
  const std::map<std::string_view, std::string> families = {{"TVqEWSItem", "item"},
                                                            {"TVqEWSEMail", "message"},
                                                            {"TVqEWSContact", "contacts"},
                                                            {"TVqEWSDistributionList", "contacts"},
                                                            {"TVqEWSTask", "task"},
                                                            {"TVqEWSCalendarItem", "calendar"},
                                                            {"TVqEWSCalendarItemEx", "calendar"},
                                                            {"TVqEWSSmartResponse", "message"}};
  // What is asked for as a member of another family.
  const std::map<std::string, std::string> others = {{"TVqEWSContact.DisplayNamePrefix", "persona"},
                                                     {"TVqEWSDistributionList.Members", "distributionlist"},
                                                     {"TVqEWSSmartResponse.Subject", "item"},
                                                     {"TVqEWSSmartResponse.Body", "item"}};
  TItems items(*Folder(dfindrafts), Mail(AddMessage("Hello")));
  for (const TClassRows& rows : items.Rows()) {
    const TVqEWSMemberTable& table = *rows.Table;
    ASSERT_EQ(table.Members.size(), rows.Rows.size());
    for (const TRow& row : rows.Rows) {
      const std::string name = std::string(table.ClassName) + "." + row.Name;
      SCOPED_TRACE(name);
      const TVqEWSMemberInfo* member = table.Find(row.Name);
      ASSERT_TRUE(member);
      EXPECT_NE(member->Type.Kind, tkUnknown);
      EXPECT_EQ(static_cast<bool>(member->Field), !row.Definition.empty());
      if (row.Definition.empty()) continue;
      if (row.Definition.starts_with("PR_")) {
        EXPECT_EQ(member->Field.GetURIType(), fdtExtendedField);
        EXPECT_TRUE(member->IsLinkedTo(row.Definition));
      } else {
        const auto other = others.find(name);
        const std::string family = other == others.end() ? families.at(table.ClassName) : other->second;
        EXPECT_EQ(FieldURIToString(member->Field.GetUnindexedFieldURI()), row.Definition);
        EXPECT_EQ(row.Definition, family + ":" + DefinitionNameOf(row.Name));
      }
    }
  }
}

TEST_F(MemberTable, TypesFollowTheCppTypes) {
  const auto mail = NewMail();
  const TVqEWSMemberTable& table = dynamic_cast<TVqEWSEMail&>(*mail).MemberTable();
  const auto type = [&](const char* name) { return table.Find(name)->Type; };
  EXPECT_EQ(type("Subject"), VqStringType);
  EXPECT_EQ(type("Size"), VqInt32Type);
  EXPECT_EQ(type("IsRead"), VqBooleanType);
  EXPECT_EQ(type("DateTimeSent"), VqDateTimeType);
  EXPECT_EQ(type("ConversationIndex"), VqBytesType);
  EXPECT_EQ(type("Importance"), (TVqTypeInfo{tkEnumeration, "TImportanceChoices"}));
  EXPECT_EQ(type("TextBody"), (TVqTypeInfo{tkRecord, "TVqEwsTextBody"}));
  EXPECT_EQ(type("Attachments"), (TVqTypeInfo{tkClass, "TVqEWSAttachments"}));
  EXPECT_EQ(type("From"), (TVqTypeInfo{tkClass, "TVqEWSRecipient"}));
  EXPECT_EQ(type("ExtendedProperty"), (TVqTypeInfo{tkArray, "TEwsExtendedProperty"}));
}

}  // namespace
}  // namespace velmore::testing
