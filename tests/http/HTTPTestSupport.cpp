#include "HTTPTestSupport.h"

#include <cstdlib>

namespace {

// The machine's own proxy and trust settings must not decide about a test.
class CleanEnvironment : public testing::Environment {
  void SetUp() override {
    for (const char* name : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy", "ALL_PROXY",
                             "no_proxy", "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR"}) {
      unsetenv(name);
    }
  }
};

[[maybe_unused]] const auto* const Installed = testing::AddGlobalTestEnvironment(new CleanEnvironment);

}  // namespace
