#pragma once

// What the tests of saving share: items to change, the parts of a save's requests, and failures at its steps.

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSItem.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqNetEncoding.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {

class SaveTest : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  TVqRef<IVqEWSEMail> NewMail() { return Supports<IVqEWSEMail>(Folder(dfindrafts)->CreateItem(tMessage)); }
  TVqRef<IVqEWSEMail> Mail(const TItemId& id) { return Supports<IVqEWSEMail>(Store().GetItem(id)); }
  /// A message from XML ("<t:Subject>..."), as a draft.
  TVqRef<IVqEWSEMail> Draft(const std::string& members) {
    return Mail(AddItem("drafts", "<t:Message>" + members + "</t:Message>"));
  }
  /// The same item once more, as the server has it.
  TVqRef<IVqEWSEMail> Again(IVqEWSItem& item) { return Mail(item.GetID()); }

  /// What stands in "t:Updates" of the last update.
  std::string Updates() {
    return VqCreateDOM(LastExchange("UpdateItem").request_body)
        .SelectSingleElement("/Envelope/Body/UpdateItem/ItemChanges/ItemChange/Updates", kSelectRequired)
        .GetInnerXML()
        .utf8();
  }
  /// One element of the last request of an operation, by its path below the operation's element.
  std::string Part(const std::string& operation, const std::string& path) {
    return VqCreateDOM(LastExchange(operation).request_body)
        .SelectSingleElement("/Envelope/Body/" + operation + "/" + path, kSelectRequired)
        .GetXMLAsUtf8();
  }
  /// Change keys that the requests of an operation carried in an element, in order.
  Names KeysOf(const std::string& operation, const std::string& element) {
    Names keys;
    for (const std::string& body : Requests(operation))
      keys.push_back(VqCreateDOM("<r xmlns:m=\"m\" xmlns:t=\"t\">" + body + "</r>")
                         .SelectSingleElement("//" + element, kSelectRequired)
                         .GetAttribute("ChangeKey")
                         .utf8());
    return keys;
  }
  /// Id and change key that the n-th reply of an operation gave ("ItemId"/"ChangeKey" or
  /// "AttachmentId"/"RootItemChangeKey").
  std::string AnsweredKey(const std::string& operation, const std::string& element, const std::string& attribute,
                          int which = 0) {
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation != operation || which-- > 0) continue;
      return VqCreateDOM(exchange.response_body)
          .SelectSingleElement("//" + element, kSelectRequired)
          .GetAttribute(attribute)
          .utf8();
    }
    ADD_FAILURE() << "no such reply of " << operation;
    return {};
  }

  static TVqRef<IVqEWSFileAttachment> Attach(IVqEWSItem& item, const string& name, std::string content) {
    TVqMemoryStream stream(std::move(content));
    return item.GetAttachments().AddAttachment(name, "text/plain", stream);
  }
  static TVqRef<IVqEWSFileAttachment> File(IVqEWSItem& item, std::int32_t index) {
    return Supports<IVqEWSFileAttachment>(item.GetAttachments().GetAttachment(index));
  }
  static std::string Content(IVqEWSFileAttachment& file) {
    TVqMemoryStream stream;
    file.SaveToStream(stream);
    return stream.TakeBytes();
  }
  /// "a.txt=content of a;b.txt=..." of an item, as the server has it.
  std::string AttachmentsOf(IVqEWSItem& item) {
    const auto fresh = Again(item);
    std::string text;
    for (std::int32_t i = 0; i < fresh->GetAttachments().Count(); ++i) {
      const auto file = File(*fresh, i);
      text += fresh->GetAttachments().GetAttachment(i)->GetName().utf8() + "=" + (file ? Content(*file) : "item") + ";";
    }
    return text;
  }

  /// The connection ends: before the request is carried out, or after it, with the reply lost or cut in the middle.
  enum class Cut { before, after, within };
  void CutNext(const std::string& operation, Cut where, int skip = 0) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.skip = skip;
    fault.execute = where != Cut::before;
    if (where == Cut::within) {
      fault.cut_at_byte = 300;
    } else {
      fault.close_before_reply = true;
    }
    Server().AddFault(fault);
  }
};

/// `t:FieldURI` and `t:SetItemField` of a message, as an update has them.
inline std::string SetField(const std::string& uri, const std::string& markup, const std::string& item = "t:Message") {
  return "<t:SetItemField><t:FieldURI FieldURI=\"" + uri + "\"/><" + item + ">" + markup + "</" + item +
         "></t:SetItemField>";
}
inline std::string DeleteField(const std::string& uri) {
  return "<t:DeleteItemField><t:FieldURI FieldURI=\"" + uri + "\"/></t:DeleteItemField>";
}

}  // namespace velmore::testing
