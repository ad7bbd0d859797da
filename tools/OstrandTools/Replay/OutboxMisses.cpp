#include "tools/OstrandTools/Replay/OutboxMisses.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "tools/OstrandTools/Replay/DayAudit.h"
#include "tools/OstrandTools/Replay/MinuteMisses.h"
#include "tools/OstrandTools/Replay/RoutineMisses.h"

namespace ostrand_tools {

namespace {

using SourceDay = std::pair<std::string, NSDate>;  // bundle identifier, day start

bool holdsDay(const OSTBiometrics& record, double minimum, double maximum, double average) {
  const NSAny low = record.minHeartRate(), high = record.maxHeartRate(),
              mean = record.averageHeartRate();
  return low.isNumber() && high.isNumber() && mean.isNumber() &&
         DayAudit::same(low.doubleValue(), minimum) &&
         DayAudit::same(high.doubleValue(), maximum) && DayAudit::same(mean.doubleValue(), average);
}

// Each source's heart-rate samples by the day they start in, and when each reached HealthKit.
std::map<SourceDay, Arrivals> heartRateArrivals(
    DayAudit& audit, const std::vector<std::shared_ptr<const HKSample>>& samples) {
  std::map<SourceDay, Arrivals> arrivals;
  for (const auto& sample : samples) {
    arrivals[{sample->source()->bundleIdentifier(), audit.dayOf(sample->startDate())}].push_back(
        audit.arrivalOf(*sample));
  }
  return arrivals;
}

MissedDays heartRateMisses(DayAudit& audit) {
  std::optional<NSDate> first;
  const auto records = audit.recordsByKey<OSTBiometrics>(
      [](const OSTBiometrics& record) { return !record.minHeartRate().isNil(); }, first);
  MissedDays missed;
  const NSDate from = audit.startingAt(first);
  missed.from = from;
  if (!(from < audit.to())) return missed;
  const auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  const auto predicate = HealthKitAudit::endingWithin(from, audit.input().until);
  const auto options = static_cast<HKStatisticsOptions>(
      HKStatisticsOptionSeparateBySource | HKStatisticsOptionDiscreteAverage |
      HKStatisticsOptionDiscreteMin | HKStatisticsOptionDiscreteMax);
  const auto collection =
      audit.healthKit().statistics(heartRate, predicate, options, from, DayAudit::days(1));
  auto arrivals = heartRateArrivals(audit, audit.healthKit().samples(heartRate, predicate));
  const auto bpm = HKUnit::unitFromString("count/min");
  for (NSDate day = from; collection && day < audit.to(); day = audit.nextDay(day)) {
    const auto statistics = collection->statisticsForDate(day);
    if (!statistics) continue;
    for (const auto& source : statistics->sources()) {
      const auto& dayArrivals = arrivals[{source->bundleIdentifier(), day}];
      const std::string key = heartRateKeyFromDate(day, *source);
      auto found = records.find(key);
      if (found == records.end()) {
        ++missed.withoutRecord;
        missed.objects += dayArrivals.size();
        missed.amount += static_cast<double>(dayArrivals.size());
        continue;
      }
      ++missed.compared;
      if (holdsDay(*found->second,
                   DayAudit::valueIn(statistics->minimumQuantityForSource(*source), *bpm),
                   DayAudit::valueIn(statistics->maximumQuantityForSource(*source), *bpm),
                   DayAudit::valueIn(statistics->averageQuantityForSource(*source), *bpm))) {
        continue;
      }
      audit.countDifferingDay(dayArrivals, key, missed, true);
    }
  }
  return missed;
}

void countAnchored(const ReplayedTypes& types, OutboxMisses& misses) {
  auto countOf = [](const TypeCounts& counts, const std::string& type) {
    auto found = counts.find(type);
    return found == counts.end() ? std::size_t{0} : found->second;
  };
  for (const auto& type : types.subscribed) {
    if (types.summed.contains(type)) continue;
    misses.anchoredSaved += countOf(types.whileRunning, type);
    misses.anchoredNeverHanded += countOf(types.neverHanded, type);
  }
}

}  // namespace

OutboxMisses findOutboxMisses(const OutboxMissesInput& input) {
  input.device.unlock();
  DayAudit audit(input);
  OutboxMisses misses;
  misses.to = audit.to();
  misses.routine = routineMisses(audit);
  misses.heartRate = heartRateMisses(audit);
  misses.minutes = minuteMisses(audit);
  countAnchored(input.types, misses);
  return misses;
}

}  // namespace ostrand_tools
