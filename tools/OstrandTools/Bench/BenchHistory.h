#pragma once

// BenchHistory: the historical fetch of every set (as SimulatedPhone::fetchHistory runs it) on a
// heavy user's phone that holds six months of data and has subscribed to every set.
//
// Measured: the process's CPU time and the wall time from the request to the completion; the
// CPU time HealthKit's own queries took to answer (the simulator counts it on its worker threads,
// outside the app's handlers: what HealthKit itself would spend on a phone, with the simulator's
// algorithms), which is the time's baseline; and the peak growth of resident memory over the
// resident size before the fetch (the peak is reset first, so what writing the history used
// does not count), whose baseline, the memory the six months take in the simulator, the caller
// measures while writing them.
//
// Main thread only.
//
//   auto result = BenchHistory::measure(phone, err);  // nullopt when the fetch failed

#include <cstdint>
#include <optional>
#include <ostream>

#include "tools/OstrandTools/Bench/BenchHeavyUserPhone.h"

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
