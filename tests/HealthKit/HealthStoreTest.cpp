#include <gtest/gtest.h>

#include <atomic>

#include "Foundation/NSThread.h"
#include "HealthKit/HKError.h"
#include "QueryFixture.h"

namespace testing_support {
namespace {

using HealthStoreTest = QueryFixture;

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

TEST_F(HealthStoreTest, ValidationFailuresSaveNothing) {
  auto carbs =
      HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierDietaryCarbohydrates);
  auto caffeine = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierDietaryCaffeine);
  device->user().setShareAllowed(caffeine, false);
  authorize({stepType(), carbs, caffeine}, {stepType(), carbs});
  auto heartRate = heartRateType();
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
      // A meal needs share permission for every sample it holds.
      {"a sample of a correlation not shared",
       {HKCorrelation::correlationWithType(
           HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), at(4),
           at(4),
           {quantitySample(carbs, 30, at(4), at(4)), quantitySample(caffeine, 80, at(4), at(4))})},
       HKErrorAuthorizationDenied},
  };
  for (const Case& c : cases) {
    auto error = save(store, c.batch);
    ASSERT_NE(error, nullptr) << c.name;
    EXPECT_EQ(error->domain(), HKErrorDomain) << c.name;
    EXPECT_EQ(error->code(), c.code) << c.name << ": " << error->localizedDescription();
  }
  EXPECT_EQ(samples(stepType()).size(), 1u);
  EXPECT_TRUE(samples(carbs).empty());

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
  EXPECT_EQ(samples(stepType()).size(), 2u);

  std::size_t deleted = 99;
  store->deleteObjectsOfType(stepType(), nullptr, [&](bool success, std::size_t count, auto) {
    EXPECT_TRUE(success);
    deleted = count;
  });
  runUntilIdle();
  EXPECT_EQ(deleted, 1u);
  auto left = samples(stepType());
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0]->UUID(), watchs->UUID());
  // Deleted once, gone: deleting again is an error too.
  EXPECT_NE(remove(store, {own}), nullptr);
}

// The app is granted its readings' member types, never the correlation type itself, yet may
// delete the correlations it saved by their type, members included.
TEST_F(HealthStoreTest, CorrelationsAreDeletedByTypeUnderTheirMembersPermissions) {
  auto diastolic = diastolicType();
  auto reading = [&] { return bloodPressureReading(at(0), at(1)); };
  authorize({systolicType(), diastolic}, {});
  ASSERT_EQ(save(store, {reading()}), nullptr);
  ASSERT_EQ(save(watch, {reading()}), nullptr);

  auto deleteAll = [&](std::size_t& deleted) {
    std::shared_ptr<const NSError> result;
    store->deleteObjectsOfType(bloodPressureType(), nullptr,
                               [&](bool, std::size_t count, auto error) {
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
  auto heartRate = heartRateType();
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

  EXPECT_THROW(store->requestAuthorizationToShareTypes({}, {bloodPressureType()}, nullptr),
               std::invalid_argument);
}

}  // namespace
}  // namespace testing_support
