#pragma once

// The values of HealthKit's category types, with HealthKit's raw values. A category sample's
// value must be one of its type's values (HKCategoryType::isValidValue).

// Types whose samples carry no value (sexual activity, mindful session, heart-rate events...).
enum HKCategoryValue : long {
  HKCategoryValueNotApplicable = 0,
};

enum HKCategoryValueSleepAnalysis : long {
  HKCategoryValueSleepAnalysisInBed = 0,
  HKCategoryValueSleepAnalysisAsleepUnspecified = 1,
  HKCategoryValueSleepAnalysisAsleep = HKCategoryValueSleepAnalysisAsleepUnspecified,
  HKCategoryValueSleepAnalysisAwake = 2,
  HKCategoryValueSleepAnalysisAsleepCore = 3,
  HKCategoryValueSleepAnalysisAsleepDeep = 4,
  HKCategoryValueSleepAnalysisAsleepREM = 5,
};

enum HKCategoryValueAppleStandHour : long {
  HKCategoryValueAppleStandHourStood = 0,
  HKCategoryValueAppleStandHourIdle = 1,
};

enum HKCategoryValueCervicalMucusQuality : long {
  HKCategoryValueCervicalMucusQualityDry = 1,
  HKCategoryValueCervicalMucusQualitySticky = 2,
  HKCategoryValueCervicalMucusQualityCreamy = 3,
  HKCategoryValueCervicalMucusQualityWatery = 4,
  HKCategoryValueCervicalMucusQualityEggWhite = 5,
};

enum HKCategoryValueOvulationTestResult : long {
  HKCategoryValueOvulationTestResultNegative = 1,
  HKCategoryValueOvulationTestResultLuteinizingHormoneSurge = 2,
  HKCategoryValueOvulationTestResultPositive =
      HKCategoryValueOvulationTestResultLuteinizingHormoneSurge,
  HKCategoryValueOvulationTestResultIndeterminate = 3,
  HKCategoryValueOvulationTestResultEstrogenSurge = 4,
};

enum HKCategoryValueMenstrualFlow : long {
  HKCategoryValueMenstrualFlowUnspecified = 1,
  HKCategoryValueMenstrualFlowLight = 2,
  HKCategoryValueMenstrualFlowMedium = 3,
  HKCategoryValueMenstrualFlowHeavy = 4,
  HKCategoryValueMenstrualFlowNone = 5,
};

enum HKCategoryValueVaginalBleeding : long {
  HKCategoryValueVaginalBleedingUnspecified = 1,
  HKCategoryValueVaginalBleedingLight = 2,
  HKCategoryValueVaginalBleedingMedium = 3,
  HKCategoryValueVaginalBleedingHeavy = 4,
  HKCategoryValueVaginalBleedingNone = 5,
};

// Symptoms (headache, fatigue...).
enum HKCategoryValueSeverity : long {
  HKCategoryValueSeverityUnspecified = 0,
  HKCategoryValueSeverityNotPresent = 1,
  HKCategoryValueSeverityMild = 2,
  HKCategoryValueSeverityModerate = 3,
  HKCategoryValueSeveritySevere = 4,
};

enum HKCategoryValuePresence : long {
  HKCategoryValuePresencePresent = 0,
  HKCategoryValuePresenceNotPresent = 1,
};
