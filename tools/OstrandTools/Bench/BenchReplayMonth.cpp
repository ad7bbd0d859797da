#include "tools/OstrandTools/Bench/BenchReplayMonth.h"

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "tools/OstrandTools/Bench/BenchExportWriter.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace ostrand_tools {

std::optional<BenchReplayResult> BenchReplayMonth::measure(std::ostream& err) const {
  const std::string path = scratch_.file("replayed-export.xml");
  const auto written = BenchExportWriter::writeDays(path, days_);
  if (!written) {
    err << "error: cannot write the generated export " << path << "\n";
    return std::nullopt;
  }
  BenchReplayResult result{.days = written->days, .objects = written->objects};
  {
    std::ostream silent(nullptr);
    Replay replay({.exportPath = path,
                   .databasePath = scratch_.file("replayed-month.sqlite"),
                   .since = "all"});
    if (replay.prepare(silent, err) != 0) return std::nullopt;
    const std::size_t wakesBefore = replay.backgroundWakes();
    BenchStopwatch stopwatch;
    if (!replay.liveUntil(replay.until(), silent, err)) return std::nullopt;
    result.replaySeconds = stopwatch.seconds();
    result.wakes = replay.backgroundWakes() - wakesBefore;
    result.hours = replay.until().timeIntervalSinceDate(replay.since()) / 3600;
  }
  BenchStopwatch stopwatch;
  const auto stored =
      AppleHealthExportReader().read(path, platform::SimulatedHealthDevice::create());
  result.storeSeconds = stopwatch.seconds();
  if (!stored.succeeded()) {
    err << "error: " << stored.error->description() << "\n";
    return std::nullopt;
  }
  return result;
}

}  // namespace ostrand_tools
