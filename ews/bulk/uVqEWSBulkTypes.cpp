#include "ews/bulk/uVqEWSBulkTypes.h"

namespace velmore {

TVqEWSResultBase::TVqEWSResultBase() {
  static const std::exception_ptr pending = std::make_exception_ptr(EAbort("The turn of this item did not come."));
  FFailure = pending;
}

TVqEWSResultBase::TVqEWSResultBase(std::exception_ptr AFailure, bool ASent, bool ABegun)
    : FFailure(std::move(AFailure)), FSent(ASent || ABegun), FMayHaveHappened(FFailure && ABegun) {
  if (!FFailure || !ASent || ABegun) return;
  try {
    std::rethrow_exception(FFailure);
  } catch (const EVqException& failure) {
    FMayHaveHappened = failure.MayHaveHappened();
  } catch (...) {
    FMayHaveHappened = true;  // nobody knows, and to look does no harm
  }
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
