#include "HealthKit/internal/DeviceState.h"

#include <algorithm>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKError.h"
#include "HealthKit/HKQuery.h"

namespace platform::healthkit {

namespace {

// The types whose permissions govern an object: a correlation's member types (HealthKit asks
// for those, never for the correlation type), otherwise the object's own type.
std::vector<std::string> governingTypes(const HKObject& object) {
  std::vector<std::string> types;
  if (auto correlation = dynamic_cast<const HKCorrelation*>(&object)) {
    for (const auto& member : correlation->objects()) {
      types.push_back(member->sampleType()->identifier());
    }
  }
  if (types.empty()) {
    if (auto sample = dynamic_cast<const HKSample*>(&object)) {
      types.push_back(sample->sampleType()->identifier());
    }
  }
  return types;
}

}  // namespace

DeviceState::DeviceState(std::shared_ptr<const HKSourceRevision> hostRevision)
    : hostRevision_(std::move(hostRevision)),
      hostBundle_(hostRevision_->source()->bundleIdentifier()),
      workQueue_(dispatch_queue_create("com.apple.healthkit.database", DISPATCH_QUEUE_SERIAL)),
      calendar_(NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian)) {}

DeviceState::Permission DeviceState::permission(const std::string& bundle,
                                                const HKObjectType& type) const {
  if (bundle != hostBundle_) return Permission{true, true};
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  auto found = permissions_.find(type.identifier());
  return found == permissions_.end() ? Permission{} : found->second;
}

void DeviceState::setPermission(const HKObjectType& type, std::optional<bool> read,
                                std::optional<bool> share) {
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  Permission& permission = permissions_[type.identifier()];
  if (read) permission.read = read;
  if (share) permission.share = share;
  hostAccess_ = nullptr;
}

std::optional<std::string> DeviceState::typeNotShared(const std::string& bundle,
                                                      const HKObject& object) const {
  if (bundle != hostBundle_) return std::nullopt;
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  for (const std::string& type : governingTypes(object)) {
    auto found = permissions_.find(type);
    if (found == permissions_.end() || found->second.share != true) return type;
  }
  return std::nullopt;
}

std::shared_ptr<const ReadAccess> DeviceState::readAccess(const std::string& reader) const {
  if (reader != hostBundle_) return std::make_shared<const ReadAccess>();
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  if (!hostAccess_) hostAccess_ = std::make_shared<const ReadAccess>(reader, permissions_);
  return hostAccess_;
}

Filter DeviceState::readFilter(std::shared_ptr<const ReadAccess> access,
                               std::shared_ptr<const NSPredicate> predicate) {
  return [access = std::move(access), predicate = std::move(predicate)](const HKObject& object,
                                                                        const std::string& owner) {
    return access->sees(object, owner) && (!predicate || predicate->evaluateWithObject(object));
  };
}

void DeviceState::setBackgroundDelivery(const std::string& bundle,
                                        const std::string& typeIdentifier,
                                        std::optional<HKUpdateFrequency> frequency) {
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  if (frequency) {
    backgroundDelivery_[{bundle, typeIdentifier}] = *frequency;
  } else {
    backgroundDelivery_.erase({bundle, typeIdentifier});
  }
}

void DeviceState::disableAllBackgroundDelivery(const std::string& bundle) {
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  std::erase_if(backgroundDelivery_,
                [&](const auto& entry) { return entry.first.first == bundle; });
}

std::optional<HKUpdateFrequency> DeviceState::backgroundDelivery(
    const std::string& bundle, const std::string& typeIdentifier) const {
  std::lock_guard<std::mutex> lock(permissionsMutex_);
  auto found = backgroundDelivery_.find({bundle, typeIdentifier});
  if (found == backgroundDelivery_.end()) return std::nullopt;
  return found->second;
}

bool DeviceState::admitBackgroundWake(const std::string& bundle, const std::string& typeIdentifier,
                                      HKUpdateFrequency frequency, std::uint64_t change,
                                      NSDate now) {
  NSTimeInterval period = 0;
  switch (frequency) {
    case HKUpdateFrequencyImmediate:
      period = 0;
      break;
    case HKUpdateFrequencyHourly:
      period = 60 * 60;
      break;
    case HKUpdateFrequencyDaily:
      period = 24 * 60 * 60;
      break;
    case HKUpdateFrequencyWeekly:
      period = 7 * 24 * 60 * 60;
      break;
  }
  std::lock_guard<std::mutex> lock(wakesMutex_);
  auto found = wakes_.find({bundle, typeIdentifier});
  if (found != wakes_.end()) {
    if (found->second.change == change) return true;  // another observer of the same wake
    if (now.timeIntervalSinceDate(found->second.at) < period) return false;
  }
  wakes_[{bundle, typeIdentifier}] = Wake{now, change};
  return true;
}

std::shared_ptr<NSCalendar> DeviceState::calendar() const {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  return calendar_;
}

void DeviceState::setTimeZone(std::shared_ptr<NSTimeZone> timeZone) {
  // A new calendar rather than a change to the one queries may be using right now.
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(std::move(timeZone));
  std::lock_guard<std::mutex> lock(settingsMutex_);
  calendar_ = std::move(calendar);
}

NSDate DeviceState::earliestPermittedSampleDate() const {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  return earliest_;
}

void DeviceState::setEarliestPermittedSampleDate(NSDate date) {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  earliest_ = date;
}

bool DeviceState::observerQueriesFireOnExecute() const {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  return fireOnExecute_;
}

void DeviceState::setObserverQueriesFireOnExecute(bool fire) {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  fireOnExecute_ = fire;
}

void DeviceState::setSourcePriority(const std::string& typeIdentifier,
                                    std::vector<std::string> bundles) {
  std::lock_guard<std::mutex> lock(settingsMutex_);
  priorities_[typeIdentifier] = std::move(bundles);
}

std::map<std::string, int> DeviceState::sourceRanks(const std::string& typeIdentifier) const {
  std::vector<std::string> listed;
  {
    std::lock_guard<std::mutex> lock(settingsMutex_);
    auto found = priorities_.find(typeIdentifier);
    if (found != priorities_.end()) listed = found->second;
  }
  const auto sources = database_.sources();
  std::vector<std::pair<std::string, HealthDatabase::SourceInfo>> rest;
  for (const auto& [bundle, info] : sources) {
    if (std::find(listed.begin(), listed.end(), bundle) == listed.end()) {
      rest.emplace_back(bundle, info);
    }
  }
  // As the Health app orders sources nobody ordered by hand: watches first, then by first save.
  std::sort(rest.begin(), rest.end(), [](const auto& a, const auto& b) {
    if (a.second.isWatch != b.second.isWatch) return a.second.isWatch;
    return a.second.firstSave < b.second.firstSave;
  });
  std::map<std::string, int> ranks;
  int rank = 0;
  for (const auto& bundle : listed) ranks.emplace(bundle, rank++);
  for (const auto& entry : rest) ranks.emplace(entry.first, rank++);
  return ranks;
}

std::shared_ptr<const NSError> DeviceState::readError() const {
  if (!isLocked()) return nullptr;
  return makeHealthKitError(HKErrorDatabaseInaccessible, "Protected health data is inaccessible");
}

void DeviceState::registerQuery(const std::shared_ptr<HKQuery>& query) {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  queries_.push_back(query);
}

void DeviceState::unregisterQuery(const HKQuery* query) {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  std::erase_if(queries_, [query](const auto& running) { return running.get() == query; });
}

std::vector<std::shared_ptr<HKQuery>> DeviceState::runningQueries() const {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  return queries_;
}

void DeviceState::stopAllQueries() {
  for (const auto& query : runningQueries()) query->stop();
}

void DeviceState::applicationDidBecomeActive() const {
  for (const auto& query : runningQueries()) query->notifyApplicationDidBecomeActive();
}

void DeviceState::broadcast(const DatabaseChange& change) const {
  if (change.added.empty() && change.deleted.empty()) return;
  auto shared = std::make_shared<const DatabaseChange>(change);
  for (const auto& query : runningQueries()) query->notifyChange(shared);
}

std::function<void()> DeviceState::recordObserverInvocation(const std::string& bundle,
                                                            const std::string& typeIdentifier,
                                                            bool inBackground) {
  auto completed = std::make_shared<std::atomic<bool>>(false);
  {
    std::lock_guard<std::mutex> lock(invocationsMutex_);
    invocations_.push_back(
        {bundle, typeIdentifier, inBackground, std::chrono::steady_clock::now(), completed});
  }
  return [completed] { completed->store(true); };
}

int DeviceState::unansweredBackgroundInvocations(const std::string& bundle,
                                                 const std::string& typeIdentifier) const {
  int unanswered = 0;
  std::lock_guard<std::mutex> lock(invocationsMutex_);
  for (auto it = invocations_.rbegin(); it != invocations_.rend(); ++it) {
    if (it->bundle != bundle || it->typeIdentifier != typeIdentifier || !it->inBackground) {
      continue;
    }
    if (it->completed->load()) break;
    ++unanswered;
  }
  return unanswered;
}

std::vector<SimulatedHealthDevice::ObserverInvocation> DeviceState::observerInvocations() const {
  std::vector<SimulatedHealthDevice::ObserverInvocation> result;
  std::lock_guard<std::mutex> lock(invocationsMutex_);
  for (const auto& invocation : invocations_) {
    result.push_back({invocation.typeIdentifier, invocation.inBackground,
                      invocation.completed->load(), invocation.calledAt});
  }
  return result;
}

void DeviceState::recordDelivery(const std::string& reader,
                                 const std::vector<std::shared_ptr<const HKSample>>& samples) {
  if (reader != hostBundle_) return;
  std::lock_guard<std::mutex> lock(deliveriesMutex_);
  for (const auto& sample : samples) delivered_.push_back(sample->UUID());
  if (delivered_.size() >= 2 * distinctDelivered_ + 1024) {
    std::sort(delivered_.begin(), delivered_.end());
    delivered_.erase(std::unique(delivered_.begin(), delivered_.end()), delivered_.end());
    distinctDelivered_ = delivered_.size();
  }
}

std::set<NSUUID> DeviceState::identifiersDeliveredToHostApp() const {
  std::lock_guard<std::mutex> lock(deliveriesMutex_);
  return std::set<NSUUID>(delivered_.begin(), delivered_.end());
}

}  // namespace platform::healthkit
