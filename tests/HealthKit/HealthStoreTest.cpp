#include <gtest/gtest.h>

#include <atomic>

#include "Foundation/NSThread.h"
#include "HealthKit/HKAnchoredObjectQuery.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKError.h"
#include "HealthKit/HKSampleQuery.h"
#include "support/HealthKitFixture.h"

namespace testing_support {
namespace {

class HealthStoreTest : public HealthKitFixture {
 protected:
  // Every stored step sample the host app can read, in save order.
  std::vector<std::shared_ptr<const HKSample>> storedSteps() {
    std::vector<std::shared_ptr<const HKSample>> found;
    store->executeQuery(std::make_shared<HKSampleQuery>(
        stepType(), nullptr, HKObjectQueryNoLimit,
        std::vector<std::shared_ptr<const NSSortDescriptor>>{},
        [&found](auto, auto samples, auto) { found = std::move(samples); }));
    runUntilIdle();
    return found;
  }
};

TEST_F(HealthStoreTest, CompletionsRunLaterOnAWorkerThread) {
  authorize({stepType()}, {stepType()});
  std::atomic<int> calls{0};
  std::atomic<bool> onMain{false};
  store->saveObject(phoneSteps(10, at(0), at(1)), [&](bool success, auto error) {
    EXPECT_TRUE(success) << (error ? error->localizedDescription() : "");
    onMain = onMain || NSThread::isMainThread();
    ++calls;
  });
  runUntilIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(onMain);
}

TEST_F(HealthStoreTest, SavedObjectsCarryTheSavingAppsSourceRevision) {
  authorize({stepType()}, {stepType()});
  ASSERT_EQ(save(store, {quantitySample(stepType(), 5, at(0), at(1))}), nullptr);
  ASSERT_EQ(save(watch, {watchSteps(7, at(0), at(1))}), nullptr);
  auto samples = storedSteps();
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0]->sourceRevision()->source()->bundleIdentifier(),
            device->hostAppRevision()->source()->bundleIdentifier());
  EXPECT_EQ(samples[1]->sourceRevision()->source()->bundleIdentifier(),
            watch->sourceRevision()->source()->bundleIdentifier());
}

TEST_F(HealthStoreTest, ValidationFailuresSaveNothing) {
  authorize({stepType()}, {stepType()});
  auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  auto first = quantitySample(stepType(), 1, at(0), at(1));
  ASSERT_EQ(save(store, {first}), nullptr);

  struct Case {
    const char* name;
    std::vector<std::shared_ptr<const HKObject>> batch;
    HKErrorCode code;
  };
  auto fresh = quantitySample(stepType(), 2, at(1), at(2));
  const Case cases[] = {
      {"already saved",
       {quantitySample(stepType(), 3, at(2), at(3)), first},
       HKErrorInvalidArgument},
      {"twice in one batch", {fresh, fresh}, HKErrorInvalidArgument},
      // Heart rate was never asked for: not determined; the steps beside it are not saved.
      {"type not authorized",
       {quantitySample(stepType(), 4, at(3), at(4)), quantitySample(heartRate, 60, at(3), at(3))},
       HKErrorAuthorizationNotDetermined},
  };
  for (const Case& c : cases) {
    auto error = save(store, c.batch);
    ASSERT_NE(error, nullptr) << c.name;
    EXPECT_EQ(error->domain(), HKErrorDomain) << c.name;
    EXPECT_EQ(error->code(), c.code) << c.name << ": " << error->localizedDescription();
  }
  EXPECT_EQ(storedSteps().size(), 1u);

  device->user().setShareAllowed(heartRate, false);
  authorize({heartRate}, {});
  auto denied = save(store, {quantitySample(heartRate, 60, at(3), at(3))});
  ASSERT_NE(denied, nullptr);
  EXPECT_EQ(denied->code(), HKErrorAuthorizationDenied);
  EXPECT_EQ(denied->localizedDescription(),
            "Not authorized to share HKQuantityTypeIdentifierHeartRate");
}

TEST_F(HealthStoreTest, AnAppDeletesOnlyWhatItSaved) {
  authorize({stepType()}, {stepType()});
  auto own = quantitySample(stepType(), 1, at(0), at(1));
  auto watchs = watchSteps(9, at(0), at(1));
  ASSERT_EQ(save(store, {own}), nullptr);
  ASSERT_EQ(save(watch, {watchs}), nullptr);

  auto error = remove(store, {own, watchs});  // all or nothing
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), HKErrorAuthorizationDenied);
  EXPECT_EQ(storedSteps().size(), 2u);

  std::size_t deleted = 99;
  store->deleteObjectsOfType(stepType(), nullptr, [&](bool success, std::size_t count, auto) {
    EXPECT_TRUE(success);
    deleted = count;
  });
  runUntilIdle();
  EXPECT_EQ(deleted, 1u);
  auto left = storedSteps();
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0]->UUID(), watchs->UUID());
  // Deleted once, gone: deleting again is an error too.
  EXPECT_NE(remove(store, {own}), nullptr);
}

// The app is granted its readings' member types, never the correlation type itself, yet may
// delete the correlations it saved by their type, members included.
TEST_F(HealthStoreTest, CorrelationsAreDeletedByTypeUnderTheirMembersPermissions) {
  auto systolic =
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureSystolic);
  auto diastolic =
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierBloodPressureDiastolic);
  auto pressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  auto reading = [&] {
    return HKCorrelation::correlationWithType(
        pressure, at(0), at(1),
        {quantitySample(systolic, 120, at(0), at(1)), quantitySample(diastolic, 80, at(0), at(1))});
  };
  authorize({systolic, diastolic}, {});
  ASSERT_EQ(save(store, {reading()}), nullptr);
  ASSERT_EQ(save(watch, {reading()}), nullptr);

  auto deleteAll = [&](std::size_t& deleted) {
    std::shared_ptr<const NSError> result;
    store->deleteObjectsOfType(pressure, nullptr, [&](bool, std::size_t count, auto error) {
      deleted = count;
      result = error;
    });
    runUntilIdle();
    return result;
  };
  std::size_t deleted = 99;
  EXPECT_EQ(deleteAll(deleted), nullptr);
  EXPECT_EQ(deleted, 3u);  // the app's reading and its two members; the watch's stays

  // Once the user withdraws a member type, the app may no longer delete such readings.
  ASSERT_EQ(save(store, {reading()}), nullptr);
  device->setAuthorization(diastolic, std::nullopt, false);
  auto error = deleteAll(deleted);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), HKErrorAuthorizationDenied);
  EXPECT_EQ(deleted, 0u);
}

TEST_F(HealthStoreTest, SamplesBeforeTheEarliestPermittedDateAreRefused) {
  authorize({stepType()}, {stepType()});
  device->setEarliestPermittedSampleDate(at(0));
  auto error = save(store, {quantitySample(stepType(), 1, at(-10), at(-1))});
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), HKErrorInvalidArgument);
  EXPECT_EQ(save(store, {quantitySample(stepType(), 1, at(-10), at(0))}), nullptr);
}

TEST_F(HealthStoreTest, AuthorizationPromptsOnlyForUndecidedTypesAndReportsShareStatusOnly) {
  auto heartRate = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate);
  EXPECT_EQ(store->authorizationStatusForType(stepType()), HKAuthorizationStatusNotDetermined);
  device->user().setReadAllowed(heartRate, false);
  authorize({}, {stepType(), heartRate});
  EXPECT_EQ(device->user().promptCount(), 1u);
  // Read decisions are never revealed: share is still undetermined either way.
  EXPECT_EQ(store->authorizationStatusForType(stepType()), HKAuthorizationStatusNotDetermined);
  EXPECT_EQ(store->authorizationStatusForType(heartRate), HKAuthorizationStatusNotDetermined);
  authorize({}, {stepType(), heartRate});
  EXPECT_EQ(device->user().promptCount(), 1u);  // nothing new to ask

  device->user().setShareAllowed(heartRate, false);
  authorize({stepType(), heartRate}, {});
  EXPECT_EQ(store->authorizationStatusForType(stepType()), HKAuthorizationStatusSharingAuthorized);
  EXPECT_EQ(store->authorizationStatusForType(heartRate), HKAuthorizationStatusSharingDenied);
}

TEST_F(HealthStoreTest, AuthorizationOutcomes) {
  auto request = [&]() {
    std::pair<bool, std::shared_ptr<const NSError>> result{true, nullptr};
    store->requestAuthorizationToShareTypes({}, {stepType()}, [&](bool success, auto error) {
      result = {success, error};
    });
    runUntilIdle();
    return result;
  };
  device->user().cancelNextPrompt();
  auto cancelled = request();
  EXPECT_FALSE(cancelled.first);
  ASSERT_NE(cancelled.second, nullptr);
  EXPECT_EQ(cancelled.second->code(), HKErrorUserCanceled);

  auto failure = NSError::errorWithDomain(HKErrorDomain, HKErrorDatabaseInaccessible);
  device->user().failNextPrompt(failure);
  EXPECT_EQ(request().second, failure);

  // The user was asked, so the prompt "succeeded", even though reading was refused.
  device->user().setAllowsByDefault(false);
  EXPECT_EQ(request(), std::make_pair(true, std::shared_ptr<const NSError>()));
  EXPECT_EQ(device->user().promptCount(), 3u);

  auto bloodPressure =
      HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure);
  EXPECT_THROW(store->requestAuthorizationToShareTypes({}, {bloodPressure}, nullptr),
               std::invalid_argument);
}

}  // namespace
}  // namespace testing_support
