#pragma once

// HKQueryAnchorAccess: the store's view of an anchor's position, which applications cannot see.
// Internal to HealthKit/.

#include "HealthKit/HKQueryAnchor.h"

struct HKQueryAnchorAccess {
  static unsigned long value(const HKQueryAnchor& anchor) { return anchor.value_; }
};
