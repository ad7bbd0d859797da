#pragma once

// SampleSaver: saves what the reader builds into the simulated device, each object through a
// store acting as the app that wrote it, in batches of at most batchSize objects, waiting for
// each batch to be saved before the next is gathered (so at most one batch is held). It counts
// objects into the summary only once they are saved, and refuses a second object with a UUID
// it has seen (a duplicate record in the export). Given a sink, it hands each batch to the sink
// instead of saving it (the device is then not used).
//
// Used on one thread (the reader's); the stores complete on HealthKit's worker threads.

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "AppleHealthExport/AppleHealthExportSink.h"
#include "AppleHealthExport/AppleHealthExportSummary.h"
#include "AppleHealthExport/internal/UUIDSet.h"
#include "HealthKit/HKHealthStore.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

namespace apple_health_export {

class SampleSaver {
 public:
  using Count = std::function<void(AppleHealthExportSummary&)>;

  SampleSaver(std::shared_ptr<platform::SimulatedHealthDevice> device, std::size_t batchSize,
              AppleHealthExportSummary& summary, AppleHealthExportSink* sink = nullptr)
      : device_(std::move(device)), batchSize_(batchSize), summary_(summary), sink_(sink) {}

  // Queues `object` for the source revision; false (nothing queued) when its UUID was seen.
  // `count` runs once the object is saved. The creation date goes only to a sink.
  bool add(const HKSourceRevision::Pointer& revision, std::shared_ptr<const HKObject> object,
           std::optional<NSDate> creationDate, Count count);
  // Whether add() has any use for creation dates (only a sink does).
  bool keepsCreationDates() const { return sink_ != nullptr; }
  bool seen(const NSUUID& uuid) const { return seen_.contains(uuid); }
  // Starts loading what seen(uuid) reads, for a call a little later not to wait for memory.
  void prefetchSeen(const NSUUID& uuid) const { seen_.prefetch(uuid); }
  void markSeen(const NSUUID& uuid) { seen_.insert(uuid); }

  // Removes a saved object again (by UUID, through the revision's store); `uncount` runs when it
  // is gone. Saves what is queued first.
  bool remove(const HKSourceRevision::Pointer& revision, std::shared_ptr<const HKObject> object,
              Count uncount);

  // Saves everything queued and waits; false when a store refused a batch (its objects are
  // counted as skipped).
  bool flush();

 private:
  struct Pending {
    std::shared_ptr<const HKObject> object;
    std::optional<NSDate> creationDate;
    Count count;
  };
  struct Source {
    HKSourceRevision::Pointer revision;
    std::shared_ptr<HKHealthStore> store;  // nullptr with a sink
    std::vector<Pending> pending;
  };

  Source& sourceFor(const HKSourceRevision::Pointer& revision);
  // Runs `start` with a completion and waits for it; the error, or nullptr.
  static std::shared_ptr<const NSError> wait(
      const std::function<void(HKHealthStore::HKCompletion)>& start);

  std::shared_ptr<platform::SimulatedHealthDevice> device_;
  std::size_t batchSize_;
  AppleHealthExportSummary& summary_;
  AppleHealthExportSink* sink_;
  static constexpr std::size_t kMaxRevisionsKept = 4096;

  std::map<std::string, Source> sources_;  // by the revision's description
  // The source of each revision object seen, which is kept alive so its address stays its own.
  std::unordered_map<const HKSourceRevision*, std::pair<HKSourceRevision::Pointer, Source*>>
      byRevision_;
  std::size_t pendingCount_ = 0;
  UUIDSet seen_;
};

}  // namespace apple_health_export
