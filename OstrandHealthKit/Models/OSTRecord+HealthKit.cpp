#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIDevice.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/Categories/HKSource+Ostrand.h"
#include "OstrandHealthKit/Categories/NSCalendar+Ostrand.h"
#include "OstrandHealthKit/Categories/OSTNutrition+HealthKit.h"
#include "OstrandHealthKit/Categories/OSTSleep+HealthKit.h"
#include "OstrandHealthKit/Categories/OSTWeight+HealthKit.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/Models/OSTDiabetes+HealthKit.h"
#include "OstrandHealthKit/Models/OSTFitness+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRecord+HealthKit.h"
#include "OstrandHealthKit/Models/OSTRoutine+HealthKit.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

const char kOSTWeatherConditionKey[] = "weather_condition";
const char kOSTWeatherTemperatureKey[] = "weather_temperature";
const char kOSTWeatherHumidityKey[] = "weather_humidity";
const char kOSTOriginalSourceAppleWatch[] = "Apple Watch";
const char kHKAggregateBundleIdentifier[] = "com.Apple.Health.AggregateRecord";
const char kHKAggregateSourceName[] = "Apple Health Aggregate";

namespace {

// The Health app's own bundle identifier; workouts and mindful sessions of the watch come from
// identifiers that continue it ("com.apple.health.<device>").
constexpr std::string_view kHealthBundleIdentifier = "com.apple.health";
constexpr std::string_view kClockBundleIdentifier = "com.apple.mobiletimer";

// Whether `text` begins with `prefix` (all lower case), ignoring the case of `text`.
bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(), [](char lower, char c) {
           return lower == (c >= 'A' && c <= 'Z' ? c + 32 : c);
         });
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
  return text.size() == lower.size() && startsWithIgnoringCase(text, lower);
}

std::string_view typeIdentifier(const HKObject& object) {
  const auto* sample = dynamic_cast<const HKSample*>(&object);
  return sample && sample->sampleType() ? std::string_view(sample->sampleType()->identifier())
                                        : std::string_view();
}

// The metadata value under the key as a quantity readable in `unit`, or nullptr.
HKQuantity::Pointer metadataQuantity(const HKMetadata& metadata, const std::string& key,
                                     const HKUnit& unit) {
  auto quantity = metadata->objectForKey(key).objectAs<HKQuantity>();
  return quantity && quantity->isCompatibleWithUnit(unit) ? quantity : nullptr;
}

// The quantity's value in `unit` into the extra, when the record can hold it.
void setQuantityExtra(OSTRecord& record, const HKQuantity::Pointer& quantity, const HKUnit& unit,
                      std::string_view key) {
  if (!quantity) return;
  const double value = quantity->doubleValueForUnit(unit);
  if (fitsRecordNumber(value)) record.setExtraValue(value, key);
}

void setWeather(OSTRecord& record, const HKMetadata& metadata) {
  const NSAny condition = metadata->objectForKey(HKMetadataKeyWeatherCondition);
  if (condition.isNumber()) {
    // A number no integer holds names no condition either.
    record.setExtraValue(weatherConditionString(recordIntegerValue(condition).value_or(-1)),
                         kOSTWeatherConditionKey);
  }
  // Built once: this runs for every record, and most samples carry no weather at all.
  static const auto celsius = HKUnit::degreeCelsiusUnit();
  setQuantityExtra(record, metadataQuantity(metadata, HKMetadataKeyWeatherTemperature, *celsius),
                   *celsius, kOSTWeatherTemperatureKey);
  // Humidity stays HealthKit's fraction (0.45 for 45 %): unlike setQuantity, no factor of 100.
  static const auto percent = HKUnit::percentUnit();
  setQuantityExtra(record, metadataQuantity(metadata, HKMetadataKeyWeatherHumidity, *percent),
                   *percent, kOSTWeatherHumidityKey);
}

// Workouts and mindful sessions recorded by a watch: only bundle identifiers that continue past
// the Health app's own ("com.apple.health." and more, any letter case) qualify.
bool isWatchRecording(const HKObject& object, std::string_view type, std::string_view bundle) {
  if (!dynamic_cast<const HKWorkout*>(&object) && type != HKCategoryTypeIdentifierMindfulSession) {
    return false;
  }
  return bundle.size() > kHealthBundleIdentifier.size() &&
         startsWithIgnoringCase(bundle, kHealthBundleIdentifier) &&
         bundle[kHealthBundleIdentifier.size()] == '.';
}

std::string originalSourceOf(const HKSource& source) {
  if (equalsIgnoringCase(source.bundleIdentifier(), kHealthBundleIdentifier)) {
    return "Apple Health";
  }
  if (isCurrentDevice(source)) return UIDevice::currentDevice()->model();
  return sanitizedName(source);
}

// sourcePeripheral and intermediarySource, the parts of setHealthKitSource that do not depend on
// the device.
void setSourceApps(OSTRecord& record, const HKSource& source) {
  record.setSourcePeripheral(source.bundleIdentifier());
  record.setIntermediarySource(kOSTIntermediarySourceAppleHealth);
}

// The record as its kind's class, when it is of that kind: each record class answers its own
// kind, which is cheaper to ask than a dynamic_cast on every sample.
template <class Kind>
Kind* recordOfKind(OSTRecord& record, OSTRecordType kind) {
  return record.recordType() == kind ? static_cast<Kind*>(&record) : nullptr;
}

// The common conversion, by the kind of the sample; the record kind's own parts are reached
// through setCategorySample and setWorkout.
void setSampleValues(OSTRecord& record, const HKObject& sample) {
  // The kinds are disjoint; the commonest is asked first.
  if (const auto* quantitySample = dynamic_cast<const HKQuantitySample*>(&sample)) {
    const auto quantity = quantitySample->quantity();
    const auto type = quantitySample->quantityType();
    if (!quantity || !type) return;
    const auto unit = OSTHealthKitSubscription::unitForQuantityTypeIdentifier(type->identifier());
    if (unit) setQuantity(record, *quantity, *type, *unit);
  } else if (const auto* categorySample = dynamic_cast<const HKCategorySample*>(&sample)) {
    setCategorySample(record, *categorySample);
  } else if (const auto* correlation = dynamic_cast<const HKCorrelation*>(&sample)) {
    for (const auto& member : correlation->objects()) {
      if (member) setHealthKitSample(record, *member);
    }
  } else if (const auto* workout = dynamic_cast<const HKWorkout*>(&sample)) {
    setWorkout(record, *workout);
  }
}

}  // namespace

// --- The one place that picks a record kind's behaviour ---

std::shared_ptr<const OSTHealthKitKeyPaths> healthKitKeyPaths(OSTRecordType recordType) {
  switch (recordType) {
    case OSTRecordTypeBiometrics:
      return biometricsHealthKitKeyPaths();
    case OSTRecordTypeDiabetes:
      return diabetesHealthKitKeyPaths();
    case OSTRecordTypeWeight:
      return weightHealthKitKeyPaths();
    case OSTRecordTypeRoutine:
      return routineHealthKitKeyPaths();
    case OSTRecordTypeNutrition:
      return nutritionHealthKitKeyPaths();
    case OSTRecordTypeFitness:
      return fitnessHealthKitKeyPaths();
    default:  // none, sleep, intraday
      return nullptr;
  }
}

std::shared_ptr<const OSTHealthKitKeyPaths> healthKitKeyPaths(const OSTRecord& record) {
  return healthKitKeyPaths(record.recordType());
}

void setHealthKitSample(OSTRecord& record, const HKObject& sample) {
  setSampleValues(record, sample);
  if (auto* diabetes = recordOfKind<OSTDiabetes>(record, OSTRecordTypeDiabetes)) {
    setDiabetesHealthKitSample(*diabetes, sample);
  }
}

void setCategorySample(OSTRecord& record, const HKCategorySample& sample) {
  if (auto* biometrics = recordOfKind<OSTBiometrics>(record, OSTRecordTypeBiometrics)) {
    setBiometricsCategorySample(*biometrics, sample);
  } else if (auto* sleep = recordOfKind<OSTSleep>(record, OSTRecordTypeSleep)) {
    setSleepCategorySample(*sleep, sample);
  }
}

void setWorkout(OSTRecord& record, const HKWorkout& workout) {
  if (auto* fitness = recordOfKind<OSTFitness>(record, OSTRecordTypeFitness)) {
    setFitnessWorkout(*fitness, workout);
  }
}

// --- Common fields ---

std::string weatherConditionString(NSInteger condition) {
  static constexpr std::array<std::string_view, 28> kNames = {
      "None",
      "Clear",
      "Fair",
      "Partly Cloudy",
      "Mostly Cloudy",
      "Cloudy",
      "Foggy",
      "Haze",
      "Windy",
      "Blustery",
      "Smoky",
      "Dust",
      "Snow",
      "Hail",
      "Sleet",
      "Freezing Drizzle",
      "Freezing Rain",
      "Mixed Rain And Hail",
      "Mixed Rain And Snow",
      "Mixed Rain And Sleet",
      "Mixed Snow And Sleet",
      "Drizzle",
      "Scattered Showers",
      "Showers",
      "Thunderstorms",
      "Tropical Storm",
      "Hurricane",
      "Tornado",
  };
  if (condition < 0 || condition >= static_cast<NSInteger>(kNames.size())) return "Unknown";
  return std::string(kNames[static_cast<std::size_t>(condition)]);
}

void setHealthKitMetadata(OSTRecord& record, const HKObject& object) {
  const HKSource::Pointer source =
      object.sourceRevision() ? object.sourceRevision()->source() : nullptr;
  const std::string_view bundle = source ? source->bundleIdentifier() : std::string_view();
  const std::string_view type = typeIdentifier(object);
  const bool fromWatch = isWatchRecording(object, type, bundle);

  const HKMetadata& metadata = object.metadata();
  if (metadata) {
    const NSAny userEntered = metadata->objectForKey(HKMetadataKeyWasUserEntered);
    if (userEntered.isNumber()) record.setValidated(userEntered.boolValue() ? 0 : 1);
  }
  // Sleep recorded by the Clock app's bedtime schedule counts as validated, as does the watch.
  if (fromWatch || (type == HKCategoryTypeIdentifierSleepAnalysis &&
                    equalsIgnoringCase(bundle, kClockBundleIdentifier))) {
    record.setValidated(true);
  }
  if (metadata) setWeather(record, metadata);

  // originalSource: the device's name wins over the watch, which wins over the source; only the
  // winner is worked out.
  const auto device = object.device();
  auto deviceName = device ? device->name() : std::nullopt;
  if (source) setSourceApps(record, *source);
  if (deviceName) {
    record.setOriginalSource(std::move(deviceName));
  } else if (fromWatch) {
    record.setOriginalSource(kOSTOriginalSourceAppleWatch);
  } else if (source) {
    record.setOriginalSource(originalSourceOf(*source));
  }
}

void setHealthKitSource(OSTRecord& record, const HKSource& source) {
  record.setOriginalSource(originalSourceOf(source));
  setSourceApps(record, source);
}

std::optional<double> recordValueForQuantity(const HKQuantity& quantity, const HKQuantityType& type,
                                             const HKUnit& unit) {
  if (!quantity.isCompatibleWithUnit(unit)) return std::nullopt;
  // Counts are whole, except the body-mass index, which HealthKit also reads as a count.
  const bool round =
      unit.unitString() == "count" && type.identifier() != HKQuantityTypeIdentifierBodyMassIndex;
  double value = quantity.doubleValueForUnit(unit);
  if (round) value = std::round(value);  // halves away from zero
  // HealthKit's percent is a fraction; records keep percentages.
  if (unit.unitString() == "%") value *= 100.0;
  if (round ? !fitsRecordInteger(value) : !fitsRecordNumber(value)) return std::nullopt;
  return value;
}

void setQuantity(OSTRecord& record, const HKQuantity& quantity, const HKQuantityType& type,
                 const HKUnit& unit) {
  const auto keyPaths = healthKitKeyPaths(record);
  if (!keyPaths) return;
  const auto entry = keyPaths->find(type.identifier());
  if (entry == keyPaths->end()) return;
  const auto value = recordValueForQuantity(quantity, type, unit);
  if (!value) return;

  const std::string_view keyPath = entry->second;
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) {
    record.setValue(*value, keyPath);
  } else if (keyPath.substr(0, dot) == "extras" &&
             keyPath.find('.', dot + 1) == std::string_view::npos) {
    record.setExtraValue(*value, keyPath.substr(dot + 1));
  }
}

std::optional<long long> recordIntegerValue(const NSAny& value) {
  if (!value.isNumber()) return std::nullopt;
  const char* type = value.objCType();
  // Booleans and integers are whole already; only a floating-point number can be out of range.
  if (type != nullptr && type[0] != 'd') return value.integerValue();
  const double whole = std::trunc(value.doubleValue());
  if (!fitsRecordInteger(whole)) return std::nullopt;
  return static_cast<long long>(whole);
}

std::vector<std::shared_ptr<OSTRecord>> recordsForHealthKitSamples(
    const std::vector<std::shared_ptr<const HKSample>>& samples, OSTRecordType recordType) {
  std::vector<std::shared_ptr<OSTRecord>> records;
  if (recordType == OSTRecordTypeNone) return records;
  records.reserve(samples.size());
  for (const auto& sample : samples) {
    auto record = OSTRecord::newRecordWithType(recordType);
    if (!record || !sample) continue;
    record->setTimestamp(sample->startDate());
    setHealthKitMetadata(*record, *sample);
    record->setActivityID(sample->UUID().UUIDString());
    setHealthKitSample(*record, *sample);
    records.push_back(std::move(record));
  }
  return records;
}

void addHeartRateSamples(OSTRecord& record,
                         const std::vector<std::shared_ptr<const HKSample>>& samples) {
  const auto bpm = HKUnit::unitFromString("count/min");
  double minimum = 999.0;
  double maximum = 0.0;
  double sum = 0.0;
  int count = 0;
  for (const auto& entry : samples) {
    const auto* sample = dynamic_cast<const HKQuantitySample*>(entry.get());
    if (!sample || !sample->quantity() || !sample->quantity()->isCompatibleWithUnit(*bpm)) continue;
    const double value = sample->quantity()->doubleValueForUnit(*bpm);
    if (!fitsRecordNumber(value)) continue;
    if (value < minimum) minimum = value;
    if (value > maximum) maximum = value;
    sum += value;
    ++count;
  }
  if (count == 0) return;
  const double average = std::round(sum / count);
  if (fitsRecordInteger(average)) record.setExtraValue(average, "avg_heart_rate");
  record.setExtraValue(minimum, "min_heart_rate");
  record.setExtraValue(maximum, "max_heart_rate");
}

std::string dayRecordKey(std::string_view prefix, std::string_view source, NSDate date) {
  const auto calendar = ost_gregorianCalendar();
  const auto day =
      calendar->components(NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay, date);
  const auto user = OSTSession::sharedInstance()->user();
  std::string key(prefix);
  key += "-" + (user ? user->ostrandUserID() : std::string("(null)"));
  key += "-" + std::string(source);
  key += "-" + std::to_string(day.year()) + "-" + std::to_string(day.month()) + "-" +
         std::to_string(day.day());
  return key;
}
