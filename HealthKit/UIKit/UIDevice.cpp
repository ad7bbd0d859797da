#include "HealthKit/UIKit/UIDevice.h"

#include <utility>

#include "Foundation/Platform/PlatformEnvironment.h"

std::shared_ptr<UIDevice> UIDevice::currentDevice() {
  // Never destroyed, like the shared application.
  static const auto* const device = new std::shared_ptr<UIDevice>(new UIDevice());
  return *device;
}

std::string UIDevice::name() const {
  std::lock_guard lock(mutex_);
  return name_;
}

std::string UIDevice::model() const {
  std::lock_guard lock(mutex_);
  return model_;
}

std::string UIDevice::systemName() const { return "iOS"; }

std::string UIDevice::systemVersion() const {
  const NSOperatingSystemVersion version = platform::Environment::shared().operatingSystemVersion();
  std::string text =
      std::to_string(version.majorVersion) + "." + std::to_string(version.minorVersion);
  if (version.patchVersion != 0) text += "." + std::to_string(version.patchVersion);
  return text;
}

void UIDevice::setName(std::string name) {
  std::lock_guard lock(mutex_);
  name_ = std::move(name);
}

void UIDevice::setModel(std::string model) {
  std::lock_guard lock(mutex_);
  model_ = std::move(model);
}

void UIDevice::reset() {
  std::lock_guard lock(mutex_);
  name_ = "iPhone";
  model_ = "iPhone";
}
