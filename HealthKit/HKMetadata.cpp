#include "HealthKit/HKMetadata.h"

const std::string HKMetadataKeyWasUserEntered = "HKWasUserEntered";
const std::string HKMetadataKeySexualActivityProtectionUsed = "HKSexualActivityProtectionUsed";
const std::string HKMetadataKeyMenstrualCycleStart = "HKMenstrualCycleStart";
const std::string HKMetadataKeyInsulinDeliveryReason = "HKInsulinDeliveryReason";
const std::string HKMetadataKeyWeatherCondition = "HKWeatherCondition";
const std::string HKMetadataKeyWeatherTemperature = "HKWeatherTemperature";
const std::string HKMetadataKeyWeatherHumidity = "HKWeatherHumidity";
const std::string HKMetadataKeyExternalUUID = "HKExternalUUID";
const std::string HKMetadataKeySyncIdentifier = "HKMetadataKeySyncIdentifier";
const std::string HKMetadataKeySyncVersion = "HKMetadataKeySyncVersion";
const std::string HKMetadataKeyTimeZone = "HKTimeZone";
const std::string HKMetadataKeyDeviceName = "HKDeviceName";
const std::string HKMetadataKeyDeviceManufacturerName = "HKDeviceManufacturerName";
const std::string HKMetadataKeyDeviceSerialNumber = "HKDeviceSerialNumber";
const std::string HKMetadataKeyBloodGlucoseMealTime = "HKBloodGlucoseMealTime";
const std::string HKMetadataKeyHeartRateMotionContext = "HKMetadataKeyHeartRateMotionContext";
const std::string HKMetadataKeyVO2MaxTestType = "HKVO2MaxTestType";
const std::string HKMetadataKeyIndoorWorkout = "HKIndoorWorkout";
const std::string HKMetadataKeyAverageMETs = "HKAverageMETs";
const std::string HKMetadataKeyElevationAscended = "HKElevationAscended";
const std::string HKMetadataKeyLapLength = "HKLapLength";
const std::string HKMetadataKeySwimmingLocationType = "HKSwimmingLocationType";
const std::string HKMetadataKeySwimmingStrokeStyle = "HKSwimmingStrokeStyle";
const std::string HKMetadataKeySWOLFScore = "HKSWOLFScore";
const std::string HKMetadataKeyFoodType = "HKFoodType";
