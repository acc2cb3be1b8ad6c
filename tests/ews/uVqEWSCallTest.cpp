// One operation, from its name to its checked answer: what a request is made of, where the answer is looked for, and
// what happens when it is not there.

#include "ews/model/internal/uVqEWSCall.h"

#include <gtest/gtest.h>

#include "tests/support/AnsweringSession.h"

namespace velmore {
namespace {

using testing::TAnsweringSession;

/// Adds its name to each request made below it.
class TNamingObject : public TVqEWSObject {
 public:
  using TVqEWSObject::TVqEWSObject;
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override {
    const TVqRef<IVqSOAPRequest> request = TVqEWSObject::CreateRequest(ASOAPClient, AMethod, AResponseName);
    request->AddSOAPHeader("t:By").SetText("object");
    return request;
  }
};

class Call : public ::testing::Test {
 protected:
  static std::string Message(const std::string& operation, const std::string& content,
                             const std::string& responseClass = "Success", const std::string& code = "NoError") {
    return "<m:" + operation + "ResponseMessage ResponseClass=\"" + responseClass + "\"><m:ResponseCode>" + code +
           "</m:ResponseCode>" + content + "</m:" + operation + "ResponseMessage>";
  }
  void Answer(const std::string& operation, const std::string& messages) {
    Session.Answer = "<m:" + operation + "Response><m:ResponseMessages>" + messages +
                     "</m:ResponseMessages></m:" + operation + "Response>";
  }
  template <typename TAction>
  static std::string TextOf(TAction action) {
    try {
      action();
    } catch (const EEWSException& failure) {
      return failure.what() + ("|" + failure.EWSErrorCode().utf8());
    } catch (const EVqXMLError& failure) {
      return failure.what();
    } catch (const EVqException& failure) {
      return failure.what();
    }
    return "nothing was raised";
  }

  TAnsweringSession Session;
};

// ---- The request

TEST_F(Call, NamesItsElementAndItsResponse) {
  const TVqEWSCall plain(Session, "GetItem");
  EXPECT_EQ(plain.Method().GetQualifiedName(), "m:GetItem");
  EXPECT_EQ(plain.Request()->GetResponseName(), "");
  const TVqEWSCall named(Session, {"CreateItem", "m:CreateItemResponse"});
  EXPECT_EQ(named.Method().GetQualifiedName(), "m:CreateItem");
  EXPECT_EQ(named.Request()->GetResponseName(), "m:CreateItemResponse");
}

TEST_F(Call, OfAnObjectGoesAlongItsCreators) {
  const auto store = MakeRef<TNamingObject>(&Session, true);
  const auto item = MakeRef<TVqEWSObject>(store.get(), true);
  const TVqEWSCall call(*item, "GetItem");
  EXPECT_EQ(call.Request()->GetHeader().GetInnerXML(), "<t:By>object</t:By>");
}

TEST_F(Call, OfAnObjectWithoutASessionSaysSo) {
  auto gone = std::make_unique<TAnsweringSession>();
  const auto object = MakeRef<TVqEWSObject>(gone.get(), true);
  gone.reset();
  EXPECT_EQ(TextOf([&] { const TVqEWSCall call(*object, "GetItem"); }), "There is no active EWS Session!");
}

TEST_F(Call, SendsARequestThatIsThere) {
  Answer("CreateItem", Message("CreateItem", ""));
  const auto request = Session.CreateRequest(nullptr, "m:CreateItem", "");
  TVqEWSCall call(Session, "CreateItem", request);
  call.Set("MessageDisposition", "SaveOnly");
  EXPECT_EQ(request->GetMethod().GetXML(), "<m:CreateItem MessageDisposition=\"SaveOnly\"/>");
  EXPECT_EQ(call.Send().GetLocalName(), "CreateItemResponseMessage");
}

TEST_F(Call, PathsOfARequestShareTheirSteps) {
  const TVqEWSCall call(Session, "GetItem");
  call.Add("m:ItemShape/t:BaseShape").SetText("IdOnly");
  call.Add("m:ItemShape/t:AdditionalProperties/t:FieldURI").SetAttribute("FieldURI", "item:Subject");
  EXPECT_EQ(call.Method().GetXML(),
            "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties>"
            "<t:FieldURI FieldURI=\"item:Subject\"/></t:AdditionalProperties></m:ItemShape></m:GetItem>");
}

TEST_F(Call, ChangeKeysGoToServersLaterThanExchange2013) {
  const auto ids = [&](TServerVersion version) {
    Session.Version = version;
    const TVqEWSCall call(Session, "CopyItem");
    call.AddId(call.Add("m:ItemIds"), "t:ItemId", {"a", "k"});
    call.AddLoadId(call.Add("m:FolderIds"), "t:FolderId", {"b", "l"});
    return call.Method().GetInnerXML();
  };
  const string without = "<m:ItemIds><t:ItemId Id=\"a\"/></m:ItemIds><m:FolderIds><t:FolderId Id=\"b\"/></m:FolderIds>";
  EXPECT_EQ(ids(Exchange2007_SP1), without);
  EXPECT_EQ(ids(Exchange2013), without);
  const string with =
      "<m:ItemIds><t:ItemId Id=\"a\" ChangeKey=\"k\"/></m:ItemIds>"
      "<m:FolderIds><t:FolderId Id=\"b\"/><t:ChangeKey Id=\"l\"/></m:FolderIds>";
  EXPECT_EQ(ids(Exchange2013_SP1), with);
  EXPECT_EQ(ids(Exchange2016), with);
}

TEST_F(Call, IdsOfAnElementAreReadAndWrittenWhole) {
  const TVqDOMDocument document("<t:ItemId Id=\"a\" ChangeKey=\"k\"/>");
  const IVqDOMElement element = document.GetDocumentElement();
  EXPECT_EQ(EwsReadId(element), (TItemId{"a", "k"}));
  EXPECT_EQ(EwsReadId(IVqDOMElement()), TItemId{});
  EwsWriteId(element, {"b", ""});
  EXPECT_EQ(element.GetXML(), "<t:ItemId Id=\"b\" ChangeKey=\"\"/>");
}

// ---- Where the answer is looked for

constexpr struct {
  TVqEWSAnswerPath Path;
  const char* Message;
  const char* All;
  const char* Where;
} kPaths[] = {
    {TVqEWSAnswerPath::plain, "/Envelope/Body/GetOpResponse/ResponseMessages/GetOpResponseMessage",
     "/Envelope/Body/GetOpResponse/ResponseMessages", "the document"},
    {TVqEWSAnswerPath::prefixed, "/Envelope/Body/m:GetOpResponse/ResponseMessages/GetOpResponseMessage",
     "/Envelope/Body/m:GetOpResponse/ResponseMessages", "the document"},
    {TVqEWSAnswerPath::below, "ResponseMessages/GetOpResponseMessage", "ResponseMessages", "\"m:OtherResponse\""},
    {TVqEWSAnswerPath::single, "/Envelope/Body/GetOpResponse/ResponseMessage", "/Envelope/Body/GetOpResponse",
     "the document"},
    {TVqEWSAnswerPath::bare, "/Envelope/Body/GetOpResponse", "/Envelope/Body/GetOpResponse", "the document"},
};

TEST_F(Call, AMissingAnswerIsToldByItsPath) {
  Session.Answer = "<m:OtherResponse/>";
  for (const auto& [path, message, all, where] : kPaths) {
    const TVqEWSOperation operation{"GetOp", "", path};
    const auto missing = [&](const char* what) {
      return std::string("There is no \"") + what + "\" in " + where + ".";
    };
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).Send(); }), missing(message));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendUnchecked(); }), missing(message));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendAll(); }), missing(all));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendAllUnchecked(); }), missing(all));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendForItem(); }), missing(message));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendForFolder(); }), missing(message));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).SendForId("//ItemId"); }), missing(message));
  }
}

TEST_F(Call, EveryPathFindsItsMessage) {
  const std::string message = Message("GetOp", "<m:Value>1</m:Value>");
  for (const auto& row : kPaths) {
    Answer("GetOp", message);
    if (row.Path == TVqEWSAnswerPath::single)
      Session.Answer =
          "<m:GetOpResponse><m:ResponseMessage ResponseClass=\"Success\"><m:Value>1</m:Value>"
          "</m:ResponseMessage></m:GetOpResponse>";
    if (row.Path == TVqEWSAnswerPath::bare)
      Session.Answer = "<m:GetOpResponse ResponseClass=\"Success\"><m:Value>1</m:Value></m:GetOpResponse>";
    TVqEWSCall call(Session, {"GetOp", "", row.Path});
    EXPECT_EQ(call.Send().SelectSingleElement("Value", kSelectRequired).GetText(), "1") << row.Message;
    EXPECT_EQ(call.Find("Value").GetText(), "1") << row.Message;
    EXPECT_EQ(TextOf([&] { call.Find("Nothing"); }).find("There is no \"" + std::string(row.Message) + "/Nothing\""),
              0U);
  }
}

TEST_F(Call, AnOperationThatIsCalledARequestIsAnsweredWithoutThatWord) {
  const TVqEWSOperation operation{"GetOpRequest", "", TVqEWSAnswerPath::single};
  EXPECT_EQ(TVqEWSCall(Session, operation).Method().GetQualifiedName(), "m:GetOpRequest");
  Session.Answer = "<m:GetOpResponse><m:ResponseMessage ResponseClass=\"Success\"/></m:GetOpResponse>";
  EXPECT_EQ(TVqEWSCall(Session, operation).Send().GetLocalName(), "ResponseMessage");
  Session.Answer = "<m:GetOpResponse/>";
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, operation).Send(); }),
            "There is no \"/Envelope/Body/GetOpResponse/ResponseMessage\" in the document.");
}

TEST_F(Call, AnEmptyBodyHasNoResponse) {
  EXPECT_EQ(TextOf([&] {
              TVqEWSCall(Session, {"Op", "", TVqEWSAnswerPath::below}).Send();
            }),
            "The body of the reply is empty.");
}

// ---- Checked

TEST_F(Call, ARefusalIsRaisedWhereItIsChecked) {
  Answer("Op", Message("Op", "", "Error", "ErrorAccessDenied"));
  const std::string refusal = "ErrorAccessDenied (refused).|refused";
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "Op").Send(); }), refusal);
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "Op").SendAll(); }), refusal);
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "Op").SendForItem(); }), refusal);
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "Op").SendForId("//ItemId"); }), refusal);
  TVqEWSCall call(Session, "Op");
  const IVqDOMElement message = call.SendUnchecked();
  EXPECT_EQ(message.GetAttribute("ResponseClass"), "Error");
  EXPECT_EQ(TextOf([&] { call.Check(message); }), refusal);
  EXPECT_EQ(TVqEWSCall(Session, "Op").SendAllUnchecked().ElementCount(), 1);
}

TEST_F(Call, OfManyMessagesTheFirstRefusalInTheirOrderIsRaised) {
  Answer("Op", Message("Op", "<m:A/>") + Message("Op", "", "Warning", "ErrorFirst") +
                   Message("Op", "", "Error", "ErrorSecond"));
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "Op").SendAll(); }), "ErrorFirst (refused).|refused");
  EXPECT_EQ(TVqEWSCall(Session, "Op").SendAllUnchecked().ElementCount(), 3);
  EXPECT_TRUE(TVqEWSCall(Session, "Op").Send().HasChildElement("A", kSelectQuiet))
      << "an operation on one looks at the first";
  Answer("Op", Message("Op", "") + Message("Op", ""));
  EXPECT_EQ(TVqEWSCall(Session, "Op").SendAll().ElementCount(), 2);
}

// ---- What is read most

TEST_F(Call, GivesTheOnlyItemOrFolder) {
  Answer("GetItem", Message("GetItem", "<m:Items><t:Message><t:Subject>x</t:Subject></t:Message></m:Items>"));
  EXPECT_EQ(TVqEWSCall(Session, "GetItem").SendForItem().GetLocalName(), "Message");
  Answer("GetFolder", Message("GetFolder", "<m:Folders><t:CalendarFolder/></m:Folders>"));
  EXPECT_EQ(TVqEWSCall(Session, "GetFolder").SendForFolder().GetLocalName(), "CalendarFolder");
}

TEST_F(Call, AReplyWithoutAnIdSaysSo) {
  const std::string item =
      "ErrorItemNotFound (There was no ItemId in the SOAP Response!).|There was no ItemId in the SOAP Response!";
  for (const char* items : {"<m:Items/>", "<m:Items><t:Message/><t:Message/></m:Items>"}) {
    Answer("GetItem", Message("GetItem", items));
    EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "GetItem").SendForItem(); }), item);
  }
  Answer("GetFolder", Message("GetFolder", "<m:Folders/>"));
  EXPECT_EQ(
      TextOf([&] { TVqEWSCall(Session, "GetFolder").SendForFolder(); }),
      "ErrorFolderNotFound (There was no FolderId in the SOAP Response!).|There was no FolderId in the SOAP Response!");
  Answer("GetItem", Message("GetItem", ""));
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "GetItem").SendForItem(); }),
            "There is no \"Items\" in \"m:GetItemResponseMessage\".");
}

TEST_F(Call, GivesTheIdThatTheMessageHolds) {
  Answer("CopyItem",
         Message("CopyItem", "<m:Items><t:Message><t:ItemId Id=\"a\" ChangeKey=\"k\"/></t:Message></m:Items>"));
  EXPECT_EQ(TVqEWSCall(Session, "CopyItem").SendForId("//ItemId"), (TItemId{"a", "k"}));
  Answer("CopyItem", Message("CopyItem", "<m:Items/>"));
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "CopyItem").SendForId("//ItemId"); }),
            "There is no \"//ItemId\" in \"m:CopyItemResponseMessage\". CopyItem was carried out: what it made is "
            "there, and its id "
            "is not known.");
  EXPECT_THROW(TVqEWSCall(Session, "CopyItem").SendForMade("//AttachmentId"), EVqEWSIdNotTold);
  Answer("CopyItem", Message("CopyItem", "<m:Items><t:Message><t:ItemId ChangeKey=\"k\"/></t:Message></m:Items>"));
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "CopyItem").SendForId("//ItemId"); }).find("There is no \"//ItemId/@Id\""),
            0U);
}

TEST_F(Call, AReplyThatIsNoAnswerToAChangeSaysThatItMayHaveHappened) {
  Session.Answer = "<m:SendItemResponse><m:Responses/></m:SendItemResponse>";
  EXPECT_EQ(TextOf([&] { TVqEWSCall(Session, "SendItem").Send(); }),
            "There is no \"/Envelope/Body/SendItemResponse/ResponseMessages/SendItemResponseMessage\" in the document. "
            "SendItem may have been carried out.");
  EXPECT_THROW(TVqEWSCall(Session, "DeleteAttachment").SendAllUnchecked(), EVqEWSUnclearAnswer);
  EXPECT_THROW(TVqEWSCall(Session, "CopyItem").SendForId("//ItemId"), EVqEWSUnclearAnswer);
  try {
    TVqEWSCall(Session, "CopyItem").SendForId("//ItemId");
  } catch (const EVqEWSIdNotTold&) {
    FAIL() << "nothing tells that it was carried out";
  } catch (const EVqEWSUnclearAnswer&) {
  }
  try {
    TVqEWSCall(Session, "GetItem").Send();
    FAIL();
  } catch (const EVqEWSUnclearAnswer&) {
    FAIL() << "reading may always be repeated";
  } catch (const EVqXMLError&) {
  }
}

TEST_F(Call, WhatOnlyReadsIsKnownByItsVerb) {
  for (const char* name : {"GetItem", "FindFolder", "ResolveNames", "ConvertId", "ExpandDL", "SearchMailboxes",
                           "SyncFolderItems", "GetStreamingEvents", "GetUserOofSettings"})
    EXPECT_TRUE(EwsOnlyReads(name)) << name;
  for (const char* name :
       {"CreateItem", "UpdateItem", "DeleteItem", "SendItem", "CopyItem", "MoveItem", "EmptyFolder", "MarkAsJunk",
        "Subscribe", "Unsubscribe", "SetUserOofSettings", "ArchiveItem", "ApplyConversationAction", "UploadItems", ""})
    EXPECT_FALSE(EwsOnlyReads(name)) << name;
}

TEST_F(Call, AFactoryMakesTheResponse) {
  Answer("GetItem", Message("GetItem", "<m:Items><t:Item/></m:Items>"));
  int made = 0;
  const TVqSOAPResponseFactory factory = [&](std::string bytes, const string& name) {
    ++made;
    return MakeRef<TVqSOAPResponse>(std::move(bytes), name);
  };
  TVqEWSCall call(Session, "GetItem");
  EXPECT_FALSE(call.Response());
  call.SendForItem(factory);
  EXPECT_TRUE(call.Response());
  TVqEWSCall(Session, "GetItem").Send(factory);
  TVqEWSCall(Session, "GetItem").SendUnchecked(factory);
  EXPECT_EQ(made, 3);
}

}  // namespace
}  // namespace velmore
