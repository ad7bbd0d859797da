#include "tools/OstrandTools/Bench/BenchVitalStreams.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "tools/OstrandTools/Bench/BenchNoise.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kMinute = 60, kHour = 3600;
constexpr char kSleep[] = "HKCategoryTypeIdentifierSleepAnalysis";
constexpr char kCore[] = "HKCategoryValueSleepAnalysisAsleepCore";
constexpr char kDeep[] = "HKCategoryValueSleepAnalysisAsleepDeep";
constexpr char kRem[] = "HKCategoryValueSleepAnalysisAsleepREM";
constexpr char kAwake[] = "HKCategoryValueSleepAnalysisAwake";

std::int64_t minutes(double count) { return static_cast<std::int64_t>(count) * kMinute; }

}  // namespace

void BenchVitalStreams::sleep(const BenchPersonDay& day) {
  const std::string zone =
      "  <MetadataEntry key=\"HKTimeZone\" value=\"" + out_.zone().name() + "\"/>\n";
  write({.type = kSleep,
         .source = sources_.phone(day.year),
         .categoryValue = "HKCategoryValueSleepAnalysisInBed",
         .start = day.sleptAt,
         .end = day.wokeAt,
         .inner = zone},
        Saver::phone);
  sleepStages(day);
}

void BenchVitalStreams::sleepStages(const BenchPersonDay& day) {
  std::int64_t t = day.sleptAt + minutes(5 + 15 * BenchNoise::at(day.index, 30));
  for (int cycle = 0; t < day.wokeAt; ++cycle) {
    // Deep sleep early in the night, REM later; a short waking between cycles.
    const double noise = BenchNoise::unit(day.index, 40 + cycle);
    const std::pair<const char*, std::int64_t> stages[] = {
        {kCore, minutes(20 + 20 * noise)},
        {kDeep, minutes(std::max(5.0, 35 - 8.0 * cycle))},
        {kCore, minutes(10 + 10 * noise)},
        {kRem, minutes(10 + 5.0 * cycle)},
        {kAwake, minutes(1 + 3 * noise)}};
    for (const auto& [stage, length] : stages) {
      const std::int64_t end = std::min(t + length, day.wokeAt);
      if (end > t) {
        write({.type = kSleep,
               .source = sources_.watch(day.year),
               .categoryValue = stage,
               .start = t,
               .end = end},
              Saver::watch);
      }
      t = end;
    }
  }
}

void BenchVitalStreams::respiratoryRate(const BenchPersonDay& day) {
  for (std::int64_t t = day.sleptAt + 600; t < day.wokeAt; t += 480) {
    write({.type = "HKQuantityTypeIdentifierRespiratoryRate",
           .source = sources_.watch(day.year),
           .unit = "count/min",
           .value = rounded(12 + 5 * BenchNoise::at(t, 31), 1),
           .start = t - kMinute,
           .end = t},
          Saver::watch);
  }
}

void BenchVitalStreams::oxygenSaturation(const BenchPersonDay& day) {
  for (std::int64_t t = day.sleptAt + kHour; t < day.wokeAt; t += kHour) {
    write({.type = "HKQuantityTypeIdentifierOxygenSaturation",
           .source = sources_.watch(day.year),
           .unit = "%",
           .value = rounded(0.94 + 0.05 * BenchNoise::at(t, 32), 2),
           .start = t,
           .end = t},
          Saver::watch);
  }
}

std::string BenchVitalStreams::beatList(std::int64_t start) const {
  std::string list = "  <HeartRateVariabilityMetadataList>\n";
  double at = static_cast<double>(out_.zone().localSecondsOfDay(start)) + 1.2;
  for (int beat = 0; beat < 8; ++beat, at += 0.85) {
    const int hundredths = static_cast<int>(std::fmod(at, 1.0) * 100);
    const long second = static_cast<long>(at);
    char line[96];
    std::snprintf(line, sizeof line,
                  "   <InstantaneousBeatsPerMinute bpm=\"%d\" time=\"%02ld:%02ld:%02ld,%02d\"/>\n",
                  62 + beat % 5, second / 3600 % 24, second / 60 % 60, second % 60, hundredths);
    list += line;
  }
  return list + "  </HeartRateVariabilityMetadataList>\n";
}

void BenchVitalStreams::heartRateVariability(const BenchPersonDay& day) {
  for (std::int64_t t = day.midnight + 2 * kHour; t < day.nextMidnight; t += 4 * kHour) {
    const std::int64_t start = t + minutes(50 * BenchNoise::at(t, 33));
    const std::string beats = beatList(start);
    write({.type = "HKQuantityTypeIdentifierHeartRateVariabilitySDNN",
           .source = sources_.watch(day.year),
           .unit = "ms",
           .value = rounded(30 + 40 * BenchNoise::at(t, 34), 4),
           .start = start,
           .end = start + kMinute,
           .inner = beats},
          Saver::watch);
  }
}

void BenchVitalStreams::restingHeartRate(const BenchPersonDay& day) {
  write({.type = "HKQuantityTypeIdentifierRestingHeartRate",
         .source = sources_.watch(day.year),
         .unit = "count/min",
         .value = std::floor(50 + 8 * BenchNoise::unit(day.index, 35)),
         .start = day.midnight,
         .end = day.bedAt},
        Saver::watch);
}

void BenchVitalStreams::walkingHeartRate(const BenchPersonDay& day) {
  write({.type = "HKQuantityTypeIdentifierWalkingHeartRateAverage",
         .source = sources_.watch(day.year),
         .unit = "count/min",
         .value = std::floor(88 + 12 * BenchNoise::unit(day.index, 36)),
         .start = day.wokeAt,
         .end = day.bedAt},
        Saver::watch);
}

void BenchVitalStreams::vo2Max(const BenchPersonDay& day) {
  if (day.workout != BenchPersonDay::Workout::running) return;
  write({.type = "HKQuantityTypeIdentifierVO2Max",
         .source = sources_.watch(day.year),
         .unit = "mL/min\xC2\xB7kg",
         .value = rounded(42 + 4 * BenchNoise::unit(day.index, 37), 2),
         .start = day.workoutEnd,
         .end = day.workoutEnd,
         .inner = "  <MetadataEntry key=\"HKVO2MaxTestType\" value=\"2\"/>\n"},
        Saver::watch);
}

}  // namespace ostrand_tools
