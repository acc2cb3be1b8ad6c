#pragma once

// A client of a few lines for tests of the simulator: libcurl and the simulator's own element tree, nothing of the
// library.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "simulator/simulator.h"
#include "simulator/xml/element.h"

namespace velmore::simulator::testing {

struct Reply {
  int curl_code = 0;  // 0: the exchange went through
  long status = 0;
  std::string body;
  std::map<std::string, std::string> headers;  // names in lower case
  Element root;                                // parsed when the body is XML

  /// First element of this name anywhere in the reply; an empty element when there is none.
  const Element& Find(std::string_view name) const&;
  Element Find(std::string_view name) && { return static_cast<const Reply&>(*this).Find(name); }
  bool Has(std::string_view name) const { return !Find(name).name.empty(); }
  /// All elements of this name, in document order.
  std::vector<const Element*> All(std::string_view name) const&;
  std::vector<const Element*> All(std::string_view name) && = delete;
  std::size_t Count(std::string_view name) const { return All(name).size(); }
  std::string Code() const { return Find("ResponseCode").text; }
};

class Client {
 public:
  explicit Client(const Simulator& simulator, std::string user = "alice", std::string password = "wonder");
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Sends an operation in an envelope.
  Reply Call(const std::string& operation);
  /// Sends a whole envelope or anything else as body.
  Reply Post(const std::string& body);
  Reply Get(const std::string& path = {});

  std::string url;
  std::string ca_file;                   // for HTTPS
  std::string crl_file;                  // checks revocation when set
  std::string version = "Exchange2016";  // of requests; empty: no header
  std::string soap_headers;              // further headers
  std::vector<std::string> http_headers;
  std::string content_type = "text/xml; charset=utf-8";
  bool gzip = false;
  long timeout_milliseconds = 20000;

 private:
  Reply Perform(const std::string* body);
  void* curl_;
  std::string credentials_;
};

/// Options with alice, bob and carol (carol may impersonate), without a seed.
Options TestOptions();

/// A server that runs from the start, for members of fixtures.
class Started : public Simulator {
 public:
  explicit Started(Options options = TestOptions()) : Simulator(std::move(options)) { Start(); }
};

/// The operations used most.
std::string GetFolderXml(const std::string& folder_ids, const std::string& shape = "AllProperties");
std::string FindItemXml(const std::string& folder, const std::string& additional = {}, int count = 50, int offset = 0,
                        const std::string& behind_view = {});
std::string GetItemXml(const std::string& id,
                       const std::string& shape_content = "<t:BaseShape>AllProperties</t:BaseShape>");
std::string MessageXml(const std::string& subject, const std::string& to, const std::string& body = "Hello");
std::string CreateItemXml(const std::string& item, const std::string& disposition = "SaveOnly",
                          const std::string& folder = {});
std::string Distinguished(const std::string& name);

/// A client that writes, and the requests that it writes with.
class WriteTest : public ::testing::Test {
 protected:
  Element Make(const std::string& xml, const std::string& folder = "drafts") {
    const Reply reply = client.Call(
        "<m:CreateItem MessageDisposition=\"SaveOnly\" SendMeetingInvitations=\"SendToNone\"><m:SavedItemFolderId>" +
        Distinguished(folder) + "</m:SavedItemFolderId><m:Items>" + xml + "</m:Items></m:CreateItem>");
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    return reply.Find("ItemId");
  }
  static std::string Ids(const Element& id) {
    return "<t:ItemId Id=\"" + id.AttributeText("Id") + "\" ChangeKey=\"" + id.AttributeText("ChangeKey") + "\"/>";
  }
  Reply Update(const Element& id, const std::string& updates, const std::string& resolution = "AutoResolve") {
    return client.Call("<m:UpdateItem ConflictResolution=\"" + resolution +
                       "\" MessageDisposition=\"SaveOnly\" "
                       "SendMeetingInvitationsOrCancellations=\"SendToNone\"><m:ItemChanges><t:ItemChange>" +
                       Ids(id) + "<t:Updates>" + updates +
                       "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  }
  static std::string SetSubject(const std::string& text) {
    return "<t:SetItemField><t:FieldURI FieldURI=\"item:Subject\"/><t:Message><t:Subject>" + text +
           "</t:Subject></t:Message></t:SetItemField>";
  }
  Element Item(const Element& id, const std::string& shape = "<t:BaseShape>AllProperties</t:BaseShape>") {
    const Reply reply = client.Call(GetItemXml(id.AttributeText("Id"), shape));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    const Element items = reply.Find("Items");
    return items.children.empty() ? Element() : items.children.front();
  }
  Element FolderId(const std::string& name) { return client.Call(GetFolderXml(Distinguished(name))).Find("FolderId"); }
  Element NewFolder(const std::string& name, const std::string& parent = "msgfolderroot",
                    const std::string& element = "Folder") {
    const Reply reply = client.Call(CreateFolderXml(name, Distinguished(parent), element));
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    return reply.Find("FolderId");
  }
  static std::string CreateFolderXml(const std::string& name, const std::string& parent,
                                     const std::string& element = "Folder") {
    return "<m:CreateFolder><m:ParentFolderId>" + parent + "</m:ParentFolderId><m:Folders><t:" + element +
           "><t:DisplayName>" + name + "</t:DisplayName></t:" + element + "></m:Folders></m:CreateFolder>";
  }
  static std::string Fid(const Element& id) { return "<t:FolderId Id=\"" + id.AttributeText("Id") + "\"/>"; }

  Started server;
  Client client{server};
};

}  // namespace velmore::simulator::testing
