// The option --strict refuses what the published schema refuses, and what is accepted otherwise is counted.

#include <gtest/gtest.h>

#include <cstdlib>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

std::string Find(const std::string& inside, const std::string& view = {}) {
  return "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape>" + view +
         inside + "<m:ParentFolderIds>" + Distinguished("inbox") + "</m:ParentFolderIds></m:FindItem>";
}
std::string Where(const std::string& restriction) {
  return Find("<m:Restriction>" + restriction + "</m:Restriction>");
}
std::string View(const std::string& attributes) {
  return Find({}, "<m:IndexedPageItemView " + attributes + "/>");
}
std::string New(const std::string& kind, const std::string& content) {
  return "<m:CreateItem MessageDisposition=\"SaveOnly\" SendMeetingInvitations=\"SendToNone\"><m:Items><t:" + kind +
         ">" + content + "</t:" + kind + "></m:Items></m:CreateItem>";
}
std::string Named(const std::string& attributes, const std::string& value = "<t:Value>1</t:Value>") {
  return New("Message",
             "<t:ExtendedProperty><t:ExtendedFieldURI " + attributes + "/>" + value + "</t:ExtendedProperty>");
}
std::string Change(const std::string& change) {
  return "<m:UpdateItem ConflictResolution=\"AutoResolve\" "
         "MessageDisposition=\"SaveOnly\"><m:ItemChanges><t:ItemChange>" +
         change + "</t:ItemChange></m:ItemChanges></m:UpdateItem>";
}

const std::string kSubject = "<t:FieldURI FieldURI=\"item:Subject\"/>";
const std::string kConstant = "<t:FieldURIOrConstant><t:Constant Value=\"x\"/></t:FieldURIOrConstant>";
const std::string kEqual = "<t:IsEqualTo>" + kSubject + kConstant + "</t:IsEqualTo>";
const std::string kDaily = "<t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence>";
const std::string kNoEnd = "<t:NoEndRecurrence><t:StartDate>2026-01-01</t:StartDate></t:NoEndRecurrence>";

/// What the schema forbids and a lenient server may pass over.
const std::string kLoose[] = {
    Where("<t:And/>"),
    Where("<t:Or></t:Or>"),
    Where("<t:Excludes><t:ExtendedFieldURI PropertyTag=\"0x0e07\" PropertyType=\"Integer\"/><t:Bitmask "
          "Value=\"xyz\"/></t:Excludes>"),
    View("MaxEntriesReturned=\"99999999999\" Offset=\"0\" BasePoint=\"Beginning\""),
    New("Contact", "<t:Birthday>1980-01-02</t:Birthday>"),
    New("Contact", "<t:BusinessHomePage>100 %</t:BusinessHomePage>"),
    New("Message", "<t:Culture>not_a language</t:Culture>"),
    New("Message", "<t:Culture></t:Culture>"),
    New("Message", "<t:Culture>abcdefghi</t:Culture>"),
    New("Task", "<t:ReminderMinutesBeforeStart>-1</t:ReminderMinutesBeforeStart>"),
    New("Task", "<t:ReminderMinutesBeforeStart>2629801</t:ReminderMinutesBeforeStart>"),
    New("Task", "<t:ActualWork>99999999999</t:ActualWork>"),
    New("Task", "<t:DueDate>2026-02-03</t:DueDate>"),
    New("Task", "<t:DueDate>2026-02-03T10:00:60Z</t:DueDate>"),
    New("Task", "<t:DueDate>2026-02-03T10:00:00.Z</t:DueDate>"),
    New("Task", "<t:DueDate>2026-02-03T10:00:00+15:00</t:DueDate>"),
    New("Message", "<t:Attachments/>"),
    Named("PropertyTag=\"0x3a4f\" PropertyType=\"String\"", ""),
    New("CalendarItem", "<t:RequiredAttendees/>"),
    "<m:GetUserConfiguration><m:UserConfigurationName Name=\"x\">" + Distinguished("inbox") +
        "</m:UserConfigurationName><m:UserConfigurationProperties>Id "
        "Nothing</m:UserConfigurationProperties></m:GetUserConfiguration>",
};

/// What is refused either way.
const std::string kWrong[] = {
    Where(""),
    Where(kEqual + kEqual),
    Where("<t:Not/>"),
    Where("<t:IsEqualTo>" + kSubject + "</t:IsEqualTo>"),
    Where("<t:IsEqualTo>" + kConstant + "</t:IsEqualTo>"),
    Where("<t:Contains><t:Constant Value=\"\"/></t:Contains>"),
    View("MaxEntriesReturned=\"1.0\" Offset=\"0\" BasePoint=\"End\""),
    View("MaxEntriesReturned=\"1\" Offset=\"0\""),
    New("Contact", "<t:FileAsMapping>Nonsense</t:FileAsMapping>"),
    New("Contact", "<t:PostalAddressIndex>Moon</t:PostalAddressIndex>"),
    New("Contact", "<t:EmailAddresses/>"),
    New("Contact", "<t:PhoneNumbers><t:Entry Key=\"Moon\">1</t:Entry></t:PhoneNumbers>"),
    New("Message", "<t:Importance>high</t:Importance>"),
    New("Message", "<t:IsRead>True</t:IsRead>"),
    New("Message", "<t:Body>x</t:Body>"),
    New("Message", "text"),
    New("Task", "<t:PercentComplete>inf</t:PercentComplete>"),
    New("Task", "<t:PercentComplete>0x10</t:PercentComplete>"),
    New("CalendarItem", "<t:LegacyFreeBusyStatus>Away</t:LegacyFreeBusyStatus>"),
    New("CalendarItem", "<t:Start>today</t:Start>"),
    "<m:ResolveNames ReturnFullContactData=\"true\"><m:UnresolvedEntry/></m:ResolveNames>",
    "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:ItemIds/></m:GetItem>",
};

/// Forms that only a few look wrong; strict servers take them.
const std::string kGood[] = {
    Where("<t:And>" + kEqual + "</t:And>"),
    View("Offset=\"0\" BasePoint=\"Beginning\""),
    New("Contact", "<t:FileAsMapping>Empty</t:FileAsMapping>"),
    New("Contact", "<t:BusinessHomePage>a%20b</t:BusinessHomePage>"),
    New("Message", "<t:Culture>zh-Hant-TW</t:Culture>"),
    New("Message", "<t:Categories/>"),
    New("Message", "<t:ToRecipients/>"),
    New("Task", "<t:PercentComplete>5e1</t:PercentComplete>"),
    New("Task", "<t:DueDate>2026-02-03T10:00:00.1234567-14:00</t:DueDate>"),
    New("Task", "<t:ReminderMinutesBeforeStart>0</t:ReminderMinutesBeforeStart>"),
    New("CalendarItem", "<t:Start>2026-01-01T10:00:00Z</t:Start><t:End>2026-01-01T11:00:00Z</t:End><t:Recurrence>" +
                            kDaily + kNoEnd + "</t:Recurrence>"),
    Named("PropertyTag=\"55\" PropertyType=\"String\""),
    Named("PropertySetId=\"00020329-0000-0000-C000-000000000046\" PropertyId=\"1\" PropertyType=\"String\""),
};

class SimulatorStrict : public ::testing::Test {
 protected:
  static Options With(bool accept, const std::string& schema = {}) {
    Options options = TestOptions();
    options.accept_departures = accept;
    options.schema_directory = schema;
    return options;
  }
  static std::string CodeOf(const Simulator& server, const std::string& request) {
    return Client(server).Call(request).Code();
  }
  static std::uint64_t Counted(const Simulator& server) {
    std::uint64_t sum = 0;
    for (const auto& [name, count] : server.GetCounters().departures) sum += count;
    return sum;
  }
};

TEST_F(SimulatorStrict, RefusesWhatOthersPassOver) {
  Started strict(With(false));
  for (const std::string& request : kLoose) EXPECT_EQ(CodeOf(strict, request), "ErrorSchemaValidation") << request;
  for (const std::string& request : kWrong) EXPECT_EQ(CodeOf(strict, request), "ErrorSchemaValidation") << request;
  for (const std::string& request : kGood) EXPECT_EQ(CodeOf(strict, request), "NoError") << request;
  EXPECT_EQ(Counted(strict), 0u);
}

TEST_F(SimulatorStrict, WhatIsPassedOverIsCounted) {
  Started lenient(With(true));
  for (const std::string& request : kLoose) {
    const std::uint64_t before = Counted(lenient);
    EXPECT_NE(CodeOf(lenient, request), "ErrorSchemaValidation") << request;
    EXPECT_GT(Counted(lenient), before) << request;
  }
  const std::uint64_t before = Counted(lenient);
  for (const std::string& request : kGood) EXPECT_EQ(CodeOf(lenient, request), "NoError") << request;
  EXPECT_EQ(Counted(lenient), before);
}

TEST_F(SimulatorStrict, DoesAsThePublishedSchemaDoes) {
  const char* folder = std::getenv("VELMORE_EWS_SCHEMA");
  if (folder == nullptr) GTEST_SKIP() << "VELMORE_EWS_SCHEMA names no folder";
  Started published(With(true, folder));
  for (const std::string& request : kLoose) EXPECT_EQ(CodeOf(published, request), "ErrorSchemaValidation") << request;
  for (const std::string& request : kWrong) EXPECT_EQ(CodeOf(published, request), "ErrorSchemaValidation") << request;
  for (const std::string& request : kGood) EXPECT_EQ(CodeOf(published, request), "NoError") << request;
}

TEST_F(SimulatorStrict, ShapesOfChangesAreHeldToo) {
  Started strict(With(false));
  const Id id = strict.AddMessage("alice@example.com", "drafts", "Subject: s\r\n\r\n");
  const std::string item = "<t:ItemId Id=\"" + id.id + "\" ChangeKey=\"" + id.change_key + "\"/>";
  const std::string set = "<t:Message><t:Subject>x</t:Subject></t:Message>";
  for (const std::string& request :
       {Change("<t:Updates><t:SetItemField>" + kSubject + set + "</t:SetItemField></t:Updates>"),
        Change(item + "<t:Updates><t:SetItemField>" + kSubject + "</t:SetItemField></t:Updates>"),
        Change(item + "<t:Updates><t:SetItemField>" + set + "</t:SetItemField></t:Updates>"),
        Change(item + "<t:Updates/>")})
    EXPECT_EQ(CodeOf(strict, request), "ErrorSchemaValidation") << request;
  EXPECT_EQ(
      CodeOf(strict, Change(item + "<t:Updates><t:SetItemField>" + kSubject + set + "</t:SetItemField></t:Updates>")),
      "NoError");
}

}  // namespace
}  // namespace velmore::simulator::testing
