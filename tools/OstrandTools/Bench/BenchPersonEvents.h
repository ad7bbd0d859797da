#pragma once

// BenchPersonEvents: the generated person's composite objects: four meals a day logged in a
// food diary, each a food correlation of thirteen nutrients; an evening blood pressure reading
// (a correlation of its two values); workouts with their events, statistics and weather; and
// the Activity app's daily summary. As in the Health app's export, a correlation's records are
// listed at the top level too, among the records of their type (the twins, which the reader
// does not count twice).
//
// Not thread-safe: one export writer drives it.
//
//   BenchPersonEvents events(out, created, sources);
//   for (int n = 0; n < BenchPersonEvents::kNutrients; ++n) events.nutrientTwins(day, n);
//   events.meals(day);

#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

namespace ostrand_tools {

class BenchPersonEvents : public BenchPersonStreams {
 public:
  static constexpr int kNutrients = 13;

  using BenchPersonStreams::BenchPersonStreams;

  // The top-level twins of the day's meal records of one nutrient.
  void nutrientTwins(const BenchPersonDay& day, int nutrient);
  // The top-level twins of the day's systolic (or diastolic) reading.
  void bloodPressureTwin(const BenchPersonDay& day, bool systolic);
  void meals(const BenchPersonDay& day);
  void bloodPressure(const BenchPersonDay& day);
  void workout(const BenchPersonDay& day);
  void activitySummary(const BenchPersonDay& day);

 private:
  BenchRecord nutrient(const BenchPersonDay& day, int meal, int nutrient) const;
  BenchRecord pressure(const BenchPersonDay& day, bool systolic) const;
  // Opens a <Correlation> or <Workout> element: its attributes up to the dates.
  void openElement(std::string_view opening, std::string_view source, std::int64_t start,
                   std::int64_t end, Saver saver);
  void workoutEvents(const BenchPersonDay& day);
  void workoutStatistics(const BenchPersonDay& day);
};

}  // namespace ostrand_tools
