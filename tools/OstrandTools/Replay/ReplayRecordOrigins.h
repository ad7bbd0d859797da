#pragma once

// What became of each object a replay saved, counted by HealthKit type for the summary: handed
// to the app by one of its sample or anchored queries (HealthKit notes which objects it handed
// over), made into a record of its own, or never handed over. A record made from one object (a
// sample, a correlation or a workout) carries that object's UUID as its activity identifier; day
// records (routine, intraday, heart-rate summaries) are made from many objects and count for no
// object.
//
// Stateless; any thread.

#include <set>
#include <vector>

#include "Foundation/NSUUID.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"
#include "tools/OstrandTools/Replay/ReplayReport.h"
#include "tools/OstrandTools/Replay/ReplayTimeline.h"

namespace ostrand_tools {

// Fills `types.handed`, `records`, `neverHandedBeforeSince` and `neverHanded` from the objects
// saved, the outbox's records and the UUIDs of the objects the app was handed.
void countObjectFates(const ReplayTimeline::ReleasedObjects& saved,
                      const Records& records, const std::set<NSUUID>& handed, NSDate since,
                      ReplayedTypes& types);

}  // namespace ostrand_tools
