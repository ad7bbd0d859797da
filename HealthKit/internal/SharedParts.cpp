#include "HealthKit/internal/SharedParts.h"

namespace platform::healthkit {

HKDevice::Pointer SharedParts::device(const HKDevice::Pointer& device) {
  if (!device) return device;
  std::lock_guard<std::mutex> lock(mutex_);
  return *devices_.insert(device).first;
}

std::shared_ptr<const PackedMetadata> SharedParts::metadata(
    const std::shared_ptr<const PackedMetadata>& metadata) {
  if (!metadata) return metadata;
  std::lock_guard<std::mutex> lock(mutex_);
  return *metadata_.insert(metadata).first;
}

HKSourceRevision::Pointer SharedParts::sourceRevision(const HKSourceRevision::Pointer& revision) {
  if (!revision) return revision;
  std::lock_guard<std::mutex> lock(mutex_);
  return *revisions_.insert(revision).first;
}

}  // namespace platform::healthkit
