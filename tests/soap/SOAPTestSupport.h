#pragma once

// A SOAP client on a scripted server, and replies for it.

#include <gtest/gtest.h>

#include <string>

#include "platform/soap/uVqSOAPClient.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WhichClient.h"

namespace velmore::testing {

inline constexpr const char* kSoap11 = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr const char* kSoap12 = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr const char* kMessages = "http://schemas.microsoft.com/exchange/services/2006/messages";
inline constexpr const char* kTypes = "http://schemas.microsoft.com/exchange/services/2006/types";
inline constexpr const char* kErrors = "http://schemas.microsoft.com/exchange/services/2006/errors";

/// "<s:Envelope ...><s:Body>body</s:Body></s:Envelope>"
inline std::string Envelope(const std::string& body, const std::string& soap = kSoap11) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"" + soap + "\"><s:Body>" + body +
         "</s:Body></s:Envelope>";
}

/// A whole reply with any status.
inline std::string Reply(const std::string& status, const std::string& body, const std::string& headers = {}) {
  return "HTTP/1.1 " + status + "\r\nContent-Type: text/xml\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class SOAPTest : public ::testing::Test {
 protected:
  SOAPTest() {
    HTTP->GetTimeOuts() = TVqHTTPTimeOuts(5000, 5000, 5000);
    SOAP.SetHTTPClient(HTTP->GetComponent());
    SOAP.InitSOAPEnv(Server.Url("/ews"), "soap", {{"xmlns:soap", kSoap11}, {"xmlns:m", kMessages}, {"xmlns:t", kTypes}},
                     TVqSOAPEncodingVersion::soap11);
  }

  /// Sends an "m:GetItem" and gives the reply.
  TVqRef<IVqSOAPResponse> Ask(const string& responseName = {}) {
    TVqRef<IVqSOAPResponse> response;
    SOAP.CreateRequest("m:GetItem", responseName)->Send(response);
    return response;
  }

  ScriptedServer Server;
  TVqRef<IVqHTTPClient> HTTP = TVqHTTPClient(TestsUseWinHTTP());
  TVqSOAPClient SOAP{nullptr};
};

/// The failure that `action` raises, of exactly or below this class.
template <typename T, typename TAction, typename TCheck>
void ExpectFailure(TAction action, TCheck check) {
  try {
    action();
    ADD_FAILURE() << "no exception";
  } catch (const T& failure) {
    check(failure);
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "another exception: " << failure.what();
  }
}

}  // namespace velmore::testing
