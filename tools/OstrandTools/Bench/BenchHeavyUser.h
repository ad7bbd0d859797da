#pragma once

// BenchHeavyUser: the busiest person the bench syncs. The iPhone and the Apple Watch both count
// steps every minute of the day, the watch reads heart rate every five minutes and records an
// evening run with a pause every day. Values follow the minute's number, so the same range gives
// the same values (UUIDs aside).
//
// Main thread only; saving is BenchWrites' work.
//
//   BenchHeavyUser person(device);
//   BenchWrites writes;
//   person.day(dayStart, nextDayStart, writes);

#include <memory>

#include "HealthKit/HKDevice.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "tools/OstrandTools/Bench/BenchWrites.h"

namespace ostrand_tools {

class BenchHeavyUser {
 public:
  explicit BenchHeavyUser(const std::shared_ptr<platform::SimulatedHealthDevice>& device);

  // Steps and heart rate of the whole minutes in [from, to).
  void minutes(NSDate from, NSDate to, BenchWrites& out) const;
  // The day from `dayStart` up to `nextDayStart`: its minutes and the run at 18:00.
  void day(NSDate dayStart, NSDate nextDayStart, BenchWrites& out) const;

 private:
  void minute(NSDate start, long index, BenchWrites& out) const;
  void run(NSDate start, BenchWrites& out) const;

  std::shared_ptr<HKHealthStore> phone_, watch_;
  HKDevice::Pointer phoneDevice_, watchDevice_;
};

}  // namespace ostrand_tools
