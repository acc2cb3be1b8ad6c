#include "SimulatorTestSupport.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>

#include "simulator/schema/validator.h"

namespace velmore::simulator::testing {

namespace {

const Element kNone = [] {
  Element element;
  element.name.clear();
  return element;
}();

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* user) {
  static_cast<std::string*>(user)->append(data, size * count);
  return size * count;
}

std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* user) {
  std::string line(data, size * count);
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
  const std::size_t colon = line.find(':');
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    (*static_cast<std::map<std::string, std::string>*>(user))[name] = line.substr(std::min(colon + 2, line.size()));
  }
  return size * count;
}

/// Every answer of the service is what servers publish, where their schema is at hand (VELMORE_EWS_SCHEMA).
void ExpectValid(const Reply& reply) {
  static const std::unique_ptr<const Validator> validator = [] {
    const char* directory = std::getenv("VELMORE_EWS_SCHEMA");
    return directory != nullptr && *directory != '\0' ? std::make_unique<const Validator>(directory) : nullptr;
  }();
  if (validator == nullptr || reply.status != 200 || reply.root.name != "Envelope") return;
  if (const auto violation = validator->Check(reply.body)) {
    const std::size_t body = reply.body.find("Body");
    ADD_FAILURE() << violation->what() << "\n" << reply.body.substr(body == std::string::npos ? 0 : body, 1500);
  }
}

}  // namespace

const Element& Reply::Find(std::string_view name) const& {
  const std::vector<const Element*> all = All(name);
  return all.empty() ? kNone : *all.front();
}

std::vector<const Element*> Reply::All(std::string_view name) const& {
  std::vector<const Element*> found;
  const std::function<void(const Element&)> walk = [&](const Element& element) {
    if (element.name == name) found.push_back(&element);
    for (const Element& child : element.children) walk(child);
  };
  walk(root);
  return found;
}

Client::Client(const Simulator& simulator, std::string user, std::string password)
    : url(simulator.HttpUrl()),
      ca_file(simulator.CaCertificateFile()),
      curl_(curl_easy_init()),
      credentials_(user + ":" + password) {}

Client::~Client() {
  curl_easy_cleanup(curl_);
}

Reply Client::Call(const std::string& operation) {
  std::string header = soap_headers;
  if (!version.empty()) header.insert(0, "<t:RequestServerVersion Version=\"" + version + "\"/>");
  return Post("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<soap:Envelope xmlns:soap=\"" + std::string(kSoapNamespace) +
              "\" xmlns:m=\"" + kMessagesNamespace + "\" xmlns:t=\"" + kTypesNamespace + "\"><soap:Header>" + header +
              "</soap:Header><soap:Body>" + operation + "</soap:Body></soap:Envelope>");
}

Reply Client::Post(const std::string& body) {
  return Perform(&body);
}

Reply Client::Get(const std::string& path) {
  const std::string kept = url;
  if (!path.empty()) url = url.substr(0, url.find('/', 8)) + path;
  Reply reply = Perform(nullptr);
  url = kept;
  return reply;
}

Reply Client::Perform(const std::string* body) {
  Reply reply;
  curl_easy_reset(curl_);
  curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, timeout_milliseconds);
  curl_easy_setopt(curl_, CURLOPT_NOPROXY, "*");
  if (credentials_ != ":") {
    curl_easy_setopt(curl_, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl_, CURLOPT_USERPWD, credentials_.c_str());
  }
  curl_easy_setopt(curl_, CURLOPT_CAINFO, ca_file.c_str());
  curl_easy_setopt(curl_, CURLOPT_CAPATH, nullptr);
  if (!crl_file.empty()) curl_easy_setopt(curl_, CURLOPT_CRLFILE, crl_file.c_str());
  if (gzip) curl_easy_setopt(curl_, CURLOPT_ACCEPT_ENCODING, "gzip");
  curl_slist* headers = curl_slist_append(nullptr, ("Content-Type: " + content_type).c_str());
  for (const std::string& header : http_headers) headers = curl_slist_append(headers, header.c_str());
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers);
  if (body != nullptr) {
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body->data());
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
  }
  curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &reply.body);
  curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &reply.headers);
  reply.curl_code = curl_easy_perform(curl_);
  curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &reply.status);
  curl_slist_free_all(headers);
  try {
    if (!reply.body.empty()) reply.root = ParseXml(reply.body);
  } catch (const XmlError&) {
    reply.root = kNone;
  }
  ExpectValid(reply);
  return reply;
}

Options TestOptions() {
  Options options;
  options.accept_departures = true;
  options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"},
                   {"bob", "bob@example.com", "Bob Birch", "builder"},
                   {"carol", "carol@example.com", "Carol Cedar", "cembalo", {}, true}};
  options.directory = {{"dora@example.org", "Dora Dogwood"}};
  return options;
}

std::string Distinguished(const std::string& name) {
  return "<t:DistinguishedFolderId Id=\"" + name + "\"/>";
}

std::string GetFolderXml(const std::string& folder_ids, const std::string& shape) {
  return "<m:GetFolder><m:FolderShape><t:BaseShape>" + shape + "</t:BaseShape></m:FolderShape><m:FolderIds>" +
         folder_ids + "</m:FolderIds></m:GetFolder>";
}

std::string FindItemXml(const std::string& folder, const std::string& additional, int count, int offset,
                        const std::string& behind_view) {
  return "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape>" +
         (additional.empty() ? std::string() : "<t:AdditionalProperties>" + additional + "</t:AdditionalProperties>") +
         "</m:ItemShape><m:IndexedPageItemView MaxEntriesReturned=\"" + std::to_string(count) + "\" Offset=\"" +
         std::to_string(offset) + "\" BasePoint=\"Beginning\"/>" + behind_view + "<m:ParentFolderIds>" +
         (folder.starts_with("<") ? folder : Distinguished(folder)) + "</m:ParentFolderIds></m:FindItem>";
}

std::string GetItemXml(const std::string& id, const std::string& shape_content) {
  return "<m:GetItem><m:ItemShape>" + shape_content + "</m:ItemShape><m:ItemIds>" +
         (id.starts_with("<") ? id : "<t:ItemId Id=\"" + id + "\"/>") + "</m:ItemIds></m:GetItem>";
}

std::string MessageXml(const std::string& subject, const std::string& to, const std::string& body) {
  return "<t:Message><t:Subject>" + subject + "</t:Subject><t:Body BodyType=\"Text\">" + body +
         "</t:Body><t:ToRecipients><t:Mailbox><t:EmailAddress>" + to +
         "</t:EmailAddress></t:Mailbox></t:ToRecipients></t:Message>";
}

std::string CreateItemXml(const std::string& item, const std::string& disposition, const std::string& folder) {
  return "<m:CreateItem" + (disposition.empty() ? std::string() : " MessageDisposition=\"" + disposition + "\"") + ">" +
         (folder.empty() ? std::string()
                         : "<m:SavedItemFolderId>" + (folder.starts_with("<") ? folder : Distinguished(folder)) +
                               "</m:SavedItemFolderId>") +
         "<m:Items>" + item + "</m:Items></m:CreateItem>";
}

}  // namespace velmore::simulator::testing
