#include "HealthKitFixture.h"

#include "HealthKit/HKQuery.h"

namespace testing_support {

namespace {

HKSourceRevision::Pointer revision(const char* name, const char* bundle, const char* productType) {
  return HKSourceRevision::sourceRevisionWithSource(HKSource::sourceWithName(name, bundle), "17.0",
                                                    productType,
                                                    NSOperatingSystemVersion{17, 0, 0});
}

}  // namespace

void HealthKitFixture::SetUp() {
  EnvironmentFixture::SetUp();
  device = platform::SimulatedHealthDevice::create();
  platform::SimulatedHealthDevice::setCurrent(device);
  store = std::make_shared<HKHealthStore>();
  // The Health app's own sources: the phone's and the watch's motion sensors.
  iPhone = device->storeForSource(revision(
      "Alice’s iPhone", "com.apple.health.5B3C2A10-6E1F-4C53-9D0B-7A1C2E3F4A5B", "iPhone15,2"));
  watch = device->storeForSource(revision(
      "Alice’s Apple Watch", "com.apple.health.0D6E8F21-3B4A-4E7C-8A9D-1F2E3C4B5A69", "Watch6,2"));
  phoneDevice_ = HKDevice::deviceWithName("iPhone", "Apple Inc.", "iPhone", "iPhone15,2",
                                          std::nullopt, "17.0", std::nullopt, std::nullopt);
  watchDevice_ = HKDevice::deviceWithName("Apple Watch", "Apple Inc.", "Watch", "Watch6,2",
                                          std::nullopt, "10.0", std::nullopt, std::nullopt);
}

void HealthKitFixture::TearDown() {
  device->stopAllQueries();
  runUntilIdle();
  platform::SimulatedHealthDevice::setCurrent(nullptr);
  EnvironmentFixture::TearDown();
}

std::shared_ptr<const HKQuantityType> HealthKitFixture::stepType() {
  return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
}

std::shared_ptr<const HKQuantitySample> HealthKitFixture::phoneSteps(double count, NSDate start,
                                                                     NSDate end) const {
  return HKQuantitySample::quantitySampleWithType(
      stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), count), start, end,
      phoneDevice_, nullptr);
}

std::shared_ptr<const HKQuantitySample> HealthKitFixture::watchSteps(double count, NSDate start,
                                                                     NSDate end) const {
  return HKQuantitySample::quantitySampleWithType(
      stepType(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), count), start, end,
      watchDevice_, nullptr);
}

std::shared_ptr<const HKQuantitySample> HealthKitFixture::quantitySample(
    const std::shared_ptr<const HKQuantityType>& type, double value, NSDate start, NSDate end) {
  return HKQuantitySample::quantitySampleWithType(
      type, HKQuantity::quantityWithUnit(type->canonicalUnit(), value), start, end);
}

void HealthKitFixture::authorize(const HKSampleTypeSet& share, const HKObjectTypeSet& read) {
  bool succeeded = false;
  store->requestAuthorizationToShareTypes(share, read,
                                          [&](bool success, auto) { succeeded = success; });
  runUntilIdle();
  EXPECT_TRUE(succeeded);
}

std::shared_ptr<const NSError> HealthKitFixture::waitForCompletion(
    const std::function<void(HKHealthStore::HKCompletion)>& start) {
  std::shared_ptr<const NSError> result;
  bool called = false;
  start([&](bool success, auto error) {
    called = true;
    EXPECT_EQ(success, error == nullptr);
    result = error;
  });
  runUntilIdle();
  EXPECT_TRUE(called);
  return result;
}

std::shared_ptr<const NSError> HealthKitFixture::save(
    const std::shared_ptr<HKHealthStore>& target,
    std::vector<std::shared_ptr<const HKObject>> objects) {
  return waitForCompletion([&](HKHealthStore::HKCompletion completion) {
    target->saveObjects(objects, std::move(completion));
  });
}

std::shared_ptr<const NSError> HealthKitFixture::remove(
    const std::shared_ptr<HKHealthStore>& target,
    std::vector<std::shared_ptr<const HKObject>> objects) {
  return waitForCompletion([&](HKHealthStore::HKCompletion completion) {
    target->deleteObjects(objects, std::move(completion));
  });
}

}  // namespace testing_support
