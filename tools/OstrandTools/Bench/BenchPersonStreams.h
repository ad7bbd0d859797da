#pragma once

// BenchPersonStreams: what the generated person's streams share (BenchWatchStreams,
// BenchAppStreams, BenchPersonEvents): the output, the sources and when HealthKit saved each
// object, and the one way they all write a record. A stream writes one type (or one kind of
// element) for one day; the export writer calls each stream for every day in turn, so the file
// holds its records grouped by type, as the Health app writes them.
//
// Not thread-safe: one export writer drives it.

#include <cstdint>
#include <string_view>

#include "tools/OstrandTools/Bench/BenchCreationDates.h"
#include "tools/OstrandTools/Bench/BenchExportOutput.h"
#include "tools/OstrandTools/Bench/BenchPersonDay.h"
#include "tools/OstrandTools/Bench/BenchPersonSources.h"

namespace ostrand_tools {

class BenchPersonStreams {
 public:
  using Saver = BenchCreationDates::Saver;

  BenchPersonStreams(BenchExportOutput& out, const BenchCreationDates& created,
                     const BenchPersonSources& sources)
      : out_(out), created_(created), sources_(sources) {}

 protected:
  // Writes a record saved by `saver` and counts it as an object unless it is the top-level twin
  // of a correlation's record.
  void write(BenchRecord record, Saver saver, bool counted = true);
  // A quantity's value, rounded to `decimals` places as apps write them.
  static double rounded(double value, int decimals);

  BenchExportOutput& out_;
  const BenchCreationDates& created_;
  const BenchPersonSources& sources_;
};

}  // namespace ostrand_tools
