#pragma once

// QueryFixture: HealthKitFixture with the step queries the HealthKit tests keep running, each
// executed as the host app and waited for.

#include <atomic>

#include "HealthKit/HKAnchoredObjectQuery.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKObserverQuery.h"
#include "HealthKit/HKSampleQuery.h"
#include "support/HealthKitFixture.h"

namespace testing_support {

class QueryFixture : public HealthKitFixture {
 protected:
  struct Batch {
    bool called = false;
    std::vector<std::shared_ptr<const HKSample>> added;
    std::vector<std::shared_ptr<const HKDeletedObject>> deleted;
    std::shared_ptr<const HKQueryAnchor> anchor;
    std::shared_ptr<const NSError> error;
  };

  // One anchored query of steps from `anchor`, run to its results.
  Batch fetch(std::shared_ptr<const HKQueryAnchor> anchor = nullptr,
              unsigned long limit = HKObjectQueryNoLimit) {
    Batch batch;
    store->executeQuery(std::make_shared<HKAnchoredObjectQuery>(
        stepType(), nullptr, std::move(anchor), limit,
        [&batch](auto, auto added, auto deleted, auto newAnchor, auto error) {
          batch = {true, std::move(added), std::move(deleted), std::move(newAnchor),
                   std::move(error)};
        }));
    runUntilIdle();
    return batch;
  }

  // A sample query's results; its error goes to `error` if given, else it must have none.
  std::vector<std::shared_ptr<const HKSample>> samples(
      std::shared_ptr<const HKSampleType> type, std::shared_ptr<const NSPredicate> predicate = {},
      unsigned long limit = HKObjectQueryNoLimit,
      std::vector<std::shared_ptr<const NSSortDescriptor>> sort = {},
      std::shared_ptr<const NSError>* error = nullptr) {
    std::vector<std::shared_ptr<const HKSample>> found;
    store->executeQuery(std::make_shared<HKSampleQuery>(
        std::move(type), std::move(predicate), limit, std::move(sort),
        [&found, error](auto, auto results, auto queryError) {
          if (error != nullptr)
            *error = queryError;
          else
            EXPECT_EQ(queryError, nullptr);
          found = std::move(results);
        }));
    runUntilIdle();
    return found;
  }

  // An observer of steps that counts its calls and answers each one if `complete`.
  static std::shared_ptr<HKObserverQuery> countingObserver(std::atomic<int>& calls,
                                                           bool complete = true) {
    return std::make_shared<HKObserverQuery>(stepType(), nullptr,
                                             [&calls, complete](auto, auto done, auto error) {
                                               EXPECT_EQ(error, nullptr);
                                               ++calls;
                                               if (complete) done();
                                             });
  }

  static std::shared_ptr<const HKQuantityType> heartRateType() {
    return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  }
  static std::shared_ptr<const HKQuantityType> systolicType() {
    return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureSystolic);
  }
  static std::shared_ptr<const HKQuantityType> diastolicType() {
    return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureDiastolic);
  }
  static std::shared_ptr<const HKCorrelationType> bloodPressureType() {
    return HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  }
  // A 120/80 blood pressure reading from `start` to `end`.
  static std::shared_ptr<const HKCorrelation> bloodPressureReading(NSDate start, NSDate end) {
    return HKCorrelation::correlationWithType(bloodPressureType(), start, end,
                                              {quantitySample(systolicType(), 120, start, end),
                                               quantitySample(diastolicType(), 80, start, end)});
  }
};

}  // namespace testing_support
