#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKTypeIdentifiers.h"
#include "OstrandCore/OSTFormatter.h"
#include "OstrandHealthKit/Models/OSTBiometrics+HealthKit.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"

namespace {

std::string dateString(NSDate date) {
  return OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter()->stringFromDate(date);
}

// Copies a metadata value to extras as it is, when there is one the extras can hold (a finite
// number, a boolean or a string); anything else is left out rather than thrown on.
void copyMetadataValue(OSTRecord& record, const HKCategorySample& sample,
                       const std::string& metadataKey, const std::string& extrasKey) {
  const HKMetadata metadata = sample.metadata();
  if (!metadata) return;
  const NSAny value = metadata->objectForKey(metadataKey);
  if ((value.isNumber() && fitsRecordNumber(value.doubleValue())) || value.isString()) {
    record.setExtraValue(value, extrasKey);
  }
}

// A day's heart rate of one source, in count/min; each value only when the record can hold it.
struct DayHeartRate {
  std::optional<double> minimum, maximum, average;

  bool empty() const { return !minimum && !maximum && !average; }
};

std::optional<double> beatsPerMinute(const HKQuantity::Pointer& quantity, const HKUnit& bpm) {
  const double value = quantity->doubleValueForUnit(bpm);
  return fitsRecordNumber(value) ? std::optional<double>(value) : std::nullopt;
}

// The source's day, when the statistics hold all three values in a heart-rate unit.
std::optional<DayHeartRate> dayHeartRate(const HKStatistics& day, const HKSource& source,
                                         const HKUnit& bpm) {
  const auto minimum = day.minimumQuantityForSource(source);
  const auto maximum = day.maximumQuantityForSource(source);
  const auto average = day.averageQuantityForSource(source);
  if (!minimum || !maximum || !average || !minimum->isCompatibleWithUnit(bpm) ||
      !maximum->isCompatibleWithUnit(bpm) || !average->isCompatibleWithUnit(bpm)) {
    return std::nullopt;
  }
  return DayHeartRate{beatsPerMinute(minimum, bpm), beatsPerMinute(maximum, bpm),
                      beatsPerMinute(average, bpm)};
}

}  // namespace

std::shared_ptr<const OSTHealthKitKeyPaths> biometricsHealthKitKeyPaths() {
  static auto* const keyPaths = new OSTCachedValue<OSTHealthKitKeyPaths>();
  return keyPaths->get([] {
    OSTHealthKitKeyPaths table{
        {HKQuantityTypeIdentifierBloodPressureSystolic, "systolic"},
        {HKQuantityTypeIdentifierBloodPressureDiastolic, "diastolic"},
        {HKQuantityTypeIdentifierOxygenSaturation, "spo2"},
        {HKQuantityTypeIdentifierBodyTemperature, "temperature"},
        {HKQuantityTypeIdentifierBloodAlcoholContent, "extras.blood_alcohol_content"},
        {HKQuantityTypeIdentifierElectrodermalActivity, "extras.electrodermal_activity"},
        {HKQuantityTypeIdentifierForcedExpiratoryVolume1, "extras.forced_expiratory_volume"},
        {HKQuantityTypeIdentifierForcedVitalCapacity, "extras.forced_vital_capacity"},
        {HKQuantityTypeIdentifierNumberOfTimesFallen, "extras.number_of_times_fallen"},
        {HKQuantityTypeIdentifierPeripheralPerfusionIndex, "extras.peripheral_perfusion_index"},
        {HKQuantityTypeIdentifierRespiratoryRate, "extras.respiratory_rate"},
        {HKQuantityTypeIdentifierPeakExpiratoryFlowRate, "extras.peak_expiratory_flow_rate"},
        {HKQuantityTypeIdentifierBasalBodyTemperature, "extras.basal_body_temperature"},
        {HKQuantityTypeIdentifierUVExposure, "extras.uv_exposure"},
    };
    if (OSTPlatformIsAtLeastIOS11()) {
      table.emplace(HKQuantityTypeIdentifierRestingHeartRate, "restingHeartrate");
      table.emplace(HKQuantityTypeIdentifierWalkingHeartRateAverage,
                    "extras.apple_walking_heartrate_average");
    }
    return table;
  });
}

std::string cervicalMucusQualityString(long value) {
  switch (value) {
    case HKCategoryValueCervicalMucusQualityDry:
      return "Dry";
    case HKCategoryValueCervicalMucusQualitySticky:
      return "Sticky";
    case HKCategoryValueCervicalMucusQualityCreamy:
      return "Creamy";
    case HKCategoryValueCervicalMucusQualityWatery:
      return "Watery";
    case HKCategoryValueCervicalMucusQualityEggWhite:
      return "Egg White";
    default:
      return "";
  }
}

std::string ovulationTestResultString(long value) {
  switch (value) {
    case HKCategoryValueOvulationTestResultNegative:
      return "Negative";
    case HKCategoryValueOvulationTestResultLuteinizingHormoneSurge:
      // iOS 13.0 renamed "Positive": the test detects the LH surge.
      return OSTPlatformIsAtLeastIOS13() ? "Luteinizing Hormone Surge" : "Positive";
    case HKCategoryValueOvulationTestResultIndeterminate:
      return "Indeterminate";
    case HKCategoryValueOvulationTestResultEstrogenSurge:
      return "Estrogen Surge";
    default:
      return "Unknown";
  }
}

std::string menstrualFlowString(long value) {
  switch (value) {
    case HKCategoryValueMenstrualFlowUnspecified:
      return "Unspecified";
    case HKCategoryValueMenstrualFlowLight:
      return "Light";
    case HKCategoryValueMenstrualFlowMedium:
      return "Medium";
    case HKCategoryValueMenstrualFlowHeavy:
      return "Heavy";
    case HKCategoryValueMenstrualFlowNone:
      return "None";
    default:
      return "";
  }
}

void setBiometricsCategorySample(OSTBiometrics& record, const HKCategorySample& sample) {
  if (!sample.sampleType()) return;
  const std::string& type = sample.sampleType()->identifier();
  if (type == HKCategoryTypeIdentifierSexualActivity) {
    record.setExtraValue(dateString(sample.startDate()), "sexual_activity_date");
    copyMetadataValue(record, sample, HKMetadataKeySexualActivityProtectionUsed,
                      "sexual_activity_protection_used");
  } else if (type == HKCategoryTypeIdentifierCervicalMucusQuality) {
    record.setExtraValue(cervicalMucusQualityString(sample.value()), "cervical_mucus_quality");
  } else if (type == HKCategoryTypeIdentifierOvulationTestResult) {
    record.setExtraValue(ovulationTestResultString(sample.value()), "ovulation_test_result");
  } else if (type == HKCategoryTypeIdentifierIntermenstrualBleeding) {
    // The event is kept as the date it happened on; its category value says nothing more.
    record.setExtraValue(dateString(sample.startDate()), "intermenstrual_bleeding");
  } else if (type == HKCategoryTypeIdentifierMenstrualFlow) {
    record.setExtraValue(menstrualFlowString(sample.value()), "menstrual_flow");
    record.setExtraValue(dateString(sample.startDate()), "menstrual_flow_start");
    record.setExtraValue(dateString(sample.endDate()), "menstrual_flow_end");
    copyMetadataValue(record, sample, HKMetadataKeyMenstrualCycleStart, "menstrual_cycle_start");
  }
}

std::vector<std::shared_ptr<OSTBiometrics>> heartRateRecordsFromStatistics(
    const std::vector<OSTDayHeartRateStatistics>& statistics,
    const std::vector<std::shared_ptr<const HKSample>>& samples) {
  std::map<std::string, std::shared_ptr<OSTBiometrics>> records;
  auto recordFor = [&records](const std::string& key) -> OSTBiometrics& {
    auto& record = records[key];
    if (!record) record = std::make_shared<OSTBiometrics>();
    record->setActivityID(key);
    return *record;
  };

  for (const auto& entry : samples) {
    const auto* sample = dynamic_cast<const HKQuantitySample*>(entry.get());
    if (!sample || !sample->source()) continue;
    OSTBiometrics& record = recordFor(heartRateKeyFromDate(sample->startDate(), *sample->source()));
    setHealthKitSource(record, *sample->source());
    record.setTimestamp(sample->startDate());
    setHealthKitSample(record, *sample);
  }

  const auto bpm = HKUnit::unitFromString("count/min");
  for (const auto& days : statistics) {
    for (const auto& [day, dayStatistics] : days) {
      if (!dayStatistics) continue;
      for (const auto& source : dayStatistics->sources()) {
        if (!source) continue;
        const auto values = dayHeartRate(*dayStatistics, *source, *bpm);
        if (!values || values->empty()) continue;
        OSTBiometrics& record = recordFor(heartRateKeyFromDate(day, *source));
        setHealthKitSource(record, *source);
        record.setTimestamp(day);
        if (values->minimum) record.setMinHeartRate(*values->minimum);
        if (values->maximum) record.setMaxHeartRate(*values->maximum);
        if (values->average) record.setAverageHeartRate(*values->average);
      }
    }
  }

  std::vector<std::shared_ptr<OSTBiometrics>> result;
  for (auto& [key, record] : records) result.push_back(std::move(record));
  return result;
}

std::string heartRateKeyFromDate(NSDate date, const HKSource& source) {
  return dayRecordKey("heart-rate", source.bundleIdentifier(), date);
}
