#pragma once

// SharedParts: one copy of each distinct device, metadata dictionary and source revision that
// stored objects carry, so that a million heart-rate samples from one watch, each saying
// "active", hold one HKDevice and one dictionary between them instead of a million of each.
//
// Values are only ever shared with exactly equal ones: equal devices (HKDevice::isEqual),
// metadata a reader cannot tell apart (PackedMetadata::isSame), and revisions equal in every
// field, their source's name included. What a reader sees of a stored object is therefore
// unchanged. Parts stay until their holder goes.
//
// Thread-safe. Owned by DeviceState; HKHealthStore asks it when it copies objects to store.

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "HealthKit/HKObject.h"
#include "HealthKit/HKSourceRevision.h"
#include "HealthKit/internal/PackedMetadata.h"

namespace platform::healthkit {

class SharedParts {
 public:
  // The shared copy of a value equal to the argument (nullptr stays nullptr).
  HKDevice::Pointer device(const HKDevice::Pointer& device);
  std::shared_ptr<const PackedMetadata> metadata(
      const std::shared_ptr<const PackedMetadata>& metadata);
  HKSourceRevision::Pointer sourceRevision(const HKSourceRevision::Pointer& revision);

 private:
  struct DeviceHash {
    std::size_t operator()(const HKDevice::Pointer& device) const { return device->hash(); }
  };
  struct DeviceEqual {
    bool operator()(const HKDevice::Pointer& a, const HKDevice::Pointer& b) const {
      return a->isEqual(*b);
    }
  };
  struct MetadataHash {
    std::size_t operator()(const std::shared_ptr<const PackedMetadata>& metadata) const {
      return metadata->hash();
    }
  };
  struct MetadataEqual {
    bool operator()(const std::shared_ptr<const PackedMetadata>& a,
                    const std::shared_ptr<const PackedMetadata>& b) const {
      return a->isSame(*b);
    }
  };

  struct RevisionHash {
    std::size_t operator()(const HKSourceRevision::Pointer& revision) const {
      return revision->hash();
    }
  };
  struct RevisionEqual {
    bool operator()(const HKSourceRevision::Pointer& a, const HKSourceRevision::Pointer& b) const {
      return a->isEqual(*b) && a->source()->name() == b->source()->name();
    }
  };

  std::mutex mutex_;  // guards the sets
  std::unordered_set<HKDevice::Pointer, DeviceHash, DeviceEqual> devices_;
  std::unordered_set<std::shared_ptr<const PackedMetadata>, MetadataHash, MetadataEqual> metadata_;
  std::unordered_set<HKSourceRevision::Pointer, RevisionHash, RevisionEqual> revisions_;
};

}  // namespace platform::healthkit
