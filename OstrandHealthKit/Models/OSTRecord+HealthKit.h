#pragma once

// OSTRecord(HealthKit): filling a core record from one HealthKit object. Where the data came from
// (source, bundle identifier, device), whether a person typed it in, the weather HealthKit
// attached, and the measured value itself, written in the one unit the catalog chooses for its
// type (OSTHealthKitSubscription::unitForQuantityTypeIdentifier) whatever unit the writer used.
//
// C++ has no categories, so the methods are free functions taking the record. Behaviour that
// differs per record kind (the key-path table, the diabetes addition to setHealthKitSample, the
// biometrics and sleep handling of category samples, the fitness handling of workouts) is chosen
// here, in one place, from the record's dynamic class; the per-kind parts live in the per-kind
// headers (OSTRoutine+, OSTBiometrics+, OSTDiabetes+, OSTFitness+HealthKit in Models/;
// OSTWeight+, OSTSleep+, OSTNutrition+HealthKit in Categories/).
//
// The anchored fetch turns a batch into records with recordsForHealthKitSamples, which fills
// each new record in this order:
//
//   auto record = OSTRecord::newRecordWithType(recordType);
//   record->setTimestamp(sample->startDate());
//   setHealthKitMetadata(*record, *sample);
//   record->setActivityID(sample->UUID().UUIDString());
//   setHealthKitSample(*record, *sample);
//   // workouts only, with the heart-rate samples taken during them (predicateForWorkouts):
//   addHeartRateSamples(*record, heartRateSamples);
//
// Conversion never fails loudly: it runs inside the host app's HealthKit callbacks, where an
// escaping exception ends the app, and the sample that caused it would end the next launch too.
// An object of an unexpected kind, a type without a key path for the record, missing metadata or
// a metadata value of the wrong kind writes nothing. Every plain key path in the tables is a
// property of its record class, so OSTRecord::setValue never throws from here.
//
// Values the record cannot hold are skipped the same way. HealthKit keeps whatever an app saved
// (a unit bug's body mass of 1e308 lb, a step count past 2^63), so a value can overflow once
// converted to the record's unit or summed. The one rule, for every number conversion writes:
// - it must be finite once converted (after the factor of 100 of a percentage, and for a sum,
//   mean, minimum or maximum, after that arithmetic): fitsRecordNumber;
// - a whole number (a count rounded to whole steps, the whole minutes of a day's mindfulness, the
//   whole steps from which device_generated_steps is worked out, that difference itself) must
//   also fit a 64-bit signed integer: fitsRecordInteger.
// A value that breaks the rule leaves its member unset and everything else is still written:
// - a record made per sample (recordsForHealthKitSamples) is still made, with its source, time
//   and activity identifier, so the sample is accounted for and the fetch's anchor moves past it;
//   a workout keeps the totals it can hold, and without a duration gets no heart-rate extras;
// - a day summary (routine, heart rate) leaves the value out of the day, and a day (or a source's
//   day) left with no value makes no record;
// - an intraday series leaves the minute out.
//
// Each call fills one record, which must not be used by another thread meanwhile. The key-path
// tables are built once, on first use, safely from any thread, and never change; they keep the
// platform version they were built on (OSTCachedValue.h).

#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/NSDate.h"
#include "Foundation/NSObjCRuntime.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/HKSource.h"
#include "HealthKit/HKUnit.h"
#include "HealthKit/HKWorkout.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTRecordType.h"

// Extras keys of the weather HealthKit attaches to a sample.
extern const char kOSTWeatherConditionKey[];    // "weather_condition"
extern const char kOSTWeatherTemperatureKey[];  // "weather_temperature"
extern const char kOSTWeatherHumidityKey[];     // "weather_humidity"
// originalSource of workouts and mindful sessions recorded by an Apple Watch.
extern const char kOSTOriginalSourceAppleWatch[];  // "Apple Watch"
// The source of records that sum several sources (routine day totals). The capital A differs on
// purpose from HealthKit's own "com.apple.health".
extern const char kHKAggregateBundleIdentifier[];  // "com.Apple.Health.AggregateRecord"
extern const char kHKAggregateSourceName[];        // "Apple Health Aggregate"

// Quantity type identifier -> key path: a property name of the record class ("systolic") or
// "extras." and an extras key ("extras.resting_calories").
using OSTHealthKitKeyPaths = std::map<std::string, std::string, std::less<>>;

// The key-path table of a record kind (the class method); nullptr for kinds without one (none,
// sleep, intraday and numbers outside the range). Shared and immutable.
std::shared_ptr<const OSTHealthKitKeyPaths> healthKitKeyPaths(OSTRecordType recordType);
// The table of the record's own class.
std::shared_ptr<const OSTHealthKitKeyPaths> healthKitKeyPaths(const OSTRecord& record);

// The name of a HealthKit weather condition number (HKWeatherCondition): 0 "None", 1 "Clear",
// ... 27 "Tornado"; "Unknown" for any other number.
std::string weatherConditionString(NSInteger condition);

// One new record of `recordType` per sample, in the samples' order, filled as above (heart rate
// aside); none for OSTRecordTypeNone, and none for a null sample. What the anchored fetch submits.
std::vector<std::shared_ptr<OSTRecord>> recordsForHealthKitSamples(
    const std::vector<std::shared_ptr<const HKSample>>& samples, OSTRecordType recordType);

// Source, validation, weather and device of the object, in this order, a later step overwriting
// an earlier one:
// 1. setHealthKitSource with the object's source.
// 2. HKMetadataKeyWasUserEntered, when a number: validated = 0 if typed in, 1 if not (integers).
// 3. A workout or mindful session from a bundle identifier starting "com.apple.health." (any
//    letter case; the bare "com.apple.health" does not qualify): originalSource "Apple Watch",
//    validated YES.
// 4. Sleep analysis from "com.apple.mobiletimer" (any letter case): validated YES.
// 5. Weather metadata to extras: the condition's name; the temperature in degC; the humidity as
//    HealthKit's percent fraction (0.45, not multiplied by 100, unlike setQuantity).
// 6. A device with a name: originalSource = that name.
void setHealthKitMetadata(OSTRecord& record, const HKObject& object);

// originalSource: "Apple Health" for the Health app's own bundle identifier (any letter case);
// UIDevice's model when isCurrentDevice(source); otherwise sanitizedName(source).
// sourcePeripheral: the bundle identifier as written. intermediarySource: "Apple Health".
void setHealthKitSource(OSTRecord& record, const HKSource& source);

// Writes the sample's value(s) into the record, by the sample's kind:
// - a correlation: each member through setHealthKitSample into this same record (a blood
//   pressure becomes one record with both pressures, a meal one record with every nutrient);
// - a quantity sample: setQuantity in the catalog's unit for its type;
// - a category sample: setCategorySample; a workout: setWorkout;
// - anything else: nothing.
// A diabetes record then also records the insulin type (OSTDiabetes+HealthKit.h).
void setHealthKitSample(OSTRecord& record, const HKObject& sample);

// The record kind's handling of a category sample: biometrics (reproductive health) and sleep;
// other kinds write nothing.
void setCategorySample(OSTRecord& record, const HKCategorySample& sample);

// The record kind's handling of a workout: fitness; other kinds write nothing.
void setWorkout(OSTRecord& record, const HKWorkout& workout);

// Writes the quantity, read in `unit`, at the key path the record's table gives for the type;
// nothing when the table has none or the path has another shape than "name" or "extras.key".
// Values in "count" are rounded half away from zero (1234.5 -> 1235), except body-mass index;
// values in "%" are multiplied by 100 (0.973 -> 97.3). Nothing else is rounded. Writes nothing
// when the quantity cannot be read in `unit` or the record cannot hold the result (see above).
void setQuantity(OSTRecord& record, const HKQuantity& quantity, const HKQuantityType& type,
                 const HKUnit& unit);

// The number setQuantity writes for the quantity (rounded or made a percentage as it says), or
// nullopt when it writes none because the quantity cannot be read in `unit` or the record cannot
// hold the result. The key path is not looked at.
std::optional<double> recordValueForQuantity(const HKQuantity& quantity, const HKQuantityType& type,
                                             const HKUnit& unit);

// Whether a record can hold the number: it is finite.
inline bool fitsRecordNumber(double value) { return std::isfinite(value); }
// Whether a record can hold the whole number: -2^63 <= value < 2^63 (NaN and infinities fail).
// `value` is already whole; a fraction is not rejected here.
inline bool fitsRecordInteger(double value) {
  return value >= -9223372036854775808.0 && value < 9223372036854775808.0;
}
// A number as a whole number, as NSNumber's integerValue gives it (a fraction truncated toward
// zero), or nullopt when `value` is not a number or no 64-bit integer can hold it. Unlike
// NSAny::integerValue it never throws.
std::optional<long long> recordIntegerValue(const NSAny& value);

// Heart-rate extras of a workout from the heart-rate samples taken during it, in count/min:
// "avg_heart_rate" the mean rounded half away from zero, "min_heart_rate" and "max_heart_rate"
// unrounded. The minimum starts at 999 (a fixed sentinel: above 999 bpm it stays 999). Entries
// that are not quantity samples, and readings that are not finite in count/min, are skipped; no
// samples write nothing. A mean that overflows is left out, the minimum and maximum kept.
void addHeartRateSamples(OSTRecord& record,
                         const std::vector<std::shared_ptr<const HKSample>>& samples);

// "<prefix>-<user>-<source>-<year>-<month>-<day>": the activity identifier of a day's summary
// record (routine and heart-rate records), so that a day sent again replaces the earlier record.
// The day is the date's calendar day in ost_gregorianCalendar() (the process's time zone), the
// numbers plain decimal without zero padding. <user> is the running session's user identifier,
// or "(null)" when no session runs, as Apple's string formatting prints a missing object.
std::string dayRecordKey(std::string_view prefix, std::string_view source, NSDate date);
