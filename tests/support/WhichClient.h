#pragma once

// Tests of requests run twice on Windows: over WinHTTP, and with VELMORE_TEST_WININET in the environment over WinINet.

#include <cstdlib>

#include "platform/http/uVqHTTPClient.h"
#include "platform/http/uVqWinHTTP.h"
#include "platform/http/uVqWinINet.h"

namespace velmore {

inline bool TestsUseWinHTTP() {
  return std::getenv("VELMORE_TEST_WININET") == nullptr;
}

/// A session component that the clients under test can share.
class TTestHTTPSession {
 public:
  TVqHTTPSessionBase& operator*() { return Base(); }
  TVqHTTPSessionBase* operator->() { return &Base(); }
  void Join(const TVqRef<IVqHTTPClient>& client) {
    if (TestsUseWinHTTP()) {
      dynamic_cast<TVqWinHTTPClient&>(*client->GetComponent()).SetSession(&FWinHTTP);
    } else {
      dynamic_cast<TVqWinINetClient&>(*client->GetComponent()).SetSession(&FWinINet);
    }
  }

 private:
  TVqHTTPSessionBase& Base() {
    if (TestsUseWinHTTP()) return FWinHTTP;
    return FWinINet;
  }

  TVqWinHTTPSession FWinHTTP;
  TVqWinINetSession FWinINet;
};

}  // namespace velmore
