#include "AppleHealthExport/internal/ExportDevices.h"

#include "AppleHealthExport/internal/ExportValues.h"

namespace apple_health_export {

namespace {

constexpr std::size_t kMaxDevices = 1024;

}  // namespace

HKDevice::Pointer ExportDevices::deviceFor(std::string_view description) {
  const auto properties = exportDeviceProperties(description);
  if (!properties) return nullptr;
  if (auto known = devices_.find(*properties); known != devices_.end()) return known->second;
  if (devices_.size() >= kMaxDevices) devices_.clear();
  auto device = exportDeviceWithProperties(*properties);
  devices_.emplace(std::string(*properties), device);
  return device;
}

}  // namespace apple_health_export
