#include "EngineFixture.h"

namespace testing_support {

// --- RecordingHealthKitManager ---

std::vector<std::string> RecordingHealthKitManager::fetchNames() const {
  std::lock_guard lock(mutex_);
  return fetchNames_;
}

void RecordingHealthKitManager::record(const std::string& method,
                                       const OSTSampleTypePointer& type) {
  std::lock_guard lock(mutex_);
  fetchNames_.push_back(type ? method + " " + type->identifier() : method);
}

void RecordingHealthKitManager::fetchLatestRoutine() { record(__func__); }

void RecordingHealthKitManager::fetchLatestIntraDaySteps() { record(__func__); }

void RecordingHealthKitManager::fetchHeartRateSamplesFromDate(NSDate, NSDate) { record(__func__); }

std::shared_ptr<const NSPredicate> RecordingHealthKitManager::predicateForType(
    const OSTSampleTypePointer& type, std::optional<NSDate>, std::optional<NSDate>,
    std::shared_ptr<const HKQueryAnchor>) {
  record(__func__, type);
  return nullptr;
}

void RecordingHealthKitManager::fetchSampleType(const OSTSampleTypePointer& type,
                                                std::shared_ptr<const NSPredicate>,
                                                std::optional<NSDate>, bool historical,
                                                std::shared_ptr<const HKQueryAnchor>,
                                                OSTFetchCompletion) {
  record(historical ? "fetchSampleType(historical)" : __func__, type);
}

// --- EngineFixture ---

void EngineFixture::SetUp() {
  SessionFixture::SetUp();
  engine = makeEngine();
}

void EngineFixture::TearDown() {
  // Queries stop and the queues drain while the engine still exists; then it goes.
  SessionFixture::TearDown();
  engine.reset();
}

std::shared_ptr<RecordingHealthKitManager> EngineFixture::makeEngine() const {
  return std::make_shared<RecordingHealthKitManager>(session());
}

OSTSampleTypePointer EngineFixture::sampleType(const std::string& identifier) {
  return std::dynamic_pointer_cast<const HKSampleType>(HKObjectType::typeForIdentifier(identifier));
}

bool EngineFixture::subscribe(const OSTSampleTypeArray& types) {
  bool completed = false;
  engine->setSubscriptions(types, [&completed] { completed = true; });
  runUntilIdle();
  return completed;
}

std::set<std::string> EngineFixture::subscribedIdentifiers() const {
  std::set<std::string> identifiers;
  for (const auto& type : engine->subscriptions()) identifiers.insert(type->identifier());
  return identifiers;
}

std::multiset<std::string> EngineFixture::observedIdentifiers() const {
  std::multiset<std::string> identifiers;
  for (const auto& query : *engine->observerQueries()) {
    identifiers.insert(query->sampleType()->identifier());
  }
  return identifiers;
}

}  // namespace testing_support
