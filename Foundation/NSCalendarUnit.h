#pragma once

// NSCalendarUnit and NSCalendarOptions: the unit bitmask and the option bits NSCalendar's
// operations take, with Apple's raw values so masks written as numbers (124 is
// Year|Month|Day|Hour|Minute) mean the same here. Plain values; thread-safe.
//
//   NSCalendarUnit units = NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay;

#include <cstdint>

enum NSCalendarUnit : std::uint64_t {
  NSCalendarUnitEra = 1ULL << 1,
  NSCalendarUnitYear = 1ULL << 2,
  NSCalendarUnitMonth = 1ULL << 3,
  NSCalendarUnitDay = 1ULL << 4,
  NSCalendarUnitHour = 1ULL << 5,
  NSCalendarUnitMinute = 1ULL << 6,
  NSCalendarUnitSecond = 1ULL << 7,
  NSCalendarUnitWeekday = 1ULL << 9,
  NSCalendarUnitWeekdayOrdinal = 1ULL << 10,
  NSCalendarUnitQuarter = 1ULL << 11,
  NSCalendarUnitWeekOfMonth = 1ULL << 12,
  NSCalendarUnitWeekOfYear = 1ULL << 13,
  NSCalendarUnitYearForWeekOfYear = 1ULL << 14,
  NSCalendarUnitNanosecond = 1ULL << 15,
  NSCalendarUnitCalendar = 1ULL << 20,
  NSCalendarUnitTimeZone = 1ULL << 21,
};

enum NSCalendarOptions : std::uint64_t {
  NSCalendarWrapComponents = 1ULL << 0,
  NSCalendarMatchStrictly = 1ULL << 1,
  NSCalendarSearchBackwards = 1ULL << 2,
  NSCalendarMatchPreviousTimePreservingSmallerUnits = 1ULL << 8,
  NSCalendarMatchNextTimePreservingSmallerUnits = 1ULL << 9,
  NSCalendarMatchNextTime = 1ULL << 10,
  NSCalendarMatchFirst = 1ULL << 12,
  NSCalendarMatchLast = 1ULL << 13,
};

constexpr NSCalendarUnit operator|(NSCalendarUnit a, NSCalendarUnit b) {
  return static_cast<NSCalendarUnit>(static_cast<std::uint64_t>(a) | static_cast<std::uint64_t>(b));
}
constexpr NSCalendarUnit operator&(NSCalendarUnit a, NSCalendarUnit b) {
  return static_cast<NSCalendarUnit>(static_cast<std::uint64_t>(a) & static_cast<std::uint64_t>(b));
}
constexpr NSCalendarUnit operator~(NSCalendarUnit a) {
  return static_cast<NSCalendarUnit>(~static_cast<std::uint64_t>(a));
}
constexpr NSCalendarUnit& operator|=(NSCalendarUnit& a, NSCalendarUnit b) { return a = a | b; }

constexpr NSCalendarOptions operator|(NSCalendarOptions a, NSCalendarOptions b) {
  return static_cast<NSCalendarOptions>(static_cast<std::uint64_t>(a) |
                                        static_cast<std::uint64_t>(b));
}
constexpr NSCalendarOptions operator&(NSCalendarOptions a, NSCalendarOptions b) {
  return static_cast<NSCalendarOptions>(static_cast<std::uint64_t>(a) &
                                        static_cast<std::uint64_t>(b));
}
constexpr NSCalendarOptions operator~(NSCalendarOptions a) {
  return static_cast<NSCalendarOptions>(~static_cast<std::uint64_t>(a));
}
constexpr NSCalendarOptions& operator|=(NSCalendarOptions& a, NSCalendarOptions b) {
  return a = a | b;
}
