#include "HealthKit/HKSource.h"

#include <mutex>

namespace {

struct DefaultSource {
  std::mutex mutex;  // guards source
  HKSource::Pointer source;
};

DefaultSource& defaultSourceSlot() {
  static DefaultSource* const slot = new DefaultSource();  // never destroyed
  return *slot;
}

HKSource::Pointer makeStandardSource() {
  return HKSource::sourceWithName("Ostrand", "com.ostrand.health");
}

}  // namespace

HKSource::Pointer HKSource::defaultSource() {
  DefaultSource& slot = defaultSourceSlot();
  std::lock_guard lock(slot.mutex);
  if (!slot.source) slot.source = makeStandardSource();
  return slot.source;
}

void HKSource::setDefaultSource(Pointer source) {
  DefaultSource& slot = defaultSourceSlot();
  std::lock_guard lock(slot.mutex);
  slot.source = std::move(source);
}

HKSource::Pointer HKSource::sourceWithName(std::string name, std::string bundleIdentifier) {
  return Pointer(new HKSource(std::move(name), std::move(bundleIdentifier)));
}

bool HKSource::isEqual(const NSObject& other) const {
  const auto* source = dynamic_cast<const HKSource*>(&other);
  return source != nullptr && source->bundleIdentifier_ == bundleIdentifier_;
}

std::string HKSource::description() const {
  return "<HKSource: name:" + name_ + ", bundle:" + bundleIdentifier_ + ">";
}

NSAny HKSource::valueForKey(const std::string& key) const {
  if (key == "name") return name_;
  if (key == "bundleIdentifier") return bundleIdentifier_;
  return NSObject::valueForKey(key);
}
