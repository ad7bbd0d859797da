#include "tools/OstrandTools/Outbox/OutboxCommand.h"

#include <filesystem>

#include "OstrandCore/OSTLog.h"
#include "tools/OstrandTools/Outbox/OutboxReport.h"

namespace ostrand_tools {

int runOutbox(const std::string& path, bool json, std::ostream& out, std::ostream& err) {
  if (!std::filesystem::is_regular_file(path)) {
    err << "error: no session database at " << path << "\n";
    return 1;
  }
  OSTSession session;
  if (auto error = session.startSession("outbox-reader", path)) {
    err << "error: " << path
        << " is not a readable session database: " << error->localizedDescription() << "\n";
    session.endSession();
    return 1;
  }
  const auto records = readOutbox(session);
  session.endSession();
  if (records.error) {
    err << "error: cannot read the outbox of " << path << ": "
        << records.error->localizedDescription() << "\n";
    return 1;
  }
  if (json) {
    printJSONLines(out, records.value);
  } else {
    printCounts(out, records.value);
    out << "\n";
    printRecords(out, records.value);
  }
  return 0;
}

}  // namespace ostrand_tools
