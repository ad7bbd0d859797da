#pragma once

// HealthKitAudit: reads what a simulated device's HealthKit holds, as an app with every read
// permission would, and waits for the answer. The replay's closing report uses it to compute
// day totals again with HealthKit's own statistics, after the app has done its work. A locked
// device answers with an error, so the caller unlocks it first.
//
// Main thread only: each read drives the queues until it is answered.
//
//   HealthKitAudit audit(device);
//   auto steps = audit.statistics(stepType, predicate, HKStatisticsOptionCumulativeSum, day,
//   oneDay);

#include <memory>
#include <vector>

#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKStatisticsCollection.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

namespace ostrand_tools {

class HealthKitAudit {
 public:
  explicit HealthKitAudit(platform::SimulatedHealthDevice& device);

  // The statistics collection of the samples the predicate chooses; nullptr when HealthKit
  // refused the query.
  std::shared_ptr<const HKStatisticsCollection> statistics(
      const std::shared_ptr<const HKQuantityType>& type,
      const std::shared_ptr<const NSPredicate>& predicate, HKStatisticsOptions options,
      NSDate anchor, const NSDateComponents& interval);
  // The samples the predicate chooses, in HealthKit's order; empty when HealthKit refused.
  std::vector<std::shared_ptr<const HKSample>> samples(
      const std::shared_ptr<const HKSampleType>& type,
      const std::shared_ptr<const NSPredicate>& predicate);

  // "%K >= %@ AND %K < %@" on the end date: the samples that end in [from, to).
  static std::shared_ptr<const NSPredicate> endingWithin(NSDate from, NSDate to);

 private:
  std::shared_ptr<HKHealthStore> store_;
};

}  // namespace ostrand_tools
