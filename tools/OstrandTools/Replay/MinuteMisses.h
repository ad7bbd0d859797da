#pragma once

// The minute-steps row of OutboxMisses: each source's steps per minute as HealthKit sums them
// now, against the latest value the outbox's intraday records hold for that minute. A day here
// is one source's minutes of one calendar day; a minute is missing when the outbox lacks it or
// holds another value, and a step sample is missing when it covers a missing minute and reached
// HealthKit after the record that last gave that minute was made.
//
// Main thread only.

#include "tools/OstrandTools/Replay/DayAudit.h"
#include "tools/OstrandTools/Replay/OutboxMisses.h"

namespace ostrand_tools {

MissedDays minuteMisses(DayAudit& audit);

}  // namespace ostrand_tools
