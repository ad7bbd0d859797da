#include "AppleHealthExport/internal/SampleSaver.h"

#include <condition_variable>
#include <mutex>

namespace apple_health_export {

std::shared_ptr<const NSError> SampleSaver::wait(
    const std::function<void(HKHealthStore::HKCompletion)>& start) {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  std::shared_ptr<const NSError> result;
  start([&](bool, std::shared_ptr<const NSError> error) {
    std::lock_guard lock(mutex);
    result = std::move(error);
    finished = true;
    done.notify_one();
  });
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return finished; });
  return result;
}

SampleSaver::Source& SampleSaver::sourceFor(const HKSourceRevision::Pointer& revision) {
  Source* source = nullptr;
  if (auto known = byRevision_.find(revision.get()); known != byRevision_.end()) {
    source = known->second.second;
  } else {
    if (byRevision_.size() >= kMaxRevisionsKept) byRevision_.clear();
    source = &sources_[revision->description()];
    byRevision_.emplace(revision.get(), std::make_pair(revision, source));
  }
  if (!source->revision) source->revision = revision;
  if (!source->store && !sink_) source->store = device_->storeForSource(revision);
  return *source;
}

bool SampleSaver::add(const HKSourceRevision::Pointer& revision,
                      std::shared_ptr<const HKObject> object,
                      std::optional<NSDate> creationDate, Count count) {
  if (!seen_.insert(object->UUID())) return false;
  sourceFor(revision).pending.push_back({std::move(object), creationDate, std::move(count)});
  if (++pendingCount_ >= batchSize_) flush();
  return true;
}

bool SampleSaver::remove(const HKSourceRevision::Pointer& revision,
                         std::shared_ptr<const HKObject> object, Count uncount) {
  flush();
  if (sink_) {
    sink_->remove(object->UUID());
    uncount(summary_);
    return true;
  }
  auto& source = sourceFor(revision);
  auto error = wait([&](HKHealthStore::HKCompletion completion) {
    source.store->deleteObjects({std::move(object)}, std::move(completion));
  });
  if (error) return false;
  uncount(summary_);
  return true;
}

bool SampleSaver::flush() {
  bool allSaved = true;
  // Not a structured binding: clang (the fuzz build) cannot capture one in the lambda below.
  for (auto& entry : sources_) {
    auto& source = entry.second;
    if (source.pending.empty()) continue;
    if (sink_) {
      for (auto& pending : source.pending) {
        sink_->add(source.revision, std::move(pending.object), pending.creationDate);
        pending.count(summary_);
      }
      source.pending.clear();
      continue;
    }
    std::vector<std::shared_ptr<const HKObject>> objects;
    objects.reserve(source.pending.size());
    for (const auto& pending : source.pending) objects.push_back(pending.object);
    auto error = wait([&](HKHealthStore::HKCompletion completion) {
      source.store->saveObjects(objects, std::move(completion));
    });
    if (error) {
      allSaved = false;
      summary_.skipped["refused by the store: " + error->localizedDescription()] += objects.size();
    } else {
      for (auto& pending : source.pending) pending.count(summary_);
    }
    source.pending.clear();
  }
  pendingCount_ = 0;
  return allSaved;
}

}  // namespace apple_health_export
