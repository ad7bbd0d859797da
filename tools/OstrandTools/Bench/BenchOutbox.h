#pragma once

// BenchOutbox: how fast records are committed to the outbox through the session
// (OSTSession::submitRecords on a fresh database: encoding each record to JSON, then one
// transaction per batch), beside the same rows, already encoded, written with the plain SQLite
// API in one transaction per batch (BenchRawOutbox). Each run starts on new database files.
//
// Main thread only.
//
//   BenchOutbox outbox(records, 100, 5, scratch);
//   auto result = outbox.measure(err);  // nullopt when a database could not be used

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTStore.h"
#include "tools/OstrandTools/Bench/BenchScratchDirectory.h"

namespace ostrand_tools {

struct BenchOutboxResult {
  std::size_t records = 0;
  double sessionSeconds = 0;  // median over the runs
  double rawSeconds = 0;      // median over the runs
};

class BenchOutbox {
 public:
  using Records = std::vector<std::shared_ptr<OSTRecord>>;

  BenchOutbox(const Records& records, std::size_t batchSize, int runs,
              const BenchScratchDirectory& scratch);

  std::optional<BenchOutboxResult> measure(std::ostream& err) const;

  // Seconds to submit the batches, one submitRecords each, to a session started on a new
  // database at `path` (removed afterwards); nullopt, said on `err`, when the session failed.
  static std::optional<double> timeSubmissions(const std::vector<Records>& batches,
                                               const std::string& path, std::ostream& err);

 private:
  std::optional<double> timeSession(int run, std::ostream& err) const;
  std::optional<double> timeRaw(int run, std::ostream& err) const;

  std::vector<Records> batches_;
  std::vector<std::vector<OSTOutboxRow>> rows_;  // the batches as the session encodes them
  std::size_t count_ = 0;
  int runs_;
  const BenchScratchDirectory& scratch_;
};

}  // namespace ostrand_tools
