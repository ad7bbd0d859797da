#include "AppleHealthExport/internal/ExportValues.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace apple_health_export {

namespace {

bool digits(std::string_view text, std::size_t at, std::size_t count, int& out) {
  if (at + count > text.size()) return false;
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  out = value;
  return true;
}

// Days from 1970-01-01 to the proleptic Gregorian date (Howard Hinnant's days_from_civil).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::optional<NSDate> parseExportDate(std::string_view text) {
  // 2019-12-29 10:12:31 +0200
  // 0123456789012345678901234
  if (text.size() != 25 || text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' ||
      text[16] != ':' || text[19] != ' ' || (text[20] != '+' && text[20] != '-')) {
    return std::nullopt;
  }
  int year, month, day, hour, minute, second, offsetHours, offsetMinutes;
  if (!digits(text, 0, 4, year) || !digits(text, 5, 2, month) || !digits(text, 8, 2, day) ||
      !digits(text, 11, 2, hour) || !digits(text, 14, 2, minute) || !digits(text, 17, 2, second) ||
      !digits(text, 21, 2, offsetHours) || !digits(text, 23, 2, offsetMinutes)) {
    return std::nullopt;
  }
  static constexpr std::array<int, 12> kDaysInMonth = {31, 29, 31, 30, 31, 30,
                                                       31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1 || day > kDaysInMonth[month - 1] || hour > 23 ||
      minute > 59 || second > 60 || offsetHours > 23 || offsetMinutes > 59) {
    return std::nullopt;
  }
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (month == 2 && day == 29 && !leap) return std::nullopt;
  const int offset = (offsetHours * 3600 + offsetMinutes * 60) * (text[20] == '-' ? -1 : 1);
  const std::int64_t seconds =
      daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400 +
      hour * 3600 + minute * 60 + second - offset;
  return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(seconds));
}

std::optional<int> exportDateOffset(std::string_view text) {
  if (!parseExportDate(text)) return std::nullopt;
  int hours = 0, minutes = 0;
  digits(text, 21, 2, hours);
  digits(text, 23, 2, minutes);
  return (hours * 3600 + minutes * 60) * (text[20] == '-' ? -1 : 1);
}

std::optional<double> parseExportNumber(std::string_view text) {
  text = trim(text);
  if (text.empty()) return std::nullopt;
  std::string buffer(text);
  if (buffer.find(',') != std::string::npos) {
    // A comma locale's decimal separator; a second comma or a mix with '.' is not a number.
    if (buffer.find('.') != std::string::npos || buffer.find(',') != buffer.rfind(',')) {
      return std::nullopt;
    }
    buffer[buffer.find(',')] = '.';
  }
  const char* first = buffer.data();
  if (*first == '+') ++first;
  double value = 0;
  auto [end, error] = std::from_chars(first, buffer.data() + buffer.size(), value);
  if (error != std::errc() || end != buffer.data() + buffer.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::optional<double> parseTimeOfDay(std::string_view text) {
  text = trim(text);
  int pmShift = -1;  // -1: a 24-hour clock
  for (auto [suffix, shift] :
       {std::pair<std::string_view, int>{"am", 0}, {"AM", 0}, {"pm", 12}, {"PM", 12}}) {
    if (text.size() > suffix.size() && text.substr(text.size() - suffix.size()) == suffix) {
      pmShift = shift;
      text = trim(text.substr(0, text.size() - suffix.size()));
      break;
    }
  }
  const auto firstColon = text.find(':');
  const auto secondColon = text.find(':', firstColon + 1);
  if (firstColon == std::string_view::npos || secondColon == std::string_view::npos) {
    return std::nullopt;
  }
  auto hours = parseExportNumber(text.substr(0, firstColon));
  auto minutes = parseExportNumber(text.substr(firstColon + 1, secondColon - firstColon - 1));
  auto seconds = parseExportNumber(text.substr(secondColon + 1));
  if (!hours || !minutes || !seconds || *hours < 0 || *minutes < 0 || *minutes >= 60 ||
      *seconds < 0 || *seconds >= 61) {
    return std::nullopt;
  }
  double hour = *hours;
  if (pmShift >= 0) {
    if (hour < 1 || hour > 12) return std::nullopt;
    hour = std::fmod(hour, 12) + pmShift;
  } else if (hour > 23) {
    return std::nullopt;
  }
  return hour * 3600 + *minutes * 60 + *seconds;
}

std::optional<std::string_view> exportDeviceProperties(std::string_view text) {
  // <<HKDevice: 0x...>, name:Apple Watch, manufacturer:Apple Inc., hardware:Watch5,3, ...>
  static constexpr std::string_view kHead = "<<HKDevice:";
  if (text.substr(0, kHead.size()) != kHead || text.back() != '>') return std::nullopt;
  auto start = text.find(">, ");
  if (start == std::string_view::npos) return std::string_view();  // no property set
  return text.substr(start + 3, text.size() - start - 4);
}

HKDevice::Pointer exportDeviceWithProperties(std::string_view body) {
  static constexpr std::array<std::string_view, 9> kKeys = {
      "name",         "manufacturer", "model",           "hardware",
      "firmware",     "software",     "localIdentifier", "UDIDeviceIdentifier",
      "creation date"};
  std::array<HKDevice::Text, 9> values;
  // Values may hold commas ("hardware:Watch5,3"): a property ends only where ", <known key>:"
  // starts the next one.
  std::size_t position = 0;
  while (position < body.size()) {
    std::size_t key = kKeys.size();
    for (std::size_t k = 0; k < kKeys.size(); ++k) {
      if (body.substr(position, kKeys[k].size()) == kKeys[k] &&
          body.substr(position + kKeys[k].size(), 1) == ":") {
        key = k;
        break;
      }
    }
    if (key == kKeys.size()) return nullptr;
    const std::size_t valueStart = position + kKeys[key].size() + 1;
    std::size_t valueEnd = body.size();
    for (std::size_t comma = body.find(", ", valueStart); comma != std::string_view::npos;
         comma = body.find(", ", comma + 1)) {
      bool next = false;
      for (auto candidate : kKeys) {
        if (body.substr(comma + 2, candidate.size()) == candidate &&
            body.substr(comma + 2 + candidate.size(), 1) == ":") {
          next = true;
        }
      }
      if (next) {
        valueEnd = comma;
        break;
      }
    }
    values[key] = std::string(body.substr(valueStart, valueEnd - valueStart));
    position = valueEnd == body.size() ? valueEnd : valueEnd + 2;
  }
  // HKDevice has no creation date; the export's is left out.
  return HKDevice::deviceWithName(values[0], values[1], values[2], values[3], values[4], values[5],
                                  values[6], values[7]);
}

std::optional<NumberAndUnit> splitNumberAndUnit(std::string_view text) {
  text = trim(text);
  const auto space = text.find(' ');
  if (space == std::string_view::npos) return std::nullopt;
  auto number = parseExportNumber(text.substr(0, space));
  auto unit = trim(text.substr(space + 1));
  if (!number || unit.empty()) return std::nullopt;
  return NumberAndUnit{*number, std::string(unit)};
}

}  // namespace apple_health_export
