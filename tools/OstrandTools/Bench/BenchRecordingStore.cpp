#include "tools/OstrandTools/Bench/BenchRecordingStore.h"

namespace ostrand_tools {

void BenchRecordingStore::setKeepingRows(bool keep) {
  std::lock_guard lock(mutex_);
  keepRows_ = keep;
}

std::size_t BenchRecordingStore::commitCount() const {
  std::lock_guard lock(mutex_);
  return commits_.size();
}

std::vector<BenchRecordingStore::Commit> BenchRecordingStore::commitsSince(std::size_t mark) const {
  std::lock_guard lock(mutex_);
  if (mark >= commits_.size()) return {};
  return {commits_.begin() + static_cast<std::ptrdiff_t>(mark), commits_.end()};
}

OSTResult<OSTStoredSessionData> BenchRecordingStore::loadSessionData() {
  auto loaded = store_->loadSessionData();
  if (!loaded.error) stored_ = loaded.value;
  return loaded;
}

OSTStatus BenchRecordingStore::saveSessionData(const OSTStoredSessionData& data) {
  OSTStatus error = store_->saveSessionData(data);
  if (!error && stored_ != data) {
    ++sessionDataSaves_;
    stored_ = data;
  }
  return error;
}

OSTStatus BenchRecordingStore::addToOutbox(const std::vector<OSTOutboxRow>& rows) {
  OSTStatus error = store_->addToOutbox(rows);
  if (error) return error;
  const auto finishedAt = std::chrono::steady_clock::now();
  std::lock_guard lock(mutex_);
  commits_.push_back({finishedAt, keepRows_ ? rows : std::vector<OSTOutboxRow>{}});
  return nullptr;
}

}  // namespace ostrand_tools
