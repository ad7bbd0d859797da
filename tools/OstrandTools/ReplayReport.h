#pragma once

// ReplayReport: what a replay prints at the end, besides the outbox summary: per HealthKit type,
// what happened to the objects read (in HealthKit when the app was installed, saved while it
// ran, never saved because they end after the replay) and, for a type that could make no
// record, why; and the records the outbox holds per month and kind.
//
// Stateless functions; any thread.

#include <map>
#include <ostream>
#include <string>

#include "Foundation/NSCalendar.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "tools/OstrandTools/OutboxReport.h"

namespace ostrand_tools {

using TypeCounts = std::map<std::string, std::size_t>;

void printReplayedTypes(std::ostream& out, const TypeCounts& read, const TypeCounts& atInstall,
                        const TypeCounts& whileRunning, const OSTSampleTypeArray& subscribed);

// One line per month (of the record's timestamp in `calendar`'s zone), a column per kind.
void printRecordsByMonth(std::ostream& out, const Records& records, const NSCalendar& calendar);

}  // namespace ostrand_tools
