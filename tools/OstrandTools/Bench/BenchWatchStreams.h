#pragma once

// BenchWatchStreams: what the generated person's Apple Watch measures all day, the bulk of the
// export: heart rate every minute or so (every five seconds in a workout, every five minutes
// asleep), active energy every half minute to a minute (every ten seconds in a workout), basal
// energy every minute, steps and distance in stretches of one to three minutes, exercise
// minutes, stand minutes and stand hours, and environmental sound levels. Each function writes
// one type for one day (BenchPersonStreams).
//
// Not thread-safe: one export writer drives it.
//
//   BenchWatchStreams watch(out, created, sources);
//   watch.heartRate(day);

#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

namespace ostrand_tools {

class BenchWatchStreams : public BenchPersonStreams {
 public:
  using BenchPersonStreams::BenchPersonStreams;

  void heartRate(const BenchPersonDay& day);
  void activeEnergy(const BenchPersonDay& day);
  void basalEnergy(const BenchPersonDay& day);
  // Steps, or the distance walked and run in the same stretches.
  void steps(const BenchPersonDay& day, bool distance);
  void exerciseTime(const BenchPersonDay& day);
  void standTime(const BenchPersonDay& day);
  void standHours(const BenchPersonDay& day);
  void environmentalAudio(const BenchPersonDay& day);

  // Whether the person is walking in the five minutes around `moment` (outside workouts).
  static bool walking(const BenchPersonDay& day, std::int64_t moment);

 private:
  BenchRecord record(const BenchPersonDay& day, std::string_view type, std::string_view unit,
                     double value, std::int64_t start, std::int64_t end) const;
};

}  // namespace ostrand_tools
