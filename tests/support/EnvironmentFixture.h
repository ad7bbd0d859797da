#pragma once

// EnvironmentFixture: the base of tests that read the platform environment. Each test starts at
// a fixed moment on a manual clock and on iOS 17.0.0, and the defaults come back afterwards.

#include <gtest/gtest.h>

#include <memory>

#include "ManualClock.h"

namespace testing_support {

class EnvironmentFixture : public ::testing::Test {
 protected:
  // 2024-03-09 17:00:00 UTC: a Saturday, the day before daylight-saving time starts in New York.
  static constexpr NSDate kStart = NSDate::dateWithTimeIntervalSince1970(1710003600.0);

  void SetUp() override;
  void TearDown() override;

  ManualClock& clock() { return *clock_; }

 private:
  std::shared_ptr<ManualClock> clock_;
};

}  // namespace testing_support
