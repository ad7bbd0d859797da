#pragma once

// platform::ManualClock: a clock that stands still until its owner moves it, for tests and for the
// command's simulated person, whose months pass in seconds and repeat exactly. Thread-safe:
// HealthKit's worker threads read it while the owner sets it.
//
//   auto clock = std::make_shared<platform::ManualClock>(start);
//   platform::Environment::shared().setClock(clock);
//   clock->advance(3600);

#include <atomic>

#include "Foundation/Platform/PlatformEnvironment.h"

namespace platform {

class ManualClock final : public Clock {
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

}  // namespace platform
