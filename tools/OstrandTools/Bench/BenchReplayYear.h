#pragma once

// BenchReplayYear: the last year of a generated export (BenchExportWriter) replayed hour by
// hour, as `replay --since DAY` lives it, DAY one year before the export was made (or its first
// day, for a shorter export): what ended before is in HealthKit when the app is installed, so
// every hourly wake runs beside years of history. Measured: the time to read the export and
// install the app, the wall time of the year's hours, the background wakes a second, and the
// peak memory while replaying.
//
// Main thread only, with no other SimulatedPhone alive; the database goes into the scratch
// directory.
//
//   auto result = BenchReplayYear(scratch, path, written).measure(err);

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "tools/OstrandTools/Bench/BenchExportWriter.h"
#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"

namespace ostrand_tools {

struct BenchReplayYearResult {
  std::string since;  // the first day replayed
  double hours = 0;
  std::size_t wakes = 0;
  double prepareSeconds = 0;   // reading the export, installing the app, its first fetch
  double replaySeconds = 0;    // living the hours
  double peakGrowthBytes = 0;  // VmHWM during prepare and replay minus VmRSS before
  bool peakWasReset = false;
};

class BenchReplayYear {
 public:
  BenchReplayYear(const BenchScratchDirectory& scratch, std::string exportPath,
                  const BenchExportWriter::Written& written)
      : scratch_(scratch), exportPath_(std::move(exportPath)), written_(written) {}

  // The day the replay starts (YYYY-MM-DD in the export's zone).
  std::string sinceDay() const;
  std::optional<BenchReplayYearResult> measure(std::ostream& err) const;

 private:
  const BenchScratchDirectory& scratch_;
  std::string exportPath_;
  BenchExportWriter::Written written_;
};

}  // namespace ostrand_tools
