#pragma once

// BenchWake: one background wake of the heavy user's app. The app is in the background; the
// clock moves an hour on and the hour's data arrives: the heavy user's steps and heart rate and
// one object of every subscribed type from another app. HealthKit stores it and wakes the app
// (hourly background delivery), which fetches and commits the records.
//
// Measured: from HealthKit's first background call of an observer's handler to the end of the
// last outbox commit of the wake (the simulator notes when it called each handler, the
// session's store when each commit finished). Baseline: the same records, in the same batches,
// submitted straight to a session on a fresh database. Both are medians over the wakes. Beside
// them, per wake: the process's CPU time and the part of it HealthKit's queries took; the
// engine's own time, the main thread's CPU (HealthKit saves and answers queries on its worker
// threads, the engine works on the main queue: its handlers, conversion, session and SQLite);
// and how many outbox commits and session-data saves that changed something (each a
// transaction of its own) the wake made.
//
// Main thread only; the phone must be installed (BenchHeavyUserPhone::install).
//
//   BenchWake wake(5, scratch);
//   auto result = wake.measure(phone, err);  // nullopt when a wake committed nothing

#include <optional>
#include <ostream>
#include <vector>

#include "OstrandCore/OSTStore.h"
#include "tools/OstrandTools/Bench/BenchHeavyUserPhone.h"
#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"

namespace ostrand_tools {

struct BenchWakeResult {
  std::size_t objects = 0;           // saved in each wake's hour
  std::size_t records = 0;           // committed in a wake (median)
  std::size_t commits = 0;           // outbox transactions in a wake (median)
  double sessionDataSaves = 0;       // session-data transactions per wake (mean)
  double latencySeconds = 0;         // median
  double straightSeconds = 0;        // median
  double cpuSeconds = 0;             // process CPU per wake (mean)
  double simulatorQuerySeconds = 0;  // HealthKit's queries' CPU per wake (mean)
  double engineSeconds = 0;          // the main thread's CPU per wake: the engine's own (median)
};

class BenchWake {
 public:
  BenchWake(int runs, const BenchScratchDirectory& scratch) : runs_(runs), scratch_(scratch) {}

  std::optional<BenchWakeResult> measure(BenchHeavyUserPhone& phone, std::ostream& err) const;

 private:
  using Batches = std::vector<std::vector<OSTOutboxRow>>;
  struct Wake {
    double latencySeconds = 0;
    double cpuSeconds = 0;     // the process's, from the save until idle
    double querySeconds = 0;   // HealthKit's queries' CPU over the same span
    double engineSeconds = 0;  // the main thread's CPU over the same span
    Batches batches;           // the rows of each commit
  };

  static std::optional<Wake> wakeOnce(BenchHeavyUserPhone& phone, std::size_t& objects,
                                      std::ostream& err);
  std::optional<double> submitStraight(const Batches& batches, int run, std::ostream& err) const;
  bool wakeRepeatedly(BenchHeavyUserPhone& phone, BenchWakeResult& result, std::ostream& err) const;

  int runs_;
  const BenchScratchDirectory& scratch_;
};

}  // namespace ostrand_tools
