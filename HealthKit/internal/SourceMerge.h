#pragma once

// Merging cumulative samples of several sources into one total without counting anything twice.
//
// When an iPhone and an Apple Watch both count the same walk, each writes its own step samples
// and their time ranges overlap. The merged total takes, for every stretch of time, only the
// samples of the highest-priority source that covers that stretch; lower-priority sources fill
// the gaps. A sample's value is spread evenly over its time range, so a sample that is partly
// covered by a better source keeps only the share of its value that falls outside.
//
// Pure functions over plain numbers (seconds since the reference date); used by the statistics
// queries. Thread-safe.

#include <vector>

namespace platform::healthkit {

// One sample's contribution: `amount` spread evenly over [start, end). A sample with
// end == start is a point: its whole amount belongs to the instant `start`.
struct TimedAmount {
  double start = 0;
  double end = 0;
  double amount = 0;
};

// A sample's contribution together with its source's rank: 0 is the highest priority.
struct RankedAmount {
  TimedAmount piece;
  int rank = 0;
};

// The pieces of the merged total, in ascending time. For every stretch of time only the pieces
// of the best-ranked source covering it remain (several pieces of that same source all count).
// A point counts unless a better-ranked source has a sample with start <= point < end.
std::vector<TimedAmount> mergeBySourcePriority(const std::vector<RankedAmount>& pieces);

// The share of `piece` that falls into [from, to): pro-rated by time for a range, the whole
// amount or nothing for a point.
double amountWithin(const TimedAmount& piece, double from, double to);

}  // namespace platform::healthkit
