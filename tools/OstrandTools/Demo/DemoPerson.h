#pragma once

// DemoPerson: a simulated person's day, as the apps on their iPhone and Apple Watch write it.
// Both devices count steps and walking distance over the same hours (the Health app merges
// them); the phone counts flights of stairs; the watch writes resting and active energy, exercise
// minutes, stand hours, a morning's mindful minutes, samples heart rate and records every other
// evening's run with a pause in it, and sleep; a scale app,
// a blood-pressure cuff app, a glucose meter app (with the insulin taken at meals), a food diary
// (meals as food correlations) and a cycle tracker write the rest. Seeded: the same seed and
// days give the same objects, UUIDs included (DemoUUIDs), so two runs give the same outbox.
//
// Not thread-safe; use on the main thread, with the device's queues driven by the caller.
//
//   DemoPerson person(device, 7);
//   auto day = person.day(dayStart, dayIndex);
//   DemoPerson::save(day);  // every object of the day, each by its app

#include <memory>
#include <random>
#include <vector>

#include "HealthKit/HKDevice.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "tools/OstrandTools/Demo/DemoUUIDs.h"

namespace ostrand_tools {

class DemoPerson {
 public:
  // One object and the app that writes it.
  struct Entry {
    std::shared_ptr<HKHealthStore> store;
    std::shared_ptr<const HKObject> object;
    NSDate endDate;
  };

  DemoPerson(const std::shared_ptr<platform::SimulatedHealthDevice>& device, unsigned seed);

  // Everything written about the day that starts at `dayStart` (the night before included, as
  // sleep ends in the morning), ordered by end date. `dayIndex` counts days from the first.
  std::vector<Entry> day(NSDate dayStart, int dayIndex);

  // Saves the entries, each through its app, and waits until the saves are done. Returns false
  // (with a message on stderr) when HealthKit refused any.
  static bool save(const std::vector<Entry>& entries);

 private:
  void steps(NSDate dayStart, std::vector<Entry>& out);
  void heartRate(NSDate dayStart, bool workoutDay, std::vector<Entry>& out);
  void activity(NSDate dayStart, bool workoutDay, std::vector<Entry>& out);
  void mindfulness(NSDate dayStart, std::vector<Entry>& out);
  void workout(NSDate dayStart, std::vector<Entry>& out);
  void sleep(NSDate dayStart, std::vector<Entry>& out);
  void morningReadings(NSDate dayStart, std::vector<Entry>& out);
  void meals(NSDate dayStart, std::vector<Entry>& out);
  void cycle(NSDate dayStart, int dayIndex, std::vector<Entry>& out);
  double uniform(double low, double high);
  // The object with the next UUID of the person's life.
  template <class T>
  std::shared_ptr<const T> identified(const std::shared_ptr<const T>& object);
  void add(std::vector<Entry>& out, const std::shared_ptr<HKHealthStore>& store,
           const std::shared_ptr<const HKSample>& sample);

  std::mt19937 random_;
  DemoUUIDs uuids_;
  std::shared_ptr<HKHealthStore> phone_, watch_, scale_, cuff_, meter_, diary_, tracker_;
  HKDevice::Pointer phoneDevice_, watchDevice_;
  double weight_ = 0;
};

}  // namespace ostrand_tools
