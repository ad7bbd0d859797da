#include "HealthKit/internal/StatisticsCalculator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKUnit.h"
#include "HealthKit/internal/IntervalStarts.h"
#include "HealthKit/internal/SourceMerge.h"

namespace platform::healthkit {

namespace {

// Running totals of one source (or all merged) in one interval.
struct Accumulator {
  double sum = 0;
  double total = 0;  // of the values, for the average
  long count = 0;
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -std::numeric_limits<double>::infinity();

  void addValue(double value) {
    total += value;
    ++count;
    minimum = std::min(minimum, value);
    maximum = std::max(maximum, value);
  }
};

struct Interval {
  Accumulator merged;
  std::map<std::string, Accumulator> bySource;  // by bundle identifier
};

struct Sample {
  double start;
  double end;
  double value;
  std::string bundle;
};

// Calls visit(index, from, to) for every interval [from, to) that [start, end) overlaps, or for
// the one containing `start` when start == end.
template <class Visit>
void forEachInterval(IntervalStarts& starts, double start, double end, Visit visit) {
  long index = starts.indexContaining(start);
  do {
    const double from = starts(index);
    const double to = starts(index + 1);
    visit(index, from, to);
    if (to >= end) break;
    ++index;
  } while (true);
}

// The stretch of time the samples cover, from the earliest date to the latest.
std::pair<double, double> spanOf(const std::vector<Sample>& samples) {
  double earliest = std::numeric_limits<double>::infinity();
  double latest = -std::numeric_limits<double>::infinity();
  for (const Sample& sample : samples) {
    earliest = std::min({earliest, sample.start, sample.end});
    latest = std::max({latest, sample.start, sample.end});
  }
  return {earliest, latest};
}

HKQuantity::Pointer quantity(bool wanted, double value, const HKUnit::Pointer& unit) {
  return wanted ? HKQuantity::quantityWithUnit(unit, value) : nullptr;
}

HKStatistics::Values valuesOf(const Accumulator& totals, HKStatisticsOptions options,
                              const HKUnit::Pointer& unit) {
  const bool discrete = totals.count > 0;
  return HKStatistics::Values{
      quantity(options & HKStatisticsOptionCumulativeSum, totals.sum, unit),
      quantity(discrete && (options & HKStatisticsOptionDiscreteAverage),
               discrete ? totals.total / static_cast<double>(totals.count) : 0, unit),
      quantity(discrete && (options & HKStatisticsOptionDiscreteMin), totals.minimum, unit),
      quantity(discrete && (options & HKStatisticsOptionDiscreteMax), totals.maximum, unit)};
}

}  // namespace

std::map<long, std::shared_ptr<const HKStatistics>> computeStatistics(
    const std::shared_ptr<const HKQuantityType>& type, HKStatisticsOptions options,
    const IntervalGrid& grid, const std::vector<StoredObject>& samples,
    const std::map<std::string, int>& ranks) {
  const HKUnit::Pointer unit = type->canonicalUnit();
  const bool cumulative = options & HKStatisticsOptionCumulativeSum;
  const bool separate = options & HKStatisticsOptionSeparateBySource;

  std::vector<Sample> values;
  values.reserve(samples.size());
  std::map<std::string, std::shared_ptr<const HKSource>> sourceOf;
  for (const auto& stored : samples) {
    auto sample = std::dynamic_pointer_cast<const HKQuantitySample>(stored.object);
    if (!sample) continue;
    sourceOf.emplace(*stored.owner, sample->sourceRevision()->source());
    values.push_back({sample->startDate().timeIntervalSinceReferenceDate(),
                      sample->endDate().timeIntervalSinceReferenceDate(),
                      sample->quantity()->doubleValueForUnit(*unit), *stored.owner});
  }

  const auto [earliest, latest] = spanOf(values);
  IntervalStarts starts(grid, earliest, latest);
  std::map<long, Interval> intervals;
  // Which intervals have data, and each source's own figures.
  for (const Sample& sample : values) {
    forEachInterval(starts, sample.start, sample.end, [&](long index, double from, double to) {
      Interval& interval = intervals[index];
      Accumulator& own = interval.bySource[sample.bundle];
      if (cumulative) {
        own.sum += amountWithin({sample.start, sample.end, sample.value}, from, to);
      } else {
        own.addValue(sample.value);
        interval.merged.addValue(sample.value);
      }
    });
  }
  // Sources not ranked come after every ranked one.
  auto rankOf = [&](const std::string& bundle) {
    auto rank = ranks.find(bundle);
    return rank == ranks.end() ? static_cast<int>(ranks.size()) : rank->second;
  };
  // The merged sum, each stretch of time from its best source only.
  if (cumulative) {
    std::vector<RankedAmount> ranked;
    ranked.reserve(values.size());
    for (const Sample& sample : values) {
      ranked.push_back({{sample.start, sample.end, sample.value}, rankOf(sample.bundle)});
    }
    for (const TimedAmount& piece : mergeBySourcePriority(ranked)) {
      forEachInterval(starts, piece.start, piece.end, [&](long index, double from, double to) {
        auto interval = intervals.find(index);
        if (interval != intervals.end())
          interval->second.merged.sum += amountWithin(piece, from, to);
      });
    }
  }

  std::map<long, std::shared_ptr<const HKStatistics>> statistics;
  for (auto& [index, interval] : intervals) {
    std::vector<HKStatistics::SourceValues> perSource;
    if (separate) {
      std::vector<std::string> bundles;
      for (const auto& entry : interval.bySource) bundles.push_back(entry.first);
      std::stable_sort(bundles.begin(), bundles.end(),
                       [&](const auto& a, const auto& b) { return rankOf(a) < rankOf(b); });
      for (const auto& bundle : bundles) {
        perSource.push_back(
            {sourceOf.at(bundle), valuesOf(interval.bySource[bundle], options, unit)});
      }
    }
    statistics.emplace(index, std::make_shared<const HKStatistics>(
                                  type, starts.date(index), starts.date(index + 1),
                                  valuesOf(interval.merged, options, unit), std::move(perSource)));
  }
  return statistics;
}

}  // namespace platform::healthkit
