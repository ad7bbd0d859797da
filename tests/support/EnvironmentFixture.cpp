#include "EnvironmentFixture.h"

#include "Foundation/Platform/DispatchRuntime.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "HealthKit/UIKit/UIDevice.h"

namespace testing_support {

void EnvironmentFixture::SetUp() {
  clock_ = std::make_shared<ManualClock>(kStart);
  platform::Environment::shared().setClock(clock_);
  platform::Environment::shared().setOperatingSystemVersion(
      platform::Environment::kDefaultOperatingSystemVersion);
  UIApplication::sharedApplication()->reset();
  UIDevice::currentDevice()->reset();
}

void EnvironmentFixture::TearDown() {
  runUntilIdle();
  platform::Environment::shared().reset();
}

void EnvironmentFixture::runUntilIdle() { platform::DispatchRuntime::shared().runUntilIdle(); }

}  // namespace testing_support
