#pragma once

// HKQuantityAccess: the unit and number a quantity was made with, which HealthKit does not show
// applications; the store and the importer's tests use it. Internal to HealthKit/.

#include "HealthKit/HKQuantity.h"

struct HKQuantityAccess {
  static const HKUnit::Pointer& unit(const HKQuantity& quantity) { return quantity.unit_; }
  static double value(const HKQuantity& quantity) { return quantity.value_; }
};
