#include "tools/OstrandTools/Bench/BenchExportZone.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "Foundation/NSTimeZone.h"

namespace ostrand_tools {

namespace {

constexpr std::int64_t kDay = 86400;

struct CivilDay {
  long year;
  unsigned month, day;
};

// The proleptic Gregorian date of a count of days since 1970-01-01.
CivilDay civilDay(std::int64_t days) {
  days += 719468;  // days from 0000-03-01 to 1970-01-01
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned shiftedMonth = (5 * dayOfYear + 2) / 153;  // March is 0
  const unsigned day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
  const unsigned month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  const long year = static_cast<long>(yearOfEra + era * 400) + (month <= 2 ? 1 : 0);
  return {year, month, day};
}

void digits(char* out, long value, int width) {
  for (int i = width - 1; i >= 0; --i, value /= 10) out[i] = static_cast<char>('0' + value % 10);
}

std::int64_t floorDiv(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

}  // namespace

BenchExportZone::BenchExportZone(const std::string& zoneName, std::int64_t from, std::int64_t to)
    : name_(zoneName) {
  const auto zone = NSTimeZone::timeZoneWithName(zoneName);
  if (!zone) throw std::invalid_argument("unknown time zone " + zoneName);
  auto offset = [&zone](std::int64_t moment) {
    return zone->secondsFromGMTForDate(
        NSDate::dateWithTimeIntervalSince1970(static_cast<double>(moment)));
  };
  firstOffset_ = offset(from);
  long current = firstOffset_;
  // Zones change their offset at most once a day: a day at a time, then the second it changed.
  for (std::int64_t day = from; day < to; day += kDay) {
    const long next = offset(day + kDay);
    if (next == current) continue;
    std::int64_t before = day, after = day + kDay;
    while (after - before > 1) {
      const std::int64_t middle = before + (after - before) / 2;
      (offset(middle) == current ? before : after) = middle;
    }
    changes_.push_back({after, next});
    current = next;
  }
}

long BenchExportZone::offsetAt(std::int64_t moment) const {
  const auto later = std::upper_bound(changes_.begin(), changes_.end(), moment,
                                      [](std::int64_t at, const Change& c) { return at < c.at; });
  return later == changes_.begin() ? firstOffset_ : std::prev(later)->offset;
}

long BenchExportZone::localSecondsOfDay(std::int64_t moment) const {
  const std::int64_t local = moment + offsetAt(moment);
  return static_cast<long>(local - floorDiv(local, kDay) * kDay);
}

std::int64_t BenchExportZone::nextMidnight(std::int64_t midnight) const {
  const std::int64_t next = midnight + kDay;
  const long past = localSecondsOfDay(next);
  return past == 0 ? next : past > kDay / 2 ? next + (kDay - past) : next - past;
}

std::int64_t BenchExportZone::atLocalTime(std::int64_t midnight, long seconds) const {
  const std::int64_t guess = midnight + seconds;
  return guess - (offsetAt(guess) - offsetAt(midnight));
}

void BenchExportZone::format(std::int64_t moment, char* out) const {
  const long offset = offsetAt(moment);
  const std::int64_t local = moment + offset;
  const std::int64_t days = floorDiv(local, kDay);
  const long seconds = static_cast<long>(local - days * kDay);
  const CivilDay civil = civilDay(days);
  digits(out, civil.year, 4);
  out[4] = '-';
  digits(out + 5, civil.month, 2);
  out[7] = '-';
  digits(out + 8, civil.day, 2);
  out[10] = ' ';
  digits(out + 11, seconds / 3600, 2);
  out[13] = ':';
  digits(out + 14, seconds / 60 % 60, 2);
  out[16] = ':';
  digits(out + 17, seconds % 60, 2);
  out[19] = ' ';
  out[20] = offset < 0 ? '-' : '+';
  const long minutes = std::labs(offset) / 60;
  digits(out + 21, minutes / 60, 2);
  digits(out + 23, minutes % 60, 2);
}

std::string BenchExportZone::dayText(std::int64_t moment) const {
  char text[kDateLength];
  format(moment, text);
  return std::string(text, 10);
}

}  // namespace ostrand_tools
