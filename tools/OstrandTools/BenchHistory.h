#pragma once

// BenchHistory: the historical fetch of every set (as SimulatedPhone::fetchHistory runs it) on a
// heavy user's phone that holds six months of data and has subscribed to every set.
//
// Measured: the wall time from the request to the completion; the process's CPU time over the
// same span; the CPU time HealthKit's own queries took to answer (the simulator counts it on its
// worker threads, outside the app's handlers: what HealthKit itself would spend on a phone,
// with the simulator's algorithms); and the peak growth of resident memory over the resident
// size before the fetch (the peak is reset first, so what writing the history used does not
// count). Its baselines: the memory the simulated database of six months took while it was
// written (measured by the caller) and the simulator's query time.
//
// Main thread only.
//
//   auto result = BenchHistory::measure(phone, err);  // nullopt when the fetch failed

#include <cstdint>
#include <optional>
#include <ostream>

#include "tools/OstrandTools/BenchHeavyUserPhone.h"

namespace ostrand_tools {

struct BenchHistoryResult {
  double wallSeconds = 0;
  double cpuSeconds = 0;
  double simulatorQuerySeconds = 0;  // CPU, summed over HealthKit's worker threads
  std::int64_t peakGrowthBytes = 0;
  bool peakWasReset = false;  // false: the peak since the process started (an upper bound)
  std::size_t records = 0;
};

class BenchHistory {
 public:
  static std::optional<BenchHistoryResult> measure(BenchHeavyUserPhone& phone, std::ostream& err);
};

}  // namespace ostrand_tools
