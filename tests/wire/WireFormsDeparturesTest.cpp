// Each departure from the published schema: by default to the letter, and what StrictSchema makes of it.

#include <cstdlib>

#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/values/uVqEWSFields.h"
#include "tests/wire/SaveTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {
namespace {

class Departure : public SaveTest {
 protected:
  /// Each form for itself.
  explicit Departure(const std::string& version = "Exchange2016") : SaveTest(version) {
    Session().SetSchemaFallback(false);
  }

  void Strict(bool strict = true) { Session().SetStrictSchema(strict); }
  /// What the form says about the last request, whatever became of it.
  static std::string ProblemsOf(const std::string& envelope) {
    return HasPublishedSchema() ? SchemaProblemsOf(envelope) : std::string();
  }
  /// The operation's last request behind `action`, which may be refused; with StrictSchema it must be valid.
  template <typename TAction>
  std::string Made(const std::string& operation, TAction action) {
    try {
      action();
    } catch (const EVqException&) {
    }
    const std::string envelope = LastExchange(operation).request_body;
    if (Session().GetStrictSchema()) {
      EXPECT_EQ(ProblemsOf(envelope), "") << envelope;
    } else if (HasPublishedSchema()) {
      EXPECT_NE(ProblemsOf(envelope), "") << envelope;
    }
    return BodyOf(envelope);
  }
  template <typename TAction>
  std::string Inside(const std::string& operation, const std::string& path, TAction action) {
    Made(operation, action);
    return Part(operation, path);
  }
};

TEST_F(Departure, ChangeKeyOfAnItemIsAnElementOrAnAttribute) {
  const TItemId id = AddMessage("S");
  const auto load = [&] { return Inside("GetItem", "ItemIds", [&] { Store().GetItem(id); }); };
  EXPECT_EQ(load(), "<m:ItemIds>" + LoadId("ItemId", id) + "</m:ItemIds>");
  Strict();
  EXPECT_EQ(load(), "<m:ItemIds>" + IdElement("ItemId", id) + "</m:ItemIds>");
}

TEST_F(Departure, ChangeKeyOfAFolderIsAnElementOrAnAttribute) {
  const TItemId id = Store().GetFolderId(dfininbox);
  const auto load = [&] { return Inside("GetFolder", "FolderIds", [&] { Store().GetFolder(id); }); };
  EXPECT_EQ(load(), "<m:FolderIds>" + LoadId("FolderId", id) + "</m:FolderIds>");
  Strict();
  EXPECT_EQ(load(), "<m:FolderIds>" + IdElement("FolderId", id) + "</m:FolderIds>");
}

TEST_F(Departure, IndexedFieldOfATableIsAFieldURIOrAnIndexedOne) {
  const auto list = [&] {
    return Inside("FindItem", "Restriction", [&] {
      const auto items = Inbox()->GetItems();
      const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
      exists->SetFieldDef(FLD_CONTACTS_EMAILADDRESS1);
      items->Filter(exists);
      items->Open();
    });
  };
  EXPECT_EQ(list(),
            "<m:Restriction><t:Exists><t:FieldURI FieldURI=\"contacts:EmailAddress\" FieldIndex=\"EmailAddress1\"/>"
            "</t:Exists></m:Restriction>");
  Strict();
  EXPECT_EQ(
      list(),
      "<m:Restriction><t:Exists><t:IndexedFieldURI FieldURI=\"contacts:EmailAddress\" FieldIndex=\"EmailAddress1\"/>"
      "</t:Exists></m:Restriction>");
}

TEST_F(Departure, MembersStandAsTheyWereSetOrInTheirPlaces) {
  const auto save = [&] {
    return Inside("CreateItem", "Items", [&] {
      const auto mail = NewMail();
      mail->SetIsRead(true);
      mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
      mail->SaveChanges(soAutoResolve);
    });
  };
  const std::string property =
      "<t:ExtendedProperty><t:ExtendedFieldURI PropertySetId=\"00062008-0000-0000-c000-000000000046\" "
      "PropertyId=\"34054\" PropertyType=\"Boolean\"/><t:Value>true</t:Value></t:ExtendedProperty>";
  const std::string read = "<t:IsRead>true</t:IsRead>";
  EXPECT_EQ(save(), "<m:Items><t:Message>" + read + property + "</t:Message></m:Items>");
  Strict();
  EXPECT_EQ(save(), "<m:Items><t:Message>" + property + read + "</t:Message></m:Items>");
}

TEST_F(Departure, IdOfARecipientHasElementsOrAttributes) {
  const auto save = [&] {
    return Inside("CreateItem", "Items/Message/ToRecipients", [&] {
      const auto mail = NewMail();
      mail->GetToRecipients()->Add("bob@example.com")->SetItemId({"ID", "KEY"});
      mail->SubmitMessage(false);
    });
  };
  const std::string before =
      "<t:ToRecipients><t:Mailbox><t:Name>bob@example.com</t:Name><t:EmailAddress>bob@example.com</t:EmailAddress>"
      "<t:RoutingType>SMTP</t:RoutingType>";
  const std::string behind = "</t:Mailbox></t:ToRecipients>";
  EXPECT_EQ(save(), before + "<t:ItemId><t:Id>ID</t:Id><t:ChangeKey>KEY</t:ChangeKey></t:ItemId>" + behind);
  Strict();
  EXPECT_EQ(save(), before + "<t:ItemId Id=\"ID\" ChangeKey=\"KEY\"/>" + behind);
}

TEST_F(Departure, MembersOfARecipientStandAsTheyWereSetOrInTheirPlaces) {
  const auto save = [&] {
    return Inside("CreateItem", "Items/Message/ToRecipients/Mailbox", [&] {
      const auto mail = NewMail();
      const auto recipient = mail->GetToRecipients()->Add("A name");
      recipient->SetOriginalDisplayName("Once");
      recipient->SetItemId({"ID", "KEY"});
      mail->SaveChanges(soAutoResolve);
    });
  };
  const std::string original = "<t:OriginalDisplayName>Once</t:OriginalDisplayName>";
  EXPECT_NE(save().find(original + "<t:ItemId>"), std::string::npos);
  Strict();
  EXPECT_EQ(save(),
            "<t:Mailbox><t:Name>A name</t:Name><t:ItemId Id=\"ID\" ChangeKey=\"KEY\"/>" + original + "</t:Mailbox>");
}

TEST_F(Departure, UpdateWithoutChangesIsEmptyOrNotSent) {
  const auto mail = Draft("<t:Subject>S</t:Subject>");
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Updates(), "");
  Strict();
  EXPECT_EQ(Sent([&] { mail->SaveChanges(soAutoResolve); }), Names{"GetItem"});
}

// What is sent is valid in both forms; they differ in what an application gives.
TEST_F(Departure, ValueOfARestrictionIsMarkupOrIsEscaped) {
  const auto filtered = [&](const char* value) {
    const auto items = Inbox()->GetItems();
    const auto content = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
    content->SetFieldDef(FLD_ITEM_SUBJECT);
    content->SetValue(value);
    items->Filter(content);
    return items;
  };
  const auto find = [&](const char* value) {
    filtered(value)->Open();
    return Part("FindItem", "Restriction/Contains/Constant");
  };
  EXPECT_THROW(filtered("a \"b\" <c>"), EVqXMLError) << "by default it stands between the quotes as it is";
  EXPECT_EQ(find("a &lt; b &amp; &#99;"), "<t:Constant Value=\"a &lt; b &amp; c\"/>");
  Strict();
  EXPECT_EQ(find("a \"b\" <c> & d\te\nf"), "<t:Constant Value=\"a &quot;b&quot; &lt;c&gt; &amp; d&#9;e&#10;f\"/>");
}

TEST_F(Departure, ElementMadeByASelectionIsOneOfTheMessages) {
  const auto send = [&] {
    const auto mail = Draft("<t:Subject>S</t:Subject>");
    mail->GetToRecipients()->Add("bob@example.com");
    mail->SubmitMessage(true);
    return Part("SendItem", "SavedItemFolderId");
  };
  const std::string expected = "<m:SavedItemFolderId><t:DistinguishedFolderId Id=\"sentitems\"/></m:SavedItemFolderId>";
  EXPECT_EQ(send(), expected);
  Strict();
  EXPECT_EQ(send(), expected);
}

TEST_F(Departure, RecipientThatIsANameAloneHasEmptyElementsOrNone) {
  const auto save = [&] {
    return Inside("CreateItem", "Items/Message/ToRecipients", [&] {
      const auto mail = NewMail();
      mail->GetToRecipients()->Add("A name");
      mail->SaveChanges(soAutoResolve);
    });
  };
  EXPECT_EQ(save(),
            "<t:ToRecipients><t:Mailbox><t:Name>A "
            "name</t:Name><t:EmailAddress/><t:RoutingType/></t:Mailbox></t:ToRecipients>");
  Strict();
  EXPECT_EQ(save(), "<t:ToRecipients><t:Mailbox><t:Name>A name</t:Name></t:Mailbox></t:ToRecipients>");
}

TEST_F(Departure, SeveralValuesOfAPropertyStandInOneValueOrInValues) {
  static constexpr TVqEWSPropDef kTexts{
      .PropDefName = "MPR_FORMS_TEXTS", .Extended = true, .PropType = ptStringArray, .PropertyTag = 0x6A02};
  RegisterProp(&kTexts);
  const auto save = [&] {
    try {
      const auto mail = NewMail();
      mail->PropertyByName(kTexts).GetValueNode().SetText("one");
      mail->SaveChanges(soAutoResolve);
    } catch (const EVqException&) {
    }
    return Part("CreateItem", "Items/Message/ExtendedProperty/*[1]");
  };
  EXPECT_EQ(save(), "<t:Values>one</t:Values>");
  Strict();
  EXPECT_EQ(save(), "<t:Values><t:Value>one</t:Value></t:Values>");
}

TEST_F(Departure, ConnectiveWithoutConditionsIsEmptyOrTakesEveryItemOrNone) {
  AddMessage("one");
  const auto items = Inbox()->GetItems();
  const auto find = [&](TVqEWSRestrictionType type) {
    items->SetActive(false);
    items->Filter(items->CreateRestriction(type));
    return Inside("FindItem", "Restriction", [&] { items->Open(); });
  };
  EXPECT_EQ(find(rtAnd), "<m:Restriction><t:And/></m:Restriction>");
  Strict();
  const std::string everyItem = "<t:Exists><t:FieldURI FieldURI=\"item:ItemClass\"/></t:Exists>";
  EXPECT_EQ(find(rtAnd), "<m:Restriction>" + everyItem + "</m:Restriction>");
  EXPECT_EQ(items->Count(), 1);
  EXPECT_EQ(find(rtOr), "<m:Restriction><t:Not>" + everyItem + "</t:Not></m:Restriction>");
  EXPECT_EQ(items->Count(), 0);
}

TEST_F(Departure, MemberOfAKindOfItemsIsAskedForAsOneOfAllOrByItsName) {
  const TItemId id = AddItem("inbox", "<t:PostItem><t:Subject>S</t:Subject></t:PostItem>");
  const auto ask = [&](const char* name) {
    return Inside("GetItem", "ItemShape", [&] { Store().GetItem(id)->GetAdditionalProperties({name}); });
  };
  const std::string before = "<m:ItemShape><t:BaseShape>IdOnly</t:BaseShape>", behind = "</m:ItemShape>";
  EXPECT_EQ(ask("PostedTime"), before +
                                   "<t:AdditionalProperties><t:FieldURI FieldURI=\"item:PostedTime\"/>"
                                   "</t:AdditionalProperties>" +
                                   behind);
  Strict();
  EXPECT_EQ(ask("PostedTime"), before +
                                   "<t:AdditionalProperties><t:FieldURI FieldURI=\"postitem:PostedTime\"/>"
                                   "</t:AdditionalProperties>" +
                                   behind);
  EXPECT_EQ(ask("SortKey"), before + behind) << "the schema has no name for it";
}

TEST_F(Departure, TitleOfAContactIsAskedForAsAFieldOfPersonasOrNotAtAll) {
  const TItemId id = AddItem("contacts", "<t:Contact><t:GivenName>Ann</t:GivenName></t:Contact>");
  const auto contact = Supports<IVqEWSContact>(Store().GetItem(id));
  const std::string before = "<m:ItemShape><t:BaseShape>IdOnly</t:BaseShape>", behind = "</m:ItemShape>";
  const auto shape = [&] {
    return Inside("GetItem", "ItemShape", [&] {
      try {
        contact->GetDisplayNamePrefix();
      } catch (const EEWSException&) {  // a server that knows that contacts have no such field
      }
    });
  };
  EXPECT_EQ(shape(), before +
                         "<t:AdditionalProperties><t:FieldURI FieldURI=\"persona:DisplayNamePrefix\"/>"
                         "</t:AdditionalProperties>" +
                         behind);
  Strict();
  EXPECT_EQ(shape(), before + behind);
  contact->SetDisplayNamePrefix("Dr.");
  EXPECT_EQ(MessageOf<EVqException>([&] { contact->SaveChanges(soAutoResolve); }),
            "The schema has no field for \"DisplayNamePrefix\": SetTitle of the complete name has the same effect.");
}

TEST_F(Departure, WhatStandsAboveAQuotedMessageHasATypeOrIsGivenOne) {
  const TItemId id = AddMessage("Hello");
  const auto body = [&](const char* text) {
    const auto reply = Mail(id)->CreateReply(false);
    reply->GetBody().SetValue(text);
    return Inside("CreateItem", "Items/ReplyToItem/NewBodyContent", [&] { reply->SaveChanges(soAutoResolve); });
  };
  EXPECT_EQ(body("plain"), "<t:NewBodyContent>plain</t:NewBodyContent>");
  Strict();
  EXPECT_EQ(body("plain"), "<t:NewBodyContent BodyType=\"Text\">plain</t:NewBodyContent>");
  EXPECT_EQ(body(" <p>x</p>"), "<t:NewBodyContent BodyType=\"HTML\"> &lt;p&gt;x&lt;/p&gt;</t:NewBodyContent>");
}

TEST_F(Departure, AddressIsOneFieldOrItsParts) {
  const auto list = [&] {
    return Inside("FindItem", "ItemShape/AdditionalProperties", [&] {
      const auto items = Folder(dfincontacts)->GetItems();
      items->GetFields().Add(FLD_CONTACTS_PHYSICALADDRESS_HOME);
      items->Open();
    });
  };
  EXPECT_EQ(list(),
            "<t:AdditionalProperties><t:IndexedFieldURI FieldURI=\"contacts:PhysicalAddress\" FieldIndex=\"Home\"/>"
            "</t:AdditionalProperties>");
  Strict();
  std::string parts;
  for (const char* part : {"Street", "City", "State", "CountryOrRegion", "PostalCode"})
    parts += std::string("<t:IndexedFieldURI FieldURI=\"contacts:PhysicalAddress:") + part + "\" FieldIndex=\"Home\"/>";
  EXPECT_EQ(list(), "<t:AdditionalProperties>" + parts + "</t:AdditionalProperties>");
  const auto items = Folder(dfincontacts)->GetItems();
  const auto exists = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
  exists->SetFieldDef(FLD_CONTACTS_PHYSICALADDRESS_HOME);
  items->Filter(exists);
  EXPECT_EQ(MessageOf<EVqException>([&] { items->Open(); }),
            "A filter takes a part of an address, such as \"contacts:PhysicalAddress:City\".");
}

TEST_F(Departure, MemberThatIsEmptiedIsSetToNothingOrDeleted) {
  const auto save = [&] {
    return Inside("UpdateItem", "ItemChanges/ItemChange/Updates", [&] {
      const auto mail = Draft("<t:Subject>S</t:Subject><t:Importance>High</t:Importance>");
      mail->PropertyByName(PR_IMPORTANCE).SetAsString("");
      mail->SaveChanges(soAutoResolve);
    });
  };
  EXPECT_EQ(save(), "<t:Updates>" + SetField("item:Importance", "<t:Importance/>") + "</t:Updates>");
  Strict();
  EXPECT_EQ(save(), "<t:Updates>" + DeleteField("item:Importance") + "</t:Updates>");
}

TEST_F(Departure, EmptyMembersOfWhatIsSentInOneStepStayOrGo) {
  const auto send = [&] {
    return Inside("CreateItem", "Items/Message", [&] {
      const auto mail = NewMail();
      mail->SetSubject("S");
      mail->SetCulture("");
      mail->SubmitMessage(false);
    });
  };
  EXPECT_NE(send().find("<t:Culture/>"), std::string::npos);
  Strict();
  EXPECT_EQ(send(), "<t:Message><t:Subject>S</t:Subject></t:Message>");
}

TEST_F(Departure, IdToConvertHasAnEmptyMailboxOrOneThatCountsForNothing) {
  const auto convert = [&] {
    return Inside("ConvertId", "SourceIds", [&] { Session().ConvertId(ifEwsId, "ID", "", ifOwaId); });
  };
  const std::string before = "<m:SourceIds><t:AlternateId Format=\"EwsId\" Id=\"ID\" Mailbox=\"";
  EXPECT_EQ(convert(), before + "\"/></m:SourceIds>");
  Strict();
  EXPECT_EQ(convert(), before + "nobody@example.com\"/></m:SourceIds>");
}

TEST_F(Departure, SizeOfAPhotoHasACapitalOrASmallX) {
  const auto ask = [&](TSizeRequested size) {
    return Inside("GetUserPhoto", "SizeRequested", [&] {
      TVqMemoryStream photo;
      Store().GetUserPhoto(photo, size);
    });
  };
  EXPECT_EQ(ask(HR96X96), "<m:SizeRequested>HR96X96</m:SizeRequested>");
  EXPECT_EQ(ask(HR648X648), "<m:SizeRequested>HR648X648</m:SizeRequested>");
  Strict();
  EXPECT_EQ(ask(HR96X96), "<m:SizeRequested>HR96x96</m:SizeRequested>");
  EXPECT_EQ(ask(HR648X648), "<m:SizeRequested>HR648x648</m:SizeRequested>");
  EXPECT_EQ(ask(HR48x48), "<m:SizeRequested>HR48x48</m:SizeRequested>");
}

TEST_F(Departure, AddressOfAListOfRoomsThatIsEmptyStaysOrGoes) {
  const auto ask = [&] { return Inside("GetRooms", "RoomList", [&] { Store().GetRooms(""); }); };
  EXPECT_EQ(ask(), "<m:RoomList><t:EmailAddress/></m:RoomList>");
  Strict();
  EXPECT_EQ(ask(), "<m:RoomList/>");
}

TEST_F(Departure, ZoneOfTheMachineWithoutSummerTimeIsInOneElementOrUtc) {
  const std::string before = std::getenv("TZ") ? std::getenv("TZ") : "";
  ::setenv("TZ", "Asia/Kolkata", 1);
  const auto ask = [&] {
    return Inside("GetUserAvailabilityRequest", "TimeZone",
                  [&] { Session().GetUserAvailibility({kAlice}, 46000.0, 46001.0, 30, fbvtFreeBusy); });
  };
  const std::string own = ask();
  Strict();
  const std::string strict = ask();
  before.empty() ? ::unsetenv("TZ") : ::setenv("TZ", before.c_str(), 1);
  EXPECT_EQ(own,
            "<t:TimeZone><t:Bias>5</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>03:00:00</t:Time><t:DayOrder>5"
            "</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek><t:Bias>0</t:Bias><t:Time>02:00:00"
            "</t:Time><t:DayOrder>5</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime>"
            "<t:DaylightTime/></t:TimeZone>");
  const std::string never =
      "<t:Bias>0</t:Bias><t:Time>00:00:00</t:Time><t:DayOrder>0</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday"
      "</t:DayOfWeek>";
  EXPECT_EQ(strict, "<t:TimeZone><t:Bias>0</t:Bias><t:StandardTime>" + never + "</t:StandardTime><t:DaylightTime>" +
                        never + "</t:DaylightTime></t:TimeZone>");
}

TEST_F(Departure, WhatHasNoValidFormIsAnErrorOfTheCaller) {
  Strict();
  Store();
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { Session().ConvertId({}, ifOwaId); }), "There is no id to convert.");
  EXPECT_EQ(MessageOf<EVqException>([&] { Session().ResolveName("", scContacts); }), "There is no name to resolve.");
  EXPECT_EQ(Operations(), Names{}) << "nothing was sent";
}

class DepartureOfOldServers : public Departure {
 protected:
  DepartureOfOldServers() : Departure("Exchange2007_SP1") {}
};

TEST_F(DepartureOfOldServers, AttachmentTellsItsSizeOrNot) {
  const auto attach = [&] {
    const auto mail = NewMail();
    Attach(*mail, "a.txt", "aaa");
    mail->SaveChanges(soAutoResolve);
    return Part("CreateAttachment", "Attachments/FileAttachment");
  };
  const std::string before = "<t:FileAttachment><t:Name>a.txt</t:Name><t:ContentType>text/plain</t:ContentType>";
  const std::string behind = "<t:Content>YWFh</t:Content></t:FileAttachment>";
  EXPECT_EQ(attach(), before + "<t:Size>3</t:Size>" + behind);
  Strict();
  EXPECT_EQ(attach(), before + behind);
}

}  // namespace
}  // namespace velmore::testing
