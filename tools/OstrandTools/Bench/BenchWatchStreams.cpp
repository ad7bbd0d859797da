#include "tools/OstrandTools/Bench/BenchWatchStreams.h"

#include <algorithm>
#include <cmath>

#include "tools/OstrandTools/Bench/BenchNoise.h"

namespace ostrand_tools {

namespace {

constexpr char kSedentary[] =
    "  <MetadataEntry key=\"HKMetadataKeyHeartRateMotionContext\" value=\"1\"/>\n";
constexpr char kActive[] =
    "  <MetadataEntry key=\"HKMetadataKeyHeartRateMotionContext\" value=\"2\"/>\n";

std::int64_t whole(double seconds) { return static_cast<std::int64_t>(seconds); }

}  // namespace

bool BenchWatchStreams::walking(const BenchPersonDay& day, std::int64_t moment) {
  return !day.asleep(moment) && !day.workingOut(moment) && BenchNoise::at(moment / 300, 7) < 0.35;
}

BenchRecord BenchWatchStreams::record(const BenchPersonDay& day, std::string_view type,
                                      std::string_view unit, double value, std::int64_t start,
                                      std::int64_t end) const {
  return {.type = type,
          .source = sources_.watch(day.year),
          .unit = unit,
          .value = value,
          .start = start,
          .end = end};
}

void BenchWatchStreams::heartRate(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight; t < day.nextMidnight;) {
    const double noise = BenchNoise::at(t, 8);
    auto reading = record(day, "HKQuantityTypeIdentifierHeartRate", "count/min", 0, t, t);
    if (day.workingOut(t)) {
      const double into = static_cast<double>(t - day.workoutStart) / 600;
      reading.value = std::min(120 + 12 * into, 168.0) + 8 * noise;
      t += 5;
    } else if (day.asleep(t)) {
      reading.value = 52 + 8 * noise;
      reading.inner = kSedentary;
      t += 300;
    } else {
      const bool moving = walking(day, t);
      reading.value = (moving ? 88 : 66) + 22 * noise;
      reading.inner = moving ? kActive : kSedentary;
      t += 60 + whole(30 * BenchNoise::at(t, 9));
    }
    reading.value = std::floor(reading.value);
    write(reading, Saver::watch);
  }
}

void BenchWatchStreams::activeEnergy(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight; t < day.nextMidnight;) {
    const double noise = BenchNoise::at(t, 10);
    const bool workout = day.workingOut(t), asleep = day.asleep(t);
    const std::int64_t length = workout ? 10 : asleep ? 120 : 30 + whole(30 * noise);
    const std::int64_t end = std::min(t + length, day.nextMidnight);
    const double perMinute = workout           ? 11 + 4 * noise
                             : asleep          ? 0.05 + 0.1 * noise
                             : walking(day, t) ? 3 + 3 * noise
                                               : 0.4 + 1.2 * noise;
    write(record(day, "HKQuantityTypeIdentifierActiveEnergyBurned", "kcal",
                 rounded(perMinute * static_cast<double>(end - t) / 60, 3), t, end),
          Saver::watch);
    t = end;
  }
}

void BenchWatchStreams::basalEnergy(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight; t < day.nextMidnight;) {
    const std::int64_t length = day.asleep(t) ? 300 : 60 + whole(10 * BenchNoise::at(t, 11));
    const std::int64_t end = std::min(t + length, day.nextMidnight);
    write(
        record(day, "HKQuantityTypeIdentifierBasalEnergyBurned", "kcal",
               rounded((1.05 + 0.1 * BenchNoise::at(t, 12)) * static_cast<double>(end - t) / 60, 3),
               t, end),
        Saver::watch);
    t = end;
  }
}

void BenchWatchStreams::steps(const BenchPersonDay& day, bool distance) {
  const bool running = day.workout == BenchPersonDay::Workout::running;
  for (std::int64_t t = day.wokeAt; t < day.bedAt;) {
    const std::int64_t end = t + 60 + whole(120 * BenchNoise::at(t, 13));
    const bool run = running && day.workingOut(t), walk = walking(day, t);
    // Outside walks the person still potters about: a few steps in most stretches.
    if (run || walk || (!day.workingOut(t) && BenchNoise::at(t, 15) < 0.5)) {
      const double perMinute = run ? 150 : walk ? 60 : 5;
      const double steps = std::floor(static_cast<double>(end - t) / 60 *
                                      (perMinute + perMinute * 0.8 * BenchNoise::at(t, 14)));
      auto stretch = record(day, "HKQuantityTypeIdentifierStepCount", "count", steps, t, end);
      if (distance) {
        stretch.type = "HKQuantityTypeIdentifierDistanceWalkingRunning";
        stretch.unit = "km";
        stretch.value = rounded(steps * (run ? 0.00105 : 0.00071), 5);
      }
      write(stretch, Saver::watch);
    }
    t = end;
  }
}

void BenchWatchStreams::exerciseTime(const BenchPersonDay& day) {
  for (std::int64_t t = day.wokeAt - day.wokeAt % 60; t < day.bedAt; t += 60) {
    const bool brisk = walking(day, t) && BenchNoise::at(t / 300, 15) < 0.1;
    if (day.workingOut(t) || brisk) {
      write(record(day, "HKQuantityTypeIdentifierAppleExerciseTime", "min", 1, t, t + 60),
            Saver::watch);
    }
  }
}

void BenchWatchStreams::standTime(const BenchPersonDay& day) {
  for (std::int64_t t = day.wokeAt - day.wokeAt % 300; t < day.bedAt; t += 300) {
    if (BenchNoise::at(t, 16) < 0.2 && !day.workingOut(t)) {
      write(record(day, "HKQuantityTypeIdentifierAppleStandTime", "min",
                   1 + std::floor(4 * BenchNoise::at(t, 17)), t, t + 300),
            Saver::watch);
    }
  }
}

void BenchWatchStreams::standHours(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight; t < day.nextMidnight; t += 3600) {
    if (t + 3600 <= day.wokeAt || t >= day.bedAt) continue;
    auto hour = record(day, "HKCategoryTypeIdentifierAppleStandHour", "", 0, t, t + 3600);
    hour.categoryValue = BenchNoise::at(t, 18) < 0.75 ? "HKCategoryValueAppleStandHourStood"
                                                      : "HKCategoryValueAppleStandHourIdle";
    write(hour, Saver::watch);
  }
}

void BenchWatchStreams::environmentalAudio(const BenchPersonDay& day) {
  for (std::int64_t t = day.wokeAt; t + 1800 < day.bedAt; t += 1800) {
    write(record(day, "HKQuantityTypeIdentifierEnvironmentalAudioExposure", "dBASPL",
                 rounded(45 + 35 * BenchNoise::at(t, 19), 4), t,
                 t + 1200 + whole(600 * BenchNoise::at(t, 20))),
          Saver::watch);
  }
}

}  // namespace ostrand_tools
