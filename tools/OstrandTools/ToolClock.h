#pragma once

// ToolClock: the command's clock. It stands still until the command moves it, so a simulated
// person's months pass in seconds and a run with the same seed is the same run. Thread-safe:
// HealthKit's worker threads read it while the command sets it.

#include <atomic>

#include "Foundation/Platform/PlatformEnvironment.h"

namespace ostrand_tools {

class ToolClock final : public platform::Clock {
 public:
  explicit ToolClock(NSDate start) : seconds_(start.timeIntervalSinceReferenceDate()) {}

  NSDate now() const override {
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds_.load());
  }
  void set(NSDate date) { seconds_.store(date.timeIntervalSinceReferenceDate()); }
  void advance(NSTimeInterval seconds) { seconds_.fetch_add(seconds); }

 private:
  std::atomic<double> seconds_;
};

}  // namespace ostrand_tools
