#pragma once

// PartsTable: the distinct combinations of what stored objects share (their kind, type, unit,
// source revision, saving app, device and metadata), each numbered once, so that the database
// keeps a quantity or category sample as its own numbers plus one 32-bit index. A watch's heart
// rates, all from one revision and device with the same motion context, share one combination.
//
// Parts are told apart by identity, not by value: a rebuilt sample gets back the very objects
// it was saved with. The store hands in shared parts (SharedParts, one revision per app), which
// keeps the table small; unshared ones only make it larger. Combinations are never removed.
//
// Not thread-safe: HealthDatabase guards it with its own lock.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "HealthKit/HKDevice.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKSourceRevision.h"
#include "HealthKit/HKUnit.h"
#include "HealthKit/internal/PackedMetadata.h"

namespace platform::healthkit {

struct StoredParts {
  // How the object itself is kept: as numbers (a quantity or category sample), or whole.
  enum class Kind : std::uint8_t { quantity, category, whole };

  Kind kind = Kind::whole;
  const std::string* owner = nullptr;  // the saving app's bundle identifier
  // The rest only for samples kept as numbers.
  std::shared_ptr<const HKSampleType> type;
  HKUnit::Pointer unit;  // quantities only
  HKSourceRevision::Pointer sourceRevision;
  HKDevice::Pointer device;
  std::shared_ptr<const PackedMetadata> metadata;
};

class PartsTable {
 public:
  // The index of the combination, numbered now if it is new.
  std::uint32_t intern(StoredParts parts);
  const StoredParts& at(std::uint32_t index) const { return parts_[index]; }

 private:
  using Key = std::array<const void*, 7>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };
  static Key keyOf(const StoredParts& parts);

  std::vector<StoredParts> parts_;
  std::unordered_map<Key, std::uint32_t, KeyHash> indices_;
};

}  // namespace platform::healthkit
