#include "tools/OstrandTools/Common/SimulatedPhone.h"

#include <filesystem>

#include "Foundation/Platform/DispatchRuntime.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"

namespace ostrand_tools {

SimulatedPhone::SimulatedPhone(NSDate now) : clock_(std::make_shared<platform::ManualClock>(now)) {
  platform::Environment::shared().setClock(clock_);
  UIApplication::sharedApplication()->reset();
  UIDevice::currentDevice()->reset();
  OSTResetCachedValuesForTesting();
  device_ = platform::SimulatedHealthDevice::create();
  platform::SimulatedHealthDevice::setCurrent(device_);
  // The host's one session: record conversion writes its user into day keys.
  session_ = OSTSession::sharedInstance();
  engine_ = std::make_shared<OSTHealthKitManager>(session_);
  engine_->setProcessIntraday(true);
}

SimulatedPhone::~SimulatedPhone() {
  // Queries stop and the queues drain while the engine still exists; then it goes.
  device_->stopAllQueries();
  runUntilIdle();
  engine_.reset();
  session_->endSession();
  platform::SimulatedHealthDevice::setCurrent(nullptr);
  UIApplication::sharedApplication()->reset();
  platform::Environment::shared().reset();
  // Back in the system's zone, now that the environment's is the system's again.
  ost_gregorianCalendar()->setTimeZone(nullptr);
}

void SimulatedPhone::setTimeZone(const std::shared_ptr<NSTimeZone>& zone) {
  platform::Environment::shared().setTimeZone(zone);
  device_->setTimeZone(zone);
  // The engine's calendar takes the zone the app starts in and keeps it, as on a phone; an app
  // started here starts in `zone`, whatever an earlier phone of this process was set to.
  ost_gregorianCalendar()->setTimeZone(zone);
  OSTResetCachedValuesForTesting();
}

void SimulatedPhone::runUntilIdle() { platform::DispatchRuntime::shared().runUntilIdle(); }

OSTStatus SimulatedPhone::startSession(const std::string& path, std::unique_ptr<OSTStore> store) {
  if (store) return session_->startSession("demo-user", std::move(store));
  return session_->startSession("demo-user", path);
}

OSTSampleTypeArray SimulatedPhone::typesOfEverySubscriptionSet() {
  OSTSampleTypeArray types;
  for (NSInteger set = OSTHealthKitSubscriptionSetRoutine;
       set <= OSTHealthKitSubscriptionSetBiometrics; ++set) {
    const auto list = OSTHealthKitSubscription::sampleTypesForSubscriptionSet(set);
    types.insert(types.end(), list->begin(), list->end());
  }
  return types;
}

bool SimulatedPhone::subscribe(const OSTSampleTypeArray& types) {
  bool completed = false;
  engine_->setSubscriptions(types, [&completed] { completed = true; });
  runUntilIdle();
  return completed;
}

bool SimulatedPhone::subscribeToEverything() { return subscribe(typesOfEverySubscriptionSet()); }

void SimulatedPhone::enterBackground() {
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  runUntilIdle();
}

void SimulatedPhone::enterForeground() {
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
  runUntilIdle();
}

void SimulatedPhone::fetchLatestData() {
  engine_->fetchLatestData();
  runUntilIdle();
}

std::optional<OSTFetchResult> SimulatedPhone::fetchHistory(std::string& error) {
  std::optional<OSTFetchResult> outcome;
  bool completed = false;
  engine_->fetchHistoricalSets(
      {OSTHealthKitHistoricalSetRoutine, OSTHealthKitHistoricalSetFitness,
       OSTHealthKitHistoricalSetIntradaySteps},
      [&](std::optional<OSTFetchResult> result, std::shared_ptr<const NSError> failure) {
        completed = true;
        outcome = std::move(result);
        if (failure) error = failure->localizedDescription();
      });
  runUntilIdle();
  if (!completed) error = "the historical fetch did not finish";
  return outcome;
}

bool SimulatedPhone::install(const std::string& databasePath, std::ostream& err,
                             std::unique_ptr<OSTStore> store) {
  if (auto error = startSession(databasePath, std::move(store))) {
    err << "error: cannot use the session database " << databasePath << ": "
        << error->localizedDescription() << "\n";
    return false;
  }
  if (!subscribeToEverything()) {
    err << "error: HealthKit did not answer the subscription request\n";
    return false;
  }
  return true;
}

bool SimulatedPhone::relaunch(const std::string& databasePath, std::ostream& err,
                              std::unique_ptr<OSTStore> store) {
  if (auto error = startSession(databasePath, std::move(store))) {
    err << "error: cannot use the session database " << databasePath << ": "
        << error->localizedDescription() << "\n";
    return false;
  }
  HKHealthStore host(device_, device_->hostAppRevision());
  for (const auto& type : engine_->subscriptions()) {
    device_->setAuthorization(type, true, std::nullopt);
    // Correlation types are refused, as they were when the app first asked.
    host.enableBackgroundDeliveryForType(type, HKUpdateFrequencyHourly, nullptr);
  }
  runUntilIdle();
  engine_->observeCurrentSubscriptions();
  runUntilIdle();
  // What the killed launch had begun and not finished is fetched again from where it was stored.
  fetchLatestData();
  return true;
}

bool SimulatedPhone::fetchLatestAndHistory(std::ostream& out, std::ostream& err) {
  fetchLatestData();
  out << "In the foreground: fetched the latest data\n";
  std::string error;
  if (!fetchHistory(error)) {
    err << "error: the historical fetch failed: " << error << "\n";
    return false;
  }
  out << "Historical fetch: six months of daily activity and workouts, a week of minutes\n\n";
  return true;
}

int SimulatedPhone::reportOutbox(const std::string& databasePath, std::ostream& out,
                                 std::ostream& err) {
  const auto records = readOutbox(*session_);
  if (records.error) {
    err << "error: cannot read the outbox: " << records.error->localizedDescription() << "\n";
    return 1;
  }
  printSyncSummary(out, records.value);
  const std::string path = std::filesystem::absolute(databasePath).string();
  out << "\nSession database: " << path << "\nLook at it with: ostrand-healthkit outbox " << path
      << "\n";
  return 0;
}

}  // namespace ostrand_tools
