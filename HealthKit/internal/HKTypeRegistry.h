#pragma once

// HKTypeRegistry: the process-wide table of interned type objects behind HKObjectType's
// factories. Built once, on first use, from the type catalog, and never changed afterwards, so
// lookups need no lock. Internal to HealthKit/.

#include <memory>
#include <string_view>
#include <unordered_map>

#include "HealthKit/HKObjectType.h"

class HKTypeRegistry {
 public:
  static const HKTypeRegistry& shared();

  // The type with this identifier, or nullptr.
  std::shared_ptr<const HKObjectType> find(std::string_view identifier) const;
  const std::shared_ptr<const HKWorkoutType>& workoutType() const { return workoutType_; }

 private:
  HKTypeRegistry();
  void add(std::shared_ptr<const HKObjectType> type);

  // Keys view the identifiers of the types they map to.
  std::unordered_map<std::string_view, std::shared_ptr<const HKObjectType>> types_;
  std::shared_ptr<const HKWorkoutType> workoutType_;
};
