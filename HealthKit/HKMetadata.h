#pragma once

// Metadata keys HealthKit defines, with HealthKit's strings, and the enumerations some of their
// values take. An object's metadata is an NSDictionary from these keys (or an application's own)
// to strings, numbers, dates or HKQuantity objects. HKObject's factories check the values of the
// keys listed under "checked".
//
// Constants, safe from any thread; initialised before main.

#include <string>

// Checked: a number (boolean).
extern const std::string HKMetadataKeyWasUserEntered;  // "HKWasUserEntered"
extern const std::string
    HKMetadataKeySexualActivityProtectionUsed;  // "HKSexualActivityProtectionUsed"
// Checked: a number (boolean); required on menstrual flow samples.
extern const std::string HKMetadataKeyMenstrualCycleStart;  // "HKMenstrualCycleStart"
// Checked: a number, HKInsulinDeliveryReason; required on insulin delivery samples.
extern const std::string HKMetadataKeyInsulinDeliveryReason;  // "HKInsulinDeliveryReason"
// Checked: a number, HKWeatherCondition.
extern const std::string HKMetadataKeyWeatherCondition;  // "HKWeatherCondition"
// Checked: a quantity in a temperature unit.
extern const std::string HKMetadataKeyWeatherTemperature;  // "HKWeatherTemperature"
// Checked: a quantity in percent.
extern const std::string HKMetadataKeyWeatherHumidity;  // "HKWeatherHumidity"

// Further keys a Health export commonly holds.
extern const std::string HKMetadataKeyExternalUUID;            // "HKExternalUUID"
extern const std::string HKMetadataKeySyncIdentifier;          // "HKMetadataKeySyncIdentifier"
extern const std::string HKMetadataKeySyncVersion;             // "HKMetadataKeySyncVersion"
extern const std::string HKMetadataKeyTimeZone;                // "HKTimeZone"
extern const std::string HKMetadataKeyDeviceName;              // "HKDeviceName"
extern const std::string HKMetadataKeyDeviceManufacturerName;  // "HKDeviceManufacturerName"
extern const std::string HKMetadataKeyDeviceSerialNumber;      // "HKDeviceSerialNumber"
extern const std::string HKMetadataKeyBloodGlucoseMealTime;    // "HKBloodGlucoseMealTime"
extern const std::string
    HKMetadataKeyHeartRateMotionContext;                  // "HKMetadataKeyHeartRateMotionContext"
extern const std::string HKMetadataKeyVO2MaxTestType;     // "HKVO2MaxTestType"
extern const std::string HKMetadataKeyIndoorWorkout;      // "HKIndoorWorkout"
extern const std::string HKMetadataKeyAverageMETs;        // "HKAverageMETs"
extern const std::string HKMetadataKeyElevationAscended;  // "HKElevationAscended"
extern const std::string HKMetadataKeyLapLength;          // "HKLapLength"
extern const std::string HKMetadataKeySwimmingLocationType;  // "HKSwimmingLocationType"
extern const std::string HKMetadataKeySwimmingStrokeStyle;   // "HKSwimmingStrokeStyle"
extern const std::string HKMetadataKeySWOLFScore;            // "HKSWOLFScore"
extern const std::string HKMetadataKeyFoodType;              // "HKFoodType"

enum HKInsulinDeliveryReason : long {
  HKInsulinDeliveryReasonBasal = 1,
  HKInsulinDeliveryReasonBolus = 2,
};

enum HKWeatherCondition : long {
  HKWeatherConditionNone = 0,
  HKWeatherConditionClear = 1,
  HKWeatherConditionFair = 2,
  HKWeatherConditionPartlyCloudy = 3,
  HKWeatherConditionMostlyCloudy = 4,
  HKWeatherConditionCloudy = 5,
  HKWeatherConditionFoggy = 6,
  HKWeatherConditionHaze = 7,
  HKWeatherConditionWindy = 8,
  HKWeatherConditionBlustery = 9,
  HKWeatherConditionSmoky = 10,
  HKWeatherConditionDust = 11,
  HKWeatherConditionSnow = 12,
  HKWeatherConditionHail = 13,
  HKWeatherConditionSleet = 14,
  HKWeatherConditionFreezingDrizzle = 15,
  HKWeatherConditionFreezingRain = 16,
  HKWeatherConditionMixedRainAndHail = 17,
  HKWeatherConditionMixedRainAndSnow = 18,
  HKWeatherConditionMixedRainAndSleet = 19,
  HKWeatherConditionMixedSnowAndSleet = 20,
  HKWeatherConditionDrizzle = 21,
  HKWeatherConditionScatteredShowers = 22,
  HKWeatherConditionShowers = 23,
  HKWeatherConditionThunderstorms = 24,
  HKWeatherConditionTropicalStorm = 25,
  HKWeatherConditionHurricane = 26,
  HKWeatherConditionTornado = 27,
};
