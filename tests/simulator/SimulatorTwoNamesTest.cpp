// One store below two names: what is written by a MAPI name is read by that of the schema, and the other way round.

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/two_names.h"

namespace velmore::simulator::testing {
namespace {

struct Pair {
  const char* kind;  // element of the item
  const char* set;   // distinguished name, "" for a tag
  const char* name;  // tag, id or name
  const char* type;
  const char* field;  // "item:Subject", or "contacts:PhoneNumber/HomePhone"
  // Twice the same, for two values in the order of the server: as MAPI has it, and as the schema has it.
  const char* low;
  const char* low_xml;
  const char* high;
  const char* high_xml;
};

#define TEXT(kind, set, name, field, element)                                             \
  {                                                                                       \
    kind, set, name, "String", field, "Ada", "<t:" element ">Ada</t:" element ">", "zoo", \
        "<t:" element ">zoo</t:" element ">"                                              \
  }
#define TIME(kind, set, name, field, element)                                          \
  {                                                                                    \
    kind, set, name, "SystemTime", field, "2026-02-03T10:00:00Z",                      \
        "<t:" element ">2026-02-03T10:00:00Z</t:" element ">", "2026-02-03T10:15:00Z", \
        "<t:" element ">2026-02-03T10:15:00Z</t:" element ">"                          \
  }
#define PHONE(name, key)                                                              \
  {                                                                                   \
    "Contact", "", name, "String", "contacts:PhoneNumber/" key, "1",                  \
        "<t:PhoneNumbers><t:Entry Key=\"" key "\">1</t:Entry></t:PhoneNumbers>", "2", \
        "<t:PhoneNumbers><t:Entry Key=\"" key "\">2</t:Entry></t:PhoneNumbers>"       \
  }
#define EMAIL(name, key)                                                                      \
  {                                                                                           \
    "Contact", "Address", name, "String", "contacts:EmailAddress/" key, "a@x",                \
        "<t:EmailAddresses><t:Entry Key=\"" key "\">a@x</t:Entry></t:EmailAddresses>", "b@x", \
        "<t:EmailAddresses><t:Entry Key=\"" key "\">b@x</t:Entry></t:EmailAddresses>"         \
  }
#define NUMBER(kind, set, name, field, element)                                       \
  {                                                                                   \
    kind, set, name, "Integer", field, "9", "<t:" element ">9</t:" element ">", "15", \
        "<t:" element ">15</t:" element ">"                                           \
  }
#define FLAG(kind, set, name, field, element)                                                   \
  {                                                                                             \
    kind, set, name, "Boolean", field, "false", "<t:" element ">false</t:" element ">", "true", \
        "<t:" element ">true</t:" element ">"                                                   \
  }

const Pair kPairs[] = {
    {"Message", "", "0x1090", "Integer", "item:Flag", "1", "<t:Flag><t:FlagStatus>Complete</t:FlagStatus></t:Flag>",
     "2", "<t:Flag><t:FlagStatus>Flagged</t:FlagStatus></t:Flag>"},
    {"Message", "PublicStrings", "Keywords", "StringArray", "item:Categories", "blue",
     "<t:Categories><t:String>blue</t:String></t:Categories>", "red",
     "<t:Categories><t:String>red</t:String></t:Categories>"},
    {"Message", "", "0x0017", "Integer", "item:Importance", "0", "<t:Importance>Low</t:Importance>", "2",
     "<t:Importance>High</t:Importance>"},
    {"Message", "", "0x0036", "Integer", "item:Sensitivity", "1", "<t:Sensitivity>Personal</t:Sensitivity>", "3",
     "<t:Sensitivity>Confidential</t:Sensitivity>"},
    {"Message", "Common", "34054", "Boolean", "item:Sensitivity", "false", "<t:Sensitivity>Normal</t:Sensitivity>",
     "true", "<t:Sensitivity>Private</t:Sensitivity>"},
    TEXT("Message", "", "0x0037", "item:Subject", "Subject"),
    {"Message", "", "0x001a", "String", "item:ItemClass", "IPM.Note.A", "<t:ItemClass>IPM.Note.A</t:ItemClass>",
     "IPM.Note.B", "<t:ItemClass>IPM.Note.B</t:ItemClass>"},
    FLAG("Message", "", "0x0e69", "message:IsRead", "IsRead"),
    TEXT("Message", "", "0x1039", "message:References", "References"),
    TEXT("Message", "", "0x1042", "item:InReplyTo", "InReplyTo"),
    FLAG("Task", "Common", "34051", "item:ReminderIsSet", "ReminderIsSet"),
    TIME("Task", "Common", "34050", "item:ReminderDueBy", "ReminderDueBy"),
    NUMBER("Task", "Common", "34049", "item:ReminderMinutesBeforeStart", "ReminderMinutesBeforeStart"),
    TEXT("Task", "Common", "34100", "task:Mileage", "Mileage"),
    TEXT("Task", "Common", "34101", "task:BillingInformation", "BillingInformation"),
    {"Task", "Common", "34105", "StringArray", "task:Companies", "a",
     "<t:Companies><t:String>a</t:String></t:Companies>", "b", "<t:Companies><t:String>b</t:String></t:Companies>"},
    {"Task", "Common", "34106", "StringArray", "task:Contacts", "a", "<t:Contacts><t:String>a</t:String></t:Contacts>",
     "b", "<t:Contacts><t:String>b</t:String></t:Contacts>"},
    {"CalendarItem", "Appointment", "33285", "Integer", "calendar:LegacyFreeBusyStatus", "0",
     "<t:LegacyFreeBusyStatus>Free</t:LegacyFreeBusyStatus>", "3",
     "<t:LegacyFreeBusyStatus>OOF</t:LegacyFreeBusyStatus>"},
    TEXT("CalendarItem", "Appointment", "33288", "calendar:Location", "Location"),
    TIME("CalendarItem", "Appointment", "33293", "calendar:Start", "Start"),
    TIME("CalendarItem", "Appointment", "33294", "calendar:End", "End"),
    FLAG("CalendarItem", "Appointment", "33301", "calendar:IsAllDayEvent", "IsAllDayEvent"),
    TIME("CalendarItem", "", "0x60", "calendar:Start", "Start"),
    TIME("CalendarItem", "", "0x61", "calendar:End", "End"),
    TEXT("Contact", "", "0x3001", "contacts:DisplayName", "DisplayName"),
    TEXT("Contact", "", "0x3a05", "contacts:Generation", "Generation"),
    TEXT("Contact", "", "0x3a06", "contacts:GivenName", "GivenName"),
    TEXT("Contact", "", "0x3a0a", "contacts:Initials", "Initials"),
    TEXT("Contact", "", "0x3a11", "contacts:Surname", "Surname"),
    TEXT("Contact", "", "0x3a16", "contacts:CompanyName", "CompanyName"),
    TEXT("Contact", "", "0x3a17", "contacts:JobTitle", "JobTitle"),
    TEXT("Contact", "", "0x3a18", "contacts:Department", "Department"),
    TEXT("Contact", "", "0x3a19", "contacts:OfficeLocation", "OfficeLocation"),
    TEXT("Contact", "", "0x3a30", "contacts:AssistantName", "AssistantName"),
    TIME("Contact", "", "0x3a42", "contacts:Birthday", "Birthday"),
    TEXT("Contact", "", "0x3a44", "contacts:MiddleName", "MiddleName"),
    TEXT("Contact", "", "0x3a46", "contacts:Profession", "Profession"),
    TEXT("Contact", "", "0x3a48", "contacts:SpouseName", "SpouseName"),
    TEXT("Contact", "", "0x3a4e", "contacts:Manager", "Manager"),
    TEXT("Contact", "", "0x3a4f", "contacts:Nickname", "Nickname"),
    TEXT("Contact", "", "0x3a51", "contacts:BusinessHomePage", "BusinessHomePage"),
    TEXT("Contact", "Address", "32773", "contacts:FileAs", "FileAs"),
    {"Contact", "Address", "32866", "String", "contacts:ImAddress/ImAddress1", "a",
     "<t:ImAddresses><t:Entry Key=\"ImAddress1\">a</t:Entry></t:ImAddresses>", "b",
     "<t:ImAddresses><t:Entry Key=\"ImAddress1\">b</t:Entry></t:ImAddresses>"},
    EMAIL("32899", "EmailAddress1"),
    EMAIL("32915", "EmailAddress2"),
    EMAIL("32931", "EmailAddress3"),
    PHONE("0x3a02", "Callback"),
    PHONE("0x3a08", "BusinessPhone"),
    PHONE("0x3a09", "HomePhone"),
    PHONE("0x3a1a", "PrimaryPhone"),
    PHONE("0x3a1b", "BusinessPhone2"),
    PHONE("0x3a1c", "MobilePhone"),
    PHONE("0x3a1d", "RadioPhone"),
    PHONE("0x3a1e", "CarPhone"),
    PHONE("0x3a1f", "OtherTelephone"),
    PHONE("0x3a21", "Pager"),
    PHONE("0x3a23", "OtherFax"),
    PHONE("0x3a24", "BusinessFax"),
    PHONE("0x3a25", "HomeFax"),
    PHONE("0x3a2c", "Telex"),
    PHONE("0x3a2d", "Isdn"),
    PHONE("0x3a2e", "AssistantPhone"),
    PHONE("0x3a2f", "HomePhone2"),
    PHONE("0x3a4b", "TtyTddPhone"),
    PHONE("0x3a57", "CompanyMainPhone"),
    TIME("Task", "", "0x60", "task:StartDate", "StartDate"),
    TIME("Task", "", "0x61", "task:DueDate", "DueDate"),
    {"Task", "Task", "33025", "Integer", "task:Status", "1", "<t:Status>InProgress</t:Status>", "4",
     "<t:Status>Deferred</t:Status>"},
    {"Task", "Task", "33026", "Double", "task:PercentComplete", "0.25", "<t:PercentComplete>25</t:PercentComplete>",
     "0.5", "<t:PercentComplete>50</t:PercentComplete>"},
    TIME("Task", "Task", "33028", "task:StartDate", "StartDate"),
    TIME("Task", "Task", "33029", "task:DueDate", "DueDate"),
    TIME("Task", "Task", "33039", "task:CompleteDate", "CompleteDate"),
    NUMBER("Task", "Task", "33040", "task:ActualWork", "ActualWork"),
    NUMBER("Task", "Task", "33041", "task:TotalWork", "TotalWork"),
    {"Task", "Task", "33052", "Boolean", "task:Status", "false", "<t:Status>InProgress</t:Status>", "true",
     "<t:Status>Completed</t:Status>"},
};

std::string Flat(const Element& element) {
  std::string text = element.text;
  for (const Element& child : element.children) text += Flat(child);
  return text;
}

std::string FlatXml(const std::string& xml) {
  return Flat(ParseXml("<w xmlns:t=\"" + std::string(kTypesNamespace) + "\">" + xml + "</w>"));
}

class SimulatorTwoNames : public WriteTest, public ::testing::WithParamInterface<Pair> {
 protected:
  const Pair& pair = GetParam();
  const std::string folder = pair.kind == std::string("Message")   ? "drafts"
                             : pair.kind == std::string("Task")    ? "tasks"
                             : pair.kind == std::string("Contact") ? "contacts"
                                                                   : "calendar";
  std::string Uri() const {
    const std::string name = pair.name;
    const std::string how =
        *pair.set == '\0' ? "PropertyTag=\"" + name + "\""
        : std::isdigit(static_cast<unsigned char>(name[0])) != 0
            ? "DistinguishedPropertySetId=\"" + std::string(pair.set) + "\" PropertyId=\"" + name + "\""
            : "DistinguishedPropertySetId=\"" + std::string(pair.set) + "\" PropertyName=\"" + name + "\"";
    return "<t:ExtendedFieldURI " + how + " PropertyType=\"" + pair.type + "\"/>";
  }
  std::string Field() const {
    const std::string field = pair.field;
    const std::size_t slash = field.find('/');
    if (slash == std::string::npos) return "<t:FieldURI FieldURI=\"" + field + "\"/>";
    return "<t:IndexedFieldURI FieldURI=\"" + field.substr(0, slash) + "\" FieldIndex=\"" + field.substr(slash + 1) +
           "\"/>";
  }
  std::string Mapi(const std::string& value) const {
    const bool array = std::string(pair.type).ends_with("Array");
    return "<t:ExtendedProperty>" + Uri() + (array ? "<t:Values>" : "") + "<t:Value>" + value + "</t:Value>" +
           (array ? "</t:Values>" : "") + "</t:ExtendedProperty>";
  }
  /// What a property needs beside it in order to be legal.
  std::string Item(const std::string& behind, const std::string& xml) const {
    const bool end = pair.field == std::string("calendar:End");
    const bool start = pair.field == std::string("calendar:Start");
    return "<t:" + std::string(pair.kind) + ">" + behind + (end ? "<t:Start>2026-02-03T09:00:00Z</t:Start>" : "") +
           xml + (start ? "<t:End>2026-02-03T11:00:00Z</t:End>" : "") + "</t:" + pair.kind + ">";
  }
  /// Both names of an item: "value|text".
  std::string Both(const Element& id) {
    const Reply reply =
        client.Call(GetItemXml(id.AttributeText("Id"), "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" +
                                                           Uri() + Field() + "</t:AdditionalProperties>"));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    return Texts(reply.Find(pair.kind));
  }
  static std::string Texts(const Element& item) {
    std::string mapi;
    std::string schema;
    for (const Element& child : item.children) {
      if (child.name == "ExtendedProperty")
        mapi = Flat(child);
      else if (child.name != "ItemId")
        schema += Flat(child);
    }
    return mapi + "|" + schema;
  }
  std::string Written(const Element& id, const std::string& path, const std::string& xml) {
    Update(id, "<t:SetItemField>" + path + "<t:" + pair.kind + ">" + xml + "</t:" + pair.kind + "></t:SetItemField>",
           "AlwaysOverwrite");
    return Both(id);
  }
};

TEST_P(SimulatorTwoNames, AreOneValue) {
  const std::string low = std::string(pair.low) + "|" + FlatXml(pair.low_xml);
  const std::string high = std::string(pair.high) + "|" + FlatXml(pair.high_xml);
  const Element a = Make(Item("", pair.low_xml), folder);
  const Element b = Make(Item(Mapi(pair.high), ""), folder);
  EXPECT_EQ(Both(a), low) << "created by the schema";
  EXPECT_EQ(Both(b), high) << "created by MAPI";
  EXPECT_EQ(Written(a, Uri(), Mapi(pair.high)), high) << "updated by MAPI";
  EXPECT_EQ(Written(a, Field(), pair.low_xml), low) << "updated by the schema";
  EXPECT_EQ(Written(b, Field(), pair.low_xml), low);
  EXPECT_EQ(Written(b, Uri(), Mapi(pair.high)), high);

  // Rows, restrictions and sorting, by either name where the field allows it.
  const bool complex = pair.field == std::string("item:Flag");
  for (const std::string& path : {Uri(), complex ? Uri() : Field()}) {
    const Reply rows = client.Call(
        FindItemXml(folder, Uri() + Field(), 50, 0,
                    "<m:SortOrder><t:FieldOrder Order=\"Descending\">" + path + "</t:FieldOrder></m:SortOrder>"));
    ASSERT_EQ(rows.All(pair.kind).size(), 2u) << rows.body;
    EXPECT_EQ(Texts(*rows.All(pair.kind)[0]), high);
    EXPECT_EQ(Texts(*rows.All(pair.kind)[1]), low);
    const std::string constant = path == Uri() ? pair.low : FlatXml(pair.low_xml);
    const Reply found =
        client.Call(FindItemXml(folder, Uri() + Field(), 50, 0,
                                "<m:Restriction><t:IsEqualTo>" + path + "<t:FieldURIOrConstant><t:Constant Value=\"" +
                                    constant + "\"/></t:FieldURIOrConstant></t:IsEqualTo></m:Restriction>"));
    ASSERT_EQ(found.All(pair.kind).size(), 1u) << found.body;
    EXPECT_EQ(Texts(*found.All(pair.kind)[0]), low);
  }
}

INSTANTIATE_TEST_SUITE_P(Pairs, SimulatorTwoNames, ::testing::ValuesIn(kPairs), [](const auto& info) {
  std::string name = std::string(info.param.kind) + info.param.set + info.param.name;
  return name + "_" + std::to_string(info.index);
});

TEST(SimulatorTwoNamesTable, EveryRowThatCanBeWrittenIsTested) {
  std::set<std::string> tested;
  for (const Pair& pair : kPairs) tested.insert(std::to_string(std::strtol(pair.name, nullptr, 0)) + pair.type);
  // These say more than one thing, or are tested with the messages that they belong to.
  const std::set<std::int64_t> others = {0x0039, 0x0071, 0x007d, 0x0e06, 0x0e07, 0x1000, 0x1013, 0x3007, 0x8217,
                                         0x0003, 0x0042, 0x0064, 0x0065, 0x5d02, 0x0c1a, 0x0c1e, 0x0c1f, 0x5d01};
  for (const TwoNames& row : AllTwoNames()) {
    if (row.write == nullptr || others.contains(row.key.number)) continue;
    EXPECT_TRUE(tested.contains(std::to_string(row.key.number) + row.key.type)) << row.key.number << " " << row.member;
  }
}

class SimulatorTwoNamesOfMessages : public WriteTest {
 protected:
  std::string Value(const Element& id, const std::string& tag, const std::string& type) {
    const Reply reply = client.Call(
        GetItemXml(id.AttributeText("Id"),
                   "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:ExtendedFieldURI PropertyTag=\"" + tag +
                       "\" PropertyType=\"" + type + "\"/></t:AdditionalProperties>"));
    return reply.Has("Value") ? reply.Find("Value").text : "none";
  }
  Element With(const std::string& tag, const std::string& type, const std::string& value) {
    return Make("<t:Message><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"" + tag + "\" PropertyType=\"" +
                type + "\"/><t:Value>" + value + "</t:Value></t:ExtendedProperty></t:Message>");
  }
};

TEST_F(SimulatorTwoNamesOfMessages, WhatTheServerMakesIsThere) {
  server.AddMessage("alice@example.com", "inbox", "From: Bob <bob@example.com>\r\nSubject: s\r\n\r\nx");
  const Element id = client.Call(FindItemXml("inbox")).Find("ItemId");
  const std::pair<const char*, const char*> kAlways[] = {
      {"0x0e23", "Integer"}, {"0x0ff6", "Binary"}, {"0x0ff9", "Binary"}, {"0x3013", "Binary"}};
  for (const auto& [tag, type] : kAlways) EXPECT_NE(Value(id, tag, type), "none") << tag;
  EXPECT_EQ(Value(id, "0x0ffe", "Integer"), "5");
  EXPECT_EQ(Value(id, "0x0ff4", "Integer"), "63");
  EXPECT_EQ(Value(id, "0x0e05", "String"), "Inbox");
  EXPECT_EQ(Value(id, "0x0ff6", "Binary"), Item(id).ChildText("InstanceKey"));
  EXPECT_EQ(Value(id, "0x0c1f", "String"), "bob@example.com");
  EXPECT_EQ(Value(id, "0x0037", "Integer"), "none") << "of another type there is nothing";
}

TEST_F(SimulatorTwoNamesOfMessages, WhatTheServerAloneSetsIsRefused) {
  for (const auto& [tag, type, value] : {std::tuple{"0x0fff", "Binary", "QUJD"},
                                         {"0x0e08", "Integer", "1"},
                                         {"0x0e23", "Integer", "1"},
                                         {"0x0070", "String", "x"}})
    EXPECT_EQ(client
                  .Call(CreateItemXml("<t:Message><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"" +
                                      std::string(tag) + "\" PropertyType=\"" + type + "\"/><t:Value>" + value +
                                      "</t:Value></t:ExtendedProperty></t:Message>"))
                  .Code(),
              "ErrorItemSavePropertyError")
        << tag;
  EXPECT_EQ(client
                .Call(CreateItemXml("<t:Message><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x0017\" "
                                    "PropertyType=\"Integer\"/><t:Value>7</t:Value></t:ExtendedProperty></t:Message>"))
                .Code(),
            "ErrorInvalidExtendedPropertyValue");
}

TEST_F(SimulatorTwoNamesOfMessages, TheMessageItselfIsWrittenByTag) {
  EXPECT_EQ(Item(With("0x1000", "String", "plain")).ChildText("Body"), "plain");
  const Element html = With("0x1013", "Binary", EncodeBase64("<p>x</p>"));
  EXPECT_EQ(Item(html).ChildText("Body"), "<p>x</p>");
  EXPECT_EQ(Value(html, "0x1013", "Binary"), EncodeBase64("<p>x</p>"));
  EXPECT_EQ(Item(With("0x0039", "SystemTime", "2026-02-03T10:00:00Z")).ChildText("DateTimeSent"),
            "2026-02-03T10:00:00Z");
  EXPECT_EQ(Item(With("0x0e06", "SystemTime", "2026-02-03T10:00:00Z")).ChildText("DateTimeReceived"),
            "2026-02-03T10:00:00Z");
  EXPECT_EQ(Item(With("0x3007", "SystemTime", "2026-02-03T10:00:00Z")).ChildText("DateTimeCreated"),
            "2026-02-03T10:00:00Z");
  EXPECT_EQ(Item(With("0x0042", "String", "Eve")).Child("From")->Child("Mailbox")->ChildText("Name"), "Eve");
  EXPECT_EQ(Item(With("0x0c1f", "String", "eve@x")).Child("Sender")->Child("Mailbox")->ChildText("EmailAddress"),
            "eve@x");
  EXPECT_EQ(Item(With("0x0e07", "Integer", "1")).ChildText("IsDraft"), "false");
}

TEST_F(SimulatorTwoNamesOfMessages, TheNameOfAnAppointmentIsWrappedWhenItIsForeign) {
  const std::string uri =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"Meeting\" PropertyId=\"3\" PropertyType=\"Binary\"/>";
  const auto value = [&](const Element& id) {
    return client
        .Call(GetItemXml(id.AttributeText("Id"), "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" + uri +
                                                     "</t:AdditionalProperties>"))
        .Find("Value")
        .text;
  };
  const Element foreign =
      Make("<t:CalendarItem><t:Subject>s</t:Subject><t:UID>a@b</t:UID></t:CalendarItem>", "calendar");
  const std::string wrapped = DecodeBase64(value(foreign));
  EXPECT_EQ(wrapped.substr(40), std::string("vCal-Uid\x01\0\0\0a@b\0", 16));
  EXPECT_EQ(wrapped.substr(36, 4), std::string("\x10\0\0\0", 4)) << "the size of what follows";
  const Element own = Make("<t:CalendarItem><t:Subject>s</t:Subject></t:CalendarItem>", "calendar");
  for (const Element& id : {foreign, own}) {
    const Element copy = Make("<t:CalendarItem><t:ExtendedProperty>" + uri + "<t:Value>" + value(id) +
                                  "</t:Value></t:ExtendedProperty></t:CalendarItem>",
                              "calendar");
    EXPECT_EQ(Item(copy).ChildText("UID"), Item(id).ChildText("UID"));
  }
}

TEST_F(SimulatorTwoNamesOfMessages, FoldersHaveTheirFigures) {
  server.AddMessage("alice@example.com", "inbox", "Subject: s\r\n\r\nx");
  const auto value = [&](const std::string& tag, const std::string& type) {
    return client
        .Call(
            "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:ExtendedFieldURI "
            "PropertyTag=\"" +
            tag + "\" PropertyType=\"" + type + "\"/></t:AdditionalProperties></m:FolderShape><m:FolderIds>" +
            Distinguished("inbox") + "</m:FolderIds></m:GetFolder>")
        .Find("Value")
        .text;
  };
  EXPECT_EQ(value("0x3602", "Integer"), "1");
  EXPECT_EQ(value("0x3603", "Integer"), "1");
  EXPECT_EQ(value("0x3001", "String"), "Inbox");
  EXPECT_EQ(value("0x3001", "Integer"), "");
  const std::string article = Value(client.Call(FindItemXml("inbox")).Find("ItemId"), "0x0e23", "Integer");
  EXPECT_EQ(value("0x6752", "Integer"), article);
  EXPECT_GT(std::stoll(value("0x6751", "Integer")), std::stoll(article));
  EXPECT_GT(value("0x670a", "SystemTime"), "2026");
}

TEST_F(SimulatorTwoNamesOfMessages, ConflictsAreSeenUnderEitherName) {
  const Element id = Make("<t:Task><t:Subject>s</t:Subject><t:Status>NotStarted</t:Status></t:Task>", "tasks");
  const std::string uri =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"Task\" PropertyId=\"33025\" PropertyType=\"Integer\"/>";
  const auto by_mapi = [&](const char* value) {
    return "<t:SetItemField>" + uri + "<t:Task><t:ExtendedProperty>" + uri + "<t:Value>" + value +
           "</t:Value></t:ExtendedProperty></t:Task></t:SetItemField>";
  };
  EXPECT_EQ(Update(id, by_mapi("1")).Code(), "NoError");
  EXPECT_EQ(Update(id,
                   "<t:SetItemField><t:FieldURI "
                   "FieldURI=\"task:Status\"/><t:Task><t:Status>Deferred</t:Status></t:Task></t:SetItemField>")
                .Code(),
            "ErrorIrresolvableConflict");
}

TEST_F(SimulatorTwoNamesOfMessages, DeletingByOneNameDeletesBoth) {
  const Element id = Make(
      "<t:Contact><t:JobTitle>x</t:JobTitle><t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry "
      "Key=\"Pager\">2</t:Entry></t:PhoneNumbers></t:Contact>",
      "contacts");
  for (const char* tag : {"0x3a17", "0x3a09"})
    EXPECT_EQ(Update(id,
                     "<t:DeleteItemField><t:ExtendedFieldURI PropertyTag=\"" + std::string(tag) +
                         "\" PropertyType=\"String\"/></t:DeleteItemField>",
                     "AlwaysOverwrite")
                  .Code(),
              "NoError");
  const Element item = Item(id);
  EXPECT_EQ(item.Child("JobTitle"), nullptr);
  EXPECT_EQ(Flat(*item.Child("PhoneNumbers")), "2");
}

}  // namespace
}  // namespace velmore::simulator::testing
