#pragma once

// HKSource: the application or device that wrote an object to HealthKit (this app, the Health
// app, an Apple Watch...). Two sources are the same source when their bundle identifiers are.
//
// Immutable and shared; safe to use from any thread. defaultSource() is the running
// application's own source; the simulator and tests choose it, and make the sources of other
// writers with sourceWithName().
//
//   auto watch = HKSource::sourceWithName("Apple Watch", "com.apple.health.8A1B2C3D");
//   HKSource::defaultSource()->bundleIdentifier();  // this application's

#include <cstddef>
#include <memory>
#include <string>

#include "Foundation/NSObject.h"

class HKSource : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKSource>;

  const std::string& name() const { return name_; }
  const std::string& bundleIdentifier() const { return bundleIdentifier_; }

  // The running application's source.
  static Pointer defaultSource();

  // Equal by bundle identifier.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return std::hash<std::string>{}(bundleIdentifier_); }
  std::string description() const override;
  std::string className() const override { return "HKSource"; }
  // Keys "name" and "bundleIdentifier".
  NSAny valueForKey(const std::string& key) const override;

  // --- For the simulator and tests (HealthKit makes sources itself) ---
  static Pointer sourceWithName(std::string name, std::string bundleIdentifier);
  // Replaces the running application's source; nullptr restores the default one, named
  // "Ostrand" with bundle identifier "com.ostrand.health".
  static void setDefaultSource(Pointer source);

 private:
  HKSource(std::string name, std::string bundleIdentifier)
      : name_(std::move(name)), bundleIdentifier_(std::move(bundleIdentifier)) {}

  std::string name_;
  std::string bundleIdentifier_;
};
