#pragma once

/// What a handler asks of any failure. Most of it is asked of the failure itself: see EVqException.
///
///     catch (const std::exception& failure) {
///       if (VqResponseCode(failure) == "ErrorItemNotFound") ...
///     }

#include <exception>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// The service's own code of a failure of whatever kind: of a refusal, a fault, a token that was not given, or of a
/// failure that is nested in this one. Empty when there is none, as for failures of the transport.
string VqResponseCode(const std::exception& AFailure);
/// The same of what a pointer holds; empty for an empty one, and for what is no std::exception.
string VqResponseCode(const std::exception_ptr& AFailure);

}  // namespace velmore
