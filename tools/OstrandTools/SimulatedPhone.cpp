#include "tools/OstrandTools/SimulatedPhone.h"

#include "Foundation/Platform/DispatchRuntime.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace ostrand_tools {

SimulatedPhone::SimulatedPhone(NSDate now) : clock_(std::make_shared<ToolClock>(now)) {
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
}

void SimulatedPhone::runUntilIdle() { platform::DispatchRuntime::shared().runUntilIdle(); }

OSTStatus SimulatedPhone::startSession(const std::string& path) {
  return session_->startSession("demo-user", path);
}

bool SimulatedPhone::subscribeToEverything() {
  OSTSampleTypeArray types;
  for (NSInteger set = OSTHealthKitSubscriptionSetRoutine;
       set <= OSTHealthKitSubscriptionSetBiometrics; ++set) {
    const auto list = OSTHealthKitSubscription::sampleTypesForSubscriptionSet(set);
    types.insert(types.end(), list->begin(), list->end());
  }
  bool completed = false;
  engine_->setSubscriptions(types, [&completed] { completed = true; });
  runUntilIdle();
  return completed;
}

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

}  // namespace ostrand_tools
