#pragma once

/// What operations on many items give back, and what they tell while they run. See uVqEWSBulk.h.

#include <chrono>
#include <concepts>
#include <exception>
#include <functional>
#include <vector>

#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

/// The part of TVqEWSResult<T> that is the same for every value. A copy shares the failure.
class TVqEWSResultBase {
 public:
  /// Whether there is a value.
  bool Succeeded() const noexcept { return !FFailure; }
  explicit operator bool() const noexcept { return Succeeded(); }
  /// The exception that the item alone would have raised; null after a success.
  const std::exception_ptr& Failure() const noexcept { return FFailure; }
  /// Its text; empty after a success.
  string FailureText() const;
  /// False when the item's turn never came: the operation was stopped before, or could not go on. Nothing was done to
  /// it then.
  bool WasSent() const noexcept { return FSent; }
  /// Of a failure: whether something may have been done to the item all the same, or was, as for a new one that could
  /// not be read back. Look before you repeat it. False after a success, for what only reads, and where `WasSent` is.
  bool MayHaveHappened() const noexcept { return FMayHaveHappened; }

 protected:
  /// Of an item whose turn has not come yet.
  TVqEWSResultBase();
  /// A success, or a failure where `AFailure` is not null, which came when something was done to the item already where
  /// `ABegun` says so.
  TVqEWSResultBase(std::exception_ptr AFailure, bool ASent, bool ABegun = false);

 private:
  std::exception_ptr FFailure;
  bool FSent = false;
  bool FMayHaveHappened = false;
};

/// What came of one item: a value, or the exception that it alone would have raised. Values, copied like their T.
template <typename T>
class TVqEWSResult : public TVqEWSResultBase {
 public:
  /// Of an item whose turn has not come yet.
  TVqEWSResult() = default;
  /// A success.
  explicit TVqEWSResult(T AValue) : TVqEWSResultBase(nullptr, true), FValue(std::move(AValue)) {}
  /// A failure.
  TVqEWSResult(std::exception_ptr AFailure, bool ASent, bool ABegun = false)
      : TVqEWSResultBase(std::move(AFailure), ASent, ABegun) {}

  /// The value. Raises the failure when there is none.
  const T& Value() const {
    if (Failure()) std::rethrow_exception(Failure());
    return FValue;
  }

 private:
  T FValue{};
};

/// What became of an item that is loaded, saved or made.
using TVqEWSItemResult = TVqEWSResult<TVqRef<IVqEWSItem>>;
/// What became of a folder.
using TVqEWSFolderResult = TVqEWSResult<TVqRef<IVqEWSFolder>>;
/// What became of an item of which the id is all that is told.
using TVqEWSIdResult = TVqEWSResult<TItemId>;

/// An item, and the file that its MIME text goes into.
struct TVqEWSItemFile {
  TItemId Id;       ///< of the item
  string FileName;  ///< absolute, or from the program's folder
};
/// What became of one.
struct TVqEWSFileResult : TVqEWSIdResult {
  string FileName;  ///< as it was given
};

/// Raises the first failure among results; nothing when all went well.
///
///     VqCheckResults(bulk.MoveItems(ids, archive->GetID()));
template <std::derived_from<TVqEWSResultBase> TResult>
void VqCheckResults(const std::vector<TResult>& AResults) {
  for (const TResult& result : AResults) result.Value();
}

/// How far an operation has come.
struct TVqEWSBulkProgress {
  /// Items whose result is there, and how many of these are failures; of how many.
  std::size_t Done = 0;
  std::size_t Failed = 0;
  std::size_t Total = 0;
  /// Requests that were answered, those that were made again included.
  std::size_t Requests = 0;
  /// Items in the next request at most.
  std::size_t RequestSize = 0;
  /// What is left of a wait that a busy server has asked for; 0 outside of waits.
  std::chrono::milliseconds Waiting{0};
};

/// Told after each answer, and ten times a second while a busy server is waited for. False stops the operation: what is
/// under way is waited for, what was not sent is left. Runs on the caller's thread; what it raises comes out of the
/// operation.
using TVqEWSBulkProgressEvent = std::function<bool(const TVqEWSBulkProgress& AProgress)>;

}  // namespace velmore
