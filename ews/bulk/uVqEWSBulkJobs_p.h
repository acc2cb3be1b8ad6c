#pragma once

// What the operations on many have in common: their results, and requests that are filled with ids.

#include "ews/bulk/uVqEWSBulkRun_p.h"
#include "ews/items/internal/uVqEWSItemCalls.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Items in one request, unless the application says otherwise: where objects or texts travel, and where ids do.
inline constexpr std::size_t kEwsUsualSize = 100;
inline constexpr std::size_t kEwsUsualSizeOfIds = 500;

/// The results of an operation, as its jobs fill them.
template <typename T>
class TVqEWSResults {
 public:
  /// So many, of items whose turn has not come.
  explicit TVqEWSResults(std::size_t ACount) : FResults(ACount) {}

  TVqEWSResult<T>& operator[](std::size_t AItem) { return FResults[AItem]; }
  /// For a job's Fail.
  auto Fail() {
    return [this](std::size_t item, const std::exception_ptr& failure, bool sent) {
      FResults[item] = TVqEWSResult<T>(failure, sent);
    };
  }
  std::vector<TVqEWSResult<T>> Take() { return std::move(FResults); }

 private:
  std::vector<TVqEWSResult<T>> FResults;
};

/// A job over ids: `AFill` puts those of one request into it. What cannot stand in a request fails alone.
template <typename TFill>
TVqEWSBulkJob EwsJobOf(const TVqEWSOperation& AOperation, TVqEWSObject& AStore, std::span<const TItemId> AIds,
                       TFill AFill) {
  TVqEWSBulkJob job;
  job.Operation = AOperation.Name;
  job.Count = AIds.size();
  job.Compose = [AOperation, &AStore, AIds, AFill](std::span<const std::size_t> offered, TVqSOAPClient* client,
                                                   TVqEWSBulkRequest& request) {
    const auto fill = [&](std::span<const std::size_t> items) {
      request.Call = std::make_shared<TVqEWSCall>(AStore, AOperation, client);
      std::vector<TItemId> chosen;
      chosen.reserve(items.size());
      for (const std::size_t item : items) chosen.push_back(AIds[item]);
      AFill(*request.Call, chosen);
    };
    request.Items.assign(offered.begin(), offered.end());
    try {
      fill(offered);
    } catch (const EVqXMLError&) {
      request.Items.clear();
      for (const std::size_t item : offered) try {
          fill({&item, 1});
          request.Items.push_back(item);
        } catch (const EVqXMLError&) {
          request.Refused.emplace_back(item, std::current_exception());
        }
      if (!request.Items.empty()) fill(request.Items);
    }
    return offered.size();
  };
  return job;
}

/// An operation of one job over ids: `ARead` makes the value of one out of its message.
template <typename T, typename TFill, typename TRead>
std::vector<TVqEWSResult<T>> EwsRunOver(std::span<const TItemId> AIds, const TVqEWSOperation& AOperation,
                                        TVqEWSObject& AStore, const TVqEWSBulkSettings& ASettings,
                                        std::size_t AUsualSize, TFill AFill, TRead ARead) {
  TVqEWSResults<T> results(AIds.size());
  TVqEWSBulkJob job = EwsJobOf(AOperation, AStore, AIds, AFill);
  job.Read = [&](std::size_t item, const TVqEWSCall& call, const IVqDOMElement& message) {
    results[item] = TVqEWSResult<T>(ARead(item, call, message));
  };
  job.Fail = results.Fail();
  TVqEWSBulkRun(AStore.ActiveSession(), ASettings, AIds.size(), AUsualSize).Run(job);
  return results.Take();
}

}  // namespace velmore

#pragma GCC visibility pop
