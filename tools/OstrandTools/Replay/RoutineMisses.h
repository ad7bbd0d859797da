#pragma once

// The routine-days row of OutboxMisses: each day's sum of every subscribed routine quantity
// (steps, distance, energy, floors, ...) as HealthKit computes it now, made into the value a
// record holds by the engine's own conversion, against the day's routine record. A day differs
// when any of them does; the amount missing is in steps. The samples of a differing day that
// reached HealthKit after its record was last written are missing; a day HealthKit has any of
// these quantities for and the outbox no record misses all of its samples.
//
// Main thread only.

#include "tools/OstrandTools/Replay/DayAudit.h"
#include "tools/OstrandTools/Replay/OutboxMisses.h"

namespace ostrand_tools {

MissedDays routineMisses(DayAudit& audit);

}  // namespace ostrand_tools
