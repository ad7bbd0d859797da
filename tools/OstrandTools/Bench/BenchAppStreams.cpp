#include "tools/OstrandTools/Bench/BenchAppStreams.h"

#include <cmath>

#include "tools/OstrandTools/Bench/BenchNoise.h"
#include "tools/OstrandTools/Bench/BenchWatchStreams.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kMinute = 60, kHour = 3600;

// How far the glucose level is raised by the meals before `moment` (local hours of meals).
double afterMeals(const BenchPersonDay& day, std::int64_t moment) {
  double raised = 0;
  for (const double hour : {7.5, 12.5, 15.5, 19.0}) {
    const double since =
        static_cast<double>(moment - day.midnight) / static_cast<double>(kHour) - hour;
    if (since > 0 && since < 3) raised += 60 * since * std::exp(-1.5 * since);
  }
  return raised;
}

}  // namespace

void BenchAppStreams::phoneSteps(const BenchPersonDay& day, bool distance) {
  for (std::int64_t t = day.wokeAt; t + 7 * kMinute < day.bedAt; t += 7 * kMinute) {
    if (!BenchWatchStreams::walking(day, t)) continue;
    const double steps = std::floor(300 + 250 * BenchNoise::at(t, 50));
    BenchRecord stretch{.type = "HKQuantityTypeIdentifierStepCount",
                        .source = sources_.phone(day.year),
                        .unit = "count",
                        .value = steps,
                        .start = t,
                        .end = t + 7 * kMinute};
    if (distance) {
      stretch.type = "HKQuantityTypeIdentifierDistanceWalkingRunning";
      stretch.unit = "km";
      stretch.value = rounded(steps * 0.00069, 5);
    }
    write(stretch, Saver::phone);
  }
}

void BenchAppStreams::flightsClimbed(const BenchPersonDay& day) {
  for (std::int64_t t = day.wokeAt; t < day.bedAt; t += 10 * kMinute) {
    if (!BenchWatchStreams::walking(day, t) || BenchNoise::at(t, 51) > 0.3) continue;
    write({.type = "HKQuantityTypeIdentifierFlightsClimbed",
           .source = sources_.phone(day.year),
           .unit = "count",
           .value = 1 + std::floor(3 * BenchNoise::at(t, 52)),
           .start = t,
           .end = t + 2 * kMinute},
          Saver::phone);
  }
}

void BenchAppStreams::headphoneAudio(const BenchPersonDay& day) {
  if (day.index % 7 >= 5) return;  // music on the way to work and back, on weekdays
  for (const std::int64_t start : {day.wokeAt + kHour, day.wokeAt + 10 * kHour}) {
    write({.type = "HKQuantityTypeIdentifierHeadphoneAudioExposure",
           .source = sources_.headphones(day.year),
           .unit = "dBASPL",
           .value = rounded(62 + 16 * BenchNoise::at(start, 53), 4),
           .start = start,
           .end = start + 25 * kMinute},
          Saver::phone);
  }
}

void BenchAppStreams::bloodGlucose(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight; t < day.nextMidnight; t += 5 * kMinute) {
    write({.type = "HKQuantityTypeIdentifierBloodGlucose",
           .source = sources_.glucoseSensor(),
           .unit = "mg/dL",
           .value = std::floor(88 + afterMeals(day, t) + 10 * BenchNoise::at(t, 54)),
           .start = t,
           .end = t},
          Saver::glucoseSensor);
  }
}

void BenchAppStreams::scale(const BenchPersonDay& day, Weighing measure) {
  const std::int64_t at = day.wokeAt + 20 * kMinute;
  const double mass = 68 + 2 * std::sin(day.index / 58.0) + 0.6 * BenchNoise::unit(day.index, 55);
  const double fat = 0.22 + 0.02 * std::sin(day.index / 58.0);
  BenchRecord weighing{.source = sources_.scale(), .start = at, .end = at};
  switch (measure) {
    case Weighing::bodyMassIndex:
      weighing = {.type = "HKQuantityTypeIdentifierBodyMassIndex",
                  .unit = "count",
                  .value = rounded(mass / (1.7 * 1.7), 1)};
      break;
    case Weighing::bodyFat:
      weighing = {.type = "HKQuantityTypeIdentifierBodyFatPercentage",
                  .unit = "%",
                  .value = rounded(fat, 3)};
      break;
    case Weighing::bodyMass:
      weighing = {
          .type = "HKQuantityTypeIdentifierBodyMass", .unit = "kg", .value = rounded(mass, 2)};
      break;
    case Weighing::leanBodyMass:
      weighing = {.type = "HKQuantityTypeIdentifierLeanBodyMass",
                  .unit = "kg",
                  .value = rounded(mass * (1 - fat), 2)};
      break;
  }
  weighing.source = sources_.scale();
  weighing.start = weighing.end = at;
  write(weighing, Saver::scale);
}

}  // namespace ostrand_tools
