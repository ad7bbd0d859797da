#include "OstrandCore/OSTISO8601DateFormatter.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace {

// Days from 1970-01-01 to a proleptic Gregorian civil date, and back (era-based arithmetic:
// 400-year eras of 146097 days, years counted from March so the leap day comes last).
std::int64_t daysFromCivil(std::int64_t year, unsigned month, unsigned day) {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

struct CivilDate {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

CivilDate civilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
  const unsigned day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
  const unsigned month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  return {static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2), month, day};
}

bool isLeapYear(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned daysInMonth(std::int64_t year, unsigned month) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

constexpr auto kReferenceDateUnixSeconds =
    static_cast<std::int64_t>(NSDate::kTimeIntervalBetween1970AndReferenceDate);
constexpr std::int64_t kFirstSecond = -62135596800;  // 0001-01-01 00:00:00 UTC
constexpr std::int64_t kLastSecond = 253402300799;   // 9999-12-31 23:59:59 UTC

// Reads exactly `count` decimal digits at `pos`.
bool readDigits(std::string_view text, std::size_t& pos, std::size_t count, unsigned& out) {
  if (pos + count > text.size()) return false;
  out = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char c = text[pos + i];
    if (c < '0' || c > '9') return false;
    out = out * 10 + static_cast<unsigned>(c - '0');
  }
  pos += count;
  return true;
}

// Writes `value` as exactly `count` decimal digits at `out`.
char* writeDigits(char* out, std::int64_t value, int count) {
  for (int i = count - 1; i >= 0; --i, value /= 10) out[i] = static_cast<char>('0' + value % 10);
  return out + count;
}

// "YYYY-MM-DDTHH:MM:SS" for a year of 1...9999, with room kept for a fraction and the zone.
std::string dateTimeDigits(const CivilDate& civil, std::int64_t secondOfDay) {
  char text[19];
  char* out = writeDigits(text, civil.year, 4);
  *out++ = '-';
  out = writeDigits(out, civil.month, 2);
  *out++ = '-';
  out = writeDigits(out, civil.day, 2);
  *out++ = 'T';
  out = writeDigits(out, secondOfDay / 3600, 2);
  *out++ = ':';
  out = writeDigits(out, secondOfDay / 60 % 60, 2);
  *out++ = ':';
  writeDigits(out, secondOfDay % 60, 2);
  std::string result;
  result.reserve(32);
  result.append(text, sizeof text);
  return result;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

}  // namespace

std::string OSTISO8601DateFormatter::stringFromDate(NSDate date) const {
  const double seconds = date.timeIntervalSinceReferenceDate();
  if (!std::isfinite(seconds)) return "";
  // Whole seconds and the fraction are split exactly (the difference of two doubles within a
  // factor of two of each other is exact), so the two parts written below add back to the same
  // double. Only for -1 < seconds < 0 is the difference rounded.
  const double whole = std::floor(seconds);
  const double fraction = seconds - whole;
  if (whole + kReferenceDateUnixSeconds < static_cast<double>(kFirstSecond) ||
      whole + kReferenceDateUnixSeconds > static_cast<double>(kLastSecond)) {
    return "";
  }
  const auto unixSeconds = static_cast<std::int64_t>(whole) + kReferenceDateUnixSeconds;
  std::int64_t days = unixSeconds / 86400;
  std::int64_t secondOfDay = unixSeconds % 86400;
  if (secondOfDay < 0) {
    secondOfDay += 86400;
    --days;
  }
  const CivilDate civil = civilFromDays(days);
  std::string result = dateTimeDigits(civil, secondOfDay);
  if (fraction != 0) {
    // The shortest decimal that reads back as this very fraction: "0.25" -> ".25". Dates near
    // the reference date can have tiny fractions, hence the room for every digit a double has.
    char digits[1100];
    auto [end, error] =
        std::to_chars(digits, digits + sizeof digits, fraction, std::chars_format::fixed);
    if (error == std::errc()) result.append(digits + 1, end);
  }
  result += 'Z';
  return result;
}

std::optional<NSDate> OSTISO8601DateFormatter::dateFromString(std::string_view text) const {
  std::size_t pos = 0;
  unsigned year, month, day, hour, minute, second;
  if (!readDigits(text, pos, 4, year) || !expect(text, pos, '-') ||
      !readDigits(text, pos, 2, month) || !expect(text, pos, '-') ||
      !readDigits(text, pos, 2, day) || !expect(text, pos, 'T') ||
      !readDigits(text, pos, 2, hour) || !expect(text, pos, ':') ||
      !readDigits(text, pos, 2, minute) || !expect(text, pos, ':') ||
      !readDigits(text, pos, 2, second)) {
    return std::nullopt;
  }
  if (year < 1 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  double fraction = 0;
  if (pos < text.size() && text[pos] == '.') {
    const std::size_t first = pos + 1;
    std::size_t last = first;
    while (last < text.size() && text[last] >= '0' && text[last] <= '9') ++last;
    if (last == first) return std::nullopt;
    // Parse "0.<digits>" so the fraction is the nearest double to the decimal written.
    const std::string decimal = "0." + std::string(text.substr(first, last - first));
    auto [end, error] = std::from_chars(decimal.data(), decimal.data() + decimal.size(), fraction);
    if (error != std::errc() || end != decimal.data() + decimal.size()) return std::nullopt;
    pos = last;
  }
  std::int64_t offsetSeconds = 0;
  if (expect(text, pos, 'Z')) {
  } else if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
    const int sign = text[pos] == '+' ? 1 : -1;
    ++pos;
    unsigned offsetHours, offsetMinutes;
    if (!readDigits(text, pos, 2, offsetHours)) return std::nullopt;
    expect(text, pos, ':');
    if (!readDigits(text, pos, 2, offsetMinutes) || offsetHours > 23 || offsetMinutes > 59) {
      return std::nullopt;
    }
    offsetSeconds = sign * static_cast<std::int64_t>(offsetHours * 3600 + offsetMinutes * 60);
  } else {
    return std::nullopt;
  }
  if (pos != text.size()) return std::nullopt;
  const std::int64_t unixSeconds =
      daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds;
  const auto whole = static_cast<double>(unixSeconds - kReferenceDateUnixSeconds);
  return NSDate::dateWithTimeIntervalSinceReferenceDate(whole + fraction);
}
