#pragma once

// HealthKitFixture: the base of tests that use the HealthKit simulator. Each test gets a fresh
// simulated device, made current so HKHealthStore() uses it, whose user allows everything unless
// the test says otherwise; an iPhone and an Apple Watch that write steps as the Health app's
// own sources do; and helpers to save and wait. On TearDown every query of the device is stopped
// and the queues run until idle, so nothing of one test reaches the next.

#include <functional>
#include <memory>
#include <vector>

#include "EnvironmentFixture.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

namespace testing_support {

class HealthKitFixture : public EnvironmentFixture {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The minute `minutes` after kStart.
  static NSDate at(double minutes) { return kStart.dateByAddingTimeInterval(minutes * 60); }

  static std::shared_ptr<const HKQuantityType> stepType();

  // Step samples as the phone's or the watch's step counter records them (with their device).
  std::shared_ptr<const HKQuantitySample> phoneSteps(double count, NSDate start, NSDate end) const;
  std::shared_ptr<const HKQuantitySample> watchSteps(double count, NSDate start, NSDate end) const;
  // A quantity sample of the type in its canonical unit, without a device.
  static std::shared_ptr<const HKQuantitySample> quantitySample(
      const std::shared_ptr<const HKQuantityType>& type, double value, NSDate start, NSDate end);

  // Asks for the types as the host app (the scripted user answers), and waits.
  void authorize(const HKSampleTypeSet& share, const HKObjectTypeSet& read);
  // Saves as `store` and waits; returns the error (nullptr on success).
  std::shared_ptr<const NSError> save(const std::shared_ptr<HKHealthStore>& store,
                                      std::vector<std::shared_ptr<const HKObject>> objects);
  std::shared_ptr<const NSError> remove(const std::shared_ptr<HKHealthStore>& store,
                                        std::vector<std::shared_ptr<const HKObject>> objects);

  std::shared_ptr<platform::SimulatedHealthDevice> device;
  std::shared_ptr<HKHealthStore> store;   // the host app's
  std::shared_ptr<HKHealthStore> iPhone;  // the phone's own step counter
  std::shared_ptr<HKHealthStore> watch;   // the watch's

 private:
  // Runs `start` with a completion that records its error, waits, and returns the error.
  std::shared_ptr<const NSError> waitForCompletion(
      const std::function<void(HKHealthStore::HKCompletion)>& start);

  HKDevice::Pointer phoneDevice_;
  HKDevice::Pointer watchDevice_;
};

}  // namespace testing_support
