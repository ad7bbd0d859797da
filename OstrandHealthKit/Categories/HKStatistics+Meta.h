#pragma once

// HKStatistics(Meta): a statistics object together with an integer tag, `source`, that says what
// its total counts. The routine fetch tags the daily step totals it collects (0 for all steps, 2
// for the steps a person entered by hand) and the routine builder (OSTRoutine+HealthKit.h) reads
// the tag back; statistics of other types are left untagged and read as 0.
//
// Why a wrapper and not a tag stored beside the object: HealthKit hands statistics out as shared,
// read-only objects, and an interval without data yields a fresh object each time it is asked
// for, so a side table keyed by the object's address would either grow without bound or, once an
// object is freed and its address reused, hand a stale tag to an unrelated object. Pairing the
// tag with the object in one small value that travels from the fetch to the builder keeps the two
// together for exactly as long as both matter and needs no lock.
//
// A plain value; safe to copy between threads (the statistics object is immutable).
//
//   OSTTaggedStatistics userEntered{statistics, OSTStatisticsSourceUserEntered};
//   userEntered.source;  // 2

#include <map>
#include <memory>

#include "Foundation/NSDate.h"
#include "Foundation/NSObjCRuntime.h"
#include "HealthKit/HKStatistics.h"

// The tags the routine fetch sets on step totals.
enum : NSInteger {
  // The total of every step sample of the day, hand-entered ones included (also an untagged
  // object's value).
  OSTStatisticsSourceAll = 0,
  // The total of the day's step samples marked HKMetadataKeyWasUserEntered.
  OSTStatisticsSourceUserEntered = 2,
};

struct OSTTaggedStatistics {
  std::shared_ptr<const HKStatistics> statistics;
  // 0 unless the routine fetch set it.
  NSInteger source = OSTStatisticsSourceAll;
};

// One statistics query's result: each day's statistics under the start of that day.
using OSTDayStatistics = std::map<NSDate, OSTTaggedStatistics>;
