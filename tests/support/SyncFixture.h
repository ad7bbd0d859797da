#pragma once

// SyncFixture: a SessionFixture whose test has a real sync engine of its own (fetches run, records
// reach the test's outbox), plus helpers to read what the outbox holds. The engine's store is
// made on first use, on the test's simulated device; the device stops every query on TearDown
// before the engine goes.
//
//   TEST_F(SyncFixture, ...) {
//     ASSERT_TRUE(subscribe({sampleType(HKQuantityTypeIdentifierBodyMass)}));
//     save(iPhone, {weightSample});
//     engine->fetchLatestData();
//     runUntilIdle();
//     EXPECT_EQ(outboxCounts()[OSTRecordTypeWeight], 1U);
//   }

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "OstrandCore/OSTRecord.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "SessionFixture.h"

namespace testing_support {

class SyncFixture : public SessionFixture {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The interned sample type of an identifier.
  static OSTSampleTypePointer sampleType(const std::string& identifier);

  // Subscribes the engine to `types` and runs until idle; whether the completion ran.
  bool subscribe(const OSTSampleTypeArray& types);

  // Every record in the test's outbox, oldest first (a record that cannot be read back fails the
  // test).
  std::vector<std::shared_ptr<OSTRecord>> outbox() const;
  // How many outbox records there are of each kind.
  std::map<OSTRecordType, std::size_t> outboxCounts() const;

  std::shared_ptr<OSTHealthKitManager> engine;
};

}  // namespace testing_support
