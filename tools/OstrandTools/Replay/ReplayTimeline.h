#pragma once

// ReplayTimeline: a person's export as the moments HealthKit received each object. The export
// reader hands it every sample, correlation and workout (it is the reader's sink). An object
// arrives at its creation date when the export gives one (a watch syncing in batches, a sensor,
// an import arrive hours or months after they ended), else at its end date. finish() orders them
// by arrival, and releaseBefore() / releaseThrough() save into the simulated device, through the
// store of the app that wrote it, everything that arrives before (or by) a given moment. Each
// object is held once: here, packed in 72 bytes (PackedObjects), until it is released, in
// the device afterwards; the timeline keeps only which objects it released (released()), for the
// replay's summary. Entries live in blocks that are given back as they are released, and are
// never copied whole to grow or to sort, so ten million of them take what they are and no
// more. Releasing unpacks and saves a bounded batch at a time, so years released at once (at
// the install) never need the memory of their objects held whole.
//
// Releasing is deterministic: the same export released at the same moments gives the same
// objects the same anchors, so a relaunched replay can rebuild HealthKit as a killed one left it
// and the anchors the app stored stay valid.
//
// Used by the replay on the main thread; releasing drives the queues until idle.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AppleHealthExport/AppleHealthExportSink.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/Simulator/PackedObjects.h"
#include "HealthKit/Simulator/SimulatedHealthDevice.h"

namespace ostrand_tools {

class ReplayTimeline final : public AppleHealthExportSink {
 public:
  using Counts = std::map<std::string, std::size_t>;  // by type identifier

  void add(const HKSourceRevision::Pointer& revision, std::shared_ptr<const HKObject> object,
           std::optional<NSDate> creationDate) override;
  void remove(const NSUUID& uuid) override;

  // Drops what the reader took back and orders the rest by arrival, in reading order among
  // equal arrivals. Call once, after reading.
  void finish();

  // Objects by type, as read (after finish()).
  const Counts& readByType() const { return readByType_; }
  // Objects that carry a creation date, and those of them that arrived more than an hour after
  // they ended (after finish()).
  std::size_t withCreationDate() const { return withCreationDate_; }
  std::size_t arrivedLate() const { return arrivedLate_; }
  // When the first object arrived; nullopt for an empty export.
  std::optional<NSDate> firstArrival() const;
  // When the next object not yet released arrives.
  std::optional<NSDate> nextArrival() const;

  // Saves every object not yet released that arrives before `moment` into `device`, each app's
  // objects through that app's store, and counts them into `released`. The app runs only once
  // HealthKit has saved and announced all of them, however many of the saves wake it. False when
  // a store refused them (`error` says why).
  bool releaseBefore(NSDate moment, platform::SimulatedHealthDevice& device, Counts& released,
                     std::string& error);
  // The same for the objects that arrive at or before `end`.
  bool releaseThrough(NSDate end, platform::SimulatedHealthDevice& device, Counts& released,
                      std::string& error);

  // An object saved into the device, as the summary needs it.
  struct ReleasedObject {
    NSUUID uuid;
    const std::string* type;  // identifier: a key of readByType(), which lives as long
    NSDate arrival;
  };
  using ReleasedObjects = std::deque<ReleasedObject>;
  // Every object released so far, in the order they arrived.
  const ReleasedObjects& released() const { return released_; }

 private:
  struct Entry {
    NSDate arrival;
    platform::PackedObjects::Packed row;  // the object, packed
    std::uint32_t source;                 // index in sources_
    std::uint32_t readingOrder;           // orders equal arrivals
    bool hasCreationDate;
  };
  static_assert(sizeof(Entry) == 72, "millions of entries wait for their arrival");
  struct Refusal {
    std::size_t source;
    std::shared_ptr<const NSError> failure;
  };
  struct Source {
    HKSourceRevision::Pointer revision;
    std::shared_ptr<HKHealthStore> store;  // made on first release
  };

  bool release(NSDate bound, bool boundIncluded, platform::SimulatedHealthDevice& device,
               Counts& released, std::string& error);
  // Unpacks the next batch of entries that arrive before (or by) `bound`, by source, and
  // counts them as released.
  std::map<std::size_t, std::vector<std::shared_ptr<const HKObject>>> unpackBatch(
      NSDate bound, bool boundIncluded, Counts& released);

  platform::PackedObjects packed_;
  std::deque<Entry> entries_;  // not yet released, by arrival (after finish())
  ReleasedObjects released_;
  std::vector<Source> sources_;
  std::map<std::string, std::size_t> sourceIndex_;  // by the revision's description
  std::set<NSUUID> removed_;
  Counts readByType_;
  std::size_t withCreationDate_ = 0, arrivedLate_ = 0;
  std::optional<NSDate> firstArrival_;
};

}  // namespace ostrand_tools
