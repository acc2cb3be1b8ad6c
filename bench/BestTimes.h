#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// Prints as usual and keeps the best time of each benchmark, in its unit: the judgement at the end compares these.
class TBestTimes : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      double& best = Best.try_emplace(run.run_name.function_name, run.GetAdjustedCPUTime()).first->second;
      if (run.GetAdjustedCPUTime() < best) best = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }

  std::map<std::string, double> Best;
};
