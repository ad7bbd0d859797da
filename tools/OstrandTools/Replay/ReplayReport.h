#pragma once

// ReplayReport: what a replay prints at the end, besides the outbox summary: per HealthKit type,
// what happened to the objects read (in HealthKit when the app was installed, saved while it
// ran, handed to the app by its queries, made into a record of their own) and why the others
// made none (never handed to the app, or handed and refused by the conversion); and the records
// the outbox holds per month and kind.
//
// Stateless functions; any thread.

#include <map>
#include <ostream>
#include <set>
#include <string>

#include "Foundation/NSCalendar.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"

namespace ostrand_tools {

using TypeCounts = std::map<std::string, std::size_t>;  // by type identifier

struct ReplayedTypes {
  TypeCounts read;                    // from the export
  TypeCounts atInstall;               // in HealthKit before the app was installed
  TypeCounts whileRunning;            // saved while the app ran
  TypeCounts handed;                  // objects its sample and anchored queries handed the app
  TypeCounts records;                 // objects that made a record of their own
  TypeCounts neverHandedBeforeSince;  // never handed, in HealthKit at install
  TypeCounts neverHanded;             // never handed, saved while the app ran
  std::set<std::string> subscribed;
  std::set<std::string> summed;  // made into day records (routine, intraday, heart-rate days)
};

void printReplayedTypes(std::ostream& out, const ReplayedTypes& types);

// One line per month (of the record's timestamp in `calendar`'s zone), a column per kind.
void printRecordsByMonth(std::ostream& out, const Records& records, const NSCalendar& calendar);

}  // namespace ostrand_tools
