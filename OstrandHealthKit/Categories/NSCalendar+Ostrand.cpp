#include "Foundation/Dispatch.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"

std::shared_ptr<NSCalendar> ost_gregorianCalendar() {
  static dispatch_once_t once;
  static std::shared_ptr<NSCalendar>* calendar = nullptr;
  dispatch_once(&once, [] {
    calendar = new std::shared_ptr<NSCalendar>(
        NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian));
  });
  return *calendar;
}

NSDate ost_yesterday() {
  const NSDate now = NSDate::date();
  return ost_gregorianCalendar()->dateByAddingUnit(NSCalendarUnitDay, -1, now, {}).value_or(now);
}
