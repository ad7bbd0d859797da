#include "OstrandHealthKit/Categories/NSDate+Ostrand.h"

bool ost_dateIsBetweenDates(NSDate date, NSDate start, NSDate end) {
  return date.compare(start) != NSOrderedAscending && date.compare(end) != NSOrderedDescending;
}
