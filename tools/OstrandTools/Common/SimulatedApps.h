#pragma once

// The writers of a simulated person's data as HealthKit knows them: an app's source revision
// (its name, bundle identifier, the phone it ran on, iOS 17) and an Apple device (iPhone, Apple
// Watch) a sample was measured on. Shared by the demo's person and the bench's heavy user.
//
//   auto watchApp = device->storeForSource(
//       simulatedAppRevision("Sam’s Apple Watch", "com.apple.health.3C5D…", "Watch6,2"));
//   auto watch = simulatedAppleDevice("Apple Watch", "Watch", "Watch6,2");

#include "HealthKit/HKDevice.h"
#include "HealthKit/HKSourceRevision.h"

namespace ostrand_tools {

inline HKSourceRevision::Pointer simulatedAppRevision(const char* name, const char* bundle,
                                                      const char* product) {
  return HKSourceRevision::sourceRevisionWithSource(HKSource::sourceWithName(name, bundle), "17.0",
                                                    product, NSOperatingSystemVersion{17, 0, 0});
}

inline HKDevice::Pointer simulatedAppleDevice(const char* name, const char* model,
                                              const char* hardware) {
  return HKDevice::deviceWithName(name, "Apple Inc.", model, hardware, std::nullopt, "17.0",
                                  std::nullopt, std::nullopt);
}

}  // namespace ostrand_tools
