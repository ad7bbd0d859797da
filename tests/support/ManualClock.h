#pragma once

// ManualClock: a clock that stands still until a test moves it. Thread-safe, so HealthKit's
// worker threads may read it while the test thread sets it.

#include <atomic>

#include "Foundation/Platform/PlatformEnvironment.h"

namespace testing_support {

class ManualClock final : public platform::Clock {
 public:
  explicit ManualClock(NSDate start) : seconds_(start.timeIntervalSinceReferenceDate()) {}

  NSDate now() const override {
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds_.load());
  }
  void set(NSDate date) { seconds_.store(date.timeIntervalSinceReferenceDate()); }
  void advance(NSTimeInterval seconds) { seconds_.fetch_add(seconds); }

 private:
  std::atomic<double> seconds_;
};

}  // namespace testing_support
