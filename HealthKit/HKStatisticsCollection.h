#pragma once

// HKStatisticsCollection: the result of a statistics-collection query: statistics for each time
// interval laid out from the query's anchor date by its interval components (see
// HKStatisticsCollectionQuery).
//
// statistics() lists only the intervals that have samples, in time order. statisticsForDate()
// and enumerateStatisticsFromDate() also give the empty intervals, as statistics whose
// quantities are all nullptr. Immutable and thread-safe.

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "HealthKit/HKStatistics.h"

class HKStatisticsCollectionQuery;

namespace platform::healthkit {
class IntervalGrid;
}

class HKStatisticsCollection : public NSObject {
 public:
  // The statistics of the interval that contains `date` (empty ones when it has no samples).
  std::shared_ptr<const HKStatistics> statisticsForDate(NSDate date) const;

  // Calls `block` synchronously, in time order, for every interval from the one containing
  // `startDate` through the one containing `endDate`, empty ones included, until the block sets
  // *stop. Nothing when endDate is before startDate.
  void enumerateStatisticsFromDate(
      NSDate startDate, NSDate endDate,
      const std::function<void(std::shared_ptr<const HKStatistics> result, bool* stop)>& block)
      const;

  // The intervals that have samples, in time order.
  std::vector<std::shared_ptr<const HKStatistics>> statistics() const;

  // Every source of the collection, best-ranked first; empty without
  // HKStatisticsOptionSeparateBySource.
  std::vector<std::shared_ptr<const HKSource>> sources() const;

  std::string className() const override { return "HKStatisticsCollection"; }

 private:
  // Only the statistics-collection query makes collections, as in HealthKit.
  friend class HKStatisticsCollectionQuery;
  HKStatisticsCollection(std::shared_ptr<const HKQuantityType> quantityType,
                         HKStatisticsOptions options,
                         std::shared_ptr<const platform::healthkit::IntervalGrid> grid,
                         std::map<long, std::shared_ptr<const HKStatistics>> populated);

  std::shared_ptr<const HKStatistics> statisticsForInterval(long index) const;

  std::shared_ptr<const HKQuantityType> quantityType_;
  HKStatisticsOptions options_;
  std::shared_ptr<const platform::healthkit::IntervalGrid> grid_;  // never null
  std::map<long, std::shared_ptr<const HKStatistics>> populated_;
};
