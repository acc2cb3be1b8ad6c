// Every member of every class, by its row: what the setter writes, the getter reads, and the tree shows under the
// member's name.

#include <gtest/gtest.h>

#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

IVqDOMElement NewElement() {
  return TVqDOMDocument().CreateRootNode("t:Any");
}

// Two different values of each type, the last value of an enumeration among them.
template <typename T>
std::vector<T> Samples() {
  if constexpr (std::is_enum_v<T>) {
    return {static_cast<T>(VqEnumInfoOf(T{}).Count - 1), static_cast<T>(0)};
  } else if constexpr (std::is_same_v<T, string>) {
    return {"a <b> & ü", ""};
  } else if constexpr (std::is_same_v<T, TDateTime>) {
    return {TDateTime(45351.5), TDateTime(2)};
  } else if constexpr (std::is_same_v<T, TGUID>) {
    return {TGUID("00020328-0000-0000-c000-000000000046"), TGUID()};
  } else if constexpr (std::is_same_v<T, TDaysOfWeek>) {
    return {{dowSunday, dowWeekendDay}, {}};
  } else if constexpr (std::is_same_v<T, TMailTipSet>) {
    return {{mtAll, mtPreferAccessibleContent}, {}};
  } else if constexpr (std::is_same_v<T, bool>) {
    return {true, false};
  } else {
    return {static_cast<T>(-7), static_cast<T>(12)};
  }
}

using TRecord = TVqXMLSchemaElement;

// Checks the members of one record. Getters and setters come as functions of the record, so that what is checked is
// compiled once a type and not once a class.
class TChecker {
 public:
  explicit TChecker(TRecord& record) : FRecord(record) {}

  template <typename T>
  void Value(std::string_view wire, bool attribute, T (*get)(TRecord&), void (*set)(TRecord&, const T&)) {
    Values<T>(wire, attribute, get, set, Samples<T>());
  }
  void Day(std::string_view wire, TDateTime (*get)(TRecord&), void (*set)(TRecord&, const TDateTime&)) {
    Values<TDateTime>(wire, false, get, set, {TDateTime(45351), TDateTime(2)});
  }
  void Time(std::string_view wire, TDateTime (*get)(TRecord&), void (*set)(TRecord&, const TDateTime&)) {
    Values<TDateTime>(wire, false, get, set, {TDateTime(0.75), TDateTime(0)});
  }
  void Child(std::string_view wire, TRecord& (*get)(TRecord&), const TVqXMLSchemaClass& schema) {
    ++FMembers;
    EXPECT_FALSE(FRecord.FindNode(wire)) << wire;
    TRecord& child = get(FRecord);
    EXPECT_EQ(child.AsElement(), Node(wire, false)) << wire << ": a getter of a class makes the element";
    EXPECT_EQ(&get(FRecord), &child) << wire;
    EXPECT_EQ(&child.GetSchemaClass(), &schema) << wire;
  }
  template <typename T>
  void Array(std::string_view wire, TVqXMLSchemaElementArray<T>& (*get)(TRecord&)) {
    ++FMembers;
    auto& array = get(FRecord);
    EXPECT_EQ(&get(FRecord), &array) << wire;
    EXPECT_EQ(array.Count(), 0) << wire << ": an array makes nothing";
    EXPECT_EQ(array.GetElementName(), wire);
    array.Add();
    EXPECT_EQ(array.Count(), 1) << wire;
    EXPECT_TRUE(Node(wire, false));
    if constexpr (detail::SchemaRecord<T>) {
      EXPECT_EQ(&array.GetItem(0).GetSchemaClass(), &T::SchemaClass()) << wire;
      EXPECT_EQ(array.GetItem(0).AsElement(), Node(wire, false)) << wire;
    } else {
      array.SetItem(0, Samples<T>().front());
      EXPECT_EQ(array.GetItem(0), Samples<T>().front()) << wire;
    }
  }
  template <typename TDictionary, typename TEntry, typename TKey>
  void Entries(std::string_view wire, TEntry& (TDictionary::*get)(TKey)) {
    ++FMembers;
    auto& dictionary = static_cast<TDictionary&>(FRecord);
    const std::int32_t count = VqEnumInfoOf(TKey{}).Count;
    for (std::int32_t i = 0; i < count; ++i) {
      TEntry& entry = (dictionary.*get)(static_cast<TKey>(i));
      EXPECT_EQ(&entry, &(dictionary.*get)(static_cast<TKey>(i)));
      EXPECT_EQ(&entry, &dictionary.GetItem(i));
      EXPECT_EQ(entry.AsElement().GetQualifiedName(), wire);
    }
    EXPECT_EQ(dictionary.Count(), count);
    EXPECT_EQ(&dictionary.GetEntries().GetItem(0), &dictionary.GetItem(0));
  }
  void ReadOnly(std::string_view wire, string (*get)(TRecord&)) {
    ++FMembers;
    EXPECT_EQ(get(FRecord), "");
    FRecord.GetNode(wire).SetText("text");
    EXPECT_EQ(get(FRecord), "text") << wire;
  }
  void Done(std::int32_t members) { EXPECT_EQ(FMembers, members); }

 private:
  IVqDOMNode Node(std::string_view wire, bool attribute) {
    const IVqDOMElement element = FRecord.AsElement();
    if (attribute) return element.GetAttributeNode(wire);
    return element.SelectSingleElement(wire, 0);
  }
  template <typename T>
  void Values(std::string_view wire, bool attribute, T (*get)(TRecord&), void (*set)(TRecord&, const T&),
              const std::vector<T>& samples) {
    ++FMembers;
    EXPECT_EQ(get(FRecord), T{}) << wire;
    EXPECT_FALSE(Node(wire, attribute)) << wire << ": a getter of a value makes no node";
    for (const T& sample : samples) {
      set(FRecord, sample);
      EXPECT_EQ(get(FRecord), sample) << wire;
      ASSERT_TRUE(Node(wire, attribute)) << wire;
      EXPECT_EQ(FRecord.FindNode(wire), Node(wire, attribute));
    }
  }

  TRecord& FRecord;
  std::int32_t FMembers = 0;
};

#define VQ_OF(record) static_cast<VQ_CLASS&>(record)
#define VQ_GETTER(name, type) [](TRecord& r) -> type { return VQ_OF(r).Get##name(); }
#define VQ_SETTER(name, type) [](TRecord& r, const type& v) { VQ_OF(r).Set##name(v); }

// clang-format off
#define VQ_RECORD(name, base) void Check##name() { name record(NewElement()); TChecker check(record);
#define VQ_VALUE(name, wire, type, rule) check.Value<type>(wire, false, VQ_GETTER(name, type), VQ_SETTER(name, type));
#define VQ_ATTRIBUTE(name, wire, type, rule) check.Value<type>(wire, true, VQ_GETTER(name, type), VQ_SETTER(name, type));
#define VQ_DATE(name, wire, rule) check.Day(wire, VQ_GETTER(name, TDateTime), VQ_SETTER(name, TDateTime));
#define VQ_TIME(name, wire, rule) check.Time(wire, VQ_GETTER(name, TDateTime), VQ_SETTER(name, TDateTime));
#define VQ_BASE64(name, wire, rule) check.Value<string>(wire, false, VQ_GETTER(name, string), VQ_SETTER(name, string));
#define VQ_CHILD(name, wire, type, rule) check.Child(wire, VQ_GETTER(name, TRecord&), type::SchemaClass());
#define VQ_ARRAY(name, wire, type, rule) check.Array<type>(wire, VQ_GETTER(name, TVqXMLSchemaElementArray<type>&));
#define VQ_ENTRIES(name, wire, type, key, rule) check.Entries(wire, &VQ_CLASS::Get##name);
#define VQ_PART(name, wire, type, rule) check.ReadOnly(wire, VQ_GETTER(name, type));
#define VQ_READONLY(name, wire, type, rule) check.ReadOnly(wire, VQ_GETTER(name, type));
#define VQ_END(name) check.Done(name::SchemaClass().GetOwnMemberCount()); }
#include "ews/tables/uVqEWSRecords.inc"

struct TCase {
  const char* Name;
  void (*Check)();
};

constexpr TCase kCases[] = {
#define VQ_RECORD(name, base) {#name, &Check##name},
#include "ews/tables/uVqEWSRecords.inc"
};
// clang-format on

TEST(EWSTypesMembers, EveryMemberIsReadBackAsWrittenUnderItsName) {
  for (const TCase& one : kCases) {
    SCOPED_TRACE(one.Name);
    one.Check();
  }
  EXPECT_EQ(std::size(kCases), 298u);
}

}  // namespace
