// The engine object itself: the shared instance, its lazily made state, the entry points that act
// at once, and the fetches the control path starts.

#include "OstrandHealthKit/OSTHealthKitManager.h"

#include "Foundation/Dispatch.h"
#include "OstrandHealthKit/Categories/OSTSession+HealthKit.h"

const double OstrandHealthKitVersionNumber = 1.0;
const unsigned char OstrandHealthKitVersionString[] = "1.0";

const std::string kOSTHealthKitErrorDomain = "kOSTHealthKitErrorDomain";
const std::string kOSTHealthKitRecordsProcessedNotification =
    "kOSTHealthKitRecordsProcessedNotification";

std::shared_ptr<OSTHealthKitManager> OSTHealthKitManager::sharedInstance() {
  static dispatch_once_t onceToken;
  // Never destroyed: HealthKit's threads may still reach the engine while the process exits.
  static std::shared_ptr<OSTHealthKitManager>* instance = nullptr;
  dispatch_once(&onceToken, [] {
    instance = new std::shared_ptr<OSTHealthKitManager>(
        std::make_shared<OSTHealthKitManager>(OSTSession::sharedInstance()));
  });
  return *instance;
}

OSTHealthKitManager::OSTHealthKitManager(std::shared_ptr<OSTSession> session)
    : session_(std::move(session)) {}

OSTHealthKitManager::~OSTHealthKitManager() = default;

std::weak_ptr<OSTHealthKitManager> OSTHealthKitManager::weakSelf() {
  return std::static_pointer_cast<OSTHealthKitManager>(shared_from_this());
}

// --- State ---

namespace {

// The lazy getters: the field's object, made (empty, or a new store) on first read.
template <class T>
const std::shared_ptr<T>& madeOnFirstRead(std::shared_ptr<T>& field) {
  if (!field) field = std::make_shared<T>();
  return field;
}

}  // namespace

const std::shared_ptr<HKHealthStore>& OSTHealthKitManager::store() {
  return madeOnFirstRead(store_);
}

void OSTHealthKitManager::setStore(std::shared_ptr<HKHealthStore> store) {
  store_ = std::move(store);
}

const std::shared_ptr<OSTObserverQueryArray>& OSTHealthKitManager::observerQueries() {
  return madeOnFirstRead(observerQueries_);
}

void OSTHealthKitManager::setObserverQueries(
    std::shared_ptr<OSTObserverQueryArray> observerQueries) {
  observerQueries_ = std::move(observerQueries);
}

const std::shared_ptr<OSTAnchoredQueryDictionary>& OSTHealthKitManager::anchorQueries() {
  return madeOnFirstRead(anchorQueries_);
}

void OSTHealthKitManager::setAnchorQueries(
    std::shared_ptr<OSTAnchoredQueryDictionary> anchorQueries) {
  anchorQueries_ = std::move(anchorQueries);
}

const std::shared_ptr<OSTAnchoredQueryDictionary>& OSTHealthKitManager::routineAnchorQueries() {
  return madeOnFirstRead(routineAnchorQueries_);
}

void OSTHealthKitManager::setRoutineAnchorQueries(
    std::shared_ptr<OSTAnchoredQueryDictionary> routineAnchorQueries) {
  routineAnchorQueries_ = std::move(routineAnchorQueries);
}

// --- Entry points ---

OSTSampleTypeArray OSTHealthKitManager::subscriptions() const {
  OSTSampleTypeArray types;
  for (const auto& [type, date] : queryDates(*session_)) types.push_back(type);
  return types;
}

void OSTHealthKitManager::observeCurrentSubscriptions() {
  const auto types = subscriptions();
  updateObservationForSubscriptons(HKSampleTypeSet(types.begin(), types.end()));
}

void OSTHealthKitManager::fetchLatestData() {
  // Stop and fetch type by type: each fetch starts a fresh anchored query from the stored anchor
  // instead of being skipped because the old one still runs.
  for (const auto& type : subscriptions()) {
    stopAnchorQueryForSampleType(type);
    fetchUpdatedDataForSampleType(type);
  }
}

void OSTHealthKitManager::stopAnchorQueryForSampleType(const OSTSampleTypePointer& type) {
  auto& queries = *anchorQueries();
  const auto found = queries.find(type);
  if (found == queries.end()) return;
  store()->stopQuery(found->second);
  queries.erase(found);
}

// --- Fetches: not yet implemented ---
