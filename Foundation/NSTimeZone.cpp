#include "Foundation/NSTimeZone.h"

#include <unicode/simpletz.h>
#include <unicode/strenum.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Foundation/Platform/PlatformEnvironment.h"
#include "Foundation/internal/ICUTime.h"

namespace {

std::string utf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace

NSTimeZone::NSTimeZone(std::string name, std::unique_ptr<Impl> impl)
    : name_(std::move(name)), impl_(std::move(impl)) {}

NSTimeZone::~NSTimeZone() = default;

std::shared_ptr<NSTimeZone> NSTimeZone::timeZoneWithName(const std::string& name) {
  if (name.empty()) return nullptr;
  auto impl = std::make_unique<Impl>();
  impl->zone.reset(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  // ICU answers an unknown name with its "Etc/Unknown" zone rather than failing.
  if (!impl->zone || *impl->zone == icu::TimeZone::getUnknown()) return nullptr;
  return std::shared_ptr<NSTimeZone>(new NSTimeZone(name, std::move(impl)));
}

std::shared_ptr<NSTimeZone> NSTimeZone::systemTimeZone() {
  if (auto chosen = platform::Environment::shared().timeZone()) return chosen;
  auto impl = std::make_unique<Impl>();
  impl->zone.reset(icu::TimeZone::createDefault());
  if (!impl->zone || *impl->zone == icu::TimeZone::getUnknown()) {
    impl->zone.reset(icu::TimeZone::getGMT()->clone());
  }
  icu::UnicodeString id;
  impl->zone->getID(id);
  return std::shared_ptr<NSTimeZone>(new NSTimeZone(utf8(id), std::move(impl)));
}

std::shared_ptr<NSTimeZone> NSTimeZone::timeZoneForSecondsFromGMT(long seconds) {
  constexpr long kLimit = 18 * 3600;
  if (seconds < -kLimit || seconds > kLimit) return nullptr;
  const long magnitude = std::labs(seconds);
  char name[16];
  std::snprintf(name, sizeof name, "GMT%c%02ld%02ld", seconds < 0 ? '-' : '+', magnitude / 3600,
                magnitude % 3600 / 60);
  auto impl = std::make_unique<Impl>();
  impl->zone = std::make_unique<icu::SimpleTimeZone>(static_cast<int32_t>(seconds * 1000),
                                                     icu::UnicodeString::fromUTF8(name));
  return std::shared_ptr<NSTimeZone>(new NSTimeZone(name, std::move(impl)));
}

std::vector<std::string> NSTimeZone::knownTimeZoneNames() {
  std::vector<std::string> names;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::StringEnumeration> all(icu::TimeZone::createTimeZoneIDEnumeration(
      UCAL_ZONE_TYPE_CANONICAL_LOCATION, nullptr, nullptr, status));
  if (U_FAILURE(status) || !all) return names;
  while (const icu::UnicodeString* id = all->snext(status)) {
    if (U_FAILURE(status)) break;
    names.push_back(utf8(*id));
  }
  std::sort(names.begin(), names.end());
  return names;
}

namespace {

// Raw and daylight-saving offsets in milliseconds; zero for both should ICU fail, which only
// happens for dates far outside any calendar's range.
void offsetsAt(const icu::TimeZone& zone, NSDate date, int32_t& raw, int32_t& dst) {
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(foundation_internal::splitDate(date).wholeMillis, false, raw, dst, status);
  if (U_FAILURE(status)) raw = dst = 0;
}

}  // namespace

long NSTimeZone::secondsFromGMTForDate(NSDate date) const {
  int32_t raw = 0;
  int32_t dst = 0;
  offsetsAt(*impl_->zone, date, raw, dst);
  return (static_cast<long>(raw) + dst) / 1000;
}

bool NSTimeZone::isDaylightSavingTimeForDate(NSDate date) const {
  int32_t raw = 0;
  int32_t dst = 0;
  offsetsAt(*impl_->zone, date, raw, dst);
  return dst != 0;
}
