#pragma once

// ExportDevices: the devices an export's objects name, each description read once. Records
// repeat the same few devices millions of times, differing at most in the address HealthKit
// printed, so a device is kept by the properties it is made from and shared by the objects that
// name it (devices are immutable). A hostile export naming more devices than are kept starts
// the collection afresh.
//
// Driven by the reader's one thread.
//
//   ExportDevices devices;
//   HKDevice::Pointer device = devices.deviceFor(attributes.value("device"));

#include <map>
#include <string>
#include <string_view>

#include "HealthKit/HKDevice.h"

namespace apple_health_export {

class ExportDevices {
 public:
  // The device `description` describes; nullptr when it is not a device description.
  HKDevice::Pointer deviceFor(std::string_view description);

 private:
  std::map<std::string, HKDevice::Pointer, std::less<>> devices_;  // by their properties
};

}  // namespace apple_health_export
