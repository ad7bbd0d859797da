#include "tools/OstrandTools/Bench/BenchPersonDay.h"

#include "tools/OstrandTools/Bench/BenchNoise.h"

namespace ostrand_tools {

namespace {

constexpr long kHour = 3600, kDay = 86400;
constexpr double kWorkoutShare = 0.6;  // about four days a week

// Local seconds past midnight the person goes to bed on day `index`: 22:30 to 23:30.
long bedTime(int index) {
  return 22 * kHour + kHour / 2 + static_cast<long>(kHour * BenchNoise::unit(index, 1));
}

}  // namespace

BenchPersonDay BenchPersonDay::plan(const BenchExportZone& zone, int index, std::int64_t midnight) {
  BenchPersonDay day;
  day.index = index;
  day.year = index / 365;
  day.midnight = midnight;
  day.nextMidnight = zone.nextMidnight(midnight);
  // The evening before shares midnight's offset: clocks change in the small hours.
  day.sleptAt = midnight - (kDay - bedTime(index - 1));
  day.wokeAt = zone.atLocalTime(
      midnight, 6 * kHour + 30 * 60 + static_cast<long>(kHour * BenchNoise::unit(index, 2)));
  day.bedAt = zone.atLocalTime(midnight, bedTime(index));
  const double kind = BenchNoise::unit(index, 3);
  if (kind < kWorkoutShare) {
    day.workout = kind < 0.35  ? Workout::running
                  : kind < 0.5 ? Workout::cycling
                               : Workout::strength;
    day.workoutStart = zone.atLocalTime(
        midnight, 17 * kHour + static_cast<long>(2 * kHour * BenchNoise::unit(index, 4)));
    day.workoutEnd =
        day.workoutStart + 30 * 60 + static_cast<long>(30 * 60 * BenchNoise::unit(index, 5));
  }
  return day;
}

}  // namespace ostrand_tools
