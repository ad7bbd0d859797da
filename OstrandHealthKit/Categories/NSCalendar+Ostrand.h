#pragma once

// NSCalendar(Ostrand): the one Gregorian calendar the library reckons days with, and yesterday.
// Days start at 00:00 of this calendar, in the system's time zone (TZ); a day is not always
// 86,400 seconds long.
//
// Safe from any thread: the calendar is made once, under a one-time guard, and NSCalendar itself
// is thread-safe.
//
//   NSDate today = *ost_gregorianCalendar()->startOfDayForDate(NSDate::date());
//   NSDate sameTimeYesterday = ost_yesterday();

#include <memory>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSDate.h"

// The process-wide Gregorian calendar: the same object on every call, with the system's default
// time zone and locale.
std::shared_ptr<NSCalendar> ost_gregorianCalendar();

// The current moment's clock time one calendar day earlier (not a day start): 00:30 on 1 March
// gives 00:30 on the last day of February. When that clock time does not exist yesterday
// (daylight saving), the calendar's rule for skipped times applies.
NSDate ost_yesterday();
