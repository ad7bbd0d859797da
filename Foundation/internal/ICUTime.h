#pragma once

// Conversions between NSDate and ICU's UDate, and access to the ICU zone inside an NSTimeZone.
// Internal to Foundation.
//
// NSDate counts double seconds from 2001; ICU counts double milliseconds from 1970. Calendar
// arithmetic is done on whole seconds only: a date is split into its whole second (floor, so
// negative dates round towards the past, never towards 2001) and the fraction in [0, 1), ICU
// works on the whole second (an exact integer number of milliseconds), and the fraction is put
// back afterwards. So no conversion loses or gains a second, and sub-millisecond parts survive.

#include <unicode/timezone.h>
#include <unicode/ucal.h>

#include <cmath>
#include <memory>

#include "Foundation/NSDate.h"
#include "Foundation/NSTimeZone.h"

struct NSTimeZone::Impl {
  std::unique_ptr<icu::TimeZone> zone;  // never mutated after construction
};

namespace foundation_internal {

struct SplitDate {
  UDate wholeMillis;  // a whole number of seconds, in milliseconds since 1970
  double fraction;    // in [0, 1)
};

inline SplitDate splitDate(NSDate date) {
  const double seconds = date.timeIntervalSinceReferenceDate();
  const double whole = std::floor(seconds);
  return {(whole + NSDate::kTimeIntervalBetween1970AndReferenceDate) * 1000.0, seconds - whole};
}

inline NSDate joinDate(UDate millis, double fraction) {
  const double whole = millis / 1000.0 - NSDate::kTimeIntervalBetween1970AndReferenceDate;
  return NSDate::dateWithTimeIntervalSinceReferenceDate(whole + fraction);
}

inline const icu::TimeZone& icuZone(const NSTimeZone& zone) { return *zone.impl().zone; }

}  // namespace foundation_internal
