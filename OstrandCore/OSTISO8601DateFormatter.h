#pragma once

// OSTISO8601DateFormatter: turns instants into the core library's ISO 8601 date-time strings
// and back. The one instance is OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter();
// every date the library writes (record JSON, date extras) goes through it.
//
// Format: "2024-03-09T17:00:00Z", "2024-03-09T17:00:00.25Z": always UTC, marked "Z", and a
// fraction of a second with the fewest digits that give back the very same NSDate (none for a
// whole second). So dateFromString(stringFromDate(d)) == d exactly: the full precision of an
// NSDate, which is what HealthKit's dates carry, survives a round trip. The one exception is the
// last second before 2001-01-01 00:00:00 UTC (the reference date), where the fraction of the
// second cannot be split off exactly; there the date comes back within 1e-16 seconds.
//
// dateFromString also reads other offsets ("+10:30", "-0500") and any number of fraction
// digits; it answers nullopt for anything that is not a valid date-time (month 13, 30 February,
// a missing zone, trailing text). Years 0001...9999 of the proleptic Gregorian calendar only.
//
// Stateless; safe from any thread.

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/NSDate.h"

class OSTISO8601DateFormatter {
 public:
  // "" for a date that is not finite or outside the years 0001...9999.
  std::string stringFromDate(NSDate date) const;
  std::optional<NSDate> dateFromString(std::string_view text) const;
};
