#pragma once

// HKObject: the base of everything HealthKit stores: an identifier, who wrote it (source
// revision), on which device, and metadata.
//
// Objects are immutable and shared; safe to use from any thread. Two objects are equal when
// their UUIDs are. A new object's source revision is the running application's; saving it to a
// store records the saving application's (the store makes that copy).
//
// Key paths for predicates: "UUID" (the UUID string), "source", "sourceRevision", "device",
// "metadata" (and "metadata.<key>"); samples add theirs.

#include <cstddef>
#include <memory>
#include <string>

#include "Foundation/NSDictionary.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSUUID.h"
#include "HealthKit/HKDevice.h"
#include "HealthKit/HKSource.h"
#include "HealthKit/HKSourceRevision.h"

extern const std::string HKPredicateKeyPathUUID;            // "UUID"
extern const std::string HKPredicateKeyPathSource;          // "source"
extern const std::string HKPredicateKeyPathSourceRevision;  // "sourceRevision"
extern const std::string HKPredicateKeyPathDevice;          // "device"
extern const std::string HKPredicateKeyPathMetadata;        // "metadata"
extern const std::string HKPredicateKeyPathCorrelation;     // "correlation"

using HKMetadata = std::shared_ptr<const NSDictionary>;

namespace platform::healthkit {
class PackedMetadata;
struct ObjectParts;
}

class HKObject : public NSObject {
 public:
  const NSUUID& UUID() const { return uuid_; }
  // The source of sourceRevision().
  const HKSource::Pointer& source() const { return sourceRevision_->source(); }
  const HKSourceRevision::Pointer& sourceRevision() const { return sourceRevision_; }
  // The device that took the measurement, or nullptr.
  const HKDevice::Pointer& device() const { return device_; }
  // The metadata, or nullptr when there is none: a new dictionary, equal every time, made from
  // the compact form the object keeps.
  HKMetadata metadata() const;

  // Equal by UUID.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return std::hash<NSUUID>{}(uuid_); }
  NSAny valueForKey(const std::string& key) const override;

 protected:
  // Checks the metadata (see HKMetadata.h); throws std::invalid_argument naming `className`.
  HKObject(const char* className, HKDevice::Pointer device, HKMetadata metadata);
  HKObject(const HKObject&) = default;
  // A stored object rebuilt from its parts (HKObjectAccess), unchecked: it passed when first made.
  explicit HKObject(const platform::healthkit::ObjectParts& parts);

  // A copy of this object, to be changed before it is shared (HKObjectAccess).
  virtual std::shared_ptr<HKObject> copyObject() const = 0;
  // Records who wrote the object; a correlation passes it on to the samples it holds.
  virtual void setSourceRevision(HKSourceRevision::Pointer revision);

 private:
  friend struct HKObjectAccess;
  friend class HKCorrelation;  // copies the samples it holds

  NSUUID uuid_;
  HKSourceRevision::Pointer sourceRevision_;
  HKDevice::Pointer device_;
  std::shared_ptr<const platform::healthkit::PackedMetadata> metadata_;
};
