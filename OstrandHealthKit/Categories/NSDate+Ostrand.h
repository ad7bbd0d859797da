#pragma once

// NSDate(Ostrand): the inclusive range test the engine uses to decide whether a sample lies
// inside a workout. A pure function, safe from any thread.
//
//   ost_dateIsBetweenDates(sample.startDate, workout.startDate, workout.endDate);

#include "Foundation/NSDate.h"

// Whether start <= date <= end, both ends included (date:isBetweenDate:andDate:).
bool ost_dateIsBetweenDates(NSDate date, NSDate start, NSDate end);
