#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/ScriptedServer.h"
#include "tests/support/WhichClient.h"

namespace velmore {

inline void PrintTo(const TVqString& text, std::ostream* out) {
  *out << '"' << text.utf8() << '"';
}

/// A client with a short fuse: no test waits for the defaults.
inline TVqRef<IVqHTTPClient> NewClient(bool winHTTP = TestsUseWinHTTP()) {
  TVqRef<IVqHTTPClient> client = TVqHTTPClient(winHTTP);
  client->GetTimeOuts() = TVqHTTPTimeOuts(5000, 5000, 5000);
  return client;
}

/// A client that logs on with a name and a password.
inline TVqRef<IVqHTTPClient> As(const string& user, const string& password) {
  const auto client = NewClient();
  client->GetCredentials().SetUserName(user);
  client->GetCredentials().SetPassword(password);
  return client;
}

inline TVqRef<IVqHTTPResponse> Get(const TVqRef<IVqHTTPClient>& client, const string& url) {
  TVqRef<IVqHTTPResponse> response;
  client->Request(response, TVqHTTPVerb::get, url);
  return response;
}

inline TVqRef<IVqHTTPResponse> Post(const TVqRef<IVqHTTPClient>& client, const string& url, std::string body,
                                    const string& type = "text/xml") {
  TVqRef<IVqHTTPResponse> response;
  client->Request(response, TVqHTTPVerb::post, url, std::move(body), type, false);
  return response;
}

/// An answer with nothing special about how it is sent.
inline ScriptedServer::Answer Plain(std::string bytes) {
  return {std::move(bytes), 0, {}, {}, false, false, false, false};
}
/// An answer of status 401; `challenges` are whole header lines.
inline std::string Refusal(const std::string& challenges) {
  return "HTTP/1.1 401 Unauthorized\r\n" + challenges + "Content-Length: 0\r\n\r\n";
}

/// For tokens in headers; what is no digit ends the text.
std::string EncodeBase64(std::string_view bytes);
std::string DecodeBase64(std::string_view base64);

/// The number of the API exception that `job` raises; 0 when it raises none. The text goes to `text`.
template <typename Job>
std::uint32_t NumberOf(Job job, std::string* text = nullptr) {
  try {
    job();
  } catch (const EVqHTTPApiException& error) {
    if (text) *text = error.what();
    return error.GetNumber();
  }
  return 0;
}

}  // namespace velmore
