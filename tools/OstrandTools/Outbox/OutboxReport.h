#pragma once

// OutboxReport: what a session database's outbox holds, written for a person: counts by kind,
// the records one per line or as JSON lines (OSTRecordCoder), and the summary the demo and sync
// print (counts, a few days of routine totals, a workout, a heart-rate day).
//
// Stateless functions; any thread.

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTSession.h"

namespace ostrand_tools {

using Records = std::vector<std::shared_ptr<OSTRecord>>;

// Every record of the session's outbox, oldest first; an error when the outbox cannot be read or
// a stored record cannot be decoded.
OSTResult<Records> readOutbox(OSTSession& session);

std::map<OSTRecordType, std::size_t> countByKind(const Records& records);

void printCounts(std::ostream& out, const Records& records);
// One line per record: kind, timestamp, activity identifier and properties.
void printRecords(std::ostream& out, const Records& records);
void printJSONLines(std::ostream& out, const Records& records);
// Counts, the last `days` routine days, the workout with the most extras, and the last
// heart-rate day.
void printSyncSummary(std::ostream& out, const Records& records, std::size_t days = 3);

}  // namespace ostrand_tools
