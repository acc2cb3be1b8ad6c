#pragma once

// Who can be the reason of a failure: a server, a proxy or a network, or the program and its machine. One answer for
// all tests that meet servers which fail. Each public class of exceptions stands in one of the two lists, itself or by
// a class that it derives from; tests/docs holds them against the headers.

#include <string>
#include <typeinfo>

#include "ews/model/uVqEWSInterfaces.h"
#include "ews/stores/uVqEWSFolder.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/http/uVqHTTPTypes.h"
#include "platform/os/uVqRegistry.h"
#include "platform/soap/uVqSOAPStreamCutter.h"
#include "platform/soap/uVqSOAPTypes.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore::testing {

/// `TClasses` or what derives from one of them.
template <typename... TClasses>
bool IsOneOf(const std::exception& failure) {
  return (dynamic_cast<const TClasses*>(&failure) || ...);
}

/// A server can be the reason of these.
inline bool IsOfServers(const std::exception& failure) {
  return IsOneOf<EConvertError, EEWSException, EVqHTTPException, EVqSOAPFault, EVqSOAPStreamTooLong,
                 EVqSOAPUnexpectedReply, EVqXMLError>(failure);
}

/// No server can: the program is wrong, or the machine.
inline bool IsOfPrograms(const std::exception& failure) {
  return IsOneOf<EAbort, EAssertionFailed, EListError, EStreamError, EVqDataProtection, EVqEWSNotCarriedOut,
                 EVqHTTPInvalidArgument, EVqNotSupported, EVqRegistryError>(failure);
}

/// Whether a failure on a server that behaves as badly as it likes is told as docs/errors.md has it. A plain exception
/// is misuse, but for what a reply can lack and for a listing that does not end.
inline bool IsDocumentedOfServers(const std::exception& failure) {
  if (IsOfPrograms(failure)) return false;
  if (IsOfServers(failure)) return true;
  // What std::throw_with_nested makes has a type of its own, and is never plain.
  const std::string text = failure.what();
  return typeid(failure) == typeid(EVqException) &&
         (text == "The body of the reply is empty." ||
          text == "The server says that more changes follow, and does not move on." ||
          text.starts_with("The reply holds no ") ||
          (text.starts_with("The page at row ") && text.find(" does not move on") != std::string::npos));
}

}  // namespace velmore::testing
