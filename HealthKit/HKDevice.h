#pragma once

// HKDevice: the hardware that took a measurement (an Apple Watch, a scale, a glucose meter...).
// Every property is optional.
//
// Immutable and shared; safe to use from any thread. Equal when every property is equal.
// description() is HealthKit's: "<<HKDevice: 0x...>, name:Apple Watch, manufacturer:Apple Inc.,
// model:Watch, hardware:Watch6,7, software:10.2>", listing only the properties that are set.
//
//   auto watch = HKDevice::deviceWithName("Apple Watch", "Apple Inc.", "Watch", "Watch6,7",
//                                         std::nullopt, "10.2", std::nullopt, std::nullopt);

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/NSObject.h"

class HKDevice : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKDevice>;
  using Text = std::optional<std::string>;

  static Pointer deviceWithName(Text name, Text manufacturer, Text model, Text hardwareVersion,
                                Text firmwareVersion, Text softwareVersion, Text localIdentifier,
                                Text UDIDeviceIdentifier);
  // The device the application runs on: UIDevice's name and model, made by Apple, running the
  // environment's operating-system version.
  static Pointer localDevice();

  const Text& name() const { return name_; }
  const Text& manufacturer() const { return manufacturer_; }
  const Text& model() const { return model_; }
  const Text& hardwareVersion() const { return hardwareVersion_; }
  const Text& firmwareVersion() const { return firmwareVersion_; }
  const Text& softwareVersion() const { return softwareVersion_; }
  const Text& localIdentifier() const { return localIdentifier_; }
  const Text& UDIDeviceIdentifier() const { return UDIDeviceIdentifier_; }

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override;
  std::string description() const override;
  std::string className() const override { return "HKDevice"; }
  // Each property by its name (nil when missing).
  NSAny valueForKey(const std::string& key) const override;

 private:
  HKDevice() = default;

  Text name_, manufacturer_, model_, hardwareVersion_, firmwareVersion_, softwareVersion_,
      localIdentifier_, UDIDeviceIdentifier_;
};
