#pragma once

// BenchVitalStreams: the generated person's slower measurements from the watch: the night's
// sleep stages (in bed from the phone's schedule, then core, deep, REM and awake stretches in
// cycles from the watch), respiratory rate and blood oxygen while asleep, heart-rate
// variability with its beat list a few times a day, the day's resting and walking heart rate,
// and VO2 max after a run. Each function writes one type for one day (BenchPersonStreams).
//
// Not thread-safe: one export writer drives it.
//
//   BenchVitalStreams vitals(out, created, sources);
//   vitals.sleep(day);

#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

namespace ostrand_tools {

class BenchVitalStreams : public BenchPersonStreams {
 public:
  using BenchPersonStreams::BenchPersonStreams;

  void sleep(const BenchPersonDay& day);
  void respiratoryRate(const BenchPersonDay& day);
  void oxygenSaturation(const BenchPersonDay& day);
  void heartRateVariability(const BenchPersonDay& day);
  void restingHeartRate(const BenchPersonDay& day);
  void walkingHeartRate(const BenchPersonDay& day);
  void vo2Max(const BenchPersonDay& day);

 private:
  // The watch's stages of the night that ends on the morning of `day`.
  void sleepStages(const BenchPersonDay& day);
  std::string beatList(std::int64_t start) const;
};

}  // namespace ostrand_tools
