// Series: their days against another implementation, their hours over changes of the clock, their exceptions.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/expansion.h"
#include "simulator/time/time.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorSeries : public WriteTest {
 protected:
  static std::string Zone(const std::string& id) { return "<t:StartTimeZone Id=\"" + id + "\"/>"; }
  static std::string Daily(int count, const std::string& start) {
    return "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NumberedRecurrence>"
           "<t:StartDate>" +
           start + "</t:StartDate><t:NumberOfOccurrences>" + std::to_string(count) +
           "</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence>";
  }
  Element Series(const std::string& start, const std::string& end, const std::string& recurrence,
                 const std::string& rest = {}, const std::string& before = {}) {
    return Make("<t:CalendarItem><t:Subject>s</t:Subject><t:Start>" + start + "</t:Start><t:End>" + end + "</t:End>" +
                    before + recurrence + rest + "</t:CalendarItem>",
                "calendar");
  }
  std::string Starts(const std::string& from, const std::string& to, const char* field = "Start") {
    const Reply reply = client.Call(
        "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape>"
        "<m:CalendarView StartDate=\"" +
        from + "\" EndDate=\"" + to + "\"/><m:ParentFolderIds>" + Distinguished("calendar") +
        "</m:ParentFolderIds></m:FindItem>");
    std::string all;
    for (const Element* item : reply.All("CalendarItem")) all += item->ChildText(field) + " ";
    return all;
  }
  Element Occurrence(const Element& master, int index) {
    const Reply reply = client.Call(GetItemXml("<t:OccurrenceItemId RecurringMasterId=\"" + master.AttributeText("Id") +
                                               "\" InstanceIndex=\"" + std::to_string(index) + "\"/>"));
    return reply.Code() == "NoError" ? reply.Find("CalendarItem") : Types(reply.Code());
  }
  Element With(const Element& id, const std::string& fields) {
    std::string paths;
    for (std::size_t at = 0; at < fields.size();) {
      const std::size_t end = std::min(fields.find(' ', at), fields.size());
      paths += "<t:FieldURI FieldURI=\"calendar:" + fields.substr(at, end - at) + "\"/>";
      at = end + 1;
    }
    return Item(id, "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" + paths + "</t:AdditionalProperties>");
  }
  static std::string Set(const std::string& name, const std::string& text) {
    return "<t:SetItemField><t:FieldURI FieldURI=\"" +
           std::string(name == "Subject" || name == "Body" ? "item:" : "calendar:") + name +
           "\"/><t:CalendarItem><t:" + name + (name == "Body" ? " BodyType=\"Text\"" : "") + ">" + text +
           "</t:" + name + "></t:CalendarItem></t:SetItemField>";
  }
};

// ---- Days

/// What a line for the other implementation and a pattern for ours are made of.
struct Recurrence {
  std::string kind, days, index, month;
  std::int64_t start;
  int interval, day;

  explicit Recurrence(std::mt19937& random) {
    const auto pick = [&](std::initializer_list<const char*> texts) {
      return std::string(*(texts.begin() + std::uniform_int_distribution<std::size_t>(0, texts.size() - 1)(random)));
    };
    const auto number = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
    kind = pick({"DailyRecurrence", "WeeklyRecurrence", "AbsoluteMonthlyRecurrence", "RelativeMonthlyRecurrence",
                 "AbsoluteYearlyRecurrence", "RelativeYearlyRecurrence"});
    start =
        DaysFromDate(number(2000, 2040), static_cast<unsigned>(number(1, 12)), static_cast<unsigned>(number(1, 28)));
    interval = number(1, kind.ends_with("MonthlyRecurrence") ? 14 : 5);
    day = number(1, 31);
    days = pick({"Monday", "Wednesday", "Sunday", "Saturday", "Day", "Weekday", "WeekendDay"});
    if (kind == "WeeklyRecurrence") days = pick({"Monday", "Monday+Friday", "Sunday", "Tuesday+Thursday+Saturday"});
    index = pick({"First", "Second", "Third", "Fourth", "Last"});
    month = pick({"January", "February", "April", "August", "December"});
  }
  std::string StartText() const { return TimeText(start * 86400).substr(0, 10); }
  std::string Line() const {
    return kind + " " + StartText() + " " + std::to_string(interval) + " " + days + " " + index + " " + month + " " +
           std::to_string(day);
  }
  Element Pattern() const {
    Element pattern = Types(kind);
    std::string list = days;
    for (char& c : list)
      if (c == '+') c = ' ';
    pattern.Add("Interval", std::to_string(interval));
    pattern.Add("DaysOfWeek", list);
    pattern.Add("DayOfWeekIndex", index);
    pattern.Add("Month", month);
    pattern.Add("DayOfMonth", std::to_string(day));
    return pattern;
  }
};

TEST_F(SimulatorSeries, DaysOfRandomPatternsAreThoseThatDateutilFinds) {
  if (std::system("python3 -c 'import dateutil' 2>/dev/null") != 0) GTEST_SKIP() << "python3-dateutil is not installed";
  std::mt19937 random(20260202);
  std::vector<Recurrence> all;
  for (int i = 0; i < 500; ++i) all.emplace_back(random);
  const std::string file = ::testing::TempDir() + "series-" + std::to_string(::getpid());
  std::ofstream out(file);
  for (const Recurrence& each : all) out << each.Line() << '\n';
  out.close();
  const std::string command = "python3 " VELMORE_RECURRENCE_DAYS " < " + file;
  FILE* answer = ::popen(command.c_str(), "r");
  ASSERT_NE(answer, nullptr);
  char line[512];
  for (const Recurrence& each : all) {
    ASSERT_NE(std::fgets(line, sizeof line, answer), nullptr) << each.Line();
    std::string days;
    int count = 0;
    ExpandDays(each.Pattern(), each.start, [&](std::int64_t day) {
      days += (days.empty() ? "" : " ") + TimeText(day * 86400).substr(0, 10);
      return ++count < 12;
    });
    EXPECT_EQ(days + "\n", line) << each.Line() << ": " << RuleOf(each.Pattern());
  }
  EXPECT_EQ(::pclose(answer), 0);
  std::filesystem::remove(file);
}

TEST_F(SimulatorSeries, SeriesBeginsWithItsFirstOccurrence) {
  const Element id = Series("2026-02-02T09:00:00Z", "2026-02-02T10:00:00Z",
                            "<t:Recurrence><t:WeeklyRecurrence><t:Interval>1</t:Interval><t:DaysOfWeek>Friday"
                            "</t:DaysOfWeek></t:WeeklyRecurrence><t:NumberedRecurrence><t:StartDate>2026-02-02"
                            "</t:StartDate><t:NumberOfOccurrences>2</t:NumberOfOccurrences></t:NumberedRecurrence>"
                            "</t:Recurrence>");
  EXPECT_EQ(Item(id).ChildText("Start"), "2026-02-06T09:00:00Z");
  EXPECT_EQ(Item(id).ChildText("End"), "2026-02-06T10:00:00Z");
  EXPECT_EQ(Starts("2026-01-01T00:00:00Z", "2026-12-01T00:00:00Z"), "2026-02-06T09:00:00Z 2026-02-13T09:00:00Z ");
}

TEST_F(SimulatorSeries, EndlessSeriesIsSeenAfterTenThousandDays) {
  Series("2000-01-01T09:00:00Z", "2000-01-01T09:30:00Z",
         "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NoEndRecurrence>"
         "<t:StartDate>2000-01-01</t:StartDate></t:NoEndRecurrence></t:Recurrence>");
  EXPECT_EQ(Starts("2030-05-01T00:00:00Z", "2030-05-03T00:00:00Z"), "2030-05-01T09:00:00Z 2030-05-02T09:00:00Z ");
}

// ---- Hours

TEST_F(SimulatorSeries, ClocksOfTheSeriesZoneSayWhen) {
  // 9:00 in Berlin, where summer time begins on 29 March; 18:00 in New York, where it has begun on 8 March.
  Series("2026-03-28T08:00:00Z", "2026-03-28T09:00:00Z", Daily(3, "2026-03-28"), Zone("W. Europe Standard Time"));
  EXPECT_EQ(Starts("2026-03-28T00:00:00Z", "2026-04-01T00:00:00Z"),
            "2026-03-28T08:00:00Z 2026-03-29T07:00:00Z 2026-03-30T07:00:00Z ");
  Series("2026-10-31T22:00:00Z", "2026-10-31T23:00:00Z", Daily(3, "2026-10-31"), Zone("Eastern Standard Time"));
  EXPECT_EQ(Starts("2026-10-30T00:00:00Z", "2026-11-10T00:00:00Z"),
            "2026-10-31T22:00:00Z 2026-11-01T23:00:00Z 2026-11-02T23:00:00Z ");
  // The south goes the other way, and half an hour counts.
  Series("2026-04-03T23:30:00Z", "2026-04-04T00:30:00Z", Daily(3, "2026-04-04"), Zone("Cen. Australia Standard Time"));
  EXPECT_EQ(Starts("2026-04-03T00:00:00Z", "2026-04-09T00:00:00Z"),
            "2026-04-03T23:30:00Z 2026-04-05T00:30:00Z 2026-04-06T00:30:00Z ");
}

TEST_F(SimulatorSeries, HourThatSummerTimeSkipsComesBehindTheGap) {
  Series("2026-03-28T01:30:00Z", "2026-03-28T02:00:00Z", Daily(3, "2026-03-28"), Zone("W. Europe Standard Time"));
  EXPECT_EQ(Starts("2026-03-28T00:00:00Z", "2026-04-01T00:00:00Z"),
            "2026-03-28T01:30:00Z 2026-03-29T01:30:00Z 2026-03-30T00:30:00Z ");
}

TEST_F(SimulatorSeries, OfAnHourThatComesTwiceTheFirstIsMeant) {
  Series("2026-10-24T00:30:00Z", "2026-10-24T00:45:00Z", Daily(3, "2026-10-24"), Zone("W. Europe Standard Time"));
  EXPECT_EQ(Starts("2026-10-24T00:00:00Z", "2026-10-28T00:00:00Z"),
            "2026-10-24T00:30:00Z 2026-10-25T00:30:00Z 2026-10-26T01:30:00Z ");
}

TEST_F(SimulatorSeries, ZoneOfTheRequestHoldsWhereTheAppointmentHasNone) {
  client.soap_headers = "<t:TimeZoneContext><t:TimeZoneDefinition Id=\"W. Europe Standard Time\"/></t:TimeZoneContext>";
  const Element id = Series("2026-03-28T08:00:00Z", "2026-03-28T09:00:00Z", Daily(3, "2026-03-28"));
  client.soap_headers.clear();
  EXPECT_EQ(Starts("2026-03-29T00:00:00Z", "2026-03-30T00:00:00Z"), "2026-03-29T07:00:00Z ");
  const Element shown = With(id, "StartTimeZone StartTimeZoneId StartWallClock EndWallClock TimeZone");
  EXPECT_EQ(shown.ChildText("StartTimeZoneId"), "W. Europe Standard Time");
  EXPECT_EQ(shown.Child("StartTimeZone")->AttributeText("Id"), "W. Europe Standard Time");
  EXPECT_NE(shown.Child("StartTimeZone")->Child("Periods"), nullptr);
  EXPECT_EQ(shown.ChildText("StartWallClock"), "2026-03-28T09:00:00+01:00");
  EXPECT_EQ(shown.ChildText("EndWallClock"), "2026-03-28T10:00:00+01:00");
  EXPECT_EQ(shown.ChildText("TimeZone"), "(UTC+01:00) Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna");
}

TEST_F(SimulatorSeries, ZoneWithRulesOfItsOwnHolds) {
  const std::string own =
      "<t:StartTimeZone Id=\"Ours\" Name=\"Ours\"><t:Periods><t:Period Bias=\"-PT2H\" Name=\"Standard\" Id=\"std\"/>"
      "<t:Period Bias=\"-PT3H\" Name=\"Daylight\" Id=\"dlt\"/></t:Periods><t:TransitionsGroups>"
      "<t:TransitionsGroup Id=\"0\"><t:RecurringDayTransition><t:To Kind=\"Period\">dlt</t:To>"
      "<t:TimeOffset>PT2H</t:TimeOffset><t:Month>5</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek>"
      "<t:Occurrence>1</t:Occurrence></t:RecurringDayTransition><t:RecurringDayTransition>"
      "<t:To Kind=\"Period\">std</t:To><t:TimeOffset>PT3H</t:TimeOffset><t:Month>9</t:Month>"
      "<t:DayOfWeek>Sunday</t:DayOfWeek><t:Occurrence>-1</t:Occurrence></t:RecurringDayTransition>"
      "</t:TransitionsGroup></t:TransitionsGroups><t:Transitions><t:Transition><t:To Kind=\"Group\">0</t:To>"
      "</t:Transition></t:Transitions></t:StartTimeZone>";
  const Element id = Series("2026-05-02T07:00:00Z", "2026-05-02T08:00:00Z", Daily(2, "2026-05-02"), own);
  EXPECT_EQ(Starts("2026-05-01T00:00:00Z", "2026-05-09T00:00:00Z"), "2026-05-02T07:00:00Z 2026-05-03T06:00:00Z ");
  EXPECT_EQ(With(id, "StartWallClock").ChildText("StartWallClock"), "2026-05-02T09:00:00+02:00");
  const Reply unknown = client.Call(
      "<m:CreateItem SendMeetingInvitations=\"SendToNone\"><m:Items><t:CalendarItem><t:StartTimeZone Id=\"Nowhere\"/>"
      "</t:CalendarItem></m:Items></m:CreateItem>");
  EXPECT_EQ(unknown.Code(), "ErrorTimeZone");
}

TEST_F(SimulatorSeries, WholeDaysAreThoseOfTheirOwnZone) {
  const Element id = Series("2026-03-28T10:00:00Z", "2026-03-28T11:00:00Z", Daily(3, "2026-03-28"),
                            Zone("W. Europe Standard Time"), "<t:IsAllDayEvent>true</t:IsAllDayEvent>");
  EXPECT_EQ(Starts("2026-03-28T00:00:00Z", "2026-04-05T00:00:00Z"),
            "2026-03-27T23:00:00Z 2026-03-28T23:00:00Z 2026-03-29T22:00:00Z ");
  EXPECT_EQ(Starts("2026-03-28T00:00:00Z", "2026-04-05T00:00:00Z", "End"),
            "2026-03-28T23:00:00Z 2026-03-29T22:00:00Z 2026-03-30T22:00:00Z ")
      << "the day on which summer time begins has 23 hours";
  EXPECT_EQ(With(id, "StartWallClock").ChildText("StartWallClock"), "2026-03-28T00:00:00+01:00");
}

// ---- Exceptions

TEST_F(SimulatorSeries, ExceptionsFollowTheSeriesInWhatTheyDoNotHaveOfTheirOwn) {
  const Element master = Series("2026-02-02T09:00:00Z", "2026-02-02T10:00:00Z", Daily(4, "2026-02-02"));
  const Element second = Occurrence(master, 2);
  EXPECT_EQ(Update(*second.Child("ItemId"), Set("Subject", "own")).Code(), "NoError");
  EXPECT_EQ(
      Update(*Item(master).Child("ItemId"), Set("Subject", "new") + Set("Location", "Hall") + Set("Body", "x")).Code(),
      "NoError");
  const Element changed = Occurrence(master, 2);
  EXPECT_EQ(changed.ChildText("CalendarItemType"), "Exception");
  EXPECT_EQ(changed.ChildText("Subject"), "own");
  EXPECT_EQ(changed.ChildText("Location"), "Hall");
  EXPECT_EQ(changed.Child("Body")->text, "x");
  EXPECT_EQ(Occurrence(master, 3).ChildText("Subject"), "new");
}

TEST_F(SimulatorSeries, AnotherCourseOfTheSeriesMakesItsExceptionsVoid) {
  for (const std::string& change : {Set("Start", "2026-02-02T08:00:00Z"), Set("End", "2026-02-02T11:00:00Z"),
                                    "<t:SetItemField><t:FieldURI FieldURI=\"calendar:Recurrence\"/><t:CalendarItem>" +
                                        Daily(5, "2026-02-02") + "</t:CalendarItem></t:SetItemField>"}) {
    const Element master = Series("2026-02-02T09:00:00Z", "2026-02-02T10:00:00Z", Daily(4, "2026-02-02"));
    Update(*Occurrence(master, 2).Child("ItemId"), Set("Subject", "own"));
    client.Call("<m:DeleteItem DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"><m:ItemIds>" +
                Ids(*Occurrence(master, 3).Child("ItemId")) + "</m:ItemIds></m:DeleteItem>");
    EXPECT_EQ(Occurrence(master, 3).name, "ErrorCalendarOccurrenceIsDeletedFromRecurrence");
    EXPECT_EQ(Update(*Item(master).Child("ItemId"), change).Code(), "NoError");
    EXPECT_EQ(Occurrence(master, 2).ChildText("Subject"), "s") << change;
    EXPECT_EQ(Occurrence(master, 3).ChildText("Subject"), "s") << change;
    EXPECT_EQ(Item(master).Child("ModifiedOccurrences"), nullptr);
  }
}

TEST_F(SimulatorSeries, IdOfTheSeriesIsInAllItsOccurrencesAndTheirOwnBearsTheDay) {
  const Element master = Series("2026-02-02T09:00:00Z", "2026-02-02T10:00:00Z", Daily(4, "2026-02-02"));
  const auto ids = [&](const Element& id) {
    const Element item = Item(id,
                              "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:ExtendedFieldURI "
                              "DistinguishedPropertySetId=\"Meeting\" PropertyId=\"3\" PropertyType=\"Binary\"/>"
                              "<t:ExtendedFieldURI DistinguishedPropertySetId=\"Meeting\" PropertyId=\"35\" "
                              "PropertyType=\"Binary\"/></t:AdditionalProperties>");
    return std::pair(DecodeBase64(item.children.at(1).ChildText("Value")),
                     DecodeBase64(item.children.at(2).ChildText("Value")));
  };
  const auto [global, clean] = ids(master);
  EXPECT_EQ(global, clean);
  EXPECT_EQ(global.size(), 56u);
  const auto [of_third, clean_of_third] = ids(*Occurrence(master, 3).Child("ItemId"));
  EXPECT_EQ(clean_of_third, clean);
  EXPECT_EQ(of_third.substr(16, 4), std::string("\x07\xEA\x02\x04", 4)) << "4 February 2026";
  EXPECT_EQ(Item(master).ChildText("UID").size(), 112u);
}

TEST_F(SimulatorSeries, WhatStandsAtTheSameTimeAndBesideItIsTold) {
  const auto make = [&](const std::string& subject, const std::string& start, const std::string& end,
                        const std::string& rest = {}) {
    return Make("<t:CalendarItem><t:Subject>" + subject + "</t:Subject><t:Start>2026-02-02T" + start +
                    ":00Z</t:Start><t:End>2026-02-02T" + end + ":00Z</t:End>" + rest + "</t:CalendarItem>",
                "calendar");
  };
  const Element id = make("mine", "10:00", "11:00");
  make("overlaps", "10:30", "12:00");
  make("right before", "09:00", "10:00");
  make("right behind", "11:00", "11:30");
  make("free", "10:00", "11:00", "<t:LegacyFreeBusyStatus>Free</t:LegacyFreeBusyStatus>");
  Series("2026-02-01T10:15:00Z", "2026-02-01T10:30:00Z", Daily(3, "2026-02-01"));
  const Element shown = With(id, "ConflictingMeetingCount AdjacentMeetingCount ConflictingMeetings AdjacentMeetings");
  EXPECT_EQ(shown.ChildText("ConflictingMeetingCount"), "2");
  EXPECT_EQ(shown.ChildText("AdjacentMeetingCount"), "2");
  EXPECT_EQ(shown.Child("ConflictingMeetings")->children[0].ChildText("Subject"), "overlaps");
  EXPECT_EQ(shown.Child("AdjacentMeetings")->children[1].ChildText("Subject"), "right behind");
}

}  // namespace
}  // namespace velmore::simulator::testing
