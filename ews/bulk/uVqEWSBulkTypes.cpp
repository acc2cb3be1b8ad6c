#include "ews/bulk/uVqEWSBulkTypes.h"

namespace velmore {

TVqEWSResultBase::TVqEWSResultBase() {
  static const std::exception_ptr pending = std::make_exception_ptr(EAbort("The turn of this item did not come."));
  FFailure = pending;
}

string TVqEWSResultBase::FailureText() const {
  if (!FFailure) return {};
  try {
    std::rethrow_exception(FFailure);
  } catch (const EVqException& failure) {
    return failure.Message();
  } catch (const std::exception& failure) {
    return failure.what();
  } catch (...) {
    return "An exception of an unknown kind.";
  }
}

}  // namespace velmore
