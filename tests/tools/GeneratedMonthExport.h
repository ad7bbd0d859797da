#pragma once

// A generated Health export of every kind of data the app syncs, for the replay's invariant
// tests: a person in a given zone over some days, with
// - an iPhone writing steps every waking hour (a walk each night crosses midnight) and a watch
//   writing steps beside it, heart rate every two hours and during runs;
// - the watch's resting and walking heart rate as one sample from midnight to midnight, as real
//   exports hold them;
// - a weight at 07:00 and water at 10:00 and 15:00 exactly: on the hours at which HealthKit
//   wakes the app and the user opens it;
// - two meals a day, each a food correlation whose members include caffeine and vitamin C,
//   which the app never asks to read, besides energy, carbohydrates and protein;
// - a blood-pressure reading (its correlation and its two members at the top level too, as the
//   Health app writes them), a glucose reading, a night's sleep and a run every other day.
// Dates carry the zone's offset of their moment. The same arguments always give the same text.

#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "Foundation/NSCalendar.h"
#include "ReplayTestExport.h"

namespace testing_support {

// Writes `days` days from the local midnight `firstDay` in `zoneName` into `path`; the export
// was made at noon of the day after.
inline void writeGeneratedMonthExport(const std::string& path, NSDate firstDay, int days,
                                      const std::string& zoneName) {
  const auto zone = NSTimeZone::timeZoneWithName(zoneName);
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(zone);
  auto midnight = [&](int day) {
    return *calendar->dateByAddingUnit(NSCalendarUnitDay, day, firstDay, NSCalendarOptions{});
  };
  auto at = [&](int day, double hour) {
    return exportDate(midnight(day).dateByAddingTimeInterval(hour * 3600), zone);
  };
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_US\">\n"
      << " <ExportDate value=\"" << at(days, 12) << "\"/>\n";
  auto record = [&](const char* type, const char* source, const char* unit, double value,
                    const std::string& start, const std::string& end) {
    xml << " <Record type=\"" << type << "\" sourceName=\"" << source << "\" unit=\"" << unit
        << "\" startDate=\"" << start << "\" endDate=\"" << end << "\" value=\"" << value
        << "\"/>\n";
  };
  auto correlation = [&](const char* type, const char* source, const std::string& when,
                         const std::function<void()>& members) {
    xml << " <Correlation type=\"" << type << "\" sourceName=\"" << source << "\" startDate=\""
        << when << "\" endDate=\"" << when << "\">\n";
    members();
    xml << " </Correlation>\n";
  };
  for (int day = 0; day < days; ++day) {
    for (int hour = 7; hour < 23; ++hour) {
      const double steps = 200 + 31 * ((day + hour) % 9);
      record("HKQuantityTypeIdentifierStepCount", "Phone", "count", steps, at(day, hour + 0.1),
             at(day, hour + 0.5));
      record("HKQuantityTypeIdentifierStepCount", "Watch", "count", steps - 20,
             at(day, hour + 0.15), at(day, hour + 0.45));
    }
    record("HKQuantityTypeIdentifierStepCount", "Phone", "count", 300, at(day, 23 + 58 / 60.0),
           at(day, 24 + 1 / 60.0));
    for (int hour = 1; hour < 24; hour += 2) {
      record("HKQuantityTypeIdentifierHeartRate", "Watch", "count/min", 55 + (hour * 7 + day) % 40,
             at(day, hour), at(day, hour));
    }
    record("HKQuantityTypeIdentifierRestingHeartRate", "Watch", "count/min", 52 + day % 5,
           at(day, 0), exportDate(midnight(day + 1), zone));
    record("HKQuantityTypeIdentifierWalkingHeartRateAverage", "Watch", "count/min", 90 + day % 7,
           at(day, 0), exportDate(midnight(day + 1), zone));
    record("HKQuantityTypeIdentifierBodyMass", "Scale", "kg", 70.5 + 0.1 * day, at(day, 7),
           at(day, 7));
    record("HKQuantityTypeIdentifierDietaryWater", "Tracker", "mL", 500, at(day, 10), at(day, 10));
    record("HKQuantityTypeIdentifierDietaryWater", "Tracker", "mL", 330, at(day, 15), at(day, 15));
    record("HKQuantityTypeIdentifierBloodGlucose", "Meter", "mg/dL", 95 + day % 11, at(day, 8.5),
           at(day, 8.5));
    record("HKCategoryTypeIdentifierSleepAnalysis", "Watch", "", 1, at(day, -1.5), at(day, 6.5));
    for (const double meal : {12.5, 19.0}) {
      const std::string when = at(day, meal);
      correlation("HKCorrelationTypeIdentifierFood", "Tracker", when, [&] {
        record("HKQuantityTypeIdentifierDietaryEnergyConsumed", "Tracker", "kcal", 650, when, when);
        record("HKQuantityTypeIdentifierDietaryCarbohydrates", "Tracker", "g", 80, when, when);
        record("HKQuantityTypeIdentifierDietaryProtein", "Tracker", "g", 30, when, when);
        record("HKQuantityTypeIdentifierDietaryCaffeine", "Tracker", "mg", 95, when, when);
        record("HKQuantityTypeIdentifierDietaryVitaminC", "Tracker", "mg", 40, when, when);
      });
    }
    const std::string reading = at(day, 21.5);
    for (const bool nested : {false, true}) {
      auto pair = [&] {
        record("HKQuantityTypeIdentifierBloodPressureSystolic", "Cuff", "mmHg", 118 + day % 9,
               reading, reading);
        record("HKQuantityTypeIdentifierBloodPressureDiastolic", "Cuff", "mmHg", 78, reading,
               reading);
      };
      if (nested) {
        correlation("HKCorrelationTypeIdentifierBloodPressure", "Cuff", reading, pair);
      } else {
        pair();
      }
    }
    if (day % 2 == 1) {
      xml << " <Workout workoutActivityType=\"HKWorkoutActivityTypeRunning\" duration=\"40\" "
             "durationUnit=\"min\" totalDistance=\"6.2\" totalDistanceUnit=\"km\" "
             "totalEnergyBurned=\"410\" totalEnergyBurnedUnit=\"Cal\" sourceName=\"Watch\" "
             "startDate=\""
          << at(day, 18) << "\" endDate=\"" << at(day, 18 + 40 / 60.0) << "\"/>\n";
      for (const double minute : {5.0, 20.0, 35.0}) {
        record("HKQuantityTypeIdentifierHeartRate", "Watch", "count/min", 140 + minute,
               at(day, 18 + minute / 60), at(day, 18 + minute / 60));
      }
    }
  }
  xml << "</HealthData>\n";
  std::ofstream(path) << xml.str();
}

}  // namespace testing_support
