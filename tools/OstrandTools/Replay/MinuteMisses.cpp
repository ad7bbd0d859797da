#include "tools/OstrandTools/Replay/MinuteMisses.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTIntraDay.h"

namespace ostrand_tools {

namespace {

constexpr double kMinute = 60;

using SourceMinute = std::pair<std::string, NSDate>;  // bundle identifier, minute start

struct OutboxMinute {
  double steps = 0;
  NSDate made;  // when the record that gave the value was made
};

// The latest value the outbox holds for each source's minute (later records win), and the first
// day any of them falls in.
std::map<SourceMinute, OutboxMinute> outboxMinutes(const Records& records,
                                                   std::optional<NSDate>& first) {
  std::map<SourceMinute, OutboxMinute> minutes;
  for (const auto& record : records) {
    const auto* intraday = dynamic_cast<const OSTIntraDay*>(record.get());
    if (!intraday) continue;
    const std::string source = intraday->deviceSource().value_or("");
    const NSDate made = intraday->timestamp().value_or(NSDate::distantPast());
    for (const auto& [start, value] : intraday->values()) {
      minutes[{source, start}] = {value.value, made};
      first = std::min(first.value_or(NSDate::distantFuture()), start);
    }
  }
  return minutes;
}

// Each source's steps in each minute of [from, to) that has any, as HealthKit sums them.
std::map<SourceMinute, double> healthKitMinutes(DayAudit& audit, NSDate from, NSDate to) {
  NSDateComponents minute;
  minute.setMinute(1);
  const auto collection = audit.healthKit().statistics(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount),
      NSPredicate::predicateWithFormat("%K >= %@", {HKPredicateKeyPathEndDate, from}),
      static_cast<HKStatisticsOptions>(HKStatisticsOptionCumulativeSum |
                                       HKStatisticsOptionSeparateBySource),
      from, minute);
  std::map<SourceMinute, double> minutes;
  if (!collection) return minutes;
  const auto count = HKUnit::countUnit();
  for (const auto& statistics : collection->statistics()) {
    if (!(statistics->startDate() < to)) break;
    for (const auto& source : statistics->sources()) {
      const double steps = DayAudit::valueIn(statistics->sumQuantityForSource(*source), *count);
      if (steps != 0) minutes[{source->bundleIdentifier(), statistics->startDate()}] = steps;
    }
  }
  return minutes;
}

// The day of each minute, worked out once per day: the minutes come in order within a source.
class MinuteDays {
 public:
  explicit MinuteDays(const DayAudit& audit) : audit_(audit) {}
  NSDate dayOf(NSDate minute) {
    if (minute < start_ || !(minute < end_)) {
      start_ = audit_.dayOf(minute);
      end_ = audit_.nextDay(start_);
    }
    return start_;
  }

 private:
  const DayAudit& audit_;
  NSDate start_ = NSDate::distantFuture(), end_ = NSDate::distantPast();
};

// Step samples of a source that cover one of its missing minutes and reached HealthKit when or
// after the value the outbox holds for that minute was made.
std::size_t lateSamples(DayAudit& audit, NSDate from, NSDate to,
                        const std::map<SourceMinute, NSDate>& missing) {
  std::size_t late = 0;
  const auto samples = audit.healthKit().samples(
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount),
      NSPredicate::predicateWithFormat("%K >= %@", {HKPredicateKeyPathEndDate, from}));
  for (const auto& sample : samples) {
    const std::string source = sample->source()->bundleIdentifier();
    const NSDate arrival = audit.arrivalOf(*sample);
    const double start = std::floor(sample->startDate().timeIntervalSinceDate(from) / kMinute);
    const double end =
        std::max(start + 1, std::ceil(sample->endDate().timeIntervalSinceDate(from) / kMinute));
    for (double index = std::max(start, 0.0); index < end; ++index) {
      const NSDate minute = from.dateByAddingTimeInterval(index * kMinute);
      if (!(minute < to)) break;
      auto found = missing.find({source, minute});
      if (found != missing.end() && !(arrival < found->second)) {
        ++late;
        break;
      }
    }
  }
  return late;
}

}  // namespace

MissedDays minuteMisses(DayAudit& audit) {
  std::optional<NSDate> first;
  const auto outbox = outboxMinutes(audit.input().records, first);
  MissedDays missed;
  const NSDate from = audit.startingAt(first);
  const NSDate to = audit.to();
  missed.from = from;
  if (!(from < to)) return missed;
  const auto healthKit = healthKitMinutes(audit, from, to);

  std::set<std::pair<std::string, NSDate>> recorded, differing, inHealthKit;  // source days
  std::map<SourceMinute, NSDate> missing;  // when the outbox's value was made
  MinuteDays days(audit);
  auto miss = [&](const SourceMinute& key, double steps, NSDate made) {
    missing[key] = made;
    missed.amount += 1;
    missed.steps += std::max(0.0, steps);
    differing.insert({key.first, days.dayOf(key.second)});
  };
  for (const auto& [key, value] : outbox) {
    if (key.second < from || !(key.second < to)) continue;
    recorded.insert({key.first, days.dayOf(key.second)});
    auto found = healthKit.find(key);
    const double steps = found == healthKit.end() ? 0 : found->second;
    if (!DayAudit::same(value.steps, steps)) miss(key, steps - value.steps, value.made);
  }
  for (const auto& [key, steps] : healthKit) {
    inHealthKit.insert({key.first, days.dayOf(key.second)});
    if (!outbox.contains(key)) miss(key, steps, NSDate::distantPast());
  }
  missed.compared = recorded.size();
  for (const auto& day : differing) missed.differing += recorded.contains(day);
  for (const auto& day : inHealthKit) missed.withoutRecord += !recorded.contains(day);
  missed.objects = lateSamples(audit, from, to, missing);
  return missed;
}

}  // namespace ostrand_tools
