#pragma once

// POST requests by libcurl alone, as one writes them by hand.

#include <curl/curl.h>

#include <stdexcept>
#include <string>

namespace velmore {

/// One kept connection to one address.
class TBareCurl {
 public:
  explicit TBareCurl(const std::string& url) : FCurl(::curl_easy_init()) {
    for (const char* header :
         {"Content-Type: text/xml; charset=utf-8", "Accept: text/xml", "SOAPAction: \"\"", "Expect:"})
      FHeaders = ::curl_slist_append(FHeaders, header);
    ::curl_easy_setopt(FCurl, CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(FCurl, CURLOPT_HTTPHEADER, FHeaders);
    ::curl_easy_setopt(FCurl, CURLOPT_POST, 1L);
    ::curl_easy_setopt(FCurl, CURLOPT_WRITEDATA, &FReply);
    ::curl_easy_setopt(
        FCurl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* reply) {
          static_cast<std::string*>(reply)->append(data, size * count);
          return size * count;
        });
  }
  ~TBareCurl() {
    ::curl_easy_cleanup(FCurl);
    ::curl_slist_free_all(FHeaders);
  }
  TBareCurl(const TBareCurl&) = delete;
  TBareCurl& operator=(const TBareCurl&) = delete;

  CURL* Handle() const { return FCurl; }
  /// The reply to a request, to be read in place; valid until the next one.
  std::string& Post(const std::string& body) {
    FReply.clear();
    ::curl_easy_setopt(FCurl, CURLOPT_POSTFIELDS, body.c_str());
    ::curl_easy_setopt(FCurl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    if (::curl_easy_perform(FCurl) != CURLE_OK) throw std::runtime_error("libcurl alone got no answer.");
    return FReply;
  }

 private:
  CURL* FCurl;
  curl_slist* FHeaders = nullptr;
  std::string FReply;
};

}  // namespace velmore
