#include "tools/OstrandTools/Bench/BenchPersonEvents.h"

#include <cmath>
#include <cstdio>

#include "tools/OstrandTools/Bench/BenchNoise.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kMinute = 60, kHour = 3600;

struct Nutrient {
  const char* type;
  const char* unit;
  double perMeal;  // a main meal's amount
};
constexpr Nutrient kNutrientTable[BenchPersonEvents::kNutrients] = {
    {"HKQuantityTypeIdentifierDietaryEnergyConsumed", "kcal", 650},
    {"HKQuantityTypeIdentifierDietaryCarbohydrates", "g", 75},
    {"HKQuantityTypeIdentifierDietaryProtein", "g", 32},
    {"HKQuantityTypeIdentifierDietaryFatTotal", "g", 24},
    {"HKQuantityTypeIdentifierDietaryFatSaturated", "g", 8},
    {"HKQuantityTypeIdentifierDietarySugar", "g", 18},
    {"HKQuantityTypeIdentifierDietaryFiber", "g", 9},
    {"HKQuantityTypeIdentifierDietarySodium", "mg", 900},
    {"HKQuantityTypeIdentifierDietaryCholesterol", "mg", 110},
    {"HKQuantityTypeIdentifierDietaryPotassium", "mg", 800},
    {"HKQuantityTypeIdentifierDietaryCalcium", "mg", 300},
    {"HKQuantityTypeIdentifierDietaryIron", "mg", 4},
    {"HKQuantityTypeIdentifierDietaryVitaminC", "mg", 30},
};

struct Meal {
  const char* name;
  long localMinutes;
  double size;
};
constexpr Meal kMeals[] = {{"Breakfast", 7 * 60 + 30, 0.7},
                           {"Lunch", 12 * 60 + 30, 1.0},
                           {"Snack", 15 * 60 + 30, 0.3},
                           {"Dinner", 19 * 60, 1.2}};

const char* activityType(BenchPersonDay::Workout workout) {
  switch (workout) {
    case BenchPersonDay::Workout::running:
      return "HKWorkoutActivityTypeRunning";
    case BenchPersonDay::Workout::cycling:
      return "HKWorkoutActivityTypeCycling";
    default:
      return "HKWorkoutActivityTypeFunctionalStrengthTraining";
  }
}

}  // namespace

BenchRecord BenchPersonEvents::nutrient(const BenchPersonDay& day, int meal, int index) const {
  const auto& meals = kMeals[meal];
  const std::int64_t at = out_.zone().atLocalTime(day.midnight, meals.localMinutes * kMinute);
  const double amount = kNutrientTable[index].perMeal * meals.size *
                        (0.6 + 0.8 * BenchNoise::unit(day.index * 8 + meal, 60 + index));
  return {.type = kNutrientTable[index].type,
          .source = sources_.foodDiary(),
          .unit = kNutrientTable[index].unit,
          .value = rounded(amount, 2),
          .start = at,
          .end = at};
}

BenchRecord BenchPersonEvents::pressure(const BenchPersonDay& day, bool systolic) const {
  const std::int64_t at = day.bedAt - kHour;
  const double noise = BenchNoise::unit(day.index, systolic ? 80 : 81);
  return {.type = systolic ? "HKQuantityTypeIdentifierBloodPressureSystolic"
                           : "HKQuantityTypeIdentifierBloodPressureDiastolic",
          .source = sources_.cuff(),
          .unit = "mmHg",
          .value = std::floor(systolic ? 112 + 22 * noise : 70 + 14 * noise),
          .start = at,
          .end = at};
}

void BenchPersonEvents::nutrientTwins(const BenchPersonDay& day, int index) {
  for (int meal = 0; meal < static_cast<int>(std::size(kMeals)); ++meal) {
    write(nutrient(day, meal, index), Saver::foodDiary, false);
  }
}

void BenchPersonEvents::bloodPressureTwin(const BenchPersonDay& day, bool systolic) {
  write(pressure(day, systolic), Saver::cuff, false);
}

void BenchPersonEvents::openElement(std::string_view opening, std::string_view source,
                                    std::int64_t start, std::int64_t end, Saver saver) {
  const auto seed = static_cast<std::uint64_t>(start) * 31 + opening.size();
  out_.text(" ").text(opening).text(" ").text(source);
  out_.dateAttribute("creationDate", created_.of(saver, end, seed));
  out_.dateAttribute("startDate", start).dateAttribute("endDate", end).text(">\n");
}

void BenchPersonEvents::meals(const BenchPersonDay& day) {
  for (int meal = 0; meal < static_cast<int>(std::size(kMeals)); ++meal) {
    const BenchRecord first = nutrient(day, meal, 0);
    openElement("<Correlation type=\"HKCorrelationTypeIdentifierFood\"", sources_.foodDiary(),
                first.start, first.end, Saver::foodDiary);
    out_.text("  <MetadataEntry key=\"HKFoodType\" value=\"").text(kMeals[meal].name);
    out_.text("\"/>\n  <MetadataEntry key=\"meal\" value=\"")
        .text(kMeals[meal].name)
        .text("\"/>\n");
    for (int index = 0; index < kNutrients; ++index) {
      auto member = nutrient(day, meal, index);
      member.indent = "  ";
      write(member, Saver::foodDiary, false);
    }
    out_.text(" </Correlation>\n");
    out_.countObject();
  }
}

void BenchPersonEvents::bloodPressure(const BenchPersonDay& day) {
  const BenchRecord systolic = pressure(day, true);
  openElement("<Correlation type=\"HKCorrelationTypeIdentifierBloodPressure\"", sources_.cuff(),
              systolic.start, systolic.end, Saver::cuff);
  for (const bool which : {true, false}) {
    auto member = pressure(day, which);
    member.indent = "  ";
    write(member, Saver::cuff, false);
  }
  out_.text(" </Correlation>\n");
  out_.countObject();
}

void BenchPersonEvents::workout(const BenchPersonDay& day) {
  if (day.workout == BenchPersonDay::Workout::none) return;
  char opening[160];
  std::snprintf(opening, sizeof opening,
                "<Workout workoutActivityType=\"%s\" duration=\"%.4f\" durationUnit=\"min\"",
                activityType(day.workout),
                static_cast<double>(day.workoutEnd - day.workoutStart - kMinute) / 60);
  openElement(opening, sources_.watch(day.year), day.workoutStart, day.workoutEnd, Saver::watch);
  const double noise = BenchNoise::unit(day.index, 82);
  out_.text("  <MetadataEntry key=\"HKIndoorWorkout\" value=\"")
      .text(day.workout == BenchPersonDay::Workout::strength ? "1" : "0")
      .text("\"/>\n  <MetadataEntry key=\"HKTimeZone\" value=\"")
      .text(out_.zone().name())
      .text("\"/>\n  <MetadataEntry key=\"HKAverageMETs\" value=\"")
      .number(rounded(6 + 4 * noise, 4))
      .text(" kcal/hr\xC2\xB7kg\"/>\n  <MetadataEntry key=\"HKWeatherTemperature\" value=\"")
      .number(rounded(40 + 45 * noise, 4))
      .text(" degF\"/>\n  <MetadataEntry key=\"HKWeatherHumidity\" value=\"")
      .number(std::floor(3000 + 6000 * noise))
      .text(" %\"/>\n");
  workoutEvents(day);
  workoutStatistics(day);
  out_.text(" </Workout>\n");
  out_.countObject();
}

void BenchPersonEvents::workoutEvents(const BenchPersonDay& day) {
  const std::int64_t pause = day.workoutStart + (day.workoutEnd - day.workoutStart) / 2;
  out_.text("  <WorkoutEvent type=\"HKWorkoutEventTypePause\"").dateAttribute("date", pause);
  out_.text("/>\n  <WorkoutEvent type=\"HKWorkoutEventTypeResume\"")
      .dateAttribute("date", pause + kMinute)
      .text("/>\n");
  for (std::int64_t t = day.workoutStart; t + 10 * kMinute <= day.workoutEnd; t += 10 * kMinute) {
    out_.text("  <WorkoutEvent type=\"HKWorkoutEventTypeSegment\"").dateAttribute("date", t);
    out_.text(" duration=\"10\" durationUnit=\"min\"/>\n");
  }
}

void BenchPersonEvents::workoutStatistics(const BenchPersonDay& day) {
  const double minutes = static_cast<double>(day.workoutEnd - day.workoutStart) / 60;
  auto statistic = [&](const char* type) -> BenchExportOutput& {
    out_.text("  <WorkoutStatistics type=\"").text(type).text("\"");
    return out_.dateAttribute("startDate", day.workoutStart)
        .dateAttribute("endDate", day.workoutEnd);
  };
  statistic("HKQuantityTypeIdentifierActiveEnergyBurned")
      .text(" sum=\"")
      .number(rounded(minutes * 13, 3))
      .text("\" unit=\"kcal\"/>\n");
  statistic("HKQuantityTypeIdentifierHeartRate")
      .text(" average=\"142.5\" minimum=\"96\" maximum=\"171\" unit=\"count/min\"/>\n");
  if (day.workout == BenchPersonDay::Workout::strength) return;
  const bool running = day.workout == BenchPersonDay::Workout::running;
  statistic(running ? "HKQuantityTypeIdentifierDistanceWalkingRunning"
                    : "HKQuantityTypeIdentifierDistanceCycling")
      .text(" sum=\"")
      .number(rounded(minutes * (running ? 0.18 : 0.42), 4))
      .text("\" unit=\"km\"/>\n");
}

void BenchPersonEvents::activitySummary(const BenchPersonDay& day) {
  const double noise = BenchNoise::unit(day.index, 83);
  out_.text(" <ActivitySummary dateComponents=\"").text(out_.zone().dayText(day.midnight));
  out_.text("\" activeEnergyBurned=\"").number(rounded(380 + 400 * noise, 3));
  out_.text(
          "\" activeEnergyBurnedGoal=\"500\" activeEnergyBurnedUnit=\"kcal\" appleMoveTime=\"0\" "
          "appleMoveTimeGoal=\"0\" appleExerciseTime=\"")
      .number(std::floor(15 + 50 * noise));
  out_.text("\" appleExerciseTimeGoal=\"30\" appleStandHours=\"")
      .number(std::floor(9 + 6 * noise))
      .text("\" appleStandHoursGoal=\"12\"/>\n");
}

}  // namespace ostrand_tools
