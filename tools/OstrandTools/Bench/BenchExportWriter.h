#pragma once

// BenchExportWriter: writes a Health app export (export.xml) of about a given size, for the bench
// to read and replay: one person with an iPhone, an Apple Watch, AirPods, a scale's app, a food
// diary, a glucose sensor's app and a blood pressure app, day after day from 2016 on, in
// Europe/Berlin (clocks change twice a year). About 5,500 objects a day, as a watch wearer's
// HealthKit holds them: heart rate and energy every minute or so (BenchWatchStreams), sleep
// stages and other vitals (BenchVitalStreams), the phone's steps, a glucose reading every five
// minutes and a daily weighing (BenchAppStreams), meals, blood pressure and workouts
// (BenchPersonEvents). Each object carries when HealthKit saved it (BenchCreationDates).
//
// Like the Health app's, the file lists the records grouped by type, then the correlations, the
// workouts and the activity summaries; dates carry the zone's offset of their moment. The same
// size always gives the same file. It is written as it goes, one type's stream at a time, a day
// after another; nothing of it is held in memory.
//
// Any thread; one writer per file.
//
//   auto written = BenchExportWriter::write("/tmp/export.xml", 1 << 30);  // nullopt: failed

#include <cstdint>
#include <optional>
#include <string>

namespace ostrand_tools {

class BenchExportWriter {
 public:
  static constexpr char kZone[] = "Europe/Berlin";

  struct Written {
    std::uint64_t bytes = 0;
    std::uint64_t objects = 0;  // what the reader hands on: records, correlations, workouts
    int days = 0;
    double firstMidnight = 0;  // seconds since 1970
    double exportedAt = 0;     // the ExportDate: noon after the last day
  };

  // Writes as many days as make about `bytes` (at least one).
  static std::optional<Written> write(const std::string& path, std::uint64_t bytes);
  // Writes `days` days (at least one).
  static std::optional<Written> writeDays(const std::string& path, int days);
  // How many days make about `bytes`, from the size of the first week.
  static int daysForBytes(std::uint64_t bytes);
};

}  // namespace ostrand_tools
