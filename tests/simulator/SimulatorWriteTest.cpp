#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/model.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorWrite : public WriteTest {};

// UpdateItem

TEST_F(SimulatorWrite, UpdateSetsAFieldAndMovesTheChangeKey) {
  const Element id = Make(MessageXml("before", "bob@example.com"));
  const Reply reply = Update(id, SetSubject("after"));
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  const Element now = reply.Find("ItemId");
  EXPECT_EQ(now.AttributeText("Id"), id.AttributeText("Id"));
  EXPECT_NE(now.AttributeText("ChangeKey"), id.AttributeText("ChangeKey"));
  EXPECT_EQ(reply.Find("ConflictResults").ChildText("Count"), "0");
  EXPECT_EQ(Item(id).ChildText("Subject"), "after");
}

TEST_F(SimulatorWrite, UpdateAppendsToBodyAndRecipientsOnly) {
  const Element id = Make(MessageXml("s", "bob@example.com", "one "));
  EXPECT_EQ(
      Update(
          id,
          "<t:AppendToItemField><t:FieldURI FieldURI=\"item:Body\"/><t:Message><t:Body "
          "BodyType=\"Text\">two</t:Body></t:Message></t:AppendToItemField>"
          "<t:AppendToItemField><t:FieldURI "
          "FieldURI=\"message:ToRecipients\"/><t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>carol@example.com</"
          "t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message></t:AppendToItemField>")
          .Code(),
      "NoError");
  const Element item = Item(id);
  EXPECT_EQ(item.ChildText("Body"), "one two");
  EXPECT_EQ(item.Child("ToRecipients")->children.size(), 2u);
  EXPECT_EQ(item.ChildText("DisplayTo"), "Bob Birch; Carol Cedar");
  const Reply refused =
      Update(id,
             "<t:AppendToItemField><t:FieldURI "
             "FieldURI=\"item:Subject\"/><t:Message><t:Subject>x</t:Subject></t:Message></t:AppendToItemField>",
             "AlwaysOverwrite");
  EXPECT_EQ(refused.Code(), "ErrorInvalidPropertyAppend");
}

TEST_F(SimulatorWrite, UpdateDeletesFields) {
  const std::string named =
      "<t:ExtendedFieldURI DistinguishedPropertySetId=\"PublicStrings\" PropertyName=\"a\" PropertyType=\"String\"/>";
  const Element id = Make(
      "<t:Message><t:Subject>s</t:Subject><t:Categories><t:String>Red</t:String></t:Categories><t:ExtendedProperty>" +
      named + "<t:Value>1</t:Value></t:ExtendedProperty></t:Message>");
  EXPECT_EQ(
      Update(id,
             "<t:DeleteItemField><t:FieldURI FieldURI=\"item:Categories\"/></t:DeleteItemField><t:DeleteItemField>" +
                 named + "</t:DeleteItemField>")
          .Code(),
      "NoError");
  const Element item = Item(
      id, "<t:BaseShape>AllProperties</t:BaseShape><t:AdditionalProperties>" + named + "</t:AdditionalProperties>");
  EXPECT_EQ(item.Child("Categories"), nullptr);
  EXPECT_EQ(item.Child("ExtendedProperty"), nullptr);
  const Reply refused =
      Update(id, "<t:DeleteItemField><t:FieldURI FieldURI=\"item:Size\"/></t:DeleteItemField>", "AlwaysOverwrite");
  EXPECT_EQ(refused.Code(), "ErrorInvalidPropertyDelete");
  EXPECT_EQ(refused.Find("MessageXml").Child("FieldURI")->AttributeText("FieldURI"), "item:Size");
}

TEST_F(SimulatorWrite, ReadOnlyPropertyIsRefusedByNameAndNothingIsWritten) {
  const Element id = Make(MessageXml("before", "bob@example.com"));
  const Reply reply =
      Update(id, SetSubject("after") +
                     "<t:SetItemField><t:FieldURI "
                     "FieldURI=\"item:DateTimeReceived\"/><t:Message><t:DateTimeReceived>2026-01-01T00:00:00Z</"
                     "t:DateTimeReceived></t:Message></t:SetItemField>");
  EXPECT_EQ(reply.Code(), "ErrorInvalidPropertySet");
  EXPECT_EQ(reply.Find("UpdateItemResponseMessage").AttributeText("ResponseClass"), "Error");
  EXPECT_EQ(reply.Find("MessageXml").Child("FieldURI")->AttributeText("FieldURI"), "item:DateTimeReceived");
  const Element item = Item(id);
  EXPECT_EQ(item.ChildText("Subject"), "before");
  EXPECT_EQ(item.Child("ItemId")->AttributeText("ChangeKey"), id.AttributeText("ChangeKey"));
}

TEST_F(SimulatorWrite, OneFieldPerChangeAndTheOneThatIsNamed) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  EXPECT_EQ(Update(id,
                   "<t:SetItemField><t:FieldURI "
                   "FieldURI=\"item:Subject\"/><t:Message><t:Subject>x</t:Subject><t:Importance>High</t:Importance></"
                   "t:Message></t:SetItemField>")
                .Code(),
            "ErrorIncorrectUpdatePropertyCount");
  EXPECT_EQ(
      Update(id,
             "<t:SetItemField><t:FieldURI "
             "FieldURI=\"item:Subject\"/><t:Message><t:Importance>High</t:Importance></t:Message></t:SetItemField>")
          .Code(),
      "ErrorUpdatePropertyMismatch");
  EXPECT_EQ(
      Update(
          id,
          "<t:SetItemField><t:FieldURI FieldURI=\"task:Owner\"/><t:Task><t:Owner>x</t:Owner></t:Task></t:SetItemField>")
          .Code(),
      "ErrorInvalidPropertySet");
}

TEST_F(SimulatorWrite, RecipientsOfASentMessageStay) {
  const Id received = server.AddMessage("alice@example.com", "inbox",
                                        "From: bob@example.com\r\nTo: alice@example.com\r\nSubject: x\r\n\r\n");
  Element id = Types("ItemId");
  id.Set("Id", received.id).Set("ChangeKey", received.change_key);
  const Reply reply = Update(
      id,
      "<t:SetItemField><t:FieldURI "
      "FieldURI=\"message:ToRecipients\"/><t:Message><t:ToRecipients><t:Mailbox><t:EmailAddress>carol@example.com</"
      "t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message></t:SetItemField>");
  EXPECT_EQ(reply.Code(), "ErrorInvalidPropertyUpdateSentMessage");
  EXPECT_EQ(Update(id,
                   "<t:SetItemField><t:FieldURI "
                   "FieldURI=\"message:IsRead\"/><t:Message><t:IsRead>true</t:IsRead></t:Message></t:SetItemField>")
                .Code(),
            "NoError");
  EXPECT_EQ(Item(id).ChildText("IsRead"), "true");
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("inbox"))).Find("UnreadCount").text, "0");
}

TEST_F(SimulatorWrite, ConflictsAreHandledInThreeWays) {
  const Element old = Make(MessageXml("before", "bob@example.com"));
  EXPECT_EQ(Update(old, SetSubject("mine")).Code(), "NoError");
  // The key is stale now.
  const Reply never = Update(old, SetSubject("yours"), "NeverOverwrite");
  EXPECT_EQ(never.Code(), "ErrorIrresolvableConflict");
  EXPECT_EQ(never.Find("MessageText").text,
            "The send or update operation could not be performed because the change key passed in the request does not "
            "match the current change key for the item.");
  EXPECT_EQ(Update(old, SetSubject("yours"), "AutoResolve").Code(), "ErrorIrresolvableConflict");
  EXPECT_EQ(Update(old, SetSubject("mine"), "AutoResolve").Code(), "NoError") << "the same value is no conflict";
  EXPECT_EQ(
      Update(old,
             "<t:SetItemField><t:FieldURI "
             "FieldURI=\"item:Importance\"/><t:Message><t:Importance>High</t:Importance></t:Message></t:SetItemField>",
             "AutoResolve")
          .Code(),
      "NoError")
      << "another property is no conflict";
  EXPECT_EQ(Item(old).ChildText("Subject"), "mine");
  EXPECT_EQ(Item(old).ChildText("Importance"), "High");
  EXPECT_EQ(Update(old, SetSubject("yours"), "AlwaysOverwrite").Code(), "NoError");
  EXPECT_EQ(Item(old).ChildText("Subject"), "yours");
}

TEST_F(SimulatorWrite, ChangeKeyIsNeededUnlessEverythingIsOverwritten) {
  Element id = Make(MessageXml("s", "bob@example.com"));
  const auto update = [&](const std::string& resolution) {
    return client
        .Call("<m:UpdateItem ConflictResolution=\"" + resolution +
              "\" MessageDisposition=\"SaveOnly\"><m:ItemChanges><t:ItemChange><t:ItemId Id=\"" +
              id.AttributeText("Id") + "\"/><t:Updates>" + SetSubject("x") +
              "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>")
        .Code();
  };
  EXPECT_EQ(update("NeverOverwrite"), "ErrorChangeKeyRequiredForWriteOperations");
  EXPECT_EQ(update("AlwaysOverwrite"), "NoError");
  id.Set("ChangeKey", "nonsense");
  EXPECT_EQ(Update(id, SetSubject("x")).Code(), "ErrorInvalidChangeKey");
}

TEST_F(SimulatorWrite, UpdateWithoutChangesIsAcceptedAndCounted) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  const Reply reply = Update(id, "");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(reply.Find("ItemId").AttributeText("ChangeKey"), id.AttributeText("ChangeKey"));
  EXPECT_EQ(server.GetCounters().departures.at("EmptyUpdates"), 1u);
}

TEST_F(SimulatorWrite, EntriesOfDictionariesChangeOneByOne) {
  const Element id = Make(
      "<t:Contact><t:GivenName>Eve</t:GivenName><t:PhysicalAddresses><t:Entry Key=\"Home\"><t:Street>Elm Street "
      "1</t:Street><t:City>Elmford</t:City></t:Entry></t:PhysicalAddresses>"
      "<t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry "
      "Key=\"MobilePhone\">2</t:Entry></t:PhoneNumbers></t:Contact>",
      "contacts");
  const std::string phone = "<t:IndexedFieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"MobilePhone\"/>";
  EXPECT_EQ(
      Update(id,
             "<t:SetItemField>" + phone +
                 "<t:Contact><t:PhoneNumbers><t:Entry "
                 "Key=\"MobilePhone\">3</t:Entry></t:PhoneNumbers></t:Contact></t:SetItemField>"
                 "<t:SetItemField><t:IndexedFieldURI FieldURI=\"contacts:PhysicalAddress:City\" "
                 "FieldIndex=\"Home\"/><t:Contact><t:PhysicalAddresses><t:Entry "
                 "Key=\"Home\"><t:City>Oakton</t:City></t:Entry></t:PhysicalAddresses></t:Contact></t:SetItemField>")
          .Code(),
      "NoError");
  const Element item = Item(id);
  EXPECT_EQ(item.Child("PhoneNumbers")->children[0].text, "1");
  EXPECT_EQ(item.Child("PhoneNumbers")->children[1].text, "3");
  const Element& home = item.Child("PhysicalAddresses")->children[0];
  EXPECT_EQ(home.ChildText("Street"), "Elm Street 1");
  EXPECT_EQ(home.ChildText("City"), "Oakton");
  EXPECT_EQ(Update(id, "<t:DeleteItemField>" + phone + "</t:DeleteItemField>", "AlwaysOverwrite").Code(), "NoError");
  EXPECT_EQ(Item(id).Child("PhoneNumbers")->children.size(), 1u);
  // The last part of an address takes the address with it, and what is not there leaves nothing behind.
  for (const char* part : {"Street", "City", "State"})
    EXPECT_EQ(Update(id,
                     "<t:DeleteItemField><t:IndexedFieldURI FieldURI=\"contacts:PhysicalAddress:" + std::string(part) +
                         "\" FieldIndex=\"Home\"/></t:DeleteItemField>",
                     "AlwaysOverwrite")
                  .Code(),
              "NoError");
  EXPECT_EQ(Item(id).Child("PhysicalAddresses"), nullptr);
}

TEST_F(SimulatorWrite, ExtendedPropertyIsSetByUpdate) {
  const std::string uri = "<t:ExtendedFieldURI PropertyTag=\"0x3A4F\" PropertyType=\"String\"/>";
  const Element id = Make(MessageXml("s", "bob@example.com"));
  EXPECT_EQ(Update(id, "<t:SetItemField>" + uri + "<t:Message><t:ExtendedProperty>" + uri +
                           "<t:Value>nick</t:Value></t:ExtendedProperty></t:Message></t:SetItemField>")
                .Code(),
            "NoError");
  const Element item =
      Item(id, "<t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>" + uri + "</t:AdditionalProperties>");
  EXPECT_EQ(item.Child("ExtendedProperty")->ChildText("Value"), "nick");
  EXPECT_EQ(item.Child("ExtendedProperty")->Child("ExtendedFieldURI")->AttributeText("PropertyTag"), "0x3a4f");
}

TEST_F(SimulatorWrite, MimeOfAChangedMessageFollowsTheChange) {
  const Id added = server.AddMessage("alice@example.com", "inbox", "Subject: before\r\n\r\nx");
  Element id = Types("ItemId");
  id.Set("Id", added.id).Set("ChangeKey", added.change_key);
  EXPECT_EQ(Update(id, SetSubject("after")).Code(), "NoError");
  const Element item = Item(id, "<t:BaseShape>IdOnly</t:BaseShape><t:IncludeMimeContent>true</t:IncludeMimeContent>");
  EXPECT_NE(DecodeBase64(item.ChildText("MimeContent")).find("Subject: after"), std::string::npos);
}

// Copy, move, delete

TEST_F(SimulatorWrite, CopyLeavesTheOriginalAndHasAnIdOfItsOwn) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  const Reply reply = client.Call("<m:CopyItem><m:ToFolderId>" + Distinguished("inbox") + "</m:ToFolderId><m:ItemIds>" +
                                  Ids(id) + "</m:ItemIds></m:CopyItem>");
  EXPECT_EQ(reply.Code(), "NoError");
  EXPECT_NE(reply.Find("ItemId").AttributeText("Id"), id.AttributeText("Id"));
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 1u);
  EXPECT_EQ(Item(reply.Find("ItemId")).ChildText("Subject"), "s");
}

TEST_F(SimulatorWrite, MoveGivesANewIdAndEndsTheOldOne) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  const Reply reply = client.Call("<m:MoveItem><m:ToFolderId>" + Distinguished("inbox") + "</m:ToFolderId><m:ItemIds>" +
                                  Ids(id) + "</m:ItemIds></m:MoveItem>");
  EXPECT_EQ(reply.Code(), "NoError");
  EXPECT_EQ(Item(reply.Find("ItemId")).ChildText("Subject"), "s");
  EXPECT_EQ(client.Call(GetItemXml(id.AttributeText("Id"))).Code(), "ErrorItemNotFound");
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
}

TEST_F(SimulatorWrite, DeletionGoesWhereItIsTold) {
  const auto remove = [&](const Element& id, const std::string& type) {
    return client
        .Call("<m:DeleteItem DeleteType=\"" + type + "\"><m:ItemIds>" + Ids(id) + "</m:ItemIds></m:DeleteItem>")
        .Code();
  };
  EXPECT_EQ(remove(Make(MessageXml("a", "b@c.d")), "MoveToDeletedItems"), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "deleteditems"), 1u);
  EXPECT_EQ(remove(Make(MessageXml("b", "b@c.d")), "SoftDelete"), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "recoverableitemsdeletions"), 1u);
  const Element id = Make(MessageXml("c", "b@c.d"));
  EXPECT_EQ(remove(id, "HardDelete"), "NoError");
  EXPECT_EQ(remove(id, "HardDelete"), "ErrorItemNotFound");
  EXPECT_EQ(server.CountItems("alice@example.com", "drafts"), 0u);
  EXPECT_EQ(server.CountItems("alice@example.com", "deleteditems"), 1u);
}

TEST_F(SimulatorWrite, DeletionOfAppointmentsAndTasksNeedsItsAttribute) {
  const Element appointment = Make("<t:CalendarItem><t:Subject>x</t:Subject></t:CalendarItem>", "calendar");
  const Element task = Make("<t:Task><t:Subject>x</t:Subject></t:Task>", "tasks");
  const auto remove = [&](const Element& id, const std::string& attribute) {
    return client
        .Call("<m:DeleteItem DeleteType=\"HardDelete\" " + attribute + "><m:ItemIds>" + Ids(id) +
              "</m:ItemIds></m:DeleteItem>")
        .Code();
  };
  EXPECT_EQ(remove(appointment, ""), "ErrorSendMeetingCancellationsRequired");
  EXPECT_EQ(remove(appointment, "SendMeetingCancellations=\"SendToNone\""), "NoError");
  EXPECT_EQ(remove(task, ""), "ErrorAffectedTaskOccurrencesRequired");
  EXPECT_EQ(remove(task, "AffectedTaskOccurrences=\"AllOccurrences\""), "NoError");
}

// Folders

TEST_F(SimulatorWrite, FoldersAreMadeOfEachKind) {
  const std::pair<const char*, const char*> kinds[] = {{"Folder", "IPF.Note"},
                                                       {"CalendarFolder", "IPF.Appointment"},
                                                       {"ContactsFolder", "IPF.Contact"},
                                                       {"TasksFolder", "IPF.Task"}};
  for (const auto& [element, folder_class] : kinds) {
    const Element id = NewFolder(std::string("New ") + element, "msgfolderroot", element);
    const Reply reply = client.Call(GetFolderXml(Fid(id)));
    EXPECT_TRUE(reply.Has(element));
    EXPECT_EQ(reply.Find("FolderClass").text, folder_class);
  }
  const Reply twice = client.Call(CreateFolderXml("new folder", Distinguished("msgfolderroot")));
  EXPECT_EQ(twice.Code(), "ErrorFolderExists");
  EXPECT_EQ(twice.Find("MessageText").text,
            "A folder with the specified name already exists., Could not create folder 'new folder'.");
}

TEST_F(SimulatorWrite, FolderIsRenamedByUpdate) {
  const Element id = NewFolder("Old");
  const auto rename = [&](const Element& folder, const std::string& name) {
    return client.Call(
        "<m:UpdateFolder><m:FolderChanges><t:FolderChange>" + Fid(folder) +
        "<t:Updates><t:SetFolderField><t:FieldURI FieldURI=\"folder:DisplayName\"/><t:Folder><t:DisplayName>" + name +
        "</t:DisplayName></t:Folder></t:SetFolderField></t:Updates></t:FolderChange></m:FolderChanges></"
        "m:UpdateFolder>");
  };
  const Reply reply = rename(id, "New");
  EXPECT_EQ(reply.Code(), "NoError");
  EXPECT_NE(reply.Find("FolderId").AttributeText("ChangeKey"), id.AttributeText("ChangeKey"));
  EXPECT_EQ(client.Call(GetFolderXml(Fid(id))).Find("DisplayName").text, "New");
  EXPECT_EQ(rename(id, "Inbox").Code(), "ErrorFolderExists");
  EXPECT_EQ(rename(FolderId("inbox"), "Mine").Code(), "ErrorInvalidPropertySet");
}

TEST_F(SimulatorWrite, FolderIsDeletedWithAllThatIsInIt) {
  const auto remove = [&](const Element& id, const std::string& type) {
    return client
        .Call("<m:DeleteFolder DeleteType=\"" + type + "\"><m:FolderIds>" + Fid(id) + "</m:FolderIds></m:DeleteFolder>")
        .Code();
  };
  const Id item = server.AddMessage("alice@example.com", "Old/Older", "Subject: x\r\n\r\n");
  const Element found =
      client
          .Call(
              "<m:FindFolder "
              "Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></"
              "m:FolderShape><m:Restriction><t:IsEqualTo><t:FieldURI "
              "FieldURI=\"folder:DisplayName\"/><t:FieldURIOrConstant><t:Constant "
              "Value=\"Old\"/></t:FieldURIOrConstant></t:IsEqualTo></m:Restriction><m:ParentFolderIds>" +
              Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>")
          .Find("FolderId");
  EXPECT_EQ(remove(found, "MoveToDeletedItems"), "NoError");
  EXPECT_EQ(client.Call(GetFolderXml(Fid(found))).Code(), "NoError");
  EXPECT_EQ(client.Call(GetFolderXml(Distinguished("deleteditems"))).Find("ChildFolderCount").text, "1");
  EXPECT_EQ(remove(found, "HardDelete"), "NoError");
  EXPECT_EQ(client.Call(GetFolderXml(Fid(found))).Code(), "ErrorFolderNotFound");
  EXPECT_EQ(client.Call(GetItemXml(item.id)).Code(), "ErrorItemNotFound");
  EXPECT_EQ(remove(FolderId("inbox"), "HardDelete"), "ErrorDeleteDistinguishedFolder");
}

TEST_F(SimulatorWrite, FolderIsEmptied) {
  server.AddMessage("alice@example.com", "Old", "Subject: x\r\n\r\n");
  server.AddMessage("alice@example.com", "Old/Older", "Subject: y\r\n\r\n");
  const Element id =
      client.Call(CreateFolderXml("Old", Distinguished("msgfolderroot"))).Code() == "ErrorFolderExists"
          ? *client
                 .Call(
                     "<m:FindFolder "
                     "Traversal=\"Deep\"><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></"
                     "m:FolderShape><m:Restriction><t:IsEqualTo><t:FieldURI "
                     "FieldURI=\"folder:DisplayName\"/><t:FieldURIOrConstant><t:Constant "
                     "Value=\"Old\"/></t:FieldURIOrConstant></t:IsEqualTo></m:Restriction><m:ParentFolderIds>" +
                     Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>")
                 .Find("Folder")
                 .Child("FolderId")
          : Element();
  const auto empty = [&](const char* sub) {
    return client
        .Call("<m:EmptyFolder DeleteType=\"HardDelete\" DeleteSubFolders=\"" + std::string(sub) + "\"><m:FolderIds>" +
              Fid(id) + "</m:FolderIds></m:EmptyFolder>")
        .Code();
  };
  EXPECT_EQ(empty("false"), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "Old"), 0u);
  EXPECT_EQ(server.CountItems("alice@example.com", "Old/Older"), 1u);
  EXPECT_EQ(empty("true"), "NoError");
  EXPECT_EQ(client.Call(GetFolderXml(Fid(id))).Find("ChildFolderCount").text, "0");
}

TEST_F(SimulatorWrite, FoldersAreCopiedAndMoved) {
  server.AddMessage("alice@example.com", "A/B", "Subject: x\r\n\r\n");
  const Element target = NewFolder("Target");
  const Element a = [&] {
    const Reply reply = client.Call(
        "<m:FindFolder "
        "Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></"
        "m:FolderShape><m:ParentFolderIds>" +
        Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>");
    for (const Element* folder : reply.All("Folder"))
      if (folder->ChildText("DisplayName") == "A") return *folder->Child("FolderId");
    return Element();
  }();
  const auto call = [&](const std::string& operation, const Element& to) {
    return client.Call("<m:" + operation + "><m:ToFolderId>" + Fid(to) + "</m:ToFolderId><m:FolderIds>" + Fid(a) +
                       "</m:FolderIds></m:" + operation + ">");
  };
  const Reply copied = call("CopyFolder", target);
  EXPECT_EQ(copied.Code(), "NoError");
  EXPECT_NE(copied.Find("FolderId").AttributeText("Id"), a.AttributeText("Id"));
  EXPECT_EQ(server.CountItems("alice@example.com", "Target/A/B"), 1u);
  EXPECT_EQ(call("MoveFolder", target).Code(), "ErrorFolderExists");
  EXPECT_EQ(call("MoveFolder", a).Code(), "ErrorMoveCopyFailed");
  const Element other = NewFolder("Other");
  const Reply moved = call("MoveFolder", other);
  EXPECT_EQ(moved.Find("FolderId").AttributeText("Id"), a.AttributeText("Id"));
  EXPECT_EQ(server.CountItems("alice@example.com", "Other/A/B"), 1u);
  EXPECT_EQ(server.CountItems("alice@example.com", "A/B"), 0u);
}

// Attachments

TEST_F(SimulatorWrite, AttachmentsMoveTheChangeKeyOfTheirItem) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  const auto create = [&](const Element& parent) {
    return client.Call("<m:CreateAttachment><m:ParentItemId Id=\"" + parent.AttributeText("Id") + "\" ChangeKey=\"" +
                       parent.AttributeText("ChangeKey") +
                       "\"/><m:Attachments><t:FileAttachment><t:Name>a.txt</t:Name><t:ContentType>text/plain</"
                       "t:ContentType><t:IsInline>false</t:IsInline>"
                       "<t:Content>SGVsbG8=</t:Content></t:FileAttachment></m:Attachments></m:CreateAttachment>");
  };
  const Reply first = create(id);
  EXPECT_EQ(first.Code(), "NoError") << first.body;
  const Element made = first.Find("AttachmentId");
  EXPECT_EQ(made.AttributeText("RootItemId"), id.AttributeText("Id"));
  EXPECT_NE(made.AttributeText("RootItemChangeKey"), id.AttributeText("ChangeKey"));
  EXPECT_EQ(create(id).Code(), "ErrorIrresolvableConflict");
  Element now = id;
  now.Set("ChangeKey", made.AttributeText("RootItemChangeKey"));
  EXPECT_EQ(create(now).Code(), "NoError");
  const Element item = Item(id);
  EXPECT_EQ(item.Child("Attachments")->children.size(), 2u);
  EXPECT_EQ(item.ChildText("HasAttachments"), "true");
  EXPECT_EQ(item.Child("Attachments")->children[0].Child("Content"), nullptr);

  const Reply content = client.Call("<m:GetAttachment><m:AttachmentShape/><m:AttachmentIds><t:AttachmentId Id=\"" +
                                    made.AttributeText("Id") + "\"/></m:AttachmentIds></m:GetAttachment>");
  EXPECT_EQ(content.Code(), "NoError") << content.body;
  EXPECT_EQ(content.Find("Content").text, "SGVsbG8=");
  EXPECT_EQ(content.Find("FileAttachment").ChildText("Name"), "a.txt");

  const Reply removed = client.Call("<m:DeleteAttachment><m:AttachmentIds><t:AttachmentId Id=\"" +
                                    made.AttributeText("Id") + "\"/></m:AttachmentIds></m:DeleteAttachment>");
  EXPECT_EQ(removed.Code(), "NoError");
  EXPECT_EQ(removed.Find("RootItemId").AttributeText("RootItemId"), id.AttributeText("Id"));
  EXPECT_EQ(create(item.Child("ItemId") != nullptr ? *item.Child("ItemId") : id).Code(), "ErrorIrresolvableConflict")
      << "the deletion moved the key";
  EXPECT_EQ(removed.Find("RootItemId").AttributeText("RootItemChangeKey"),
            Item(id).Child("ItemId")->AttributeText("ChangeKey"));
  EXPECT_EQ(Item(id).Child("Attachments")->children.size(), 1u);
  EXPECT_EQ(client
                .Call("<m:GetAttachment><m:AttachmentIds><t:AttachmentId Id=\"" + made.AttributeText("Id") +
                      "\"/></m:AttachmentIds></m:GetAttachment>")
                .Code(),
            "ErrorItemNotFound");
}

TEST_F(SimulatorWrite, ItemAttachmentsOpenWithTheirOwnAttachments) {
  const std::string mime =
      "Subject: outer\r\nContent-Type: multipart/mixed; boundary=o\r\n\r\n--o\r\nContent-Type: "
      "text/plain\r\n\r\nouter\r\n--o\r\nContent-Type: message/rfc822\r\n\r\n"
      "Subject: inner\r\nContent-Type: multipart/mixed; boundary=i\r\n\r\n--i\r\nContent-Type: text/plain\r\n\r\ninner "
      "body\r\n--i\r\nContent-Type: application/octet-stream; name=x.bin\r\nContent-Disposition: attachment; "
      "filename=x.bin\r\nContent-Transfer-Encoding: base64\r\n\r\nAAEC\r\n--i--\r\n\r\n--o--\r\n";
  const Id id = server.AddMessage("alice@example.com", "inbox", mime);
  const std::string outer = client.Call(GetItemXml(id.id)).Find("AttachmentId").AttributeText("Id");
  const Reply reply = client.Call(
      "<m:GetAttachment><m:AttachmentShape><t:IncludeMimeContent>true</t:IncludeMimeContent></"
      "m:AttachmentShape><m:AttachmentIds><t:AttachmentId Id=\"" +
      outer + "\"/></m:AttachmentIds></m:GetAttachment>");
  const Element inner = *reply.Find("ItemAttachment").Child("Message");
  EXPECT_EQ(inner.ChildText("Subject"), "inner");
  EXPECT_NE(DecodeBase64(inner.ChildText("MimeContent")).find("Subject: inner"), std::string::npos);
  EXPECT_EQ(inner.Child("ItemId")->AttributeText("Id"), outer);
  const std::string file = inner.Child("Attachments")->children[0].Child("AttachmentId")->AttributeText("Id");
  EXPECT_EQ(client
                .Call("<m:GetAttachment><m:AttachmentIds><t:AttachmentId Id=\"" + file +
                      "\"/></m:AttachmentIds></m:GetAttachment>")
                .Find("Content")
                .text,
            "AAEC");
  EXPECT_EQ(client.Call(GetItemXml(outer)).Find("Message").ChildText("Subject"), "inner");
}

TEST_F(SimulatorWrite, ItemAttachmentIsMadeFromALoadedItem) {
  const Element id = Make(MessageXml("outer", "bob@example.com"));
  const Reply reply =
      client.Call("<m:CreateAttachment><m:ParentItemId Id=\"" + id.AttributeText("Id") +
                  "\"/><m:Attachments><t:ItemAttachment><t:Name>the inner one</t:Name><t:Message><t:ItemId "
                  "Id=\"x\"/><t:Subject>inner</t:Subject>"
                  "<t:Size>5</t:Size></t:Message></t:ItemAttachment></m:Attachments></m:CreateAttachment>");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  const Reply content =
      client.Call("<m:GetAttachment><m:AttachmentIds><t:AttachmentId Id=\"" +
                  reply.Find("AttachmentId").AttributeText("Id") + "\"/></m:AttachmentIds></m:GetAttachment>");
  EXPECT_EQ(content.Find("ItemAttachment").ChildText("Name"), "the inner one");
  EXPECT_EQ(content.Find("ItemAttachment").Child("Message")->ChildText("Subject"), "inner");
}

TEST_F(SimulatorWrite, SizeLimitsHaveTheirCodes) {
  Options options = TestOptions();
  options.max_message_bytes = 5000;
  Started small(options);
  Client c(small);
  EXPECT_EQ(c.Call(CreateItemXml(MessageXml("x", "bob@example.com", std::string(6000, 'x')))).Code(),
            "ErrorMessageSizeExceeded");
  const Element id = c.Call(CreateItemXml(MessageXml("x", "bob@example.com"))).Find("ItemId");
  EXPECT_EQ(c.Call("<m:CreateAttachment><m:ParentItemId Id=\"" + id.AttributeText("Id") +
                   "\"/><m:Attachments><t:FileAttachment><t:Name>a</t:Name><t:Content>" +
                   EncodeBase64(std::string(6000, 'x')) +
                   "</t:Content></t:FileAttachment></m:Attachments></m:CreateAttachment>")
                .Code(),
            "ErrorAttachmentSizeLimitExceeded");
}

TEST(SimulatorMime, MessagesInMessagesAreItemsAsFarAsAnybodyLooks) {
  std::string mime;
  for (int i = 0; i < 700; ++i) mime += "Subject: level\r\nContent-Type: message/rfc822\r\n\r\n";
  mime += "Subject: innermost\r\n\r\ntext\r\n";
  std::shared_ptr<Item> item = ImportMime(std::make_shared<const std::string>(mime), 1);
  int depth = 0;
  for (; item->attachments.size() == 1 && item->attachments[0].is_item; ++depth) item = item->attachments[0].item;
  EXPECT_EQ(depth, 8);
  ASSERT_EQ(item->attachments.size(), 1u);
  // What lies deeper is there as bytes.
  EXPECT_EQ(item->attachments[0].name, "message.eml");
  EXPECT_EQ(item->attachments[0].content_type, "message/rfc822");
  EXPECT_NE(item->attachments[0].content->find("innermost"), std::string::npos);
}

TEST_F(SimulatorWrite, ASubjectOfAMillionAnswersIsTaken) {
  std::string subject;
  for (int i = 0; i < 1000000; ++i) subject += "re:";
  const Id id = server.AddMessage("alice@example.com", "inbox", "Subject: " + subject + "topic\r\n\r\n");
  EXPECT_NE(server.DumpItem(id.id).find(">topic</t:ConversationTopic>"), std::string::npos);
}

}  // namespace
}  // namespace velmore::simulator::testing
