// Series: every pattern and every range is filled in place, saved, read back, changed into another one and emptied.

#include "tests/wire/CalendarTestSupport.h"

namespace velmore::testing {
namespace {

/// A pattern or a range: how it is filled, what it is on the wire, and what it reads as.
struct TPart {
  const char* Name;
  std::function<void(TEwsRecurrence&)> Fill;
  std::string Xml;
  std::function<void(TEwsRecurrence&)> Check;
};

const std::vector<TPart>& Patterns() {
  static const std::vector<TPart> parts = {
      {"RelativeYearlyRecurrence",
       [](TEwsRecurrence& r) {
         r.GetRelativeYearlyRecurrence().SetDaysOfWeek(dowSunday);
         r.GetRelativeYearlyRecurrence().SetDayOfWeekIndex(dowiLast);
         r.GetRelativeYearlyRecurrence().SetMonth(mnOctober);
       },
       "<t:DaysOfWeek>Sunday</t:DaysOfWeek><t:DayOfWeekIndex>Last</t:DayOfWeekIndex><t:Month>October</t:Month>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rRelativeYearlyRecurrence);
         EXPECT_EQ(r.GetRelativeYearlyRecurrence().GetDaysOfWeek(), dowSunday);
         EXPECT_EQ(r.GetRelativeYearlyRecurrence().GetDayOfWeekIndex(), dowiLast);
         EXPECT_EQ(r.GetRelativeYearlyRecurrence().GetMonth(), mnOctober);
       }},
      {"AbsoluteYearlyRecurrence",
       [](TEwsRecurrence& r) {
         r.GetAbsoluteYearlyRecurrence().SetDayOfMonth(29);
         r.GetAbsoluteYearlyRecurrence().SetMonth(mnFebruary);
       },
       "<t:DayOfMonth>29</t:DayOfMonth><t:Month>February</t:Month>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rAbsoluteYearlyRecurrence);
         EXPECT_EQ(r.GetAbsoluteYearlyRecurrence().GetDayOfMonth(), 29);
         EXPECT_EQ(r.GetAbsoluteYearlyRecurrence().GetMonth(), mnFebruary);
       }},
      {"RelativeMonthlyRecurrence",
       [](TEwsRecurrence& r) {
         r.GetRelativeMonthlyRecurrence().SetInterval(2);
         r.GetRelativeMonthlyRecurrence().SetDaysOfWeek(dowWeekday);
         r.GetRelativeMonthlyRecurrence().SetDayOfWeekIndex(dowiSecond);
       },
       "<t:Interval>2</t:Interval><t:DaysOfWeek>Weekday</t:DaysOfWeek><t:DayOfWeekIndex>Second</t:DayOfWeekIndex>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rRelativeMonthlyRecurrence);
         EXPECT_EQ(r.GetRelativeMonthlyRecurrence().GetInterval(), 2);
         EXPECT_EQ(r.GetRelativeMonthlyRecurrence().GetDaysOfWeek(), dowWeekday);
         EXPECT_EQ(r.GetRelativeMonthlyRecurrence().GetDayOfWeekIndex(), dowiSecond);
       }},
      {"AbsoluteMonthlyRecurrence",
       [](TEwsRecurrence& r) {
         r.GetAbsoluteMonthlyRecurrence().SetInterval(1);
         r.GetAbsoluteMonthlyRecurrence().SetDayOfMonth(31);
       },
       "<t:Interval>1</t:Interval><t:DayOfMonth>31</t:DayOfMonth>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rAbsoluteMonthlyRecurrence);
         EXPECT_EQ(r.GetAbsoluteMonthlyRecurrence().GetInterval(), 1);
         EXPECT_EQ(r.GetAbsoluteMonthlyRecurrence().GetDayOfMonth(), 31);
       }},
      {"WeeklyRecurrence",
       [](TEwsRecurrence& r) {
         r.GetWeeklyRecurrence().SetInterval(2);
         r.GetWeeklyRecurrence().SetDaysOfWeek({dowMonday, dowThursday});
         r.GetWeeklyRecurrence().SetFirstDayOfWeek(dowMonday);
       },
       "<t:Interval>2</t:Interval><t:DaysOfWeek>Monday Thursday</t:DaysOfWeek>"
       "<t:FirstDayOfWeek>Monday</t:FirstDayOfWeek>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rWeeklyRecurrence);
         EXPECT_EQ(r.GetWeeklyRecurrence().GetInterval(), 2);
         EXPECT_EQ(r.GetWeeklyRecurrence().GetDaysOfWeek(), (TDaysOfWeek{dowMonday, dowThursday}));
         EXPECT_EQ(r.GetWeeklyRecurrence().GetFirstDayOfWeek(), dowMonday);
       }},
      {"DailyRecurrence", [](TEwsRecurrence& r) { r.GetDailyRecurrence().SetInterval(3); },
       "<t:Interval>3</t:Interval>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType(), rDailyRecurrence);
         EXPECT_EQ(r.GetDailyRecurrence().GetInterval(), 3);
       }},
  };
  return parts;
}

const std::vector<TPart>& Ranges() {
  static const TDateTime start = VqEncodeDate(2026, 3, 2), end = VqEncodeDate(2030, 3, 2);
  static const std::vector<TPart> parts = {
      {"NoEndRecurrence", [](TEwsRecurrence& r) { r.GetNoEndRecurrence().SetStartDate(start); },
       "<t:StartDate>2026-03-02</t:StartDate>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType22(), rtNoEndRecurrence);
         EXPECT_EQ(r.GetNoEndRecurrence().GetStartDate(), start);
       }},
      {"EndDateRecurrence",
       [](TEwsRecurrence& r) {
         r.GetEndDateRecurrence().SetStartDate(start);
         r.GetEndDateRecurrence().SetEndDate(end);
       },
       "<t:StartDate>2026-03-02</t:StartDate><t:EndDate>2030-03-02</t:EndDate>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType22(), rtEndDateRecurrence);
         EXPECT_EQ(r.GetEndDateRecurrence().GetStartDate(), start);
         EXPECT_EQ(r.GetEndDateRecurrence().GetEndDate(), end);
       }},
      {"NumberedRecurrence",
       [](TEwsRecurrence& r) {
         r.GetNumberedRecurrence().SetStartDate(start);
         r.GetNumberedRecurrence().SetNumberOfOccurrences(4);
       },
       "<t:StartDate>2026-03-02</t:StartDate><t:NumberOfOccurrences>4</t:NumberOfOccurrences>",
       [](TEwsRecurrence& r) {
         EXPECT_EQ(r.GetRecurrenceType22(), rtNumberedRecurrence);
         EXPECT_EQ(r.GetNumberedRecurrence().GetStartDate(), start);
         EXPECT_EQ(r.GetNumberedRecurrence().GetNumberOfOccurrences(), 4);
       }},
  };
  return parts;
}

std::string XmlOf(const TPart& part) {
  return std::string("<t:") + part.Name + ">" + part.Xml + "</t:" + part.Name + ">";
}
std::string XmlOf(const TPart& pattern, const TPart& range) {
  return "<t:Recurrence>" + XmlOf(pattern) + XmlOf(range) + "</t:Recurrence>";
}

class CalendarRecurrence : public CalendarTest {
 protected:
  template <typename TCheck>
  static void ForEachPair(TCheck check) {
    for (const TPart& pattern : Patterns()) {
      for (const TPart& range : Ranges()) {
        SCOPED_TRACE(std::string(pattern.Name) + " with " + range.Name);
        check(pattern, range);
      }
    }
  }
  static void Fill(IVqEWSCalendarItem& item, const TPart& pattern, const TPart& range) {
    pattern.Fill(item.GetRecurrence());
    range.Fill(item.GetRecurrence());
  }
  static void Check(IVqEWSCalendarItem& item, const TPart& pattern, const TPart& range) {
    EXPECT_EQ(item.GetCalendarItemType(), citRecurringMaster);
    pattern.Check(item.GetRecurrence());
    range.Check(item.GetRecurrence());
  }
};

TEST_F(CalendarRecurrence, ANewSeriesOfEveryPatternAndRange) {
  ForEachPair([&](const TPart& pattern, const TPart& range) {
    const auto item = NewAppointment();
    item->SetSubject("Series");
    item->SetStartDateTime(At("2026-03-02T09:00:00Z"));
    item->SetEndDateTime(At("2026-03-02T10:00:00Z"));
    Fill(*item, pattern, range);
    Check(*item, pattern, range);
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Part("CreateItem", "Items/CalendarItem/Recurrence"), XmlOf(pattern, range));
    Check(*item, pattern, range);
    Check(*Open(item->GetID()), pattern, range);
    EXPECT_TRUE(item->GetFirstOccurrence().GetStart_() >= At("2026-03-02T09:00:00Z"));
  });
}

TEST_F(CalendarRecurrence, ASingleItemBecomesASeriesOfEveryPatternAndRange) {
  ForEachPair([&](const TPart& pattern, const TPart& range) {
    const auto item = Appointment();
    Fill(*item, pattern, range);
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), SetField("calendar:Recurrence", XmlOf(pattern, range), "t:CalendarItem"));
    Check(*item, pattern, range);
  });
}

TEST_F(CalendarRecurrence, EveryPatternAndRangeIsReplacedByTheNext) {
  const auto item = Appointment();
  const TPart *formerPattern = nullptr, *formerRange = nullptr;
  ForEachPair([&](const TPart& pattern, const TPart& range) {
    if (formerPattern) {
      item->GetRecurrence().RemoveNode(string("t:") + formerPattern->Name);
      item->GetRecurrence().RemoveNode(string("t:") + formerRange->Name);
    }
    Fill(*item, pattern, range);
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), SetField("calendar:Recurrence", XmlOf(pattern, range), "t:CalendarItem"));
    Check(*item, pattern, range);
    formerPattern = &pattern;
    formerRange = &range;
  });
}

TEST_F(CalendarRecurrence, EmptiedItIsDeletedAndTheItemSingle) {
  ForEachPair([&](const TPart& pattern, const TPart& range) {
    const auto item = Appointment(XmlOf(pattern, range));
    item->GetRecurrence().AsElement().RemoveAllChildren();
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), DeleteField("calendar:Recurrence"));
    EXPECT_EQ(item->GetCalendarItemType(), citSingle);
    item->SaveChanges(soAutoResolve);  // and that once
    EXPECT_EQ(Updates(), "");
  });
}

TEST_F(CalendarRecurrence, EmptiedAndReadIsStillEmpty) {
  const auto item = Appointment(kDaily);
  item->GetRecurrence().AsElement().RemoveAllChildren();
  item->GetRecurrence().GetWeeklyRecurrence().GetInterval();
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), DeleteField("calendar:Recurrence"));
}

TEST_F(CalendarRecurrence, EmptiedAndFilledAgainItIsChanged) {
  const auto item = Appointment(kDaily);
  item->GetRecurrence().AsElement().RemoveAllChildren();
  RefuseNext("UpdateItem", "ErrorServerBusy");
  EXPECT_EQ(CodeOf([&] { item->SaveChanges(soAutoResolve); }), "ErrorServerBusy");
  EXPECT_EQ(Updates(), DeleteField("calendar:Recurrence"));
  Fill(*item, Patterns().back(), Ranges().front());
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("calendar:Recurrence", XmlOf(Patterns().back(), Ranges().front()), "t:CalendarItem"));
}

// What fills it clears any status: to end a series, empty it. Meant so.
TEST_F(CalendarRecurrence, WhatIsFilledIsNotDeletedByItsProperty) {
  const auto item = Appointment(kDaily);
  item->DeleteProperty(PR_RECURRENCE);
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), "");
}

TEST_F(CalendarRecurrence, ReadingMakesNoSeriesAndDeletesNone) {
  for (const std::string& members : {std::string(), std::string(kDaily)}) {
    const auto item = Appointment(members);
    item->GetRecurrence().GetRelativeYearlyRecurrence();
    item->GetRecurrence().GetNumberedRecurrence();
    item->SaveChanges(soAutoResolve);
    EXPECT_EQ(Updates(), "");
    EXPECT_EQ(item->GetCalendarItemType(), members.empty() ? citSingle : citRecurringMaster);
  }
}

TEST_F(CalendarRecurrence, WhatReadingMadeIsNoSecondPattern) {
  const auto readAll = [](IVqEWSCalendarItem& item) {
    for (const TPart& pattern : Patterns()) item.GetRecurrence().GetNode(string("t:") + pattern.Name);
    for (const TPart& range : Ranges()) item.GetRecurrence().GetNode(string("t:") + range.Name);
  };
  const auto item = NewAppointment();
  item->SetStartDateTime(At("2026-03-02T09:00:00Z"));
  item->SetEndDateTime(At("2026-03-02T10:00:00Z"));
  readAll(*item);
  Fill(*item, Patterns()[3], Ranges()[1]);
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items/CalendarItem/Recurrence"), XmlOf(Patterns()[3], Ranges()[1]));
  readAll(*item);
  item->GetRecurrence().GetAbsoluteMonthlyRecurrence().SetInterval(7);
  item->SaveChanges(soAutoResolve);
  const std::string updates = Updates();
  EXPECT_NE(updates.find("<t:Recurrence><t:AbsoluteMonthlyRecurrence><t:Interval>7</t:Interval>"), std::string::npos);
  EXPECT_EQ(updates.find("Recurrence/>"), std::string::npos);
}

TEST_F(CalendarRecurrence, AnOccurrenceIsNotAskedToForgetASeries) {
  const TItemId master = Add(kDaily);
  auto store = Supports<TVqEWSMsgStore>(&Store());
  const auto second = store->GetOccurence(master, 2);
  second->GetRecurrence();
  second->SetLocation("Elsewhere");
  second->SaveChanges(soAutoResolve);
  EXPECT_EQ(Updates(), SetField("calendar:Location", "<t:Location>Elsewhere</t:Location>", "t:CalendarItem"));
  EXPECT_EQ(second->GetCalendarItemType(), citException);
}

TEST_F(CalendarRecurrence, TheServersOccurrencesAreRead) {
  const auto item = Appointment(
      "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NumberedRecurrence>"
      "<t:StartDate>2026-03-02</t:StartDate><t:NumberOfOccurrences>3</t:NumberOfOccurrences></t:NumberedRecurrence>"
      "</t:Recurrence>");
  EXPECT_EQ(TextOf(item->GetFirstOccurrence().GetStart_()), "2026-03-02T09:00:00Z");
  EXPECT_EQ(TextOf(item->GetLastOccurrence().GetStart_()), "2026-03-04T09:00:00Z");
  const auto second = item->GetOccurrence(2);
  second->SetStartDateTime(At("2026-03-03T15:00:00Z"));
  second->SetEndDateTime(At("2026-03-03T16:00:00Z"));
  second->SaveChanges(soAutoResolve);
  Folder(dfincalendar)->DeleteItem(item->GetOccurrence(3)->GetID(), dtHardDelete);
  const auto again = Open(item->GetID());
  ASSERT_EQ(again->GetModifiedOccurrences().GetOccurrence().Count(), 1);
  EXPECT_EQ(TextOf(again->GetModifiedOccurrences().GetOccurrence().GetItem(0).GetStart_()), "2026-03-03T15:00:00Z");
  EXPECT_EQ(TextOf(again->GetModifiedOccurrences().GetOccurrence().GetItem(0).GetOriginalStart()),
            "2026-03-03T09:00:00Z");
  ASSERT_EQ(again->GetDeletedOccurrences().GetDeletedOccurrence().Count(), 1);
  EXPECT_EQ(TextOf(again->GetDeletedOccurrences().GetDeletedOccurrence().GetItem(0).GetStart_()),
            "2026-03-04T09:00:00Z");
}

}  // namespace
}  // namespace velmore::testing
