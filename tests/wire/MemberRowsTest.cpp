// The tables of published properties, row by row: each reads what the record holds, writes what the record reads, and
// names the server version that it needs.

#include <array>
#include <functional>

#include "ews/values/uVqEWSProperties.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/SaveTestSupport.h"

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
#define ROW_Read(item, record, name, type, member, needs, field)     \
  rows.push_back({#name,                                             \
                  needs,                                             \
                  needs,                                             \
                  [&] {                                              \
                    record.Set##member(SampleInRecord<type>());      \
                    EXPECT_EQ(item.Get##name(), Sample<type>());     \
                    record.RemoveNode(WireNameOf(record, #member));  \
                    EXPECT_EQ(item.Get##name(), type{}) << "absent"; \
                  },                                                 \
                  {},                                                \
                  TextOf(field)});
#define ROW_Write(item, record, name, type, member, needs, needsToSet, field)                   \
  ROW_Read(item, record, name, type, member, needs, field) rows.back().NeedsToSet = needsToSet; \
  rows.back().Set = [&] {                                                                       \
    item.Set##name(Sample<type>());                                                             \
    EXPECT_EQ(record.Get##member(), SampleInRecord<type>());                                    \
  };
#define ROW_Child(item, record, name, type, member, needs, field)                                     \
  rows.push_back({#name,                                                                              \
                  needs,                                                                              \
                  needs,                                                                              \
                  [&] { EXPECT_EQ(item.Get##name().AsElement(), record.Get##member().AsElement()); }, \
                  {},                                                                                 \
                  TextOf(field)});
#define ROW_Array(item, record, name, type, member, needs, field) \
  rows.push_back({#name,                                          \
                  needs,                                          \
                  needs,                                          \
                  [&] {                                           \
                    record.Get##member().Add();                   \
                    EXPECT_EQ(item.Get##name().Count(), 1);       \
                    record.Get##member().Delete(0);               \
                    EXPECT_EQ(item.Get##name().Count(), 0);       \
                  },                                              \
                  {},                                             \
                  TextOf(field)});

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

class MemberRows : public ::testing::TestWithParam<const char*> {
 protected:
  struct TServer : SaveTest {
    explicit TServer(const char* version) : SaveTest(version) {}
    void TestBody() override {}
    using SaveTest::NewMail;
    using SaveTest::Session;
  };

  /// Runs `check` over all rows of a new message.
  template <typename TCheck>
  void ForEachRow(TCheck check) {
    const auto mail = Server.NewMail();
    TEwsMessage record(mail->AsElement());
    for (const auto& rows : {RowsOf(static_cast<IVqEWSItem&>(*mail), record), RowsOf(*mail, record)}) {
      EXPECT_GT(rows.size(), 20u);
      for (const TRow& row : rows) {
        SCOPED_TRACE(row.Name);
        check(row, *mail);
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
  ForEachRow([&](const TRow& row, IVqEWSEMail&) {
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

TEST_F(MemberTable, HasARowForEachPropertyAndNamesItsDefinition) {
  const auto mail = NewMail();
  TEwsMessage record(mail->AsElement());
  const auto* table = &dynamic_cast<TVqEWSEMail&>(*mail).MemberTable();
  const auto look = [&](const std::vector<TRow>& rows, const std::string& family) {
    ASSERT_EQ(table->Members.size(), rows.size());
    for (const TRow& row : rows) {
      SCOPED_TRACE(row.Name);
      const TVqEWSMemberInfo* member = table->Find(row.Name);
      ASSERT_TRUE(member);
      EXPECT_NE(member->Type.Kind, tkUnknown);
      EXPECT_EQ(static_cast<bool>(member->Field), !row.Definition.empty());
      if (row.Definition.empty()) continue;
      if (row.Definition.starts_with("PR_")) {
        EXPECT_EQ(member->Field.GetURIType(), fdtExtendedField);
        EXPECT_TRUE(member->IsLinkedTo(row.Definition));
      } else {
        EXPECT_EQ(FieldURIToString(member->Field.GetUnindexedFieldURI()), row.Definition);
        EXPECT_EQ(row.Definition, family + ":" + row.Name);
      }
    }
  };
  look(RowsOf(*mail, record), "message");
  table = table->Base;
  look(RowsOf(static_cast<IVqEWSItem&>(*mail), record), "item");
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
