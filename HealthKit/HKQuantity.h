#pragma once

// HKQuantity: an amount in a unit (72 count/min, 5.4 mmol<180.15588000005408>/L), readable in any
// unit of the same dimension.
//
// Immutable and shared; safe to use from any thread. Reading a quantity in a unit of another
// dimension is a programming error and throws std::invalid_argument, as does comparing such
// quantities. Percent quantities hold fractions: 0.97 in "%" is 97 %.
//
//   auto glucose = HKQuantity::quantityWithUnit(HKUnit::unitFromString("mg/dL"), 90);
//   glucose->doubleValueForUnit(*HKUnit::unitFromString("mmol<180.15588000005408>/L"));
//   // 4.9956...

#include <cstddef>
#include <memory>
#include <string>

#include "Foundation/NSDate.h"
#include "Foundation/NSObject.h"
#include "HealthKit/HKUnit.h"

class HKQuantity : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKQuantity>;

  // Throws std::invalid_argument when `unit` is null.
  static Pointer quantityWithUnit(HKUnit::Pointer unit, double value);

  bool isCompatibleWithUnit(const HKUnit& unit) const;
  // The amount in `unit`; throws std::invalid_argument when the units are incompatible.
  double doubleValueForUnit(const HKUnit& unit) const;
  // Orders by amount; throws std::invalid_argument when the units are incompatible.
  NSComparisonResult compare(const HKQuantity& other) const;

  // For predicates: the order of two quantities of compatible units, nullopt otherwise.
  std::optional<NSComparisonResult> compare(const NSObject& other) const override;
  // Equal amounts in compatible units.
  bool isEqual(const NSObject& other) const override;
  // Equal quantities hash alike whatever their unit: by dimension only.
  std::size_t hash() const override;
  // "72 count/min"; a percent prints as a percentage ("97 %" for 0.97).
  std::string description() const override;
  std::string className() const override { return "HKQuantity"; }

 private:
  friend struct HKQuantityAccess;
  HKQuantity(HKUnit::Pointer unit, double value) : unit_(std::move(unit)), value_(value) {}

  HKUnit::Pointer unit_;
  double value_;
};
