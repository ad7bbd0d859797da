#include "SyncFixture.h"

#include <gtest/gtest.h>

#include <limits>

namespace testing_support {

void SyncFixture::SetUp() {
  SessionFixture::SetUp();
  engine = std::make_shared<OSTHealthKitManager>(session());
}

void SyncFixture::TearDown() {
  // Queries stop and the queues drain while the engine still exists; then it goes.
  SessionFixture::TearDown();
  engine.reset();
}

OSTSampleTypePointer SyncFixture::sampleType(const std::string& identifier) {
  return std::dynamic_pointer_cast<const HKSampleType>(HKObjectType::typeForIdentifier(identifier));
}

bool SyncFixture::subscribe(const OSTSampleTypeArray& types) {
  bool completed = false;
  engine->setSubscriptions(types, [&completed] { completed = true; });
  runUntilIdle();
  return completed;
}

std::vector<std::shared_ptr<OSTRecord>> SyncFixture::outbox() const {
  auto stored = session()->outboxRecords(std::numeric_limits<std::size_t>::max());
  EXPECT_TRUE(stored.ok()) << stored.error->localizedDescription();
  std::vector<std::shared_ptr<OSTRecord>> records;
  for (const auto& entry : stored.value) {
    EXPECT_NE(entry.record, nullptr) << entry.error->localizedDescription();
    if (entry.record) records.push_back(entry.record);
  }
  return records;
}

std::map<OSTRecordType, std::size_t> SyncFixture::outboxCounts() const {
  std::map<OSTRecordType, std::size_t> counts;
  for (const auto& record : outbox()) ++counts[record->recordType()];
  return counts;
}

}  // namespace testing_support
