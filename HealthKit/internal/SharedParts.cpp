#include "HealthKit/internal/SharedParts.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>

namespace platform::healthkit {

namespace {

// Equal and boxed alike: what isEqual calls equal but a reader can tell apart (1 and 1.0,
// 0.0 and -0.0, two equal quantities in different units) is not the same value.
bool sameValue(const NSAny& a, const NSAny& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case NSAny::Kind::Nil:
      return true;
    case NSAny::Kind::Number:
      if (std::strcmp(a.objCType(), b.objCType()) != 0) return false;
      return std::strcmp(a.objCType(), "d") == 0 ? std::bit_cast<std::uint64_t>(a.doubleValue()) ==
                                                       std::bit_cast<std::uint64_t>(b.doubleValue())
                                                 : a.integerValue() == b.integerValue();
    case NSAny::Kind::String:
      return a.stringValue() == b.stringValue();
    case NSAny::Kind::Date:
      return std::bit_cast<std::uint64_t>(a.dateValue().timeIntervalSinceReferenceDate()) ==
             std::bit_cast<std::uint64_t>(b.dateValue().timeIntervalSinceReferenceDate());
    case NSAny::Kind::Object:
      return a.object() == b.object();
  }
  return false;
}

}  // namespace

std::size_t SharedParts::MetadataHash::operator()(const HKMetadata& metadata) const {
  std::size_t result = metadata->count();
  for (const auto& [key, value] : metadata->entries()) {
    result = result * 31 + std::hash<std::string>{}(key);
    result = result * 31 + value.hash();
  }
  return result;
}

bool SharedParts::MetadataEqual::operator()(const HKMetadata& a, const HKMetadata& b) const {
  if (a->count() != b->count()) return false;
  auto other = b->entries().begin();
  for (const auto& [key, value] : a->entries()) {
    if (key != other->first || !sameValue(value, other->second)) return false;
    ++other;
  }
  return true;
}

HKDevice::Pointer SharedParts::device(const HKDevice::Pointer& device) {
  if (!device) return device;
  std::lock_guard<std::mutex> lock(mutex_);
  return *devices_.insert(device).first;
}

HKMetadata SharedParts::metadata(const HKMetadata& metadata) {
  if (!metadata) return metadata;
  std::lock_guard<std::mutex> lock(mutex_);
  return *metadata_.insert(metadata).first;
}

}  // namespace platform::healthkit
