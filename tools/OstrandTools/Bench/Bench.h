#pragma once

// Bench: the `bench` command. Measures where the library's time goes on this machine, each
// measurement beside a baseline taken in the same run, and prints one table (BenchReport):
// - conversion of samples into records, per record kind (BenchConversion);
// - committing records to the outbox through the session (BenchOutbox);
// - the six-month historical fetch of a heavy user: time, HealthKit's own share, peak memory
//   (BenchHistory);
// - one background wake with an hour of new data in every subscribed type (BenchWake);
// - a month of a generated export replayed hour by hour (BenchReplayMonth);
// - when asked, a generated export of a given size (BenchExportWriter): writing it, reading it
//   and its memory (BenchExportRead), and its last year replayed hour by hour (BenchReplayYear);
// - the peak memory of the whole run.
// The heavy user's steps run first, while the process is small, so the memory row sees little of
// what the others allocate. `quick` shrinks every size so the whole run takes seconds: it checks
// that every measurement works, its numbers mean little.
//
// Main thread only.
//
//   Bench bench({.quick = false, .terminal = true});
//   int status = bench.run(std::cout, std::cerr);  // 0, or 1 when a measurement's work failed

#include <cstdint>
#include <ostream>

#include "tools/OstrandTools/Bench/BenchReport.h"
#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"
#include "tools/OstrandTools/Common/Progress.h"

namespace ostrand_tools {

struct BenchOptions {
  bool quick = false;
  bool terminal = false;  // draw progress bars (nothing is drawn otherwise)
  // Also write, read and replay a generated export of about this many bytes (0: not; quick: a
  // day).
  std::uint64_t exportBytes = 0;
};

class Bench {
 public:
  explicit Bench(BenchOptions options);
  int run(std::ostream& out, std::ostream& err);

 private:
  struct Sizes {
    std::size_t samplesPerKind;
    int conversionRuns;
    std::size_t outboxRecords;
    std::size_t outboxBatch;
    int outboxRuns;
    int historyDays;  // 0: six months
    int wakes;
  };

  // The heavy user's results, kept until the rows before them are in the report.
  struct HeavyUserResults {
    BenchHistoryResult history;
    BenchWakeResult wake;
    int days = 0;
    std::size_t objects = 0;
    double historyBytes = 0;
  };

  bool measureHeavyUser(const BenchScratchDirectory& scratch, Progress& progress,
                        std::ostream& err);
  bool measureReplay(const BenchScratchDirectory& scratch, Progress& progress, std::ostream& err);
  bool measureExportRead(const BenchScratchDirectory& scratch, Progress& progress,
                         std::ostream& err);
  bool measureConversionAndOutbox(const BenchScratchDirectory& scratch, Progress& progress,
                                  std::ostream& err);

  BenchOptions options_;
  Sizes sizes_;
  BenchReport report_;
  HeavyUserResults heavyUser_;
  double exportBytes_ = 0;  // the generated export's size, once written
};

}  // namespace ostrand_tools
