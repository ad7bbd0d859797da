#include "tools/OstrandTools/Bench/BenchReplayYear.h"

#include <algorithm>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSTimeZone.h"
#include "tools/OstrandTools/Bench/BenchExportZone.h"
#include "tools/OstrandTools/Bench/BenchProcessUsage.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace ostrand_tools {

std::string BenchReplayYear::sinceDay() const {
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(NSTimeZone::timeZoneWithName(BenchExportWriter::kZone));
  const auto yearBefore = calendar->dateByAddingUnit(
      NSCalendarUnitYear, -1, NSDate::dateWithTimeIntervalSince1970(written_.exportedAt),
      NSCalendarOptions{});
  const double since = std::max(yearBefore->timeIntervalSince1970(), written_.firstMidnight);
  const auto moment = static_cast<std::int64_t>(since);
  return BenchExportZone(BenchExportWriter::kZone, moment - 86400, moment + 86400).dayText(moment);
}

std::optional<BenchReplayYearResult> BenchReplayYear::measure(std::ostream& err) const {
  BenchReplayYearResult result{.since = sinceDay()};
  BenchProcessUsage::returnFreedMemory();
  const auto residentBefore = static_cast<double>(BenchProcessUsage::residentBytes());
  result.peakWasReset = BenchProcessUsage::resetPeakResident();
  std::ostream silent(nullptr);
  Replay replay({.exportPath = exportPath_,
                 .databasePath = scratch_.file("replayed-year.sqlite"),
                 .since = result.since});
  BenchStopwatch stopwatch;
  if (replay.prepare(silent, err) != 0) return std::nullopt;
  result.prepareSeconds = stopwatch.seconds();
  const std::size_t wakesBefore = replay.backgroundWakes();
  stopwatch.restart();
  if (!replay.liveUntil(replay.until(), silent, err)) return std::nullopt;
  result.replaySeconds = stopwatch.seconds();
  result.wakes = replay.backgroundWakes() - wakesBefore;
  result.hours = replay.until().timeIntervalSinceDate(replay.since()) / 3600;
  result.peakGrowthBytes =
      static_cast<double>(BenchProcessUsage::peakResidentBytes()) - residentBefore;
  return result;
}

}  // namespace ostrand_tools
