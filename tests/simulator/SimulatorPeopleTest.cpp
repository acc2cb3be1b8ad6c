// Contacts, distribution lists and tasks: what the server makes of what is written.

#include <gtest/gtest.h>

#include <set>

#include "SimulatorTestSupport.h"
#include "simulator/time/time.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorPeople : public WriteTest {
 protected:
  Element Contact(const std::string& content) { return Make("<t:Contact>" + content + "</t:Contact>", "contacts"); }
  Element List(const std::string& name, const std::string& members) {
    return Make("<t:DistributionList><t:DisplayName>" + name + "</t:DisplayName><t:Members>" + members +
                    "</t:Members></t:DistributionList>",
                "contacts");
  }
  Element Task(const std::string& content) { return Make("<t:Task>" + content + "</t:Task>", "tasks"); }
  static std::string Member(const std::string& mailbox) {
    return "<t:Member><t:Mailbox>" + mailbox + "</t:Mailbox></t:Member>";
  }
  static std::string OneOff(const std::string& address) {
    return Member("<t:EmailAddress>" + address + "</t:EmailAddress>");
  }
  static std::string ById(const Element& id) { return Member("<t:ItemId Id=\"" + id.AttributeText("Id") + "\"/>"); }
  static std::string Set(const std::string& uri, const std::string& element, const std::string& property,
                         const std::string& text) {
    return "<t:SetItemField><t:FieldURI FieldURI=\"" + uri + "\"/><t:" + element + "><t:" + property + ">" + text +
           "</t:" + property + "></t:" + element + "></t:SetItemField>";
  }
  static std::string Delete(const std::string& uri, const std::string& index) {
    return "<t:DeleteItemField><t:IndexedFieldURI FieldURI=\"" + uri + "\" FieldIndex=\"" + index +
           "\"/></t:DeleteItemField>";
  }
  /// Names of the members of a list.
  std::string Members(const Element& id) {
    std::string names;
    const Element list = Item(id);
    if (const Element* members = list.Child("Members"))
      for (const Element& member : members->children) names += member.Child("Mailbox")->ChildText("Name") + "|";
    return names;
  }
  std::string KeyOf(const Element& id, std::size_t index) {
    return Item(id).Child("Members")->children.at(index).AttributeText("Key");
  }
  Reply Resolve(const std::string& entry, const std::string& attributes = {}, const std::string& folders = {}) {
    return client.Call("<m:ResolveNames ReturnFullContactData=\"true\" SearchScope=\"Contacts\"" + attributes + ">" +
                       folders + "<m:UnresolvedEntry>" + entry + "</m:UnresolvedEntry></m:ResolveNames>");
  }

  Client bob{server, "bob", "builder"};
};

// ---- Contacts

TEST_F(SimulatorPeople, MappingSaysUnderWhichNameAContactIsFiled) {
  const std::pair<const char*, const char*> rows[] = {{"LastCommaFirst", "Elm, Eve M."},
                                                      {"FirstSpaceLast", "Eve M. Elm Jr."},
                                                      {"Company", "Oak Inc."},
                                                      {"LastCommaFirstCompany", "Elm, Eve M.\r\nOak Inc."},
                                                      {"CompanyLastFirst", "Oak Inc.\r\nElmEve M."},
                                                      {"LastFirst", "ElmEve M."},
                                                      {"LastFirstCompany", "ElmEve M.\r\nOak Inc."},
                                                      {"CompanyLastCommaFirst", "Oak Inc.\r\nElm, Eve M."},
                                                      {"LastFirstSuffix", "ElmEve M. Jr."},
                                                      {"LastSpaceFirstCompany", "Elm Eve M.\r\nOak Inc."},
                                                      {"CompanyLastSpaceFirst", "Oak Inc.\r\nElm Eve M."},
                                                      {"LastSpaceFirst", "Elm Eve M."},
                                                      {"DisplayName", "Evie"},
                                                      {"FirstName", "Eve"},
                                                      {"LastFirstMiddleSuffix", "Elm, Eve M. Jr."},
                                                      {"LastName", "Elm"},
                                                      {"None", "Elm, Eve"}};
  for (const auto& [mapping, name] : rows) {
    const Element id = Contact("<t:FileAsMapping>" + std::string(mapping) +
                               "</t:FileAsMapping><t:DisplayName>Evie</t:DisplayName><t:GivenName>Eve</t:GivenName>"
                               "<t:MiddleName>M.</t:MiddleName><t:CompanyName>Oak Inc.</t:CompanyName>"
                               "<t:Generation>Jr.</t:Generation><t:Surname>Elm</t:Surname>");
    EXPECT_EQ(Item(id).ChildText("FileAs"), name) << mapping;
  }
  EXPECT_EQ(Item(Contact("<t:FileAsMapping>LastCommaFirst</t:FileAsMapping><t:GivenName>Eve</t:GivenName>"))
                .ChildText("FileAs"),
            "Eve");
  EXPECT_EQ(Item(Contact("<t:FileAsMapping>CompanyLastCommaFirst</t:FileAsMapping><t:Surname>Elm</t:Surname>"))
                .ChildText("FileAs"),
            "Elm");
}

TEST_F(SimulatorPeople, FiledNameFollowsTheNameUntilSomebodyChoosesOne) {
  const Element id = Contact(
      "<t:FileAsMapping>LastCommaFirst</t:FileAsMapping><t:GivenName>Eve</t:GivenName><t:Surname>Elm</t:Surname>");
  Reply reply = Update(id, Set("contacts:Surname", "Contact", "Surname", "Oak"));
  EXPECT_EQ(Item(id).ChildText("FileAs"), "Oak, Eve");
  reply = Update(reply.Find("ItemId"), Set("contacts:FileAs", "Contact", "FileAs", "The boss"));
  EXPECT_EQ(Item(id).ChildText("FileAs"), "The boss");
  Update(reply.Find("ItemId"), Set("contacts:Surname", "Contact", "Surname", "Ash"));
  EXPECT_EQ(Item(id).ChildText("FileAs"), "The boss");
}

TEST_F(SimulatorPeople, CompleteNameIsMadeOfItsParts) {
  const Element id = Contact(
      "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x3A45\" PropertyType=\"String\"/><t:Value>Dr.</t:Value>"
      "</t:ExtendedProperty><t:GivenName>Eve</t:GivenName><t:Surname>Elm</t:Surname>"
      "<t:PhoneticFirstName>Ib</t:PhoneticFirstName><t:PhoneticLastName>Elem</t:PhoneticLastName>");
  const Element contact = Item(id);
  std::string parts;
  for (const Element& part : contact.Child("CompleteName")->children) parts += part.name + "=" + part.text + " ";
  EXPECT_EQ(parts, "Title=Dr. FirstName=Eve LastName=Elm FullName=Eve Elm YomiFirstName=Ib YomiLastName=Elem ");
}

TEST_F(SimulatorPeople, ContactsAreADirectoryOfEachOfTheirAddresses) {
  Contact(
      "<t:GivenName>Eve</t:GivenName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">eve@home.test</t:Entry>"
      "<t:Entry Key=\"EmailAddress2\">elm@work.test</t:Entry></t:EmailAddresses><t:AssistantName>Sly</t:AssistantName>"
      "<t:Surname>Elm</t:Surname>");
  const auto addresses = [](const Reply& reply) {
    std::string all;
    for (const Element* resolution : reply.All("Resolution"))
      all += resolution->Child("Mailbox")->ChildText("EmailAddress") + " ";
    return all;
  };
  EXPECT_EQ(addresses(Resolve("Elm")), "eve@home.test elm@work.test ");
  EXPECT_EQ(addresses(Resolve("Eve")), "eve@home.test elm@work.test ");
  EXPECT_EQ(addresses(Resolve("elm@w")), "elm@work.test ");
  const Reply one = Resolve("elm@work.test");
  EXPECT_EQ(one.Code(), "NoError");
  EXPECT_EQ(one.Find("MailboxType").text, "Contact");
  EXPECT_FALSE(one.Find("Mailbox").Child("ItemId")->AttributeText("Id").empty());
  EXPECT_FALSE(one.Has("AssistantName"));
  EXPECT_EQ(Resolve("elm@work.test", " ContactDataShape=\"AllProperties\"").Find("AssistantName").text, "Sly");
  EXPECT_FALSE(Resolve("elm@work.test", " ContactDataShape=\"IdOnly\"").Has("Surname"));
  EXPECT_EQ(Resolve("Nobody").Code(), "ErrorNameResolutionNoResults");
}

TEST_F(SimulatorPeople, NamesAreLookedUpInTheFolderAskedFor) {
  const Element folder = NewFolder("Club", "contacts", "ContactsFolder");
  const std::string card =
      "<t:Contact><t:GivenName>Ivy</t:GivenName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">ivy@club.test"
      "</t:Entry></t:EmailAddresses></t:Contact>";
  EXPECT_EQ(client.Call(CreateItemXml(card, "SaveOnly", Fid(folder))).Code(), "NoError");
  EXPECT_EQ(Resolve("Ivy").Code(), "ErrorNameResolutionNoResults");
  EXPECT_EQ(Resolve("Ivy", {}, "<m:ParentFolderIds>" + Fid(folder) + "</m:ParentFolderIds>").Code(), "NoError");
}

// ---- Distribution lists

TEST_F(SimulatorPeople, ListHoldsContactsListsAndOneOffAddresses) {
  const Element eve = Contact(
      "<t:GivenName>Eve</t:GivenName><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">eve@example.net</t:Entry>"
      "</t:EmailAddresses>");
  const Element inner = List("Inner", OneOff("x@example.net"));
  const Element list = List("Outer", ById(eve) + ById(inner) + OneOff("bob@example.com") + OneOff("y@example.net"));
  const Element stored = Item(list);
  ASSERT_NE(stored.Child("Members"), nullptr);
  std::string all;
  std::set<std::string> keys;
  for (const Element& member : stored.Child("Members")->children) {
    const Element& mailbox = *member.Child("Mailbox");
    all += mailbox.ChildText("Name") + "/" + mailbox.ChildText("EmailAddress") + "/" +
           mailbox.ChildText("RoutingType") + "/" + mailbox.ChildText("MailboxType") + "/" +
           member.ChildText("Status") + "\n";
    keys.insert(member.AttributeText("Key"));
  }
  EXPECT_EQ(all,
            "Eve/eve@example.net/SMTP/Contact/Normal\nInner//MAPIPDL/PrivateDL/Normal\n"
            "Bob Birch/bob@example.com/SMTP/Mailbox/Normal\ny@example.net/y@example.net/SMTP/OneOff/Normal\n");
  EXPECT_EQ(keys.size(), 4u);
  // The keys are entry ids in the forms of MAPI: a contact, a list, and addresses of their own.
  std::string kinds;
  for (const Element& member : stored.Child("Members")->children)
    kinds += DecodeBase64(member.AttributeText("Key")).substr(4, 1) + DecodeBase64(member.AttributeText("Key"))[20];
  EXPECT_EQ(kinds, std::string("\xC0\xC3\xC0\xB4\x81\0\x81\0", 8));
  EXPECT_EQ(stored.ChildText("DisplayName"), "Outer");
  EXPECT_EQ(stored.ChildText("ItemClass"), "IPM.DistList");
}

TEST_F(SimulatorPeople, MembersComeAndGoOneByOne) {
  const Element list = List("L", OneOff("a@x.test") + OneOff("b@x.test"));
  Reply reply = Update(list,
                       "<t:AppendToItemField><t:FieldURI FieldURI=\"distributionlist:Members\"/><t:DistributionList>"
                       "<t:Members>" +
                           OneOff("c@x.test") + "</t:Members></t:DistributionList></t:AppendToItemField>");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(Members(list), "a@x.test|b@x.test|c@x.test|");
  const std::string b = KeyOf(list, 1);
  reply = Update(reply.Find("ItemId"), Delete("distributionlist:Members:Member", b));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(Members(list), "a@x.test|c@x.test|");
  EXPECT_EQ(Update(reply.Find("ItemId"), Delete("distributionlist:Members:Member", b)).Code(),
            "ErrorDistributionListMemberNotExist");
  const std::string a = KeyOf(list, 0);
  reply = Update(Item(list).Child("ItemId") != nullptr ? *Item(list).Child("ItemId") : list,
                 "<t:SetItemField><t:IndexedFieldURI FieldURI=\"distributionlist:Members:Member\" FieldIndex=\"" + a +
                     "\"/><t:DistributionList><t:Members><t:Member Key=\"" + a +
                     "\"><t:Mailbox><t:EmailAddress>d@x.test</t:EmailAddress></t:Mailbox></t:Member></t:Members>"
                     "</t:DistributionList></t:SetItemField>");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(Members(list), "d@x.test|c@x.test|");
  EXPECT_NE(KeyOf(list, 0), a);
  reply = Update(reply.Find("ItemId"),
                 "<t:DeleteItemField><t:FieldURI FieldURI=\"distributionlist:Members\"/></t:DeleteItemField>");
  EXPECT_EQ(Members(list), "");
}

TEST_F(SimulatorPeople, MailToAListGoesToItsMembersAndThoseOfListsInIt) {
  const Element inner = List("Inner", OneOff("bob@example.com"));
  const Element outer = List("Outer", ById(inner) + OneOff("carol@example.com"));
  // Two lists that hold each other are no endless loop.
  Update(inner,
         "<t:AppendToItemField><t:FieldURI FieldURI=\"distributionlist:Members\"/><t:DistributionList><t:Members>" +
             ById(outer) + "</t:Members></t:DistributionList></t:AppendToItemField>");
  const Reply reply =
      client.Call(CreateItemXml("<t:Message><t:Subject>All</t:Subject><t:ToRecipients><t:Mailbox><t:ItemId Id=\"" +
                                    outer.AttributeText("Id") + "\"/></t:Mailbox></t:ToRecipients></t:Message>",
                                "SendAndSaveCopy"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(server.CountItems("carol@example.com", "inbox"), 1u);
  const Reply row = bob.Call(FindItemXml("inbox", "<t:FieldURI FieldURI=\"item:DisplayTo\"/>"));
  EXPECT_EQ(row.Find("DisplayTo").text, "Bob Birch; Carol Cedar");
}

// ---- Tasks

TEST_F(SimulatorPeople, StatusFollowsHowMuchIsDone) {
  const Element id = Task("<t:Subject>Paint</t:Subject><t:PercentComplete>0</t:PercentComplete>");
  const auto percent = [&](const std::string& value) {
    Update(*Item(id).Child("ItemId"), Set("task:PercentComplete", "Task", "PercentComplete", value));
    const Element task = Item(id);
    return task.ChildText("Status") + " " + task.ChildText("PercentComplete") + " " + task.ChildText("IsComplete") +
           (task.Child("CompleteDate") != nullptr ? " dated" : "");
  };
  EXPECT_EQ(Item(id).ChildText("Status"), "NotStarted");
  EXPECT_EQ(percent("25"), "InProgress 25 false");
  EXPECT_EQ(percent("100"), "Completed 100 true dated");
  EXPECT_EQ(percent("75.5"), "InProgress 75.5 false");
  EXPECT_EQ(percent("0"), "NotStarted 0 false");
  Update(*Item(id).Child("ItemId"), Set("task:Status", "Task", "Status", "WaitingOnOthers"));
  EXPECT_EQ(percent("50"), "WaitingOnOthers 50 false");
  EXPECT_EQ(Item(id).ChildText("StatusDescription"), "Waiting on someone else");
  Update(*Item(id).Child("ItemId"), Set("task:Status", "Task", "Status", "Completed"));
  EXPECT_EQ(Item(id).ChildText("PercentComplete"), "100");
  for (const char* wrong : {"101", "-1"})
    EXPECT_EQ(Update(*Item(id).Child("ItemId"), Set("task:PercentComplete", "Task", "PercentComplete", wrong)).Code(),
              "ErrorInvalidPercentCompleteValue");
  EXPECT_EQ(Update(*Item(id).Child("ItemId"), Set("task:CompleteDate", "Task", "CompleteDate", "2100-01-01T00:00:00Z"))
                .Code(),
            "ErrorInvalidCompleteDate");
}

TEST_F(SimulatorPeople, RecurringTaskShowsItsPattern) {
  const Element id = Task(
      "<t:Subject>Water</t:Subject><t:Recurrence><t:WeeklyRegeneration><t:Interval>2</t:Interval>"
      "</t:WeeklyRegeneration><t:NoEndRecurrence><t:StartDate>2026-02-02</t:StartDate></t:NoEndRecurrence>"
      "</t:Recurrence><t:StartDate>2026-02-02T00:00:00Z</t:StartDate>");
  const Element task = Item(id);
  EXPECT_EQ(task.ChildText("IsRecurring"), "true");
  EXPECT_EQ(task.Child("Recurrence")->children[0].name, "WeeklyRegeneration");
  EXPECT_EQ(task.Child("Recurrence")->children[0].ChildText("Interval"), "2");
}

TEST_F(SimulatorPeople, OldServersTakeNoDueDateWithTheCreationOfATask) {
  const std::string task = "<t:Task><t:Subject>x</t:Subject><t:DueDate>2026-03-01T00:00:00Z</t:DueDate></t:Task>";
  for (const auto& [version, code] : {std::pair{"Exchange2007_SP1", "ErrorInvalidPropertySet"},
                                      {"Exchange2010_SP2", "ErrorInvalidPropertySet"},
                                      {"Exchange2013", "NoError"},
                                      {"Exchange2016", "NoError"}}) {
    Options options = TestOptions();
    options.version = version;
    Started old(options);
    Client alice(old);
    alice.version = version;
    const Reply created = alice.Call(CreateItemXml(task));
    EXPECT_EQ(created.Code(), code) << version;
    if (created.Code() == "NoError") continue;
    EXPECT_EQ(created.Find("FieldURI").AttributeText("FieldURI"), "task:DueDate");
    // An update does.
    const Element id = alice.Call(CreateItemXml("<t:Task><t:Subject>x</t:Subject></t:Task>")).Find("ItemId");
    const Reply updated =
        alice.Call("<m:UpdateItem ConflictResolution=\"AutoResolve\"><m:ItemChanges><t:ItemChange>" + Ids(id) +
                   "<t:Updates>" + Set("task:DueDate", "Task", "DueDate", "2026-03-01T00:00:00Z") +
                   "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
    EXPECT_EQ(updated.Code(), "NoError") << updated.body;
  }
}

TEST_F(SimulatorPeople, RecurringTaskThatIsDoneGoesOn) {
  const auto recurrence = [](const std::string& pattern, const std::string& range) {
    return "<t:Recurrence>" + pattern + range + "</t:Recurrence>";
  };
  const std::string weekly =
      "<t:WeeklyRecurrence><t:Interval>1</t:Interval><t:DaysOfWeek>Monday Thursday</t:DaysOfWeek></t:WeeklyRecurrence>";
  const std::string three =
      "<t:NumberedRecurrence><t:StartDate>2026-02-02</t:StartDate><t:NumberOfOccurrences>3</t:NumberOfOccurrences>"
      "</t:NumberedRecurrence>";
  const Element id = Task("<t:Subject>Wind</t:Subject><t:DueDate>2026-02-03T00:00:00Z</t:DueDate>" +
                          recurrence(weekly, three) + "<t:StartDate>2026-02-02T00:00:00Z</t:StartDate>");
  const auto finish = [&] {
    EXPECT_EQ(Update(*Item(id).Child("ItemId"), Set("task:Status", "Task", "Status", "Completed")).Code(), "NoError");
    const Element task = Item(id);
    return task.ChildText("Status") + " " + task.ChildText("StartDate").substr(0, 10) + " " +
           task.ChildText("DueDate").substr(0, 10) + " " + task.ChildText("IsRecurring");
  };
  EXPECT_EQ(finish(), "NotStarted 2026-02-05 2026-02-06 true");
  EXPECT_EQ(finish(), "NotStarted 2026-02-09 2026-02-10 true");
  EXPECT_EQ(server.CountItems("alice@example.com", "tasks"), 3u) << "what was done stays";
  EXPECT_EQ(finish(), "Completed 2026-02-09 2026-02-10 true") << "the last one";
  EXPECT_EQ(server.CountItems("alice@example.com", "tasks"), 3u);
  const Reply done = client.Call(FindItemXml("tasks", "<t:FieldURI FieldURI=\"task:IsRecurring\"/>"));
  EXPECT_EQ(done.Find("IsRecurring").text, "false") << "a task of its own";
}

TEST_F(SimulatorPeople, TaskThatRegeneratesCountsFromTheDayOnWhichItWasDone) {
  const Element id = Task(
      "<t:Subject>Oil</t:Subject><t:DueDate>2020-02-03T00:00:00Z</t:DueDate><t:Recurrence><t:DailyRegeneration>"
      "<t:Interval>10</t:Interval></t:DailyRegeneration><t:NumberedRecurrence><t:StartDate>2020-02-03</t:StartDate>"
      "<t:NumberOfOccurrences>2</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence>");
  const auto finish = [&] {
    Update(*Item(id).Child("ItemId"), Set("task:PercentComplete", "Task", "PercentComplete", "100"));
    return Item(id);
  };
  const Seconds before = Now() / 86400;
  const Element next = finish();
  const Seconds due = *ParseTime(next.ChildText("DueDate")) / 86400;
  EXPECT_GE(due, before + 10);
  EXPECT_LE(due, Now() / 86400 + 10);
  EXPECT_EQ(next.Child("Recurrence")->children[1].ChildText("NumberOfOccurrences"), "1");
  EXPECT_EQ(finish().ChildText("Status"), "Completed");
}

TEST_F(SimulatorPeople, OneOccurrenceOfATaskIsLeftOut) {
  const Element id = Task(
      "<t:Subject>Wind</t:Subject><t:DueDate>2026-02-02T00:00:00Z</t:DueDate><t:Recurrence><t:DailyRecurrence>"
      "<t:Interval>1</t:Interval></t:DailyRecurrence><t:EndDateRecurrence><t:StartDate>2026-02-02</t:StartDate>"
      "<t:EndDate>2026-02-03</t:EndDate></t:EndDateRecurrence></t:Recurrence>");
  const auto remove = [&](const std::string& which) {
    return client
        .Call("<m:DeleteItem DeleteType=\"HardDelete\" AffectedTaskOccurrences=\"" + which + "\"><m:ItemIds>" +
              "<t:ItemId Id=\"" + id.AttributeText("Id") + "\"/></m:ItemIds></m:DeleteItem>")
        .Code();
  };
  EXPECT_EQ(remove("SpecifiedOccurrenceOnly"), "NoError");
  EXPECT_EQ(Item(id).ChildText("DueDate"), "2026-02-03T00:00:00Z");
  EXPECT_EQ(remove("SpecifiedOccurrenceOnly"), "ErrorCannotDeleteTaskOccurrence");
  EXPECT_EQ(remove("AllOccurrences"), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "tasks"), 0u);
}

TEST_F(SimulatorPeople, OldServersKnowNoMembersOfLists) {
  Options options = TestOptions();
  options.version = "Exchange2007_SP1";
  options.accept_departures = false;
  Started old(options);
  Client alice(old);
  alice.version = "Exchange2007_SP1";
  const auto create = [&](const std::string& members) {
    return alice.Call(
        CreateItemXml("<t:DistributionList><t:DisplayName>L</t:DisplayName>" + members + "</t:DistributionList>"));
  };
  EXPECT_EQ(create("<t:Members>" + OneOff("a@x.test") + "</t:Members>").Code(), "ErrorSchemaValidation");
  EXPECT_EQ(create({}).Code(), "NoError");
}

// ---- Tables

TEST_F(SimulatorPeople, FieldsOfTheKindsAreFoundAndSorted) {
  for (const char* row : {"Ash 1", "Elm 30", "Box 4"}) {
    const std::string text = row;
    Task("<t:Subject>" + text.substr(0, 3) + "</t:Subject><t:PercentComplete>" + text.substr(4) +
         "</t:PercentComplete>");
    Contact("<t:CompanyName>" + text.substr(0, 3) + "</t:CompanyName>");
  }
  const auto find = [&](const std::string& folder, const std::string& column, const std::string& sorted,
                        const std::string& operation, const std::string& value) {
    const Reply reply = client.Call(FindItemXml(
        folder, "<t:FieldURI FieldURI=\"" + column + "\"/>", 50, 0,
        "<m:Restriction><t:" + operation + "><t:FieldURI FieldURI=\"" + sorted +
            "\"/><t:FieldURIOrConstant><t:Constant Value=\"" + value + "\"/></t:FieldURIOrConstant></t:" + operation +
            "></m:Restriction><m:SortOrder><t:FieldOrder Order=\"Descending\"><t:FieldURI FieldURI=\"" + sorted +
            "\"/></t:FieldOrder></m:SortOrder>"));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    std::string all;
    for (const Element* cell : reply.All(column.substr(column.find(':') + 1))) all += cell->text + " ";
    return all;
  };
  EXPECT_EQ(find("tasks", "item:Subject", "task:PercentComplete", "IsGreaterThan", "3"), "Elm Box ");
  EXPECT_EQ(find("contacts", "contacts:CompanyName", "contacts:CompanyName", "IsLessThan", "Cab"), "Box Ash ");
}

}  // namespace
}  // namespace velmore::simulator::testing
