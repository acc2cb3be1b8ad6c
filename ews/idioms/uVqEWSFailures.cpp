#include "ews/idioms/uVqEWSFailures.h"

namespace velmore {

string VqResponseCode(const std::exception& AFailure) {
  if (const auto* failure = dynamic_cast<const EVqException*>(&AFailure); failure && !failure->ResponseCode().empty())
    return failure->ResponseCode();
  const auto* nested = dynamic_cast<const std::nested_exception*>(&AFailure);
  return nested ? VqResponseCode(nested->nested_ptr()) : string();
}

string VqResponseCode(const std::exception_ptr& AFailure) {
  if (!AFailure) return {};
  try {
    std::rethrow_exception(AFailure);
  } catch (const std::exception& failure) {
    return VqResponseCode(failure);
  } catch (...) {
    return {};
  }
}

}  // namespace velmore
