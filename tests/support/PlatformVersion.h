#pragma once

// PlatformVersion: pins the operating-system version for as long as it lives and rebuilds every
// cached table of the library for it (tables keep the platform they were built on); the default
// version and freshly built tables come back when it goes. One at a time, on the test's thread.
//
//   PlatformVersion iOS10({10, 3, 0});
//   EXPECT_EQ(OSTHealthKitSubscription::unitForQuantityTypeIdentifier(...VO2Max), nullptr);

#include "Foundation/NSOperatingSystemVersion.h"
#include "Foundation/Platform/PlatformEnvironment.h"
#include "OstrandHealthKit/OSTCachedValue.h"

namespace testing_support {

class PlatformVersion {
 public:
  explicit PlatformVersion(NSOperatingSystemVersion version) {
    platform::Environment::shared().setOperatingSystemVersion(version);
    OSTResetCachedValuesForTesting();
  }
  ~PlatformVersion() {
    platform::Environment::shared().setOperatingSystemVersion(
        platform::Environment::kDefaultOperatingSystemVersion);
    OSTResetCachedValuesForTesting();
  }
  PlatformVersion(const PlatformVersion&) = delete;
  PlatformVersion& operator=(const PlatformVersion&) = delete;
};

}  // namespace testing_support
