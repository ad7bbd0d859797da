#pragma once

// NSTimeZone: a geopolitical time zone (its rules for offsets and daylight-saving time over
// history) or a fixed offset from GMT. Calendars use it to turn instants into local dates and
// back. Immutable and thread-safe: share one freely between threads. Backed by ICU's time-zone
// database.
//
//   auto zone = NSTimeZone::timeZoneWithName("Europe/London");
//   long offset = zone->secondsFromGMTForDate(NSDate::date());  // 0 or 3600

#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSDate.h"

class NSTimeZone {
 public:
  // The zone with this identifier ("America/New_York", "UTC", "GMT"...); nullptr when ICU knows
  // no zone of that name.
  static std::shared_ptr<NSTimeZone> timeZoneWithName(const std::string& name);
  // The device's time zone: the one platform::Environment was given, else the process's, as
  // ICU's default reads it from the environment (TZ) when first asked. Never nullptr: an
  // unrecognised setting gives ICU's fallback, GMT.
  static std::shared_ptr<NSTimeZone> systemTimeZone();
  // A zone that is always `seconds` ahead of GMT, named like "GMT+0530"; nullptr when the
  // offset is more than 18 hours either way.
  static std::shared_ptr<NSTimeZone> timeZoneForSecondsFromGMT(long seconds);
  // The identifiers of every geopolitical zone ICU knows ("Africa/Abidjan", ...), sorted.
  static std::vector<std::string> knownTimeZoneNames();

  ~NSTimeZone();
  NSTimeZone(const NSTimeZone&) = delete;
  NSTimeZone& operator=(const NSTimeZone&) = delete;

  // The identifier the zone was found by (or ICU's canonical one for the system zone).
  const std::string& name() const { return name_; }
  // Offset from GMT in effect at `date`, daylight-saving time included.
  long secondsFromGMTForDate(NSDate date) const;
  bool isDaylightSavingTimeForDate(NSDate date) const;

  // Two zones are equal when they have the same name.
  bool isEqualToTimeZone(const NSTimeZone& other) const { return name_ == other.name_; }

  // The ICU zone behind this one, for the calendar engine; declared in
  // Foundation/internal/ICUTime.h.
  struct Impl;
  const Impl& impl() const { return *impl_; }

 private:
  NSTimeZone(std::string name, std::unique_ptr<Impl> impl);

  std::string name_;
  std::unique_ptr<Impl> impl_;
};
