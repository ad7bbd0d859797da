#pragma once

// BenchAppStreams: the generated person's data from the phone and the other apps: the phone's
// own steps, distance and flights climbed, headphone sound levels from AirPods, a glucose
// sensor's reading every five minutes (its app saves them three hours late), and each
// morning's weighing on a scale (weight, body fat, BMI and lean mass). Each function writes one
// type for one day (BenchPersonStreams).
//
// Not thread-safe: one export writer drives it.
//
//   BenchAppStreams apps(out, created, sources);
//   apps.bloodGlucose(day);

#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

namespace ostrand_tools {

class BenchAppStreams : public BenchPersonStreams {
 public:
  enum class Weighing { bodyMassIndex, bodyFat, bodyMass, leanBodyMass };

  using BenchPersonStreams::BenchPersonStreams;

  // The phone's steps, or its distance over the same stretches.
  void phoneSteps(const BenchPersonDay& day, bool distance);
  void flightsClimbed(const BenchPersonDay& day);
  void headphoneAudio(const BenchPersonDay& day);
  void bloodGlucose(const BenchPersonDay& day);
  void scale(const BenchPersonDay& day, Weighing measure);
};

}  // namespace ostrand_tools
