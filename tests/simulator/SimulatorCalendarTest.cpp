#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorCalendar : public ::testing::Test {
 protected:
  Id Add(const std::string& subject, const std::string& start, const std::string& end,
         const std::string& recurrence = {}) {
    return server.AddItem("alice@example.com", "calendar",
                          "<t:CalendarItem><t:Subject>" + subject + "</t:Subject><t:Start>" + start +
                              "</t:Start><t:End>" + end + "</t:End>" +
                              (recurrence.empty() ? "" : "<t:Recurrence>" + recurrence + "</t:Recurrence>") +
                              "</t:CalendarItem>");
  }
  Reply View(const std::string& start, const std::string& end, int count = 100) {
    return client.Call(
        "<m:FindItem "
        "Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape><m:CalendarView "
        "MaxEntriesReturned=\"" +
        std::to_string(count) + "\" StartDate=\"" + start + "\" EndDate=\"" + end + "\"/><m:ParentFolderIds>" +
        Distinguished("calendar") + "</m:ParentFolderIds></m:FindItem>");
  }
  std::string Starts(const std::string& start, const std::string& end) {
    const Reply reply = View(start, end);
    std::string all;
    for (const Element* item : reply.All("CalendarItem")) all += item->ChildText("Start").substr(0, 10) + " ";
    return all;
  }
  static std::string Range(int count, const std::string& start = "2026-02-02") {
    return "<t:NumberedRecurrence><t:StartDate>" + start + "</t:StartDate><t:NumberOfOccurrences>" +
           std::to_string(count) + "</t:NumberOfOccurrences></t:NumberedRecurrence>";
  }

  Started server;
  Client client{server};
};

TEST_F(SimulatorCalendar, ViewShowsWhatTouchesTheWindowInOrder) {
  Add("before", "2026-02-01T09:00:00Z", "2026-02-01T10:00:00Z");
  Add("late", "2026-02-02T15:00:00Z", "2026-02-02T16:00:00Z");
  Add("early", "2026-02-02T08:00:00Z", "2026-02-02T09:00:00Z");
  Add("over midnight", "2026-02-01T23:00:00Z", "2026-02-02T01:00:00Z");
  Add("ends as it begins", "2026-02-01T22:00:00Z", "2026-02-02T00:00:00Z");
  const Reply reply = View("2026-02-02T00:00:00Z", "2026-02-03T00:00:00Z");
  std::string subjects;
  for (const Element* item : reply.All("CalendarItem")) subjects += item->ChildText("Subject") + "|";
  EXPECT_EQ(subjects, "over midnight|early|late|");
  const Element root = reply.Find("RootFolder");
  EXPECT_EQ(root.Attribute("IndexedPagingOffset"), nullptr);
  EXPECT_EQ(root.AttributeText("IncludesLastItemInRange"), "true");
  EXPECT_EQ(View("2026-02-02T00:00:00Z", "2026-02-03T00:00:00Z", 2)
                .Find("RootFolder")
                .AttributeText("IncludesLastItemInRange"),
            "false");
}

TEST_F(SimulatorCalendar, DailyAndWeeklySeriesAreExpanded) {
  Add("daily", "2026-02-02T09:00:00Z", "2026-02-02T09:30:00Z",
      "<t:DailyRecurrence><t:Interval>2</t:Interval></t:DailyRecurrence>" + Range(4));
  EXPECT_EQ(Starts("2026-01-01T00:00:00Z", "2026-12-31T00:00:00Z"), "2026-02-02 2026-02-04 2026-02-06 2026-02-08 ");
}

TEST_F(SimulatorCalendar, WeeklySeriesOnSeveralDays) {
  Add("weekly", "2026-02-03T09:00:00Z", "2026-02-03T09:30:00Z",
      "<t:WeeklyRecurrence><t:Interval>1</t:Interval><t:DaysOfWeek>Tuesday "
      "Thursday</t:DaysOfWeek></t:WeeklyRecurrence><t:EndDateRecurrence><t:StartDate>2026-02-03</"
      "t:StartDate><t:EndDate>2026-02-12</t:EndDate></t:EndDateRecurrence>");
  EXPECT_EQ(Starts("2026-01-01T00:00:00Z", "2026-12-31T00:00:00Z"), "2026-02-03 2026-02-05 2026-02-10 2026-02-12 ");
}

TEST_F(SimulatorCalendar, MonthlyAndYearlySeries) {
  Add("last of month", "2026-01-31T09:00:00Z", "2026-01-31T10:00:00Z",
      "<t:AbsoluteMonthlyRecurrence><t:Interval>1</t:Interval><t:DayOfMonth>31</t:DayOfMonth></"
      "t:AbsoluteMonthlyRecurrence>" +
          Range(3, "2026-01-31"));
  EXPECT_EQ(Starts("2026-01-01T00:00:00Z", "2026-12-31T00:00:00Z"), "2026-01-31 2026-02-28 2026-03-31 ");
  Add("last friday", "2027-01-29T09:00:00Z", "2027-01-29T10:00:00Z",
      "<t:RelativeMonthlyRecurrence><t:Interval>1</t:Interval><t:DaysOfWeek>Friday</"
      "t:DaysOfWeek><t:DayOfWeekIndex>Last</t:DayOfWeekIndex></t:RelativeMonthlyRecurrence>" +
          Range(3, "2027-01-29"));
  EXPECT_EQ(Starts("2027-01-01T00:00:00Z", "2027-12-31T00:00:00Z"), "2027-01-29 2027-02-26 2027-03-26 ");
  Add("leap day", "2028-02-29T09:00:00Z", "2028-02-29T10:00:00Z",
      "<t:AbsoluteYearlyRecurrence><t:DayOfMonth>29</t:DayOfMonth><t:Month>February</t:Month></"
      "t:AbsoluteYearlyRecurrence>" +
          Range(2, "2028-02-29"));
  EXPECT_EQ(Starts("2028-01-01T00:00:00Z", "2029-12-31T00:00:00Z"), "2028-02-29 2029-02-28 ");
  Add("second weekday", "2031-03-04T09:00:00Z", "2031-03-04T10:00:00Z",
      "<t:RelativeYearlyRecurrence><t:DaysOfWeek>Weekday</t:DaysOfWeek><t:DayOfWeekIndex>Second</"
      "t:DayOfWeekIndex><t:Month>March</t:Month></t:RelativeYearlyRecurrence>" +
          Range(2, "2031-03-04"));
  EXPECT_EQ(Starts("2031-01-01T00:00:00Z", "2032-12-31T00:00:00Z"), "2031-03-04 2032-03-02 ");
}

TEST_F(SimulatorCalendar, EndlessSeriesIsSeenThroughAnyWindow) {
  Add("forever", "2020-01-01T09:00:00Z", "2020-01-01T10:00:00Z",
      "<t:AbsoluteYearlyRecurrence><t:DayOfMonth>1</t:DayOfMonth><t:Month>January</t:Month></"
      "t:AbsoluteYearlyRecurrence><t:NoEndRecurrence><t:StartDate>2020-01-01</t:StartDate></t:NoEndRecurrence>");
  EXPECT_EQ(Starts("2040-01-01T00:00:00Z", "2041-06-01T00:00:00Z"), "2040-01-01 2041-01-01 ");
}

TEST_F(SimulatorCalendar, OccurrencesHaveIdsAndAreFoundByNumber) {
  const Id master = Add("daily", "2026-02-02T09:00:00Z", "2026-02-02T09:30:00Z",
                        "<t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence>" + Range(3));
  const auto occurrence = [&](int index) {
    return client.Call(GetItemXml("<t:OccurrenceItemId RecurringMasterId=\"" + master.id + "\" InstanceIndex=\"" +
                                  std::to_string(index) + "\"/>"));
  };
  const Element second = occurrence(2).Find("CalendarItem");
  EXPECT_EQ(second.ChildText("Start"), "2026-02-03T09:00:00Z");
  EXPECT_EQ(second.ChildText("CalendarItemType"), "Occurrence");
  EXPECT_EQ(second.Child("Recurrence"), nullptr);
  const std::string id = second.Child("ItemId")->AttributeText("Id");
  EXPECT_NE(id, master.id);
  EXPECT_EQ(client.Call(GetItemXml(id)).Find("CalendarItem").ChildText("Start"), "2026-02-03T09:00:00Z");
  EXPECT_EQ(client.Call(GetItemXml("<t:RecurringMasterItemId OccurrenceId=\"" + id + "\"/>"))
                .Find("CalendarItem")
                .ChildText("CalendarItemType"),
            "RecurringMaster");
  EXPECT_EQ(occurrence(4).Code(), "ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
  EXPECT_EQ(occurrence(0).Code(), "ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
}

TEST_F(SimulatorCalendar, ChangedAndDeletedOccurrencesAreKeptByTheirMaster) {
  const Id master = Add("daily", "2026-02-02T09:00:00Z", "2026-02-02T09:30:00Z",
                        "<t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence>" + Range(4));
  const auto id_of = [&](int index) {
    return client
        .Call(GetItemXml("<t:OccurrenceItemId RecurringMasterId=\"" + master.id + "\" InstanceIndex=\"" +
                         std::to_string(index) + "\"/>"))
        .Find("ItemId");
  };
  const Element second = id_of(2);
  const auto move = [&](const std::string& start, const std::string& end) {
    return client.Call(
        "<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" "
        "SendMeetingInvitationsOrCancellations=\"SendToNone\"><m:ItemChanges><t:ItemChange><t:ItemId Id=\"" +
        second.AttributeText("Id") +
        "\"/><t:Updates><t:SetItemField><t:FieldURI FieldURI=\"calendar:Start\"/><t:CalendarItem><t:Start>" + start +
        "</t:Start></t:CalendarItem></t:SetItemField><t:SetItemField><t:FieldURI FieldURI=\"calendar:End\"/>"
        "<t:CalendarItem><t:End>" +
        end + "</t:End></t:CalendarItem></t:SetItemField></t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  };
  const Reply updated = move("2026-02-03T15:00:00Z", "2026-02-03T16:00:00Z");
  EXPECT_EQ(updated.Code(), "NoError") << updated.body;
  // It stays between its neighbours.
  EXPECT_EQ(move("2026-02-10T09:00:00Z", "2026-02-10T10:00:00Z").Code(), "ErrorOccurrenceCrossingBoundary");
  EXPECT_EQ(move("2026-02-04T08:00:00Z", "2026-02-04T09:15:00Z").Code(), "ErrorOccurrenceCrossingBoundary");
  EXPECT_EQ(move("2026-02-02T09:15:00Z", "2026-02-02T10:00:00Z").Code(), "ErrorOccurrenceCrossingBoundary");
  EXPECT_EQ(client
                .Call("<m:DeleteItem DeleteType=\"HardDelete\" "
                      "SendMeetingCancellations=\"SendToNone\"><m:ItemIds><t:ItemId Id=\"" +
                      id_of(3).AttributeText("Id") + "\"/></m:ItemIds></m:DeleteItem>")
                .Code(),
            "NoError");
  EXPECT_EQ(Starts("2026-01-01T00:00:00Z", "2026-12-31T00:00:00Z"), "2026-02-02 2026-02-03 2026-02-05 ");
  const Element series = client.Call(GetItemXml(master.id)).Find("CalendarItem");
  EXPECT_EQ(series.Child("ModifiedOccurrences")->children[0].ChildText("OriginalStart"), "2026-02-03T09:00:00Z");
  EXPECT_EQ(series.Child("ModifiedOccurrences")->children[0].ChildText("Start"), "2026-02-03T15:00:00Z");
  EXPECT_EQ(series.Child("DeletedOccurrences")->children[0].ChildText("Start"), "2026-02-04T09:00:00Z");
  EXPECT_EQ(series.Child("FirstOccurrence")->ChildText("Start"), "2026-02-02T09:00:00Z");
  EXPECT_EQ(series.Child("LastOccurrence")->ChildText("Start"), "2026-02-05T09:00:00Z");
  EXPECT_EQ(client.Call(GetItemXml(second.AttributeText("Id"))).Find("CalendarItem").ChildText("CalendarItemType"),
            "Exception");
  EXPECT_EQ(client.Call(GetItemXml("<t:OccurrenceItemId RecurringMasterId=\"" + master.id + "\" InstanceIndex=\"3\"/>"))
                .Code(),
            "ErrorCalendarOccurrenceIsDeletedFromRecurrence");
}

TEST_F(SimulatorCalendar, ImpossibleViewsAndSeriesAreRefused) {
  EXPECT_EQ(View("2026-02-03T00:00:00Z", "2026-02-02T00:00:00Z").Code(), "ErrorCalendarEndDateIsEarlierThanStartDate");
  EXPECT_EQ(View("2020-02-03T00:00:00Z", "2026-02-02T00:00:00Z").Code(), "ErrorCalendarViewRangeTooBig");
  EXPECT_EQ(
      client
          .Call("<m:FindItem "
                "Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:CalendarView "
                "StartDate=\"2026-02-02T00:00:00Z\" EndDate=\"2026-02-03T00:00:00Z\"/><m:ParentFolderIds>" +
                Distinguished("inbox") + "</m:ParentFolderIds></m:FindItem>")
          .Code(),
      "ErrorCalendarFolderIsInvalidForCalendarView");
  const auto create = [&](const std::string& content) {
    return client
        .Call("<m:CreateItem SendMeetingInvitations=\"SendToNone\"><m:Items><t:CalendarItem>" + content +
              "</t:CalendarItem></m:Items></m:CreateItem>")
        .Code();
  };
  EXPECT_EQ(create("<t:Start>2026-02-03T00:00:00Z</t:Start><t:End>2026-02-02T00:00:00Z</t:End>"),
            "ErrorCalendarEndDateIsEarlierThanStartDate");
  EXPECT_EQ(create("<t:Start>2026-02-02T09:00:00Z</t:Start><t:End>2026-02-02T10:00:00Z</"
                   "t:End><t:Recurrence><t:DailyRecurrence><t:Interval>0</t:Interval></t:DailyRecurrence>" +
                   Range(2) + "</t:Recurrence>"),
            "ErrorCalendarInvalidRecurrence");
}

}  // namespace
}  // namespace velmore::simulator::testing
