// Items: new ones, loaded ones, and what both tell.

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSItem.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/values/uVqEWSStrings.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

constexpr const char* kNoItem =
    "ErrorItemNotFound (There was no ItemId in the SOAP Response!).|There was no ItemId in the SOAP Response!";

class ItemLoad : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  /// The draft of the request that a new item carries.
  static std::string Draft(const TVqRef<IVqEWSItem>& item) {
    return item->AsElement().GetParentElement().GetParentElement().GetXML().utf8();
  }
  TVqRef<TVqEWSItem> Plain(const TItemId& id) {
    return MakeRef<TVqEWSItem>(Supports<TVqEWSMsgStore>(&Store()).get(), id);
  }
};

TEST_F(ItemLoad, NewItemOfAFolderIsADraftOfItsRequest) {
  const auto drafts = Folder(dfindrafts);
  Forget();
  const auto item = drafts->CreateItem(tMessage);
  const std::string head = "<m:CreateItem><m:SavedItemFolderId>" + IdElement("FolderId", drafts->GetID()) +
                           "</m:SavedItemFolderId><m:Items>";
  EXPECT_EQ(Draft(item), head + "<t:Message/></m:Items></m:CreateItem>");
  EXPECT_TRUE(item->GetIsNewItem());
  EXPECT_FALSE(item->GetIsSaved());
  EXPECT_EQ(item->GetID().Id, "");
  EXPECT_EQ(item->GetID().ChangeKey, "");
  item->SetSubject("Hello");
  EXPECT_EQ(Draft(item), head + "<t:Message><t:Subject>Hello</t:Subject></t:Message></m:Items></m:CreateItem>");
  // Reads of a new item find nothing and ask nobody.
  EXPECT_EQ(item->GetItemClass(), "");
  EXPECT_EQ(item->GetSize(), 0);
  item->GetAdditionalProperties({"Subject", "PROPDEF:EPR_COMMON_PRIVATE"});
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(ItemLoad, DraftIsFoundInItsRequestWithoutRegardToCase) {
  const auto item = Folder(dfindrafts)->CreateItem(tMessage);
  const IVqDOMElement found = item->AsElement().GetOwnerDocument().SelectSingleElement(
      "/envelope/body/createitem/items/Message", kSelectRequired);
  item->SetSubject("Hello");
  EXPECT_EQ(found.GetXML(), "<t:Message><t:Subject>Hello</t:Subject></t:Message>");
}

TEST_F(ItemLoad, NewItemOfAnythingElseHasNoFolder) {
  Store();
  const auto item = Plain({});
  EXPECT_EQ(Draft(item), "<m:CreateItem><m:Items><t:Item/></m:Items></m:CreateItem>");
}

TEST_F(ItemLoad, IdOfANewItemCanBeSet) {
  const auto item = Plain({});
  item->SetId({"I", "C"});
  EXPECT_EQ(item->GetID().Id, "I");
  EXPECT_EQ(item->GetID().ChangeKey, "C");
  EXPECT_TRUE(item->GetIsSaved());
  EXPECT_EQ(item->AsElement().GetXML(), "<t:Item><t:ItemId Id=\"I\" ChangeKey=\"C\"/></t:Item>");
}

TEST_F(ItemLoad, LoadAsksOnceForAllProperties) {
  const TItemId id = AddMessage("Hello");
  Store();
  TVqRef<TVqEWSItem> item;
  EXPECT_EQ(Sent([&] { item = Plain(id); }), Names{"GetItem"});
  EXPECT_EQ(Request("GetItem"),
            "<m:GetItem><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape><m:ItemIds>" +
                LoadId("ItemId", id) + "</m:ItemIds></m:GetItem>");
  EXPECT_FALSE(item->GetIsNewItem());
  EXPECT_TRUE(item->GetIsSaved());
  EXPECT_EQ(item->GetID().Id, id.Id);
  EXPECT_EQ(item->GetSubject(), "Hello");
  EXPECT_EQ(item->GetItemClass(), "IPM.Note");
  EXPECT_EQ(item->GetImportance(), icNormal);
  EXPECT_EQ(item->GetSensitivity(), scNormal);
  EXPECT_GT(item->GetSize(), 0);
  EXPECT_FALSE(item->GetIsDraft());
  EXPECT_FALSE(item->GetHasAttachments());
  EXPECT_EQ(item->GetDisplayTo(), "Alice Arden");
  EXPECT_EQ(item->GetBodyText().Trim(), "Hello");
  EXPECT_EQ(item->GetParentFolderId().GetId(), Store().GetFolderId(dfininbox).Id);
  EXPECT_TRUE(item->GetEffectiveRights().GetModify());
}

TEST_F(ItemLoad, PlainItemTakesTheFirstElementWhateverItsName) {
  const TItemId id = AddMessage("Hello");
  const auto item = Plain(id);
  EXPECT_EQ(item->AsElement().GetQualifiedName(), "t:Message");
  item->GetAdditionalProperties({"InReplyTo"});  // is found below the message, too
  EXPECT_EQ(item->GetItemType(), tItem);
}

TEST_F(ItemLoad, ReloadDropsWhatWasBuiltAndWhatWasChanged) {
  const TItemId id = AddMessage("Hello");
  const auto item = Plain(id);
  TVqEWSStrings* categories = &item->GetCategories();
  EXPECT_EQ(&item->GetCategories(), categories);
  EXPECT_EQ(&item->GetAttachments(), &item->GetAttachments());
  item->SetSubject("Changed");
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusModified);
  const simulator::Id now = Server().Touch(id.Id.utf8());
  EXPECT_EQ(Sent([&] { item->ReloadItem(id); }), Names{"GetItem"});
  EXPECT_EQ(item->GetSubject(), "Hello");
  EXPECT_EQ(item->GetID().ChangeKey, now.change_key);
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
}

TEST_F(ItemLoad, ReloadForgetsExplicitStatuses) {
  const auto item = Plain(AddMessage("Hello"));
  item->DeleteProperty(PR_SUBJECT);
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusDeleted);
  item->ReloadItem(item->GetID());
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
}

TEST_F(ItemLoad, ReloadThatFailsLeavesTheItemReadable) {
  const auto item = Plain(AddMessage("Hello"));
  RefuseNext("GetItem", "ErrorItemNotFound");
  EXPECT_EQ(CodeOf([&] { item->ReloadItem(item->GetID()); }), "ErrorItemNotFound");
  EXPECT_EQ(item->GetSubject(), "Hello");
  for (const char* items : {"<m:Items/>", "<m:Items><t:Message/><t:Message/></m:Items>"}) {
    AnswerNext("GetItem", ReplyOf("GetItem", items));
    EXPECT_EQ(RefusalOf([&] { item->ReloadItem(item->GetID()); }), kNoItem);
    AnswerNext("GetItem", ReplyOf("GetItem", items));
    EXPECT_EQ(RefusalOf([&] { item->GetAdditionalProperties({"Culture"}); }), kNoItem);
    AnswerNext("GetItem", ReplyOf("GetItem", items));
    TVqMemoryStream stream;
    EXPECT_EQ(RefusalOf([&] { item->SaveToStream(stream); }), kNoItem);
  }
  EXPECT_EQ(item->GetSubject(), "Hello");
}

TEST_F(ItemLoad, CopyAsLoadedDoesNotFollowChanges) {
  const TItemId id = AddItem("inbox",
                             "<t:Message><t:Subject>Hello</t:Subject><t:Categories><t:String>Red</t:String>"
                             "</t:Categories></t:Message>");
  // Each kind of change, as the first one of all: text, attribute, markup, new element, removal, typed setter, and past
  // the item.
  const std::function<void(IVqEWSItem&)> changes[] = {
      [](IVqEWSItem& item) { item.SetSubject("Changed"); },
      [](IVqEWSItem& item) { item.AsElement().SelectSingleElement("Subject", kSelectRequired).SetText("Changed"); },
      [](IVqEWSItem& item) { item.AsElement().SelectSingleElement("Subject", kSelectRequired).SetInnerXML("Changed"); },
      [](IVqEWSItem& item) {
        item.AsElement().RemoveChild(item.AsElement().SelectSingleElement("Subject", kSelectRequired));
      },
      [](IVqEWSItem& item) { item.AsElement().RemoveAllChildren(); },
      [](IVqEWSItem& item) { item.AsElement().SetInnerXML("<t:Subject>Changed</t:Subject>"); },
      [](IVqEWSItem& item) { item.AsElement().GetOwnerDocument().Clear(); },
      [](IVqEWSItem& item) {
        item.AsElement().SelectSingleElement("Subject", kSelectRequired).SetNodeValue("Changed");
      },
      [](IVqEWSItem& item) { item.PropertyByName(PR_SUBJECT).SetAsString("Changed"); },
  };
  for (const auto& change : changes) {
    const auto item = Plain(id);
    change(*item);
    item->AsElement().SelectSingleElement("Subject", kSelectCreate).SetText("Hello");
    EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusUnmodified);
    item->AsElement().SelectSingleElement("Subject", kSelectCreate).SetText("Other");
    EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusModified);
  }
  const auto item = Plain(id);
  item->AsElement().SelectSingleElement("Importance", kSelectCreate).SetText("Low");
  EXPECT_EQ(item->PropertyByName(PR_IMPORTANCE).GetUpdateStatus(), dusModified);
  const auto other = Plain(id);
  other->AsElement().SelectSingleElement("Preview", kSelectCreate).SetText("new");
  EXPECT_EQ(other->PropertyByName(PR_IMPORTANCE).GetUpdateStatus(), dusUnmodified);
}

TEST_F(ItemLoad, DocumentMayOutliveItsItem) {
  IVqDOMElement element;
  {
    const auto item = Plain(AddMessage("Hello"));
    element = item->AsElement();
  }
  element.AddElement("t:Late").SetText("x");  // nobody wants to look at it any more
  EXPECT_TRUE(element.HasChildElement("Late", kSelectQuiet));
}

// ---- Bodies

TEST_F(ItemLoad, BodyTextDecidesByItsFirstCharacter) {
  const auto drafts = Folder(dfindrafts);
  const std::tuple<const char*, TBodyType> cases[] = {{"<p>Hello</p>", btHTML},
                                                      {"  \r\n\t<p>Hello</p>", btHTML},
                                                      {"<not html", btHTML},
                                                      {"Hello <b>", btText},
                                                      {"  plain with blanks ", btText}};
  for (const auto& [text, type] : cases) {
    const auto item = drafts->CreateItem(tMessage);
    item->SetBodyText(text);
    EXPECT_EQ(item->GetBody().GetBodyType(), type) << text;
    EXPECT_EQ(item->GetBodyText(), text);  // untrimmed
    EXPECT_EQ(item->GetTextBody().Value, text);
    EXPECT_EQ(item->GetTextBody().BodyType, type);
  }
}

TEST_F(ItemLoad, EmptyBodyTextMakesNoBody) {
  const auto item = Folder(dfindrafts)->CreateItem(tMessage);
  item->SetBodyText("");
  EXPECT_FALSE(item->AsElement().HasChildElement("Body", kSelectQuiet));
  item->SetBodyText("<p/>");
  item->SetBodyText("");
  EXPECT_EQ(item->AsElement().GetInnerXML(), "<t:Body BodyType=\"Text\"/>");
}

TEST_F(ItemLoad, TextBodyOfANewerServerIsItsMember) {
  const TItemId id =
      AddItem("inbox", "<t:Message><t:Body BodyType=\"HTML\">&lt;p&gt;Hello&lt;/p&gt;</t:Body></t:Message>");
  const auto item = Plain(id);
  EXPECT_EQ(item->GetBody().GetBodyType(), btHTML);
  TVqEwsTextBody body;
  EXPECT_EQ(Sent([&] { body = item->GetTextBody(); }), Names{"GetItem"});
  EXPECT_EQ(body.BodyType, btText);
  EXPECT_EQ(body.Value.Trim(), "Hello");
  EXPECT_EQ(Sent([&] { item->GetTextBody(); }), Names{});
}

// Servers that do not make a text of the body still have the MAPI property.
TEST_F(ItemLoad, TextBodyThatIsNotThereIsTheMapiBody) {
  const auto item = Plain(AddMessage("Hello"));
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message/></m:Items>"));
  TVqEwsTextBody body;
  EXPECT_EQ(Sent([&] { body = item->GetTextBody(); }), (Names{"GetItem", "GetItem"}));
  EXPECT_EQ(body.BodyType, btText);
  EXPECT_EQ(body.Value.Trim(), "Hello");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(item->GetTextBody().Value.Trim(), "Hello"); }), Names{});
}

TEST_F(ItemLoad, ABodyThatTheLoadLeftOutCanBeEmptied) {
  const TItemId id = AddMessage("Hello");
  const auto item = Plain(id);
  for (const bool there : {true, false}) {
    TEwsItem(item->AsElement()).RemoveNode("t:Body");
    if (!there) AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message/></m:Items>"));
    EXPECT_EQ(Sent([&] { item->SetBodyText(""); }), Names{"GetItem"});
    EXPECT_EQ(item->AsElement().HasChildElement("Body", kSelectQuiet), there);
  }
  TEwsItem(item->AsElement()).RemoveNode("t:Body");
  item->SetBodyText("");
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(Store().GetItem(item->GetID())->GetBodyText(), "");
}

TEST_F(ItemLoad, ARefusedTextLeavesTheBodyAsItWas) {
  const auto item = Plain({});
  item->SetBodyText("plain");
  EXPECT_THROW(item->SetBodyText(string(u"<p>\u0001</p>")), EVqException);
  EXPECT_EQ(item->GetBody().GetBodyType(), btText);
  EXPECT_EQ(item->GetBodyText(), "plain");
}

// What the application changed stays its own; the copy as loaded is the server's.
TEST_F(ItemLoad, WhatIsAskedForAgainKeepsTheApplicationsChange) {
  const auto item = Plain(AddMessage("Hello"));
  item->SetSubject("Mine");
  item->GetAdditionalProperties({"Subject", "Importance"});
  EXPECT_EQ(item->GetSubject(), "Mine");
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusModified);
  EXPECT_EQ(item->PropertyByName(PR_IMPORTANCE).GetUpdateStatus(), dusUnmodified);
  item->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  item->GetAdditionalProperties({"PROPDEF:EPR_COMMON_PRIVATE"});
  EXPECT_TRUE(item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
}

TEST_F(ItemLoad, AnExtendedPropertyThatIsAskedForTwiceStandsOnce) {
  const auto item = Plain(AddMessage("Hello"));
  item->GetAdditionalProperties({"PROPDEF:MPR_SUBJECT", "PROPDEF:MPR_SUBJECT"});
  item->GetAdditionalProperties({"PROPDEF:MPR_SUBJECT"});
  std::int32_t count = 0;
  for (const IVqDOMElement& child : item->AsElement().GetChildElements())
    count += child.GetLocalName() == "ExtendedProperty";
  EXPECT_EQ(count, 1);
}

TEST_F(ItemLoad, AnExtendedPropertyIsFoundHoweverTheServerSpellsIt) {
  for (const char* uri : {"PropertySetId=\"{00062008-0000-0000-C000-000000000046}\" PropertyId=\"0x8506\"",
                          "DistinguishedPropertySetId=\"Common\" PropertyId=\"34054\""}) {
    const auto item = Plain(AddMessage("Hello"));
    AnswerNext("GetItem",
               ReplyOf("GetItem", "<m:Items><t:Message><t:ExtendedProperty><t:ExtendedFieldURI " + std::string(uri) +
                                      "/><t:Value>true</t:Value></t:ExtendedProperty></t:Message></m:Items>"));
    EXPECT_TRUE(item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean()) << uri;
    EXPECT_EQ(item->PropertyByName(EPR_COMMON_PRIVATE).GetUpdateStatus(), dusUnmodified);
  }
}

class ItemLoadOfAnOldServer : public ItemLoad {
 protected:
  ItemLoadOfAnOldServer() : ItemLoad("Exchange2010_SP2") {}
};

TEST_F(ItemLoadOfAnOldServer, TextBodyIsTheMapiBody) {
  const auto item = Plain(AddMessage("Hello"));
  TVqEwsTextBody body;
  EXPECT_EQ(Sent([&] { body = item->GetTextBody(); }), Names{"GetItem"});
  EXPECT_NE(Request("GetItem").find("<t:ExtendedFieldURI PropertyTag=\"0x1000\" PropertyType=\"String\"/>"),
            std::string::npos);
  EXPECT_EQ(body.BodyType, btText);
  EXPECT_EQ(body.Value.Trim(), "Hello");
  EXPECT_EQ(Sent([&] { item->GetTextBody(); }), Names{});
}

class ItemLoadOfTheOldestServer : public ItemLoad {
 protected:
  ItemLoadOfTheOldestServer() : ItemLoad("Exchange2007_SP1") {}
};

TEST_F(ItemLoadOfTheOldestServer, NewItemNamesTheChangeKeyOfItsFolderAllTheSame) {
  // Loads and other requests leave change keys out for a server like this; the draft of a new item does not.
  const auto drafts = Folder(dfindrafts);
  ASSERT_FALSE(drafts->GetID().ChangeKey.empty());
  EXPECT_EQ(Draft(drafts->CreateItem(tMessage)),
            "<m:CreateItem><m:SavedItemFolderId>" + IdElement("FolderId", drafts->GetID()) +
                "</m:SavedItemFolderId><m:Items><t:Message/></m:Items></m:CreateItem>");
}

class ItemLoadOfExchange2013 : public ItemLoad {
 protected:
  ItemLoadOfExchange2013() : ItemLoad("Exchange2013") {}
};

TEST_F(ItemLoadOfExchange2013, TextBodyIsAMemberAndLaterMembersAreThere) {
  const TItemId id = AddMessage("Hello");
  const auto item = Plain(id);
  EXPECT_EQ(Sent([&] { EXPECT_EQ(item->GetTextBody().Value.Trim(), "Hello"); }), Names{"GetItem"});
  EXPECT_EQ(Request("GetItem"),
            "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
            "FieldURI=\"item:TextBody\"/></t:AdditionalProperties></m:ItemShape><m:ItemIds>" +
                LoadId("ItemId", id, false) + "</m:ItemIds></m:GetItem>");
  EXPECT_EQ(item->GetPreview(), "Hello");
}

// ---- Private, responses, the way up

TEST_F(ItemLoad, PrivateIsTheSensitivity) {
  const auto item = Plain(AddItem("inbox", "<t:Message><t:Sensitivity>Private</t:Sensitivity></t:Message>"));
  Forget();
  EXPECT_TRUE(item->GetIsPrivate());  // without asking for the named property
  EXPECT_EQ(Operations(), Names{});
  item->SetIsPrivate(false);
  EXPECT_EQ(item->GetSensitivity(), scNormal);
  EXPECT_FALSE(item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  item->SetIsPrivate(true);
  EXPECT_EQ(item->GetSensitivity(), scPrivate);
  EXPECT_TRUE(item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());
  EXPECT_TRUE(item->GetIsPrivate());
}

TEST_F(ItemLoad, AllowedResponsesAreTheChildrenOfTheirElement) {
  const auto item = Plain(AddMessage("Hello"));
  const TVqEWSItemResponseTypes types = item->GetAllowedResponseTypes();
  EXPECT_EQ(types, (TVqEWSItemResponseTypes{irtReplyToItem, irtReplyAllToItem, irtForwardItem}));
  IVqDOMElement objects = item->GetAllowedResponseActions().AsElement();
  objects.SetInnerXML(
      "<t:AcceptItem/><t:TentativelyAcceptItem/><t:DeclineItem/><t:CancelCalendarItem/><t:RemoveItem/>"
      "<t:PostReplyItem/><t:SuppressReadReceipt/><t:AcceptSharingInvitation/><t:Novelty/>");
  EXPECT_EQ(
      item->GetAllowedResponseTypes(),
      (TVqEWSItemResponseTypes{irtAcceptItem, irtTentativelyAcceptItem, irtDeclineItem, irtCancelCalendarItem,
                               irtRemoveItem, irtPostReplyItem, irtSuppressReadReceipt, irtAcceptSharingInvitation}));
}

TEST_F(ItemLoad, ParentFolderIsFoundAlongTheCreatorsOrAskedFor) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  const auto viaFolder = MakeRef<TVqEWSItem>(Supports<TVqEWSFolder>(inbox).get(), id);
  Forget();
  EXPECT_EQ(viaFolder->GetParentFolder().get(), inbox.get());
  EXPECT_EQ(viaFolder->GetMsgStore().get(), &Store());
  EXPECT_EQ(Operations(), Names{});
  const auto viaStore = Plain(id);
  TVqRef<IVqEWSFolder> parent;
  EXPECT_EQ(Sent([&] { parent = viaStore->GetParentFolder(); }), Names{"GetFolder"});
  EXPECT_EQ(parent->GetDisplayName(), "Inbox");
}

TEST_F(ItemLoad, DeletedPropertyIsMarked) {
  const auto item = Plain(AddMessage("Hello"));
  item->DeleteProperty(PR_SUBJECT);
  EXPECT_EQ(item->PropertyByName(PR_SUBJECT).GetUpdateStatus(), dusDeleted);
  EXPECT_EQ(item->GetSubject(), "Hello");
}

TEST_F(ItemLoad, DialogIsAHook) {
  const auto item = Plain(AddMessage("Hello"));
  EXPECT_EQ(MessageOf<EVqException>([&] { item->DisplayProperties(); }), "There is no dialog that shows properties.");
  IVqEWSPropObject* shown = nullptr;
  VqOnDisplayProperties = [&](IVqEWSPropObject& object) { shown = &object; };
  item->DisplayProperties();
  VqOnDisplayProperties = nullptr;
  EXPECT_EQ(shown, static_cast<IVqEWSPropObject*>(item.get()));
}

}  // namespace
}  // namespace velmore::testing
