#pragma once

// EngineFixture: a SessionFixture whose test also has a sync engine of its own,
// RecordingHealthKitManager, working with the test's session. Its store is made on first use,
// on the test's simulated device, and no query of it outlives the test (the device stops them
// all on TearDown). Fetches are recorded instead of run, so a test of the control path sees
// which fetches it started and with what.
//
//   TEST_F(EngineFixture, ...) {
//     device->setObserverQueriesFireOnExecute(false);
//     EXPECT_TRUE(subscribe({sampleType(HKQuantityTypeIdentifierBodyMass)}));
//     engine->fetchUpdatedDataForSampleType(sampleType(HKQuantityTypeIdentifierBodyMass));
//     EXPECT_THAT(engine->fetchNames(), Contains(StartsWith("fetchSampleType")));
//   }

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "SessionFixture.h"

namespace testing_support {

// An engine whose fetches only record that they were called. Thread-safe recording.
class RecordingHealthKitManager : public OSTHealthKitManager {
 public:
  using OSTHealthKitManager::OSTHealthKitManager;

  // The recorded fetches' "method typeIdentifier" (or just the method), in order.
  std::vector<std::string> fetchNames() const;

  void fetchLatestRoutine() override;
  void fetchLatestIntraDaySteps() override;
  void fetchHeartRateSamplesFromDate(NSDate fromDate, NSDate toDate) override;
  std::shared_ptr<const NSPredicate> predicateForType(
      const OSTSampleTypePointer& type, std::optional<NSDate> fromDate,
      std::optional<NSDate> toDate, std::shared_ptr<const HKQueryAnchor> anchor) override;
  void fetchSampleType(const OSTSampleTypePointer& type,
                       std::shared_ptr<const NSPredicate> predicate, std::optional<NSDate> endDate,
                       bool historical, std::shared_ptr<const HKQueryAnchor> anchor,
                       OSTFetchCompletion completion) override;

 private:
  void record(const std::string& method, const OSTSampleTypePointer& type = nullptr);

  mutable std::mutex mutex_;  // guards fetchNames_
  std::vector<std::string> fetchNames_;
};

class EngineFixture : public SessionFixture {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A new engine on the test's session, as a relaunched app makes it.
  std::shared_ptr<RecordingHealthKitManager> makeEngine() const;

  // The interned sample type of an identifier.
  static OSTSampleTypePointer sampleType(const std::string& identifier);

  // Subscribes the engine to `types` and runs until idle; whether the completion ran.
  bool subscribe(const OSTSampleTypeArray& types);

  // Identifiers of the engine's subscriptions, and of the types its observer queries watch (a
  // multiset, so a duplicated observer shows).
  std::set<std::string> subscribedIdentifiers() const;
  std::multiset<std::string> observedIdentifiers() const;

  std::shared_ptr<RecordingHealthKitManager> engine;
};

}  // namespace testing_support
