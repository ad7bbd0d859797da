#pragma once

// BenchHeavyUserPhone: the simulated iPhone of the bench's heavy user (BenchHeavyUser), with
// another app that writes one object of every subscribed type when asked. Its months are written
// before the app is installed, as on a phone that had HealthKit long before the app; the app's
// session runs on a BenchRecordingStore over a database in the scratch directory, so the bench
// sees when records were committed.
//
// Main thread only; one at a time per process (it owns a SimulatedPhone).
//
//   BenchHeavyUserPhone phone(scratch);
//   if (!phone.liveHistory(183, progress, err) || !phone.install(err)) return 1;

#include <memory>
#include <ostream>

#include "tools/OstrandTools/Bench/BenchHeavyUser.h"
#include "tools/OstrandTools/Bench/BenchRecordingStore.h"
#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"
#include "tools/OstrandTools/Bench/BenchWrites.h"
#include "tools/OstrandTools/Common/Progress.h"
#include "tools/OstrandTools/Common/SimulatedPhone.h"

namespace ostrand_tools {

class BenchHeavyUserPhone {
 public:
  explicit BenchHeavyUserPhone(const BenchScratchDirectory& scratch);

  SimulatedPhone& phone() { return phone_; }
  BenchRecordingStore& store() { return *store_; }
  // The day the app is installed on (its start, in the device's calendar).
  NSDate today() const;
  // The days from a day before six months before today up to yesterday: what fills the
  // historical fetch's window.
  int daysOfSixMonths() const;

  // Writes `days` whole days ending yesterday, the clock following; false when HealthKit refused.
  bool liveHistory(int days, Progress& progress, std::ostream& err);
  // How many objects liveHistory wrote.
  std::size_t historyObjects() const { return historyObjects_; }
  // Starts the app's session and subscribes to every set, five minutes into today.
  bool install(std::ostream& err);
  // The heavy user's minutes in [from, to) and one object of every subscribed type from another
  // app, over the first ten minutes of the range.
  void writesForRange(NSDate from, NSDate to, BenchWrites& out) const;

 private:
  NSDate dayStart(NSDate date) const;
  // The start of the day `days` days from today's (negative: before).
  NSDate dayFromToday(int days) const;

  SimulatedPhone phone_;
  BenchHeavyUser person_;
  std::shared_ptr<HKHealthStore> app_;
  std::string databasePath_;
  BenchRecordingStore* store_ = nullptr;  // owned by the session once installed
  std::size_t historyObjects_ = 0;
};

}  // namespace ostrand_tools
