#pragma once

// OSTSessionData(HealthKit): per sample type, where the last anchored query stopped (the anchor)
// and the lower bound of the next date-bounded fetch (the query date), kept in the core
// library's session data. The key set of the query dates is the list of subscribed types.
//
// The dictionaries are values: each change copies, changes and stores back the whole dictionary.
// These functions change the session data in memory only; OSTSession+HealthKit.h has the same
// operations on the session, which also save at once.
//
// Not atomic: a read-change-write by two threads at once can lose one change, so the engine
// calls these from the main thread only.
//
//   setQueryDate(*data, NSDate::date(), stepType);   // stored as the whole minute
//   auto anchor = anchorForKey(*data, stepType);     // nullptr: start from the beginning

#include <memory>

#include "Foundation/NSDate.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQueryAnchor.h"
#include "OstrandCore/OSTSessionData.h"

using OSTSampleTypePointer = std::shared_ptr<const HKSampleType>;

// The type's anchor; nullptr when none is stored. Older data stores plain numbers: 0 reads as no
// anchor, any other number as HKQueryAnchor::anchorFromValue of it.
std::shared_ptr<const HKQueryAnchor> anchorForKey(const OSTSessionData& data,
                                                  const OSTSampleTypePointer& type);
// Stores the type's anchor; a null anchor is ignored (the stored one stays).
void setAnchor(OSTSessionData& data, std::shared_ptr<const HKQueryAnchor> anchor,
               const OSTSampleTypePointer& type);
// Removes the type's anchor, if any.
void removeAnchorForKey(OSTSessionData& data, const OSTSampleTypePointer& type);

// The type's query date, or the current moment when none is stored. Never a missing date.
NSDate queryDateForKey(const OSTSessionData& data, const OSTSampleTypePointer& type);
// Stores the type's query date cut to the whole minute of the Gregorian calendar of
// ost_gregorianCalendar(): 10:42:59.8 is stored as 10:42:00.
void setQueryDate(OSTSessionData& data, NSDate date, const OSTSampleTypePointer& type);
