#pragma once

// A small Health export written for the replay tests: a person in a given zone over a few days,
// with an iPhone writing steps every hour they are awake, a watch writing heart rate and sleep,
// a scale writing weight each morning, a run every other evening and a blood-pressure reading
// (listed inside its correlation and at the top level, as the Health app does). Every date is
// written with the zone's offset at that moment, and the phone's records carry HKTimeZone.
// The same arguments always give the same text.

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "Foundation/NSCalendar.h"

namespace testing_support {

// "2024-03-31 08:15:00 +0200": the moment in `zone`, with its offset.
inline std::string exportDate(NSDate date, const std::shared_ptr<NSTimeZone>& zone) {
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(zone);
  const auto c =
      calendar->components(NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay |
                               NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond,
                           date);
  const long offset = zone->secondsFromGMTForDate(date);
  const long magnitude = offset < 0 ? -offset : offset;
  char text[64];
  std::snprintf(text, sizeof text, "%04ld-%02ld-%02ld %02ld:%02ld:%02ld %c%02ld%02ld", c.year(),
                c.month(), c.day(), c.hour(), c.minute(), c.second(), offset < 0 ? '-' : '+',
                magnitude / 3600, magnitude % 3600 / 60);
  return text;
}

// Writes the export of `days` days from `firstDay` (a local midnight) into `path`; the export
// was made at noon of the day after.
inline void writeReplayTestExport(const std::string& path, NSDate firstDay, int days,
                                  const std::string& zoneName) {
  const auto zone = NSTimeZone::timeZoneWithName(zoneName);
  auto at = [&](int day, double hour) {
    return exportDate(firstDay.dateByAddingTimeInterval(day * 86400.0 + hour * 3600), zone);
  };
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_US\">\n"
      << " <ExportDate value=\"" << at(days, 12) << "\"/>\n";
  auto record = [&](const char* type, const char* source, const char* unit, double value,
                    const std::string& start, const std::string& end, bool zoned) {
    xml << " <Record type=\"" << type << "\" sourceName=\"" << source << "\" unit=\"" << unit
        << "\" startDate=\"" << start << "\" endDate=\"" << end << "\" value=\"" << value << "\"";
    if (!zoned) return void(xml << "/>\n");
    xml << ">\n  <MetadataEntry key=\"HKTimeZone\" value=\"" << zoneName << "\"/>\n </Record>\n";
  };
  for (int day = 0; day < days; ++day) {
    for (int hour = 7; hour < 23; ++hour) {
      record("HKQuantityTypeIdentifierStepCount", "Phone", "count", 300 + 37 * ((day + hour) % 7),
             at(day, hour + 0.1), at(day, hour + 0.6), true);
    }
    for (int hour = 1; hour < 24; hour += 3) {
      record("HKQuantityTypeIdentifierHeartRate", "Watch", "count/min", 58 + (hour + day) % 20,
             at(day, hour), at(day, hour), false);
    }
    record("HKQuantityTypeIdentifierBodyMass", "Scale", "kg", 70.5 + 0.1 * day, at(day, 7.25),
           at(day, 7.25), false);
    record("HKCategoryTypeIdentifierSleepAnalysis", "Watch", "", 3, at(day, -1.5), at(day, 6.5),
           false);
    if (day % 2 == 0) {
      xml << " <Workout workoutActivityType=\"HKWorkoutActivityTypeRunning\" duration=\"40\" "
             "durationUnit=\"min\" totalDistance=\"6.2\" totalDistanceUnit=\"km\" "
             "totalEnergyBurned=\"410\" totalEnergyBurnedUnit=\"Cal\" sourceName=\"Watch\" "
             "startDate=\""
          << at(day, 18) << "\" endDate=\"" << at(day, 18 + 40 / 60.0) << "\"/>\n";
    }
    const std::string reading = at(day, 21.5);
    record("HKQuantityTypeIdentifierBloodPressureSystolic", "Cuff", "mmHg", 120 + day, reading,
           reading, false);
    xml << " <Correlation type=\"HKCorrelationTypeIdentifierBloodPressure\" sourceName=\"Cuff\" "
           "startDate=\""
        << reading << "\" endDate=\"" << reading << "\">\n ";
    record("HKQuantityTypeIdentifierBloodPressureDiastolic", "Cuff", "mmHg", 80, reading, reading,
           false);
    xml << " ";
    record("HKQuantityTypeIdentifierBloodPressureSystolic", "Cuff", "mmHg", 120 + day, reading,
           reading, false);
    xml << " </Correlation>\n";
  }
  xml << "</HealthData>\n";
  std::ofstream(path) << xml.str();
}

}  // namespace testing_support
