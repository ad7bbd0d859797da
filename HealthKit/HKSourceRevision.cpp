#include "HealthKit/HKSourceRevision.h"

#include <stdexcept>

namespace {

NSAny optionalString(const std::optional<std::string>& value) {
  return value ? NSAny(*value) : NSAny();
}

}  // namespace

HKSourceRevision::Pointer HKSourceRevision::sourceRevisionWithSource(
    HKSource::Pointer source, std::optional<std::string> version,
    std::optional<std::string> productType, NSOperatingSystemVersion operatingSystemVersion) {
  if (!source) throw std::invalid_argument("HKSourceRevision: source must not be null");
  return Pointer(new HKSourceRevision(std::move(source), std::move(version), std::move(productType),
                                      operatingSystemVersion));
}

HKSourceRevision::Pointer HKSourceRevision::sourceRevisionWithSource(
    HKSource::Pointer source, std::optional<std::string> version) {
  return sourceRevisionWithSource(std::move(source), std::move(version), std::nullopt, {});
}

bool HKSourceRevision::isEqual(const NSObject& other) const {
  const auto* revision = dynamic_cast<const HKSourceRevision*>(&other);
  return revision != nullptr && revision->source_->isEqual(*source_) &&
         revision->version_ == version_ && revision->productType_ == productType_ &&
         revision->operatingSystemVersion_ == operatingSystemVersion_;
}

std::string HKSourceRevision::description() const {
  const auto& os = operatingSystemVersion_;
  return "<HKSourceRevision: source:" + source_->name() + ", version:" + version_.value_or("") +
         ", productType:" + productType_.value_or("") +
         ", operatingSystemVersion:" + std::to_string(os.majorVersion) + "." +
         std::to_string(os.minorVersion) + "." + std::to_string(os.patchVersion) + ">";
}

NSAny HKSourceRevision::valueForKey(const std::string& key) const {
  if (key == "source") return source_;
  if (key == "version") return optionalString(version_);
  if (key == "productType") return optionalString(productType_);
  return NSObject::valueForKey(key);
}
