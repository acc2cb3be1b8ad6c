#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

std::string Field(const std::string& uri) {
  return "<t:FieldURI FieldURI=\"" + uri + "\"/>";
}
std::string Compare(const std::string& op, const std::string& field, const std::string& value) {
  return "<t:" + op + ">" + field + "<t:FieldURIOrConstant><t:Constant Value=\"" + value +
         "\"/></t:FieldURIOrConstant></t:" + op + ">";
}
std::string CompareFields(const std::string& op, const std::string& a, const std::string& b) {
  return "<t:" + op + ">" + a + "<t:FieldURIOrConstant>" + b + "</t:FieldURIOrConstant></t:" + op + ">";
}
std::string Contains(const std::string& field, const std::string& value, const std::string& mode,
                     const std::string& comparison) {
  return "<t:Contains ContainmentMode=\"" + mode + "\" ContainmentComparison=\"" + comparison + "\">" + field +
         "<t:Constant Value=\"" + value + "\" /></t:Contains>";
}

class SimulatorRestriction : public ::testing::Test {
 protected:
  std::string Matching(const std::string& restriction, const std::string& folder = "inbox") {
    const Reply reply = client.Call(
        FindItemXml(folder, Field("item:Subject"), 200, 0, "<m:Restriction>" + restriction + "</m:Restriction>"));
    if (reply.Code() != "NoError") return reply.Code();
    std::set<std::string> subjects;
    for (const Element* subject : reply.All("Subject")) subjects.insert(subject->text);
    std::string all;
    for (const std::string& subject : subjects) all += (all.empty() ? "" : "|") + subject;
    return all;
  }
  void Add(const std::string& subject, const std::string& headers = {}, const std::string& body = "body") {
    server.AddMessage("alice@example.com", "inbox", "Subject: " + subject + "\r\n" + headers + "\r\n" + body);
  }

  Started server;
  Client client{server};
};

const std::string kSubject = Field("item:Subject");

TEST_F(SimulatorRestriction, ContainsInAllModes) {
  for (const char* subject : {"the red house", "red", "redder than red", "infrared", "a red-hot tip"}) Add(subject);
  EXPECT_EQ(Matching(Contains(kSubject, "red", "FullString", "Exact")), "red");
  EXPECT_EQ(Matching(Contains(kSubject, "red", "Prefixed", "Exact")), "red|redder than red");
  EXPECT_EQ(Matching(Contains(kSubject, "red", "Substring", "Exact")),
            "a red-hot tip|infrared|red|redder than red|the red house");
  EXPECT_EQ(Matching(Contains(kSubject, "red", "PrefixOnWords", "Exact")),
            "a red-hot tip|red|redder than red|the red house");
  EXPECT_EQ(Matching(Contains(kSubject, "red", "ExactPhrase", "Exact")),
            "a red-hot tip|red|redder than red|the red house");
  EXPECT_EQ(Matching(Contains(kSubject, "red h", "ExactPhrase", "Exact")), "");
}

TEST_F(SimulatorRestriction, ContainsInAllComparisons) {
  for (const char* subject : {"Resume", "resume", "=?utf-8?Q?R=C3=A9sum=C3=A9?=", "=?utf-8?Q?r=C3=A9sum=C3=A9?="})
    Add(subject);
  EXPECT_EQ(Matching(Contains(kSubject, "resume", "FullString", "Exact")), "resume");
  EXPECT_EQ(Matching(Contains(kSubject, "resume", "FullString", "IgnoreCase")), "Resume|resume");
  EXPECT_EQ(Matching(Contains(kSubject, "resume", "FullString", "IgnoreNonSpacingCharacters")), "resume|résumé");
  EXPECT_EQ(Matching(Contains(kSubject, "RESUME", "FullString", "IgnoreCaseAndNonSpacingCharacters")),
            "Resume|Résumé|resume|résumé");
  EXPECT_EQ(Matching(Contains(kSubject, "RÉSUMÉ", "FullString", "IgnoreCase")), "Résumé|résumé");
}

TEST_F(SimulatorRestriction, ComparisonsFollowTheKindOfTheField) {
  Add("small", "Received: by a; Mon, 02 Feb 2026 10:00:00 +0000\r\n", "x");
  Add("large", "Received: by a; Tue, 03 Feb 2026 10:00:00 +0000\r\n", std::string(3000, 'x'));
  const std::string received = Field("item:DateTimeReceived");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", received, "2026-02-02T10:00:00Z")), "large");
  EXPECT_EQ(Matching(Compare("IsGreaterThanOrEqualTo", received, "2026-02-02T11:00:00+01:00")), "large|small");
  EXPECT_EQ(Matching(Compare("IsLessThan", received, "2026-02-03T10:00:00Z")), "small");
  EXPECT_EQ(Matching(Compare("IsLessThanOrEqualTo", received, "2026-02-03T10:00:00Z")), "large|small");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", Field("item:Size"), "1000")), "large") << "a number, not a text";
  EXPECT_EQ(Matching(Compare("IsEqualTo", kSubject, "SMALL")), "small") << "equality of texts does not regard case";
  EXPECT_EQ(Matching(Compare("IsNotEqualTo", kSubject, "small")), "large");
  EXPECT_EQ(Matching(Compare("IsEqualTo", Field("message:IsRead"), "0")), "large|small");
  EXPECT_EQ(Matching(Compare("IsEqualTo", Field("message:IsRead"), "true")), "");
}

TEST_F(SimulatorRestriction, FieldsAreComparedWithFields) {
  server.AddItem("alice@example.com", "tasks",
                 "<t:Task><t:Subject>on "
                 "time</t:Subject><t:DueDate>2026-02-03T00:00:00Z</t:DueDate><t:StartDate>2026-02-01T00:00:00Z</"
                 "t:StartDate></t:Task>");
  server.AddItem("alice@example.com", "tasks",
                 "<t:Task><t:Subject>upside "
                 "down</t:Subject><t:DueDate>2026-02-01T00:00:00Z</t:DueDate><t:StartDate>2026-02-03T00:00:00Z</"
                 "t:StartDate></t:Task>");
  server.AddItem("alice@example.com", "tasks", "<t:Task><t:Subject>no dates</t:Subject></t:Task>");
  EXPECT_EQ(Matching(CompareFields("IsLessThan", Field("task:DueDate"), Field("task:StartDate")), "tasks"),
            "upside down");
  EXPECT_EQ(Matching("<t:Exists>" + Field("task:DueDate") + "</t:Exists>", "tasks"), "on time|upside down");
}

TEST_F(SimulatorRestriction, ExcludesAsksForBitsThatAreNotSet) {
  const std::string flags = "<t:ExtendedFieldURI PropertyTag=\"0x0E07\" PropertyType=\"Integer\"/>";
  Add("unread");
  client.Call("<m:CreateItem MessageDisposition=\"SaveOnly\"><m:SavedItemFolderId>" + Distinguished("inbox") +
              "</m:SavedItemFolderId><m:Items><t:Message><t:Subject>read</t:Subject><t:ExtendedProperty>" + flags +
              "<t:Value>1</t:Value></t:ExtendedProperty></t:Message></m:Items></m:CreateItem>");
  EXPECT_EQ(Matching("<t:Excludes>" + flags + "<t:Bitmask Value=\"1\" /></t:Excludes>"), "unread");
  EXPECT_EQ(Matching("<t:Excludes>" + flags + "<t:Bitmask Value=\"0x1\" /></t:Excludes>"), "unread");
  EXPECT_EQ(Matching("<t:Excludes>" + flags + "<t:Bitmask Value=\"16\" /></t:Excludes>"), "read|unread");
  EXPECT_EQ(Matching("<t:Excludes>" + flags + "<t:Bitmask Value=\"many\" /></t:Excludes>"),
            "ErrorInvalidExcludesRestriction");
}

TEST_F(SimulatorRestriction, AndOrNotNest) {
  for (const char* subject : {"a b", "a", "b", "c"}) Add(subject);
  const std::string a = Contains(kSubject, "a", "Substring", "Exact");
  const std::string b = Contains(kSubject, "b", "Substring", "Exact");
  EXPECT_EQ(Matching("<t:And>" + a + b + "</t:And>"), "a b");
  EXPECT_EQ(Matching("<t:Or>" + a + b + "</t:Or>"), "a|a b|b");
  EXPECT_EQ(Matching("<t:Not>" + a + "</t:Not>"), "b|c");
  EXPECT_EQ(Matching("<t:And><t:Not>" + a + "</t:Not><t:Not>" + b + "</t:Not></t:And>"), "c");
  EXPECT_EQ(Matching("<t:And></t:And>"), "a|a b|b|c");
}

TEST_F(SimulatorRestriction, IndexedAndExtendedFieldsAreSearched) {
  const std::string named =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"Colour\" "
      "PropertyType=\"String\"/>";
  server.AddItem(
      "alice@example.com", "contacts",
      "<t:Contact><t:ExtendedProperty>" + named +
          "<t:Value>green</t:Value></t:ExtendedProperty><t:DisplayName>Eve</t:DisplayName><t:PhoneNumbers><t:Entry "
          "Key=\"HomePhone\">123</t:Entry></t:PhoneNumbers></t:Contact>");
  server.AddItem("alice@example.com", "contacts", "<t:Contact><t:DisplayName>Adam</t:DisplayName></t:Contact>");
  EXPECT_EQ(Matching(Compare("IsEqualTo",
                             "<t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"HomePhone\"/>", "123"),
                     "contacts"),
            "Eve");
  EXPECT_EQ(Matching("<t:Exists>" + named + "</t:Exists>", "contacts"), "Eve");
  EXPECT_EQ(Matching(Compare("IsNotEqualTo", named, "green"), "contacts"), "Adam");
}

TEST_F(SimulatorRestriction, FieldsThatCannotBeSearchedAndValuesOfTheWrongKindAreRefused) {
  Add("x");
  EXPECT_EQ(Matching("<t:Exists>" + Field("item:EffectiveRights") + "</t:Exists>"), "ErrorUnsupportedPathForQuery");
  EXPECT_EQ(Matching(Compare("IsEqualTo", Field("item:Size"), "big")), "ErrorInvalidValueForProperty");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", Field("item:DateTimeReceived"), "yesterday")),
            "ErrorInvalidValueForProperty");
  EXPECT_EQ(Matching(Contains(Field("item:Size"), "1", "Substring", "Exact")), "ErrorContainsFilterWrongType");
}

TEST_F(SimulatorRestriction, NumbersAreNoTexts) {
  const std::string minutes = Field("item:ReminderMinutesBeforeStart");
  for (const char* value : {"2", "9", "10", "15", "100"})
    server.AddItem("alice@example.com", "tasks",
                   "<t:Task><t:Subject>in " + std::string(value) + "</t:Subject><t:ReminderMinutesBeforeStart>" +
                       value + "</t:ReminderMinutesBeforeStart></t:Task>");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", minutes, "9"), "tasks"), "in 10|in 100|in 15");
  EXPECT_EQ(Matching(Compare("IsEqualTo", minutes, "010"), "tasks"), "in 10");
  for (const char* wrong : {"soon", "", "1.5", "0x10", "nan", "9 9"})
    EXPECT_EQ(Matching(Compare("IsGreaterThan", minutes, wrong), "tasks"), "ErrorInvalidValueForProperty") << wrong;
}

TEST_F(SimulatorRestriction, PointsInTimeAreComparedWithTheirFractions) {
  Add("x", "Received: by a; Mon, 02 Feb 2026 10:00:00 +0000\r\n");
  const std::string received = Field("item:DateTimeReceived");
  EXPECT_EQ(Matching(Compare("IsLessThan", received, "2026-02-02T10:00:00.5Z")), "x");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", received, "2026-02-02T10:00:00.5Z")), "");
  EXPECT_EQ(Matching(Compare("IsEqualTo", received, "2026-02-02T10:00:00.0000001Z")), "");
  EXPECT_EQ(Matching(Compare("IsEqualTo", received, "2026-02-02T12:00:00.000+02:00")), "x");
}

/// Texts in the order of the server, a line each of those that are equal to it.
const std::vector<std::vector<const char*>> kTexts = {
    {"-x"},
    {"1"},
    {"10"},
    {"2"},
    {"Apple", "apple", "APPLE", "\uFF21\uFF50\uFF50\uFF4C\uFF45"},  // the last in full width
    {"Apple pie"},
    {"resume", "RESUME"},
    {"r\u00E9sum\u00E9", "R\u00C9SUM\u00C9", "re\u0301sume\u0301"},
    {"strasse", "Stra\u00DFe", "STRASSE", "STRA\u1E9EE"},
    {"Strassen"},
    {"zebra"},
    {"\u3042"},
    {"\u30AB", "\uFF76"},  // katakana in both widths
};

TEST_F(SimulatorRestriction, TextsAreComparedAndSortedWithoutCaseAndWidth) {
  for (const auto& line : kTexts)
    server.AddItem("alice@example.com", "tasks",
                   "<t:Task><t:Subject>" + std::string(line.front()) + "</t:Subject></t:Task>");
  for (std::size_t i = 0; i < kTexts.size(); ++i) {
    for (const char* text : kTexts[i]) {
      EXPECT_EQ(Matching(Compare("IsEqualTo", kSubject, text), "tasks"), kTexts[i].front()) << text;
      const Reply below = client.Call(FindItemXml(
          "tasks", kSubject, 200, 0, "<m:Restriction>" + Compare("IsLessThan", kSubject, text) + "</m:Restriction>"));
      EXPECT_EQ(below.All("Subject").size(), i) << text;
    }
  }
  for (const bool descending : {false, true}) {
    const Reply reply = client.Call(FindItemXml("tasks", kSubject, 200, 0,
                                                "<m:SortOrder><t:FieldOrder Order=\"" +
                                                    std::string(descending ? "Descending" : "Ascending") + "\">" +
                                                    kSubject + "</t:FieldOrder></m:SortOrder>"));
    const auto subjects = reply.All("Subject");
    ASSERT_EQ(subjects.size(), kTexts.size());
    for (std::size_t i = 0; i < kTexts.size(); ++i)
      EXPECT_EQ(subjects[descending ? kTexts.size() - 1 - i : i]->text, kTexts[i].front());
  }
}

TEST_F(SimulatorRestriction, EnumerationsAreSortedAsTheyArePublished) {
  for (const char* importance : {"high", "low", "normal"})
    Add(importance, "Importance: " + std::string(importance) + "\r\n");
  const Reply reply = client.Call(FindItemXml(
      "inbox", kSubject, 200, 0,
      "<m:SortOrder><t:FieldOrder Order=\"Ascending\">" + Field("item:Importance") + "</t:FieldOrder></m:SortOrder>"));
  std::string order;
  for (const Element* subject : reply.All("Subject")) order += subject->text + " ";
  EXPECT_EQ(order, "low normal high ");
  EXPECT_EQ(Matching(Compare("IsGreaterThan", Field("item:Importance"), "Low")), "high|normal");
}

/// Values of every type, each pair compared in every way, beside what the language says of them.
TEST_F(SimulatorRestriction, EveryTypeOfExtendedPropertyIsComparedByValue) {
  const std::int64_t large[] = {
      -9223372036854775807, -100, -99, -1, 0, 2, 10, 99, 100, 2147483647, 9007199254740993, 9007199254740992,
      9223372036854775807};
  struct Type {
    const char* name;
    std::vector<std::pair<std::string, long double>> values;
  };
  std::vector<Type> types = {{"Short", {}},
                             {"Integer", {}},
                             {"Long", {}},
                             {"Currency", {}},
                             {"Double", {{"-1.5", -1.5L}, {"1e3", 1000}, {"999.5", 999.5L}, {"5e-3", 0.005L}}},
                             {"SystemTime",
                              {{"1980-01-02T00:00:00Z", 3},
                               {"1980-01-02T00:00:00+02:00", 2},
                               {"0001-01-01T00:00:00Z", 1},
                               {"9999-12-31T23:59:59Z", 4}}},
                             {"Boolean", {{"true", 1}, {"0", 0}, {"1", 1}}}};
  for (const std::int64_t value : large) {
    if (value >= -32768 && value <= 32767) types[0].values.emplace_back(std::to_string(value), value);
    if (value >= INT32_MIN && value <= INT32_MAX) types[1].values.emplace_back(std::to_string(value), value);
    types[2].values.emplace_back(std::to_string(value), value);
    types[3].values.emplace_back(std::to_string(value), value);
  }
  for (const Type& type : types) {
    const std::string uri =
        "<t:ExtendedFieldURI PropertySetId=\"0f8fad5b-d9cb-469f-a165-70867728950e\" PropertyName=\"of " +
        std::string(type.name) + "\" PropertyType=\"" + type.name + "\"/>";
    for (const auto& [text, value] : type.values)
      server.AddItem("alice@example.com", "tasks",
                     "<t:Task><t:Subject>" + text + "</t:Subject><t:ExtendedProperty>" + uri + "<t:Value>" + text +
                         "</t:Value></t:ExtendedProperty></t:Task>");
    const std::pair<const char*, bool (*)(long double, long double)> ops[] = {
        {"IsLessThan", [](long double a, long double b) { return a < b; }},
        {"IsLessThanOrEqualTo", [](long double a, long double b) { return a <= b; }},
        {"IsGreaterThan", [](long double a, long double b) { return a > b; }},
        {"IsGreaterThanOrEqualTo", [](long double a, long double b) { return a >= b; }},
        {"IsEqualTo", [](long double a, long double b) { return a == b; }}};
    for (const auto& [constant, number] : type.values) {
      for (const auto& [op, holds] : ops) {
        std::set<std::string> expected;
        for (const auto& [text, value] : type.values)
          if (holds(value, number)) expected.insert(text);
        std::string all;
        for (const std::string& text : expected) all += (all.empty() ? "" : "|") + text;
        EXPECT_EQ(Matching(Compare(op, uri, constant), "tasks"), all) << type.name << " " << op << " " << constant;
      }
    }
  }
}

/// A random tree over three fields, once as XML and once as a function; both must choose the same rows.
TEST_F(SimulatorRestriction, RandomTreesAgreeWithAFilterByHand) {
  struct Row {
    std::string subject;
    int importance;  // 0 Low, 1 Normal, 2 High
    int minute;
  };
  std::mt19937 random(20260202);
  const auto pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
  const char* const kWords[] = {"alpha", "Beta", "gamma", "delta", "Alphabet", "beta test"};
  const char* const kImportance[] = {"Low", "Normal", "High"};
  std::vector<Row> rows;
  for (int i = 0; i < 60; ++i) {
    Row row{std::string(kWords[pick(6)]) + " " + std::to_string(i), pick(3), i};
    Add(row.subject, "Importance: " +
                         std::string(row.importance == 0   ? "low"
                                     : row.importance == 2 ? "high"
                                                           : "normal") +
                         "\r\nReceived: by a; Mon, 02 Feb 2026 10:" + (i < 10 ? "0" : "") + std::to_string(i) +
                         ":00 +0000\r\n");
    rows.push_back(row);
  }
  using Filter = std::function<bool(const Row&)>;
  const std::function<std::pair<std::string, Filter>(int)> tree = [&](int depth) -> std::pair<std::string, Filter> {
    const int kind = depth == 0 ? 3 + pick(3) : pick(6);
    if (kind < 2) {
      const bool all = kind == 0;
      std::string xml;
      std::vector<Filter> filters;
      for (int i = 0, count = 1 + pick(3); i < count; ++i) {
        auto [child, filter] = tree(depth - 1);
        xml += child;
        filters.push_back(filter);
      }
      return {"<t:" + std::string(all ? "And" : "Or") + ">" + xml + "</t:" + (all ? "And" : "Or") + ">",
              [=](const Row& row) {
                return all ? std::all_of(filters.begin(), filters.end(), [&](const Filter& f) { return f(row); })
                           : std::any_of(filters.begin(), filters.end(), [&](const Filter& f) { return f(row); });
              }};
    }
    if (kind == 2) {
      auto [child, filter] = tree(depth - 1);
      return {"<t:Not>" + child + "</t:Not>", [f = filter](const Row& row) { return !f(row); }};
    }
    if (kind == 3) {
      const std::string word = kWords[pick(6)];
      const bool ignore = pick(2) == 0;
      return {Contains(kSubject, word, "Substring", ignore ? "IgnoreCase" : "Exact"), [=](const Row& row) {
                const auto lower = [](std::string text) {
                  std::transform(text.begin(), text.end(), text.begin(),
                                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
                  return text;
                };
                return ignore ? lower(row.subject).find(lower(word)) != std::string::npos
                              : row.subject.find(word) != std::string::npos;
              }};
    }
    if (kind == 4) {
      const int value = pick(3);
      const bool equal = pick(2) == 0;
      return {Compare(equal ? "IsEqualTo" : "IsNotEqualTo", Field("item:Importance"), kImportance[value]),
              [=](const Row& row) { return (row.importance == value) == equal; }};
    }
    const int minute = pick(60);
    const int op = pick(4);
    const char* const kOps[] = {"IsLessThan", "IsLessThanOrEqualTo", "IsGreaterThan", "IsGreaterThanOrEqualTo"};
    return {Compare(kOps[op], Field("item:DateTimeReceived"),
                    "2026-02-02T10:" + std::string(minute < 10 ? "0" : "") + std::to_string(minute) + ":00Z"),
            [=](const Row& row) {
              return op == 0   ? row.minute < minute
                     : op == 1 ? row.minute <= minute
                     : op == 2 ? row.minute > minute
                               : row.minute >= minute;
            }};
  };
  int not_trivial = 0;
  for (int i = 0; i < 200; ++i) {
    const auto [xml, filter] = tree(3);
    std::set<std::string> expected;
    for (const Row& row : rows)
      if (filter(row)) expected.insert(row.subject);
    std::string all;
    for (const std::string& subject : expected) all += (all.empty() ? "" : "|") + subject;
    ASSERT_EQ(Matching(xml), all) << xml;
    not_trivial += !expected.empty() && expected.size() < rows.size() ? 1 : 0;
  }
  EXPECT_GT(not_trivial, 50);
}

}  // namespace
}  // namespace velmore::simulator::testing
