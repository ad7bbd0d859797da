#include "tools/OstrandTools/Bench/BenchHistory.h"

#include <string>

#include "tools/OstrandTools/Bench/BenchProcessUsage.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"

namespace ostrand_tools {

namespace {

double seconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

}  // namespace

std::optional<BenchHistoryResult> BenchHistory::measure(BenchHeavyUserPhone& phone,
                                                        std::ostream& err) {
  BenchHistoryResult result;
  result.peakWasReset = BenchProcessUsage::resetPeakResident();
  const auto residentBefore = static_cast<std::int64_t>(BenchProcessUsage::residentBytes());
  const auto cpuBefore = BenchProcessUsage::cpuTime();
  const auto queriesBefore = phone.phone().device()->queryAnswerTime();
  BenchStopwatch watch;

  std::string error;
  const auto fetched = phone.phone().fetchHistory(error);

  result.wallSeconds = watch.seconds();
  result.cpuSeconds = (BenchProcessUsage::cpuTime() - cpuBefore).count();
  result.simulatorQuerySeconds = seconds(phone.phone().device()->queryAnswerTime() - queriesBefore);
  result.peakGrowthBytes =
      static_cast<std::int64_t>(BenchProcessUsage::peakResidentBytes()) - residentBefore;
  if (!fetched) {
    err << "error: the historical fetch failed: " << error << "\n";
    return std::nullopt;
  }
  for (const auto& [kind, count] : *fetched) result.records += count;
  return result;
}

}  // namespace ostrand_tools
