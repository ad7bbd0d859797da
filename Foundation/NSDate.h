#pragma once

// NSDate: an instant in time, independent of any calendar or time zone.
//
// A value type: seconds (with fraction) since the reference date, 2001-01-01 00:00:00 UTC, the
// same origin Apple's Foundation uses. Calendar dates (year, month, day...) are a different type,
// NSDateComponents, and only a calendar converts between the two. A missing date is expressed
// as std::optional<NSDate>. Thread-safe as any immutable value.
//
//   NSDate now = NSDate::date();                      // the environment's current moment
//   NSDate later = now.dateByAddingTimeInterval(90);  // 90 seconds later

#include <compare>
#include <cstdint>
#include <string>

// Seconds, possibly fractional.
using NSTimeInterval = double;

enum NSComparisonResult : std::int64_t {
  NSOrderedAscending = -1,
  NSOrderedSame = 0,
  NSOrderedDescending = 1,
};

class NSDate {
 public:
  // Seconds between 1970-01-01 00:00:00 UTC and the reference date.
  static constexpr NSTimeInterval kTimeIntervalBetween1970AndReferenceDate = 978307200.0;

  // The reference date itself.
  constexpr NSDate() = default;

  // The current moment, as the injected environment's clock tells it (see PlatformEnvironment).
  static NSDate date();

  static constexpr NSDate dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds) {
    return NSDate(seconds);
  }
  static constexpr NSDate dateWithTimeIntervalSince1970(NSTimeInterval seconds) {
    return NSDate(seconds - kTimeIntervalBetween1970AndReferenceDate);
  }
  static constexpr NSDate distantPast() { return NSDate(-63114076800.0); }
  static constexpr NSDate distantFuture() { return NSDate(63113904000.0); }

  constexpr NSTimeInterval timeIntervalSinceReferenceDate() const { return seconds_; }
  constexpr NSTimeInterval timeIntervalSince1970() const {
    return seconds_ + kTimeIntervalBetween1970AndReferenceDate;
  }
  // Seconds from `other` to this date: positive when this date is later.
  constexpr NSTimeInterval timeIntervalSinceDate(const NSDate& other) const {
    return seconds_ - other.seconds_;
  }
  constexpr NSDate dateByAddingTimeInterval(NSTimeInterval seconds) const {
    return NSDate(seconds_ + seconds);
  }

  NSComparisonResult compare(const NSDate& other) const;
  const NSDate& earlierDate(const NSDate& other) const { return other < *this ? other : *this; }
  const NSDate& laterDate(const NSDate& other) const { return other > *this ? other : *this; }

  // "2021-03-04 05:06:07.250 +0000": UTC, millisecond precision; for logs and test messages.
  std::string description() const;

  constexpr auto operator<=>(const NSDate&) const = default;
  constexpr bool operator==(const NSDate&) const = default;

 private:
  constexpr explicit NSDate(NSTimeInterval seconds) : seconds_(seconds) {}

  NSTimeInterval seconds_ = 0;
};

// Lets gtest and streams print dates readably.
std::ostream& operator<<(std::ostream& out, const NSDate& date);
