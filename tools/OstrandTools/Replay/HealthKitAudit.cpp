#include "tools/OstrandTools/Replay/HealthKitAudit.h"

#include "HealthKit/HKQuery.h"
#include "HealthKit/HKSampleQuery.h"
#include "HealthKit/HKStatisticsCollectionQuery.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

HealthKitAudit::HealthKitAudit(platform::SimulatedHealthDevice& device)
    : store_(device.storeForSource(HKSourceRevision::sourceRevisionWithSource(
          HKSource::sourceWithName("Replay audit", "com.ostrand.replay-audit"), std::nullopt))) {}

std::shared_ptr<const HKStatisticsCollection> HealthKitAudit::statistics(
    const std::shared_ptr<const HKQuantityType>& type,
    const std::shared_ptr<const NSPredicate>& predicate, HKStatisticsOptions options, NSDate anchor,
    const NSDateComponents& interval) {
  std::shared_ptr<const HKStatisticsCollection> result;
  auto query =
      std::make_shared<HKStatisticsCollectionQuery>(type, predicate, options, anchor, interval);
  query->setInitialResultsHandler([&result](auto, auto collection, auto) { result = collection; });
  store_->executeQuery(query);
  SimulatedPhone::runUntilIdle();
  return result;
}

std::vector<std::shared_ptr<const HKSample>> HealthKitAudit::samples(
    const std::shared_ptr<const HKSampleType>& type,
    const std::shared_ptr<const NSPredicate>& predicate) {
  std::vector<std::shared_ptr<const HKSample>> result;
  store_->executeQuery(std::make_shared<HKSampleQuery>(
      type, predicate, HKObjectQueryNoLimit, std::vector<std::shared_ptr<const NSSortDescriptor>>{},
      [&result](auto, auto samples, auto) { result = std::move(samples); }));
  SimulatedPhone::runUntilIdle();
  return result;
}

std::shared_ptr<const NSPredicate> HealthKitAudit::endingWithin(NSDate from, NSDate to) {
  return NSPredicate::predicateWithFormat(
      "%K >= %@ AND %K < %@", {HKPredicateKeyPathEndDate, from, HKPredicateKeyPathEndDate, to});
}

}  // namespace ostrand_tools
