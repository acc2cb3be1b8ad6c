// The code of the page on typed records, run; see GuideTest.cpp.

#include <gtest/gtest.h>

#include <iostream>

#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

TEST(GuideRecords, Reading) {
  const string text =
      "<s:Envelope><s:Body><m:GetItemResponse><m:ResponseMessages><m:GetItemResponseMessage><m:Items><t:Message>"
      "<t:Subject>Breakfast</t:Subject><t:Importance>High</t:Importance><t:ToRecipients><t:Mailbox><t:Name>Ann</t:Name>"
      "<t:EmailAddress>ann@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients>"
      "<t:DateTimeSent>2026-03-02T10:00:00Z</t:DateTimeSent></t:Message></m:Items>"
      "</m:GetItemResponseMessage></m:ResponseMessages></m:GetItemResponse></s:Body></s:Envelope>";
  IVqDOMDocument reply = VqCreateDOM(text);
  TEwsMessage message(
      reply.SelectSingleElement("/Envelope/Body/GetItemResponse/ResponseMessages"
                                "/GetItemResponseMessage/Items/Message",
                                kSelectRequired));

  string subject = message.GetSubject();
  TDateTime sent = message.GetDateTimeSent();
  bool urgent = message.GetImportance() == icHigh;
  for (TEwsEmailAddressType& to : message.GetToRecipients().GetMailbox()) {
    std::cout << to.GetName() << " <" << to.GetEmailAddress() << ">\n";
  }
  EXPECT_EQ(subject, "Breakfast");
  EXPECT_GT(sent, 46000.0);
  EXPECT_TRUE(urgent);
}

TEST(GuideRecords, Writing) {
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
  message.SetValue<TEwsBody>(message.FindSchemaInfo("t:Body")->GetIndex(), draft.GetBody());
  EXPECT_EQ(message.GetBody().GetBodyType(), btHTML);

  TEwsMessage other(VqCreateDOM("<t:Message/>").GetDocumentElement());
  string json = message.Serialize(dsfJSON);
  other.Deserialize(dsfJSON, json);
  EXPECT_EQ(other.GetSubject(), "Breakfast");
}

TEST(GuideRecords, Enumerations) {
  TEwsWeeklyRecurrencePattern pattern(VqCreateDOM("<t:WeeklyRecurrence/>").GetDocumentElement());
  const string text = "Complete";
  string wire = VqEnumToText(fsFlagged);
  TFlagStatus known = VqTextToEnum<TFlagStatus>("Complete");
  TFlagStatus status;
  if (!VqTryTextToEnum(text, status)) std::cout << "a newer server\n";
  pattern.SetDaysOfWeek({dowMonday, dowFriday});
  EXPECT_EQ(wire, "Flagged");
  EXPECT_EQ(known, fsComplete);
  EXPECT_EQ(status, fsComplete);
  EXPECT_EQ(pattern.FindNode("t:DaysOfWeek").GetText(), "Monday Friday");
}

TEST(GuideRecords, ChoicesAndDictionaries) {
  const IVqDOMElement element =
      VqCreateDOM(
          "<t:Recurrence><t:WeeklyRecurrence><t:DaysOfWeek>Monday</t:DaysOfWeek></t:WeeklyRecurrence></t:Recurrence>")
          .GetDocumentElement();
  TDaysOfWeek days;
  TEwsRecurrence recurrence(element);
  if (recurrence.GetRecurrenceType() == rWeeklyRecurrence) days = recurrence.GetWeeklyRecurrence().GetDaysOfWeek();
  EXPECT_EQ(days, TDaysOfWeek{dowMonday});

  TEwsContactItem contact(VqCreateDOM("<t:Contact/>").GetDocumentElement());
  contact.GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("ann@example.com");
  contact.GetPhysicalAddresses().GetEntry(pakHome).SetCity("Bern");
  EXPECT_EQ(contact.GetPhysicalAddresses().GetEntry(pakHome).GetCity(), "Bern");
}

TEST(GuideRecords, ClassesAtRunTime) {
  const IVqDOMElement element = VqCreateDOM("<t:Message/>").GetDocumentElement();
  if (const TVqXMLSchemaClass* schema = EwsFindItemClass(element.GetLocalName())) {
    std::unique_ptr<TVqXMLSchemaElement> record = schema->CreateRecord(element);
    std::cout << record->ClassName() << '\n';
    for (std::int32_t i = 0; i < schema->GetMemberCount(); ++i) std::cout << schema->GetMember(i).Name << '\n';
  } else {
    FAIL();
  }
}

}  // namespace
