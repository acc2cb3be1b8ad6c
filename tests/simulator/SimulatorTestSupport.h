#pragma once

// A client of a few lines for tests of the simulator: libcurl and the simulator's own element tree, nothing of the library.

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

}  // namespace velmore::simulator::testing
