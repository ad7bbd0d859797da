#pragma once

// HKObjectType and its subclasses: the kinds of data HealthKit stores, one object per identifier.
//
// Every type object is interned: a factory returns the same object for the same identifier for
// the life of the process, so types may be compared by identity as well as by identifier, and
// they key unordered maps (with HKObjectTypeHash / HKObjectTypeEqual, or plainly by pointer).
// Types are immutable and the factories are safe to call from any thread. The quantity,
// category, correlation and workout types are declared here beside their base, as they are small.
//
//   auto steps = HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);
//   steps == HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount);  // true
//   HKObjectType::typeForIdentifier(steps->identifier()) == steps;  // true, any kind of type
//   HKObjectType::quantityTypeForIdentifier("Nonsense");            // nullptr

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/NSObject.h"
#include "HealthKit/HKTypeIdentifiers.h"

class HKQuantityType;
class HKCategoryType;
class HKCorrelationType;
class HKWorkoutType;
class HKTypeRegistry;
class HKUnit;

class HKObjectType : public NSObject {
 public:
  HKObjectType(const HKObjectType&) = delete;
  HKObjectType& operator=(const HKObjectType&) = delete;

  // HealthKit's identifier string, e.g. "HKQuantityTypeIdentifierStepCount".
  const std::string& identifier() const { return identifier_; }

  // The interned type of that kind, or nullptr when the identifier names no type of that kind.
  static std::shared_ptr<const HKQuantityType> quantityTypeForIdentifier(
      std::string_view identifier);
  static std::shared_ptr<const HKCategoryType> categoryTypeForIdentifier(
      std::string_view identifier);
  static std::shared_ptr<const HKCorrelationType> correlationTypeForIdentifier(
      std::string_view identifier);
  static std::shared_ptr<const HKWorkoutType> workoutType();

  // The interned type of any kind with this identifier, or nullptr. Reads back a type that was
  // stored by its identifier (what decoding an archived type does).
  static std::shared_ptr<const HKObjectType> typeForIdentifier(std::string_view identifier);

  // Types are equal exactly when their identifiers are.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return std::hash<std::string>{}(identifier_); }
  std::string description() const override { return identifier_; }
  // Key "identifier".
  NSAny valueForKey(const std::string& key) const override;

 protected:
  // Only the type registry makes types, so every type object is the interned one.
  explicit HKObjectType(std::string identifier) : identifier_(std::move(identifier)) {}

 private:
  const std::string identifier_;
};

// A type whose objects are samples: they have a start and an end date.
class HKSampleType : public HKObjectType {
 public:
  std::string className() const override { return "HKSampleType"; }

 protected:
  using HKObjectType::HKObjectType;
};

// How samples of a quantity type combine: summed over time, or averaged (and how).
enum HKQuantityAggregationStyle : long {
  HKQuantityAggregationStyleCumulative = 0,
  HKQuantityAggregationStyleDiscreteArithmetic = 1,
  HKQuantityAggregationStyleDiscrete = HKQuantityAggregationStyleDiscreteArithmetic,
  HKQuantityAggregationStyleDiscreteTemporallyWeighted = 2,
  HKQuantityAggregationStyleDiscreteEquivalentContinuousLevel = 3,
};

// A type of numeric samples (step count, body mass...). Each accepts units of one dimension.
class HKQuantityType final : public HKSampleType {
 public:
  HKQuantityAggregationStyle aggregationStyle() const { return aggregationStyle_; }
  std::string className() const override { return "HKQuantityType"; }

  // Whether a quantity in `unit` may be stored as this type: a unit of the same dimension as the
  // type's own (any mass for body mass, count per time for heart rate...).
  bool isCompatibleWithUnit(const HKUnit& unit) const;

  // The unit HealthKit documents for the type ("count/min" for heart rate); its dimension is the
  // one the type accepts. The simulator's own: statistics are computed in it.
  const std::shared_ptr<const HKUnit>& canonicalUnit() const { return canonicalUnit_; }

 private:
  friend class HKTypeRegistry;
  HKQuantityType(std::string identifier, HKQuantityAggregationStyle style,
                 std::shared_ptr<const HKUnit> unit)
      : HKSampleType(std::move(identifier)),
        aggregationStyle_(style),
        canonicalUnit_(std::move(unit)) {}

  HKQuantityAggregationStyle aggregationStyle_;
  std::shared_ptr<const HKUnit> canonicalUnit_;
};

// A type of samples holding one value from a small enumeration (sleep analysis, stand hour...).
class HKCategoryType final : public HKSampleType {
 public:
  // Whether `value` is one of the type's values (HKCategoryValueSleepAnalysis... ).
  bool isValidValue(long value) const { return value >= minimumValue_ && value <= maximumValue_; }
  std::string className() const override { return "HKCategoryType"; }

 private:
  friend class HKTypeRegistry;
  HKCategoryType(std::string identifier, long minimumValue, long maximumValue)
      : HKSampleType(std::move(identifier)),
        minimumValue_(minimumValue),
        maximumValue_(maximumValue) {}

  long minimumValue_;
  long maximumValue_;
};

// A type of samples that group other samples (blood pressure, food).
class HKCorrelationType final : public HKSampleType {
 public:
  // Whether a correlation of this type may contain samples of `type`: blood pressure holds the
  // systolic and diastolic pressures, food holds the dietary quantity types.
  bool mayContain(const HKObjectType& type) const;
  std::string className() const override { return "HKCorrelationType"; }

 private:
  friend class HKTypeRegistry;
  explicit HKCorrelationType(std::string identifier) : HKSampleType(std::move(identifier)) {}
};

// The type of workouts. There is exactly one.
class HKWorkoutType final : public HKSampleType {
 public:
  std::string className() const override { return "HKWorkoutType"; }

 private:
  friend class HKTypeRegistry;
  explicit HKWorkoutType(std::string identifier) : HKSampleType(std::move(identifier)) {}
};

// Hashes and compares shared type pointers by identifier, for unordered maps and sets keyed by
// types of any kind (std::shared_ptr<const HKSampleType>, ...). A null pointer equals only null.
struct HKObjectTypeHash {
  template <class T>
  std::size_t operator()(const std::shared_ptr<T>& type) const {
    return type ? type->hash() : 0;
  }
};
struct HKObjectTypeEqual {
  template <class T, class U>
  bool operator()(const std::shared_ptr<T>& a, const std::shared_ptr<U>& b) const {
    if (!a || !b) return !a && !b;
    return a->isEqual(*b);
  }
};

// Types hash by identifier, like their isEqual.
template <>
struct std::hash<HKObjectType> {
  std::size_t operator()(const HKObjectType& type) const { return type.hash(); }
};
