// Requests against the published schema. The folder that holds it comes from VELMORE_EWS_SCHEMA.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

constexpr const char* kMessages = "http://schemas.microsoft.com/exchange/services/2006/messages";
constexpr const char* kTypes = "http://schemas.microsoft.com/exchange/services/2006/types";

class SimulatorValidation : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* directory = std::getenv("VELMORE_EWS_SCHEMA");
    if (directory == nullptr || *directory == '\0')
      GTEST_SKIP() << "VELMORE_EWS_SCHEMA names no folder with messages.xsd and types.xsd: requests are not validated";
    options.schema_directory = directory;
    server = std::make_unique<Started>(options);
    client = std::make_unique<Client>(*server);
  }
  std::string Refusal(const std::string& operation) {
    const Reply reply = client->Call(operation);
    EXPECT_EQ(reply.status, 500) << reply.body;
    EXPECT_EQ(reply.Code(), "ErrorSchemaValidation") << reply.body;
    return reply.Find("Violation").text;
  }
  Options options = TestOptions();
  std::unique_ptr<Started> server;
  std::unique_ptr<Client> client;
};

TEST_F(SimulatorValidation, ValidRequestsOfEveryKindPass) {
  const Id id = server->AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  const std::string item = "<t:ItemId Id=\"" + id.id + "\" ChangeKey=\"" + id.change_key + "\"/>";
  for (const std::string& operation :
       {GetFolderXml(Distinguished("inbox")), FindItemXml("inbox", "<t:FieldURI FieldURI=\"item:Subject\"/>"),
        GetItemXml(item), CreateItemXml(MessageXml("s", "bob@example.com")),
        std::string("<m:GetServerTimeZones ReturnFullTimeZoneData=\"false\"/>"),
        std::string("<m:ResolveNames "
                    "ReturnFullContactData=\"true\"><m:UnresolvedEntry>bob</m:UnresolvedEntry></m:ResolveNames>"),
        "<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds>" + item + "</m:ItemIds></m:DeleteItem>"}) {
    const Reply reply = client->Call(operation);
    EXPECT_EQ(reply.status, 200) << operation << reply.body;
    EXPECT_EQ(reply.Code(), "NoError") << operation << reply.body;
  }
  EXPECT_TRUE(server->GetCounters().departures.empty());
  EXPECT_EQ(server->GetCounters().refused, 0u);
}

TEST_F(SimulatorValidation, ElementOutOfPlaceIsRefusedWithLinePositionAndViolation) {
  const Reply reply = client->Call("<m:GetItem>\n  <m:ItemIds><t:ItemId Id=\"x\"/></m:ItemIds></m:GetItem>");
  EXPECT_EQ(reply.status, 500);
  const Element& fault = *reply.Find("Body").Child("Fault");
  const std::string violation = std::string("The element 'GetItem' in namespace '") + kMessages +
                                "' has invalid child element 'ItemIds' in namespace '" + kMessages +
                                "'. List of possible elements expected: 'ItemShape' in namespace '" + kMessages + "'.";
  EXPECT_EQ(fault.ChildText("faultcode"), "a:ErrorSchemaValidation");
  EXPECT_EQ(fault.ChildText("faultstring"), "The request failed schema validation: " + violation);
  const Element& detail = *fault.Child("detail");
  EXPECT_EQ(detail.ChildText("ResponseCode"), "ErrorSchemaValidation");
  EXPECT_EQ(detail.ChildText("Message"), "The request failed schema validation.");
  EXPECT_EQ(detail.Child("MessageXml")->ChildText("LineNumber"), "3");
  EXPECT_EQ(detail.Child("MessageXml")->ChildText("LinePosition"), "4");
  EXPECT_EQ(detail.Child("MessageXml")->ChildText("Violation"), violation);
  EXPECT_EQ(server->GetCounters().refused, 1u);
}

TEST_F(SimulatorValidation, ViolationsAreWordedAsServersWordThem) {
  EXPECT_EQ(Refusal("<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape></m:GetFolder>"),
            std::string("The element 'GetFolder' in namespace '") + kMessages +
                "' has incomplete content. List of possible elements expected: 'FolderIds' in namespace '" + kMessages +
                "'.");
  EXPECT_EQ(
      Refusal("<m:FindItem Traversal=\"Sideways\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape>"
              "<m:ParentFolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:ParentFolderIds></m:FindItem>"),
      "The 'Traversal' attribute is invalid - The value 'Sideways' is invalid - The Enumeration constraint failed.");
  EXPECT_EQ(Refusal("<m:FindItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:ParentFolderIds>"
                    "<t:DistinguishedFolderId Id=\"inbox\"/></m:ParentFolderIds></m:FindItem>"),
            "The required attribute 'Traversal' is missing.");
  EXPECT_EQ(Refusal("<m:GetServerTimeZones Colour=\"red\"/>"), "The 'Colour' attribute is not declared.");
  EXPECT_EQ(Refusal("<m:MakeCoffee/>"),
            std::string("Could not find schema information for the element '") + kMessages + ":MakeCoffee'.");
  EXPECT_NE(Refusal(CreateItemXml("<t:Message><t:IsRead>maybe</t:IsRead></t:Message>"))
                .find("element is invalid - The value 'maybe' is invalid according to its datatype"),
            std::string::npos);
  EXPECT_NE(Refusal("<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape><m:FolderIds>"
                    "<t:DistinguishedFolderId Id=\"nowhere\"/></m:FolderIds></m:GetFolder>")
                .find("The 'Id' attribute is invalid - The value 'nowhere'"),
            std::string::npos);
}

TEST_F(SimulatorValidation, DeparturesAreCountedAndRefused) {
  const Id id = server->AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  Refusal(GetItemXml("<t:ItemId Id=\"" + id.id + "\"/><t:ChangeKey Id=\"" + id.change_key + "\"/>"));
  Refusal(FindItemXml("contacts", "<t:FieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"MobilePhone\"/>"));
  Refusal(CreateItemXml("<t:Message><t:IsRead>true</t:IsRead><t:Subject>late</t:Subject></t:Message>"));
  Refusal("<m:SendItem SaveItemToFolder=\"true\"><m:ItemIds><t:ItemId Id=\"" + id.id + "\" ChangeKey=\"" +
          id.change_key + "\"/></m:ItemIds><SavedItemFolderId>" + Distinguished("sentitems") +
          "</SavedItemFolderId></m:SendItem>");
  Refusal(
      "<m:UpdateItem ConflictResolution=\"AutoResolve\" MessageDisposition=\"SaveOnly\"><m:ItemChanges><t:ItemChange>"
      "<t:ItemId Id=\"" +
      id.id + "\"/><t:Updates/></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  const Counters counters = server->GetCounters();
  for (const char* name :
       {"ChangeKeyElement", "IndexedFieldAsFieldURI", "AppendedMember", "SavedItemFolderIdPrefix", "EmptyUpdates"})
    EXPECT_EQ(counters.departures.count(name), 1u) << name;
  EXPECT_EQ(counters.refused, 5u);
  EXPECT_EQ(server->CountItems("alice@example.com", "drafts"), 0u);
}

TEST_F(SimulatorValidation, WhatIsNewerThanTheVersionPlayedIsStillRefused) {
  options.version = "Exchange2007_SP1";
  Started old(options);
  Client caller(old);
  caller.version = "Exchange2007_SP1";
  EXPECT_EQ(caller.Call("<m:GetServerTimeZones/>").Code(), "ErrorSchemaValidation");
  EXPECT_EQ(caller.Call(GetFolderXml(Distinguished("inbox"))).Code(), "NoError");
}

TEST_F(SimulatorValidation, PlaceIsThatOfTheNameEvenWhenItsTagGoesOverLines) {
  const Reply reply = client->Call("<m:GetFolder>\n<m:FolderIds\n\n>\n</m:FolderIds></m:GetFolder>");
  EXPECT_EQ(reply.Find("LineNumber").text, "3");
  EXPECT_EQ(reply.Find("LinePosition").text, "2");
}

TEST_F(SimulatorValidation, HeadersAreValidatedToo) {
  client->version = "";
  client->soap_headers = "<t:RequestServerVersion Version=\"Exchange2016\" Colour=\"red\"/>";
  EXPECT_EQ(Refusal(GetFolderXml(Distinguished("inbox"))), "The 'Colour' attribute is not declared.");
}

TEST_F(SimulatorValidation, TheTwoFilesOfAServerAreEnough) {
  const Folder folder;
  for (const char* name : {"messages.xsd", "types.xsd"}) {
    std::string text = ReadFile(options.schema_directory + "/" + name);
    // Servers do not tell where the schema of the XML namespace is.
    const std::string place = " schemaLocation=\"xml.xsd\"";
    if (const std::size_t at = text.find(place); at != std::string::npos) text.erase(at, place.size());
    folder.Write(name, text);
  }
  options.schema_directory = folder.Path();
  Started small(options);
  EXPECT_EQ(Client(small).Call(GetFolderXml(Distinguished("inbox"))).Code(), "NoError");
  EXPECT_EQ(Client(small).Call("<m:GetFolder/>").Code(), "ErrorSchemaValidation");
}

TEST_F(SimulatorValidation, LargeRequestsAreValidatedToo) {
  const Reply reply = client->Call(CreateItemXml("<t:Message><t:MimeContent>" +
                                                 EncodeBase64("Subject: long\r\n\r\n" + std::string(12u << 20, 'x')) +
                                                 "</t:MimeContent></t:Message>"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body.substr(0, 2000);
}

TEST(SimulatorValidationOption, FolderWithoutASchemaIsRefused) {
  const Folder folder;
  Options options = TestOptions();
  options.schema_directory = folder.Path();
  try {
    const Simulator server(options);
    FAIL() << "no exception";
  } catch (const OptionError& error) {
    EXPECT_EQ(std::string(error.what()), "The schema folder " + folder.Path() + " has no file messages.xsd.");
  }
  folder.Write("messages.xsd", "no schema");
  folder.Write("types.xsd", "no schema");
  try {
    const Simulator server(options);
    FAIL() << "no exception";
  } catch (const OptionError& error) {
    EXPECT_TRUE(std::string(error.what()).starts_with("The schema in " + folder.Path() + " cannot be used: "))
        << error.what();
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
