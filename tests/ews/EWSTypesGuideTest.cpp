// What the guide on typed records shows, run.

#include <gtest/gtest.h>

#include "ews/uVqEWSTypes.h"

using namespace velmore;

namespace {

TEST(EWSTypesGuide, Reading) {
  IVqDOMDocument reply = VqCreateDOM(
      "<s:Envelope><s:Body><m:GetItemResponse><m:ResponseMessages><m:GetItemResponseMessage><m:Items><t:Message>"
      "<t:Subject>Breakfast</t:Subject><t:Importance>High</t:Importance><t:ToRecipients><t:Mailbox><t:Name>Ann</t:Name>"
      "<t:EmailAddress>ann@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message></m:Items>"
      "</m:GetItemResponseMessage></m:ResponseMessages></m:GetItemResponse></s:Body></s:Envelope>");
  TEwsMessage message(reply.SelectSingleElement(
      "/Envelope/Body/GetItemResponse/ResponseMessages/GetItemResponseMessage/Items/Message", kSelectRequired));
  EXPECT_EQ(message.GetSubject(), "Breakfast");
  EXPECT_EQ(message.GetImportance(), icHigh);
  string all;
  for (TEwsEmailAddressType& to : message.GetToRecipients().GetMailbox()) all += to.GetName() + to.GetEmailAddress();
  EXPECT_EQ(all, "Annann@example.com");
  EXPECT_FALSE(message.FindNode("t:Sensitivity"));
}

TEST(EWSTypesGuide, Writing) {
  IVqDOMDocument request = VqCreateDOM("<m:CreateItem><m:Items><t:Message/></m:Items></m:CreateItem>");
  TEwsMessage message(request.SelectSingleElement("//Message", kSelectRequired));
  message.GetToRecipients().GetMailbox().Add().SetEmailAddress("ann@example.com");
  message.SetImportance(icHigh);
  message.GetBody().SetBodyType(btText);
  message.GetBody().SetValue("See you at ten.");
  message.SetSubject("Breakfast");
  EXPECT_EQ(message.GetXML(),
            "<t:Message><t:Subject>Breakfast</t:Subject><t:Body BodyType=\"Text\">See you at ten.</t:Body>"
            "<t:Importance>High</t:Importance><t:ToRecipients><t:Mailbox><t:EmailAddress>ann@example.com"
            "</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>");
  TEwsMessage draft(VqCreateDOM("<t:Message><t:Body BodyType=\"HTML\">x</t:Body></t:Message>").GetDocumentElement());
  draft.GetBody().AssignTo(message.GetBody());
  EXPECT_EQ(message.GetBody().GetBodyType(), btHTML);
  message.SetValue<TEwsBody>(message.FindSchemaInfo("t:Body")->GetIndex(), draft.GetBody());
  message.RemoveNode("t:Importance");
  EXPECT_FALSE(message.FindNode("t:Importance"));
}

TEST(EWSTypesGuide, ClassesAtRunTime) {
  const IVqDOMElement element = VqCreateDOM("<t:Message/>").GetDocumentElement();
  const TVqXMLSchemaClass* schema = EwsFindItemClass(element.GetLocalName());
  ASSERT_TRUE(schema);
  std::unique_ptr<TVqXMLSchemaElement> record = schema->CreateRecord(element);
  EXPECT_EQ(record->ClassName(), "TEwsMessage");
}

class TInvoice : public TVqXMLSchemaElement {
 public:
  using TVqXMLSchemaElement::TVqXMLSchemaElement;
  string GetNumber() const { return GetStringValue(0); }
  void SetNumber(const string& AValue) { SetStringValue(0, AValue); }

 protected:
  void AfterConstruction() override {
    TVqXMLSchemaElement::AfterConstruction();
    AddSchemaInfo(0, TVqDOMNodeType::ntElement, "i:Number", 1, 1, false, -1);
  }
};

TEST(EWSTypesGuide, RecordsOfYourOwn) {
  TInvoice invoice(VqCreateDOM("<i:Invoice/>").GetDocumentElement());
  invoice.SetNumber("4711");
  EXPECT_EQ(invoice.GetXML(), "<i:Invoice><i:Number>4711</i:Number></i:Invoice>");
  EXPECT_EQ(invoice.GetNumber(), "4711");
}

// A class with the members of a schema class and more of its own.
class TStampedMessage : public TEwsMessage {
 public:
  using TEwsMessage::TEwsMessage;

 protected:
  void AfterConstruction() override {
    TEwsMessage::AfterConstruction();
    AddSchemaInfo(1000, TVqDOMNodeType::ntElement, "x:Stamp", 0, 1, false, -1);
  }
};

TEST(EWSTypesGuide, SchemaClassesCanBeExtended) {
  TStampedMessage message(VqCreateDOM("<t:Message/>").GetDocumentElement());
  message.SetStringValue(1000, "s");
  message.SetSubject("x");
  EXPECT_EQ(message.GetXML(), "<t:Message><t:Subject>x</t:Subject><x:Stamp>s</x:Stamp></t:Message>");
  EXPECT_EQ(message.ClassName(), "TEwsMessage");
  EXPECT_TRUE(message.FindSchemaInfo("x:Stamp"));
}

}  // namespace
