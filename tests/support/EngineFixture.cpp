#include "EngineFixture.h"

namespace testing_support {

// --- RecordingHealthKitManager ---

std::vector<RecordingHealthKitManager::Fetch> RecordingHealthKitManager::fetches() const {
  std::lock_guard lock(mutex_);
  return fetches_;
}

std::vector<std::string> RecordingHealthKitManager::fetchNames() const {
  std::vector<std::string> names;
  for (const auto& fetch : fetches()) {
    names.push_back(fetch.typeIdentifier.empty() ? fetch.method
                                                 : fetch.method + " " + fetch.typeIdentifier);
  }
  return names;
}

void RecordingHealthKitManager::clearFetches() {
  std::lock_guard lock(mutex_);
  fetches_.clear();
}

void RecordingHealthKitManager::record(std::string method, const OSTSampleTypePointer& type,
                                       std::optional<NSDate> fromDate, std::optional<NSDate> toDate,
                                       std::shared_ptr<const HKQueryAnchor> anchor) {
  Fetch fetch{std::move(method), type ? type->identifier() : std::string(),
              fromDate,          toDate,
              std::move(anchor), anchorQueries()->size()};
  std::lock_guard lock(mutex_);
  fetches_.push_back(std::move(fetch));
}

void RecordingHealthKitManager::fetchLatestRoutine() { record(__func__); }

void RecordingHealthKitManager::fetchLatestIntraDaySteps() { record(__func__); }

void RecordingHealthKitManager::fetchHeartRateSamplesFromDate(NSDate fromDate, NSDate toDate) {
  record(__func__, nullptr, fromDate, toDate);
}

std::shared_ptr<const NSPredicate> RecordingHealthKitManager::predicateForType(
    const OSTSampleTypePointer& type, std::optional<NSDate> fromDate, std::optional<NSDate> toDate,
    std::shared_ptr<const HKQueryAnchor> anchor) {
  record(__func__, type, fromDate, toDate, std::move(anchor));
  return nullptr;
}

void RecordingHealthKitManager::fetchSampleType(const OSTSampleTypePointer& type,
                                                std::shared_ptr<const NSPredicate>,
                                                std::optional<NSDate> endDate, bool historical,
                                                std::shared_ptr<const HKQueryAnchor> anchor,
                                                OSTFetchCompletion) {
  record(historical ? "fetchSampleType(historical)" : __func__, type, std::nullopt, endDate,
         std::move(anchor));
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
