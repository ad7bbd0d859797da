#pragma once

// platform::objectWithUUID: a copy of a HealthKit object that carries a given UUID instead of a
// random one. HealthKit gives every object a fresh UUID; a loader that replays data recorded
// elsewhere (a Health export) needs the same object to get the same UUID each time it is
// loaded, so that loading twice is recognisably the same data. Simulator-only: applications on a
// phone cannot choose UUIDs.
//
// Safe from any thread; the original object is not changed.
//
//   auto sample = HKQuantitySample::quantitySampleWithType(type, quantity, start, end);
//   auto stable = platform::objectWithUUID(*sample, derivedUUID);  // stable->UUID() == derivedUUID

#include <memory>

#include "Foundation/NSUUID.h"
#include "HealthKit/internal/HKObjectAccess.h"

namespace platform {

template <class T>
std::shared_ptr<const T> objectWithUUID(const T& object, const NSUUID& uuid) {
  return HKObjectAccess::copyWithUUID(object, uuid);
}

}  // namespace platform
