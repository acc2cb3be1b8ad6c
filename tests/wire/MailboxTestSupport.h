#pragma once

// What the tests of stores, folders, tables and items share: replies by hand, requests as markup, mailboxes with
// content.

#include <string>
#include <vector>

#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {

using Names = std::vector<std::string>;

/// A reply envelope of one successful response message with this inside.
inline std::string ReplyOf(const std::string& operation, const std::string& content) {
  return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
         "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
         "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body><m:" +
         operation + "Response><m:ResponseMessages><m:" + operation +
         "ResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>" + content +
         "</m:" + operation + "ResponseMessage></m:ResponseMessages></m:" + operation +
         "Response></s:Body></s:Envelope>";
}

/// A message as MIME text.
inline std::string MimeOf(const std::string& subject, const std::string& body = "Hello") {
  return "From: Bob Birch <bob@example.com>\r\nTo: Alice Arden <alice@example.com>\r\nSubject: " + subject +
         "\r\nDate: Mon, 02 Mar 2026 10:00:00 +0000\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n" + body;
}

/// A simulator with Alice's mailbox at hand.
class MailboxTest : public EWSTest {
 protected:
  explicit MailboxTest(const std::string& version = "Exchange2016") : EWSTest(TwoUsers(version)) {}
  explicit MailboxTest(simulator::Options options) : EWSTest(std::move(options)) {}

  IVqEWSMsgStore& Store() {
    if (!FStore) FStore = Session().OpenDefaultMsgStore();
    return *FStore;
  }
  TVqRef<IVqEWSFolder> Folder(TDistinguishedFolderIdName name) { return Store().GetFolder(name, ""); }
  TVqRef<IVqEWSFolder> Inbox() { return Folder(dfininbox); }

  TItemId AddMessage(const std::string& subject, const std::string& folder = "inbox") {
    const simulator::Id id = Server().AddMessage(kAlice, folder, MimeOf(subject));
    return {id.id, id.change_key};
  }
  TItemId AddItem(const std::string& folder, const std::string& xml) {
    const simulator::Id id = Server().AddItem(kAlice, folder, xml);
    return {id.id, id.change_key};
  }
  /// A folder with so many subfolders, named "0" and so on.
  TVqRef<IVqEWSFolder> FolderOfFolders(int count) {
    for (int i = 0; i < count; ++i) Server().AddItem(kAlice, "Many/" + std::to_string(i), "<t:Message/>");
    const auto top = Folder(dfinmsgfolderroot)->GetSubFolders();
    top->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
    top->GetFields().Add(FLD_FOLDER_FOLDERID);
    TItemId many;
    for (top->Open(); !top->Eof(); top->Next()) {
      if (top->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString() == "Many")
        many = top->FieldByName(FLD_FOLDER_FOLDERID).GetValue<TItemId>();
    }
    return Store().GetFolder(many);
  }

  /// The markup of the last request of an operation.
  std::string Request(const std::string& operation) { return BodyOf(LastExchange(operation).request_body); }
  /// The markup of all requests of an operation, oldest first.
  Names Requests(const std::string& operation) {
    Names bodies;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation == operation) bodies.push_back(BodyOf(exchange.request_body));
    }
    return bodies;
  }
  /// The next request of an operation is answered with this body, whatever it asks.
  void AnswerNext(const std::string& operation, const std::string& body, int skip = 0) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.skip = skip;
    fault.replace_body = true;
    fault.body = body;
    fault.content_type = "text/xml; charset=utf-8";
    Server().AddFault(fault);
  }
  /// The next request of an operation is refused with this code.
  void RefuseNext(const std::string& operation, const std::string& code, int skip = 0) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.skip = skip;
    fault.response_code = code;
    Server().AddFault(fault);
  }
  /// What `action` sends: the operations, in order.
  template <typename TAction>
  Names Sent(TAction action) {
    Forget();
    action();
    return Operations();
  }

 private:
  TVqRef<IVqEWSMsgStore> FStore;
};

/// An item's id as it stands in a request that loads it, with the change key in an element of its own.
inline std::string LoadId(const std::string& element, const TItemId& id, bool changeKey = true) {
  return "<t:" + element + " Id=\"" + id.Id.utf8() + "\"/>" +
         (changeKey ? "<t:ChangeKey Id=\"" + id.ChangeKey.utf8() + "\"/>" : "");
}
/// The same in any other request: the change key is an attribute.
inline std::string IdElement(const std::string& element, const TItemId& id, bool changeKey = true) {
  return "<t:" + element + " Id=\"" + id.Id.utf8() + "\"" +
         (changeKey ? " ChangeKey=\"" + id.ChangeKey.utf8() + "\"" : "") + "/>";
}

/// The text of the EEWSException that `action` raises, and its second part: "ErrorItemNotFound (Not there.).|Not
/// there."
template <typename TAction>
std::string RefusalOf(TAction action) {
  try {
    action();
  } catch (const EEWSException& failure) {
    return std::string(failure.what()) + "|" + failure.EWSErrorCode().utf8();
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "another exception: " << failure.what();
    return {};
  }
  ADD_FAILURE() << "no exception";
  return {};
}

/// The server's code alone: "ErrorItemNotFound".
template <typename TAction>
std::string CodeOf(TAction action) {
  const std::string refusal = RefusalOf(action);
  return refusal.substr(0, refusal.find(" ("));
}

}  // namespace velmore::testing
