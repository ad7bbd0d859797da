#include "tools/OstrandTools/Replay/RoutineMisses.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTRoutine.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace ostrand_tools {

namespace {

// One subscribed routine quantity: where a record keeps it, and HealthKit's sums of its days.
struct RoutineQuantity {
  std::shared_ptr<const HKQuantityType> type;
  HKUnit::Pointer unit;
  std::string keyPath;  // a property, or "extras.<key>"
  std::shared_ptr<const HKStatisticsCollection> days;
};

std::optional<double> numberIn(const NSAny& value) {
  return value.isNumber() ? std::optional<double>(value.doubleValue()) : std::nullopt;
}

std::optional<double> recorded(const OSTRoutine& record, const std::string& keyPath) {
  if (!keyPath.starts_with("extras.")) return numberIn(record.valueForKey(keyPath));
  auto found = record.extras().find(keyPath.substr(6 + 1));
  return found == record.extras().end() ? std::nullopt : numberIn(found->second);
}

// The value the day's record should hold: HealthKit's sum, as the conversion makes it.
std::optional<double> inHealthKit(const RoutineQuantity& quantity, NSDate day) {
  const auto statistics = quantity.days ? quantity.days->statisticsForDate(day) : nullptr;
  const auto sum = statistics ? statistics->sumQuantity() : nullptr;
  return sum ? recordValueForQuantity(*sum, *quantity.type, *quantity.unit) : std::nullopt;
}

std::vector<RoutineQuantity> subscribedQuantities(DayAudit& audit, NSDate from,
                                                  std::map<NSDate, Arrivals>& arrivals) {
  std::vector<RoutineQuantity> quantities;
  // Samples that end after the last day compared still count for it by the part they cover.
  const auto predicate = HealthKitAudit::endingWithin(from, audit.input().until);
  for (const auto& [identifier, keyPath] : *routineHealthKitKeyPaths()) {
    if (!audit.input().types.subscribed.contains(identifier)) continue;
    RoutineQuantity quantity{HKObjectType::quantityTypeForIdentifier(identifier),
                             OSTHealthKitSubscription::unitForQuantityTypeIdentifier(identifier),
                             keyPath, nullptr};
    if (!quantity.type || !quantity.unit) continue;
    quantity.days = audit.healthKit().statistics(
        quantity.type, predicate, HKStatisticsOptionCumulativeSum, from, DayAudit::days(1));
    for (const auto& sample : audit.healthKit().samples(quantity.type, predicate)) {
      for (const NSDate day : audit.daysCovered(*sample)) {
        arrivals[day].push_back(audit.arrivalOf(*sample));
      }
    }
    quantities.push_back(std::move(quantity));
  }
  return quantities;
}

}  // namespace

MissedDays routineMisses(DayAudit& audit) {
  std::optional<NSDate> first;
  const auto records =
      audit.recordsByKey<OSTRoutine>([](const OSTRoutine&) { return true; }, first);
  MissedDays missed;
  missed.from = audit.startingAt(first);
  if (!(missed.from < audit.to())) return missed;
  std::map<NSDate, Arrivals> arrivals;  // of every quantity's samples, by the days they cover
  const auto quantities = subscribedQuantities(audit, missed.from, arrivals);
  for (NSDate day = missed.from; day < audit.to(); day = audit.nextDay(day)) {
    const std::string key = routineKeyFromDate(day);
    auto found = records.find(key);
    const OSTRoutine* record = found == records.end() ? nullptr : found->second;
    bool anyInHealthKit = false, differs = false;
    double steps = 0;
    for (const auto& quantity : quantities) {
      const double expected = inHealthKit(quantity, day).value_or(0);
      const double held = record ? recorded(*record, quantity.keyPath).value_or(0) : 0;
      anyInHealthKit |= expected != 0;
      differs |= !DayAudit::same(expected, held);
      if (quantity.type->identifier() == HKQuantityTypeIdentifierStepCount) {
        steps = std::max(0.0, expected - held);
      }
    }
    missed.amount += steps;
    if (!record) {
      missed.withoutRecord += anyInHealthKit;
      if (anyInHealthKit) missed.objects += arrivals[day].size();
      continue;
    }
    ++missed.compared;
    if (differs) audit.countDifferingDay(arrivals[day], key, missed);
  }
  return missed;
}

}  // namespace ostrand_tools
