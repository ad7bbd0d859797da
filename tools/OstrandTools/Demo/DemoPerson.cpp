#include "tools/OstrandTools/Demo/DemoPerson.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <optional>
#include <utility>

#include "Foundation/Platform/DispatchRuntime.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/HKWorkoutEvent.h"
#include "HealthKit/Simulator/ImportedObjectIdentity.h"
#include "tools/OstrandTools/Common/SimulatedApps.h"

namespace ostrand_tools {

namespace {

constexpr double kHour = 3600;
constexpr double kMinute = 60;

NSDate at(NSDate dayStart, double hours) {
  return dayStart.dateByAddingTimeInterval(hours * kHour);
}

std::shared_ptr<const HKQuantitySample> quantity(const std::string& identifier, const char* unit,
                                                 double value, NSDate start, NSDate end,
                                                 HKDevice::Pointer device = nullptr,
                                                 HKMetadata metadata = nullptr) {
  return HKQuantitySample::quantitySampleWithType(
      HKObjectType::quantityTypeForIdentifier(identifier),
      HKQuantity::quantityWithUnit(HKUnit::unitFromString(unit), value), start, end,
      std::move(device), std::move(metadata));
}

std::shared_ptr<const HKCategorySample> category(const std::string& identifier, long value,
                                                 NSDate start, NSDate end,
                                                 HKDevice::Pointer device = nullptr,
                                                 HKMetadata metadata = nullptr) {
  return HKCategorySample::categorySampleWithType(
      HKObjectType::categoryTypeForIdentifier(identifier), value, start, end, std::move(device),
      std::move(metadata));
}

// About three quarters of a metre a step, in kilometres to the metre, as the devices write it.
double kilometresFor(double steps) { return std::round(steps * 0.76) / 1000; }

using Batch =
    std::pair<std::shared_ptr<HKHealthStore>, std::vector<std::shared_ptr<const HKObject>>>;

// The entries' objects by the app that writes them, the apps in the order of their first entries.
std::vector<Batch> batchesByApp(const std::vector<DemoPerson::Entry>& entries) {
  std::vector<Batch> batches;
  for (const auto& entry : entries) {
    auto batch = std::find_if(batches.begin(), batches.end(), [&](const Batch& candidate) {
      return candidate.first == entry.store;
    });
    if (batch == batches.end()) batch = batches.insert(batches.end(), Batch{entry.store, {}});
    batch->second.push_back(entry.object);
  }
  return batches;
}

}  // namespace

DemoPerson::DemoPerson(const std::shared_ptr<platform::SimulatedHealthDevice>& device,
                       unsigned seed)
    : random_(seed), uuids_(seed) {
  phone_ = device->storeForSource(simulatedAppRevision(
      "Sam’s iPhone", "com.apple.health.7A2B4C6D-1E3F-4A5B-8C7D-9E0F1A2B3C4D", "iPhone15,2"));
  watch_ = device->storeForSource(simulatedAppRevision(
      "Sam’s Apple Watch", "com.apple.health.3C5D7E9F-2A4B-4C6D-8E0F-1A3B5C7D9E2F", "Watch6,2"));
  scale_ = device->storeForSource(simulatedAppRevision("Scale", "com.example.scale", "iPhone15,2"));
  cuff_ = device->storeForSource(
      simulatedAppRevision("Blood Pressure", "com.example.cuff", "iPhone15,2"));
  meter_ =
      device->storeForSource(simulatedAppRevision("Glucose", "com.example.glucose", "iPhone15,2"));
  diary_ =
      device->storeForSource(simulatedAppRevision("Food Diary", "com.example.food", "iPhone15,2"));
  tracker_ =
      device->storeForSource(simulatedAppRevision("Cycle", "com.example.cycle", "iPhone15,2"));
  phoneDevice_ = simulatedAppleDevice("iPhone", "iPhone", "iPhone15,2");
  watchDevice_ = simulatedAppleDevice("Apple Watch", "Watch", "Watch6,2");
  weight_ = uniform(64, 82);
}

double DemoPerson::uniform(double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(random_);
}

template <class T>
std::shared_ptr<const T> DemoPerson::identified(const std::shared_ptr<const T>& object) {
  return platform::objectWithUUID(*object, uuids_.next());
}

void DemoPerson::add(std::vector<Entry>& out, const std::shared_ptr<HKHealthStore>& store,
                     const std::shared_ptr<const HKSample>& sample) {
  out.push_back({store, identified(sample), sample->endDate()});
}

std::vector<DemoPerson::Entry> DemoPerson::day(NSDate dayStart, int dayIndex) {
  std::vector<Entry> out;
  uuids_.startDay(dayIndex);
  const bool workoutDay = dayIndex % 2 == 1;
  sleep(dayStart, out);
  steps(dayStart, out);
  heartRate(dayStart, workoutDay, out);
  activity(dayStart, workoutDay, out);
  mindfulness(dayStart, out);
  morningReadings(dayStart, out);
  meals(dayStart, out);
  cycle(dayStart, dayIndex, out);
  if (workoutDay) workout(dayStart, out);
  std::stable_sort(out.begin(), out.end(), [](const Entry& a, const Entry& b) {
    return a.endDate.timeIntervalSinceReferenceDate() < b.endDate.timeIntervalSinceReferenceDate();
  });
  return out;
}

void DemoPerson::steps(NSDate dayStart, std::vector<Entry>& out) {
  // Both devices count the same walking, each a little differently, and turn it into distance.
  for (int hour = 7; hour < 22; ++hour) {
    const double walked = std::round(uniform(150, 1400));
    const double counted = std::round(walked * uniform(0.9, 1.1));
    const NSDate start = at(dayStart, hour), end = at(dayStart, hour + 0.5);
    const NSDate watchStart = start.dateByAddingTimeInterval(5 * kMinute);
    add(out, phone_,
        quantity(HKQuantityTypeIdentifierStepCount, "count", walked, start, end, phoneDevice_));
    add(out, phone_,
        quantity(HKQuantityTypeIdentifierDistanceWalkingRunning, "km", kilometresFor(walked), start,
                 end, phoneDevice_));
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierStepCount, "count", counted, watchStart, end,
                 watchDevice_));
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierDistanceWalkingRunning, "km", kilometresFor(counted),
                 watchStart, end, watchDevice_));
  }
  // A few flights of stairs, counted by the phone's barometer.
  for (const double hour : {8.4, 13.1, 17.6}) {
    add(out, phone_,
        quantity(HKQuantityTypeIdentifierFlightsClimbed, "count", std::round(uniform(1, 4)),
                 at(dayStart, hour), at(dayStart, hour + 0.05), phoneDevice_));
  }
}

void DemoPerson::heartRate(NSDate dayStart, bool workoutDay, std::vector<Entry>& out) {
  for (int half = 0; half < 48; ++half) {
    const NSDate when = at(dayStart, half * 0.5 + 0.1);
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierHeartRate, "count/min", std::round(uniform(55, 85)), when,
                 when, watchDevice_));
  }
  if (!workoutDay) return;
  for (int minute = 0; minute < 45; minute += 3) {
    const NSDate when = at(dayStart, 18 + minute / 60.0);
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierHeartRate, "count/min", std::round(uniform(120, 165)),
                 when, when, watchDevice_));
  }
  add(out, watch_,
      quantity(HKQuantityTypeIdentifierRestingHeartRate, "count/min", std::round(uniform(52, 60)),
               at(dayStart, 7), at(dayStart, 7), watchDevice_));
}

void DemoPerson::activity(NSDate dayStart, bool workoutDay, std::vector<Entry>& out) {
  // The watch writes the body's energy every hour, day and night, and the active part, exercise
  // minutes and whether the wearer stood during the waking hours.
  for (int hour = 0; hour < 24; ++hour) {
    const NSDate start = at(dayStart, hour), end = at(dayStart, hour + 1);
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierBasalEnergyBurned, "kcal",
                 std::round(uniform(62, 70) * 10) / 10, start, end, watchDevice_));
    if (hour < 7 || hour >= 22) continue;
    const bool running = workoutDay && hour == 18;
    add(out, watch_,
        quantity(HKQuantityTypeIdentifierActiveEnergyBurned, "kcal",
                 std::round(running ? uniform(330, 420) : uniform(12, 45)), start, end,
                 watchDevice_));
    const double exercised = running ? 40 : std::round(uniform(0, 6));
    if (exercised > 0) {
      add(out, watch_,
          quantity(HKQuantityTypeIdentifierAppleExerciseTime, "min", exercised, start, end,
                   watchDevice_));
    }
    add(out, watch_,
        category(HKCategoryTypeIdentifierAppleStandHour,
                 uniform(0, 1) < 0.8 ? HKCategoryValueAppleStandHourStood
                                     : HKCategoryValueAppleStandHourIdle,
                 start, end, watchDevice_));
  }
}

void DemoPerson::mindfulness(NSDate dayStart, std::vector<Entry>& out) {
  // A few minutes of breathing most mornings, on the watch.
  if (uniform(0, 1) < 0.3) return;
  const NSDate start = at(dayStart, 7.5);
  add(out, watch_,
      category(HKCategoryTypeIdentifierMindfulSession, HKCategoryValueNotApplicable, start,
               start.dateByAddingTimeInterval(std::round(uniform(3, 10)) * kMinute), watchDevice_));
}

void DemoPerson::workout(NSDate dayStart, std::vector<Entry>& out) {
  // An evening run with a five-minute pause at a crossing.
  const NSDate start = at(dayStart, 18), end = at(dayStart, 18.75);
  const HKWorkout::Events events = {
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypePause, at(dayStart, 18.25)),
      HKWorkoutEvent::workoutEventWithType(HKWorkoutEventTypeResume, at(dayStart, 18 + 20 / 60.0)),
  };
  const double kilometres = std::round(uniform(5, 8) * 100) / 100;
  add(out, watch_,
      HKWorkout::workoutWithActivityType(
          HKWorkoutActivityTypeRunning, start, end, events,
          HKQuantity::quantityWithUnit(HKUnit::unitFromString("kcal"), std::round(kilometres * 65)),
          HKQuantity::quantityWithUnit(HKUnit::unitFromString("km"), kilometres), watchDevice_,
          nullptr));
}

void DemoPerson::sleep(NSDate dayStart, std::vector<Entry>& out) {
  const NSDate bed = at(dayStart, -1.25), asleep = at(dayStart, -1 + uniform(0, 0.5));
  const NSDate wake = at(dayStart, 6.5 + uniform(0, 0.5)), up = wake.dateByAddingTimeInterval(600);
  const auto& type = HKCategoryTypeIdentifierSleepAnalysis;
  add(out, watch_, category(type, HKCategoryValueSleepAnalysisInBed, bed, up, watchDevice_));
  add(out, watch_,
      category(type, HKCategoryValueSleepAnalysisAsleepCore, asleep, wake, watchDevice_));
}

void DemoPerson::morningReadings(NSDate dayStart, std::vector<Entry>& out) {
  weight_ += uniform(-0.25, 0.2);
  const NSDate weighed = at(dayStart, 7 + 10 / 60.0);
  add(out, scale_,
      quantity(HKQuantityTypeIdentifierBodyMass, "kg", std::round(weight_ * 10) / 10, weighed,
               weighed));
  const NSDate measured = at(dayStart, 7.25);
  const HKCorrelation::Objects pressure = {
      identified(quantity(HKQuantityTypeIdentifierBloodPressureSystolic, "mmHg",
                          std::round(uniform(112, 132)), measured, measured)),
      identified(quantity(HKQuantityTypeIdentifierBloodPressureDiastolic, "mmHg",
                          std::round(uniform(70, 86)), measured, measured))};
  add(out, cuff_,
      HKCorrelation::correlationWithType(
          HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure),
          measured, measured, pressure));
}

void DemoPerson::meals(NSDate dayStart, std::vector<Entry>& out) {
  const auto bolus = NSDictionary::dictionaryWithDictionary(
      {{HKMetadataKeyInsulinDeliveryReason, static_cast<long>(HKInsulinDeliveryReasonBolus)}});
  for (const double hour : {8.0, 12.5, 19.5}) {
    const NSDate checked = at(dayStart, hour - 0.1), eaten = at(dayStart, hour);
    add(out, meter_,
        quantity(HKQuantityTypeIdentifierBloodGlucose, "mg/dL", std::round(uniform(85, 140)),
                 checked, checked));
    const double carbs = std::round(uniform(30, 90));
    add(out, meter_,
        quantity(HKQuantityTypeIdentifierInsulinDelivery, "IU", std::round(carbs / 10), checked,
                 checked, nullptr, bolus));
    const HKCorrelation::Objects food = {
        identified(
            quantity(HKQuantityTypeIdentifierDietaryCarbohydrates, "g", carbs, eaten, eaten)),
        identified(quantity(HKQuantityTypeIdentifierDietaryProtein, "g",
                            std::round(uniform(15, 45)), eaten, eaten)),
        identified(quantity(HKQuantityTypeIdentifierDietaryEnergyConsumed, "kcal",
                            std::round(carbs * 4 + uniform(150, 400)), eaten, eaten))};
    add(out, diary_,
        HKCorrelation::correlationWithType(
            HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierFood), eaten,
            eaten, food));
  }
}

void DemoPerson::cycle(NSDate dayStart, int dayIndex, std::vector<Entry>& out) {
  const NSDate morning = at(dayStart, 6.9);
  add(out, tracker_,
      quantity(HKQuantityTypeIdentifierBasalBodyTemperature, "degC",
               std::round(uniform(36.3, 36.8) * 100) / 100, morning, morning));
  const int cycleDay = (dayIndex + 24) % 28;
  if (cycleDay >= 5) return;
  const auto start =
      NSDictionary::dictionaryWithDictionary({{HKMetadataKeyMenstrualCycleStart, cycleDay == 0}});
  add(out, tracker_,
      category(
          HKCategoryTypeIdentifierMenstrualFlow,
          cycleDay < 2 ? HKCategoryValueMenstrualFlowMedium : HKCategoryValueMenstrualFlowLight,
          dayStart, at(dayStart, 22), nullptr, start));
}

bool DemoPerson::save(const std::vector<Entry>& entries) {
  // One app at a time, and each save with all it sets off (the app's fetches) run to the end
  // before the next app saves: so the app always finds the same data when it looks.
  bool saved = true;
  for (const auto& [store, objects] : batchesByApp(entries)) {
    // Written on HealthKit's queue; read once the queues are idle.
    auto failure = std::make_shared<std::optional<std::string>>();
    store->saveObjects(objects, [failure](bool success, auto error) {
      if (!success) *failure = error ? error->localizedDescription() : "unknown error";
    });
    platform::DispatchRuntime::shared().runUntilIdle();
    if (*failure) {
      std::cerr << "HealthKit refused a save: " << **failure << "\n";
      saved = false;
    }
  }
  return saved;
}

}  // namespace ostrand_tools
