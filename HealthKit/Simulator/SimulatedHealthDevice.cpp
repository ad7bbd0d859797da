#include "HealthKit/Simulator/SimulatedHealthDevice.h"

#include <mutex>

#include "Foundation/NSNotificationCenter.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/internal/DeviceState.h"

namespace platform {

namespace {

std::mutex currentMutex;  // guards currentDevice
std::shared_ptr<SimulatedHealthDevice> currentDevice;

}  // namespace

SimulatedHealthDevice::SimulatedHealthDevice()
    : state_(std::make_unique<healthkit::DeviceState>(
          HKSourceRevision::sourceRevisionWithSource(HKSource::defaultSource(), std::nullopt))) {}

SimulatedHealthDevice::~SimulatedHealthDevice() {
  NSNotificationCenter::defaultCenter().removeObserver(foregroundObserver_);
}

std::shared_ptr<SimulatedHealthDevice> SimulatedHealthDevice::create() {
  auto device = std::shared_ptr<SimulatedHealthDevice>(new SimulatedHealthDevice());
  // HealthKit learns when the app comes back to the foreground, to hand its queries what they
  // held back while it was suspended.
  std::weak_ptr<SimulatedHealthDevice> weakDevice = device;
  device->foregroundObserver_ = NSNotificationCenter::defaultCenter().addObserverForName(
      UIApplicationDidBecomeActiveNotification, nullptr,
      [weakDevice](const std::shared_ptr<const NSNotification>&) {
        if (auto strong = weakDevice.lock()) strong->state_->applicationDidBecomeActive();
      });
  return device;
}

std::shared_ptr<SimulatedHealthDevice> SimulatedHealthDevice::current() {
  std::lock_guard<std::mutex> lock(currentMutex);
  if (!currentDevice) currentDevice = create();
  return currentDevice;
}

void SimulatedHealthDevice::setCurrent(std::shared_ptr<SimulatedHealthDevice> device) {
  std::lock_guard<std::mutex> lock(currentMutex);
  currentDevice = std::move(device);
}

std::shared_ptr<const HKSourceRevision> SimulatedHealthDevice::hostAppRevision() const {
  return state_->hostRevision();
}

std::shared_ptr<HKHealthStore> SimulatedHealthDevice::storeForSource(
    std::shared_ptr<const HKSourceRevision> revision) {
  return std::make_shared<HKHealthStore>(shared_from_this(), std::move(revision));
}

ScriptedHealthUser& SimulatedHealthDevice::user() { return state_->user(); }

void SimulatedHealthDevice::setAuthorization(const std::shared_ptr<const HKObjectType>& type,
                                             std::optional<bool> read, std::optional<bool> share) {
  state_->setPermission(*type, read, share);
}

void SimulatedHealthDevice::setSourcePriority(const std::shared_ptr<const HKObjectType>& type,
                                              std::vector<std::string> bundleIdentifiers) {
  state_->setSourcePriority(type->identifier(), std::move(bundleIdentifiers));
}

std::shared_ptr<NSCalendar> SimulatedHealthDevice::calendar() const { return state_->calendar(); }

void SimulatedHealthDevice::setTimeZone(std::shared_ptr<NSTimeZone> timeZone) {
  state_->setTimeZone(std::move(timeZone));
}

NSDate SimulatedHealthDevice::earliestPermittedSampleDate() const {
  return state_->earliestPermittedSampleDate();
}

void SimulatedHealthDevice::setEarliestPermittedSampleDate(NSDate date) {
  state_->setEarliestPermittedSampleDate(date);
}

void SimulatedHealthDevice::setObserverQueriesFireOnExecute(bool fire) {
  state_->setObserverQueriesFireOnExecute(fire);
}

bool SimulatedHealthDevice::observerQueriesFireOnExecute() const {
  return state_->observerQueriesFireOnExecute();
}

void SimulatedHealthDevice::lock() { state_->setLocked(true); }

void SimulatedHealthDevice::unlock() { state_->setLocked(false); }

bool SimulatedHealthDevice::isLocked() const { return state_->isLocked(); }

std::optional<HKUpdateFrequency> SimulatedHealthDevice::backgroundDeliveryFrequency(
    const HKObjectType& type) const {
  return state_->backgroundDelivery(state_->hostBundle(), type.identifier());
}

std::vector<SimulatedHealthDevice::ObserverInvocation> SimulatedHealthDevice::observerInvocations()
    const {
  return state_->observerInvocations();
}

std::set<NSUUID> SimulatedHealthDevice::identifiersDeliveredToHostApp() const {
  return state_->identifiersDeliveredToHostApp();
}

std::chrono::nanoseconds SimulatedHealthDevice::queryAnswerTime() const {
  return state_->queryAnswerTime();
}

std::size_t SimulatedHealthDevice::runningQueryCount() const {
  return state_->runningQueries().size();
}

void SimulatedHealthDevice::stopAllQueries() { state_->stopAllQueries(); }

}  // namespace platform
