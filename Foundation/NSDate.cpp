#include "Foundation/NSDate.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <ostream>

#include "Foundation/Platform/PlatformEnvironment.h"

NSDate NSDate::date() { return platform::Environment::shared().now(); }

NSComparisonResult NSDate::compare(const NSDate& other) const {
  if (seconds_ < other.seconds_) return NSOrderedAscending;
  if (seconds_ > other.seconds_) return NSOrderedDescending;
  return NSOrderedSame;
}

std::string NSDate::description() const {
  const double since1970 = timeIntervalSince1970();
  const double wholeSeconds = std::floor(since1970);
  auto millis = static_cast<int>(std::lround((since1970 - wholeSeconds) * 1000.0));
  auto epochSeconds = static_cast<std::time_t>(wholeSeconds);
  if (millis == 1000) {
    millis = 0;
    ++epochSeconds;
  }
  std::tm utc{};
  gmtime_r(&epochSeconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d +0000", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, millis);
  return text;
}

std::ostream& operator<<(std::ostream& out, const NSDate& date) {
  return out << date.description();
}
