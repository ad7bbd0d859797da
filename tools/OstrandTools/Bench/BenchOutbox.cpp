#include "tools/OstrandTools/Bench/BenchOutbox.h"

#include <string>

#include "OstrandCore/OSTRecordCoder.h"
#include "OstrandCore/OSTSession.h"
#include "tools/OstrandTools/Bench/BenchRawOutbox.h"
#include "tools/OstrandTools/Bench/BenchStopwatch.h"

namespace ostrand_tools {

BenchOutbox::BenchOutbox(const Records& records, std::size_t batchSize, int runs,
                         const BenchScratchDirectory& scratch)
    : count_(records.size()), runs_(runs), scratch_(scratch) {
  for (std::size_t first = 0; first < records.size(); first += batchSize) {
    const auto end =
        records.begin() + static_cast<std::ptrdiff_t>(std::min(records.size(), first + batchSize));
    Records batch(records.begin() + static_cast<std::ptrdiff_t>(first), end);
    std::vector<OSTOutboxRow> rows;
    for (const auto& record : batch) {
      rows.push_back(
          {0, record->recordType(), record->activityID(), OSTRecordCoder::JSONFromRecord(*record)});
    }
    batches_.push_back(std::move(batch));
    rows_.push_back(std::move(rows));
  }
}

std::optional<BenchOutboxResult> BenchOutbox::measure(std::ostream& err) const {
  std::vector<double> session, raw;
  for (int run = 0; run < runs_; ++run) {
    const auto sessionTime = timeSession(run, err);
    const auto rawTime = timeRaw(run, err);
    if (!sessionTime || !rawTime) return std::nullopt;
    session.push_back(*sessionTime);
    raw.push_back(*rawTime);
  }
  return BenchOutboxResult{count_, BenchStopwatch::median(session), BenchStopwatch::median(raw)};
}

std::optional<double> BenchOutbox::timeSession(int run, std::ostream& err) const {
  return timeSubmissions(batches_, scratch_.file("session-" + std::to_string(run) + ".sqlite"),
                         err);
}

std::optional<double> BenchOutbox::timeSubmissions(const std::vector<Records>& batches,
                                                   const std::string& path, std::ostream& err) {
  OSTSession session;
  if (const auto error = session.startSession("bench-user", path)) {
    err << "error: cannot use the session database " << path << ": "
        << error->localizedDescription() << "\n";
    return std::nullopt;
  }
  BenchStopwatch watch;
  for (const auto& batch : batches) {
    if (const auto error = session.submitRecords(batch)) {
      err << "error: the session refused a batch: " << error->localizedDescription() << "\n";
      return std::nullopt;
    }
  }
  const double seconds = watch.seconds();
  session.endSession();
  BenchScratchDirectory::removeDatabase(path);
  return seconds;
}

std::optional<double> BenchOutbox::timeRaw(int run, std::ostream& err) const {
  const std::string path = scratch_.file("raw-" + std::to_string(run) + ".sqlite");
  std::optional<double> seconds;
  {
    BenchRawOutbox outbox(path);
    if (!outbox.open()) {
      err << "error: cannot use the database " << path << ": " << outbox.lastError() << "\n";
      return std::nullopt;
    }
    BenchStopwatch watch;
    for (const auto& rows : rows_) {
      if (!outbox.upsert(rows)) {
        err << "error: SQLite refused a batch: " << outbox.lastError() << "\n";
        return std::nullopt;
      }
    }
    seconds = watch.seconds();
  }
  BenchScratchDirectory::removeDatabase(path);
  return seconds;
}

}  // namespace ostrand_tools
