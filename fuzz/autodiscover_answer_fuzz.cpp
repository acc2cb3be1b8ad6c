// The answer of a server that calls itself the finder of servers: it is a document of settings, or an error of a known
// kind with a text that can be shown; where it refers to can be looked at.

#include <cstdlib>

#include "ews/model/uVqEWSInterfaces.h"
#include "ews/session/uVqEWSAutodiscoverAnswer_p.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr std::size_t kMost = 100;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string body(reinterpret_cast<const char*>(data), size);
  try {
    const velmore::IVqDOMDocument answer = velmore::EwsReadAutodiscoverAnswer({200, "OK"}, body, kMost);
    Require(answer.GetDocumentElement().GetLocalName() == "Autodiscover");
    const velmore::TEwsReferral referral = velmore::EwsReferralOf(answer);
    Require(referral.Address.empty() || referral.URL.empty());
    if (!referral.URL.empty()) velmore::EwsWhyNoTarget(referral.URL);
    answer.SelectSingleElement("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl", velmore::kSelectQuiet)
        .GetText();
  } catch (const velmore::EEWSException& failure) {
    Require(failure.EWSErrorCode().size() <= kMost + 3);
  } catch (const velmore::EVqException&) {
    // Not well-formed, or without a node that is required.
  }
  return 0;
}
