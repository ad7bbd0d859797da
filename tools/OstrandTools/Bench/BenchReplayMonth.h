#pragma once

// BenchReplayMonth: a month of a generated export (BenchExportWriter) replayed hour by hour, as
// `replay --since all` lives it, from the app's first launch on: how many background wakes a
// second the replay gets through. Baseline: the same export stored into a fresh simulated device
// by the export reader, with no app to wake (what the replay pays at least to put the objects
// into HealthKit).
//
// Main thread only, with no other SimulatedPhone alive; the export and the database are written
// into the scratch directory.
//
//   auto result = BenchReplayMonth(scratch, 31).measure(err);

#include <cstdint>
#include <optional>
#include <ostream>

#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"

namespace ostrand_tools {

struct BenchReplayResult {
  int days = 0;
  std::uint64_t objects = 0;
  double hours = 0;
  std::size_t wakes = 0;     // background wakes while the replay lived its hours
  double replaySeconds = 0;  // living the hours (the first launch excluded)
  double storeSeconds = 0;   // the baseline
};

class BenchReplayMonth {
 public:
  BenchReplayMonth(const BenchScratchDirectory& scratch, int days)
      : scratch_(scratch), days_(days) {}

  std::optional<BenchReplayResult> measure(std::ostream& err) const;

 private:
  const BenchScratchDirectory& scratch_;
  int days_;
};

}  // namespace ostrand_tools
