// Every member of every class, by its row: what the setter writes, the getter reads, and the tree shows under the
// member's name.

#include <gtest/gtest.h>

#include "ews/uVqEWSTypes.h"

using namespace velmore;

namespace {

IVqDOMElement NewElement() { return TVqDOMDocument().CreateRootNode("t:Any"); }

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

template <typename T>
struct TChecker {
  T Record{NewElement()};
  int Members = 0;

  IVqDOMNode Node(std::string_view wire, bool attribute) {
    const IVqDOMElement element = Record.AsElement();
    if (attribute) return element.GetAttributeNode(wire);
    return element.SelectSingleElement(wire, 0);
  }

  template <typename TOwner, typename TValue>
  void Value(std::string_view wire, bool attribute, TValue (TOwner::*get)() const, void (TOwner::*set)(const TValue&)) {
    Simple<TOwner, TValue>(wire, attribute, get, set, Samples<TValue>());
  }
  template <typename TOwner>
  void Day(std::string_view wire, TDateTime (TOwner::*get)() const, void (TOwner::*set)(TDateTime)) {
    Simple<TOwner, TDateTime>(wire, false, get, set, {TDateTime(45351), TDateTime(2)});
  }
  template <typename TOwner>
  void Time(std::string_view wire, TDateTime (TOwner::*get)() const, void (TOwner::*set)(TDateTime)) {
    Simple<TOwner, TDateTime>(wire, false, get, set, {TDateTime(0.75), TDateTime(0)});
  }
  template <typename TOwner, typename TValue, typename TSetter>
  void Simple(std::string_view wire, bool attribute, TValue (TOwner::*get)() const, TSetter set,
              const std::vector<TValue>& samples) {
    ++Members;
    EXPECT_EQ((Record.*get)(), TValue{}) << wire;
    EXPECT_FALSE(Node(wire, attribute)) << wire << ": a getter of a value makes no node";
    for (const TValue& sample : samples) {
      (Record.*set)(sample);
      EXPECT_EQ((Record.*get)(), sample) << wire;
      ASSERT_TRUE(Node(wire, attribute)) << wire;
      EXPECT_EQ(Record.FindNode(wire), Node(wire, attribute));
      EXPECT_EQ(Record.FindNode(wire).GetText().empty(), Node(wire, attribute).GetText().empty());
    }
  }
  template <typename TOwner, typename TChild>
  void Child(std::string_view wire, TChild& (TOwner::*get)() const) {
    ++Members;
    EXPECT_FALSE(Record.FindNode(wire)) << wire;
    TChild& child = (Record.*get)();
    EXPECT_EQ(child.AsElement(), Node(wire, false)) << wire << ": a getter of a class makes the element";
    EXPECT_EQ(&(Record.*get)(), &child) << wire;
    EXPECT_EQ(child.ClassName(), TChild::SchemaClass().GetName());
  }
  template <typename TOwner, typename TEntry>
  void Array(std::string_view wire, TVqXMLSchemaElementArray<TEntry>& (TOwner::*get)() const) {
    ++Members;
    auto& array = (Record.*get)();
    EXPECT_EQ(&(Record.*get)(), &array) << wire;
    EXPECT_EQ(array.Count(), 0) << wire << ": an array makes nothing";
    EXPECT_EQ(array.GetElementName(), wire);
    array.Add();
    EXPECT_EQ(array.Count(), 1) << wire;
    EXPECT_TRUE(Node(wire, false));
    if constexpr (detail::SchemaRecord<TEntry>) {
      EXPECT_EQ(array.GetItem(0).ClassName(), TEntry::SchemaClass().GetName()) << wire;
      EXPECT_EQ(array.GetItem(0).AsElement(), Node(wire, false)) << wire;
    } else {
      array.SetItem(0, Samples<TEntry>().front());
      EXPECT_EQ(array.GetItem(0), Samples<TEntry>().front()) << wire;
    }
  }
  template <typename TKey, typename TEntry>
  void Entries(std::string_view wire, TEntry& (T::*get)(TKey)) {
    ++Members;
    const std::int32_t count = VqEnumInfoOf(TKey{}).Count;
    for (std::int32_t i = 0; i < count; ++i) {
      TEntry& entry = (Record.*get)(static_cast<TKey>(i));
      EXPECT_EQ(&entry, &(Record.*get)(static_cast<TKey>(i)));
      EXPECT_EQ(&entry, &Record.GetItem(i));
      EXPECT_EQ(entry.AsElement().GetQualifiedName(), wire);
    }
    EXPECT_EQ(Record.Count(), count);
    EXPECT_EQ(&Record.GetEntries().GetItem(0), &Record.GetItem(0));
  }
  template <typename TValue>
  void ReadOnly(std::string_view wire, TValue (T::*get)() const) {
    ++Members;
    EXPECT_EQ((Record.*get)(), TValue{});
    Record.GetNode(wire).SetText("text");
    EXPECT_EQ((Record.*get)(), "text") << wire;
  }
  void Done() { EXPECT_EQ(Members, T::SchemaClass().GetOwnMemberCount()); }
};

#define VQ_RECORD(name, base) TEST(EWSTypesMembers, name) { TChecker<name> check;
#define VQ_VALUE(name, wire, type, rule) check.Value<VQ_CLASS, type>(wire, false, &VQ_CLASS::Get##name, &VQ_CLASS::Set##name);
#define VQ_ATTRIBUTE(name, wire, type, rule) check.Value<VQ_CLASS, type>(wire, true, &VQ_CLASS::Get##name, &VQ_CLASS::Set##name);
#define VQ_DATE(name, wire, rule) check.Day<VQ_CLASS>(wire, &VQ_CLASS::Get##name, &VQ_CLASS::Set##name);
#define VQ_TIME(name, wire, rule) check.Time<VQ_CLASS>(wire, &VQ_CLASS::Get##name, &VQ_CLASS::Set##name);
#define VQ_BASE64(name, wire, rule) check.Value<VQ_CLASS, string>(wire, false, &VQ_CLASS::Get##name, &VQ_CLASS::Set##name);
#define VQ_CHILD(name, wire, type, rule) check.Child<VQ_CLASS, type>(wire, &VQ_CLASS::Get##name);
#define VQ_ARRAY(name, wire, type, rule) check.Array<VQ_CLASS, type>(wire, &VQ_CLASS::Get##name);
#define VQ_ENTRIES(name, wire, type, key, rule) check.Entries<key, type>(wire, &VQ_CLASS::Get##name);
#define VQ_PART(name, wire, type, rule) check.ReadOnly<type>(wire, &VQ_CLASS::Get##name);
#define VQ_READONLY(name, wire, type, rule) check.ReadOnly<type>(wire, &VQ_CLASS::Get##name);
#define VQ_SELECTOR(name, type, group)
#define VQ_END(name) check.Done(); }
#include "ews/tables/uVqEWSRecords.inc"

}  // namespace
