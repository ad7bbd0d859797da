#pragma once

// SharedParts: one copy of each distinct device and metadata dictionary that saved objects
// carry, so that a million heart-rate samples from one watch, each saying "active", hold one
// HKDevice and one dictionary between them instead of a million of each.
//
// Values are only ever shared with exactly equal ones: equal devices (HKDevice::isEqual), and
// metadata a reader cannot tell apart (PackedMetadata::isSame). What a reader sees of a saved
// object is therefore unchanged. Parts stay until the device goes.
//
// Thread-safe. Owned by DeviceState; HKHealthStore asks it when it copies objects to store.

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "HealthKit/HKObject.h"
#include "HealthKit/internal/PackedMetadata.h"

namespace platform::healthkit {

class SharedParts {
 public:
  // The shared copy of a value equal to the argument (nullptr stays nullptr).
  HKDevice::Pointer device(const HKDevice::Pointer& device);
  std::shared_ptr<const PackedMetadata> metadata(
      const std::shared_ptr<const PackedMetadata>& metadata);

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

  std::mutex mutex_;  // guards devices_ and metadata_
  std::unordered_set<HKDevice::Pointer, DeviceHash, DeviceEqual> devices_;
  std::unordered_set<std::shared_ptr<const PackedMetadata>, MetadataHash, MetadataEqual> metadata_;
};

}  // namespace platform::healthkit
