#pragma once

// BenchReport: the bench's results as its one table (BenchTable), rows in a fixed order
// (conversion per kind, outbox, historical fetch, background wake, replays, the generated
// export, the run's peak memory), each followed under the table by a note that says what
// exactly was measured.
//
// Main thread only.
//
//   BenchReport report;
//   report.addConversion(results, runs);
//   report.print(std::cout);

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/OstrandTools/Bench/BenchConversion.h"
#include "tools/OstrandTools/Bench/BenchExportRead.h"
#include "tools/OstrandTools/Bench/BenchHistory.h"
#include "tools/OstrandTools/Bench/BenchOutbox.h"
#include "tools/OstrandTools/Bench/BenchReplayMonth.h"
#include "tools/OstrandTools/Bench/BenchReplayYear.h"
#include "tools/OstrandTools/Bench/BenchTable.h"
#include "tools/OstrandTools/Bench/BenchWake.h"

namespace ostrand_tools {

class BenchReport {
 public:
  BenchReport();

  void addConversion(const std::vector<BenchConversionResult>& results, int runs);
  void addOutbox(const BenchOutboxResult& result, std::size_t batchSize, int runs);
  // `days` and `samples` describe the history; `historyBytes` is the resident memory writing it
  // took (the memory row's baseline).
  void addHistory(const BenchHistoryResult& result, int days, std::size_t samples,
                  double historyBytes);
  void addWake(const BenchWakeResult& result, int runs);
  void addExportRead(const BenchExportReadResult& result);
  void addReplay(const BenchReplayResult& result);
  // `read`: the same export's reading, whose storing is the baseline.
  void addReplayYear(const BenchReplayYearResult& result, const BenchExportReadResult& read);
  void addRunPeak(double peakBytes, double exportBytes);

  void print(std::ostream& out) const;

 private:
  BenchTable table_;
};

}  // namespace ostrand_tools
