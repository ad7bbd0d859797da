#pragma once

// BenchCreationDates: when HealthKit saved each of the generated person's objects (its
// creationDate), by who saved it:
// - the phone saves its own measurements a few seconds after they end;
// - the watch a few seconds to ten minutes after, except in about one hour in fourteen, when it was
//   away from the phone: everything that ended in that hour reaches HealthKit together, one to
//   five hours later;
// - the glucose sensor's app three hours late, as such apps deliberately are;
// - the scale's app when it is next opened, up to a few hours later; its first months' weights
//   were imported at once, months later, when the app was connected to HealthKit;
// - the food diary when the meal is logged: minutes after, or in one meal in eight, that
//   evening;
// - the blood pressure app seconds after the reading.
// Nothing is saved after the export was made, nor before it ended.
//
// Immutable; any thread.
//
//   BenchCreationDates created(firstMidnight, exportedAt);
//   auto saved = created.of(BenchCreationDates::Saver::watch, end, seed);

#include <cstdint>

namespace ostrand_tools {

class BenchCreationDates {
 public:
  enum class Saver { phone, watch, glucoseSensor, scale, foodDiary, cuff };

  // `firstMidnight`: the start of the person's first day; `exportedAt`: when the export was made.
  BenchCreationDates(std::int64_t firstMidnight, std::int64_t exportedAt);

  // The creation date of an object that ended at `end`; `seed` tells apart objects that end
  // together.
  std::int64_t of(Saver saver, std::int64_t end, std::uint64_t seed) const;

 private:
  std::int64_t watchSaved(std::int64_t end, std::uint64_t seed) const;

  std::int64_t scaleConnected_;  // when the scale's app imported its first months
  std::int64_t exportedAt_;
};

}  // namespace ostrand_tools
