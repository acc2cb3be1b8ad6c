#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorSchema : public ::testing::Test {
 protected:
  static Options Strict() {
    Options options = TestOptions();
    options.accept_departures = false;
    return options;
  }
  Started server;
  Client client{server};
};

const std::string kShape = "<m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape>";

TEST_F(SimulatorSchema, ElementOutOfItsPlaceIsRefusedAsExchangeRefusesIt) {
  const Reply reply = client.Call("<m:GetItem><m:ItemIds><t:ItemId Id=\"x\"/></m:ItemIds>" + kShape + "</m:GetItem>");
  EXPECT_EQ(reply.status, 500);
  const Element& fault = *reply.Find("Body").Child("Fault");
  EXPECT_EQ(fault.space, Space::kSoap);
  EXPECT_EQ(fault.ChildText("faultcode"), "a:ErrorSchemaValidation");
  const std::string violation =
      "The element 'GetItem' in namespace 'http://schemas.microsoft.com/exchange/services/2006/messages' has invalid "
      "child element 'ItemIds' in namespace "
      "'http://schemas.microsoft.com/exchange/services/2006/messages'. List of possible elements expected: 'ItemShape' "
      "in namespace "
      "'http://schemas.microsoft.com/exchange/services/2006/messages'.";
  EXPECT_EQ(fault.ChildText("faultstring"), "The request failed schema validation: " + violation);
  const Element& detail = *fault.Child("detail");
  EXPECT_EQ(detail.Child("ResponseCode")->space, Space::kErrors);
  EXPECT_EQ(detail.ChildText("ResponseCode"), "ErrorSchemaValidation");
  EXPECT_EQ(detail.ChildText("Message"), "The request failed schema validation.");
  const Element& xml = *detail.Child("MessageXml");
  EXPECT_EQ(xml.space, Space::kTypes);
  EXPECT_EQ(xml.ChildText("LineNumber"), "2");
  EXPECT_GT(std::stoi(xml.ChildText("LinePosition")), 100);
  EXPECT_EQ(xml.ChildText("Violation"), violation);
  EXPECT_EQ(server.GetCounters().refused, 1u);
}

struct BadRequest {
  const char* name;
  const char* body;
  const char* violation;
};

class SimulatorBadRequest : public SimulatorSchema, public ::testing::WithParamInterface<BadRequest> {};

TEST_P(SimulatorBadRequest, IsRefusedWithWhatIsWrong) {
  const Reply reply = client.Call(GetParam().body);
  EXPECT_EQ(reply.status, 500) << reply.body;
  EXPECT_EQ(reply.Code(), "ErrorSchemaValidation");
  EXPECT_NE(reply.Find("Violation").text.find(GetParam().violation), std::string::npos) << reply.Find("Violation").text;
}

INSTANTIATE_TEST_SUITE_P(
    Requests, SimulatorBadRequest,
    ::testing::Values(
        BadRequest{
            "MissingAttribute",
            "<m:FindItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></"
            "m:ItemShape><m:ParentFolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:ParentFolderIds></m:FindItem>",
            "The required attribute 'Traversal' is missing."},
        BadRequest{"UnknownAttribute",
                   "<m:GetFolder "
                   "Deep=\"true\"><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></"
                   "m:FolderShape><m:FolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds></m:GetFolder>",
                   "The 'Deep' attribute is not declared."},
        BadRequest{"AttributeText",
                   "<m:FindFolder "
                   "Traversal=\"Sideways\"><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></"
                   "m:FolderShape><m:ParentFolderIds><t:DistinguishedFolderId "
                   "Id=\"inbox\"/></m:ParentFolderIds></m:FindFolder>",
                   "The 'Traversal' attribute is invalid - The value 'Sideways' is invalid"},
        BadRequest{"ElementText",
                   "<m:GetFolder><m:FolderShape><t:BaseShape>Everything</t:BaseShape></"
                   "m:FolderShape><m:FolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds></m:GetFolder>",
                   "The value 'Everything' is invalid"},
        BadRequest{"WrongNamespace",
                   "<m:GetFolder><t:FolderShape><t:BaseShape>IdOnly</t:BaseShape></"
                   "t:FolderShape><m:FolderIds><t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds></m:GetFolder>",
                   "has invalid child element 'FolderShape' in namespace "
                   "'http://schemas.microsoft.com/exchange/services/2006/types'"},
        BadRequest{"MissingChild",
                   "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape></m:GetFolder>",
                   "has incomplete content. List of possible elements expected: 'FolderIds'"},
        BadRequest{
            "EmptyList",
            "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape><m:FolderIds/></m:GetFolder>",
            "'FolderIds' in namespace 'http://schemas.microsoft.com/exchange/services/2006/messages' has incomplete "
            "content"},
        BadRequest{"TwiceTheSame",
                   "<m:CreateItem "
                   "MessageDisposition=\"SaveOnly\"><m:Items><t:Message><t:Subject>a</t:Subject><t:Subject>b</"
                   "t:Subject></t:Message></m:Items></m:CreateItem>",
                   "has invalid child element 'Subject'"},
        BadRequest{"UnknownChild",
                   "<m:CreateItem "
                   "MessageDisposition=\"SaveOnly\"><m:Items><t:Message><t:Colour>red</t:Colour></t:Message></"
                   "m:Items></m:CreateItem>",
                   "has invalid child element 'Colour'"},
        BadRequest{"OrderInsideARecipient",
                   "<m:CreateItem "
                   "MessageDisposition=\"SaveOnly\"><m:Items><t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>a@"
                   "example.com</t:EmailAddress><t:Name>A</t:Name></t:Mailbox></t:ToRecipients></t:Message></m:Items></"
                   "m:CreateItem>",
                   "has invalid child element 'Name'"},
        BadRequest{"Boolean",
                   "<m:CreateItem "
                   "MessageDisposition=\"SaveOnly\"><m:Items><t:Message><t:IsRead>maybe</t:IsRead></t:Message></"
                   "m:Items></m:CreateItem>",
                   "is not a valid boolean value"},
        BadRequest{"Date",
                   "<m:CreateItem><m:Items><t:Task><t:DueDate>tomorrow</t:DueDate></t:Task></m:Items></m:CreateItem>",
                   "is not a valid dateTime value"},
        BadRequest{"UnknownOperation", "<m:MakeCoffee/>",
                   "Could not find schema information for the element "
                   "'http://schemas.microsoft.com/exchange/services/2006/messages:MakeCoffee'"},
        BadRequest{"UnknownField",
                   "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
                   "FieldURI=\"item:Colour\"/></t:AdditionalProperties></m:ItemShape><m:ItemIds><t:ItemId "
                   "Id=\"x\"/></m:ItemIds></m:GetItem>",
                   "The value 'item:Colour' is invalid"}),
    [](const auto& info) { return info.param.name; });

TEST_F(SimulatorSchema, WhatIsNoXmlOrNoEnvelopeIsRefused) {
  for (const char* body : {"", "no xml", "<a><b></a>", "<a/>", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>",
                           "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"/>"}) {
    const Reply reply = client.Post(body);
    EXPECT_EQ(reply.status, 500) << body;
    EXPECT_EQ(reply.Code(), "ErrorSchemaValidation") << body;
  }
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("inbox"))).Code(), "NoError");
}

TEST_F(SimulatorSchema, ValueThatBreaksTheMarkupIsMalformed) {
  const Reply reply = client.Call(FindItemXml(
      "inbox", {}, 5, 0,
      "<m:Restriction><t:IsEqualTo><t:FieldURI FieldURI=\"item:Subject\"/><t:FieldURIOrConstant><t:Constant Value=\"a "
      "& b\"/></t:FieldURIOrConstant></t:IsEqualTo></m:Restriction>"));
  EXPECT_EQ(reply.Code(), "ErrorSchemaValidation");
}

TEST_F(SimulatorSchema, DeepNestingIsRefusedBeforeItHurts) {
  std::string body;
  for (int i = 0; i < 100000; ++i) body += "<a>";
  EXPECT_EQ(client.Post(body).status, 500);
}

// Departures that are meant

TEST_F(SimulatorSchema, ChangeKeyBesideAnIdIsAcceptedAndCounted) {
  const Id id = server.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  const std::string ids = "<t:ItemId Id=\"" + id.id + "\"/><t:ChangeKey Id=\"" + id.change_key + "\"/>";
  EXPECT_EQ(client.Call(GetItemXml(ids)).Code(), "NoError");
  const Element folder = client.Call(GetFolderXml(Distinguished("inbox"))).Find("FolderId");
  const Reply reply = client.Call(GetFolderXml("<t:FolderId Id=\"" + folder.AttributeText("Id") +
                                               "\"/><t:ChangeKey Id=\"" + folder.AttributeText("ChangeKey") + "\"/>"));
  EXPECT_EQ(reply.All("ResponseCode").size(), 1u);
  EXPECT_EQ(server.GetCounters().departures.at("ChangeKeyElement"), 2u);
}

TEST_F(SimulatorSchema, IndexedFieldMayBeNamedByFieldURI) {
  server.AddItem("alice@example.com", "contacts",
                 "<t:Contact><t:GivenName>Eve</t:GivenName><t:PhoneNumbers><t:Entry "
                 "Key=\"HomePhone\">1</t:Entry><t:Entry Key=\"MobilePhone\">2</t:Entry></t:PhoneNumbers></t:Contact>");
  const Reply reply = client.Call(
      FindItemXml("contacts", "<t:FieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"MobilePhone\"/>"));
  ASSERT_EQ(reply.All("Entry").size(), 1u);
  EXPECT_EQ(reply.Find("Entry").text, "2");
  EXPECT_EQ(server.GetCounters().departures.at("IndexedFieldAsFieldURI"), 1u);
}

TEST_F(SimulatorSchema, MembersAppendedAtTheEndAreAcceptedAndPutInPlace) {
  const Reply reply = client.Call(
      CreateItemXml("<t:Message><t:Body "
                    "BodyType=\"Text\">b</t:Body><t:Importance>High</"
                    "t:Importance><t:ExtendedProperty><t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" "
                    "PropertyName=\"a\" "
                    "PropertyType=\"String\"/><t:Value>1</t:Value></t:ExtendedProperty><t:IsRead>true</"
                    "t:IsRead><t:Subject>late</t:Subject></t:Message>"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(client.Call(GetItemXml(reply.Find("ItemId").AttributeText("Id"))).Find("Subject").text, "late");
  EXPECT_EQ(server.GetCounters().departures.at("AppendedMember"), 1u);
}

TEST_F(SimulatorSchema, SeveralMembersMayBeAppendedInAnyOrder) {
  const Reply reply = client.Call(
      CreateItemXml("<t:Message><t:Importance>High</t:Importance><t:Subject>a</t:Subject><t:IsRead>true</t:IsRead>"
                    "<t:Culture>en</t:Culture></t:Message>"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.GetCounters().departures.at("AppendedMember"), 3u);
}

TEST_F(SimulatorSchema, ItemIdOfAMailboxMayHaveChildElements) {
  const Id contact =
      server.AddItem("alice@example.com", "contacts", "<t:Contact><t:GivenName>Eve</t:GivenName></t:Contact>");
  const Reply reply = client.Call(CreateItemXml(
      "<t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>eve@example.org</t:EmailAddress><t:ItemId><t:Id>" +
      contact.id + "</t:Id><t:ChangeKey>" + contact.change_key +
      "</t:ChangeKey></t:ItemId></t:Mailbox></t:ToRecipients></t:Message>"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.GetCounters().departures.at("MailboxItemIdChildren"), 1u);
}

TEST_F(SimulatorSchema, FolderToSaveToMayLackItsPrefix) {
  const Id draft = server.AddItem("alice@example.com", "drafts", MessageXml("x", "bob@example.com"));
  for (const char* tag : {"SavedItemFolderId", "t:SavedItemFolderId"}) {
    const Id id = server.AddItem("alice@example.com", "drafts", MessageXml("x", "bob@example.com"));
    const Reply reply = client.Call("<m:SendItem SaveItemToFolder=\"true\"><m:ItemIds><t:ItemId Id=\"" + id.id +
                                    "\" ChangeKey=\"" + id.change_key + "\"/></m:ItemIds><" + tag + ">" +
                                    Distinguished("sentitems") + "</" + tag + "></m:SendItem>");
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  }
  EXPECT_EQ(server.GetCounters().departures.at("SavedItemFolderIdPrefix"), 2u);
}

TEST_F(SimulatorSchema, StrictServerRefusesEveryDeparture) {
  Simulator strict(Strict());
  strict.Start();
  Client c(strict);
  const Id id = strict.AddMessage("alice@example.com", "inbox", "Subject: x\r\n\r\n");
  EXPECT_EQ(c.Call(GetItemXml("<t:ItemId Id=\"" + id.id + "\" ChangeKey=\"" + id.change_key + "\"/>")).Code(),
            "NoError");
  EXPECT_EQ(c.Call(GetItemXml("<t:ItemId Id=\"" + id.id + "\"/><t:ChangeKey Id=\"" + id.change_key + "\"/>")).Code(),
            "ErrorSchemaValidation");
  EXPECT_EQ(
      c.Call(FindItemXml("contacts", "<t:FieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"MobilePhone\"/>"))
          .Code(),
      "ErrorSchemaValidation");
  EXPECT_EQ(c.Call(CreateItemXml("<t:Message><t:IsRead>true</t:IsRead><t:Subject>late</t:Subject></t:Message>")).Code(),
            "ErrorSchemaValidation");
  EXPECT_EQ(c.Call("<m:SendItem SaveItemToFolder=\"true\"><m:ItemIds><t:ItemId Id=\"" + id.id + "\" ChangeKey=\"" +
                   id.change_key + "\"/></m:ItemIds><SavedItemFolderId>" + Distinguished("sentitems") +
                   "</SavedItemFolderId></m:SendItem>")
                .Code(),
            "ErrorSchemaValidation");
  EXPECT_TRUE(strict.GetCounters().departures.empty());
}

}  // namespace
}  // namespace velmore::simulator::testing
