// Folders by their paths, and the folders of a whole tree.

#include <algorithm>

#include "ews/idioms/uVqEWSFolderTree.h"
#include "ews/idioms/uVqEWSRanges.h"
#include "tests/wire/BothForms.h"

namespace velmore::testing {
namespace {

class FolderPath : public BothFormsTest {
 protected:
  FolderPath() { Store(); }  // who it belongs to is asked for once

  TItemId Make(IVqEWSFolder& parent, const std::string& name, TSetFolderFieldType type = sffFolder) {
    return parent.CreateFolder(type, name);
  }
  TVqRef<IVqEWSFolder> Root() { return Folder(dfinmsgfolderroot); }
  /// What a search for a folder that is missing says.
  template <typename TAction>
  static std::string Missing(TAction action) {
    return MessageOf<EEWSException>(action);
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, FolderPath, ::testing::Bool(), FormOf);

TEST_P(FolderPath, IsOneLookForEachPartAndALoad) {
  AddMessage("One", "Projects/2026");
  TVqRef<IVqEWSFolder> folder;
  EXPECT_EQ(Sent([&] { folder = Store().GetFolder("Projects/2026"); }),
            (Names{"FindFolder", "FindFolder", "GetFolder"}));
  EXPECT_EQ(folder->GetDisplayName(), "2026");
  EXPECT_EQ(folder->GetTotalCount(), 1);
  EXPECT_EQ(
      Requests("FindFolder").front(),
      "<m:FindFolder Traversal=\"Shallow\"><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape>"
      "<t:AdditionalProperties><t:FieldURI FieldURI=\"folder:DisplayName\"/></t:AdditionalProperties>"
      "</m:FolderShape><m:IndexedPageFolderView MaxEntriesReturned=\"50\" Offset=\"0\" BasePoint=\"Beginning\"/>"
      "<m:Restriction><t:Contains ContainmentMode=\"FullString\" ContainmentComparison=\"IgnoreCase\"><t:FieldURI "
      "FieldURI=\"folder:DisplayName\"/><t:Constant Value=\"Projects\"/></t:Contains></m:Restriction>"
      "<m:ParentFolderIds><t:DistinguishedFolderId Id=\"msgfolderroot\"/></m:ParentFolderIds></m:FindFolder>");
  EXPECT_NE(Requests("FindFolder").back().find("<m:ParentFolderIds><t:FolderId Id=\""), std::string::npos);
}

TEST_P(FolderPath, BelowAFolder) {
  AddMessage("One", "Projects/2026/May");
  const auto projects = Store().GetFolder("Projects");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(projects->GetSubFolder("2026/May")->GetDisplayName(), "May"); }),
            (Names{"FindFolder", "FindFolder", "GetFolder"}));
  EXPECT_TRUE(Supports<IVqEWSMsgStore>(projects->GetSubFolder("2026")->GetCreatedBy()))
      << "like a folder that the store opens";
}

TEST_P(FolderPath, CaseDoesNotCountAndASlashMayStandAtEitherEnd) {
  AddMessage("One", "Projects/2026");
  for (const char* path : {"projects/2026", "/PROJECTS/2026", "Projects/2026/", "/Projects/2026/"})
    EXPECT_EQ(Store().GetFolder(path)->GetDisplayName(), "2026") << path;
  EXPECT_EQ(Store().GetFolder(string(u"inbox"))->GetDisplayName(), "Inbox");
}

TEST_P(FolderPath, OfTwoNamesThatDifferInCaseTheOneAsWritten) {
  const auto answer = [&](const char* first, const char* second) {
    return ReplyOf("FindFolder", std::string("<m:RootFolder IndexedPagingOffset=\"2\" TotalItemsInView=\"2\" "
                                             "IncludesLastItemInRange=\"true\"><t:Folders>") +
                                     "<t:Folder><t:FolderId Id=\"" + Root()->GetID().Id.utf8() + "\"/><t:DisplayName>" +
                                     first + "</t:DisplayName></t:Folder><t:Folder><t:FolderId Id=\"" +
                                     Inbox()->GetID().Id.utf8() + "\"/><t:DisplayName>" + second +
                                     "</t:DisplayName></t:Folder></t:Folders></m:RootFolder>");
  };
  AnswerNext("FindFolder", answer("WORK", "Work"));
  EXPECT_EQ(Store().GetFolder("Work")->GetDisplayName(), "Inbox");
  AnswerNext("FindFolder", answer("WORK", "Work"));
  EXPECT_NE(Store().GetFolder("work")->GetDisplayName(), "Inbox") << "the first, when neither is as written";
  AnswerNext("FindFolder", answer("Worker", "Workshop"));  // a server that does not filter
  EXPECT_EQ(Store().FindFolder("work"), nullptr);
}

TEST_P(FolderPath, ANameMayHaveASlashOrABackslash) {
  Make(*Root(), "In / Out");
  Make(*Root(), "C:\\temp");
  Make(*Root(), "x\\/y");
  EXPECT_EQ(Store().GetFolder("In \\/ Out")->GetDisplayName(), "In / Out");
  EXPECT_EQ(Store().GetFolder(u"In \uF8FF Out")->GetDisplayName(), "In / Out") << "as the server's listings write it";
  EXPECT_EQ(Store().GetFolder("C:\\\\temp")->GetDisplayName(), "C:\\temp");
  EXPECT_EQ(Store().GetFolder("C:\\temp")->GetDisplayName(), "C:\\temp") << "a backslash before anything else is one";
  EXPECT_EQ(Store().GetFolder(VqFolderPathPart("x\\/y"))->GetDisplayName(), "x\\/y");
  EXPECT_EQ(VqFolderPathPart("x\\/y"), "x\\\\\\/y");
  EXPECT_EQ(VqFolderPathParts("a\\/b/c\\\\/d"), (std::vector<string>{"a/b", "c\\", "d"}));
}

TEST_P(FolderPath, WhateverAPersonTypesIsAName) {
  const char* const name = "Birch & \"Sons\" <x>'";
  Make(*Root(), name);
  EXPECT_EQ(Store().GetFolder(name)->GetDisplayName(), name);
}

TEST_P(FolderPath, TheMissingPartIsNamed) {
  AddMessage("One", "Projects/2026");
  EXPECT_EQ(Missing([&] { Store().GetFolder("Project/2026"); }),
            "ErrorFolderNotFound (There is no folder \"Project\".).");
  EXPECT_EQ(Missing([&] { Store().GetFolder("projects/2025/May"); }),
            "ErrorFolderNotFound (There is no folder \"2025\" in \"projects\".).");
  EXPECT_EQ(Missing([&] { Store().GetFolder("Projects/2026")->GetSubFolder("May"); }),
            "ErrorFolderNotFound (There is no folder \"May\".).");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Store().FindFolder("Projects/2025"), nullptr); }),
            (Names{"FindFolder", "FindFolder"}));
  EXPECT_EQ(Root()->FindSubFolder("Projekte"), nullptr);
  EXPECT_EQ(Root()->FindSubFolder("Projects")->GetDisplayName(), "Projects");
}

TEST_P(FolderPath, OtherFailuresAreNoMissingFolders) {
  RefuseNext("FindFolder", "ErrorAccessDenied");
  EXPECT_EQ(CodeOf([&] { Store().FindFolder("Projects"); }), "ErrorAccessDenied");
}

TEST_P(FolderPath, EmptyPartsAreRefused) {
  for (const char* path : {"", "/", "//", "a//b", "/a//", "a//"}) {
    EXPECT_EQ(Sent([&] {
                EXPECT_EQ(MessageOf<EVqException>([&] { Store().GetFolder(path); }),
                          "The path \"" + std::string(path) + "\" of a folder has an empty part.");
              }),
              Names{});
  }
}

TEST_P(FolderPath, ACalendarIsACalendar) {
  Make(*Root(), "Shifts", sffCalendarFolder);
  TVqRef<IVqEWSFolder> folder;
  EXPECT_EQ(Sent([&] { folder = Store().GetFolder("Shifts"); }), (Names{"FindFolder", "GetFolder"}));
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(folder));
}

// ---- Made by their paths

TEST_P(FolderPath, WhatIsMissingIsMade) {
  TVqRef<IVqEWSFolder> march;
  const auto root = Root();
  EXPECT_EQ(Sent([&] { march = VqMakeFolder(*root, "Archive/2026/03"); }),
            (Names{"FindFolder", "FindFolder", "CreateFolder", "GetFolder", "CreateFolder", "GetFolder", "CreateFolder",
                   "GetFolder"}));
  EXPECT_EQ(march->GetDisplayName(), "03");
  EXPECT_EQ(Store().GetFolder("Archive/2026/03")->GetID().Id, march->GetID().Id);
  EXPECT_EQ(Sent([&] { EXPECT_EQ(VqMakeFolder(*root, "archive/2026/03")->GetID().Id, march->GetID().Id); }),
            (Names{"FindFolder", "FindFolder", "FindFolder", "GetFolder"}))
      << "a second time it is there";
  const auto april = VqMakeFolder(Store(), "/Archive/2026/04 \\/ 05/");
  EXPECT_EQ(april->GetDisplayName(), "04 / 05");
  EXPECT_EQ(VqFolderTree(*Store().GetFolder("Archive")).size(), 3u) << "nothing is made twice";
}

TEST_P(FolderPath, TheTypeIsThatOfTheLastOne) {
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(VqMakeFolder(Store(), "Team/Shifts", sffCalendarFolder)));
  const auto tree = VqFolderTree(Store());
  const auto team = std::ranges::find(tree, string("Team"), &TVqEWSFolderNode::Path);
  ASSERT_NE(team, tree.end());
  EXPECT_EQ(team->Type, sffFolder);
}

TEST_P(FolderPath, AFolderThatSomebodyElseMakesMeanwhileIsTaken) {
  const TItemId theirs = Make(*Root(), "New");
  const auto root = Root();
  AnswerNext("FindFolder", ReplyOf("FindFolder",
                                   "<m:RootFolder IndexedPagingOffset=\"0\" TotalItemsInView=\"0\" "
                                   "IncludesLastItemInRange=\"true\"><t:Folders/></m:RootFolder>"));
  EXPECT_EQ(VqMakeFolder(*root, "New")->GetID().Id, theirs.Id);
}

TEST_P(FolderPath, WhatCannotBeMadeIsTold) {
  RefuseNext("CreateFolder", "ErrorCreateFolderAccessDenied");
  EXPECT_EQ(CodeOf([&] { VqMakeFolder(Store(), "New"); }), "ErrorCreateFolderAccessDenied");
  EXPECT_EQ(MessageOf<EVqException>([&] { VqMakeFolder(Store(), "a//b"); }),
            "The path \"a//b\" of a folder has an empty part.");
}

// ---- Whole trees

TEST_P(FolderPath, ADeepTableHasAllFoldersBelow) {
  AddMessage("One", "Projects/2026/May");
  const auto folders = Root()->GetSubFolders();
  EXPECT_EQ(folders->GetTraversal(), ftShallow);
  folders->SetTraversal(ftDeep);
  std::map<std::string, std::string> parents, names;
  for (const auto row : folders) {
    parents[row.Id().Id.utf8()] = row.ParentId().Id.utf8();
    names[row.DisplayName().utf8()] = row.Id().Id.utf8();
  }
  EXPECT_NE(Request("FindFolder").find("<m:FindFolder Traversal=\"Deep\">"), std::string::npos);
  EXPECT_EQ(parents.at(names.at("May")), names.at("2026"));
  EXPECT_EQ(parents.at(names.at("2026")), names.at("Projects"));
  EXPECT_EQ(parents.at(names.at("Projects")), Root()->GetID().Id.utf8());
}

TEST_P(FolderPath, DeletedFoldersCanBeListed) {
  const auto folders = Root()->GetSubFolders();
  folders->SetTraversal(ftSoftDeleted);
  int rows = 0;
  for ([[maybe_unused]] const auto row : folders) ++rows;
  EXPECT_EQ(rows, 0);
  EXPECT_NE(Request("FindFolder").find("Traversal=\"SoftDeleted\""), std::string::npos);
}

TEST_P(FolderPath, ATreeHasPathsThatLeadBack) {
  AddMessage("One", "Projects/2026/May");
  AddMessage("Two", "Projects/2025");
  AddMessage("Three", "Projects/2026");
  Make(*Store().GetFolder("Projects/2026"), "In / Out");
  Make(*Store().GetFolder("Projects"), "shifts", sffCalendarFolder);
  const auto projects = Store().GetFolder("Projects");
  std::vector<TVqEWSFolderNode> tree;
  EXPECT_EQ(Sent([&] { tree = VqFolderTree(*projects); }), Names{"FindFolder"});
  Names paths;
  for (const TVqEWSFolderNode& folder : tree) paths.push_back(folder.Path.utf8());
  EXPECT_EQ(paths, (Names{"2025", "2026", "2026/In \\/ Out", "2026/May", "shifts"}));
  EXPECT_EQ(tree[1].Depth, 1);
  EXPECT_EQ(tree[3].Depth, 2);
  EXPECT_EQ(tree[1].Name, "2026");
  EXPECT_EQ(tree[1].TotalCount, 1);
  EXPECT_EQ(tree[1].UnreadCount, 1);
  EXPECT_EQ(tree[1].ChildFolderCount, 2);
  EXPECT_EQ(tree[3].ParentId.Id, tree[1].Id.Id);
  EXPECT_EQ(tree[4].Type, sffCalendarFolder);
  EXPECT_EQ(tree[0].Type, sffFolder);
  for (const TVqEWSFolderNode& folder : tree)
    EXPECT_EQ(projects->GetSubFolder(folder.Path)->GetID().Id, folder.Id.Id) << folder.Path;
}

TEST_P(FolderPath, WhatHasNoWayToTheTopComesLast) {
  const std::string top = Root()->GetID().Id.utf8();
  const auto row = [](const std::string& id, const std::string& parent) {
    return "<t:Folder><t:FolderId Id=\"" + id + "\"/><t:ParentFolderId Id=\"" + parent + "\"/><t:DisplayName>" + id +
           "</t:DisplayName></t:Folder>";
  };
  const auto root = Root();
  AnswerNext("FindFolder", ReplyOf("FindFolder",
                                   "<m:RootFolder IndexedPagingOffset=\"5\" TotalItemsInView=\"5\" "
                                   "IncludesLastItemInRange=\"true\"><t:Folders>" +
                                       row("hidden", "nobody") + row("circle", "round") + row("round", "circle") +
                                       row("a", top) + row("b", "a") + "</t:Folders></m:RootFolder>"));
  const auto tree = VqFolderTree(*root);
  ASSERT_EQ(tree.size(), 5u);
  EXPECT_EQ(tree[0].Path, "a");
  EXPECT_EQ(tree[1].Path, "a/b");
  for (std::size_t i = 2; i < 5; ++i) EXPECT_EQ(tree[i].Path, "") << tree[i].Name;
}

}  // namespace
}  // namespace velmore::testing
