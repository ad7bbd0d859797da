#include <variant>

#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Models/OSTSessionData+HealthKit.h"

namespace {

// The date at the start of its minute, in the library's calendar.
NSDate wholeMinute(NSDate date) {
  const auto calendar = ost_gregorianCalendar();
  auto components =
      calendar->components(NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay |
                               NSCalendarUnitHour | NSCalendarUnitMinute,
                           date);
  components.setSecond(0);
  return calendar->dateFromComponents(components).value_or(date);
}

}  // namespace

std::shared_ptr<const HKQueryAnchor> anchorForKey(const OSTSessionData& data,
                                                  const OSTSampleTypePointer& type) {
  const auto anchors = data.anchors();
  const auto found = anchors.find(type);
  if (found == anchors.end()) return nullptr;
  if (const auto* anchor = std::get_if<std::shared_ptr<const HKQueryAnchor>>(&found->second)) {
    return *anchor;
  }
  const auto value = std::get<std::uint64_t>(found->second);
  if (value == 0) return nullptr;
  return HKQueryAnchor::anchorFromValue(static_cast<unsigned long>(value));
}

void setAnchor(OSTSessionData& data, std::shared_ptr<const HKQueryAnchor> anchor,
               const OSTSampleTypePointer& type) {
  if (!anchor) return;
  auto anchors = data.anchors();
  anchors[type] = std::move(anchor);
  data.setAnchors(std::move(anchors));
}

void removeAnchorForKey(OSTSessionData& data, const OSTSampleTypePointer& type) {
  auto anchors = data.anchors();
  anchors.erase(type);
  data.setAnchors(std::move(anchors));
}

NSDate queryDateForKey(const OSTSessionData& data, const OSTSampleTypePointer& type) {
  const auto dates = data.queryDates();
  const auto found = dates.find(type);
  return found == dates.end() ? NSDate::date() : found->second;
}

void setQueryDate(OSTSessionData& data, NSDate date, const OSTSampleTypePointer& type) {
  auto dates = data.queryDates();
  dates[type] = wholeMinute(date);
  data.setQueryDates(std::move(dates));
}
