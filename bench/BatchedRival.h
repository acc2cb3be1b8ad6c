#pragma once

// What a programmer would write by hand for each job: as few requests as the server allows, over one libcurl handle,
// read by pugixml where it lies. Knows nothing but its six requests.

#include <algorithm>
#include <cstring>
#include <pugixml.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/BareCurl.h"
#include "platform/common/uVqNetEncoding.h"

namespace velmore {

class TBatchedRival {
 public:
  explicit TBatchedRival(const std::string& url) : FCurl(url) {
    ::curl_easy_setopt(FCurl.Handle(), CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    ::curl_easy_setopt(FCurl.Handle(), CURLOPT_USERPWD, "alice:wonder");
  }

  /// Requests so far.
  long Requests() const { return FRequests; }

  /// The id of the inbox: the first thing that a program asks.
  std::string LogOn() {
    return Messages(
               "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape><m:FolderIds>"
               "<t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds></m:GetFolder>",
               1)
        .front()
        .child("m:Folders")
        .first_child()
        .child("t:FolderId")
        .attribute("Id")
        .value();
  }

  /// All rows of a folder; calls `row` with the texts of the columns. `fields` are URIs, `columns` the elements.
  template <typename TRow>
  long List(const std::string& folder, std::span<const std::string> fields, std::span<const std::string> columns,
            int page, TRow row) {
    std::string shape;
    for (const std::string& field : fields) shape += "<t:FieldURI FieldURI=\"" + field + "\"/>";
    std::vector<std::string> texts(columns.size());
    long rows = 0;
    for (bool last = false; !last;) {
      const pugi::xml_node root =
          Messages(
              "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape>"
              "<t:AdditionalProperties>" +
                  shape + "</t:AdditionalProperties></m:ItemShape><m:IndexedPageItemView MaxEntriesReturned=\"" +
                  std::to_string(page) + "\" Offset=\"" + std::to_string(rows) +
                  "\" BasePoint=\"Beginning\"/><m:ParentFolderIds><t:FolderId Id=\"" + folder +
                  "\"/></m:ParentFolderIds></m:FindItem>",
              1)
              .front()
              .child("m:RootFolder");
      for (const pugi::xml_node item : root.child("t:Items").children()) {
        for (std::size_t i = 0; i < columns.size(); ++i) texts[i] = item.child_value(columns[i].c_str());
        row(texts);
        ++rows;
      }
      last = root.attribute("IncludesLastItemInRange").as_bool();
    }
    return rows;
  }

  /// Items with all their properties; calls `item` with each.
  template <typename TItem>
  void Load(std::span<const std::string> ids, std::size_t batch, TItem item) {
    GetItems(ids, batch, "<t:BaseShape>AllProperties</t:BaseShape>", item);
  }

  /// The MIME texts of items; calls `text` with the bytes of each.
  template <typename TText>
  void Export(std::span<const std::string> ids, std::size_t batch, TText text) {
    std::string bytes;
    GetItems(ids, batch, "<t:BaseShape>IdOnly</t:BaseShape><t:IncludeMimeContent>true</t:IncludeMimeContent>",
             [&](const pugi::xml_node item) {
               bytes = VqBase64Decode(std::string_view(item.child_value("t:MimeContent")));
               text(bytes);
             });
  }

  void Send(int count, const std::string& body) {
    std::string items;
    for (int i = 0; i < count; ++i)
      items += "<t:Message><t:Subject>Number " + std::to_string(i) + "</t:Subject><t:Body BodyType=\"Text\">" + body +
               "</t:Body><t:ToRecipients><t:Mailbox><t:EmailAddress>bob@elsewhere.example</t:EmailAddress></t:Mailbox>"
               "</t:ToRecipients></t:Message>";
    Messages("<m:CreateItem MessageDisposition=\"SendOnly\"><m:Items>" + items + "</m:Items></m:CreateItem>",
             static_cast<std::size_t>(count));
  }

  void Mark(std::span<const std::string> ids, std::size_t batch, bool isRead) {
    for (std::size_t at = 0; at < ids.size(); at += batch) {
      const auto some = ids.subspan(at, std::min(batch, ids.size() - at));
      std::string changes;
      for (const std::string& id : some)
        changes += "<t:ItemChange><t:ItemId Id=\"" + id +
                   "\"/><t:Updates><t:SetItemField><t:FieldURI FieldURI=\"message:IsRead\"/><t:Message><t:IsRead>" +
                   (isRead ? "true" : "false") + "</t:IsRead></t:Message></t:SetItemField></t:Updates></t:ItemChange>";
      Messages("<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" MessageDisposition=\"SaveOnly\"><m:ItemChanges>" +
                   changes + "</m:ItemChanges></m:UpdateItem>",
               some.size());
    }
  }

 private:
  template <typename TItem>
  void GetItems(std::span<const std::string> ids, std::size_t batch, const std::string& shape, TItem item) {
    for (std::size_t at = 0; at < ids.size(); at += batch) {
      const auto some = ids.subspan(at, std::min(batch, ids.size() - at));
      std::string request = "<m:GetItem><m:ItemShape>" + shape + "</m:ItemShape><m:ItemIds>";
      for (const std::string& id : some) request += "<t:ItemId Id=\"" + id + "\"/>";
      for (const pugi::xml_node message : Messages(request + "</m:ItemIds></m:GetItem>", some.size()))
        item(message.child("m:Items").first_child());
    }
  }

  /// The response messages of a request, each checked; valid until the next one.
  std::vector<pugi::xml_node> Messages(const std::string& operation, std::size_t expected) {
    const std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope "
        "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
        "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><soap:Header>"
        "<t:RequestServerVersion Version=\"Exchange2016\"/></soap:Header><soap:Body>" +
        operation + "</soap:Body></soap:Envelope>";
    ++FRequests;
    std::string& reply = FCurl.Post(body);
    if (!FDocument.load_buffer_inplace(reply.data(), reply.size()))
      throw std::runtime_error("The rival got no XML: " + reply.substr(0, 200));
    std::vector<pugi::xml_node> messages;
    for (const pugi::xml_node message :
         FDocument.document_element().child("s:Body").first_child().child("m:ResponseMessages").children()) {
      if (std::strcmp(message.attribute("ResponseClass").value(), "Success") != 0)
        throw std::runtime_error(std::string("The rival was refused: ") + message.child_value("m:MessageText"));
      messages.push_back(message);
    }
    if (messages.size() != expected) throw std::runtime_error("The rival got another number of answers.");
    return messages;
  }

  TBareCurl FCurl;
  pugi::xml_document FDocument;
  long FRequests = 0;
};

}  // namespace velmore
