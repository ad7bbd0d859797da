#pragma once

// BenchRecordingStore: the session's store as the bench sees it. It hands every call to the real
// store (OSTSQLiteStore) and notes when each outbox commit finished, and, while keeping rows is
// on, the rows each commit wrote, so that a bench can tell when a wake's last record was
// committed and submit the same records again elsewhere. It counts the session-data saves too.
//
// Thread-safe: the session calls it from whichever thread submits; the bench reads it between
// runs.
//
//   auto store = std::make_unique<BenchRecordingStore>(std::make_unique<OSTSQLiteStore>(path));
//   auto* recording = store.get();
//   session->startSession("user", std::move(store));
//   recording->setKeepingRows(true);  ...  recording->commitsSince(mark);

#include <atomic>
#include <functional>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "OstrandCore/OSTStore.h"

namespace ostrand_tools {

class BenchRecordingStore final : public OSTStore {
 public:
  struct Commit {
    std::chrono::steady_clock::time_point finishedAt;
    std::vector<OSTOutboxRow> rows;  // empty unless rows were kept
  };

  explicit BenchRecordingStore(std::unique_ptr<OSTStore> store) : store_(std::move(store)) {}

  void setKeepingRows(bool keep);
  // How many outbox commits there have been; a mark for commitsSince.
  std::size_t commitCount() const;
  std::vector<Commit> commitsSince(std::size_t mark) const;
  // Session-data saves that changed what the database holds (the store writes nothing for the
  // others).
  std::size_t sessionDataSaves() const { return sessionDataSaves_.load(); }

  std::string path() const override { return store_->path(); }
  [[nodiscard]] OSTStatus open() override { return store_->open(); }
  [[nodiscard]] OSTResult<OSTStoredSessionData> loadSessionData() override;
  [[nodiscard]] OSTStatus saveSessionData(OSTStoredSessionData data) override;
  [[nodiscard]] OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override;
  [[nodiscard]] OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override {
    return store_->outbox(limit);
  }
  [[nodiscard]] OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override {
    return store_->removeFromOutbox(identifiers);
  }

 private:
  const std::unique_ptr<OSTStore> store_;
  mutable std::mutex mutex_;  // guards keepRows_ and commits_
  bool keepRows_ = false;
  std::vector<Commit> commits_;
  std::atomic<std::size_t> sessionDataSaves_{0};
  // A hash of the session data as last loaded or saved, rather than a copy of it, so that the
  // counting costs the measured wake next to nothing; the session's thread only.
  std::optional<std::size_t> storedFingerprint_;
};

}  // namespace ostrand_tools
