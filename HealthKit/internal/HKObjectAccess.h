#pragma once

// HKObjectAccess: what the store and the importer change on an object that applications cannot:
// its source revision (set to the saving application's on save) and its UUID (the importer
// derives stable UUIDs so that loading one export twice gives the same objects), its device
// and metadata (the store keeps one copy of each distinct value), and the samples a correlation
// shows (an app sees only those it may read). Each returns a changed copy; the object itself
// stays as it was. The store, which keeps quantity and category samples as plain values, also
// rebuilds them here. Internal to HealthKit/.

#include <memory>

#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/internal/PackedMetadata.h"

namespace platform::healthkit {

// What every stored object has besides its class's own values.
struct ObjectParts {
  NSUUID uuid;
  HKSourceRevision::Pointer sourceRevision;
  HKDevice::Pointer device;
  std::shared_ptr<const PackedMetadata> metadata;
};

}  // namespace platform::healthkit

struct HKObjectAccess {
  template <class T>
  static std::shared_ptr<const T> copyWithSourceRevision(const T& object,
                                                         HKSourceRevision::Pointer revision) {
    std::shared_ptr<HKObject> copy = static_cast<const HKObject&>(object).copyObject();
    copy->setSourceRevision(std::move(revision));
    return std::dynamic_pointer_cast<const T>(std::shared_ptr<const HKObject>(std::move(copy)));
  }

  // The copy a store keeps: the saving application's revision, and `device` and `metadata`,
  // which must equal the object's own.
  template <class T>
  static std::shared_ptr<const T> copyForStore(
      const T& object, HKSourceRevision::Pointer revision, HKDevice::Pointer device,
      std::shared_ptr<const platform::healthkit::PackedMetadata> metadata) {
    std::shared_ptr<HKObject> copy = static_cast<const HKObject&>(object).copyObject();
    copy->setSourceRevision(std::move(revision));
    copy->device_ = std::move(device);
    copy->metadata_ = std::move(metadata);
    return std::dynamic_pointer_cast<const T>(std::shared_ptr<const HKObject>(std::move(copy)));
  }

  // The metadata in the form the object keeps it (nullptr: none).
  static const std::shared_ptr<const platform::healthkit::PackedMetadata>& packedMetadata(
      const HKObject& object) {
    return object.metadata_;
  }

  template <class T>
  static std::shared_ptr<const T> copyWithUUID(const T& object, const NSUUID& uuid) {
    std::shared_ptr<HKObject> copy = static_cast<const HKObject&>(object).copyObject();
    copy->uuid_ = uuid;
    return std::dynamic_pointer_cast<const T>(std::shared_ptr<const HKObject>(std::move(copy)));
  }

  // A copy of the correlation holding only `objects`, some of its own samples.
  static HKCorrelation::Pointer copyHolding(const HKCorrelation& correlation,
                                            const HKCorrelation::Objects& objects) {
    return correlation.copyHolding(objects);
  }

  // A stored sample rebuilt from its parts, equal in every value to the one that was saved. Not
  // checked again: the sample passed its checks when it was first made.
  static HKQuantitySample::Pointer restoreQuantitySample(
      const platform::healthkit::ObjectParts& parts, std::shared_ptr<const HKSampleType> type,
      NSDate startDate, NSDate endDate, HKUnit::Pointer unit, double value) {
    struct Shared : HKQuantitySample {
      Shared(const platform::healthkit::ObjectParts& parts,
             std::shared_ptr<const HKSampleType> type, NSDate startDate, NSDate endDate,
             HKUnit::Pointer unit, double value)
          : HKQuantitySample(parts, std::move(type), startDate, endDate, std::move(unit), value) {}
    };
    return std::make_shared<const Shared>(parts, std::move(type), startDate, endDate,
                                          std::move(unit), value);
  }
  static HKCategorySample::Pointer restoreCategorySample(
      const platform::healthkit::ObjectParts& parts, std::shared_ptr<const HKSampleType> type,
      NSDate startDate, NSDate endDate, long value) {
    struct Shared : HKCategorySample {
      Shared(const platform::healthkit::ObjectParts& parts,
             std::shared_ptr<const HKSampleType> type, NSDate startDate, NSDate endDate, long value)
          : HKCategorySample(parts, std::move(type), startDate, endDate, value) {}
    };
    return std::make_shared<const Shared>(parts, std::move(type), startDate, endDate, value);
  }

  // The unit and number a quantity sample keeps.
  static const HKUnit::Pointer& unit(const HKQuantitySample& sample) { return sample.unit_; }
  static double value(const HKQuantitySample& sample) { return sample.value_; }

  // The correlation that holds the sample, or nullptr.
  static HKCorrelation::Pointer correlationOf(const HKSample& sample) {
    return sample.correlation_.lock();
  }
};
