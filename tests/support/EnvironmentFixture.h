#pragma once

// EnvironmentFixture: the base of tests that read the platform environment. Each test starts at
// a fixed moment on a manual clock, on iOS 17.0.0, with the application in the foreground and no
// background tasks, and the device named "iPhone". On TearDown it runs until idle, so no block of
// one test runs in the next, and the defaults come back.

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

  // Drains the main queue and waits for the worker queues until all are idle.
  static void runUntilIdle();

 private:
  std::shared_ptr<ManualClock> clock_;
};

}  // namespace testing_support
