#pragma once

// HKCorrelation: a sample that groups other samples taken together: a blood pressure reading
// (one systolic and one diastolic pressure) or a meal (dietary quantities).
//
// Immutable and shared; safe to use from any thread. The factories throw std::invalid_argument,
// as HealthKit raises, when an object is not a quantity or category sample, or is of a type the
// correlation may not hold, when a blood pressure lacks its systolic or diastolic pressure, or
// for the checks every sample makes. The samples it holds are its own copies (same UUIDs), whose
// "correlation" key path leads back to it.
//
//   auto reading = HKCorrelation::correlationWithType(
//       HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure),
//       start, end, {systolic, diastolic});

#include <memory>
#include <string>
#include <vector>

#include "HealthKit/HKSample.h"

class HKCorrelation : public HKSample {
 public:
  using Pointer = std::shared_ptr<const HKCorrelation>;
  using Objects = std::vector<std::shared_ptr<const HKSample>>;

  // `objects` is a set: an object listed twice (same UUID) is held once.
  static Pointer correlationWithType(std::shared_ptr<const HKCorrelationType> type,
                                     NSDate startDate, NSDate endDate, const Objects& objects,
                                     HKMetadata metadata = nullptr);
  static Pointer correlationWithType(std::shared_ptr<const HKCorrelationType> type,
                                     NSDate startDate, NSDate endDate, const Objects& objects,
                                     HKDevice::Pointer device, HKMetadata metadata);

  const std::shared_ptr<const HKCorrelationType>& correlationType() const {
    return correlationType_;
  }
  // The samples, in the order first given.
  const Objects& objects() const { return objects_; }
  // The samples of one type.
  Objects objectsForType(const HKObjectType& type) const;

  std::string className() const override { return "HKCorrelation"; }

 private:
  friend struct HKObjectAccess;  // shows an app only the samples it may read

  HKCorrelation(std::shared_ptr<const HKCorrelationType> type, NSDate startDate, NSDate endDate,
                HKDevice::Pointer device, HKMetadata metadata);
  std::shared_ptr<HKObject> copyObject() const override;
  // A copy (same UUID, dates, source, device and metadata) that holds only `objects`, some of
  // this correlation's own.
  Pointer copyHolding(const Objects& objects) const;
  void setSourceRevision(HKSourceRevision::Pointer revision) override;
  // Holds copies of `objects` that point back to `correlation`.
  static void adopt(const std::shared_ptr<HKCorrelation>& correlation, const Objects& objects);

  std::shared_ptr<const HKCorrelationType> correlationType_;
  Objects objects_;
};
