#include "tools/OstrandTools/Bench/BenchCreationDates.h"

#include <algorithm>

#include "tools/OstrandTools/Bench/BenchNoise.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kMinute = 60, kHour = 3600, kDay = 86400;
constexpr std::int64_t kScaleConnectedAfter = 150 * kDay + 20 * kHour;
constexpr double kWatchAwayShare = 0.07;
constexpr double kLateMealShare = 0.125;

std::int64_t seconds(double value) { return static_cast<std::int64_t>(value); }

}  // namespace

BenchCreationDates::BenchCreationDates(std::int64_t firstMidnight, std::int64_t exportedAt)
    : scaleConnected_(firstMidnight + kScaleConnectedAfter), exportedAt_(exportedAt) {}

std::int64_t BenchCreationDates::watchSaved(std::int64_t end, std::uint64_t seed) const {
  const std::int64_t hour = end / kHour;
  if (BenchNoise::at(hour, 17) < kWatchAwayShare) {
    const double away = 1 + 4 * BenchNoise::at(hour, 18);
    return (hour + 1) * kHour + seconds(away * kHour + 30 * BenchNoise::unit(seed, 19));
  }
  // Mostly within seconds; a few minutes when the watch batches its writes.
  const double wait = BenchNoise::unit(seed, 20);
  return end + 3 + seconds(597 * wait * wait * wait);
}

std::int64_t BenchCreationDates::of(Saver saver, std::int64_t end, std::uint64_t seed) const {
  // A correlation and its records are saved together.
  if (saver == Saver::foodDiary || saver == Saver::cuff) seed = static_cast<std::uint64_t>(end);
  const double noise = BenchNoise::unit(seed, 21);
  std::int64_t saved = end;
  switch (saver) {
    case Saver::phone:
      saved = end + 1 + seconds(40 * noise);
      break;
    case Saver::watch:
      saved = watchSaved(end, seed);
      break;
    case Saver::glucoseSensor:
      saved = end + 3 * kHour + seconds(300 * noise);
      break;
    case Saver::scale:
      saved = end < scaleConnected_ ? scaleConnected_ + seconds(60 * noise)
                                    : end + 10 * kMinute + seconds(3 * kHour * noise);
      break;
    case Saver::foodDiary:
      saved = end + kMinute + seconds(20 * kMinute * noise);
      if (BenchNoise::unit(seed, 22) < kLateMealShare)
        saved += 2 * kHour + seconds(4 * kHour * noise);
      break;
    case Saver::cuff:
      saved = end + 20 + seconds(40 * noise);
      break;
  }
  return std::max(end, std::min(saved, exportedAt_ - kMinute));
}

}  // namespace ostrand_tools
