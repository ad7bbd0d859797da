#include "AppleHealthExport/internal/ExportTypeCache.h"

#include <stdexcept>

namespace apple_health_export {

namespace {

// Names kept at most; a hostile export naming more starts afresh.
constexpr std::size_t kMaxNames = 1024;

}  // namespace

ExportTypeCache::RecordType ExportTypeCache::recordType(std::string_view identifier) {
  if (auto known = recordTypes_.find(identifier); known != recordTypes_.end()) {
    return known->second;
  }
  RecordType type;
  type.quantity = HKObjectType::quantityTypeForIdentifier(identifier);
  if (!type.quantity) type.category = HKObjectType::categoryTypeForIdentifier(identifier);
  if (!type.quantity && !type.category) return type;
  if (recordTypes_.size() >= kMaxNames) recordTypes_.clear();
  recordTypes_.emplace(std::string(identifier), type);
  return type;
}

HKUnit::Pointer ExportTypeCache::unit(std::string_view text, AppleHealthExportSummary& summary) {
  if (auto known = units_.find(text); known != units_.end()) return known->second;
  HKUnit::Pointer unit;
  try {
    unit = HKUnit::unitFromString(text);
  } catch (const std::invalid_argument&) {
    ++summary.unknownUnits[std::string(text)];
    return nullptr;
  }
  if (units_.size() >= kMaxNames) units_.clear();
  units_.emplace(std::string(text), unit);
  return unit;
}

}  // namespace apple_health_export
