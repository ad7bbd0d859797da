#pragma once

// computeStatistics: the per-interval statistics of a set of quantity samples, for the
// statistics queries.
//
// A sample belongs to every interval its time range overlaps (a sample with no duration to the
// interval that contains its instant). Sums are pro-rated by time across interval boundaries;
// the merged sum takes every stretch of time from the best-ranked source only (see
// SourceMerge.h); average, minimum and maximum are over the values of the samples in the
// interval (the average is arithmetic). Only intervals with samples get statistics.
//
// A pure function of its inputs; thread-safe.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "HealthKit/HKStatistics.h"
#include "HealthKit/internal/HealthDatabase.h"
#include "HealthKit/internal/IntervalGrid.h"

namespace platform::healthkit {

// `samples` are quantity samples of `type`; `ranks` gives each saving app's rank (0 best; apps
// not listed come last). Returns the statistics by interval index.
std::map<long, std::shared_ptr<const HKStatistics>> computeStatistics(
    const std::shared_ptr<const HKQuantityType>& type, HKStatisticsOptions options,
    const IntervalGrid& grid, const std::vector<StoredObject>& samples,
    const std::map<std::string, int>& ranks);

}  // namespace platform::healthkit
