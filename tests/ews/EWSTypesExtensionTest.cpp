// Records that an application adds to those of the schema.

#include <gtest/gtest.h>

#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

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

TEST(EWSTypesExtension, RecordsOfYourOwn) {
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

TEST(EWSTypesExtension, SchemaClassesCanBeExtended) {
  TStampedMessage message(VqCreateDOM("<t:Message/>").GetDocumentElement());
  message.SetStringValue(1000, "s");
  message.SetSubject("x");
  EXPECT_EQ(message.GetXML(), "<t:Message><t:Subject>x</t:Subject><x:Stamp>s</x:Stamp></t:Message>");
  EXPECT_EQ(message.ClassName(), "TEwsMessage");
  EXPECT_TRUE(message.FindSchemaInfo("x:Stamp"));
}

}  // namespace
