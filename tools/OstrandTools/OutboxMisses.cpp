#include "tools/OstrandTools/OutboxMisses.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "tools/OstrandTools/DayAudit.h"
#include "tools/OstrandTools/MinuteMisses.h"

namespace ostrand_tools {

namespace {

using SourceDay = std::pair<std::string, NSDate>;  // bundle identifier, day start

// A differing day: its samples that arrived after the record's last write go missing.
void countDiffering(const DayAudit& audit, const Arrivals& arrivals, const std::string& activityID,
                    MissedDays& missed, bool amountIsObjects) {
  ++missed.differing;
  const auto late = audit.arrivedAfterWrite(arrivals, activityID);
  if (!late) {
    ++missed.unknownWriteTimes;
    return;
  }
  missed.objects += *late;
  if (amountIsObjects) missed.amount += static_cast<double>(*late);
}

MissedDays routineMisses(DayAudit& audit) {
  std::unordered_map<std::string, const OSTRoutine*> records;
  std::optional<NSDate> first;
  for (const auto& record : audit.input().records) {
    const auto* routine = dynamic_cast<const OSTRoutine*>(record.get());
    if (!routine || !routine->activityID() || !routine->timestamp()) continue;
    records[*routine->activityID()] = routine;
    first = std::min(first.value_or(NSDate::distantFuture()), *routine->timestamp());
  }
  MissedDays missed;
  const NSDate from = audit.startingAt(first);
  missed.from = from;
  if (!(from < audit.to())) return missed;
  const auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
  const auto predicate = HealthKitAudit::endingWithin(from, audit.to());
  const auto collection = audit.healthKit().statistics(steps, predicate,
                                                       HKStatisticsOptionCumulativeSum, from, DayAudit::days(1));
  std::map<NSDate, Arrivals> arrivals;
  for (const auto& sample : audit.healthKit().samples(steps, predicate)) {
    arrivals[audit.dayOf(sample->endDate())].push_back(audit.arrivalOf(*sample));
  }
  const auto count = HKUnit::countUnit();
  for (NSDate day = from; day < audit.to(); day = audit.nextDay(day)) {
    const auto statistics = collection ? collection->statisticsForDate(day) : nullptr;
    const double inHealthKit = statistics ? DayAudit::valueIn(statistics->sumQuantity(), *count) : 0;
    const std::string key = routineKeyFromDate(day);
    auto found = records.find(key);
    if (found == records.end()) {
      if (inHealthKit == 0) continue;
      ++missed.withoutRecord;
      missed.objects += arrivals[day].size();
      missed.amount += inHealthKit;
      continue;
    }
    ++missed.compared;
    // A record holds whole steps, rounded as the conversion rounds counts.
    const NSAny recorded = found->second->steps();
    const double inRecord = recorded.isNumber() ? recorded.doubleValue() : 0;
    const double whole = std::round(inHealthKit);
    if (DayAudit::same(inRecord, whole)) continue;
    missed.amount += std::max(0.0, whole - inRecord);
    countDiffering(audit, arrivals[day], key, missed, false);
  }
  return missed;
}

bool holdsDay(const OSTBiometrics& record, double minimum, double maximum, double average) {
  const NSAny low = record.minHeartRate(), high = record.maxHeartRate(),
              mean = record.averageHeartRate();
  return low.isNumber() && high.isNumber() && mean.isNumber() && DayAudit::same(low.doubleValue(), minimum) &&
         DayAudit::same(high.doubleValue(), maximum) && DayAudit::same(mean.doubleValue(), average);
}

MissedDays heartRateMisses(DayAudit& audit) {
  std::unordered_map<std::string, const OSTBiometrics*> records;  // those with day statistics
  std::optional<NSDate> first;
  for (const auto& record : audit.input().records) {
    const auto* biometrics = dynamic_cast<const OSTBiometrics*>(record.get());
    if (!biometrics || biometrics->minHeartRate().isNil() || !biometrics->activityID() ||
        !biometrics->timestamp()) {
      continue;
    }
    records[*biometrics->activityID()] = biometrics;
    first = std::min(first.value_or(NSDate::distantFuture()), *biometrics->timestamp());
  }
  MissedDays missed;
  const NSDate from = audit.startingAt(first);
  missed.from = from;
  if (!(from < audit.to())) return missed;
  const auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  const auto predicate = HealthKitAudit::endingWithin(from, audit.to());
  const auto options = static_cast<HKStatisticsOptions>(
      HKStatisticsOptionSeparateBySource | HKStatisticsOptionDiscreteAverage |
      HKStatisticsOptionDiscreteMin | HKStatisticsOptionDiscreteMax);
  const auto collection =
      audit.healthKit().statistics(heartRate, predicate, options, from, DayAudit::days(1));
  std::map<SourceDay, Arrivals> arrivals;
  for (const auto& sample : audit.healthKit().samples(heartRate, predicate)) {
    arrivals[{sample->source()->bundleIdentifier(), audit.dayOf(sample->startDate())}].push_back(
        audit.arrivalOf(*sample));
  }
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
      if (holdsDay(*found->second, DayAudit::valueIn(statistics->minimumQuantityForSource(*source), *bpm),
                   DayAudit::valueIn(statistics->maximumQuantityForSource(*source), *bpm),
                   DayAudit::valueIn(statistics->averageQuantityForSource(*source), *bpm))) {
        continue;
      }
      countDiffering(audit, dayArrivals, key, missed, true);
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
