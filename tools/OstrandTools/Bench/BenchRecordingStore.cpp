#include "tools/OstrandTools/Bench/BenchRecordingStore.h"

#include <string>
#include <variant>

namespace ostrand_tools {

namespace {

void mix(std::size_t& seed, std::size_t value) {
  seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

void mixDate(std::size_t& seed, const std::optional<NSDate>& date) {
  mix(seed, date ? std::hash<double>{}(date->timeIntervalSinceReferenceDate()) : 0);
}

std::size_t fingerprintOf(const OSTStoredSessionData& data) {
  std::size_t seed = 0;
  for (const auto& [type, anchor] : data.anchors) {
    mix(seed, std::hash<std::string>{}(type));
    mix(seed,
        std::visit(
            [](const auto& value) { return std::hash<std::decay_t<decltype(value)>>{}(value); },
            anchor));
  }
  for (const auto& [type, date] : data.queryDates) {
    mix(seed, std::hash<std::string>{}(type));
    mixDate(seed, date);
  }
  for (const auto* timestamp :
       {&data.routineQueryTimestamp, &data.routineFetchTimestamp, &data.intradayStepsQueryTimestamp,
        &data.intradayStepsFetchTimestamp}) {
    mixDate(seed, *timestamp);
  }
  return seed;
}

}  // namespace

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
  if (!loaded.error) storedFingerprint_ = fingerprintOf(loaded.value);
  return loaded;
}

OSTStatus BenchRecordingStore::saveSessionData(OSTStoredSessionData data) {
  const std::size_t fingerprint = fingerprintOf(data);
  OSTStatus error = store_->saveSessionData(std::move(data));
  if (!error && storedFingerprint_ != fingerprint) {
    ++sessionDataSaves_;
    storedFingerprint_ = fingerprint;
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
