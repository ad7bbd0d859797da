#pragma once

// OutboxMisses: what the day records in a replay's outbox lack. At the end of a replay each day
// is computed again from everything HealthKit then holds, with HealthKit's own statistics, and
// compared with the outbox:
// - routine days: the day's sum of each subscribed routine quantity (steps, distance, energy,
//   floors, ...), made into the value a record holds by the engine's conversion;
// - heart-rate days: each source's minimum, maximum and average heart rate of the day;
// - minute steps: each source's steps in each minute, against the latest value the outbox holds
//   for that minute; a day here is one source's minutes of one day.
// Days are compared from the first day the outbox holds of the kind (or the install day, if
// earlier) up to the last day that was over an hour before the replay ended, so the app had a
// wake to read it.
//
// Per kind: the days that have a record; those of them that differ from HealthKit; the days
// HealthKit has data for and the outbox no record at all; the objects missing (the samples of
// a differing day that reached HealthKit after its record was last written, and every sample of
// a day without a record); and the amount missing (steps; minutes and their steps; heart-rate
// samples). Objects fetched by anchor are counted apart: saved while the app ran, and of them
// those never handed to the app.
//
// Main thread only (it queries the simulated device).

#include <cstddef>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "Foundation/NSCalendar.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"
#include "tools/OstrandTools/Replay/RecordWriteTimes.h"
#include "tools/OstrandTools/Replay/ReplayReport.h"
#include "tools/OstrandTools/Replay/ReplayTimeline.h"

namespace ostrand_tools {

struct MissedDays {
  NSDate from;                    // the first day compared
  std::size_t compared = 0;       // days with a record
  std::size_t differing = 0;      // of them, those that differ from HealthKit
  std::size_t withoutRecord = 0;  // days HealthKit has data for and the outbox no record
  std::size_t objects = 0;        // samples missing
  double amount = 0;              // steps, minutes or heart-rate samples missing
  double steps = 0;               // minute steps: the steps of the minutes missing
  // Differing days whose record was written before the replay was last started: when it was
  // written is unknown, so their objects are not counted.
  std::size_t unknownWriteTimes = 0;
};

struct OutboxMisses {
  NSDate to;  // the days compared end here
  MissedDays routine, heartRate, minutes;
  std::size_t anchoredSaved = 0;        // objects fetched by anchor, saved while the app ran
  std::size_t anchoredNeverHanded = 0;  // of them, never handed to the app
};

struct OutboxMissesInput {
  const Records& records;  // oldest first
  platform::SimulatedHealthDevice& device;
  NSDate since, until;
  const RecordWriteMoments& writeMoments;
  const ReplayTimeline::ReleasedObjects& released;
  const ReplayedTypes& types;
};

// Unlocks the device (the person is looking at their data) and compares.
OutboxMisses findOutboxMisses(const OutboxMissesInput& input);

// The table, days written in `calendar`'s zone.
void printOutboxMisses(std::ostream& out, const OutboxMisses& misses, const NSCalendar& calendar);
// The same as one JSON object on one line.
void printOutboxMissesJSON(std::ostream& out, const OutboxMisses& misses,
                           const NSCalendar& calendar);

}  // namespace ostrand_tools
