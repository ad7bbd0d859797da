#include "HealthKit/HKDevice.h"

#include <cstdio>
#include <utility>

#include "HealthKit/UIKit/UIDevice.h"

HKDevice::Pointer HKDevice::deviceWithName(Text name, Text manufacturer, Text model,
                                           Text hardwareVersion, Text firmwareVersion,
                                           Text softwareVersion, Text localIdentifier,
                                           Text UDIDeviceIdentifier) {
  std::shared_ptr<HKDevice> device(new HKDevice());
  device->name_ = std::move(name);
  device->manufacturer_ = std::move(manufacturer);
  device->model_ = std::move(model);
  device->hardwareVersion_ = std::move(hardwareVersion);
  device->firmwareVersion_ = std::move(firmwareVersion);
  device->softwareVersion_ = std::move(softwareVersion);
  device->localIdentifier_ = std::move(localIdentifier);
  device->UDIDeviceIdentifier_ = std::move(UDIDeviceIdentifier);
  return device;
}

HKDevice::Pointer HKDevice::localDevice() {
  auto current = UIDevice::currentDevice();
  return deviceWithName(current->name(), "Apple Inc.", current->model(), std::nullopt, std::nullopt,
                        current->systemVersion(), std::nullopt, std::nullopt);
}

bool HKDevice::isEqual(const NSObject& other) const {
  const auto* device = dynamic_cast<const HKDevice*>(&other);
  return device != nullptr && device->name_ == name_ && device->manufacturer_ == manufacturer_ &&
         device->model_ == model_ && device->hardwareVersion_ == hardwareVersion_ &&
         device->firmwareVersion_ == firmwareVersion_ &&
         device->softwareVersion_ == softwareVersion_ &&
         device->localIdentifier_ == localIdentifier_ &&
         device->UDIDeviceIdentifier_ == UDIDeviceIdentifier_;
}

std::size_t HKDevice::hash() const {
  return std::hash<std::string>{}(name_.value_or("") + "\n" + model_.value_or(""));
}

std::string HKDevice::description() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  std::string text = std::string("<<HKDevice: ") + address + ">";
  const std::pair<const char*, const Text*> parts[] = {
      {"name", &name_},
      {"manufacturer", &manufacturer_},
      {"model", &model_},
      {"hardware", &hardwareVersion_},
      {"firmware", &firmwareVersion_},
      {"software", &softwareVersion_},
      {"localIdentifier", &localIdentifier_},
      {"UDIDeviceIdentifier", &UDIDeviceIdentifier_},
  };
  for (const auto& [label, value] : parts) {
    if (*value) text += std::string(", ") + label + ":" + **value;
  }
  return text + ">";
}

NSAny HKDevice::valueForKey(const std::string& key) const {
  const std::pair<const char*, const Text*> properties[] = {
      {"name", &name_},
      {"manufacturer", &manufacturer_},
      {"model", &model_},
      {"hardwareVersion", &hardwareVersion_},
      {"firmwareVersion", &firmwareVersion_},
      {"softwareVersion", &softwareVersion_},
      {"localIdentifier", &localIdentifier_},
      {"UDIDeviceIdentifier", &UDIDeviceIdentifier_},
  };
  for (const auto& [name, value] : properties) {
    if (key == name) return *value ? NSAny(**value) : NSAny();
  }
  return NSObject::valueForKey(key);
}
