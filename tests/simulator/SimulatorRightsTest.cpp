// Permission levels, what they allow, and delegates.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

class SimulatorRights : public WriteTest {
 protected:
  static std::string Entry(const std::string& user, const std::string& rights, bool calendar = false) {
    const std::string name = calendar ? "CalendarPermission" : "Permission";
    return "<t:" + name + "><t:UserId>" + user + "</t:UserId>" + rights + "</t:" + name + ">";
  }
  static std::string Level(const std::string& level, bool calendar = false) {
    const std::string name = calendar ? "CalendarPermissionLevel" : "PermissionLevel";
    return "<t:" + name + ">" + level + "</t:" + name + ">";
  }
  static std::string Address(const std::string& name) {
    return "<t:PrimarySmtpAddress>" + name + "@example.com</t:PrimarySmtpAddress>";
  }
  Reply SetPermissions(const Element& folder, const std::string& entries, const std::string& element = "Folder",
                       const std::string& list = "Permissions") {
    return client.Call("<m:UpdateFolder><m:FolderChanges><t:FolderChange>" + Fid(folder) +
                       "<t:Updates><t:SetFolderField><t:FieldURI FieldURI=\"folder:PermissionSet\"/><t:" + element +
                       "><t:PermissionSet><t:" + list + ">" + entries + "</t:" + list +
                       "></t:PermissionSet></t:" + element +
                       "></t:SetFolderField></t:Updates></t:FolderChange></m:FolderChanges></m:UpdateFolder>");
  }
  Reply GetPermissions(const Element& folder, Client& who) {
    return who.Call(
        "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
        "FieldURI=\"folder:PermissionSet\"/></t:AdditionalProperties></m:FolderShape><m:FolderIds>" +
        Fid(folder) + "</m:FolderIds></m:GetFolder>");
  }
  static std::string Last(const Reply& reply, const char* element) { return reply.All(element).back()->text; }
  static std::string Code(Client& who, const std::string& operation) { return who.Call(operation).Code(); }
  static std::string EditXml(const std::string& id) {
    return "<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" "
           "MessageDisposition=\"SaveOnly\"><m:ItemChanges><t:ItemChange><t:ItemId Id=\"" +
           id + "\"/><t:Updates>" + SetSubject("s") + "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>";
  }
  static std::string DeleteXml(const std::string& id) {
    return "<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds><t:ItemId Id=\"" + id +
           "\"/></m:ItemIds></m:DeleteItem>";
  }

  Client bob{server, "bob", "builder"};
};

TEST_F(SimulatorRights, EachLevelAllowsWhatItIsSaidTo) {
  struct Row {
    const char* level;
    const char* allowed;  // r read, c create, e edit one's own, E edit others', d and D delete likewise, f make folders
  };
  const Row kRows[] = {{"None", ""},
                       {"Owner", "rceEdDf"},
                       {"PublishingEditor", "rceEdDf"},
                       {"Editor", "rceEdD"},
                       {"PublishingAuthor", "rcedf"},
                       {"Author", "rced"},
                       {"NoneditingAuthor", "rcd"},
                       {"Reviewer", "r"},
                       {"Contributor", "c"}};
  for (const Row& row : kRows) {
    const Element folder = NewFolder(std::string("For ") + row.level);
    const auto make = [&](Client& who) {
      return who.Call(CreateItemXml(MessageXml("m", "b@example.com"), "SaveOnly", Fid(folder)))
          .Find("ItemId")
          .AttributeText("Id");
    };
    SetPermissions(folder, Entry(Address("bob"), Level("Owner")));
    const std::string own = make(bob);
    const std::string other = make(client);
    const Reply set = SetPermissions(folder, Entry(Address("bob"), Level(row.level)));
    EXPECT_EQ(set.Code(), "NoError") << set.body;
    std::string allowed;
    if (Code(bob, FindItemXml(Fid(folder))) == "NoError") allowed += 'r';
    if (!make(bob).empty()) allowed += 'c';
    if (Code(bob, EditXml(own)) == "NoError") allowed += 'e';
    if (Code(bob, EditXml(other)) == "NoError") allowed += 'E';
    if (Code(bob, DeleteXml(own)) == "NoError") allowed += 'd';
    if (Code(bob, DeleteXml(other)) == "NoError") allowed += 'D';
    if (Code(bob, CreateFolderXml("below", Fid(folder))) == "NoError") allowed += 'f';
    EXPECT_EQ(allowed, row.allowed) << row.level;
    EXPECT_EQ(Code(client, FindItemXml(Fid(folder))), "NoError") << "the owner of the mailbox needs no permission";
  }
}

TEST_F(SimulatorRights, PermissionsAreToldWithAllThatTheyComeDownTo) {
  const Element folder = NewFolder("Shared");
  const Reply nobody = GetPermissions(folder, client);
  EXPECT_EQ(nobody.Count("Permission"), 2u) << "for all, and for those without a name";
  SetPermissions(folder, Entry(Address("bob"), Level("PublishingAuthor")) +
                             Entry("<t:DistinguishedUser>Default</t:DistinguishedUser>", Level("Contributor")));
  const Reply reply = GetPermissions(folder, client);
  const auto tell = [](const Element& permission) {
    std::string all;
    for (const Element& part : permission.children) all += part.text + " ";
    return all;
  };
  ASSERT_EQ(reply.Count("Permission"), 3u) << reply.body;
  EXPECT_EQ(tell(*reply.All("Permission")[0]), " true false false true false None None None Contributor ");
  EXPECT_EQ(tell(*reply.All("Permission")[1]), " false false false false false None None None None ");
  EXPECT_EQ(tell(*reply.All("Permission")[2]), " true true false true false Owned Owned FullDetails PublishingAuthor ");
  EXPECT_EQ(reply.All("Permission")[2]->Child("UserId")->ChildText("DisplayName"), "Bob Birch");
  // What was read can be written back.
  std::string entries;
  for (const Element* permission : reply.All("Permission")) WriteXml(*permission, entries);
  EXPECT_EQ(SetPermissions(folder, entries).Code(), "NoError");
  EXPECT_FALSE(GetPermissions(folder, bob).Has("PermissionSet")) << "only owners learn who may what";
}

TEST_F(SimulatorRights, CustomRightsThatALevelHasBearItsName) {
  const Element folder = NewFolder("Shared");
  const auto level = [&](const std::string& rights) {
    const Reply set = SetPermissions(folder, Entry(Address("bob"), rights + Level("Custom")));
    return set.Code() == "NoError" ? Last(GetPermissions(folder, client), "PermissionLevel") : set.Code();
  };
  const std::string visible = "<t:IsFolderVisible>true</t:IsFolderVisible>";
  const std::string read = "<t:ReadItems>FullDetails</t:ReadItems>";
  EXPECT_EQ(level(visible + read), "Reviewer");
  EXPECT_EQ(level("<t:CanCreateItems>true</t:CanCreateItems>" + visible), "Contributor");
  EXPECT_EQ(level(visible + "<t:EditItems>All</t:EditItems>" + read), "Custom");
  EXPECT_EQ(level(""), "ErrorInvalidPermissionSettings");
}

TEST_F(SimulatorRights, WhatCannotBeSetIsRefusedAndChangesNothing) {
  const Element folder = NewFolder("Shared");
  const Element calendar = FolderId("calendar");
  SetPermissions(folder, Entry(Address("bob"), Level("Reviewer")));
  const std::string bobs = Address("bob");
  EXPECT_EQ(SetPermissions(folder, Entry(bobs, Level("Editor")) + Entry(bobs, Level("Author"))).Code(),
            "ErrorDuplicateUserIdsSpecified");
  EXPECT_EQ(SetPermissions(folder, Entry(bobs + "<t:DistinguishedUser>Default</t:DistinguishedUser>", Level("Editor")))
                .Code(),
            "ErrorInvalidUserInfo");
  EXPECT_EQ(SetPermissions(folder, Entry("", Level("Editor"))).Code(), "ErrorInvalidUserInfo");
  EXPECT_EQ(SetPermissions(folder, Entry(Address("nobody"), Level("Editor"))).Code(), "ErrorInvalidUserInfo");
  EXPECT_EQ(SetPermissions(folder, Entry(bobs, "<t:EditItems>None</t:EditItems>" + Level("Editor"))).Code(),
            "ErrorInvalidPermissionSettings");
  EXPECT_EQ(SetPermissions(folder, Entry(bobs, Level("Editor", true), true), "Folder", "CalendarPermissions").status,
            500)
      << "the schema knows no such list here";
  EXPECT_EQ(Last(GetPermissions(folder, client), "PermissionLevel"), "Reviewer");
  const Reply busy = SetPermissions(calendar, Entry(bobs, Level("FreeBusyTimeOnly", true), true), "CalendarFolder",
                                    "CalendarPermissions");
  EXPECT_EQ(busy.Code(), "NoError") << busy.body;
  EXPECT_EQ(Last(GetPermissions(calendar, client), "ReadItems"), "TimeOnly");
  EXPECT_EQ(Code(bob, GetFolderXml(Fid(calendar))), "ErrorAccessDenied") << "when is known, what is not";
}

TEST_F(SimulatorRights, RightsOutliveARestart) {
  Options options = TestOptions();
  options.state_file = ::testing::TempDir() + "rights-" + std::to_string(::getpid()) + ".state";
  Element folder;
  {
    Started first(options);
    client.url = first.HttpUrl();
    folder = NewFolder("Shared");
    SetPermissions(folder, Entry(Address("bob"), Level("NoneditingAuthor")));
    client.Call(
        "<m:AddDelegate><m:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></m:Mailbox>"
        "<m:DelegateUsers><t:DelegateUser><t:UserId>" +
        Address("bob") +
        "</t:UserId><t:ViewPrivateItems>true</t:ViewPrivateItems></t:DelegateUser></m:DelegateUsers>"
        "<m:DeliverMeetingRequests>NoForward</m:DeliverMeetingRequests></m:AddDelegate>");
  }
  Started second(options);
  client.url = second.HttpUrl();
  EXPECT_EQ(Last(GetPermissions(folder, client), "PermissionLevel"), "NoneditingAuthor");
  const Reply delegates = client.Call(
      "<m:GetDelegate IncludePermissions=\"true\"><m:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress>"
      "</m:Mailbox></m:GetDelegate>");
  EXPECT_EQ(delegates.Find("ViewPrivateItems").text, "true");
  EXPECT_EQ(delegates.Find("DeliverMeetingRequests").text, "NoForward");
  std::remove(options.state_file.c_str());
}

TEST_F(SimulatorRights, DelegatesComeAndGo) {
  const auto call = [&](const std::string& operation, const std::string& content, const std::string& attributes = {}) {
    return client.Call("<m:" + operation + attributes +
                       "><m:Mailbox><t:EmailAddress>alice@example.com</t:EmailAddress></m:Mailbox>" + content +
                       "</m:" + operation + ">");
  };
  const auto user = [](const std::string& name, const std::string& content) {
    return "<m:DelegateUsers><t:DelegateUser><t:UserId>" + Address(name) + "</t:UserId>" + content +
           "</t:DelegateUser></m:DelegateUsers>";
  };
  const auto calendar = [](const std::string& level) {
    return "<t:DelegatePermissions><t:CalendarFolderPermissionLevel>" + level +
           "</t:CalendarFolderPermissionLevel></t:DelegatePermissions>";
  };
  const auto code = [](const Reply& reply) {
    return reply.Find("DelegateUserResponseMessageType").ChildText("ResponseCode");
  };
  const std::string appointment = "<m:CreateItem SendMeetingInvitations=\"SendToNone\"><m:SavedItemFolderId>" +
                                  Fid(FolderId("calendar")) +
                                  "</m:SavedItemFolderId><m:Items><t:CalendarItem><t:Subject>x</t:Subject></"
                                  "t:CalendarItem></m:Items></m:CreateItem>";
  EXPECT_EQ(Code(bob, appointment), "ErrorAccessDenied");
  const Reply added = call("AddDelegate", user("bob", calendar("Editor") + "<t:ReceiveCopiesOfMeetingMessages>true</"
                                                                           "t:ReceiveCopiesOfMeetingMessages>"));
  EXPECT_EQ(code(added), "NoError") << added.body;
  EXPECT_EQ(added.Find("CalendarFolderPermissionLevel").text, "Editor");
  EXPECT_EQ(added.Find("ReceiveCopiesOfMeetingMessages").text, "true");
  EXPECT_EQ(Code(bob, appointment), "NoError");
  EXPECT_EQ(code(call("AddDelegate", user("bob", {}))), "ErrorDelegateAlreadyExists");
  EXPECT_EQ(code(call("AddDelegate", user("alice", {}))), "ErrorDelegateCannotAddOwner");
  EXPECT_EQ(code(call("AddDelegate", user("nobody", {}))), "ErrorDelegateNoUser");
  EXPECT_EQ(code(call("AddDelegate", user("carol", calendar("Custom")))), "ErrorInvalidDelegatePermission");
  EXPECT_EQ(code(call("UpdateDelegate", user("carol", {}))), "ErrorNotDelegate");
  EXPECT_EQ(code(call("UpdateDelegate", user("bob", calendar("Reviewer")))), "NoError");
  EXPECT_EQ(Code(bob, appointment), "ErrorAccessDenied");
  const Reply all = call("GetDelegate", {}, " IncludePermissions=\"true\"");
  EXPECT_EQ(all.Count("DelegateUser"), 1u);
  EXPECT_EQ(all.Find("CalendarFolderPermissionLevel").text, "Reviewer");
  EXPECT_EQ(all.Find("ReceiveCopiesOfMeetingMessages").text, "true") << "what an update does not name stays";
  const std::string ids = "<m:UserIds><t:UserId>" + Address("bob") + "</t:UserId></m:UserIds>";
  EXPECT_EQ(code(call("GetDelegate", ids, " IncludePermissions=\"false\"")), "NoError");
  EXPECT_EQ(code(call("RemoveDelegate", ids)), "NoError");
  EXPECT_EQ(code(call("RemoveDelegate", ids)), "ErrorNotDelegate");
  EXPECT_EQ(call("GetDelegate", {}, " IncludePermissions=\"true\"").Count("DelegateUser"), 0u);
  EXPECT_EQ(Code(bob, appointment), "ErrorAccessDenied");
}

}  // namespace
}  // namespace velmore::simulator::testing
