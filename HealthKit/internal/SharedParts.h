#pragma once

// SharedParts: one copy of each distinct device and metadata dictionary that saved objects
// carry, so that a million heart-rate samples from one watch, each saying "active", hold one
// HKDevice and one dictionary between them instead of a million of each.
//
// Values are only ever shared with exactly equal ones: equal devices (HKDevice::isEqual), and
// dictionaries with the same keys whose values are of the same kind and boxing (YES, 1 and 1.0
// stay apart), with the same strings, numbers and instants, and the very same objects. What a
// reader sees of a saved object is therefore unchanged. Parts stay until the device goes.
//
// Thread-safe. Owned by DeviceState; HKHealthStore asks it when it copies objects to store.

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "HealthKit/HKObject.h"

namespace platform::healthkit {

class SharedParts {
 public:
  // The shared copy of a value equal to the argument (nullptr stays nullptr).
  HKDevice::Pointer device(const HKDevice::Pointer& device);
  HKMetadata metadata(const HKMetadata& metadata);

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
    std::size_t operator()(const HKMetadata& metadata) const;
  };
  struct MetadataEqual {
    bool operator()(const HKMetadata& a, const HKMetadata& b) const;
  };

  std::mutex mutex_;  // guards devices_ and metadata_
  std::unordered_set<HKDevice::Pointer, DeviceHash, DeviceEqual> devices_;
  std::unordered_set<HKMetadata, MetadataHash, MetadataEqual> metadata_;
};

}  // namespace platform::healthkit
