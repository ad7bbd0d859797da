#pragma once

// OutboxCommand: the `outbox` command. Opens a session database read-only in spirit (nothing is
// submitted) and lists what its outbox holds: counts by kind, then one record a line, or with
// `json` one OSTRecordCoder JSON object a line. A missing or unreadable database is an error on
// `err` and exit status 1.

#include <ostream>
#include <string>

namespace ostrand_tools {

int runOutbox(const std::string& path, bool json, std::ostream& out, std::ostream& err);

}  // namespace ostrand_tools
