#pragma once

// AppleHealthExportSummary: what reading a Health export did: how many of each kind of object
// it saved, from which sources, what it skipped and why, what it did not know, and the error
// that stopped it, if one did. A plain value; copy it freely.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"

struct AppleHealthExportError {
  std::string file;        // "export.xml", or "export.zip:apple_health_export/export.xml"
  std::size_t line = 0;    // 1-based; 0 when the problem is not at a place in the file
  std::size_t column = 0;  // 1-based; 0 when unknown
  std::string element;     // the element being read, when one was
  std::string message;

  // "export.xml:12:5: <Record>: not well-formed (invalid token)"
  std::string description() const;
};

struct AppleHealthExportSummary {
  // Saved samples by type identifier (quantity and category samples, including those held by
  // correlations, counted by their own type).
  std::map<std::string, std::size_t> samplesByType;
  // Saved samples, correlations and workouts by source name.
  std::map<std::string, std::size_t> objectsBySource;
  std::map<std::string, std::size_t> correlationsByType;
  // Workouts by activity type name ("HKWorkoutActivityTypeRunning").
  std::map<std::string, std::size_t> workoutsByActivityType;
  std::size_t workoutEvents = 0;      // saved with their workouts (not the activities' copies)
  std::size_t workoutStatistics = 0;  // read; the totals among them are saved on the workout
  // Top-level records replaced by the copy their correlation holds (the export lists both).
  std::size_t correlationTwinsReplaced = 0;

  // Not saved, by reason ("duplicate record", "end before start", "category value out of
  // range", ...).
  std::map<std::string, std::size_t> skipped;
  // Records, correlations and workouts of types this HealthKit does not have, by identifier.
  std::map<std::string, std::size_t> unknownTypes;
  // Unit strings no unit parses from, by string (records, statistics and metadata).
  std::map<std::string, std::size_t> unknownUnits;
  // Elements read but not stored (ActivitySummary, Me, WorkoutRoute, heartbeat lists...).
  std::map<std::string, std::size_t> elementsNotStored;

  // Which zone the dates were written in: the HKTimeZone metadata values by count, and for each
  // UTC offset (seconds east) the instants written with it, at most one per UTC day and type of
  // element read in date order.
  std::map<std::string, std::size_t> timeZoneNames;
  std::map<int, std::vector<NSDate>> writtenOffsets;

  std::string locale;                     // the HealthData element's locale
  std::optional<std::string> exportDate;  // as written
  std::optional<NSDate> exportedAt;       // the same, read (nullopt when missing or unreadable)
  std::uint64_t bytesRead = 0;            // of the XML, uncompressed
  std::size_t linesRead = 0;              // the line the reader had reached

  // Set when reading stopped early; everything counted above was saved before it.
  std::optional<AppleHealthExportError> error;

  bool succeeded() const { return !error.has_value(); }
  std::size_t totalSamples() const;
  std::size_t totalCorrelations() const;
  std::size_t totalWorkouts() const;
  std::size_t totalSkipped() const;
};
