#pragma once

// HKStatistics: the statistics of one time interval of a quantity type: the merged sum, average,
// minimum and maximum over all sources, and, with HKStatisticsOptionSeparateBySource, the same
// per source.
//
// A quantity is nullptr unless the query asked for it (sum: HKStatisticsOptionCumulativeSum;
// average, minimum, maximum: the discrete options) and the interval has samples. The merged sum
// counts overlapping data of several sources once, taking each stretch of time from the
// best-ranked source in the Health app's source priority; per-source sums are each source's own
// total, so together they may exceed it. Samples spanning interval boundaries are pro-rated by
// time. sources() and the ...ForSource accessors are empty / nullptr without
// HKStatisticsOptionSeparateBySource. Quantities are in the type's canonical unit.
//
// Made by the statistics queries; immutable and thread-safe.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"
#include "Foundation/NSObject.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSource.h"

enum HKStatisticsOptions : unsigned long {
  HKStatisticsOptionNone = 0,
  HKStatisticsOptionSeparateBySource = 1 << 0,
  HKStatisticsOptionDiscreteAverage = 1 << 1,
  HKStatisticsOptionDiscreteMin = 1 << 2,
  HKStatisticsOptionDiscreteMax = 1 << 3,
  HKStatisticsOptionCumulativeSum = 1 << 4,
  HKStatisticsOptionMostRecent = 1 << 5,
  HKStatisticsOptionDiscreteMostRecent = HKStatisticsOptionMostRecent,
  HKStatisticsOptionDuration = 1 << 6,
};

constexpr HKStatisticsOptions operator|(HKStatisticsOptions a, HKStatisticsOptions b) {
  return static_cast<HKStatisticsOptions>(static_cast<unsigned long>(a) |
                                          static_cast<unsigned long>(b));
}

class HKStatistics : public NSObject {
 public:
  // The quantities of one source, or of all merged.
  struct Values {
    HKQuantity::Pointer sum;
    HKQuantity::Pointer average;
    HKQuantity::Pointer minimum;
    HKQuantity::Pointer maximum;
  };
  struct SourceValues {
    std::shared_ptr<const HKSource> source;
    Values values;
  };

  // For the statistics queries. `perSource` is in the order sources() gives.
  HKStatistics(std::shared_ptr<const HKQuantityType> quantityType, NSDate startDate, NSDate endDate,
               Values merged, std::vector<SourceValues> perSource);

  const std::shared_ptr<const HKQuantityType>& quantityType() const { return quantityType_; }
  NSDate startDate() const { return startDate_; }
  NSDate endDate() const { return endDate_; }

  // The sources with samples in the interval, best-ranked first.
  std::vector<std::shared_ptr<const HKSource>> sources() const;

  HKQuantity::Pointer sumQuantity() const { return merged_.sum; }
  HKQuantity::Pointer averageQuantity() const { return merged_.average; }
  HKQuantity::Pointer minimumQuantity() const { return merged_.minimum; }
  HKQuantity::Pointer maximumQuantity() const { return merged_.maximum; }

  // Sources are matched by bundle identifier.
  HKQuantity::Pointer sumQuantityForSource(const HKSource& source) const;
  HKQuantity::Pointer averageQuantityForSource(const HKSource& source) const;
  HKQuantity::Pointer minimumQuantityForSource(const HKSource& source) const;
  HKQuantity::Pointer maximumQuantityForSource(const HKSource& source) const;

  std::string description() const override;
  std::string className() const override { return "HKStatistics"; }

 private:
  const Values* valuesFor(const HKSource& source) const;

  std::shared_ptr<const HKQuantityType> quantityType_;
  NSDate startDate_;
  NSDate endDate_;
  Values merged_;
  std::vector<SourceValues> perSource_;
};
