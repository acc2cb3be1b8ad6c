// Where items may stand, soft deletion, synchronization, and what else a mailbox does with many items.

#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorPlaces : public WriteTest {
 protected:
  Reply Create(const std::string& xml, const std::string& folder) {
    return client.Call(
        "<m:CreateItem MessageDisposition=\"SaveOnly\" SendMeetingInvitations=\"SendToNone\"><m:SavedItemFolderId>" +
        Distinguished(folder) + "</m:SavedItemFolderId><m:Items>" + xml + "</m:Items></m:CreateItem>");
  }
  Reply Transfer(const std::string& operation, const std::string& ids, const std::string& folder) {
    return client.Call("<m:" + operation + "><m:ToFolderId>" + folder + "</m:ToFolderId><m:ItemIds>" + ids +
                       "</m:ItemIds></m:" + operation + ">");
  }
  Reply Delete(const Element& id, const std::string& type) {
    return client.Call(
        "<m:DeleteItem DeleteType=\"" + type +
        "\" SendMeetingCancellations=\"SendToNone\" AffectedTaskOccurrences=\"AllOccurrences\"><m:ItemIds>" + Ids(id) +
        "</m:ItemIds></m:DeleteItem>");
  }
  Reply SoftDeleted(const std::string& folder) {
    std::string find = FindItemXml(folder, "<t:FieldURI FieldURI=\"item:Subject\"/>");
    find.replace(find.find("Shallow"), 7, "SoftDeleted");
    return client.Call(find);
  }
  Reply SyncItems(const std::string& state, int limit = 100, const std::string& rest = {}) {
    return client.Call(
        "<m:SyncFolderItems><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
        "<t:FieldURI FieldURI=\"item:Subject\"/></t:AdditionalProperties></m:ItemShape><m:SyncFolderId>" +
        Distinguished("drafts") + "</m:SyncFolderId>" +
        (state.empty() ? "" : "<m:SyncState>" + state + "</m:SyncState>") + rest + "<m:MaxChangesReturned>" +
        std::to_string(limit) + "</m:MaxChangesReturned></m:SyncFolderItems>");
  }
  Reply SyncFolders(const std::string& state) {
    return client.Call("<m:SyncFolderHierarchy><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape>" +
                       (state.empty() ? "" : "<m:SyncState>" + state + "</m:SyncState>") + "</m:SyncFolderHierarchy>");
  }
  /// "Create a, Delete": the changes of a reply with their subjects or names.
  static std::string Told(const Reply& reply) {
    std::string text;
    for (const Element& change : reply.Find("Changes").children) {
      text += (text.empty() ? "" : ", ") + change.name;
      for (const Element& child : change.children)
        for (const char* name : {"Subject", "DisplayName"})
          if (!child.ChildText(name).empty()) text += " " + child.ChildText(name);
      if (!change.ChildText("IsRead").empty()) text += " " + change.ChildText("IsRead");
    }
    return text;
  }
};

const std::pair<const char*, const char*> kKinds[] = {
    {"calendar", "<t:CalendarItem><t:Subject>s</t:Subject></t:CalendarItem>"},
    {"contacts", "<t:Contact><t:Subject>s</t:Subject></t:Contact>"},
    {"contacts", "<t:DistributionList><t:Subject>s</t:Subject></t:DistributionList>"},
    {"tasks", "<t:Task><t:Subject>s</t:Subject></t:Task>"},
    {"inbox", "<t:PostItem><t:Subject>s</t:Subject></t:PostItem>"},
    {"drafts", "<t:Message><t:Subject>s</t:Subject></t:Message>"}};

TEST_F(SimulatorPlaces, ItemsGoWhereTheyMay) {
  const char* const kCodes[] = {
      "ErrorCannotCreateCalendarItemInNonCalendarFolder", "ErrorCannotCreateContactInNonContactFolder",
      "ErrorCannotCreateContactInNonContactFolder",       "ErrorCannotCreateTaskInNonTaskFolder",
      "ErrorCannotCreatePostItemInNonMailFolder",         "NoError"};  // a message may stand everywhere
  for (std::size_t i = 0; i < std::size(kKinds); ++i) {
    const auto& [home, xml] = kKinds[i];
    for (const char* folder : {"calendar", "contacts", "tasks", "notes"}) {
      const bool fits = folder == std::string(home) || (home == std::string("inbox") && folder == std::string("notes"));
      const Element id = Make(xml, home);
      EXPECT_EQ(Create(xml, folder).Code(), fits ? "NoError" : kCodes[i]) << xml << " in " << folder;
      EXPECT_EQ(Transfer("CopyItem", Ids(id), Distinguished(folder)).Code(), fits ? "NoError" : kCodes[i]);
      EXPECT_EQ(Transfer("MoveItem", Ids(id), Distinguished(folder)).Code(), fits ? "NoError" : kCodes[i]);
    }
    const Element id = Make(xml, home);
    EXPECT_EQ(Create(xml, "todosearch").Code(), "ErrorInvalidFolderTypeForOperation") << xml;
    EXPECT_EQ(Transfer("CopyItem", Ids(id), Distinguished("todosearch")).Code(), "ErrorInvalidFolderTypeForOperation");
    EXPECT_EQ(Transfer("MoveItem", Ids(id), Distinguished("deleteditems")).Code(), "NoError")
        << "all can be thrown away";
  }
}

TEST_F(SimulatorPlaces, WhatIsDeletedSoftlyStandsElsewhereAndCanBeHadBack) {
  for (const char* version : {"Exchange2007_SP1", "Exchange2016"}) {
    Options options = TestOptions();
    options.version = version;
    Started other(options);
    client.url = other.HttpUrl();
    client.version = version;
    const Element live = Make(MessageXml("live", "bob@example.com"));
    const Element id = Make(MessageXml("gone", "bob@example.com"));
    EXPECT_EQ(Delete(id, "SoftDelete").Code(), "NoError");
    EXPECT_EQ(SoftDeleted("inbox").Count("Subject"), 0u) << "of another folder";
    const Reply found = SoftDeleted("drafts");
    ASSERT_EQ(found.Count("Subject"), 1u) << version;
    EXPECT_EQ(found.Find("Subject").text, "gone");
    EXPECT_EQ(client.Call(FindItemXml("drafts")).Count("ItemId"), 1u);
    EXPECT_EQ(client.Call(GetFolderXml(Distinguished("drafts"))).Find("TotalCount").text, "1");
    EXPECT_EQ(Transfer("MoveItem", Ids(found.Find("ItemId")), Distinguished("drafts")).Code(), "NoError");
    EXPECT_EQ(SoftDeleted("drafts").Count("Subject"), 0u);
    EXPECT_EQ(client.Call(FindItemXml("drafts")).Count("ItemId"), 2u);
    EXPECT_EQ(Delete(live, "HardDelete").Code(), "NoError");
    EXPECT_EQ(SoftDeleted("drafts").Count("Subject"), 0u) << "what is deleted for good is nowhere";
  }
}

TEST_F(SimulatorPlaces, FoldersThatAreDeletedSoftlyCanBeHadBack) {
  const Element id = NewFolder("Papers");
  const auto find = [&](const char* traversal) {
    return client
               .Call("<m:FindFolder Traversal=\"" + std::string(traversal) +
                     "\"><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape><m:ParentFolderIds>" +
                     Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>")
               .body.find("Papers") != std::string::npos;
  };
  EXPECT_FALSE(find("SoftDeleted"));
  client.Call("<m:DeleteFolder DeleteType=\"SoftDelete\"><m:FolderIds>" + Fid(id) + "</m:FolderIds></m:DeleteFolder>");
  EXPECT_TRUE(find("SoftDeleted"));
  EXPECT_FALSE(find("Deep"));
  client.Call("<m:MoveFolder><m:ToFolderId>" + Distinguished("msgfolderroot") + "</m:ToFolderId><m:FolderIds>" +
              Fid(id) + "</m:FolderIds></m:MoveFolder>");
  EXPECT_FALSE(find("SoftDeleted"));
  EXPECT_TRUE(find("Shallow"));
}

TEST_F(SimulatorPlaces, OtherMailboxesTellNoIds) {
  Client carol(server, "carol", "cembalo");
  Options options = TestOptions();
  options.users[0].grants = {{"bob@example.com", "", Access::kOwner}};
  Started shared(options);
  client.url = shared.HttpUrl();
  const std::string there =
      "<t:DistinguishedFolderId "
      "Id=\"inbox\"><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:DistinguishedFolderId>";
  for (const char* operation : {"CopyItem", "MoveItem"}) {
    const Element id = Make(MessageXml("s", "bob@example.com"));
    EXPECT_EQ(Transfer(operation, Ids(id), Distinguished("inbox")).Count("ItemId"), 1u);
    const Element another = Make(MessageXml("s", "bob@example.com"));
    const Reply reply = Transfer(operation, Ids(another), there);
    EXPECT_EQ(reply.Code(), "NoError");
    EXPECT_TRUE(reply.Has("Items"));
    EXPECT_FALSE(reply.Has("ItemId")) << operation;
  }
  EXPECT_EQ(shared.CountItems("bob@example.com", "inbox"), 2u);
}

TEST_F(SimulatorPlaces, ManyIdsHaveAMessageEachInOrderAlsoWhenSomeFail) {
  const Element good = Make(MessageXml("s", "bob@example.com"));
  const std::string ids = Ids(good) + "<t:ItemId Id=\"nonsense\"/>" + Ids(good) + "<t:ItemId Id=\"" +
                          FolderId("inbox").AttributeText("Id") + "\"/>";
  for (const std::string& request :
       {"<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:ItemIds>" + ids +
            "</m:ItemIds></m:GetItem>",
        "<m:CopyItem><m:ToFolderId>" + Distinguished("inbox") + "</m:ToFolderId><m:ItemIds>" + ids +
            "</m:ItemIds></m:CopyItem>",
        "<m:MoveItem><m:ToFolderId>" + Distinguished("inbox") + "</m:ToFolderId><m:ItemIds>" + ids +
            "</m:ItemIds></m:MoveItem>"}) {
    std::string codes;
    const Reply reply = client.Call(request);
    for (const Element* code : reply.All("ResponseCode")) codes += code->text + " ";
    const bool move = request.starts_with("<m:Move");
    EXPECT_EQ(codes, std::string("NoError ErrorInvalidIdMalformed ") + (move ? "ErrorItemNotFound" : "NoError") +
                         " ErrorCannotUseFolderIdForItemId ");
  }
}

TEST_F(SimulatorPlaces, AllItemsAreMarkedAsRead) {
  for (int i = 0; i < 3; ++i) server.AddMessage("alice@example.com", "inbox", "Subject: s\r\n\r\n");
  const auto mark = [&](const char* flag) {
    return client
        .Call("<m:MarkAllItemsAsRead><m:ReadFlag>" + std::string(flag) +
              "</m:ReadFlag><m:SuppressReadReceipts>true</m:SuppressReadReceipts><m:FolderIds>" +
              Distinguished("inbox") + "</m:FolderIds></m:MarkAllItemsAsRead>")
        .Code();
  };
  const auto unread = [&] { return client.Call(GetFolderXml(Distinguished("inbox"))).Find("UnreadCount").text; };
  EXPECT_EQ(unread(), "3");
  EXPECT_EQ(mark("true"), "NoError");
  EXPECT_EQ(unread(), "0");
  EXPECT_EQ(mark("false"), "NoError");
  EXPECT_EQ(unread(), "3");
  client.version = "Exchange2010";
  EXPECT_EQ(mark("true"), "ErrorSchemaValidation") << "unknown there";
}

TEST_F(SimulatorPlaces, ItemsAreSynchronized) {
  const Element a = Make(MessageXml("a", "bob@example.com"));
  const Element b = Make(MessageXml("b", "bob@example.com"));
  Reply reply = SyncItems("");
  EXPECT_EQ(Told(reply), "Create a, Create b");
  EXPECT_EQ(reply.Find("IncludesLastItemInRange").text, "true");
  const std::string first = reply.Find("SyncState").text;
  EXPECT_EQ(Told(SyncItems(first)), "") << "nothing happened";

  Update(a, SetSubject("a2"));
  Update(b,
         "<t:SetItemField><t:FieldURI "
         "FieldURI=\"message:IsRead\"/><t:Message><t:IsRead>false</t:IsRead></t:Message></t:SetItemField>");
  Make(MessageXml("c", "bob@example.com"));
  reply = SyncItems(first);
  EXPECT_EQ(Told(reply), "Update a2, ReadFlagChange false, Create c");
  EXPECT_EQ(Told(SyncItems(first)), "Update a2, ReadFlagChange false, Create c") << "a state can be used again";
  const std::string second = reply.Find("SyncState").text;
  Delete(a, "MoveToDeletedItems");
  reply = SyncItems(second);
  EXPECT_EQ(Told(reply), "Delete");
  EXPECT_EQ(reply.Find("ItemId").AttributeText("Id"), a.AttributeText("Id"));
  const Element brief = Make(MessageXml("brief", "bob@example.com"));
  Delete(brief, "HardDelete");
  EXPECT_EQ(Told(SyncItems(reply.Find("SyncState").text)), "") << "who never saw it is not told that it has gone";
  EXPECT_EQ(Told(SyncItems("", 100, "<m:Ignore>" + Ids(b) + "</m:Ignore>")), "Create c");
}

TEST_F(SimulatorPlaces, SynchronizationComesInPieces) {
  for (int i = 0; i < 5; ++i) Make(MessageXml(std::to_string(i), "bob@example.com"));
  std::string state;
  std::string all;
  for (int rounds = 0; rounds < 3; ++rounds) {
    const Reply reply = SyncItems(state, 2);
    state = reply.Find("SyncState").text;
    all += Told(reply) + ";";
    EXPECT_EQ(reply.Find("IncludesLastItemInRange").text, rounds == 2 ? "true" : "false");
  }
  EXPECT_EQ(all, "Create 0, Create 1;Create 2, Create 3;Create 4;");
  for (const int wrong : {0, 513}) EXPECT_NE(SyncItems("", wrong).Code(), "NoError");
}

/// Behind a page of two, with more to come.
std::string Behind(const Reply& page) {
  EXPECT_EQ(page.Find("IncludesLastItemInRange").text, "false");
  return page.Find("SyncState").text;
}

TEST_F(SimulatorPlaces, WhatChangesBetweenTwoPiecesIsToldAsWhatItIsToThisClient) {
  const Element a = Make(MessageXml("a", "bob@example.com")), b = Make(MessageXml("b", "bob@example.com"));
  const Element c = Make(MessageXml("c", "bob@example.com")), d = Make(MessageXml("d", "bob@example.com"));
  const Element e = Make(MessageXml("e", "bob@example.com"));
  Reply page = SyncItems("", 2);
  EXPECT_EQ(Told(page), "Create a, Create b");
  Update(a, SetSubject("a2"));  // was told
  Update(c, SetSubject("c2"));  // was not: it is new to the client all the same
  Delete(b, "HardDelete");
  Delete(d, "HardDelete");
  page = SyncItems(Behind(page), 2);
  EXPECT_EQ(Told(page), "Create c2, Create e");
  Make(MessageXml("f", "bob@example.com"));
  page = SyncItems(page.Find("SyncState").text);
  // The client never knew of d; to be told that it has gone does it no harm.
  EXPECT_EQ(Told(page), "Update a2, Update c2, Delete, Delete, Create f");
  EXPECT_EQ(Told(SyncItems(page.Find("SyncState").text)), "");
  EXPECT_NE(e.AttributeText("Id"), "");
}

TEST_F(SimulatorPlaces, AnUpdateThatAReadFlagOvertookIsNotLost) {
  const Element a = Make(MessageXml("a", "bob@example.com")), b = Make(MessageXml("b", "bob@example.com"));
  const Element c = Make(MessageXml("c", "bob@example.com"));
  const std::string known = SyncItems("").Find("SyncState").text;
  for (const Element& id : {a, b, c}) Update(id, SetSubject("new"));
  const Reply page = SyncItems(known, 1);
  EXPECT_EQ(Told(page), "Update new");
  const std::string flag =
      "<t:SetItemField><t:FieldURI FieldURI=\"message:IsRead\"/><t:Message><t:IsRead>false</t:IsRead></t:Message>"
      "</t:SetItemField>";
  ASSERT_EQ(Update(c, flag, "AlwaysOverwrite").Code(), "NoError");  // its turn was to come
  const Reply rest = SyncItems(Behind(page));
  EXPECT_EQ(Told(rest), "Update new");
  const Reply next = SyncItems(rest.Find("SyncState").text);
  EXPECT_EQ(Told(next), "Update new") << "not the read flag alone: the subject of this one was not told";
  EXPECT_EQ(next.Find("ItemId").AttributeText("Id"), c.AttributeText("Id"));
  ASSERT_EQ(Update(c, SetSubject("newer"), "AlwaysOverwrite").Code(), "NoError");
  EXPECT_EQ(Told(SyncItems(next.Find("SyncState").text)), "Update newer");
}

TEST_F(SimulatorPlaces, FoldersThatMoveAwayGoWithWhatIsInThem) {
  const Element papers = NewFolder("Papers");
  const auto below = [&](const Element& parent, const char* name) {
    return client
        .Call("<m:CreateFolder><m:ParentFolderId>" + Fid(parent) +
              "</m:ParentFolderId><m:Folders><t:Folder><t:DisplayName>" + name +
              "</t:DisplayName></t:Folder></m:Folders></m:CreateFolder>")
        .Find("FolderId");
  };
  const Element old = below(papers, "Old"), shelf = NewFolder("Shelf");
  const auto sync = [&](const Element& root, const std::string& state) {
    return client.Call(
        "<m:SyncFolderHierarchy><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape>"
        "<m:SyncFolderId>" +
        Fid(root) + "</m:SyncFolderId>" + (state.empty() ? "" : "<m:SyncState>" + state + "</m:SyncState>") +
        "</m:SyncFolderHierarchy>");
  };
  const auto move = [&](const Element& folder, const Element& to) {
    ASSERT_EQ(client
                  .Call("<m:MoveFolder><m:ToFolderId>" + Fid(to) + "</m:ToFolderId><m:FolderIds>" + Fid(folder) +
                        "</m:FolderIds></m:MoveFolder>")
                  .Code(),
              "NoError");
  };
  const std::string shelved = sync(shelf, "").Find("SyncState").text;
  move(papers, shelf);
  Reply reply = sync(shelf, shelved);
  EXPECT_EQ(Told(reply), "Create Papers, Create Old") << "one that was here before this client looked, and moved in";
  const std::string both = reply.Find("SyncState").text;
  EXPECT_EQ(Told(sync(shelf, both)), "");
  move(papers, FolderId("msgfolderroot"));
  reply = sync(shelf, both);
  EXPECT_EQ(Told(reply), "Delete, Delete");
  EXPECT_EQ(Told(sync(shelf, reply.Find("SyncState").text)), "");
  client.Call("<m:DeleteFolder DeleteType=\"HardDelete\"><m:FolderIds>" + Fid(papers) +
              "</m:FolderIds></m:DeleteFolder>");
  EXPECT_EQ(Told(sync(shelf, reply.Find("SyncState").text)), "") << "elsewhere";
  EXPECT_EQ(sync(old, "").Code(), "ErrorSyncFolderNotFound");
}

TEST_F(SimulatorPlaces, EmptyingAFolderDeletesItsSubfoldersAsItsItemsAndLeavesSettings) {
  for (const auto& [how, where] : {std::pair("SoftDelete", "nowhere"), {"MoveToDeletedItems", "Deleted Items/Old"}}) {
    server.AddMessage("alice@example.com", "Papers", "Subject: s\r\n\r\n");
    server.AddMessage("alice@example.com", "Papers/Old", "Subject: s\r\n\r\n");
    server.SetUserConfiguration("alice@example.com", "Papers", "Settings", "<a/>");
    const Element papers = [&] {
      const Reply reply = client.Call(
          "<m:FindFolder Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape>"
          "<m:ParentFolderIds>" +
          Distinguished("msgfolderroot") + "</m:ParentFolderIds></m:FindFolder>");
      for (const Element* folder : reply.All("Folder"))
        if (folder->ChildText("DisplayName") == "Papers") return *folder->Child("FolderId");
      return Element();
    }();
    EXPECT_EQ(client
                  .Call("<m:EmptyFolder DeleteType=\"" + std::string(how) +
                        "\" DeleteSubFolders=\"true\"><m:FolderIds>" + Fid(papers) + "</m:FolderIds></m:EmptyFolder>")
                  .Code(),
              "NoError");
    EXPECT_EQ(server.CountItems("alice@example.com", "Papers"), 1u) << "the settings";
    EXPECT_EQ(server.CountItems("alice@example.com", "Papers/Old"), 0u);
    EXPECT_EQ(server.CountItems("alice@example.com", where), std::string(where) == "nowhere" ? 0u : 1u);
    const Reply soft = client.Call(
        "<m:FindFolder Traversal=\"SoftDeleted\"><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape>"
        "<m:ParentFolderIds>" +
        Fid(papers) + "</m:ParentFolderIds></m:FindFolder>");
    EXPECT_EQ(soft.Count("DisplayName"), 1u) << how << " " << soft.body;
  }
}

TEST_F(SimulatorPlaces, FoldersAreSynchronized) {
  Reply reply = SyncFolders("");
  EXPECT_EQ(reply.Find("IncludesLastFolderInRange").text, "true");
  EXPECT_NE(Told(reply).find("Create Inbox"), std::string::npos);
  const std::string state = reply.Find("SyncState").text;
  EXPECT_EQ(Told(SyncFolders(state)), "");
  const Element id = NewFolder("Papers", "inbox");
  reply = SyncFolders(state);
  EXPECT_EQ(Told(reply), "Update Inbox, Create Papers");
  const std::string second = reply.Find("SyncState").text;
  client.Call("<m:DeleteFolder DeleteType=\"HardDelete\"><m:FolderIds>" + Fid(id) + "</m:FolderIds></m:DeleteFolder>");
  EXPECT_EQ(Told(SyncFolders(second)), "Update Inbox, Delete");
  EXPECT_EQ(Told(SyncFolders(state)), "Update Inbox");
}

TEST_F(SimulatorPlaces, StatesOfOthersAreRefused) {
  const std::string folders = SyncFolders("").Find("SyncState").text;
  for (const std::string& wrong :
       {folders, std::string("nonsense!"), std::string("QUJD"), EncodeBase64("sync 2 items x y 5 5 0 0")})
    EXPECT_EQ(SyncItems(wrong).Code(), "ErrorInvalidSyncStateData") << wrong;
}

TEST_F(SimulatorPlaces, WhatIsNotThereSaysSo) {
  for (const char* name : {"FindPeople", "FindConversation", "MarkAsJunk"}) {
    const Reply reply = client.Call("<m:" + std::string(name) + "/>");
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.Code(), "ErrorInvalidOperation");
    EXPECT_EQ(reply.Find("faultstring").text, "The simulator does not have " + std::string(name) + ".");
  }
  EXPECT_EQ(client.Call("<m:Nonsense/>").Code(), "ErrorSchemaValidation");
  EXPECT_NE(client.Call("<m:Nonsense/>").body.find("Could not find schema information"), std::string::npos);
}

// What an update leaves alone

TEST_F(SimulatorPlaces, AnotherMimeTextLeavesTheHistoryOfAMessage) {
  const auto mime = [](const std::string& text) {
    return "<t:MimeContent CharacterSet=\"UTF-8\">" + EncodeBase64(text) + "</t:MimeContent>";
  };
  const std::string update =
      "<t:SetItemField><t:FieldURI FieldURI=\"item:MimeContent\"/><t:Message>" +
      mime("From: x@example.org\r\nSubject: another\r\nDate: Mon, 02 Feb 2026 10:00:00 +0000\r\n\r\nbody") +
      "</t:Message></t:SetItemField>";
  server.AddMessage("alice@example.com", "inbox", "Subject: received\r\n\r\nx");
  const Element received = client.Call(FindItemXml("inbox")).Find("ItemId");
  const Element draft = Make(MessageXml("draft", "bob@example.com"));
  for (const Element& id : {draft, received}) {
    const Element before = Item(id);
    ASSERT_EQ(Update(id, update, "AlwaysOverwrite").Code(), "NoError");
    const Element after = Item(id);
    EXPECT_EQ(after.ChildText("Subject"), "another");
    for (const char* name :
         {"IsDraft", "IsRead", "IsFromMe", "ConversationTopic", "ConversationIndex", "DateTimeReceived"})
      EXPECT_EQ(after.ChildText(name), before.ChildText(name)) << name;
    EXPECT_EQ(after.Child("ConversationId")->AttributeText("Id"), before.Child("ConversationId")->AttributeText("Id"));
  }
}

TEST_F(SimulatorPlaces, WhetherAResponseIsWantedCanBeUpdated) {
  const Element id = Make(MessageXml("s", "bob@example.com"));
  EXPECT_EQ(Update(id,
                   "<t:SetItemField><t:FieldURI "
                   "FieldURI=\"message:IsResponseRequested\"/><t:Message><t:IsResponseRequested>true</"
                   "t:IsResponseRequested></t:Message></t:SetItemField>")
                .Code(),
            "NoError");
  EXPECT_EQ(Item(id).ChildText("IsResponseRequested"), "true");
}

TEST_F(SimulatorPlaces, APermissionSetThatWasNeverSetCanBeDeletedBesideARename) {
  const Element id = NewFolder("old");
  EXPECT_EQ(client
                .Call("<m:UpdateFolder><m:FolderChanges><t:FolderChange>" + Fid(id) +
                      "<t:Updates><t:SetFolderField><t:FieldURI "
                      "FieldURI=\"folder:DisplayName\"/><t:Folder><t:DisplayName>new</t:DisplayName></t:Folder></"
                      "t:SetFolderField>"
                      "<t:DeleteFolderField><t:FieldURI "
                      "FieldURI=\"folder:PermissionSet\"/></t:DeleteFolderField></t:Updates></t:FolderChange></"
                      "m:FolderChanges></m:UpdateFolder>")
                .Code(),
            "NoError");
  EXPECT_EQ(client.Call(GetFolderXml(Fid(id))).Find("DisplayName").text, "new");
}

TEST_F(SimulatorPlaces, ACardIsAContactAndNeedsNoDisposition) {
  const std::string card =
      "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Penhallow;Eve;M.;;Jr.\r\nFN:Eve "
      "Penhallow\r\nORG:Lighthouse;Lamps\r\nTITLE:Keeper\r\n"
      "EMAIL;TYPE=INTERNET:eve@example.org\r\nEMAIL:e2@example.org\r\nTEL;TYPE=home:1\r\nTEL;TYPE=cell:2\r\nTEL;TYPE="
      "work,fax:3\r\nTEL:4\r\n"
      "ADR;TYPE=home:;;1 Quay\\, North;Town;County;99;Land\r\nBDAY:1980-01-02\r\nNOTE:a long\r\n  note\\nof two "
      "lines\r\nEND:VCARD\r\n";
  const auto import = [&](const char* folder, const std::string& attributes) {
    return client.Call("<m:CreateItem" + attributes + "><m:SavedItemFolderId>" + Distinguished(folder) +
                       "</m:SavedItemFolderId><m:Items><t:Message><t:MimeContent CharacterSet=\"UTF-8\">" +
                       EncodeBase64(card) + "</t:MimeContent></t:Message></m:Items></m:CreateItem>");
  };
  const Reply made = import("contacts", "");
  ASSERT_EQ(made.Code(), "NoError") << made.body;
  const Element contact = Item(made.Find("ItemId"));
  EXPECT_EQ(contact.name, "Contact");
  const std::pair<const char*, const char*> kTexts[] = {{"DisplayName", "Eve Penhallow"},
                                                        {"Surname", "Penhallow"},
                                                        {"GivenName", "Eve"},
                                                        {"MiddleName", "M."},
                                                        {"Generation", "Jr."},
                                                        {"CompanyName", "Lighthouse"},
                                                        {"Department", "Lamps"},
                                                        {"JobTitle", "Keeper"},
                                                        {"Body", "a long note\nof two lines"},
                                                        {"Birthday", "1980-01-02T00:00:00Z"},
                                                        {"ItemClass", "IPM.Contact"},
                                                        {"Subject", "Eve Penhallow"}};
  for (const auto& [name, text] : kTexts) EXPECT_EQ(contact.ChildText(name), text) << name;
  const auto entry = [&](const char* list, const char* key) -> std::string {
    for (const Element& e : contact.Child(list)->children)
      if (e.AttributeText("Key") == key) return e.text + e.ChildText("Street");
    return "none";
  };
  EXPECT_EQ(entry("EmailAddresses", "EmailAddress1"), "eve@example.org");
  EXPECT_EQ(entry("EmailAddresses", "EmailAddress2"), "e2@example.org");
  EXPECT_EQ(entry("PhoneNumbers", "HomePhone"), "1");
  EXPECT_EQ(entry("PhoneNumbers", "MobilePhone"), "2");
  EXPECT_EQ(entry("PhoneNumbers", "BusinessFax"), "3");
  EXPECT_EQ(entry("PhoneNumbers", "BusinessPhone"), "4");
  EXPECT_EQ(entry("PhysicalAddresses", "Home"), "1 Quay, North");
  EXPECT_EQ(import("inbox", " MessageDisposition=\"SaveOnly\"").Code(), "ErrorCannotCreateContactInNonContactFolder");
}

TEST_F(SimulatorPlaces, AnEventIsAnAppointmentAndNeedsToKnowAboutInvitations) {
  const std::string event =
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:abc\r\nSUMMARY:Lamp\\, "
      "new\r\nLOCATION:Top\r\nDTSTART:20260203T100000Z\r\n"
      "DTEND:20260203T113000Z\r\nTRANSP:TRANSPARENT\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
  const auto import = [&](const std::string& attributes) {
    return client.Call("<m:CreateItem" + attributes + "><m:SavedItemFolderId>" + Distinguished("calendar") +
                       "</m:SavedItemFolderId><m:Items><t:Message><t:MimeContent CharacterSet=\"UTF-8\">" +
                       EncodeBase64(event) + "</t:MimeContent></t:Message></m:Items></m:CreateItem>");
  };
  EXPECT_EQ(import("").Code(), "ErrorSendMeetingInvitationsRequired");
  const Reply made = import(" SendMeetingInvitations=\"SendToNone\"");
  ASSERT_EQ(made.Code(), "NoError") << made.body;
  const Element item = Item(made.Find("ItemId"));
  EXPECT_EQ(item.name, "CalendarItem");
  const std::pair<const char*, const char*> kTexts[] = {{"Subject", "Lamp, new"},
                                                        {"Location", "Top"},
                                                        {"Start", "2026-02-03T10:00:00Z"},
                                                        {"End", "2026-02-03T11:30:00Z"},
                                                        {"UID", "abc"},
                                                        {"LegacyFreeBusyStatus", "Free"},
                                                        {"Duration", "PT90M"}};
  for (const auto& [name, text] : kTexts) EXPECT_EQ(item.ChildText(name), text) << name;
}

TEST_F(SimulatorPlaces, AMessageNeedsADispositionWhereverItGoes) {
  for (const char* folder : {"inbox", "contacts"})
    EXPECT_EQ(client
                  .Call("<m:CreateItem><m:SavedItemFolderId>" + Distinguished(folder) +
                        "</m:SavedItemFolderId><m:Items><t:Message><t:MimeContent>" +
                        EncodeBase64("Subject: x\r\n\r\ny") + "</t:MimeContent></t:Message></m:Items></m:CreateItem>")
                  .Code(),
              "ErrorMessageDispositionRequired");
}

}  // namespace
}  // namespace velmore::simulator::testing
