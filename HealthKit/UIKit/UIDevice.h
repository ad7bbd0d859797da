#pragma once

// UIDevice: the device the application runs on; records carry its name and model. The system
// name is "iOS" and the system version comes from platform::Environment's operating-system
// version ("17.0", or "17.0.1" when there is a patch number). The host and tests may set the
// name and model ("iPhone" and "iPhone" until they do).
//
// Thread-safe. The current device is never destroyed.

#include <memory>
#include <mutex>
#include <string>

class UIDevice {
 public:
  static std::shared_ptr<UIDevice> currentDevice();

  std::string name() const;
  std::string model() const;
  std::string systemName() const;
  std::string systemVersion() const;

  // --- For the host and tests ---
  void setName(std::string name);
  void setModel(std::string model);
  // The default name and model again.
  void reset();

 private:
  UIDevice() = default;

  mutable std::mutex mutex_;  // guards name_ and model_
  std::string name_ = "iPhone";
  std::string model_ = "iPhone";
};
