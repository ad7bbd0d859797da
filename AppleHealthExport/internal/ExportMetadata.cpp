#include "AppleHealthExport/internal/ExportMetadata.h"

#include <cmath>
#include <stdexcept>

#include "AppleHealthExport/internal/ExportValues.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKUnit.h"

namespace apple_health_export {

namespace {

enum class Kind { kBoolean, kInteger, kNumber, kQuantity };

// HealthKit keys whose values are not strings. Keys not listed stay strings.
const std::map<std::string, Kind>& typedKeys() {
  static const std::map<std::string, Kind> kKeys = {
      {HKMetadataKeyWasUserEntered, Kind::kBoolean},
      {HKMetadataKeyMenstrualCycleStart, Kind::kBoolean},
      {HKMetadataKeySexualActivityProtectionUsed, Kind::kBoolean},
      {HKMetadataKeyIndoorWorkout, Kind::kBoolean},
      {HKMetadataKeyInsulinDeliveryReason, Kind::kInteger},
      {HKMetadataKeyWeatherCondition, Kind::kInteger},
      {HKMetadataKeyHeartRateMotionContext, Kind::kInteger},
      {HKMetadataKeyVO2MaxTestType, Kind::kInteger},
      {HKMetadataKeyBloodGlucoseMealTime, Kind::kInteger},
      {HKMetadataKeySwimmingLocationType, Kind::kInteger},
      {HKMetadataKeySwimmingStrokeStyle, Kind::kInteger},
      {"HKSleepingWristTemperatureSourceType", Kind::kInteger},
      {HKMetadataKeySyncVersion, Kind::kInteger},
      {HKMetadataKeySWOLFScore, Kind::kNumber},
      {HKMetadataKeyWeatherTemperature, Kind::kQuantity},
      {HKMetadataKeyWeatherHumidity, Kind::kQuantity},
      {HKMetadataKeyAverageMETs, Kind::kQuantity},
      {HKMetadataKeyElevationAscended, Kind::kQuantity},
      {"HKElevationDescended", Kind::kQuantity},
      {HKMetadataKeyLapLength, Kind::kQuantity},
  };
  return kKeys;
}

// Keys HealthKit checks: a value it cannot hold is dropped; other typed keys fall back to text.
bool checked(const std::string& key) {
  return key == HKMetadataKeyWasUserEntered || key == HKMetadataKeyMenstrualCycleStart ||
         key == HKMetadataKeySexualActivityProtectionUsed ||
         key == HKMetadataKeyInsulinDeliveryReason || key == HKMetadataKeyWeatherCondition ||
         key == HKMetadataKeyWeatherTemperature || key == HKMetadataKeyWeatherHumidity;
}

std::optional<NSAny> typedValue(const std::string& key, Kind kind, const std::string& text,
                                const MetadataProblems& problems) {
  if (kind == Kind::kQuantity) {
    auto parts = splitNumberAndUnit(text);
    if (!parts) return std::nullopt;
    HKUnit::Pointer unit;
    try {
      unit = HKUnit::unitFromString(parts->unit);
    } catch (const std::invalid_argument&) {
      if (problems.unknownUnits) ++(*problems.unknownUnits)[parts->unit];
      return std::nullopt;
    }
    // The watch writes its percentages as HKQuantity prints them: the fraction times 100.
    const double value = unit->isEqual(*HKUnit::percentUnit()) ? parts->value / 100 : parts->value;
    if (key == HKMetadataKeyWeatherHumidity && !unit->isEqual(*HKUnit::percentUnit())) {
      return std::nullopt;
    }
    if (key == HKMetadataKeyWeatherTemperature &&
        !HKQuantity::quantityWithUnit(unit, value)->isCompatibleWithUnit(*HKUnit::kelvinUnit())) {
      return std::nullopt;
    }
    return NSAny(HKQuantity::quantityWithUnit(unit, value));
  }
  auto number = parseExportNumber(text);
  if (!number) return std::nullopt;
  if (kind == Kind::kNumber) return NSAny(*number);
  if (*number != std::floor(*number)) return std::nullopt;
  if (kind == Kind::kBoolean) {
    if (*number != 0 && *number != 1) return std::nullopt;
    return NSAny(*number == 1);
  }
  if (key == HKMetadataKeyInsulinDeliveryReason &&
      (*number < static_cast<double>(HKInsulinDeliveryReasonBasal) ||
       *number > static_cast<double>(HKInsulinDeliveryReasonBolus))) {
    return std::nullopt;
  }
  if (key == HKMetadataKeyWeatherCondition &&
      (*number < static_cast<double>(HKWeatherConditionNone) ||
       *number > static_cast<double>(HKWeatherConditionTornado))) {
    return std::nullopt;
  }
  return NSAny(static_cast<long long>(*number));
}

}  // namespace

std::shared_ptr<const NSDictionary> exportMetadata(const MetadataEntries& entries,
                                                   const MetadataProblems& problems) {
  if (entries.empty()) return nullptr;
  NSDictionary::Storage storage;
  for (const auto& [key, text] : entries) {
    auto typed = typedKeys().find(key);
    if (typed == typedKeys().end()) {
      storage[key] = NSAny(text);
      continue;
    }
    if (auto value = typedValue(key, typed->second, text, problems)) {
      storage[key] = *value;
      continue;
    }
    if (problems.unreadable) ++(*problems.unreadable)["unreadable metadata " + key];
    if (checked(key)) {
      storage.erase(key);
    } else {
      storage[key] = NSAny(text);
    }
  }
  return NSDictionary::dictionaryWithDictionary(std::move(storage));
}

}  // namespace apple_health_export
