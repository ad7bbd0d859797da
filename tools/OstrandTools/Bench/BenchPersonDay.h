#pragma once

// BenchPersonDay: the plan of one of the generated person's days, which every stream of the
// export writer follows, so that they agree with each other: when the person woke and went to
// bed, when the night before began, and whether and when they worked out. Days are local days
// of the person's zone: 23 or 25 hours long when the clocks change.
//
// A value; any thread.
//
//   auto day = BenchPersonDay::plan(zone, index, midnight);
//   if (day.asleep(moment)) ...

#include <cstdint>

#include "tools/OstrandTools/Bench/BenchExportZone.h"

namespace ostrand_tools {

struct BenchPersonDay {
  enum class Workout { none, running, cycling, strength };

  int index = 0;  // days since the first
  int year = 0;   // years since the first day, for the devices' software versions
  std::int64_t midnight = 0, nextMidnight = 0;
  std::int64_t sleptAt = 0;  // the evening before
  std::int64_t wokeAt = 0, bedAt = 0;
  Workout workout = Workout::none;
  std::int64_t workoutStart = 0, workoutEnd = 0;

  // The plan of the day that starts at the local midnight `midnight`.
  static BenchPersonDay plan(const BenchExportZone& zone, int index, std::int64_t midnight);

  bool asleep(std::int64_t moment) const { return moment < wokeAt || moment >= bedAt; }
  bool workingOut(std::int64_t moment) const {
    return workout != Workout::none && moment >= workoutStart && moment < workoutEnd;
  }
};

}  // namespace ostrand_tools
